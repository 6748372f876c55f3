// SPDX-License-Identifier: Apache-2.0
// Participants follow the interfaces, which the test makes up: no privileges are needed.
#include <atomic>
#include <thread>

#include "../netio/net_fixture.h"
#include "domain/DomainParticipant_internal.h"
#include "following_fixture.h"
#include "support/hurried_waits.h"

using following::change_of;
using following::default_port;
using following::FollowingTest;
using following::locators_at;
using following::metatraffic_port;
using following::on_one_interface;
using following::open_sockets;
using following::Stranger;
using following::Texts;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

constexpr unsigned UP = IFF_UP | IFF_RUNNING;
const injected::Link LOOPBACK = {"lo", {"127.0.0.1"}, UP | IFF_LOOPBACK};

/** What makes the participants look at the interfaces. */
enum class Way { RENEWAL, DEMAND };

void PrintTo(Way way, std::ostream *out) {
    *out << (way == Way::RENEWAL ? "Renewal" : "Demand");
}

class Following : public FollowingTest, public testing::WithParamInterface<Way> {
protected:
    bool follow() const {
        return GetParam() == Way::RENEWAL
                   ? renew()
                   : DDS_DomainParticipant_update_locators(participants.at(0)) == DDS_RETCODE_OK;
    }

    void follow(const injected::Links &links) {
        interfaces.set(links);
        EXPECT_TRUE(follow());
    }
};

INSTANTIATE_TEST_SUITE_P(On, Following, testing::Values(Way::RENEWAL, Way::DEMAND),
                         testing::PrintToStringParamName());

