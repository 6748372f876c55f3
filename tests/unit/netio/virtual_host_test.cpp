// SPDX-License-Identifier: Apache-2.0
// A runtime that is turned by hand, in virtual time, on a network in memory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "memory_network.h"
#include "netio/netio_callback.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

using net::group;
using net::MILLISECOND;
using net::SECOND;
using support::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const NUVNetioLocator &port() {
    static const NUVNetioLocator locator = net::locator("192.0.2.1:7410");
    return locator;
}

class VirtualHostTest : public testing::Test {
protected:
    net::VirtualClock clock;
    net::MemoryNetwork network;
    net::Inbox inbox;
    net::VirtualHost host{clock, network};
    net::VirtualConfigurator configurator{host};
};

TEST_F(VirtualHostTest, PortIsReceivedAt) {
    NUVNetioReceiveResource *const resource = configurator.open(port(), inbox);
    ASSERT_NE(resource, nullptr);
    ASSERT_TRUE(configurator.send(port(), "hello"));
    EXPECT_THAT(net::texts(inbox), IsEmpty());
    host.loop.pass(0);
    EXPECT_THAT(net::texts(inbox), ElementsAre("hello"));
    EXPECT_EQ(net::text(inbox.messages()[0].source), "udpv4://192.0.2.77:7777");
    inbox.release(resource, host.worker());
}

TEST_F(VirtualHostTest, PortIsExclusiveAndPassedOverWithoutAnotherSocket) {
    const net::VirtualConfigurator other(host);
    NUVNetioReceiveResource *const resource = configurator.open(port(), inbox);
    EXPECT_EQ(other.open(port(), inbox), nullptr);
    const std::size_t sockets = network.sockets.size();
    EXPECT_EQ(other.open(port(), inbox), nullptr);
    EXPECT_EQ(network.sockets.size(), sockets);
    inbox.release(resource, host.worker());
    NUVNetioReceiveResource *const later = other.open(port(), inbox);
    EXPECT_NE(later, nullptr);
    NUVNetioReceiveResource_release(later, host.worker());
}

TEST_F(VirtualHostTest, GroupIsJoinedAndSentToOnEveryInterface) {
    NUVNetioReceiveResource *const resource = configurator.open(group(), inbox);
    ASSERT_TRUE(configurator.send(group(), "hello"));
    host.loop.pass(0);
    EXPECT_THAT(net::texts(inbox), ElementsAre("hello", "hello"));
    inbox.release(resource, host.worker());
    EXPECT_EQ(network.sockets.size(), 1u); // that it has sent from
}

TEST_F(VirtualHostTest, EventsRunAtTheirTime) {
    std::vector<NUV_INT64> times;
    struct Timed {
        std::vector<NUV_INT64> *times;
        net::VirtualClock *clock;
        static void on_time(void *param, REDAWorker *worker) {
            EXPECT_NE(worker, nullptr);
            auto *self = static_cast<Timed *>(param);
            self->times->push_back(self->clock->now);
        }
    } timed{&times, &clock};
    NUVEvent first{Timed::on_time, &timed, 0, nullptr, 0};
    NUVEvent second{Timed::on_time, &timed, 0, nullptr, 0};
    NUVEventActiveDatabase *const events = NUVNetioRuntime_getEventDatabase(host.runtime);
    const NUVNtpTime in_an_hour = {3600, 0};
    const NUVNtpTime in_a_second = {1, 0};
    const NUV_INT64 start = clock.now;
    NUVEventActiveDatabase_postEvent(events, &first, &in_an_hour);
    NUVEventActiveDatabase_postEvent(events, &second, &in_a_second);
    host.loop.pass(3599 * SECOND);
    EXPECT_THAT(times, ElementsAre(start + SECOND));
    host.loop.pass(SECOND);
    EXPECT_THAT(times, ElementsAre(start + SECOND, start + 3600 * SECOND));
}

constexpr NUVNtpTime AT_ONCE = NUV_NTP_TIME_ZERO;

