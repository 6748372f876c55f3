// SPDX-License-Identifier: Apache-2.0
// What others may make us send and keep.
#ifndef DISC_BOUNDS_H
#define DISC_BOUNDS_H

#include <array>
#include <mutex>
#include <new>

#include "osapi/osapi_guid.h"
#include "osapi/osapi_heap.h"
#include "place.h"
#include "rtps/rtps_guid.h"
#include "rtps/rtps_numberSet.h"
#include "rtps/rtps_types.h"
#include "units.h"

namespace disc {

/** A participant, and the writer of ours that it asks, if it does. */
struct Asker {
    NUVOsapiRtpsGuidPrefix prefix{0, 0, 0};
    RTPSEntityId writer = RTPS_ENTITYID_UNKNOWN;

    bool operator==(const Asker &other) const {
        return writer == other.writer && NUVOsapiRtpsGuidPrefix_isSame(&prefix, &other.prefix) != 0;
    }
    Hash &add_to(Hash &hash) const {
        return hash.add(prefix.hostId).add(prefix.appId).add(prefix.instanceId).add(writer);
    }
};

/** An address, whatever the port. */
struct Address {
    Place place;

    bool operator==(const Address &other) const {
        return place.has_same_address(other.place);
    }
    Hash &add_to(Hash &hash) const {
        return place.add_address_to(hash);
    }
};

/** Whom something was done for, and when last: as many as there are places, each in one of them. */
template <typename Key, std::size_t PLACES>
class Recent {
public:
    explicit Recent(NUV_UINT64 secret) : secret_(secret) {}

    /**
     * Notes that it is done now, unless it was done within @p pause for this key, or for another
     * one that has its place.
     */
    bool admits(const Key &key, NUV_INT64 now, NUV_INT64 pause) {
        Entry &entry = entry_of(key);
        if (entry.is_used && now - entry.time < pause) {
            return false;
        }
        entry = {key, now, true};
        return true;
    }
    /** Whether it was done for the key within @p span. */
    bool has(const Key &key, NUV_INT64 now, NUV_INT64 span) {
        const Entry &entry = entry_of(key);
        return entry.is_used && entry.key == key && now - entry.time < span;
    }
    /**
     * Whether it was done for the key within @p span. Notes that it is done now, unless it was
     * done within @p pause for another one that has its place.
     */
    bool repeats(const Key &key, NUV_INT64 now, NUV_INT64 span, NUV_INT64 pause) {
        Entry &entry = entry_of(key);
        const bool is_its = entry.is_used && entry.key == key;
        const bool is_repeated = is_its && now - entry.time < span;
        if (is_its || !entry.is_used || now - entry.time >= pause) {
            entry = {key, now, true};
        }
        return is_repeated;
    }

private:
    struct Entry {
        Key key{};
        NUV_INT64 time = 0;
        bool is_used = false;
    };
    Entry &entry_of(const Key &key) {
        Hash hash(secret_);
        return entries_[key.add_to(hash).value() % PLACES];
    }

    const NUV_UINT64 secret_;
    std::array<Entry, PLACES> entries_{};
};

/** Made when it is first used, as many never are. */
template <typename Key, std::size_t PLACES>
class RecentOnDemand {
public:
    explicit RecentOnDemand(NUV_UINT64 secret) : secret_(secret) {}
    ~RecentOnDemand() {
        NUVOsapiHeap_freeStructure(recent_);
    }
    RecentOnDemand(const RecentOnDemand &) = delete;
    RecentOnDemand &operator=(const RecentOnDemand &) = delete;

    /** Null when memory runs out. */
    Recent<Key, PLACES> *get() {
        using RecentOnes = Recent<Key, PLACES>;
        if (recent_ == nullptr) {
            NUVOsapiHeap_allocateStructure(&recent_, RecentOnes);
            if (recent_ != nullptr) {
                new (recent_) RecentOnes(secret_);
            }
        }
        return recent_;
    }

private:
    const NUV_UINT64 secret_;
    Recent<Key, PLACES> *recent_ = nullptr;
};

/** Of something that was said: the announcer's number, and when it said it. */
struct Word {
    RTPSSequenceNumber sequence;
    RTPSTime timestamp;
};

/**
 * The words by which some have left just now: what they said before may be read after that. A place
 * is that of whoever left last.
 */
class LastWords {
public:
    explicit LastWords(NUV_UINT64 secret) : secret_(secret) {}

    void add(const NUVOsapiRtpsGuidPrefix &prefix, const Word &word, NUV_INT64 now) {
        Entry &entry = entries_[place_of(prefix)];
        entry = {prefix, word, now + SPAN};
    }
    /** Null when it has not left just now. */
    const Word *find(const NUVOsapiRtpsGuidPrefix &prefix, NUV_INT64 now) const {
        const Entry &entry = entries_[place_of(prefix)];
        return now < entry.until && NUVOsapiRtpsGuidPrefix_isSame(&entry.prefix, &prefix) != 0
                   ? &entry.word
                   : nullptr;
    }

private:
    static constexpr NUV_INT64 SPAN = SECOND;
    struct Entry {
        NUVOsapiRtpsGuidPrefix prefix{0, 0, 0};
        Word word{0, RTPS_TIME_INVALID};
        NUV_INT64 until = 0;
    };
    std::size_t place_of(const NUVOsapiRtpsGuidPrefix &prefix) const {
        Hash hash(secret_);
        return Asker{prefix}.add_to(hash).value() % std::tuple_size_v<decltype(entries_)>;
    }

    const NUV_UINT64 secret_;
    std::array<Entry, 64> entries_{};
};

/** What the process sends to addresses that it was never spoken to from. Thread-safe. */
class Unasked {
public:
    explicit Unasked(NUV_UINT64 secret) : sent_(secret) {}

    bool admits(const Place &place, NUV_INT64 now) {
        constexpr NUV_INT64 PAUSE = 100 * MILLISECOND;
        const std::lock_guard lock(mutex_);
        return sent_.admits({place}, now, PAUSE);
    }

private:
    std::mutex mutex_;
    Recent<Address, 256> sent_;
};

} // namespace disc

#endif
