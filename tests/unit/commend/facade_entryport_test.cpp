// SPDX-License-Identifier: Apache-2.0
#include <atomic>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include "commend/commend_log.h"
#include "facade_fixture.h"
#include "support/hurried_waits.h"
#include "support/log_capture.h"

namespace {

using commend_test::Facade;
using support::LogCapture;
using testing::HasSubstr;

class FacadeEntryportTest : public testing::Test {
protected:
    NUVNetioLocator unicast(int number) const {
        return net::locator("127.0.0.1", number);
    }
    NUVNetioLocator unicast() const {
        return unicast(port);
    }
    NUVNetioLocator group() const {
        return net::locator("239.255.0.1", group_port);
    }

    net::Runtime runtime;
    const int port = net::free_port();
    const int group_port = net::free_port();
    Facade facade{runtime};
    REDAWeakReference reference = REDA_WEAK_REFERENCE_INVALID;
};

TEST_F(FacadeEntryportTest, StartsWithNothing) {
    EXPECT_FALSE(facade.is_active());
    const COMMENDFacadeStatistics statistics = facade.statistics();
    EXPECT_EQ(statistics.entryports, 0);
    EXPECT_EQ(statistics.receiveResources, 0);
    EXPECT_EQ(statistics.messagesReceived, 0u);
    EXPECT_EQ(statistics.messagesSent, 0u);
}

TEST_F(FacadeEntryportTest, ReservationHoldsThePort) {
    EXPECT_TRUE(facade.add(unicast(), &reference));
    EXPECT_NE(REDAWeakReference_isHeld(&reference), 0);
    EXPECT_FALSE(net::is_free(port));
    EXPECT_TRUE(facade.is_active());
    EXPECT_EQ(facade.statistics().entryports, 1);
    EXPECT_EQ(facade.statistics().receiveResources, 1);
}

TEST_F(FacadeEntryportTest, LastRemovalClosesThePort) {
    const REDAWeakReference first = facade.add(unicast());
    EXPECT_TRUE(facade.remove(first));
    EXPECT_TRUE(facade.flush());
    EXPECT_TRUE(net::is_free(port));
    EXPECT_FALSE(facade.is_active());
    EXPECT_EQ(facade.statistics().receiveResources, 0);
}

TEST_F(FacadeEntryportTest, ReservationsOfOnePortShareAResourceByCount) {
    const REDAWeakReference first = facade.add(unicast());
    const REDAWeakReference second = facade.add(net::locator("192.0.2.2", port));
    const REDAWeakReference third = facade.add(unicast());
    EXPECT_EQ(facade.statistics().entryports, 3);
    EXPECT_EQ(facade.statistics().receiveResources, 1);
    EXPECT_TRUE(facade.remove(first));
    EXPECT_TRUE(facade.remove(third));
    EXPECT_TRUE(facade.flush());
    EXPECT_FALSE(net::is_free(port));
    EXPECT_EQ(facade.statistics().entryports, 1);
    EXPECT_TRUE(facade.remove(second));
    EXPECT_TRUE(facade.flush());
    EXPECT_TRUE(net::is_free(port));
}

TEST_F(FacadeEntryportTest, OtherPortsHaveResourcesOfTheirOwn) {
    facade.add(unicast());
    facade.add(unicast(net::free_port()));
    EXPECT_EQ(facade.statistics().receiveResources, 2);
}

TEST_F(FacadeEntryportTest, GroupsAreSharedByGroupAndPort) {
    facade.add(group());
    facade.add(group());
    EXPECT_EQ(facade.statistics().receiveResources, 1);
    facade.add(net::locator("239.255.0.2", group_port));
    EXPECT_EQ(facade.statistics().receiveResources, 2);
    EXPECT_EQ(facade.statistics().entryports, 3);
}

TEST_F(FacadeEntryportTest, UnicastPortIsExclusiveBetweenFacades) {
    Facade other(runtime);
    const REDAWeakReference first = facade.add(unicast());
    reference = first;
    EXPECT_FALSE(other.add(unicast(), &reference));
    EXPECT_EQ(REDAWeakReference_isHeld(&reference), 0);
    EXPECT_EQ(reference._index, REDA_WEAK_REFERENCE_INVALID_INDEX);
    EXPECT_FALSE(other.is_active());
    facade.remove(first);
    EXPECT_TRUE(facade.flush());
    EXPECT_TRUE(other.add(unicast(), &reference));
}

TEST_F(FacadeEntryportTest, GroupIsSharedBetweenFacades) {
    Facade other(runtime);
    facade.add(group());
    EXPECT_TRUE(other.add(group(), &reference));
}

TEST_F(FacadeEntryportTest, ReservationIsRemovedOnce) {
    const REDAWeakReference first = facade.add(unicast());
    const REDAWeakReference second = facade.add(unicast());
    EXPECT_TRUE(facade.remove(first));
    EXPECT_FALSE(facade.remove(first));
    EXPECT_FALSE(facade.remove(first));
    EXPECT_TRUE(facade.flush());
    EXPECT_FALSE(net::is_free(port));
    EXPECT_TRUE(facade.remove(second));
}

TEST_F(FacadeEntryportTest, StaleReferenceIsRecognisedAfterItsSlotIsUsedAgain) {
    const REDAWeakReference stale = facade.add(unicast());
    EXPECT_TRUE(facade.remove(stale));
    EXPECT_TRUE(facade.flush());
    const REDAWeakReference fresh = facade.add(unicast());
    EXPECT_EQ(fresh._index, stale._index);
    EXPECT_FALSE(facade.remove(stale));
    EXPECT_FALSE(net::is_free(port));
    EXPECT_TRUE(facade.remove(fresh));
}

TEST_F(FacadeEntryportTest, ForeignAndInvalidReferencesAreRefused) {
    Facade other(runtime);
    const REDAWeakReference foreign = other.add(unicast());
    facade.add(unicast(net::free_port()));
    EXPECT_FALSE(facade.remove(foreign));
    EXPECT_FALSE(facade.remove(REDA_WEAK_REFERENCE_INVALID));
    EXPECT_FALSE(facade.remove({nullptr, 0, 0}));
    EXPECT_TRUE(other.remove(foreign));
}

TEST_F(FacadeEntryportTest, PortRemovedIsReservedAgainAtOnce) {
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(facade.add(unicast(), &reference));
        EXPECT_TRUE(facade.remove(reference));
    }
}

