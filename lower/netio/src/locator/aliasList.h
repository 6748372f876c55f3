// SPDX-License-Identifier: Apache-2.0
// Reading alias lists.
#ifndef NETIO_ALIAS_LIST_H
#define NETIO_ALIAS_LIST_H

#include <string_view>

#include <string.h> // strnlen

#include "netio/netio_locator.h"

namespace netio {

/** The text of a list; one without a terminator ends with its array. */
inline std::string_view text_of(const NUVNetioAliasList &list) {
    return {list.aliases, strnlen(list.aliases, sizeof list.aliases)};
}

/** Goes through the aliases of a list, which must stay as it is meanwhile. */
class AliasReader {
public:
    explicit AliasReader(const NUVNetioAliasList &list)
        : rest_(text_of(list)), more_(!rest_.empty()) {}

    /** True with the next alias (which may be empty, as in "a,,b"), or false at the end. */
    bool next(std::string_view *alias) {
        if (!more_) {
            return false;
        }
        const std::size_t comma = rest_.find(',');
        *alias = rest_.substr(0, comma);
        more_ = comma != std::string_view::npos;
        rest_.remove_prefix(more_ ? comma + 1 : rest_.size());
        return true;
    }

private:
    std::string_view rest_;
    bool more_;
};

/** NUVNetioTransport_classOfAlias of a text without terminator. */
KOLS_Transport_ClassId_t class_of_alias(std::string_view alias);

} // namespace netio

#endif
