// SPDX-License-Identifier: Apache-2.0
// What others cannot do to a participant, and through it to somebody else.
#include "participants.h"

namespace {

using namespace sim;

class Withstanding : public ::testing::Test {
protected:
    Process &add(int host) {
        return net.add("host" + std::to_string(host), {"192.0.2." + std::to_string(host) + "/24"});
    }
    void say_from(const Udp &from, const std::string &message) {
        EXPECT_EQ(from.send("192.0.2.1:7410", message), 0);
        net.world.run_for(MS);
    }
    static Made made_at(int host, NUV_UINT32 number = 1) {
        Made made;
        made.prefix = {0xAABB0000u + static_cast<NUV_UINT32>(host), number, 3};
        made.metatraffic = {"192.0.2." + std::to_string(host) + ":7410"};
        return made;
    }

    Net net;
    Machine machine{add(1)};
};

TEST_F(Withstanding, AForgedLeavingOfOneThatLives) {
    Party party(machine);
    Machine other_machine(add(2));
    Party other(other_machine);
    net.world.run_for(2 * SECOND);
    ASSERT_TRUE(party.knows(other));
    (void)party.news();

    const Udp forger(add(9));
    Made forged;
    forged.prefix = other.prefix();
    forged.sequence = 1000;
    say_from(forger, leaving(forged));
    net.world.run_for(SECOND);
    EXPECT_TRUE(party.knows(other));
    EXPECT_EQ(party.news(), std::vector<std::string>());
    EXPECT_EQ(party.statistics().refused[DISC_REFUSED_FORGED], 1u);
    // It is heard as ever.
    other.set_user_data("still here");
    net.world.run_for(10 * MS);
    EXPECT_EQ(party.see(other.prefix()).user_data, "still here");
}

TEST_F(Withstanding, AForgedAnnouncementOfOneThatLives) {
    Party party(machine);
    Machine other_machine(add(2));
    Settings settings;
    settings.name = "true";
    Party other(other_machine, settings);
    net.world.run_for(2 * SECOND);
    const Udp forger(add(9));
    Made forged = made_at(9);
    forged.prefix = other.prefix();
    forged.sequence = 1000;
    forged.name = "false";
    say_from(forger, announcement(forged));
    net.world.run_for(SECOND);
    EXPECT_EQ(party.see(other.prefix()).name, "true");
    EXPECT_EQ(party.statistics().refused[DISC_REFUSED_FORGED], 1u);
}

TEST_F(Withstanding, ALeavingFromElsewhereOfOneThatDoesNotAnswerHoldsAfterAMoment) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    Made made = made_at(2);
    say_from(home, announcement(made));
    made.sequence = 2;
    say_from(Udp(add(9)), leaving(made));
    net.world.run_for(40 * MS);
    EXPECT_TRUE(party.knows(made.prefix));
    net.world.run_for(20 * MS);
    EXPECT_FALSE(party.knows(made.prefix));
    EXPECT_EQ(party.statistics().left, 1u);
}

TEST_F(Withstanding, OneThatMovesIsKnownWhereItIsNow) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    Made made = made_at(2);
    say_from(home, announcement(made));
    const Udp elsewhere(add(3), "0.0.0.0:7410");
    made.sequence = 2;
    say_from(elsewhere, leaving(made));
    made.sequence = 3;
    made.metatraffic = {"192.0.2.3:7410"};
    say_from(elsewhere, announcement(made));
    net.world.run_for(60 * MS);
    EXPECT_EQ(party.see(made.prefix).metatraffic,
              (std::vector<std::string>{"udpv4://192.0.2.3:7410"}));
    EXPECT_EQ(party.statistics().left, 0u);
}

