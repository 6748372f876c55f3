// SPDX-License-Identifier: Apache-2.0
/**
 * @file simnet_process.h
 * @brief A process of a simulated host: what a runtime is made with.
 */
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "netio/netio_runtime.h"
#include "simnet/simnet_trace.h"

namespace simnet {

class Host;
class Loop;
class Transport;
class World;
struct Socket;

using Action = std::function<void()>;

struct ProcessProperty {
    NUV_UINT32 descriptorsMax = 1024; /**< sockets that it may have; then EMFILE */
    /** How long it takes until it does what there is to do: at least, and at random up to. */
    Time reaction = 10 * MICROSECOND;
    Time reactionMax = 10 * MICROSECOND;
    Time receiveTime = 0; /**< that a datagram takes to be dealt with */
};

/** What a process asks the system for, and may be refused. */
enum class Call {
    OPEN,    /**< a socket */
    BIND,    /**< it to a port, of a host's address or of a group */
    JOIN,    /**< a group on an interface */
    WATCH,   /**< a socket, by the loop */
    SEND,    /**< a datagram */
    RECEIVE, /**< a datagram, whether there is one or not */
    LIST     /**< the host's interfaces */
};

/** A call that fails, as those of the real world do. */
struct Fault {
    Call call = Call::BIND;
    int error = 0;    /**< errno, not 0 */
    int after = 0;    /**< calls that go well before */
    int times = 1;    /**< how many fail then; -1: from then on all */
    double share = 1; /**< of those whose turn it is: how many fail, at random */
};

/**
 * What of a host belongs to a process. It is made by Host::add_process. Calls into the library that
 * belong to one are made within Process::call, so that they see its host's time.
 *
 * All is done on one thread: while a call sleeps, the world goes on within it, and with it the
 * calls of other processes. If one of these sleeps longer, the first one oversleeps.
 */
class Process {
public:
    Process(Host &host, std::string name, NUV_UINT32 number, const ProcessProperty &property);
    ~Process();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    /**
     * Its networks, its interfaces, its loop and its clock. What it refers to lives as long as the
     * world; one runtime at a time has it.
     */
    NUVNetioRuntimeProperty runtime_property();

    /** Calls something as this process, and hands on what that answers. */
    template <typename Function>
    auto call(Function &&function) {
        const Within within(*this);
        return function();
    }
    /**
     * Has something called as this process at a time of the world: later when it is stopped or in a
     * call that sleeps, and not at all when it is dead.
     */
    void at(Time time, Action action);

    /** Has calls fail, beside those that do so already. Throws std::logic_error without an error.
     */
    void fail(const Fault &fault);
    /** Ends all faults. */
    void mend();
    /** Changes how many sockets it may have; those that it has stay. */
    void limit_descriptors(NUV_UINT32 most);
    /**
     * Has somebody else do something while this process is within a call: before it asks the system
     * for something, after it has done so that many times more. One thing at a time.
     */
    void interpose(int calls, Action action);

    /** Has it do nothing, and go on: what arrives meanwhile waits, as long as there is room. */
    void stop();
    void resume();
    /**
     * Ends it as SIGKILL does: its ports are free, nothing more is sent or received. The objects
     * of the library are there still and can be deleted, which nobody sees.
     */
    void kill();
    bool is_alive() const {
        return is_alive_;
    }
    bool is_stopped() const {
        return is_stopped_;
    }

    Host &host() const {
        return host_;
    }
    const std::string &name() const {
        return name_;
    }
    NUV_UINT32 number() const {
        return number_;
    }
    /** How many sockets it has. */
    NUV_UINT32 descriptors() const {
        return descriptors_;
    }

private:
    friend class Host;
    friend class Loop;
    friend class World;
    friend class Transport;

    /** The time and the identity are this process's within it. */
    class Within {
    public:
        explicit Within(Process &process);
        ~Within();
        Within(const Within &) = delete;
        Within &operator=(const Within &) = delete;

    private:
        World &world_;
        Process *const former_;
    };

    void run_interposed();
    bool fails(Call call);
    void sleep_until(Time shown);

    void on_arrived(Socket &socket);
    void on_interfaces_changed() const;
    void forget(const Socket &socket);
    void run_waiting();

    void turn_soon();
    bool turn();
    void read_ready();
    void run(Time duration);
    void plan_timer();
    void on_timer();

    Host &host_;
    const std::string name_;
    const NUV_UINT32 number_;
    ProcessProperty property_;
    NUV_UINT32 descriptors_ = 0;
    std::vector<Fault> faults_;
    int calls_until_ = 0; // what is interposed
    Action interposed_;
    std::deque<Action> waiting_;
    int sleeping_ = 0;
    bool is_alive_ = true;
    bool is_stopped_ = false;

    struct Networks;
    const std::unique_ptr<Networks> networks_;
    NUVNetioRuntime *runtime_ = nullptr; // that follows the interfaces

    // The loop.
    NUVNetioLoopHandler handler_{};
    REDAWorkerFactory *workers_ = nullptr;
    REDAWorker *worker_ = nullptr;
    std::vector<NUVNetioSocket_t> ready_;
    Time timer_ = 0;         // of the host's clock; 0: none
    Time planned_timer_ = 0; // of the world: when the timer is looked at next; 0: not
    Time busy_until_ = 0;
    NUV_UINT64 received_ = 0; // datagrams in this turn
    bool is_planned_ = false;
    bool is_woken_ = false;
    bool is_within_ = false;
};

} // namespace simnet
