// SPDX-License-Identifier: Apache-2.0
#include "fixture.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class Factory : public ParticipantTest {};

TEST_F(Factory, IsTheSameForEverybody) {
    EXPECT_EQ(DDS_DomainParticipantFactory_get_instance(), factory);
}

TEST_F(Factory, MayBeFinalizedTwiceAndComesBack) {
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
    factory = DDS_DomainParticipantFactory_get_instance();
    ASSERT_NE(factory, nullptr);
    EXPECT_NE(create(), nullptr);
}

TEST_F(Factory, StaysWhileParticipantsExist) {
    ASSERT_NE(create(), nullptr);
    log.clear();
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("1 participants exist")));
    EXPECT_EQ(DDS_DomainParticipantFactory_get_instance(), factory);
}

TEST_F(Factory, EnablesParticipantsUnlessToldOtherwise) {
    DDS_DomainParticipantFactoryQos out = {{DDS_BOOLEAN_FALSE}};

    EXPECT_EQ(DDS_DomainParticipantFactory_get_qos(factory, &out), DDS_RETCODE_OK);
    EXPECT_EQ(out.entity_factory.autoenable_created_entities, DDS_BOOLEAN_TRUE);
    switch_autoenable_off();
    EXPECT_EQ(DDS_DomainParticipantFactory_get_qos(factory, &out), DDS_RETCODE_OK);
    EXPECT_EQ(out.entity_factory.autoenable_created_entities, DDS_BOOLEAN_FALSE);
}

TEST_F(Factory, RefusesABooleanThatIsNone) {
    const DDS_DomainParticipantFactoryQos wrong = {{2}};
    DDS_DomainParticipantFactoryQos out = {{DDS_BOOLEAN_FALSE}};

    EXPECT_EQ(DDS_DomainParticipantFactory_set_qos(factory, &wrong),
              DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_THAT(errors(),
                ElementsAre("inconsistent QoS: entity_factory.autoenable_created_entities "
                            "is 2; allowed are 0 and 1"));
    EXPECT_EQ(DDS_DomainParticipantFactory_get_qos(factory, &out), DDS_RETCODE_OK);
    EXPECT_EQ(out.entity_factory.autoenable_created_entities, DDS_BOOLEAN_TRUE);
}

TEST_F(Factory, HasTheUsualQosAsDefault) {
    DDS_DomainParticipantQos usual = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    DDS_DomainParticipantQos out = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;

    ASSERT_EQ(DDS_DomainParticipantQos_initialize(&usual), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantFactory_get_default_participant_qos(factory, &out),
              DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_DomainParticipantQos_is_equal(&out, &usual));
    (void)DDS_DomainParticipantQos_finalize(&out);
    (void)DDS_DomainParticipantQos_finalize(&usual);
}

TEST_F(Factory, RefusesNull) {
    DDS_DomainParticipantFactoryQos factory_qos = {{DDS_BOOLEAN_TRUE}};
    DDS_DomainParticipantQos participant_qos = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    EXPECT_EQ(DDS_DomainParticipantFactory_get_qos(nullptr, &factory_qos),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipantFactory_get_qos(factory, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipantFactory_set_qos(nullptr, &factory_qos),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipantFactory_set_qos(factory, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipantFactory_get_default_participant_qos(nullptr, &participant_qos),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipantFactory_get_default_participant_qos(factory, nullptr),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipantFactory_create_participant(nullptr, 0, qos.get(), nullptr, 0),
              nullptr);
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(nullptr, participant),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, nullptr),
              DDS_RETCODE_BAD_PARAMETER);
}

TEST_F(Factory, DeletesOnlyItsOwnParticipants) {
    int something = 0;

    ASSERT_NE(create(), nullptr);
    log.clear();
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(
                  factory, reinterpret_cast<DDS_DomainParticipant *>(&something)),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("none of this factory's")));
}

TEST_F(Factory, DeletesAParticipantOnce) {
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    EXPECT_EQ(remove(participant), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
              DDS_RETCODE_BAD_PARAMETER);
}

} // namespace