TEST_P(Following, AnAddedAddressAppearsInBothLists) {
    DDS_DomainParticipant *const participant = create_follower();

    follow(on_one_interface({"192.0.2.10", "198.51.100.2"}));
    EXPECT_TRUE(has(participant, {"192.0.2.10", "198.51.100.2"}));
    EXPECT_EQ(list_messages(), change_of({"192.0.2.10"}, {"192.0.2.10", "198.51.100.2"}));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(Following, AReplacedAddressIsGoneFromBothLists) {
    DDS_DomainParticipant *const participant = create_follower();
    const std::multiset<std::string> files = open_files();

    follow(on_one_interface({"192.0.2.77"}));
    EXPECT_TRUE(has(participant, {"192.0.2.77"}));
    EXPECT_EQ(list_messages(), change_of({"192.0.2.10"}, {"192.0.2.77"}));
    flush();
    EXPECT_EQ(open_files(), files); // the sockets are the same
}

TEST_P(Following, ARemovedAddressLeavesTheOthers) {
    interfaces.set(on_one_interface({"192.0.2.10", "198.51.100.2", "203.0.113.2"}));
    DDS_DomainParticipant *const participant = create_follower();

    follow(on_one_interface({"192.0.2.10", "203.0.113.2"}));
    EXPECT_TRUE(has(participant, {"192.0.2.10", "203.0.113.2"}));
    EXPECT_EQ(list_messages(), change_of({"192.0.2.10", "198.51.100.2", "203.0.113.2"},
                                         {"192.0.2.10", "203.0.113.2"}));
}

TEST_P(Following, ALinkGoesDownAndComesUp) {
    const injected::Link kept = {"test0", {"192.0.2.10"}};
    const injected::Link other = {"test1", {"198.51.100.2"}};

    interfaces.set({kept, other});
    DDS_DomainParticipant *const participant = create_follower();

    follow({kept, {other.name, other.addresses, 0}});
    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
    follow({kept, other});
    EXPECT_TRUE(has(participant, {"192.0.2.10", "198.51.100.2"}));
}

TEST_P(Following, ALinkThatIsUpWithoutACarrierIsNotUsed) {
    const injected::Link kept = {"test0", {"192.0.2.10"}};
    const injected::Link other = {"test1", {"198.51.100.2"}};

    interfaces.set({kept, other});
    DDS_DomainParticipant *const participant = create_follower();

    follow({kept, {other.name, other.addresses, IFF_UP}});
    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
}

TEST_P(Following, AnInterfaceIsGoneAndAnotherComes) {
    const injected::Link kept = {"test0", {"192.0.2.10"}};

    interfaces.set({kept, {"test1", {"198.51.100.2"}}});
    DDS_DomainParticipant *const participant = create_follower();

    follow({kept});
    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
    follow({kept, {"test2", {"203.0.113.2"}}});
    EXPECT_TRUE(has(participant, {"192.0.2.10", "203.0.113.2"}));
}

TEST_P(Following, LoopbackStandsInForTheLastAddress) {
    interfaces.set({LOOPBACK, {"test0", {"192.0.2.10"}}});
    DDS_DomainParticipant *const participant = create_follower();

    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
    follow({LOOPBACK});
    EXPECT_TRUE(has(participant, {"127.0.0.1"}));
    EXPECT_EQ(list_messages(), change_of({"192.0.2.10"}, {"127.0.0.1"}));
}

TEST_P(Following, TheLastAddressIsLostAndRegainedWithTheSameIndex) {
    DDS_DomainParticipant *const participant = create_follower();

    follow({});
    EXPECT_TRUE(has(participant, {}));
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_EQ(list_messages(), change_of({"192.0.2.10"}, {}));
    log.clear();
    follow(on_one_interface({"192.0.2.10"}));
    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_EQ(list_messages(), change_of({}, {"192.0.2.10"}));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(Following, NobodyElseGetsThePortsOfAnIndexWithoutAnyAddress) {
    DDS_DomainParticipant *const participant = create_follower();

    ASSERT_TRUE(holds_ports(0, AF_INET));
    follow({});
    ASSERT_TRUE(has(participant, {}));
    flush(); // what was given back is closed
    EXPECT_TRUE(holds_ports(0, AF_INET));
    follow(on_one_interface({"192.0.2.10"}));
    flush();
    EXPECT_TRUE(holds_ports(0, AF_INET));
    EXPECT_EQ(remove(participant), DDS_RETCODE_OK);
    EXPECT_FALSE(following::is_held(metatraffic_port(), AF_INET));
    EXPECT_FALSE(following::is_held(default_port(), AF_INET));
}

/** How many messages a participant has received so far. */
NUV_UINT64 received(DDS_DomainParticipant *participant) {
    COMMENDFacade *const facade = PRESParticipant_getFacade(participant->presentation.participant);
    COMMENDFacadeStatistics statistics = {};

    facade->getStatistics(facade, &statistics, nullptr);
    return statistics.messagesReceived;
}

TEST_P(Following, WhatIsSentToItsPortsArrivesAllTheWhile) {
    const std::string message("RTPS\2\5\1\17abcdefghijkl", 20);
    const net::PlainSocket sender;
    DDS_DomainParticipant *const participant = create_follower();
    NUV_UINT64 sent = 0;

    for (const Texts &addresses : {Texts{"192.0.2.10"}, Texts{}, Texts{"198.51.100.2"}}) {
        follow(on_one_interface(addresses));
        ASSERT_TRUE(has(participant, addresses));
        flush();
        for (const DDS_Long port : {metatraffic_port(), default_port()}) {
            ASSERT_TRUE(sender.send_to(net::locator("udpv4://127.0.0.1", port), message));
            ++sent;
            ASSERT_TRUE(net::eventually([&] { return received(participant) == sent; })) << port;
        }
    }
}

TEST_P(Following, MoreThanSixteenAddressesLeaveTheFirstOnes) {
    constexpr std::ptrdiff_t LIST_SIZE_MAX = 16;
    DDS_DomainParticipant *const participant = create_follower();
    Texts addresses;

    for (int i = 1; i <= 20; ++i) {
        addresses.push_back("10.0.1." + std::to_string(i));
    }
    follow(on_one_interface(addresses));
    EXPECT_TRUE(has(participant, Texts(addresses.begin(), addresses.begin() + LIST_SIZE_MAX)));
    addresses.erase(addresses.begin(), addresses.begin() + 3);
    follow(on_one_interface(addresses)); // those behind move up
    EXPECT_TRUE(has(participant, Texts(addresses.begin(), addresses.begin() + LIST_SIZE_MAX)));
    addresses.resize(2);
    follow(on_one_interface(addresses));
    EXPECT_TRUE(has(participant, addresses));
}

TEST_P(Following, AnIPv6AddressIsOfNoInterestWithoutThatTransport) {
    DDS_DomainParticipant *const participant = create_follower();

    follow(on_one_interface({"192.0.2.10", "2001:db8::2"}));
    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
    EXPECT_THAT(list_messages(), IsEmpty());
}

TEST_P(Following, TheListenerIsCalledOncePerChangeWithTheNewLists) {
    std::vector<Texts> told;
    int complete = 0;
    DDS_DomainParticipant *const participant = create_follower([&](DDS_DomainParticipant *self) {
        told.push_back(locators(self, DDS_DomainParticipant_get_default_unicast_locators));
        complete += has(self, {"198.51.100.2"}) || has(self, {}) ? 1 : 0;
    });

    for (int i = 0; i < 3; ++i) {
        follow(on_one_interface({"198.51.100.2"}));
        flush_callbacks();
    }
    follow({});
    flush_callbacks();
    EXPECT_THAT(told, ElementsAre(locators_at({"198.51.100.2"}, default_port()), Texts()));
    EXPECT_EQ(complete, 2); // of both lists
    EXPECT_TRUE(has(participant, {}));
}

TEST_P(Following, NothingIsToldOrLoggedWhenNothingChanged) {
    int calls = 0;

    create_follower([&](DDS_DomainParticipant *) { ++calls; });
    EXPECT_TRUE(follow());
    EXPECT_TRUE(follow());
    flush_callbacks();
    EXPECT_EQ(calls, 0);
    EXPECT_THAT(list_messages(), IsEmpty());
}

TEST_P(Following, AListThatCannotBeHadIsHadTheNextTime) {
    DDS_DomainParticipant *const participant = create_follower();

    interfaces.set(on_one_interface({"198.51.100.2"}));
    faults::fail("getifaddrs", {.error = ENOBUFS, .on = faults::Thread::THIS});
    EXPECT_EQ(follow(), GetParam() == Way::DEMAND); // which goes on with what it has
    EXPECT_EQ(faults::failed(), "getifaddrs");
    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
    EXPECT_THAT(
        messages(NUV_LOG_LEVEL_WARNING),
        ElementsAre(StartsWith("cannot list the network interfaces, going on with those known: ")));
    EXPECT_TRUE(follow());
    EXPECT_TRUE(has(participant, {"198.51.100.2"}));
}

TEST_F(FollowingTest, AChangeDuringADeletionThatIsRefusedIsNotMissed) {
    for (const char *step : {"PRESParticipant_preShutdownWakeup", "PRESParticipant_shutdown"}) {
        interfaces.set(on_one_interface({"192.0.2.10"}));
        DDS_DomainParticipant *const participant = create_follower();

        interfaces.set(on_one_interface({"198.51.100.2"}));
        faults::fail(step, {.on = faults::Thread::THIS});
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                  DDS_RETCODE_ERROR);
        EXPECT_EQ(faults::failed(), step);
        EXPECT_TRUE(has(participant, {"198.51.100.2"})) << step;
        EXPECT_EQ(remove(participant), DDS_RETCODE_OK);
    }
}

TEST_F(FollowingTest, ADeletionDuringAnUpdateThatGoesOnIsRefusedInTimeAndChangesNothing) {
    DDS_DomainParticipant *const participant = create_follower();
    NUVNetioRuntime *const runtime = participant->resources.runtime;
    NUVEvent event = {[](void *param, REDAWorker *worker) {
                          (void)NUVNetioRuntime_renewInterfaces(
                              static_cast<NUVNetioRuntime *>(param), worker);
                      },
                      runtime, 0, nullptr, 0};
    const NUVNtpTime now = NUV_NTP_TIME_ZERO;

    interfaces.set(on_one_interface({"198.51.100.2"}));
    interfaces.hold_updates();
    NUVEventActiveDatabase_postEvent(NUVNetioRuntime_getEventDatabase(runtime), &event, &now);
    EXPECT_TRUE(net::eventually([&] { return interfaces.has_held_update(); }));
    {
        const support::HurriedWaits hurried;
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                  DDS_RETCODE_ERROR);
    }
    EXPECT_THAT(errors(), ElementsAre("the thread 'reactor' does not come to an end with the "
                                      "locators of a participant in domain 0"));
    interfaces.let_updates_go();
    EXPECT_TRUE(net::eventually([&] { return has(participant, {"198.51.100.2"}); }));
    EXPECT_TRUE(holds_ports(0, AF_INET));
    EXPECT_NE(NUVEventActiveDatabase_cancelEvent(NUVNetioRuntime_getEventDatabase(runtime), &event),
              0);
}