TEST_F(FacadeEntryportTest, PortRemovedIsReservedAgainAtOnceWhateverTheReactorIsAt) {
    net::Blocker blocker(runtime);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(facade.add(unicast(), &reference));
        EXPECT_TRUE(facade.remove(reference));
        EXPECT_TRUE(net::is_free(port));
        EXPECT_FALSE(facade.is_active());
    }
}

TEST_F(FacadeEntryportTest, GroupOnAUnicastPortIsAnError) {
    facade.add(unicast());
    const LogCapture log;
    EXPECT_FALSE(facade.add(net::locator("239.255.0.1", port), &reference));
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
    EXPECT_THAT(log.messages()[0].text, HasSubstr("(EADDRINUSE)"));
}

// ---- which transports may serve it

TEST_F(FacadeEntryportTest, TransportMustBeAmongTheAllowedOnes) {
    EXPECT_TRUE(facade.add(unicast(), &reference, "udpv4"));
    EXPECT_TRUE(facade.add(unicast(), &reference, "udpv6,udpv4"));
    EXPECT_TRUE(facade.add(unicast(), &reference, ""));
    const LogCapture log;
    EXPECT_FALSE(facade.add(unicast(), &reference, "udpv6"));
    EXPECT_EQ(REDAWeakReference_isHeld(&reference), 0);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
    EXPECT_EQ(log.messages()[0].module, NUV_LOG_MODULE_COMMEND);
    EXPECT_THAT(log.messages()[0].text, HasSubstr("udpv4://127.0.0.1:" + std::to_string(port) +
                                                  ": allowed are the transports 'udpv6'"));
}

