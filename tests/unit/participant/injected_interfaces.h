// SPDX-License-Identifier: Apache-2.0
// Interfaces that a test makes up, in place of those that the kernel has.
#pragma once

#include <string>
#include <vector>

#include <net/if.h>

namespace injected {

/** An interface, up and running unless it is said otherwise. No multicast: nothing is joined. */
struct Link {
    std::string name;
    std::vector<std::string> addresses; // of IPv4 or IPv6
    unsigned flags = IFF_UP | IFF_RUNNING;
};

using Links = std::vector<Link>;

/**
 * For as long as it lives, the kernel's list of interfaces is this one. Its events can't be had
 * meanwhile, so that only the test says when something has happened. One at a time.
 */
class Interfaces {
public:
    explicit Interfaces(Links links);
    ~Interfaces();
    Interfaces(const Interfaces &) = delete;
    Interfaces &operator=(const Interfaces &) = delete;

    void set(Links links);
    /** The kernel's events can be had from now on; there are none of what the test makes up. */
    void allow_events();
    /** How often the kernel was asked for the list. */
    int listings() const;

    /** An update of locators does not come to its end from now on. */
    void hold_updates();
    bool has_held_update() const;
    void let_updates_go();
};

} // namespace injected
