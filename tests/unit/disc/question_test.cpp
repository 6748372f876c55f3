// SPDX-License-Identifier: Apache-2.0
// What a participant answers to one that asks what has become of somebody in it.
#include "participants.h"
#include "support/faults.h"

namespace {

using namespace sim;

constexpr Time MS = MILLISECOND;

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
    for (const char *text : {"", "name:", "guid:", "guid:01020304.05060708.090a0b0",
                             "guid:01020304.05060708.090a0b0cd", "guid:0102030405060708.090a0b0c.1",
                             "guid:0102030g.05060708.090a0b0c", "process:812", "process:-1@host",
                             "process:99999999999@host", "host:beta"}) {
        EXPECT_EQ(answers_about(text), std::vector<std::string>()) << text;
    }
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
