// SPDX-License-Identifier: Apache-2.0
// The reports of failed preconditions: of any layer, and of the logger itself.
#include "log/log_message.h"

#include "log/log_print.h"
#include "log_internal.h"

namespace {

void report(bool is_printed, NUV_UINT32 module, const char *file, int line, const char *function,
            const char *text) {
    if (is_printed) {
        NUVLogMessage_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_FATAL, module, file, line,
                                      function, &NUV_LOG_PRECONDITION_FAILURE_s, text);
    }
    if (NUVLog_g_detectPrecondition != 0) {
        NUVLog_g_preconditionDetected = 1;
    }
    NUVLog_onAssertBreakpoint();
}

} // namespace

void NUVLog_reportPrecondition(const NUVLogModule *module, NUV_UINT32 submodule,
                               const NUVOsapiActivityContext *context, const char *file, int line,
                               const char *function, const char *text) {
    report(NUVLog_isWanted(module, submodule, context, NUV_LOG_LEVEL_FATAL) != 0, module->id, file,
           line, function, text);
}

void KOLSLog_reportPreconditionI(const char *file, int line, const char *function,
                                 const char *text) {
    const KOLS_Config_LogVerbosity verbosity =
        KOLS_Config_Logger_get_verbosity(KOLS_Config_Logger_get_instance());

    report((verbosity & NUV_LOG_LEVEL_FATAL) != 0, 0, file, line, function, text);
}
