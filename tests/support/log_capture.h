// SPDX-License-Identifier: Apache-2.0
/**
 * @file log_capture.h
 * @brief Takes the messages that the test's thread logs, whole, instead of printing them.
 *
 *     LogCapture log;
 *     DDS_DomainParticipantPresentation_finalize(nullptr, worker);
 *     EXPECT_EQ(log.messages(),
 *               Messages({{.level = NUV_LOG_LEVEL_FATAL,
 *                          .name = "NUV_LOG_PRECONDITION_FAILURE_s",
 *                          .function = "DDS_DomainParticipantPresentation_finalize",
 *                          .text = "precondition failed: \"self == ((void *)0)\""}}));
 *
 * It begins with every level and submodule switched on and no category. Verbosity, masks,
 * categories and the precondition flags are afterwards as they were, whatever the test sets; the
 * output device is the default one again.
 */
#pragma once

#include <iosfwd>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "dds_c/dds_c_logger.h"
#include "infrastructure/dds_log.h"

namespace support {

/** One message. What a test does not name is as it is for most messages. */
struct Message {
    int number = NUV_LOG_UNNUMBERED;
    NUV_UINT32 level = NUV_LOG_LEVEL_ERROR;
    NUV_UINT32 module = NUV_LOG_MODULE_DDS;
    std::string file = "DomainParticipantPresentation.cpp"; ///< without its directory
    std::string function = {};
    std::string name = {}; ///< of the template; empty when there is none
    std::string body = {}; ///< without the template's words; empty when it is the whole text
    std::string text = {};

    bool operator==(const Message &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Message &message);

using Messages = std::vector<Message>;

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    /** What the test's thread has logged since the beginning, or since it was cleared. */
    Messages messages() const;
    /** Only what comes from one source file. */
    Messages messagesOf(const std::string &file) const;
    /** What other threads have logged. */
    Messages messagesOfOtherThreads() const;
    void clear();

private:
    static void take(void *param, const KOLS_Config_LogRecord *record);

    struct Masks {
        KOLS_Config_LogVerbosity verbosity;
        std::vector<NUV_UINT32> words;
        int detectPrecondition;
        int preconditionDetected;
    };

    const std::thread::id thread_ = std::this_thread::get_id();
    const Masks before_;
    mutable std::mutex mutex_;
    Messages messages_;
    Messages ofOtherThreads_;
};

} // namespace support
