// SPDX-License-Identifier: Apache-2.0
// Participants as people read them.
#include "list_table.h"

#include <gmock/gmock.h>

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr WallTime NOW(std::chrono::seconds(1000));

Sighting a_participant() {
    Sighting other;

    other.domain = 7;
    other.guid = "01020304.05060708.090a0b0c.000001c1";
    other.name = "talker";
    other.vendor = "1.3";
    other.host = "alpha";
    other.process = "demo";
    other.pid = 4711;
    other.addresses = {"192.0.2.2"};
    other.builtin_unicast_port = 9160;
    other.user_unicast_port = 9161;
    other.index = 0;
    other.lease = std::chrono::seconds(20);
    other.last_heard = NOW - std::chrono::milliseconds(300);
    return other;
}

const std::string TITLES =
    "domain  name              vendor  host          process               address          "
    "ports        index  lease     heard\n";
const std::string ROW =
    "7       talker            1.3     alpha         demo (4711)           192.0.2.2        "
    "9160 9161    0      20 s      0.3 s ago\n";

TEST(ListTable, HasARowForEachParticipant) {
    EXPECT_EQ(list_table({{a_participant(), a_participant()}, NOW}), TITLES + ROW + ROW);
}

TEST(ListTable, SaysThatThereIsNobody) {
    EXPECT_EQ(list_table({{}, NOW}), "No participants\n");
}

TEST(ListTable, HasADashForWhatIsNotSaid) {
    Sighting other;

    other.vendor = "0.0";
    EXPECT_THAT(list_table({{other}, NOW}),
                EndsWith("\n0       -                 0.0     -             -                     "
                         "-                -            -      infinite  -\n"));
}

TEST(ListTable, MarksATool) {
    Sighting other = a_participant();

    other.tool = "ddspart list";
    EXPECT_THAT(list_table({{other}, NOW}), HasSubstr("7       talker (ddspart list)  1.3"));
    other.name.reset();
    EXPECT_THAT(list_table({{other}, NOW}), HasSubstr("7       (ddspart list)    1.3"));
}

TEST(ListTable, WidensTheColumnOfALongCell) {
    Sighting other = a_participant();

    other.host = "a-host-with-a-long-name";
    const std::string text = list_table({{a_participant(), other}, NOW});

    EXPECT_THAT(text, HasSubstr("  alpha                    demo (4711)"));
    EXPECT_THAT(text, HasSubstr("  a-host-with-a-long-name  demo (4711)"));
}

TEST(ListTable, CountsCharactersRatherThanOctets) {
    Sighting other = a_participant();

    other.name = "\u00e9talon";
    EXPECT_THAT(list_table({{other}, NOW}), HasSubstr("7       \u00e9talon            1.3"));
}

TEST(ListTable, SteersNoTerminal) {
    Sighting other = a_participant();

    other.name = "a\x1b[2J\nb";
    other.host = "\x9B";
    other.process = "\r";
    other.tool = "\x07";
    const std::string text = list_table({{other}, NOW});

    EXPECT_THAT(text, HasSubstr("a\\x1b[2J\\x0ab (\\x07)"));
    for (const char *control : {"\x1b", "\x9B", "\r", "\x07"}) {
        EXPECT_THAT(text, Not(HasSubstr(control)));
    }
}

TEST(ListTable, ShowsEveryAddressAndALeaseToTheMillisecond) {
    Sighting other = a_participant();

    other.addresses = {"192.0.2.2", "fd00::2"};
    other.lease = std::chrono::milliseconds(1500);
    const std::string text = list_table({{other}, NOW});

    EXPECT_THAT(text, HasSubstr("  192.0.2.2 fd00::2  "));
    EXPECT_THAT(text, HasSubstr("  1.500 s  "));
}

TEST(ListTable, KnowsNoFuture) {
    Sighting other = a_participant();

    other.last_heard = NOW + std::chrono::seconds(5);
    EXPECT_THAT(list_table({{other}, NOW}), EndsWith("  0.0 s ago\n"));
}

TEST(RowByRow, HasTheTitlesOnce) {
    RowByRow rows;

    EXPECT_EQ(rows.row(a_participant(), NOW), TITLES + ROW);
    EXPECT_EQ(rows.row(a_participant(), NOW), ROW);
}

TEST(RowByRow, ReadsLikeATableOfTheSameRows) {
    RowByRow rows;
    Sighting heard_again = a_participant();

    (void)rows.row(a_participant(), NOW);
    heard_again.last_heard = NOW;
    EXPECT_TRUE(rows.reads_like({{heard_again}, NOW}));
}

TEST(RowByRow, DoesNotReadLikeATableOfOthers) {
    RowByRow rows;
    Sighting other = a_participant();

    (void)rows.row(a_participant(), NOW);
    other.name = "listener";
    EXPECT_FALSE(rows.reads_like({{other}, NOW}));
    EXPECT_FALSE(rows.reads_like({{a_participant(), other}, NOW}));
    EXPECT_FALSE(rows.reads_like({{}, NOW}));
}

TEST(RowByRow, DoesNotReadLikeATableOfWiderColumns) {
    RowByRow rows;
    Sighting other = a_participant();

    other.host = "a-host-with-a-long-name";
    (void)rows.row(other, NOW);
    EXPECT_FALSE(rows.reads_like({{other}, NOW}));
}

} // namespace
