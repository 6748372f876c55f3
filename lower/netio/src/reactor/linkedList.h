// SPDX-License-Identifier: Apache-2.0
// A list of records that are somebody else's, linked by a member of theirs.
#ifndef NETIO_LINKED_LIST_H
#define NETIO_LINKED_LIST_H

#include "osapi/osapi_assert.h"

namespace netio {

/** Owns nothing and allocates nothing. An item is in one list of its kind at a time. */
template <typename Item, Item *Item::*NEXT>
class LinkedList {
public:
    Item *first() const {
        return first_;
    }
    bool is_empty() const {
        return first_ == nullptr;
    }
    static Item *next(const Item *item) {
        return item->*NEXT;
    }

    void prepend(Item *item) {
        NUV_ASSERT(item != first_); // twice in a list, it would go round
        item->*NEXT = first_;
        first_ = item;
    }
    void append(Item *item) {
        insert_before(item, [](const Item *) { return false; });
    }
    /** Puts it before the first item for which that holds; at the end when it does for none. */
    template <typename Holds>
    void insert_before(Item *item, Holds holds) {
        Item **place = &first_;
        while (*place != nullptr && !holds(*place)) {
            place = &((*place)->*NEXT);
        }
        item->*NEXT = *place;
        *place = item;
    }

    /** False when it is not in the list. */
    bool remove(Item *item) {
        Item **place = &first_;
        while (*place != nullptr && *place != item) {
            place = &((*place)->*NEXT);
        }
        if (*place == nullptr) {
            return false;
        }
        *place = item->*NEXT;
        item->*NEXT = nullptr;
        return true;
    }
    /** The first item, which is in the list no more; null when there is none. */
    Item *take_first() {
        Item *const item = first_;
        if (item != nullptr) {
            first_ = item->*NEXT;
            item->*NEXT = nullptr;
        }
        return item;
    }

private:
    Item *first_ = nullptr;
};

} // namespace netio

#endif
