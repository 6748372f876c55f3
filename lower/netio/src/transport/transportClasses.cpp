// SPDX-License-Identifier: Apache-2.0
// The classes of transports that there are.
#include "transport/transportClasses.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace {

/** In the order of their ids. */
constexpr std::array CLASSES = {&netio::UDPV4_CLASS, &netio::UDPV6_CLASS};

static_assert(CLASSES.size() == NUV_NETIO_TRANSPORTS_MAX);

/** A text that grows by one item for each class; what does not fit is cut. */
class Listing {
public:
    Listing(char *text, std::size_t size) : text_(text), size_(size) {
        text_[0] = '\0';
    }

    template <typename... Arguments>
    void add(const char *format, Arguments... arguments) {
        const std::size_t used = std::strlen(text_);
        std::snprintf(text_ + used, size_ - used, format, arguments...);
    }

private:
    char *const text_;
    const std::size_t size_;
};

/** What stands before the item at @p i: nothing, a comma, or a word before the last one. */
const char *separator_before(std::size_t i, const char *last) {
    if (i == 0) {
        return "";
    }
    return i + 1 == CLASSES.size() ? last : ", ";
}

} // namespace

const NUVNetioTransportClass *NUVNetioTransportClass_get(NUV_INT32 i) {
    return CLASSES[static_cast<std::size_t>(i)];
}

const NUVNetioTransportClass *NUVNetioTransportClass_find(KOLS_Transport_ClassId_t classid) {
    for (const NUVNetioTransportClass *one : CLASSES) {
        if (one->classid == classid) {
            return one;
        }
    }
    return nullptr;
}

void NUVNetioTransportClass_listAliases(const char *quote, char *text, size_t size) {
    Listing listing(text, size);
    for (std::size_t i = 0; i < CLASSES.size(); ++i) {
        listing.add("%s%s%s%s", separator_before(i, " and "), quote, CLASSES[i]->alias, quote);
    }
}

void NUVNetioTransportClass_listAddressNames(char *text, size_t size) {
    Listing listing(text, size);
    for (std::size_t i = 0; i < CLASSES.size(); ++i) {
        listing.add("%s%s", separator_before(i, " or "), CLASSES[i]->addressName);
    }
}

void NUVNetioTransportClass_listForms(char *text, size_t size) {
    Listing listing(text, size);
    for (std::size_t i = 0; i < CLASSES.size(); ++i) {
        listing.add(CLASSES[i]->isBracketed != 0 ? "%s%s://[ADDRESS]:PORT" : "%s%s://ADDRESS:PORT",
                    separator_before(i, ", "), CLASSES[i]->alias);
    }
}
