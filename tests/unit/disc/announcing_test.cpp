// SPDX-License-Identifier: Apache-2.0
// When a participant announces itself, where and as what.
#include "participants.h"

namespace {

using namespace sim;

/** Somebody who hears the group. */
class Announcing : public ::testing::Test {
protected:
    Announcing() {
        EXPECT_EQ(group.join(2), 0);
    }
    /** How many announcements the group has heard since the last call. */
    std::size_t heard() {
        return group.take_all().size();
    }
    static RTPSSequenceNumber sequence_of(const std::string &message) {
        RTPSMessageReader reader;
        RTPSHeader header;
        RTPSSubmessage submessage;
        RTPSData data{};
        RTPSMessageReader_initialize(
            &reader, {reinterpret_cast<const NUV_UINT8 *>(message.data()), message.size()},
            &header);
        while (RTPSMessageReader_next(&reader, &submessage) != 0) {
            if (submessage.kind == RTPS_SUBMESSAGE_DATA) {
                EXPECT_EQ(RTPSData_read(&submessage, &data), RTPS_ACCEPTED);
            }
        }
        return data.writerSN;
    }

    Net net;
    Machine machine{net.add("here", {"192.0.2.1/24"})};
    Process &elsewhere = net.add("elsewhere", {"192.0.2.9/24"});
    Udp group{elsewhere, "239.255.0.1:7400"};
};

TEST_F(Announcing, BeginsAtOnceAndIsRepeatedFiveTimes) {
    Party party(machine);
    net.world.run_for(MS);
    EXPECT_EQ(heard(), 1u);
    net.world.run_for(500 * MS);
    EXPECT_EQ(heard(), 5u);
    net.world.run_for(3 * SECOND);
    EXPECT_EQ(heard(), 0u);
}

TEST_F(Announcing, GoesOnByThePeriodWhichIsShortenedByATenthAtTheMost) {
    Party party(machine);
    net.world.run_for(SECOND);
    (void)heard();
    net.world.run_for(360 * SECOND);
    const std::size_t count = heard();
    EXPECT_GE(count, 90u);
    EXPECT_LE(count, 101u);
    EXPECT_NE(count, 90u); // there is a jitter
}

TEST_F(Announcing, IsAsTheSettingsSay) {
    Settings settings;
    settings.property.initialAnnouncements = 1;
    settings.property.initialAnnouncementPeriod = {1, 0};
    settings.property.announcementPeriod = {2, 0};
    Party party(machine, settings);
    net.world.run_for(900 * MS);
    EXPECT_EQ(heard(), 1u);
    net.world.run_for(200 * MS);
    EXPECT_EQ(heard(), 1u);
    net.world.run_for(1600 * MS);
    EXPECT_EQ(heard(), 0u);
    net.world.run_for(500 * MS);
    EXPECT_EQ(heard(), 1u);
}

TEST_F(Announcing, OfAChangeIsRepeatedTwice) {
    Party party(machine);
    net.world.run_for(SECOND);
    (void)heard();
    party.set_user_data("new");
    net.world.run_for(MS);
    EXPECT_EQ(heard(), 1u);
    net.world.run_for(100 * MS);
    EXPECT_EQ(heard(), 1u);
    net.world.run_for(200 * MS);
    EXPECT_EQ(heard(), 1u);
    net.world.run_for(SECOND);
    EXPECT_EQ(heard(), 0u);
}

TEST_F(Announcing, OfABurstOfChangesTakesTwo) {
    Party party(machine);
    net.world.run_for(SECOND);
    (void)heard();
    party.set_user_data("first");
    net.world.run_for(MS);
    for (int i = 0; i < 10; ++i) {
        party.set_user_data(std::to_string(i));
        net.world.run_for(MS);
    }
    net.world.run_for(20 * MS);
    EXPECT_EQ(heard(), 2u);
}

TEST_F(Announcing, TakesANewNumberForAChangeOnly) {
    Party party(machine);
    net.world.run_for(2 * MS);
    party.set_user_data("");
    net.world.run_for(5 * SECOND);
    for (const std::string &message : group.take_all()) {
        EXPECT_EQ(sequence_of(message), 1);
    }
    party.set_user_data("new");
    net.world.run_for(MS);
    EXPECT_EQ(sequence_of(group.take_all().at(0)), 2);
    party.leave();
    net.world.run_for(MS);
    const std::vector<std::string> last = group.take_all();
    ASSERT_EQ(last.size(), 1u);
    EXPECT_EQ(kinds(last[0]), "TS LEAVING");
    EXPECT_EQ(sequence_of(last[0]), 3);
}

TEST_F(Announcing, AssertingLivelinessIsDoneAtOnce) {
    Party party(machine);
    net.world.run_for(SECOND);
    (void)heard();
    party.call([&] { DISCParticipant_assertLiveliness(party.discovery, machine.worker); });
    net.world.run_for(MS);
    EXPECT_EQ(heard(), 1u);
}

TEST_F(Announcing, ANewLeaseIsAnnounced) {
    Party party(machine);
    Machine other_machine(net.add("other", {"192.0.2.2/24"}));
    Party other(other_machine);
    net.world.run_for(SECOND);
    EXPECT_EQ(other.news(), (std::vector<std::string>{"came"}));
    const NUVNtpTime lease = {40, 0};
    const NUVNtpTime period = {4, 0};
    party.call([&] { DISCParticipant_setLease(party.discovery, &lease, &period, machine.worker); });
    net.world.run_for(MS);
    EXPECT_EQ(other.see(party.prefix()).data.leaseDuration.sec, 40);
    EXPECT_EQ(other.news(), (std::vector<std::string>{"changed"}));
}

TEST_F(Announcing, ThePeriodStaysWithinAQuarterOfTheShortestLease) {
    Settings settings;
    settings.property.leaseDuration = {2, 0};
    settings.property.announcementPeriod = {0, 0x80000000u};
    Party party(machine, settings);
    net.world.run_for(SECOND);
    const NUVNtpTime lease = {100, 0};
    const NUVNtpTime period = {25, 0};
    party.call([&] { DISCParticipant_setLease(party.discovery, &lease, &period, machine.worker); });
    net.world.run_for(SECOND);
    (void)heard();
    net.world.run_for(10 * SECOND);
    EXPECT_GE(heard(), 20u);
}

TEST_F(Announcing, OfOneThatOnlyListensDoesNotBeginWithANewLease) {
    Settings settings;
    settings.property.announces = 0;
    Party party(machine, settings);
    const NUVNtpTime lease = {8, 0};
    const NUVNtpTime period = {1, 0};
    party.call([&] { DISCParticipant_setLease(party.discovery, &lease, &period, machine.worker); });
    party.set_user_data("new");
    net.world.run_for(60 * SECOND);
    EXPECT_EQ(heard(), 0u);
}

TEST_F(Announcing, NamesOnlyPlacesThatItReceivesAt) {
    Party party(machine);
    Machine other_machine(net.add("other", {"192.0.2.2/24"}));
    Party other(other_machine);
    net.world.run_for(SECOND);
    party.settings.index = 3; // whose ports nobody has reserved
    party.set_user_data("new");
    net.world.run_for(MS);
    EXPECT_EQ(other.see(party.prefix()).metatraffic, std::vector<std::string>());
}

TEST_F(Announcing, ComesFromItsOwnPort) {
    Party party(machine);
    net.world.run_for(MS);
    EXPECT_EQ(group.take()->source, "192.0.2.1:7410");
}

TEST_F(Announcing, APeerWithoutAPortIsLookedForAtTheFirstIndices) {
    std::vector<std::unique_ptr<Udp>> ports;
    for (int port = 7410; port <= 7420; ++port) {
        ports.push_back(std::make_unique<Udp>(elsewhere, "0.0.0.0:" + std::to_string(port)));
    }
    Settings settings;
    settings.peers = {"192.0.2.9"};
    Party party(machine, settings);
    net.world.run_for(MS);
    std::string reached;
    for (const std::unique_ptr<Udp> &port : ports) {
        reached += port->take_all().empty() ? "-" : "x";
    }
    EXPECT_EQ(reached, "x-x-x-x-x--");
}

TEST_F(Announcing, APeerWithAPortIsLookedForThere) {
    const Udp port(elsewhere, "0.0.0.0:9000");
    Settings settings;
    settings.peers = {"192.0.2.9:9000"};
    Party party(machine, settings);
    net.world.run_for(MS);
    EXPECT_EQ(port.take_all().size(), 1u);
    EXPECT_EQ(heard(), 0u);
}

TEST_F(Announcing, WaitsForNobodyLongerThanAsked) {
    Party party(machine);
    const NUVNtpTime timeout = {1, 0};
    const Time before = net.world.now();
    EXPECT_EQ(party.call([&] {
        return DISCParticipant_waitForRemotes(party.discovery, 1, &timeout, machine.worker);
    }),
              0);
    EXPECT_GE(net.world.now() - before, SECOND);
    EXPECT_LE(net.world.now() - before, SECOND + 2 * MS);
}

TEST_F(Announcing, WaitsUntilThereAreAsMany) {
    Party party(machine);
    Machine other_machine(net.add("other", {"192.0.2.2/24"}));
    Party other(other_machine);
    const NUVNtpTime timeout = {10, 0};
    const Time before = net.world.now();
    EXPECT_NE(party.call([&] {
        return DISCParticipant_waitForRemotes(party.discovery, 1, &timeout, machine.worker);
    }),
              0);
    EXPECT_LE(net.world.now() - before, 5 * MS);
}

TEST_F(Announcing, OfThoseInTheProcessIsNotSentToIt) {
    Settings settings;
    Party first(machine, settings);
    settings.index = 1;
    Party second(machine, settings);
    net.world.run_for(50 * MS);
    // To the group, and on this host to the indices 2, 3 and 4.
    EXPECT_EQ(first.statistics().announcementsSent, 4u);
    EXPECT_EQ(second.statistics().announcementsSent, 4u);
}

TEST_F(Announcing, FromWhereNobodyKnowsItBeginsWithItsLeaving) {
    Party party(machine);
    net.world.run_for(SECOND);
    (void)heard();
    eth0(machine.process).set_addresses({"192.0.2.3/24"});
    party.set_addresses({"192.0.2.3"});
    net.world.run_for(MS);
    const std::vector<std::string> messages = group.take_all();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(kinds(messages[0]), "TS LEAVING");
    EXPECT_EQ(sequence_of(messages[0]), 2);
    EXPECT_EQ(kinds(messages[1]), "TS DATA");
    EXPECT_EQ(sequence_of(messages[1]), 3);
}

TEST_F(Announcing, WithOneAddressMoreBeginsWithoutALeaving) {
    Party party(machine);
    net.world.run_for(SECOND);
    (void)heard();
    eth0(machine.process).set_addresses({"192.0.2.1/24", "192.0.2.3/24"});
    party.set_addresses({"192.0.2.1", "192.0.2.3"});
    net.world.run_for(MS);
    const std::vector<std::string> messages = group.take_all();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(kinds(messages[0]), "TS DATA");
}

TEST_F(Announcing, OfAChangeGoesToAllThatAreKnown) {
    Party party(machine);
    Machine other_machine(net.add("other", {"192.0.2.2/24"}));
    Party other(other_machine);
    net.world.run_for(SECOND);
    net.lan.set({Multicast::NONE});
    party.set_user_data("new");
    net.world.run_for(MS);
    EXPECT_EQ(other.see(party.prefix()).user_data, "new");
}

TEST_F(Announcing, OfALeavingGoesToAllThatAreKnown) {
    Party party(machine);
    Machine other_machine(net.add("other", {"192.0.2.2/24"}));
    Party other(other_machine);
    net.world.run_for(SECOND);
    net.lan.set({Multicast::NONE});
    party.leave();
    net.world.run_for(MS);
    EXPECT_EQ(other.count(), 0u);
}

TEST_F(Announcing, OfALeavingIsNotSentToItself) {
    Party party(machine);
    net.world.run_for(SECOND);
    const NUV_UINT64 before = net.world.trace().count(Event::SENT);
    party.leave();
    // To the group, and on this host to the indices 1 to 4.
    EXPECT_EQ(net.world.trace().count(Event::SENT) - before, 5u);
}

TEST_F(Announcing, WithoutAnAddressSendsNothing) {
    Settings settings;
    settings.peers = {"239.255.0.1", "192.0.2.9"};
    Party party(machine, settings);
    net.world.run_for(SECOND);
    (void)heard();
    eth0(machine.process).set_addresses({});
    party.has_addresses = false;
    party.set_user_data("alone");
    const NUV_UINT64 before = party.statistics().announcementsSent;
    net.world.run_for(60 * SECOND);
    EXPECT_EQ(party.statistics().announcementsSent, before);
    party.leave();
    EXPECT_EQ(heard(), 0u);
    EXPECT_EQ(machine.process.descriptors(), 0u); // no socket was opened to send from
}

} // namespace
