// SPDX-License-Identifier: Apache-2.0
// Logging of this layer.
#ifndef REDA_LOG_H
#define REDA_LOG_H

#include "log/log_print.h"
#include "reda/reda_log.h"

constexpr NUVLogModule REDA_LOG_MODULE = {NUV_LOG_MODULE_REDA, "REDA",
                                          &REDALog_g_instrumentationMask, &REDALog_g_submoduleMask};

#endif
