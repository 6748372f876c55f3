#include "qos_tree.h"

#include <algorithm>

#include "log/log_config.h"
#include "values.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr double NANOSECONDS = 1e9;
constexpr const char *DIGITS = "0123456789abcdef";
constexpr const char *HEXADECIMAL = "0x";

bool is_printable(char character) {
    return character >= ' ' && character <= '~';
}

std::string two_digits(char character) {
    const auto octet = static_cast<unsigned char>(character);

    return {DIGITS[octet >> 4], DIGITS[octet & 0xF]};
}

/** The two forms cannot be taken for each other. */
std::string text_of(const DDS_OctetSeq &octets) {
    std::string text;

    for (DDS_Long i = 0; i < DDS_OctetSeq_get_length(&octets); ++i) {
        text += static_cast<char>(DDS_OctetSeq_get(&octets, i));
    }
    if (std::all_of(text.begin(), text.end(), is_printable) && !text.starts_with(HEXADECIMAL)) {
        return text;
    }
    std::string digits = HEXADECIMAL;

    for (const char character : text) {
        digits += two_digits(character);
    }
    return digits;
}

Json tree(const char *text) {
    return text != nullptr ? Json(text) : Json();
}

Json tree(const DDS_Duration_t &duration) {
    if (DDS_Duration_is_infinite(&duration) != DDS_BOOLEAN_FALSE) {
        return "infinite";
    }
    return duration.nanosec == 0 ? Json(duration.sec)
                                 : Json(duration.sec + duration.nanosec / NANOSECONDS);
}

Json tree(const DDS_RtpsWellKnownPorts_t &ports) {
    return {{"port_base", ports.port_base},
            {"domain_id_gain", ports.domain_id_gain},
            {"participant_id_gain", ports.participant_id_gain},
            {"builtin_multicast_port_offset", ports.builtin_multicast_port_offset},
            {"builtin_unicast_port_offset", ports.builtin_unicast_port_offset},
            {"user_multicast_port_offset", ports.user_multicast_port_offset},
            {"user_unicast_port_offset", ports.user_unicast_port_offset}};
}

Json tree(const DDS_Property_t &property) {
    return {{"name", tree(property.name)},
            {"value", tree(property.value)},
            {"propagate", property.propagate != DDS_BOOLEAN_FALSE}};
}

Json tree(const DDS_TransportUnicastSettings_t &settings);
Json tree(const DDS_TransportMulticastMapping_t &mapping);

/** The elements of a sequence, by the operations of its type. */
template <class Sequence, class Element>
Json list(const Sequence &sequence, DDS_Long (*length)(const Sequence *),
          Element *(*at)(const Sequence *, DDS_Long)) {
    Json array = Json::array();

    for (DDS_Long i = 0; i < length(&sequence); ++i) {
        array.push_back(tree(*at(&sequence, i)));
    }
    return array;
}

Json list(const DDS_StringSeq &texts) {
    return list(texts, DDS_StringSeq_get_length, DDS_StringSeq_get_reference);
}

Json tree(const DDS_TransportUnicastSettings_t &settings) {
    return {{"transports", list(settings.transports)}, {"receive_port", settings.receive_port}};
}

Json tree(const DDS_TransportMulticastMapping_t &mapping) {
    return {{"addresses", list(mapping.addresses)},
            {"topic_expression", tree(mapping.topic_expression)}};
}

Json tree(const DDS_WireProtocolQosPolicy &policy) {
    return {{"participant_id", policy.participant_id},
            {"rtps_host_id", policy.rtps_host_id},
            {"rtps_app_id", policy.rtps_app_id},
            {"rtps_instance_id", policy.rtps_instance_id},
            {"rtps_well_known_ports", tree(policy.rtps_well_known_ports)},
            {"rtps_reserved_port_mask", words_of_reserved_ports(policy.rtps_reserved_port_mask)}};
}

