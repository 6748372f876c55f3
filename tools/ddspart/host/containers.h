// SPDX-License-Identifier: Apache-2.0
// The container that a process is in.
#pragma once

#include <string>

namespace host {

/**
 * The container's name, or the first twelve digits of its number, as far as the control groups of a
 * process, "/proc/PID/cgroup", tell: those of Docker, Podman, Kubernetes, LXC and systemd-nspawn.
 * Printable; empty when they tell of none.
 */
std::string container_of(const std::string &cgroups);

} // namespace host
