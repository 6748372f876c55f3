// SPDX-License-Identifier: Apache-2.0
#include "doctor/probes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <random>
#include <set>
#include <system_error>
#include <utility>

#include <poll.h>

#include "doctor/socket.h"

namespace doctor {

namespace {

using Clock = std::chrono::steady_clock;

/** On one host a datagram is there before the call that sends it returns, or soon. */
constexpr std::chrono::milliseconds TIME_TO_RETURN(100);
/** What was sent earlier is not much later, whichever processor has it. */
constexpr std::chrono::milliseconds TIME_AFTER_LAST(20);

/** The port of what goes to one that has nothing to do with participants. */
constexpr unsigned CONTROL = 0;

/** The header of an RTPS message with nothing behind it; its prefix tells it from all others. */
constexpr std::size_t MARK_SIZE = 20;
using Mark = std::array<unsigned char, MARK_SIZE>;

Mark make_mark() {
    constexpr std::array<unsigned char, 8> HEAD = {'R', 'T', 'P', 'S', 2, 5, 0, 0};
    std::random_device random;
    Mark mark{};

    std::ranges::copy(HEAD, mark.begin());
    std::generate(mark.begin() + HEAD.size(), mark.end(),
                  [&] { return static_cast<unsigned char>(random()); });
    return mark;
}

/** A socket with which datagrams go no further than this host. */
Socket open_sender(Family family) {
    Socket sender(family);
    const int none = 0;
    const int one = 1; // what is sent to an own address has none to go through

    if (family == Family::IPV4) {
        (void)sender.set(IPPROTO_IP, IP_MULTICAST_TTL, none);
        (void)sender.set(IPPROTO_IP, IP_TTL, one);
    } else {
        (void)sender.set(IPPROTO_IPV6, IPV6_MULTICAST_HOPS, none);
        (void)sender.set(IPPROTO_IPV6, IPV6_UNICAST_HOPS, one);
    }
    return sender;
}

/** A probe that is under way. */
struct Trial {
    Probe result;
    Socket receiver;
    unsigned interface = 0; // by which it is sent; 0: the kernel chooses
    unsigned port = 0;      // at which it is received
    bool is_over = false;

    Trial(const Probe &planned) : result(planned), receiver(planned.family) {}

    void fail(Probe::Outcome outcome) {
        result.outcome = outcome;
        result.error = errno;
        is_over = true;
    }
};

class Interview {
public:
    Interview(const Interface &interface, Family family, const Mark &mark)
        : interface_(interface), mark_(mark), sender_(open_sender(family)), family_(family) {}

    /** @param is_shared whether others may have the port too, as that of a group. */
    void plan(Probe::Road road, const std::string &destination, unsigned port, bool is_shared) {
        Trial trial(Probe{family_, interface_.name, interface_.is_loopback, road, destination, port,
                          Probe::Outcome::LOST, 0});
        const bool is_group = road == Probe::Road::GROUP;
        const int on = 1;
        // A group's port is bound at the group, a unicast one at all addresses: as by participants.
        const std::string any = family_ == Family::IPV4 ? "0.0.0.0" : "::";
        const SocketName own(family_, is_shared ? destination : any, port);

        (void)receive_own_groups(trial.receiver, family_);
        if (is_shared) {
            (void)trial.receiver.set(SOL_SOCKET, SO_REUSEADDR, on);
        }
        if (bind(trial.receiver.get(), own.get(), own.length()) != 0) {
            trial.fail(errno == EADDRINUSE ? Probe::Outcome::HELD : Probe::Outcome::NOT_BOUND);
        } else if (is_group &&
                   !join_group(trial.receiver, family_, destination, interface_.index)) {
            trial.fail(Probe::Outcome::NOT_JOINED);
        }
        trial.interface = is_group ? interface_.index : 0;
        trial.port = port_of(trial.receiver);
        trials_.push_back(std::move(trial));
    }

    /** Plans the last one: when it is back, all that comes back is there, or will be soon. */
    void plan_control(Probe::Road road, const std::string &destination, bool is_shared) {
        plan(road, destination, CONTROL, is_shared);
        has_control_ = true;
    }

    bool is_control_returned() const {
        return has_control_ && trials_.back().result.outcome == Probe::Outcome::RETURNED;
    }

    void conduct(int tries) {
        for (int i = 0; i < tries && !is_over(); ++i) {
            if (is_control_returned()) {
                trials_.back().is_over = false; // each try has one
            }
            for (Trial &trial : trials_) {
                if (!trial.is_over) {
                    send(trial);
                }
            }
            receive(Clock::now() + TIME_TO_RETURN);
        }
    }

    void collect(std::vector<Probe> &probes) const {
        for (const Trial &trial : trials_) {
            probes.push_back(trial.result);
        }
    }

    void collect_without_control(std::vector<Probe> &probes) const {
        collect(probes);
        if (has_control_) {
            probes.pop_back();
        }
    }

private:
    bool is_over() const {
        return std::ranges::all_of(trials_, &Trial::is_over);
    }

    void send(Trial &trial) const {
        const SocketName to(family_, trial.result.destination, trial.port);

        if (!doctor::send(sender_, mark_, to, family_, trial.interface)) {
            trial.fail(Probe::Outcome::NOT_SENT);
        }
    }

