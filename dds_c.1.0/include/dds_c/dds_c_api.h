// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_api.h
 * @brief What the declarations of every public header stand between.
 *
 * They have C linkage, and their names are all that the shared library shows.
 */
#ifndef DDS_C_API_H
#define DDS_C_API_H

#ifdef __cplusplus
#define DDS_C_API_BEGIN                                                                            \
    extern "C" {                                                                                   \
    _Pragma("GCC visibility push(default)")
#define DDS_C_API_END                                                                              \
    _Pragma("GCC visibility pop")                                                                  \
    }
#else
#define DDS_C_API_BEGIN _Pragma("GCC visibility push(default)")
#define DDS_C_API_END _Pragma("GCC visibility pop")
#endif

#endif
