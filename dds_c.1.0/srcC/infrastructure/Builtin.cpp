// SPDX-License-Identifier: Apache-2.0
// What a participant knows of others: values, and how they are made of what discovery has.
#include "infrastructure/Builtin_internal.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "infrastructure/Common_internal.h"
#include "infrastructure/Locator_internal.h"
#include "infrastructure/builtin_values.h"
#include "infrastructure/dds_log.h"
#include "rtps/rtps_guid.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_INFRASTRUCTURE;

using dds::value::to_boolean;

static_assert(sizeof(DDS_InstanceHandle_t::value) == RTPS_GUID_SIZE);
static_assert(sizeof(DDS_BuiltinTopicKey_t::value) == RTPS_GUID_SIZE);
static_assert(sizeof(DDS_GUID_t::value) == RTPS_GUID_SIZE);

namespace {

NUVOsapiRtpsGuid guid_of(const NUVOsapiRtpsGuidPrefix &prefix) {
    return {prefix, RTPS_ENTITYID_PARTICIPANT};
}

/* ---- What was announced, part by part: false when memory runs out ---------------------------- */

/** An empty one is none. */
bool take_text(char *&dst, const RTPSText &src) {
    dst = src.length != 0 ? DDS_String_dup(src.text) : nullptr;
    return dst != nullptr || src.length == 0;
}

bool take_octets(DDS_OctetSeq &dst, const RTPSOctets &src) {
    const auto length = static_cast<DDS_Long>(src.length);

    if (!dds::value::set_maximum(dst, length)) {
        return false;
    }
    dds::value::set_length(dst, length);
    std::copy_n(src.data, src.length, dst._buffer);
    return true;
}

bool take_locators(DDS_LocatorSeq &dst, const RTPSLocators &src) {
    const auto count = static_cast<DDS_Long>(src.count);

    if (!dds::value::set_maximum(dst, count)) {
        return false;
    }
    dds::value::set_length(dst, count);
    for (DDS_Long i = 0; i < count; ++i) {
        DDS_Locator_from_netio_locatorI(&dst._buffer[i], &src.locators[i]);
    }
    return true;
}

bool take_properties(DDS_PropertySeq &dst, const RTPSPropertyList &src) {
    const auto text_of = [](const RTPSText &text) { return text.length != 0 ? text.text : ""; };
    RTPSPropertyReader reader;
    RTPSProperty property;

    if (!dds::value::set_maximum(dst, static_cast<DDS_Long>(src.count))) {
        return false;
    }
    RTPSPropertyReader_initialize(&reader, &src);
    while (RTPSPropertyReader_next(&reader, &property) != 0) {
        DDS_Property_t taken = {DDS_String_dup(text_of(property.name)),
                                DDS_String_dup(text_of(property.value)), DDS_BOOLEAN_TRUE};

        if (taken.name == nullptr || taken.value == nullptr || !dds::value::append(dst, taken)) {
            dds::value::finalize(taken);
            return false;
        }
    }
    return true;
}

bool take_variable_parts(DDS_ParticipantBuiltinTopicData &dst, const RTPSParticipantData &src) {
    return take_octets(dst.user_data.value, src.userData) &&
           take_text(dst.domain_tag, src.domainTag) &&
           take_text(dst.participant_name, src.entityName) &&
           take_properties(dst.property.value, src.properties) &&
           take_locators(dst.metatraffic_unicast_locators, src.metatrafficUnicast) &&
           take_locators(dst.metatraffic_multicast_locators, src.metatrafficMulticast) &&
           take_locators(dst.default_unicast_locators, src.defaultUnicast) &&
           take_locators(dst.default_multicast_locators, src.defaultMulticast);
}

DDS_Time_t time_of(NUV_INT64 nanoseconds) {
    constexpr NUV_INT64 SECOND = 1'000'000'000;

    return {nanoseconds / SECOND, static_cast<DDS_UnsignedLong>(nanoseconds % SECOND)};
}

void take_status(DDS_ParticipantBuiltinTopicData &dst, const DISCRemoteStatus &status) {
    dst.first_heard = time_of(status.firstHeard);
    dst.last_heard = time_of(status.lastHeard);
    dst.is_local = to_boolean(status.isLocal != 0);
    dst.has_addressed = to_boolean(status.hasAddressed != 0);
    if (status.isLocal == 0) {
        DDS_Locator_from_netio_locatorI(&dst.source, &status.source);
    }
}

/** The public reason for octets that are no announcement. */
DDS_DiscoveryRefusal reason_of(RTPSRefusal refusal) {
    switch (refusal) {
    case RTPS_REFUSED_LEASE:
        return DDS_DISCOVERY_REFUSED_LEASE;
    case RTPS_REFUSED_NO_GUID:
    case RTPS_REFUSED_ENTITY_ID:
    case RTPS_REFUSED_GUID_PREFIX:
        return DDS_DISCOVERY_REFUSED_GUID;
    case RTPS_REFUSED_MUST_UNDERSTAND:
        return DDS_DISCOVERY_REFUSED_MUST_UNDERSTAND;
    default:
        return DDS_DISCOVERY_REFUSED_MALFORMED;
    }
}

/* The reasons of discovery itself have the same values in both interfaces. */
static_assert(static_cast<int>(DDS_DISCOVERY_REFUSED_DOMAIN_ID) == DISC_REFUSED_DOMAIN_ID);
static_assert(static_cast<int>(DDS_DISCOVERY_REFUSED_DOMAIN_TAG) == DISC_REFUSED_DOMAIN_TAG);
static_assert(static_cast<int>(DDS_DISCOVERY_REFUSED_STALE) == DISC_REFUSED_STALE);
static_assert(static_cast<int>(DDS_DISCOVERY_REFUSED_IGNORED) == DISC_REFUSED_IGNORED);
static_assert(static_cast<int>(DDS_DISCOVERY_REFUSED_FORGED) == DISC_REFUSED_FORGED);
static_assert(static_cast<int>(DDS_DISCOVERY_REFUSED_FULL) == DISC_REFUSED_FULL);
static_assert(static_cast<int>(DDS_DISCOVERY_REFUSED_ECHO) == DISC_REFUSED_ECHO);
static_assert(static_cast<int>(DDS_DISCOVERY_REFUSED_NO_MEMORY) == DISC_REFUSED_NO_MEMORY);
static_assert(static_cast<int>(DDS_DISCOVERY_REFUSED_LEASE) == DISC_REFUSAL_COUNT);

/** By their values. */
constexpr const char *REFUSALS[] = {
    "it is of another domain",
    "it has another domain tag",
    "it is older than what is known",
    "its participant is ignored",
    "it comes from elsewhere than where its participant lives",
    "there is no room for its participant",
    "a participant of this process has said it itself",
    "memory runs out",
    "its lease is zero or less",
    "it has no GUID, that of no participant, or not the sender's",
    "it has a parameter that must be understood and is not",
    "it is no announcement",
};

static_assert(std::size(REFUSALS) == DDS_DISCOVERY_REFUSAL_COUNT);

} // namespace

