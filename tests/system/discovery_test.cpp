// SPDX-License-Identifier: Apache-2.0
// Participants of different hosts find each other, and lose each other.
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <optional>

#include <gmock/gmock.h>
#include <unistd.h>

#include "discovery_network.h"
#include "following_network.h"

using discovery::Host;
using discovery::json;
using discovery::Neighbour;
using discovery::seconds_now;
using discovery::Texts;
using discovery::WireTest;
using following::default_port;
using following::locator;
using following::metatraffic_port;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr const char *GROUP6 = "ff15::1";

std::string host_name() {
    std::array<char, 256> name{};

    EXPECT_EQ(gethostname(name.data(), name.size() - 1), 0);
    return name.data();
}

/** When a line was told, by the steady clock in seconds. */
double told_at(const json &line) {
    return line.is_null() ? 0 : line["at"].get<double>();
}

void print_measured(const char *what, double seconds) {
    std::printf("[ MEASURED ] %s: %.1f ms\n", what, seconds * 1e3);
}

/** Two hosts, "one" and "other". */
class DiscoveryOfHosts : public WireTest {
protected:
    void SetUp() override {
        WireTest::SetUp();
        if (!IsSkipped()) {
            one.emplace("one", Texts{"192.0.2.1/24", "fd00::1/64"});
            other.emplace("other", Texts{"192.0.2.2/24", "fd00::2/64"});
        }
    }

    static void expect_both_know(Neighbour &left, Neighbour &right) {
        EXPECT_TRUE(left.comes_to_know(right));
        EXPECT_TRUE(right.comes_to_know(left));
    }

    std::optional<Host> one;
    std::optional<Host> other;
};

/** Settings of which each field is another than by default. */
json all_settings(unsigned transports, const Texts &peers, const Texts &receive) {
    return {{"domain", 3},
            {"tag", "blue"},
            {"name", "somebody"},
            {"user_data", "what I say"},
            {"properties", {{"color", "green"}, {"empty", ""}}},
            {"lease", 40.5},
            {"transports", transports},
            {"peers", peers},
            {"receive", receive}};
}

/** What others are to know of a participant with these settings, the first one of its host. */
json expected(Neighbour &of, const json &settings, const Texts &addresses, const Texts &group) {
    constexpr unsigned DOMAIN_PORTS = 3 * 250;
    json properties = settings["properties"];

    properties["__Pid"] = std::to_string(of.process().id());
    properties["__ProcessName"] = "test_neighbour";
    properties["__Hostname"] = host_name();
    return {
        {"guid", of.guid()},
        {"domain", settings["domain"]},
        {"tag", settings["tag"]},
        {"name", settings["name"]},
        {"user_data", settings["user_data"]},
        {"properties", properties},
        {"lease", settings["lease"]},
        {"metatraffic_unicast", following::locators(addresses, metatraffic_port(0) + DOMAIN_PORTS)},
        {"metatraffic_multicast", group},
        {"default_unicast", following::locators(addresses, default_port(0) + DOMAIN_PORTS)},
        {"default_multicast", json::array()}};
}

TEST_F(DiscoveryOfHosts, EachKnowsAllThatTheOtherWasGivenByIPv4) {
    const json settings = all_settings(1, {"239.255.0.1"}, {"239.255.0.1"});
    Neighbour left(*one, settings);
    Neighbour right(*other, settings);
    const Texts group = {locator("239.255.0.1", 8150)};

    EXPECT_EQ(left.wait_for_change("came", right.guid())["participant"],
              expected(right, settings, {"192.0.2.2"}, group));
    EXPECT_EQ(right.wait_for_change("came", left.guid())["participant"],
              expected(left, settings, {"192.0.2.1"}, group));
}

TEST_F(DiscoveryOfHosts, EachKnowsAllThatTheOtherWasGivenByIPv6) {
    const json settings = all_settings(2, {GROUP6}, {GROUP6});
    Neighbour left(*one, settings);
    Neighbour right(*other, settings);
    const Texts group = {locator(GROUP6, 8150)};

    EXPECT_EQ(left.wait_for_change("came", right.guid())["participant"],
              expected(right, settings, {"fd00::2"}, group));
    EXPECT_EQ(right.wait_for_change("came", left.guid())["participant"],
              expected(left, settings, {"fd00::1"}, group));
}

TEST_F(DiscoveryOfHosts, EachKnowsAllThatTheOtherWasGivenByBothTransports) {
    const json settings = all_settings(3, {"239.255.0.1"}, {"239.255.0.1"});
    Neighbour left(*one, settings);
    Neighbour right(*other, settings);

    EXPECT_EQ(left.wait_for_change("came", right.guid())["participant"],
              expected(right, settings, {"192.0.2.2", "fd00::2"}, {locator("239.255.0.1", 8150)}));
}

