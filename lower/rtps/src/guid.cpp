// SPDX-License-Identifier: Apache-2.0
// GUIDs as messages carry them.
#include "rtps/rtps_guid.h"

#include "input.h"
#include "layouts.h"
#include "output.h"

void RTPSGuid_toOctets(const NUVOsapiRtpsGuid *guid, NUV_UINT8 octets[RTPS_GUID_SIZE]) {
    rtps::Output output(std::span(octets, RTPS_GUID_SIZE), RTPS_BIG_ENDIAN);
    rtps::guid(output, *guid);
}

NUVOsapiRtpsGuid RTPSGuid_fromOctets(const NUV_UINT8 octets[RTPS_GUID_SIZE]) {
    rtps::Input input({octets, RTPS_GUID_SIZE}, RTPS_BIG_ENDIAN);
    NUVOsapiRtpsGuid guid{};
    rtps::guid(input, guid);
    return guid;
}
