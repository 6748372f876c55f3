// SPDX-License-Identifier: Apache-2.0
// What a participant takes from others of whatever maker, and what it answers.
#include "participants.h"

namespace {

using namespace sim;

constexpr RTPSEntityId SEDP_PUBLICATIONS = RTPS_ENTITYID_SEDP_BUILTIN_PUBLICATIONS_ANNOUNCER;

/** A participant at 192.0.2.1, and somebody at 192.0.2.9 whose participant is made of octets. */
class Stranger : public ::testing::Test {
protected:
    Stranger() {
        made.metatraffic = {"192.0.2.9:7410"};
        net.world.run_for(600 * MS); // the first announcements are over
        (void)socket.take_all();
    }

    void say(const std::string &message) {
        say_from(socket, message);
    }
    void say_from(const Udp &from, const std::string &message) {
        EXPECT_EQ(from.send("192.0.2.1:7410", message), 0);
        net.world.run_for(MS);
    }
    bool is_known() {
        return party.knows(made.prefix);
    }
    /** What has arrived at the stranger's port, as kinds. */
    std::vector<std::string> heard() {
        std::vector<std::string> all;
        for (const std::string &message : socket.take_all()) {
            all.push_back(kinds(message));
        }
        return all;
    }
    NUV_UINT64 refused(DISCRefusal reason) {
        return party.statistics().refused[reason];
    }
    NUV_UINT64 unreadable(RTPSRefusal reason) {
        return party.statistics().unreadable[reason];
    }

    Net net;
    Machine machine{net.add("here", {"192.0.2.1/24"})};
    Party party{machine};
    Process &elsewhere = net.add("elsewhere", {"192.0.2.9/24"});
    Udp socket{elsewhere, "0.0.0.0:7410"};
    Made made;
};

TEST_F(Stranger, IsKnownAndAnnouncedTo) {
    say(announcement(made));
    EXPECT_TRUE(is_known());
    EXPECT_EQ(heard(), (std::vector<std::string>{"DST TS DATA"}));
}

TEST_F(Stranger, HasAddressedWhomItSpeaksToByUnicast) {
    say(announcement(made));
    EXPECT_NE(party.see(made.prefix).status.hasAddressed, 0);
}

TEST_F(Stranger, OfOurHostThatSpeaksByUnicastMayNotHearUs) {
    made.metatraffic = {"192.0.2.1:7500"};
    Udp neighbour(machine.process, "0.0.0.0:7500");
    EXPECT_EQ(neighbour.send("127.0.0.1:7410", announcement(made)), 0);
    net.world.run_for(MS);
    EXPECT_EQ(party.see(made.prefix).status.hasAddressed, 0);
}

TEST_F(Stranger, WhoseNameIsUsedElsewhereHasAddressedNobody) {
    EXPECT_EQ(socket.send("239.255.0.1:7400", announcement(made)), 0);
    net.world.run_for(MS);
    Process &forger = net.add("forger", {"192.0.2.13/24"});
    Udp forged(forger, "0.0.0.0:7410");
    made.directed_at = party.prefix();
    EXPECT_EQ(forged.send("192.0.2.1:7410", announcement(made)), 0);
    net.world.run_for(MS);
    EXPECT_EQ(party.see(made.prefix).status.hasAddressed, 0);
}

TEST_F(Stranger, ThatSpeaksToTheGroupHasAddressedNobody) {
    EXPECT_EQ(socket.send("239.255.0.1:7400", announcement(made)), 0);
    net.world.run_for(MS);
    EXPECT_EQ(party.see(made.prefix).status.hasAddressed, 0);
}

TEST_F(Stranger, HasAddressedWhomItNamesToTheGroup) {
    made.directed_at = party.prefix();
    EXPECT_EQ(socket.send("239.255.0.1:7400", announcement(made)), 0);
    net.world.run_for(MS);
    EXPECT_NE(party.see(made.prefix).status.hasAddressed, 0);
}

TEST_F(Stranger, ThatSpokeToTheGroupAndAnswersHasAddressed) {
    EXPECT_EQ(socket.send("239.255.0.1:7400", announcement(made)), 0);
    net.world.run_for(MS);
    say(heartbeat(made, RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER));
    EXPECT_NE(party.see(made.prefix).status.hasAddressed, 0);
}

TEST_F(Stranger, OfAnotherDomainIsKnownToWhoeverAcceptsThatAlone) {
    Settings settings;
    settings.index = 1;
    settings.property.acceptsMismatch = 1;
    Party any(machine, settings);
    made.domain = 7;
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(socket.send("239.255.0.1:7400", announcement(made)), 0);
        net.world.run_for(MS);
        EXPECT_TRUE(any.knows(made.prefix));
        EXPECT_FALSE(is_known());
    }
    EXPECT_EQ(refused(DISC_REFUSED_DOMAIN_ID), 2u);
}

