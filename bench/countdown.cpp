// SPDX-License-Identifier: Apache-2.0
#include "countdown.h"

#include <chrono>
#include <stdexcept>

#include "figures.h"

namespace bench {

void Countdown::start(int count) {
    const std::lock_guard lock(mutex_);

    left_ = count;
}

double Countdown::wait() {
    constexpr std::chrono::seconds PATIENCE(10);
    std::unique_lock lock(mutex_);

    if (!is_over_.wait_for(lock, PATIENCE, [this] { return left_ <= 0; })) {
        throw std::runtime_error("the participants do not tell what they are expected to");
    }
    return last_;
}

void Countdown::count_down() {
    const double now = seconds_now();
    const std::lock_guard lock(mutex_);

    last_ = now;
    if (--left_ == 0) {
        is_over_.notify_one();
    }
}

DDS_DomainParticipantListener Countdown::listener_of_locators() {
    return {this, nullptr,
            [](void *self, DDS_DomainParticipant * /*participant*/) {
                static_cast<Countdown *>(self)->count_down();
            },
            nullptr};
}

DDS_DomainParticipantListener Countdown::listener_of_others() {
    return {this, nullptr, nullptr,
            [](void *self, DDS_DomainParticipant * /*participant*/,
               const DDS_ParticipantBuiltinTopicData * /*data*/,
               DDS_DiscoveredParticipantChange /*change*/) {
                static_cast<Countdown *>(self)->count_down();
            }};
}

} // namespace bench
