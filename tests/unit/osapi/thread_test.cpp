// SPDX-License-Identifier: Apache-2.0
// Threads and their factories.
#include "osapi/osapi_thread.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include "osapi/osapi_heap.h"
#include "support/faults.h"
#include "support/heap_watch.h"

namespace {

using support::live_blocks;

struct What {
    bool ran = false;
    pthread_t id{};
    std::string name;
    sigset_t blocked{};
    std::size_t stack_size = 0;
};

void look_around(void *param) {
    auto *what = static_cast<What *>(param);
    what->ran = true;
    what->id = pthread_self();
    char name[64] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    what->name = name;
    pthread_sigmask(SIG_SETMASK, nullptr, &what->blocked);
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &what->stack_size);
    pthread_attr_destroy(&attributes);
}

/** Has every allocation of this thread fail. */
NUVOsapiThreadFactoryProperty property_with(const char *prefix, std::size_t stack_size = 0) {
    NUVOsapiThreadFactoryProperty property = NUV_OSAPI_THREAD_FACTORY_PROPERTY_DEFAULT;
    std::string_view(prefix).copy(property.namePrefix, sizeof property.namePrefix - 1);
    property.stackSize = stack_size;
    return property;
}

What run_one(const NUVOsapiThreadFactoryProperty *property, const char *name) {
    What what;
    NUVOsapiThreadFactory *factory = NUVOsapiThreadFactory_new(property);
    NUVOsapiThread *thread = NUVOsapiThreadFactory_createThread(factory, name, look_around, &what);
    EXPECT_NE(thread, nullptr);
    NUVOsapiThread_join(thread);
    NUVOsapiThreadFactory_delete(factory);
    return what;
}

TEST(ThreadTest, RunsTheFunctionInAThreadOfItsOwn) {
    const NUV_UINT64 before = live_blocks();
    const What what = run_one(nullptr, "worker");
    EXPECT_TRUE(what.ran);
    EXPECT_EQ(pthread_equal(what.id, pthread_self()), 0);
    EXPECT_EQ(live_blocks(), before);
}

TEST(ThreadTest, NameIsPrefixAndNameCutToFifteenCharacters) {
    const auto short_prefix = property_with("dds.");
    const auto long_prefix = property_with("123456789012345");
    EXPECT_EQ(run_one(&short_prefix, "reactor").name, "dds.reactor");
    EXPECT_EQ(run_one(&short_prefix, "reactor-is-long").name, "dds.reactor-is-");
    EXPECT_EQ(run_one(&long_prefix, "reactor").name, "123456789012345");
    EXPECT_EQ(run_one(nullptr, "reactor").name, "reactor");
}

TEST(ThreadTest, PrefixWithoutTerminatorIsCut) {
    NUVOsapiThreadFactoryProperty property = NUV_OSAPI_THREAD_FACTORY_PROPERTY_DEFAULT;
    std::memset(property.namePrefix, 'x', sizeof property.namePrefix);
    EXPECT_EQ(run_one(&property, "n").name, std::string(15, 'x'));
}

TEST(ThreadTest, ThreadWithoutNameKeepsTheProcesssName) {
    char own[64] = "";
    pthread_getname_np(pthread_self(), own, sizeof own);
    EXPECT_EQ(run_one(nullptr, "").name, own);
    EXPECT_EQ(run_one(nullptr, nullptr).name, own);
}

TEST(ThreadTest, EverySignalIsBlockedInItAndNoneMoreInItsCreator) {
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    const What what = run_one(nullptr, "worker");
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < SIGRTMIN; ++signal) {
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
        // Nobody can block these two, and the C library keeps 32 and 33 for itself.
        if (signal != SIGKILL && signal != SIGSTOP && signal < 32) {
            EXPECT_EQ(sigismember(&what.blocked, signal), 1) << signal;
        }
    }
    EXPECT_EQ(sigismember(&what.blocked, SIGRTMIN), 1);
    EXPECT_EQ(sigismember(&what.blocked, SIGRTMAX), 1);
}

TEST(ThreadTest, StackHasTheSizeAskedFor) {
    constexpr std::size_t MORE_THAN_USUAL = std::size_t{24} << 20;
    const auto property = property_with("", MORE_THAN_USUAL);
    EXPECT_GE(run_one(&property, "worker").stack_size, MORE_THAN_USUAL);
}

TEST(ThreadTest, TooSmallAStackIsRaisedToTheSystemsSmallest) {
    constexpr std::size_t LESS_THAN_USUAL = std::size_t{1} << 20;
    const auto property = property_with("", 1);
    const What what = run_one(&property, "tiny");
    EXPECT_TRUE(what.ran);
    EXPECT_LT(what.stack_size, LESS_THAN_USUAL);
}

TEST(ThreadTest, ThreadOutlivesItsFactory) {
    std::atomic<bool> go{false};
    NUVOsapiThreadFactory *factory = NUVOsapiThreadFactory_new(nullptr);
    NUVOsapiThread *thread = NUVOsapiThreadFactory_createThread(
        factory, "worker",
        [](void *param) {
            while (!*static_cast<std::atomic<bool> *>(param)) {
                std::this_thread::yield();
            }
        },
        &go);
    ASSERT_NE(thread, nullptr);
    NUVOsapiThreadFactory_delete(factory);
    go = true;
    NUVOsapiThread_join(thread);
}

