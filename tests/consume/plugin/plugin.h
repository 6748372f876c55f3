// SPDX-License-Identifier: Apache-2.0
/* So that the host finds the example's function by its name, in C++ too. */
#ifdef __cplusplus
extern "C"
#endif
    int
    plugin_main(void);
