// SPDX-License-Identifier: Apache-2.0
#include "why/reasons.h"

#include <algorithm>
#include <array>
#include <utility>

#include "doctor/texts.h"
#include "words.h"

namespace why {

namespace {

using MayBeReason = std::optional<Reason>;

/** Both parties, as far as they are participants of others. */
std::vector<const Party *> parties(const Facts &facts) {
    std::vector<const Party *> all = {&facts.first};

    if (facts.second) {
        all.push_back(&*facts.second);
    }
    return all;
}

std::string name_of_second(const Facts &facts) {
    return facts.second ? name_of(*facts.second) : "a participant with the options";
}

/** The name of the one that a party is not. */
std::string name_of_other(const Facts &facts, const Party &party) {
    return &party == &facts.first ? name_of_second(facts) : name_of(facts.first);
}

/** The reason of the first party for which there is one. */
template <class Look>
MayBeReason of_either(const Facts &facts, Look look) {
    for (const Party *const party : parties(facts)) {
        if (MayBeReason reason = look(*party)) {
            return reason;
        }
    }
    return std::nullopt;
}

bool is_process(const Party &party) {
    return party.subject.kind == Subject::Kind::PROCESS;
}

bool has_process(const Party &party) {
    return is_process(party) && party.process;
}

std::string names_of(const std::vector<Witness> &witnesses) {
    constexpr std::size_t NAMED = 3;
    std::vector<std::string> names;

    names.reserve(witnesses.size());
    for (const Witness &witness : witnesses) {
        names.push_back(witness.by.name.value_or(witness.by.process.value_or(witness.by.guid)));
    }
    if (names.size() > NAMED) {
        const std::size_t rest = names.size() - NAMED;

        names.resize(NAMED);
        names.push_back(std::to_string(rest) + " more");
    }
    return join(names, ", ");
}

/** "for 17.2 s at most" */
std::string longest_lease(const std::vector<Witness> &witnesses) {
    std::chrono::milliseconds longest(0);

    for (const Witness &witness : witnesses) {
        if (!witness.answer.lease_left) {
            return "without end";
        }
        longest = std::max(longest, *witness.answer.lease_left);
    }
    return "for " + doctor::text_of(longest) + " at most";
}

std::string domains_of(const Facts &facts) {
    std::vector<std::string> numbers;

    for (const DDS_DomainId_t domain : facts.domains) {
        numbers.push_back(std::to_string(domain));
    }
    return (numbers.size() == 1 ? "domain " : "the domains ") + listed(numbers);
}

std::string ports_of(const Party &party) {
    std::vector<std::string> texts;

    for (const HeldPorts &held : party.held) {
        std::vector<std::string> numbers;

        for (const Port &port : held.ports) {
            numbers.push_back(std::to_string(port.number));
        }
        texts.push_back(join(numbers, " ") + " (index " + std::to_string(held.index.value_or(0)) +
                        " of domain " + std::to_string(held.domain) + ")");
    }
    return join(texts, ", ");
}

/** The first that was knocked at so, if there is one. */
const Knock *find_knock(const Party &party, Knock::Outcome outcome) {
    const auto found = std::ranges::find(party.knocks, outcome, &Knock::outcome);

    return found == party.knocks.end() ? nullptr : &*found;
}

std::string locators_of(const Party &party) {
    std::vector<std::string> locators;

    for (const Knock &knock : party.knocks) {
        locators.push_back(knock.locator);
    }
    return listed(locators);
}

std::string tag_of(const Sighting &other) {
    return other.domain_tag && !other.domain_tag->empty()
               ? "the domain tag '" + *other.domain_tag + "'"
               : "no domain tag";
}

constexpr const char *FIREWALL_REMEDY =
    "Let UDP to the ports of the domain in on its host, and out on this one: ddspart doctor says "
    "there and here whether a firewall of the host drops it, and ddspart ports --nft prints rules.";

// ---- Those that are not heard

MayBeReason find_killed(const Facts &facts) {
    return of_either(facts, [](const Party &party) -> MayBeReason {
        const Knock *const closed = find_knock(party, Knock::Outcome::REFUSED);

        if (party.heard || party.witnesses.empty() ||
            (is_process(party) ? party.process.has_value() : closed == nullptr)) {
            return std::nullopt;
        }
        return Reason{"",
                      name_of(party) + " has ended without saying so" +
                          (is_process(party)
                               ? ": there is no such process any more. "
                               : ": nobody receives at " + closed->locator + " any more. ") +
                          "It is still listed by " + names_of(party.witnesses) + ", " +
                          longest_lease(party.witnesses) + ", until its lease ends.",
                      "Start it again. One that is ended by SIGTERM, and leaves its domain, is "
                      "forgotten at once; one that is killed with its lease: a shorter one is "
                      "discovery_config.lease_duration."};
    });
}

MayBeReason find_not_started(const Facts &facts) {
    return of_either(facts, [](const Party &party) -> MayBeReason {
        if (!is_process(party) || party.heard || party.process) {
            return std::nullopt;
        }
        return Reason{"",
                      "There is no process " + party.subject.text +
                          " on this host, and nobody knows a participant of it.",
                      "Start it. A participant of another host has a name, an address and a GUID: "
                      "ddspart list shows them."};
    });
}

MayBeReason find_port_taken(const Facts &facts) {
    return of_either(facts, [&](const Party &party) -> MayBeReason {
        if (!has_process(party) || party.heard || !party.held.empty() || facts.taken.empty()) {
            return std::nullopt;
        }
        return Reason{"",
                      name_of(party) + " holds no port of a participant, and in domain " +
                          std::to_string(facts.settings.domain) +
                          " there is none to be had: " + facts.taken + ".",
                      "End who holds them, or use another domain: ddspart who shows who has which "
                      "index."};
    });
}

MayBeReason find_no_port(const Facts &facts) {
    return of_either(facts, [](const Party &party) -> MayBeReason {
        if (!has_process(party) || party.heard || !party.held.empty()) {
            return std::nullopt;
        }
        return Reason{
            "",
            name_of(party) + " holds no port of a participant: it has none, has not enabled it, or "
                             "has other ports than those of these settings.",
            "Look into its log. If its ports are others than those of the standard, give "
            "--port-base and the settings beside it; ddspart who shows what it holds with "
            "these."};
    });
}

MayBeReason find_not_announced(const Facts &facts) {
    return of_either(facts, [&](const Party &party) -> MayBeReason {
        if (party.heard || party.held.empty()) {
            return std::nullopt;
        }
        const host::NetworkNamespace &network = party.held.front().network;

        return Reason{
            "",
            name_of(party) + " holds " + ports_of(party) +
                (network.is_own ? "" : " in the network " + label_of(network)) +
                ", and was not heard to announce itself within " + doctor::text_of(facts.duration) +
                ": it listens only, hangs, is stopped, announces itself to others, or "
                "what it says and hears is dropped.",
            network.is_own ? "Look whether it may announce itself (dds.discovery.announce) "
                             "and to whom (discovery.initial_peers); ddspart doctor says "
                             "whether this host drops it."
                           : "Connect that network with this one, or run ddspart why "
                             "there."};
    });
}

MayBeReason find_not_answering(const Facts &facts) {
    return of_either(facts, [&](const Party &party) -> MayBeReason {
        if (party.heard || party.witnesses.empty()) {
            return std::nullopt;
        }
        const Knock *const unsent = find_knock(party, Knock::Outcome::NOT_SENT);

        return Reason{"",
                      name_of(party) + " is known to " + names_of(party.witnesses) +
                          ", but was not heard here within " + doctor::text_of(facts.duration) +
                          ": " +
                          (unsent != nullptr ? "nothing can be sent to " + unsent->locator + " (" +
                                                   doctor::error_text(unsent->error) + ")."
                                             : "it does not answer at " + locators_of(party) +
                                                   ". What is sent there does not arrive, or what "
                                                   "it says does not come back."),
                      FIREWALL_REMEDY};
    });
}

MayBeReason find_filtered_here(const Facts &facts) {
    return of_either(facts, [&](const Party &party) -> MayBeReason {
        if (party.heard || facts.rules.empty()) {
            return std::nullopt;
        }
        const doctor::FirewallRule &rule = facts.rules.front();

        return Reason{"",
                      "Nobody heard here within " + doctor::text_of(facts.duration) + " is " +
                          name_of(party) +
                          ", and a firewall of this host drops what is for ports "
                          "of domain " +
                          std::to_string(facts.settings.domain) + ": \"" + rule.text + "\" in " +
                          rule.chain + ".",
                      "Let UDP to the ports of the domain in and out; ddspart ports --nft prints "
                      "rules."};
    });
}

MayBeReason find_not_seen(const Facts &facts) {
    return of_either(facts, [&](const Party &party) -> MayBeReason {
        if (party.heard) {
            return std::nullopt;
        }
        return Reason{"",
                      "Nobody heard within " + doctor::text_of(facts.duration) + " in " +
                          domains_of(facts) + " is " + name_of(party) +
                          ", and nobody there knows one: it was not started, is in another domain, "
                          "or nothing it says arrives.",
                      "Start it. If it runs, give its domain with --domain, its host with --peer, "
                      "and run ddspart why there; ddspart doctor looks at a host."};
    });
}

MayBeReason find_gone(const Facts &facts) {
    return of_either(facts, [](const Party &party) -> MayBeReason {
        if (!party.is_gone) {
            return std::nullopt;
        }
        return Reason{
            "",
            name_of(party) +
                " was heard, and is not there any more: it has left, or its "
                "lease" +
                (party.heard->lease ? " of " + doctor::text_of(*party.heard->lease) : "") +
                " has ended before it announced itself again.",
            "If it still runs, it has to announce itself more often than its lease ends: "
            "discovery_config.announcement_period is a quarter of lease_duration at "
            "most."};
    });
}

// ---- Those that are

MayBeReason find_other_domain(const Facts &facts) {
    const DDS_DomainId_t domain =
        facts.second ? facts.second->heard->domain : facts.settings.domain;

    if (facts.first.heard->domain == domain) {
        return std::nullopt;
    }
    return Reason{"",
                  name_of(facts.first) + " is in domain " +
                      std::to_string(facts.first.heard->domain) + ", " + name_of_second(facts) +
                      " in domain " + std::to_string(domain) +
                      ": participants of different domains do not know each other.",
                  facts.second ? "Create both in the same domain."
                               : "Give its domain with --domain, or create it in this one."};
}

MayBeReason find_other_tag(const Facts &facts) {
    const Sighting nobody; // has no tag
    const Sighting &second = facts.second ? *facts.second->heard : nobody;

    if (facts.first.heard->domain_tag.value_or("") == second.domain_tag.value_or("")) {
        return std::nullopt;
    }
    return Reason{"",
                  name_of(facts.first) + " has " + tag_of(*facts.first.heard) + ", " +
                      name_of_second(facts) + " " + tag_of(second) +
                      ": neither takes what the other announces.",
                  "Give both the same tag, discovery_config.domain_tag, or none."};
}

MayBeReason find_ignored(const Facts &facts) {
    return of_either(facts, [&](const Party &party) -> MayBeReason {
        if (!party.says || party.says->state != Reply::State::IGNORED) {
            return std::nullopt;
        }
        return Reason{
            "",
            name_of(party) + " says that it ignores " + name_of_other(facts, party) +
                ": its application has asked for that.",
            "An application that ignores a participant does so as long as both live: "
            "restart one of them, and leave out DDS_DomainParticipant_ignore_participant."};
    });
}

MayBeReason find_full(const Facts &facts) {
    return of_either(facts, [&](const Party &party) -> MayBeReason {
        if (!party.says || party.says->state != Reply::State::FULL) {
            return std::nullopt;
        }
        return Reason{"",
                      name_of(party) + " says that it has no room for " +
                          name_of_other(facts, party) +
                          ": it knows as many participants as it may.",
                      "Give it a higher resource_limits.remote_participants_max, or end "
                      "participants that nobody needs."};
    });
}

MayBeReason find_unreachable_address(const Facts &facts) {
    return of_either(facts, [&](const Party &party) -> MayBeReason {
        if (!party.heard || party.heard->has_addressed || party.knocks.empty() ||
            !std::ranges::all_of(party.knocks, [](const Knock &knock) {
                return knock.outcome == Knock::Outcome::NOT_SENT;
            })) {
            return std::nullopt;
        }
        return Reason{
            "",
            name_of(party) +
                " is heard, but announces no address that can be reached "
                "from here: nothing can be sent to " +
                locators_of(party) + " (" + doctor::error_text(party.knocks.front().error) + ").",
            "Have it use an interface that both have a way to (--interface, "
            "NUVDDS_INTERFACES, dds.transport.allow_interfaces), or give one of the hosts "
            "a route or an address in the other's network."};
    });
}

MayBeReason find_one_way(const Facts &facts) {
    if (facts.second) {
        for (const auto &[one, other] :
             {std::pair(&facts.first, &*facts.second), std::pair(&*facts.second, &facts.first)}) {
            if (one->says && other->says && one->says->state == Reply::State::UNKNOWN &&
                other->says->state == Reply::State::KNOWN) {
                return Reason{"",
                              name_of(*other) + " says that it knows " + name_of(*one) + ", and " +
                                  name_of(*one) + " that it does not know " + name_of(*other) +
                                  ": what the one sends arrives, what the other sends does not.",
                              FIREWALL_REMEDY};
            }
        }
    }
    return of_either(facts, [&](const Party &party) -> MayBeReason {
        if (!party.heard || party.heard->has_addressed) {
            return std::nullopt;
        }
        const Knock *const closed = find_knock(party, Knock::Outcome::REFUSED);

        return Reason{"",
                      name_of(party) +
                          " is heard, but has said nothing to this host alone within " +
                          doctor::text_of(facts.duration) +
                          (closed != nullptr ? ": nobody receives at " + closed->locator + "."
                                             : ": what is sent to it at " + locators_of(party) +
                                                   " does not arrive, or it answers nobody.") +
                          (party.heard->vendor == "0.0"
                               ? ""
                               : " Participants of other makers may answer by group only."),
                      FIREWALL_REMEDY};
    });
}

MayBeReason find_not_heard(const Facts &facts) {
    return of_either(facts, [&](const Party &party) -> MayBeReason {
        if (!party.says || party.says->state != Reply::State::UNKNOWN) {
            return std::nullopt;
        }
        return Reason{"",
                      name_of(party) + " says that it does not know " +
                          name_of_other(facts, party) + ": no announcement of that one reaches it" +
                          (party.heard->metatraffic_multicast_locators.empty()
                               ? ", which receives none by multicast."
                               : "."),
                      "Name each as a peer of the other (discovery.initial_peers, NUVDDS_PEERS, "
                      "--peer), with its port if its index is above 4, or let multicast through; "
                      "ddspart doctor looks at a host."};
    });
}

// clang-format off
constexpr std::array CHECKS = {
    Check{"killed",
          "A participant has ended without leaving its domain, and others list it until its lease "
          "ends.",
          find_killed},
    Check{"not-started",
          "There is no such process.",
          find_not_started},
    Check{"port-taken",
          "The process holds no port of a participant, and others hold those that it could have.",
          find_port_taken},
    Check{"no-port",
          "The process holds no port of a participant.",
          find_no_port},
    Check{"not-announced",
          "The process holds ports of a participant and is not heard to announce one.",
          find_not_announced},
    Check{"filtered-here",
          "The participant is not heard, and a firewall of this host has a rule that drops what is "
          "for the domain.",
          find_filtered_here},
    Check{"not-answering",
          "Others know the participant; it is not heard here, nor does it answer.",
          find_not_answering},
    Check{"not-seen",
          "The participant is not heard, and nobody knows it.",
          find_not_seen},
    Check{"gone",
          "The participant has left, or its lease has ended, while it was looked at.",
          find_gone},
    Check{"other-domain",
          "The participants are in different domains.",
          find_other_domain},
    Check{"other-tag",
          "The participants have different domain tags.",
          find_other_tag},
    Check{"ignored",
          "One of them says that it ignores the other.",
          find_ignored},
    Check{"table-full",
          "One of them says that it has no room for the other.",
          find_full},
    Check{"unreachable-address",
          "A participant announces only addresses that nothing can be sent to.",
          find_unreachable_address},
    Check{"one-way",
          "What one of them sends arrives, and what is sent to it does not.",
          find_one_way},
    Check{"not-heard",
          "One of them says that it does not know the other.",
          find_not_heard},
};
// clang-format on

/** Whom a party knows by its own word, and whom nobody but it can tell. */
std::string statement_on(const Facts &facts) {
    if (!facts.second) {
        return name_of(facts.first) + " is seen, and answers.";
    }
    const Party &first = facts.first;
    const Party &second = *facts.second;

    if (first.says && second.says) {
        return name_of(first) + " and " + name_of(second) + " know each other.";
    }
    std::string text =
        "Nothing keeps " + name_of(first) + " and " + name_of(second) +
        " apart that can be seen from here: they are in one domain, have one tag, and "
        "both answer.";

    for (const Party *const party : parties(facts)) {
        text +=
            " " + name_of(*party) +
            (party->says ? " says that it knows the other."
                         : " cannot be asked whom it knows: whether it ignores the other only it "
                           "knows.");
    }
    return text;
}

} // namespace

std::span<const Check> checks() {
    return CHECKS;
}

Verdict judge(Facts facts) {
    for (const Check &check : CHECKS) {
        if (MayBeReason reason = check.look(facts)) {
            reason->id = check.id;
            return {std::move(reason), "", std::move(facts)};
        }
    }
    std::string statement = statement_on(facts);

    return {std::nullopt, std::move(statement), std::move(facts)};
}

std::string name_of(const Party &party) {
    if (party.heard) {
        const Sighting &heard = *party.heard;
        const std::string pid = heard.pid ? std::to_string(*heard.pid) : "";
        const std::string place = heard.host && !pid.empty() ? pid + " on " + *heard.host
                                  : heard.host               ? "on " + *heard.host
                                                             : pid;

        return heard.name.value_or(heard.process.value_or(heard.guid)) +
               (place.empty() ? "" : " (" + place + ")");
    }
    if (is_process(party)) {
        return "process " + party.subject.text +
               (party.process ? " (" + party.process->name + ")" : "");
    }
    return "'" + party.subject.text + "'";
}

} // namespace why
