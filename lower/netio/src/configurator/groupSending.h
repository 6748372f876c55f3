// SPDX-License-Identifier: Apache-2.0
// Sending to a group.
#ifndef NETIO_GROUP_SENDING_H
#define NETIO_GROUP_SENDING_H

#include <cerrno>

#include "configurator/configurator.h"
#include "transport/outgoing.h"

namespace netio {

/** One message on its way over several interfaces. */
class GroupSending {
public:
    explicit GroupSending(const Outgoing &message) : message_(message) {}

    /** Sends it over one more, as @p send_over does; that tells by errno why it could not. */
    template <typename SendOver>
    void add(NUV_UINT32 interface_index, SendOver send_over) {
        if (send_over(message_, interface_index)) {
            ++taken_;
        } else {
            ++refused_;
            error_ = errno;
            // However many links are stuck, one message has one wait.
            message_.may_wait = message_.may_wait && error_ != EAGAIN;
        }
    }
    bool is_any() const {
        return taken_ + refused_ != 0;
    }
    /**
     * How many took it. 0: errno tells why. That some refuse while others don't is a warning, which
     * @p repetitions limits.
     */
    NUV_INT32 conclude(const char *LOG_METHOD, REDARepetitions *repetitions) const;

private:
    Outgoing message_;
    NUV_INT32 taken_ = 0;
    NUV_INT32 refused_ = 0;
    int error_ = 0;
};

/**
 * Sends a message to a group over every interface of the snapshot that multicast goes over, or by
 * the routes where none is known, with @p send_over. Answers how many of them took it; 0: errno
 * tells why.
 */
template <typename SendOver>
NUV_INT32 send_to_group(const char *method, const Outgoing &message,
                        const NUVNetioConfigurator &configurator,
                        const NUVNetioInterfaceSnapshot &snapshot, SendOver send_over) {
    GroupSending sending(message);
    visit_multicast_interfaces(
        snapshot, configurator.allowed, message.destination.transport,
        [&](const NUVNetioInterface &interface) { sending.add(interface.index, send_over); });
    if (!sending.is_any()) {
        sending.add(BY_THE_ROUTES, send_over);
    }
    return sending.conclude(method, &configurator.runtime->repetitions);
}

} // namespace netio

#endif
