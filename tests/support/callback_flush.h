// SPDX-License-Identifier: Apache-2.0
// Waiting for the callbacks into the application.
#pragma once

#include "netio/netio_callback.h"

namespace support {

/** Waits until every callback that was posted so far has been called. */
void flush_callbacks(NUVNetioRuntime *runtime);

} // namespace support
