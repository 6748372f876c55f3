// SPDX-License-Identifier: Apache-2.0
// Trials: what the host really does with datagrams for the ports of participants.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "doctor/facts.h"

namespace doctor {

/** What is to be tried of a host. */
struct ProbePlan {
    std::vector<Interface> interfaces; // of the host
    Wishes wishes;
    /** Of the first participant indices, in order; those that are somebody's are left alone. */
    std::vector<std::vector<unsigned>> unicast_ports;
};

/**
 * Sends this host a few datagrams and sees which of them come back: to each group by way of each
 * interface, to the discovery port, to the unicast ports and to one that is nobody's; and to these
 * ports at the address of each interface. None leaves the host, since their time to live is 0, and
 * whoever else is here and receives one has a message without anything in it.
 *
 * Ports that are free are held meanwhile, those of one index after the other: for less than a
 * millisecond where all is well, and for a tenth of a second where nothing comes back. Takes little
 * more than @p most_time; an interface for which that is too little is named in @p unseen.
 */
std::vector<Probe> probe(const ProbePlan &plan, std::chrono::milliseconds most_time,
                         std::vector<std::string> &unseen);

} // namespace doctor
