// SPDX-License-Identifier: Apache-2.0
// The endpoints of a facade.
#include "endpoints.h"

#include <algorithm>

#include "commend_log.h"

namespace commend {

namespace {

/** No wait for a call is longer. */
constexpr NUVNtpTime LONGEST_WAIT = {4, 0};

} // namespace

bool Endpoints::add(const COMMENDEndpoint &endpoint) {
    constexpr const char *LOG_METHOD = "COMMENDFacade_addEndpoint";
    const std::lock_guard lock(mutex_);
    Place *free = nullptr;
    for (Place &place : places_) {
        const COMMENDEndpoint *const one = place.load();
        if (one == nullptr) {
            free = free != nullptr ? free : &place;
        } else if (one->entityId == endpoint.entityId) {
            COMMEND_ERROR("there is an endpoint 0x%08X already",
                          static_cast<unsigned>(endpoint.entityId));
            return false;
        }
    }
    if (free == nullptr) {
        COMMEND_ERROR("no endpoint 0x%08X: allowed are %d of a participant",
                      static_cast<unsigned>(endpoint.entityId), COMMEND_ENDPOINTS_MAX);
        return false;
    }
    free->store(&endpoint);
    ++count_;
    return true;
}

bool Endpoints::remove(const COMMENDEndpoint &endpoint) {
    {
        const std::lock_guard lock(mutex_);
        const auto place = std::find_if(places_.begin(), places_.end(),
                                        [&](const Place &one) { return one.load() == &endpoint; });
        if (place != places_.end()) { // else it was removed while it was being called
            place->store(nullptr);
            --count_;
        }
    }
    return called_.load() != &endpoint || NUVNetioRuntime_isReactorThread(runtime_) != 0 ||
           NUVNetioRuntime_flush(runtime_, &LONGEST_WAIT) != 0;
}

} // namespace commend
