// SPDX-License-Identifier: Apache-2.0
#include "held_table.h"

#include <gmock/gmock.h>

using testing::HasSubstr;

namespace {

Holder a_holder(pid_t process, const std::string &name, const std::string &container = "") {
    return {host::HostProcess{process, name, 0, container}, 0};
}

HeldPorts an_index() {
    HeldPorts held = {};

    held.domain = 7;
    held.index = 2;
    held.ports = {{"builtin_unicast", 9164}, {"user_unicast", 9165}};
    held.holders = {a_holder(812, "talker")};
    held.network.is_own = true;
    held.evidence = HeldPorts::Evidence::BOTH_UNICAST_PORTS;
    return held;
}

HeldPorts a_group() {
    HeldPorts held = an_index();

    held.index = std::nullopt;
    held.ports = {{"builtin_multicast", 9150}};
    held.holders = {a_holder(812, "talker"), a_holder(9, "listener", "box")};
    return held;
}

HeldPorts a_blocked_index() {
    HeldPorts held = an_index();

    held.ports = {{"builtin_unicast", 9164}};
    held.evidence = HeldPorts::Evidence::NONE;
    return held;
}

TEST(HeldTable, SaysWhenThereIsNothing) {
    EXPECT_EQ(held_table({{}, true}, std::nullopt), "No port of a participant is held\n");
}

TEST(HeldTable, HasALineForEachHolder) {
    EXPECT_EQ(held_table({{a_group(), an_index()}, true}, std::nullopt),
              "domain  index      ports      pid  process   user  network  vendor\n"
              "7       multicast  9150       812  talker    root  own      -\n"
              "                              9    listener  root  box\n"
              "7       2          9164 9165  812  talker    root  own      -\n");
}

TEST(HeldTable, HasTheVendorThatWasHeard) {
    HeldPorts held = an_index();

    held.announced = Sighting();
    held.announced->vendor = "1.3";
    EXPECT_THAT(held_table({{held}, true}, std::nullopt), HasSubstr("  own      1.3\n"));
}

TEST(HeldTable, SaysWhatIsBlocked) {
    EXPECT_THAT(held_table({{a_blocked_index()}, true}, std::nullopt),
                HasSubstr("  own      -       announces nothing: blocks index 2\n"));
}

TEST(HeldTable, SaysWhatIsBlockedInALineOfItsOwnWhereItIsNarrow) {
    EXPECT_THAT(held_table({{a_blocked_index()}, true}, 80),
                HasSubstr("  own      -\n        announces nothing: blocks index 2\n"));
}

TEST(HeldTable, HasADashForAProcessThatIsNotSeen) {
    HeldPorts held = an_index();

    held.holders = {{std::nullopt, 0}};
    EXPECT_THAT(held_table({{held}, false}, std::nullopt),
                HasSubstr("  -    -        root  own      -       process unknown: run as root\n"));
}

TEST(HeldLine, SaysItAll) {
    HeldPorts held = a_blocked_index();

    EXPECT_EQ(held_line(held, true), "domain 7, index 2, ports 9164, process talker (812), user "
                                     "root, network own, announces nothing: blocks index 2");
    held = a_group();
    EXPECT_THAT(held_line(held, true), HasSubstr("domain 7, multicast, ports 9150, process "));
}

} // namespace
