// SPDX-License-Identifier: Apache-2.0
#include "participant.h"

#include <array>
#include <new>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "log.h"
#include "signals.h"
#include "words.h"

namespace {

constexpr const char *MULTICAST_PEER = "239.255.0.1";
constexpr const char *ALLOW_INTERFACES = "dds.transport.allow_interfaces";

void check(DDS_Boolean success) {
    if (success == DDS_BOOLEAN_FALSE) {
        throw std::bad_alloc();
    }
}

void check(DDS_ReturnCode_t code) {
    if (code == DDS_RETCODE_OUT_OF_RESOURCES) {
        throw std::bad_alloc();
    }
    if (code != DDS_RETCODE_OK) {
        throw LoggedFailure();
    }
}

void set(DDS_StringSeq &sequence, const std::vector<std::string> &texts) {
    check(DDS_StringSeq_set_length(&sequence, 0));
    for (const std::string &text : texts) {
        check(DDS_StringSeq_append(&sequence, text.c_str()));
    }
}

std::vector<std::string> without(const DDS_StringSeq &sequence, const std::string &unwanted) {
    std::vector<std::string> texts;

    for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&sequence); ++i) {
        const std::string text = DDS_StringSeq_get(&sequence, i);

        if (text != unwanted) {
            texts.push_back(text);
        }
    }
    return texts;
}

void set_discovery(DDS_DiscoveryQosPolicy &discovery, const RunOptions &options) {
    if (!options.peers.empty()) {
        set(discovery.initial_peers, options.peers);
    } else if (!options.multicast) {
        set(discovery.initial_peers, without(discovery.initial_peers, MULTICAST_PEER));
    }
    if (!options.multicast || !options.multicast_addresses.empty()) {
        set(discovery.multicast_receive_addresses, options.multicast_addresses);
    }
}

void set_property(DDS_PropertyQosPolicy &policy, const std::string &name,
                  const std::string &value) {
    check(DDS_PropertyQosPolicyHelper_assert_property(&policy, name.c_str(), value.c_str(),
                                                      DDS_BOOLEAN_FALSE));
}

void set_properties(DDS_PropertyQosPolicy &policy, const RunOptions &options) {
    for (const auto &[name, value] : options.properties) {
        set_property(policy, name, value);
    }
    if (!options.interfaces.empty()) {
        set_property(policy, ALLOW_INTERFACES, join(options.interfaces, ","));
    }
}

void set_qos(DDS_DomainParticipantQos &qos, const RunOptions &options) {
    qos.wire_protocol.participant_id = options.index;
    qos.wire_protocol.rtps_well_known_ports = options.well_known_ports;
    qos.wire_protocol.rtps_reserved_port_mask = options.reserved_ports;
    qos.transport_builtin.mask = options.transports;
    set_discovery(qos.discovery, options);
    set_properties(qos.property, options);
    if (options.name) {
        check(DDS_String_replace(&qos.participant_name.name, options.name->c_str()));
    }
    check(DDS_OctetSeq_from_array(&qos.user_data.value,
                                  reinterpret_cast<const DDS_Octet *>(options.user_data.data()),
                                  static_cast<DDS_Long>(options.user_data.size())));
}

const DDS_DomainParticipantListener LISTENER = {
    nullptr, nullptr, [](void *, DDS_DomainParticipant *) { announce_news(); }, nullptr};

using LocatorGetter = DDS_ReturnCode_t (*)(DDS_DomainParticipant *, DDS_LocatorSeq *);

std::vector<std::string> locators(DDS_DomainParticipant *participant, LocatorGetter get) {
    struct Sequence {
        DDS_LocatorSeq value = DDS_SEQUENCE_INITIALIZER;
        Sequence() = default;
        ~Sequence() {
            DDS_LocatorSeq_finalize(&value);
        }
        Sequence(const Sequence &) = delete;
        Sequence &operator=(const Sequence &) = delete;
    } sequence;
    std::vector<std::string> texts;

    check(get(participant, &sequence.value));
    for (DDS_Long i = 0; i < DDS_LocatorSeq_get_length(&sequence.value); ++i) {
        std::array<char, DDS_LOCATOR_STRING_SIZE> text = {};

        check(DDS_Locator_to_string(DDS_LocatorSeq_get_reference(&sequence.value, i), text.data(),
                                    text.size()));
        texts.emplace_back(text.data());
    }
    return texts;
}

} // namespace

std::string to_text(const DDS_GUID_t &guid) {
    constexpr const char *DIGITS = "0123456789abcdef";
    std::string text;

    for (const DDS_Octet octet : guid.value) {
        if (text.size() % 9 == 8) {
            text += '.';
        }
        text += DIGITS[octet >> 4];
        text += DIGITS[octet & 0xF];
    }
    return text;
}

Qos::Qos(const Factory &factory, const RunOptions &options) {
    try {
        check(DDS_DomainParticipantFactory_get_default_participant_qos(factory.get(), &qos_));
        set_qos(qos_, options);
    } catch (...) {
        (void)DDS_DomainParticipantQos_finalize(&qos_);
        throw;
    }
}

Qos::Qos(DDS_DomainParticipant *participant) {
    try {
        check(DDS_DomainParticipant_get_qos(participant, &qos_));
    } catch (...) {
        (void)DDS_DomainParticipantQos_finalize(&qos_);
        throw;
    }
}

Qos::~Qos() {
    (void)DDS_DomainParticipantQos_finalize(&qos_);
}

Factory::Factory() : factory_(DDS_DomainParticipantFactory_get_instance()) {
    if (factory_ == nullptr) {
        throw LoggedFailure();
    }
}

Factory::~Factory() {
    (void)DDS_DomainParticipantFactory_finalize_instance();
}

Participant::Participant(const Factory &factory, const RunOptions &options)
    : factory_(factory), settings_(options),
      participant_(DDS_DomainParticipantFactory_create_participant(
          factory.get(), options.domain, Qos(factory, options).get(), &LISTENER,
          DDS_STATUS_MASK_NONE)) {
    if (participant_ == nullptr) {
        throw LoggedFailure();
    }
}

Participant::~Participant() {
    if (participant_ != nullptr) {
        (void)DDS_DomainParticipantFactory_delete_participant(factory_.get(), participant_);
    }
}

Presence Participant::describe() const {
    const DDS_Long index = DDS_DomainParticipant_get_participant_index(participant_);
    DDS_GUID_t guid = {};

    check(DDS_DomainParticipant_get_guid(participant_, &guid));
    return {settings_.domain,
            index,
            to_text(guid),
            ports_of(settings_, index),
            locators(participant_, DDS_DomainParticipant_get_metatraffic_unicast_locators),
            locators(participant_, DDS_DomainParticipant_get_metatraffic_multicast_locators),
            locators(participant_, DDS_DomainParticipant_get_default_unicast_locators),
            locators(participant_, DDS_DomainParticipant_get_default_multicast_locators)};
}

Qos Participant::qos() const {
    return Qos(participant_);
}

void Participant::leave() {
    DDS_DomainParticipant *const participant = participant_;

    participant_ = nullptr;
    check(DDS_DomainParticipantFactory_delete_participant(factory_.get(), participant));
}
