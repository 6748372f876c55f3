// SPDX-License-Identifier: Apache-2.0
/**
 * @file osapi_guid.h
 * @brief The RTPS globally unique identifier (DDSI-RTPS 8.2.4.1, 9.3.1).
 */
#ifndef OSAPI_GUID_H
#define OSAPI_GUID_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The part of a GUID that names a participant. */
struct NUVOsapiRtpsGuidPrefix {
    NUV_UINT32 hostId;
    NUV_UINT32 appId;
    NUV_UINT32 instanceId;
};

/** Non-zero when both name the same participant. */
int NUVOsapiRtpsGuidPrefix_isSame(const struct NUVOsapiRtpsGuidPrefix *left,
                                  const struct NUVOsapiRtpsGuidPrefix *right);

struct NUVOsapiRtpsGuid {
    struct NUVOsapiRtpsGuidPrefix prefix;
    NUV_UINT32 objectId;
};

/** The entity id that every participant has (DDSI-RTPS 9.3.1.2, ENTITYID_PARTICIPANT). */
#define NUV_OSAPI_RTPS_OBJECT_ID_PARTICIPANT 0x000001C1u

/**
 * @brief Makes a new participant GUID.
 *
 * Unique across hosts, network namespaces, processes and time, also on a host that has no network
 * address: hostId comes from the machine's and the boot's identity and the network namespace of the
 * process's first GUID, appId and instanceId from the process id, the time, a count, and random
 * bits that are the process's own. No field is 0. The first two octets of a prefix are those of the
 * vendor id: as it is unknown, {0, 0}, the high half of hostId is 0. Thread-safe.
 */
void NUVOsapiRtpsGuid_generate(struct NUVOsapiRtpsGuid *out);

/**
 * @brief Where the prefixes of new GUIDs come from.
 *
 * There is one, shared like the clocks of the system (osapi_ntptime.h): whoever needs to know what
 * will come of it, as a simulation does, puts a function of its own into it while nobody uses it.
 */
struct NUVOsapiRtpsGuidSource {
    /** Makes a prefix that nobody has, none of whose fields is 0. Thread-safe. */
    void (*generatePrefix)(const struct NUVOsapiRtpsGuidSource *self,
                           struct NUVOsapiRtpsGuidPrefix *out);
};

struct NUVOsapiRtpsGuidSource *NUVOsapiRtpsGuidSource_get(void);

#ifdef __cplusplus
}
#endif

#endif
