// SPDX-License-Identifier: Apache-2.0
#include "random_qos.h"

#include <algorithm>
#include <random>

namespace {

/** The same numbers for a seed everywhere, which the distributions of the library don't promise. */
class Dice {
public:
    explicit Dice(unsigned seed) : engine_(seed) {}

    /** 0 to @p count - 1. */
    unsigned below(unsigned count) {
        return static_cast<unsigned>(engine_()) % count;
    }

    bool once_in(unsigned count) {
        return below(count) == 0;
    }

    template <typename T>
    T one_of(const std::vector<T> &values) {
        return values[below(static_cast<unsigned>(values.size()))];
    }

    const char *one_of(const std::vector<const char *> &values) {
        return values[below(static_cast<unsigned>(values.size()))];
    }

    /** One of @p inside, seldom one of @p outside. */
    template <typename T>
    T mostly(const std::vector<T> &inside, const std::vector<T> &outside) {
        return one_of(once_in(100) ? outside : inside);
    }

private:
    std::mt19937 engine_;
};

void append(DDS_StringSeq &texts, const std::string &text) {
    ASSERT_TRUE(DDS_StringSeq_append(&texts, text.c_str()));
}

void empty(DDS_StringSeq &texts) {
    ASSERT_TRUE(DDS_StringSeq_set_length(&texts, 0));
}

void fill_limits(Qos &qos, Dice &dice) {
    DDS_DomainParticipantResourceLimitsQosPolicy &limits = qos->resource_limits;
    limits.transport_info_list_max_length = dice.mostly<DDS_Long>({0, 1, 2, 12, 100}, {-1, 101});
    limits.participant_user_data_max_length = dice.mostly<DDS_Long>(
        {0, 1, 256, DDS_USER_DATA_LENGTH_MAX}, {-1, DDS_USER_DATA_LENGTH_MAX + 1, 0x7FFFFFFF});
    limits.participant_property_list_max_length =
        dice.mostly<DDS_Long>({0, 1, 4, 32, DDS_PROPERTY_LIST_LENGTH_MAX},
                              {-1, DDS_PROPERTY_LIST_LENGTH_MAX + 1, 0x7FFFFFFF});
    limits.remote_participants_max =
        dice.mostly<DDS_Long>({0, 1, 4096, DDS_REMOTE_PARTICIPANTS_MAX},
                              {-1, DDS_REMOTE_PARTICIPANTS_MAX + 1, 0x7FFFFFFF});
    limits.participant_property_string_max_length =
        dice.mostly<DDS_Long>({0, 100, 2048, DDS_PROPERTY_STRING_LENGTH_MAX},
                              {-1, DDS_PROPERTY_STRING_LENGTH_MAX + 1, 0x7FFFFFFF});
}

void fill_user_data(Qos &qos, Dice &dice) {
    const DDS_Long limit =
        std::clamp(qos->resource_limits.participant_user_data_max_length, 0, 100000);
    const DDS_Long length = dice.mostly<DDS_Long>({0, std::min(limit, 1), limit}, {limit + 1});
    std::vector<DDS_Octet> octets;
    for (DDS_Long i = 0; i < length; ++i) {
        octets.push_back(static_cast<DDS_Octet>(dice.below(256)));
    }
    qos.setUserData(octets);
}

void fill_wire_protocol(Qos &qos, Dice &dice, Ports ports) {
    DDS_WireProtocolQosPolicy &policy = qos->wire_protocol;
    policy.participant_id = ports == Ports::USABLE
                                ? dice.one_of<DDS_Long>({-1, 0, 3})
                                : dice.mostly<DDS_Long>({-1, 0, 119, 0x7FFFFFFF}, {-2});
    policy.rtps_host_id = dice.one_of<DDS_UnsignedLong>({0, 1, 0xFFFFFFFFu});
    policy.rtps_app_id = dice.one_of<DDS_UnsignedLong>({0, 1, 0xFFFFFFFFu});
    policy.rtps_instance_id = dice.one_of<DDS_UnsignedLong>({0, 1, 0xFFFFFFFFu});
    policy.rtps_reserved_port_mask =
        dice.mostly<DDS_Long>({0, 1, 2, 3, 4, 5, 6, 7, 8, 15}, {16, -1});
    if (ports == Ports::ANY && dice.once_in(2)) {
        DDS_RtpsWellKnownPorts_t &numbers = policy.rtps_well_known_ports;
        for (DDS_Long *number :
             {&numbers.port_base, &numbers.domain_id_gain, &numbers.participant_id_gain,
              &numbers.builtin_multicast_port_offset, &numbers.builtin_unicast_port_offset,
              &numbers.user_multicast_port_offset, &numbers.user_unicast_port_offset}) {
            *number = dice.one_of<DDS_Long>({*number, 0, 1, -1, 65535, 0x7FFFFFFF});
        }
    }
}

void fill_transports(Qos &qos, Dice &dice, Ports ports) {
    qos->transport_builtin.mask = ports == Ports::USABLE
                                      ? DDS_TRANSPORTBUILTIN_UDPv4
                                      : dice.mostly<DDS_UnsignedLong>({1, 2, 3}, {0, 4});

    DDS_TransportUnicastSettingsSeq &settings = qos->default_unicast.value;
    const DDS_Long count = dice.one_of<DDS_Long>({0, 0, 1, 2});
    ASSERT_TRUE(DDS_TransportUnicastSettingsSeq_ensure_length(&settings, count, count));
    for (DDS_Long i = 0; i < count; ++i) {
        DDS_TransportUnicastSettings_t &one = settings._buffer[i];
        for (unsigned n = dice.below(3); n > 0; --n) {
            append(one.transports, dice.one_of({"udpv4", "udpv6"}));
        }
        one.receive_port =
            ports == Ports::USABLE ? 0 : dice.mostly<DDS_Long>({0, 1, 65535}, {-1, 65536});
    }

    DDS_TransportMulticastMappingSeq &mappings = qos->multicast_mapping.value;
    const DDS_Long mappingCount = dice.one_of<DDS_Long>({0, 0, 1, 2});
    ASSERT_TRUE(
        DDS_TransportMulticastMappingSeq_ensure_length(&mappings, mappingCount, mappingCount));
    for (DDS_Long i = 0; i < mappingCount; ++i) {
        for (unsigned n = dice.below(3); n > 0; --n) {
            append(mappings._buffer[i].addresses,
                   dice.mostly<std::string>({"239.255.1.1", "ff05::1"}, {"192.0.2.1", ""}));
        }
        ASSERT_TRUE(DDS_String_replace(&mappings._buffer[i].topic_expression,
                                       dice.mostly<std::string>({"*", "a,b?"}, {""}).c_str()));
    }
}

void fill_discovery(Qos &qos, Dice &dice) {
    DDS_DiscoveryQosPolicy &policy = qos->discovery;
    for (unsigned n = dice.below(3); n > 0; --n) {
        append(policy.enabled_transports,
               dice.mostly<std::string>({"udpv4", "udpv4", "udpv6"}, {"tcpv4", ""}));
    }
    if (dice.once_in(2)) {
        empty(policy.initial_peers);
        for (unsigned n = dice.one_of<unsigned>({0, 1, 2, 9}); n > 0; --n) {
            append(policy.initial_peers,
                   dice.mostly<std::string>({"192.0.2.1", "192.0.2.1:7410",
                                             "udpv4://192.0.2.1:65535", "udpv6://[fd00::2]:7410",
                                             "a.example.org", "a.example.org:7410", "239.255.0.1",
                                             std::string(63, 'h') + "." + std::string(63, 'h') +
                                                 "." + std::string(63, 'h') + ".example.org"},
                                            {"", "udpv4://", "192.0.2.300"}));
        }
    }
    if (dice.once_in(2)) {
        empty(policy.multicast_receive_addresses);
        for (unsigned n = dice.mostly<unsigned>({0, 1, 4}, {5}); n > 0; --n) {
            append(policy.multicast_receive_addresses,
                   dice.mostly<std::string>({"239.255.0.1", "239.255.0.2", "ff05::1"},
                                            {"192.0.2.1", "ff02::1"}));
        }
    }

    DDS_DiscoveryConfigQosPolicy &config = qos->discovery_config;
    config.locator_reachability_lease_duration =
        dice.mostly<DDS_Duration_t>({DDS_DURATION_INFINITE,
                                     {0x7FFFFFFF, 0},
                                     {0x7FFFFFFF, 999999999},
                                     {5, 0x7FFFFFFFu},
                                     {0, 0xFFFFFFFFu},
                                     {-1, 0xFFFFFFFFu},
                                     {0, 1},
                                     {1, 0},
                                     {0, static_cast<DDS_UnsignedLong>(1 + dice.below(999999999))},
                                     {5, 999999999},
                                     {0x7FFFFFFE, 999999999}},
                                    {{0, 0}, {-1, 0}, {5, 1000000000}});
    config.builtin_discovery_plugins =
        dice.mostly<DDS_UnsignedLong>({0, 1, 0x10, 0x11}, {2, 0xFFFFFFFFu});
    config.lease_duration = dice.mostly<DDS_Duration_t>(
        {DDS_DURATION_INFINITE, {5, 0xFFFFFFFFu}, {16, 0}, {0x7FFFFFFE, 999999999}},
        {{0, 0}, {-1, 0}, {15, 999999999}});
    config.announcement_period = dice.mostly<DDS_Duration_t>(
        {{4, 0}, {0, 1 + dice.below(999999999)}}, {DDS_DURATION_INFINITE, {0, 0}});
    config.initial_announcements = dice.mostly<DDS_Long>({0, 1, 5, 100}, {-1, 101});
    config.initial_announcement_period = dice.mostly<DDS_Duration_t>(
        {{0, 1 + dice.below(999999999)}, {0x7FFFFFFE, 999999999}}, {DDS_DURATION_INFINITE, {0, 0}});
    if (dice.once_in(2)) {
        ASSERT_TRUE(DDS_String_replace(
            &config.domain_tag,
            dice.mostly<std::string>({"", "t", std::string(255, 't')}, {std::string(256, 't')})
                .c_str()));
    }
}

void fill_properties(Qos &qos, Dice &dice) {
    struct NameAndValue {
        const char *name;
        const char *value;
    };
    static const std::vector<NameAndValue> PROPERTIES = {
        {"color", "green"},
        {"empty", ""},
        {"a.b", "1"},
        {"c", "d"},
        {"dds.unknown", ""},
        {"dds.domain_participant.max_announced_locator_list_size", "16"},
        {"dds.domain_participant.asynchronous_publisher_thread_destruction_timeout", "60"},
        {"dds.participant.use_45d_compatible_alignment_enforcement", "1"},
        {"dds.participant.discovery_config.log_discovery_mismatch", "yes"},
        {"dds.participant.directed_write_serialization_kind", "2"},
        {"dds.participant.logging.time_based_logging.send.timeout", "0.125"},
        {"dds.participant.logging.time_based_logging.process_received_message.timeout", "infinite"},
        {"dds.participant.logging.time_based_logging.process_received_message.tracked_ports",
         "7410,7412-7420"},
        {"dds.participant.logging.time_based_logging.authentication.timeout", "1"},
    };
    const DDS_Long room = qos->resource_limits.participant_property_string_max_length;
    const auto limit = static_cast<DDS_Long>(
        std::min<DDS_Long>(qos->resource_limits.participant_property_list_max_length,
                           static_cast<DDS_Long>(PROPERTIES.size())));
    DDS_Long bytes = 0;
    for (const NameAndValue &property : PROPERTIES) {
        const auto size = static_cast<DDS_Long>(std::string(property.name).size() +
                                                std::string(property.value).size() + 2);
        const bool fits = bytes + size <= room && qos->property.value._length < limit;
        if (dice.once_in(3) && (fits || dice.once_in(40))) {
            qos.setProperty(property.name, property.value);
            bytes += size;
        }
    }
    for (DDS_Long i = 0; i < qos->property.value._length; ++i) {
        qos->property.value._buffer[i].propagate = dice.mostly<DDS_Boolean>({0, 0, 1}, {2, 255});
    }
    const DDS_Long rest = room - bytes - static_cast<DDS_Long>(sizeof "long" + 1);
    if (dice.once_in(3) && qos->property.value._length < limit && rest >= 0 && rest < 70000) {
        qos.setProperty("long", std::string(static_cast<size_t>(rest), 'v').c_str());
    }
}

void fill_names(Qos &qos, Dice &dice) {
    for (char **name : {&qos->participant_name.name, &qos->participant_name.role_name}) {
        if (dice.once_in(2)) {
            ASSERT_TRUE(
                DDS_String_replace(name, dice.mostly<std::string>({"", "n", std::string(255, 'n')},
                                                                  {std::string(256, 'n')})
                                             .c_str()));
        }
    }
    for (unsigned n = dice.below(4); n > 0; --n) {
        append(qos->partition.name,
               dice.mostly<std::string>({"", "", "a", "b*", std::string(80, 'p')},
                                        {"a,b", ",", std::string(256, 'p')}));
    }
}

} // namespace

void fill(Qos &qos, unsigned seed, Ports ports) {
    Dice dice(seed);
    fill_limits(qos, dice);
    fill_user_data(qos, dice);
    qos->entity_factory.autoenable_created_entities = dice.mostly<DDS_Boolean>({0, 1}, {2, 255});
    fill_wire_protocol(qos, dice, ports);
    fill_transports(qos, dice, ports);
    fill_discovery(qos, dice);
    fill_properties(qos, dice);
    fill_names(qos, dice);
}
