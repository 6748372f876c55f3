// SPDX-License-Identifier: Apache-2.0
#include "fixture.h"
#include "pres/pres_participant.h"

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

class Participant : public ParticipantTest {};

std::string ending(DDS_Long offset) {
    return ":" + std::to_string(support::portBase() + offset);
}

const std::vector<LocatorGetter> ALL_LOCATORS = {
    DDS_DomainParticipant_get_default_unicast_locators,
    DDS_DomainParticipant_get_default_multicast_locators,
    DDS_DomainParticipant_get_metatraffic_unicast_locators,
    DDS_DomainParticipant_get_metatraffic_multicast_locators,
};

TEST_F(Participant, IsEnabledWithAnIndexAndLocators) {
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    EXPECT_EQ(DDS_DomainParticipant_get_domain_id(participant), 0);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_THAT(locators(participant, DDS_DomainParticipant_get_metatraffic_unicast_locators),
                AllOf(Not(IsEmpty()), Each(EndsWith(ending(10)))));
    EXPECT_THAT(locators(participant, DDS_DomainParticipant_get_default_unicast_locators),
                AllOf(Not(IsEmpty()), Each(EndsWith(ending(11)))));
    EXPECT_THAT(locators(participant, DDS_DomainParticipant_get_metatraffic_multicast_locators),
                ElementsAre("udpv4://239.255.0.1" + ending(0)));
    EXPECT_THAT(locators(participant, DDS_DomainParticipant_get_default_multicast_locators),
                IsEmpty());
}

TEST_F(Participant, HasTheDefaultQosWhenNoneIsGiven) {
    DDS_DomainParticipant *const participant = DDS_DomainParticipantFactory_create_participant(
        factory, 9, DDS_PARTICIPANT_QOS_DEFAULT, nullptr, DDS_STATUS_MASK_NONE);

    ASSERT_NE(participant, nullptr);
    participants.push_back(participant);
    EXPECT_EQ(DDS_DomainParticipant_get_domain_id(participant), 9);
    EXPECT_GE(DDS_DomainParticipant_get_participant_index(participant), 0);
}

TEST_F(Participant, HasNeitherIndexNorLocatorsUntilItIsEnabled) {
    switch_autoenable_off();
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    EXPECT_EQ(DDS_DomainParticipant_get_domain_id(participant), 0);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), -1);
    for (const LocatorGetter get : ALL_LOCATORS) {
        EXPECT_THAT(locators(participant, get), IsEmpty());
    }
    EXPECT_EQ(DDS_DomainParticipant_enable(participant), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_THAT(locators(participant, DDS_DomainParticipant_get_default_unicast_locators),
                Not(IsEmpty()));
}

TEST_F(Participant, IsEnabledOnce) {
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    log.clear();
    EXPECT_EQ(DDS_DomainParticipant_enable(participant), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(Participant, MayBeDeletedWithoutHavingBeenEnabled) {
    switch_autoenable_off();
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    EXPECT_EQ(remove(participant), DDS_RETCODE_OK);
}

TEST_F(Participant, TakesTheIndexThatItIsGiven) {
    qos->wire_protocol.participant_id = 5;
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 5);
    EXPECT_THAT(locators(participant, DDS_DomainParticipant_get_default_unicast_locators),
                Each(EndsWith(ending(21))));
}

TEST_F(Participant, IsNotCreatedWithAFixedIndexThatIsTaken) {
    qos->wire_protocol.participant_id = 5;
    ASSERT_NE(create(), nullptr);
    log.clear();
    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(errors(),
                ElementsAre("failed to enable: No index available for participant",
                            "failed to enable: the participant gets no index in domain 0: udpv4 "
                            "port " +
                                std::to_string(support::portBase() + 20) + " is taken"));
}

TEST_F(Participant, StaysDisabledWhenEnablingFailsAndMayTryAgain) {
    switch_autoenable_off();
    qos->wire_protocol.participant_id = 5;
    DDS_DomainParticipant *const first = create();
    DDS_DomainParticipant *const second = create();

    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_EQ(DDS_DomainParticipant_enable(first), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_enable(second), DDS_RETCODE_ERROR);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(second), -1);
    EXPECT_EQ(remove(first), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_enable(second), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(second), 5);
}

TEST_F(Participant, WithoutAnyUnicastLocatorIsNotEnabled) {
    switch_autoenable_off();
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(
                  &qos->property, "dds.domain_participant.max_announced_locator_list_size", "0",
                  DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    log.clear();
    EXPECT_EQ(DDS_DomainParticipant_enable(participant), DDS_RETCODE_NO_DATA);
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("no locator")));
}

