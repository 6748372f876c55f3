// SPDX-License-Identifier: Apache-2.0
// The QoS of a participant, one setting a line.
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "dds_c/dds_c_domainparticipantqos.h"
#include "endpoint_reader.h"
#include "fuzz.h"
#include "osapi/osapi_heap.h"
#include "qos/DomainParticipantQos_internal.h"

namespace {

using Qos = DDS_DomainParticipantQos;

fuzz::Input input_of(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()};
}

/** What a line that begins with the setting's name does to a QoS with the rest of it. */
struct Setting {
    const char *name;
    void (*set)(Qos &qos, std::string_view value);
};

template <typename Number>
void set_number(Number &number, std::string_view value) {
    number = static_cast<Number>(fuzz::number_in(value).value_or(0));
}

/** A text of the library's; "null" is none. */
void set_text(char *&text, std::string_view value) {
    DDS_String_free(text);
    text = value == "null" ? nullptr : DDS_String_dup(std::string(value).c_str());
}

void append_text(DDS_StringSeq &texts, std::string_view value) {
    const DDS_Long length = DDS_StringSeq_get_length(&texts);
    DDS_StringSeq_ensure_length(&texts, length + 1, 2 * length + 1);
    set_text(*DDS_StringSeq_get_reference(&texts, length), value);
}

void append_texts(DDS_StringSeq &texts, std::string_view values) {
    for (fuzz::Input input = input_of(values); !input.is_empty();) {
        append_text(texts, input.take_to(','));
    }
}

void append_unicast(Qos &qos, std::string_view value) {
    DDS_TransportUnicastSettingsSeq &all = qos.default_unicast.value;
    const DDS_Long length = DDS_TransportUnicastSettingsSeq_get_length(&all);
    DDS_TransportUnicastSettingsSeq_ensure_length(&all, length + 1, length + 1);
    auto &settings = *DDS_TransportUnicastSettingsSeq_get_reference(&all, length);
    fuzz::Input input = input_of(value);
    set_number(settings.receive_port, input.take_to(' '));
    append_texts(settings.transports, input.rest());
}

void append_mapping(Qos &qos, std::string_view value) {
    DDS_TransportMulticastMappingSeq &all = qos.multicast_mapping.value;
    const DDS_Long length = DDS_TransportMulticastMappingSeq_get_length(&all);
    DDS_TransportMulticastMappingSeq_ensure_length(&all, length + 1, length + 1);
    auto &mapping = *DDS_TransportMulticastMappingSeq_get_reference(&all, length);
    fuzz::Input input = input_of(value);
    set_text(mapping.topic_expression, input.take_to(' '));
    append_texts(mapping.addresses, input.rest());
}

/** "PROPAGATE NAME=VALUE"; what the helpers of single properties refuse is possible too. */
void append_property(Qos &qos, std::string_view value) {
    DDS_PropertySeq &all = qos.property.value;
    const DDS_Long length = DDS_PropertySeq_get_length(&all);
    DDS_PropertySeq_ensure_length(&all, length + 1, length + 1);
    DDS_Property_t &property = *DDS_PropertySeq_get_reference(&all, length);
    fuzz::Input input = input_of(value);
    set_number(property.propagate, input.take_to(' '));
    set_text(property.name, input.take_to('='));
    set_text(property.value, input.rest());
}

void set_user_data(Qos &qos, std::string_view value) {
    DDS_OctetSeq_from_array(&qos.user_data.value, reinterpret_cast<const DDS_Octet *>(value.data()),
                            static_cast<DDS_Long>(value.size()));
}

#define NUMBER(field)                                                                              \
    {                                                                                              \
#field, [](Qos & qos, std::string_view value) { set_number(qos.field, value); }            \
    }
#define TEXT(field)                                                                                \
    {                                                                                              \
#field, [](Qos & qos, std::string_view value) { set_text(qos.field, value); }              \
    }
#define TEXTS(field)                                                                               \
    {                                                                                              \
#field, [](Qos & qos, std::string_view value) { append_text(qos.field, value); }           \
    }

