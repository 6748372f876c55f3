// SPDX-License-Identifier: Apache-2.0
// A process of a simulated host: the calls that fail, its sleeps, its stops and its end, and the
// runtime that it turns.
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulated.h"
#include "support/log_capture.h"

namespace {

using namespace sim;
using support::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr Time REACTION = 10 * MICROSECOND;

class SimProcess : public NetTest {
protected:
    /** Lets a call of the process sleep that long by the host's clock. */
    static void sleep(Process &process, Time duration) {
        process.call([&] {
            const NUVClock *const clock = NUVClock_getMonotonic();
            clock->sleepUntil(clock, clock->getNanoseconds(clock) + duration);
        });
    }
    Time after(Time time) const {
        return world.now() - time;
    }
};

TEST_F(SimProcess, CallOfEachKindCanBeRefused) {
    const Udp group(a, GROUP);
    const Udp port(a, "0.0.0.0:7410");
    a.fail({.call = Call::OPEN, .error = ENFILE});
    EXPECT_EQ(Udp(a).error, ENFILE);
    a.fail({.call = Call::BIND, .error = EACCES});
    EXPECT_EQ(Udp(a, "0.0.0.0:7412").error, EACCES);
    a.fail({.call = Call::JOIN, .error = EPERM});
    EXPECT_EQ(group.join(2), EPERM);
    a.fail({.call = Call::SEND, .error = EAGAIN});
    EXPECT_EQ(port.send("192.0.2.2:7410", "hello"), EAGAIN);
    a.fail({.call = Call::RECEIVE, .error = EIO});
    EXPECT_FALSE(port.take());
    EXPECT_EQ(errno, EIO);
}

TEST_F(SimProcess, WatchCanBeRefused) {
    const LogCapture log;
    Node node(a);
    a.fail({.call = Call::WATCH, .error = ENOSPC});
    EXPECT_FALSE(node.open("192.0.2.1:7410"));
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_THAT(log.messages()[0].text, testing::HasSubstr("ENOSPC"));
}

TEST_F(SimProcess, ListingCanBeRefused) {
    const LogCapture log;
    const Node node(a);
    a.fail({.call = Call::LIST, .error = ENFILE});
    a.call([&] { EXPECT_EQ(NUVNetioRuntime_renewInterfaces(node.runtime, nullptr), 0); });
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_THAT(log.messages()[0].text, testing::HasSubstr("ENFILE"));
}

TEST_F(SimProcess, WhatWasRefusedToOneIsNotToAnother) {
    a.fail({.call = Call::OPEN, .error = ENFILE, .times = -1});
    EXPECT_EQ(Udp(b).error, 0);
}

TEST_F(SimProcess, FaultComesAfterSoManyCallsAndSoOften) {
    a.fail({.call = Call::OPEN, .error = ENFILE, .after = 2, .times = 2});
    std::vector<int> errors;
    for (int i = 0; i < 6; ++i) {
        errors.push_back(Udp(a).error);
    }
    EXPECT_THAT(errors, ElementsAre(0, 0, ENFILE, ENFILE, 0, 0));
}

TEST_F(SimProcess, FaultMayLastUntilItIsMended) {
    a.fail({.call = Call::OPEN, .error = ENFILE, .times = -1});
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(Udp(a).error, ENFILE);
    }
    a.mend();
    EXPECT_EQ(Udp(a).error, 0);
}

TEST_F(SimProcess, FaultMayMeetAShareOfTheCalls) {
    a.fail({.call = Call::SEND, .error = EAGAIN, .times = -1, .share = 0.3});
    const Udp sender(a);
    int failed = 0;
    for (int i = 0; i < 1'000; ++i) {
        failed += sender.send("192.0.2.2:7410", "hello") != 0 ? 1 : 0;
    }
    EXPECT_NEAR(failed, 300, 50);
}

TEST_F(SimProcess, FaultsAddUp) {
    a.fail({.call = Call::OPEN, .error = ENFILE});
    a.fail({.call = Call::OPEN, .error = ENOMEM});
    EXPECT_EQ(Udp(a).error, ENFILE);
    EXPECT_EQ(Udp(a).error, ENOMEM);
    EXPECT_EQ(Udp(a).error, 0);
}

