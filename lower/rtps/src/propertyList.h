// SPDX-License-Identifier: Apache-2.0
// Property lists as parameters carry them.
#ifndef RTPS_PROPERTY_LIST_INTERNAL_H
#define RTPS_PROPERTY_LIST_INTERNAL_H

#include "output.h"
#include "rtps/rtps_propertyList.h"

namespace rtps {

/** Writes a list in the byte order of the output, which may be another one than its own. */
void property_list(Output &output, const RTPSPropertyList &list);

} // namespace rtps

#endif
