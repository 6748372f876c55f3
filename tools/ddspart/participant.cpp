// SPDX-License-Identifier: Apache-2.0
#include "participant.h"

#include <new>
#include <utility>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "log.h"
#include "properties.h"
#include "signals.h"
#include "words.h"

namespace {

constexpr const char *MULTICAST_PEER = "239.255.0.1";
/** More than anybody reads; a reader that takes nothing makes them wait. */
constexpr std::size_t ENCOUNTERS_HIGHEST = 4096;

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

void set_discovery(DDS_DiscoveryQosPolicy &discovery, const ParticipantOptions &options) {
    if (!options.peers.empty() || !options.is_announced) { // names of peers would be looked up
        set(discovery.initial_peers, options.peers);
    } else if (!options.multicast) {
        set(discovery.initial_peers, without(discovery.initial_peers, MULTICAST_PEER));
    }
    for (const std::string &peer : options.further_peers) {
        check(DDS_StringSeq_append(&discovery.initial_peers, peer.c_str()));
    }
    if (!options.multicast || !options.multicast_addresses.empty()) {
        set(discovery.multicast_receive_addresses, options.multicast_addresses);
    }
}

void set_property(DDS_PropertyQosPolicy &policy, const std::string &name, const std::string &value,
                  DDS_Boolean propagate = DDS_BOOLEAN_FALSE) {
    check(DDS_PropertyQosPolicyHelper_assert_property(&policy, name.c_str(), value.c_str(),
                                                      propagate));
}

void set_properties(DDS_PropertyQosPolicy &policy, const ParticipantOptions &options) {
    for (const auto &[name, value] : options.properties) {
        set_property(policy, name, value);
    }
    if (!options.interfaces.empty()) {
        set_property(policy, ALLOW_INTERFACES, join(options.interfaces, ","));
    }
    if (!options.is_announced) {
        set_property(policy, ANNOUNCE, "false");
    }
    for (const auto &[name, value] : options.announced_properties) {
        set_property(policy, name, value, DDS_BOOLEAN_TRUE);
    }
    if (options.tool) {
        set_property(policy, TOOL_PROPERTY, *options.tool, DDS_BOOLEAN_TRUE);
    }
}

void set_qos(DDS_DomainParticipantQos &qos, const ParticipantOptions &options) {
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

using LocatorGetter = DDS_ReturnCode_t (*)(DDS_DomainParticipant *, DDS_LocatorSeq *);

/** A record of the library that is finalized with the object. */
template <class Record, void (*finalize)(Record *)>
struct Owned {
    Record value;
    explicit Owned(const Record &initial) : value(initial) {}
    ~Owned() {
        finalize(&value);
    }
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;
};

using Locators = Owned<DDS_LocatorSeq, DDS_LocatorSeq_finalize>;
using Handles = Owned<DDS_InstanceHandleSeq, DDS_InstanceHandleSeq_finalize>;
using Data = Owned<DDS_ParticipantBuiltinTopicData, DDS_ParticipantBuiltinTopicData_finalize>;

std::vector<std::string> locators(DDS_DomainParticipant *participant, LocatorGetter get) {
    Locators sequence(DDS_SEQUENCE_INITIALIZER);

    check(get(participant, &sequence.value));
    return to_texts(sequence.value);
}

Encounter::Change to_change(DDS_DiscoveredParticipantChange change) {
    switch (change) {
    case DDS_DISCOVERED_PARTICIPANT_CAME:
        return Encounter::Change::CAME;
    case DDS_DISCOVERED_PARTICIPANT_CHANGED:
        return Encounter::Change::CHANGED;
    case DDS_DISCOVERED_PARTICIPANT_LEFT:
        return Encounter::Change::LEFT;
    case DDS_DISCOVERED_PARTICIPANT_LOST:
        break;
    }
    return Encounter::Change::LOST;
}

} // namespace

Qos::Qos(const Factory &factory, const ParticipantOptions &options) {
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

void Encounters::add(Encounter encounter) {
    const std::lock_guard lock(mutex_);

    if (waiting_.encounters.size() < ENCOUNTERS_HIGHEST) {
        waiting_.encounters.push_back(std::move(encounter));
    } else {
        ++waiting_.missed;
    }
    announce_news();
}

Encounters::Taken Encounters::take() {
    const std::lock_guard lock(mutex_);

    return std::exchange(waiting_, {{}, 0});
}

Participant::Participant(const Factory &factory, const ParticipantOptions &options)
    : Participant(factory, options, nullptr) {}

Participant::Participant(const Factory &factory, const ParticipantOptions &options,
                         Encounters &encounters)
    : Participant(factory, options, &encounters) {}

Participant::Participant(const Factory &factory, const ParticipantOptions &options,
                         Encounters *encounters)
    : factory_(factory), settings_(options), encounters_(encounters) {
    const DDS_DomainParticipantListener listener = {
        this, nullptr, [](void *, DDS_DomainParticipant *) { announce_news(); }, meet};

    participant_ = DDS_DomainParticipantFactory_create_participant(
        factory.get(), options.domain, Qos(factory, options).get(),
        encounters != nullptr ? &listener : nullptr, DDS_STATUS_MASK_NONE);
    if (participant_ == nullptr) {
        throw LoggedFailure();
    }
}

/** What it throws would have to go through the library, and ends the process. */
void Participant::meet(void *participant, DDS_DomainParticipant *,
                       const DDS_ParticipantBuiltinTopicData *data,
                       DDS_DiscoveredParticipantChange change) noexcept {
    const Participant &self = *static_cast<const Participant *>(participant);

    self.encounters_->add({to_change(change), sighting_of(*data, self.settings_.well_known_ports)});
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

DDS_DiscoveryStatistics Participant::statistics() const {
    DDS_DiscoveryStatistics statistics = {};

    check(DDS_DomainParticipant_get_discovery_statistics(participant_, &statistics));
    return statistics;
}

std::vector<Sighting> Participant::others() const {
    std::vector<Sighting> others;
    Handles handles(DDS_SEQUENCE_INITIALIZER);
    Data data(DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_INITIALIZER);

    check(DDS_DomainParticipant_get_discovered_participants(participant_, &handles.value));
    for (DDS_Long i = 0; i < DDS_InstanceHandleSeq_get_length(&handles.value); ++i) {
        const Silence silence; // one that has gone meanwhile is no error
        const DDS_ReturnCode_t code = DDS_DomainParticipant_get_discovered_participant_data(
            participant_, &data.value, DDS_InstanceHandleSeq_get_reference(&handles.value, i));

        if (code != DDS_RETCODE_PRECONDITION_NOT_MET) {
            check(code);
            others.push_back(sighting_of(data.value, settings_.well_known_ports));
        }
    }
    return others;
}

void Participant::leave() {
    DDS_DomainParticipant *const participant = participant_;

    participant_ = nullptr;
    check(DDS_DomainParticipantFactory_delete_participant(factory_.get(), participant));
}
