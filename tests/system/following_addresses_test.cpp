// SPDX-License-Identifier: Apache-2.0
// Addresses that come and go.
#include <chrono>
#include <csignal>
#include <ctime>
#include <iomanip>
#include <sstream>

#include <gmock/gmock.h>

#include "following_network.h"

using following::change_line;
using following::default_port;
using following::expect_arrival;
using following::Families;
using following::Follower;
using following::host_addresses;
using following::locators;
using following::metatraffic_port;
using following::Texts;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

using Clock = std::chrono::system_clock;

/** When the line of the log that has this text was written. */
Clock::time_point time_of_line(const std::string &log, const std::string &text) {
    const std::size_t start = log.rfind('\n', log.find(text)) + 1; // npos + 1 is the beginning
    std::istringstream line(log.substr(start));
    std::tm fields{};
    double fraction = 0; // ".123456"

    line >> std::get_time(&fields, "%Y-%m-%dT%H:%M:%S") >> fraction;
    EXPECT_FALSE(line.fail()) << log;
    return Clock::from_time_t(timegm(&fields)) +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(fraction));
}

/** "10.0.<group>.1" and so on. */
Texts many_addresses(int group, int number) {
    Texts addresses;

    for (int i = 1; i <= number; ++i) {
        addresses.push_back("10.0." + std::to_string(group) + "." + std::to_string(i));
    }
    return addresses;
}

Texts address_lines(const std::string &verb, const Texts &addresses) {
    Texts lines;

    for (const std::string &address : addresses) {
        lines.push_back("address " + verb + " " + address + "/32 dev net0");
    }
    return lines;
}

Texts first_ones(Texts texts) {
    texts.resize(std::min(texts.size(), following::LIST_SIZE_MAX));
    return texts;
}

class FollowingAddresses : public HostTest {};

TEST_F(FollowingAddresses, AnAddedOneAppearsInBothLists) {
    Follower follower;
    const Texts before = {"192.0.2.2"};
    const Texts after = {"192.0.2.2", "198.51.100.2"};
    const std::set<unsigned> ports = udp_ports();

    ip({"address", "add", "198.51.100.2/24", "dev", "net0"});
    const Clock::time_point added = Clock::now();

    EXPECT_TRUE(follower.has(after)) << follower.log();
    for (const auto &[list, port] : {std::pair("Default unicast", default_port(0)),
                                     std::pair("Metatraffic unicast", metatraffic_port(0))}) {
        const std::string line = change_line(list, locators(before, port), locators(after, port));

        ASSERT_TRUE(follower.logs(line)) << follower.log();
        EXPECT_LT(time_of_line(follower.log(), line) - added, std::chrono::seconds(2));
    }
    for (const std::string &address : after) {
        expect_arrival(address, "net0");
    }
    EXPECT_EQ(udp_ports(), ports);
    follower.expect_never_moved();
}

TEST_F(FollowingAddresses, AReplacedOneIsGoneFromBothLists) {
    Follower follower;
    const std::set<unsigned> ports = udp_ports();

    // As by a new lease; what is seen in between depends on the moment.
    ip_batch({"address del 192.0.2.2/24 dev net0", "address add 192.0.2.77/24 dev net0"});
    EXPECT_TRUE(follower.has({"192.0.2.77"})) << follower.log();
    for (const auto &[list, port] : {std::pair("Default unicast", default_port(0)),
                                     std::pair("Metatraffic unicast", metatraffic_port(0))}) {
        EXPECT_TRUE(follower.logs(std::string(list) + " locators have changed from {" +
                                  following::locator("192.0.2.2", port) + "} to {"));
        EXPECT_TRUE(follower.logs("} to {" + following::locator("192.0.2.77", port) + "}.\n"));
    }
    expect_arrival("192.0.2.77", "net0");
    EXPECT_EQ(udp_ports(), ports);
    follower.expect_never_moved();
}

TEST_F(FollowingAddresses, OneOfTwoIsReplaced) {
    Follower follower;

    ip({"address", "add", "198.51.100.2/24", "dev", "net0"});
    ASSERT_TRUE(follower.has({"192.0.2.2", "198.51.100.2"})) << follower.log();
    ip_batch({"address add 203.0.113.2/24 dev net0", "address del 198.51.100.2/24 dev net0"});
    EXPECT_TRUE(follower.has({"192.0.2.2", "203.0.113.2"})) << follower.log();
    for (const char *address : {"192.0.2.2", "203.0.113.2"}) {
        expect_arrival(address, "net0");
    }
    follower.expect_never_moved();
}

TEST_F(FollowingAddresses, ARestrictedParticipantFollowsItsInterfaceAndNoOther) {
    Follower follower({"--interface", "net0"});

    add_interface("net1", {"198.51.100.2/24"});
    ip({"address", "add", "203.0.113.2/24", "dev", "net0"});
    EXPECT_TRUE(follower.has({"192.0.2.2", "203.0.113.2"})) << follower.log();
    for (const char *address : {"192.0.2.2", "203.0.113.2"}) {
        expect_arrival(address, "net0");
    }
    EXPECT_FALSE(send_datagram("udpv4://198.51.100.2:7411", "net1"));
    follower.expect_never_moved();
}

