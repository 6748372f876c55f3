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
    const auto id = static_cast<unsigned>(endpoint.entityId);
    switch (take_place(endpoint)) {
    case Taken::ONE:
        return true;
    case Taken::ALREADY:
        COMMEND_ERROR("there is an endpoint 0x%08X already", id);
        return false;
    case Taken::NONE:
        break;
    }
    COMMEND_ERROR("no endpoint 0x%08X: allowed are %d of a participant", id, COMMEND_ENDPOINTS_MAX);
    return false;
}

Endpoints::Taken Endpoints::take_place(const COMMENDEndpoint &endpoint) {
    const std::lock_guard lock(mutex_);
    Place *free = nullptr;
    for (Place &place : places_) {
        const COMMENDEndpoint *const one = place.load();
        if (one == nullptr) {
            free = free != nullptr ? free : &place;
        } else if (one->entityId == endpoint.entityId) {
            return Taken::ALREADY;
        }
    }
    if (free == nullptr) {
        return Taken::NONE;
    }
    free->store(&endpoint);
    ++count_;
    return Taken::ONE;
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
    // The flush waits for the end of a turn, which may take longer than the call.
    return called_.load() != &endpoint || NUVNetioRuntime_isReactorThread(runtime_) != 0 ||
           NUVNetioRuntime_flush(runtime_, &LONGEST_WAIT) != 0 || called_.load() != &endpoint;
}

} // namespace commend
