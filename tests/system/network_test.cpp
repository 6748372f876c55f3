// SPDX-License-Identifier: Apache-2.0
// Transports, interfaces and what arrives.
#include <csignal>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "network.h"
#include "process.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

using Texts = std::vector<std::string>;

json own_event(Process &process) {
    EXPECT_TRUE(process.wait_for_output("}\n")) << process.errors();
    const std::string text = process.output();

    return json::parse(text.substr(0, text.find('\n')));
}

/** The interface "net0" has addresses of both families. */
class DualStack : public NetworkTest {
protected:
    void SetUp() override {
        NetworkTest::SetUp();
        if (!IsSkipped()) {
            add_interface("net0", {"192.0.2.2/24", "fd00::2/64"});
        }
    }
};

TEST_F(DualStack, JoinsByIPv4UnlessAskedOtherwise) {
    Process process = ddspart({"run", "--json"});
    const json participant = own_event(process);

    EXPECT_EQ(participant["metatraffic_unicast_locators"], Texts{"udpv4://192.0.2.2:7410"});
    EXPECT_EQ(participant["default_unicast_locators"], Texts{"udpv4://192.0.2.2:7411"});
}

TEST_F(DualStack, JoinsByIPv6OnRequest) {
    Process process = ddspart({"run", "--transport", "udpv6", "--json"});
    const json participant = own_event(process);

    EXPECT_EQ(participant["metatraffic_unicast_locators"], Texts{"udpv6://[fd00::2]:7410"});
    EXPECT_EQ(participant["default_unicast_locators"], Texts{"udpv6://[fd00::2]:7411"});
    EXPECT_EQ(participant["metatraffic_multicast_locators"], Texts());
    EXPECT_THAT(udp_ports(), ElementsAre(7410, 7411));
    EXPECT_THAT(addresses_of_port(7410), ElementsAre("::"));
}

TEST_F(DualStack, JoinsByBothOnRequest) {
    Process process = ddspart({"run", "--transport", "udpv4,udpv6", "--json"});
    const json participant = own_event(process);

    EXPECT_EQ(participant["metatraffic_unicast_locators"],
              (Texts{"udpv4://192.0.2.2:7410", "udpv6://[fd00::2]:7410"}));
    EXPECT_EQ(participant["default_unicast_locators"],
              (Texts{"udpv4://192.0.2.2:7411", "udpv6://[fd00::2]:7411"}));
    EXPECT_THAT(addresses_of_port(7410), UnorderedElementsAre("0.0.0.0", "::"));
}

TEST_F(DualStack, AnIndexIsTakenWhenOneTransportHasItsPort) {
    Process first = ddspart({"run", "--transport", "udpv6"});

    ASSERT_TRUE(first.wait_for_output("Joined")) << first.errors();
    Process second = ddspart({"run", "--transport", "udpv4,udpv6", "--json"});

    EXPECT_EQ(own_event(second)["index"], 1);
    // Nothing is left of the try, as soon as the reactor has closed what came of it.
    EXPECT_TRUE(eventually([] { return addresses_of_port(7410) == std::set<std::string>{"::"}; }));
}

/** Sends to each locator of a participant that itself sends nothing. */
void expect_all_locators_to_receive(Texts arguments) {
    arguments.emplace_back("--no-announce");
    Process process = ddspart(arguments);
    const json participant = own_event(process);
    std::uint64_t sent = 0;

    for (const char *list : {"metatraffic_unicast_locators", "metatraffic_multicast_locators",
                             "default_unicast_locators", "default_multicast_locators"}) {
        for (const std::string locator : participant[list]) {
            EXPECT_TRUE(send_datagram(locator, "net0")) << "nobody listens at " << locator;
            ++sent;
        }
    }
    EXPECT_GE(sent, 2u);
    EXPECT_TRUE(eventually([&] { return datagrams_received() >= sent; }));
    EXPECT_EQ(datagrams_received(), sent);
    for (const Socket &socket : udp_sockets()) {
        EXPECT_EQ(socket.bytes_waiting, 0u) << socket.address << ' ' << socket.port;
        EXPECT_EQ(socket.drops, 0u) << socket.address << ' ' << socket.port;
    }
    EXPECT_EQ(process.stop(SIGTERM).code, 0) << process.errors();
}

TEST_F(DualStack, DatagramsToAnnouncedLocatorsArriveByIPv4) {
    expect_all_locators_to_receive({"run", "--json"});
}

TEST_F(DualStack, DatagramsToAnnouncedLocatorsArriveByIPv6) {
    expect_all_locators_to_receive(
        {"run", "--json", "--transport", "udpv6", "--multicast-address", "ff05::ffff:1"});
}

