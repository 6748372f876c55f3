// SPDX-License-Identifier: Apache-2.0
// A host without a kernel: a network in memory, a clock that stands still, a loop without a thread.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "net_fixture.h"

namespace net {

/** The group that the tests of such hosts use. */
inline const NUVNetioLocator &group() {
    static const NUVNetioLocator group = locator("udpv4://239.255.0.1:7400");
    return group;
}

/** Time that passes only when it is made to. */
class VirtualClock : public NUVClock {
public:
    VirtualClock()
        : NUVClock{
              "virtual",
              [](const NUVClock *self) { return static_cast<const VirtualClock *>(self)->now; },
              nullptr} {}

    NUV_INT64 now = 1'000'000'000;
};

/** What is sent arrives at once, at whatever socket of the same network is bound for it. */
class MemoryNetwork {
public:
    struct Sent {
        std::string data;
        NUV_UINT32 interface;
    };
    struct Open {
        NUVNetioLocator bound = NUV_NETIO_LOCATOR_INVALID;
        bool is_group = false;
        std::set<NUV_UINT32> joined;
        std::deque<Sent> arrived;
    };

    NUVNetioTransport transport() {
        return {NUVNetioTransportClass_find(KOLS_TRANSPORT_CLASSID_UDPv4),
                open_socket,
                bind_unicast,
                open_group,
                join,
                leave,
                receive,
                nullptr,
                open_socket,
                send,
                close,
                this};
    }

    std::map<NUVNetioSocket_t, Open> sockets;
    std::set<NUV_UINT32> refusing; // interfaces that no group can be joined on
    int refusal = ENODEV;
    int receive_error = 0; // of every receiving while it is not 0
    int received = 0;      // datagrams
    NUV_UINT32 lost = 0;   // that each tells of

    /** Has a datagram arrive as if somebody had sent it. */
    void arrive(const NUVNetioLocator &destination, const std::string &data,
                NUV_UINT32 interface = 0) {
        for (auto &[handle, socket] : sockets) {
            const bool is_for_it = socket.is_group
                                       ? NUVNetioLocator_isSame(&socket.bound, &destination) != 0 &&
                                             socket.joined.contains(interface)
                                       : NUVNetioLocator_isMulticast(&destination) == 0 &&
                                             socket.bound.port == destination.port;
            if (is_for_it) {
                socket.arrived.push_back({data, interface});
            }
        }
    }

private:
    static MemoryNetwork &self(void *param) {
        return *static_cast<MemoryNetwork *>(param);
    }
    static int fail(int error) {
        errno = error;
        return 0;
    }
    static NUVNetioSocket_t open_socket(void *param, const NUVNetioSendOptions * /*options*/) {
        self(param).sockets[++self(param).last_] = {};
        return self(param).last_;
    }
    static int bind_unicast(void *param, NUVNetioSocket_t socket,
                            const KOLS_Transport_Address_t *address, KOLS_Transport_Port_t port) {
        for (const auto &[handle, other] : self(param).sockets) {
            if (other.bound.port == port) {
                return fail(EADDRINUSE);
            }
        }
        self(param).sockets[socket].bound.address = *address;
        self(param).sockets[socket].bound.port = port;
        return 1;
    }
    static NUVNetioSocket_t open_group(void *param, const NUVNetioLocator *group, const char **) {
        const NUVNetioSocket_t socket = open_socket(param, nullptr);
        self(param).sockets[socket].bound = *group;
        self(param).sockets[socket].is_group = true;
        return socket;
    }
    static int join(void *param, NUVNetioSocket_t socket, const NUVNetioLocator *,
                    NUV_UINT32 interface) {
        if (self(param).refusing.contains(interface)) {
            return fail(self(param).refusal);
        }
        return self(param).sockets[socket].joined.insert(interface).second ? 1 : fail(EADDRINUSE);
    }
    static int leave(void *param, NUVNetioSocket_t socket, const NUVNetioLocator *,
                     NUV_UINT32 interface) {
        return self(param).sockets[socket].joined.erase(interface) != 0 ? 1 : fail(EADDRNOTAVAIL);
    }
    static int receive(void *param, NUVNetioSocket_t socket, NUV_UINT8 *buffer, NUV_UINT32 size,
                       NUVNetioDatagram *out) {
        if (self(param).receive_error != 0) {
            return fail(self(param).receive_error);
        }
        std::deque<Sent> &arrived = self(param).sockets[socket].arrived;
        if (arrived.empty()) {
            return fail(EAGAIN);
        }
        const Sent first = arrived.front();
        arrived.pop_front();
        out->length = static_cast<NUV_UINT32>(std::min<std::size_t>(size, first.data.size()));
        std::memcpy(buffer, first.data.data(), out->length);
        out->source = locator("udpv4://192.0.2.77:7777");
        out->interfaceIndex = first.interface;
        out->lost = self(param).lost;
        ++self(param).received;
        return 1;
    }
    static int send(void *param, NUVNetioSocket_t, const NUVNetioLocator *destination,
                    NUV_UINT32 interface, const NUV_UINT8 *data, NUV_UINT32 length, int) {
        self(param).arrive(*destination, std::string(reinterpret_cast<const char *>(data), length),
                           interface);
        return 1;
    }
    static void close(void *param, NUVNetioSocket_t socket) {
        EXPECT_EQ(self(param).sockets.erase(socket), 1u);
    }

