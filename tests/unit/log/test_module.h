// SPDX-License-Identifier: Apache-2.0
// A module of the log, as a layer has one; it registers itself when the program is loaded.
#pragma once

#include "log/log_module.h"

extern NUV_UINT32 TESTLog_g_instrumentationMask;
extern NUV_UINT32 TESTLog_g_submoduleMask;

constexpr NUVLogModule TEST_LOG_MODULE = {0x70000u, "TEST", &TESTLog_g_instrumentationMask,
                                          &TESTLog_g_submoduleMask};
