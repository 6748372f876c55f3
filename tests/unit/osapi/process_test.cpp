// SPDX-License-Identifier: Apache-2.0
// Forks and the cancellation of threads.
#include "osapi/osapi_process.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include "osapi/osapi_heap.h"

namespace {

int cancel_state() {
    int state = -1;

    (void)pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
    (void)pthread_setcancelstate(state, nullptr);
    return state;
}

/** What a forked child returned. */
template <class Function>
int in_child(Function function) {
    const pid_t child = fork();

    if (child == 0) {
        _exit(function());
    }
    int status = -1;

    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ProcessTest, GenerationStaysTheSameWithinAProcess) {
    const NUV_UINT32 generation = NUVOsapiProcess_getGeneration();

    EXPECT_NE(generation, 0u);
    EXPECT_EQ(NUVOsapiProcess_getGeneration(), generation);
}

TEST(ProcessTest, GenerationIsAnotherOneInEachForkedChild) {
    const NUV_UINT32 generation = NUVOsapiProcess_getGeneration();
    const auto compare = [&] {
        const NUV_UINT32 own = NUVOsapiProcess_getGeneration();
        const int of_grandchild = in_child([&] {
            const NUV_UINT32 youngest = NUVOsapiProcess_getGeneration();
            return youngest != own && youngest != generation ? 0 : 1;
        });

        return own != generation && of_grandchild == 0 ? 0 : 1;
    };

    EXPECT_EQ(in_child(compare), 0);
    EXPECT_EQ(NUVOsapiProcess_getGeneration(), generation);
}

TEST(ProcessTest, IdentityIsThatOfTheCallingProcess) {
    NUVOsapiProcessIdentity identity;
    char host[256] = {};

    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    NUVOsapiProcess_identify(&identity);
    EXPECT_EQ(identity.pid, getpid());
    EXPECT_STREQ(identity.program, "test_osapi");
    EXPECT_STREQ(identity.host, host);
    EXPECT_EQ(in_child([&] {
                  NUVOsapiProcess_identify(&identity);
                  return identity.pid == getpid() ? 0 : 1;
              }),
              0);
}

TEST(ProcessTest, CancellationIsHeldOffAndReleasedAsItWas) {
    {
        const osapi::CancellationHold outer;

        EXPECT_EQ(cancel_state(), PTHREAD_CANCEL_DISABLE);
        { const osapi::CancellationHold inner; }
        EXPECT_EQ(cancel_state(), PTHREAD_CANCEL_DISABLE);
    }
    EXPECT_EQ(cancel_state(), PTHREAD_CANCEL_ENABLE);
}

TEST(ProcessTest, ForkedChildHasAHeapAlthoughAnotherThreadWasInItDuringTheFork) {
    constexpr unsigned FAR_TOO_LONG = 60; // seconds
    std::atomic<bool> is_in_it = false;
    std::atomic<bool> over = false;
    const auto use_heap = [] {
        char *text = nullptr;

        NUVOsapiHeap_allocateString(&text, 10);
        NUVOsapiHeap_freeString(text);
    };
    std::thread other([&] {
        while (!over) {
            use_heap();
            is_in_it = true;
        }
    });

    while (!is_in_it) { // a fork while the thread is being made would try a sanitizer, not the heap
        std::this_thread::yield();
    }
    for (int i = 0; i < 200 && !testing::Test::HasFailure(); ++i) {
        EXPECT_EQ(in_child([&] {
                      alarm(FAR_TOO_LONG);
                      use_heap();
                      return 0;
                  }),
                  0)
            << i;
    }
    over = true;
    other.join();
}

} // namespace