TEST_F(DiscoveryOfHosts, TheyKnowEachOtherSoonAfterTheLaterOneIsThere) {
    Neighbour left(*one, json::object());
    Neighbour right(*other, json::object());

    const double there = told_at(right.here());
    const double known = std::max(told_at(left.wait_for_change("came", right.guid())),
                                  told_at(right.wait_for_change("came", left.guid())));

    print_measured("from the later one's being there until both are known", known - there);
}

TEST_F(DiscoveryOfHosts, PeersThatNameEachOtherNeedNoMulticast) {
    one->ip({"link", "set", "net0", "multicast", "off"});
    other->ip({"link", "set", "net0", "multicast", "off"});
    Neighbour left(*one, {{"peers", {"192.0.2.2"}}});
    Neighbour right(*other, {{"peers", {"192.0.2.1"}}});

    expect_both_know(left, right);
}

TEST_F(DiscoveryOfHosts, APeerThatOneSideNamesNeedsNoMulticast) {
    one->ip({"link", "set", "net0", "multicast", "off"});
    other->ip({"link", "set", "net0", "multicast", "off"});
    Neighbour left(*one, {{"peers", {"192.0.2.2"}}});
    Neighbour right(*other, json::object());

    expect_both_know(left, right);
}

TEST_F(DiscoveryOfHosts, APeerThatIsNamedAndComesLaterNeedsNoMulticast) {
    one->ip({"link", "set", "net0", "multicast", "off"});
    other->ip({"link", "set", "net0", "multicast", "off"});
    Neighbour left(*one, {{"peers", {"192.0.2.2"}}, {"lease", 2.0}, {"period", 0.5}});
    // By then the first announcements are over.
    ASSERT_TRUE(eventually([&] { return left.tell()["statistics"][0]["sent"].get<int>() >= 35; }));
    Neighbour right(*other, {{"peers", json::array()}});

    expect_both_know(left, right);
}

TEST_F(DiscoveryOfHosts, PeersOfIPv6NeedNoMulticast) {
    Neighbour left(*one, {{"transports", 2}, {"receive", json::array()}, {"peers", {"fd00::2"}}});
    Neighbour right(*other,
                    {{"transports", 2}, {"receive", json::array()}, {"peers", json::array()}});

    expect_both_know(left, right);
}

TEST_F(DiscoveryOfHosts, ANewcomerIsAnsweredAtOnceWhereThereIsNothingButLoopback) {
    const json settings = {{"peers", {"239.255.0.1"}}, {"lease", 4000.0}, {"period", 1000.0}};
    const Host alone("alone", {});
    Neighbour left(alone, settings);
    // By then the first announcements are over.
    ASSERT_TRUE(eventually([&] { return left.tell()["statistics"][0]["sent"].get<int>() >= 6; }));
    Neighbour right(alone, settings);

    expect_both_know(left, right);
}

/** Whether one participant does not know another, after both have had the occasion. */
void expect_unknown(Neighbour &left, Neighbour &right, Neighbour &witness) {
    // Who is known to both has heard what was said before.
    EXPECT_TRUE(witness.comes_to_know(right));
    left.change();
    right.change();
    EXPECT_FALSE(witness.wait_for_change("changed", right.guid()).is_null());
    EXPECT_THAT(left.known(), Not(Contains(right.guid())));
    EXPECT_THAT(right.known(), Not(Contains(left.guid())));
}

TEST_F(DiscoveryOfHosts, AParticipantOfAnotherDomainIsNotSeen) {
    Neighbour left(*one, {{"domain", 0}});
    Neighbour right(*other, {{"domain", 1}});
    Neighbour witness(*one, {{"domain", 1}});

    expect_unknown(left, right, witness);
}

TEST_F(DiscoveryOfHosts, AParticipantOfAnotherTagIsNotSeen) {
    Neighbour left(*one, {{"tag", "blue"}});
    Neighbour right(*other, {{"tag", "red"}});
    Neighbour witness(*one, {{"tag", "red"}});

    expect_unknown(left, right, witness);
    EXPECT_TRUE(eventually(
        [&] { return left.tell()["statistics"][0]["refused"]["it has another domain tag"] > 0; }));
}

TEST_F(DiscoveryOfHosts, WhoLeavesIsGoneAtOnce) {
    Neighbour left(*one, json::object());
    Neighbour right(*other, json::object());
    expect_both_know(left, right);

    const double begin = seconds_now();
    right.leave();
    const json line = left.wait_for_change("left", right.guid());

    print_measured("until the one that left was gone", told_at(line) - begin);
    EXPECT_THAT(left.known(), IsEmpty());
}

TEST_F(DiscoveryOfHosts, WhoIsKilledIsGoneWithItsLease) {
    Neighbour left(*one, json::object());
    Neighbour right(*other, {{"lease", 2.0}, {"period", 0.25}});
    expect_both_know(left, right);

    const double killed = seconds_now();
    EXPECT_EQ(right.process().stop(SIGKILL).signal, SIGKILL);
    const json line = left.wait_for_change("lost", right.guid());

    print_measured("until the one that was killed was gone", told_at(line) - killed);
    EXPECT_THAT(left.known(), IsEmpty());
}

