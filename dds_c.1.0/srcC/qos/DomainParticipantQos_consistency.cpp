// Whether a participant may have a QoS, and the message that says why not.
#include "infrastructure/dds_log.h"
#include "netio/netio_locator.h"
#include "netio/netio_transport.h"
#include "pres/pres_locatorPolicy.h"
#include "qos/transportBuiltin.h"
#include "qos/value_fields.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

/** Says in one line what is wrong with a setting; of a text, 128 characters are shown. */
#define REPORT(...) DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE, __VA_ARGS__)

namespace {

namespace checking {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantQos_is_consistent";

constexpr DDS_Long UNLIMITED = 0x7FFFFFFF;

const char *text(const char *string) {
    return string == nullptr ? "" : string;
}

/* ---- Kinds of settings ---------------------------------------------------------------------- */

bool check_range(const char *setting, DDS_Long value, DDS_Long smallest, DDS_Long largest) {
    if (value >= smallest && value <= largest) {
        return true;
    }
    if (largest == UNLIMITED) {
        REPORT("%s is %d; allowed is %d or more", setting, value, smallest);
    } else {
        REPORT("%s is %d; allowed is %d to %d", setting, value, smallest, largest);
    }
    return false;
}

bool check_boolean(const char *setting, DDS_Boolean value) {
    if (dds::value::is_boolean(value)) {
        return true;
    }
    REPORT("%s is %d; allowed are 0 and 1", setting, value);
    return false;
}

bool check_mask(const char *setting, DDS_UnsignedLong mask, DDS_UnsignedLong allowed) {
    if ((mask & ~allowed) == 0) {
        return true;
    }
    REPORT("%s is 0x%x; allowed are the bits of 0x%x", setting, mask, allowed);
    return false;
}

/** Checks a length against the limit that another setting gives. */
bool check_limit(const char *setting, DDS_LongLong length, const char *unit, const char *limit_name,
                 DDS_Long limit) {
    if (length <= limit) {
        return true;
    }
    REPORT("%s has %lld %s; allowed by %s are at most %d", setting, static_cast<long long>(length),
           unit, limit_name, limit);
    return false;
}

bool check_transports(const char *setting, const DDS_StringSeq &transports) {
    for (DDS_Long i = 0; i < transports._length; ++i) {
        const char *alias = text(transports._buffer[i]);
        if (NUVNetioTransport_classOfAlias(alias) == KOLS_TRANSPORT_CLASSID_INVALID) {
            char allowed[NUV_NETIO_TRANSPORTS_STRING_SIZE];
            NUVNetioTransportClass_listAliases("", allowed, sizeof allowed);
            REPORT("%s names \"%.128s\"; allowed are %s", setting, alias, allowed);
            return false;
        }
    }
    return true;
}

/** Refuses a list of transports of which the participant has none. */
bool check_enabled_transports(const char *setting, const DDS_StringSeq &transports,
                              DDS_TransportBuiltinKindMask mask) {
    bool is_any_enabled = transports._length == 0;
    for (DDS_Long i = 0; i < transports._length; ++i) {
        const DDS_TransportBuiltinKindMask kind = DDS_TransportBuiltin_bit_of_classI(
            NUVNetioTransport_classOfAlias(text(transports._buffer[i])));
        is_any_enabled = is_any_enabled || (mask & kind) != 0;
    }
    if (!is_any_enabled) {
        REPORT(
            "%s names \"%.128s\"; allowed are transports of transport_builtin.mask, which is 0x%x",
            setting, transports._buffer[0], mask);
    }
    return is_any_enabled;
}

bool check_multicast_addresses(const char *setting, const DDS_StringSeq &addresses) {
    for (DDS_Long i = 0; i < addresses._length; ++i) {
        const char *address = text(addresses._buffer[i]);
        NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
        if (!NUVNetioLocator_parse(address, &locator) || !NUVNetioLocator_isMulticast(&locator) ||
            locator.port != 0) {
            REPORT("%s has \"%.128s\"; allowed are numeric multicast addresses without port",
                   setting, address);
            return false;
        }
    }
    return true;
}

/** Refuses groups of so narrow a scope that each means another group on every interface or link. */
bool check_multicast_scopes(const char *setting, const DDS_StringSeq &addresses) {
    for (DDS_Long i = 0; i < addresses._length; ++i) {
        const char *address = text(addresses._buffer[i]);
        NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
        (void)NUVNetioLocator_parse(address, &locator);
        const NUVNetioTransportClass *its_class = NUVNetioTransportClass_find(locator.transport);
        const char *scope =
            its_class != nullptr ? its_class->narrowScope(&locator.address) : nullptr;
        if (scope != nullptr) {
            REPORT("%s has \"%.128s\", a group of %s-local scope; allowed are %s groups of wider "
                   "scope, as %s",
                   setting, address, scope, its_class->addressName, its_class->widerScopes);
            return false;
        }
    }
    return true;
}

bool check_name(const char *setting, const char *name) {
    const size_t length = std::strlen(text(name));
    if (length <= DDS_ENTITY_NAME_LENGTH_MAX) {
        return true;
    }
    REPORT("%s has %zu characters (\"%.128s...\"); allowed are at most %d", setting, length, name,
           DDS_ENTITY_NAME_LENGTH_MAX);
    return false;
}

/* ---- Policies ------------------------------------------------------------------------------- */

bool check(const DDS_DomainParticipantResourceLimitsQosPolicy &limits) {
    return check_range("resource_limits.transport_info_list_max_length",
                       limits.transport_info_list_max_length, 0,
                       DDS_TRANSPORT_INFO_LIST_LENGTH_MAX) &&
           check_range("resource_limits.participant_user_data_max_length",
                       limits.participant_user_data_max_length, 0, DDS_USER_DATA_LENGTH_MAX) &&
           check_range("resource_limits.participant_property_list_max_length",
                       limits.participant_property_list_max_length, 0,
                       DDS_PROPERTY_LIST_LENGTH_MAX) &&
           check_range("resource_limits.participant_property_string_max_length",
                       limits.participant_property_string_max_length, 0,
                       DDS_PROPERTY_STRING_LENGTH_MAX);
}

bool check(const DDS_WireProtocolQosPolicy &policy) {
    return check_range("wire_protocol.participant_id", policy.participant_id,
                       DDS_PARTICIPANT_ID_AUTO, UNLIMITED) &&
           check_mask("wire_protocol.rtps_reserved_port_mask",
                      static_cast<DDS_UnsignedLong>(policy.rtps_reserved_port_mask),
                      DDS_RTPS_RESERVED_PORT_MASK_ALL);
}

bool check(const DDS_TransportBuiltinQosPolicy &policy) {
    if (policy.mask == DDS_TRANSPORTBUILTIN_MASK_NONE) {
        REPORT("transport_builtin.mask is 0x0; allowed are the bits of 0x%x, at least one of them",
               DDS_TRANSPORTBUILTIN_MASK_ALL);
        return false;
    }
    return check_mask("transport_builtin.mask", policy.mask, DDS_TRANSPORTBUILTIN_MASK_ALL);
}

bool check(const DDS_TransportUnicastQosPolicy &policy) {
    for (DDS_Long i = 0; i < policy.value._length; ++i) {
        const DDS_TransportUnicastSettings_t &settings = policy.value._buffer[i];
        if (!check_transports("default_unicast.value.transports", settings.transports) ||
            !check_range("default_unicast.value.receive_port", settings.receive_port, 0,
                         DDS_RTPS_PORT_MAX)) {
            return false;
        }
    }
    return true;
}

bool check(const DDS_TransportMulticastMappingQosPolicy &policy) {
    for (DDS_Long i = 0; i < policy.value._length; ++i) {
        const DDS_TransportMulticastMapping_t &mapping = policy.value._buffer[i];
        if (!check_multicast_addresses("multicast_mapping.value.addresses", mapping.addresses)) {
            return false;
        }
        if (text(mapping.topic_expression)[0] == '\0') {
            REPORT("multicast_mapping.value[%d].topic_expression is empty; allowed is an "
                   "expression for topic names",
                   i);
            return false;
        }
    }
    return true;
}

bool check(const DDS_DiscoveryQosPolicy &policy) {
    for (DDS_Long i = 0; i < policy.initial_peers._length; ++i) {
        const char *peer = text(policy.initial_peers._buffer[i]);
        NUVNetioPeer parsed;
        if (!NUVNetioPeer_parse(peer, &parsed)) {
            char forms[NUV_NETIO_TRANSPORTS_STRING_SIZE];
            NUVNetioTransportClass_listForms(forms, sizeof forms);
            REPORT("discovery.initial_peers has \"%.128s\"; allowed are ADDRESS, ADDRESS:PORT, "
                   "%s and host names",
                   peer, forms);
            return false;
        }
    }
    return check_transports("discovery.enabled_transports", policy.enabled_transports) &&
           check_multicast_addresses("discovery.multicast_receive_addresses",
                                     policy.multicast_receive_addresses) &&
           check_multicast_scopes("discovery.multicast_receive_addresses",
                                  policy.multicast_receive_addresses) &&
           check_range("the length of discovery.multicast_receive_addresses",
                       policy.multicast_receive_addresses._length, 0,
                       PRES_REDUCED_LOCATOR_LIST_MAX);
}

bool check(const DDS_DiscoveryConfigQosPolicy &policy) {
    const DDS_Duration_t &lease = policy.locator_reachability_lease_duration;
    const bool is_zero = lease.sec == 0 && lease.nanosec == 0;
    if (!DDS_Duration_is_valid(&lease) || is_zero) {
        REPORT("discovery_config.locator_reachability_lease_duration is %d s and %u ns; allowed is "
               "infinite, or more than 0 with at most 999999999 ns",
               lease.sec, lease.nanosec);
        return false;
    }
    return check_mask("discovery_config.builtin_discovery_plugins",
                      policy.builtin_discovery_plugins,
                      DDS_DISCOVERYCONFIG_BUILTIN_PLUGIN_MASK_ALL);
}

/** True when an earlier property has the same name. */
bool is_repeated(const DDS_PropertySeq &properties, DDS_Long i) {
    for (DDS_Long earlier = 0; earlier < i; ++earlier) {
        if (std::strcmp(properties._buffer[earlier].name, properties._buffer[i].name) == 0) {
            return true;
        }
    }
    return false;
}

bool check(const DDS_PropertyQosPolicy &policy,
           const DDS_DomainParticipantResourceLimitsQosPolicy &limits) {
    const DDS_PropertySeq &properties = policy.value;
    if (!check_limit("property.value", properties._length, "properties",
                     "resource_limits.participant_property_list_max_length",
                     limits.participant_property_list_max_length)) {
        return false;
    }
    DDS_LongLong bytes = 0;
    for (DDS_Long i = 0; i < properties._length; ++i) {
        const DDS_Property_t &property = properties._buffer[i];
        if (text(property.name)[0] == '\0') {
            REPORT("property.value[%d].name is empty; allowed is a name", i);
            return false;
        }
        if (property.value == nullptr) {
            REPORT("property.value[%d].value of \"%.128s\" is null; allowed is a text", i,
                   property.name);
            return false;
        }
        if (!dds::value::is_boolean(property.propagate)) {
            REPORT("property.value[%d].propagate of \"%.128s\" is %d; allowed are 0 and 1", i,
                   property.name, property.propagate);
            return false;
        }
        if (is_repeated(properties, i)) {
            REPORT("property.value[%d].name is \"%.128s\" again; allowed is each name once", i,
                   property.name);
            return false;
        }
        bytes += static_cast<DDS_LongLong>(std::strlen(property.name) + 1 +
                                           std::strlen(property.value) + 1);
    }
    return check_limit("property.value", bytes, "bytes of text",
                       "resource_limits.participant_property_string_max_length",
                       limits.participant_property_string_max_length);
}

bool check(const DDS_PartitionQosPolicy &policy) {
    size_t length = 0;
    for (DDS_Long i = 0; i < policy.name._length; ++i) {
        const char *name = policy.name._buffer[i];
        if (name == nullptr || std::strchr(name, ',') != nullptr) {
            REPORT("partition.name[%d] is \"%.128s\"; allowed are texts without ','", i,
                   text(name));
            return false;
        }
        length += std::strlen(name) + (i > 0 ? 1 : 0);
    }
    if (length > DDS_PARTITION_NAMES_LENGTH_MAX) {
        REPORT("partition.name has %zu characters when joined by ','; allowed are at most %d",
               length, DDS_PARTITION_NAMES_LENGTH_MAX);
        return false;
    }
    return true;
}

} // namespace checking

} // namespace

DDS_Boolean DDS_DomainParticipantQos_is_consistent(const DDS_DomainParticipantQos *self) {
    if (DDSLog_isNull(self)) {
        return DDS_BOOLEAN_FALSE;
    }
    return dds::value::to_boolean(
        checking::check(self->resource_limits) &&
        checking::check_limit("user_data.value", self->user_data.value._length, "octets",
                              "resource_limits.participant_user_data_max_length",
                              self->resource_limits.participant_user_data_max_length) &&
        checking::check_boolean("entity_factory.autoenable_created_entities",
                                self->entity_factory.autoenable_created_entities) &&
        checking::check(self->wire_protocol) && checking::check(self->transport_builtin) &&
        checking::check(self->default_unicast) && checking::check(self->multicast_mapping) &&
        checking::check(self->discovery) &&
        checking::check_enabled_transports("discovery.enabled_transports",
                                           self->discovery.enabled_transports,
                                           self->transport_builtin.mask) &&
        checking::check(self->discovery_config) &&
        checking::check(self->property, self->resource_limits) &&
        checking::check_name("participant_name.name", self->participant_name.name) &&
        checking::check_name("participant_name.role_name", self->participant_name.role_name) &&
        checking::check(self->partition));
}