const Setting SETTINGS[] = {
    {"user_data.value", set_user_data},
    NUMBER(entity_factory.autoenable_created_entities),
    NUMBER(wire_protocol.participant_id),
    NUMBER(wire_protocol.rtps_host_id),
    NUMBER(wire_protocol.rtps_app_id),
    NUMBER(wire_protocol.rtps_instance_id),
    NUMBER(wire_protocol.rtps_well_known_ports.port_base),
    NUMBER(wire_protocol.rtps_well_known_ports.domain_id_gain),
    NUMBER(wire_protocol.rtps_well_known_ports.participant_id_gain),
    NUMBER(wire_protocol.rtps_well_known_ports.builtin_multicast_port_offset),
    NUMBER(wire_protocol.rtps_well_known_ports.builtin_unicast_port_offset),
    NUMBER(wire_protocol.rtps_well_known_ports.user_multicast_port_offset),
    NUMBER(wire_protocol.rtps_well_known_ports.user_unicast_port_offset),
    NUMBER(wire_protocol.rtps_reserved_port_mask),
    NUMBER(transport_builtin.mask),
    {"default_unicast.value", append_unicast},
    {"multicast_mapping.value", append_mapping},
    TEXTS(discovery.enabled_transports),
    TEXTS(discovery.initial_peers),
    TEXTS(discovery.multicast_receive_addresses),
    NUMBER(discovery_config.locator_reachability_lease_duration.sec),
    NUMBER(discovery_config.locator_reachability_lease_duration.nanosec),
    NUMBER(discovery_config.builtin_discovery_plugins),
    NUMBER(discovery_config.lease_duration.sec),
    NUMBER(discovery_config.lease_duration.nanosec),
    NUMBER(discovery_config.announcement_period.sec),
    NUMBER(discovery_config.announcement_period.nanosec),
    NUMBER(discovery_config.initial_announcements),
    NUMBER(discovery_config.initial_announcement_period.sec),
    NUMBER(discovery_config.initial_announcement_period.nanosec),
    TEXT(discovery_config.domain_tag),
    NUMBER(resource_limits.transport_info_list_max_length),
    NUMBER(resource_limits.participant_user_data_max_length),
    NUMBER(resource_limits.participant_property_list_max_length),
    NUMBER(resource_limits.participant_property_string_max_length),
    NUMBER(resource_limits.remote_participants_max),
    {"property.value", append_property},
    TEXT(participant_name.name),
    TEXT(participant_name.role_name),
    TEXTS(partition.name),
};

/** A QoS with the settings of a text. */
class OwnedQos {
public:
    OwnedQos() {
        fuzz::must(DDS_DomainParticipantQos_initialize(&qos) == DDS_RETCODE_OK,
                   "there is a default QoS");
    }
    explicit OwnedQos(std::string_view text) : OwnedQos() {
        for (fuzz::Input input = input_of(text); !input.is_empty();) {
            fuzz::Input line = input_of(input.line());
            const std::string_view name = line.take_to(' ');
            for (const Setting &setting : SETTINGS) {
                if (name == setting.name) {
                    setting.set(qos, line.rest());
                }
            }
        }
    }
    ~OwnedQos() {
        fuzz::must(DDS_DomainParticipantQos_finalize(&qos) == DDS_RETCODE_OK,
                   "a QoS can be finalized");
    }
    OwnedQos(const OwnedQos &) = delete;
    OwnedQos &operator=(const OwnedQos &) = delete;

    Qos qos;
};

/* ---- A QoS as text, equal where its meaning is ------------------------------------------------
 */

std::string print(const char *text) {
    return text == nullptr ? "null;" : std::to_string(std::string(text).size()) + ":" + text + ";";
}

std::string print(long long number) {
    return std::to_string(number) + ";";
}

template <typename TSeq, typename Print>
std::string print(const TSeq &sequence, Print print_element) {
    std::string text = std::to_string(sequence._length) + "{";
    for (DDS_Long i = 0; i < sequence._length; ++i) {
        text += print_element(sequence._buffer[i]);
    }
    return text + "}";
}

std::string print(const DDS_StringSeq &texts) {
    return print(texts, [](const char *text) { return print(text); });
}

bool is_infinite(const DDS_Duration_t &duration) {
    return duration.sec == 0x7FFFFFFF || duration.nanosec == 0x7FFFFFFFu ||
           duration.nanosec == 0xFFFFFFFFu;
}

std::string print(const DDS_Duration_t &duration) {
    return is_infinite(duration) ? "infinite;" : print(duration.sec) + print(duration.nanosec);
}

std::string print(const DDS_PartitionQosPolicy &policy) {
    const std::string names = print(policy.name);
    return names == "1{0:;}" ? print(DDS_StringSeq DDS_SEQUENCE_INITIALIZER) : names;
}

