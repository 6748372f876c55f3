// SPDX-License-Identifier: Apache-2.0
// Collects messages, and restores the logger after each test.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "dds_c/dds_c_logger.h"
#include "log/log_message.h"
#include "test_module.h"

struct Message {
    int number;
    NUV_UINT32 level;
    NUV_UINT32 module;
    std::string file;
    int line;
    std::string function;
    const char *name; ///< of the template, which lives for ever
    std::string body;
    std::string text;
    NUV_INT64 time;
};

/** Its own lock-free vector shows with the thread sanitizer whether calls come one at a time. */
class LogTest : public testing::Test {
protected:
    LogTest() {
        KOLS_Config_Logger_set_output_device(logger_, record, &messages_);
    }

    ~LogTest() override {
        KOLS_Config_Logger_set_output_device(logger_, nullptr, nullptr);
        KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
        KOLS_Config_Logger_set_verbosity_by_category(logger_, 0xFFFFFFFFu, 0);
    }

    static void record(void *param, const KOLS_Config_LogRecord *record) {
        static_cast<std::vector<Message> *>(param)->push_back(
            {record->number, record->level, record->module, record->file, record->line,
             record->function, record->name, record->body, record->text, record->time});
    }

    KOLS_Config_Logger *const logger_ = KOLS_Config_Logger_get_instance();
    std::vector<Message> messages_;
};
