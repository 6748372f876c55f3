// What a failed precondition leaves behind, besides its message; and the logger's own ones.
#include "log/log_message.h"

#include "log_internal.h"

int NUVLog_g_detectPrecondition = 0;
int NUVLog_g_preconditionDetected = 0;

__attribute__((noinline)) void NUVLog_onAssertBreakpoint(void) {
    // The empty statement keeps the calls: without it they could be taken for calls of nothing.
    __asm__ volatile("");
}

void KOLSLog_reportPreconditionI(const char *file, int line, const char *function,
                                 const char *text) {
    const KOLS_Config_LogVerbosity verbosity =
        KOLS_Config_Logger_get_verbosity(KOLS_Config_Logger_get_instance());

    if ((verbosity & NUV_LOG_LEVEL_FATAL) != 0) {
        NUVLogMessage_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_FATAL, 0, file, line,
                                      function, &NUV_LOG_PRECONDITION_FAILURE_s, text);
    }
    if (NUVLog_g_detectPrecondition) {
        NUVLog_g_preconditionDetected = 1;
    }
    NUVLog_onAssertBreakpoint();
}