TEST_F(DualStack, DatagramsToAnnouncedLocatorsArriveByBoth) {
    expect_all_locators_to_receive({"run", "--json", "--transport", "udpv4,udpv6"});
}

/** Two interfaces beside loopback. */
class TwoInterfaces : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        if (!IsSkipped()) {
            add_interface("net1", {"198.51.100.2/24"});
        }
    }
};

TEST_F(TwoInterfaces, BothAreAnnouncedOnOnePort) {
    Process process = ddspart({"run", "--json"});

    EXPECT_EQ(own_event(process)["default_unicast_locators"],
              (Texts{"udpv4://192.0.2.2:7411", "udpv4://198.51.100.2:7411"}));
    EXPECT_THAT(addresses_of_port(7411), ElementsAre("0.0.0.0"));
}

TEST_F(TwoInterfaces, OnlyTheNamedOneIsUsed) {
    Process process = ddspart({"run", "--interface", "net1", "--json"});

    EXPECT_EQ(own_event(process)["default_unicast_locators"], Texts{"udpv4://198.51.100.2:7411"});
    for (const unsigned port : {7410u, 7411u}) {
        EXPECT_THAT(addresses_of_port(port), UnorderedElementsAre("127.0.0.1", "198.51.100.2"));
    }
    EXPECT_FALSE(send_datagram("udpv4://192.0.2.2:7411", "net0"));
    EXPECT_TRUE(send_datagram("udpv4://198.51.100.2:7411", "net1"));
}

TEST_F(TwoInterfaces, OneThatIsMissingIsUsedOnceItAppears) {
    Process process = ddspart({"run", "--interface", "net2"});

    ASSERT_TRUE(process.wait_for_output("Default unicast locators: udpv4://127.0.0.1:7411\n"));
    EXPECT_THAT(process.errors(), HasSubstr("no usable interface is named 'net2'"));
    add_interface("net2", {"203.0.113.2/24"});
    EXPECT_TRUE(process.wait_for_output("Default unicast locators: udpv4://203.0.113.2:7411\n"));
}

TEST_F(TwoInterfaces, SeveralMayBeNamedByNameOrAddress) {
    Process process = ddspart({"run", "--interface", "net1", "--interface", "192.0.2.2", "--json"});

    EXPECT_EQ(own_event(process)["default_unicast_locators"],
              (Texts{"udpv4://192.0.2.2:7411", "udpv4://198.51.100.2:7411"}));
    EXPECT_THAT(addresses_of_port(7411),
                UnorderedElementsAre("127.0.0.1", "192.0.2.2", "198.51.100.2"));
}

TEST_F(TwoInterfaces, RestrictedToDifferentOnesTwoStillHaveDifferentIndices) {
    Process first = ddspart({"run", "--interface", "net0"});

    ASSERT_TRUE(first.wait_for_output("Joined")) << first.errors();
    Process second = ddspart({"run", "--interface", "net1", "--json"});

    EXPECT_EQ(own_event(second)["index"], 1); // loopback is theirs in common
}

class ChangingInterfaces : public HostTest {};

TEST_F(ChangingInterfaces, AreFollowedWithALineForEachList) {
    Process process = ddspart({"run"});

    ASSERT_TRUE(process.wait_for_output("Joined")) << process.errors();
    add_interface("net1", {"198.51.100.2/24"});
    for (const char *line :
         {"Default unicast locators have changed from {udpv4://192.0.2.2:7411} to "
          "{udpv4://192.0.2.2:7411, udpv4://198.51.100.2:7411}.\n",
          "Metatraffic unicast locators have changed from "}) {
        EXPECT_TRUE(eventually([&] { return process.errors().find(line) != std::string::npos; }))
            << line << process.errors();
    }
    EXPECT_TRUE(process.wait_for_output("Now in domain 0 with participant index 0\n"));
    EXPECT_TRUE(send_datagram("udpv4://198.51.100.2:7411", "net1"));
    EXPECT_EQ(process.stop(SIGTERM).code, 0);
}

TEST_F(ChangingInterfaces, GiveAParticipantItsIndexWithTheFirstAddress) {
    ip({"link", "set", "lo", "down"});
    ip({"link", "set", "net0", "down"});
    Process process = ddspart({"run", "--json"});

    EXPECT_EQ(own_event(process)["index"], nullptr);
    EXPECT_EQ(own_event(process)["default_unicast_locators"], Texts());
    ip({"link", "set", "net0", "up"});
    ASSERT_TRUE(process.wait_for_output("\"event\":\"changed\"")) << process.errors();
    EXPECT_TRUE(
        process.wait_for_output("\"default_unicast_locators\":[\"udpv4://192.0.2.2:7411\"]"));
    EXPECT_EQ(process.stop(SIGTERM).code, 0);
    EXPECT_THAT(udp_ports(), IsEmpty());
}

} // namespace
