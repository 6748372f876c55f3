// SPDX-License-Identifier: Apache-2.0
// What a participant has announced, as it is kept.
#ifndef DISC_REMOTE_INTERNAL_H
#define DISC_REMOTE_INTERNAL_H

#include <atomic>
#include <span>

#include "disc/disc_remote.h"
#include "place.h"
#include "question.h"

/** One block of memory, which ends with the unicast places and the octets of the announcement. */
struct DISCRemote {
public:
    DISCRemote(const DISCRemote &) = delete;
    DISCRemote &operator=(const DISCRemote &) = delete;

    /** Null when memory runs out, or when it is too long for any announcement of ours. */
    static DISCRemote *make(const RTPSParticipantData &data);

    const NUVOsapiRtpsGuidPrefix &prefix() const {
        return prefix_;
    }
    /** Where its discovery traffic goes; no group, which no unicast locator can be, is among them.
     */
    std::span<const disc::Place> metatraffic() const {
        return {places(), metatraffic_count_};
    }
    /** The same, and where its other traffic goes. */
    std::span<const disc::Place> unicast() const {
        return {places(), unicast_count_};
    }
    /** The groups at which it hears discovery traffic. */
    std::span<const disc::Place> groups() const {
        return {places() + unicast_count_, place_count_ - unicast_count_};
    }
    RTPSOctets octets() const {
        return {reinterpret_cast<const NUV_UINT8 *>(places() + place_count_), length_};
    }
    /** What it takes of the memory. */
    std::size_t size() const {
        return sizeof(DISCRemote) + place_count_ * sizeof(disc::Place) + length_;
    }
    /** In nanoseconds; disc::NEVER when it does not end. */
    NUV_INT64 lease() const {
        return lease_;
    }
    /** Whether it asks anything. */
    bool asks() const {
        return asks_;
    }
    /** Whether it is the one that somebody asks about; its texts are read for that. */
    bool is(const disc::Subject &subject) const;
    /** False where one look shows that it is not. */
    bool may_be(const disc::Subject &subject) const;
    /** What it says of itself, whatever says it. */
    bool says_the_same_as(const DISCRemote &other) const;

private:
    friend const DISCRemote *DISCRemote_retain(const DISCRemote *self);
    friend void DISCRemote_release(const DISCRemote *self);

    explicit DISCRemote(const RTPSParticipantData &data);
    NUV_UINT32 add_places(const RTPSLocators &locators, bool are_groups);

    const disc::Place *places() const {
        return reinterpret_cast<const disc::Place *>(this + 1);
    }

    mutable std::atomic<NUV_UINT32> users_{1};
    NUVOsapiRtpsGuidPrefix prefix_;
    NUV_INT64 lease_;
    NUV_UINT32 metatraffic_count_ = 0;
    NUV_UINT32 unicast_count_ = 0;
    NUV_UINT32 place_count_ = 0;
    std::size_t length_ = 0;
    std::size_t name_hash_;
    NUV_UINT32 process_;
    bool asks_;
};

namespace disc {

/** One user of an announcement. */
class HeldRemote {
public:
    HeldRemote() = default;
    explicit HeldRemote(const DISCRemote *taken) : remote_(taken) {}
    ~HeldRemote() {
        DISCRemote_release(remote_);
    }
    HeldRemote(HeldRemote &&other) noexcept : remote_(other.take()) {}
    HeldRemote &operator=(HeldRemote &&other) noexcept {
        if (this != &other) {
            DISCRemote_release(remote_);
            remote_ = other.take();
        }
        return *this;
    }
    HeldRemote(const HeldRemote &) = delete;
    HeldRemote &operator=(const HeldRemote &) = delete;

    explicit operator bool() const {
        return remote_ != nullptr;
    }
    const DISCRemote &operator*() const {
        return *remote_;
    }
    const DISCRemote *operator->() const {
        return remote_;
    }
    const DISCRemote *get() const {
        return remote_;
    }
    const DISCRemote *take() {
        const DISCRemote *const taken = remote_;
        remote_ = nullptr;
        return taken;
    }

private:
    const DISCRemote *remote_ = nullptr;
};

} // namespace disc

#endif