/** Posts another event, for now. */
struct Posting {
    NUVEventActiveDatabase *events;
    NUVEvent *another;
    static void on_time(void *param, REDAWorker *) {
        const auto *self = static_cast<Posting *>(param);
        NUVEventActiveDatabase_postEvent(self->events, self->another, &AT_ONCE);
    }
};

TEST_F(VirtualHostTest, TimerIsSetAnewWhereTimeHasNotPassed) {
    NUVEventActiveDatabase *const events = NUVNetioRuntime_getEventDatabase(host.runtime);
    NUVEvent second{[](void *, REDAWorker *) {}, nullptr, 0, nullptr, 0};
    Posting posting{events, &second};
    NUVEvent first{Posting::on_time, &posting, 0, nullptr, 0};
    NUVEventActiveDatabase_postEvent(events, &first, &AT_ONCE);
    host.loop.pass(0);
    EXPECT_EQ(host.loop.timer(), 0);
    NUVEventActiveDatabase_postEvent(events, &second, &AT_ONCE);
    EXPECT_EQ(host.loop.timer(), clock.now);
    host.loop.pass(0);
}

TEST_F(VirtualHostTest, FlushHasTheLoopTurned) {
    NUVNetioReceiveResource *const resource = configurator.open(port(), inbox);
    network.arrive(port(), "hello");
    EXPECT_NE(NUVNetioRuntime_flush(host.runtime, &net::PLENTY), 0);
    EXPECT_THAT(net::texts(inbox), ElementsAre("hello"));
    inbox.release(resource, host.worker());
}

TEST_F(VirtualHostTest, CallbacksRunWithinTurns) {
    struct Called {
        NUVNetioRuntime *runtime;
        int calls = 0;
        static void on_call(void *param, REDAWorker *worker) {
            EXPECT_NE(worker, nullptr);
            auto *self = static_cast<Called *>(param);
            EXPECT_NE(NUVNetioRuntime_isReactorThread(self->runtime), 0);
            ++self->calls;
        }
    } called{host.runtime};
    NUVNetioCallback callback{Called::on_call, &called, nullptr, 0};
    EXPECT_NE(NUVNetioRuntime_startCallbacks(host.runtime), 0);
    NUVNetioRuntime_postCallback(host.runtime, &callback);
    EXPECT_EQ(called.calls, 0);
    host.loop.pass(0);
    EXPECT_EQ(called.calls, 1);
    NUVNetioRuntime_postCallback(host.runtime, &callback);
    EXPECT_NE(NUVNetioRuntime_cancelCallback(host.runtime, &callback), 0);
    host.loop.pass(0);
    EXPECT_EQ(called.calls, 1);
}

/** Keeps when it was told of how many addresses. */
struct Follower {
    NUVNetioInterfaceListener listener{on_changed, this, nullptr};
    net::VirtualClock *clock;
    std::vector<std::pair<NUV_INT64, NUV_INT32>> told;

    explicit Follower(net::VirtualClock &its_clock) : clock(&its_clock) {}

    static void on_changed(void *param, const NUVNetioInterfaceSnapshot *snapshot, REDAWorker *) {
        auto *self = static_cast<Follower *>(param);
        self->told.emplace_back(self->clock->now, NUVNetioInterfaceSnapshot_getLength(snapshot));
    }
};

TEST_F(VirtualHostTest, InterfacesAreFollowedWhenABurstOfEventsHasSettled) {
    NUVNetioReceiveResource *const resource = configurator.open(group(), inbox);
    Follower follower(clock);
    NUVNetioRuntime_addInterfaceListener(host.runtime, &follower.listener);
    const NUV_INT64 start = clock.now;
    host.interfaces.set({net::interface("c0", 4, "203.0.113.1")});
    NUVNetioRuntime_noteInterfaceEvent(host.runtime);
    host.loop.pass(10 * MILLISECOND);
    NUVNetioRuntime_noteInterfaceEvent(host.runtime);
    host.loop.pass(SECOND);
    ASSERT_EQ(follower.told.size(), 1u);
    EXPECT_NEAR(static_cast<double>(follower.told[0].first - start), 20.0 * MILLISECOND, 1.0);
    EXPECT_EQ(follower.told[0].second, 1);
    network.arrive(group(), "new", 4);
    network.arrive(group(), "old", 2);
    host.loop.pass(0);
    EXPECT_THAT(net::texts(inbox), ElementsAre("new"));
    NUVNetioRuntime_removeInterfaceListener(host.runtime, &follower.listener);
    inbox.release(resource, host.worker());
}