DDS_Boolean DDS_InstanceHandle_is_equal(const DDS_InstanceHandle_t *left,
                                        const DDS_InstanceHandle_t *right) {
    return to_boolean(!DDSLog_isNull(left) && !DDSLog_isNull(right) &&
                      dds::value::is_equal(*left, *right));
}

DDS_Boolean DDS_InstanceHandle_is_nil(const DDS_InstanceHandle_t *self) {
    const DDS_InstanceHandle_t nil = DDS_HANDLE_NIL;

    return to_boolean(!DDSLog_isNull(self) && dds::value::is_equal(*self, nil));
}

void DDS_InstanceHandle_from_prefixI(DDS_InstanceHandle_t *self,
                                     const NUVOsapiRtpsGuidPrefix *prefix) {
    const NUVOsapiRtpsGuid guid = guid_of(*prefix);

    RTPSGuid_toOctets(&guid, self->value);
}

int DDS_InstanceHandle_to_prefixI(const DDS_InstanceHandle_t *self, NUVOsapiRtpsGuidPrefix *out) {
    const NUVOsapiRtpsGuid guid = RTPSGuid_fromOctets(self->value);

    if (guid.objectId != RTPS_ENTITYID_PARTICIPANT) {
        return 0;
    }
    *out = guid.prefix;
    return 1;
}

