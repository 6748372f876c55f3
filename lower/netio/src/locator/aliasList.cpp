// SPDX-License-Identifier: Apache-2.0
// The transports by their names, and lists of these names.
#include <cstring>
#include <string_view>

#include "locator/aliasList.h"
#include "netio/netio_transport.h"

namespace {

bool is_alias(std::string_view alias) {
    return !alias.empty() && alias.find(',') == std::string_view::npos;
}

} // namespace

int NUVNetioAliasList_contains(const NUVNetioAliasList *list, const char *alias) {
    if (alias == nullptr || !is_alias(alias)) {
        return 0;
    }
    netio::AliasReader reader(*list);
    for (std::string_view item; reader.next(&item);) {
        if (item == alias) {
            return 1;
        }
    }
    return 0;
}

int NUVNetioAliasList_add(NUVNetioAliasList *list, const char *alias) {
    if (alias == nullptr || !is_alias(alias)) {
        return 0;
    }
    if (NUVNetioAliasList_contains(list, alias) != 0) {
        return 1;
    }
    const std::size_t used = netio::text_of(*list).size();
    const std::size_t comma = used != 0 ? 1 : 0;
    const std::size_t added = std::strlen(alias);
    if (added >= sizeof list->aliases || used + comma + added >= sizeof list->aliases) {
        return 0;
    }
    list->aliases[used] = ','; // replaced below where it is the first alias
    std::memcpy(list->aliases + used + comma, alias, added + 1);
    return 1;
}

const char *NUVNetioTransport_aliasOfClass(KOLS_Transport_ClassId_t transport) {
    const NUVNetioTransportClass *its_class = NUVNetioTransportClass_find(transport);
    return its_class != nullptr ? its_class->alias : nullptr;
}

KOLS_Transport_ClassId_t NUVNetioTransport_classOfAlias(const char *alias) {
    return alias != nullptr ? netio::class_of_alias(alias) : KOLS_TRANSPORT_CLASSID_INVALID;
}

KOLS_Transport_ClassId_t netio::class_of_alias(std::string_view alias) {
    for (NUV_INT32 i = 0; i < NUV_NETIO_TRANSPORTS_MAX; ++i) {
        const NUVNetioTransportClass *known = NUVNetioTransportClass_get(i);
        if (alias == known->alias) {
            return known->classid;
        }
    }
    return KOLS_TRANSPORT_CLASSID_INVALID;
}
