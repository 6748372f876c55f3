// SPDX-License-Identifier: Apache-2.0
// The interfaces by which somebody receives a group.
#include "interface/interfaceFilter.h"

namespace netio {

bool InterfaceFilter::admits(NUV_UINT32 index) const {
    return index == 0 || admits_all_.load() || has(index);
}

bool InterfaceFilter::has(NUV_UINT32 index) const {
    bool found = false;
    indices_.visit([&](const auto &slot) {
        found = slot.load() == index;
        return !found;
    });
    return found;
}

bool InterfaceFilter::narrow(const NUVNetioInterfaceSnapshot &snapshot,
                             const AllowedInterfaces &allowed, KOLS_Transport_ClassId_t transport) {
    bool is_complete = true;
    visit_multicast_interfaces(snapshot, allowed, transport, [&](const auto &interface) {
        if (has(interface.index)) {
            return;
        }
        if (indices_.make_room()) {
            indices_.add(interface.index);
        } else {
            is_complete = false;
        }
    });
    indices_.visit([&](const auto &slot) {
        const NUV_UINT32 index = slot.load();
        bool is_wanted = false;
        visit_multicast_interfaces(snapshot, allowed, transport, [&](const auto &interface) {
            is_wanted = is_wanted || interface.index == index;
        });
        if (!is_wanted) {
            indices_.remove(index);
        }
        return true;
    });
    is_narrowed_ = true;
    if (is_complete) {
        admits_all_.store(false);
    }
    return is_complete;
}

} // namespace netio