class FollowingOfIPv6 : public FollowingTest {
protected:
    void SetUp() override {
        if (!following::has_ipv6()) {
            GTEST_SKIP() << "the host has no IPv6";
        }
        qos->transport_builtin.mask = DDS_TRANSPORTBUILTIN_UDPv4 | DDS_TRANSPORTBUILTIN_UDPv6;
    }
};

TEST_F(FollowingOfIPv6, AnAddressOpensTwoSockets) {
    DDS_DomainParticipant *const participant = create_follower();
    const std::size_t sockets = open_sockets();

    interfaces.set(on_one_interface({"192.0.2.10", "2001:db8::2"}));
    EXPECT_TRUE(renew());
    EXPECT_TRUE(has(participant, {"192.0.2.10", "2001:db8::2"}));
    EXPECT_EQ(list_messages(), change_of({"192.0.2.10"}, {"192.0.2.10", "2001:db8::2"}));
    EXPECT_TRUE(holds_ports(0, AF_INET6));
    EXPECT_EQ(open_sockets(), sockets + 2);
}

TEST_F(FollowingOfIPv6, ATransportWithoutAnyAddressKeepsItsPortsBesideTheOther) {
    interfaces.set(on_one_interface({"192.0.2.10", "2001:db8::2"}));
    DDS_DomainParticipant *const participant = create_follower();
    const std::multiset<std::string> files = open_files();

    for (const Texts &left : {Texts{"192.0.2.10"}, Texts{"2001:db8::2"}}) {
        interfaces.set(on_one_interface(left));
        EXPECT_TRUE(renew());
        EXPECT_TRUE(has(participant, left));
        flush();
        EXPECT_EQ(open_files(), files);
        EXPECT_TRUE(holds_ports(0, AF_INET));
        EXPECT_TRUE(holds_ports(0, AF_INET6));
        interfaces.set(on_one_interface({"192.0.2.10", "2001:db8::2"}));
        EXPECT_TRUE(renew());
        EXPECT_TRUE(has(participant, {"192.0.2.10", "2001:db8::2"}));
    }
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(FollowingOfIPv6, BothTransportsKeepTheirPortsWithoutAnyAddress) {
    interfaces.set(on_one_interface({"192.0.2.10", "2001:db8::2"}));
    DDS_DomainParticipant *const participant = create_follower();

    interfaces.set({});
    EXPECT_TRUE(renew());
    EXPECT_TRUE(has(participant, {}));
    flush();
    EXPECT_TRUE(holds_ports(0, AF_INET));
    EXPECT_TRUE(holds_ports(0, AF_INET6));
}

TEST_F(FollowingOfIPv6, AnAddressIsAnnouncedAfterThoseOfIPv4) {
    interfaces.set(on_one_interface({"2001:db8::2"}));
    DDS_DomainParticipant *const participant = create_follower();

    interfaces.set(on_one_interface({"2001:db8::2", "192.0.2.10"}));
    EXPECT_TRUE(renew());
    EXPECT_TRUE(has(participant, {"192.0.2.10", "2001:db8::2"}));
}

TEST_F(FollowingOfIPv6, ALinkLocalAddressIsNone) {
    DDS_DomainParticipant *const participant = create_follower();

    interfaces.set(on_one_interface({"192.0.2.10", "fe80::2"}));
    EXPECT_TRUE(renew());
    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
}

TEST_F(FollowingTest, EachPortOfUserTrafficIsKeptWithoutAnyAddress) {
    DDS_TransportUnicastSettingsSeq &settings = qos->default_unicast.value;

    ASSERT_TRUE(DDS_TransportUnicastSettingsSeq_ensure_length(&settings, 2, 2));
    DDS_TransportUnicastSettingsSeq_get_reference(&settings, 0)->receive_port = default_port(50);
    DDS_TransportUnicastSettingsSeq_get_reference(&settings, 1)->receive_port = default_port(51);
    create_follower();
    DDS_TransportUnicastSettingsSeq_finalize(&settings); // it has a copy

    interfaces.set({});
    EXPECT_TRUE(renew());
    flush();
    EXPECT_TRUE(following::is_held(default_port(50), AF_INET));
    EXPECT_TRUE(following::is_held(default_port(51), AF_INET));
}

/** Participants that are created without any address. */
class FollowingTheFirstAddress : public FollowingTest {
protected:
    FollowingTheFirstAddress() {
        interfaces.set({});
    }

    void add_address() {
        interfaces.set(on_one_interface({"192.0.2.10"}));
    }
};

TEST_F(FollowingTheFirstAddress, GivesAnIndexAndLocators) {
    int calls = 0;
    DDS_DomainParticipant *const participant =
        create_follower([&](DDS_DomainParticipant *) { ++calls; });

    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), -1);
    EXPECT_THAT(locators(participant, DDS_DomainParticipant_get_default_unicast_locators),
                IsEmpty());
    add_address();
    EXPECT_TRUE(renew());
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
    EXPECT_TRUE(holds_ports(0, AF_INET));
    flush_callbacks();
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_LOCAL),
                Contains(HasSubstr("Reserved participant index 0 on domain 0")));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(FollowingTheFirstAddress, IsAwaitedWithoutOpeningOrClosingAnything) {
    DDS_DomainParticipant *const participant = create_follower();
    const std::multiset<std::string> files = open_files();

    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
        flush();
        EXPECT_EQ(open_files(), files); // by their inodes
    }
}

