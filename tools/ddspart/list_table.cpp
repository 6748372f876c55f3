// SPDX-License-Identifier: Apache-2.0
#include "list_table.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <sstream>

#include "printable.h"
#include "table.h"
#include "words.h"

namespace {

std::string seconds(std::chrono::nanoseconds duration, int digits) {
    std::ostringstream text;

    text << std::fixed << std::setprecision(digits)
         << std::chrono::duration<double>(duration).count() << " s";
    return text.str();
}

template <class Number>
std::string number(const std::optional<Number> &value) {
    return value ? std::to_string(*value) : "";
}

/** Both with a space between them, as far as they are there. */
std::string pair(const std::string &first, const std::string &second) {
    return first.empty() || second.empty() ? first + second : first + " " + second;
}

std::string name_of(const Description &other) {
    return pair(printable(other.name.value_or("")),
                other.tool ? "(" + printable(*other.tool) + ")" : "");
}

std::string process_of(const Description &other) {
    return pair(printable(other.process.value_or("")),
                other.pid ? "(" + number(other.pid) + ")" : "");
}

std::string ports_of(const Description &other) {
    return pair(number(other.builtin_unicast_port), number(other.user_unicast_port));
}

std::string lease_of(const Description &other) {
    constexpr auto WHOLE = std::chrono::seconds(1);

    if (!other.lease) {
        return "infinite";
    }
    return seconds(*other.lease, *other.lease % WHOLE == WHOLE.zero() ? 0 : 3);
}

struct Column {
    const char *title;
    std::size_t width; // at least
    std::string (*text)(const Description &other);
};

// clang-format off
const std::array COLUMNS = {
    Column{"domain", 6, [](const Description &other) { return std::to_string(other.domain); }},
    Column{"name", 16, name_of},
    Column{"vendor", 6, [](const Description &other) { return other.vendor; }},
    Column{"host", 12,
           [](const Description &other) { return printable(other.host.value_or("")); }},
    Column{"process", 20, process_of},
    Column{"address", 15, [](const Description &other) { return join(other.addresses, " "); }},
    Column{"ports", 11, ports_of},
    Column{"index", 5, [](const Description &other) { return number(other.index); }},
    Column{"lease", 8, lease_of},
};
// clang-format on

constexpr const char *HEARD = "heard"; // the last column, which is different each time

Cells titles() {
    Cells all;

    for (const Column &column : COLUMNS) {
        all.emplace_back(column.title);
    }
    return all;
}

Widths least_widths() {
    Widths widths;

    for (const Column &column : COLUMNS) {
        widths.push_back(column.width);
    }
    return widths;
}

Cells cells_of(const Description &other) {
    Cells cells;

    for (const Column &column : COLUMNS) {
        cells.push_back(text_or_dash(column.text(other)));
    }
    return cells;
}

std::string heard(const Sighting &other, WallTime now) {
    if (!other.last_heard) {
        return text_or_dash("");
    }
    return seconds(std::max(now - *other.last_heard, WallTime::duration::zero()), 1) + " ago";
}

std::vector<Cells> rows_of(const Listing &listing) {
    std::vector<Cells> rows;

    for (const Sighting &other : listing.others) {
        rows.push_back(cells_of(other));
    }
    return rows;
}

} // namespace

std::vector<std::pair<std::string, std::string>> titled_cells(const Description &other) {
    std::vector<std::pair<std::string, std::string>> titled;

    for (const Column &column : COLUMNS) {
        const std::string text = column.text(other);

        if (!text.empty()) {
            titled.emplace_back(column.title, text);
        }
    }
    return titled;
}

std::string list_table(const Listing &listing) {
    const std::vector<Cells> rows = rows_of(listing);
    const Widths widths = widths_of(rows, least_widths());

    if (rows.empty()) {
        return "No participants\n";
    }
    std::string text = line_of(titles(), HEARD, widths);

    for (std::size_t i = 0; i < rows.size(); ++i) {
        text += line_of(rows[i], heard(listing.others[i], listing.now), widths);
    }
    return text;
}

std::string RowByRow::row(const Sighting &other, WallTime now) {
    const std::string titled = rows_.empty() ? line_of(titles(), HEARD, least_widths()) : "";

    rows_.push_back(cells_of(other));
    return titled + line_of(rows_.back(), heard(other, now), least_widths());
}

bool RowByRow::reads_like(const Listing &listing) const {
    return rows_ == rows_of(listing) && widths_of(rows_, least_widths()) == least_widths();
}