TEST_F(Stranger, OfAnotherDomainOrTagIsKnownToWhomeverAcceptsThat) {
    Settings settings;
    settings.index = 1;
    settings.property.acceptsMismatch = 1;
    Party any(machine, settings);
    made.domain = 7;
    made.tag = "night";
    EXPECT_EQ(socket.send("192.0.2.1:7412", announcement(made)), 0);
    net.world.run_for(MS);
    EXPECT_EQ(any.see(made.prefix).tag, "night");
    EXPECT_FALSE(is_known());
    EXPECT_EQ(socket.send("192.0.2.1:7412", announcement(made)), 0); // and stays so
    net.world.run_for(MS);
    EXPECT_TRUE(any.knows(made.prefix));
    EXPECT_EQ(any.statistics().refused[DISC_REFUSED_DOMAIN_TAG], 0u);
}

TEST_F(Stranger, IsAnnouncedToFourTimesUntilItShowsThatItKnows) {
    say(announcement(made));
    EXPECT_EQ(heard().size(), 1u);
    net.world.run_for(150 * MS);
    EXPECT_EQ(heard().size(), 1u);
    net.world.run_for(250 * MS);
    EXPECT_EQ(heard().size(), 1u);
    net.world.run_for(500 * MS);
    EXPECT_EQ(heard().size(), 1u);
    net.world.run_for(2 * SECOND);
    EXPECT_EQ(heard().size(), 0u);
}

TEST_F(Stranger, IsAnnouncedToNoMoreOnceItHasShownThatItKnows) {
    say(announcement(made));
    made.directed_at = party.prefix();
    say(announcement(made));
    EXPECT_EQ(heard().size(), 1u);
    net.world.run_for(2 * SECOND);
    EXPECT_EQ(heard().size(), 0u);
}

TEST_F(Stranger, ThatComesByADirectedAnnouncementIsAnsweredOnce) {
    made.directed_at = party.prefix();
    say(announcement(made));
    net.world.run_for(2 * SECOND);
    EXPECT_EQ(heard(), (std::vector<std::string>{"DST TS DATA"}));
}

TEST_F(Stranger, MayBeBigEndian) {
    made.order = RTPS_BIG_ENDIAN;
    made.name = "big";
    say(announcement(made));
    EXPECT_EQ(party.see(made.prefix).name, "big");
}

TEST_F(Stranger, MayHaveEightThousandOctetsOfUserData) {
    made.user_data = std::string(8000, 'x');
    say(announcement(made));
    EXPECT_EQ(party.see(made.prefix).user_data, made.user_data);
}

TEST_F(Stranger, NeedNotSayItsDomain) {
    made.domain.reset();
    say(announcement(made));
    EXPECT_TRUE(is_known());
    EXPECT_EQ(party.see(made.prefix).data.hasDomainId, 0);
}

TEST_F(Stranger, OfAnotherDomainIsRefused) {
    made.domain = 5;
    say(announcement(made));
    EXPECT_FALSE(is_known());
    EXPECT_EQ(refused(DISC_REFUSED_DOMAIN_ID), 1u);
}

TEST_F(Stranger, WithAnotherTagIsRefused) {
    made.tag = "night";
    say(announcement(made));
    EXPECT_FALSE(is_known());
    EXPECT_EQ(refused(DISC_REFUSED_DOMAIN_TAG), 1u);
}

TEST_F(Stranger, WithTheSameTagIsKnown) {
    Settings settings;
    settings.index = 1;
    settings.tag = "night";
    Party tagged(machine, settings);
    made.tag = "night";
    EXPECT_EQ(socket.send("192.0.2.1:7412", announcement(made)), 0);
    net.world.run_for(MS);
    EXPECT_TRUE(tagged.knows(made.prefix));
    EXPECT_EQ(tagged.see(made.prefix).tag, "night");
    EXPECT_FALSE(party.knows(tagged));
    EXPECT_FALSE(is_known());
}

