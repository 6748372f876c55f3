// SPDX-License-Identifier: Apache-2.0
#include "acquaintance.h"

#include <algorithm>
#include <cmath>

namespace ddssim {

Acquaintance::Number Acquaintance::number_of(const DDS_GUID_t &guid) {
    std::array<DDS_Octet, 12> prefix{};

    std::copy_n(guid.value, prefix.size(), prefix.begin());
    const auto [found, is_new] = numbers_.try_emplace(prefix, all_.size());
    if (is_new) {
        all_.emplace_back();
    }
    return found->second;
}

bool Acquaintance::knows(const Participant &one, Number other) const {
    return other < one.knows.size() && one.knows[other];
}

void Acquaintance::changed(simnet::Time now) {
    constexpr double STEP = 0.01;

    moment_.time = now;
    moment_.wanted = there_ * (there_ - std::min<std::uint64_t>(there_, 1));
    if (!curve_.empty() && curve_.back().time == now) {
        curve_.back() = moment_;
    } else if (curve_.empty() || curve_.back().is_complete() != moment_.is_complete() ||
               std::abs(moment_.share() - curve_.back().share()) >= STEP) {
        curve_.push_back(moment_);
    }
}

Acquaintance::Number Acquaintance::add(simnet::Time now, const DDS_GUID_t &guid) {
    const Number number = number_of(guid);

    all_[number].is_there = true;
    ++there_;
    for (Participant &other : all_) {
        if (other.is_there && knows(other, number)) { // it was quick
            ++other.known;
            ++moment_.known;
        }
    }
    changed(now);
    return number;
}

void Acquaintance::remove(simnet::Time now, Number one) {
    Participant &gone = all_[one];

    gone.is_there = false;
    --there_;
    moment_.known -= gone.known;
    for (Participant &other : all_) {
        if (other.is_there && knows(other, one)) {
            --other.known;
            --moment_.known;
        }
    }
    gone.knows.clear();
    gone.known = 0;
    changed(now);
}

void Acquaintance::note(simnet::Time now, Number one, const DDS_GUID_t &other,
                        DDS_DiscoveredParticipantChange change) {
    const Number number = number_of(other);
    Participant &self = all_[one];
    const bool is_known =
        change == DDS_DISCOVERED_PARTICIPANT_CAME || change == DDS_DISCOVERED_PARTICIPANT_CHANGED;

    if (!self.is_there || knows(self, number) == is_known) {
        return;
    }
    if (self.knows.size() <= number) {
        self.knows.resize(std::max(all_.size(), number + 1));
    }
    self.knows[number] = is_known;
    if (!all_[number].is_there) {
        return;
    }
    if (is_known) {
        ++self.known;
        ++moment_.known;
    } else {
        --self.known;
        --moment_.known;
        lost_living_ += change == DDS_DISCOVERED_PARTICIPANT_LOST ? 1 : 0;
    }
    changed(now);
}

std::optional<simnet::Time> Acquaintance::complete_since(simnet::Time since) const {
    std::optional<simnet::Time> time;

    for (const Moment &moment : curve_) {
        if (moment.time <= since) {
            time = moment.is_complete() ? std::optional(since) : std::nullopt;
        } else if (!time && moment.is_complete()) {
            return moment.time;
        }
    }
    return time;
}

} // namespace ddssim
