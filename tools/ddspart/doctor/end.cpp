// SPDX-License-Identifier: Apache-2.0
#include "doctor/end.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <unistd.h>

#include "doctor/interface_checks.h"
#include "held_ports.h"
#include "host/interface_addresses.h"
#include "host/network_addresses.h"
#include "listening.h"
#include "log.h"
#include "numbers.h"

namespace doctor {

namespace {

constexpr const char *TOOL = "ddspart doctor";
/** More than any host has on which somebody looks for one that is missing. */
constexpr std::size_t RESIDENTS_HIGHEST = 64;
constexpr std::size_t HEARD_HIGHEST = 256;
constexpr std::size_t LOCATORS_HIGHEST = 8;
constexpr std::size_t NAME_HIGHEST = 64;
/** Fields of the record of a participant: what it is, its GUID and its name. */
constexpr std::size_t WITHOUT_LOCATORS = 3;

bool is_loopback(const std::string &address) {
    return address.starts_with("127.") || address == "::1";
}

bool is_tool(const Sighting &other) {
    return other.tool.has_value();
}

std::string name_of(const Sighting &other) {
    return other.name.value_or(other.process.value_or(other.guid)).substr(0, NAME_HIGHEST);
}

/** Records with these values, some to each. */
template <class Values, class ToText>
void add_records(std::vector<Record> &records, const std::string &name, const Values &values,
                 ToText to_text) {
    constexpr std::size_t MOST = 8;
    std::size_t count = MOST;

    for (const auto &value : values) {
        if (count == MOST) {
            records.push_back({name});
            count = 0;
        }
        records.back().push_back(to_text(value));
        ++count;
    }
}

/** Takes numbers from the fields of a record; what is none is left out. */
template <class Number>
void insert_numbers(std::set<Number> &numbers, const Record &record) {
    for (std::size_t i = 1; i < record.size(); ++i) {
        if (const auto number = to_number<Number>(record[i])) {
            numbers.insert(*number);
        }
    }
}

/** Nobody who uses another interface hears one that is on loopback, not even on its host. */
void add_lonely(End &end, const HeldPorts &held) {
    const std::vector<std::string> places = places_of(held);
    const bool is_lonely = std::ranges::all_of(held.addresses, is_loopback) && !places.empty();

    if (is_lonely &&
        std::ranges::find(end.residents, places, &End::Resident::locators) == end.residents.end()) {
        const std::string process = process_of(held.holders.front());

        end.residents.push_back({places.front(),
                                 process.empty() ? "with index " + std::to_string(*held.index)
                                                 : process.substr(0, NAME_HIGHEST),
                                 places});
    }
}

} // namespace

OwnEnd::OwnEnd(const DoctorOptions &options, const Wishes &wishes, const Facts &facts)
    : options_(options), wishes_(wishes), facts_(facts) {}

VolleyPlan OwnEnd::volley_plan(Family family, std::uint64_t token) const {
    return {family, wishes_, facts_.interfaces, token};
}

bool OwnEnd::needs_multicast() const {
    return wishes_.has_groups(wishes_.families.front()) && !has_far_peer(facts_, wishes_);
}

void OwnEnd::listen() {
    const Silence silence;

    try {
        listener_ = std::make_unique<Participant>(factory_, listening_only(options_));
    } catch (const LoggedFailure &) {
        listener_ = nullptr; // it is heard who answers
    }
}

bool OwnEnd::announce(const std::vector<std::string> &places) {
    const Silence silence;
    ParticipantOptions own = options_;

    take_heard();
    announcer_ = nullptr;
    own.tool = TOOL;
    own.peers = places;
    for (const HeldPorts &held : held()) {
        if (held.domain == wishes_.domain && held.network.is_own && held.index) {
            std::ranges::move(places_of(held), std::back_inserter(own.peers));
        }
    }
    if (own.peers.empty()) {
        return true;
    }
    try {
        announcer_ = join_at_highest_index(factory_, std::move(own));
    } catch (const LoggedFailure &) {
        return false;
    }
    return true;
}

void OwnEnd::stop_announcing() {
    if (announcer_) {
        take_heard();
        announcer_ = nullptr;
    }
}

void OwnEnd::forget() {
    heard_.clear();
    has_refused_tags_ = false;
}

std::vector<HeldPorts> OwnEnd::held() const {
    const std::optional<PortMap> &map = facts_.port_map;

    return map ? held_ports(holdings(*map, true, getpid()), *map, heard_,
                            host::interface_addresses())
               : std::vector<HeldPorts>();
}

void OwnEnd::take_heard() {
    for (const Participant *const participant : {listener_.get(), announcer_.get()}) {
        if (participant == nullptr) {
            continue;
        }
        for (Sighting &other : participant->others()) {
            if (!is_tool(other) &&
                std::ranges::find(heard_, other.guid, &Sighting::guid) == heard_.end()) {
                heard_.push_back(std::move(other));
            }
        }
        has_refused_tags_ = has_refused_tags_ ||
                            participant->statistics().refused[DDS_DISCOVERY_REFUSED_DOMAIN_TAG] > 0;
    }
}

std::size_t OwnEnd::number_heard() {
    take_heard();
    return heard_.size();
}

void OwnEnd::find_residents(End &end, const std::set<std::string> &addresses_of_guests) const {
    const std::set<std::string> own = host::interface_addresses();
    bool is_any_own = false;

    for (const Sighting &other : heard_) {
        const bool is_own = is_at(other, own);

        is_any_own = is_any_own || is_own;
        if ((is_own || is_at(other, addresses_of_guests)) &&
            end.residents.size() < RESIDENTS_HIGHEST) {
            end.residents.push_back(
                {other.guid, name_of(other), other.metatraffic_unicast_locators});
        }
        if (end.heard.size() < HEARD_HIGHEST) {
            end.heard.insert(other.guid);
        } else {
            end.is_whole = false;
        }
    }
    end.is_tagged = has_refused_tags_ && !end.discovery_ports.empty() && !is_any_own;
}

End OwnEnd::look() {
    std::set<std::string> addresses_of_guests;
    End end;

    take_heard();
    std::vector<HeldPorts> all = held();
    std::vector<HeldPorts> own;

    if (facts_.ephemeral) {
        keep_telling(all, *facts_.ephemeral);
    }
    for (const Interface &interface : facts_.interfaces) {
        for (const Address &address : interface.addresses) {
            if (!interface.is_loopback) {
                end.addresses.insert(address.text);
            }
        }
    }
    for (HeldPorts &each : all) {
        const bool is_of_domain = each.domain == wishes_.domain;

        if (!each.index || each.are_blocked()) {
            continue;
        }
        if (!each.network.is_own) {
            const auto net = is_of_domain ? host::net_directory(each.network) : std::nullopt;

            addresses_of_guests.merge(net ? host::network_addresses(*net)
                                          : std::set<std::string>());
            continue;
        }
        // Two ports in a row may be anything, and nobody has been asked in the other domains.
        if (is_of_domain || each.evidence > HeldPorts::Evidence::BOTH_UNICAST_PORTS) {
            end.domains.insert(each.domain);
        }
        if (is_of_domain) {
            own.push_back(std::move(each));
        }
    }
    for (const HeldPorts &each : own) {
        for (const Port &port : each.ports) {
            if (port.kind == "builtin_unicast") {
                end.discovery_ports.insert(static_cast<unsigned>(port.number));
            }
        }
    }
    find_residents(end, addresses_of_guests);
    for (const HeldPorts &each : own) {
        add_lonely(end, each);
    }
    end.needs_multicast = needs_multicast();
    return end;
}

std::vector<Record> to_records(const End &end) {
    const auto as_is = [](const std::string &text) { return text; };
    const auto as_number = [](auto number) { return std::to_string(number); };
    std::vector<Record> records;

    add_records(records, "address", end.addresses, as_is);
    add_records(records, "port", end.discovery_ports, as_number);
    add_records(records, "domain", end.domains, as_number);
    add_records(records, "heard", end.heard, as_is);
    for (const End::Resident &resident : end.residents) {
        Record record = {"resident", resident.guid, resident.name};

        for (const std::string &locator : resident.locators) {
            if (record.size() < WITHOUT_LOCATORS + LOCATORS_HIGHEST) {
                record.push_back(locator);
            }
        }
        records.push_back(std::move(record));
    }
    if (end.is_tagged) {
        records.push_back({"tagged"});
    }
    if (end.needs_multicast) {
        records.push_back({"multicast"});
    }
    if (!end.is_whole) {
        records.push_back({"cut"});
    }
    return records;
}

End to_end(const std::vector<Record> &records) {
    End end;

    for (const Record &record : records) {
        const std::string &name = record.front();

        if (name == "address") {
            end.addresses.insert(record.begin() + 1, record.end());
        } else if (name == "port") {
            insert_numbers(end.discovery_ports, record);
        } else if (name == "domain") {
            insert_numbers(end.domains, record);
        } else if (name == "heard") {
            end.heard.insert(record.begin() + 1, record.end());
        } else if (name == "resident" && record.size() >= WITHOUT_LOCATORS) {
            const std::size_t count = std::min(record.size() - WITHOUT_LOCATORS, LOCATORS_HIGHEST);
            const auto first = record.begin() + WITHOUT_LOCATORS;

            end.residents.push_back(
                {record[1], record[2], {first, first + static_cast<std::ptrdiff_t>(count)}});
        } else if (name == "tagged") {
            end.is_tagged = true;
        } else if (name == "multicast") {
            end.needs_multicast = true;
        } else if (name == "cut") {
            end.is_whole = false;
        }
    }
    return end;
}

} // namespace doctor
