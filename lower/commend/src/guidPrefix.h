// SPDX-License-Identifier: Apache-2.0
// Which participant something is of.
#ifndef COMMEND_GUID_PREFIX_H
#define COMMEND_GUID_PREFIX_H

#include "osapi/osapi_guid.h"

namespace commend {

inline bool is_same_prefix(const NUVOsapiRtpsGuidPrefix &left,
                           const NUVOsapiRtpsGuidPrefix &right) {
    return left.hostId == right.hostId && left.appId == right.appId &&
           left.instanceId == right.instanceId;
}

} // namespace commend

#endif
