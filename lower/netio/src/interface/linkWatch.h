// SPDX-License-Identifier: Apache-2.0
// The kernel's link and address events (rtnetlink).
#ifndef NETIO_LINK_WATCH_H
#define NETIO_LINK_WATCH_H

#include "reactor/descriptor.h"

namespace netio {

enum class LinkEvents { NONE, SOME, UNREADABLE };

class LinkWatch {
public:
    /** On failure errno tells why. */
    bool open();
    bool is_open() const {
        return descriptor_.is_open();
    }
    void close() {
        descriptor_.reset();
    }
    int descriptor() const {
        return descriptor_.get();
    }

    /** Takes the events that have come. Never waits. When they are unreadable errno tells why. */
    LinkEvents take_events();

private:
    Descriptor descriptor_;
};

} // namespace netio

#endif
