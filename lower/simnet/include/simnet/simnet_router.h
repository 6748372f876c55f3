// SPDX-License-Identifier: Apache-2.0
/**
 * @file simnet_router.h
 * @brief What passes packets between segments.
 */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "simnet/simnet_segment.h"

namespace simnet {

struct RouterProperty {
    /**
     * Whether what is sent to a group is passed to all other segments. Where routers make a circle,
     * it goes round until its TTL has run out.
     */
    bool passesMulticast = false;
    /** How long a port stands for one inside after that has last sent through it. */
    Time natTimeout = 30 * SECOND;
    /** How many ports there are to stand for those inside. */
    KOLS_Transport_Port_t natPorts = 10'000;
};

/** Passes packets to where their destination is, with a TTL that is smaller by one. */
class Router {
public:
    Router(World &world, std::string name, const RouterProperty &property);
    ~Router();
    Router(const Router &) = delete;
    Router &operator=(const Router &) = delete;

    /**
     * Plugs it into a segment, with an address of its own there. For addresses of two classes it is
     * plugged in twice.
     */
    Station &plug_in(Segment &segment, const Prefix &address, const LinkProperty &link = {});
    /** What is for these addresses goes to another router. */
    void add_route(const Prefix &destination, const Address &via);
    /**
     * Has this port's address stand for all that is behind the router's other ports (RFC 4787:
     * mappings that do not depend on the destination, filtering by its address and port). Throws
     * std::logic_error when it is none of the router's.
     */
    void hide_behind(Station &outside);

    const std::string &name() const {
        return name_;
    }

private:
    class Port;
    struct Route {
        Prefix destination;
        Address via;
    };
    struct Mapping {
        Endpoint inside;
        KOLS_Transport_Port_t port;
        Time last_used;
        std::vector<Endpoint> peers;
    };

    static constexpr KOLS_Transport_Port_t FIRST_NAT_PORT = 20'000;

    Port *find_port(const Address &on) const;
    const Port *find_port(KOLS_Transport_ClassId_t transport, const Segment &on) const;
    void pass(const Port &from, Packet packet);
    void flood(const Port &from, const Packet &packet);
    void send(const Port &from, Port &to, Packet packet, const Address &next_hop);
    KOLS_Transport_Port_t free_port();
    bool translate_out(Packet &packet);
    bool translate_in(Packet &packet);

    World &world_;
    const std::string name_;
    const RouterProperty property_;
    std::vector<std::unique_ptr<Port>> ports_;
    std::vector<Route> routes_;
    Port *outside_ = nullptr;
    std::vector<Mapping> mappings_;
    KOLS_Transport_Port_t next_port_ = 0; // counted from the first one
};

} // namespace simnet
