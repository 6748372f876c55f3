// SPDX-License-Identifier: Apache-2.0
// Reports for programs.
#include <nlohmann/json.hpp>

#include "report.h"
#include "settings.h"

namespace ddssim {

namespace {

using Json = nlohmann::ordered_json;

/** Of what the objects have in them; higher when a program that reads them has to change. */
constexpr int VERSION = 1;

double seconds(simnet::Time time) {
    return static_cast<double>(time) / simnet::SECOND;
}

Json object(const char *record) {
    return {{"version", VERSION}, {"record", record}};
}

std::string line(const Json &object) {
    return object.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

Json amount(const Amount &one) {
    return {{"datagrams", one.datagrams}, {"octets", one.octets}};
}

/** By kind, those that there were. */
Json kinds(const Kinds &all) {
    Json object = Json::object();

    for (std::size_t i = 0; i < KINDS; ++i) {
        if (all.at(i).datagrams != 0) {
            object[to_text(static_cast<Kind>(i))] = amount(all.at(i));
        }
    }
    return object;
}

Json link(const LinkUse &use) {
    return {{"packets", use.packets}, {"octets_in", use.octets_in}, {"octets_out", use.octets_out}};
}

Json settings_of(const Scenario &scenario) {
    Json object = Json::object();

    for (const Setting &setting : settings()) {
        object[setting.key] = setting.get(scenario);
    }
    return object;
}

Json summary(const Result &result) {
    Json drops = Json::object();
    Json line = object("summary");

    for (const DropResult &drop : result.drops) {
        drops[drop.reason] = drop.datagrams;
    }
    line.update({{"seed", result.seed},
                 {"seconds", seconds(result.duration)},
                 {"is_over", result.is_over},
                 {"later_events", result.later_events},
                 {"participants", result.participants},
                 {"started", seconds(result.started)},
                 {"all_known", result.all_known ? Json(seconds(*result.all_known)) : Json()},
                 {"known", result.end.known},
                 {"wanted", result.end.wanted},
                 {"lost_living", result.lost_living},
                 {"sent", amount(sum(result.sent))},
                 {"kinds", kinds(result.sent)},
                 {"sent_altogether", result.sent_altogether},
                 {"received", result.received},
                 {"dropped", drops},
                 {"busiest_second", result.busiest_second},
                 {"busiest", amount(result.busiest)},
                 {"later_seconds", result.later_seconds},
                 {"sent_later", amount(result.sent_later)},
                 {"heap", result.heap},
                 {"resident_peak", result.resident_peak},
                 {"processor_seconds", result.processor_seconds},
                 {"hash", result.hash}});
    return line;
}

} // namespace

std::string scenario_as_json(const Scenario &scenario) {
    Json all = object("scenario");

    all["settings"] = settings_of(scenario);
    all["events"] = scenario.events.size();
    return line(all);
}

std::string as_json(const Scenario &scenario, const Result &result) {
    std::string lines = scenario_as_json(scenario);

    for (const Moment &moment : result.curve) {
        Json point = object("known");

        point.update({{"seconds", seconds(moment.time)},
                      {"known", moment.known},
                      {"wanted", moment.wanted}});
        lines += line(point);
    }
    for (const HostResult &host : result.hosts) {
        Json one = object("host");

        one.update({{"host", host.name},
                    {"kinds", kinds(host.sent)},
                    {"up", link(host.up)},
                    {"down", link(host.down)}});
        lines += line(one);
    }
    return lines + line(summary(result));
}

std::string as_json_line(const Result &result) {
    return line(summary(result));
}

std::string spread_as_json(const std::vector<Result> &results) {
    std::string lines;

    for (const Spread &spread : spreads_of(results)) {
        Json one = object("spread");

        one.update({{"of", spread.name},
                    {"runs", spread.values.size()},
                    {"least", spread.at(0)},
                    {"middle", spread.at(0.5)},
                    {"percentile_95", spread.at(0.95)},
                    {"most", spread.at(1)}});
        lines += line(one);
    }
    return lines;
}

const std::vector<JsonField> &json_fields() {
    static const std::vector<JsonField> fields = {
        {"scenario", "settings", "all settings, each as a file has it"},
        {"scenario", "events", "how many events there are"},
        {"known", "seconds", "when this was so: at each hundredth that is known more or less"},
        {"known", "known", "how many participants are known to others, counted once for each"},
        {"known", "wanted", "how many would be if all knew all"},
        {"host", "host", "its name"},
        {"host", "kinds", "what it has sent over the network: datagrams and octets, by kind"},
        {"host", "up",
         "its wire to the switch: packets, octets_in, and octets_out that were not "
         "lost"},
        {"host", "down", "the same from the switch"},
        {"summary", "seed", "the number that --seed gave, from which all luck was drawn"},
        {"summary", "seconds", "how much was simulated"},
        {"summary", "is_over", "false when it was ended before its time"},
        {"summary", "later_events",
         "how many events had not happened to all of their hosts by then"},
        {"summary", "participants", "how many there are in the end"},
        {"summary", "started", "when the last one had started that no event starts"},
        {"summary", "all_known", "when all knew all for the first time since then; null: never"},
        {"summary", "known", "as above, in the end"},
        {"summary", "wanted", "as above, in the end"},
        {"summary", "lost_living", "how often one was taken for gone that was there"},
        {"summary", "sent", "datagrams and octets over the network"},
        {"summary", "kinds", "the same by kind"},
        {"summary", "sent_altogether", "datagrams, those that stayed within a host among them"},
        {"summary", "received", "datagrams that processes have received"},
        {"summary", "dropped", "datagrams that did not get there, by the reason"},
        {"summary", "busiest_second", "the one with most octets, counted from 0"},
        {"summary", "busiest", "datagrams and octets in it"},
        {"summary", "later_seconds",
         "how many whole ones the second half of what was simulated has"},
        {"summary", "sent_later", "datagrams and octets over the network in these"},
        {"summary", "heap", "octets that the library had allocated for them in the end"},
        {"summary", "resident_peak", "octets of memory that the program had at most"},
        {"summary", "processor_seconds", "what it took"},
        {"summary", "hash", "of all that happened"},
        {"spread", "of", "what was compared, with --seeds"},
        {"spread", "runs", "in how many runs there was one"},
        {"spread", "least", "the least"},
        {"spread", "middle", "the one in the middle"},
        {"spread", "percentile_95", "the one that 95 of 100 do not exceed"},
        {"spread", "most", "the most"},
    };

    return fields;
}

} // namespace ddssim