TEST_F(FollowingAddresses, ARestrictedParticipantHoldsNoSocketForAnAddressThatIsGone) {
    Follower follower({"--interface", "net0"});
    std::string last = "192.0.2.2";
    std::string last_with_prefix = last + "/24";

    // Each is a network of its own, and so doesn't go for a moment with the one before.
    for (int i = 10; i < 20; ++i) {
        const std::string next = "192.0.2." + std::to_string(i);

        ip_batch({"address add " + next + "/32 dev net0",
                  "address del " + last_with_prefix + " dev net0"});
        ASSERT_TRUE(follower.has({next})) << follower.log();
        expect_arrival(next, "net0");
        last = next;
        last_with_prefix = next + "/32";
    }
    const std::set<std::string> wanted = {"127.0.0.1", last};

    EXPECT_TRUE(eventually([&] {
        return addresses_of_port(metatraffic_port(0)) == wanted &&
               addresses_of_port(default_port(0)) == wanted;
    })) << testing::PrintToString(addresses_of_port(metatraffic_port(0)));
    follower.expect_never_moved();
}

TEST_F(FollowingAddresses, MoreThanSixteenLeaveTheFirstOnes) {
    Follower follower;
    const Texts added = many_addresses(1, 19);

    ip_batch(address_lines("add", added));
    const Texts all = host_addresses(Families::IPV4);

    ASSERT_EQ(all.size(), 20u);
    EXPECT_TRUE(follower.has(first_ones(all))) << follower.log();
    // Those that are not announced are served all the same.
    expect_arrival(all.front(), "net0");
    expect_arrival(all.back(), "net0");

    // Room among the first ones is for the others.
    ip_batch(address_lines("del", many_addresses(1, 10)));
    const Texts left = host_addresses(Families::IPV4);

    ASSERT_EQ(left.size(), 10u);
    EXPECT_TRUE(follower.has(left)) << follower.log();
    follower.expect_never_moved();
}

TEST_F(FollowingAddresses, AParticipantJoinsWithMoreThanSixteen) {
    ip_batch(address_lines("add", many_addresses(1, 19)));
    Follower follower;

    EXPECT_TRUE(follower.has(first_ones(host_addresses(Families::IPV4)))) << follower.log();
    ip({"address", "del", "192.0.2.2/24", "dev", "net0"});
    EXPECT_TRUE(follower.has(first_ones(host_addresses(Families::IPV4)))) << follower.log();
    follower.expect_never_moved();
}

TEST_F(FollowingAddresses, SixteenLongOnesAreLoggedWhole) {
    Follower follower({"--transport", "udpv6"});
    Texts lines;

    for (int i = 10; i < 30; ++i) {
        lines.push_back("address add fd11:2222:3333:4444:5555:6666:7777:88" + std::to_string(i) +
                        "/128 dev net0 nodad");
    }
    ip_batch(lines);
    Texts all = host_addresses(Families::BOTH);

    std::erase(all, "192.0.2.2");
    ASSERT_EQ(all.size(), 20u);
    EXPECT_TRUE(follower.has(first_ones(all))) << follower.log();
    EXPECT_TRUE(follower.logs(
        following::locator(all[following::LIST_SIZE_MAX - 1], default_port(0)) + "}.\n"))
        << follower.log();
    follower.expect_never_moved();
}

TEST_F(FollowingAddresses, AnIPv6OneIsAnnouncedAfterThoseOfIPv4) {
    Follower follower({"--transport", "udpv4,udpv6"});

    ip({"address", "add", "fd00::2/64", "dev", "net0", "nodad"});
    EXPECT_TRUE(follower.has({"192.0.2.2", "fd00::2"})) << follower.log();
    EXPECT_TRUE(
        follower.logs(change_line("Default unicast", locators({"192.0.2.2"}, default_port(0)),
                                  locators({"192.0.2.2", "fd00::2"}, default_port(0)))))
        << follower.log();
    expect_arrival("192.0.2.2", "net0");
    expect_arrival("fd00::2", "net0");
    ip({"address", "add", "198.51.100.2/24", "dev", "net0"});
    EXPECT_TRUE(follower.has({"192.0.2.2", "198.51.100.2", "fd00::2"})) << follower.log();
    ip({"address", "del", "fd00::2/64", "dev", "net0"});
    EXPECT_TRUE(follower.has({"192.0.2.2", "198.51.100.2"})) << follower.log();
    expect_arrival("198.51.100.2", "net0");
    follower.expect_never_moved();
}

TEST_F(FollowingAddresses, AnIPv6OneIsOfNoInterestWithoutThatTransport) {
    Follower follower;

    ip({"address", "add", "fd00::2/64", "dev", "net0", "nodad"});
    ip({"address", "add", "198.51.100.2/24", "dev", "net0"});
    EXPECT_TRUE(follower.has({"192.0.2.2", "198.51.100.2"})) << follower.log();
    EXPECT_THAT(follower.log(), Not(HasSubstr("udpv6")));
    follower.expect_never_moved();
}

} // namespace
