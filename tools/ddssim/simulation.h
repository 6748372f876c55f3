// SPDX-License-Identifier: Apache-2.0
// Runs a scenario, once.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "acquaintance.h"
#include "scenario.h"
#include "traffic.h"

namespace ddssim {

/** One direction of a host's wire. */
struct LinkUse {
    std::uint64_t packets = 0;    // IP packets that went in
    std::uint64_t octets_in = 0;  // of these
    std::uint64_t octets_out = 0; // that came out
};

struct HostResult {
    std::string name;
    Kinds sent;
    LinkUse up;   // to the switch
    LinkUse down; // from there
};

struct DropResult {
    const char *reason;
    std::uint64_t datagrams;
};

struct Result {
    std::int64_t seed = 0;
    simnet::Time duration = 0;             // that was simulated
    bool is_over = false;                  // else it was ended before its time
    std::size_t participants = 0;          // at the end
    simnet::Time started = 0;              // when the last one had started that starts by itself
    std::optional<simnet::Time> all_known; // when all knew all for the first time
    std::vector<Moment> curve;
    Moment end;
    std::uint64_t lost_living = 0;
    Kinds sent;                        // over the network, by kind
    std::uint64_t sent_altogether = 0; // datagrams, those within a host among them
    std::uint64_t received = 0;        // datagrams, by processes
    std::vector<DropResult> drops;
    std::size_t later_events = 0; // that had not happened to all of their hosts by the end
    std::size_t busiest_second = 0;
    Amount busiest;
    std::size_t later_seconds = 0; // whole ones of the second half
    Amount sent_later;             // in these
    std::vector<HostResult> hosts;
    std::uint64_t heap = 0; // octets that the library had allocated for those there at the end
    std::uint64_t resident_peak = 0; // octets of this process
    double processor_seconds = 0;
    std::string hash;

    /** Whether at the end all who are there know all. */
    bool is_complete() const {
        return end.is_complete();
    }
};

/** How far it is. */
struct Progress {
    simnet::Time time;
    double known; // the share of what there is to know
};

struct Supervision {
    simnet::Capture *capture = nullptr; // null: none
    /** Asked every now and then; false ends it. */
    std::function<bool(const Progress &)> goes_on = [](const Progress &) { return true; };
};

/** Throws a std::runtime_error when a participant cannot be had. */
Result simulate(const Scenario &scenario, std::int64_t seed, const Supervision &supervision);

} // namespace ddssim
