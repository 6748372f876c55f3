// SPDX-License-Identifier: Apache-2.0
// What is counted and timed of whatever a facade sends.
#include "sending.h"

#include "commend_log.h"

namespace commend {

void Sending::warn_of_slow_send(const char *LOG_METHOD, const NUVNetioLocator &destination,
                                const Seconds &passed, const Seconds &allowed) {
    COMMEND_WARNING_LIMITED(repetitions_,
                            "sending a message to %s took %lld.%06lld s, longer than %lld.%06lld s",
                            netio::LocatorText(destination).get(), passed.whole, passed.micros,
                            allowed.whole, allowed.micros);
}

} // namespace commend
