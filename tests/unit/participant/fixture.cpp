// SPDX-License-Identifier: Apache-2.0
#include "fixture.h"

#include <algorithm>
#include <array>
#include <filesystem>

Qos::Qos() {
    EXPECT_EQ(DDS_DomainParticipantQos_initialize(&qos_), DDS_RETCODE_OK);
    qos_.wire_protocol.rtps_well_known_ports.port_base = support::portBase();
}

Qos::~Qos() {
    EXPECT_EQ(DDS_DomainParticipantQos_finalize(&qos_), DDS_RETCODE_OK);
}

std::multiset<std::string> open_files() {
    std::multiset<std::string> files;

    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error; // of the directory itself, which is closed by now

        files.insert(std::filesystem::read_symlink(entry.path(), error).string());
    }
    return files;
}

std::vector<std::string> locators(DDS_DomainParticipant *participant, LocatorGetter get) {
    DDS_LocatorSeq sequence = DDS_SEQUENCE_INITIALIZER;
    std::vector<std::string> texts;

    EXPECT_EQ(get(participant, &sequence), DDS_RETCODE_OK);
    for (DDS_Long i = 0; i < DDS_LocatorSeq_get_length(&sequence); ++i) {
        std::array<char, DDS_LOCATOR_STRING_SIZE> text{};

        EXPECT_EQ(DDS_Locator_to_string(DDS_LocatorSeq_get_reference(&sequence, i), text.data(),
                                        text.size()),
                  DDS_RETCODE_OK);
        texts.emplace_back(text.data());
    }
    DDS_LocatorSeq_finalize(&sequence);
    return texts;
}

ParticipantTest::ParticipantTest() : factory(DDS_DomainParticipantFactory_get_instance()) {}

void ParticipantTest::TearDown() {
    while (!participants.empty()) {
        EXPECT_EQ(remove(participants.back()), DDS_RETCODE_OK);
    }
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
    EXPECT_EQ(open_files(), files_before);
    EXPECT_EQ(heap.refusals(), 0u);
}

DDS_DomainParticipant *ParticipantTest::create(const DDS_DomainParticipantListener *listener,
                                               DDS_StatusMask mask) {
    DDS_DomainParticipant *const participant =
        DDS_DomainParticipantFactory_create_participant(factory, 0, qos.get(), listener, mask);

    if (participant != nullptr) {
        participants.push_back(participant);
    }
    return participant;
}

DDS_ReturnCode_t ParticipantTest::remove(DDS_DomainParticipant *participant) {
    participants.erase(std::ranges::find(participants, participant));
    return DDS_DomainParticipantFactory_delete_participant(factory, participant);
}

void ParticipantTest::switch_autoenable_off() {
    const DDS_DomainParticipantFactoryQos off = {{DDS_BOOLEAN_FALSE}};

    EXPECT_EQ(DDS_DomainParticipantFactory_set_qos(factory, &off), DDS_RETCODE_OK);
}

std::vector<std::string> ParticipantTest::messages(NUV_UINT32 level) const {
    std::vector<std::string> texts;

    for (const support::Message &message : log.messages()) {
        if (message.level == level) {
            texts.push_back(message.text);
        }
    }
    return texts;
}
