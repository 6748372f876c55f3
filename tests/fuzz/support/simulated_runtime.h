// SPDX-License-Identifier: Apache-2.0
// A runtime for what needs one, without a thread or a socket.
#pragma once

#include "netio/netio_runtime.h"

namespace fuzz {

/** That of a process on a simulated host. It is the same for all inputs. */
NUVNetioRuntime *runtime();

} // namespace fuzz
