// SPDX-License-Identifier: Apache-2.0
// The port numbers of domains and participants (DDSI-RTPS 9.6.1).
#include <limits>

#include "infrastructure/dds_log.h"
#include "qos/policies.h"
#include "qos/rtpsPort.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_INFRASTRUCTURE;

using dds::qos::is_port;
using dds::value::to_boolean;

namespace {

/** a + b, or the largest value: only the largest sums of ports do not fit in 64 bits. */
DDS_LongLong add_saturating(DDS_LongLong a, DDS_LongLong b) {
    DDS_LongLong sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? std::numeric_limits<DDS_LongLong>::max() : sum;
}

/** The product of two 32-bit numbers always fits in 64 bits. */
DDS_LongLong multiply(DDS_Long a, DDS_Long b) {
    return static_cast<DDS_LongLong>(a) * b;
}

DDS_LongLong multicast_port(const DDS_RtpsWellKnownPorts_t &ports, DDS_DomainId_t domainId,
                            DDS_Long offset) {
    return ports.port_base + multiply(ports.domain_id_gain, domainId) + offset;
}

DDS_LongLong unicast_port(const DDS_RtpsWellKnownPorts_t &ports, DDS_DomainId_t domainId,
                          DDS_Long participantIndex, DDS_Long offset) {
    return add_saturating(multicast_port(ports, domainId, offset),
                          multiply(ports.participant_id_gain, participantIndex));
}

} // namespace

void DDS_RtpsWellKnownPorts_initialize(DDS_RtpsWellKnownPorts_t *self) {
    if (!DDSLog_isNull(self)) {
        *self = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;
    }
}

DDS_Boolean DDS_RtpsWellKnownPorts_is_equal(const DDS_RtpsWellKnownPorts_t *left,
                                            const DDS_RtpsWellKnownPorts_t *right) {
    return to_boolean(!DDSLog_isNull(left) && !DDSLog_isNull(right) &&
                      dds::value::is_equal(*left, *right));
}

DDS_LongLong DDS_RtpsWellKnownPorts_get_builtin_multicast_port(const DDS_RtpsWellKnownPorts_t *self,
                                                               DDS_DomainId_t domainId) {
    return DDSLog_isNull(self)
               ? 0
               : multicast_port(*self, domainId, self->builtin_multicast_port_offset);
}

DDS_LongLong DDS_RtpsWellKnownPorts_get_builtin_unicast_port(const DDS_RtpsWellKnownPorts_t *self,
                                                             DDS_DomainId_t domainId,
                                                             DDS_Long participantIndex) {
    return DDSLog_isNull(self)
               ? 0
               : unicast_port(*self, domainId, participantIndex, self->builtin_unicast_port_offset);
}

DDS_LongLong DDS_RtpsWellKnownPorts_get_user_multicast_port(const DDS_RtpsWellKnownPorts_t *self,
                                                            DDS_DomainId_t domainId) {
    return DDSLog_isNull(self) ? 0
                               : multicast_port(*self, domainId, self->user_multicast_port_offset);
}

DDS_LongLong DDS_RtpsWellKnownPorts_get_user_unicast_port(const DDS_RtpsWellKnownPorts_t *self,
                                                          DDS_DomainId_t domainId,
                                                          DDS_Long participantIndex) {
    return DDSLog_isNull(self)
               ? 0
               : unicast_port(*self, domainId, participantIndex, self->user_unicast_port_offset);
}

DDS_Boolean DDS_RtpsWellKnownPorts_isUnicastValid(const DDS_RtpsWellKnownPorts_t *self,
                                                  DDS_DomainId_t domainId,
                                                  DDS_Long participantIndex) {
    if (DDSLog_isNull(self)) {
        return DDS_BOOLEAN_FALSE;
    }
    return to_boolean(
        is_port(
            DDS_RtpsWellKnownPorts_get_builtin_unicast_port(self, domainId, participantIndex)) &&
        is_port(DDS_RtpsWellKnownPorts_get_user_unicast_port(self, domainId, participantIndex)));
}
