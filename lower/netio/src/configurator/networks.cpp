// SPDX-License-Identifier: Apache-2.0
// The networks that a participant is on.
#include <cstring>

#include "configurator/configurator.h"

namespace {

/** More bits of a smaller network are the same, and these are in front. */
bool is_smaller(const NUVNetioInterface &left, const NUVNetioInterface &right) {
    return std::memcmp(&left.netmask, &right.netmask, sizeof left.netmask) > 0;
}

} // namespace

NUV_INT32 NUVNetioConfigurator_findNetwork(NUVNetioConfigurator *self,
                                           const NUVNetioLocator *locator) {
    const netio::HeldSnapshot snapshot = self->snapshot();
    const NUVNetioInterface *smallest = nullptr;
    NUV_INT32 found = -1;
    for (NUV_INT32 i = 0; i < NUVNetioInterfaceSnapshot_getLength(snapshot.get()); ++i) {
        const NUVNetioInterface *one = NUVNetioInterfaceSnapshot_get(snapshot.get(), i);
        if (NUVNetioInterface_isOnNetwork(one, locator) != 0 &&
            self->find_transport(one->transport) != nullptr && self->allowed.admits(*one) &&
            (smallest == nullptr || is_smaller(*one, *smallest))) {
            smallest = one;
            found = i;
        }
    }
    return found;
}
