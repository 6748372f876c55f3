// SPDX-License-Identifier: Apache-2.0
// Lists of locators, the best in front.
#include "rtps/rtps_locators.h"

#include <algorithm>
#include <span>

#include "netio/netio_transport.h"

namespace {

NUV_INT32 rank_of(const NUVNetioLocator &locator, const RTPSLocatorRanking *ranking) {
    return ranking != nullptr && ranking->rank != nullptr ? ranking->rank(ranking->param, &locator)
                                                          : 0;
}

/**
 * False when nothing can be sent there. What is in front of an address is no part of it: with
 * anything else than zeroes there, one place would look like many.
 */
bool normalize(NUVNetioLocator *locator) {
    const NUVNetioTransportClass *const its_class = NUVNetioTransportClass_find(locator->transport);
    if (its_class == nullptr || NUVNetioLocator_isPort(locator->port) == 0) {
        return false;
    }
    std::fill_n(locator->address.network_ordered_value, its_class->addressOffset, NUV_UINT8{0});
    return true;
}

} // namespace

void RTPSLocators_add(RTPSLocators *self, const NUVNetioLocator *locator,
                      const RTPSLocatorRanking *ranking) {
    const std::span<NUVNetioLocator> there(self->locators, self->count);
    NUVNetioLocator added = *locator;
    if (!normalize(&added) ||
        std::any_of(there.begin(), there.end(), [&added](const NUVNetioLocator &other) {
            return NUVNetioLocator_isSame(&other, &added) != 0;
        })) {
        return;
    }
    const NUV_INT32 rank = rank_of(added, ranking);
    std::size_t place = there.size();
    while (place > 0 && rank_of(there[place - 1], ranking) < rank) {
        --place;
    }
    if (rank < 0 || place == RTPS_LOCATORS_MAX) {
        return;
    }
    self->count = std::min<NUV_UINT32>(self->count + 1, RTPS_LOCATORS_MAX);
    NUVNetioLocator *const begin = self->locators;
    std::move_backward(begin + place, begin + self->count - 1, begin + self->count);
    begin[place] = added;
}