/** What the property of the presentation participant carries. */
std::string print_carried(const Qos &qos) {
    const auto &limits = qos.resource_limits;
    return print(qos.user_data.value, [](DDS_Octet octet) { return print(octet); }) +
           print(qos.entity_factory.autoenable_created_entities) +
           print(qos.wire_protocol.participant_id) + print(qos.wire_protocol.rtps_host_id) +
           print(qos.wire_protocol.rtps_app_id) + print(qos.wire_protocol.rtps_instance_id) +
           print(qos.transport_builtin.mask) +
           print(qos.discovery_config.locator_reachability_lease_duration) +
           print(qos.discovery_config.builtin_discovery_plugins) +
           print(limits.transport_info_list_max_length) +
           print(limits.participant_user_data_max_length) +
           print(limits.participant_property_list_max_length) +
           print(limits.participant_property_string_max_length) +
           print(qos.property.value,
                 [](const DDS_Property_t &property) {
                     return print(property.name) + print(property.value) +
                            print(property.propagate);
                 }) +
           print(qos.participant_name.name) + print(qos.participant_name.role_name) +
           print(qos.partition);
}

std::string print(const Qos &qos) {
    const DDS_RtpsWellKnownPorts_t &ports = qos.wire_protocol.rtps_well_known_ports;
    return print_carried(qos) + print(ports.port_base) + print(ports.domain_id_gain) +
           print(ports.participant_id_gain) + print(ports.builtin_multicast_port_offset) +
           print(ports.builtin_unicast_port_offset) + print(ports.user_multicast_port_offset) +
           print(ports.user_unicast_port_offset) +
           print(qos.wire_protocol.rtps_reserved_port_mask) +
           print(qos.default_unicast.value,
                 [](const DDS_TransportUnicastSettings_t &settings) {
                     return print(settings.transports) + print(settings.receive_port);
                 }) +
           print(qos.multicast_mapping.value,
                 [](const DDS_TransportMulticastMapping_t &mapping) {
                     return print(mapping.addresses) + print(mapping.topic_expression);
                 }) +
           print(qos.discovery.enabled_transports) + print(qos.discovery.initial_peers) +
           print(qos.discovery.multicast_receive_addresses) +
           print(qos.discovery_config.lease_duration) +
           print(qos.discovery_config.announcement_period) +
           print(qos.discovery_config.initial_announcements) +
           print(qos.discovery_config.initial_announcement_period) +
           print(qos.discovery_config.domain_tag) +
           print(qos.resource_limits.remote_participants_max);
}

/* ---- What a participant may have --------------------------------------------------------------
 */

bool is_within(long long value, long long smallest, long long largest) {
    return smallest <= value && value <= largest;
}

std::vector<std::string> strings_of(const DDS_StringSeq &texts) {
    std::vector<std::string> strings;
    for (DDS_Long i = 0; i < texts._length; ++i) {
        strings.emplace_back(texts._buffer[i] == nullptr ? "" : texts._buffer[i]);
    }
    return strings;
}

bool are_transports(const DDS_StringSeq &texts) {
    const auto aliases = strings_of(texts);
    return std::all_of(aliases.begin(), aliases.end(), [](const std::string &alias) {
        return alias == "udpv4" || alias == "udpv6";
    });
}

/** @p scopes: also IPv6 groups that mean another one on every interface. */
bool are_groups(const DDS_StringSeq &texts, bool scopes) {
    const auto addresses = strings_of(texts);
    return std::all_of(addresses.begin(), addresses.end(), [scopes](const std::string &text) {
        const auto locator = fuzz::read_locator(text);
        if (!locator || locator->port != 0) {
            return false;
        }
        const NUV_UINT8 *octets = locator->address.network_ordered_value;
        if (locator->transport == KOLS_TRANSPORT_CLASSID_UDPv4) {
            return is_within(octets[12], 224, 239);
        }
        const bool is_narrow = (octets[1] & 0x0F) == 1 || (octets[1] & 0x0F) == 2;
        return octets[0] == 0xFF && (scopes || !is_narrow);
    });
}

bool is_duration(const DDS_Duration_t &duration) {
    return is_within(duration.sec, 0, 0x7FFFFFFE) && duration.nanosec < 1'000'000'000 &&
           (duration.sec > 0 || duration.nanosec > 0);
}

long long nanoseconds_of(const DDS_Duration_t &duration) {
    return duration.sec * 1'000'000'000LL + duration.nanosec;
}

