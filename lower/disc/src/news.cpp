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
    if (listener_.onNews == nullptr) {
        return;
    }
    if (change == DISC_CHANGE_CHANGED && renew(record)) {
        return;
    }
    if (items_.append({change, &record})) {
        DISCRemote_retain(&record);
    } else {
        NUV_ASSERT(change == DISC_CHANGE_CHANGED);
        return;
    }
    listener_.onNews(listener_.param);
}

/** Who has not been told that it came, or changed, is told of its newest state. */
bool News::renew(const DISCRemote &record) {
    for (std::size_t i = items_.size(); i > first_; --i) {
        Item &item = items_[i - 1];
        if (NUVOsapiRtpsGuidPrefix_isSame(&item.record->prefix(), &record.prefix()) == 0) {
            continue;
        }
        if (item.change != DISC_CHANGE_CAME && item.change != DISC_CHANGE_CHANGED) {
            return false;
        }
        DISCRemote_release(item.record);
        item.record = DISCRemote_retain(&record);
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
    if (first_ == items_.size()) {
        items_.clear();
        first_ = 0;
    }
    return true;
}

} // namespace disc
