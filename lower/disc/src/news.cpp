// SPDX-License-Identifier: Apache-2.0
// What a participant's listener has not been told of yet.
#include "news.h"

#include "osapi/osapi_assert.h"

namespace disc {

News::~News() {
    for (std::size_t i = first_; i < items_.size(); ++i) {
        DISCRemote_release(items_[i].record);
    }
}

bool News::make_room(std::size_t known) {
    // Whoever comes is told of twice: now and when it goes.
    return listener_.onNews == nullptr || items_.reserve(items_.size() + known + 2);
}

void News::add(DISCChange change, const DISCRemote &record) {
    if (listener_.onNews == nullptr || (change != DISC_CHANGE_CAME && merge(change, record))) {
        return;
    }
    if (items_.append({change, &record})) {
        DISCRemote_retain(&record);
        listener_.onNews(listener_.param);
    } else {
        NUV_ASSERT(change == DISC_CHANGE_CHANGED);
    }
}

/**
 * Has what was not taken yet say it. Where a listener does not keep up, who came and has gone again
 * is not told of: so there is never much more of it than there are those that are known.
 */
bool News::merge(DISCChange change, const DISCRemote &record) {
    constexpr std::size_t MUCH = 256;
    if (change != DISC_CHANGE_CHANGED && items_.size() - first_ < MUCH) {
        return false;
    }
    for (std::size_t i = items_.size(); i > first_; --i) {
        Item &item = items_[i - 1];
        if (NUVOsapiRtpsGuidPrefix_isSame(&item.record->prefix(), &record.prefix()) == 0) {
            continue;
        }
        if (item.change == DISC_CHANGE_LEFT || item.change == DISC_CHANGE_LOST) {
            return false; // of its former life
        }
        const bool has_gone = change != DISC_CHANGE_CHANGED;
        const bool was_told = item.change == DISC_CHANGE_CHANGED;
        DISCRemote_release(item.record);
        if (has_gone && !was_told) {
            items_.remove(i - 1); // it was never there
            return true;
        }
        item.record = DISCRemote_retain(&record);
        item.change = has_gone ? change : item.change;
        return true;
    }
    return false;
}

bool News::take(DISCChange *change, const DISCRemote **record) {
    if (first_ == items_.size()) {
        return false;
    }
    *change = items_[first_].change;
    *record = items_[first_].record;
    ++first_;
    if (2 * first_ >= items_.size()) {
        items_.remove_first(first_);
        first_ = 0;
    }
    return true;
}

} // namespace disc
