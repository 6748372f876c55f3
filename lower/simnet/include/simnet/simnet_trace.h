// SPDX-License-Identifier: Apache-2.0
/**
 * @file simnet_trace.h
 * @brief What happened in a simulated network, in order, and a hash of it.
 */
#pragma once

#include <array>
#include <cstdio>
#include <string>

#include "simnet/simnet_address.h"

namespace simnet {

/** Nanoseconds: since a world began, or how long something takes. */
using Time = NUV_INT64;

constexpr Time MICROSECOND = 1'000;
constexpr Time MILLISECOND = 1'000'000;
constexpr Time SECOND = 1'000'000'000;

/** Why a datagram did not get where it was sent. */
enum class Drop {
    LOST,       /**< on a link, by chance */
    QUEUE,      /**< on a link, whose queue was full */
    PARTED,     /**< by a partition, or by a switch that was off */
    ISOLATED,   /**< by a switch that keeps its clients apart */
    MULTICAST,  /**< by a switch that passes no multicast, or does not know of a member */
    NO_STATION, /**< nobody on the segment has the address */
    NO_ROUTE,   /**< a router did not know where to */
    TTL,        /**< it had passed as many routers as it may */
    NAT,        /**< nobody inside had sent to there, or no port was left for one who did */
    DOWN,       /**< the interface, or the host, was not there any more, or not yet */
    NO_SOCKET,  /**< nobody had the port */
    BUFFER,     /**< the socket's buffer was full */
    DROPS       /**< the number of reasons */
};

/** "queue full" */
const char *to_text(Drop reason);

/** What is traced. */
enum class Event {
    OPENED,
    BOUND,
    JOINED,
    LEFT,
    CLOSED,
    SENT,
    ARRIVED,  /**< in a socket's buffer */
    RECEIVED, /**< by the process */
    DROPPED,
    TURNED,  /**< a process has dealt with what there was to do */
    CHANGED, /**< an interface, a clock, a switch, the state of a process */
    ACTED    /**< what the scenario does by itself */
};

/** "arrived" */
const char *to_text(Event event);

/** One thing that happened. */
struct Record {
    Time time = 0;
    Event event = Event::ACTED;
    NUV_UINT32 host = 0;    /**< its number; 0: none */
    NUV_UINT32 process = 0; /**< its number on the host; 0: none */
    Endpoint endpoint{};    /**< that it is about */
    NUV_UINT64 detail = 0; /**< a datagram's number, a membership's interface, a turn's datagrams */
    int error = 0;         /**< why it failed: errno; of a drop its Drop */
};

/** Takes one record after the other. What two worlds have in common shows in their hashes. */
class Trace {
public:
    void add(const Record &record);
    /** Octets that belong to the record that comes next. */
    void add(const void *octets, std::size_t length);

    /** Of all that happened so far. */
    NUV_UINT64 hash() const {
        return hash_;
    }
    /** The hash as sixteen digits. */
    std::string digest() const;
    /** How many records there were. */
    NUV_UINT64 length() const {
        return length_;
    }

    /** Has each record be written as a line from now on; null: no more. Borrowed. */
    void print_to(std::FILE *file) {
        file_ = file;
    }

    /** How often something was dropped for a reason. */
    NUV_UINT64 dropped(Drop reason) const {
        return dropped_[static_cast<std::size_t>(reason)];
    }
    /** How often something happened. */
    NUV_UINT64 count(Event event) const {
        return counts_[static_cast<std::size_t>(event)];
    }

private:
    NUV_UINT64 hash_ = 0xCBF29CE484222325u;
    NUV_UINT64 length_ = 0;
    std::array<NUV_UINT64, static_cast<std::size_t>(Drop::DROPS)> dropped_{};
    std::array<NUV_UINT64, static_cast<std::size_t>(Event::ACTED) + 1> counts_{};
    std::FILE *file_ = nullptr;
};

} // namespace simnet
