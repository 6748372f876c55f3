// SPDX-License-Identifier: Apache-2.0
// Collects what the library logs, and restores the logger after each test.
#pragma once

#include <string>
#include <vector>

#include "dds_c/dds_c_logger.h"
#include "heap_test.h"
#include "infrastructure/dds_log.h"
#include "log/log_message.h"

struct Message {
    NUV_UINT32 level;
    NUV_UINT32 module;
    std::string function;
    std::string name; // of the template
    std::string body;
};

/** A test that sees every message and leaves no memory behind. */
class MessageTest : public HeapTest {
protected:
    MessageTest() {
        KOLS_Config_Logger_set_output_device(KOLS_Config_Logger_get_instance(), record, &messages_);
    }

    ~MessageTest() override {
        KOLS_Config_Logger *logger = KOLS_Config_Logger_get_instance();
        KOLS_Config_Logger_set_output_device(logger, nullptr, nullptr);
        KOLS_Config_Logger_set_verbosity(logger, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
        KOLS_Config_Logger_set_verbosity_by_category(logger, 0xFFFFFFFFu, 0);
    }

    static void record(void *param, const KOLS_Config_LogRecord *record) {
        static_cast<std::vector<Message> *>(param)->push_back(
            {record->level, record->module, record->function,
             record->name != nullptr ? record->name : "", record->body});
    }

    /** The one message that there is, which is then forgotten. */
    Message take_message() {
        EXPECT_EQ(messages_.size(), 1u);
        Message message = messages_.empty() ? Message{} : messages_.front();
        messages_.clear();
        return message;
    }

    /** Checks that the one message is the failed precondition of this text. */
    void expect_precondition(const char *text) {
        const Message message = take_message();
        EXPECT_EQ(message.level, NUV_LOG_LEVEL_FATAL);
        EXPECT_EQ(message.name, "NUV_LOG_PRECONDITION_FAILURE_s");
        EXPECT_EQ(message.body, "precondition failed: " + std::string(text));
    }

    std::vector<Message> messages_;
};
