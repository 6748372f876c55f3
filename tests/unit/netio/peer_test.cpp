// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "netio/netio_locator.h"

namespace {

NUVNetioPeer parse_peer(const std::string &text) {
    NUVNetioPeer peer{};
    EXPECT_NE(NUVNetioPeer_parse(text.c_str(), &peer), 0) << text;
    return peer;
}

TEST(PeerTest, NumericPeerHasALocatorAndNoHostName) {
    const NUVNetioPeer peer = parse_peer("192.0.2.2:7410");
    const NUVNetioLocator expected = parse_peer("udpv4://192.0.2.2:7410").locator;
    EXPECT_NE(NUVNetioLocator_isSame(&peer.locator, &expected), 0);
    EXPECT_EQ(peer.transport, KOLS_TRANSPORT_CLASSID_UDPv4);
    EXPECT_EQ(peer.port, 7410);
    EXPECT_STREQ(peer.hostname, "");
    EXPECT_EQ(parse_peer("239.255.0.1").port, 0);
    EXPECT_EQ(parse_peer("fd00::2").transport, KOLS_TRANSPORT_CLASSID_UDPv6);
    EXPECT_EQ(parse_peer("udpv6://[fd00::2]:7410").port, 7410);
}

TEST(PeerTest, HostNameIsKeptAndNotResolved) {
    const NUVNetioPeer peer = parse_peer("localhost");
    EXPECT_STREQ(peer.hostname, "localhost");
    EXPECT_EQ(peer.locator.transport, KOLS_TRANSPORT_CLASSID_INVALID);
    EXPECT_EQ(peer.transport, KOLS_TRANSPORT_CLASSID_INVALID);
    EXPECT_EQ(peer.port, 0);
}

TEST(PeerTest, HostNameMayHaveAPortAndATransport) {
    EXPECT_EQ(parse_peer("robot:7410").port, 7410);
    EXPECT_STREQ(parse_peer("robot:7410").hostname, "robot");
    EXPECT_EQ(parse_peer("udpv4://robot").transport, KOLS_TRANSPORT_CLASSID_UDPv4);
    EXPECT_EQ(parse_peer("udpv6://robot.example.org:1").transport, KOLS_TRANSPORT_CLASSID_UDPv6);
    EXPECT_STREQ(parse_peer("udpv6://robot.example.org:1").hostname, "robot.example.org");
    EXPECT_EQ(parse_peer("udpv6://robot.example.org:1").port, 1);
}

TEST(PeerTest, UsualAndUnusualHostNamesAreTaken) {
    const std::string longest_label(63, 'a');
    const std::string longest =
        longest_label + '.' + longest_label + '.' + longest_label + '.' + longest_label;
    ASSERT_EQ(longest.size(), std::size_t{NUV_NETIO_HOSTNAME_MAX});
    for (const std::string &name :
         {std::string("a"), std::string("A-b.c-D"), std::string("1st"), std::string("3com.1.x"),
          std::string("my_container_1"), std::string("example.org."), longest_label, longest}) {
        EXPECT_EQ(parse_peer(name).hostname, name);
    }
}

TEST(PeerTest, OtherTextsAreRefusedAndThePeerStaysAsItWas) {
    const NUVNetioPeer before = parse_peer("robot:7410");
    for (const std::string &text :
         std::vector<std::string>{"",
                                  " ",
                                  ".",
                                  "..",
                                  "a..b",
                                  ".a",
                                  "-a",
                                  "a-",
                                  "a.-b",
                                  "a b",
                                  "a\tb",
                                  "ro/bot",
                                  "r\xC3\xB6"
                                  "bot",
                                  "robot:",
                                  "robot:65536",
                                  "robot:x",
                                  "robot:1:2",
                                  "[robot]",
                                  "[robot]:1",
                                  "udpv4://",
                                  "udpv4://:1",
                                  "udpv5://robot",
                                  "robot://1.2.3.4",
                                  "1.2.3",
                                  "1.2.3.4.5",
                                  "1.2.3.256",
                                  "udpv6://192.0.2.2",
                                  "udpv4://fd00::2",
                                  "7410",
                                  "host.1",
                                  std::string(64, 'a'),
                                  std::string(63, 'a') + '.' + std::string(63, 'b') + '.' +
                                      std::string(63, 'c') + '.' + std::string(62, 'd') + ".e",
                                  std::string(1000, 'a')}) {
        NUVNetioPeer peer = before;
        EXPECT_EQ(NUVNetioPeer_parse(text.c_str(), &peer), 0) << text;
        EXPECT_EQ(std::memcmp(&peer, &before, sizeof peer), 0) << text;
    }
}

TEST(PeerTest, NullIsNoPeer) {
    NUVNetioPeer peer{};
    EXPECT_EQ(NUVNetioPeer_parse(nullptr, &peer), 0);
}

} // namespace
