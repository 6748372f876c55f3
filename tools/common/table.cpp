// SPDX-License-Identifier: Apache-2.0
#include "table.h"

#include <algorithm>
#include <numeric>

#include <sys/ioctl.h>
#include <unistd.h>

#include "words.h"

namespace {

constexpr const char *BETWEEN = "  ";
constexpr std::size_t GAP = 2;
constexpr const char *CUT = "\u2026"; // one character

bool is_first_of_character(char octet) {
    return (static_cast<unsigned char>(octet) & 0xC0U) != 0x80U;
}

/** How many characters a text of UTF-8 has. */
std::size_t width_of(const std::string &text) {
    return static_cast<std::size_t>(std::ranges::count_if(text, is_first_of_character));
}

std::string cut(const std::string &text, std::size_t width) {
    std::size_t characters = 0;

    if (width_of(text) <= width) {
        return text;
    }
    const auto end = std::ranges::find_if(
        text, [&](char octet) { return is_first_of_character(octet) && ++characters == width; });

    return std::string(text.begin(), end) + CUT;
}

std::size_t length_of(const Widths &widths) {
    return std::accumulate(widths.begin(), widths.end(), GAP * (widths.size() - 1));
}

/** The widest of the columns that may be cut, if one is left. */
std::optional<std::size_t> widest(const Widths &widths, const std::vector<TableColumn> &columns) {
    std::optional<std::size_t> found;

    for (std::size_t i = 0; i < widths.size(); ++i) {
        if (columns[i].may_be_cut && widths[i] > (found ? widths[*found] : 1)) {
            found = i;
        }
    }
    return found;
}

/** The widths, of which the widest are narrowed until a line is no longer than @p width. */
Widths fitted(Widths widths, const std::vector<TableColumn> &columns, std::size_t width) {
    while (length_of(widths) > width) {
        const auto place = widest(widths, columns);

        if (!place) {
            break;
        }
        --widths[*place];
    }
    return widths;
}

std::string without_blanks_at_end(const std::string &line) {
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

std::string filled(const Cells &cells, const Widths &widths) {
    Cells all;

    for (std::size_t i = 0; i < cells.size(); ++i) {
        const std::size_t width = width_of(cells[i]);

        all.push_back(cells[i] + std::string(std::max(widths[i], width) - width, ' '));
    }
    return join(all, BETWEEN);
}

} // namespace

std::string text_or_dash(const std::string &text) {
    return text.empty() ? "-" : text;
}

Widths widths_of(const std::vector<Cells> &rows, Widths least) {
    constexpr std::size_t WIDEST = 64;

    for (const Cells &row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            least[i] = std::max(least[i], std::min(width_of(row[i]), WIDEST));
        }
    }
    return least;
}

std::string line_of(Cells cells, const std::string &last, const Widths &widths) {
    return join({filled(cells, widths), last}, BETWEEN) + "\n";
}

std::string table_of(const std::vector<TableColumn> &columns, const std::vector<RemarkedRow> &rows,
                     std::optional<std::size_t> width) {
    constexpr const char *INDENTATION = "        ";
    std::vector<Cells> all(1);
    std::size_t longest_remark = 0;

    for (const TableColumn &column : columns) {
        all.front().emplace_back(column.title);
    }
    for (const RemarkedRow &row : rows) {
        all.push_back(row.cells);
        longest_remark = std::max(longest_remark, width_of(row.remark));
    }
    Widths widths = widths_of(all, Widths(columns.size(), 0));
    const bool has_room_for_remarks = !width || length_of(widths) + GAP + longest_remark <= *width;
    std::string text;

    if (width) {
        widths = fitted(std::move(widths), columns, *width);
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string remark = i > 0 ? rows[i - 1].remark : "";

        for (std::size_t j = 0; width && j < columns.size(); ++j) {
            all[i][j] = cut(all[i][j], widths[j]);
        }
        const std::string line = filled(all[i], widths);

        if (remark.empty()) {
            text += without_blanks_at_end(line) + "\n";
        } else if (has_room_for_remarks) {
            text += join({line, remark}, BETWEEN) + "\n";
        } else {
            text += join({without_blanks_at_end(line), INDENTATION + remark}, "\n") + "\n";
        }
    }
    return text;
}

std::optional<std::size_t> terminal_columns() {
    winsize size = {};

    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return std::nullopt;
    }
    return size.ws_col;
}
