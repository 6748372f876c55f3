// Sending over one transport.
#include "transport/sendSocket.h"

#include <array>
#include <cerrno>
#include <cstring>

#include "netio_log.h"
#include "transport/udpSocket.h"

namespace netio {

namespace {

/** A destination, with the interface to send over where one is named. */
class Envelope {
public:
    Envelope(const NUVNetioLocator &destination, std::span<const NUV_UINT8> message)
        : address_(destination.transport, destination.address, destination.port) {
        // sendmsg only reads; its parameters are not const for recvmsg's sake.
        part_.iov_base = const_cast<NUV_UINT8 *>(message.data());
        part_.iov_len = message.size();
        header_.msg_name = address_.get();
        header_.msg_namelen = address_.length();
        header_.msg_iov = &part_;
        header_.msg_iovlen = 1;
    }
    Envelope(const Envelope &) = delete;
    Envelope &operator=(const Envelope &) = delete;

    void name_interface(KOLS_Transport_ClassId_t transport, NUV_UINT32 index) {
        if (transport == KOLS_TRANSPORT_CLASSID_UDPv4) {
            in_pktinfo info{};
            info.ipi_ifindex = static_cast<int>(index);
            set_control(IPPROTO_IP, IP_PKTINFO, info);
        } else {
            in6_pktinfo info{};
            info.ipi6_ifindex = index;
            set_control(IPPROTO_IPV6, IPV6_PKTINFO, info);
        }
    }

    bool send(int socket, int flags = 0) const {
        // Each try waits briefly: signals that come all the while make it no endless one.
        constexpr int MOST_TRIES = 10;
        ssize_t sent = -1;
        for (int i = 0; i < MOST_TRIES; ++i) {
            sent = sendmsg(socket, &header_, MSG_NOSIGNAL | flags);
            if (sent >= 0 || errno != EINTR) {
                break;
            }
        }
        return sent >= 0;
    }

private:
    template <typename Info>
    void set_control(int level, int type, const Info &info) {
        static_assert(CMSG_SPACE(sizeof info) <= CONTROL_SIZE);
        header_.msg_control = control_.data();
        header_.msg_controllen = CMSG_SPACE(sizeof info);
        cmsghdr *control = CMSG_FIRSTHDR(&header_);
        control->cmsg_level = level;
        control->cmsg_type = type;
        control->cmsg_len = CMSG_LEN(sizeof info);
        std::memcpy(CMSG_DATA(control), &info, sizeof info);
    }

    static constexpr std::size_t CONTROL_SIZE = CMSG_SPACE(sizeof(in6_pktinfo));

    SocketAddress address_;
    iovec part_{};
    msghdr header_{};
    alignas(cmsghdr) std::array<char, CONTROL_SIZE> control_{};
};

} // namespace

bool SendSocket::send(const NUVNetioLocator &destination, std::span<const NUV_UINT8> message) {
    const int socket = get_or_open(destination.transport);
    return socket >= 0 && Envelope(destination, message).send(socket);
}

bool SendSocket::send_to_group(const NUVNetioLocator &group, std::span<const NUV_UINT8> message,
                               const AllowedInterfaces &allowed,
                               const NUVNetioInterfaceSnapshot &snapshot,
                               REDARepetitions *repetitions) {
    const int socket = get_or_open(group.transport);
    if (socket < 0) {
        return false;
    }
    Envelope envelope(group, message);
    int taken = 0;
    int refused = 0;
    int error = 0;
    int flags = 0;
    visit_multicast_interfaces(snapshot, allowed, group.transport, [&](const auto &interface) {
        envelope.name_interface(group.transport, interface.index);
        if (envelope.send(socket, flags)) {
            ++taken;
        } else {
            ++refused;
            error = errno;
            // However many links are stuck, one message has one wait.
            flags = error == EAGAIN ? MSG_DONTWAIT : flags;
        }
    });
    if (taken == 0 && refused == 0) {
        return envelope.send(socket); // no interface is known: the kernel's routes decide
    }
    if (taken != 0 && refused != 0) {
        NETIO_WARNING_LIMITED(repetitions, "%d of %d interfaces refused a message to %s: %s (%s)",
                              refused, taken + refused, LocatorText(group).get(),
                              error_description(error), error_name(error));
    }
    errno = error;
    return taken != 0;
}

int SendSocket::get_or_open(KOLS_Transport_ClassId_t transport) {
    int socket = socket_.load();
    if (socket >= 0) {
        return socket;
    }
    // A full send buffer makes a sender wait rather than lose a message, though not for a stuck
    // link.
    Descriptor opened = open_udp_socket(transport, Waiting::BRIEFLY);
    if (!opened.is_open()) {
        return -1;
    }
    if (socket_.compare_exchange_strong(socket, opened.get())) {
        return opened.take();
    }
    return socket; // another thread was faster
}

} // namespace netio
