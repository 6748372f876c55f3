// SPDX-License-Identifier: Apache-2.0
// What is said of the interfaces on which a group could not be joined.
#include "socket/refusals.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "netio_log.h"
#include "osapi/osapi_heap.h"
#include "osapi/osapi_utility.h"
#include "socket/memberships.h"

namespace netio {

namespace {

constexpr NUV_INT32 FIRST_CAPACITY = 4;

constexpr std::size_t ROOM_FOR_NUMBER = sizeof ",  and 4294967295 more";

void warn_of_deafness(const NUVNetioLocator &group, Refusing &refusing,
                      REDARepetitions *repetitions) {
    const LocatorText text(group);
    if (refusing.error == 0) {
        NETIO_WARNING_LIMITED(repetitions,
                              "cannot join %s on any interface: no usable one has an "
                              "address of its transport and multicast",
                              text.get());
    } else {
        NETIO_WARNING_LIMITED(repetitions, "cannot join %s on any interface (%s): %s (%s)",
                              text.get(), refusing.interfaces.get(),
                              error_description(refusing.error), error_name(refusing.error));
    }
}

} // namespace

void NameList::add(const char *name) {
    const std::size_t length = std::strlen(text_);
    if (left_out_ != 0 || length + std::strlen(name) + ROOM_FOR_NUMBER > sizeof text_) {
        ++left_out_;
        return;
    }
    NUVOsapiUtility_snprintf(text_ + length, sizeof text_ - length, "%s%s", length != 0 ? ", " : "",
                             name);
}

const char *NameList::get() {
    if (left_out_ != 0) {
        const std::size_t length = std::strlen(text_);
        NUVOsapiUtility_snprintf(text_ + length, sizeof text_ - length, " and %u more", left_out_);
        left_out_ = 0;
    }
    return text_;
}

bool Refusing::add(int its_error, const char *name) {
    if (error != 0 && error != its_error) {
        return false;
    }
    error = its_error;
    interfaces.add(name);
    return true;
}

void RefusalNews::tell(REDARepetitions *repetitions) {
    if (!is_any_) {
        return;
    }
    if (!is_joined_) {
        warn_of_deafness(group_, refusing_, repetitions);
        return;
    }
    NETIO_WARNING_LIMITED(repetitions, "cannot join %s on %s: %s (%s)", LocatorText(group_).get(),
                          refusing_.interfaces.get(), error_description(refusing_.error),
                          error_name(refusing_.error));
}

Refusals::~Refusals() {
    NUVOsapiHeap_freeArray(said_);
}

RefusalNews Refusals::take_news(const NUVNetioLocator &group, const Memberships &memberships,
                                const AllowedInterfaces &allowed,
                                const NUVNetioInterfaceSnapshot &snapshot) {
    Refusing all;
    Refusing news; // for a reason that has not been said of the interface
    bool is_joined = false;
    for (NUV_INT32 i = 0; i < count_; ++i) {
        said_[i].wanted = false;
    }
    visit_multicast_interfaces(snapshot, allowed, group.transport, [&](const auto &interface) {
        const Membership *const membership = memberships.find(interface.index);
        const int error = membership != nullptr ? membership->error : ENOMEM;
        is_joined = is_joined || error == 0;
        Said *const said = find(interface.index);
        if (said != nullptr) {
            said->wanted = true;
        }
        if (error == 0) {
            return;
        }
        (void)all.add(error, interface.name);
        if ((said == nullptr || said->error != error) && news.add(error, interface.name) &&
            membership != nullptr) {
            note(interface.index, error);
        }
    });
    forget_unwanted();
    const bool is_newly_deaf = !is_joined && (!is_deaf_ || deaf_error_ != all.error);
    is_deaf_ = !is_joined;
    deaf_error_ = all.error;
    if (std::exchange(quiet_, false)) {
        return {};
    }
    if (is_newly_deaf) {
        return {group, all, false};
    }
    return is_joined && news.error != 0 ? RefusalNews(group, news, true) : RefusalNews();
}

/** Where memory has run out it is said again. */
void Refusals::note(NUV_UINT32 interface, int error) {
    Said *said = find(interface);
    if (said == nullptr && make_room()) {
        said = &said_[count_++];
    }
    if (said != nullptr) {
        *said = {interface, error, true};
    }
}

Refusals::Said *Refusals::find(NUV_UINT32 interface) const {
    Said *const end = said_ + count_;
    Said *const found = std::find_if(
        said_, end, [interface](const Said &one) { return one.interface == interface; });
    return found != end ? found : nullptr;
}

void Refusals::forget_unwanted() {
    count_ = static_cast<NUV_INT32>(
        std::remove_if(said_, said_ + count_, [](const Said &one) { return !one.wanted; }) - said_);
}

bool Refusals::make_room() {
    if (count_ < capacity_) {
        return true;
    }
    const NUV_INT32 larger = capacity_ != 0 ? 2 * capacity_ : FIRST_CAPACITY;
    if (NUVOsapiHeap_reallocateMemoryInternal(
            &said_, NUVOsapiHeap_sizeOfArray(static_cast<size_t>(larger), sizeof(Said)),
            NUV_OSAPI_HEAP_ALIGNMENT_DEFAULT, 1, 0, "NUVNetioConfigurator_openReceiveResource",
            NUV_OSAPI_HEAP_TAG_ARRAY, "struct Said") == 0) {
        return false;
    }
    capacity_ = larger;
    return true;
}

} // namespace netio