    NUVNetioSocket_t last_ = 0;
};

/** One host's loop. It is turned by whoever waits, on the thread that waits. */
class ManualLoop {
public:
    ManualLoop(VirtualClock &clock, MemoryNetwork &network) : clock_(clock), network_(network) {}

    NUVNetioLoop slots() {
        return {open, close, start, stop, watch, unwatch, set_timer, wake_up, is_within, run, this};
    }

    /** Lets time pass, with all that is to be done meanwhile. */
    void pass(NUV_INT64 nanoseconds) {
        const NUV_INT64 end = clock_.now + nanoseconds;
        turn();
        while (timer_ != 0 && timer_ <= end) {
            clock_.now = std::max(clock_.now, timer_);
            timer_ = 0;
            turn();
        }
        clock_.now = end;
    }

    /** The time of the timer; 0 when it has run out. */
    NUV_INT64 timer() const {
        return timer_;
    }

    int turns = 0;
    bool denies_its_turns = false; // says of none that it is within it

private:
    static ManualLoop *self(void *loop) {
        return static_cast<ManualLoop *>(loop);
    }

    /** Does what there is to do now; what that brings about comes in the same turn. */
    void turn() {
        within_ = true;
        bool goes_on = false;
        for (int i = 0; i < 1000; ++i) {
            woken_ = false;
            ++turns;
            const std::map<NUVNetioSocket_t, NUV_UINT64> watched = watched_;
            for (const auto &[socket, tag] : watched) {
                if (!network_.sockets[socket].arrived.empty()) {
                    handler_.onReadable(handler_.param, tag, worker_);
                }
            }
            goes_on = handler_.onTurn(handler_.param, worker_) != 0;
            if (!goes_on || (!woken_ && !has_arrived())) {
                break;
            }
        }
        within_ = false;
    }
    bool has_arrived() {
        return std::any_of(watched_.begin(), watched_.end(), [this](const auto &one) {
            return !network_.sockets[one.first].arrived.empty();
        });
    }

    static void *open(void *param, const NUVNetioLoopHandler *handler) {
        self(param)->handler_ = *handler;
        return param;
    }
    static void close(void *) {}
    static int start(void *loop, NUVOsapiThreadFactory *, REDAWorkerFactory *workers) {
        self(loop)->workers_ = workers;
        self(loop)->worker_ = REDAWorkerFactory_createWorker(workers, "loop");
        return 1;
    }
    static int stop(void *loop) {
        self(loop)->within_ = true;
        EXPECT_EQ(self(loop)->handler_.onTurn(self(loop)->handler_.param, self(loop)->worker_), 0);
        self(loop)->within_ = false;
        REDAWorkerFactory_destroyWorker(self(loop)->workers_, self(loop)->worker_);
        return 1;
    }
    static int watch(void *loop, NUVNetioSocket_t socket, NUV_UINT64 tag) {
        self(loop)->watched_[socket] = tag;
        return 1;
    }
    static void unwatch(void *loop, NUVNetioSocket_t socket) {
        self(loop)->watched_.erase(socket);
    }
    static void set_timer(void *loop, NUV_INT64 nanoseconds) {
        self(loop)->timer_ = nanoseconds;
    }
    static int wake_up(void *loop) {
        self(loop)->woken_ = true;
        return 1;
    }
    static int is_within(const void *loop) {
        const auto *self = static_cast<const ManualLoop *>(loop);
        return self->within_ && !self->denies_its_turns ? 1 : 0;
    }
    static void run(void *loop, NUV_INT64 nanoseconds) {
        self(loop)->pass(nanoseconds);
    }

