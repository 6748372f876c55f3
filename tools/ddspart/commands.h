// SPDX-License-Identifier: Apache-2.0
// The commands of the tool.
#pragma once

#include "options.h"

/** The exit code of a command that found something for its caller to look into. */
constexpr int FINDINGS = 3;

/** Each returns the exit code, and throws when it could not be done. */
int execute(const RunOptions &options);
int execute(const ListOptions &options);
int execute(const WhoOptions &options);
int execute(const PortsOptions &options);
int execute(const DoctorOptions &options);
int execute(const WhyOptions &options);
