// SPDX-License-Identifier: Apache-2.0
// What a host's kernel does: its sockets and ports, what leaves it and what arrives.
#include <algorithm>
#include <cerrno>
#include <iterator>

#include "simnet/simnet_world.h"

namespace simnet {

namespace {

constexpr KOLS_Transport_Port_t LAST_PORT = 65'535;

/** The ports that the host gives out by itself. */
constexpr KOLS_Transport_Port_t FIRST_EPHEMERAL = 32'768;
constexpr KOLS_Transport_Port_t LAST_EPHEMERAL = 60'999;

/** What a datagram takes of a socket's buffer beside its octets. */
constexpr NUV_UINT64 BUFFER_OVERHEAD = 768;

/** From one socket of the host to another. */
constexpr Time LOOPBACK_DELAY = 5 * MICROSECOND;

bool fail(int error) {
    errno = error;
    return false;
}

bool overlaps(const Address &left, const Address &right) {
    return left.transport == right.transport && (left == right || is_any(left) || is_any(right));
}

NUV_UINT64 cost(const Packet &packet) {
    return packet.length() + BUFFER_OVERHEAD;
}

} // namespace

Socket *Host::open(Process *process, KOLS_Transport_ClassId_t transport) {
    if (process != nullptr && process->descriptors_ >= process->property_.descriptorsMax) {
        errno = EMFILE;
        return nullptr;
    }
    auto socket = std::make_unique<Socket>();
    socket->handle = static_cast<NUVNetioSocket_t>(world_.next_handle());
    socket->transport = transport;
    socket->process = process;
    if (process != nullptr) {
        ++process->descriptors_;
    }
    return (sockets_[socket->handle] = std::move(socket)).get();
}

Socket *Host::find(NUVNetioSocket_t handle) {
    const auto found = sockets_.find(handle);
    return found != sockets_.end() ? found->second.get() : nullptr;
}

bool Host::is_taken(const Endpoint &endpoint, bool is_group) const {
    const auto holders = bound_.find(endpoint.port);
    return holders != bound_.end() &&
           std::any_of(holders->second.begin(), holders->second.end(), [&](const Socket *one) {
               return overlaps(one->bound.address, endpoint.address) &&
                      !(one->is_group && is_group);
           });
}

bool Host::bind(Socket &socket, const Endpoint &endpoint, bool is_group) {
    if (socket.bound.port != 0 || endpoint.port <= 0 || endpoint.port > LAST_PORT) {
        return fail(EINVAL);
    }
    if (!is_group && !is_any(endpoint.address) && !has_address(endpoint.address)) {
        return fail(EADDRNOTAVAIL);
    }
    if (is_taken(endpoint, is_group)) {
        return fail(EADDRINUSE);
    }
    socket.bound = endpoint;
    socket.is_group = is_group;
    bound_[endpoint.port].push_back(&socket);
    return true;
}

/** One that nobody has. */
bool Host::give_port(Socket &socket) {
    for (KOLS_Transport_Port_t i = FIRST_EPHEMERAL; i <= LAST_EPHEMERAL; ++i) {
        last_ephemeral_ = last_ephemeral_ < FIRST_EPHEMERAL || last_ephemeral_ >= LAST_EPHEMERAL
                              ? FIRST_EPHEMERAL
                              : last_ephemeral_ + 1;
        const Endpoint endpoint{{socket.transport, {}}, last_ephemeral_};
        if (!is_taken(endpoint, false)) {
            return bind(socket, endpoint, false);
        }
    }
    return fail(EADDRNOTAVAIL);
}

bool Host::join(Socket &socket, const Address &group, NUV_UINT32 interface) {
    Interface *const on = find_interface(interface);
    if (on == nullptr) {
        return fail(ENODEV);
    }
    if (socket.joined.contains(interface)) {
        return fail(EADDRINUSE);
    }
    if (socket.joined.size() >= property_.membershipsMax) {
        return fail(ENOBUFS);
    }
    socket.joined.insert(interface);
    change_membership(*on, group, 1);
    return true;
}

bool Host::leave(Socket &socket, const Address &group, NUV_UINT32 interface) {
    if (socket.joined.erase(interface) == 0) {
        return fail(EADDRNOTAVAIL);
    }
    Interface *const on = find_interface(interface);
    if (on != nullptr) {
        change_membership(*on, group, -1);
    }
    return true;
}

void Host::close(Socket &socket) {
    for (const NUV_UINT32 interface : std::set<NUV_UINT32>(socket.joined)) {
        leave(socket, socket.bound.address, interface);
    }
    if (socket.bound.port != 0) {
        const auto holders = bound_.find(socket.bound.port);
        std::erase(holders->second, &socket);
        if (holders->second.empty()) {
            bound_.erase(holders);
        }
    }
    if (socket.process != nullptr) {
        --socket.process->descriptors_;
        socket.process->forget(socket);
    }
    sockets_.erase(socket.handle);
}

/** Null: of strangers. */
void Host::close_all_of(const Process *process) {
    std::vector<Socket *> its_own;
    for (const auto &[handle, socket] : sockets_) {
        if (socket->process == process) {
            its_own.push_back(socket.get());
        }
    }
    std::sort(its_own.begin(), its_own.end(), [](const Socket *left, const Socket *right) {
        return left->handle < right->handle; // so that it is the same order each time
    });
    for (Socket *const socket : its_own) {
        close(*socket);
    }
}

bool Host::take_port(const Endpoint &endpoint) {
    Socket *const socket = open(nullptr, endpoint.address.transport);
    const bool is_bound = bind(*socket, endpoint, false);
    world_.trace_.add({world_.now(), Event::BOUND, number_, 0, endpoint, 0, is_bound ? 0 : errno});
    if (!is_bound) {
        close(*socket);
    }
    return is_bound;
}

bool Host::free_port(const Endpoint &endpoint) {
    const auto holders = bound_.find(endpoint.port);
    if (holders == bound_.end()) {
        return false;
    }
    const auto stranger = std::find_if(holders->second.begin(), holders->second.end(),
                                       [&endpoint](const Socket *one) {
                                           return one->process == nullptr && one->bound == endpoint;
                                       });
    if (stranger == holders->second.end()) {
        return false;
    }
    world_.trace_.add({world_.now(), Event::CLOSED, number_, 0, endpoint, 0, 0});
    close(**stranger);
    return true;
}

std::vector<PortHolder> Host::ports() const {
    std::vector<PortHolder> holders;
    for (const auto &[port, sockets] : bound_) {
        for (const Socket *const socket : sockets) {
            holders.push_back({socket->bound, socket->process, socket->is_group});
        }
    }
    return holders;
}

const Socket *Host::find_socket(const Endpoint &bound) const {
    const std::vector<const Socket *> found = find_sockets(bound);
    return !found.empty() ? found.front() : nullptr;
}

std::vector<const Socket *> Host::find_sockets(const Endpoint &bound) const {
    std::vector<const Socket *> found;
    const auto holders = bound_.find(bound.port);
    if (holders != bound_.end()) {
        std::copy_if(holders->second.begin(), holders->second.end(), std::back_inserter(found),
                     [&bound](const Socket *one) { return one->bound == bound; });
    }
    return found;
}

/**
 * The address of an interface that what is sent to there comes from: one in the same subnet, or
 * else the first that means something beyond the link.
 */
std::optional<Address> Host::source_on(const Interface &interface, const Address &next_hop) {
    std::optional<Address> source;
    for (const Prefix &prefix : interface.addresses()) {
        if (prefix.contains(next_hop)) {
            return prefix.address;
        }
        if (!source && prefix.address.transport == next_hop.transport &&
            !is_link_local(prefix.address)) {
            source = prefix.address;
        }
    }
    return source;
}

/** None when there is no way to there. */
std::optional<Host::Exit> Host::find_exit(const Address &destination, NUV_UINT32 interface) const {
    const bool is_group = is_multicast(destination);
    const auto leads_there = [&](const Interface &one, const Address &next_hop) {
        return one.is_usable() && !one.is_loopback() &&
               (interface == 0 || one.index() == interface) &&
               std::any_of(one.addresses().begin(), one.addresses().end(),
                           [&next_hop](const Prefix &prefix) { return prefix.contains(next_hop); });
    };
    Address next_hop = destination;
    if (!is_group) { // through a router where no interface has it on its link
        const Route *best = nullptr;
        const bool is_near =
            std::any_of(interfaces_.begin(), interfaces_.end(),
                        [&](const auto &one) { return leads_there(*one, destination); });
        for (const Route &route : routes_) {
            if (!is_near && route.destination.contains(destination) &&
                (best == nullptr || route.destination.length > best->destination.length)) {
                best = &route;
            }
        }
        if (best != nullptr) {
            next_hop = best->via;
        }
    }
    for (const std::unique_ptr<Interface> &one : interfaces_) {
        const bool fits =
            is_group ? one->is_usable() && one->is_multicast_ &&
                           (interface == 0 ? !one->is_loopback() : one->index() == interface)
                     : leads_there(*one, next_hop);
        const std::optional<Address> source = fits ? source_on(*one, next_hop) : std::nullopt;
        if (source) {
            return Exit{one.get(), next_hop, *source};
        }
    }
    return {};
}

bool Host::send(Socket &socket, const Endpoint &destination, NUV_UINT32 interface,
                std::shared_ptr<const Payload> payload) {
    if (socket.bound.port == 0 && !give_port(socket)) {
        return false;
    }
    Packet packet{socket.bound, destination, 64, socket.options.dscp, std::move(payload)};
    if (!is_multicast(destination.address) &&
        (has_address(destination.address) || is_loopback(destination.address))) {
        if (is_any(packet.source.address)) {
            packet.source.address = destination.address;
        }
        deliver_soon(packet, Interface::LOOPBACK_INDEX);
        return true;
    }
    const std::optional<Exit> exit = find_exit(destination.address, interface);
    if (!exit) {
        return fail(ENETUNREACH);
    }
    if (is_any(packet.source.address)) {
        packet.source.address = exit->source;
    }
    if (is_multicast(destination.address)) {
        packet.ttl = socket.options.multicastTtl;
        deliver_soon(packet, exit->interface->index()); // to the host's own members
        if (packet.ttl == 0) {
            return true;
        }
    }
    if (exit->interface->segment() != nullptr) {
        exit->interface->segment()->send(*exit->interface, packet, exit->next_hop);
    }
    return true;
}

void Host::deliver_soon(const Packet &packet, NUV_UINT32 interface) {
    world_.after(LOOPBACK_DELAY, [this, packet, interface] {
        const Interface *const on = find_interface(interface);
        if (on != nullptr) {
            deliver(packet, *on);
        } else {
            drop(packet, Drop::DOWN);
        }
    });
}

void Host::deliver(const Packet &packet, const Interface &interface) {
    const Endpoint &destination = packet.destination;
    if (is_down_ || !interface.is_usable()) {
        drop(packet, Drop::DOWN);
        return;
    }
    const bool is_group = is_multicast(destination.address);
    if (!is_group && !has_address(destination.address) && !is_loopback(destination.address)) {
        drop(packet, Drop::NO_STATION); // the address was taken away meanwhile
        return;
    }
    const auto holders = bound_.find(destination.port);
    bool is_wanted = false;
    // A copy for each member of a group; of unicast for the one socket that can have been bound.
    for (std::size_t i = 0; holders != bound_.end() && i < holders->second.size(); ++i) {
        Socket &socket = *holders->second[i];
        const bool fits =
            is_group ? socket.bound == destination && socket.joined.contains(interface.index())
                     : !socket.is_group && overlaps(socket.bound.address, destination.address);
        if (fits) {
            is_wanted = true;
            enqueue(socket, packet, interface);
        }
    }
    // Who is no member has not been sent it, though the switch may have.
    if (!is_wanted && !is_group) {
        drop(packet, Drop::NO_SOCKET);
    }
}

void Host::enqueue(Socket &socket, const Packet &packet, const Interface &interface) {
    if (socket.process == nullptr) {
        return; // a stranger deals with it
    }
    if (!socket.arrived.empty() && socket.waiting + cost(packet) > property_.receiveBuffer) {
        ++socket.dropped;
        drop(packet, Drop::BUFFER);
        return;
    }
    socket.waiting += cost(packet);
    socket.arrived.push_back({packet, interface.index(), socket.dropped});
    world_.trace_.add({world_.now(), Event::ARRIVED, number_, socket.process->number(),
                       packet.destination, packet.payload->id, 0});
    socket.process->on_arrived(socket);
}

/** None when there is none. */
std::optional<Socket::Arrived> Host::take_arrived(Socket &socket) {
    if (socket.arrived.empty()) {
        return {};
    }
    Socket::Arrived first = std::move(socket.arrived.front());
    socket.arrived.pop_front();
    socket.waiting -= cost(first.packet);
    return first;
}

void Host::drop(const Packet &packet, Drop reason) {
    world_.trace_drop(packet, reason, number_);
}

} // namespace simnet