TEST_F(Withstanding, OneThatIsRestartedElsewhereIsAnnouncedToThere) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    const Udp elsewhere(add(3), "0.0.0.0:7410");
    Made made = made_at(2);
    made.sequence = 5;
    made.directed_at = party.prefix();
    say_from(home, announcement(made));
    net.world.run_for(2 * SECOND);
    made.sequence = 1;
    made.timestamp.seconds += 1;
    made.metatraffic = {"192.0.2.3:7410"};
    made.directed_at.reset();
    say_from(elsewhere, announcement(made));
    net.world.run_for(60 * MS); // the claim is accepted
    std::vector<std::string> heard;
    for (const std::string &message : elsewhere.take_all()) {
        heard.push_back(kinds(message));
    }
    EXPECT_EQ(heard, (std::vector<std::string>{"DST TS DATA"}));
}

TEST_F(Withstanding, TheEndOfALeaseOfOneWithManyPorts) {
    Party party(machine);
    Process &process = add(2);
    Made made = made_at(2);
    made.lease = {1, 0};
    made.metatraffic.clear();
    std::vector<std::unique_ptr<Udp>> ports;
    for (int port = 8000; port < 8016; ++port) {
        made.metatraffic.push_back("192.0.2.2:" + std::to_string(port));
        ports.push_back(std::make_unique<Udp>(process, "0.0.0.0:" + std::to_string(port)));
    }
    say_from(*ports[0], announcement(made));
    net.world.run_for(2 * SECOND);
    std::size_t questions = 0;
    for (const auto &port : ports) {
        for (const std::string &message : port->take_all()) {
            questions += kinds(message) == "DST ACKNACK" ? 1 : 0;
        }
    }
    EXPECT_EQ(questions, 3u);
}

TEST_F(Withstanding, AFormerSelfOnTheSamePortsIsGoneWhenItIsSilent) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    const Made before = made_at(2, 1);
    const Made after = made_at(2, 2);
    say_from(home, announcement(before));
    net.world.run_for(SECOND);
    say_from(home, announcement(after));
    EXPECT_TRUE(party.knows(before.prefix));
    net.world.run_for(210 * MS);
    EXPECT_FALSE(party.knows(before.prefix));
    EXPECT_TRUE(party.knows(after.prefix));
    EXPECT_EQ(party.statistics().lost, 1u);
}

TEST_F(Withstanding, AFormerSelfIsGoneThoughWhatItSaidIsReadLater) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    const Made before = made_at(2, 1);
    say_from(home, announcement(before));
    net.world.run_for(SECOND);
    say_from(home, announcement(made_at(2, 2)));
    say_from(home, announcement(before));
    net.world.run_for(210 * MS);
    EXPECT_FALSE(party.knows(before.prefix));
}

TEST_F(Withstanding, OneThatAnswersKeepsItsPlaceBesideAnotherThatSaysItHasIt) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    const Made before = made_at(2, 1);
    const Made after = made_at(2, 2);
    say_from(home, announcement(before));
    net.world.run_for(SECOND);
    say_from(home, announcement(after));
    net.world.run_for(20 * MS); // until it is asked
    say_from(home, heartbeat(before, RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER));
    net.world.run_for(SECOND);
    EXPECT_TRUE(party.knows(before.prefix));
    EXPECT_TRUE(party.knows(after.prefix));
}

TEST_F(Withstanding, OneWithOneAddressMoreIsNotReplacedByOneWithLess) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    Made both = made_at(2, 1);
    both.metatraffic.emplace_back("198.51.100.2:7410");
    say_from(home, announcement(both));
    say_from(home, announcement(made_at(2, 2)));
    net.world.run_for(SECOND);
    EXPECT_EQ(party.count(), 2u);
}

TEST_F(Withstanding, OneAddressHasAQuarterOfTheRoom) {
    Settings settings;
    settings.property.remoteParticipantsMax = 8;
    Party party(machine, settings);
    const Udp one(add(2));
    for (NUV_UINT32 i = 0; i < 5; ++i) {
        say_from(one, announcement(made_at(2, i)));
    }
    EXPECT_EQ(party.count(), 2u);
    EXPECT_EQ(party.statistics().refused[DISC_REFUSED_FULL], 3u);
    say_from(Udp(add(3)), announcement(made_at(3)));
    EXPECT_EQ(party.count(), 3u);
}

