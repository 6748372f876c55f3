// SPDX-License-Identifier: Apache-2.0
// What a participant answers to one that asks what has become of somebody in it.
#include "participants.h"
#include "support/faults.h"

namespace {

using namespace sim;

std::string text_of(const NUVOsapiRtpsGuidPrefix &prefix) {
    char text[32];
    (void)snprintf(text, sizeof text, "%08x.%08x.%08x", prefix.hostId, prefix.appId,
                   prefix.instanceId);
    return text;
}

/** Somebody who is asked, somebody else who may be asked about, and somebody who asks. */
class Question : public ::testing::Test {
protected:
    static Settings settings_that_ask(const std::vector<std::string> &subjects) {
        Settings settings;
        char word = 'a';
        for (const std::string &subject : subjects) {
            settings.propagated.emplace_back(std::string("nuvdds.discovery.question.") + word++,
                                             subject);
        }
        return settings;
    }
    static std::vector<std::string> addresses_of_crowd() {
        std::vector<std::string> all;
        for (int i = 0; i < 20; ++i) {
            all.push_back("192.0.2." + std::to_string(100 + i) + "/24");
        }
        return all;
    }
    void start(const Settings &asked_settings = {}, const Settings &other_settings = {}) {
        asked.emplace(asked_machine, asked_settings);
        other.emplace(other_machine, other_settings);
        net.world.run_for(SECOND);
    }
    /** What is announced to the one that asks besides what is announced to all. */
    std::vector<std::string> answers(const Settings &settings) {
        asker.emplace(asker_machine, settings);
        net.world.run_for(50 * MS);
        return asker->see(asked->prefix()).properties;
    }
    std::vector<std::string> answers_about(const std::string &subject) {
        return answers(settings_that_ask({subject}));
    }
    std::string guid_of_other() {
        return "guid:" + text_of(other->prefix());
    }
    static std::vector<std::string> answer(const std::string &text) {
        return {"nuvdds.discovery.answer.a=" + text};
    }

