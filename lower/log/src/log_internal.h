// SPDX-License-Identifier: Apache-2.0
// What the logger's own files share.
#ifndef LOG_INTERNAL_H
#define LOG_INTERNAL_H

#include <cerrno>

#include "dds_c/dds_c_logger.h"

/**
 * An expression: true when the pointer is null, which it then reports as a failed precondition. The
 * logger has neither a module id nor masks of its own: its message is of module 0, and the
 * verbosity alone decides whether it is printed.
 */
#define KOLSLog_isNull(pointer)                                                                    \
    ((pointer) == nullptr && (KOLSLog_reportPreconditionI(__FILE__, __LINE__, __func__,            \
                                                          "\"" #pointer " == ((void *)0)\""),      \
                              true))

void KOLSLog_reportPreconditionI(const char *file, int line, const char *function,
                                 const char *text);

/**
 * Gives the record its time and hands it to the output device. What a device itself comes to say
 * goes to stderr.
 */
void KOLS_Config_Logger_deliverI(struct KOLS_Config_Logger *self,
                                 struct KOLS_Config_LogRecord *record);

namespace kols {

/** Has forked children begin with free locks of the log from now on. */
void prepare_for_forks();
/** In a forked child: nobody has the lock of stderr. */
void renew_stderr_lock();

/** Leaves errno as the caller had it: a message must not change what it is about. */
class KeptErrno {
public:
    KeptErrno() = default;
    ~KeptErrno() {
        errno = value_;
    }
    KeptErrno(const KeptErrno &) = delete;
    KeptErrno &operator=(const KeptErrno &) = delete;

private:
    int value_ = errno;
};

} // namespace kols

#endif
