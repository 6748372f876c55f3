// SPDX-License-Identifier: Apache-2.0
// What is to be done when: timers, the next one first.
#include "schedule.h"

#include "osapi/osapi_assert.h"

namespace disc {

void Schedule::set(Timer &timer, NUV_INT64 due) {
    cancel(timer);
    if (due == NEVER) {
        return;
    }
    NUV_ASSERT(heap_.size() < room_);
    timer.due_ = due;
    (void)heap_.append(&timer); // there is room
    move_up(&timer, heap_.size() - 1);
}

void Schedule::cancel(Timer &timer) {
    if (!timer.is_set()) {
        return;
    }
    const std::size_t place = timer.place_;
    Timer *const last = heap_[heap_.size() - 1];
    heap_.remove_last();
    timer.place_ = Timer::NOWHERE;
    timer.due_ = NEVER;
    if (last != &timer) {
        move_up(last, place);
        move_down(last, last->place_);
    }
}

bool Schedule::run_one(NUV_INT64 now) {
    if (next() > now) {
        return false;
    }
    Timer &timer = *heap_[0];
    cancel(timer);
    timer.run_(timer.owner_, now); // it may be no more then
    return true;
}

void Schedule::move_up(Timer *timer, std::size_t place) {
    while (place > 0 && heap_[(place - 1) / 2]->due_ > timer->due_) {
        put(heap_[(place - 1) / 2], place);
        place = (place - 1) / 2;
    }
    put(timer, place);
}

void Schedule::move_down(Timer *timer, std::size_t place) {
    for (std::size_t child = 2 * place + 1; child < heap_.size(); child = 2 * place + 1) {
        if (child + 1 < heap_.size() && heap_[child + 1]->due_ < heap_[child]->due_) {
            ++child;
        }
        if (timer->due_ <= heap_[child]->due_) {
            break;
        }
        put(heap_[child], place);
        place = child;
    }
    put(timer, place);
}

} // namespace disc
