// SPDX-License-Identifier: Apache-2.0
// What others may make us send and keep.
#ifndef DISC_BOUNDS_H
#define DISC_BOUNDS_H

#include <array>

#include "osapi/osapi_guid.h"
#include "place.h"
#include "rtps/rtps_guid.h"
#include "units.h"

namespace disc {

/** Whom something was done for, and when last: as many as there are places, each in one of them. */
template <typename Key, std::size_t PLACES>
class Recent {
public:
    /**
     * Notes that it is done now, unless it was done for this key within @p pause, or the key's
     * place is taken by another for which it was.
     */
    bool admits(const Key &key, NUV_UINT32 hash, NUV_INT64 now, NUV_INT64 pause) {
        Entry &entry = entries_[hash % PLACES];
        if (entry.is_used && now - entry.time < pause) {
            return false;
        }
        entry = {key, now, true};
        return true;
    }
    /** Whether it was done for the key within @p span; notes that it is done now. */
    bool repeats(const Key &key, NUV_UINT32 hash, NUV_INT64 now, NUV_INT64 span) {
        Entry &entry = entries_[hash % PLACES];
        const bool is_repeated = entry.is_used && entry.key == key && now - entry.time < span;
        entry = {key, now, true};
        return is_repeated;
    }

private:
    struct Entry {
        Key key{};
        NUV_INT64 time = 0;
        bool is_used = false;
    };
    std::array<Entry, PLACES> entries_{};
};

/** A participant, and the writer of ours that it asks, if it does. */
struct Asker {
    NUVOsapiRtpsGuidPrefix prefix{0, 0, 0};
    RTPSEntityId writer = RTPS_ENTITYID_UNKNOWN;

    bool operator==(const Asker &other) const {
        return writer == other.writer && NUVOsapiRtpsGuidPrefix_isSame(&prefix, &other.prefix) != 0;
    }
    NUV_UINT32 hash() const {
        return ((prefix.hostId * 31 + prefix.appId) * 31 + prefix.instanceId) * 31 + (writer >> 8);
    }
};

} // namespace disc

#endif
