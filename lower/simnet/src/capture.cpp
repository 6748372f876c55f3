// SPDX-License-Identifier: Apache-2.0
// pcapng, with the headers of Ethernet, IP and UDP.
#include "simnet/simnet_capture.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "simnet/simnet_world.h"

namespace simnet {

namespace {

using Octets = std::vector<NUV_UINT8>;

constexpr NUV_UINT8 UDP = 17;
constexpr NUV_UINT8 IPv6_FRAGMENT = 44;

// Of blocks and options of pcapng.
constexpr NUV_UINT32 SECTION_HEADER = 0x0A0D0D0A;
constexpr NUV_UINT32 INTERFACE_DESCRIPTION = 1;
constexpr NUV_UINT32 ENHANCED_PACKET = 6;
constexpr NUV_UINT16 LINKTYPE_ETHERNET = 1;
constexpr NUV_UINT16 OPTION_IF_NAME = 2;
constexpr NUV_UINT16 OPTION_IF_TSRESOL = 9;

/** In the order of the network. */
void put16(Octets &out, std::size_t value) {
    out.push_back(static_cast<NUV_UINT8>(value >> 8));
    out.push_back(static_cast<NUV_UINT8>(value));
}

void put32(Octets &out, NUV_UINT32 value) {
    put16(out, value >> 16);
    put16(out, value & 0xFFFF);
}

template <typename Container>
void put(Octets &out, const Container &octets) {
    out.insert(out.end(), std::begin(octets), std::end(octets));
}

void put_address(Octets &out, const Address &address) {
    const auto *octets = address.value.network_ordered_value;
    out.insert(out.end(), octets + (address.transport == KOLS_TRANSPORT_CLASSID_UDPv4 ? 12 : 0),
               octets + sizeof address.value.network_ordered_value);
}

/** In the order of the file, which is that of the network too. */
void put_option(Octets &out, NUV_UINT16 code, const std::string &value) {
    put16(out, code);
    put16(out, value.size());
    put(out, value);
    out.resize((out.size() + 3) / 4 * 4);
}

Octets block(NUV_UINT32 type, const Octets &body) {
    Octets out;
    Octets padded = body;
    padded.resize((body.size() + 3) / 4 * 4);
    const auto length = static_cast<NUV_UINT32>(padded.size() + 12);
    put32(out, type);
    put32(out, length);
    put(out, padded);
    put32(out, length);
    return out;
}

/** The internet checksum (RFC 1071). */
NUV_UINT16 checksum(const Octets &octets) {
    NUV_UINT32 sum = 0;
    for (std::size_t i = 0; i < octets.size(); ++i) {
        sum += static_cast<NUV_UINT32>(octets[i]) << (i % 2 == 0 ? 8 : 0);
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<NUV_UINT16>(~sum);
}

void set16(Octets &out, std::size_t offset, NUV_UINT16 value) {
    out[offset] = static_cast<NUV_UINT8>(value >> 8);
    out[offset + 1] = static_cast<NUV_UINT8>(value);
}

/** A datagram's UDP header and octets. */
Octets udp_of(const Packet &packet) {
    const std::size_t length = UDP_HEADER_SIZE + packet.length();
    Octets pseudo; // what the checksum goes over besides
    put_address(pseudo, packet.source.address);
    put_address(pseudo, packet.destination.address);
    put32(pseudo, UDP);
    put32(pseudo, static_cast<NUV_UINT32>(length));
    Octets udp;
    put16(udp, static_cast<std::size_t>(packet.source.port));
    put16(udp, static_cast<std::size_t>(packet.destination.port));
    put16(udp, length);
    put16(udp, 0);
    put(udp, packet.payload->octets);
    put(pseudo, udp);
    const NUV_UINT16 sum = checksum(pseudo);
    set16(udp, 6, sum != 0 ? sum : 0xFFFF); // 0 would mean that there is none
    return udp;
}

/** Where a part of a datagram belongs. */
struct Fragment {
    std::size_t offset = 0;
    bool is_last = true;
    bool is_only = true;
};

Octets ipv4(const Packet &packet, const Octets &part, const Fragment &fragment) {
    Octets out;
    out.push_back(0x45);
    out.push_back(static_cast<NUV_UINT8>(packet.dscp << 2));
    put16(out, part.size() + 20);
    put16(out, packet.payload->id & 0xFFFF);
    put16(out, fragment.offset / 8 | (fragment.is_last ? 0u : 0x2000u));
    out.push_back(static_cast<NUV_UINT8>(packet.ttl));
    out.push_back(UDP);
    put16(out, 0);
    put_address(out, packet.source.address);
    put_address(out, packet.destination.address);
    set16(out, 10, checksum(out));
    put(out, part);
    return out;
}

Octets ipv6(const Packet &packet, const Octets &part, const Fragment &fragment) {
    Octets out;
    put32(out, 0x60000000u | static_cast<NUV_UINT32>(packet.dscp) << 22);
    put16(out, part.size() + (fragment.is_only ? 0 : 8));
    out.push_back(fragment.is_only ? UDP : IPv6_FRAGMENT);
    out.push_back(static_cast<NUV_UINT8>(packet.ttl));
    put_address(out, packet.source.address);
    put_address(out, packet.destination.address);
    if (!fragment.is_only) {
        out.push_back(UDP);
        out.push_back(0);
        put16(out, fragment.offset | (fragment.is_last ? 0u : 1u));
        put32(out, static_cast<NUV_UINT32>(packet.payload->id));
    }
    put(out, part);
    return out;
}

/** Of a group (RFC 1112, RFC 2464). */
Mac multicast_mac(const Address &group) {
    const auto *octets = group.value.network_ordered_value;
    if (group.transport == KOLS_TRANSPORT_CLASSID_UDPv4) {
        return {0x01,       0x00,      0x5E, static_cast<NUV_UINT8>(octets[13] & 0x7F),
                octets[14], octets[15]};
    }
    return {0x33, 0x33, octets[12], octets[13], octets[14], octets[15]};
}

} // namespace

Capture::Capture(const std::string &path) : path_(path), file_(std::fopen(path.c_str(), "wb")) {
    if (file_ == nullptr) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    Octets body;
    put32(body, 0x1A2B3C4D); // the order of the octets
    put16(body, 1);          // the version, 1.0
    put16(body, 0);
    put32(body, 0xFFFFFFFF); // the length of the section is not given
    put32(body, 0xFFFFFFFF);
    write(block(SECTION_HEADER, body));
}

NUV_UINT32 Capture::interface_of(const Segment &segment) {
    const auto number = static_cast<NUV_UINT32>(interfaces_.size());
    const auto [found, is_new] = interfaces_.try_emplace(segment.name(), number);
    if (is_new) {
        Octets body;
        put16(body, LINKTYPE_ETHERNET);
        put16(body, 0);
        put32(body, 0); // packets are whole
        put_option(body, OPTION_IF_NAME, segment.name());
        put_option(body, OPTION_IF_TSRESOL, "\x09"); // nanoseconds
        put32(body, 0);                              // the end of the options
        write(block(INTERFACE_DESCRIPTION, body));
    }
    return found->second;
}

void Capture::add(Time now, const Segment &segment, const Station &from, const Station *to,
                  const Packet &packet) {
    const NUV_UINT32 interface = interface_of(segment);
    const KOLS_Transport_ClassId_t transport = packet.destination.address.transport;
    const bool is_ipv4 = transport == KOLS_TRANSPORT_CLASSID_UDPv4;
    const Octets udp = udp_of(packet);
    const NUV_UINT32 mtu = from.to_segment.property().mtu;
    const std::size_t size = packets_of(transport, packet.length(), mtu).count == 1
                                 ? udp.size()
                                 : fragment_size(transport, mtu);
    const auto time = static_cast<NUV_UINT64>(EPOCH + now);
    for (std::size_t offset = 0; offset < udp.size(); offset += size) {
        const std::size_t end = std::min(udp.size(), offset + size);
        const Octets part(udp.begin() + static_cast<std::ptrdiff_t>(offset),
                          udp.begin() + static_cast<std::ptrdiff_t>(end));
        const Fragment fragment{offset, end == udp.size(), size == udp.size()};
        Octets frame;
        put(frame, to != nullptr ? to->mac() : multicast_mac(packet.destination.address));
        put(frame, from.mac());
        put16(frame, is_ipv4 ? 0x0800 : 0x86DD);
        put(frame, is_ipv4 ? ipv4(packet, part, fragment) : ipv6(packet, part, fragment));
        Octets body;
        put32(body, interface);
        put32(body, static_cast<NUV_UINT32>(time >> 32));
        put32(body, static_cast<NUV_UINT32>(time));
        put32(body, static_cast<NUV_UINT32>(frame.size()));
        put32(body, static_cast<NUV_UINT32>(frame.size()));
        put(body, frame);
        write(block(ENHANCED_PACKET, body));
    }
}

/** A failure is told of by close. */
void Capture::write(const std::vector<NUV_UINT8> &octets) {
    if (std::fwrite(octets.data(), 1, octets.size(), file_.get()) != octets.size()) {
        error_ = errno;
    }
}

void Capture::close() {
    if (std::fclose(file_.release()) != 0) {
        error_ = errno;
    }
    if (error_ != 0) {
        throw std::system_error(error_, std::generic_category(), path_);
    }
}

} // namespace simnet
