// SPDX-License-Identifier: Apache-2.0
// A refusal is logged in the name of the operation that is refused.
#include <functional>
#include <sstream>

#include <sys/wait.h>
#include <unistd.h>

#include "fixture.h"

using testing::ElementsAre;

namespace {

class Refusal : public ParticipantTest {
protected:
    using Texts = std::vector<std::string>;

    /** In whose names the errors since the last call are. */
    Texts refused() {
        Texts names;

        for (const support::Message &message : log.messages()) {
            if (message.level == NUV_LOG_LEVEL_ERROR) {
                names.push_back(message.function);
            }
        }
        log.clear();
        return names;
    }

    /** The same of what a forked child does, which comes back as text. */
    Texts refused_in_child(const std::function<void()> &calls) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        const pid_t child = fork();

        if (child == 0) {
            alarm(60); // the kernel ends a child that hangs
            log.clear();
            calls();
            for (const std::string &name : refused()) {
                (void)!write(ends[1], (name + '\n').c_str(), name.size() + 1);
            }
            _exit(0);
        }
        (void)close(ends[1]);
        std::string text;
        char character = 0;
        while (read(ends[0], &character, 1) == 1) {
            text += character;
        }
        (void)close(ends[0]);
        EXPECT_EQ(waitpid(child, nullptr, 0), child);

        Texts names;
        for (std::istringstream lines(text); std::getline(lines, text);) {
            names.push_back(text);
        }
        return names;
    }
};

TEST_F(Refusal, OfAParticipantInAForkedChildNamesTheOperation) {
    DDS_DomainParticipant *const participant = create();
    ASSERT_NE(participant, nullptr);
    DDS_Topic *const topic = DDS_DomainParticipant_create_topic(participant, "square", "shape");

    EXPECT_THAT(
        refused_in_child([&] {
            DDS_DomainParticipantQos out = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
            DDS_LocatorSeq list = DDS_SEQUENCE_INITIALIZER;
            DDS_GUID_t guid = {};

            (void)DDS_DomainParticipant_enable(participant);
            (void)DDS_DomainParticipant_get_qos(participant, &out);
            (void)DDS_DomainParticipant_set_qos(participant, qos.get());
            (void)DDS_DomainParticipant_update_locators(participant);
            (void)DDS_DomainParticipant_get_guid(participant, &guid);
            (void)DDS_DomainParticipant_get_participant_index(participant);
            (void)DDS_DomainParticipant_get_domain_id(participant);
            (void)DDS_DomainParticipant_get_default_unicast_locators(participant, &list);
            (void)DDS_DomainParticipant_get_default_multicast_locators(participant, &list);
            (void)DDS_DomainParticipant_get_metatraffic_unicast_locators(participant, &list);
            (void)DDS_DomainParticipant_get_metatraffic_multicast_locators(participant, &list);
            (void)DDS_DomainParticipant_create_topic(participant, "circle", "shape");
            (void)DDS_DomainParticipant_delete_topic(participant, topic);
        }),
        ElementsAre("DDS_DomainParticipant_enable", "DDS_DomainParticipant_get_qos",
                    "DDS_DomainParticipant_set_qos", "DDS_DomainParticipant_update_locators",
                    "DDS_DomainParticipant_get_guid", "DDS_DomainParticipant_get_participant_index",
                    "DDS_DomainParticipant_get_domain_id",
                    "DDS_DomainParticipant_get_default_unicast_locators",
                    "DDS_DomainParticipant_get_default_multicast_locators",
                    "DDS_DomainParticipant_get_metatraffic_unicast_locators",
                    "DDS_DomainParticipant_get_metatraffic_multicast_locators",
                    "DDS_DomainParticipant_create_topic", "DDS_DomainParticipant_delete_topic"));
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
}

TEST_F(Refusal, OfTheFactoryInAForkedChildNamesTheOperation) {
    DDS_DomainParticipant *const participant = create();
    ASSERT_NE(participant, nullptr);

    EXPECT_THAT(refused_in_child([&] {
                    DDS_DomainParticipantFactoryQos factory_qos = {{DDS_BOOLEAN_TRUE}};
                    DDS_DomainParticipantQos out = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;

                    (void)DDS_DomainParticipantFactory_get_instance();
                    (void)create();
                    (void)DDS_DomainParticipantFactory_delete_participant(factory, participant);
                    (void)DDS_DomainParticipantFactory_get_qos(factory, &factory_qos);
                    (void)DDS_DomainParticipantFactory_set_qos(factory, &factory_qos);
                    (void)DDS_DomainParticipantFactory_get_default_participant_qos(factory, &out);
                    (void)DDS_DomainParticipantFactory_finalize_instance();
                }),
                ElementsAre("DDS_DomainParticipantFactory_get_instance",
                            "DDS_DomainParticipantFactory_create_participant",
                            "DDS_DomainParticipantFactory_delete_participant",
                            "DDS_DomainParticipantFactory_get_qos",
                            "DDS_DomainParticipantFactory_set_qos",
                            "DDS_DomainParticipantFactory_get_default_participant_qos",
                            "DDS_DomainParticipantFactory_finalize_instance"));
}

TEST_F(Refusal, WithinAListenerNamesTheOperation) {
    DDS_DomainParticipant *participant = nullptr;
    std::function<void()> trespass = [&] {
        (void)create();
        (void)DDS_DomainParticipantFactory_delete_participant(factory, participant);
        (void)DDS_DomainParticipant_enable(participant);
        (void)DDS_DomainParticipant_update_locators(participant);
        (void)DDS_DomainParticipant_set_qos(participant, qos.get());
    };
    const DDS_DomainParticipantListener listener = {
        &trespass, [](void *data, DDS_Topic *) { (*static_cast<std::function<void()> *>(data))(); },
        nullptr, nullptr};

    participant = create(&listener, DDS_STATUS_MASK_ALL);
    ASSERT_NE(participant, nullptr);
    DDS_Topic *const topic = DDS_DomainParticipant_create_topic(participant, "square", "shape");
    log.clear();
    EXPECT_EQ(DDS_DomainParticipant_create_topic(participant, "square", "form"), nullptr);
    EXPECT_THAT(refused(),
                ElementsAre("PRESParticipant_createTopic", // the reason of the call itself
                            "DDS_DomainParticipantFactory_create_participant",
                            "DDS_DomainParticipantFactory_delete_participant",
                            "DDS_DomainParticipant_enable", "DDS_DomainParticipant_update_locators",
                            "DDS_DomainParticipant_set_qos", "DDS_DomainParticipant_create_topic"));
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
}

TEST_F(Refusal, ForWantOfWhatAllParticipantsShareIsInTheNameOfTheCreation) {
    faults::fail_allocation(1);
    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(log.messages(), ElementsAre(support::Message{
                                    .file = "DomainParticipantFactory.cpp",
                                    .function = "DDS_DomainParticipantFactory_create_participant",
                                    .name = "DDS_LOG_OUT_OF_RESOURCES_s",
                                    .text = "out of resources: participant factory"}));
}

} // namespace
