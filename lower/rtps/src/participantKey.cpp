// SPDX-License-Identifier: Apache-2.0
// The serialized key of a participant.
#include "layouts.h"
#include "parameterList.h"
#include "rtps/rtps_guid.h"
#include "rtps/rtps_participantData.h"

namespace {

/** Any other parameter is none of the key, and skipped. */
RTPSRefusal read_parameter(const RTPSParameter &parameter, RTPSByteOrder order,
                           NUVOsapiRtpsGuid &guid) {
    if (parameter.id != RTPS_PID_PARTICIPANT_GUID) {
        return parameter.mustUnderstand != 0 ? RTPS_REFUSED_MUST_UNDERSTAND : RTPS_ACCEPTED;
    }
    rtps::Input value(parameter.value, order);
    rtps::guid(value, guid);
    return value.is_good() ? RTPS_ACCEPTED : RTPS_REFUSED_LENGTH;
}

/** The GUID that nobody has, GUID_UNKNOWN, is none. */
RTPSRefusal judge(const NUVOsapiRtpsGuid &guid) {
    if (guid.objectId == RTPS_ENTITYID_UNKNOWN) {
        return RTPS_REFUSED_NO_GUID;
    }
    return guid.objectId == RTPS_ENTITYID_PARTICIPANT ? RTPS_ACCEPTED : RTPS_REFUSED_ENTITY_ID;
}

} // namespace

RTPSRefusal RTPSParticipantKey_read(RTPSOctets payload, NUVOsapiRtpsGuid *out) {
    RTPSParameterListReader list;
    RTPSParameterListReader_initializePayload(&list, payload);
    NUVOsapiRtpsGuid guid{};
    for (RTPSParameter parameter; RTPSParameterListReader_next(&list, &parameter) != 0;) {
        const RTPSRefusal refusal = read_parameter(parameter, list.byteOrder, guid);
        if (refusal != RTPS_ACCEPTED) {
            return refusal;
        }
    }
    const RTPSRefusal refusal = list.refusal == RTPS_ACCEPTED ? judge(guid) : list.refusal;
    if (refusal == RTPS_ACCEPTED) {
        *out = guid;
    }
    return refusal;
}

size_t RTPSParticipantKey_write(const NUVOsapiRtpsGuid *guid, RTPSByteOrder byteOrder,
                                NUV_UINT8 *buffer, size_t capacity) {
    RTPSParameterListWriter writer;
    RTPSParameterListWriter_initializePayload(&writer, buffer, capacity, byteOrder);
    rtps::add_parameter(writer, RTPS_PID_PARTICIPANT_GUID,
                        [guid](rtps::Output &value) { rtps::guid(value, *guid); });
    return RTPSParameterListWriter_finish(&writer);
}
