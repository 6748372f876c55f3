// SPDX-License-Identifier: Apache-2.0
#include "fixture.h"

#include "support/ports.h"

Qos::~Qos() {
    EXPECT_EQ(DDS_DomainParticipantQos_finalize(&qos_), DDS_RETCODE_OK);
}

void Qos::setDefault() {
    EXPECT_EQ(DDS_DomainParticipantQos_finalize(&qos_), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantQos_initialize(&qos_), DDS_RETCODE_OK);
    qos_.wire_protocol.rtps_well_known_ports.port_base = support::portBase();
}

void Qos::setUserData(const std::vector<DDS_Octet> &octets) {
    EXPECT_TRUE(DDS_OctetSeq_from_array(&qos_.user_data.value, octets.data(),
                                        static_cast<DDS_Long>(octets.size())));
}

void Qos::addPartition(const char *name) {
    EXPECT_TRUE(DDS_StringSeq_append(&qos_.partition.name, name));
}

void Qos::addPeer(const char *address) {
    EXPECT_TRUE(DDS_StringSeq_append(&qos_.discovery.initial_peers, address));
}

void Qos::setProperty(const char *name, const char *value) {
    EXPECT_EQ(
        DDS_PropertyQosPolicyHelper_assert_property(&qos_.property, name, value, DDS_BOOLEAN_FALSE),
        DDS_RETCODE_OK);
}

void Qos::removeProperties() {
    DDS_PropertyQosPolicy_finalize(&qos_.property);
}

void ParticipantQos::SetUp() {
    factory = DDS_DomainParticipantFactory_get_instance();
    ASSERT_NE(factory, nullptr);
    qos.setDefault();
}

void ParticipantQos::TearDown() {
    if (participant != nullptr) {
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                  DDS_RETCODE_OK);
    }
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
    DDS_DomainParticipantQos_finalize(qos.get());
    DDS_DomainParticipantQos_finalize(out.get());
    EXPECT_EQ(heap.change(), support::Blocks());
    EXPECT_EQ(heap.refusals(), 0u);
    EXPECT_EQ(support::openSockets(), socketsBefore);
}

void ParticipantQos::create(bool isEnabled, const DDS_DomainParticipantListener *listener) {
    const DDS_DomainParticipantFactoryQos factoryQos = {
        {isEnabled ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE}};
    ASSERT_EQ(DDS_DomainParticipantFactory_set_qos(factory, &factoryQos), DDS_RETCODE_OK);
    participant = DDS_DomainParticipantFactory_create_participant(factory, 0, qos.get(), listener,
                                                                  DDS_STATUS_MASK_NONE);
    ASSERT_NE(participant, nullptr);
    log.clear();
}

void ParticipantQos::expectQos(const Qos &expected) {
    Qos now;
    EXPECT_EQ(DDS_DomainParticipant_get_qos(participant, now.get()), DDS_RETCODE_OK);
    EXPECT_TRUE(now == expected);
}

std::vector<std::string> ParticipantQos::errors() const {
    std::vector<std::string> texts;
    for (const support::Message &message : log.messages()) {
        if (message.level == NUV_LOG_LEVEL_ERROR || message.level == NUV_LOG_LEVEL_FATAL) {
            texts.push_back(message.text);
        }
    }
    return texts;
}

std::vector<std::string> ParticipantQos::locators(DDS_DomainParticipant *of) {
    DDS_LocatorSeq sequence = DDS_SEQUENCE_INITIALIZER;
    std::vector<std::string> texts;
    EXPECT_EQ(DDS_DomainParticipant_get_default_unicast_locators(of, &sequence), DDS_RETCODE_OK);
    for (DDS_Long i = 0; i < DDS_LocatorSeq_get_length(&sequence); ++i) {
        char text[DDS_LOCATOR_STRING_SIZE];
        EXPECT_EQ(
            DDS_Locator_to_string(DDS_LocatorSeq_get_reference(&sequence, i), text, sizeof text),
            DDS_RETCODE_OK);
        texts.emplace_back(text);
    }
    DDS_LocatorSeq_finalize(&sequence);
    return texts;
}