Json tree(const DDS_DiscoveryQosPolicy &policy) {
    return {{"enabled_transports", list(policy.enabled_transports)},
            {"initial_peers", list(policy.initial_peers)},
            {"multicast_receive_addresses", list(policy.multicast_receive_addresses)}};
}

Json tree(const DDS_DiscoveryConfigQosPolicy &policy) {
    return {
        {"locator_reachability_lease_duration", tree(policy.locator_reachability_lease_duration)},
        {"builtin_discovery_plugins",
         words_of_discovery_plugins(policy.builtin_discovery_plugins)}};
}

Json tree(const DDS_DomainParticipantResourceLimitsQosPolicy &policy) {
    return {
        {"transport_info_list_max_length", policy.transport_info_list_max_length},
        {"participant_user_data_max_length", policy.participant_user_data_max_length},
        {"participant_property_list_max_length", policy.participant_property_list_max_length},
        {"participant_property_string_max_length", policy.participant_property_string_max_length}};
}

Json tree(const DDS_EntityNameQosPolicy &policy) {
    return {{"name", tree(policy.name)}, {"role_name", tree(policy.role_name)}};
}

/** What would break the line or steer a terminal is shown as "\x0a". */
std::string in_one_line(const std::string &text) {
    std::string line(4 * text.size() + 1, '\0');

    line.resize(KOLS_Config_Logger_filter_text(text.data(), text.size(), line.data(), line.size()));
    return line.empty() ? "\"\"" : line;
}

std::string value_text(const Json &value) {
    std::string text;

    if (value.is_string()) {
        return in_one_line(value.get<std::string>());
    }
    if (!value.is_array()) {
        return value.is_null() ? "none" : value.dump();
    }
    for (const Json &element : value) {
        text += (text.empty() ? "" : ", ") + value_text(element);
    }
    return text.empty() ? "none" : text;
}

void add_lines(const std::string &name, const Json &value, std::string &lines) {
    if (value.is_object()) {
        for (const auto &[key, member] : value.items()) {
            const std::string path = name.empty() ? "" : name + ".";

            add_lines(path + key, member, lines);
        }
    } else if (value.is_array() && !value.empty() && value.front().is_object()) {
        for (std::size_t i = 0; i < value.size(); ++i) {
            add_lines(name + "[" + std::to_string(i) + "]", value[i], lines);
        }
    } else {
        lines += name + ": " + value_text(value) + "\n";
    }
}

} // namespace

Json qos_tree(const DDS_DomainParticipantQos &qos) {
    const bool autoenable = qos.entity_factory.autoenable_created_entities != DDS_BOOLEAN_FALSE;

    return {
        {"user_data", {{"value", text_of(qos.user_data.value)}}},
        {"entity_factory", {{"autoenable_created_entities", autoenable}}},
        {"wire_protocol", tree(qos.wire_protocol)},
        {"transport_builtin", {{"mask", words_of_transports(qos.transport_builtin.mask)}}},
        {"default_unicast",
         {{"value", list(qos.default_unicast.value, DDS_TransportUnicastSettingsSeq_get_length,
                         DDS_TransportUnicastSettingsSeq_get_reference)}}},
        {"multicast_mapping",
         {{"value", list(qos.multicast_mapping.value, DDS_TransportMulticastMappingSeq_get_length,
                         DDS_TransportMulticastMappingSeq_get_reference)}}},
        {"discovery", tree(qos.discovery)},
        {"discovery_config", tree(qos.discovery_config)},
        {"resource_limits", tree(qos.resource_limits)},
        {"property",
         {{"value",
           list(qos.property.value, DDS_PropertySeq_get_length, DDS_PropertySeq_get_reference)}}},
        {"participant_name", tree(qos.participant_name)},
        {"partition", {{"name", list(qos.partition.name)}}}};
}

std::string qos_lines(const Json &tree) {
    std::string lines;

    add_lines("", tree, lines);
    return lines;
}