TEST_F(Withstanding, AStrangerHeardTwiceHasThePlaceOfOneHeardOnce) {
    Settings settings;
    settings.property.remoteParticipantsMax = 2;
    Party party(machine, settings);
    const Udp second(add(2));
    const Udp third(add(3));
    const Udp fourth(add(4));
    say_from(second, announcement(made_at(2)));
    say_from(second, announcement(made_at(2)));
    say_from(third, announcement(made_at(3)));
    say_from(fourth, announcement(made_at(4)));
    EXPECT_TRUE(party.knows(made_at(3).prefix));
    EXPECT_FALSE(party.knows(made_at(4).prefix));
    say_from(fourth, announcement(made_at(4)));
    EXPECT_TRUE(party.knows(made_at(2).prefix));
    EXPECT_FALSE(party.knows(made_at(3).prefix));
    EXPECT_TRUE(party.knows(made_at(4).prefix));
}

TEST_F(Withstanding, ThoseHeardTwiceKeepTheirPlaces) {
    Settings settings;
    settings.property.remoteParticipantsMax = 1;
    Party party(machine, settings);
    const Udp second(add(2));
    const Udp third(add(3));
    for (int i = 0; i < 2; ++i) {
        say_from(second, announcement(made_at(2)));
    }
    for (int i = 0; i < 5; ++i) {
        say_from(third, announcement(made_at(3)));
    }
    EXPECT_TRUE(party.knows(made_at(2).prefix));
    EXPECT_EQ(party.count(), 1u);
}

TEST_F(Withstanding, AVictimsAddressInForgedLocators) {
    Party party(machine);
    Settings settings;
    settings.index = 1;
    Party second(machine, settings);
    const Udp victim(add(77), "0.0.0.0:7410");
    const Udp forger(add(9));
    net.world.run_for(SECOND);
    (void)victim.take_all();
    for (NUV_UINT32 i = 0; i < 200; ++i) { // in 0.4 s
        Made made = made_at(77, i);
        EXPECT_EQ(forger.send("192.0.2.1:7412", announcement(made)), 0);
        say_from(forger, announcement(made));
        net.world.run_for(MS);
    }
    const std::size_t sent = victim.take_all().size();
    EXPECT_GE(sent, 1u);
    EXPECT_LE(sent, 6u);
}

TEST_F(Withstanding, AThousandForgedNewcomersInBoundedRoom) {
    Settings settings;
    settings.property.remoteParticipantsMax = 100;
    settings.has_listener = false;
    Party party(machine, settings);
    std::vector<std::unique_ptr<Udp>> forgers;
    for (int host = 10; host < 20; ++host) {
        forgers.push_back(std::make_unique<Udp>(add(host)));
    }
    for (NUV_UINT32 i = 0; i < 1000; ++i) {
        const int host = 10 + static_cast<int>(i % 10);
        Made made = made_at(host, i);
        made.metatraffic = {"192.0.2." + std::to_string(host) + ":" + std::to_string(8000 + i)};
        say_from(*forgers[i % 10], announcement(made));
    }
    EXPECT_EQ(party.count(), 100u);
    EXPECT_EQ(party.statistics().refused[DISC_REFUSED_FULL], 900u);
}

TEST_F(Withstanding, AStopForHalfTheLeaseLosesNobody) {
    Party party(machine);
    Machine other_machine(add(2));
    Party other(other_machine);
    net.world.run_for(10 * SECOND);
    machine.process.stop();
    net.world.run_for(10 * SECOND);
    machine.process.resume();
    net.world.run_for(SECOND);
    EXPECT_EQ(party.statistics().lost, 0u);
    EXPECT_EQ(other.statistics().lost, 0u);
}

