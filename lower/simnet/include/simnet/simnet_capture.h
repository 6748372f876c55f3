// SPDX-License-Identifier: Apache-2.0
/**
 * @file simnet_capture.h
 * @brief Writes what goes over simulated segments as a pcapng file, for tools that read those.
 */
#pragma once

#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include "simnet/simnet_segment.h"

namespace simnet {

/**
 * A file in the making. What stays within a host goes over no segment, and is not in it. Each
 * segment is an interface of it; each datagram has its Ethernet, IP and UDP headers, with
 * checksums, and goes in fragments where it is larger than the link's MTU. Times are those of a
 * world that began on 2026-01-01.
 */
class Capture final : public Tap {
public:
    /** Throws std::system_error when the file cannot be written. */
    explicit Capture(const std::string &path);

    void add(Time now, const Segment &segment, const Station &from, const Station *to,
             const Packet &packet) override;
    /** Whether something could not be written: close says what. */
    bool has_failed() const {
        return error_ != 0;
    }
    /**
     * Ends the file: nothing can be added any more. Throws std::system_error when not all could be
     * written. Who does not call it has no way to know.
     */
    void close();

private:
    struct Closer {
        void operator()(std::FILE *file) const {
            std::fclose(file);
        }
    };

    NUV_UINT32 interface_of(const Segment &segment);
    void write(const std::vector<NUV_UINT8> &octets);

    const std::string path_;
    std::unique_ptr<std::FILE, Closer> file_;
    int error_ = 0; // that writing met last
    std::map<std::string, NUV_UINT32> interfaces_;
};

} // namespace simnet
