// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <fstream>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "net_fixture.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

using support::LogCapture;
using testing::HasSubstr;

const char *const LISTING_FAILED =
    "cannot list the network interfaces, going on with those known: Too many open files in system "
    "(ENFILE)";

constexpr NUVNtpTime INFINITE_TIME = NUV_NTP_TIME_INFINITE;

std::vector<NUV_UINT32> levels(const support::Messages &messages) {
    std::vector<NUV_UINT32> all;
    for (const support::Message &message : messages) {
        all.push_back(message.level);
    }
    return all;
}

/** Threads by id, with their names. */
std::map<std::string, std::string> list_threads() {
    std::map<std::string, std::string> all;
    for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        all[task.path().filename()] = name;
    }
    return all;
}

/**
 * The names of the threads that are not in @p before. A sanitizer starts a thread of its own,
 * sooner or later; it has the program's name and is left out.
 */
std::vector<std::string> new_threads(const std::map<std::string, std::string> &before) {
    const std::map<std::string, std::string> now = list_threads();
    const std::string &program = now.at(std::to_string(getpid()));
    std::vector<std::string> names;
    for (const auto &[id, name] : now) {
        if (!before.contains(id) && name != program) {
            names.push_back(name);
        }
    }
    return names;
}

TEST(RuntimeTest, HasOneThreadWithANameAndAWorker) {
    const auto before = list_threads();
    net::Runtime runtime;
    EXPECT_TRUE(runtime.flush()); // the thread names itself first of all
    EXPECT_EQ(new_threads(before), std::vector<std::string>{NUV_NETIO_REACTOR_THREAD_NAME});
    EXPECT_EQ(REDAWorkerFactory_getWorkerCount(runtime.factories.workers), 2);
}

TEST(RuntimeTest, DeletedItLeavesNothing) {
    const net::Held before;
    {
        net::Runtime runtime;
        EXPECT_TRUE(runtime.flush());
    }
    EXPECT_EQ(net::Held(), before);
    NUVNetioRuntime_delete(nullptr);
}

TEST(RuntimeTest, WithoutAPropertyItAsksTheKernel) {
    net::Factories factories;
    NUVNetioRuntime *runtime = NUVNetioRuntime_new(nullptr, factories.threads, factories.workers);
    ASSERT_NE(runtime, nullptr);
    const NUVNetioInterfaceSnapshot *snapshot = NUVNetioRuntime_acquireInterfaces(runtime);
    EXPECT_GT(NUVNetioInterfaceSnapshot_getLength(snapshot), 0);
    NUVNetioInterfaceSnapshot_release(snapshot);
    NUVNetioRuntime_delete(runtime);
}

TEST(RuntimeTest, DefaultSettleTimeIs20Milliseconds) {
    const NUVNtpTime time = NUV_NETIO_RUNTIME_PROPERTY_DEFAULT.interfaceSettleTime;
    EXPECT_NEAR(static_cast<double>(NUVNtpTime_toNanoseconds(&time)), 20e6, 1);
    EXPECT_NE(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT.watchInterfaces, 0);
}

TEST(RuntimeTest, ByDefaultEachClassOfTransportsHasTheKernelsNetwork) {
    for (NUV_INT32 i = 0; i < NUV_NETIO_TRANSPORTS_MAX; ++i) {
        const NUVNetioTransport *transport = NUV_NETIO_RUNTIME_PROPERTY_DEFAULT.transports[i];
        ASSERT_NE(transport, nullptr) << i;
        EXPECT_EQ(transport->transportClass, NUVNetioTransportClass_get(i)) << i;
    }
}

TEST(RuntimeTest, FlushWithoutAnyTimeLimitReturns) {
    net::Runtime runtime;
    EXPECT_NE(NUVNetioRuntime_flush(runtime.runtime, &INFINITE_TIME), 0);
}

TEST(RuntimeTest, FlushFailsWhenTheTimeIsUp) {
    net::Runtime runtime;
    const NUVNtpTime short_time = {0, 0x04000000};
    const NUVNtpTime no_time = NUV_NTP_TIME_ZERO;
    net::Blocker blocker(runtime);
    EXPECT_EQ(NUVNetioRuntime_flush(runtime.runtime, &short_time), 0);
    EXPECT_EQ(NUVNetioRuntime_flush(runtime.runtime, &no_time), 0);
    blocker.let_go();
    EXPECT_TRUE(runtime.flush());
}

