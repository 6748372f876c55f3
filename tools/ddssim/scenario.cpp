// SPDX-License-Identifier: Apache-2.0
#include "scenario.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "numbers.h"
#include "refusal.h"

namespace ddssim {

namespace {

/** The most peers that a participant takes. */
constexpr std::int64_t PEERS_MOST = 64;
/** As many as a participant knows, and itself. */
constexpr std::int64_t PARTICIPANTS_MOST = 4'097;

bool concerns(const std::vector<Range<std::int64_t>> &some, std::int64_t number) {
    return some.empty() || std::any_of(some.begin(), some.end(), [number](const auto &range) {
               return range.contains(number);
           });
}

std::int64_t last_of(const std::vector<Range<std::int64_t>> &some) {
    std::int64_t last = 0;

    for (const auto &range : some) {
        last = std::max(last, range.most);
    }
    return last;
}

[[noreturn]] void refuse(const std::string &where, const std::string &value,
                         const std::string &allowed) {
    throw Refusal(where, value, allowed);
}

/** No name of a host that is not simulated: somebody would be asked for its address. */
bool is_peer(const std::string &peer, std::int64_t hosts) {
    const std::optional<std::int64_t> host = host_of_peer(peer);

    if (peer == "all") {
        return true;
    }
    if (host) {
        return *host >= 1 && *host <= hosts;
    }
    try {
        (void)simnet::address(peer);
        return true;
    } catch (const std::invalid_argument &) {
        return false;
    }
}

void check_peers(const Scenario &scenario) {
    std::int64_t count = 0;

    for (const std::string &peer : scenario.peers) {
        count += peer == "all" ? scenario.hosts : 1;
        if (!is_peer(peer, scenario.hosts)) {
            refuse("peers: ", peer,
                   "an address, 'all', or a host from host1 to host" +
                       std::to_string(scenario.hosts));
        }
    }
    if (count > PEERS_MOST) {
        refuse("peers: ", std::to_string(count) + " peers",
               "at most " + std::to_string(PEERS_MOST) + ", which is all that a participant takes");
    }
}

void check(const Scenario &scenario, const Event &event) {
    const IncidentKind &kind = kind_of(event.incident);
    const std::string where = event.place.text.empty() ? "" : event.place.text + ": ";

    if (last_of(event.hosts) > scenario.hosts) {
        refuse(where + "hosts: ", std::to_string(last_of(event.hosts)),
               "one of the hosts 1 to " + std::to_string(scenario.hosts));
    }
    if (last_of(event.processes) > scenario.processes()) {
        refuse(where + "processes: ", std::to_string(last_of(event.processes)),
               "one of the processes 1 to " + std::to_string(scenario.processes()) + " of a host");
    }
    if (!event.processes.empty() && !kind.is_of_processes) {
        refuse(where + "processes: ", text_of_numbers(event.processes.front()),
               std::string("for an event '") + kind.word + "', which is not of single processes");
    }
    if (event.duration && kind.undone == nullptr) {
        refuse(where + "for: ", text_of_time(*event.duration),
               std::string("for an event '") + kind.word + "', which has no end");
    }
    if (event.incident == Incident::FORGET && scenario.multicast != simnet::Multicast::SNOOPS) {
        refuse(where + "do: ", "forget", "possible unless multicast is snooped");
    }
}

} // namespace

bool Event::concerns(std::int64_t host) const {
    return ddssim::concerns(hosts, host);
}

bool Event::concerns_process(std::int64_t process) const {
    return ddssim::concerns(processes, process);
}

std::vector<Occurrence> occurrences_of(const Scenario &scenario) {
    std::vector<Occurrence> all;

    for (const Event &event : scenario.events) {
        simnet::Time at = event.at;

        for (std::int64_t host = 1; host <= scenario.hosts; ++host) {
            if (event.concerns(host)) {
                all.push_back({&event, host, at});
                at += event.every;
            }
        }
    }
    return all;
}

const std::vector<IncidentKind> &incident_kinds() {
    static const std::vector<IncidentKind> kinds = {
        {Incident::START, "start",
         "participants that are not there start, and hosts that have stopped; those to whom this "
         "happens before any stop, leave or kill are not there until then",
         nullptr, true},
        {Incident::STOP, "stop", "hosts stop without a word, as without power", "they start again"},
        {Incident::FREEZE, "freeze", "the processes stand still while what is sent to them waits",
         "they go on"},
        {Incident::SLEEP, "sleep", "hosts sleep: their clocks stand, what is sent to them is lost",
         "they wake up"},
        {Incident::LEAVE, "leave", "participants say that they leave, and end", "they start again",
         true},
        {Incident::KILL, "kill", "processes end without a word", "they start again", true},
        {Incident::PARTITION, "partition", "nothing passes between these hosts and the others",
         "it does again"},
        {Incident::UNPLUG, "unplug", "hosts are plugged out of the switch",
         "they are plugged in again"},
        {Incident::FORGET, "forget", "the switch forgets who is a member of which group"},
        {Incident::MOVE, "move", "hosts get another address in place of theirs"},
        {Incident::LINK, "link",
         "the wires of hosts become others: delay, jitter, loss, burst, "
         "duplication, reordering, bandwidth",
         "they are as they were at first"},
    };

    return kinds;
}

const IncidentKind &kind_of(Incident incident) {
    return *std::find_if(
        incident_kinds().begin(), incident_kinds().end(),
        [incident](const IncidentKind &kind) { return kind.incident == incident; });
}

std::optional<std::int64_t> host_of_peer(std::string_view peer) {
    constexpr std::string_view HOST = "host";

    return peer.starts_with(HOST) ? to_number<std::int64_t>(peer.substr(HOST.size()))
                                  : std::nullopt;
}

void check(const Scenario &scenario) {
    if (scenario.hosts * scenario.participants > PARTICIPANTS_MOST) {
        refuse("hosts: ",
               std::to_string(scenario.hosts) + " with " + std::to_string(scenario.participants) +
                   " participants each",
               "at most " + std::to_string(PARTICIPANTS_MOST) +
                   " participants: each of them knows all others");
    }
    if (scenario.period > scenario.lease / 4) {
        refuse("period: ", text_of_time(scenario.period),
               "at most " + text_of_time(scenario.lease / 4) + ", a quarter of the lease");
    }
    check_peers(scenario);
    for (const Event &event : scenario.events) {
        check(scenario, event);
    }
}

} // namespace ddssim
