// SPDX-License-Identifier: Apache-2.0
#include "taken_ports.h"

#include <gtest/gtest.h>

namespace {

class TakenPorts : public testing::Test {
protected:
    TakenPorts() : holdings_{{{}}, {}, true} {
        holdings_.networks[0].is_own = true;
    }

    void hold(DDS_Long port, pid_t process, const std::string &name) {
        hold(port, {host::HostProcess{process, name, 0, ""}, 0});
    }
    void hold(DDS_Long port, const Holder &holder) {
        holdings_.all.push_back(
            {{"0.0.0.0", static_cast<std::uint16_t>(port), 0, 77, 0, 0}, 0, {holder}});
    }
    std::string said() const {
        return taken_ports(options_, holdings_);
    }

    ParticipantOptions options_;
    Holdings holdings_;
};

TEST_F(TakenPorts, AreNoneWhereNobodyHoldsThem) {
    EXPECT_EQ(said(), "");
}

TEST_F(TakenPorts, NameTheHolderOfAFixedIndex) {
    options_.index = 3;
    hold(7416, 812, "talker");
    EXPECT_EQ(said(), "index 3 tried; 7416 is held by process 812 (talker)");
}

TEST_F(TakenPorts, NameTheHolderOfTheOtherUnicastPort) {
    options_.index = 3;
    hold(7417, 812, "talker");
    EXPECT_EQ(said(), "index 3 tried; 7417 is held by process 812 (talker)");
}

TEST_F(TakenPorts, AreNoneThatAreNotAskedFor) {
    options_.index = 3;
    options_.reserved_ports = DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST;
    hold(7417, 812, "talker");
    EXPECT_EQ(said(), "");
}

TEST_F(TakenPorts, AreNoneAsLongAsAnIndexIsFree) {
    for (DDS_Long index = 0; index < 119; ++index) {
        hold(7410 + 2 * index, 812, "talker");
    }
    EXPECT_EQ(said(), "");
}

TEST_F(TakenPorts, NameAllHoldersOnce) {
    hold(7410, 812, "talker");
    for (DDS_Long index = 1; index <= 119; ++index) {
        hold(7410 + 2 * index, 813, "listener");
    }
    EXPECT_EQ(said(), "index 0 to 119 tried; 7410 is held by process 812 (talker), 7412 and 118 "
                      "more are held by process 813 (listener)");
}

TEST_F(TakenPorts, NameThreeHoldersAtMost) {
    for (DDS_Long index = 0; index <= 119; ++index) {
        hold(7410 + 2 * index, 1000 + index, "talker");
    }
    EXPECT_EQ(said(), "index 0 to 119 tried; 7410 is held by process 1000 (talker), 7412 is held "
                      "by process 1001 (talker), 7414 is held by process 1002 (talker), others by "
                      "117 more processes");
}

TEST_F(TakenPorts, SayWhenTheHolderIsNotKnown) {
    options_.index = 3;
    hold(7416, {std::nullopt, 0});
    EXPECT_EQ(said(), "index 3 tried; 7416 is held by an unknown process of user root");
}

TEST_F(TakenPorts, NameTheHolderOfAMulticastPortWithoutAnIndex) {
    hold(7400, 812, "talker");
    EXPECT_EQ(said(), "multicast port 7400 is held by process 812 (talker)");
}

TEST_F(TakenPorts, AreNoneOfAGroupThatAParticipantWithAnotherIndexReceives) {
    options_.index = 3;
    hold(7400, 812, "talker");
    hold(7410, 812, "talker");
    EXPECT_EQ(said(), "");
}

TEST_F(TakenPorts, AreNoneThatAreBoundToTheGroup) {
    hold(7400, 812, "talker");
    holdings_.all.back().socket.address = "239.255.0.1"; // others can have it as well
    EXPECT_EQ(said(), "");
}

TEST_F(TakenPorts, AreNoneOfAGroupThatAParticipantReceives) {
    hold(7400, 812, "talker");
    hold(7410, 812, "talker");
    EXPECT_EQ(said(), "");
}

} // namespace