TEST(RuntimeTest, FlushFailsOnTheReactorsOwnThread) {
    struct Flusher {
        NUVNetioRuntime *runtime;
        std::atomic<int> result{-1};
        static void on_time(void *param, REDAWorker *) {
            auto *self = static_cast<Flusher *>(param);
            self->result = NUVNetioRuntime_flush(self->runtime, &INFINITE_TIME);
        }
    };
    net::Runtime runtime;
    Flusher flusher{runtime.runtime};
    NUVEvent event{Flusher::on_time, &flusher, 0, nullptr, 0};
    const NUVNtpTime now = NUV_NTP_TIME_ZERO;
    NUVEventActiveDatabase_postEvent(NUVNetioRuntime_getEventDatabase(runtime.runtime), &event,
                                     &now);
    EXPECT_TRUE(net::eventually([&] { return flusher.result != -1; }));
    EXPECT_EQ(flusher.result, 0);
}

TEST(RuntimeTest, ThreadsMayFlushAtTheSameTime) {
    net::Runtime runtime;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i) {
                EXPECT_TRUE(runtime.flush());
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

// ---- interfaces

/** Counts what it is told. */
struct Listener {
    NUVNetioInterfaceListener listener{on_changed, this, nullptr};
    std::atomic<int> calls{0};
    std::atomic<REDAWorker *> worker{nullptr};
    std::atomic<NUV_INT32> addresses{-1}; // of the snapshot that it was handed last
    std::function<void()> also = [] {};

    static void on_changed(void *param, const NUVNetioInterfaceSnapshot *snapshot,
                           REDAWorker *worker) {
        auto *self = static_cast<Listener *>(param);
        self->worker = worker;
        self->addresses = NUVNetioInterfaceSnapshot_getLength(snapshot);
        ++self->calls;
        self->also();
    }
};

/** One that is told as long as it lives. */
struct AddedListener : Listener {
    explicit AddedListener(const net::Runtime &its_runtime) : runtime(its_runtime) {
        NUVNetioRuntime_addInterfaceListener(runtime.runtime, &listener);
    }
    ~AddedListener() {
        NUVNetioRuntime_removeInterfaceListener(runtime.runtime, &listener);
    }

    const net::Runtime &runtime;
};

const std::vector<NUVNetioInterface> ETHERNET = {net::interface("eth0", 2, "192.0.2.2")};

TEST(InterfaceRenewalTest, ListenersAreToldOfAChangeByTheRenewingThread) {
    net::Runtime runtime;
    Listener first;
    Listener second;
    NUVNetioRuntime_addInterfaceListener(runtime.runtime, &first.listener);
    NUVNetioRuntime_addInterfaceListener(runtime.runtime, &second.listener);
    runtime.interfaces.set(ETHERNET);
    EXPECT_TRUE(runtime.renew());
    EXPECT_EQ(first.calls, 1);
    EXPECT_EQ(second.calls, 1);
    EXPECT_EQ(first.worker, runtime.worker());
}

TEST(InterfaceRenewalTest, ListenersAreNotToldWhenNothingChanged) {
    net::Runtime runtime;
    AddedListener listener(runtime);
    EXPECT_TRUE(runtime.renew());
    EXPECT_EQ(listener.calls, 0);
}

TEST(InterfaceRenewalTest, RemovedListenerIsNotTold) {
    net::Runtime runtime;
    Listener first;
    Listener second;
    Listener third;
    for (Listener *one : {&first, &second, &third}) {
        NUVNetioRuntime_addInterfaceListener(runtime.runtime, &one->listener);
    }
    NUVNetioRuntime_removeInterfaceListener(runtime.runtime, &second.listener);
    NUVNetioRuntime_removeInterfaceListener(runtime.runtime, &second.listener);
    runtime.interfaces.set(ETHERNET);
    runtime.renew();
    EXPECT_EQ(first.calls, 1);
    EXPECT_EQ(second.calls, 0);
    EXPECT_EQ(third.calls, 1);
}

TEST(InterfaceRenewalTest, ListenerMayRemoveItselfAndTheNext) {
    net::Runtime runtime;
    Listener first;
    Listener second;
    Listener third;
    first.also = [&] {
        NUVNetioRuntime_removeInterfaceListener(runtime.runtime, &first.listener);
        NUVNetioRuntime_removeInterfaceListener(runtime.runtime, &second.listener);
    };
    for (Listener *one : {&first, &second, &third}) {
        NUVNetioRuntime_addInterfaceListener(runtime.runtime, &one->listener);
    }
    runtime.interfaces.set(ETHERNET);
    runtime.renew();
    EXPECT_EQ(first.calls, 1);
    EXPECT_EQ(second.calls, 0);
    EXPECT_EQ(third.calls, 1);
}

TEST(InterfaceRenewalTest, ListenerMayUseTheRuntime) {
    net::Runtime runtime;
    Listener listener;
    Listener added;
    listener.also = [&] {
        if (listener.calls > 1) {
            return;
        }
        runtime.acquire();
        runtime.interfaces.set({});
        EXPECT_TRUE(runtime.renew());
        NUVNetioRuntime_addInterfaceListener(runtime.runtime, &added.listener);
    };
    NUVNetioRuntime_addInterfaceListener(runtime.runtime, &listener.listener);
    runtime.interfaces.set(ETHERNET);
    runtime.renew();
    EXPECT_EQ(listener.calls, 2); // of both changes, one after the other
    EXPECT_GE(added.calls, 1);
}

TEST(InterfaceRenewalTest, RemovingWaitsForTheListenerThatRuns) {
    net::Runtime runtime;
    Listener listener;
    std::atomic<bool> ended{false};
    listener.also = [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ended = true;
    };
    NUVNetioRuntime_addInterfaceListener(runtime.runtime, &listener.listener);
    runtime.interfaces.set(ETHERNET);
    std::thread renewing([&] { runtime.renew(); });
    EXPECT_TRUE(net::eventually([&] { return listener.calls == 1; }));
    NUVNetioRuntime_removeInterfaceListener(runtime.runtime, &listener.listener);
    EXPECT_TRUE(ended);
    renewing.join();
}

TEST(InterfaceRenewalTest, ThreadsMayRenewAndListenAtTheSameTime) {
    net::Runtime runtime;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 100; ++i) {
                AddedListener listener(runtime);
                runtime.interfaces.set((t + i) % 2 == 0 ? ETHERNET
                                                        : std::vector<NUVNetioInterface>{});
                runtime.renew();
                runtime.acquire();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

TEST(InterfaceRenewalTest, FailedListingKeepsTheSnapshotAndWarns) {
    net::Runtime runtime(ETHERNET);
    const LogCapture log;
    runtime.interfaces.set_failing(true);
    EXPECT_FALSE(runtime.renew());
    ASSERT_EQ(levels(log.messages()), std::vector<NUV_UINT32>{NUV_LOG_LEVEL_WARNING});
    EXPECT_EQ(log.messages()[0].text, LISTING_FAILED);
    EXPECT_EQ(runtime.acquire(), 1);
}

TEST(InterfaceRenewalTest, ListingThatGoesOnFailingIsOneWarning) {
    net::TestClock clock;
    net::Runtime runtime(ETHERNET);
    const LogCapture log;
    runtime.interfaces.set_failing(true);
    for (int i = 0; i < 5; ++i) {
        EXPECT_FALSE(runtime.renew());
        clock.advance(1'000'000'000);
    }
    EXPECT_EQ(log.messages().size(), 1u);
}

TEST(InterfaceRenewalTest, ListingsThatFailNowAndThenAreOneWarningASecond) {
    net::TestClock clock;
    net::Runtime runtime(ETHERNET);
    const LogCapture log;
    for (int i = 0; i < 5; ++i) {
        runtime.interfaces.set_failing(true);
        EXPECT_FALSE(runtime.renew());
        runtime.interfaces.set_failing(false);
        EXPECT_TRUE(runtime.renew());
    }
    EXPECT_EQ(log.messages().size(), 1u);
    clock.advance(1'000'000'000);
    runtime.interfaces.set_failing(true);
    EXPECT_FALSE(runtime.renew());
    ASSERT_EQ(log.messages().size(), 2u);
    EXPECT_THAT(log.messages()[1].text, HasSubstr("(and 4 more like it since the last line)"));
}

TEST(InterfaceRenewalTest, FailedFirstListingStartsEmptyAndWarns) {
    net::Interfaces interfaces(ETHERNET);
    interfaces.set_failing(true);
    const NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    const LogCapture log;
    net::Runtime runtime(property);
    ASSERT_EQ(levels(log.messages()), std::vector<NUV_UINT32>{NUV_LOG_LEVEL_WARNING});
    EXPECT_EQ(log.messages()[0].text, LISTING_FAILED);
    EXPECT_EQ(runtime.acquire(), 0);
}

TEST(InterfaceRenewalTest, FailedFirstListingIsTriedAgainWhereTheKernelIsWatched) {
    net::Interfaces interfaces(ETHERNET);
    interfaces.set_failing(true);
    const NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source(), true);
    net::TestClock clock;
    net::Runtime runtime(property);
    AddedListener listener(runtime);
    interfaces.set_failing(false);
    clock.advance(1'000'000'000);
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(listener.calls, 1);
}

TEST(InterfaceRenewalTest, RunningOutOfMemoryKeepsTheSnapshotAndWarns) {
    const faults::Guard guard;
    net::TestClock clock;
    net::Runtime runtime;
    runtime.interfaces.set(ETHERNET);
    const net::Held before;
    for (int nth = 1; nth <= 2; ++nth) {
        clock.advance(1'000'000'000); // for a warning of its own
        const LogCapture log;
        faults::fail_allocation(nth);
        EXPECT_FALSE(runtime.renew());
        ASSERT_EQ(levels(log.messages()), std::vector<NUV_UINT32>{NUV_LOG_LEVEL_WARNING});
        EXPECT_THAT(log.messages()[0].text, HasSubstr("out of memory"));
        EXPECT_EQ(net::Held(), before);
        runtime.interfaces.set({net::loopback()}); // nothing new, so that the snapshot stays
        EXPECT_TRUE(runtime.renew());
        runtime.interfaces.set(ETHERNET);
    }
    EXPECT_TRUE(runtime.renew());
}

// ---- the kernel's events

TEST(InterfaceWatchTest, ListenersHearOfTheKernelsEvents) {
    IN_PRIVATE_NETWORK([] {
        net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        AddedListener listener(runtime);
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        EXPECT_TRUE(net::eventually([&] { return listener.calls >= 1; }));
        EXPECT_NE(listener.worker, runtime.worker());
        const int calls = listener.calls;
        ASSERT_TRUE(net::run("ip link del n0"));
        EXPECT_TRUE(net::eventually([&] { return listener.calls > calls; }));
    });
}

TEST(InterfaceWatchTest, BurstOfEventsIsActedOnWhenItHasSettled) {
    IN_PRIVATE_NETWORK([] {
        net::Interfaces interfaces(ETHERNET);
        NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
        property.watchInterfaces = 1;
        net::TestClock clock;
        net::Runtime runtime(property);
        const int before = interfaces.listings();
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24")); // which is many events
        EXPECT_TRUE(runtime.flush());
        EXPECT_EQ(interfaces.listings(), before);
        clock.advance(1'000'000'000);
        EXPECT_TRUE(runtime.flush());
        EXPECT_EQ(interfaces.listings(), before + 1);
    });
}

TEST(InterfaceWatchTest, AcquireSeesAnAddressThatHasJustAppeared) {
    IN_PRIVATE_NETWORK([] {
        net::TestClock clock;
        net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        AddedListener listener(runtime);
        ASSERT_TRUE(net::run("ip addr add 192.0.2.1/24 dev lo"));
        EXPECT_EQ(runtime.acquire(), 3);
        EXPECT_EQ(listener.calls, 0); // acquiring tells nobody
        clock.advance(1'000'000'000);
        EXPECT_TRUE(runtime.flush());
        EXPECT_EQ(listener.calls, 1);
    });
}

/** By a clock that stands still, so that no event has settled. */
class AcquireTest : public testing::Test {
protected:
    /** Has the kernel's next events be unreadable. */
    static void fail_to_read(int error) {
        net::pretend_event();
        faults::fail_call("recv", 1, error);
    }

    const faults::Guard guard;
    net::TestClock clock;
    net::Interfaces interfaces{ETHERNET};
    const net::Runtime runtime{net::runtime_property(interfaces.source(), true)};
    const int before = interfaces.listings();
};

TEST_F(AcquireTest, ListsNothingWithoutNews) {
    runtime.acquire();
    EXPECT_EQ(interfaces.listings(), before);
}

TEST_F(AcquireTest, TakesLostEventsForEvents) {
    fail_to_read(ENOBUFS);
    runtime.acquire();
    EXPECT_EQ(interfaces.listings(), before + 1);
}

TEST_F(AcquireTest, RepeatsAnInterruptedRead) {
    fail_to_read(EINTR);
    runtime.acquire();
    EXPECT_EQ(faults::count("recv"), 2);
}

TEST_F(AcquireTest, GivesNothingWhenMemoryRunsOutDuringAListing) {
    fail_to_read(ENOBUFS);
    faults::fail_allocation(1);
    EXPECT_EQ(runtime.acquire(), -1);
    EXPECT_EQ(runtime.acquire(), 1);
}

TEST_F(AcquireTest, GivesTheFormerSnapshotWhenAListingFails) {
    const LogCapture log;
    interfaces.set_failing(true);
    fail_to_read(ENOBUFS);
    EXPECT_EQ(runtime.acquire(), 1);
    EXPECT_EQ(levels(log.messages()), std::vector<NUV_UINT32>{NUV_LOG_LEVEL_WARNING});
}

TEST(InterfaceWatchTest, WatchThatCouldNotBeHadInAShortageIsHadLater) {
    IN_PRIVATE_NETWORK([] {
        const faults::Guard guard;
        const LogCapture log;
        faults::fail_call("socket", 1, EMFILE);
        net::TestClock clock;
        net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        EXPECT_TRUE(faults::happened());
        EXPECT_EQ(levels(log.messages()), std::vector<NUV_UINT32>{NUV_LOG_LEVEL_WARNING});
        AddedListener listener(runtime);
        ASSERT_TRUE(net::run("ip addr add 192.0.2.1/24 dev lo")); // before it is watched
        for (int i = 1; i <= 2; ++i) { // the watch, and what happened meanwhile
            EXPECT_EQ(listener.calls, 0);
            clock.advance(1'000'000'000);
            EXPECT_TRUE(runtime.flush());
        }
        EXPECT_EQ(listener.calls, 1);
        ASSERT_TRUE(net::run("ip addr add 192.0.2.2/24 dev lo"));
        EXPECT_TRUE(runtime.flush());
        clock.advance(1'000'000'000);
        EXPECT_TRUE(runtime.flush());
        EXPECT_EQ(listener.calls, 2);
    });
}

class UnwatchableTest : public testing::TestWithParam<const char *> {};

TEST_P(UnwatchableTest, WithoutTheKernelsEventsItGoesOnAfterOneWarning) {
    const faults::Guard guard;
    const net::Held before;
    {
        net::Interfaces interfaces(ETHERNET);
        NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
        property.watchInterfaces = 1;
        const LogCapture log;
        // The third descriptor to be polled, after those of the wake-up and the timer.
        faults::fail_call(GetParam(), std::string(GetParam()) == "epoll_ctl" ? 3 : 1, EPERM);
        net::Runtime runtime(property);
        EXPECT_TRUE(faults::happened());
        ASSERT_EQ(levels(log.messages()), std::vector<NUV_UINT32>{NUV_LOG_LEVEL_WARNING});
        EXPECT_THAT(log.messages()[0].text, HasSubstr("(EPERM)"));
        runtime.acquire();
        EXPECT_TRUE(runtime.flush());
    }
    EXPECT_EQ(net::Held(), before);
}

INSTANTIATE_TEST_SUITE_P(All, UnwatchableTest, testing::Values("socket", "bind", "epoll_ctl"));

// ---- failures at the start

/** How often something is asked for that can fail. */
template <typename Ask>
int fail_each_at_start(Ask ask) {
    net::Factories factories;
    net::Interfaces interfaces(ETHERNET);
    const NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    return net::fail_each_in_making(
        ask, [&] { return NUVNetioRuntime_new(&property, factories.threads, factories.workers); },
        NUVNetioRuntime_delete);
}

class RuntimeStartTest : public testing::TestWithParam<const char *> {};

TEST_P(RuntimeStartTest, FailureGivesNullOneErrorAndLeavesNothing) {
    const faults::Guard guard;
    fail_each_at_start([](int nth) { faults::fail_call(GetParam(), nth, EMFILE); });
}

INSTANTIATE_TEST_SUITE_P(All, RuntimeStartTest,
                         testing::Values("epoll_create1", "eventfd", "timerfd_create", "epoll_ctl",
                                         "NUVOsapiThreadFactory_createThread"));

TEST(RuntimeStartFailureTest, ThreadThatCannotBeStartedIsAnErrorWithItsReason) {
    const faults::Guard guard;
    net::Factories factories;
    const LogCapture log;
    faults::fail_call("NUVOsapiThreadFactory_createThread", 1, EAGAIN);
    EXPECT_EQ(NUVNetioRuntime_new(nullptr, factories.threads, factories.workers), nullptr);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].text, "cannot start the thread 'reactor': Resource temporarily "
                                      "unavailable (EAGAIN)");
}

TEST(RuntimeStartFailureTest, EachAllocationThatFailsGivesNullOneErrorAndLeavesNothing) {
    const faults::Guard guard;
    EXPECT_GE(fail_each_at_start(faults::fail_allocation), 4);
}

TEST(RuntimeStartFailureTest, NoMemoryForAnEmptySnapshotIsAnError) {
    const faults::Guard guard;
    net::Factories factories;
    net::Interfaces interfaces({});
    interfaces.set_failing(true);
    const NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    const LogCapture log;
    faults::fail_allocation(3); // the runtime, the snapshot that fails, the empty one
    EXPECT_EQ(NUVNetioRuntime_new(&property, factories.threads, factories.workers), nullptr);
    EXPECT_EQ(levels(log.messages()), std::vector<NUV_UINT32>{NUV_LOG_LEVEL_ERROR});
}

} // namespace
