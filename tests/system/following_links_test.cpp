// SPDX-License-Identifier: Apache-2.0
// Interfaces that come and go, to the last of them.
#include <csignal>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "following_network.h"

using following::change_line;
using following::default_port;
using following::expect_arrival;
using following::expect_group_arrival;
using following::Follower;
using following::interfaces_of_group;
using following::locator;
using following::metatraffic_port;
using following::TakenPort;
using following::Texts;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

namespace {

/** Two interfaces beside loopback. */
class FollowingLinks : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        if (!IsSkipped()) {
            add_interface("net1", {"198.51.100.2/24"});
        }
    }
};

TEST_F(FollowingLinks, OneGoesDownAndComesUp) {
    Follower follower;
    const std::set<unsigned> ports = udp_ports();

    for (int i = 0; i < 2; ++i) {
        ip({"link", "set", "net1", "down"});
        EXPECT_TRUE(follower.has({"192.0.2.2"})) << follower.log();
        expect_arrival("192.0.2.2", "net0");
        ip({"link", "set", "net1", "up"});
        EXPECT_TRUE(follower.has({"192.0.2.2", "198.51.100.2"})) << follower.log();
        expect_arrival("198.51.100.2", "net1");
    }
    EXPECT_EQ(udp_ports(), ports);
    follower.expect_never_moved();
}

TEST_F(FollowingLinks, OneThatIsUpWithoutACarrierIsNotUsed) {
    Follower follower;

    ip({"link", "set", "net1peer", "down"});
    EXPECT_TRUE(follower.has({"192.0.2.2"})) << follower.log();
    ip({"link", "set", "net1peer", "up"});
    EXPECT_TRUE(follower.has({"192.0.2.2", "198.51.100.2"})) << follower.log();
    follower.expect_never_moved();
}

TEST_F(FollowingLinks, OneIsDeletedAndMadeAgain) {
    Follower follower;

    ip({"link", "del", "net1"});
    EXPECT_TRUE(follower.has({"192.0.2.2"})) << follower.log();
    add_interface("net1", {"203.0.113.2/24"}); // another index of the kernel's
    EXPECT_TRUE(follower.has({"192.0.2.2", "203.0.113.2"})) << follower.log();
    expect_arrival("203.0.113.2", "net1");
    expect_group_arrival("net1");
    follower.expect_never_moved();
}

TEST_F(FollowingLinks, TheGroupIsJoinedAndLeftWithThem) {
    Follower follower;
    const auto is_joined_on = [](const std::set<std::string> &wanted) {
        return eventually([&] {
            std::set<std::string> joined = interfaces_of_group(GROUP);

            joined.erase("lo"); // which is not what this is about
            return joined == wanted;
        });
    };

    EXPECT_TRUE(is_joined_on({"net0", "net1"}));
    add_interface("net2", {"203.0.113.2/24"});
    EXPECT_TRUE(is_joined_on({"net0", "net1", "net2"}));
    expect_group_arrival("net2");
    ip({"link", "set", "net1", "down"});
    EXPECT_TRUE(is_joined_on({"net0", "net2"}));
    ip({"link", "set", "net1", "up"});
    EXPECT_TRUE(is_joined_on({"net0", "net1", "net2"}));
    expect_group_arrival("net1");
    ip({"link", "del", "net2"});
    ip({"address", "del", "192.0.2.2/24", "dev", "net0"});
    EXPECT_TRUE(is_joined_on({"net1"}));
    add_interface("net2", {"203.0.113.3/24"});
    EXPECT_TRUE(is_joined_on({"net1", "net2"}));
    expect_group_arrival("net2");
    EXPECT_TRUE(follower.has({"198.51.100.2", "203.0.113.3"})) << follower.log();
    follower.expect_never_moved();
    EXPECT_TRUE(is_joined_on({}));
}

TEST_F(FollowingLinks, AGroupOfIPv6IsJoinedAndLeftWithThem) {
    Follower follower({"--transport", "udpv6", "--multicast-address", "ff05::ffff:1"});
    const auto is_joined_on = [](const std::string &interface) {
        return interfaces_of_group("ff05::ffff:1").contains(interface);
    };

    ip({"address", "add", "fd00::2/64", "dev", "net0", "nodad"});
    EXPECT_TRUE(eventually([&] { return is_joined_on("net0"); }));
    EXPECT_TRUE(follower.has({"fd00::2"})) << follower.log();
    const std::uint64_t before = datagrams_received();

    EXPECT_TRUE(send_datagram("udpv6://[ff05::ffff:1]:7400", "net0"));
    EXPECT_TRUE(eventually([&] { return datagrams_received() > before; }));
    ip({"address", "del", "fd00::2/64", "dev", "net0"});
    EXPECT_TRUE(eventually([&] { return !is_joined_on("net0"); }));
    EXPECT_TRUE(follower.has({"::1"})) << follower.log();
    follower.expect_never_moved();
}