TEST_F(Participant, HasAnIdentityOfItsOwn) {
    DDS_GUID_t first = {};
    DDS_GUID_t second = {};

    ASSERT_TRUE(create() != nullptr && create() != nullptr);
    EXPECT_EQ(DDS_DomainParticipant_get_guid(participants[0], &first), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_get_guid(participants[1], &second), DDS_RETCODE_OK);
    EXPECT_NE(std::vector<DDS_Octet>(first.value, first.value + 12),
              std::vector<DDS_Octet>(second.value, second.value + 12));
    EXPECT_EQ(std::vector<DDS_Octet>(first.value + 12, first.value + 16),
              (std::vector<DDS_Octet>{0, 0, 1, 0xC1}));
}

TEST_F(Participant, TakesTheIdentityThatItIsGiven) {
    DDS_GUID_t guid = {};

    qos->wire_protocol.rtps_host_id = 0x01020304u;
    qos->wire_protocol.rtps_app_id = 0x05060708u;
    qos->wire_protocol.rtps_instance_id = 0x090A0B0Cu;
    ASSERT_NE(create(), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_get_guid(participants[0], &guid), DDS_RETCODE_OK);
    EXPECT_THAT(guid.value, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0, 0, 1, 0xC1));
}

TEST_F(Participant, IsNotCreatedWithAnInconsistentQos) {
    ASSERT_TRUE(DDS_OctetSeq_ensure_length(&qos->user_data.value, 257, 257));
    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(errors(),
                ElementsAre(AllOf(HasSubstr("user_data"), HasSubstr("257"), HasSubstr("256"))));
}

TEST_F(Participant, IsNotCreatedInANegativeDomain) {
    EXPECT_EQ(DDS_DomainParticipantFactory_create_participant(factory, -1, qos.get(), nullptr, 0),
              nullptr);
    EXPECT_THAT(errors(), Contains(HasSubstr("-1")));
}

TEST_F(Participant, WithTopicsIsNotDeleted) {
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    DDS_Topic *const topic = DDS_DomainParticipant_create_topic(participant, "square", "shape");

    ASSERT_NE(topic, nullptr);
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
              DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_THAT(locators(participant, DDS_DomainParticipant_get_default_unicast_locators),
                Not(IsEmpty()));
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
    EXPECT_EQ(remove(participant), DDS_RETCODE_OK);
}

class TopicMadeBeforeEnabling : public ParticipantTest,
                                public testing::WithParamInterface<DDS_Boolean> {};

INSTANTIATE_TEST_SUITE_P(Policy, TopicMadeBeforeEnabling,
                         testing::Values(DDS_BOOLEAN_FALSE, DDS_BOOLEAN_TRUE));

TEST_P(TopicMadeBeforeEnabling, IsEnabledWithTheParticipantIfThePolicySaysSo) {
    switch_autoenable_off();
    qos->entity_factory.autoenable_created_entities = GetParam();
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    DDS_Topic *const topic = DDS_DomainParticipant_create_topic(participant, "square", "shape");

    ASSERT_NE(topic, nullptr);
    const auto is_enabled = [topic] {
        return PRESTopic_isEnabled(reinterpret_cast<const PRESTopic *>(topic)) != 0;
    };

    EXPECT_FALSE(is_enabled());
    EXPECT_EQ(DDS_DomainParticipant_enable(participant), DDS_RETCODE_OK);
    EXPECT_EQ(is_enabled(), GetParam() == DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
}

TEST_F(Participant, HasTopicsWithNames) {
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    DDS_Topic *const topic = DDS_DomainParticipant_create_topic(participant, "square", "shape");

    ASSERT_NE(topic, nullptr);
    EXPECT_STREQ(DDS_Topic_get_name(topic), "square");
    EXPECT_STREQ(DDS_Topic_get_type_name(topic), "shape");
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
}

TEST_F(Participant, DoesNotDeleteTopicsOfOthers) {
    ASSERT_TRUE(create() != nullptr && create() != nullptr);
    DDS_Topic *const topic = DDS_DomainParticipant_create_topic(participants[0], "square", "shape");

    ASSERT_NE(topic, nullptr);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participants[1], topic),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participants[0], topic), DDS_RETCODE_OK);
}

/** Writes down which topics it was told of. */
struct Told {
    static void on_inconsistent_topic(void *data, DDS_Topic *topic) {
        static_cast<Told *>(data)->names.emplace_back(DDS_Topic_get_name(topic));
    }

    std::vector<std::string> names;
    DDS_DomainParticipantListener listener = {this, on_inconsistent_topic, nullptr, nullptr};
};

TEST_F(Participant, TellsItsListenerOfATopicAskedForWithAnotherType) {
    Told told;
    DDS_DomainParticipant *const participant = create(&told.listener, DDS_STATUS_MASK_ALL);

    ASSERT_NE(participant, nullptr);
    DDS_Topic *const topic = DDS_DomainParticipant_create_topic(participant, "square", "shape");

    ASSERT_NE(topic, nullptr);
    EXPECT_EQ(DDS_DomainParticipant_create_topic(participant, "square", "form"), nullptr);
    EXPECT_THAT(told.names, ElementsAre("square"));
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
}

