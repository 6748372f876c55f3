// SPDX-License-Identifier: Apache-2.0
// What is simulated: hosts on one switch, their participants, and what happens to them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quantities.h"
#include "simnet/simnet_segment.h"

namespace ddssim {

/** What there may be; hosts and the processes of each are counted from 1. */
constexpr Range<std::int64_t> HOSTS = {1, 4'000};
constexpr Range<std::int64_t> PARTICIPANTS = {1, 119}; // of a host
constexpr Range<std::int64_t> SEEDS = {0, INT64_MAX - 1};

/** Between two hosts: the wire of each of them to the switch has a half of it. */
struct LinkSettings {
    simnet::Time delay = 100 * simnet::MICROSECOND;
    simnet::Time jitter = 0;
    double loss = 0;  // a share
    double burst = 1; // datagrams that are lost in a row, on average
    double duplication = 0;
    double reordering = 0;
    std::uint64_t bandwidth = 1'000'000'000; // of a wire, bits a second; 0: without a limit

    friend bool operator==(const LinkSettings &, const LinkSettings &) = default;
};

/** Where something stands that was read. */
struct Place {
    std::string text; // "robot.yaml:3:8"; "event:1:1"; empty: nowhere
};

enum class Incident {
    START,
    STOP,
    FREEZE,
    SLEEP,
    LEAVE,
    KILL,
    PARTITION,
    UNPLUG,
    FORGET,
    MOVE,
    LINK
};

/** Something that happens. */
struct Event {
    Incident incident = Incident::START;
    simnet::Time at = 0;
    std::vector<Range<std::int64_t>> hosts;                // none: all
    std::vector<Range<std::int64_t>> processes;            // of each of these; none: all
    simnet::Time every = 0;                                // from one of the hosts to the next
    std::optional<simnet::Time> duration;                  // then it is undone; none: it stays
    std::vector<std::pair<std::string, std::string>> link; // settings that change
    Place place;

    bool concerns(std::int64_t host) const;
    bool concerns_process(std::int64_t process) const;
};

struct Scenario {
    std::string title;
    std::string description;
    std::int64_t hosts = 2;
    std::int64_t participants = 1; // of each host
    std::int64_t participants_per_process = 1;
    simnet::Time start_spread = 0;
    simnet::Time duration = 0; // 0: until all know all
    std::int64_t seed = 1;
    LinkSettings link;
    simnet::Multicast multicast = simnet::Multicast::FLOODS;
    bool querier = true;
    std::vector<std::string> peers; // none: the usual ones
    simnet::Time lease = 20 * simnet::SECOND;
    simnet::Time period = 4 * simnet::SECOND;
    std::int64_t initial_announcements = 5;
    simnet::Time initial_period = 100 * simnet::MILLISECOND;
    simnet::Time reaction = 50 * simnet::MICROSECOND;
    simnet::Time receive_time = 5 * simnet::MICROSECOND;
    std::int64_t receive_buffer = 212'992; // octets
    std::vector<Event> events;

    std::int64_t processes() const { // of each host
        return (participants + participants_per_process - 1) / participants_per_process;
    }
    /** Those of a process, from 1: the last one of a host may have fewer. */
    std::int64_t participants_of_process(std::int64_t process) const {
        return std::min(participants_per_process,
                        participants - (process - 1) * participants_per_process);
    }
};

/** An event as it happens to one host. */
struct Occurrence {
    const Event *event; // of the scenario
    std::int64_t host;
    simnet::Time at;

    /** When nothing of it is to come. */
    simnet::Time end() const {
        return at + event->duration.value_or(0);
    }
};
/** Of each event in turn, of each of its hosts in turn. */
std::vector<Occurrence> occurrences_of(const Scenario &scenario);

/** The word for each, as the "do" of an event. */
struct IncidentKind {
    Incident incident;
    const char *word;
    const char *text;             // what it means
    const char *undone = nullptr; // what the end of its "for" means; null: it has none
    bool is_of_processes = false; // else of whole hosts, or of the switch
};
const std::vector<IncidentKind> &incident_kinds();
const IncidentKind &kind_of(Incident incident);

/** The number in "host3", whether there is such a host or not; none: it is another peer. */
std::optional<std::int64_t> host_of_peer(std::string_view peer);

/** What can't be is a Refusal that names the setting. */
void check(const Scenario &scenario);

} // namespace ddssim
