// SPDX-License-Identifier: Apache-2.0
// Addresses as the tables of the kernel have them.
#pragma once

#include <string>
#include <string_view>

namespace host {

/**
 * The address, "192.0.2.2" or "fd00::2", of words of 32 bits in hexadecimal, each as the host has
 * it: one for IPv4, four for IPv6. Empty for what is no address.
 */
std::string address_of_words(std::string_view hexadecimal);

/** Whether an address, as text, is that of a multicast group. */
bool is_group(const std::string &address);

} // namespace host