bool is_discovery_config_consistent(const DDS_DiscoveryConfigQosPolicy &config) {
    const DDS_Duration_t &reachability = config.locator_reachability_lease_duration;
    const DDS_Duration_t &lease = config.lease_duration;
    const DDS_Duration_t &period = config.announcement_period;
    const char *const tag = config.domain_tag;
    return (is_infinite(reachability) || is_duration(reachability)) &&
           (is_infinite(lease) || is_duration(lease)) && is_duration(period) &&
           (is_infinite(lease) || nanoseconds_of(period) * 4 <= nanoseconds_of(lease)) &&
           is_within(config.initial_announcements, 0, 100) &&
           is_duration(config.initial_announcement_period) &&
           (tag == nullptr || std::string(tag).size() <= 255) &&
           (config.builtin_discovery_plugins & ~0x11u) == 0;
}

bool is_discovery_consistent(const Qos &qos) {
    const auto transports = strings_of(qos.discovery.enabled_transports);
    const bool has_transport =
        transports.empty() ||
        std::any_of(transports.begin(), transports.end(), [&qos](const std::string &alias) {
            return (qos.transport_builtin.mask & (alias == "udpv4" ? 1u : 2u)) != 0;
        });
    const auto peers = strings_of(qos.discovery.initial_peers);
    return are_transports(qos.discovery.enabled_transports) && has_transport &&
           peers.size() <= 64 &&
           std::all_of(peers.begin(), peers.end(),
                       [](const std::string &peer) {
                           return fuzz::read_locator(peer) || fuzz::read_host(peer);
                       }) &&
           are_groups(qos.discovery.multicast_receive_addresses, false) &&
           qos.discovery.multicast_receive_addresses._length <= 4 &&
           is_discovery_config_consistent(qos.discovery_config);
}

bool are_locators_consistent(const Qos &qos) {
    const auto &unicast = qos.default_unicast.value;
    const auto &mappings = qos.multicast_mapping.value;
    return std::all_of(unicast._buffer, unicast._buffer + unicast._length,
                       [](const DDS_TransportUnicastSettings_t &settings) {
                           return are_transports(settings.transports) &&
                                  is_within(settings.receive_port, 0, 65535);
                       }) &&
           std::all_of(mappings._buffer, mappings._buffer + mappings._length,
                       [](const DDS_TransportMulticastMapping_t &mapping) {
                           return are_groups(mapping.addresses, true) &&
                                  mapping.topic_expression != nullptr &&
                                  mapping.topic_expression[0] != '\0';
                       });
}

bool are_properties_consistent(const Qos &qos) {
    const DDS_PropertySeq &properties = qos.property.value;
    std::set<std::string> names;
    std::size_t octets = 0;
    for (DDS_Long i = 0; i < properties._length; ++i) {
        const DDS_Property_t &property = properties._buffer[i];
        if (property.name == nullptr || property.name[0] == '\0' || property.value == nullptr ||
            property.propagate > 1 || !names.insert(property.name).second) {
            return false;
        }
        octets += std::string(property.name).size() + std::string(property.value).size() + 2;
    }
    return properties._length <= qos.resource_limits.participant_property_list_max_length &&
           static_cast<long long>(octets) <=
               qos.resource_limits.participant_property_string_max_length;
}

/** Whether names and partitions are short enough to be put into a property. */
bool are_names_short(const Qos &qos) {
    std::size_t joined = 0;
    const auto partitions = strings_of(qos.partition.name);
    for (const std::string &partition : partitions) {
        joined += partition.size() + (joined > 0 || &partition != &partitions.front() ? 1 : 0);
    }
    const auto is_short = [](const char *name) {
        return name == nullptr || std::string(name).size() <= 255;
    };
    return joined <= 255 && is_short(qos.participant_name.name) &&
           is_short(qos.participant_name.role_name);
}

bool are_partitions_consistent(const DDS_StringSeq &names) {
    return std::all_of(names._buffer, names._buffer + names._length, [](const char *name) {
        return name != nullptr && std::string(name).find(',') == std::string::npos;
    });
}

bool is_consistent(const Qos &qos) {
    const auto &limits = qos.resource_limits;
    return is_within(limits.transport_info_list_max_length, 0, 100) &&
           is_within(limits.participant_user_data_max_length, 0, 65528) &&
           is_within(limits.participant_property_list_max_length, 0, 4095) &&
           is_within(limits.participant_property_string_max_length, 0, 65520) &&
           is_within(limits.remote_participants_max, 0, 1'000'000) &&
           qos.user_data.value._length <= limits.participant_user_data_max_length &&
           qos.entity_factory.autoenable_created_entities <= 1 &&
           qos.wire_protocol.participant_id >= -1 &&
           is_within(qos.wire_protocol.rtps_reserved_port_mask, 0, 15) &&
           is_within(qos.transport_builtin.mask, 1, 3) && are_locators_consistent(qos) &&
           is_discovery_consistent(qos) && are_properties_consistent(qos) && are_names_short(qos) &&
           are_partitions_consistent(qos.partition.name);
}

