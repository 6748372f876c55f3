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

/**
 * What is plugged into a segment: an interface of a host, a port of a router. It lives as long as
 * its world, plugged in or not: packets may be on their way to it.
 */
class Station {
public:
    explicit Station(World &world, const LinkProperty &link = {});
    virtual ~Station() = default;
    Station(const Station &) = delete;
    Station &operator=(const Station &) = delete;

    /** Whether it answers to an address. */
    virtual bool has(const Address &address) const = 0;
    virtual bool is_router() const = 0;
    /** Takes what its link has brought it. */
    virtual void arrive(const Packet &packet) = 0;
    /** Reports the groups that it has joined, when it is plugged in or asked. */
    virtual void report_groups() = 0;

    /** What it is plugged into; null: nothing. */
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
    NUV_UINT64 side_ = 0; // a bit for each partition
};

/** Sees what is sent over segments. */
class Tap {
public:
    Tap() = default;
    virtual ~Tap() = default;
    Tap(const Tap &) = delete;
    Tap &operator=(const Tap &) = delete;

    /**
     * A station sends a datagram to another one; null: to all. It may get lost yet. Called within
     * the library's sending: nothing may be thrown.
     */
    virtual void add(Time now, const Segment &segment, const Station &from, const Station *to,
                     const Packet &packet) = 0;
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

/**
 * Whatever is plugged into it hears each other. It is made by World::add_segment. A packet passes
 * two links: that of the station that sends it, to the switch, and that from there to the other
 * one.
 */
class Segment {
public:
    Segment(World &world, std::string name, const SegmentProperty &property)
        : world_(world), name_(std::move(name)), property_(property) {}
    Segment(const Segment &) = delete;
    Segment &operator=(const Segment &) = delete;

    const std::string &name() const {
        return name_;
    }
    /** Has it do something else with what it is sent from now on. */
    void set(const SegmentProperty &property);

    /** Plugs a station in, and out of where it was. Of a host's interface, Interface::move_to does.
     */
    void attach(Station &station);
    /** Plugs a station out. It must be plugged in. */
    void detach(Station &station);

    /**
     * Sends a packet from a station to the one that has the address of the next hop, or, where that
     * is a group, to its members.
     */
    void send(Station &from, const Packet &packet, const Address &next_hop);

    /** A station says that it is a member of a group, and that it is no more. */
    void report(const Station &station, const Address &group);
    void leave(const Station &station, const Address &group);

    /**
     * Parts the segment: those named, which are plugged in, hear each other only, and so do the
     * others. Several partitions, 64 at most, add up.
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
    void pass_on(const Station &from, Station *to, const Packet &packet, const Packets &packets);
    void flood(const Station &from, const Packet &packet, const Packets &packets);
    void hand_on(Station &to, const Packet &packet, const Packets &packets);

    World &world_;
    const std::string name_;
    SegmentProperty property_;
    std::vector<Station *> stations_;
    std::map<std::pair<const Station *, Address>, Time> members_; // since when
    std::map<Address, Station *> owners_; // as far as they have been asked for
    Time off_until_ = 0;
    int sides_ = 0; // how many partitions there are
};

} // namespace simnet
