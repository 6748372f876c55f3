// SPDX-License-Identifier: Apache-2.0
// Announcements and keys of participants taken apart.
#include "layouts.h"
#include "parameterList.h"
#include "rtps/rtps_guid.h"
#include "rtps/rtps_participantData.h"
#include "text.h"

namespace {

/** One announcement while it is read. */
class ParticipantReader {
public:
    ParticipantReader(const RTPSHeader &source, const RTPSLocatorRanking *ranking,
                      RTPSParticipantData &data)
        : source_(source), ranking_(ranking), data_(data) {
        data_ = {};
        data_.protocolVersion = source.version;
        data_.vendorId = source.vendorId;
        data_.leaseDuration = RTPS_LEASE_DURATION_DEFAULT;
    }

    RTPSRefusal read(const RTPSParameter &parameter, RTPSByteOrder order) {
        rtps::Input value(parameter.value, order);
        const RTPSRefusal refusal = read_value(parameter, value);
        return refusal == RTPS_ACCEPTED && !value.is_good() ? RTPS_REFUSED_LENGTH : refusal;
    }

    /** What is wrong with it as a whole. Of what is there several times only the last counts. */
    RTPSRefusal judge() const {
        constexpr NUVNtpTime ZERO = NUV_NTP_TIME_ZERO;

        if (!has_guid_) {
            return RTPS_REFUSED_NO_GUID;
        }
        if (data_.guid.objectId != RTPS_ENTITYID_PARTICIPANT) {
            return RTPS_REFUSED_ENTITY_ID;
        }
        if (NUVOsapiRtpsGuidPrefix_isSame(&data_.guid.prefix, &source_.guidPrefix) == 0) {
            return RTPS_REFUSED_GUID_PREFIX;
        }
        return NUVNtpTime_compare(&data_.leaseDuration, &ZERO) > 0 ? RTPS_ACCEPTED
                                                                   : RTPS_REFUSED_LEASE;
    }

private:
    RTPSRefusal read_value(const RTPSParameter &parameter, rtps::Input &value) {
        switch (parameter.id) {
        case RTPS_PID_PROTOCOL_VERSION:
            rtps::protocol_version(value, data_.protocolVersion);
            break;
        case RTPS_PID_VENDORID:
            value.octets(data_.vendorId.octets);
            break;
        case RTPS_PID_PARTICIPANT_GUID:
            rtps::guid(value, data_.guid);
            has_guid_ = true;
            break;
        case RTPS_PID_PARTICIPANT_LEASE_DURATION:
            rtps::duration(value, data_.leaseDuration);
            break;
        case RTPS_PID_BUILTIN_ENDPOINT_SET:
            value.number(data_.availableBuiltinEndpoints);
            break;
        case RTPS_PID_BUILTIN_ENDPOINT_QOS:
            value.number(data_.builtinEndpointQos);
            break;
        case RTPS_PID_METATRAFFIC_UNICAST_LOCATOR:
            add_locator(value, data_.metatrafficUnicast);
            break;
        case RTPS_PID_METATRAFFIC_MULTICAST_LOCATOR:
            add_locator(value, data_.metatrafficMulticast);
            break;
        case RTPS_PID_DEFAULT_UNICAST_LOCATOR:
            add_locator(value, data_.defaultUnicast);
            break;
        case RTPS_PID_DEFAULT_MULTICAST_LOCATOR:
            add_locator(value, data_.defaultMulticast);
            break;
        case RTPS_PID_DOMAIN_ID:
            value.number(data_.domainId);
            data_.hasDomainId = 1;
            break;
        case RTPS_PID_DOMAIN_TAG:
            return rtps::text(value, data_.domainTag);
        case RTPS_PID_USER_DATA:
            read_octets(value, data_.userData);
            break;
        case RTPS_PID_ENTITY_NAME:
            return rtps::text(value, data_.entityName);
        case RTPS_PID_PROPERTY_LIST:
            return RTPSPropertyList_read(parameter.value, value.order(), &data_.properties);
        case RTPS_PID_EXPECTS_INLINE_QOS:
            read_boolean(value, data_.expectsInlineQos);
            break;
        default:
            return parameter.mustUnderstand != 0 ? RTPS_REFUSED_MUST_UNDERSTAND : RTPS_ACCEPTED;
        }
        return RTPS_ACCEPTED;
    }

    void add_locator(rtps::Input &value, RTPSLocators &list) const {
        NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
        rtps::locator(value, locator);
        RTPSLocators_add(&list, &locator, ranking_);
    }

    static void read_octets(rtps::Input &value, RTPSOctets &out) {
        NUV_UINT32 length = 0;
        value.number(length);
        out = value.take(length);
    }

    static void read_boolean(rtps::Input &value, NUV_INT32 &out) {
        NUV_UINT8 octet = 0;
        value.number(octet);
        out = static_cast<NUV_INT32>(octet != 0);
    }

    const RTPSHeader &source_;
    const RTPSLocatorRanking *const ranking_;
    RTPSParticipantData &data_;
    bool has_guid_ = false;
};

} // namespace

RTPSRefusal RTPSParticipantData_read(RTPSOctets payload, const RTPSHeader *source,
                                     const RTPSLocatorRanking *ranking, RTPSParticipantData *out) {
    RTPSParameterListReader list;
    RTPSParameterListReader_initializePayload(&list, payload);
    ParticipantReader reader(*source, ranking, *out);
    for (RTPSParameter parameter; RTPSParameterListReader_next(&list, &parameter) != 0;) {
        const RTPSRefusal refusal = reader.read(parameter, list.byteOrder);
        if (refusal != RTPS_ACCEPTED) {
            return refusal;
        }
    }
    return list.refusal == RTPS_ACCEPTED ? reader.judge() : list.refusal;
}
