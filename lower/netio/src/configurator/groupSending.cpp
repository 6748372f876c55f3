// SPDX-License-Identifier: Apache-2.0
// Sending to a group.
#include "configurator/groupSending.h"

#include "netio_log.h"

namespace netio {

NUV_INT32 GroupSending::conclude(const char *LOG_METHOD, REDARepetitions *repetitions) const {
    if (taken_ != 0 && refused_ != 0) {
        NETIO_WARNING_LIMITED(repetitions, "%d of %d interfaces refused a message to %s: %s (%s)",
                              refused_, taken_ + refused_, LocatorText(message_.destination).get(),
                              error_description(error_), error_name(error_));
    }
    errno = error_;
    return taken_;
}

} // namespace netio
