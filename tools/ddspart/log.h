// SPDX-License-Identifier: Apache-2.0
// The library's log on stderr.
#pragma once

#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "dds_c/dds_c_logger.h"

/** The library could not do something; why is in its log. */
class LoggedFailure : public std::runtime_error {
public:
    /** @param remark what the tool has to say of it besides; empty: nothing. */
    explicit LoggedFailure(std::string remark = "")
        : std::runtime_error("the library could not do it"), remark_(std::move(remark)) {}

    const std::string &remark() const {
        return remark_;
    }

private:
    std::string remark_;
};

/** As long as it lives, the calling thread's messages of the library are not for anybody. */
class Silence {
public:
    Silence();
    ~Silence();
    Silence(const Silence &) = delete;
    Silence &operator=(const Silence &) = delete;
};

/**
 * Shows the library's messages of some levels on stderr for as long as it lives. It hears of errors
 * in any case, so that a failure can be explained even where they are not shown.
 */
class Log {
public:
    explicit Log(KOLS_Config_LogVerbosity shown);
    ~Log();
    Log(const Log &) = delete;
    Log &operator=(const Log &) = delete;

    /** Says why something failed, unless a line that says so has been shown, and the remark. */
    void explain(const LoggedFailure &failure);

private:
    static void receive(void *log, const KOLS_Config_LogRecord *record);

    const KOLS_Config_LogVerbosity shown_;
    std::mutex mutex_; // guards what follows: messages may come from any thread
    bool error_was_shown_ = false;
    std::string first_error_; // the first one is nearest to the cause
};