TEST_F(FacadeEntryportTest, LocatorWithoutTransportIsRefused) {
    const NUVNetioLocator invalid = NUV_NETIO_LOCATOR_INVALID;
    EXPECT_FALSE(facade.add(invalid, &reference, "udpv4"));
    EXPECT_FALSE(facade.add(invalid, &reference, ""));
    EXPECT_FALSE(facade.add(net::locator("[::1]", port), &reference, ""));
    EXPECT_FALSE(facade.is_active());
}

// ---- checking and flushing

TEST_F(FacadeEntryportTest, CheckTellsTransportsApart) {
    const REDAWeakReference udpv4 = facade.handle(KOLS_TRANSPORT_CLASSID_UDPv4);
    Facade both(runtime, COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT, "udpv4,udpv6");
    const REDAWeakReference its_udpv4 = both.handle(KOLS_TRANSPORT_CLASSID_UDPv4);
    const REDAWeakReference its_udpv6 = both.handle(KOLS_TRANSPORT_CLASSID_UDPv6);
    both.add(unicast());
    EXPECT_TRUE(both.is_active(&its_udpv4));
    EXPECT_FALSE(both.is_active(&its_udpv6));
    EXPECT_TRUE(both.is_active(nullptr));
    EXPECT_FALSE(facade.is_active(&udpv4));
}

TEST_F(FacadeEntryportTest, CheckOfAnUnknownTransportFailsAndLeavesTheOutput) {
    Facade other(runtime);
    const REDAWeakReference foreign = other.handle(KOLS_TRANSPORT_CLASSID_UDPv4);
    const REDAWeakReference invalid = REDA_WEAK_REFERENCE_INVALID;
    for (const REDAWeakReference *handle : {&foreign, &invalid}) {
        int active = 42;
        EXPECT_EQ(facade.self->checkEntryports(facade.self, &active, handle, runtime.worker()), 0);
        EXPECT_EQ(active, 42);
    }
}

TEST_F(FacadeEntryportTest, PortRemovedDuringAMessageIsActiveUntilThatIsDoneButCanBeReserved) {
    const NUVNtpTime short_time = {0, 0x04000000};
    const REDAWeakReference handle = facade.handle(KOLS_TRANSPORT_CLASSID_UDPv4);
    commend_test::Listener listener;
    listener.hold();
    facade.listen(listener.listener());
    reference = facade.add(unicast());
    ASSERT_TRUE(net::PlainSocket().send_to(unicast(), commend_test::message({1, 2, 3})));
    EXPECT_TRUE(listener.wait_until_held());
    facade.remove(reference);
    EXPECT_TRUE(facade.is_active());
    EXPECT_TRUE(facade.is_active(&handle));
    EXPECT_EQ(facade.statistics().entryports, 0);
    EXPECT_EQ(facade.statistics().receiveResources, 1);
    EXPECT_EQ(facade.self->flushEntryports(facade.self, &short_time, runtime.worker()), 0);
    EXPECT_TRUE(net::is_free(port));
    EXPECT_TRUE(facade.add(unicast(), &reference));
    EXPECT_TRUE(facade.remove(reference));
    listener.let_go();
    EXPECT_TRUE(facade.flush());
    EXPECT_FALSE(facade.is_active());
}

TEST_F(FacadeEntryportTest, FlushReturnsAtOnceWhenNothingWasGivenBack) {
    const NUVNtpTime no_time = NUV_NTP_TIME_ZERO;
    facade.add(unicast());
    net::Blocker blocker(runtime);
    EXPECT_NE(facade.self->flushEntryports(facade.self, &no_time, runtime.worker()), 0);
}

// ---- the end

