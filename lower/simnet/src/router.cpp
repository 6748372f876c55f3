// SPDX-License-Identifier: Apache-2.0
// What passes packets between segments.
#include "simnet/simnet_router.h"

#include <algorithm>
#include <stdexcept>

#include "simnet/simnet_world.h"

namespace simnet {

class Router::Port final : public Station {
public:
    Port(Router &router, const Prefix &prefix, const LinkProperty &link)
        : Station(router.world_, link), prefix_(prefix), router_(router) {}

    const Prefix &prefix() const {
        return prefix_;
    }

    bool has(const Address &address) const override {
        return address == prefix_.address;
    }
    bool is_router() const override {
        return true;
    }
    void arrive(const Packet &packet) override {
        // What is sent to a group reaches all ports on a segment: one of its kind deals with it.
        if (!is_multicast(packet.destination.address) ||
            router_.find_port(packet.destination.address.transport, *segment()) == this) {
            router_.pass(*this, packet);
        }
    }
    void report_groups() override {} // a switch passes groups to a router in any case

private:
    const Prefix prefix_;
    Router &router_;
};

Router::Router(World &world, std::string name, const RouterProperty &property)
    : world_(world), name_(std::move(name)), property_(property) {}

Router::~Router() = default;

Station &Router::plug_in(Segment &segment, const Prefix &address, const LinkProperty &link) {
    ports_.push_back(std::make_unique<Port>(*this, address, link));
    segment.attach(*ports_.back());
    return *ports_.back();
}

void Router::add_route(const Prefix &destination, const Address &via) {
    routes_.push_back({destination, via});
}

void Router::hide_behind(Station &outside) {
    const auto found =
        std::find_if(ports_.begin(), ports_.end(), [&outside](const std::unique_ptr<Port> &port) {
            return port.get() == &outside;
        });
    if (found == ports_.end()) {
        throw std::logic_error("no port of " + name_);
    }
    outside_ = found->get();
}

Router::Port *Router::find_port(const Address &on) const {
    const auto found =
        std::find_if(ports_.begin(), ports_.end(), [&on](const std::unique_ptr<Port> &port) {
            return port->segment() != nullptr && port->prefix().contains(on);
        });
    return found != ports_.end() ? found->get() : nullptr;
}

/** The first of a class on a segment. */
const Router::Port *Router::find_port(KOLS_Transport_ClassId_t transport, const Segment &on) const {
    const auto found =
        std::find_if(ports_.begin(), ports_.end(), [&](const std::unique_ptr<Port> &port) {
            return port->segment() == &on && port->prefix().address.transport == transport;
        });
    return found != ports_.end() ? found->get() : nullptr;
}

void Router::pass(const Port &from, Packet packet) {
    if (packet.ttl <= 1) {
        world_.trace_drop(packet, Drop::TTL);
        return;
    }
    --packet.ttl;
    if (is_multicast(packet.destination.address)) {
        flood(from, packet);
        return;
    }
    if (&from == outside_ && !translate_in(packet)) {
        world_.trace_drop(packet, Drop::NAT);
        return;
    }
    Address next_hop = packet.destination.address;
    Port *to = find_port(next_hop);
    if (to == nullptr) { // the longest prefix
        const Route *best = nullptr;
        for (const Route &route : routes_) {
            if (route.destination.contains(packet.destination.address) &&
                (best == nullptr || route.destination.length > best->destination.length)) {
                best = &route;
            }
        }
        if (best != nullptr) {
            next_hop = best->via;
            to = find_port(next_hop);
        }
    }
    if (to == nullptr) {
        world_.trace_drop(packet, Drop::NO_ROUTE);
        return;
    }
    send(from, *to, packet, next_hop);
}

void Router::flood(const Port &from, const Packet &packet) {
    if (!property_.passesMulticast) {
        world_.trace_drop(packet, Drop::MULTICAST);
        return;
    }
    for (const std::unique_ptr<Port> &port : ports_) {
        if (port.get() != &from && port->segment() != nullptr &&
            find_port(packet.destination.address.transport, *port->segment()) == port.get()) {
            send(from, *port, packet, packet.destination.address);
        }
    }
}

void Router::send(const Port &from, Port &to, Packet packet, const Address &next_hop) {
    if (&to == outside_ && &from != outside_ && !translate_out(packet)) {
        world_.trace_drop(packet, Drop::NAT);
        return;
    }
    to.segment()->send(to, packet, next_hop);
}

/** A port that stands for no other; 0 when there is none left. */
KOLS_Transport_Port_t Router::free_port() {
    for (KOLS_Transport_Port_t i = 0; i < property_.natPorts; ++i) {
        const KOLS_Transport_Port_t port = FIRST_NAT_PORT + next_port_;
        next_port_ = (next_port_ + 1) % property_.natPorts;
        if (std::none_of(mappings_.begin(), mappings_.end(),
                         [port](const Mapping &one) { return one.port == port; })) {
            return port;
        }
    }
    return 0;
}

/** False where there is no port left for what is inside. */
bool Router::translate_out(Packet &packet) {
    std::erase_if(mappings_, [this](const Mapping &one) {
        return world_.now() - one.last_used > property_.natTimeout;
    });
    auto mapping = std::find_if(mappings_.begin(), mappings_.end(),
                                [&](const Mapping &one) { return one.inside == packet.source; });
    if (mapping == mappings_.end()) {
        const KOLS_Transport_Port_t port = free_port();
        if (port == 0) {
            return false;
        }
        mappings_.push_back({packet.source, port, 0, {}});
        mapping = mappings_.end() - 1;
    }
    mapping->last_used = world_.now();
    if (std::find(mapping->peers.begin(), mapping->peers.end(), packet.destination) ==
        mapping->peers.end()) {
        mapping->peers.push_back(packet.destination);
    }
    packet.source = {outside_->prefix().address, mapping->port};
    return true;
}

/** False where nobody inside is waiting for it. */
bool Router::translate_in(Packet &packet) {
    if (packet.destination.address != outside_->prefix().address) {
        return false; // what is inside has no address outside
    }
    const auto mapping = std::find_if(mappings_.begin(), mappings_.end(), [&](const Mapping &one) {
        return one.port == packet.destination.port &&
               world_.now() - one.last_used <= property_.natTimeout &&
               std::find(one.peers.begin(), one.peers.end(), packet.source) != one.peers.end();
    });
    if (mapping == mappings_.end()) {
        return false;
    }
    packet.destination = mapping->inside;
    return true;
}

} // namespace simnet