TEST_F(SimProcess, FaultWithoutAReasonIsRefused) {
    EXPECT_THROW(a.fail({.call = Call::OPEN}), std::logic_error);
}

TEST_F(SimProcess, SomebodyElseMayComeInBetween) {
    a.interpose(1, [this] { EXPECT_TRUE(host_a.take_port(at("0.0.0.0:7410"))); });
    const Udp socket(a); // the first call
    EXPECT_THAT(host_a.ports(), IsEmpty());
    EXPECT_EQ(socket.bind("0.0.0.0:7410"), EADDRINUSE);
    EXPECT_EQ(socket.bind("0.0.0.0:7412"), 0);
}

TEST_F(SimProcess, WhoComesInBetweenHasTheTimeOfTheWorld) {
    run(SECOND);
    Time shown = 0;
    a.interpose(0, [&] { shown = NUVClock_getMonotonic()->getNanoseconds(nullptr); });
    a.call([&] { const Udp socket(a); });
    EXPECT_EQ(shown, SECOND);
}

TEST_F(SimProcess, MayBeKilledWithinAnyOfItsCalls) {
    int calls = 0;
    for (bool is_over = false; !is_over && calls < 100; ++calls) {
        Process &victim = host_a.add_process("victim");
        const LogCapture log; // what the dead say
        {
            Node node(victim);
            victim.interpose(calls, [&victim] { victim.kill(); });
            (void)node.open("192.0.2.1:7410");
            (void)node.open(GROUP);
            (void)node.send(GROUP, "hello");
            run(MILLISECOND);
        }
        is_over = victim.is_alive();
        EXPECT_EQ(victim.descriptors(), 0u);
        EXPECT_THAT(host_a.ports(), IsEmpty());
        victim.kill();
    }
    EXPECT_GT(calls, 10);
    EXPECT_LT(calls, 100);
}

