// SPDX-License-Identifier: Apache-2.0
// A switch and what is plugged into it.
#include "simnet/simnet_segment.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "simnet/simnet_world.h"

namespace simnet {

Station::Station(World &world, const LinkProperty &link)
    : to_segment(link), from_segment(link), world_(world), mac_(world.next_mac()) {}

void Station::set_link(const LinkProperty &property) {
    to_segment.set(property);
    from_segment.set(property);
}

void Segment::set(const SegmentProperty &property) {
    property_ = property;
    world_.trace_change(0, 0, name_);
}

void Segment::attach(Station &station) {
    if (station.segment_ != nullptr) {
        station.segment_->detach(station);
    }
    stations_.push_back(&station);
    station.segment_ = this;
    station.side_ = 0;
    owners_.clear();
    station.report_groups();
}

void Segment::detach(Station &station) {
    if (station.segment_ != this) {
        throw std::logic_error("a station that is not plugged into " + name_);
    }
    std::erase(stations_, &station);
    std::erase_if(members_,
                  [&station](const auto &member) { return member.first.first == &station; });
    station.segment_ = nullptr;
    owners_.clear();
}

Station *Segment::find_owner(const Address &address) {
    const auto known = owners_.find(address);
    if (known != owners_.end() && known->second->has(address)) {
        return known->second;
    }
    const auto found = std::find_if(stations_.begin(), stations_.end(),
                                    [&](const Station *station) { return station->has(address); });
    if (found == stations_.end()) {
        return nullptr;
    }
    owners_[address] = *found;
    return *found;
}

/** What keeps one from hearing the other. */
std::optional<Drop> Segment::obstacle(const Station &from, const Station &to) const {
    if (to.segment_ != this) {
        return Drop::DOWN; // it was unplugged meanwhile
    }
    if (from.side_ != to.side_) {
        return Drop::PARTED;
    }
    if (property_.isolatesClients && !from.is_router() && !to.is_router()) {
        return Drop::ISOLATED;
    }
    return {};
}

/** Whether what is sent to a group goes to a station. */
bool Segment::passes(const Station &to, const Address &group) const {
    if (property_.multicast != Multicast::SNOOPS || to.is_router()) {
        return property_.multicast != Multicast::NONE;
    }
    const auto member = members_.find({&to, group});
    return member != members_.end() &&
           (property_.hasQuerier || world_.now() - member->second < property_.membershipTimeout);
}

void Segment::send(Station &from, const Packet &packet, const Address &next_hop) {
    const Packets packets = packets_of(packet.destination.address.transport, packet.length(),
                                       from.to_segment.property().mtu);
    const bool is_multicast = simnet::is_multicast(next_hop);
    Station *const to = is_multicast ? nullptr : find_owner(next_hop);
    if (!is_multicast && (to == nullptr || to == &from)) {
        world_.trace_drop(packet, Drop::NO_STATION); // it cannot even be asked for its MAC address
        return;
    }
    if (world_.tap_ != nullptr) {
        world_.tap_->add(world_.now(), *this, from, to, packet);
    }
    const Link::Passage passage = from.to_segment.pass(world_.now(), packets, world_.random());
    if (passage.count == 0) {
        world_.trace_drop(packet, passage.reason);
    }
    for (std::size_t i = 0; i < passage.count; ++i) {
        world_.at(passage.arrivals[i],
                  [this, &from, to, packet, packets] { pass_on(from, to, packet, packets); });
    }
}

/** What the switch does with what has reached it; null: to all. */
void Segment::pass_on(const Station &from, Station *to, const Packet &packet,
                      const Packets &packets) {
    if (world_.now() < off_until_) {
        world_.trace_drop(packet, Drop::PARTED);
    } else if (to == nullptr) {
        flood(from, packet, packets);
    } else if (const std::optional<Drop> reason = obstacle(from, *to)) {
        world_.trace_drop(packet, *reason);
    } else {
        hand_on(*to, packet, packets);
    }
}

void Segment::flood(const Station &from, const Packet &packet, const Packets &packets) {
    for (Station *const to : stations_) {
        if (to == &from) {
            continue;
        }
        if (const std::optional<Drop> reason = obstacle(from, *to)) {
            world_.trace_drop(packet, *reason);
        } else if (!passes(*to, packet.destination.address)) {
            world_.trace_drop(packet, Drop::MULTICAST);
        } else {
            hand_on(*to, packet, packets);
        }
    }
}

void Segment::hand_on(Station &to, const Packet &packet, const Packets &packets) {
    const Link::Passage passage = to.from_segment.pass(world_.now(), packets, world_.random());
    if (passage.count == 0) {
        world_.trace_drop(packet, passage.reason);
    }
    for (std::size_t i = 0; i < passage.count; ++i) {
        world_.at(passage.arrivals[i], [this, &to, packet] {
            if (to.segment_ == this) {
                to.arrive(packet);
            } else {
                world_.trace_drop(packet, Drop::DOWN); // it was unplugged meanwhile
            }
        });
    }
}

void Segment::report(const Station &station, const Address &group) {
    if (world_.now() >= off_until_) {
        members_[{&station, group}] = world_.now();
    }
}

void Segment::leave(const Station &station, const Address &group) {
    members_.erase({&station, group});
}

void Segment::part(const std::vector<Station *> &side) {
    if (sides_ >= std::numeric_limits<NUV_UINT64>::digits ||
        std::any_of(side.begin(), side.end(),
                    [this](const Station *station) { return station->segment_ != this; })) {
        throw std::logic_error("no partition of " + name_);
    }
    const NUV_UINT64 bit = NUV_UINT64{1} << sides_++;
    for (Station *const station : side) {
        station->side_ |= bit;
    }
    world_.trace_change(0, 0, name_);
}

void Segment::heal() {
    for (Station *const station : stations_) {
        station->side_ = 0;
    }
    sides_ = 0;
    world_.trace_change(0, 0, name_);
}

void Segment::restart(Time duration) {
    off_until_ = std::max(off_until_, world_.now() + duration);
    members_.clear();
    world_.trace_change(0, 0, name_);
    if (property_.hasQuerier) { // it asks when it is there again
        world_.at(off_until_, [this] {
            if (world_.now() < off_until_) {
                return; // it was restarted once more
            }
            for (Station *const station : stations_) {
                station->report_groups();
            }
        });
    }
}

} // namespace simnet
