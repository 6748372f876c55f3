// SPDX-License-Identifier: Apache-2.0
#include "output.h"

#include <iomanip>
#include <sstream>

#include <nlohmann/json.hpp>

#include "doctor/texts.h"
#include "held_table.h"
#include "list_table.h"
#include "printable.h"
#include "qos_tree.h"
#include "table.h"
#include "words.h"

namespace {

using Json = nlohmann::ordered_json;

/** Of what an object of held ports has in it; higher when a program that reads it has to change. */
constexpr int HELD_VERSION = 1;
/** The same of a check of ports. */
constexpr int CHECK_VERSION = 1;
/** That of what ddspart doctor says: the same. */
constexpr int DIAGNOSIS_VERSION = 1;

/** "builtin_unicast" as "builtin unicast". */
std::string spoken(std::string_view kind) {
    std::string words(kind);

    for (char &character : words) {
        character = character == '_' ? ' ' : character;
    }
    return words;
}

Json numbers(const std::vector<Port> &ports) {
    Json object = Json::object();

    for (const Port &port : ports) {
        object[std::string(port.kind)] = port.number;
    }
    return object;
}

Json validity(const std::vector<Port> &ports) {
    Json object = Json::object();

    for (const Port &port : ports) {
        object[std::string(port.kind)] = port.is_valid();
    }
    return object;
}

Json index_or_null(DDS_Long index) {
    return index >= 0 ? Json(index) : Json();
}

Json object(const char *event, const Presence &presence) {
    return {{"event", event},
            {"domain", presence.domain},
            {"index", index_or_null(presence.index)},
            {"guid", presence.guid},
            {"ports", numbers(presence.ports)},
            {"metatraffic_unicast_locators", presence.metatraffic_unicast_locators},
            {"metatraffic_multicast_locators", presence.metatraffic_multicast_locators},
            {"default_unicast_locators", presence.default_unicast_locators},
            {"default_multicast_locators", presence.default_multicast_locators}};
}

const char *word(Encounter::Change change) {
    switch (change) {
    case Encounter::Change::CAME:
        return "came";
    case Encounter::Change::CHANGED:
        return "changed";
    case Encounter::Change::LEFT:
        return "left";
    case Encounter::Change::LOST:
        return "lost";
    case Encounter::Change::GONE:
        break;
    }
    return "gone";
}

template <class Value>
Json value_or_null(const std::optional<Value> &value) {
    return value ? Json(*value) : Json();
}

Json seconds(const std::optional<std::chrono::nanoseconds> &duration) {
    if (!duration) {
        return "infinite";
    }
    const auto whole = std::chrono::floor<std::chrono::seconds>(*duration);

    return *duration == whole ? Json(whole.count())
                              : Json(std::chrono::duration<double>(*duration).count());
}

/** As "2026-01-31T12:00:00.123456Z". */
Json time_or_null(const std::optional<WallTime> &time) {
    constexpr int MICROSECOND_DIGITS = 6;

    if (!time) {
        return {};
    }
    const auto second = std::chrono::floor<std::chrono::seconds>(*time);
    const std::time_t seconds = second.time_since_epoch().count();
    std::tm calendar = {};
    std::ostringstream text;

    (void)gmtime_r(&seconds, &calendar);
    text << std::put_time(&calendar, "%Y-%m-%dT%H:%M:%S") << '.' << std::setw(MICROSECOND_DIGITS)
         << std::setfill('0')
         << std::chrono::floor<std::chrono::microseconds>(*time - second).count() << 'Z';
    return text.str();
}

Json port_numbers(const Sighting &other) {
    Json object = Json::object();

    if (other.builtin_unicast_port) {
        object["builtin_unicast"] = *other.builtin_unicast_port;
    }
    if (other.user_unicast_port) {
        object["user_unicast"] = *other.user_unicast_port;
    }
    return object;
}

Json properties(const Sighting &other) {
    Json object = Json::object();

    for (const auto &[name, value] : other.properties) {
        object[name] = value;
    }
    return object;
}

/** The same for who comes and goes and for who is there. */
Json object(const Sighting &other) {
    return {{"event", "participant"},
            {"domain", other.domain},
            {"guid", other.guid},
            {"name", value_or_null(other.name)},
            {"vendor", other.vendor},
            {"protocol", other.protocol},
            {"host", value_or_null(other.host)},
            {"process", value_or_null(other.process)},
            {"pid", value_or_null(other.pid)},
            {"tool", value_or_null(other.tool)},
            {"addresses", other.addresses},
            {"ports", port_numbers(other)},
            {"index", value_or_null(other.index)},
            {"lease", seconds(other.lease)},
            {"first_heard", time_or_null(other.first_heard)},
            {"last_heard", time_or_null(other.last_heard)},
            {"domain_tag", value_or_null(other.domain_tag)},
            {"metatraffic_unicast_locators", other.metatraffic_unicast_locators},
            {"metatraffic_multicast_locators", other.metatraffic_multicast_locators},
            {"default_unicast_locators", other.default_unicast_locators},
            {"default_multicast_locators", other.default_multicast_locators},
            {"properties", properties(other)}};
}

/** As [[0, 3], [5, 5]]. */
Json ranges(const std::vector<host::PortRange> &all) {
    Json array = Json::array();

    for (const host::PortRange &range : all) {
        array.push_back({range.first, range.last});
    }
    return array;
}

Json object(const Holder &holder) {
    const auto &process = holder.process;

    return {
        {"pid", process ? Json(process->id) : Json()},
        {"name", process ? Json(process->name) : Json()},
        {"user", host::user_name(holder.user)},
        {"container", process && !process->container.empty() ? Json(process->container) : Json()}};
}

Json object(const host::NetworkNamespace &network) {
    return {{"label", label_of(network)},
            {"own", network.is_own},
            {"number", value_or_null(network.number)}};
}

Json object(const HeldPorts &held, bool shows_all_processes) {
    Json holders = Json::array();
    const auto &announced = held.announced;

    for (const Holder &holder : held.holders) {
        holders.push_back(object(holder));
    }
    return {{"event", "held"},
            {"version", HELD_VERSION},
            {"domain", held.domain},
            {"index", value_or_null(held.index)},
            {"ports", numbers(held.ports)},
            {"addresses", held.addresses},
            {"holders", holders},
            {"network", object(held.network)},
            {"vendor", announced ? Json(announced->vendor) : Json()},
            {"guid", announced ? Json(announced->guid) : Json()},
            {"participant", announced ? value_or_null(announced->name) : Json()},
            {"drops", held.drops},
            {"blocked", held.are_blocked()},
            {"remarks", remarks_on(held, shows_all_processes)}};
}

std::string word(why::Reply::State state) {
    constexpr const char *WORDS[] = {"known", "ignored", "full", "unknown"};

    return WORDS[static_cast<std::size_t>(state)];
}

Json object(const why::Reply &answer) {
    return {{"state", word(answer.state)},
            {"lease_left", answer.lease_left ? seconds(answer.lease_left) : Json()},
            {"place", answer.place.empty() ? Json() : Json(answer.place)}};
}

Json object(const why::Knock &knock) {
    constexpr const char *OUTCOMES[] = {"not_sent", "refused", "silent"};

    return {{"locator", knock.locator},
            {"outcome", OUTCOMES[static_cast<std::size_t>(knock.outcome)]},
            {"error", knock.error != 0 ? Json(doctor::error_text(knock.error)) : Json()}};
}

Json object(const why::Party &party) {
    constexpr const char *KINDS[] = {"process", "guid", "name", "address"};
    Json held = Json::array();
    Json witnesses = Json::array();
    Json knocks = Json::array();

    for (const HeldPorts &each : party.held) {
        held.push_back(object(each, true));
    }
    for (const why::Witness &witness : party.witnesses) {
        witnesses.push_back({{"guid", witness.by.guid}, {"says", object(witness.answer)}});
    }
    for (const why::Knock &knock : party.knocks) {
        knocks.push_back(object(knock));
    }
    return {{"asked", party.subject.text},
            {"kind", KINDS[static_cast<std::size_t>(party.subject.kind)]},
            {"participant", party.heard ? object(*party.heard) : Json()},
            {"answers", party.heard ? Json(party.heard->has_addressed) : Json()},
            {"says", party.says ? object(*party.says) : Json()},
            {"held", held},
            {"witnesses", witnesses},
            {"knocks", knocks}};
}

std::vector<const why::Party *> parties(const why::Verdict &verdict) {
    std::vector<const why::Party *> all = {&verdict.facts.first};

    if (verdict.facts.second) {
        all.push_back(&*verdict.facts.second);
    }
    return all;
}

/** A line of what was heard and held; nothing where that is nothing. */
std::string evidence_of(const why::Party &party) {
    std::vector<std::string> parts;

    if (party.heard) {
        parts = {"GUID " + party.heard->guid};
        for (const auto &[title, text] : titled_cells(*party.heard)) {
            parts.push_back(join({title, text}, " "));
        }
        if (party.heard->domain_tag) {
            parts.push_back("domain tag '" + printable(*party.heard->domain_tag) + "'");
        }
        parts.emplace_back(party.heard->has_addressed ? "answers" : "does not answer");
    }
    for (const HeldPorts &held : party.held) {
        if (!party.heard) {
            parts.push_back(held_line(held, true));
        }
    }
    if (party.says) {
        parts.push_back("says of the other: " + word(party.says->state));
    }
    return parts.empty() ? "" : printable(why::name_of(party)) + ": " + join(parts, ", ") + '\n';
}

std::string line(const Json &object) {
    // Texts from the command line need not be UTF-8, as JSON has to be, and may steer a terminal.
    return object.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

std::string lines(const char *verb, const Presence &presence) {
    std::ostringstream text;
    std::vector<std::string> ports;

    for (const Port &port : presence.ports) {
        ports.push_back(spoken(port.kind) + " " + std::to_string(port.number));
    }
    text << verb << " domain " << presence.domain;
    if (presence.index >= 0) {
        text << " with participant index " << presence.index << '\n';
    } else {
        text << " without participant index, until there is a usable address\n";
    }
    text << "  GUID: " << presence.guid << '\n'
         << "  Ports: " << listed(ports) << '\n'
         << "  Metatraffic unicast locators: " << listed(presence.metatraffic_unicast_locators)
         << '\n'
         << "  Metatraffic multicast locators: " << listed(presence.metatraffic_multicast_locators)
         << '\n'
         << "  Default unicast locators: " << listed(presence.default_unicast_locators) << '\n'
         << "  Default multicast locators: " << listed(presence.default_multicast_locators) << '\n';
    return text.str();
}

} // namespace

std::string as_text(const Joined &joined) {
    return lines("Joined", joined.presence);
}

std::string as_text(const QosShown &shown) {
    return qos_lines(qos_tree(*shown.qos));
}

std::string as_text(const Changed &changed) {
    return lines("Now in", changed.presence);
}

std::string as_text(const Encounter &encounter) {
    const Sighting &other = encounter.other;
    std::vector<std::string> parts = {other.guid};

    for (const auto &[title, text] : titled_cells(other)) {
        parts.push_back(join({title, text}, " "));
    }
    return std::string("Participant ") + word(encounter.change) + ": " + join(parts, ", ") + "\n";
}

std::string as_text(const Discovered &discovered) {
    const DDS_DiscoveryStatistics &statistics = discovered.statistics;
    std::ostringstream text;

    text << "Other participants: " << statistics.known << " known, " << statistics.came << " came, "
         << statistics.left << " left, " << statistics.lost
         << " lost; announcements: " << statistics.announcements_sent << " sent, "
         << statistics.announcements_received << " received\n";
    return text.str();
}

std::string as_text(const Left &left) {
    return "Left domain " + std::to_string(left.domain) + ": " + left.reason + "\n";
}

std::string as_text(const Listing &listing) {
    return list_table(listing);
}

std::string as_text(const HeldListing &listing) {
    return held_table(listing, terminal_columns());
}

std::string as_text(const HeldChange &change) {
    return std::string("Held ports ") + word(change.change) + ": " +
           held_line(change.held, change.shows_all_processes) + "\n";
}

std::string as_text(const PortTable &table) {
    constexpr int INDEX_WIDTH = 5;
    constexpr int PORT_WIDTH = 18;
    std::ostringstream text;
    bool all_valid = true;

    text << "Domain " << table.domain << ", highest usable participant index: ";
    if (table.highest_usable_index) {
        text << *table.highest_usable_index << '\n';
    } else {
        text << "none\n";
    }
    text << std::setw(INDEX_WIDTH) << "index";
    for (const Port &port : table.rows.front().ports) {
        text << std::setw(PORT_WIDTH) << spoken(port.kind) << ' ';
    }
    text << '\n';
    for (const PortTable::Row &row : table.rows) {
        text << std::setw(INDEX_WIDTH) << row.index;
        for (const Port &port : row.ports) {
            text << std::setw(PORT_WIDTH) << port.number << (port.is_valid() ? ' ' : '*');
            all_valid = all_valid && port.is_valid();
        }
        text << '\n';
    }
    if (!all_valid) {
        text << "* not a valid port: valid are " << DDS_RTPS_PORT_MIN << " to " << DDS_RTPS_PORT_MAX
             << '\n';
    }
    return text.str();
}

std::string as_text(const PortCheck &check) {
    std::ostringstream text;

    for (const DomainCheck &domain : check.domains) {
        text << "Domain " << domain.domain
             << ": safe indices: " << (domain.safe.empty() ? "none" : to_text(domain.safe));
        if (!domain.in_use.empty()) {
            text << "; in use: " << to_text(domain.in_use);
        }
        text << '\n';
        for (const PortFinding &finding : domain.findings) {
            text << "  " << finding.text << '\n';
        }
    }
    if (check.domains.size() > 1) {
        const auto safe = safe_domains(check);

        text << "Domains without a finding: " << (safe.empty() ? "none" : to_text(safe)) << '\n';
    }
    return text.str();
}

std::string as_text(const doctor::Diagnosis &diagnosis) {
    std::string lines;

    for (const doctor::Finding &finding : diagnosis.findings) {
        lines += printable(finding.id + ": " + finding.cause + " " + finding.remedy) + '\n';
    }
    if (!diagnosis.well.empty()) {
        lines += "Well: " + join(diagnosis.well, ", ") + '\n';
    }
    for (const std::string &unseen : diagnosis.unseen) {
        lines += printable("Not looked at: " + unseen) + '\n';
    }
    return lines;
}

std::string as_text(const doctor::Serving &serving) {
    std::ostringstream text;

    text << "Answers " << printable(serving.host) << " at UDP port " << serving.port << " for "
         << std::chrono::duration<double>(serving.duration).count() << " s\n";
    return text.str();
}

std::string as_text(const why::Verdict &verdict) {
    const auto &reason = verdict.reason;
    std::string lines = printable(reason ? reason->id + ": " + reason->cause + " " + reason->remedy
                                         : verdict.statement) +
                        '\n';

    for (const why::Party *const party : parties(verdict)) {
        lines += evidence_of(*party);
    }
    for (const std::string &unseen : verdict.facts.unseen) {
        lines += printable("Not looked at: " + unseen) + '\n';
    }
    return lines;
}

std::string as_json(const Joined &joined) {
    return line(object("joined", joined.presence));
}

std::string as_json(const QosShown &shown) {
    Json object = {
        {"event", "qos"}, {"domain", shown.domain}, {"index", index_or_null(shown.index)}};

    object.update(qos_tree(*shown.qos));
    return line(object);
}

std::string as_json(const Changed &changed) {
    return line(object("changed", changed.presence));
}

std::string as_json(const Encounter &encounter) {
    Json whole = {{"event", ""}, {"change", word(encounter.change)}};

    whole.update(object(encounter.other));
    return line(whole);
}

std::string as_json(const Discovered &discovered) {
    const DDS_DiscoveryStatistics &statistics = discovered.statistics;

    return line({{"event", "discovery"},
                 {"domain", discovered.domain},
                 {"index", index_or_null(discovered.index)},
                 {"known", statistics.known},
                 {"came", statistics.came},
                 {"changed", statistics.changed},
                 {"left", statistics.left},
                 {"lost", statistics.lost},
                 {"announcements_sent", statistics.announcements_sent},
                 {"announcements_received", statistics.announcements_received}});
}

std::string as_json(const Left &left) {
    return line({{"event", "left"},
                 {"domain", left.domain},
                 {"index", index_or_null(left.index)},
                 {"reason", left.reason}});
}

std::string as_json(const Listing &listing) {
    std::string lines;

    for (const Sighting &other : listing.others) {
        lines += line(object(other));
    }
    return lines;
}

std::string as_json(const HeldListing &listing) {
    std::string lines;

    for (const HeldPorts &held : listing.all) {
        lines += line(object(held, listing.shows_all_processes));
    }
    return lines;
}

std::string as_json(const HeldChange &change) {
    Json whole = {{"event", ""}, {"change", word(change.change)}};

    whole.update(object(change.held, change.shows_all_processes));
    return line(whole);
}

std::string as_json(const PortTable &table) {
    const Json highest = index_or_null(table.highest_usable_index.value_or(-1));
    std::string lines =
        line({{"event", "domain"}, {"domain", table.domain}, {"highest_usable_index", highest}});

    for (const PortTable::Row &row : table.rows) {
        lines += line({{"event", "index"},
                       {"domain", table.domain},
                       {"index", row.index},
                       {"ports", numbers(row.ports)},
                       {"valid", validity(row.ports)}});
    }
    return lines;
}

std::string as_json(const PortCheck &check) {
    std::string lines;

    for (const DomainCheck &domain : check.domains) {
        Json findings = Json::array();

        for (const PortFinding &finding : domain.findings) {
            findings.push_back({{"cause", finding.cause},
                                {"ports", ranges(finding.ports)},
                                {"text", finding.text}});
        }
        lines += line({{"event", "check"},
                       {"version", CHECK_VERSION},
                       {"domain", domain.domain},
                       {"safe", ranges(domain.safe)},
                       {"in_use", ranges(domain.in_use)},
                       {"findings", findings}});
    }
    return lines;
}

std::string as_json(const doctor::Diagnosis &diagnosis) {
    std::string lines;

    for (const doctor::Finding &finding : diagnosis.findings) {
        lines += line({{"event", "finding"},
                       {"version", DIAGNOSIS_VERSION},
                       {"domain", diagnosis.domain},
                       {"id", finding.id},
                       {"subject", finding.subject},
                       {"cause", finding.cause},
                       {"remedy", finding.remedy}});
    }
    return lines + line({{"event", "diagnosis"},
                         {"version", DIAGNOSIS_VERSION},
                         {"domain", diagnosis.domain},
                         {"findings", diagnosis.findings.size()},
                         {"well", diagnosis.well},
                         {"unseen", diagnosis.unseen}});
}

std::string as_json(const doctor::Serving &serving) {
    return line({{"event", "serving"},
                 {"version", DIAGNOSIS_VERSION},
                 {"domain", serving.domain},
                 {"host", serving.host},
                 {"port", serving.port},
                 {"seconds", seconds(serving.duration)}});
}

std::string as_json(const why::Verdict &verdict) {
    constexpr int VERSION = 1; // goes up when a member changes or goes
    const auto &reason = verdict.reason;
    const auto &second = verdict.facts.second;

    return line({{"event", "why"},
                 {"version", VERSION},
                 {"id", reason ? Json(reason->id) : Json()},
                 {"cause", reason ? Json(reason->cause) : Json()},
                 {"remedy", reason ? Json(reason->remedy) : Json()},
                 {"statement", reason ? Json() : Json(verdict.statement)},
                 {"a", object(verdict.facts.first)},
                 {"b", second ? object(*second) : Json()},
                 {"domains", verdict.facts.domains},
                 {"unseen", verdict.facts.unseen}});
}

std::string wrapped(const std::string &lines, std::size_t columns) {
    constexpr std::string_view INDENTATION = "    ";
    std::string result;
    std::istringstream all(lines);

    for (std::string whole; std::getline(all, whole);) {
        std::istringstream words(whole);
        std::size_t width = 0; // of what the line has so far

        for (std::string word; words >> word;) {
            if (width != 0 && width + 1 + word.size() > columns) {
                result += '\n';
                result += INDENTATION;
                result += word;
                width = INDENTATION.size() + word.size();
            } else {
                result += (width != 0 ? " " : "") + word;
                width += (width != 0 ? 1 : 0) + word.size();
            }
        }
        result += '\n';
    }
    return result;
}
