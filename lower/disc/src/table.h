// SPDX-License-Identifier: Apache-2.0
// Those that are known in a domain, found by their prefix, their address and their place.
#ifndef DISC_TABLE_H
#define DISC_TABLE_H

#include "array.h"
#include "remote.h"
#include "rtps/rtps_numberSet.h"
#include "schedule.h"

struct DISCParticipant;

namespace disc {

class Domain;

/** Something that was said in somebody's name from where he was never heard, until it is judged. */
struct Claim {
    HeldRemote announcement; // none: that he leaves
    RTPSSequenceNumber sequence;
    RTPSTime timestamp;
    Place source;
    NUV_INT64 until;
};

/** One that is known. */
class Known {
public:
    Known(Domain &domain, const NUVOsapiRtpsGuidPrefix &its_prefix, HeldRemote announcement);
    ~Known();
    Known(const Known &) = delete;
    Known &operator=(const Known &) = delete;

    /** How many timers it has. */
    static constexpr std::size_t TIMERS = 3;

    /** Whether what comes from there may be its own: it said so, or was heard from there. */
    bool is_at(const Place &source) const;
    bool has_tag(const RTPSText &tag) const;

    Domain &domain;
    const NUVOsapiRtpsGuidPrefix prefix;
    HeldRemote record;
    RTPSText tag{};                   // of the record
    DISCParticipant *local = nullptr; // when it is one of this process
    NUV_UINT32 slot = 0;

    RTPSSequenceNumber sequence = 0;
    RTPSTime timestamp = RTPS_TIME_INVALID;
    Place source; // of its last announcement
    NUV_INT64 first_heard = 0;
    NUV_INT64 last_heard = 0;
    NUV_INT64 lease_end = NEVER;
    NUV_UINT64 lost_datagrams = 0; // of the runtime, when its lease was last renewed
    NUV_UINT8 prolongations = 0;   // of the lease since then
    bool was_graced = false;       // a late turn has not judged its lease
    bool was_heard_again = false;
    bool was_heard_by_group = false;

    Timer greeting; // the next announcement to it
    Timer lease;
    Timer question;                // until when it may show that it lives where it was
    NUV_INT64 asked_until = NEVER; // whether it lives, as another one is where it was
    Claim *claim = nullptr;

private:
    friend class Table;
    Known *next_by_prefix_ = nullptr;
    Known *next_by_address_ = nullptr;
    Known *next_by_place_ = nullptr;
};

/** All that are known. */
class Table {
public:
    Table() = default;
    /** Frees all. */
    ~Table();
    Table(const Table &) = delete;
    Table &operator=(const Table &) = delete;

    Known *find(const NUVOsapiRtpsGuidPrefix &prefix) const;
    /** Has room for one more, in a slot below slots(). False when memory runs out. */
    bool make_room();
    /** There is room. */
    void add(Known *added);
    /** Takes it out, for the caller to free. */
    void remove(Known *removed);
    /** What it is found by has changed. */
    void change_source(Known *known, const Place &source);
    void change_record(Known *known, HeldRemote record);

    std::size_t size() const {
        return size_;
    }
    /** Those with a slot: null where there is none. */
    std::size_t slots() const {
        return slots_.size();
    }
    Known *at(std::size_t slot) const {
        return slots_[slot];
    }

    /** Whether anybody was last heard from an address. */
    bool has_heard(const Place &address) const;
    /** How many were last heard from it, counted up to a number. */
    std::size_t count_heard(const Place &address, std::size_t most) const;
    /** Calls it with each whose first place this is. */
    template <typename Visitor>
    void visit_at(const Place &place, Visitor visitor) const {
        if (buckets_.is_empty()) {
            return;
        }
        Known *next = nullptr;
        for (Known *one = buckets_[bucket_of(place.hash())].by_place; one != nullptr; one = next) {
            next = one->next_by_place_;
            if (one->record->metatraffic().front() == place) {
                visitor(*one);
            }
        }
    }

private:
    struct Bucket {
        Known *by_prefix;
        Known *by_address;
        Known *by_place;
    };

    std::size_t bucket_of(NUV_UINT32 hash) const {
        return (hash * 2654435769u >> 8) & (buckets_.size() - 1);
    }
    void link(Known *known);
    void link_address(Known *known);
    void link_place(Known *known);
    void unlink_address(Known *known);
    void unlink_place(Known *known);
    bool make_buckets(std::size_t count);

    Array<Known *> slots_;
    Array<NUV_UINT32> free_slots_; // as much room as there are slots
    Array<Bucket> buckets_;        // a power of two
    std::size_t size_ = 0;
};

} // namespace disc

#endif
