// Sending over one transport.
#ifndef NETIO_SEND_SOCKET_H
#define NETIO_SEND_SOCKET_H

#include <atomic>
#include <span>

#include "interface/allowedInterfaces.h"
#include "reactor/descriptor.h"
#include "reda/reda_repetition.h"

namespace netio {

/** A socket that is opened for the first message and kept. Thread-safe. */
class SendSocket {
public:
    SendSocket() = default;
    ~SendSocket() {
        const Descriptor closed(socket_.load());
    }
    SendSocket(const SendSocket &) = delete;
    SendSocket &operator=(const SendSocket &) = delete;

    /** Sends one message. False, with errno, when the kernel does not take it before long. */
    bool send(const NUVNetioLocator &destination, std::span<const NUV_UINT8> message);

    /**
     * Sends one message to a group on every interface that multicast goes over. False, with errno,
     * when the kernel takes it on none of them; one that refuses while others don't is a warning,
     * which @p repetitions limits.
     */
    bool send_to_group(const NUVNetioLocator &group, std::span<const NUV_UINT8> message,
                       const AllowedInterfaces &allowed, const NUVNetioInterfaceSnapshot &snapshot,
                       REDARepetitions *repetitions);

private:
    int get_or_open(KOLS_Transport_ClassId_t transport);

    std::atomic<int> socket_{-1};
};

} // namespace netio

#endif
