// SPDX-License-Identifier: Apache-2.0
// The module of the log that this layer is.
#include "disc_log.h"

NUV_LOG_DEFINE_MODULE(DISC);
