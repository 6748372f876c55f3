// SPDX-License-Identifier: Apache-2.0
// What a failed precondition leaves behind, besides its message.
#include "log/log_message.h"

int NUVLog_g_detectPrecondition = 0;
int NUVLog_g_preconditionDetected = 0;

__attribute__((noinline)) void NUVLog_onAssertBreakpoint(void) {
    // The empty statement keeps the calls: without it they could be taken for calls of nothing.
    __asm__ volatile("");
}