TEST_F(DiscoveryOfHosts, WhoIsStartedAnewReplacesTheOneThatWasKilled) {
    Neighbour left(*one, json::object());
    Neighbour former(*other, {{"lease", 1000.0}});
    expect_both_know(left, former);
    EXPECT_EQ(former.process().stop(SIGKILL).signal, SIGKILL);

    Neighbour right(*other, {{"lease", 1000.0}});
    const double there = told_at(right.here());
    expect_both_know(left, right);
    const json line = left.wait_for_change("lost", former.guid());

    print_measured("until the former one was gone", told_at(line) - there);
    EXPECT_THAT(left.known(), ElementsAre(right.guid()));
}

TEST_F(DiscoveryOfHosts, ChangedUserDataAreKnown) {
    Neighbour left(*one, json::object());
    Neighbour right(*other, {{"user_data", "before"}});
    expect_both_know(left, right);

    const double begin = seconds_now();
    right.change();
    const json line = left.wait_for_change("changed", right.guid());

    print_measured("until the change was known", told_at(line) - begin);
    EXPECT_EQ(line["participant"]["user_data"], "changed");
    EXPECT_THAT(left.known(), ElementsAre(right.guid()));
}

TEST_F(DiscoveryOfHosts, AnAddressThatWasAddedIsKnown) {
    Neighbour left(*one, json::object());
    Neighbour right(*other, json::object());
    expect_both_know(left, right);

    const double begin = seconds_now();
    other->ip({"address", "add", "192.0.2.77/24", "dev", "net0"});
    const json line = left.wait_for_addresses(right, {"192.0.2.2", "192.0.2.77"});

    ASSERT_FALSE(line.is_null());
    print_measured("until the address was known, of which it settled for 20",
                   told_at(line) - begin);
    EXPECT_EQ(line["change"], "changed");
    EXPECT_THAT(left.known(), ElementsAre(right.guid()));
}

TEST_F(DiscoveryOfHosts, AnAddressThatWasReplacedIsKnownAndNobodyIsThereTwice) {
    Neighbour left(*one, json::object());
    Neighbour right(*other, json::object());
    expect_both_know(left, right);

    const double begin = seconds_now();
    other->replace_address("192.0.2.2/24", "192.0.2.77/24");
    const json line = left.wait_for_addresses(right, {"192.0.2.77"});

    ASSERT_FALSE(line.is_null());
    print_measured("until the address was known, of which it settled for 20",
                   told_at(line) - begin);
    EXPECT_THAT(left.known(), ElementsAre(right.guid()));
    EXPECT_THAT(right.known(), ElementsAre(left.guid()));

    // It still hears the other one, and is heard, there.
    left.change();
    EXPECT_FALSE(right.wait_for_change("changed", left.guid()).is_null());
    right.change();
    EXPECT_TRUE(eventually([&] {
        const json known = left.tell()["known"];
        return known.size() == 1 && known.at(0)["user_data"] == "changed";
    }));
}

TEST_F(DiscoveryOfHosts, WithoutAListenerThereIsNoThreadButTheReactors) {
    const json settings = {
        {"listens", false}, {"expects", 1}, {"peers", {"192.0.2.1", "192.0.2.2"}}};
    Neighbour left(*one, settings);
    Neighbour right(*other, settings);

    (void)left.seconds_until_all_are_known();
    EXPECT_EQ(left.process().number_of_threads(),
              left.here()["threads_before"].get<std::size_t>() + 1);
}

// ---- loss

/** Each host drops three of ten datagrams that it receives. */
class DiscoveryWithLoss : public DiscoveryOfHosts {
protected:
    void SetUp() override {
        DiscoveryOfHosts::SetUp();
        if (!IsSkipped() && !(lose(*one) && lose(*other))) {
            GTEST_SKIP() << "needs nft and a kernel that drops at random";
        }
    }

    static bool lose(const Host &host) {
        const Host::Stay stay(host);

        return Process({"nft", "add table inet loss;"
                               "add chain inet loss input { type filter hook input priority 0; };"
                               "add rule inet loss input meta l4proto udp numgen random mod 10 < 3 "
                               "counter drop"})
                   .wait()
                   .code == 0;
    }

    static std::uint64_t dropped(const Host &host) {
        const Host::Stay stay(host);
        Process nft({"nft", "list", "chain", "inet", "loss", "input"});
        const std::string counter = "counter packets ";

        EXPECT_EQ(nft.wait().code, 0) << nft.errors();
        const std::string text = nft.output();
        return std::stoull(text.substr(text.find(counter) + counter.size()));
    }
};

TEST_F(DiscoveryWithLoss, ParticipantsOfTwoHostsKnowEachOther) {
    constexpr int TIMES = 20;

    for (int i = 0; i < TIMES; ++i) {
        Neighbour left(*one, json::object());
        Neighbour right(*other, json::object());

        expect_both_know(left, right);
    }
    EXPECT_GT(dropped(*one) + dropped(*other), 0u);
}

} // namespace