TEST_F(VirtualHostTest, WhoeverAsksForInterfacesAfterAnEventHasThemListed) {
    host.interfaces.set({});
    EXPECT_EQ(NUVNetioConfigurator_refreshInterfaces(configurator.self, host.worker()), 0);
    NUVNetioRuntime_noteInterfaceEvent(host.runtime);
    EXPECT_NE(NUVNetioConfigurator_refreshInterfaces(configurator.self, host.worker()), 0);
}

/** The number of locators that a participant has. */
NUV_INT32 count_locators(NUVNetioConfigurator *configurator) {
    NUVNetioLocator locators[8];
    return NUVNetioConfigurator_getUnicastLocators(configurator, nullptr, 7410, 0, locators, 8);
}

TEST_F(VirtualHostTest, SnapshotThatIsToldIsTakenOverWithoutAListing) {
    host.interfaces.set({net::interface("c0", 4, "203.0.113.1")});
    EXPECT_NE(NUVNetioRuntime_renewInterfaces(host.runtime, host.worker()), 0);
    const NUVNetioInterfaceSnapshot *const told = NUVNetioRuntime_acquireInterfaces(host.runtime);
    const int listings = host.interfaces.listings();
    EXPECT_NE(NUVNetioConfigurator_takeInterfaces(configurator.self, told), 0);
    EXPECT_EQ(count_locators(configurator.self), 1);
    EXPECT_EQ(NUVNetioConfigurator_takeInterfaces(configurator.self, told), 0);
    EXPECT_EQ(host.interfaces.listings(), listings);
    NUVNetioInterfaceSnapshot_release(told);
}

TEST_F(VirtualHostTest, SnapshotThatIsToldLateDoesNotReplaceANewerOne) {
    const NUVNetioInterfaceSnapshot *const late = NUVNetioRuntime_acquireInterfaces(host.runtime);
    host.interfaces.set({net::interface("c0", 4, "203.0.113.1")});
    EXPECT_NE(NUVNetioRuntime_renewInterfaces(host.runtime, host.worker()), 0);
    EXPECT_NE(NUVNetioConfigurator_refreshInterfaces(configurator.self, host.worker()), 0);
    EXPECT_EQ(NUVNetioConfigurator_takeInterfaces(configurator.self, late), 0);
    EXPECT_EQ(count_locators(configurator.self), 1);
    NUVNetioInterfaceSnapshot_release(late);
}

TEST_F(VirtualHostTest, JoinThatMetAShortageIsTriedAgainAfterASecond) {
    network.refusing = {2};
    network.refusal = EMFILE;
    const LogCapture log;
    NUVNetioReceiveResource *const resource = configurator.open(group(), inbox);
    network.refusing = {};
    host.loop.pass(SECOND - 1);
    network.arrive(group(), "early", 2);
    host.loop.pass(2);
    network.arrive(group(), "late", 2);
    host.loop.pass(0);
    EXPECT_THAT(net::texts(inbox), ElementsAre("late"));
    inbox.release(resource, host.worker());
}

TEST_F(VirtualHostTest, FailingReceiveIsBackedOffFromAndSaidAnewAfterASecondOfTheClock) {
    const LogCapture log;
    NUVNetioReceiveResource *const resource = configurator.open(port(), inbox);
    for (int i = 0; i < 3; ++i) {
        network.receive_error = EPERM;
        network.arrive(port(), "hello");
        host.loop.pass(0);
        network.receive_error = 0;
        EXPECT_EQ(inbox.messages().size(), static_cast<std::size_t>(i));
        host.loop.pass(i == 1 ? SECOND : 10 * MILLISECOND + 1);
        EXPECT_EQ(inbox.messages().size(), static_cast<std::size_t>(i + 1));
    }
    ASSERT_EQ(log.messages().size(), 2u);
    EXPECT_EQ(log.messages()[0].text, "cannot receive at udpv4://192.0.2.1:7410, trying again: "
                                      "Operation not permitted (EPERM)");
    EXPECT_EQ(log.messages()[1].text,
              "cannot receive at udpv4://192.0.2.1:7410, trying again: Operation not permitted "
              "(EPERM) (and 1 more like it since the last line)");
    inbox.release(resource, host.worker());
}

