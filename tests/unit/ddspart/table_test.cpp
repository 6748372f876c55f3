// SPDX-License-Identifier: Apache-2.0
#include "table.h"

#include <gtest/gtest.h>

namespace {

const std::vector<TableColumn> COLUMNS = {{"number"}, {"name", true}};

TEST(Table, HasTitlesAndColumnsAsWideAsTheirCells) {
    EXPECT_EQ(table_of(COLUMNS, {{{"1", "a name"}, ""}, {{"22", "b"}, ""}}, std::nullopt),
              "number  name\n"
              "1       a name\n"
              "22      b\n");
}

TEST(Table, HasRemarksBehindTheLastColumn) {
    EXPECT_EQ(table_of(COLUMNS, {{{"1", "a"}, "odd"}, {{"2", "b"}, ""}}, std::nullopt),
              "number  name\n"
              "1       a     odd\n"
              "2       b\n");
}

TEST(Table, HasRemarksInLinesOfTheirOwnWhereThereIsNoRoom) {
    EXPECT_EQ(table_of(COLUMNS, {{{"1", "a"}, "odd"}, {{"2", "b"}, ""}}, 16), "number  name\n"
                                                                              "1       a\n"
                                                                              "        odd\n"
                                                                              "2       b\n");
}

TEST(Table, HasRemarksBehindTheLastColumnWhereThereIsJustRoom) {
    EXPECT_EQ(table_of(COLUMNS, {{{"1", "a"}, "odd"}}, 17), "number  name\n"
                                                            "1       a     odd\n");
}

TEST(Table, CutsWhatMayBeCut) {
    EXPECT_EQ(table_of(COLUMNS, {{{"1234567", "abcdefgh"}, ""}}, 14), "number   name\n"
                                                                      "1234567  abcd\u2026\n");
}

TEST(Table, CutsTheWidestFirst) {
    EXPECT_EQ(table_of({{"a", true}, {"b", true}}, {{{"12345", "12345678"}, ""}}, 12),
              "a      b\n"
              "12345  1234\u2026\n");
}

TEST(Table, CutsNoCharacterInTwo) {
    EXPECT_EQ(table_of({{"a", true}}, {{{"\u00e9\u00e9\u00e9"}, ""}}, 2), "a\n\u00e9\u2026\n");
}

TEST(Table, OverflowsRatherThanCutWhatMayNotBe) {
    EXPECT_EQ(table_of({{"a"}}, {{{"12345"}, ""}}, 2), "a\n12345\n");
}

} // namespace
