// SPDX-License-Identifier: Apache-2.0
// ddspart list: who is in some domains.
#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <unistd.h>

#include "commands.h"
#include "list_table.h"
#include "listening.h"
#include "log.h"
#include "output.h"
#include "participant.h"
#include "ports.h"
#include "signals.h"
#include "streams.h"

namespace {

constexpr const char *TOOL = "ddspart list";
constexpr int COULD_NOT_BE_DONE = 1;
constexpr std::chrono::seconds TIME_TO_ANSWER(2);
/** Beyond the 4 seconds after which a participant usually announces itself again. */
constexpr std::chrono::seconds TIME_TO_LISTEN(5);

using Joined = std::unique_ptr<Participant>;

Joined enter(const Factory &factory, const ListOptions &list, DDS_DomainId_t domain) {
    ParticipantOptions options;

    options.domain = domain;
    options.well_known_ports = list.well_known_ports;
    options.transports = list.transports;
    options.interfaces = list.interfaces;
    options.peers = list.peers;
    options.tool = TOOL;
    if (list.listens_only()) {
        return std::make_unique<Participant>(factory, listening_only(std::move(options)));
    }
    return join_at_highest_index(factory, options);
}

/** Whether others have come, changed or gone since. */
bool is_news(const DDS_DiscoveryStatistics &now, const DDS_DiscoveryStatistics &before) {
    return now.came != before.came || now.changed != before.changed || now.left != before.left ||
           now.lost != before.lost;
}

/** How those went that are there no more. */
Encounter::Change how_they_went(const DDS_DiscoveryStatistics &now,
                                const DDS_DiscoveryStatistics &before) {
    if (now.lost == before.lost) {
        return Encounter::Change::LEFT;
    }
    return now.left == before.left ? Encounter::Change::LOST : Encounter::Change::GONE;
}

bool is_application(const Sighting &other) {
    return !other.tool;
}

/** A participant of the tool's own, and whom it knows. */
class Lookout {
public:
    Lookout(const Factory &factory, const ListOptions &options, DDS_DomainId_t domain)
        : participant_(enter(factory, options, domain)) {}

    /** Adds what has become of others since the last call. */
    void poll(std::vector<Encounter> &encounters) {
        const DDS_DiscoveryStatistics now = participant_->statistics();

        if (is_news(now, before_)) {
            std::vector<Sighting> others = participant_->others();

            // Asked again: whoever is not among these any more has been counted by now.
            compare(std::move(others), how_they_went(participant_->statistics(), before_),
                    encounters);
            before_ = now;
        }
    }

    std::vector<Sighting> others() const {
        return participant_->others();
    }

    std::size_t number_of_applications() const {
        return static_cast<std::size_t>(std::ranges::count_if(
            known_, is_application,
            [](const auto &known) -> const Sighting & { return known.second; }));
    }

private:
    using Known = std::map<std::string, Sighting>; // by GUID

    void compare(std::vector<Sighting> others, Encounter::Change gone,
                 std::vector<Encounter> &encounters) {
        Known known;

        for (Sighting &other : others) {
            const auto found = known_.find(other.guid);

            if (found == known_.end()) {
                encounters.push_back({Encounter::Change::CAME, other});
            } else if (!(static_cast<const Description &>(found->second) == other)) {
                encounters.push_back({Encounter::Change::CHANGED, other});
            }
            known.emplace(other.guid, std::move(other));
        }
        for (const auto &[guid, other] : known_) {
            if (!known.contains(guid)) {
                encounters.push_back({gone, other});
            }
        }
        known_ = std::move(known);
    }

    const Joined participant_;
    DDS_DiscoveryStatistics before_ = {};
    Known known_;
};

/** One in each domain that can be looked at. */
class Lookouts {
public:
    /** Throws when none of them can be looked at. */
    Lookouts(const Factory &factory, const ListOptions &options) {
        for (DDS_DomainId_t domain = options.domains.first; domain <= options.domains.last;
             ++domain) {
            try {
                all_.push_back(std::make_unique<Lookout>(factory, options, domain));
            } catch (const LoggedFailure &) {
                if (options.domains.first == options.domains.last) {
                    throw;
                }
                write_message("ddspart: domain " + std::to_string(domain) + " is left out");
                is_complete_ = false;
            }
        }
        if (all_.empty()) {
            throw LoggedFailure();
        }
    }

    bool is_complete() const {
        return is_complete_;
    }

    std::vector<Encounter> poll() {
        std::vector<Encounter> encounters;

        for (const auto &lookout : all_) {
            lookout->poll(encounters);
        }
        return encounters;
    }

    std::size_t number_of_applications() const {
        std::size_t number = 0;

        for (const auto &lookout : all_) {
            number += lookout->number_of_applications();
        }
        return number;
    }

    /** By domain, name and GUID. */
    Listing listing() const {
        const auto key = [](const Sighting &other) {
            return std::tie(other.domain, other.name, other.guid);
        };
        std::vector<Sighting> others;

        for (const auto &lookout : all_) {
            std::ranges::move(lookout->others(), std::back_inserter(others));
        }
        std::ranges::sort(others, {}, key);
        return {std::move(others), std::chrono::system_clock::now()};
    }

private:
    std::vector<std::unique_ptr<Lookout>> all_;
    bool is_complete_ = true;
};

/** Shows each change until a signal comes. */
void watch(Lookouts &lookouts, bool json) {
    do {
        for (const Encounter &encounter : lookouts.poll()) {
            show(encounter, json);
        }
    } while (wait_for_poll(std::nullopt) == Event::NEWS);
}

/**
 * Shows who is there when the time is up, or enough are there or a signal has come; on a terminal
 * those who come before as well. Returns whether enough were there.
 */
bool look(Lookouts &lookouts, const ListOptions &options) {
    const auto usual = options.listens_only() ? TIME_TO_LISTEN : TIME_TO_ANSWER;
    const Moment end = Moment::clock::now() + options.duration.value_or(usual);
    const bool shows_each = !options.json && isatty(STDOUT_FILENO) != 0;
    const auto are_enough = [&](std::size_t applications) {
        return options.expected && applications >= *options.expected;
    };
    RowByRow rows;

    bool is_expected = false;

    do {
        for (const Encounter &encounter : lookouts.poll()) {
            if (shows_each && encounter.change == Encounter::Change::CAME) {
                write_data(rows.row(encounter.other, std::chrono::system_clock::now()));
            }
        }
        is_expected = are_enough(lookouts.number_of_applications());
    } while (!is_expected && wait_for_poll(end) == Event::NEWS);
    const Listing listing = lookouts.listing();

    if (listing.others.empty() || !rows.reads_like(listing)) {
        show(listing, options.json);
    }
    return !options.expected || is_expected ||
           are_enough(
               static_cast<std::size_t>(std::ranges::count_if(listing.others, is_application)));
}

} // namespace

int execute(const ListOptions &options) {
    take_all_descriptors();
    const Factory factory;
    Lookouts lookouts(factory, options);

    if (options.watch) {
        watch(lookouts, options.json);
    } else if (!look(lookouts, options)) {
        return FINDINGS;
    }
    return lookouts.is_complete() ? 0 : COULD_NOT_BE_DONE;
}
