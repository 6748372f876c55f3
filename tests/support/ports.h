// SPDX-License-Identifier: Apache-2.0
/**
 * @file ports.h
 * @brief UDP ports that belong to this test program alone.
 */
#pragma once

namespace support {

/** How many ports in a row a test program has for itself. */
constexpr int PORTS_OF_A_PROGRAM = 250;

/**
 * The first of the ports of this program. They are below those that the kernel gives out by itself,
 * and no other test program that runs in the same network has any of them: the range is claimed for
 * as long as the process lives, and its children have it too. Without a free range the process
 * ends.
 */
int portBase();

} // namespace support