void DDS_ParticipantBuiltinTopicData_initialize(DDS_ParticipantBuiltinTopicData *self) {
    if (!DDSLog_isNull(self)) {
        *self = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_INITIALIZER;
    }
}

void DDS_ParticipantBuiltinTopicData_finalize(DDS_ParticipantBuiltinTopicData *self) {
    if (!DDSLog_isNull(self)) {
        dds::value::finalize(*self);
    }
}

DDS_ParticipantBuiltinTopicData *
DDS_ParticipantBuiltinTopicData_copy(DDS_ParticipantBuiltinTopicData *self,
                                     const DDS_ParticipantBuiltinTopicData *src) {
    if (DDSLog_isNull(self) || DDSLog_isNull(src)) {
        return nullptr;
    }
    return dds::value::copy(*self, *src) ? self : nullptr;
}

DDS_Boolean DDS_ParticipantBuiltinTopicData_is_equal(const DDS_ParticipantBuiltinTopicData *left,
                                                     const DDS_ParticipantBuiltinTopicData *right) {
    return to_boolean(!DDSLog_isNull(left) && !DDSLog_isNull(right) &&
                      dds::value::is_equal(*left, *right));
}

int DDS_ParticipantBuiltinTopicData_from_remoteI(DDS_ParticipantBuiltinTopicData *self,
                                                 const DISCRemote *remote,
                                                 const DISCRemoteStatus *status,
                                                 DDS_DomainId_t domain_id) {
    DDS_ParticipantBuiltinTopicData taken = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_INITIALIZER;
    RTPSParticipantData announced;

    DISCRemote_read(remote, &announced);
    if (!take_variable_parts(taken, announced)) {
        dds::value::finalize(taken);
        return 0;
    }
    RTPSGuid_toOctets(&announced.guid, taken.key.value);
    RTPSGuid_toOctets(&announced.guid, taken.guid.value);
    std::copy_n(announced.vendorId.octets, sizeof taken.rtps_vendor_id.value,
                taken.rtps_vendor_id.value);
    taken.rtps_protocol_version = {announced.protocolVersion.major,
                                   announced.protocolVersion.minor};
    taken.domain_id =
        announced.hasDomainId != 0 ? static_cast<DDS_DomainId_t>(announced.domainId) : domain_id;
    taken.says_domain_id = to_boolean(announced.hasDomainId != 0);
    DDS_Duration_from_ntp_time(&taken.lease_duration, &announced.leaseDuration);
    if (status != nullptr) {
        take_status(taken, *status);
    }
    std::swap(*self, taken);
    dds::value::finalize(taken);
    return 1;
}

const char *DDS_DiscoveryRefusal_to_string(DDS_DiscoveryRefusal refusal) {
    const auto value = static_cast<std::size_t>(refusal);

    return value < std::size(REFUSALS) ? REFUSALS[value] : "unknown reason";
}

void DDS_DiscoveryStatistics_from_discI(DDS_DiscoveryStatistics *self,
                                        const DISCStatistics *statistics) {
    *self = {};
    self->known = statistics->known;
    self->announcements_sent = statistics->announcementsSent;
    self->announcements_received = statistics->announcementsReceived;
    std::copy(std::begin(statistics->refused), std::end(statistics->refused), self->refused);
    for (int refusal = RTPS_ACCEPTED + 1; refusal < RTPS_REFUSAL_COUNT; ++refusal) {
        self->refused[reason_of(static_cast<RTPSRefusal>(refusal))] +=
            statistics->unreadable[refusal];
    }
    self->came = statistics->came;
    self->changed = statistics->changed;
    self->left = statistics->left;
    self->lost = statistics->lost;
    self->heartbeats_sent = statistics->heartbeatsSent;
}