    Net net;
    Machine asked_machine{net.add("asked", {"192.0.2.1/24"})};
    Machine other_machine{net.add("other", {"192.0.2.2/24"})};
    Machine asker_machine{net.add("asker", {"192.0.2.3/24"})};
    Process &elsewhere{net.add("elsewhere", {"192.0.2.9/24"})};
    Process &crowd_process{net.add("crowd", addresses_of_crowd())};
    std::optional<Party> asked;
    std::optional<Party> other;
    std::optional<Party> asker;
};

TEST_F(Question, AboutOneThatIsKnownIsAnsweredWithTheRestOfItsLease) {
    Settings settings;
    settings.property.leaseDuration = {8, 0};
    settings.property.initialAnnouncements = 0;
    start({}, settings);
    const auto all = answers_about(guid_of_other());
    ASSERT_EQ(all.size(), 1u);
    const std::string before = answer("known " + text_of(other->prefix()) + " ")[0];
    ASSERT_EQ(all[0].substr(0, before.size()), before);
    std::size_t length = 0;
    const int left = std::stoi(all[0].substr(before.size()), &length);
    EXPECT_EQ(all[0].substr(before.size() + length), " udpv4://192.0.2.2:7410");
    EXPECT_GT(left, 4000);
    EXPECT_LE(left, 8000);
}

TEST_F(Question, AboutAnEndlessLease) {
    Settings settings;
    settings.property.leaseDuration = NUV_NTP_TIME_INFINITE;
    start({}, settings);
    EXPECT_EQ(answers_about(guid_of_other()),
              answer("known " + text_of(other->prefix()) + " infinite udpv4://192.0.2.2:7410"));
}

TEST_F(Question, AboutAName) {
    Settings settings;
    settings.name = "radar, left: upper";
    settings.property.leaseDuration = NUV_NTP_TIME_INFINITE;
    start({}, settings);
    EXPECT_EQ(answers_about("name:radar, left: upper"),
              answer("known " + text_of(other->prefix()) + " infinite udpv4://192.0.2.2:7410"));
}

TEST_F(Question, AboutAProcess) {
    Settings settings;
    settings.propagated = {{"__Hostname", "beta"}, {"__Pid", "812"}};
    settings.property.leaseDuration = NUV_NTP_TIME_INFINITE;
    start({}, settings);
    EXPECT_EQ(answers_about("process:812@beta"),
              answer("known " + text_of(other->prefix()) + " infinite udpv4://192.0.2.2:7410"));
}

TEST_F(Question, AboutTheSameProcessIdOnAnotherHost) {
    Settings settings;
    settings.propagated = {{"__Hostname", "beta"}, {"__Pid", "812"}};
    start({}, settings);
    EXPECT_EQ(answers_about("process:812@alpha"), answer("unknown"));
}

TEST_F(Question, AboutItself) {
    start();
    EXPECT_EQ(answers_about("guid:" + text_of(asked->prefix())), answer("self"));
}

TEST_F(Question, AboutOneThatWasNeverHeard) {
    start();
    EXPECT_EQ(answers_about("guid:01020304.05060708.090a0b0c"), answer("unknown"));
}

TEST_F(Question, AboutOneThatIsIgnored) {
    start();
    ASSERT_TRUE(asked->ignore(other->prefix()));
    EXPECT_EQ(answers_about(guid_of_other()), answer("ignored " + text_of(other->prefix())));
}

TEST_F(Question, AboutOneThatIsIgnoredBeforeItIsHeard) {
    start();
    ASSERT_TRUE(asked->ignore({1, 2, 3}));
    EXPECT_EQ(answers_about("guid:00000001.00000002.00000003"),
              answer("ignored 00000001.00000002.00000003"));
}

TEST_F(Question, ToOneThatHasNoRoom) {
    Settings settings;
    settings.property.remoteParticipantsMax = 0;
    start(settings);
    EXPECT_EQ(answers_about(guid_of_other()), answer("full"));
    EXPECT_EQ(asked->count(), 0u);
}

TEST_F(Question, ByOneThatIsIgnored) {
    start();
    asker.emplace(asker_machine);
    ASSERT_TRUE(asked->ignore(asker->prefix()));
    asker->settings = settings_that_ask({"name:nobody"});
    ASSERT_TRUE(asker->set_property());
    net.world.run_for(50 * MS);
    EXPECT_EQ(asker->see(asked->prefix()).properties, answer("unknown"));
    EXPECT_FALSE(asked->knows(*asker));
}

TEST_F(Question, ToOneOfAnotherTag) {
    Settings settings;
    settings.tag = "night";
    start(settings);
    Settings tool = settings_that_ask({"name:nobody"});
    tool.property.acceptsMismatch = 1;
    EXPECT_EQ(answers(tool), answer("unknown"));
    EXPECT_EQ(asker->see(asked->prefix()).tag, "night");
    EXPECT_FALSE(asked->knows(*asker));
}

TEST_F(Question, IsNotAnsweredByOneThatDoesNotWantTo) {
    Settings settings;
    settings.property.answers = 0;
    start(settings);
    EXPECT_EQ(answers_about(guid_of_other()), std::vector<std::string>());
}

TEST_F(Question, IsNotAnsweredByOneThatListensOnly) {
    Settings settings;
    settings.property.announces = 0;
    start(settings);
    asker.emplace(asker_machine, settings_that_ask({"name:nobody"}));
    net.world.run_for(50 * MS);
    EXPECT_EQ(asked->statistics().announcementsSent, 0u);
}

TEST_F(Question, ThatIsNoneIsNotAnswered) {
    start();
    for (const char *text :
         {"", "name:", "guid:", "guid:01020304.05060708.090a0b0",
          "guid:01020304.05060708.090a0b0cd", "guid:0102030405060708.090a0b0c.1",
          "guid:0102030g.05060708.090a0b0c", "process:812", "process:-1@host",
          "process:99999999999@host", "process:0@host", "process:812@", "host:beta"}) {
        EXPECT_EQ(answers_about(text), std::vector<std::string>()) << text;
    }
}

TEST_F(Question, AboutANameThatNobodyCanHaveIsNotAnswered) {
    start();
    EXPECT_EQ(answers_about("name:" + std::string(255, 'n')), answer("unknown"));
    EXPECT_EQ(answers_about("name:" + std::string(256, 'n')), std::vector<std::string>());
}

TEST_F(Question, AboutAProcessDoesNotFindOneThatSaysNothingOfItsOwn) {
    Settings settings;
    settings.propagated = {{"__Hostname", "beta"}, {"__Pid", "812a"}};
    start({}, settings);
    EXPECT_EQ(answers_about("process:812@beta"), answer("unknown"));
}

TEST_F(Question, AboutANameOfSeveralFindsTheOneThatIsKnown) {
    Settings node;
    node.name = "node";
    start(node, node);
    Machine ignored_machine(net.add("ignored", {"192.0.2.4/24"}));
    Party ignored(ignored_machine, node);
    net.world.run_for(SECOND);
    ASSERT_TRUE(asked->ignore(ignored.prefix()));
    const auto all = answers_about("name:node");
    ASSERT_EQ(all.size(), 1u);
    EXPECT_THAT(all[0], ::testing::StartsWith(answer("known " + text_of(other->prefix()))[0]));
}

TEST_F(Question, ToSeveralOfAProcessIsAnsweredByEach) {
    Settings settings;
    settings.tag = "night";
    start(settings);
    settings.index = 1;
    Party second(asked_machine, settings);
    net.world.run_for(SECOND);
    Settings tool = settings_that_ask({"name:nobody"});
    tool.property.acceptsMismatch = 1;
    EXPECT_EQ(answers(tool), answer("unknown"));
    EXPECT_EQ(asker->see(second.prefix()).properties, answer("unknown"));
}

TEST_F(Question, ToOneWhoseClockWasSetBackIsAnswered) {
    start();
    asked_machine.process.host().jump_wall_clock(-3600 * SECOND);
    EXPECT_EQ(answers_about("name:nobody"), answer("unknown"));
}

TEST_F(Question, OfTwoThatAskIsNotSeenInTheirAnswers) {
    start(settings_that_ask({"name:nobody"}));
    asker.emplace(asker_machine, settings_that_ask({"name:nobody"}));
    net.world.run_for(5 * SECOND); // what is repeated at first has been repeated
    const NUV_UINT64 before = asked->statistics().announcementsSent;
    Made answering;
    answering.prefix = {0xAABBCC02, 2, 3};
    answering.metatraffic = {"192.0.2.9:7410"};
    answering.properties = {{"nuvdds.discovery.question.a", "name:nobody"},
                            {"nuvdds.discovery.answer.a", "unknown"}};
    answering.sequence = 5;
    Udp socket{elsewhere, "0.0.0.0:7410"};
    ASSERT_EQ(socket.send("192.0.2.1:7410", announcement(answering)), 0);
    net.world.run_for(MS);
    // It is greeted, as any newcomer is, and no more.
    EXPECT_EQ(asked->statistics().announcementsSent, before + 1);
    EXPECT_EQ(socket.take_all().size(), 1u);
}

TEST_F(Question, OfOneThatIsKnownIsNotAnsweredElsewhere) {
    start();
    Made known;
    known.metatraffic = {"192.0.2.9:7410"};
    known.directed_at = asked->prefix();
    Udp its(elsewhere, "0.0.0.0:7410");
    ASSERT_EQ(its.send("192.0.2.1:7410", announcement(known)), 0);
    net.world.run_for(SECOND);
    (void)its.take_all();
    known.sequence = 2;
    known.properties = {{"nuvdds.discovery.question.a", "name:nobody"}};
    Udp anothers(other_machine.process, "0.0.0.0:9999");
    ASSERT_EQ(anothers.send("192.0.2.1:7410", announcement(known)), 0);
    net.world.run_for(MS);
    EXPECT_EQ(anothers.take_all().size(), 0u);
}

TEST_F(Question, OfAnAddressIsAnsweredOnceWhateverItsNames) {
    start();
    Udp socket(elsewhere, "0.0.0.0:7410");
    Made made;
    made.domain = 7; // so that nobody is greeted
    made.properties = {{"nuvdds.discovery.question.a", "name:nobody"}};
    for (NUV_UINT32 i = 0; i < 20; ++i) {
        made.prefix.instanceId = i + 1;
        ASSERT_EQ(socket.send("192.0.2.1:7410", announcement(made)), 0);
    }
    net.world.run_for(MS);
    EXPECT_EQ(socket.take_all().size(), 1u);
}

TEST_F(Question, WithoutAnAnnouncementIsNotAnswered) {
    start();
    Udp socket(elsewhere, "0.0.0.0:7410");
    Made made;
    made.domain = 7;
    made.properties = {{"nuvdds.discovery.question.a", "name:nobody"}};
    made.guid = NUVOsapiRtpsGuid{{5, 5, 5}, RTPS_ENTITYID_PARTICIPANT};
    ASSERT_EQ(socket.send("192.0.2.1:7410", announcement(made)), 0);
    net.world.run_for(MS);
    EXPECT_EQ(socket.take_all().size(), 0u);
}

/** Whoever asks from many addresses has a large table read for him again and again. */
TEST_F(Question, ThatAreTooManyToLookForAreNotAnswered) {
    start();
    Made known;
    known.metatraffic = {"192.0.2.9:7410"};
    known.properties = {{"__Pid", "812"}, {"__Hostname", "beta"}};
    Udp crowd(elsewhere, "0.0.0.0:7410");
    for (NUV_UINT32 i = 0; i < 100; ++i) {
        known.prefix.instanceId = i + 1;
        ASSERT_EQ(crowd.send("192.0.2.1:7410", announcement(known)), 0);
    }
    net.world.run_for(10 * SECOND); // they are greeted
    Made asking;
    asking.domain = 7;
    for (const char *word : {"a", "b", "c", "d"}) {
        asking.properties.emplace_back(std::string("nuvdds.discovery.question.") + word,
                                       "process:812@nowhere");
    }
    std::size_t answered = 0;
    std::vector<std::unique_ptr<Udp>> sockets;
    for (NUV_UINT32 i = 0; i < 20; ++i) {
        asking.prefix = {0xAABBCC03, 0, i + 1};
        const std::string address = "192.0.2." + std::to_string(100 + i);
        sockets.push_back(std::make_unique<Udp>(crowd_process, address + ":7410"));
        ASSERT_EQ(sockets.back()->send("192.0.2.1:7410", announcement(asking)), 0);
    }
    net.world.run_for(50 * MS);
    for (const auto &socket : sockets) {
        answered += socket->take_all().size();
    }
    EXPECT_GT(answered, 5u);
    EXPECT_LT(answered, 15u);
    net.world.run_for(200 * MS);
    asking.prefix = {0xAABBCC03, 0, 20};
    ASSERT_EQ(sockets.back()->send("192.0.2.1:7410", announcement(asking)), 0);
    net.world.run_for(MS);
    EXPECT_EQ(sockets.back()->take_all().size(), 1u);
}

TEST_F(Question, UnderAWordThatIsTooLongIsNotAnswered) {
    start();
    Settings settings;
    settings.propagated = {{"nuvdds.discovery.question.a2345678901234567", "name:nobody"}};
    EXPECT_EQ(answers(settings), std::vector<std::string>());
}

TEST_F(Question, FourOfOneAnnouncementAreAnswered) {
    start();
    const std::vector<std::string> subjects(5, "name:nobody");
    EXPECT_EQ(answers(settings_that_ask(subjects)),
              (std::vector<std::string>{
                  "nuvdds.discovery.answer.a=unknown", "nuvdds.discovery.answer.b=unknown",
                  "nuvdds.discovery.answer.c=unknown", "nuvdds.discovery.answer.d=unknown"}));
}

TEST_F(Question, TheAnswerStandsBehindWhatIsAnnouncedToAll) {
    Settings settings;
    settings.name = "talker";
    settings.propagated = {{"site", "north"}};
    start(settings);
    EXPECT_EQ(answers_about("name:nobody"),
              (std::vector<std::string>{"site=north", "nuvdds.discovery.answer.a=unknown"}));
    EXPECT_EQ(asker->see(asked->prefix()).name, "talker");
}

TEST_F(Question, TheAnswerLastsWhileTheSameIsAnnouncedToAll) {
    start();
    (void)answers_about("name:nobody");
    net.world.run_for(10 * SECOND);
    EXPECT_EQ(asker->see(asked->prefix()).properties, answer("unknown"));
}

TEST_F(Question, IsAnsweredAnewWhenItIsRepeated) {
    start();
    (void)answers_about(guid_of_other());
    ASSERT_TRUE(asked->ignore(other->prefix()));
    net.world.run_for(5 * SECOND); // longer than the period
    EXPECT_EQ(asker->see(asked->prefix()).properties,
              answer("ignored " + text_of(other->prefix())));
}

TEST_F(Question, OthersLearnNothingOfTheAnswer) {
    start();
    (void)answers_about("name:nobody");
    EXPECT_EQ(other->see(asked->prefix()).properties, std::vector<std::string>());
}

TEST_F(Question, IsAnsweredOnceInAFifthOfASecond) {
    Settings full;
    full.property.remoteParticipantsMax = 0; // so that it greets nobody
    full.property.initialAnnouncements = 0;
    start(full);
    Settings settings = settings_that_ask({"name:nobody"});
    settings.property.initialAnnouncements = 100;
    settings.property.initialAnnouncementPeriod = {0, 0x01000000}; // 4 ms
    const NUV_UINT64 before = asked->statistics().announcementsSent;
    asker.emplace(asker_machine, settings);
    net.world.run_for(190 * MS);
    EXPECT_EQ(asked->statistics().announcementsSent, before + 1);
    net.world.run_for(20 * MS);
    EXPECT_EQ(asked->statistics().announcementsSent, before + 2);
}

TEST_F(Question, ForWhoseAnswerThereWasNoMemoryIsAnsweredTheNextTime) {
    Settings full;
    full.property.remoteParticipantsMax = 0; // so that nothing but the answer takes any
    asked.emplace(asked_machine, full);
    net.world.run_for(SECOND);
    const faults::Guard faults_end;
    int nth = 0;
    do {
        asker.emplace(asker_machine);
        net.world.run_for(5 * SECOND);
        asker->settings = settings_that_ask({"name:nobody"});
        ASSERT_TRUE(asker->set_property());
        faults::fail_allocation(++nth);
        net.world.run_for(MS);
        faults::stop();
        net.world.run_for(500 * MS); // the change is said again
        EXPECT_EQ(asker->see(asked->prefix()).properties, answer("full")) << nth;
    } while (faults::happened());
    EXPECT_GT(nth, 3);
}

} // namespace
