// SPDX-License-Identifier: Apache-2.0
// The module that the tests of the log print for.
#include "test_module.h"

NUV_LOG_DEFINE_MODULE(TEST);
