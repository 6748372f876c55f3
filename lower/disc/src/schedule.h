// SPDX-License-Identifier: Apache-2.0
// What is to be done when: timers, the next one first.
#ifndef DISC_SCHEDULE_H
#define DISC_SCHEDULE_H

#include "array.h"
#include "units.h"

namespace disc {

/** Something that is done at a time; part of whatever it is done for. */
class Timer {
public:
    using Run = void (*)(void *owner, NUV_INT64 now);

    Timer(Run run, void *owner) : run_(run), owner_(owner) {}
    Timer(const Timer &) = delete;
    Timer &operator=(const Timer &) = delete;

    bool is_set() const {
        return place_ != NOWHERE;
    }
    /** NEVER while it is not set. */
    NUV_INT64 due() const {
        return due_;
    }

private:
    friend class Schedule;
    static constexpr NUV_UINT32 NOWHERE = 0xFFFFFFFF;

    Run const run_;
    void *const owner_;
    NUV_INT64 due_ = NEVER;
    NUV_UINT32 place_ = NOWHERE;
};

/** A heap of the timers that are set. Setting one never fails: room is made beforehand. */
class Schedule {
public:
    Schedule() = default;
    Schedule(const Schedule &) = delete;
    Schedule &operator=(const Schedule &) = delete;

    /** Makes room for so many timers more. False when memory runs out. */
    bool make_room(std::size_t timers) {
        if (!heap_.reserve(room_ + timers)) {
            return false;
        }
        room_ += timers;
        return true;
    }
    /** So many timers, none of which is set, are no more. */
    void give_back_room(std::size_t timers) {
        room_ -= timers;
    }

    void set(Timer &timer, NUV_INT64 due);
    /** Only if it is not set, or later. */
    void set_no_later(Timer &timer, NUV_INT64 due) {
        if (due < timer.due_) {
            set(timer, due);
        }
    }
    void cancel(Timer &timer);

    /** When the next one is due; NEVER when there is none. */
    NUV_INT64 next() const {
        return heap_.is_empty() ? NEVER : heap_[0]->due_;
    }
    /** Runs the next one if it is due: it is not set any more then. */
    bool run_one(NUV_INT64 now);

private:
    void put(Timer *timer, std::size_t place) {
        heap_[place] = timer;
        timer->place_ = static_cast<NUV_UINT32>(place);
    }
    void move_up(Timer *timer, std::size_t place);
    void move_down(Timer *timer, std::size_t place);

    Array<Timer *> heap_;
    std::size_t room_ = 0;
};

} // namespace disc

#endif