TEST_F(FacadeEntryportTest, DeletionClosesWhatIsStillReserved) {
    const int second_port = net::free_port();
    {
        Facade other(runtime);
        other.add(unicast());
        other.add(unicast());
        other.add(unicast(second_port));
        other.add(group());
        other.remove(other.add(unicast(net::free_port())));
    }
    EXPECT_TRUE(net::is_free(port));
    EXPECT_TRUE(net::is_free(second_port));
    EXPECT_TRUE(net::is_free(group_port));
}

TEST_F(FacadeEntryportTest, DeletionLeavesNothing) {
    { Facade warm_up(runtime); }
    const net::Held before;
    {
        Facade other(runtime);
        other.add(unicast());
        other.add(group());
        EXPECT_FALSE(facade.add(unicast(), &reference));
    }
    EXPECT_EQ(net::Held().blocks, before.blocks + 2); // the spare one of the facade that failed,
    EXPECT_EQ(net::Held().descriptors, before.descriptors + 1); // its table of slots, its socket
    EXPECT_NE(COMMENDFacade_delete(nullptr, runtime.worker()), 0);
}

TEST_F(FacadeEntryportTest, DeletionWaitsForTheListener) {
    commend_test::Listener listener;
    listener.milliseconds = 50;
    {
        Facade other(runtime);
        other.listen(listener.listener());
        other.add(unicast());
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(net::PlainSocket().send_to(unicast(), commend_test::message({1, 2, 3})));
        }
        EXPECT_TRUE(listener.wait_for(1));
    }
    const std::size_t count = listener.messages().size();
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(listener.messages().size(), count);
}

TEST_F(FacadeEntryportTest, DeletionDuringAMessageThatGoesOnFailsInTimeAndCanBeRepeated) {
    commend_test::Listener listener;
    listener.hold();
    facade.listen(listener.listener());
    facade.add(unicast());
    ASSERT_TRUE(net::PlainSocket().send_to(unicast(), commend_test::message({1, 2, 3})));
    EXPECT_TRUE(listener.wait_until_held());
    const LogCapture log;
    {
        const support::HurriedWaits hurried;
        EXPECT_EQ(COMMENDFacade_delete(facade.self, runtime.worker()), 0);
    }
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
    EXPECT_EQ(log.messages()[0].text, "cannot delete a communication facade: the thread 'reactor' "
                                      "is still handing on a message of it");
    EXPECT_TRUE(net::is_free(port));
    listener.let_go();
    EXPECT_TRUE(runtime.flush()); // the listener goes before the facade, which the fixture deletes
}

TEST_F(FacadeEntryportTest, DeletionThatFailsHasGivenBackEachReservation) {
    commend_test::Listener listener;
    listener.hold();
    facade.listen(listener.listener());
    REDAWeakReference idle = REDA_WEAK_REFERENCE_INVALID;
    REDAWeakReference busy = REDA_WEAK_REFERENCE_INVALID;
    facade.add(unicast(net::free_port()), &idle);
    facade.add(unicast(), &busy);
    ASSERT_TRUE(net::PlainSocket().send_to(unicast(), commend_test::message({1, 2, 3})));
    EXPECT_TRUE(listener.wait_until_held());
    {
        const LogCapture log;
        const support::HurriedWaits hurried;
        EXPECT_EQ(COMMENDFacade_delete(facade.self, runtime.worker()), 0);
    }
    EXPECT_FALSE(facade.remove(idle));
    EXPECT_FALSE(facade.remove(busy));
    listener.let_go();
    EXPECT_TRUE(runtime.flush());
}

TEST_F(FacadeEntryportTest, FacadesMayComeAndGoInThreads) {
    std::vector<std::thread> threads;
    std::atomic<int> reserved{0};
    const int ports[] = {net::free_port(), net::free_port(), net::free_port()};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 30; ++i) {
                Facade other(runtime);
                REDAWeakReference mine = REDA_WEAK_REFERENCE_INVALID;
                if (other.add(unicast(ports[(t + i) % 3]), &mine)) {
                    ++reserved;
                    EXPECT_TRUE(i % 2 == 0 || other.remove(mine));
                }
                other.add(group());
                other.is_active();
                other.statistics();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_GT(reserved, 0);
    for (const int number : ports) {
        EXPECT_TRUE(net::is_free(number));
    }
}

