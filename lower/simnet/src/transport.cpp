// SPDX-License-Identifier: Apache-2.0
// The networks of a simulated process: where the simulation begins.
#include "transport.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "simnet/simnet_world.h"

namespace simnet {

/** What a transport's functions do, each as a call of a process. */
class Transport {
public:
    template <KOLS_Transport_ClassId_t ID>
    static NUVNetioTransport make(Process &process) {
        NUVNetioTransport transport{};
        transport.transportClass = NUVNetioTransportClass_find(ID);
        transport.openUnicast = [](void *param, const NUVNetioSendOptions *options) {
            return open(of(param), ID, *options);
        };
        transport.bindUnicast = [](void *param, NUVNetioSocket_t handle,
                                   const KOLS_Transport_Address_t *address,
                                   KOLS_Transport_Port_t port) {
            return bind(of(param), handle, {{ID, *address}, port}, false) ? 1 : 0;
        };
        transport.openGroup = open_group;
        transport.join = [](void *param, NUVNetioSocket_t handle, const NUVNetioLocator *group,
                            NUV_UINT32 interface) {
            return join(of(param), handle, endpoint_of(*group), interface) ? 1 : 0;
        };
        transport.leave = [](void *param, NUVNetioSocket_t handle, const NUVNetioLocator *group,
                             NUV_UINT32 interface) {
            return leave(of(param), handle, endpoint_of(*group), interface) ? 1 : 0;
        };
        transport.receive = receive;
        transport.openSender = [](void *param, const NUVNetioSendOptions *options) {
            return open(of(param), ID, *options);
        };
        transport.send = send;
        transport.close = [](void *param, NUVNetioSocket_t handle) { close(of(param), handle); };
        transport.param = &process;
        return transport;
    }

private:
    static Process &of(void *param) {
        return *static_cast<Process *>(param);
    }

    /** Errno goes on telling why, whatever the trace does meanwhile. */
    static bool note(Process &process, Event event, const Endpoint &endpoint, bool went_well,
                     NUV_UINT64 detail = 0) {
        const int error = went_well ? 0 : errno;
        process.host_.world().trace().add({process.host_.world().now(), event,
                                           process.host_.number(), process.number(), endpoint,
                                           detail, error});
        errno = error;
        return went_well;
    }

    static NUVNetioSocket_t open(Process &process, KOLS_Transport_ClassId_t transport,
                                 const NUVNetioSendOptions &options) {
        Socket *socket = nullptr;
        const bool fails = process.fails(Call::OPEN);
        if (!process.is_alive()) {
            errno = EBADF;
        } else if (!fails) {
            socket = process.host_.open(&process, transport);
        }
        if (socket != nullptr) {
            socket->options = options;
        }
        note(process, Event::OPENED, {{transport, {}}, 0}, socket != nullptr);
        return socket != nullptr ? socket->handle : NUV_NETIO_SOCKET_NONE;
    }

    static bool bind(Process &process, NUVNetioSocket_t handle, const Endpoint &endpoint,
                     bool is_group) {
        const bool fails = process.fails(Call::BIND);
        Socket *const socket = process.host_.find(handle);
        if (socket == nullptr) {
            errno = EBADF;
            return false;
        }
        return note(process, Event::BOUND, endpoint,
                    !fails && process.host_.bind(*socket, endpoint, is_group));
    }

    static NUVNetioSocket_t open_group(void *param, const NUVNetioLocator *group,
                                       const char **step_out) {
        *step_out = "open a socket";
        const NUVNetioSocket_t handle =
            open(of(param), group->transport, NUV_NETIO_SEND_OPTIONS_DEFAULT);
        if (handle == NUV_NETIO_SOCKET_NONE) {
            return handle;
        }
        *step_out = "bind the socket";
        if (!bind(of(param), handle, endpoint_of(*group), true)) {
            const int error = errno;
            close(of(param), handle);
            errno = error;
            return NUV_NETIO_SOCKET_NONE;
        }
        return handle;
    }

    static bool join(Process &process, NUVNetioSocket_t handle, const Endpoint &group,
                     NUV_UINT32 interface) {
        const bool fails = process.fails(Call::JOIN);
        Socket *const socket = process.host_.find(handle);
        return socket == nullptr || // of a process that is dead
               note(process, Event::JOINED, group,
                    !fails && process.host_.join(*socket, group.address, interface), interface);
    }

    static bool leave(Process &process, NUVNetioSocket_t handle, const Endpoint &group,
                      NUV_UINT32 interface) {
        process.run_interposed();
        Socket *const socket = process.host_.find(handle);
        return socket == nullptr ||
               note(process, Event::LEFT, group,
                    process.host_.leave(*socket, group.address, interface), interface);
    }

    static int receive(void *param, NUVNetioSocket_t handle, NUV_UINT8 *buffer, NUV_UINT32 size,
                       NUVNetioDatagram *out) {
        Process &process = of(param);
        const bool fails = process.fails(Call::RECEIVE);
        Socket *const socket = process.host_.find(handle);
        if (socket == nullptr) {
            errno = EAGAIN;
            return 0;
        }
        if (fails) {
            note(process, Event::RECEIVED, socket->bound, false);
            return 0;
        }
        const std::optional<Socket::Arrived> arrived = Host::take_arrived(*socket);
        if (!arrived) {
            errno = EAGAIN;
            return 0;
        }
        const Packet &packet = arrived->packet;
        out->length = std::min(size, packet.length());
        if (out->length > 0) {
            std::memcpy(buffer, packet.payload->octets.data(), out->length);
        }
        out->source = locator_of(packet.source);
        out->interfaceIndex = socket->is_group ? arrived->interface : 0;
        out->lost = static_cast<NUV_UINT32>(arrived->dropped);
        ++process.received_;
        note(process, Event::RECEIVED, packet.source, true, packet.payload->id);
        return 1;
    }

    static int send(void *param, NUVNetioSocket_t handle, const NUVNetioLocator *destination,
                    NUV_UINT32 interface, const NUV_UINT8 *data, NUV_UINT32 length,
                    int /*may_wait*/) {
        Process &process = of(param);
        World &world = process.host_.world();
        const bool fails = process.fails(Call::SEND);
        const int error = errno;
        Socket *const socket = process.host_.find(handle);
        if (socket == nullptr) {
            return 1; // what the dead send nobody sees
        }
        const Endpoint to = endpoint_of(*destination);
        auto payload = std::make_shared<Payload>();
        payload->octets.assign(data, data + length);
        payload->id = world.next_datagram();
        world.trace().add(data, length);
        const auto largest = static_cast<NUV_UINT32>(
            NUVNetioTransportClass_find(destination->transport)->messageSizeMax);
        bool is_sent = false;
        if (length > largest) {
            errno = EMSGSIZE;
        } else {
            errno = error;
            is_sent = !fails && process.host_.send(*socket, to, interface, payload);
        }
        return note(process, Event::SENT, to, is_sent, payload->id) ? 1 : 0;
    }

    static void close(Process &process, NUVNetioSocket_t handle) {
        process.run_interposed();
        Socket *const socket = process.host_.find(handle);
        if (socket != nullptr) {
            note(process, Event::CLOSED, socket->bound, true);
            process.host_.close(*socket);
        }
    }
};

NUVNetioTransport make_transport(Process &process, KOLS_Transport_ClassId_t transport) {
    return transport == KOLS_TRANSPORT_CLASSID_UDPv4
               ? Transport::make<KOLS_TRANSPORT_CLASSID_UDPv4>(process)
               : Transport::make<KOLS_TRANSPORT_CLASSID_UDPv6>(process);
}

} // namespace simnet
