// SPDX-License-Identifier: Apache-2.0
// Parts of the sentences of findings.
#pragma once

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "doctor/facts.h"

namespace doctor {

/** An error of the system in words. */
std::string error_text(int error);

/** "1.5 s" */
std::string text_of(std::chrono::duration<double> duration);

/** As "IPv4 or IPv6". */
std::string family_names(const std::vector<Family> &families);

/** Ports as "7400, 7410-7413". */
std::string port_list(const std::set<unsigned> &ports);

/** The rule of the firewall that may be it, as " (rule "..." of ...)"; empty where none is known.
 */
std::string rule_text(const Facts &facts);

/** Whether a locator, as "udpv4://127.0.0.1:7410", is one of loopback. */
bool is_loopback_locator(const std::string &locator);

} // namespace doctor
