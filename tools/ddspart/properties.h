// SPDX-License-Identifier: Apache-2.0
// The properties of the library that the tool gives or speaks of.
#pragma once

constexpr const char *ALLOW_INTERFACES = "dds.transport.allow_interfaces";
constexpr const char *ANNOUNCE = "dds.discovery.announce";
constexpr const char *MULTICAST_TTL = "dds.transport.multicast_ttl";
