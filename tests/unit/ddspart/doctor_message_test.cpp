// SPDX-License-Identifier: Apache-2.0
// What the two ends of ddspart doctor say to each other.
#include <gmock/gmock.h>

#include "doctor/end.h"
#include "doctor/message.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::SizeIs;

namespace doctor {

namespace {

const Message MESSAGE = {"send", 0x5f3a9c0012345678, 7, {{"port", "7410"}, {"group"}}};
constexpr const char *TEXT = "ddspart-doctor 1 send 5f3a9c0012345678 7\nport\t7410\ngroup\n";

TEST(DoctorMessage, IsLinesOfText) {
    EXPECT_EQ(to_text(MESSAGE), TEXT);
    EXPECT_EQ(read_message(TEXT).message, MESSAGE);
}

TEST(DoctorMessage, HasARecordByItsName) {
    EXPECT_EQ(MESSAGE.find("port"), Record{"7410"});
    EXPECT_EQ(MESSAGE.find("group"), Record{});
    EXPECT_EQ(MESSAGE.find("source"), std::nullopt);
}

TEST(DoctorMessage, HasNothingInItsFieldsThatSteers) {
    EXPECT_THAT(to_text({"end", 1, 1, {{"name", "a\tb\n\x1b[2J"}}}),
                EndsWith("\nname\ta\\x09b\\x0a\\x1b[2J\n"));
    EXPECT_EQ(read_message("ddspart-doctor 1 end 1 1\nname\t\x1b[2J\n").message, std::nullopt);
}

TEST(DoctorMessage, IsNoneUnlessAllOfItIsAsItShouldBe) {
    for (const char *const text :
         {"", "\n", "ddspart-doctor\n", "ddspart-doctor 1 send 5f 7", "doctor 1 send 5f 7\n",
          "ddspart-doctor 1 send 5f\n", "ddspart-doctor 1 send 5f 7 8\n",
          "ddspart-doctor 1 Send 5f 7\n", "ddspart-doctor 1 send xy 7\n",
          "ddspart-doctor 1 send 5f 4294967296\n", "ddspart-doctor 1 send 5f -7\n",
          "ddspart-doctor 1 send 5f 7\n\tno name\n"}) {
        EXPECT_EQ(read_message(text).message, std::nullopt) << text;
    }
    EXPECT_EQ(read_message(TEXT + std::string(MESSAGE_SIZE_HIGHEST, 'x') + "\n").message,
              std::nullopt);
}

TEST(DoctorMessage, OfAnotherVersionIsNotUnderstood) {
    const Reading reading = read_message("ddspart-doctor 2 send 5f 7\n");

    EXPECT_EQ(reading.version, 2U);
    EXPECT_EQ(reading.kind, "send");
    EXPECT_EQ(read_message("ddspart-doctor 2\n").kind, "");
    EXPECT_EQ(reading.message, std::nullopt);
    EXPECT_EQ(read_message("something else\n").version, std::nullopt);
}

TEST(DoctorMessage, IsAsLongAsAGreetingWhenItIsOne) {
    EXPECT_THAT(to_greeting(MESSAGE), SizeIs(GREETING_SIZE));
    EXPECT_TRUE(read_message(to_greeting(MESSAGE)).message);
}

TEST(DoctorMessage, LeavesOutWhatItHasNoRoomFor) {
    const std::vector<Record> records(100, {"heard", "01020304.05060708.090a0b0c.000001c1"});
    const std::size_t count = records_for_one_message(records, 0);

    EXPECT_GT(count, 10U);
    EXPECT_LE(to_text({"end", 1, 1, records}).size(), MESSAGE_SIZE_HIGHEST);
    EXPECT_EQ(read_message(to_text({"end", 1, 1, {records.begin(), records.begin() + 20}}))
                  .message->records.size(),
              20U);
    EXPECT_EQ(records_for_one_message(records, 95), 5U);
    EXPECT_EQ(records_for_one_message(records, 100), 0U);
}

TEST(DoctorMessage, TellsOfAnEnd) {
    End end;

    end.addresses = {"192.0.2.2", "fd00::2"};
    end.discovery_ports = {7410, 7412};
    end.residents = {{"guid", "talker", {"udpv4://192.0.2.2:7410"}}};
    end.heard = {"guid"};
    end.domains = {0, 7};
    end.is_tagged = true;
    end.needs_multicast = true;
    end.is_whole = false;
    EXPECT_EQ(to_end(to_records(end)), end);
    EXPECT_EQ(to_end(to_records(End())), End());
}

TEST(DoctorMessage, TellsNothingByWhatIsNotUnderstood) {
    EXPECT_EQ(to_end({{"port", "many"}, {"resident", "guid"}, {"weather", "fine"}, {""}}), End());
}

} // namespace

} // namespace doctor