TEST(VirtualHostCostTest, NoSocketNoThreadAndNoDescriptorIsOpened) {
    const faults::Guard guard;
    net::VirtualClock clock;
    net::MemoryNetwork network;
    net::Inbox inbox;
    {
        const long descriptors = net::open_descriptors();
        net::VirtualHost host(clock, network);
        const net::VirtualConfigurator configurator(host);
        NUVNetioReceiveResource *const unicast = configurator.open(port(), inbox);
        NUVNetioReceiveResource *const multicast = configurator.open(group(), inbox);
        EXPECT_TRUE(configurator.send(port(), "hello"));
        EXPECT_NE(NUVNetioRuntime_startCallbacks(host.runtime), 0);
        NUVNetioRuntime_noteInterfaceEvent(host.runtime);
        host.loop.pass(SECOND);
        EXPECT_EQ(net::open_descriptors(), descriptors);
        NUVNetioReceiveResource_release(unicast, host.worker());
        NUVNetioReceiveResource_release(multicast, host.worker());
    }
    for (const char *function :
         {"socket", "epoll_create1", "eventfd", "timerfd_create", "setsockopt", "recvmsg",
          "sendmsg", "getifaddrs", "poll", "NUVOsapiThreadFactory_createThread"}) {
        EXPECT_EQ(faults::count(function), 0) << function;
    }
    EXPECT_TRUE(network.sockets.empty());
}

TEST(VirtualHostsTest, KernelsEventsCannotBeFollowedByAnotherLoop) {
    net::VirtualClock clock;
    net::MemoryNetwork network;
    net::ManualLoop loop(clock, network);
    const net::Factories factories;
    const NUVNetioLoop slots = loop.slots();
    NUVNetioRuntimeProperty property = NUV_NETIO_RUNTIME_PROPERTY_DEFAULT;
    property.loop = &slots;
    const LogCapture log;
    EXPECT_EQ(NUVNetioRuntime_new(&property, factories.threads, factories.workers), nullptr);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].text,
              "watchInterfaces is 1: with another loop than the kernel's allowed is 0, unless the "
              "source of the interfaces tells of changes");
}

TEST(VirtualHostsTest, TwoHostsShareAClockAndANetwork) {
    net::VirtualClock clock;
    net::MemoryNetwork network;
    net::Inbox inbox;
    net::VirtualHost here(clock, network);
    net::VirtualHost there(clock, network);
    const net::VirtualConfigurator sender(here);
    const net::VirtualConfigurator receiver(there);
    NUVNetioReceiveResource *const resource = receiver.open(group(), inbox);
    EXPECT_TRUE(sender.send(group(), "hello"));
    there.loop.pass(0);
    EXPECT_THAT(net::texts(inbox), ElementsAre("hello", "hello"));
    NUVNetioReceiveResource_release(resource, there.worker());
}

TEST(VirtualHostTransportsTest, TransportWithoutANetworkIsNotRegistered) {
    net::VirtualClock clock;
    net::MemoryNetwork network;
    net::VirtualHost host(clock, network);
    const NUVNetioConfiguratorProperty property = net::configurator_property("udpv4,udpv6", {});
    NUVNetioConfigurator *const configurator =
        NUVNetioConfigurator_new(&property, host.runtime, host.worker());
    ASSERT_NE(configurator, nullptr);
    EXPECT_EQ(NUVNetioConfigurator_getTransportCount(configurator), 1);
    NUVNetioConfigurator_delete(configurator);
}

} // namespace
