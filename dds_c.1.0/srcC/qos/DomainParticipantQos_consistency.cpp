// SPDX-License-Identifier: Apache-2.0
// Whether a participant may have a QoS, and the message that says why not.
#include "infrastructure/Common_internal.h"
#include "infrastructure/dds_log.h"
#include "netio/netio_locator.h"
#include "netio/netio_transport.h"
#include "qos/transportBuiltin.h"
#include "qos/walk.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

/** Says in one line what is wrong with a setting; of a text, 128 characters are shown. */
#define REPORT(...) DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE, __VA_ARGS__)

using namespace dds::qos;

namespace {

namespace checking {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantQos_is_consistent";

/** The setting that is checked, and the QoS that it is part of. */
struct Place {
    const DDS_DomainParticipantQos &qos;
    Path path;
};

const char *text(const char *string) {
    return string == nullptr ? "" : string;
}

/* ---- Ranges: a check for each type ---------------------------------------------------------- */

template <typename M>
bool check(const Place & /*place*/, const Any & /*range*/, const M & /*value*/) {
    return true;
}

template <typename TRange, typename M>
bool check(const Place &place, const Ahead<TRange> &ahead, const M &value) {
    return check(place, ahead.range, value);
}

bool check(const Place &place, const Between &range, DDS_Long value) {
    if (value >= range.smallest && value <= range.largest) {
        return true;
    }
    if (range.largest == UNLIMITED) {
        REPORT("%s is %d; allowed is %d or more", place.path.text().get(), value, range.smallest);
    } else {
        REPORT("%s is %d; allowed is %d to %d", place.path.text().get(), value, range.smallest,
               range.largest);
    }
    return false;
}

bool check(const Place &place, const TruthValue & /*range*/, DDS_Boolean value) {
    if (dds::value::is_boolean(value)) {
        return true;
    }
    REPORT("%s is %d; allowed are 0 and 1", place.path.text().get(), value);
    return false;
}

template <typename TMask>
bool check(const Place &place, const Bits &range, const TMask &value) {
    const auto mask = static_cast<DDS_UnsignedLong>(value);
    if (mask == 0 && !range.is_none_allowed) {
        REPORT("%s is 0x0; allowed are the bits of 0x%x, at least one of them",
               place.path.text().get(), range.allowed);
        return false;
    }
    if ((mask & ~range.allowed) != 0) {
        REPORT("%s is 0x%x; allowed are the bits of 0x%x", place.path.text().get(), mask,
               range.allowed);
        return false;
    }
    return true;
}

bool check(const Place &place, const PositiveDuration & /*range*/, const DDS_Duration_t &value) {
    const bool is_zero = value.sec == 0 && value.nanosec == 0;
    if (!DDS_Duration_is_valid(&value) || is_zero) {
        REPORT("%s is %d s and %u ns; allowed is infinite, or more than 0 with at most 999999999 "
               "ns",
               place.path.text().get(), value.sec, value.nanosec);
        return false;
    }
    return true;
}

bool check(const Place &place, const FiniteDuration & /*range*/, const DDS_Duration_t &value) {
    const bool is_zero = value.sec == 0 && value.nanosec == 0;
    if (!DDS_Duration_is_valid(&value) || DDS_Duration_is_infinite(&value) || is_zero) {
        REPORT("%s is %d s and %u ns; allowed is more than 0, not infinite, with at most 999999999 "
               "ns",
               place.path.text().get(), value.sec, value.nanosec);
        return false;
    }
    return true;
}

/** The name of a limit. */
const char *name_of(DDS_Long Limits::*limit) {
    const char *name = "";
    every_row<Limits>([&](const auto &row) {
        name = row.member == limit ? row.name : name;
        return true;
    });
    return name;
}

/** Checks a length against the limit that another policy gives. */
bool check_length(const Place &place, const Limited &range, DDS_LongLong length) {
    const DDS_Long limit = place.qos.resource_limits.*range.limit;
    if (length <= limit) {
        return true;
    }
    REPORT("%s has %lld %s; allowed by resource_limits.%s are at most %d", place.path.text().get(),
           static_cast<long long>(length), range.unit, name_of(range.limit), limit);
    return false;
}

template <dds::value::Sequence M>
bool check(const Place &place, const Limited &range, const M &value) {
    return check_length(place, range, value._length);
}

bool check(const Place &place, const NameOfAtMost &range, const char *value) {
    const size_t length = std::strlen(text(value));
    if (length <= static_cast<size_t>(range.length)) {
        return true;
    }
    REPORT("%s has %zu characters (\"%.128s...\"); allowed are at most %d", place.path.text().get(),
           length, value, range.length);
    return false;
}

bool check(const Place &place, const TopicExpression &range, const char *value) {
    if (text(value)[0] == '\0') {
        REPORT("%s is empty; allowed is %s", place.path.text_with_index().get(), range.allowed);
        return false;
    }
    return true;
}

bool check(const Place &place, const Transports & /*range*/, const DDS_StringSeq &value) {
    for (DDS_Long i = 0; i < value._length; ++i) {
        const char *alias = text(value._buffer[i]);
        if (NUVNetioTransport_classOfAlias(alias) == KOLS_TRANSPORT_CLASSID_INVALID) {
            char allowed[NUV_NETIO_TRANSPORTS_STRING_SIZE];
            NUVNetioTransportClass_listAliases("", allowed, sizeof allowed);
            REPORT("%s names \"%.128s\"; allowed are %s", place.path.text().get(), alias, allowed);
            return false;
        }
    }
    return true;
}

/** Refuses a list that is too long. */
bool check_count(const Place &place, DDS_Long largest, const DDS_StringSeq &value) {
    if (value._length > largest) {
        REPORT("the length of %s is %d; allowed is 0 to %d", place.path.text().get(), value._length,
               largest);
        return false;
    }
    return true;
}

bool check(const Place &place, const Peers &range, const DDS_StringSeq &value) {
    for (DDS_Long i = 0; i < value._length; ++i) {
        const char *peer = text(value._buffer[i]);
        NUVNetioPeer parsed;
        if (!NUVNetioPeer_parse(peer, &parsed)) {
            char forms[NUV_NETIO_TRANSPORTS_STRING_SIZE];
            NUVNetioTransportClass_listForms(forms, sizeof forms);
            REPORT("%s has \"%.128s\"; allowed are ADDRESS, ADDRESS:PORT, %s and host names",
                   place.path.text().get(), peer, forms);
            return false;
        }
    }
    return check_count(place, range.count, value);
}

bool check(const Place &place, const MulticastAddresses &range, const DDS_StringSeq &value) {
    for (DDS_Long i = 0; i < value._length; ++i) {
        const char *address = text(value._buffer[i]);
        NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
        if (!NUVNetioLocator_parse(address, &locator) || !NUVNetioLocator_isMulticast(&locator) ||
            locator.port != 0) {
            REPORT("%s has \"%.128s\"; allowed are %s", place.path.text().get(), address,
                   range.allowed);
            return false;
        }
    }
    return true;
}

/** Refuses groups of so narrow a scope that each means another group on every interface or link. */
bool check_scopes(const Place &place, const DDS_StringSeq &addresses) {
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
                   place.path.text().get(), address, scope, its_class->addressName,
                   its_class->widerScopes);
            return false;
        }
    }
    return true;
}

