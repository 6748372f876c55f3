// SPDX-License-Identifier: Apache-2.0
// Tables for people: cells in columns.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

using Cells = std::vector<std::string>;
using Widths = std::vector<std::size_t>;

/** The text of a cell that is not to be empty. */
std::string text_or_dash(const std::string &text);

/** As wide as the longest cell, unless somebody has announced one that is very long. */
Widths widths_of(const std::vector<Cells> &rows, Widths least);

/** A line of cells that are filled up to their widths, and of a last one that is not. */
std::string line_of(Cells cells, const std::string &last, const Widths &widths);

struct TableColumn {
    const char *title;
    bool may_be_cut = false;
};

/** A row: its cells, and a remark that may be empty. */
struct RemarkedRow {
    Cells cells;
    std::string remark;
};

/**
 * The rows below their titles, no line longer than @p width, if that is given and can be had: the
 * widest cells that may be cut are, and remarks, which may not, have lines of their own.
 */
std::string table_of(const std::vector<TableColumn> &columns, const std::vector<RemarkedRow> &rows,
                     std::optional<std::size_t> width);

/** How many columns the terminal has that stdout is; none when it is none. */
std::optional<std::size_t> terminal_columns();
