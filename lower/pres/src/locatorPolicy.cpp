// SPDX-License-Identifier: Apache-2.0
// Lists of locators.
#include "pres/pres_locatorPolicy.h"

#include <cstddef>
#include <cstring>

constinit const PRESLocatorQosPolicy LOCATOR_QOS_POLICY_DEFAULT = PRES_LOCATOR_QOS_POLICY_DEFAULT;
constinit const PRESReducedLocatorQosPolicy REDUCED_LOCATOR_QOS_POLICY_DEFAULT =
    PRES_REDUCED_LOCATOR_QOS_POLICY_DEFAULT;

namespace {

// What a pointer to a list leads to may be a reduced list, which is another type and ends earlier.
// So the operations reach the count and the locators by their place, which both types share, and
// never through a member of PRESLocatorQosPolicy.
constexpr std::size_t COUNT_PLACE = offsetof(PRESLocatorQosPolicy, count);
constexpr std::size_t LOCATORS_PLACE = offsetof(PRESLocatorQosPolicy, locatorList);
static_assert(COUNT_PLACE == offsetof(PRESReducedLocatorQosPolicy, count));
static_assert(LOCATORS_PLACE == offsetof(PRESReducedLocatorQosPolicy, locatorList));

NUV_INT32 read_count(const PRESLocatorQosPolicy *list) {
    NUV_INT32 count = 0;
    std::memcpy(&count, reinterpret_cast<const std::byte *>(list) + COUNT_PLACE, sizeof count);
    return count;
}

const NUVNetioLocator *locators_of(const PRESLocatorQosPolicy *list) {
    return reinterpret_cast<const NUVNetioLocator *>(reinterpret_cast<const std::byte *>(list) +
                                                     LOCATORS_PLACE);
}

/** A text that grows at the end of a buffer. */
class Text {
public:
    Text(char *buffer, std::size_t size) : end_(buffer), room_(size) {}

    bool append(const char *text) {
        const std::size_t length = std::strlen(text);
        if (length >= room_) {
            return false;
        }
        std::memcpy(end_, text, length + 1);
        advance(length);
        return true;
    }

    bool append(const NUVNetioLocator &locator) {
        const int length = NUVNetioLocator_toString(&locator, end_, room_);
        if (length < 0) {
            return false;
        }
        advance(static_cast<std::size_t>(length));
        return true;
    }

private:
    void advance(std::size_t length) {
        end_ += length;
        room_ -= length;
    }

    char *end_;
    std::size_t room_;
};

bool write_list(const PRESLocatorQosPolicy *list, Text text) {
    const NUVNetioLocator *const locators = locators_of(list);
    const NUV_INT32 count = read_count(list);
    for (NUV_INT32 i = 0; i < count; ++i) {
        if ((i > 0 && !text.append(", ")) || !text.append(locators[i])) {
            return false;
        }
    }
    return true;
}

} // namespace

void PRESLocatorQosPolicy_copy(PRESLocatorQosPolicy *dst, const PRESLocatorQosPolicy *src) {
    const std::size_t size = static_cast<std::size_t>(read_count(src)) * sizeof(NUVNetioLocator);
    std::byte *const to = reinterpret_cast<std::byte *>(dst);
    const std::byte *const from = reinterpret_cast<const std::byte *>(src);
    std::memmove(to + COUNT_PLACE, from + COUNT_PLACE, sizeof src->count);
    std::memmove(to + LOCATORS_PLACE, from + LOCATORS_PLACE, size);
}

int PRESLocatorQosPolicy_compare(const PRESLocatorQosPolicy *left,
                                 const PRESLocatorQosPolicy *right) {
    const NUV_INT32 count = read_count(left);
    if (count != read_count(right)) {
        return 1;
    }
    for (NUV_INT32 i = 0; i < count; ++i) {
        if (!NUVNetioLocator_isSame(locators_of(left) + i, locators_of(right) + i)) {
            return 1;
        }
    }
    return 0;
}

int PRESLocatorQosPolicy_toString(const PRESLocatorQosPolicy *self, char *buffer, NUV_INT32 size) {
    if (size <= 0) {
        return 0;
    }
    buffer[0] = '\0';
    if (!write_list(self, Text(buffer, static_cast<std::size_t>(size)))) {
        buffer[0] = '\0';
        return 0;
    }
    return 1;
}