TEST_F(FollowingTheFirstAddress, GivesTheFixedIndex) {
    qos->wire_protocol.participant_id = 5;
    DDS_DomainParticipant *const participant = create_follower();

    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), -1);
    add_address();
    EXPECT_TRUE(renew());
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 5);
    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
    EXPECT_TRUE(holds_ports(5, AF_INET));
}

TEST_F(FollowingTheFirstAddress, IsKeptTheIndexForOnceItWasThere) {
    DDS_DomainParticipant *const participant = create_follower();

    add_address();
    EXPECT_TRUE(renew());
    interfaces.set({});
    EXPECT_TRUE(renew());
    flush();
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_TRUE(holds_ports(0, AF_INET));
}

TEST_F(FollowingTheFirstAddress, GivesTwoParticipantsDifferentIndices) {
    DDS_DomainParticipant *const first = create_follower();
    DDS_DomainParticipant *const second = create_follower();

    add_address();
    EXPECT_TRUE(renew());
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(first), 0);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(second), 1);
    EXPECT_TRUE(has(first, {"192.0.2.10"}));
    EXPECT_TRUE(has(second, {"192.0.2.10"}));
}

/** Somebody has the metatraffic port of index 0 (false) or its other one (true). */
class FollowingTheFirstAddressBesideAStranger : public FollowingTheFirstAddress,
                                                public testing::WithParamInterface<bool> {
protected:
    static DDS_Long taken_port() {
        return GetParam() ? default_port() : metatraffic_port();
    }
};

