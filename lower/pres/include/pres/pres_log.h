// SPDX-License-Identifier: Apache-2.0
/**
 * @file pres_log.h
 * @brief The presentation layer as a module of the log.
 */
#ifndef PRES_LOG_MODULE_H
#define PRES_LOG_MODULE_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The id that its messages carry. */
#define NUV_LOG_MODULE_PRES 0xD0000u

/** The levels that are printed; read and written with NUVLog_loadMask and NUVLog_storeMask. */
extern NUV_UINT32 PRESLog_g_instrumentationMask;
/** The submodules that are printed, of which there is one: NUV_LOG_SUBMODULE_ALL. */
extern NUV_UINT32 PRESLog_g_submoduleMask;

#ifdef __cplusplus
}
#endif

#endif