class FollowingTheLastAddress : public HostTest {};

TEST_F(FollowingTheLastAddress, LoopbackStandsInForIt) {
    Follower follower;

    ip({"link", "set", "net0", "down"});
    EXPECT_TRUE(follower.has({"127.0.0.1"})) << follower.log();
    expect_arrival("127.0.0.1", "lo");
    ip({"link", "set", "net0", "up"});
    EXPECT_TRUE(follower.has({"192.0.2.2"})) << follower.log();
    expect_arrival("192.0.2.2", "net0");
    follower.expect_never_moved();
}

TEST_F(FollowingTheLastAddress, IsLostAndRegainedWithTheSameIndexAndPorts) {
    Follower follower;
    const Texts locators = {locator("192.0.2.2", default_port(0))};
    const std::string lost = change_line("Default unicast", locators, {});
    const std::string regained = change_line("Default unicast", {}, locators);
    const std::set<unsigned> ports = udp_ports();

    for (std::size_t i = 1; i <= 3; ++i) {
        ip({"link", "set", "lo", "down"});
        ip({"link", "set", "net0", "down"});
        EXPECT_TRUE(follower.has({})) << follower.log();
        EXPECT_EQ(count(follower.log(), lost), i) << follower.log();
        EXPECT_THAT(udp_ports(), IsSupersetOf({7410, 7411})); // nobody else can have its index
        ip({"link", "set", "net0", "up"});
        EXPECT_TRUE(follower.has({"192.0.2.2"})) << follower.log();
        EXPECT_EQ(count(follower.log(), regained), i) << follower.log();
        EXPECT_EQ(udp_ports(), ports);
        ip({"link", "set", "lo", "up"}); // for what is sent to oneself
        expect_arrival("192.0.2.2", "net0");
        expect_group_arrival("net0");
    }
    EXPECT_EQ(follower.events().back()["index"], 0);
    EXPECT_THAT(follower.log(), Not(HasSubstr("ERROR")));
    EXPECT_EQ(follower.process().stop(SIGTERM).code, 0) << follower.log();
    EXPECT_THAT(udp_ports(), ElementsAre());
}

TEST_F(FollowingTheLastAddress, IsLostInOneBurstWithItsReturn) {
    Follower follower;

    for (int i = 0; i < 5; ++i) {
        ip_batch({"link set lo down", "link set net0 down", "link set net0 up",
                  "link set net0 down", "link set net0 up", "link set lo up"});
    }
    ip({"address", "add", "198.51.100.2/24", "dev", "net0"});
    EXPECT_TRUE(follower.has({"192.0.2.2", "198.51.100.2"})) << follower.log();
    EXPECT_THAT(udp_ports(), ElementsAre(7400, 7410, 7411));
    EXPECT_THAT(follower.log(), Not(HasSubstr("ERROR")));
    expect_arrival("192.0.2.2", "net0");
}

TEST_F(FollowingTheLastAddress, AFirstOneGivesAnIndex) {
    ip({"link", "set", "lo", "down"});
    ip({"link", "del", "net0"});
    Follower follower;

    EXPECT_EQ(follower.events().front()["index"], nullptr);
    add_interface("net1", {"198.51.100.2/24"});
    EXPECT_TRUE(follower.has({"198.51.100.2"})) << follower.log();
    EXPECT_EQ(follower.events().back()["index"], 0);
    EXPECT_TRUE(follower.logs("Reserved participant index 0 on domain 0")) << follower.log();
    EXPECT_THAT(udp_ports(), ElementsAre(7400, 7410, 7411));
    ip({"link", "set", "lo", "up"});
    expect_arrival("198.51.100.2", "net1");
    expect_group_arrival("net1");
    EXPECT_THAT(follower.log(), Not(HasSubstr("ERROR")));
}

