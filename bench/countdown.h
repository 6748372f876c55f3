// SPDX-License-Identifier: Apache-2.0
/** @file countdown.h  When the last of some things has happened that the middleware tells of. */
#ifndef BENCH_COUNTDOWN_H
#define BENCH_COUNTDOWN_H

#include <condition_variable>
#include <mutex>

#include "dds_c/dds_c_domain.h"

namespace bench {

/** Counts calls of a listener. */
class Countdown {
public:
    /** So many are to come. */
    void start(int count);
    /** @return when the last of them was made, in seconds. Throws when that takes too long. */
    double wait();

    /** One that is told of changes of locators. It may be used as long as this lives. */
    DDS_DomainParticipantListener listener_of_locators();
    /** One that is told who comes and goes. */
    DDS_DomainParticipantListener listener_of_others();

private:
    void count_down();

    std::mutex mutex_; /* guards what follows */
    std::condition_variable is_over_;
    int left_ = 0;
    double last_ = 0;
};

} // namespace bench

#endif
