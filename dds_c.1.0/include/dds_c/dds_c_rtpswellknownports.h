// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_rtpswellknownports.h
 * @brief The RTPS well-known ports (DDSI-RTPS 9.6.1).
 *
 * All functions are thread-safe and allocate nothing.
 */
#ifndef DDS_C_RTPS_WELL_KNOWN_PORTS_H
#define DDS_C_RTPS_WELL_KNOWN_PORTS_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_common.h"

DDS_C_API_BEGIN

/**
 * @brief The parameters of the port numbers (DDSI-RTPS 9.6.1.1).
 *
 * Multicast ports are port_base + domain_id_gain * domain + offset; unicast ports have
 * participant_id_gain * index in addition, with the participant's index in its domain and host.
 */
typedef struct DDS_RtpsWellKnownPorts_t {
    DDS_Long port_base;                     /**< PB: 1 to 65534 */
    DDS_Long domain_id_gain;                /**< DG: 1 or more */
    DDS_Long participant_id_gain;           /**< PG: 1 or more */
    DDS_Long builtin_multicast_port_offset; /**< d0 */
    DDS_Long builtin_unicast_port_offset;   /**< d1: 0 or more */
    DDS_Long user_multicast_port_offset;    /**< d2 */
    DDS_Long user_unicast_port_offset;      /**< d3: 0 or more */
} DDS_RtpsWellKnownPorts_t;

/** The initializer with the values of DDSI-RTPS 9.6.1.3. */
#define DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER                                                      \
    { 7400, 250, 2, 0, 10, 1, 11 }

/** The smallest and the largest port number. */
#define DDS_RTPS_PORT_MIN 1
#define DDS_RTPS_PORT_MAX 65535

/** Sets the values of DDSI-RTPS 9.6.1.3. A null @p self is an error, which is logged. */
void DDS_RtpsWellKnownPorts_initialize(struct DDS_RtpsWellKnownPorts_t *self);

/** True when all seven parameters are the same. Null arguments are an error, which is logged. */
DDS_Boolean DDS_RtpsWellKnownPorts_is_equal(const struct DDS_RtpsWellKnownPorts_t *left,
                                            const struct DDS_RtpsWellKnownPorts_t *right);

/**
 * @brief The port for discovery by multicast in a domain (DDSI-RTPS 9.6.1.1).
 * @param self not null.
 * @return the number as the parameters give it, which may be no valid port; what 64 bits cannot
 * hold becomes the largest value of 64 bits. 0 for a null @p self, which is logged.
 */
DDS_LongLong
DDS_RtpsWellKnownPorts_get_builtin_multicast_port(const struct DDS_RtpsWellKnownPorts_t *self,
                                                  DDS_DomainId_t domainId);

/** The port for discovery by unicast of a participant index; else as the function above. */
DDS_LongLong
DDS_RtpsWellKnownPorts_get_builtin_unicast_port(const struct DDS_RtpsWellKnownPorts_t *self,
                                                DDS_DomainId_t domainId, DDS_Long participantIndex);

/** The port for user traffic by multicast in a domain; else as the functions above. */
DDS_LongLong
DDS_RtpsWellKnownPorts_get_user_multicast_port(const struct DDS_RtpsWellKnownPorts_t *self,
                                               DDS_DomainId_t domainId);

/** The port for user traffic by unicast of a participant index; else as the functions above. */
DDS_LongLong
DDS_RtpsWellKnownPorts_get_user_unicast_port(const struct DDS_RtpsWellKnownPorts_t *self,
                                             DDS_DomainId_t domainId, DDS_Long participantIndex);

/**
 * @brief True when both unicast ports of a participant index are within 1 to 65535.
 * A null @p self is an error, which is logged; the result is then DDS_BOOLEAN_FALSE.
 */
DDS_Boolean DDS_RtpsWellKnownPorts_isUnicastValid(const struct DDS_RtpsWellKnownPorts_t *self,
                                                  DDS_DomainId_t domainId,
                                                  DDS_Long participantIndex);

/** Which of a participant's four ports are reserved: a set of DDS_RTPS_RESERVED_PORT_* bits. */
typedef DDS_Long DDS_RtpsReservedPortKindMask;

#define DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST 1
#define DDS_RTPS_RESERVED_PORT_BUILTIN_MULTICAST 2
#define DDS_RTPS_RESERVED_PORT_USER_UNICAST 4
#define DDS_RTPS_RESERVED_PORT_USER_MULTICAST 8

/** No port: the participant's index is still claimed by one discovery port. */
#define DDS_RTPS_RESERVED_PORT_MASK_NONE 0
/** All ports but the one for user traffic by multicast. */
#define DDS_RTPS_RESERVED_PORT_MASK_DEFAULT                                                        \
    (DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST | DDS_RTPS_RESERVED_PORT_BUILTIN_MULTICAST |           \
     DDS_RTPS_RESERVED_PORT_USER_UNICAST)
/** All four ports. */
#define DDS_RTPS_RESERVED_PORT_MASK_ALL                                                            \
    (DDS_RTPS_RESERVED_PORT_MASK_DEFAULT | DDS_RTPS_RESERVED_PORT_USER_MULTICAST)

DDS_C_API_END

#endif
