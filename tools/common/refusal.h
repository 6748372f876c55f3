// SPDX-License-Identifier: Apache-2.0
// Values that are not allowed.
#pragma once

#include <stdexcept>
#include <string>

/** A value that an option can't have: says so, and what is allowed. */
class Refusal : public std::runtime_error {
public:
    Refusal(const std::string &value, const std::string &allowed) : Refusal("", value, allowed) {}
    /** @param where in front of it, as "peers: " */
    Refusal(const std::string &where, const std::string &value, const std::string &allowed)
        : std::runtime_error(where + "'" + value + "' is not " + allowed) {}
};
