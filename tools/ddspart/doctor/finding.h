// SPDX-License-Identifier: Apache-2.0
// What keeps participants from finding each other.
#pragma once

#include <string>

namespace doctor {

/** Texts may have parts from outside: they are not yet fit for a terminal. */
struct Finding {
    std::string id;      // of the check that has found it, "interface-down" for one
    std::string subject; // what it is about: the name of an interface, a port, a peer, ...
    std::string cause;   // a sentence
    std::string remedy;  // the same

    bool operator==(const Finding &) const = default;
};

} // namespace doctor