TEST_F(FacadeEntryportTest, OneFacadeMayBeUsedByThreads) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i) {
                REDAWeakReference mine = REDA_WEAK_REFERENCE_INVALID;
                if (facade.add(unicast(), &mine)) {
                    EXPECT_TRUE(facade.remove(mine));
                }
                facade.is_active();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(facade.flush());
    EXPECT_EQ(facade.statistics().receiveResources, 0);
}

TEST(FacadeProcessTest, UnicastPortIsExclusiveBetweenProcesses) {
    // The process is forked while it has no threads.
    const int port = net::free_port();
    int to_child[2];
    int to_parent[2];
    ASSERT_EQ(pipe(to_child), 0);
    ASSERT_EQ(pipe(to_parent), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        bool done = false;
        {
            net::Runtime runtime;
            Facade facade(runtime);
            facade.add(net::locator("127.0.0.1", port));
            char byte = 'x';
            done = write(to_parent[1], &byte, 1) == 1 && read(to_child[0], &byte, 1) == 1;
        }
        _exit(done && !testing::Test::HasFailure() ? 0 : 1);
    }
    char byte = 0;
    ASSERT_EQ(read(to_parent[0], &byte, 1), 1);
    net::Runtime runtime;
    Facade facade(runtime);
    REDAWeakReference reference = REDA_WEAK_REFERENCE_INVALID;
    EXPECT_FALSE(facade.add(net::locator("127.0.0.1", port), &reference));
    ASSERT_EQ(write(to_child[1], &byte, 1), 1);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(facade.add(net::locator("127.0.0.1", port), &reference));
    for (const int end : {to_child[0], to_child[1], to_parent[0], to_parent[1]}) {
        close(end);
    }
}

// ---- restricted interfaces

TEST(FacadeRestrictedTest, FurtherReservationCoversANewAddress) {
    const NUVNetioInterface first = net::interface("a0", if_nametoindex("lo"), "127.0.0.2");
    const NUVNetioInterface second = net::interface("a0", if_nametoindex("lo"), "127.0.0.3");
    net::Runtime runtime({first});
    Facade facade(runtime, COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT, "udpv4", {"a0"});
    const int port = net::free_port();
    facade.add(net::locator("127.0.0.2", port));
    runtime.interfaces.set({first, second});
    runtime.renew();
    NUVNetioConfigurator_refreshInterfaces(facade.configurator.self, runtime.worker());
    REDAWeakReference reference = REDA_WEAK_REFERENCE_INVALID;
    {
        const net::PlainSocket other;
        ASSERT_TRUE(other.bind_to("127.0.0.3", port));
        EXPECT_FALSE(facade.add(net::locator("127.0.0.3", port), &reference));
        EXPECT_EQ(REDAWeakReference_isHeld(&reference), 0);
    }
    EXPECT_TRUE(facade.add(net::locator("127.0.0.3", port), &reference));
    EXPECT_FALSE(net::PlainSocket().bind_to("127.0.0.3", port));
    EXPECT_EQ(facade.statistics().entryports, 2);
    EXPECT_EQ(facade.statistics().receiveResources, 1);
}

// ---- costs and failures

TEST_F(FacadeEntryportTest, PassingOverTakenPortsCostsNoSocketAndNoAllocation) {
    const faults::Guard guard;
    const net::PlainSocket other;
    ASSERT_TRUE(other.bind_to("0.0.0.0", port));
    EXPECT_FALSE(facade.add(unicast(), &reference));
    const int sockets = faults::count("socket");
    const int allocations = faults::allocations();
    for (int i = 0; i < 10; ++i) {
        EXPECT_FALSE(facade.add(unicast(), &reference));
    }
    EXPECT_EQ(faults::count("socket"), sockets);
    EXPECT_EQ(faults::allocations(), allocations);
}

