// SPDX-License-Identifier: Apache-2.0
// ddspart who: which processes hold the ports of participants.
#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <unistd.h>

#include "commands.h"
#include "held_ports.h"
#include "host/interface_addresses.h"
#include "listening.h"
#include "log.h"
#include "output.h"
#include "participant.h"
#include "streams.h"

namespace {

constexpr std::chrono::milliseconds MOMENT(300);
constexpr std::chrono::seconds TIME_BETWEEN_LOOKS(1);

/** Participants of the tool's own that hear those of the caller's network. */
class Listeners {
public:
    explicit Listeners(const WhoOptions &options) : options_(options) {}

    /** Asks those who may be participants that have not spoken yet; what they say is heard. */
    void ask_about(const std::vector<HeldPorts> &all) {
        std::map<DDS_DomainId_t, std::vector<HeldPorts>> by_domain;

        for (const HeldPorts &held : all) {
            by_domain[held.domain].push_back(held);
        }
        for (const auto &[domain, its] : by_domain) {
            if (const std::vector<std::string> places = places_to_ask(its); !places.empty()) {
                ParticipantOptions options = options_for(domain);

                options.tool = "ddspart who";
                std::ranges::move(ask(factory(), std::move(options), places),
                                  std::back_inserter(answers_));
            }
        }
    }

    /** Listens from now on in each domain in which somebody there has an index. */
    void listen_to(const std::vector<HeldPorts> &all) {
        for (const HeldPorts &held : all) {
            if (held.index && held.network.is_own && !participants_.contains(held.domain)) {
                participants_[held.domain] = listen_in(held.domain);
            }
        }
    }

    std::vector<Sighting> heard() const {
        std::vector<Sighting> all = answers_;

        for (const auto &[domain, participant] : participants_) {
            if (participant != nullptr) {
                std::ranges::move(participant->others(), std::back_inserter(all));
            }
        }
        return all;
    }

private:
    const Factory &factory() {
        if (factory_ == nullptr) {
            factory_ = std::make_unique<Factory>();
        }
        return *factory_;
    }

    ParticipantOptions options_for(DDS_DomainId_t domain) const {
        ParticipantOptions options;

        options.domain = domain;
        options.well_known_ports = options_.well_known_ports;
        options.transports = options_.transports;
        return options;
    }

    /** None where that cannot be done, for which the log has a reason. */
    std::unique_ptr<Participant> listen_in(DDS_DomainId_t domain) {
        try {
            return std::make_unique<Participant>(factory(), listening_only(options_for(domain)));
        } catch (const LoggedFailure &) {
            write_message("ddspart: domain " + std::to_string(domain) +
                          " cannot be listened to: what is announced there is not known");
            return nullptr;
        }
    }

    const WhoOptions &options_;
    std::unique_ptr<Factory> factory_;
    std::map<DDS_DomainId_t, std::unique_ptr<Participant>> participants_;
    std::vector<Sighting> answers_;
};

/** Looks at the host, again and again. */
class Look {
public:
    explicit Look(const WhoOptions &options)
        : options_(options), map_(port_map(options.well_known_ports)), listeners_(options) {
        take();
        listeners_.listen_to(held());
    }

    /** The tables of the kernel, once more. */
    void take() {
        holdings_ = holdings(map_, options_.all_networks, getpid());
    }

    /** With what has been heard until now. */
    std::vector<HeldPorts> held() const {
        std::vector<HeldPorts> all =
            held_ports(holdings_, map_, listeners_.heard(), host::interface_addresses());

        if (options_.domains) {
            keep_domains(all, *options_.domains);
        } else {
            keep_telling(all, host::ephemeral_ports());
        }
        return all;
    }

    Listeners &listeners() {
        return listeners_;
    }

    bool shows_all_processes() const {
        return holdings_.shows_all_processes;
    }

private:
    const WhoOptions &options_;
    const PortMap map_;
    Holdings holdings_ = {};
    Listeners listeners_;
};

/** Whether listening on may tell more. */
bool are_all_heard(const std::vector<HeldPorts> &all) {
    return std::ranges::all_of(all, [](const HeldPorts &held) {
        return !held.index || !held.network.is_own || held.announced;
    });
}

bool look_once(Look &look, const WhoOptions &options) {
    const Moment end = Moment::clock::now() + options.duration.value_or(MOMENT);
    std::vector<HeldPorts> all;

    do {
        all = look.held();
    } while (!are_all_heard(all) && wait_for_poll(end) == Event::NEWS);
    look.listeners().ask_about(all);
    look.take();
    all = look.held();
    show(HeldListing{all, look.shows_all_processes()}, options.json);
    return std::ranges::any_of(all, &HeldPorts::are_blocked);
}

/** What stays the same as long as the same processes hold the same index, or any a group's port. */
using Identity = std::tuple<DDS_DomainId_t, std::string, std::optional<DDS_Long>, DDS_LongLong,
                            std::vector<Holder>>;

Identity identity_of(const HeldPorts &held) {
    return {held.domain, label_of(held.network), held.index,
            held.index ? 0 : held.ports.front().number,
            held.index ? held.holders : std::vector<Holder>()};
}

using Known = std::map<Identity, HeldPorts>;

Known known(std::vector<HeldPorts> all) {
    Known known;

    for (HeldPorts &held : all) {
        known.insert_or_assign(identity_of(held), std::move(held));
    }
    return known;
}

/** Shows each change until a signal comes. */
void watch(Look &look, bool json) {
    Known before;

    do {
        look.take();
        look.listeners().listen_to(look.held());
        Known now = known(look.held());

        for (const auto &[identity, held] : now) {
            const auto found = before.find(identity);

            if (found == before.end()) {
                show(HeldChange{Encounter::Change::CAME, held, look.shows_all_processes()}, json);
            } else if (!held.reads_like(found->second)) {
                show(HeldChange{Encounter::Change::CHANGED, held, look.shows_all_processes()},
                     json);
            }
        }
        for (const auto &[identity, held] : before) {
            if (!now.contains(identity)) {
                show(HeldChange{Encounter::Change::GONE, held, look.shows_all_processes()}, json);
            }
        }
        before = std::move(now);
    } while (wait_for_poll(std::nullopt, TIME_BETWEEN_LOOKS) == Event::NEWS);
}

} // namespace

int execute(const WhoOptions &options) {
    take_all_descriptors();
    Look look(options);

    if (options.watch) {
        watch(look, options.json);
        return 0;
    }
    return look_once(look, options) ? FINDINGS : 0;
}
