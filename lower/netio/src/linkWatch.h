// The kernel's link and address events (rtnetlink).
#ifndef NETIO_LINK_WATCH_H
#define NETIO_LINK_WATCH_H

#include "descriptor.h"

namespace netio {

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

    /** Takes the events that have come; true when there were any. Never waits. */
    bool take_events();

private:
    Descriptor descriptor_;
};

} // namespace netio

#endif
