// SPDX-License-Identifier: Apache-2.0
/**
 * @file disc_log.h
 * @brief Discovery as a module of the log.
 */
#ifndef DISC_LOG_MODULE_H
#define DISC_LOG_MODULE_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The id that its messages carry. */
#define NUV_LOG_MODULE_DISC 0xE0000u

/** The levels that are printed; read and written with NUVLog_loadMask and NUVLog_storeMask. */
extern NUV_UINT32 DISCLog_g_instrumentationMask;
/** The submodules that are printed, of which there is one: NUV_LOG_SUBMODULE_ALL. */
extern NUV_UINT32 DISCLog_g_submoduleMask;

#ifdef __cplusplus
}
#endif

#endif
