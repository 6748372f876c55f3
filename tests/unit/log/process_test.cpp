// SPDX-License-Identifier: Apache-2.0
// Messages of processes that fork and of threads that are cancelled.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dds_c/dds_c_logger.h"
#include "log/log_message.h"
#include "log/log_module.h"
#include "test_module.h"

namespace {

constexpr unsigned FAR_TOO_LONG = 60; // seconds

void print() {
    NUVLogParamString_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_ERROR, TEST_LOG_MODULE.id,
                                      "file", 1, "function", "%s", "text");
}

/** A device of the test's own for as long as it lives. */
class Device {
public:
    Device(KOLS_Config_LoggerDevice device, void *param) {
        KOLS_Config_Logger_set_output_device(KOLS_Config_Logger_get_instance(), device, param);
    }
    ~Device() {
        KOLS_Config_Logger_set_output_device(KOLS_Config_Logger_get_instance(), nullptr, nullptr);
    }
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;
};

TEST(ForkedLog, ChildPrintsAlthoughAnotherThreadWasPrintingDuringTheFork) {
    std::atomic<bool> over = false;
    std::atomic<int> printed = 0;
    const Device device(
        [](void *param, const KOLS_Config_LogRecord *) {
            ++*static_cast<std::atomic<int> *>(param);
            (void)usleep(100); // so that a fork mostly comes within
        },
        &printed);
    std::thread printing([&] {
        while (!over) {
            print();
        }
    });

    for (int i = 0; i < 20 && !HasFailure(); ++i) {
        const pid_t child = fork();

        if (child == 0) {
            alarm(FAR_TOO_LONG);
            print();
            _exit(0);
        }
        int status = -1;

        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << i;
    }
    over = true;
    printing.join();
    EXPECT_GT(printed, 0);
}

TEST(ForkedLog, DeviceMayFork) {
    int child_status = -1;
    const Device device(
        [](void *param, const KOLS_Config_LogRecord *) {
            const pid_t child = fork();

            if (child == 0) {
                _exit(0);
            }
            (void)waitpid(child, static_cast<int *>(param), 0);
        },
        &child_status);

    print();
    EXPECT_EQ(child_status, 0);
    print(); // nothing has stayed locked
}

TEST(CancelledLog, ThreadIsNotCancelledWithinTheDevice) {
    std::atomic<int> over = 0;
    const Device device(
        [](void *param, const KOLS_Config_LogRecord *) {
            (void)pthread_cancel(pthread_self());
            pthread_testcancel();
            ++*static_cast<std::atomic<int> *>(param);
        },
        &over);
    pthread_t thread{};
    void *result = nullptr;

    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void *) -> void * {
                      print();
                      pthread_testcancel();
                      return nullptr;
                  },
                  nullptr),
              0);
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED); // after the message
    EXPECT_EQ(over, 1);
}

} // namespace
