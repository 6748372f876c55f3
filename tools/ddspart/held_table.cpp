// SPDX-License-Identifier: Apache-2.0
#include "held_table.h"

#include <utility>

#include "table.h"
#include "words.h"

namespace {

constexpr bool MAY_BE_CUT = true;

const std::vector<TableColumn> COLUMNS = {
    {"domain"},
    {"index"},
    {"ports"},
    {"pid"},
    {"process", MAY_BE_CUT},
    {"user", MAY_BE_CUT},
    {"network", MAY_BE_CUT},
    {"vendor"},
};

std::string index_of(const HeldPorts &held) {
    return held.index ? std::to_string(*held.index) : "multicast";
}

std::string ports_of(const HeldPorts &held) {
    std::vector<std::string> numbers;

    for (const Port &port : held.ports) {
        numbers.push_back(std::to_string(port.number));
    }
    return join(numbers, " ");
}

/** A container may do without a network of its own. */
std::string network_of(const HeldPorts &held, const Holder &holder) {
    return holder.process && !holder.process->container.empty() ? holder.process->container
                                                                : label_of(held.network);
}

void add_rows(std::vector<RemarkedRow> &rows, const HeldPorts &held, bool shows_all_processes) {
    Cells first = {std::to_string(held.domain), index_of(held), ports_of(held)};
    std::string vendor = text_or_dash(held.announced ? held.announced->vendor : "");
    std::string remark = join(remarks_on(held, shows_all_processes), "; ");

    for (const Holder &holder : held.holders) {
        const auto &process = holder.process;
        Cells cells = std::exchange(first, Cells(first.size()));

        cells.push_back(text_or_dash(process ? std::to_string(process->id) : ""));
        cells.push_back(text_or_dash(process ? process->name : ""));
        cells.push_back(host::user_name(holder.user));
        cells.push_back(network_of(held, holder));
        cells.push_back(std::exchange(vendor, ""));
        rows.push_back({std::move(cells), std::exchange(remark, "")});
    }
}

} // namespace

std::string held_table(const HeldListing &listing, std::optional<std::size_t> width) {
    std::vector<RemarkedRow> rows;

    for (const HeldPorts &held : listing.all) {
        add_rows(rows, held, listing.shows_all_processes);
    }
    return rows.empty() ? "No port of a participant is held\n" : table_of(COLUMNS, rows, width);
}

std::string held_line(const HeldPorts &held, bool shows_all_processes) {
    std::vector<std::string> parts = {"domain " + std::to_string(held.domain),
                                      held.index ? "index " + index_of(held) : index_of(held),
                                      "ports " + ports_of(held)};

    for (const Holder &holder : held.holders) {
        if (holder.process) {
            parts.push_back("process " + process_of(holder));
        }
        parts.push_back("user " + host::user_name(holder.user));
    }
    parts.push_back("network " + label_of(held.network));
    if (held.announced) {
        parts.push_back("vendor " + held.announced->vendor);
    }
    for (const std::string &remark : remarks_on(held, shows_all_processes)) {
        parts.push_back(remark);
    }
    return join(parts, ", ");
}
