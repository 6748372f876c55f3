// SPDX-License-Identifier: Apache-2.0
/**
 * @file simnet_segment.h
 * @brief A switch, or an access point, and what is plugged into it.
 */
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simnet/simnet_link.h"

namespace simnet {

class Segment;
class World;

/** What a datagram's octets are, shared by all its copies. */
struct Payload {
    std::vector<NUV_UINT8> octets;
    NUV_UINT64 id = 0; /**< of the datagram */
};

/** A datagram under way. */
struct Packet {
    Endpoint source;
    Endpoint destination;
    int ttl = 64;
    NUV_UINT8 dscp = 0;
    std::shared_ptr<const Payload> payload;

    NUV_UINT32 length() const {
        return static_cast<NUV_UINT32>(payload->octets.size());
    }
};

using Mac = std::array<NUV_UINT8, 6>;

/** What is plugged into a segment: an interface of a host, a port of a router. */
class Station {
public:
    explicit Station(World &world, const LinkProperty &link = {});
    virtual ~Station() = default;
    Station(const Station &) = delete;
    Station &operator=(const Station &) = delete;

    virtual bool has(const Address &address) const = 0;
    virtual bool is_router() const = 0;
    virtual void arrive(const Packet &packet) = 0;
    /** Reports the groups that it has joined, when it is plugged in or asked. */
    virtual void report_groups() = 0;

    Segment *segment() const {
        return segment_;
    }
    const Mac &mac() const {
        return mac_;
    }
    /** Both directions alike. */
    void set_link(const LinkProperty &property);

    Link to_segment;
    Link from_segment;

protected:
    World &world_;

private:
    friend class Segment;

    Segment *segment_ = nullptr;
    Mac mac_;
    int side_ = 0; // of a partition
};

/** What a switch does with what is sent to a group. */
enum class Multicast {
    FLOODS, /**< passes it to all */
    SNOOPS, /**< passes it to those who have reported that they are members, and to routers */
    NONE    /**< passes it to nobody */
};

struct SegmentProperty {
    Multicast multicast = Multicast::FLOODS;
    /**
     * Whether somebody asks for the members of groups from time to time. Where nobody does, a
     * switch that snoops forgets each membershipTimeout after its report.
     */
    bool hasQuerier = true;
    Time membershipTimeout = 260 * SECOND;
    /** Nothing passes between two stations, unless one is a router. */
    bool isolatesClients = false;
};

/** Whatever is plugged into it hears each other. */
class Segment {
public:
    Segment(World &world, std::string name, const SegmentProperty &property)
        : world_(world), name_(std::move(name)), property_(property) {}
    Segment(const Segment &) = delete;
    Segment &operator=(const Segment &) = delete;

    const std::string &name() const {
        return name_;
    }
    void set(const SegmentProperty &property);

    /** Plugs a station in, and out. */
    void attach(Station &station);
    void detach(Station &station);

    /** Sends a packet from a station to the one that has the address, or to the group. */
    void send(Station &from, const Packet &packet, const Address &next_hop);

    /** A station says that it has joined a group, and left it. */
    void report(const Station &station, const Address &group);
    void leave(const Station &station, const Address &group);

    /**
     * Parts the segment: those named hear each other only, and so do the others. Several partitions
     * add up.
     */
    void part(const std::vector<Station *> &side);
    /** Ends all partitions. */
    void heal();
    /** Passes nothing for that long, and has forgotten who is a member of what. */
    void restart(Time duration);

private:
    Station *find_owner(const Address &address);
    std::optional<Drop> obstacle(const Station &from, const Station &to) const;
    bool passes(const Station &to, const Address &group) const;
    void flood(Station &from, const Packet &packet, const Packets &packets, Time sent);
    void hand_on(Station &to, const Packet &packet, const Packets &packets, Time sent);

    World &world_;
    const std::string name_;
    SegmentProperty property_;
    std::vector<Station *> stations_;
    std::map<std::pair<const Station *, Address>, Time> members_; // since when
    std::map<Address, Station *> owners_; // as far as they have been asked for
    Time off_until_ = 0;
    int sides_ = 0;
};

} // namespace simnet