/* ---- What holds of every QoS ------------------------------------------------------------------
 */

bool check_consistency(const Qos &qos) {
    const fuzz::Messages messages;
    const bool answer = DDS_DomainParticipantQos_is_consistent(&qos) != 0;
    fuzz::must(answer == is_consistent(qos), "a QoS within its ranges is accepted, and no other");
    fuzz::must(messages.count(NUV_LOG_LEVEL_ERROR) == (answer ? 0 : 1) &&
                   messages.count() == (answer ? 0 : 1),
               "what is wrong is one error");
    return answer;
}

void check_values(const Qos &left, const Qos &right) {
    const fuzz::Messages messages;
    const std::string left_text = print(left);
    const std::string right_text = print(right);
    const bool are_equal = DDS_DomainParticipantQos_is_equal(&left, &right) != 0;
    fuzz::must(are_equal == (left_text == right_text), "two QoS are equal when they mean the same");
    fuzz::must((DDS_DomainParticipantQos_is_equal(&right, &left) != 0) == are_equal,
               "equality is the same from both sides");

    // Into storage with a value, there and back: what fits it is copied in place.
    OwnedQos copy;
    for (const Qos *source : {&left, &right, &left}) {
        fuzz::must(DDS_DomainParticipantQos_copy(&copy.qos, source) == &copy.qos,
                   "a QoS can be copied");
        fuzz::must(print(copy.qos) == print(*source), "a copy means what its source means");
        fuzz::must(DDS_DomainParticipantQos_is_equal(&copy.qos, source) != 0,
                   "a copy equals its source");
    }
    fuzz::must(print(left) == left_text && print(right) == right_text,
               "to copy and compare changes nothing");
    fuzz::must(messages.count() == 0, "to copy and compare says nothing");
}

/** @p again has settings of its own, of which some make room for those of @p qos. */
void check_property(const Qos &qos, bool is_sound, Qos &again) {
    PRESParticipantProperty property = PARTICIPANT_PROPERTY_DEFAULT;
    char partitions[PRES_PARTITION_BUFFER_SIZE];
    PRESParticipantProperty_setPartitionBuffer(&property, partitions);
    const bool is_put =
        DDS_DomainParticipantQos_to_participant_property(&qos, &property) == DDS_RETCODE_OK;
    fuzz::must(is_put == are_names_short(qos), "a QoS is put into a property, if its names fit");
    const std::string rest = print(again).substr(print_carried(again).size());
    fuzz::must(DDS_DomainParticipantQos_from_participant_property(&again, &property) ==
                   DDS_RETCODE_OK,
               "a property is put into a QoS");
    fuzz::must(!is_sound || print_carried(again) == print_carried(qos),
               "what a property carries comes back as it was");
    fuzz::must(print(again).substr(print_carried(again).size()) == rest,
               "what it does not carry stays");
    NUVOsapiHeap_freeArray(property.parameter.propertyList.data._buffer);
}

void check(std::string_view left_text, std::string_view right_text) {
    OwnedQos left(left_text);
    OwnedQos right(right_text);

    check_values(left.qos, right.qos);
    const bool is_left_sound = check_consistency(left.qos);
    const bool is_right_sound = check_consistency(right.qos);
    const fuzz::Messages messages; // those of the conversion go no further
    check_property(left.qos, is_left_sound, right.qos);
    check_property(right.qos, is_left_sound && is_right_sound, left.qos);
}

} // namespace

/** Several QoS, divided by lines "other": each is looked at beside the next. One is its own next.
 */
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr std::string_view OTHER = "other\n";
    const fuzz::HeapBalance balance;
    const std::string text = fuzz::text_of(data, size);
    std::string_view next = text;
    std::size_t division = next.find(OTHER);
    do {
        const std::string_view one = next.substr(0, division);
        next.remove_prefix(division == std::string_view::npos ? 0 : division + OTHER.size());
        division = next.find(OTHER);
        check(one, next.substr(0, division));
    } while (division != std::string_view::npos);
    return 0;
}