bool check(const Place &place, const ReceiveAddresses &range, const DDS_StringSeq &value) {
    return check(place, MulticastAddresses{}, value) && check_scopes(place, value) &&
           check_count(place, range.count, value);
}

bool check(const Place &place, const PartitionNames &range, const DDS_StringSeq &value) {
    size_t length = 0;
    for (DDS_Long i = 0; i < value._length; ++i) {
        const char *name = value._buffer[i];
        if (name == nullptr || std::strchr(name, ',') != nullptr) {
            REPORT("%s[%d] is \"%.128s\"; allowed are %s", place.path.text().get(), i, text(name),
                   range.allowed);
            return false;
        }
        length += std::strlen(name) + (i > 0 ? 1 : 0);
    }
    if (length > static_cast<size_t>(range.length)) {
        REPORT("%s has %zu characters when joined by ','; allowed are at most %d",
               place.path.text().get(), length, range.length);
        return false;
    }
    return true;
}

/** The property whose part is checked. */
const DDS_Property_t &property_of(const Place &place) {
    return place.qos.property.value._buffer[place.path.index()];
}

bool check(const Place &place, const PropertyName &range, const char *value) {
    if (text(value)[0] == '\0') {
        REPORT("%s is empty; allowed is %s", place.path.text_with_index().get(), range.allowed);
        return false;
    }
    return true;
}

bool check(const Place &place, const PropertyValue &range, const char *value) {
    if (value == nullptr) {
        REPORT("%s of \"%.128s\" is null; allowed is %s", place.path.text_with_index().get(),
               property_of(place).name, range.allowed);
        return false;
    }
    return true;
}

bool check(const Place &place, const PropertyMark & /*range*/, DDS_Boolean value) {
    if (!dds::value::is_boolean(value)) {
        REPORT("%s of \"%.128s\" is %d; allowed are 0 and 1", place.path.text_with_index().get(),
               property_of(place).name, value);
        return false;
    }
    return true;
}