TEST_F(Withstanding, AStopForTwiceTheLeaseLosesNobodyThatWasHeardMeanwhile) {
    Party party(machine);
    Machine other_machine(add(2));
    Party other(other_machine);
    net.world.run_for(10 * SECOND);
    machine.process.stop();
    net.world.run_for(25 * SECOND);
    EXPECT_EQ(other.count(), 0u); // it was silent
    machine.process.resume();
    net.world.run_for(MS);
    EXPECT_EQ(party.statistics().lost, 0u);
    EXPECT_TRUE(other.knows(party)); // it has announced itself at once
}

TEST_F(Withstanding, ForgedLeavingsOfSeveralThatLiveInOneProcess) {
    Party party(machine);
    Machine other_machine(add(2));
    Settings settings;
    Party first(other_machine, settings);
    settings.index = 1;
    Party second(other_machine, settings);
    net.world.run_for(2 * SECOND);
    const Udp forger(add(9));
    Made forged;
    forged.sequence = 1000;
    for (const Party *one : {&first, &second}) {
        forged.prefix = one->prefix();
        EXPECT_EQ(forger.send("192.0.2.1:7410", leaving(forged)), 0);
    }
    net.world.run_for(SECOND);
    EXPECT_TRUE(party.knows(first));
    EXPECT_TRUE(party.knows(second));
}

TEST_F(Withstanding, ANewcomerInTheirPlaceForThoseWhoOnlyListen) {
    Settings settings;
    settings.property.announces = 0;
    Party party(machine, settings);
    const Udp home(add(2), "0.0.0.0:7410");
    say_from(home, announcement(made_at(2, 1)));
    say_from(home, announcement(made_at(2, 2)));
    net.world.run_for(SECOND);
    EXPECT_EQ(party.count(), 2u); // nobody could be asked: the lease tells
}

TEST_F(Withstanding, AQuestionGoesOutInTheNameOfOneThatIsKnown) {
    Party party(machine);
    Machine other_machine(add(2));
    Party other(other_machine);
    net.world.run_for(2 * SECOND);
    Settings settings;
    settings.index = 1;
    Party newest(machine, settings); // is asked first
    net.world.run_for(SECOND);
    EXPECT_TRUE(other.ignore(newest.prefix())); // and is answered by nobody
    const Udp forger(add(9));
    Made forged;
    forged.prefix = other.prefix();
    forged.sequence = 1000;
    say_from(forger, leaving(forged));
    net.world.run_for(SECOND);
    EXPECT_TRUE(party.knows(other));
}

TEST_F(Withstanding, AForgedRepetitionThatSaysThatItKnows) {
    Party party(machine);
    net.world.run_for(SECOND);
    const Udp home(add(2), "0.0.0.0:7410");
    Made made = made_at(2);
    say_from(home, announcement(made));
    made.directed_at = party.prefix();
    say_from(Udp(add(9)), announcement(made));
    net.world.run_for(2 * SECOND);
    EXPECT_EQ(home.take_all().size(), 4u); // it is announced to all the same
}

TEST_F(Withstanding, OneAddressHasAQuarterOfEachView) {
    Settings settings;
    settings.property.remoteParticipantsMax = 40;
    Party large(machine, settings);
    settings.property.remoteParticipantsMax = 8;
    settings.index = 1;
    Party small(machine, settings);
    const Udp one(add(2));
    for (NUV_UINT32 i = 0; i < 8; ++i) {
        Made made = made_at(2, i);
        made.metatraffic = {"192.0.2.2:" + std::to_string(8000 + i)};
        say_from(one, announcement(made));
        EXPECT_EQ(one.send("192.0.2.1:7412", announcement(made)), 0);
        net.world.run_for(MS);
    }
    EXPECT_EQ(large.count(), 9u); // and the other one of its process
    EXPECT_EQ(small.count(), 3u);
}

TEST_F(Withstanding, TwiceInOneDatagramIsOnce) {
    Settings settings;
    settings.property.remoteParticipantsMax = 1;
    Party party(machine, settings);
    say_from(Udp(add(2)), announcement(made_at(2)));
    const std::string stranger = announcement(made_at(3));
    const Udp third(add(3));
    say_from(third, stranger + stranger.substr(RTPS_HEADER_SIZE));
    EXPECT_TRUE(party.knows(made_at(2).prefix));
    say_from(third, stranger);
    EXPECT_TRUE(party.knows(made_at(3).prefix));
}

