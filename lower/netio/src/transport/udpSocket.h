// What the layer asks of UDP sockets. On failure errno tells why.
#ifndef NETIO_UDP_SOCKET_H
#define NETIO_UDP_SOCKET_H

#include <atomic>

#include <sys/time.h>

#include "reactor/descriptor.h"
#include "transport/socketAddress.h"

namespace netio {

/** Whether a call waits until the kernel has something, or room; for the latter LONGEST_SEND_WAIT.
 */
enum class Waiting { NEVER, BRIEFLY };

/** A send that has found no room by then fails with EAGAIN. */
constexpr timeval LONGEST_SEND_WAIT = {0, 100'000};

/** Opens a socket of one transport only: one of UDPv6 carries no IPv4. */
Descriptor open_udp_socket(KOLS_Transport_ClassId_t transport, Waiting waiting);

bool bind_socket(int socket, const SocketAddress &address);

/** Lets several sockets be bound to a multicast group, and each receive only what it has joined. */
bool prepare_for_group(int socket, KOLS_Transport_ClassId_t transport);

bool join_group(int socket, KOLS_Transport_ClassId_t transport,
                const KOLS_Transport_Address_t &group, NUV_UINT32 interface_index);
bool leave_group(int socket, KOLS_Transport_ClassId_t transport,
                 const KOLS_Transport_Address_t &group, NUV_UINT32 interface_index);

/**
 * Keeps a socket that could not be bound for the next try: passing over taken ports then costs no
 * more than their failing binds. Thread-safe.
 */
class SpareSocket {
public:
    SpareSocket() = default;
    ~SpareSocket() {
        const Descriptor closed(kept_.load());
    }
    SpareSocket(const SpareSocket &) = delete;
    SpareSocket &operator=(const SpareSocket &) = delete;

    /** The kept socket, or a new one. */
    Descriptor take_or_open(KOLS_Transport_ClassId_t transport);
    /** Keeps an unbound socket. */
    void keep(Descriptor socket);

private:
    std::atomic<int> kept_{-1};
};

} // namespace netio

#endif