TEST_F(FollowingTheLastAddress, AFirstOneOfIPv6GivesAnIndex) {
    ip({"link", "set", "lo", "down"});
    Follower follower({"--transport", "udpv6"});

    EXPECT_EQ(follower.events().front()["index"], nullptr);
    ip({"address", "add", "fd00::2/64", "dev", "net0", "nodad"});
    EXPECT_TRUE(follower.has({"fd00::2"})) << follower.log();
    EXPECT_EQ(follower.events().back()["index"], 0);
    ip({"link", "set", "lo", "up"});
    expect_arrival("fd00::2", "net0");
}

TEST_F(FollowingTheLastAddress, AFirstOneGivesTwoParticipantsDifferentIndices) {
    ip({"link", "set", "lo", "down"});
    ip({"link", "set", "net0", "down"});
    Follower first;
    Follower second;
    const auto has_an_index = [](const json &event) { return event["index"] != nullptr; };

    ip({"link", "set", "net0", "up"});
    EXPECT_TRUE(first.comes_to(has_an_index)) << first.log();
    EXPECT_TRUE(second.comes_to(has_an_index)) << second.log();
    EXPECT_THAT((std::set<int>{first.events().back()["index"], second.events().back()["index"]}),
                ElementsAre(0, 1));
    EXPECT_THAT(udp_ports(), ElementsAre(7400, 7410, 7411, 7412, 7413));
}

/** Somebody has a port of index 0 when a participant gets its first address. */
class FollowingWithATakenPort : public FollowingTheLastAddress,
                                public testing::WithParamInterface<unsigned> {
protected:
    void SetUp() override {
        HostTest::SetUp();
        if (!IsSkipped()) {
            ip({"link", "set", "lo", "down"});
            ip({"link", "set", "net0", "down"});
        }
    }
};

TEST_P(FollowingWithATakenPort, AnIndexThatIsChosenIsAnother) {
    const TakenPort taken(GetParam());
    Follower follower;

    ip({"link", "set", "net0", "up"});
    EXPECT_TRUE(follower.has({"192.0.2.2"}, 1)) << follower.log();
    EXPECT_EQ(follower.events().back()["index"], 1);
    EXPECT_TRUE(follower.logs("default unicast locators " + locator("192.0.2.2", default_port(1))));
    EXPECT_EQ(count(follower.log(), "Trying next port..."), 1u) << follower.log();
    EXPECT_THAT(follower.log(), Not(HasSubstr("ERROR"))); // nothing has failed
    EXPECT_TRUE(eventually([&] {
        return udp_ports() == std::set<unsigned>{7400, GetParam(), 7412, 7413};
    })) << testing::PrintToString(udp_ports());
    ip({"link", "set", "lo", "up"});
    expect_arrival("192.0.2.2", "net0", 1);
    expect_group_arrival("net0");
    // And that one it keeps.
    ip({"address", "add", "198.51.100.2/24", "dev", "net0"});
    EXPECT_TRUE(follower.has({"192.0.2.2", "198.51.100.2"}, 1)) << follower.log();
    EXPECT_EQ(follower.process().stop(SIGTERM).code, 0) << follower.log();
    EXPECT_THAT(udp_ports(), ElementsAre(GetParam()));
}

TEST_P(FollowingWithATakenPort, AnIndexThatIsFixedIsWaitedFor) {
    Follower follower({"--index", "0"});

    {
        const TakenPort taken(GetParam());

        ip({"link", "set", "net0", "up"});
        EXPECT_TRUE(follower.logs("No index available for participant")) << follower.log();
        EXPECT_TRUE(follower.has({})) << follower.log();
    }
    ip({"address", "add", "198.51.100.2/24", "dev", "net0"});
    EXPECT_TRUE(follower.has({"192.0.2.2", "198.51.100.2"})) << follower.log();
    EXPECT_EQ(follower.events().back()["index"], 0);
    EXPECT_THAT(udp_ports(), ElementsAre(7400, 7410, 7411));
    ip({"link", "set", "lo", "up"});
    expect_arrival("192.0.2.2", "net0");
    expect_arrival("198.51.100.2", "net0");
    expect_group_arrival("net0");
    // What failed, and why; the tries until it could be had add nothing.
    EXPECT_EQ(count(follower.log(), "No index available for participant"), 1u) << follower.log();
    EXPECT_EQ(count(follower.log(), "ERROR"), 2u) << follower.log();
    EXPECT_EQ(follower.process().stop(SIGTERM).code, 0) << follower.log();
    EXPECT_THAT(udp_ports(), ElementsAre());
}

INSTANTIATE_TEST_SUITE_P(OfEitherPort, FollowingWithATakenPort,
                         testing::Values(metatraffic_port(0), default_port(0)),
                         testing::PrintToStringParamName());

} // namespace
