// SPDX-License-Identifier: Apache-2.0
/**
 * @file simnet_link.h
 * @brief What happens to a datagram between an interface and the switch that it is plugged into.
 */
#pragma once

#include <array>

#include "simnet/simnet_random.h"
#include "simnet/simnet_trace.h"

namespace simnet {

/** What a link is like. Times are not negative, and shares are from 0 to 1. */
struct LinkProperty {
    Time delay = 20 * MICROSECOND;
    /** A random time beside it, from 0 to this. It does not change the order. */
    Time jitter = 0;
    /** The share of packets that is lost: of a datagram in fragments, with any of these. */
    double loss = 0;
    /** How many packets are lost in a row on average, at least 1. 1: each for itself. */
    double lossBurst = 1;
    double duplication = 0; /**< the share of datagrams that arrives twice */
    /** The share that is held up, by @p reorderingDelay at most, and may be overtaken. */
    double reordering = 0;
    Time reorderingDelay = MILLISECOND;
    NUV_UINT64 bandwidth = 0;    /**< bits a second; 0: without a limit */
    NUV_UINT32 queue = 1u << 18; /**< octets that wait for the bandwidth; what comes then is lost */
    /**
     * Octets of the largest IP packet that is sent, at least 68. A datagram that does not fit into
     * one goes in fragments.
     */
    NUV_UINT32 mtu = 1500;
};

/** Octets in front of what a datagram carries (RFC 768). */
constexpr NUV_UINT32 UDP_HEADER_SIZE = 8;

/** Octets of a datagram, its UDP header among them, that each of its fragments but the last has. */
NUV_UINT32 fragment_size(KOLS_Transport_ClassId_t transport, NUV_UINT32 mtu);

/** In how many IP packets a datagram goes, and how many octets these have together. */
struct Packets {
    NUV_UINT32 count = 1;
    NUV_UINT64 octets = 0;
};
/** Those of a datagram with that many octets of payload. */
Packets packets_of(KOLS_Transport_ClassId_t transport, NUV_UINT32 payload, NUV_UINT32 mtu);

/** One direction of a link. */
class Link {
public:
    /** Throws std::invalid_argument, as does set, for a property that no link can have. */
    explicit Link(const LinkProperty &property) {
        set(property);
    }

    /** Changes it. What is under way arrives as it would have. */
    void set(const LinkProperty &property);
    const LinkProperty &property() const {
        return property_;
    }

    /** When what enters at @p now arrives: not at all, once or twice. */
    struct Passage {
        std::array<Time, 2> arrivals{};
        std::size_t count = 0;
        Drop reason = Drop::LOST; /**< where @p count is 0 */
    };
    /** Has a datagram enter, at a time that is not before that of the last one. */
    Passage pass(Time now, const Packets &packets, Random &random);

    /** Octets that went in, whatever became of them. */
    NUV_UINT64 octets_in() const {
        return octets_in_;
    }
    /** Octets that came out; what is duplicated counts once. */
    NUV_UINT64 octets_out() const {
        return octets_out_;
    }
    NUV_UINT64 packets_in() const {
        return packets_in_;
    }

private:
    bool loses(const Packets &packets, Random &random);
    bool loses_one(Random &random);
    Time arrival(Time sent, Random &random);

    LinkProperty property_;
    Time busy_until_ = 0;
    Time last_arrival_ = 0;
    bool in_burst_ = false;
    NUV_UINT64 octets_in_ = 0;
    NUV_UINT64 octets_out_ = 0;
    NUV_UINT64 packets_in_ = 0;
};

} // namespace simnet
