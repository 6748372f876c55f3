// SPDX-License-Identifier: Apache-2.0
// The networks of a simulated process.
#pragma once

#include "simnet/simnet_process.h"

namespace simnet {

/** UDP of one class, as a process of a simulated host has it. */
NUVNetioTransport make_transport(Process &process, KOLS_Transport_ClassId_t transport);

} // namespace simnet
