// SPDX-License-Identifier: Apache-2.0
#include "traffic.h"

#include "rtps/rtps_submessage.h"

namespace ddssim {

const char *to_text(Kind kind) {
    static constexpr std::array<const char *, KINDS> TEXTS = {
        "announcement", "peer announcement", "greeting", "question", "answer", "leaving", "other"};

    return TEXTS.at(static_cast<std::size_t>(kind));
}

Kind kind_of(std::span<const std::uint8_t> message, bool is_to_group) {
    RTPSMessageReader reader;
    RTPSHeader header;
    bool is_directed = false;

    if (RTPSMessageReader_initialize(&reader, {message.data(), message.size()}, &header) !=
        RTPS_ACCEPTED) {
        return Kind::OTHER;
    }
    for (RTPSSubmessage submessage; RTPSMessageReader_next(&reader, &submessage) != 0;) {
        RTPSData data{};

        switch (submessage.kind) {
        case RTPS_SUBMESSAGE_INFO_DST:
            is_directed = true;
            break;
        case RTPS_SUBMESSAGE_ACKNACK:
            return Kind::QUESTION;
        case RTPS_SUBMESSAGE_HEARTBEAT:
            return Kind::ANSWER;
        case RTPS_SUBMESSAGE_DATA:
            if (RTPSData_read(&submessage, &data) != RTPS_ACCEPTED) {
                return Kind::OTHER;
            }
            if (data.payloadKind != RTPS_PAYLOAD_DATA) {
                return Kind::LEAVING;
            }
            if (is_directed) {
                return Kind::GREETING;
            }
            return is_to_group ? Kind::ANNOUNCEMENT : Kind::PEER_ANNOUNCEMENT;
        default:
            break;
        }
    }
    return Kind::OTHER;
}

Amount &Amount::operator+=(const Amount &other) {
    datagrams += other.datagrams;
    octets += other.octets;
    return *this;
}

Amount sum(const Kinds &kinds) {
    Amount all;

    for (const Amount &one : kinds) {
        all += one;
    }
    return all;
}

void Traffic::add_host(const simnet::Station &station) {
    hosts_[&station] = by_host_.size();
    by_host_.emplace_back();
}

void Traffic::add(simnet::Time now, const simnet::Segment &segment, const simnet::Station &from,
                  const simnet::Station *to, const simnet::Packet &packet) {
    const simnet::Packets packets = simnet::packets_of(
        packet.destination.address.transport, packet.length(), from.to_segment.property().mtu);
    const Amount amount = {1, packets.octets};
    const auto second = static_cast<std::size_t>(now / simnet::SECOND);
    const auto host = hosts_.find(&from);

    if (host != hosts_.end()) {
        const Kind kind = kind_of(packet.payload->octets, to == nullptr);

        by_host_[host->second].at(static_cast<std::size_t>(kind)) += amount;
    }
    if (by_second_.size() <= second) {
        by_second_.resize(second + 1);
    }
    by_second_[second] += amount;
    if (capture_ != nullptr) {
        capture_->add(now, segment, from, to, packet);
    }
}

Kinds Traffic::total() const {
    Kinds all;

    for (const Kinds &host : by_host_) {
        for (std::size_t i = 0; i < KINDS; ++i) {
            all.at(i) += host.at(i);
        }
    }
    return all;
}

} // namespace ddssim
