// SPDX-License-Identifier: Apache-2.0
// What happens to a datagram on one direction of a link.
#include <cmath>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simnet/simnet_link.h"

namespace {

using namespace simnet;
using testing::ElementsAre;

constexpr KOLS_Transport_ClassId_t IPv4 = KOLS_TRANSPORT_CLASSID_UDPv4;
constexpr KOLS_Transport_ClassId_t IPv6 = KOLS_TRANSPORT_CLASSID_UDPv6;
constexpr int MANY = 10'000;
constexpr Packets ONE{1, 1000};

/** Sends many, one a millisecond, and says of each whether it was lost. */
std::vector<bool> losses(Link &link, const Packets &packets = ONE, int count = MANY) {
    Random random(1);
    std::vector<bool> lost;
    for (int i = 0; i < count; ++i) {
        lost.push_back(link.pass(i * MILLISECOND, packets, random).count == 0);
    }
    return lost;
}

int number(const std::vector<bool> &lost) {
    return static_cast<int>(std::count(lost.begin(), lost.end(), true));
}

/** The number of times that one or several in a row were lost. */
int bursts(const std::vector<bool> &lost) {
    int count = 0;
    for (std::size_t i = 0; i < lost.size(); ++i) {
        count += lost[i] && (i == 0 || !lost[i - 1]) ? 1 : 0;
    }
    return count;
}

Time arrival(Link &link, Time now, Random &random, const Packets &packets = ONE) {
    const Link::Passage passage = link.pass(now, packets, random);
    EXPECT_EQ(passage.count, 1u);
    return passage.arrivals[0];
}

TEST(SimLink, DelaysAllAlike) {
    Link link({.delay = 5});
    Random random(1);
    EXPECT_EQ(arrival(link, 0, random), 5);
    EXPECT_EQ(arrival(link, 7, random), 12);
}

TEST(SimLink, JitterIsSpreadOverItsRange) {
    Link link({.delay = 5, .jitter = 100});
    Random random(1);
    Time least = INT64_MAX;
    Time most = 0;
    double sum = 0;
    for (int i = 0; i < MANY; ++i) {
        const Time took = arrival(link, i * MILLISECOND, random) - i * MILLISECOND;
        least = std::min(least, took);
        most = std::max(most, took);
        sum += static_cast<double>(took);
    }
    EXPECT_EQ(least, 5);
    EXPECT_EQ(most, 105);
    EXPECT_NEAR(sum / MANY, 55, 1);
}

TEST(SimLink, JitterDoesNotChangeTheOrder) {
    Link link({.delay = 5, .jitter = MILLISECOND});
    Random random(1);
    Time last = 0;
    for (int i = 0; i < 1'000; ++i) {
        const Time time = arrival(link, i, random);
        EXPECT_GE(time, last);
        last = time;
    }
}

TEST(SimLink, LosesItsShare) {
    Link link({.loss = 0.3});
    EXPECT_NEAR(number(losses(link)), 3'000, 150);
}

TEST(SimLink, LossesAreEachForItselfUnlessTheyComeInBursts) {
    Link link({.loss = 0.3});
    EXPECT_NEAR(bursts(losses(link)), 2'100, 150); // 30 % times 70 %
}

TEST(SimLink, BurstsHaveTheirLengthAndTheShareIsTheSame) {
    Link link({.loss = 0.2, .lossBurst = 10});
    const std::vector<bool> lost = losses(link, ONE, 4 * MANY);
    EXPECT_NEAR(number(lost), 8'000, 800);
    EXPECT_NEAR(static_cast<double>(number(lost)) / bursts(lost), 10, 1);
}

TEST(SimLink, BurstsAreLongerWhereTheShareAsksForIt) {
    Link link({.loss = 0.9, .lossBurst = 2});
    const std::vector<bool> lost = losses(link);
    EXPECT_NEAR(number(lost), 9'000, 150);
    EXPECT_NEAR(static_cast<double>(number(lost)) / bursts(lost), 9, 1);
}

TEST(SimLink, LosesAllOrNothingWhateverTheBursts) {
    Link link({.loss = 1, .lossBurst = 3});
    EXPECT_EQ(number(losses(link, ONE, 100)), 100);
    link.set({.loss = 0, .lossBurst = 1'000'000});
    EXPECT_EQ(number(losses(link, ONE, 100)), 0);
}

TEST(SimLink, DatagramIsLostWithAnyOfItsPackets) {
    Link link({.loss = 0.1});
    EXPECT_NEAR(number(losses(link, {5, 7000})), MANY * (1 - std::pow(0.9, 5)), 150);
}

TEST(SimLink, SaysThatWhatIsLostWasLost) {
    Link link({.loss = 1});
    Random random(1);
    EXPECT_EQ(link.pass(0, ONE, random).reason, Drop::LOST);
}

TEST(SimLink, DuplicatesItsShare) {
    Link link({.delay = 5, .duplication = 0.25});
    Random random(1);
    int twice = 0;
    for (int i = 0; i < MANY; ++i) {
        const Link::Passage passage = link.pass(i, ONE, random);
        twice += passage.count == 2 ? 1 : 0;
        EXPECT_TRUE(passage.count == 1 || passage.arrivals[1] == i + 5);
    }
    EXPECT_NEAR(twice, 2'500, 150);
}

TEST(SimLink, HoldsUpItsShareWhichIsOvertaken) {
    Link link({.delay = 5, .reordering = 0.2, .reorderingDelay = 1'000});
    Random random(1);
    int late = 0;
    Time most = 0;
    for (int i = 0; i < MANY; ++i) {
        const Time took = arrival(link, i, random) - i;
        late += took > 5 ? 1 : 0;
        most = std::max(most, took);
    }
    EXPECT_NEAR(late, 2'000, 150); // and nothing is held up by them
    EXPECT_GT(most, 950);
    EXPECT_LE(most, 1'005);
}

TEST(SimLink, BandwidthHasOneWaitForTheOther) {
    Link link({.delay = 5, .bandwidth = 8'000'000}); // an octet a microsecond
    Random random(1);
    EXPECT_EQ(arrival(link, 0, random), MILLISECOND + 5);
    EXPECT_EQ(arrival(link, 0, random), 2 * MILLISECOND + 5);
    EXPECT_EQ(arrival(link, 5 * MILLISECOND, random), 6 * MILLISECOND + 5);
}

TEST(SimLink, WhatFindsTheQueueFullIsLost) {
    Link link({.bandwidth = 8'000'000, .queue = 2'000});
    Random random(1);
    std::vector<std::size_t> counts;
    for (int i = 0; i < 5; ++i) {
        counts.push_back(link.pass(0, ONE, random).count);
    }
    EXPECT_THAT(counts, ElementsAre(1, 1, 1, 0, 0));
    EXPECT_EQ(link.pass(0, ONE, random).reason, Drop::QUEUE);
    EXPECT_EQ(link.pass(MILLISECOND, ONE, random).count, 1u);
}

TEST(SimLink, WhatIsLostTakesItsTimeAllTheSame) {
    Link link({.delay = 0, .loss = 1, .bandwidth = 8'000'000});
    Random random(1);
    (void)link.pass(0, ONE, random);
    link.set({.delay = 0, .bandwidth = 8'000'000});
    EXPECT_EQ(arrival(link, 0, random), 2 * MILLISECOND);
}

TEST(SimLink, WhatIsUnderWayIsNotOvertakenWhenItGetsFaster) {
    Link link({.delay = 1'000});
    Random random(1);
    EXPECT_EQ(arrival(link, 0, random), 1'000);
    link.set({.delay = 1});
    EXPECT_EQ(link.property().delay, 1);
    EXPECT_EQ(arrival(link, 1, random), 1'000);
    EXPECT_EQ(arrival(link, 1'000, random), 1'001);
}

TEST(SimLink, CountsWhatGoesInAndComesOut) {
    Link link({.duplication = 1});
    Random random(1);
    (void)link.pass(0, {2, 1600}, random);
    link.set({.loss = 1});
    (void)link.pass(0, {1, 100}, random);
    EXPECT_EQ(link.packets_in(), 3u);
    EXPECT_EQ(link.octets_in(), 1'700u);
    EXPECT_EQ(link.octets_out(), 1'600u);
}

TEST(SimLink, PropertyThatNoLinkCanHaveIsRefused) {
    for (const LinkProperty &property : std::vector<LinkProperty>{{.delay = -1},
                                                                  {.jitter = -1},
                                                                  {.loss = -0.1},
                                                                  {.loss = 1.1},
                                                                  {.loss = std::nan("")},
                                                                  {.lossBurst = 0.9},
                                                                  {.duplication = 2},
                                                                  {.reordering = -1},
                                                                  {.reorderingDelay = -1},
                                                                  {.mtu = 67}}) {
        EXPECT_THROW((void)Link(property), std::invalid_argument);
    }
    EXPECT_NO_THROW((void)Link({.loss = 1, .duplication = 1, .reordering = 1, .mtu = 68}));
}

/** How many packets there are, and their octets. */
std::pair<NUV_UINT32, NUV_UINT64> packets(KOLS_Transport_ClassId_t transport, NUV_UINT32 payload,
                                          NUV_UINT32 mtu) {
    const Packets all = packets_of(transport, payload, mtu);
    return {all.count, all.octets};
}

TEST(SimPackets, DatagramThatFitsIsOne) {
    EXPECT_EQ(packets(IPv4, 1472, 1500), std::pair(1u, NUV_UINT64{1500}));
    EXPECT_EQ(packets(IPv6, 1452, 1500), std::pair(1u, NUV_UINT64{1500}));
    EXPECT_EQ(packets(IPv4, 0, 1500), std::pair(1u, NUV_UINT64{28}));
}

TEST(SimPackets, LargerOneGoesInFragments) {
    EXPECT_EQ(packets(IPv4, 1473, 1500), std::pair(2u, NUV_UINT64{1481 + 40}));
    EXPECT_EQ(packets(IPv6, 1453, 1500), std::pair(2u, NUV_UINT64{1461 + 96}));
    EXPECT_EQ(packets(IPv4, 65'507, 1500), std::pair(45u, NUV_UINT64{65'515 + 45 * 20}));
    EXPECT_EQ(packets(IPv4, 1'000, 576), std::pair(2u, NUV_UINT64{1'008 + 40}));
}

TEST(SimPackets, FragmentsAreMultiplesOfEightOctets) {
    EXPECT_EQ(fragment_size(IPv4, 1500), 1480u);
    EXPECT_EQ(fragment_size(IPv4, 576), 552u);
    EXPECT_EQ(fragment_size(IPv6, 1500), 1448u);
    EXPECT_EQ(fragment_size(IPv6, 576), 528u);
}

TEST(SimPackets, FragmentsThatAreJustFullAreNotFollowedByAnEmptyOne) {
    EXPECT_EQ(packets(IPv4, 2 * 1480 - 8, 1500).first, 2u);
    EXPECT_EQ(packets(IPv4, 2 * 1480 - 7, 1500).first, 3u);
}

} // namespace
