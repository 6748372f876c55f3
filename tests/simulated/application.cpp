// SPDX-License-Identifier: Apache-2.0
// Applications on simulated hosts.
#include "application.h"

#include <algorithm>
#include <array>

#include <gtest/gtest.h>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "domain/DomainParticipantFactory_internal.h"

namespace simulated {

namespace {

/** Finalized with the object. */
class Qos {
public:
    explicit Qos(const Application::Settings &settings) {
        EXPECT_EQ(DDS_DomainParticipantQos_initialize(&qos_), DDS_RETCODE_OK);
        qos_.transport_builtin.mask = settings.transports;
        // What these applications are about is their ports.
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_property(&qos_.property, "dds.discovery.announce",
                                                           "false", DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
    }
    ~Qos() {
        DDS_DomainParticipantQos_finalize(&qos_);
    }
    Qos(const Qos &) = delete;
    Qos &operator=(const Qos &) = delete;

    const DDS_DomainParticipantQos *get() const {
        return &qos_;
    }

private:
    DDS_DomainParticipantQos qos_ = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
};

} // namespace

Application::Application(simnet::Host &host, const std::string &name,
                         const simnet::ProcessProperty &property)
    : process_(host.add_process(name, property)) {
    const NUVNetioRuntimeProperty runtime = process_.runtime_property();
    factory_ = process_.call([&] { return DDS_DomainParticipantFactory_newI(&runtime); });
    EXPECT_NE(factory_, nullptr);
}

Application::~Application() {
    while (!participants_.empty()) {
        EXPECT_EQ(remove(participants_.back()), DDS_RETCODE_OK);
    }
    EXPECT_EQ(process_.call([this] { return DDS_DomainParticipantFactory_deleteI(factory_); }),
              DDS_RETCODE_OK);
}

DDS_DomainParticipant *Application::create(const Settings &settings) {
    const Qos qos(settings);
    DDS_DomainParticipant *const participant = process_.call([&] {
        return DDS_DomainParticipantFactory_create_participant(factory_, 0, qos.get(), nullptr,
                                                               DDS_STATUS_MASK_NONE);
    });
    if (participant != nullptr) {
        participants_.push_back(participant);
    }
    return participant;
}

DDS_ReturnCode_t Application::remove(DDS_DomainParticipant *participant) {
    std::erase(participants_, participant);
    return process_.call(
        [&] { return DDS_DomainParticipantFactory_delete_participant(factory_, participant); });
}

std::vector<std::string> Application::locators(DDS_DomainParticipant *participant) {
    DDS_LocatorSeq sequence = DDS_SEQUENCE_INITIALIZER;
    std::vector<std::string> texts;
    EXPECT_EQ(process_.call([&] {
        return DDS_DomainParticipant_get_default_unicast_locators(participant, &sequence);
    }),
              DDS_RETCODE_OK);
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

DDS_Long Application::index(DDS_DomainParticipant *participant) {
    return process_.call([&] { return DDS_DomainParticipant_get_participant_index(participant); });
}

} // namespace simulated
