// SPDX-License-Identifier: Apache-2.0
// One direction of a link.
#include "simnet/simnet_link.h"

#include <algorithm>
#include <stdexcept>

namespace simnet {

namespace {

NUV_UINT32 ip_header(KOLS_Transport_ClassId_t transport) {
    return transport == KOLS_TRANSPORT_CLASSID_UDPv4 ? 20 : 40;
}

/** Of each fragment, beside that of IP. */
NUV_UINT32 fragment_header(KOLS_Transport_ClassId_t transport) {
    return transport == KOLS_TRANSPORT_CLASSID_UDPv4 ? 0 : 8;
}

/** What every link of the internet takes (RFC 791). */
constexpr NUV_UINT32 SMALLEST_MTU = 68;

bool is_share(double value) {
    return value >= 0 && value <= 1;
}

} // namespace

void Link::set(const LinkProperty &property) {
    if (property.delay < 0 || property.jitter < 0 || property.reorderingDelay < 0 ||
        !is_share(property.loss) || !is_share(property.duplication) ||
        !is_share(property.reordering) || !(property.lossBurst >= 1) ||
        property.mtu < SMALLEST_MTU) {
        throw std::invalid_argument("a property that no link can have");
    }
    property_ = property;
}

NUV_UINT32 fragment_size(KOLS_Transport_ClassId_t transport, NUV_UINT32 mtu) {
    return (mtu - ip_header(transport) - fragment_header(transport)) / 8 * 8;
}

Packets packets_of(KOLS_Transport_ClassId_t transport, NUV_UINT32 payload, NUV_UINT32 mtu) {
    const NUV_UINT32 datagram = payload + UDP_HEADER_SIZE;
    if (datagram + ip_header(transport) <= mtu) {
        return {1, datagram + ip_header(transport)};
    }
    const NUV_UINT32 size = fragment_size(transport, mtu);
    const NUV_UINT32 count = (datagram + size - 1) / size;
    return {count,
            datagram + NUV_UINT64{count} * (ip_header(transport) + fragment_header(transport))};
}

bool Link::loses_one(Random &random) {
    if (property_.lossBurst <= 1) {
        return random.happens(property_.loss);
    }
    if (property_.loss <= 0 || property_.loss >= 1) {
        in_burst_ = property_.loss >= 1;
        return in_burst_;
    }
    // Two states: in one of them all is lost. How long it lasts and how often it comes follow from
    // the length of a burst and the share that is lost altogether. Where that is so large that
    // there would be less than one between two bursts, these are longer.
    const double lost_for_one = property_.loss / (1 - property_.loss);
    const double burst = std::max(property_.lossBurst, lost_for_one);
    in_burst_ = in_burst_ ? !random.happens(1 / burst) : random.happens(lost_for_one / burst);
    return in_burst_;
}

/** A datagram is lost with any of its packets. */
bool Link::loses(const Packets &packets, Random &random) {
    bool lost = false;
    for (NUV_UINT32 i = 0; i < packets.count; ++i) {
        lost = loses_one(random) || lost;
    }
    return lost;
}

Time Link::arrival(Time sent, Random &random) {
    Time time = sent + property_.delay;
    if (property_.jitter > 0) {
        time += random.between(0, property_.jitter);
    }
    if (random.happens(property_.reordering)) {
        return time + random.between(0, property_.reorderingDelay);
    }
    last_arrival_ = std::max(last_arrival_, time);
    return last_arrival_;
}

Link::Passage Link::pass(Time now, const Packets &packets, Random &random) {
    Passage passage;
    Time sent = now;
    packets_in_ += packets.count;
    octets_in_ += packets.octets;
    if (property_.bandwidth != 0) {
        const auto takes = [this](NUV_UINT64 octets) {
            return static_cast<Time>(octets * 8 * SECOND / property_.bandwidth);
        };
        const Time start = std::max(now, busy_until_);
        if (start - now > takes(property_.queue)) {
            passage.reason = Drop::QUEUE;
            return passage;
        }
        busy_until_ = start + takes(packets.octets);
        sent = busy_until_;
    }
    if (loses(packets, random)) {
        passage.reason = Drop::LOST;
        return passage;
    }
    octets_out_ += packets.octets;
    passage.arrivals[passage.count++] = arrival(sent, random);
    if (random.happens(property_.duplication)) {
        passage.arrivals[passage.count++] = arrival(sent, random);
    }
    return passage;
}

} // namespace simnet
