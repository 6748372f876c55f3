// SPDX-License-Identifier: Apache-2.0
#include "sighting.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <arpa/inet.h>

#include "dds_c/dds_c_domain.h"
#include "log.h"
#include "numbers.h"

namespace {

std::string two_numbers(unsigned first, unsigned second) {
    return std::to_string(first) + "." + std::to_string(second);
}

std::optional<std::string> text_or_none(const char *text) {
    return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

std::vector<DDS_Locator_t> udp_locators(const DDS_LocatorSeq &sequence) {
    std::vector<DDS_Locator_t> locators;

    for (DDS_Long i = 0; i < DDS_LocatorSeq_get_length(&sequence); ++i) {
        const DDS_Locator_t locator = DDS_LocatorSeq_get(&sequence, i);

        if ((locator.kind == DDS_LOCATOR_KIND_UDPv4 || locator.kind == DDS_LOCATOR_KIND_UDPv6) &&
            locator.port <= DDS_RTPS_PORT_MAX) {
            locators.push_back(locator);
        }
    }
    return locators;
}

std::string address_of(const DDS_Locator_t &locator) {
    constexpr std::size_t IPV4_OFFSET = 12;
    const bool is_ipv4 = locator.kind == DDS_LOCATOR_KIND_UDPv4;
    std::array<char, INET6_ADDRSTRLEN> text = {};

    (void)inet_ntop(is_ipv4 ? AF_INET : AF_INET6, locator.address + (is_ipv4 ? IPV4_OFFSET : 0),
                    text.data(), text.size());
    return text.data();
}

void add_addresses(std::vector<std::string> &addresses, const DDS_LocatorSeq &locators) {
    for (const DDS_Locator_t &locator : udp_locators(locators)) {
        const std::string address = address_of(locator);

        if (std::find(addresses.begin(), addresses.end(), address) == addresses.end()) {
            addresses.push_back(address);
        }
    }
}

/** The port that all of the locators have; none where they differ or there are none. */
std::optional<DDS_Long> port_of(const DDS_LocatorSeq &sequence) {
    const std::vector<DDS_Locator_t> locators = udp_locators(sequence);
    const auto has_another = [&](const DDS_Locator_t &locator) {
        return locator.port != locators.front().port;
    };

    if (locators.empty() || std::any_of(locators.begin(), locators.end(), has_another)) {
        return std::nullopt;
    }
    return static_cast<DDS_Long>(locators.front().port);
}

/** The index that has both ports in the domain, or the one where there is no other. */
std::optional<DDS_Long> index_of(const Description &other, const DDS_RtpsWellKnownPorts_t &ports) {
    const DDS_Long highest =
        std::min(DDS_DomainParticipant_get_max_participant_index(&ports), DDS_RTPS_PORT_MAX);
    const auto has = [](const std::optional<DDS_Long> &port, DDS_LongLong number) {
        return !port || *port == number;
    };

    if (!other.builtin_unicast_port && !other.user_unicast_port) {
        return std::nullopt;
    }
    for (DDS_Long index = 0; index <= highest; ++index) {
        if (has(other.builtin_unicast_port,
                DDS_RtpsWellKnownPorts_get_builtin_unicast_port(&ports, other.domain, index)) &&
            has(other.user_unicast_port,
                DDS_RtpsWellKnownPorts_get_user_unicast_port(&ports, other.domain, index))) {
            return index;
        }
    }
    return std::nullopt;
}

std::optional<std::chrono::nanoseconds> duration_or_none(const DDS_Duration_t &duration) {
    if (DDS_Duration_is_infinite(&duration) != DDS_BOOLEAN_FALSE) {
        return std::nullopt;
    }
    return std::chrono::seconds(duration.sec) + std::chrono::nanoseconds(duration.nanosec);
}

std::optional<WallTime> time_or_none(const DDS_Time_t &time) {
    if (time.sec == DDS_TIME_INVALID_SEC) {
        return std::nullopt;
    }
    return WallTime(std::chrono::seconds(time.sec) + std::chrono::nanoseconds(time.nanosec));
}

void take_properties(Description &other, const DDS_PropertySeq &properties) {
    for (DDS_Long i = 0; i < DDS_PropertySeq_get_length(&properties); ++i) {
        const DDS_Property_t *const property = DDS_PropertySeq_get_reference(&properties, i);
        const std::string_view name = property->name;
        const std::string value = property->value;

        other.properties.emplace_back(name, value);
        if (name == "__Hostname") {
            other.host = value;
        } else if (name == "__ProcessName") {
            other.process = value;
        } else if (name == "__Pid") {
            other.pid = to_number<DDS_LongLong>(value);
        } else if (name == TOOL_PROPERTY) {
            other.tool = value;
        }
    }
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

std::vector<std::string> to_texts(const DDS_LocatorSeq &locators) {
    std::vector<std::string> texts;

    for (const DDS_Locator_t &locator : udp_locators(locators)) {
        std::array<char, DDS_LOCATOR_STRING_SIZE> text = {};

        if (DDS_Locator_to_string(&locator, text.data(), text.size()) != DDS_RETCODE_OK) {
            throw LoggedFailure();
        }
        texts.emplace_back(text.data());
    }
    return texts;
}

Sighting sighting_of(const DDS_ParticipantBuiltinTopicData &data,
                     const DDS_RtpsWellKnownPorts_t &ports) {
    Sighting other;

    other.domain = data.domain_id;
    other.guid = to_text(data.guid);
    other.name = text_or_none(data.participant_name);
    other.vendor = two_numbers(data.rtps_vendor_id.value[0], data.rtps_vendor_id.value[1]);
    other.protocol =
        two_numbers(data.rtps_protocol_version.major, data.rtps_protocol_version.minor);
    take_properties(other, data.property.value);
    add_addresses(other.addresses, data.default_unicast_locators);
    add_addresses(other.addresses, data.metatraffic_unicast_locators);
    other.builtin_unicast_port = port_of(data.metatraffic_unicast_locators);
    other.user_unicast_port = port_of(data.default_unicast_locators);
    other.index = index_of(other, ports);
    other.lease = duration_or_none(data.lease_duration);
    other.domain_tag = text_or_none(data.domain_tag);
    other.metatraffic_unicast_locators = to_texts(data.metatraffic_unicast_locators);
    other.metatraffic_multicast_locators = to_texts(data.metatraffic_multicast_locators);
    other.default_unicast_locators = to_texts(data.default_unicast_locators);
    other.default_multicast_locators = to_texts(data.default_multicast_locators);
    other.first_heard = time_or_none(data.first_heard);
    other.last_heard = time_or_none(data.last_heard);
    other.has_addressed = data.has_addressed != DDS_BOOLEAN_FALSE;
    return other;
}

bool is_at(const Description &other, const std::set<std::string> &addresses) {
    return !other.addresses.empty() &&
           std::ranges::all_of(other.addresses, [&](const std::string &address) {
               return addresses.contains(address);
           });
}