TEST_F(Stranger, WithALeaseOfNothingIsRefused) {
    made.lease = {0, 0};
    say(announcement(made));
    EXPECT_FALSE(is_known());
    EXPECT_EQ(unreadable(RTPS_REFUSED_LEASE), 1u);
}

TEST_F(Stranger, WithAnEndlessLeaseStays) {
    made.lease = NUV_NTP_TIME_INFINITE;
    say(announcement(made));
    net.world.run_for(100'000 * SECOND);
    EXPECT_TRUE(is_known());
}

TEST_F(Stranger, ThatSaysItIsSomebodyElseIsRefused) {
    made.guid = {{1, 2, 3}, RTPS_ENTITYID_PARTICIPANT};
    say(announcement(made));
    EXPECT_EQ(party.count(), 0u);
    EXPECT_EQ(unreadable(RTPS_REFUSED_GUID_PREFIX), 1u);
}

TEST_F(Stranger, ThatIsNoParticipantIsRefused) {
    made.guid = {made.prefix, 0x000001C2};
    say(announcement(made));
    EXPECT_EQ(party.count(), 0u);
    EXPECT_EQ(unreadable(RTPS_REFUSED_ENTITY_ID), 1u);
}

TEST_F(Stranger, LeavesByItsKey) {
    say(announcement(made));
    made.sequence = 2;
    say(leaving(made));
    EXPECT_FALSE(is_known());
    EXPECT_EQ(party.news(), (std::vector<std::string>{"came", "left"}));
}

TEST_F(Stranger, LeavesByTheHashOfItsKeyAlone) {
    say(announcement(made));
    made.sequence = 2;
    say(leaving(made, false));
    EXPECT_FALSE(is_known());
}

TEST_F(Stranger, LeavesInEitherByteOrder) {
    made.order = RTPS_BIG_ENDIAN;
    say(announcement(made));
    made.sequence = 2;
    say(leaving(made));
    EXPECT_FALSE(is_known());
}

TEST_F(Stranger, CannotLeaveForSomebodyElse) {
    say(announcement(made));
    Made other = made;
    other.prefix.instanceId = 99;
    other.guid = {made.prefix, RTPS_ENTITYID_PARTICIPANT};
    say(leaving(other));
    EXPECT_TRUE(is_known());
    EXPECT_EQ(unreadable(RTPS_REFUSED_GUID_PREFIX), 1u);
}

TEST_F(Stranger, ThatSaysTheSameAgainRenewsItsLeaseWithoutAnAllocation) {
    made.lease = {2, 0};
    say(announcement(made));
    net.world.run_for(SECOND);
    const std::string again = announcement(made);
    EXPECT_EQ(socket.send("192.0.2.1:7410", again), 0);
    NUVOsapiHeapStatistics before;
    NUVOsapiHeapStatistics after;
    NUVOsapiHeap_getStatistics(&before);
    net.world.run_for(MS);
    NUVOsapiHeap_getStatistics(&after);
    EXPECT_EQ(after.allocations, before.allocations);
    net.world.run_for(1900 * MS);
    EXPECT_TRUE(is_known());
    EXPECT_EQ(party.news(), (std::vector<std::string>{"came"}));
}

TEST_F(Stranger, ThatSaysSomethingNewHasChanged) {
    made.name = "one";
    say(announcement(made));
    made.name = "two";
    made.sequence = 2;
    say(announcement(made));
    EXPECT_EQ(party.see(made.prefix).name, "two");
    // Who has not been told yet that it came is told what it says now.
    EXPECT_EQ(party.news(), (std::vector<std::string>{"came"}));
    made.name = "three";
    made.sequence = 3;
    say(announcement(made));
    EXPECT_EQ(party.news(), (std::vector<std::string>{"changed"}));
}

TEST_F(Stranger, WithANewNumberForTheSameHasNotChanged) {
    say(announcement(made));
    (void)party.news();
    made.sequence = 2;
    say(announcement(made));
    EXPECT_EQ(party.news(), std::vector<std::string>());
}

TEST_F(Stranger, WithALowerNumberAndNoNewerTimeIsStale) {
    made.sequence = 5;
    made.name = "five";
    say(announcement(made));
    made.sequence = 4;
    made.name = "four";
    say(announcement(made));
    EXPECT_EQ(party.see(made.prefix).name, "five");
    EXPECT_EQ(refused(DISC_REFUSED_STALE), 1u);
}

TEST_F(Stranger, WithALowerNumberAndANewerTimeHasBeenRestarted) {
    made.sequence = 5;
    made.name = "five";
    say(announcement(made));
    made.sequence = 1;
    made.name = "again";
    made.timestamp.seconds += 1;
    say(announcement(made));
    EXPECT_EQ(party.see(made.prefix).name, "again");
}

TEST_F(Stranger, WithALowerNumberAndNoTimeIsStale) {
    made.sequence = 5;
    made.name = "five";
    const std::vector<RTPSTime> times = {RTPS_TIME_INVALID, made.timestamp};
    for (const RTPSTime &before : times) {
        for (const RTPSTime &after : times) {
            if (RTPSTime_isValid(&before) != 0 && RTPSTime_isValid(&after) != 0) {
                continue;
            }
            Made one = made;
            ++made.prefix.instanceId;
            one.timestamp = before;
            say(announcement(one));
            one.sequence = 1;
            one.name = "again";
            one.timestamp = after;
            one.timestamp.seconds += RTPSTime_isValid(&after) != 0 ? 1 : 0;
            say(announcement(one));
            EXPECT_EQ(party.see(one.prefix).name, "five");
        }
    }
    EXPECT_EQ(refused(DISC_REFUSED_STALE), 3u);
}

TEST_F(Stranger, MayLeaveWithTheNumberOfItsLastAnnouncement) {
    say(announcement(made));
    say(leaving(made));
    EXPECT_FALSE(is_known());
    EXPECT_EQ(party.news(), (std::vector<std::string>{"came", "left"}));
}

TEST_F(Stranger, IsNotEndedByALeavingOfItsFormerLife) {
    say(announcement(made));
    made.timestamp.seconds -= 1;
    say(leaving(made));
    EXPECT_TRUE(is_known());
    EXPECT_EQ(refused(DISC_REFUSED_STALE), 1u);
}

TEST_F(Stranger, IsNotBackByWhatItsLeavingOfTheSameNumberHasOvertaken) {
    say(announcement(made));
    say(leaving(made));
    say(announcement(made));
    EXPECT_FALSE(is_known());
    EXPECT_EQ(refused(DISC_REFUSED_STALE), 1u);
    made.timestamp.seconds += 1;
    say(announcement(made));
    EXPECT_TRUE(is_known());
}

TEST_F(Stranger, IsNotBackByWhatItsLeavingHasOvertaken) {
    say(announcement(made));
    Made end = made;
    end.sequence = 2;
    say(leaving(end));
    say(announcement(made));
    EXPECT_FALSE(is_known());
    EXPECT_EQ(refused(DISC_REFUSED_STALE), 1u);
}

TEST_F(Stranger, IsBackByWhatItSaysAfterItsLeaving) {
    say(announcement(made));
    made.sequence = 2;
    say(leaving(made));
    made.sequence = 3;
    say(announcement(made));
    EXPECT_TRUE(is_known());
}

TEST_F(Stranger, RenewsItsLeaseByAnythingThatItSays) {
    made.lease = {1, 0};
    say(announcement(made));
    for (int i = 0; i < 5; ++i) {
        net.world.run_for(700 * MS);
        say(heartbeat(made, 0x00000103));
    }
    EXPECT_TRUE(is_known());
    net.world.run_for(1100 * MS);
    EXPECT_FALSE(is_known());
}

TEST_F(Stranger, ThatFallsSilentIsAskedThreeTimesBeforeItsLeaseEnds) {
    made.lease = {9, 0};
    say(announcement(made));
    net.world.run_for(8 * SECOND);
    (void)heard();
    net.world.run_for(999 * MS);
    EXPECT_EQ(heard(), (std::vector<std::string>(3, "DST ACKNACK")));
    EXPECT_TRUE(is_known());
    net.world.run_for(MS);
    EXPECT_FALSE(is_known());
}

TEST_F(Stranger, ThatFallsSilentIsNotAskedAllAtOnceByALateTurn) {
    made.lease = {9, 0};
    say(announcement(made));
    net.world.run_for(8 * SECOND);
    (void)heard();
    machine.process.stop();
    net.world.run_for(750 * MS);
    machine.process.resume();
    net.world.run_for(100 * MS);
    EXPECT_EQ(heard(), std::vector<std::string>{"DST ACKNACK"});
}

TEST_F(Stranger, ThatFallsSilentIsAskedByATurnThatIsLateForItsWholeEnd) {
    made.lease = {3, 0};
    say(announcement(made));
    net.world.run_for(2600 * MS);
    (void)heard();
    machine.process.stop();
    net.world.run_for(600 * MS);
    machine.process.resume();
    net.world.run_for(10 * MS);
    EXPECT_EQ(heard(), std::vector<std::string>{"DST ACKNACK"});
    EXPECT_TRUE(is_known());
    net.world.run_for(50 * MS);
    EXPECT_FALSE(is_known());
}

TEST_F(Stranger, ThatIsAskedByALateTurnHasTimeToAnswer) {
    made.lease = {9, 0};
    say(announcement(made));
    net.world.run_for(8 * SECOND);
    machine.process.stop();
    net.world.run_for(990 * MS);
    machine.process.resume();
    net.world.run_for(40 * MS);
    EXPECT_TRUE(is_known());
    net.world.run_for(20 * MS);
    EXPECT_FALSE(is_known());
}

TEST_F(Stranger, ThatAnswersIsNotAskedAgainBeforeItsNewLeaseEnds) {
    made.lease = {9, 0};
    say(announcement(made));
    net.world.run_for(8 * SECOND + 200 * MS);
    (void)heard();
    say(heartbeat(made, RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER));
    net.world.run_for(8 * SECOND);
    EXPECT_EQ(heard(), std::vector<std::string>());
    net.world.run_for(999 * MS);
    EXPECT_EQ(heard(), (std::vector<std::string>(3, "DST ACKNACK")));
}

TEST_F(Stranger, RenewsItsLeaseByWhatIsForOthers) {
    made.lease = {1, 0};
    say(announcement(made));
    net.world.run_for(700 * MS);
    Made to_other = made;
    to_other.directed_at = {7, 7, 7};
    say(heartbeat(to_other, 0x00000103));
    net.world.run_for(700 * MS);
    EXPECT_TRUE(is_known());
}

TEST_F(Stranger, RenewsNothingByAMessageThatIsInvalid) {
    made.lease = {1, 0};
    say(announcement(made));
    net.world.run_for(700 * MS);
    std::string broken = heartbeat(made, 0x00000103);
    broken.resize(broken.size() - 1);
    say(broken);
    net.world.run_for(700 * MS);
    EXPECT_FALSE(is_known());
}

TEST_F(Stranger, OfThisHostMaySpeakByLoopback) {
    Process &here = machine.process.host().add_process("neighbour");
    const Udp loopback(here, "127.0.0.1:9000");
    made.metatraffic = {"192.0.2.1:7500"};
    made.lease = {1, 0};
    say(announcement(made));
    net.world.run_for(700 * MS);
    EXPECT_EQ(loopback.send("127.0.0.1:7410", announcement(made)), 0);
    net.world.run_for(700 * MS);
    EXPECT_TRUE(is_known());
}

TEST_F(Stranger, RenewsNothingFromSomewhereElse) {
    made.lease = {1, 0};
    say(announcement(made));
    net.world.run_for(700 * MS);
    const Udp other(net.add("other", {"192.0.2.10/24"}), "0.0.0.0:7410");
    say_from(other, heartbeat(made, 0x00000103));
    say_from(other, announcement(made));
    net.world.run_for(350 * MS);
    EXPECT_FALSE(is_known());
}

TEST_F(Stranger, ThatAsksAWriterThatThereIsNotIsAnsweredOnceASecond) {
    const Udp port(elsewhere, "0.0.0.0:9999");
    say(announcement(made));
    net.world.run_for(SECOND);
    (void)heard();
    for (int i = 0; i < 40; ++i) { // 2.8 s
        say_from(port, acknack(made, SEDP_PUBLICATIONS));
        net.world.run_for(69 * MS);
    }
    EXPECT_EQ(heard(), (std::vector<std::string>(3, "DST HEARTBEAT")));
    EXPECT_EQ(port.take_all(), std::vector<std::string>());
    EXPECT_EQ(party.statistics().heartbeatsSent, 3u);
}

TEST_F(Stranger, ThatIsNotKnownIsNotAnswered) {
    say(acknack(made, SEDP_PUBLICATIONS));
    EXPECT_EQ(heard(), std::vector<std::string>());
}

TEST_F(Stranger, ThatIsIgnoredIsNotKnownAgain) {
    say(announcement(made));
    EXPECT_TRUE(party.ignore(made.prefix));
    EXPECT_FALSE(is_known());
    EXPECT_EQ(party.news(), (std::vector<std::string>{"came", "lost"}));
    say(announcement(made));
    made.sequence = 2;
    say(announcement(made));
    EXPECT_FALSE(is_known());
    EXPECT_EQ(refused(DISC_REFUSED_IGNORED), 2u);
}

TEST_F(Stranger, ThatSpeaksInOurOwnNameIsCounted) {
    Settings settings;
    settings.index = 1;
    Party other(machine, settings);
    made.prefix = other.prefix();
    net.world.run_for(SECOND);
    const NUV_UINT64 before = refused(DISC_REFUSED_ECHO);
    say(announcement(made));
    EXPECT_TRUE(party.knows(other));
    EXPECT_EQ(party.see(other.prefix()).status.isLocal, 1);
    EXPECT_EQ(refused(DISC_REFUSED_ECHO), before + 1);
}

TEST_F(Stranger, OfOneOctetIsNothing) {
    say("x");
    EXPECT_EQ(party.count(), 0u);
    EXPECT_EQ(party.statistics().announcementsReceived, 0u);
}

TEST_F(Stranger, OnlyListenedToHearsNothing) {
    Settings settings;
    settings.index = 1;
    settings.property.announces = 0;
    Party listener(machine, settings);
    EXPECT_EQ(socket.send("192.0.2.1:7412", announcement(made)), 0);
    net.world.run_for(10 * SECOND);
    EXPECT_TRUE(listener.knows(made.prefix));
    EXPECT_EQ(listener.statistics().announcementsSent, 0u);
    EXPECT_TRUE(listener.knows(party));
    EXPECT_FALSE(party.knows(listener));
}

TEST_F(Stranger, ThatHasBeenRestartedIsAnnouncedToAtOnce) {
    made.sequence = 5;
    say(announcement(made));
    net.world.run_for(2 * SECOND);
    (void)heard();
    made.sequence = 1;
    made.name = "again";
    made.timestamp.seconds += 1;
    say(announcement(made));
    EXPECT_EQ(heard(), (std::vector<std::string>{"DST TS DATA"}));
}

TEST_F(Stranger, ThatIsRestartedAgainAndAgainIsAnnouncedToOnceInASecond) {
    made.sequence = 100;
    say(announcement(made));
    net.world.run_for(2 * SECOND);
    (void)heard();
    for (int i = 0; i < 20; ++i) {
        --made.sequence;
        made.name = "life " + std::to_string(i);
        made.timestamp.seconds += 1;
        say(announcement(made));
        net.world.run_for(SECOND / 100);
    }
    EXPECT_EQ(heard(), (std::vector<std::string>{"DST TS DATA"}));
    net.world.run_for(SECOND);
    EXPECT_NE(heard(), std::vector<std::string>());
}

TEST_F(Stranger, ThatHasBeenRestartedWithTheSameNumberIsRead) {
    made.name = "one";
    say(announcement(made));
    made.name = "two";
    made.timestamp.seconds += 1;
    say(announcement(made));
    EXPECT_EQ(party.see(made.prefix).name, "two");
}

TEST_F(Stranger, MayGiveTheTimeOfEachRepetition) {
    say(announcement(made));
    (void)party.news();
    made.timestamp.seconds += 1;
    say(announcement(made));
    EXPECT_EQ(party.news(), std::vector<std::string>());
}

TEST_F(Stranger, WhoseUnicastLocatorIsAGroupIsSentNothing) {
    Settings settings;
    settings.index = 1;
    const Udp group(elsewhere, "239.255.0.1:7400");
    EXPECT_EQ(group.join(2), 0);
    made.metatraffic = {"239.255.0.1:7400", "0.0.0.0:7400"};
    say(announcement(made));
    EXPECT_TRUE(is_known());
    net.world.run_for(2 * SECOND);
    EXPECT_EQ(group.take_all(), std::vector<std::string>());
}

TEST_F(Stranger, ThatGoesOnWithoutHavingHeardOfUsIsAnnouncedToForEachOfItsOwn) {
    say(announcement(made));
    net.world.run_for(2 * SECOND);
    EXPECT_EQ(heard().size(), 4u); // all of them were lost, as it were
    for (int i = 0; i < 3; ++i) {
        net.world.run_for(4 * SECOND);
        say(announcement(made));
        EXPECT_EQ(heard(), (std::vector<std::string>{"DST TS DATA"}));
    }
}

TEST_F(Stranger, MayShareItsPlacesWithOthersOfItsProcess) {
    say(announcement(made));
    made.prefix.instanceId += 1;
    say(announcement(made));
    net.world.run_for(SECOND);
    EXPECT_EQ(party.count(), 2u);
}

} // namespace