TEST_F(FacadeEntryportTest, ParticipantsPortsCostNoMoreCallsThanTheyNeed) {
    const faults::Guard guard;
    const int second = net::free_port();
    const int third = net::free_port();
    const auto count = [](const char *function) { return faults::count(function); };
    const int sockets = count("socket");
    const int binds = count("bind");
    facade.add(group());
    facade.add(unicast(second));
    facade.add(unicast(third));
    EXPECT_EQ(count("socket") - sockets, 3);
    EXPECT_EQ(count("bind") - binds, 3);
    EXPECT_EQ(count("setsockopt"), 4); // of the group: three options and the join
    EXPECT_EQ(count("epoll_ctl"), 3);
    EXPECT_EQ(count("getifaddrs"), 0);
    EXPECT_EQ(count("eventfd"), 0);
}

TEST_F(FacadeEntryportTest, EachAllocationThatFailsLeavesThePortFreeAndNothingBehind) {
    const faults::Guard guard;
    std::optional<Facade> fresh;
    LogCapture log;
    EXPECT_EQ(faults::fail_each(
                  [&](int nth) {
                      fresh.emplace(runtime);
                      log.clear();
                      faults::fail_allocation(nth);
                  },
                  [&] { return fresh->add(unicast(), &reference); },
                  [&] {
                      EXPECT_EQ(REDAWeakReference_isHeld(&reference), 0);
                      EXPECT_EQ(log.messages().size(), 1u);
                      EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
                      EXPECT_FALSE(fresh->is_active());
                      EXPECT_TRUE(net::is_free(port));
                      EXPECT_TRUE(fresh->add(unicast(), &reference)); // and the next try succeeds
                  }),
              4); // entryport, slots, resource, socket
}

TEST_F(FacadeEntryportTest, SharingFailsWithoutMemoryForTheReference) {
    const faults::Guard guard;
    std::vector<REDAWeakReference> references;
    bool failed = false;
    for (int i = 0; i < 20 && !failed; ++i) { // until the table of slots has to grow
        faults::fail_allocation(i == 0 ? 0 : 1);
        failed = !facade.add(unicast(), &reference);
        references.push_back(reference);
    }
    EXPECT_TRUE(failed);
    EXPECT_EQ(REDAWeakReference_isHeld(&reference), 0);
    EXPECT_EQ(facade.statistics().entryports, static_cast<int>(references.size()) - 1);
}

TEST_F(FacadeEntryportTest, EachCallThatFailsLeavesThePortFreeAndNothingBehind) {
    for (const char *function : {"socket", "bind", "epoll_ctl"}) {
        for (const NUVNetioLocator &locator : {unicast(), group()}) {
            const faults::Guard guard;
            const net::Held before;
            {
                Facade fresh(runtime);
                const LogCapture log;
                faults::fail_call(function, 1, ENOBUFS);
                EXPECT_FALSE(fresh.add(locator, &reference)) << function;
                EXPECT_TRUE(faults::happened());
                EXPECT_EQ(log.messages().size(), 1u);
                EXPECT_FALSE(fresh.is_active());
                EXPECT_TRUE(net::is_free(locator.port));
            }
            EXPECT_EQ(net::Held(), before);
        }
    }
}

TEST_F(FacadeEntryportTest, EachAllocationOfCreationThatFailsGivesNullOneErrorAndLeavesNothing) {
    const faults::Guard guard;
    COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
    char ports[] = "7410,7412-7420";
    property.parent.receiver.processMessageTimeBasedLoggingExplicitPorts = ports;
    EXPECT_GE(net::fail_each_in_making(
                  faults::fail_allocation,
                  [&] {
                      return COMMENDFacade_new(&property, facade.configurator.self,
                                               runtime.worker());
                  },
                  [&](COMMENDFacade *made) {
                      EXPECT_NE(COMMENDFacade_delete(made, runtime.worker()), 0);
                  }),
              4);
}

} // namespace