    VirtualClock &clock_;
    MemoryNetwork &network_;
    NUVNetioLoopHandler handler_{};
    REDAWorkerFactory *workers_ = nullptr;
    REDAWorker *worker_ = nullptr;
    std::map<NUVNetioSocket_t, NUV_UINT64> watched_;
    NUV_INT64 timer_ = 0; // none
    bool woken_ = false;
    bool within_ = false;
};

/** What a host's runtime is made with: two interfaces unless others are named. */
class VirtualMachine {
public:
    VirtualMachine(VirtualClock &its_clock, MemoryNetwork &its_network,
                   std::vector<NUVNetioInterface> list = {interface("a0", 2, "192.0.2.1"),
                                                          interface("b0", 3, "198.51.100.1")})
        : clock(its_clock), network(its_network), interfaces(std::move(list)) {}
    VirtualMachine(const VirtualMachine &) = delete;
    VirtualMachine &operator=(const VirtualMachine &) = delete;

    NUVNetioRuntimeProperty property() {
        NUVNetioRuntimeProperty property = runtime_property(interfaces.source());
        property.transports[0] = &transport_;
        property.transports[1] = nullptr;
        property.loop = &slots_;
        property.clock = &clock;
        return property;
    }

    VirtualClock &clock;
    MemoryNetwork &network;
    Interfaces interfaces;
    ManualLoop loop{clock, network};

private:
    const NUVNetioTransport transport_ = network.transport();
    const NUVNetioLoop slots_ = loop.slots();
};

/** A host with its runtime. */
class VirtualHost : public VirtualMachine {
public:
    template <typename... Arguments>
    explicit VirtualHost(Arguments &&...arguments)
        : VirtualMachine(std::forward<Arguments>(arguments)...) {
        const NUVNetioRuntimeProperty its_property = property();
        runtime = NUVNetioRuntime_new(&its_property, factories.threads, factories.workers);
        EXPECT_NE(runtime, nullptr);
    }
    ~VirtualHost() {
        EXPECT_NE(NUVNetioRuntime_delete(runtime), 0);
    }
    VirtualHost(const VirtualHost &) = delete;
    VirtualHost &operator=(const VirtualHost &) = delete;

    REDAWorker *worker() const {
        return factories.worker;
    }

    Factories factories;
    NUVNetioRuntime *runtime = nullptr;
};

/** A participant's transports on such a host. */
class VirtualConfigurator {
public:
    explicit VirtualConfigurator(const VirtualHost &host,
                                 const std::vector<const char *> &allowed = {})
        : host_(host) {
        const NUVNetioConfiguratorProperty property = configurator_property("udpv4", allowed);
        self = NUVNetioConfigurator_new(&property, host.runtime, host.worker());
        EXPECT_NE(self, nullptr);
    }
    ~VirtualConfigurator() {
        NUVNetioConfigurator_delete(self);
    }
    VirtualConfigurator(const VirtualConfigurator &) = delete;
    VirtualConfigurator &operator=(const VirtualConfigurator &) = delete;

    NUVNetioReceiveResource *open(const NUVNetioLocator &locator, Inbox &inbox) const {
        const NUVNetioReceiveListener listener = inbox.listener();
        return NUVNetioConfigurator_openReceiveResource(self, &locator, &listener, host_.worker());
    }
    bool send(const NUVNetioLocator &destination, const std::string &data) const {
        return NUVNetioConfigurator_send(self, &destination,
                                         reinterpret_cast<const NUV_UINT8 *>(data.data()),
                                         static_cast<NUV_UINT32>(data.size()), host_.worker()) != 0;
    }

    NUVNetioConfigurator *self = nullptr;

private:
    const VirtualHost &host_;
};

inline std::vector<std::string> texts(const Inbox &inbox) {
    std::vector<std::string> all;
    for (const Inbox::Message &message : inbox.messages()) {
        all.push_back(message.data);
    }
    return all;
}

} // namespace net
