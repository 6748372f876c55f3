// SPDX-License-Identifier: Apache-2.0
// Those that are known in a domain, found by their prefix, their address and their place.
#ifndef DISC_TABLE_H
#define DISC_TABLE_H

#include "array.h"
#include "bounds.h"
#include "remote.h"
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
    NUV_UINT64 payload; // its hash
    NUV_INT64 until;
    int delays = 0; // as nobody could be asked
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
    bool is_at(const Place &place) const;
    /** It announces something else from now on. */
    void set_record(HeldRemote announcement);
    /** What it has announced last. */
    Word word() const {
        return {sequence, timestamp};
    }

    Domain &domain;
    const NUVOsapiRtpsGuidPrefix prefix;
    HeldRemote record;
    RTPSText tag{};                   // of the record
    bool is_elsewhere = false;        // by the record: in another domain than it was heard in
    DISCParticipant *local = nullptr; // when it is one of this process
    NUV_UINT32 slot = 0;

    RTPSSequenceNumber sequence = 0;
    RTPSTime timestamp = RTPS_TIME_INVALID;
    Place source; // of its last announcement
    NUV_INT64 first_heard = 0;
    NUV_INT64 last_heard = 0;
    NUV_INT64 lease_end = NEVER;
    NUV_UINT64 arrival = 0;        // of the last datagram that it was heard by
    NUV_UINT64 lost_datagrams = 0; // of the runtime, when its lease was last renewed
    NUV_UINT8 prolongations = 0;   // of the lease since then
    NUV_UINT8 lease_questions = 0; // that it was asked since its end was set
    bool was_graced = false;       // a late turn has not judged its lease
    bool was_heard_again = false;
    bool was_heard_by_group = false;

    Timer greeting;              // the next announcement to it
    NUV_INT64 greeted_until = 0; // it is not greeted anew before
    Timer lease;
    Timer question;                // until when it may show that it lives where it was
    NUV_INT64 asked_until = NEVER; // whether it lives, as another one is where it was
    NUV_INT64 next_question = NEVER;
    NUV_INT64 question_pause = 0;
    NUV_UINT8 questions_left = 0;
    bool was_asked = false;
    NUV_INT64 lives_until = 0; // at least: it has shown that it does
    NUV_UINT64 payload = 0;    // the hash of what it has announced
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
    /** @param secret what nobody outside the process knows. */
    explicit Table(NUV_UINT64 secret) : secret_(secret) {}
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

    /** Whether there is one that was last heard from an address and of which something holds. */
    template <typename Predicate>
    bool has_heard(const Place &address, Predicate holds) const {
        if (buckets_.is_empty()) {
            return false;
        }
        const Known *one = buckets_[bucket_of_address(address)].by_address;
        while (one != nullptr &&
               !(one->local == nullptr && one->source.has_same_address(address) && holds(*one))) {
            one = one->next_by_address_;
        }
        return one != nullptr;
    }
    /** Calls it with each whose first place this is, until it answers false. */
    template <typename Visitor>
    void visit_at(const Place &place, Visitor visitor) const {
        if (buckets_.is_empty()) {
            return;
        }
        bool goes_on = true;
        for (Known *one = buckets_[bucket_of_place(place)].by_place; one != nullptr && goes_on;
             one = one->next_by_place_) {
            goes_on = !(one->record->metatraffic().front() == place) || visitor(*one);
        }
    }

private:
    struct Bucket {
        Known *by_prefix;
        Known *by_address;
        Known *by_place;
    };

    std::size_t bucket_of(const Hash &hash) const {
        return hash.value() & (buckets_.size() - 1);
    }
    std::size_t bucket_of_prefix(const NUVOsapiRtpsGuidPrefix &prefix) const {
        return bucket_of(Hash(secret_).add(prefix.hostId).add(prefix.appId).add(prefix.instanceId));
    }
    std::size_t bucket_of_address(const Place &place) const {
        Hash hash(secret_);
        return bucket_of(place.add_address_to(hash));
    }
    std::size_t bucket_of_place(const Place &place) const {
        Hash hash(secret_);
        return bucket_of(place.add_to(hash));
    }
    void link(Known *known);
    void link_address(Known *known);
    void link_place(Known *known);
    void unlink_address(Known *known);
    void unlink_place(Known *known);
    bool make_buckets(std::size_t count);

    const NUV_UINT64 secret_;
    Array<Known *> slots_;
    Array<NUV_UINT32> free_slots_; // as much room as there are slots
    Array<Bucket> buckets_;        // a power of two
    std::size_t size_ = 0;
};

} // namespace disc

#endif
