// SPDX-License-Identifier: Apache-2.0
// Virtual time, what the library takes for the system's meanwhile, the trace of what happened.
#include <cstdio>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "osapi/osapi_guid.h"
#include "simulated.h"

namespace {

using namespace sim;
using testing::ElementsAre;

TEST(SimWorld, DoesOneThingAfterTheOther) {
    World world(1);
    std::vector<std::pair<int, Time>> done;
    const auto note = [&](int number) {
        return [&, number] { done.emplace_back(number, world.now()); };
    };
    world.at(5, note(1));
    world.after(3, note(2));
    world.at(5, note(3)); // first come, first served
    world.at(3, note(4));
    world.run_until(4);
    EXPECT_EQ(world.now(), 4);
    EXPECT_THAT(done, ElementsAre(std::pair(2, 3), std::pair(4, 3)));
    world.run_for(1);
    EXPECT_THAT(done,
                ElementsAre(std::pair(2, 3), std::pair(4, 3), std::pair(1, 5), std::pair(3, 5)));
}

TEST(SimWorld, DoesWhatIsPastNext) {
    World world(1);
    world.run_until(SECOND);
    Time done = 0;
    world.at(5, [&] { done = world.now(); });
    EXPECT_TRUE(world.step());
    EXPECT_EQ(done, SECOND);
}

TEST(SimWorld, StepsUntilThereIsNothingMore) {
    World world(1);
    world.at(5, [&] { world.after(5, [] {}); });
    EXPECT_TRUE(world.step());
    EXPECT_EQ(world.now(), 5);
    EXPECT_TRUE(world.step());
    EXPECT_EQ(world.now(), 10);
    EXPECT_FALSE(world.step());
    EXPECT_EQ(world.now(), 10);
}

TEST(SimWorld, TimeDoesNotGoBack) {
    World world(1);
    world.run_until(5);
    world.run_until(3);
    EXPECT_EQ(world.now(), 5);
}

TEST(SimWorld, RunsUntilSomethingHolds) {
    World world(1);
    int count = 0;
    for (int i = 1; i <= 5; ++i) {
        world.at(i, [&] { ++count; });
    }
    EXPECT_TRUE(world.run_until(10, [&] { return count == 3; }));
    EXPECT_EQ(world.now(), 3);
    EXPECT_FALSE(world.run_until(4, [&] { return count == 5; }));
    EXPECT_EQ(world.now(), 4);
    EXPECT_FALSE(world.run_until(10, [&] { return count == 6; }));
    EXPECT_EQ(world.now(), 10);
    EXPECT_TRUE(world.run_until(20, [] { return true; }));
    EXPECT_EQ(world.now(), 10);
}

TEST(SimWorld, IsObservedAfterEachStep) {
    World world(1);
    std::vector<Time> seen;
    world.observe([&] { seen.push_back(world.now()); });
    world.at(3, [] {});
    world.at(5, [] {});
    world.run_until(10);
    EXPECT_THAT(seen, ElementsAre(3, 5));
    world.observe(nullptr);
    world.at(12, [] {});
    world.run_until(20);
    EXPECT_EQ(seen.size(), 2u);
}

TEST(SimWorld, ClocksOfTheSystemAreItsOwnWhileItIsThere) {
    const NUVClock monotonic = *NUVClock_getMonotonic();
    const NUVClock realtime = *NUVClock_getRealtime();
    {
        World world(1);
        world.run_until(5);
        EXPECT_EQ(NUVClock_getMonotonic()->getNanoseconds(NUVClock_getMonotonic()), 5);
        EXPECT_EQ(NUVClock_getRealtime()->getNanoseconds(NUVClock_getRealtime()), EPOCH + 5);
        NUVClock_getMonotonic()->sleepUntil(NUVClock_getMonotonic(), 8);
        EXPECT_EQ(world.now(), 8);
    }
    EXPECT_EQ(NUVClock_getMonotonic()->getNanoseconds, monotonic.getNanoseconds);
    EXPECT_EQ(NUVClock_getMonotonic()->sleepUntil, monotonic.sleepUntil);
    EXPECT_EQ(NUVClock_getRealtime()->getNanoseconds, realtime.getNanoseconds);
    for (const NUVClock *clock : {NUVClock_getMonotonic(), NUVClock_getRealtime()}) {
        EXPECT_GT(clock->getNanoseconds(clock), 0);
    }
}

TEST(SimWorld, ThereIsOneAtATime) {
    {
        World world(1);
        EXPECT_THROW(World(2), std::logic_error);
        EXPECT_EQ(NUVClock_getMonotonic()->getNanoseconds(nullptr), 0);
        EXPECT_EQ(world.seed(), 1u);
    }
    EXPECT_NO_THROW(World(2));
}

std::vector<NUV_UINT32> guid_of(Process &process) {
    NUVOsapiRtpsGuid guid{};
    process.call([&] { NUVOsapiRtpsGuid_generate(&guid); });
    return {guid.prefix.hostId, guid.prefix.appId, guid.prefix.instanceId};
}

TEST(SimWorld, GuidsSayWhoseTheyAreAndFollowFromTheSeed) {
    const auto guids = [](NUV_UINT64 seed) {
        Net net(seed);
        Process &a = net.add("a", {});
        Process &b = net.add("b", {});
        Process &c = b.host().add_process("c");
        return std::vector{guid_of(a), guid_of(b), guid_of(c), guid_of(c)};
    };
    const auto first = guids(1);
    EXPECT_EQ(first, guids(1));
    EXPECT_NE(first, guids(2));
    const auto starts = [&](std::size_t i) { return std::pair(first[i][0], first[i][1]); };
    EXPECT_EQ(starts(0), std::pair(1u, 1u));
    EXPECT_EQ(starts(1), std::pair(2u, 1u));
    EXPECT_EQ(starts(2), std::pair(2u, 2u));
    EXPECT_NE(first[2], first[3]);
}

TEST(SimWorld, GuidsAreTheSystemsAgainAfterwards) {
    const auto former = NUVOsapiRtpsGuidSource_get()->generatePrefix;
    { World world(1); }
    EXPECT_EQ(NUVOsapiRtpsGuidSource_get()->generatePrefix, former);
}

TEST(SimWorld, HasItsHostsInOrder) {
    World world(1);
    Host &a = world.add_host("a");
    Host &b = world.add_host("b");
    ASSERT_EQ(world.hosts().size(), 2u);
    EXPECT_EQ(world.hosts()[0].get(), &a);
    EXPECT_EQ(b.number(), 2u);
}

class SimTrace : public NetTest {
protected:
    NUV_UINT64 count(Event event) {
        return world.trace().count(event);
    }
};

TEST_F(SimTrace, CountsWhatHappensToASocket) {
    {
        const Udp port(a, "0.0.0.0:7410");
        EXPECT_EQ(count(Event::OPENED), 1u);
        EXPECT_EQ(count(Event::BOUND), 1u);
        const Udp member(b, GROUP);
        EXPECT_EQ(member.join(2), 0);
        EXPECT_EQ(count(Event::JOINED), 1u);
        EXPECT_EQ(port.send(GROUP, "hello"), 0);
        EXPECT_EQ(count(Event::SENT), 1u);
        EXPECT_EQ(count(Event::ARRIVED), 0u);
        run();
        EXPECT_EQ(count(Event::ARRIVED), 1u);
        EXPECT_EQ(count(Event::RECEIVED), 0u);
        EXPECT_TRUE(member.take());
        EXPECT_EQ(count(Event::RECEIVED), 1u);
        EXPECT_EQ(member.leave(2), 0);
        EXPECT_EQ(count(Event::LEFT), 1u);
    }
    EXPECT_EQ(count(Event::CLOSED), 2u);
    EXPECT_EQ(count(Event::DROPPED), 0u);
}

TEST_F(SimTrace, CountsTurnsOfARuntime) {
    Node node(a);
    Alarm alarm(node, a);
    const NUV_UINT64 before = count(Event::TURNED);
    alarm.set(SECOND);
    run(2 * SECOND);
    EXPECT_GT(count(Event::TURNED), before);
}

TEST_F(SimTrace, CountsWhatIsChanged) {
    NUV_UINT64 before = count(Event::CHANGED);
    const auto is_traced = [&] {
        return count(Event::CHANGED) > std::exchange(before, count(Event::CHANGED));
    };
    eth0(a).set_up(false);
    EXPECT_TRUE(is_traced());
    eth0(a).set_addresses({});
    EXPECT_TRUE(is_traced());
    eth0(a).move_to(nullptr);
    EXPECT_TRUE(is_traced());
    host_a.set_drift(1);
    EXPECT_TRUE(is_traced());
    host_a.jump_wall_clock(1);
    EXPECT_TRUE(is_traced());
    a.stop();
    EXPECT_TRUE(is_traced());
    a.stop(); // it is stopped already
    EXPECT_FALSE(is_traced());
    a.resume();
    EXPECT_TRUE(is_traced());
    a.kill();
    EXPECT_TRUE(is_traced());
    lan.part({});
    EXPECT_TRUE(is_traced());
    lan.heal();
    EXPECT_TRUE(is_traced());
    lan.set({});
    EXPECT_TRUE(is_traced());
    lan.restart(0);
    EXPECT_TRUE(is_traced());
    host_b.crash();
    EXPECT_TRUE(is_traced());
}

TEST_F(SimTrace, CountsStrangersThatComeAndGo) {
    EXPECT_TRUE(host_a.take_port(at("0.0.0.0:7410")));
    EXPECT_EQ(count(Event::BOUND), 1u);
    EXPECT_TRUE(host_a.free_port(at("0.0.0.0:7410")));
    EXPECT_EQ(count(Event::CLOSED), 1u);
}

TEST_F(SimTrace, TakesWhatTheScenarioDoes) {
    const NUV_UINT64 before = world.trace().hash();
    world.trace().add({world.now(), Event::ACTED});
    EXPECT_EQ(count(Event::ACTED), 1u);
    EXPECT_NE(world.trace().hash(), before);
}

/** The lines that a trace prints of some records. */
std::vector<std::string> printed(const std::vector<Record> &records) {
    char *text = nullptr;
    std::size_t size = 0;
    std::FILE *const file = open_memstream(&text, &size);
    Trace trace;
    trace.print_to(file);
    for (const Record &record : records) {
        trace.add(record);
    }
    trace.print_to(nullptr);
    trace.add(records.front());
    std::fclose(file);
    std::vector<std::string> lines;
    for (const char *line = text; *line != '\0'; line = std::strchr(line, '\n') + 1) {
        lines.emplace_back(line, std::strchr(line, '\n'));
    }
    std::free(text);
    return lines;
}

TEST(SimTraceText, SaysWhatHappenedWhenAndToWhom) {
    EXPECT_THAT(
        printed(
            {{1'500'000'000, Event::SENT, 1, 2, at("192.0.2.2:7410"), 5, 0},
             {0, Event::BOUND, 1, 1, at("[fd00::1]:7410"), 0, EADDRINUSE},
             {7, Event::DROPPED, 0, 0, at("239.255.0.1:7400"), 6, static_cast<int>(Drop::BUFFER)},
             {0, Event::TURNED, 1, 1, {}, 0, 0}}),
        ElementsAre("1.500000000 host 1 process 2 sent 192.0.2.2:7410 #5",
                    "0.000000000 host 1 process 1 bound [fd00::1]:7410: Address already in use",
                    "0.000000007 host 0 process 0 dropped 239.255.0.1:7400 #6: buffer full",
                    "0.000000000 host 1 process 1 turned"));
}

TEST(SimTraceText, EachEventAndEachReasonHasItsOwn) {
    std::set<std::string> texts;
    for (int i = 0; i <= static_cast<int>(Event::ACTED); ++i) {
        texts.insert(to_text(static_cast<Event>(i)));
    }
    EXPECT_EQ(texts.size(), static_cast<std::size_t>(Event::ACTED) + 1);
    texts.clear();
    for (int i = 0; i < static_cast<int>(Drop::DROPS); ++i) {
        texts.insert(to_text(static_cast<Drop>(i)));
    }
    EXPECT_EQ(texts.size(), static_cast<std::size_t>(Drop::DROPS));
    EXPECT_STREQ(to_text(Event::OPENED), "opened");
    EXPECT_STREQ(to_text(Event::ACTED), "acted");
    EXPECT_STREQ(to_text(Drop::LOST), "lost");
    EXPECT_STREQ(to_text(Drop::NO_SOCKET), "no socket");
}

TEST(SimTraceHash, DiffersWithEachFieldAndWithTheOrder) {
    const Record record{1, Event::SENT, 1, 1, at("192.0.2.1:1"), 1, 1};
    std::vector<Record> variants(8, record);
    variants[1].time = 2;
    variants[2].event = Event::ARRIVED;
    variants[3].host = 2;
    variants[4].process = 2;
    variants[5].endpoint = at("192.0.2.1:2");
    variants[6].endpoint = at("192.0.2.2:1");
    variants[7].detail = 2;
    variants.push_back(record);
    variants.back().error = 2;
    std::set<NUV_UINT64> hashes;
    for (const Record &one : variants) {
        Trace trace;
        trace.add(one);
        hashes.insert(trace.hash());
    }
    EXPECT_EQ(hashes.size(), variants.size());
    Trace forth;
    forth.add(variants[0]);
    forth.add(variants[1]);
    Trace back;
    back.add(variants[1]);
    back.add(variants[0]);
    EXPECT_NE(forth.hash(), back.hash());
    EXPECT_EQ(forth.length(), 2u);
}

TEST(SimTraceHash, DiffersWithEachOctet) {
    const std::string octets(20, 'x');
    std::set<std::string> digests;
    for (std::size_t i = 0; i <= octets.size(); ++i) {
        std::string changed = octets;
        if (i < octets.size()) {
            changed[i] = 'y';
        }
        Trace trace;
        trace.add(changed.data(), changed.size());
        digests.insert(trace.digest());
        EXPECT_EQ(trace.digest().size(), 16u);
        EXPECT_EQ(std::stoull(trace.digest(), nullptr, 16), trace.hash());
    }
    EXPECT_EQ(digests.size(), octets.size() + 1);
}

TEST(SimTraceHash, ChangesOfTheHighestBitsDoNotMakeUpForEachOther) {
    const std::string octets(32, '\0');
    std::string changed = octets;
    for (const std::size_t i : {7u, 15u}) {
        changed[i] = '\x80';
    }
    Trace trace;
    trace.add(octets.data(), octets.size());
    Trace other;
    other.add(changed.data(), changed.size());
    EXPECT_NE(trace.hash(), other.hash());
}

TEST(SimTraceHash, IsThatOfFnvForAFewOctets) {
    Trace trace;
    trace.add("abc", 3);
    EXPECT_EQ(trace.digest(), "e71fa2190541574b");
}

/** Much that is random, and what came of it. */
std::string digest_of(NUV_UINT64 seed, const std::string &text = "hello") {
    Net net(seed);
    const LinkProperty link{
        .jitter = MILLISECOND, .loss = 0.1, .lossBurst = 2, .duplication = 0.1, .reordering = 0.1};
    const ProcessProperty process{.reaction = MICROSECOND, .reactionMax = MILLISECOND};
    std::vector<std::unique_ptr<Node>> nodes;
    for (int i = 1; i <= 5; ++i) {
        Process &one = net.add("h" + std::to_string(i), {"192.0.2." + std::to_string(i) + "/24"},
                               link, process);
        one.host().set_drift(net.world.random().between(-50'000, 50'000));
        one.fail({.call = Call::SEND, .error = EAGAIN, .times = -1, .share = 0.05});
        nodes.push_back(std::make_unique<Node>(one));
        EXPECT_TRUE(nodes.back()->open("239.255.0.1:7400"));
        EXPECT_TRUE(nodes.back()->open("192.0.2.1:7410"));
    }
    const support::LogCapture log; // what the faults have the library say
    const auto any_host = [&]() -> Host & {
        return *net.world.hosts()[net.world.random().up_to(4)];
    };
    for (int i = 0; i < 60; ++i) {
        const Node &sender = *nodes[net.world.random().up_to(4)];
        (void)sender.send(i % 2 == 0 ? "239.255.0.1:7400" : "192.0.2.3:7410", text);
        Host &host = any_host();
        host.find_interface("eth0")->set_up(net.world.random().happens(0.8));
        if (i == 40) {
            any_host().processes().front()->kill();
        }
        net.world.run_for(net.world.random().between(0, 10 * MILLISECOND));
    }
    net.world.run_for(SECOND);
    EXPECT_GT(net.dropped(Drop::LOST), 0u);
    const std::string digest = net.world.trace().digest();
    return digest;
}

TEST(SimDeterminism, SameSeedHasTheSameThingsHappen) {
    EXPECT_EQ(digest_of(7), digest_of(7));
}

TEST(SimDeterminism, AnotherSeedHasOtherThingsHappen) {
    EXPECT_NE(digest_of(7), digest_of(8));
}

TEST(SimDeterminism, WhatIsSentIsPartOfIt) {
    EXPECT_NE(digest_of(7, "hello"), digest_of(7, "hallo"));
}

} // namespace