/* ---- Rules on several fields: looked at when each field of the record is right --------------- */

/** Most records have none. */
template <typename T>
bool check_rule(const Place & /*place*/, const T & /*record*/) {
    return true;
}

/** Refuses a list of transports of which the participant has none. */
bool check_rule(const Place &place, const DDS_DiscoveryQosPolicy &discovery) {
    const DDS_StringSeq &transports = discovery.enabled_transports;
    const DDS_TransportBuiltinKindMask mask = place.qos.transport_builtin.mask;
    bool is_any_enabled = transports._length == 0;
    for (DDS_Long i = 0; i < transports._length; ++i) {
        const DDS_TransportBuiltinKindMask kind = DDS_TransportBuiltin_bit_of_classI(
            NUVNetioTransport_classOfAlias(text(transports._buffer[i])));
        is_any_enabled = is_any_enabled || (mask & kind) != 0;
    }
    if (!is_any_enabled) {
        REPORT("discovery.enabled_transports names \"%.128s\"; allowed are transports of "
               "transport_builtin.mask, which is 0x%x",
               transports._buffer[0], mask);
    }
    return is_any_enabled;
}

/** Refuses a period in which a participant could be forgotten. */
bool check_rule(const Place &place, const DDS_DiscoveryConfigQosPolicy &config) {
    const DDS_Duration_t &period = config.announcement_period;
    const DDS_Duration_t &lease = config.lease_duration;
    if (DDS_Duration_is_quarterI(&period, &lease)) {
        return true;
    }
    REPORT("%s is %d s and %u ns; allowed is at most a quarter of discovery_config.lease_duration, "
           "which is %d s and %u ns",
           place.path.field("announcement_period").text().get(), period.sec, period.nanosec,
           lease.sec, lease.nanosec);
    return false;
}

/** Refuses the name of an earlier property. */
bool check_rule(const Place &place, const DDS_Property_t &property) {
    for (DDS_Long earlier = 0; earlier < place.path.index(); ++earlier) {
        if (std::strcmp(place.qos.property.value._buffer[earlier].name, property.name) == 0) {
            REPORT("%s.name is \"%.128s\" again; allowed is each name once",
                   place.path.text_with_index().get(), property.name);
            return false;
        }
    }
    return true;
}

/** Refuses properties whose texts are too long together. */
bool check_rule(const Place &place, const DDS_PropertyQosPolicy &policy) {
    DDS_LongLong bytes = 0;
    for (DDS_Long i = 0; i < policy.value._length; ++i) {
        const DDS_Property_t &property = policy.value._buffer[i];
        bytes += static_cast<DDS_LongLong>(std::strlen(property.name) + 1 +
                                           std::strlen(property.value) + 1);
    }
    return check_length({place.qos, place.path.field("value")},
                        {"bytes of text", &Limits::participant_property_string_max_length}, bytes);
}

/* ---- The table ------------------------------------------------------------------------------ */

template <typename TRange>
constexpr bool is_ahead(const TRange & /*range*/) {
    return false;
}

template <typename TRange>
constexpr bool is_ahead(const Ahead<TRange> & /*range*/) {
    return true;
}

/** Checks what is in a setting that has settings of its own. */
template <typename M>
bool check_within(const Place & /*place*/, const M & /*value*/) {
    return true;
}

template <Settings T>
bool check_within(const Place &place, const T &record) {
    const auto check_row = [&](const auto &row) {
        const Place field = {place.qos, place.path.field(row.name)};
        return check(field, row.range, record.*row.member) &&
               check_within(field, record.*row.member);
    };
    return every_row<T>([&](const auto &row) { return !is_ahead(row.range) || check_row(row); }) &&
           every_row<T>([&](const auto &row) { return is_ahead(row.range) || check_row(row); }) &&
           check_rule(place, record);
}

template <SettingsList M>
bool check_within(const Place &place, const M &list) {
    for (DDS_Long i = 0; i < list._length; ++i) {
        if (!check_within(Place{place.qos, place.path.element(i)}, list._buffer[i])) {
            return false;
        }
    }
    return true;
}

} // namespace checking

} // namespace

DDS_Boolean DDS_DomainParticipantQos_is_consistent(const DDS_DomainParticipantQos *self) {
    if (DDSLog_isNull(self)) {
        return DDS_BOOLEAN_FALSE;
    }
    return dds::value::to_boolean(checking::check_within(checking::Place{*self, Path()}, *self));
}
