// SPDX-License-Identifier: Apache-2.0
// A host: its interfaces, its clocks, its processes.
#include "simnet/simnet_host.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "simnet/simnet_world.h"

namespace simnet {

namespace {

/** What every host's monotonic clock shows when its world begins. */
constexpr Time UPTIME = 1'000 * SECOND;

std::vector<Prefix> prefixes(const std::vector<std::string> &texts) {
    std::vector<Prefix> parsed;
    parsed.reserve(texts.size());
    for (const std::string &one : texts) {
        parsed.push_back(prefix(one));
    }
    return parsed;
}

} // namespace

Host::Host(World &world, std::string name, NUV_UINT32 number, const HostProperty &property)
    : world_(world), name_(std::move(name)), number_(number), property_(property),
      monotonic_(UPTIME), wall_clock_(EPOCH) {
    add_interface("lo", nullptr, {"127.0.0.1/8", "::1/128"});
}

Host::~Host() = default;

Interface &Host::add_interface(const std::string &name, Segment *segment,
                               const std::vector<std::string> &addresses, const LinkProperty &link,
                               bool is_multicast) {
    if (name.empty() || name.size() >= sizeof NUVNetioInterface::name || find_interface(name)) {
        throw std::logic_error("no new interface of a host: '" + name + "'");
    }
    auto made = std::make_unique<Interface>(*this, name, last_index_ + 1, link, is_multicast);
    made->addresses_ = prefixes(addresses);
    ++last_index_;
    Interface &added = *interfaces_.emplace_back(std::move(made));
    added.move_to(segment);
    return added;
}

void Host::remove_interface(Interface &interface) {
    const auto found =
        std::find_if(interfaces_.begin(), interfaces_.end(),
                     [&interface](const auto &one) { return one.get() == &interface; });
    if (found == interfaces_.end() || interface.is_loopback()) {
        throw std::logic_error("no interface that can be removed: '" + interface.name() + "'");
    }
    interface.addresses_.clear();
    interface.is_up_ = false;
    interface.groups_.clear(); // the sockets have their memberships until they leave
    if (interface.segment() != nullptr) {
        interface.segment()->detach(interface);
    }
    removed_.push_back(std::move(*found)); // packets may be on their way to it
    interfaces_.erase(found);
    on_interfaces_changed(interface);
}

Interface *Host::find_interface(const std::string &name) const {
    const auto found = std::find_if(interfaces_.begin(), interfaces_.end(),
                                    [&name](const auto &one) { return one->name() == name; });
    return found != interfaces_.end() ? found->get() : nullptr;
}

Interface *Host::find_interface(NUV_UINT32 index) const {
    const auto found = std::find_if(interfaces_.begin(), interfaces_.end(),
                                    [index](const auto &one) { return one->index() == index; });
    return found != interfaces_.end() ? found->get() : nullptr;
}

bool Host::has_address(const Address &address) const {
    return std::any_of(interfaces_.begin(), interfaces_.end(),
                       [&address](const auto &one) { return one->has(address); });
}

void Host::add_route(const Prefix &destination, const Address &via) {
    routes_.push_back({destination, via});
}

Process &Host::add_process(const std::string &name, const ProcessProperty &property) {
    if (is_down_) {
        throw std::logic_error("no process can be started on " + name_ + ", which is down");
    }
    processes_.push_back(std::make_unique<Process>(
        *this, name, static_cast<NUV_UINT32>(processes_.size()) + 1, property));
    return *processes_.back();
}

Time Host::monotonic() const {
    return monotonic_.read(world_.now());
}

Time Host::wall_clock() const {
    return wall_clock_.read(world_.now());
}

void Host::set_drift(NUV_INT64 nanoseconds_a_second) {
    monotonic_.set_drift(world_.now(), nanoseconds_a_second);
    wall_clock_.set_drift(world_.now(), nanoseconds_a_second);
    on_clock_changed();
}

void Host::jump_wall_clock(Time by) {
    wall_clock_.jump(world_.now(), by);
    on_clock_changed();
}

void Host::on_clock_changed() {
    world_.trace_change(number_, 0, "clock");
    for (const std::unique_ptr<Process> &process : processes_) {
        process->plan_timer();
    }
}

void Host::freeze() {
    for (const std::unique_ptr<Process> &process : processes_) {
        process->stop();
    }
}

void Host::thaw() {
    for (const std::unique_ptr<Process> &process : processes_) {
        process->resume();
    }
}

void Host::suspend() {
    freeze();
    is_down_ = true;
    monotonic_.stop(world_.now());
    on_clock_changed();
}

void Host::wake() {
    is_down_ = false;
    monotonic_.go_on(world_.now());
    on_clock_changed();
    for (const std::unique_ptr<Interface> &interface : interfaces_) {
        interface->report_groups();
    }
    thaw();
}

void Host::crash() {
    is_down_ = true; // before anything is closed: it has no time to say so
    for (const std::unique_ptr<Process> &process : processes_) {
        process->kill();
    }
    close_all_of(nullptr);
    monotonic_.go_on(world_.now()); // whoever deletes what is left may wait by it
    world_.trace_change(number_, 0, "crash");
}

int Host::list_interfaces(int (*add)(void *, const NUVNetioInterface *), void *param) const {
    for (const std::unique_ptr<Interface> &interface : interfaces_) {
        if (!interface->is_usable()) {
            continue;
        }
        NUVNetioInterface listed{};
        std::strncpy(listed.name, interface->name().c_str(), sizeof listed.name - 1);
        listed.index = interface->index();
        listed.isLoopback = interface->is_loopback() ? 1 : 0;
        listed.isMulticast = interface->is_multicast_ ? 1 : 0;
        for (const Prefix &prefix : interface->addresses()) {
            listed.transport = prefix.address.transport;
            listed.address = prefix.address.value;
            listed.netmask = prefix.netmask();
            if (!is_link_local(prefix.address) && add(param, &listed) == 0) {
                return 0;
            }
        }
    }
    return 1;
}

void Host::on_interfaces_changed(const Interface &interface) {
    world_.trace_change(number_, 0, interface.name());
    for (const std::unique_ptr<Process> &process : processes_) {
        process->on_interfaces_changed();
    }
}

void Host::change_membership(Interface &interface, const Address &group, int by) {
    const int members = interface.groups_[group] += by;
    if (members <= 0) {
        interface.groups_.erase(group);
    }
    if (interface.segment() == nullptr || is_down_) {
        return;
    }
    if (members <= 0) {
        interface.segment()->leave(interface, group);
    } else if (members == by) {
        interface.segment()->report(interface, group);
    }
}

Interface::Interface(Host &host, std::string name, NUV_UINT32 index, const LinkProperty &link,
                     bool is_multicast)
    : Station(host.world(), link), host_(host), name_(std::move(name)), index_(index),
      is_multicast_(is_multicast) {}

void Interface::set_addresses(const std::vector<std::string> &addresses) {
    addresses_ = prefixes(addresses);
    host_.on_interfaces_changed(*this);
}

void Interface::set_up(bool is_up) {
    is_up_ = is_up;
    if (is_up) {
        report_groups();
    }
    host_.on_interfaces_changed(*this);
}

void Interface::move_to(Segment *segment) {
    if (this->segment() != nullptr) {
        this->segment()->detach(*this);
    }
    if (segment != nullptr) {
        segment->attach(*this);
    }
    host_.on_interfaces_changed(*this);
}

bool Interface::has(const Address &address) const {
    return is_up_ && std::any_of(addresses_.begin(), addresses_.end(),
                                 [&address](const Prefix &one) { return one.address == address; });
}

void Interface::arrive(const Packet &packet) {
    host_.deliver(packet, *this);
}

void Interface::report_groups() {
    if (!is_up_ || segment() == nullptr || host_.is_down_) {
        return;
    }
    for (const auto &[group, members] : groups_) {
        segment()->report(*this, group);
    }
}

} // namespace simnet