TEST(ThreadTest, KnowsWhetherItIsTheCallingThread) {
    struct Shared {
        std::atomic<NUVOsapiThread *> thread{nullptr};
        int is_self = 0;
    } shared;
    NUVOsapiThreadFactory *factory = NUVOsapiThreadFactory_new(nullptr);
    NUVOsapiThread *thread = NUVOsapiThreadFactory_createThread(
        factory, "worker",
        [](void *param) {
            auto *s = static_cast<Shared *>(param);
            while (s->thread == nullptr) {
                std::this_thread::yield();
            }
            s->is_self = NUVOsapiThread_isSelf(s->thread);
        },
        &shared);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(NUVOsapiThread_isSelf(thread), 0);
    shared.thread = thread;
    NUVOsapiThread_join(thread);
    EXPECT_NE(shared.is_self, 0);
    NUVOsapiThreadFactory_delete(factory);
}

TEST(ThreadTest, NullIsAcceptedByJoinAndDelete) {
    NUVOsapiThread_join(nullptr);
    NUVOsapiThreadFactory_delete(nullptr);
}

TEST(ThreadTest, RunningOutOfMemoryGivesNullAndLeavesNothing) {
    const faults::Guard guard;
    const NUV_UINT64 before = live_blocks();
    faults::fail_malloc();
    EXPECT_EQ(NUVOsapiThreadFactory_new(nullptr), nullptr);
    faults::stop();
    NUVOsapiThreadFactory *factory = NUVOsapiThreadFactory_new(nullptr);
    faults::fail_malloc();
    errno = 0;
    EXPECT_EQ(NUVOsapiThreadFactory_createThread(factory, "worker", look_around, nullptr), nullptr);
    EXPECT_EQ(errno, ENOMEM);
    faults::stop();
    NUVOsapiThreadFactory_delete(factory);
    EXPECT_EQ(live_blocks(), before);
}

TEST(ThreadTest, ThreadThatCannotBeStartedGivesNullAndLeavesNothing) {
    const faults::Guard guard;
    const NUV_UINT64 before = live_blocks();
    sigset_t mask;
    const auto absurd = property_with("", std::size_t{1} << 50);
    NUVOsapiThreadFactory *factory = NUVOsapiThreadFactory_new(nullptr);
    NUVOsapiThreadFactory *absurd_factory = NUVOsapiThreadFactory_new(&absurd);
    EXPECT_EQ(NUVOsapiThreadFactory_createThread(absurd_factory, "worker", look_around, nullptr),
              nullptr);
    faults::fail("pthread_create", {.result = EAGAIN});
    errno = 0;
    EXPECT_EQ(NUVOsapiThreadFactory_createThread(factory, "worker", look_around, nullptr), nullptr);
    EXPECT_EQ(errno, EAGAIN);
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
    NUVOsapiThreadFactory_delete(absurd_factory);
    NUVOsapiThreadFactory_delete(factory);
    EXPECT_EQ(live_blocks(), before);
}

std::chrono::nanoseconds time_to_sleep(NUVNtpTime duration) {
    const auto start = std::chrono::steady_clock::now();
    NUVOsapiThread_sleep(&duration);
    return std::chrono::steady_clock::now() - start;
}

TEST(ThreadTest, SleepLastsAtLeastItsDuration) {
    using namespace std::chrono_literals;
    EXPECT_GE(time_to_sleep({0, 0x08000000}), 31250us);
    EXPECT_GE(time_to_sleep({0, 1}), 1ns);
    EXPECT_GE(time_to_sleep({1, 0}), 1s);
}

TEST(ThreadTest, SleepIsTheMonotonicClocks) {
    static NUV_INT64 until = 0;
    NUVClock *const clock = NUVClock_getMonotonic();
    const NUVClock former = *clock;
    clock->getNanoseconds = [](const NUVClock *) { return NUV_INT64{7}; };
    clock->sleepUntil = [](const NUVClock *, NUV_INT64 nanoseconds) { until = nanoseconds; };
    time_to_sleep({3600, 0x80000000});
    *clock = former;
    EXPECT_EQ(until, 3'600'500'000'007);
}

TEST(ThreadTest, SleepOfNothingReturns) {
    time_to_sleep({0, 0});
    time_to_sleep({-1, 0});
    time_to_sleep({INT32_MIN, 0});
}

TEST(ThreadTest, SignalsDoNotShortenASleep) {
    struct sigaction action {};
    struct sigaction former {};
    static std::atomic<int> signals{0};
    action.sa_handler = [](int) { ++signals; };
    sigaction(SIGUSR1, &action, &former);
    const pthread_t sleeper = pthread_self();
    std::atomic<bool> done{false};
    std::thread sender([&] {
        while (!done) {
            pthread_kill(sleeper, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    const auto slept = time_to_sleep({0, 0x20000000});
    done = true;
    sender.join();
    sigaction(SIGUSR1, &former, nullptr);
    EXPECT_GT(signals, 0);
    EXPECT_GE(slept, std::chrono::milliseconds(125));
}

} // namespace
