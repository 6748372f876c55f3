// SPDX-License-Identifier: Apache-2.0
// The endpoints of a facade, and who of them is being called.
#ifndef COMMEND_ENDPOINTS_H
#define COMMEND_ENDPOINTS_H

#include <array>
#include <atomic>
#include <mutex>

#include "commend/commend_endpoint.h"

namespace commend {

/**
 * Changed under a lock, read by the reactor without one: it says whom it is about to call and looks
 * again whether that one is still there; who removes one takes it out first and then looks whom the
 * reactor has named. So one of the two sees the other.
 */
class Endpoints {
public:
    explicit Endpoints(NUVNetioRuntime *runtime) : runtime_(runtime) {}
    Endpoints(const Endpoints &) = delete;
    Endpoints &operator=(const Endpoints &) = delete;

    /** On failure an error has been logged. */
    bool add(const COMMENDEndpoint &endpoint);
    /** False when it was still being called after 4 s. */
    bool remove(const COMMENDEndpoint &endpoint);

    bool is_empty() const {
        return count_.load() == 0;
    }

    /**
     * Calls something with each endpoint that a submessage for @p entity_id is for, on the
     * reactor's thread: with that of this id, with each that has an id when it is unknown; with the
     * one for all others when there is none. @p take returns whether the endpoint takes it; this
     * returns whether any has.
     */
    template <typename Take>
    bool call(RTPSEntityId entity_id, Take take) {
        const bool is_for_all = entity_id == RTPS_ENTITYID_UNKNOWN;
        bool is_taken = false;
        bool is_there = is_for_all;
        for (const Place &place : places_) {
            if (is_there && !is_for_all) {
                break;
            }
            is_taken = call_one(place,
                                [&](const COMMENDEndpoint &one) {
                                    const bool is_its = one.entityId != RTPS_ENTITYID_UNKNOWN &&
                                                        (is_for_all || one.entityId == entity_id);
                                    is_there = is_there || is_its;
                                    return is_its && take(one);
                                }) ||
                       is_taken;
        }
        for (std::size_t i = 0; i < places_.size() && !is_there; ++i) {
            is_taken = call_one(places_[i],
                                [&](const COMMENDEndpoint &one) {
                                    return one.entityId == RTPS_ENTITYID_UNKNOWN && take(one);
                                }) ||
                       is_taken;
        }
        return is_taken;
    }

private:
    enum class Taken { ONE, ALREADY, NONE };
    using Place = std::atomic<const COMMENDEndpoint *>;

    template <typename Take>
    bool call_one(const Place &place, Take take) {
        const COMMENDEndpoint *const endpoint = place.load();
        if (endpoint == nullptr) {
            return false;
        }
        called_.store(endpoint);
        const bool is_taken = place.load() == endpoint && take(*endpoint);
        called_.store(nullptr);
        return is_taken;
    }

    Taken take_place(const COMMENDEndpoint &endpoint);

    NUVNetioRuntime *const runtime_;
    std::array<Place, COMMEND_ENDPOINTS_MAX> places_{};
    std::atomic<int> count_{0};
    Place called_{nullptr};
    std::mutex mutex_; // one change at a time
};

} // namespace commend

#endif
