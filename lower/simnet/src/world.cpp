// SPDX-License-Identifier: Apache-2.0
// Virtual time: what comes next, and what the library takes for the system's meanwhile.
#include "simnet/simnet_world.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "osapi/osapi_assert.h"

namespace simnet {

namespace {

/** There is one at a time: the clocks of the system are shared. */
World *the_world = nullptr;

NUV_UINT32 not_zero(NUV_UINT64 bits) {
    const auto value = static_cast<NUV_UINT32>(bits);
    return value != 0 ? value : 1;
}

} // namespace

World::World(NUV_UINT64 seed)
    : seed_(seed), random_(seed), former_monotonic_(*NUVClock_getMonotonic()),
      former_realtime_(*NUVClock_getRealtime()), former_guids_(*NUVOsapiRtpsGuidSource_get()) {
    if (the_world != nullptr) {
        throw std::logic_error("there is a world already");
    }
    the_world = this;
    *NUVClock_getMonotonic() = {
        former_monotonic_.name,
        [](const NUVClock *) {
            const Process *process = the_world->current_;
            return process != nullptr ? process->host().monotonic() : the_world->now_;
        },
        [](const NUVClock *, NUV_INT64 shown) {
            if (the_world->current_ != nullptr) {
                the_world->current_->sleep_until(shown);
            } else {
                the_world->run_until(shown);
            }
        },
    };
    *NUVClock_getRealtime() = {
        former_realtime_.name,
        [](const NUVClock *) {
            const Process *process = the_world->current_;
            return process != nullptr ? process->host().wall_clock() : EPOCH + the_world->now_;
        },
        nullptr,
    };
    NUVOsapiRtpsGuidSource_get()->generatePrefix = [](const NUVOsapiRtpsGuidSource *,
                                                      NUVOsapiRtpsGuidPrefix *out) {
        the_world->generate(out);
    };
}

World::~World() {
    *NUVClock_getMonotonic() = former_monotonic_;
    *NUVClock_getRealtime() = former_realtime_;
    *NUVOsapiRtpsGuidSource_get() = former_guids_;
    the_world = nullptr;
}

/** As real ones are: the host's, the process's, and random. */
void World::generate(NUVOsapiRtpsGuidPrefix *out) {
    const NUV_UINT32 host = current_ != nullptr ? current_->host().number() : 0;
    const NUV_UINT32 process = current_ != nullptr ? current_->number() : 0;
    out->hostId = not_zero(host & 0xFFFFu); // the high half is the vendor's, which is unknown
    out->appId = not_zero(process);
    out->instanceId = not_zero(random_.bits());
    trace_.add(out, sizeof *out);
}

Segment &World::add_segment(const std::string &name, const SegmentProperty &property) {
    if (std::any_of(segments_.begin(), segments_.end(),
                    [&name](const auto &segment) { return segment->name() == name; })) {
        throw std::logic_error("there is a segment '" + name + "' already");
    }
    segments_.push_back(std::make_unique<Segment>(*this, name, property));
    return *segments_.back();
}

Router &World::add_router(const std::string &name, const RouterProperty &property) {
    routers_.push_back(std::make_unique<Router>(*this, name, property));
    return *routers_.back();
}

Host &World::add_host(const std::string &name, const HostProperty &property) {
    hosts_.push_back(
        std::make_unique<Host>(*this, name, static_cast<NUV_UINT32>(hosts_.size()) + 1, property));
    return *hosts_.back();
}

void World::at(Time time, Action action) {
    if (free_places_.empty()) {
        free_places_.push_back(actions_.size());
        actions_.emplace_back();
    }
    const std::size_t place = free_places_.back();
    free_places_.pop_back();
    actions_[place] = std::move(action);
    planned_.push_back({std::max(time, now_), ++last_planned_, place});
    std::push_heap(planned_.begin(), planned_.end(), Later());
}

bool World::step() {
    if (planned_.empty()) {
        return false;
    }
    std::pop_heap(planned_.begin(), planned_.end(), Later());
    const Planned next = planned_.back();
    planned_.pop_back();
    const Action action = std::exchange(actions_[next.place], nullptr);
    free_places_.push_back(next.place);
    NUV_ASSERT(next.time >= now_);
    now_ = next.time;
    Process *const former = std::exchange(current_, nullptr); // of a call that sleeps
    action();
    current_ = former;
    if (observer_) {
        observer_();
    }
    return true;
}

void World::run_until(Time time) {
    while (!planned_.empty() && planned_.front().time <= time) {
        (void)step();
    }
    now_ = std::max(now_, time);
}

bool World::run_until(Time time, const std::function<bool()> &holds) {
    while (!holds()) {
        if (planned_.empty() || planned_.front().time > time) {
            now_ = std::max(now_, time);
            return false;
        }
        (void)step();
    }
    return true;
}

Mac World::next_mac() {
    const NUV_UINT32 number = ++last_mac_;
    return {0x02, // locally administered
            0x00,
            static_cast<NUV_UINT8>(number >> 24),
            static_cast<NUV_UINT8>(number >> 16),
            static_cast<NUV_UINT8>(number >> 8),
            static_cast<NUV_UINT8>(number)};
}

void World::trace_change(NUV_UINT32 host, NUV_UINT32 process, const std::string &what) {
    trace_.add(what.data(), what.size());
    trace_.add({now_, Event::CHANGED, host, process, {}, 0, 0});
}

void World::trace_drop(const Packet &packet, Drop reason, NUV_UINT32 host) {
    trace_.add({now_, Event::DROPPED, host, 0, packet.destination, packet.payload->id,
                static_cast<int>(reason)});
}

} // namespace simnet