TEST_F(Withstanding, PropertiesThatAreLongerAsTheyAreWritten) {
    Party party(machine);
    // Empty texts may take 4 octets where they are read, and 8 where they are written.
    const NUV_UINT32 count = 4100;
    std::string message = announcement(made_at(2));
    message.resize(message.size() - 4); // the sentinel
    const auto put = [&message](NUV_UINT32 value, int octets) {
        for (int i = 0; i < octets; ++i) {
            message += static_cast<char>(value >> (8 * i));
        }
    };
    put(0x0059, 2);
    put(4 + 8 * count, 2);
    put(count, 4);
    message += std::string(8 * count, '\0');
    put(0x0001, 4);
    const std::size_t data = RTPS_HEADER_SIZE + 12; // behind INFO_TS
    const std::size_t length = message.size() - data - 4;
    message[data + 2] = static_cast<char>(length & 0xFFu);
    message[data + 3] = static_cast<char>(length >> 8);
    say_from(Udp(add(2)), message);
    EXPECT_EQ(party.count(), 0u);
    EXPECT_EQ(party.statistics().unreadable[RTPS_REFUSED_LENGTH], 1u);
}

TEST_F(Withstanding, ASecondForgeryInTheSameSecondIsRefusedWithoutAQuestion) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    const Udp forger(add(9));
    Made made = made_at(2);
    say_from(home, announcement(made));
    net.world.run_for(2 * SECOND);
    Made forged = made;
    forged.sequence = 2;
    say_from(forger, leaving(forged));
    say_from(home, announcement(made));
    (void)home.take_all();
    say_from(forger, leaving(forged));
    EXPECT_EQ(home.take_all(), std::vector<std::string>());
    EXPECT_EQ(party.statistics().refused[DISC_REFUSED_FORGED], 2u);
    net.world.run_for(SECOND);
    EXPECT_TRUE(party.knows(made.prefix));
    say_from(forger, leaving(forged)); // now it is asked again
    EXPECT_EQ(home.take_all().size(), 1u);
}

TEST_F(Withstanding, AFormerSelfThatHasAnsweredIsNotAskedForEachNewcomer) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    say_from(home, announcement(made_at(2, 1)));
    net.world.run_for(2 * SECOND);
    const Udp forger(add(9));
    say_from(forger, announcement(made_at(2, 2)));
    say_from(home, announcement(made_at(2, 1)));
    Made gone = made_at(2, 2);
    gone.sequence = 2;
    say_from(forger, leaving(gone));
    net.world.run_for(150 * MS);
    (void)home.take_all();
    say_from(forger, announcement(made_at(2, 3)));
    for (const std::string &message : home.take_all()) {
        EXPECT_NE(kinds(message), "DST ACKNACK");
    }
    EXPECT_TRUE(party.knows(made_at(2, 1).prefix));
}

TEST_F(Withstanding, OneThatTakesAnotherTagIsLost) {
    Party party(machine);
    Settings settings;
    settings.index = 1;
    settings.tag = "b";
    Party tagged(machine, settings);
    const Udp home(add(2), "0.0.0.0:7410");
    Made made = made_at(2);
    say_from(home, announcement(made));
    made.sequence = 2;
    made.tag = "b";
    EXPECT_EQ(home.send("192.0.2.1:7412", announcement(made)), 0);
    net.world.run_for(MS);
    EXPECT_FALSE(party.knows(made.prefix));
    EXPECT_TRUE(tagged.knows(made.prefix));
    EXPECT_EQ(party.news(), (std::vector<std::string>{"came", "lost"}));
}

