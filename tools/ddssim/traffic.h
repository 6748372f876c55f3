// SPDX-License-Identifier: Apache-2.0
// What goes over the network: how much, of which kind, from which host, when.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "simnet/simnet_capture.h"

namespace ddssim {

/** What a datagram of discovery is for. */
enum class Kind {
    ANNOUNCEMENT,      // to a group
    PEER_ANNOUNCEMENT, // to one address
    GREETING,          // an announcement that is directed at one participant
    QUESTION,          // whether one is still there
    ANSWER,            // that it is
    LEAVING,
    OTHER,
    KINDS // the number of kinds
};
constexpr std::size_t KINDS = static_cast<std::size_t>(Kind::KINDS);

/** "peer announcement" */
const char *to_text(Kind kind);
Kind kind_of(std::span<const std::uint8_t> message, bool is_to_group);

/** Datagrams, and octets of the IP packets that they go in. */
struct Amount {
    std::uint64_t datagrams = 0;
    std::uint64_t octets = 0;

    Amount &operator+=(const Amount &other);
};
using Kinds = std::array<Amount, KINDS>;
Amount sum(const Kinds &kinds);

/** Counts what is sent, once, however many it reaches; hands all of it on to a capture. */
class Traffic final : public simnet::Tap {
public:
    /** @param capture borrowed; null: none */
    explicit Traffic(simnet::Capture *capture) : capture_(capture) {}

    /** Has what a station sends count for the next host; in their order. */
    void add_host(const simnet::Station &station);

    void add(simnet::Time now, const simnet::Segment &segment, const simnet::Station &from,
             const simnet::Station *to, const simnet::Packet &packet) override;

    const std::vector<Kinds> &by_host() const {
        return by_host_;
    }
    /** In each second from the start; those at the end may be missing. */
    const std::vector<Amount> &by_second() const {
        return by_second_;
    }
    Kinds total() const;

private:
    simnet::Capture *const capture_;
    std::unordered_map<const simnet::Station *, std::size_t> hosts_;
    std::vector<Kinds> by_host_;
    std::vector<Amount> by_second_;
};

} // namespace ddssim