    void receive(Clock::time_point end) {
        while (!is_over()) {
            std::vector<pollfd> waiting;
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();

            for (const Trial &trial : trials_) {
                waiting.push_back({trial.is_over ? -1 : trial.receiver.get(), POLLIN, 0});
            }
            if (left <= 0 || poll(waiting.data(), waiting.size(), static_cast<int>(left)) <= 0) {
                return;
            }
            for (std::size_t i = 0; i < trials_.size(); ++i) {
                if (waiting[i].revents != 0 && is_received(trials_[i].receiver)) {
                    trials_[i].result.outcome = Probe::Outcome::RETURNED;
                    trials_[i].is_over = true;
                }
            }
            if (is_control_returned() && trials_.back().is_over) {
                end = std::min(end, Clock::now() + TIME_AFTER_LAST);
            }
        }
    }

    /** Whether the mark is among what waits in the socket. */
    bool is_received(const Socket &socket) const {
        constexpr int MOST = 64; // others may send there as well
        Mark octets{};

        for (int i = 0; i < MOST; ++i) {
            const ssize_t length = recv(socket.get(), octets.data(), octets.size(), MSG_TRUNC);

            if (length < 0) {
                return false;
            }
            if (static_cast<std::size_t>(length) == octets.size() && octets == mark_) {
                return true;
            }
        }
        return false;
    }

    const Interface &interface_;
    const Mark mark_;
    const Socket sender_;
    const Family family_;
    std::vector<Trial> trials_;
    bool has_control_ = false; // the last of them
};

/** The groups of a family, each once, whatever ports they have. */
std::set<std::string> group_addresses(const Wishes &wishes, Family family) {
    std::set<std::string> addresses;

    for (const Group &group : wishes.groups) {
        if (group.family == family) {
            addresses.insert(group.address);
        }
    }
    return addresses;
}

/** What all interviews of an interface have in common. */
struct Scene {
    const ProbePlan &plan;
    const Interface &interface;
    Family family;
    const Mark &mark;
    Clock::time_point end;
    std::vector<Probe> &probes;
};

/**
 * To the ports of one index after the other, so that participants find others; the first last.
 * @param is_control_returned whether others are reached.
 */
void probe_indices(const Scene &scene, Probe::Road road, const std::string &destination,
                   bool is_control_returned) {
    const auto &all = scene.plan.unicast_ports;

    for (auto ports = all.rbegin(); ports != all.rend() && Clock::now() < scene.end; ++ports) {
        Interview interview(scene.interface, scene.family, scene.mark);

        for (const unsigned port : *ports) {
            interview.plan(road, destination, port, false);
        }
        if (is_control_returned) {
            interview.plan_control(road, destination, road == Probe::Road::GROUP);
        }
        interview.conduct(1); // a second try would hold the ports for longer
        interview.collect_without_control(scene.probes);
    }
}

void probe_groups(const Scene &scene) {
    for (const std::string &address : group_addresses(scene.plan.wishes, scene.family)) {
        Interview interview(scene.interface, scene.family, scene.mark);

        for (const Group &group : scene.plan.wishes.groups) {
            if (group.address == address) {
                interview.plan(Probe::Road::GROUP, address, group.port, true);
            }
        }
        interview.plan_control(Probe::Road::GROUP, address, true);
        interview.conduct(2);
        interview.collect(scene.probes);
        probe_indices(scene, Probe::Road::GROUP, address, interview.is_control_returned());
        if (Clock::now() >= scene.end) {
            return;
        }
    }
}

void probe_addresses(const Scene &scene) {
    const auto own = std::ranges::find(scene.interface.addresses, scene.family, &Address::family);

    if (own == scene.interface.addresses.end() || Clock::now() >= scene.end) {
        return;
    }
    Interview interview(scene.interface, scene.family, scene.mark);

    interview.plan_control(Probe::Road::OWN_ADDRESS, own->text, false);
    interview.conduct(1);
    interview.collect(scene.probes);
    probe_indices(scene, Probe::Road::OWN_ADDRESS, own->text, interview.is_control_returned());
}

} // namespace

/** Of what a rule for what goes out forbids the sender is told. */
bool Probe::is_dropped() const {
    return outcome == Outcome::LOST || (outcome == Outcome::NOT_SENT && error == EPERM);
}

std::vector<Probe> probe(const ProbePlan &plan, std::chrono::milliseconds most_time,
                         std::vector<std::string> &unseen) {
    const Clock::time_point end = Clock::now() + most_time;
    const Mark mark = make_mark();
    std::vector<Probe> probes;

    for (const Family family : plan.wishes.families) {
        for (const Interface &interface : plan.interfaces) {
            const auto multicast = multicast_interfaces(plan.interfaces, plan.wishes, family);
            const bool has_groups =
                std::ranges::find(multicast, interface.name, &Interface::name) != multicast.end();

            // What is for an own address goes over loopback anyway.
            if (!interface.is_usable(family) || !is_allowed(interface, plan.wishes) ||
                (interface.is_loopback && !has_groups)) {
                continue;
            }
            if (Clock::now() >= end) {
                unseen.push_back("traffic over " + interface.name + ": too little time");
                continue;
            }
            try {
                const Scene scene = {plan, interface, family, mark, end, probes};

                if (has_groups) {
                    probe_groups(scene);
                }
                probe_addresses(scene);
                if (Clock::now() >= end) {
                    unseen.push_back("all traffic over " + interface.name + ": too little time");
                }
            } catch (const std::system_error &error) { // there are no descriptors left
                unseen.push_back("traffic over " + interface.name + ": " + error.what());
            }
        }
    }
    return probes;
}

} // namespace doctor
