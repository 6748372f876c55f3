// SPDX-License-Identifier: Apache-2.0
// The commands of the tool.
#pragma once

#include "options.h"

/** Each throws when it could not be done. */
void execute(const RunOptions &options);
void execute(const PortsOptions &options);
