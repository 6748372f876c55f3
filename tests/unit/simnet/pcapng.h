// SPDX-License-Identifier: Apache-2.0
// A reader of pcapng files of Ethernet, IP and UDP, as far as these tests need it. What is not as
// the standards have it fails the test.
#pragma once

#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "osapi/osapi_type.h"

namespace pcapng {

using Octets = std::vector<NUV_UINT8>;

/** Reads numbers in the order of the network. */
class Reader {
public:
    explicit Reader(Octets octets) : octets_(std::move(octets)) {}

    std::size_t left() const {
        return octets_.size() - at_;
    }
    NUV_UINT64 number(int size) {
        NUV_UINT64 value = 0;
        for (const NUV_UINT8 octet : take(static_cast<std::size_t>(size))) {
            value = value << 8 | octet;
        }
        return value;
    }
    Octets take(std::size_t size) {
        if (size > left()) {
            ADD_FAILURE() << size << " octets, " << left() << " are left";
            at_ = octets_.size();
            return Octets(size);
        }
        const auto from = octets_.begin() + static_cast<std::ptrdiff_t>(at_);
        at_ += size;
        return {from, from + static_cast<std::ptrdiff_t>(size)};
    }
    Octets rest() {
        return take(left());
    }

private:
    Octets octets_;
    std::size_t at_ = 0;
};

/** The sum of RFC 1071: 0xFFFF where a checksum among the octets is right. */
inline NUV_UINT32 sum(const Octets &octets) {
    NUV_UINT64 all = 0;
    for (std::size_t i = 0; i < octets.size(); ++i) {
        all += i % 2 == 0 ? static_cast<NUV_UINT64>(octets[i]) << 8 : octets[i];
    }
    while (all > 0xFFFF) {
        all = (all & 0xFFFF) + (all >> 16);
    }
    return static_cast<NUV_UINT32>(all);
}

inline std::string hex(const Octets &octets) {
    std::string text;
    for (const NUV_UINT8 octet : octets) {
        text += "0123456789abcdef"[octet >> 4];
        text += "0123456789abcdef"[octet & 15];
    }
    return text;
}

/** An IP packet in a frame. */
struct Frame {
    std::string interface;
    NUV_UINT64 nanoseconds = 0; // since 1970
    std::string to, from;       // MAC addresses, in hexadecimal digits
    int version = 0;
    std::size_t size = 0; // of the IP packet
    int dscp = 0;
    int ttl = 0;
    std::string source, destination; // IP addresses, in hexadecimal digits
    NUV_UINT64 id = 0;               // of a fragment's datagram
    std::size_t offset = 0;
    bool is_last = true;
    bool is_fragment = false;
    Octets payload;
};

/** A datagram that was put together. */
struct Datagram {
    Frame first;
    NUV_UINT64 source_port = 0, destination_port = 0;
    std::string data;
    std::size_t fragments = 0;
};

inline void read_ipv4(Reader &packet, Frame &frame) {
    Reader header(packet.take(20));
    EXPECT_EQ(header.number(1), 0x45u);
    frame.dscp = static_cast<int>(header.number(1)) >> 2;
    frame.size = header.number(2);
    frame.id = header.number(2);
    const NUV_UINT64 flags = header.number(2);
    EXPECT_EQ(flags & 0xC000, 0u); // no flag but "more fragments"
    frame.offset = (flags & 0x1FFF) * 8;
    frame.is_last = (flags & 0x2000) == 0;
    frame.is_fragment = !frame.is_last || frame.offset != 0;
    frame.ttl = static_cast<int>(header.number(1));
    EXPECT_EQ(header.number(1), 17u);
    (void)header.number(2);
    frame.source = hex(header.take(4));
    frame.destination = hex(header.take(4));
    EXPECT_EQ(frame.size, 20 + packet.left());
}

inline void read_ipv6(Reader &packet, Frame &frame) {
    const NUV_UINT64 start = packet.number(4);
    EXPECT_EQ(start & 0x003FFFFF, 0u); // no congestion, no flow label
    frame.dscp = static_cast<int>(start >> 22 & 0x3F);
    const std::size_t length = packet.number(2);
    frame.size = 40 + length;
    NUV_UINT64 next = packet.number(1);
    frame.ttl = static_cast<int>(packet.number(1));
    frame.source = hex(packet.take(16));
    frame.destination = hex(packet.take(16));
    EXPECT_EQ(length, packet.left());
    if (next == 44) {
        next = packet.number(1);
        EXPECT_EQ(packet.number(1), 0u);
        const NUV_UINT64 flags = packet.number(2);
        frame.offset = flags & 0xFFF8;
        frame.is_last = (flags & 1) == 0;
        frame.is_fragment = true;
        frame.id = packet.number(4);
    }
    EXPECT_EQ(next, 17u);
}

inline Frame read_frame(const Octets &octets) {
    Frame frame;
    Reader reader(octets);
    frame.to = hex(reader.take(6));
    frame.from = hex(reader.take(6));
    const NUV_UINT64 type = reader.number(2);
    if (type == 0x0800) {
        frame.version = 4;
        EXPECT_EQ(sum(Octets(octets.begin() + 14, octets.begin() + 34)), 0xFFFFu);
        read_ipv4(reader, frame);
    } else {
        EXPECT_EQ(type, 0x86DDu);
        frame.version = 6;
        read_ipv6(reader, frame);
    }
    EXPECT_TRUE(frame.is_last || reader.left() % 8 == 0);
    frame.payload = reader.rest();
    return frame;
}

/** The frames of a file. */
inline std::vector<Frame> read(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    Reader file({std::istreambuf_iterator<char>(stream), {}});
    std::vector<std::string> interfaces;
    std::vector<Frame> frames;
    for (bool is_first = true; file.left() >= 12; is_first = false) {
        const NUV_UINT64 type = file.number(4);
        const NUV_UINT64 length = file.number(4);
        EXPECT_EQ(length % 4, 0u);
        Reader body(file.take(length - 12));
        EXPECT_EQ(file.number(4), length);
        EXPECT_EQ(type == 0x0A0D0D0A, is_first);
        if (type == 0x0A0D0D0A) {
            EXPECT_EQ(body.number(4), 0x1A2B3C4Du);
            EXPECT_EQ(body.number(2), 1u);
            EXPECT_EQ(body.number(2), 0u);
            EXPECT_EQ(body.number(8), UINT64_MAX);
        } else if (type == 1) {
            EXPECT_EQ(body.number(4), 0x00010000u); // Ethernet
            EXPECT_EQ(body.number(4), 0u);
            std::map<NUV_UINT64, std::string> options;
            while (const NUV_UINT64 option = body.number(2)) {
                const Octets value = body.take(body.number(2));
                (void)body.take((4 - value.size() % 4) % 4);
                options[option] = {value.begin(), value.end()};
            }
            EXPECT_EQ(body.number(2), 0u);
            EXPECT_EQ(options[9], "\x09"); // nanoseconds
            interfaces.push_back(options[2]);
        } else {
            EXPECT_EQ(type, 6u);
            const std::string interface = interfaces.at(body.number(4));
            const NUV_UINT64 time = body.number(8);
            const NUV_UINT64 size = body.number(4);
            EXPECT_EQ(body.number(4), size); // nothing is cut
            frames.push_back(read_frame(body.take(size)));
            frames.back().interface = interface;
            frames.back().nanoseconds = time;
            (void)body.take((4 - size % 4) % 4);
        }
        EXPECT_EQ(body.left(), 0u);
    }
    EXPECT_EQ(file.left(), 0u);
    return frames;
}

inline Octets octets_of(const std::string &digits) {
    Octets octets;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        octets.push_back(static_cast<NUV_UINT8>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return octets;
}

/** Puts datagrams together, whose fragments follow one another. */
inline std::vector<Datagram> datagrams(const std::vector<Frame> &frames) {
    std::vector<Datagram> all;
    Octets together;
    std::size_t fragments = 0;
    for (const Frame &frame : frames) {
        EXPECT_EQ(frame.offset, together.size());
        together.insert(together.end(), frame.payload.begin(), frame.payload.end());
        ++fragments;
        if (!frame.is_last) {
            continue;
        }
        Octets pseudo = octets_of(frame.source + frame.destination);
        for (const std::size_t one :
             {together.size() >> 8, together.size() & 0xFF, std::size_t{0}, std::size_t{17}}) {
            pseudo.push_back(static_cast<NUV_UINT8>(one));
        }
        pseudo.insert(pseudo.end(), together.begin(), together.end());
        EXPECT_EQ(sum(pseudo), 0xFFFFu);
        Datagram datagram;
        datagram.first = *(&frame - (fragments - 1));
        datagram.fragments = fragments;
        Reader udp(together);
        datagram.source_port = udp.number(2);
        datagram.destination_port = udp.number(2);
        EXPECT_EQ(udp.number(2), together.size());
        EXPECT_NE(udp.number(2), 0u); // there is a checksum
        const Octets data = udp.rest();
        datagram.data = {data.begin(), data.end()};
        all.push_back(datagram);
        together.clear();
        fragments = 0;
    }
    EXPECT_EQ(fragments, 0u);
    return all;
}

} // namespace pcapng
