// SPDX-License-Identifier: Apache-2.0
// Reports for people.
#include "report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "printable.h"
#include "table.h"

namespace ddssim {

namespace {

constexpr double MIB = 1024 * 1024;
constexpr std::size_t HOSTS_SHOWN = 5;
constexpr const char *ALL_KNOWN = "all_known_seconds";

/** With a number of digits behind the point. */
std::string decimal(double number, int digits) {
    std::array<char, 64> text{};

    (void)std::snprintf(text.data(), text.size(), "%.*f", digits, number);
    return text.data();
}

/** As "1.234 s", "567.8 ms". */
std::string seconds(simnet::Time time) {
    constexpr simnet::Time SHOWN = 100 * simnet::MICROSECOND;

    return time < simnet::SECOND - SHOWN / 2 // else it would be shown as "1000.0 ms"
               ? decimal(static_cast<double>(time) / simnet::MILLISECOND, 1) + " ms"
               : decimal(static_cast<double>(time) / simnet::SECOND, 3) + " s";
}

/** "1,234,567" */
std::string grouped(std::uint64_t number) {
    constexpr std::size_t GROUP = 3;
    std::string text = std::to_string(number);

    for (std::size_t i = text.size(); i > GROUP; i -= GROUP) {
        text.insert(i - GROUP, 1, ',');
    }
    return text;
}

std::string percent(double share) {
    // What is not all is not to read as if it were.
    return decimal(std::floor(share * 10'000) / 100, 2) + " %";
}

std::string line(const std::string &name, const std::string &value) {
    constexpr std::size_t WIDTH = 26;

    return name + std::string(name.size() < WIDTH ? WIDTH - name.size() : 1, ' ') + value + "\n";
}

std::string amount(const Amount &one) {
    return grouped(one.datagrams) + " datagrams, " + grouped(one.octets) + " octets";
}

std::string counted(std::uint64_t count, const std::string &what) {
    return grouped(count) + " " + what + (count == 1 ? "" : "s");
}

/** Whoever wrote the title is not to steer the terminal. */
std::string heading_of(const Scenario &scenario) {
    return scenario.title.empty() ? "" : printable(scenario.title) + "\n\n";
}

/** When so much of what all know when they first know all was known. Empty: there is none. */
std::string rise_of(const Result &result) {
    const auto all =
        std::find_if(result.curve.begin(), result.curve.end(),
                     [&](const Moment &moment) { return moment.time == result.all_known; });
    const std::uint64_t wanted = all != result.curve.end() ? all->wanted : result.end.wanted;
    std::string text;

    if (wanted == 0) {
        return "";
    }
    for (const std::uint64_t percents : {50u, 90u, 99u}) {
        const auto reached =
            std::find_if(result.curve.begin(), result.curve.end(), [&](const Moment &moment) {
                return moment.known * 100 >= wanted * percents;
            });

        if (reached != result.curve.end()) {
            text += (text.empty() ? "" : ", ") + std::to_string(percents) + " % after " +
                    seconds(reached->time);
        }
    }
    return line("known", text.empty() ? "less than 50 %" : text);
}

/** When some that were there were not known to others, after all had been. */
std::string gaps_of(const Result &result) {
    constexpr std::size_t MOST = 5;
    std::vector<std::string> gaps;
    std::optional<simnet::Time> since;

    for (const Moment &moment : result.curve) {
        if (!result.all_known || moment.time <= *result.all_known) {
            continue;
        }
        if (!moment.is_complete() && !since) {
            since = moment.time;
        } else if (moment.is_complete() && since) {
            gaps.push_back("from " + seconds(*since) + " to " + seconds(moment.time));
            since.reset();
        }
    }
    if (since) {
        gaps.push_back("from " + seconds(*since) + " on");
    }
    if (gaps.size() > MOST) {
        gaps[MOST - 1] = "and " + grouped(gaps.size() - MOST + 1) + " times more";
        gaps.resize(MOST);
    }
    std::string text;

    for (const std::string &gap : gaps) {
        text += line(text.empty() ? "not all known" : "", gap);
    }
    return text;
}

std::string traffic_of(const Result &result) {
    std::vector<RemarkedRow> rows;

    for (std::size_t i = 0; i < KINDS; ++i) {
        const Amount &one = result.sent.at(i);

        if (one.datagrams != 0) {
            rows.push_back(
                {{to_text(static_cast<Kind>(i)), grouped(one.datagrams), grouped(one.octets)}, ""});
        }
    }
    return rows.empty()
               ? ""
               : "\n" + table_of({{"kind"}, {"datagrams"}, {"octets"}}, rows, std::nullopt);
}

/** Those that had most to carry. */
std::string hosts_of(const Result &result) {
    std::vector<const HostResult *> hosts;
    std::vector<RemarkedRow> rows;

    for (const HostResult &host : result.hosts) {
        hosts.push_back(&host);
    }
    std::stable_sort(hosts.begin(), hosts.end(),
                     [](const HostResult *left, const HostResult *right) {
                         return left->up.octets_in + left->down.octets_in >
                                right->up.octets_in + right->down.octets_in;
                     });
    for (std::size_t i = 0; i < std::min(hosts.size(), HOSTS_SHOWN); ++i) {
        const HostResult &host = *hosts[i];

        rows.push_back({{host.name, grouped(sum(host.sent).datagrams), grouped(host.up.octets_in),
                         grouped(host.down.packets), grouped(host.down.octets_in),
                         grouped(host.down.octets_in - host.down.octets_out)},
                        ""});
    }
    return "\n" + table_of({{"busiest hosts"},
                            {"sent"},
                            {"octets up"},
                            {"packets down"},
                            {"octets down"},
                            {"octets lost"}},
                           rows, std::nullopt);
}

std::string drops_of(const Result &result) {
    std::string text;

    for (const DropResult &drop : result.drops) {
        text += (text.empty() ? "" : ", ") + grouped(drop.datagrams) + " " + drop.reason;
    }
    return text.empty() ? "none" : text;
}

} // namespace

std::string as_text(const Scenario &scenario, const Result &result) {
    std::string text = heading_of(scenario);

    text += line("participants", grouped(result.participants) + " on " +
                                     counted(result.hosts.size(), "host") + ", seed " +
                                     std::to_string(result.seed));
    text += line("simulated", seconds(result.duration) + " in " +
                                  decimal(result.processor_seconds, 1) + " s of the processor");
    if (result.later_events != 0) {
        text += line("later events", grouped(result.later_events) + ", not simulated");
    }
    text +=
        line("all know all", result.all_known ? "after " + seconds(*result.all_known) + ", " +
                                                    seconds(*result.all_known - result.started) +
                                                    " after the last start"
                                              : "never");
    text += rise_of(result);
    text += gaps_of(result);
    text +=
        line("known at the end", percent(result.end.share()) + " of " + grouped(result.end.wanted));
    text += line("lost though they lived", counted(result.lost_living, "lease"));
    text += line("sent over the network", amount(sum(result.sent)));
    text += line("sent altogether",
                 counted(result.sent_altogether, "datagram") + ", those within hosts among them");
    text += line("received", counted(result.received, "datagram"));
    text += line("dropped", drops_of(result));
    text += line("busiest second", "from " + std::to_string(result.busiest_second) +
                                       " s on: " + amount(result.busiest));
    if (result.later_seconds != 0) {
        text += line("in the second half",
                     decimal(static_cast<double>(result.sent_later.datagrams) /
                                 static_cast<double>(result.later_seconds),
                             1) +
                         " datagrams, " + grouped(result.sent_later.octets / result.later_seconds) +
                         " octets a second");
    }
    text += line("memory",
                 decimal(static_cast<double>(result.heap) / 1024 /
                             static_cast<double>(std::max<std::size_t>(result.participants, 1)),
                         1) +
                     " KiB of the heap for each participant; " +
                     decimal(static_cast<double>(result.resident_peak) / MIB, 1) +
                     " MiB for all that was simulated");
    text += line("hash", result.hash);
    return text + traffic_of(result) + hosts_of(result);
}

// ---- Several seeds

namespace {

const std::vector<TableColumn> SEED_COLUMNS = {
    {"seed"}, {"all known after"}, {"datagrams"}, {"octets"}, {"lost though they lived"}, {"hash"}};
const Widths SEED_WIDTHS = {10, 15, 12, 14, 22};

std::string title_of(const Spread &spread) {
    std::string name = spread.name == ALL_KNOWN ? "all known after" : spread.name;

    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

} // namespace

std::string heading_of_seeds(const Scenario &scenario) {
    Cells titles;

    for (const TableColumn &column : SEED_COLUMNS) {
        titles.emplace_back(column.title);
    }
    const std::string last = titles.back();

    titles.pop_back();
    return heading_of(scenario) + line_of(titles, last, SEED_WIDTHS);
}

std::string as_line(const Result &result) {
    const Amount sent = sum(result.sent);

    return line_of({std::to_string(result.seed),
                    result.all_known ? seconds(*result.all_known) : "never",
                    grouped(sent.datagrams), grouped(sent.octets), grouped(result.lost_living)},
                   result.hash, SEED_WIDTHS);
}

double Spread::at(double share) const {
    const double rank = std::ceil(share * static_cast<double>(values.size()));

    return values.at(static_cast<std::size_t>(std::max(rank, 1.0)) - 1);
}

std::vector<Spread> spreads_of(const std::vector<Result> &results) {
    std::vector<Spread> all = {
        {ALL_KNOWN, {}}, {"datagrams", {}}, {"octets", {}}, {"lost_living", {}}};

    for (const Result &result : results) {
        const Amount sent = sum(result.sent);

        if (result.all_known) {
            all[0].values.push_back(static_cast<double>(*result.all_known) / simnet::SECOND);
        }
        all[1].values.push_back(static_cast<double>(sent.datagrams));
        all[2].values.push_back(static_cast<double>(sent.octets));
        all[3].values.push_back(static_cast<double>(result.lost_living));
    }
    for (Spread &spread : all) {
        std::sort(spread.values.begin(), spread.values.end());
    }
    std::erase_if(all, [](const Spread &spread) { return spread.values.empty(); });
    return all;
}

std::string spread_as_text(const std::vector<Result> &results) {
    std::vector<RemarkedRow> rows;

    for (const Spread &spread : spreads_of(results)) {
        const auto at = [&](double share) {
            return spread.name == ALL_KNOWN
                       ? seconds(std::llround(spread.at(share) * simnet::SECOND))
                       : grouped(static_cast<std::uint64_t>(spread.at(share)));
        };

        rows.push_back({{title_of(spread), std::to_string(spread.values.size()), at(0), at(0.5),
                         at(0.95), at(1)},
                        ""});
    }
    return "\n" +
           table_of({{"of all seeds"}, {"runs"}, {"least"}, {"middle"}, {"95 of 100"}, {"most"}},
                    rows, std::nullopt);
}

} // namespace ddssim
