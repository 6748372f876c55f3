// SPDX-License-Identifier: Apache-2.0
/**
 * @file simnet_world.h
 * @brief Hosts and networks in virtual time, on one thread, from one seed.
 *
 * A world is made, its hosts are put on its networks, and of each process a runtime is made, which
 * works as on a real host. Time stands still while anything is done, and jumps to whatever comes
 * next: the same seed and the same calls have the same things happen.
 *
 *     simnet::World world(7);
 *     simnet::Segment &lan = world.add_segment("lan");
 *     simnet::Host &host = world.add_host("a");
 *     host.add_interface("eth0", &lan, {"192.0.2.1/24"});
 *     simnet::Process &process = host.add_process("talker");
 *     const NUVNetioRuntimeProperty property = process.runtime_property();
 *     ... process.call([&] { ... }); world.run_for(simnet::SECOND);
 *
 * While there is a world, the two clocks of the system and the source of GUIDs are its own; so
 * there is one at a time. Nothing here is thread-safe. Misuse is asserted or throws
 * std::logic_error.
 */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "osapi/osapi_guid.h"
#include "osapi/osapi_ntptime.h"
#include "simnet/simnet_host.h"
#include "simnet/simnet_router.h"

namespace simnet {

/** 2026-01-01T00:00:00Z: what wall clocks show when a world begins. */
constexpr Time EPOCH = 1'767'225'600 * SECOND;

class World {
public:
    /** Throws std::logic_error while there is another one. */
    explicit World(NUV_UINT64 seed);
    /** All runtimes are gone by then. */
    ~World();
    World(const World &) = delete;
    World &operator=(const World &) = delete;

    // What is added lives as long as the world.

    /** Throws std::logic_error when there is one of that name: it is what captures call it. */
    Segment &add_segment(const std::string &name, const SegmentProperty &property = {});
    Router &add_router(const std::string &name, const RouterProperty &property = {});
    Host &add_host(const std::string &name, const HostProperty &property = {});
    const std::vector<std::unique_ptr<Host>> &hosts() const {
        return hosts_;
    }

    Time now() const {
        return now_;
    }
    NUV_UINT64 seed() const {
        return seed_;
    }
    Random &random() {
        return random_;
    }
    Trace &trace() {
        return trace_;
    }

    /**
     * Has something done at a time; next when it is past. What comes at the same time is done in
     * the order in which it was asked for.
     */
    void at(Time time, Action action);
    void after(Time duration, Action action) {
        at(now_ + duration, std::move(action));
    }

    /** Does what comes next. False when there is nothing more. */
    bool step();
    /** Does what there is to do until then, which is the time afterwards. */
    void run_until(Time time);
    void run_for(Time duration) {
        run_until(now_ + duration);
    }
    /** Until something holds, looking after each step. False when it did not by then. */
    bool run_until(Time time, const std::function<bool()> &holds);

    /** Has something called after each step; null: nothing. */
    void observe(Action observer) {
        observer_ = std::move(observer);
    }
    /** Has one see what goes over the segments from now on; null: none any more. Borrowed. */
    void tap(Tap *tap) {
        tap_ = tap;
    }

private:
    friend class Host;
    friend class Interface;
    friend class Process;
    friend class Router;
    friend class Segment;
    friend class Station;
    friend class Transport;

    struct Planned {
        Time time;
        NUV_UINT64 number;
        std::size_t place; // of its action
    };
    struct Later {
        bool operator()(const Planned &left, const Planned &right) const {
            return left.time != right.time ? left.time > right.time : left.number > right.number;
        }
    };

    NUV_UINT64 next_handle() {
        return ++last_handle_;
    }
    NUV_UINT64 next_datagram() {
        return ++last_datagram_;
    }
    Mac next_mac();
    void trace_change(NUV_UINT32 host, NUV_UINT32 process, const std::string &what);
    void trace_drop(const Packet &packet, Drop reason, NUV_UINT32 host = 0);
    void generate(NUVOsapiRtpsGuidPrefix *out);

    const NUV_UINT64 seed_;
    Random random_;
    Trace trace_;
    Time now_ = 0;
    NUV_UINT64 last_planned_ = 0;
    NUV_UINT64 last_handle_ = 0;
    NUV_UINT64 last_datagram_ = 0;
    NUV_UINT32 last_mac_ = 0;
    std::vector<Planned> planned_; // a heap by Later; what is in there moves a lot, and is small
    std::vector<Action> actions_;  // of these, by place
    std::vector<std::size_t> free_places_;
    Action observer_;
    Tap *tap_ = nullptr;
    Process *current_ = nullptr;

    std::vector<std::unique_ptr<Segment>> segments_;
    std::vector<std::unique_ptr<Router>> routers_;
    std::vector<std::unique_ptr<Host>> hosts_;

    NUVClock former_monotonic_;
    NUVClock former_realtime_;
    NUVOsapiRtpsGuidSource former_guids_;
};

} // namespace simnet