INSTANTIATE_TEST_SUITE_P(AtThe, FollowingTheFirstAddressBesideAStranger, testing::Bool(),
                         [](const auto &each) {
                             return each.param ? "DefaultPort" : "MetatrafficPort";
                         });

TEST_P(FollowingTheFirstAddressBesideAStranger, GivesAnAutomaticIndexThatIsFree) {
    const Stranger stranger(taken_port());
    DDS_DomainParticipant *const participant = create_follower();

    add_address();
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 1);
    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
    EXPECT_TRUE(holds_ports(1, AF_INET));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(FollowingTheFirstAddressBesideAStranger, IsNotEnoughForAFixedIndexUntilHeIsGone) {
    qos->wire_protocol.participant_id = 0;
    DDS_DomainParticipant *const participant = create_follower();

    add_address();
    {
        const Stranger stranger(taken_port());

        EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_ERROR);
        EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), -1);
        EXPECT_THAT(locators(participant, DDS_DomainParticipant_get_default_unicast_locators),
                    IsEmpty());
        EXPECT_THAT(errors(),
                    ElementsAre("failed to enable: No index available for participant",
                                "failed to enable: the participant gets no index in domain 0: "
                                "udpv4 port " +
                                    std::to_string(taken_port()) + " is taken"));
    }
    log.clear();
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_TRUE(has(participant, {"192.0.2.10"}));
    EXPECT_TRUE(holds_ports(0, AF_INET));
    EXPECT_THAT(errors(), IsEmpty());
}

class FollowingWithEvents : public FollowingTest {
protected:
    FollowingWithEvents() {
        interfaces.allow_events();
    }
};