TEST_F(Withstanding, LeasesOfThoseWhoMayHaveBeenLostAreProlonged) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    const Udp flood(add(9));
    Made made = made_at(2);
    made.lease = {1, 0};
    say_from(home, announcement(made));
    net.world.run_for(500 * MS);
    // The process does not come to read what floods its port.
    machine.process.stop();
    for (int i = 0; i < 2000; ++i) {
        EXPECT_EQ(flood.send("192.0.2.1:7410", std::string(1000, 'x')), 0);
    }
    net.world.run_for(10 * MS);
    machine.process.resume();
    net.world.run_for(MS);
    EXPECT_EQ(flood.send("192.0.2.1:7410", "x"), 0); // which tells of those that were lost
    net.world.run_for(600 * MS);
    EXPECT_TRUE(party.knows(made.prefix));
    (void)home.take_all();
    net.world.run_for(250 * MS);
    EXPECT_FALSE(party.knows(made.prefix));
    // It was asked once more, as its answer may have been lost as well.
    std::vector<std::string> heard;
    for (const std::string &message : home.take_all()) {
        heard.push_back(kinds(message));
    }
    EXPECT_EQ(heard, std::vector<std::string>(3, "DST ACKNACK"));
}

TEST_F(Withstanding, WhatWaitsInTheSocketsIsReadBeforeLeasesAreJudged) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    const Udp noise(add(9));
    Made made = made_at(2);
    made.lease = {1, 0};
    say_from(home, announcement(made));
    net.world.run_for(500 * MS);
    machine.process.stop();
    for (int i = 0; i < 100; ++i) { // more than one turn reads
        EXPECT_EQ(noise.send("192.0.2.1:7410", "x"), 0);
    }
    net.world.run_for(400 * MS);
    EXPECT_EQ(home.send("192.0.2.1:7410", announcement(made)), 0);
    net.world.run_for(2 * SECOND);
    machine.process.resume();
    net.world.run_for(200 * MS);
    EXPECT_TRUE(party.knows(made.prefix));
    EXPECT_EQ(party.statistics().lost, 0u);
}

TEST_F(Withstanding, AFormerSelfThatHasJustAnsweredIsAskedASecondLater) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    const Made before = made_at(2, 1);
    say_from(home, announcement(before));
    net.world.run_for(2 * SECOND);
    Made forged = before;
    forged.sequence = 2;
    say_from(Udp(add(9)), leaving(forged));
    say_from(home, announcement(before)); // which shows that it lives
    say_from(home, announcement(made_at(2, 2)));
    net.world.run_for(900 * MS);
    EXPECT_TRUE(party.knows(before.prefix));
    net.world.run_for(400 * MS);
    EXPECT_FALSE(party.knows(before.prefix));
}

TEST_F(Withstanding, OneThatMovesWhileItIsAskedForItsFormerPlaceStays) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    const Udp elsewhere(add(3), "0.0.0.0:7410");
    Made made = made_at(2, 1);
    say_from(home, announcement(made));
    net.world.run_for(2 * SECOND);
    say_from(home, announcement(made_at(2, 2)));
    made.sequence = 2;
    made.metatraffic = {"192.0.2.3:7410"};
    say_from(elsewhere, announcement(made));
    net.world.run_for(SECOND);
    EXPECT_TRUE(party.knows(made.prefix));
    EXPECT_EQ(party.statistics().lost, 0u);
}

TEST_F(Withstanding, ALeaseThatHasJustEndedIsNotJudgedByALateTurn) {
    Party party(machine);
    const Udp home(add(2), "0.0.0.0:7410");
    const Udp noise(add(9));
    Made made = made_at(2);
    made.lease = {6, 0};
    say_from(home, announcement(made));
    machine.process.stop();
    for (int i = 0; i < 100; ++i) { // more than one turn reads
        EXPECT_EQ(noise.send("192.0.2.1:7410", "x"), 0);
    }
    net.world.run_for(SECOND);
    EXPECT_EQ(home.send("192.0.2.1:7410", announcement(made)), 0);
    net.world.run_for(5 * SECOND + 10 * MS);
    machine.process.resume();
    net.world.run_for(SECOND);
    EXPECT_TRUE(party.knows(made.prefix));
    EXPECT_EQ(party.statistics().lost, 0u);
}

} // namespace
