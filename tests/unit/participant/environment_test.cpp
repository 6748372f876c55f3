// SPDX-License-Identifier: Apache-2.0
// What users set by variables of the environment.
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

#include "dds_c/dds_c_logger.h"
#include "domain/environment.h"
#include "fixture.h"
#include "support/fault_loop.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Environment : public ParticipantTest {
protected:
    Environment() {
        EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
        log.clear();
    }
    ~Environment() override {
        for (const auto &variable : dds::environment::VARIABLES) {
            unsetenv(variable.name);
        }
    }

    void make_factory() {
        factory = DDS_DomainParticipantFactory_get_instance();
    }
    void make_factory_with(const char *variable, const char *value) {
        setenv(variable, value, 1);
        make_factory();
    }

    std::vector<std::string> peers(DDS_DomainParticipant *participant = nullptr) {
        std::vector<std::string> texts;
        read(participant);
        const DDS_StringSeq &sequence = out_->discovery.initial_peers;
        for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&sequence); ++i) {
            texts.emplace_back(DDS_StringSeq_get(&sequence, i));
        }
        return texts;
    }
    std::string interfaces(DDS_DomainParticipant *participant = nullptr) {
        read(participant);
        const DDS_Property_t *property =
            DDS_PropertyQosPolicyHelper_lookup_property(&out_->property, ALLOW_INTERFACES);
        return property != nullptr ? property->value : "none";
    }

    DDS_DomainParticipant *create_default() {
        switch_autoenable_off();
        participants.push_back(DDS_DomainParticipantFactory_create_participant(
            factory, 0, DDS_PARTICIPANT_QOS_DEFAULT, nullptr, DDS_STATUS_MASK_NONE));
        return participants.back();
    }

private:
    /** Reads the QoS of a participant, or the factory's default. */
    void read(DDS_DomainParticipant *participant) {
        EXPECT_EQ(participant != nullptr ? DDS_DomainParticipant_get_qos(participant, out_.get())
                                         : DDS_DomainParticipantFactory_get_default_participant_qos(
                                               factory, out_.get()),
                  DDS_RETCODE_OK);
    }

    Qos out_;
};

