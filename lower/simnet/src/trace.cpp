// SPDX-License-Identifier: Apache-2.0
// What happened, in order.
#include "simnet/simnet_trace.h"

#include <cinttypes>
#include <cstring>

namespace simnet {

const char *to_text(Drop reason) {
    static constexpr std::array<const char *, static_cast<std::size_t>(Drop::DROPS)> TEXTS = {
        "lost",     "queue full", "parted", "isolated", "no member", "no station",
        "no route", "TTL",        "NAT",    "down",     "no socket", "buffer full"};
    return TEXTS[static_cast<std::size_t>(reason)];
}

const char *to_text(Event event) {
    static constexpr std::array<const char *, static_cast<std::size_t>(Event::ACTED) + 1> TEXTS = {
        "opened",  "bound",    "joined",  "left",   "closed",  "sent",
        "arrived", "received", "dropped", "turned", "changed", "acted"};
    return TEXTS[static_cast<std::size_t>(event)];
}

void Trace::add(const void *octets, std::size_t length) {
    // FNV-1a, eight octets at once where there are as many.
    constexpr NUV_UINT64 PRIME = 0x100000001B3u;
    const auto *next = static_cast<const unsigned char *>(octets);
    for (; length >= sizeof(NUV_UINT64); length -= sizeof(NUV_UINT64)) {
        NUV_UINT64 word = 0;
        std::memcpy(&word, next, sizeof word);
        hash_ = (hash_ ^ word) * PRIME;
        hash_ ^= hash_ >> 29;
        next += sizeof word;
    }
    for (; length > 0; --length) {
        hash_ = (hash_ ^ *next++) * PRIME;
    }
}

void Trace::add(const Record &record) {
    const std::array<NUV_UINT64, 7> words = {
        static_cast<NUV_UINT64>(record.time),
        static_cast<NUV_UINT64>(record.event),
        record.host,
        record.process,
        static_cast<NUV_UINT64>(record.endpoint.port) |
            static_cast<NUV_UINT64>(static_cast<NUV_UINT32>(record.endpoint.address.transport))
                << 32,
        record.detail,
        static_cast<NUV_UINT64>(record.error),
    };
    add(words.data(), sizeof words);
    add(&record.endpoint.address.value, sizeof record.endpoint.address.value);
    ++length_;
    ++counts_[static_cast<std::size_t>(record.event)];
    if (record.event == Event::DROPPED) {
        ++dropped_[static_cast<std::size_t>(record.error)];
    }
    if (file_ == nullptr) {
        return;
    }
    std::fprintf(file_, "%" PRId64 ".%09" PRId64 " host %u process %u %s", record.time / SECOND,
                 record.time % SECOND, record.host, record.process, to_text(record.event));
    if (record.endpoint.address.transport != KOLS_TRANSPORT_CLASSID_INVALID) {
        std::fprintf(file_, " %s", to_text(record.endpoint).c_str());
    }
    if (record.detail != 0) {
        std::fprintf(file_, " #%" PRIu64, record.detail);
    }
    if (record.event == Event::DROPPED) {
        std::fprintf(file_, ": %s", to_text(static_cast<Drop>(record.error)));
    } else if (record.error != 0) {
        std::fprintf(file_, ": %s", std::strerror(record.error));
    }
    std::fputc('\n', file_);
}

std::string Trace::digest() const {
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%016" PRIx64, hash_);
    return text.data();
}

} // namespace simnet