TEST_F(Participant, TellsItsListenerOnlyWhatItAskedFor) {
    Told told;
    DDS_DomainParticipant *const participant = create(&told.listener, DDS_STATUS_MASK_NONE);

    ASSERT_NE(participant, nullptr);
    DDS_Topic *const topic = DDS_DomainParticipant_create_topic(participant, "square", "shape");

    EXPECT_EQ(DDS_DomainParticipant_create_topic(participant, "square", "form"), nullptr);
    EXPECT_THAT(told.names, IsEmpty());
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
}

TEST_F(Participant, DoesWithoutACallback) {
    const DDS_DomainParticipantListener listener = {};
    DDS_DomainParticipant *const participant = create(&listener, DDS_STATUS_MASK_ALL);

    ASSERT_NE(participant, nullptr);
    DDS_Topic *const topic = DDS_DomainParticipant_create_topic(participant, "square", "shape");

    EXPECT_EQ(DDS_DomainParticipant_create_topic(participant, "square", "form"), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
}

TEST_F(Participant, GivesItsQosBack) {
    DDS_DomainParticipantQos out = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;

    ASSERT_TRUE(DDS_String_replace(&qos->participant_name.name, "somebody"));
    ASSERT_TRUE(DDS_OctetSeq_ensure_length(&qos->user_data.value, 3, 3));
    ASSERT_NE(create(), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_get_qos(participants[0], &out), DDS_RETCODE_OK);
    EXPECT_STREQ(out.participant_name.name, "somebody");
    EXPECT_TRUE(DDS_UserDataQosPolicy_is_equal(&out.user_data, &qos->user_data));
    EXPECT_TRUE(DDS_DiscoveryQosPolicy_is_equal(&out.discovery, &qos->discovery));
    (void)DDS_DomainParticipantQos_finalize(&out);
}

TEST_F(Participant, TakesANewQosWhereItMayChange) {
    DDS_DomainParticipantQos out = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;

    ASSERT_NE(create(), nullptr);
    ASSERT_TRUE(DDS_OctetSeq_ensure_length(&qos->user_data.value, 3, 3));
    EXPECT_EQ(DDS_DomainParticipant_set_qos(participants[0], qos.get()), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_get_qos(participants[0], &out), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_UserDataQosPolicy_is_equal(&out.user_data, &qos->user_data));
    (void)DDS_DomainParticipantQos_finalize(&out);
}

TEST_F(Participant, KeepsWhatIsFixedAtCreation) {
    ASSERT_NE(create(), nullptr);
    log.clear();
    qos->transport_builtin.mask = DDS_TRANSPORTBUILTIN_MASK_ALL;
    EXPECT_EQ(DDS_DomainParticipant_set_qos(participants[0], qos.get()),
              DDS_RETCODE_IMMUTABLE_POLICY);
    EXPECT_THAT(errors(), Contains(HasSubstr("transport_builtin")));
}

TEST_F(Participant, HasNoLocatorsToUpdateUntilItIsEnabled) {
    switch_autoenable_off();
    ASSERT_NE(create(), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participants[0]), DDS_RETCODE_NOT_ENABLED);
}

TEST_F(Participant, KeepsItsLocatorsWhenNothingHasChanged) {
    ASSERT_NE(create(), nullptr);
    const auto get = DDS_DomainParticipant_get_default_unicast_locators;
    const std::vector<std::string> before = locators(participants[0], get);

    log.clear();
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participants[0]), DDS_RETCODE_OK);
    EXPECT_EQ(locators(participants[0], get), before);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_LOCAL), IsEmpty());
}

TEST_F(Participant, RefusesNull) {
    DDS_DomainParticipant *const participant = create();
    DDS_DomainParticipantQos out = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    DDS_LocatorSeq sequence = DDS_SEQUENCE_INITIALIZER;
    DDS_GUID_t guid = {};

    ASSERT_NE(participant, nullptr);
    EXPECT_EQ(DDS_DomainParticipant_enable(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_update_locators(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_get_qos(nullptr, &out), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_get_qos(participant, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_set_qos(nullptr, qos.get()), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_get_domain_id(nullptr), -1);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(nullptr), -1);
    EXPECT_EQ(DDS_DomainParticipant_get_guid(nullptr, &guid), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_get_guid(participant, nullptr), DDS_RETCODE_BAD_PARAMETER);
    for (const LocatorGetter get : ALL_LOCATORS) {
        EXPECT_EQ(get(nullptr, &sequence), DDS_RETCODE_BAD_PARAMETER);
        EXPECT_EQ(get(participant, nullptr), DDS_RETCODE_BAD_PARAMETER);
    }
    EXPECT_EQ(DDS_DomainParticipant_create_topic(nullptr, "square", "shape"), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_create_topic(participant, nullptr, "shape"), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_create_topic(participant, "square", nullptr), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(nullptr, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_Topic_get_name(nullptr), nullptr);
    EXPECT_EQ(DDS_Topic_get_type_name(nullptr), nullptr);
}

} // namespace
