// SPDX-License-Identifier: Apache-2.0
// Where a facade sends to.
#include "destinations.h"

#include <algorithm>

#include "commend_log.h"
#include "osapi/osapi_heap.h"

namespace commend {

namespace {

constexpr NUV_INT32 FIRST_CAPACITY = 4;

} // namespace

Destinations::~Destinations() {
    NUVOsapiHeap_freeArray(locators_);
}

bool Destinations::add(const NUVNetioLocator &destination) {
    constexpr const char *LOG_METHOD = "COMMENDFacade_addDestination";
    const std::lock_guard lock(mutex_);
    if (find(destination) < count_) {
        return true;
    }
    if (!make_room()) {
        COMMEND_ERROR("out of memory for a destination");
        return false;
    }
    NUVNetioLocator &added = locators_[count_++];
    added = destination;
    added.hostname = nullptr; // it belongs to the caller and is not needed
    return true;
}

bool Destinations::remove(const NUVNetioLocator &destination) {
    const std::lock_guard lock(mutex_);
    const NUV_INT32 found = find(destination);
    if (found == count_) {
        return false;
    }
    std::copy(locators_ + found + 1, locators_ + count_, locators_ + found);
    --count_;
    return true;
}

NUV_INT32 Destinations::send(std::span<const NUV_UINT8> message, REDAWorker *worker) {
    const std::lock_guard lock(mutex_);
    NUV_INT32 taken = 0;
    for (NUV_INT32 i = 0; i < count_; ++i) {
        taken += send_to(locators_[i], message, worker) ? 1 : 0;
    }
    return taken;
}

bool Destinations::send_to(const NUVNetioLocator &destination, std::span<const NUV_UINT8> message,
                           REDAWorker *worker) {
    return sending_.send("COMMENDFacade_sendMessage", destination, [&] {
        return NUVNetioConfigurator_send(configurator_, &destination, message.data(),
                                         static_cast<NUV_UINT32>(message.size()), worker);
    }) != 0;
}

/** The position of a destination, or the count when it is not there. */
NUV_INT32 Destinations::find(const NUVNetioLocator &destination) const {
    NUV_INT32 i = 0;
    while (i < count_ && NUVNetioLocator_isSame(&locators_[i], &destination) == 0) {
        ++i;
    }
    return i;
}

bool Destinations::make_room() {
    if (count_ < capacity_) {
        return true;
    }
    const NUV_INT32 larger = capacity_ != 0 ? 2 * capacity_ : FIRST_CAPACITY;
    if (NUVOsapiHeap_reallocateMemoryInternal(
            &locators_,
            NUVOsapiHeap_sizeOfArray(static_cast<size_t>(larger), sizeof(NUVNetioLocator)),
            NUV_OSAPI_HEAP_ALIGNMENT_DEFAULT, 1, 0, "COMMENDFacade_addDestination",
            NUV_OSAPI_HEAP_TAG_ARRAY, "struct NUVNetioLocator") == 0) {
        return false;
    }
    capacity_ = larger;
    return true;
}

} // namespace commend