TEST_F(SimProcess, IsOfItsHostWithinItsCalls) {
    host_a.set_drift(SECOND);
    host_a.jump_wall_clock(5);
    run(SECOND);
    a.call([] {
        EXPECT_EQ(NUVClock_getMonotonic()->getNanoseconds(nullptr), 1'002 * SECOND);
        EXPECT_EQ(NUVClock_getRealtime()->getNanoseconds(nullptr), EPOCH + 2 * SECOND + 5);
    });
    b.call([] { EXPECT_EQ(NUVClock_getMonotonic()->getNanoseconds(nullptr), 1'001 * SECOND); });
    EXPECT_EQ(NUVClock_getMonotonic()->getNanoseconds(nullptr), SECOND);
}

TEST_F(SimProcess, CallHandsOnItsAnswerAndMayHoldAnother) {
    EXPECT_EQ(
        a.call([this] { return b.call([] { return 5; }) + (host_a.monotonic() > 0 ? 1 : 0); }), 6);
}

TEST_F(SimProcess, WorldGoesOnWhileACallSleeps) {
    Time other = 0;
    world.at(SECOND, [&] { other = world.now(); });
    sleep(a, 2 * SECOND);
    EXPECT_EQ(other, SECOND);
    EXPECT_EQ(world.now(), 2 * SECOND);
}

TEST_F(SimProcess, SleepsByItsHostsClock) {
    host_a.set_drift(-SECOND / 2);
    sleep(a, SECOND);
    EXPECT_EQ(world.now(), 2 * SECOND);
}

TEST_F(SimProcess, SleepsLongerWhenItsClockGetsSlower) {
    world.at(SECOND, [this] { host_a.set_drift(-SECOND / 2); });
    sleep(a, 2 * SECOND);
    EXPECT_EQ(world.now(), 3 * SECOND);
}

TEST_F(SimProcess, SleepsOnWhileItsHostIsSuspended) {
    world.at(SECOND, [this] { host_a.suspend(); });
    world.at(10 * SECOND, [this] { host_a.wake(); });
    sleep(a, 2 * SECOND);
    EXPECT_EQ(world.now(), 11 * SECOND);
}

TEST_F(SimProcess, SleepDoesNotEndWhileItIsStopped) {
    world.at(SECOND, [this] { a.stop(); });
    world.at(10 * SECOND, [this] { a.resume(); });
    sleep(a, 2 * SECOND);
    EXPECT_EQ(world.now(), 10 * SECOND);
}

TEST_F(SimProcess, SleepThatCannotEndIsAMistake) {
    world.at(SECOND, [this] { a.stop(); });
    EXPECT_THROW(sleep(a, 2 * SECOND), std::logic_error);
}

TEST_F(SimProcess, SleepOfOneThatIsKilledEnds) {
    world.at(SECOND, [this] { a.stop(); });
    world.at(SECOND, [this] { a.kill(); });
    sleep(a, 2 * SECOND);
    EXPECT_EQ(world.now(), 2 * SECOND);
}

TEST_F(SimProcess, RuntimesClockIsThatOfItsHost) {
    run(SECOND);
    const NUVClock *const clock = a.runtime_property().clock;
    EXPECT_EQ(clock->getNanoseconds(clock), 1'001 * SECOND);
    clock->sleepUntil(clock, 1'002 * SECOND);
    EXPECT_EQ(world.now(), 2 * SECOND);
}

TEST_F(SimProcess, DoesWhatIsAskedForAtATime) {
    Time shown = 0;
    a.at(SECOND, [&] { shown = NUVClock_getMonotonic()->getNanoseconds(nullptr); });
    run(2 * SECOND);
    EXPECT_EQ(shown, 1'001 * SECOND);
}

TEST_F(SimProcess, DoesNothingBeforeItIsResumed) {
    Time done = 0;
    a.stop();
    a.at(SECOND, [&] { done = world.now(); });
    world.at(3 * SECOND, [this] { a.resume(); });
    run(10 * SECOND);
    EXPECT_EQ(done, 3 * SECOND);
}

TEST_F(SimProcess, DoesOneThingAfterTheOtherThoughOneSleeps) {
    std::vector<Time> times;
    a.at(SECOND, [&] {
        sleep(a, 2 * SECOND);
        times.push_back(world.now());
    });
    a.at(2 * SECOND, [&] { times.push_back(world.now()); });
    run(10 * SECOND);
    EXPECT_THAT(times, ElementsAre(3 * SECOND, 3 * SECOND));
}

TEST_F(SimProcess, DoesNothingMoreWhenItIsDead) {
    bool is_done = false;
    a.at(SECOND, [&] { is_done = true; });
    a.kill();
    run(2 * SECOND);
    EXPECT_FALSE(is_done);
}

TEST_F(SimProcess, KillFreesItsPortsAndItsGroups) {
    lan.set({.multicast = Multicast::SNOOPS});
    const Udp port(b, "0.0.0.0:7410");
    const Udp member(b, GROUP);
    EXPECT_EQ(member.join(2), 0);
    b.kill();
    EXPECT_FALSE(b.is_alive());
    EXPECT_EQ(b.descriptors(), 0u);
    EXPECT_EQ(Udp(host_b.add_process("anew"), "0.0.0.0:7410").error, 0);
    EXPECT_EQ(Udp(a).send(GROUP, "hello", 2), 0);
    run();
    EXPECT_EQ(dropped(Drop::MULTICAST), 1u);
}

TEST_F(SimProcess, DeadSendAndReceiveNothingAndAreNotToldSo) {
    const Udp receiver(b, "0.0.0.0:7410");
    const Udp port(a, "0.0.0.0:7410");
    const Udp member(a, GROUP);
    a.kill();
    EXPECT_EQ(port.send("192.0.2.2:7410", "hello"), 0);
    EXPECT_EQ(member.join(2), 0);
    EXPECT_EQ(member.leave(2), 0);
    run();
    EXPECT_FALSE(receiver.take());
    EXPECT_FALSE(port.take());
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(port.bind("0.0.0.0:7412"), EBADF);
    EXPECT_EQ(Udp(a).error, EBADF);
}

TEST_F(SimProcess, PortIsSentFrom) {
    Node receiver(b);
    Node sender(a);
    ASSERT_TRUE(receiver.open("192.0.2.2:7410"));
    ASSERT_TRUE(receiver.open(GROUP));
    ASSERT_TRUE(sender.open("192.0.2.1:7412"));
    EXPECT_EQ(sender.send_from_port("192.0.2.2:7410", "to a port"), 1);
    EXPECT_EQ(sender.send_from_port(GROUP, "to a group"), 1);
    run();
    EXPECT_THAT(receiver.texts(), ElementsAre("to a port", "to a group"));
    for (const net::Inbox::Message &message : receiver.inbox.messages()) {
        EXPECT_EQ(net::text(message.source), "udpv4://192.0.2.1:7412");
    }
    EXPECT_EQ(receiver.inbox.messages()[0].interface, 0u);
    EXPECT_EQ(receiver.inbox.messages()[1].interface, eth0(b).index());
}

TEST_F(SimProcess, LostDatagramsAreThoseThatFoundNoRoom) {
    Node receiver(b);
    const Node sender(a);
    ASSERT_TRUE(receiver.open("192.0.2.2:7410"));
    host_b.freeze();
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(sender.send("192.0.2.2:7410", std::string(60'000, 'x')));
    }
    run();
    host_b.thaw();
    run();
    const std::size_t missing = 10 - receiver.texts().size();
    EXPECT_GT(missing, 0u);
    EXPECT_TRUE(sender.send("192.0.2.2:7410", "last"));
    run();
    EXPECT_EQ(NUVNetioRuntime_getLostDatagrams(receiver.runtime), missing);
    EXPECT_EQ(dropped(Drop::BUFFER), missing);
}

TEST_F(SimProcess, RuntimeReceivesWhenItGetsToIt) {
    Node receiver(b);
    EXPECT_TRUE(receiver.open("192.0.2.2:7410"));
    const Node sender(a);
    EXPECT_TRUE(sender.send("192.0.2.2:7410", "hello"));
    run(40 * MICROSECOND + REACTION - 1);
    EXPECT_THAT(receiver.texts(), IsEmpty());
    run(1);
    EXPECT_THAT(receiver.texts(), ElementsAre("hello"));
    EXPECT_EQ(net::text(receiver.inbox.messages()[0].source), "udpv4://192.0.2.1:32768");
}

TEST_F(SimProcess, RuntimeReceivesWhatWasThereBeforeItWatched) {
    Node receiver(b);
    const Node sender(a);
    b.interpose(2, [&] { // between the binding and the watching
        EXPECT_TRUE(sender.send("192.0.2.2:7410", "hello"));
        run(MILLISECOND);
    });
    EXPECT_TRUE(receiver.open("192.0.2.2:7410"));
    EXPECT_EQ(world.trace().count(Event::ARRIVED), 1u);
    run(MILLISECOND);
    EXPECT_THAT(receiver.texts(), ElementsAre("hello"));
}

TEST_F(SimProcess, RuntimeReceivesGroupsOfBothClasses) {
    eth0(a).set_addresses({"192.0.2.1/24", "fd00::1/64"});
    eth0(b).set_addresses({"192.0.2.2/24", "fd00::2/64"});
    Node receiver(b, "udpv4,udpv6");
    EXPECT_TRUE(receiver.open(GROUP));
    EXPECT_TRUE(receiver.open("[ff15::1]:7401"));
    const Node sender(a, "udpv4,udpv6");
    EXPECT_TRUE(sender.send(GROUP, "4"));
    EXPECT_TRUE(sender.send("[ff15::1]:7401", "6"));
    run();
    EXPECT_THAT(receiver.texts(), ElementsAre("4", "6"));
}

TEST_F(SimProcess, RuntimeFollowsItsHostsInterfaces) {
    Node receiver(b);
    EXPECT_TRUE(receiver.open(GROUP));
    host_b.remove_interface(eth0(b));
    run();
    Segment &other = world.add_segment("other");
    host_b.add_interface("wlan0", &other, {"198.51.100.2/24"});
    eth0(a).move_to(&other);
    const Udp sender(a);
    run(10 * MILLISECOND); // the burst has not settled yet
    EXPECT_EQ(sender.send(GROUP, "early", 2), 0);
    run(20 * MILLISECOND);
    EXPECT_EQ(sender.send(GROUP, "late", 2), 0);
    run();
    EXPECT_THAT(receiver.texts(), ElementsAre("late"));
}

TEST_F(SimProcess, ReactsAtRandomWithinItsLimits) {
    Process &c =
        add("c", {"192.0.2.3/24"}, {}, {.reaction = MILLISECOND, .reactionMax = 2 * MILLISECOND});
    const Node node(c);
    Alarm alarm(node, c);
    Time least = INT64_MAX;
    Time most = 0;
    for (int i = 0; i < 100; ++i) {
        alarm.set(0);
        const Time start = world.now();
        run(10 * MILLISECOND);
        least = std::min(least, alarm.times.back() - start);
        most = std::max(most, alarm.times.back() - start);
    }
    EXPECT_GE(least, MILLISECOND);
    EXPECT_LT(least, 1'050 * MICROSECOND);
    EXPECT_LE(most, 2 * MILLISECOND);
    EXPECT_GT(most, 1'950 * MICROSECOND);
}

TEST_F(SimProcess, IsBusyWithWhatItHasReceived) {
    Process &c = add("c", {"192.0.2.3/24"}, {}, {.receiveTime = MILLISECOND});
    Node receiver(c);
    EXPECT_TRUE(receiver.open("192.0.2.3:7410"));
    const Node sender(a);
    for (const char *text : {"1", "2", "3"}) {
        EXPECT_TRUE(sender.send("192.0.2.3:7410", text));
    }
    run(100 * MICROSECOND);
    EXPECT_EQ(receiver.texts().size(), 3u);
    EXPECT_TRUE(sender.send("192.0.2.3:7410", "4"));
    run(3 * MILLISECOND - 100 * MICROSECOND);
    EXPECT_EQ(receiver.texts().size(), 3u);
    run(100 * MICROSECOND);
    EXPECT_EQ(receiver.texts().size(), 4u);
}

TEST_F(SimProcess, TimedEventsComeByItsHostsClock) {
    host_a.set_drift(-SECOND / 2);
    const Node node(a);
    Alarm alarm(node, a);
    alarm.set(SECOND);
    run(5 * SECOND);
    EXPECT_THAT(alarm.times, ElementsAre(2 * SECOND + REACTION));
}

TEST_F(SimProcess, TimedEventsFollowAClockThatGetsFasterOrSlower) {
    const Node node(a);
    Alarm alarm(node, a);
    alarm.set(10 * SECOND);
    run(SECOND);
    host_a.set_drift(SECOND); // 9 s are left, in 4.5 s
    run(SECOND);
    host_a.set_drift(-SECOND / 2); // 7 s are left, in 14 s
    run(20 * SECOND);
    EXPECT_THAT(alarm.times, ElementsAre(16 * SECOND + REACTION));
}

TEST_F(SimProcess, TimedEventsComeEarlierWhenTheClockGetsFaster) {
    const Node node(a);
    Alarm alarm(node, a);
    alarm.set(10 * SECOND);
    host_a.set_drift(SECOND);
    run(6 * SECOND);
    EXPECT_THAT(alarm.times, ElementsAre(5 * SECOND + REACTION));
}

TEST_F(SimProcess, TimedEventsWaitUntilItIsResumed) {
    const Node node(a);
    Alarm alarm(node, a);
    alarm.set(SECOND);
    a.stop();
    run(3 * SECOND);
    a.resume();
    run();
    EXPECT_THAT(alarm.times, ElementsAre(3 * SECOND + REACTION));
}

TEST_F(SimProcess, TimedEventsDoNotComeByTheTimeThatItsHostIsSuspended) {
    const Node node(a);
    Alarm alarm(node, a);
    alarm.set(2 * SECOND);
    run(SECOND);
    host_a.suspend();
    run(10 * SECOND);
    host_a.wake();
    run(10 * SECOND);
    EXPECT_THAT(alarm.times, ElementsAre(12 * SECOND + REACTION));
}

TEST_F(SimProcess, TimedEventThatIsDueWhileItIsAtSomethingComesAfterwards) {
    Node node(a);
    EXPECT_TRUE(node.open("192.0.2.1:7410"));
    Alarm alarm(node, a);
    alarm.set(SECOND);
    const Udp sender(b);
    EXPECT_EQ(sender.send("192.0.2.1:7410", "hello"), 0);
    a.interpose(0, [this] { run(5 * SECOND); }); // within the turn that receives it
    run(10 * SECOND);
    ASSERT_EQ(alarm.times.size(), 1u);
    EXPECT_LE(alarm.times[0], 5 * SECOND + MILLISECOND);
}

/** Turns of a loop, the first of which takes five seconds. */
struct Turns {
    World *world;
    std::vector<Time> times{};
    bool is_over = false;

    static int on_turn(void *param, REDAWorker * /*worker*/) {
        auto *self = static_cast<Turns *>(param);
        self->times.push_back(self->world->now());
        if (self->times.size() == 1) {
            self->world->run_for(5 * SECOND);
        }
        return self->is_over ? 0 : 1;
    }
};

TEST_F(SimProcess, TimerWhoseTimeComesWithinATurnBringsAnotherTurn) {
    const net::Factories factories;
    const NUVNetioLoop &slots = *a.runtime_property().loop;
    Turns turns{&world};
    const NUVNetioLoopHandler handler{nullptr, Turns::on_turn, &turns};
    void *const loop = slots.open(slots.param, &handler);
    EXPECT_NE(slots.start(loop, factories.threads, factories.workers), 0);
    EXPECT_NE(slots.wakeUp(loop), 0);
    slots.setTimer(loop, host_a.monotonic() + SECOND);
    run(10 * SECOND);
    EXPECT_THAT(turns.times, ElementsAre(REACTION, 5 * SECOND + 2 * REACTION));
    turns.is_over = true;
    EXPECT_NE(slots.stop(loop), 0);
    slots.close(loop);
}

TEST_F(SimProcess, StoppedRuntimeReceivesWhenItIsResumed) {
    Node receiver(b);
    EXPECT_TRUE(receiver.open("192.0.2.2:7410"));
    b.stop();
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    run();
    EXPECT_THAT(receiver.texts(), IsEmpty());
    b.resume();
    run();
    EXPECT_THAT(receiver.texts(), ElementsAre("hello"));
}

TEST_F(SimProcess, RuntimeStoppedJustBeforeItsTurnHasItLater) {
    Node receiver(b);
    EXPECT_TRUE(receiver.open("192.0.2.2:7410"));
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    run(45 * MICROSECOND); // it has arrived, and its turn is planned
    b.stop();
    run();
    EXPECT_THAT(receiver.texts(), IsEmpty());
    b.resume();
    run();
    EXPECT_THAT(receiver.texts(), ElementsAre("hello"));
}

TEST_F(SimProcess, KilledRuntimeReceivesNothingAndIsDeletedQuietly) {
    const LogCapture log;
    {
        Node receiver(b);
        EXPECT_TRUE(receiver.open("192.0.2.2:7410"));
        EXPECT_TRUE(receiver.open(GROUP));
        Alarm alarm(receiver, b);
        alarm.set(SECOND);
        EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
        b.kill();
        run(5 * SECOND);
        EXPECT_THAT(receiver.texts(), IsEmpty());
        EXPECT_THAT(alarm.times, IsEmpty());
    }
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SimProcess, FlushHasItsLoopTurn) {
    Node receiver(b);
    EXPECT_TRUE(receiver.open("192.0.2.2:7410"));
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    run(45 * MICROSECOND);
    EXPECT_THAT(receiver.texts(), IsEmpty());
    b.call([&] { EXPECT_NE(NUVNetioRuntime_flush(receiver.runtime, &net::PLENTY), 0); });
    EXPECT_THAT(receiver.texts(), ElementsAre("hello"));
}

TEST_F(SimProcess, HasOneRuntimeAfterTheOther) {
    for (int i = 0; i < 3; ++i) {
        Node node(b);
        EXPECT_TRUE(node.open("192.0.2.2:7410"));
        EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
        run();
        EXPECT_THAT(node.texts(), ElementsAre("hello"));
    }
    EXPECT_EQ(b.descriptors(), 0u);
}

} // namespace
