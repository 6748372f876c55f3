// SPDX-License-Identifier: Apache-2.0
// What a port of RTPS may be.
#ifndef DDS_C_RTPS_PORT_H
#define DDS_C_RTPS_PORT_H

#include "dds_c/dds_c_rtpswellknownports.h"

namespace dds::qos {

/** Whether a sum of port settings is a port that a participant can receive on. */
constexpr bool is_port(DDS_LongLong port) {
    return port >= DDS_RTPS_PORT_MIN && port <= DDS_RTPS_PORT_MAX;
}

} // namespace dds::qos

#endif