TEST_F(Environment, ThatIsNotSetChangesNothing) {
    make_factory();
    EXPECT_THAT(peers(), ElementsAre("239.255.0.1", "127.0.0.1"));
    EXPECT_EQ(interfaces(), "none");
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(Environment, ThatIsEmptyCountsAsNotSet) {
    for (const auto &variable : dds::environment::VARIABLES) {
        setenv(variable.name, "", 1);
    }
    make_factory();
    EXPECT_THAT(peers(), ElementsAre("239.255.0.1", "127.0.0.1"));
    EXPECT_EQ(interfaces(), "none");
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(Environment, HasInitialPeersInPlaceOfTheUsualOnes) {
    make_factory_with("NUVDDS_PEERS", "192.0.2.1,a.example.org:7410,udpv6://[fd00::2]:7410");
    EXPECT_THAT(peers(), ElementsAre("192.0.2.1", "a.example.org:7410", "udpv6://[fd00::2]:7410"));
}

TEST_F(Environment, HasInterfacesThatMayBeUsed) {
    make_factory_with("NUVDDS_INTERFACES", "eth0,192.0.2.1");
    EXPECT_EQ(interfaces(), "eth0,192.0.2.1");
}

TEST_F(Environment, IsForParticipantsOfTheDefaultQos) {
    setenv("NUVDDS_PEERS", "192.0.2.1", 1);
    make_factory_with("NUVDDS_INTERFACES", "lo");
    DDS_DomainParticipant *participant = create_default();
    ASSERT_NE(participant, nullptr);
    EXPECT_THAT(peers(participant), ElementsAre("192.0.2.1"));
    EXPECT_EQ(interfaces(participant), "lo");
}

TEST_F(Environment, LeavesAQosOfTheProgramsOwnAlone) {
    setenv("NUVDDS_PEERS", "192.0.2.1", 1);
    make_factory_with("NUVDDS_INTERFACES", "lo");
    switch_autoenable_off();
    DDS_DomainParticipant *participant = create();
    ASSERT_NE(participant, nullptr);
    EXPECT_THAT(peers(participant), ElementsAre("239.255.0.1", "127.0.0.1"));
    EXPECT_EQ(interfaces(participant), "none");
}

TEST_F(Environment, IsReadAgainForEachFactory) {
    make_factory_with("NUVDDS_INTERFACES", "lo");
    unsetenv("NUVDDS_INTERFACES");
    EXPECT_EQ(interfaces(), "lo");
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
    make_factory();
    EXPECT_EQ(interfaces(), "none");
}

TEST_F(Environment, ThatIsUsedIsToldInTheLog) {
    setenv("NUVDDS_PEERS", "192.0.2.1", 1);
    setenv("NUVDDS_INTERFACES", "lo", 1);
    faults::replace("NUVLog_setDefaultVerbosity", [](NUV_UINT32) { return 1; });
    make_factory_with("NUVDDS_VERBOSITY", "status");
    EXPECT_THAT(messages(NUV_LOG_LEVEL_LOCAL),
                ElementsAre("environment variable NUVDDS_VERBOSITY is used: status",
                            "environment variable NUVDDS_PEERS is used: 192.0.2.1",
                            "environment variable NUVDDS_INTERFACES is used: lo"));
    EXPECT_EQ(log.messages()[0].function, "DDS_DomainParticipantFactory_get_instance");
}

TEST_F(Environment, DoesNotChangeAVerbosityOfTheProgramsOwn) {
    KOLS_Config_Logger *logger = KOLS_Config_Logger_get_instance();
    KOLS_Config_Logger_set_verbosity(logger, KOLS_CONFIG_LOG_VERBOSITY_WARNING);
    make_factory_with("NUVDDS_VERBOSITY", "all");
    EXPECT_THAT(log.messages(), IsEmpty());
    EXPECT_EQ(KOLS_Config_Logger_get_verbosity(logger), KOLS_CONFIG_LOG_VERBOSITY_WARNING);
}

struct Unreadable {
    const char *name;
    const char *value;
    const char *message;
};

class UnreadableEnvironment : public Environment, public testing::WithParamInterface<Unreadable> {};

TEST_P(UnreadableEnvironment, IsOneErrorAndNoFactory) {
    make_factory_with(GetParam().name, GetParam().value);
    EXPECT_EQ(factory, nullptr);
    ASSERT_EQ(log.messages().size(), 1u);
    const support::Message message = log.messages()[0];
    EXPECT_EQ(message.level, NUV_LOG_LEVEL_ERROR);
    EXPECT_EQ(message.function, "DDS_DomainParticipantFactory_get_instance");
    EXPECT_EQ(message.name, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE.name);
    EXPECT_THAT(message.text, testing::EndsWith(GetParam().message));
}

TEST_P(UnreadableEnvironment, CanBeMended) {
    make_factory_with(GetParam().name, GetParam().value);
    unsetenv(GetParam().name);
    make_factory();
    EXPECT_NE(factory, nullptr);
}

TEST_P(UnreadableEnvironment, LeavesAForkedChildFreeToHaveAFactory) {
    make_factory_with(GetParam().name, GetParam().value);
    const pid_t child = fork();
    if (child == 0) {
        unsetenv(GetParam().name);
        _exit(DDS_DomainParticipantFactory_get_instance() != nullptr ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

INSTANTIATE_TEST_SUITE_P(
    All, UnreadableEnvironment,
    testing::Values(
        Unreadable{"NUVDDS_VERBOSITY", "loud",
                   "environment variable NUVDDS_VERBOSITY is 'loud': allowed are silent, error, "
                   "warning, status and all"},
        Unreadable{"NUVDDS_PEERS", "192.0.2.1, 192.0.2.2",
                   "environment variable NUVDDS_PEERS has ' 192.0.2.2' as entry 2: allowed are "
                   "ADDRESS, ADDRESS:PORT, udpv4://ADDRESS:PORT, udpv6://[ADDRESS]:PORT and host "
                   "names, joined by ','"},
        Unreadable{"NUVDDS_PEERS", "192.0.2.1,",
                   "environment variable NUVDDS_PEERS has '' as entry 2: allowed are "
                   "ADDRESS, ADDRESS:PORT, udpv4://ADDRESS:PORT, udpv6://[ADDRESS]:PORT and host "
                   "names, joined by ','"},
        Unreadable{"NUVDDS_INTERFACES", "eth0,",
                   "environment variable NUVDDS_INTERFACES has '' as entry 2: allowed are up to 32 "
                   "entries, joined by ',': the name of an interface (1 to 15 characters without "
                   "'/', ':' and white space) and a numeric IPv4 or IPv6 address"},
        Unreadable{"NUVDDS_INTERFACES", "eth0,,eth1",
                   "environment variable NUVDDS_INTERFACES has '' as entry 2: allowed are up to 32 "
                   "entries, joined by ',': the name of an interface (1 to 15 characters without "
                   "'/', ':' and white space) and a numeric IPv4 or IPv6 address"}));

class VerbosityWord
    : public Environment,
      public testing::WithParamInterface<std::pair<const char *, KOLS_Config_LogVerbosity>> {};

TEST_P(VerbosityWord, IsTheVerbosityUnlessTheProgramHasOne) {
    NUV_UINT32 verbosity = NUV_LOG_LEVEL_ALL + 1;
    faults::replace("NUVLog_setDefaultVerbosity", [&](NUV_UINT32 set) {
        verbosity = set;
        return 1;
    });
    make_factory_with("NUVDDS_VERBOSITY", GetParam().first);
    EXPECT_NE(factory, nullptr);
    EXPECT_EQ(verbosity, GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(All, VerbosityWord,
                         testing::Values(std::pair("silent", KOLS_CONFIG_LOG_VERBOSITY_SILENT),
                                         std::pair("error", KOLS_CONFIG_LOG_VERBOSITY_ERROR),
                                         std::pair("warning", KOLS_CONFIG_LOG_VERBOSITY_WARNING),
                                         std::pair("status",
                                                   KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL),
                                         std::pair("all", KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL)));

TEST_F(Environment, ThatMemoryDoesNotSufficeForIsAnErrorAndNoFactory) {
    setenv("NUVDDS_PEERS", "192.0.2.1,192.0.2.2", 1);
    setenv("NUVDDS_INTERFACES", "lo", 1);
    EXPECT_GT(faults::fail_each_allocation(
                  [&] {
                      log.clear();
                      make_factory();
                      return factory;
                  },
                  [&](DDS_DomainParticipantFactory *made, const std::string &failed) {
                      if (made == nullptr) {
                          EXPECT_FALSE(messages(NUV_LOG_LEVEL_ERROR).empty()) << failed;
                      }
                      EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
                  }),
              5);
}

} // namespace