TEST_F(FollowingWithEvents, WithoutOneTheKernelIsNotAskedAndNothingIsKept) {
    int calls = 0;
    DDS_DomainParticipant *const participant =
        create_follower([&](DDS_DomainParticipant *) { ++calls; });

    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    const int listings = interfaces.listings();
    const std::multiset<std::string> files = open_files();
    const support::Blocks blocks = heap.change();

    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    }
    EXPECT_EQ(interfaces.listings(), listings);
    EXPECT_EQ(open_files(), files);
    EXPECT_EQ(heap.change(), blocks);
    flush_callbacks();
    EXPECT_EQ(calls, 0);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_LOCAL), IsEmpty());
}

class FollowingTogether : public FollowingTest {};

TEST_F(FollowingTogether, TwoParticipantsFollowOneChange) {
    int first_calls = 0;
    int second_calls = 0;
    DDS_DomainParticipant *const first =
        create_follower([&](DDS_DomainParticipant *) { ++first_calls; });
    DDS_DomainParticipant *const second =
        create_follower([&](DDS_DomainParticipant *) { ++second_calls; });
    support::Messages expected = change_of({"192.0.2.10"}, {"198.51.100.2"}, 0);
    const support::Messages expected_of_second = change_of({"192.0.2.10"}, {"198.51.100.2"}, 1);

    expected.insert(expected.end(), expected_of_second.begin(), expected_of_second.end());
    interfaces.set(on_one_interface({"198.51.100.2"}));
    EXPECT_TRUE(renew());
    EXPECT_TRUE(has(first, {"198.51.100.2"}));
    EXPECT_TRUE(has(second, {"198.51.100.2"}));
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(first), 0);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(second), 1);
    flush_callbacks();
    EXPECT_EQ(first_calls, 1);
    EXPECT_EQ(second_calls, 1);
    EXPECT_EQ(list_messages(), expected);
}

TEST_F(FollowingTogether, OneThatIsDeletedIsToldNothing) {
    int calls = 0;

    create_follower();
    EXPECT_EQ(remove(create_follower([&](DDS_DomainParticipant *) { ++calls; })), DDS_RETCODE_OK);
    interfaces.set(on_one_interface({"198.51.100.2"}));
    EXPECT_TRUE(renew());
    flush_callbacks();
    EXPECT_EQ(calls, 0);
}

TEST_F(FollowingTogether, OneThatIsNotEnabledWaitsUntilItIs) {
    switch_autoenable_off();
    DDS_DomainParticipant *const participant = create_follower();

    interfaces.set(on_one_interface({"198.51.100.2"}));
    EXPECT_TRUE(renew());
    EXPECT_THAT(log.messages(), IsEmpty());
    EXPECT_EQ(DDS_DomainParticipant_enable(participant), DDS_RETCODE_OK);
    EXPECT_TRUE(has(participant, {"198.51.100.2"}));
}

/** What a listener tries that it may not, and what comes of it. */
class Trespass {
public:
    Trespass(DDS_DomainParticipantFactory *factory, const DDS_DomainParticipantQos *qos,
             support::LogCapture &log)
        : factory_(factory), qos_(qos), log_(log) {}

    void commit(DDS_DomainParticipant *participant) {
        log_.clear();
        created_ = DDS_DomainParticipantFactory_create_participant(factory_, 0, qos_, nullptr,
                                                                   DDS_STATUS_MASK_NONE);
        count_errors();
        deleted_ = DDS_DomainParticipantFactory_delete_participant(factory_, participant);
        count_errors();
        enabled_ = DDS_DomainParticipant_enable(participant);
        count_errors();
        updated_ = DDS_DomainParticipant_update_locators(participant);
        count_errors();
        set_ = DDS_DomainParticipant_set_qos(participant, qos_);
        count_errors();
    }

