// SPDX-License-Identifier: Apache-2.0
// The receive ports whose processing of messages is timed.
#ifndef COMMEND_TRACKED_PORTS_H
#define COMMEND_TRACKED_PORTS_H

#include "netio/netio_locator.h"

namespace commend {

/** A port, or several in a row. */
struct PortRange {
    KOLS_Transport_Port_t first;
    KOLS_Transport_Port_t last;
};

/** Immutable once it has been read. */
class TrackedPorts {
public:
    TrackedPorts() = default;
    ~TrackedPorts();
    TrackedPorts(const TrackedPorts &) = delete;
    TrackedPorts &operator=(const TrackedPorts &) = delete;

    /** Reads the setting; null or empty means every port. On failure an error has been logged. */
    bool read(const char *text);

    bool contains(KOLS_Transport_Port_t port) const;

private:
    NUV_INT32 count_ = 0; // none: every port
    PortRange *ranges_ = nullptr;
};

} // namespace commend

#endif
