// SPDX-License-Identifier: Apache-2.0
#include "log.h"

#include "streams.h"

namespace {

constexpr KOLS_Config_LogVerbosity ERRORS = KOLS_CONFIG_LOG_VERBOSITY_ERROR;

thread_local bool is_silent = false; // a message is received by the thread that it is from

} // namespace

Silence::Silence() {
    is_silent = true;
}

Silence::~Silence() {
    is_silent = false;
}

Log::Log(KOLS_Config_LogVerbosity shown) : shown_(shown) {
    KOLS_Config_Logger *const logger = KOLS_Config_Logger_get_instance();

    KOLS_Config_Logger_set_output_device(logger, receive, this);
    KOLS_Config_Logger_set_verbosity(logger, shown | ERRORS);
}

Log::~Log() {
    KOLS_Config_Logger_set_output_device(KOLS_Config_Logger_get_instance(), nullptr, nullptr);
}

void Log::explain(const LoggedFailure &failure) {
    const std::lock_guard lock(mutex_);

    if (!error_was_shown_) {
        write_message(std::string("ddspart: ") +
                      (first_error_.empty() ? failure.what() : first_error_));
    }
    if (!failure.remark().empty()) {
        write_message("ddspart: " + failure.remark());
    }
}

void Log::receive(void *log, const KOLS_Config_LogRecord *record) {
    if (is_silent) {
        return;
    }
    Log &self = *static_cast<Log *>(log);
    const bool is_error = (record->level & ERRORS) != 0;
    const std::lock_guard lock(self.mutex_);

    if ((record->level & self.shown_) != 0) {
        KOLS_Config_Logger_write_record(record);
        self.error_was_shown_ = self.error_was_shown_ || is_error;
    } else if (is_error && self.first_error_.empty()) {
        self.first_error_ = record->text;
    }
}