    void expect_refused() const {
        EXPECT_EQ(created_, nullptr);
        EXPECT_EQ(deleted_, DDS_RETCODE_ILLEGAL_OPERATION);
        EXPECT_EQ(enabled_, DDS_RETCODE_ILLEGAL_OPERATION);
        EXPECT_EQ(updated_, DDS_RETCODE_ILLEGAL_OPERATION);
        EXPECT_EQ(set_, DDS_RETCODE_ILLEGAL_OPERATION);
        EXPECT_THAT(numbers_of_errors_, ElementsAre(1, 2, 3, 4, 5)); // one each
        EXPECT_THAT(errors_, Each("a participant can be neither created, changed nor deleted "
                                  "within a listener"));
    }

private:
    void count_errors() {
        errors_.clear();
        for (const support::Messages &all : {log_.messages(), log_.messagesOfOtherThreads()}) {
            for (const support::Message &message : all) {
                if (message.level == NUV_LOG_LEVEL_ERROR) {
                    errors_.push_back(message.text);
                }
            }
        }
        numbers_of_errors_.push_back(errors_.size());
    }

    DDS_DomainParticipantFactory *const factory_;
    const DDS_DomainParticipantQos *const qos_;
    support::LogCapture &log_;
    DDS_DomainParticipant *created_ = nullptr;
    DDS_ReturnCode_t deleted_ = DDS_RETCODE_OK;
    DDS_ReturnCode_t enabled_ = DDS_RETCODE_OK;
    DDS_ReturnCode_t updated_ = DDS_RETCODE_OK;
    DDS_ReturnCode_t set_ = DDS_RETCODE_OK;
    Texts errors_;
    std::vector<std::size_t> numbers_of_errors_;
};

class WithinAListener : public FollowingTest {
protected:
    Trespass trespass = {factory, qos.get(), log};
};

TEST_F(WithinAListener, WhichHasAThreadOfItsOwnNothingIsCreatedEnabledOrDeleted) {
    std::thread::id thread;
    DDS_DomainParticipant *const participant = create_follower([&](DDS_DomainParticipant *self) {
        thread = std::this_thread::get_id();
        trespass.commit(self);
    });

    interfaces.set(on_one_interface({"198.51.100.2"}));
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    flush_callbacks();
    EXPECT_NE(thread, std::this_thread::get_id());
    trespass.expect_refused();
    EXPECT_TRUE(has(participant, {"198.51.100.2"}));
}

TEST_F(WithinAListener, OfAnInconsistentTopicNothingIsCreatedEnabledOrDeleted) {
    struct Told {
        Trespass *trespass;
        DDS_DomainParticipant *participant;
    } told = {&trespass, nullptr};
    const DDS_DomainParticipantListener listener = {&told,
                                                    [](void *data, DDS_Topic *) {
                                                        static_cast<Told *>(data)->trespass->commit(
                                                            static_cast<Told *>(data)->participant);
                                                    },
                                                    nullptr, nullptr};

    told.participant = create(&listener, DDS_STATUS_MASK_ALL);
    ASSERT_NE(told.participant, nullptr);
    DDS_Topic *const topic =
        DDS_DomainParticipant_create_topic(told.participant, "square", "shape");

    log.clear();
    EXPECT_EQ(DDS_DomainParticipant_create_topic(told.participant, "square", "form"), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(told.participant, topic), DDS_RETCODE_OK);
    trespass.expect_refused();
}

TEST_F(WithinAListener, ItIsOverWithTheCallback) {
    DDS_DomainParticipant *const participant =
        create_follower([&](DDS_DomainParticipant *self) { trespass.commit(self); });

    interfaces.set(on_one_interface({"198.51.100.2"}));
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    flush_callbacks();
    EXPECT_NE(create_follower(), nullptr);
    EXPECT_EQ(remove(participant), DDS_RETCODE_OK);
}

class FollowingOnSeveralThreads : public FollowingTest {};

TEST_F(FollowingOnSeveralThreads, TellsOfEachChangeOnce) {
    std::atomic<int> calls = 0;
    std::atomic<bool> is_over = false;
    DDS_DomainParticipant *const participant =
        create_follower([&](DDS_DomainParticipant *) { ++calls; });

    {
        std::vector<std::jthread> threads;

        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([&] {
                while (!is_over) {
                    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
                }
            });
        }
        for (int i = 1; i <= 20 && !HasFailure(); ++i) {
            interfaces.set(on_one_interface(i % 2 != 0 ? Texts{"198.51.100.2"} : Texts{}));
            EXPECT_TRUE(renew());
            EXPECT_TRUE(net::eventually([&] { return calls >= i; }));
        }
        is_over = true;
    }
    EXPECT_EQ(calls, 20);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_TRUE(holds_ports(0, AF_INET));
    EXPECT_THAT(errors(), IsEmpty());
}

} // namespace
