// SPDX-License-Identifier: Apache-2.0
// Simulated hosts on a network, sockets of theirs without a runtime, and runtimes of theirs.
#pragma once

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "../netio/net_fixture.h"
#include "simnet/simnet_world.h"

namespace sim {

using namespace simnet;

/** "192.0.2.1:7400" or "[fd00::1]:7400". */
inline Endpoint at(const std::string &text) {
    return endpoint_of(net::locator(text.c_str()));
}

/** A socket of a process, as netio has it from the process's networks. Closed with the object. */
class Udp {
public:
    /** One that is bound to an address or a group; "0.0.0.0:0": to send from. */
    explicit Udp(Process &process, const std::string &bound = "0.0.0.0:0",
                 const NUVNetioSendOptions &options = NUV_NETIO_SEND_OPTIONS_DEFAULT)
        : bound_(at(bound)), property_(process.runtime_property()),
          network_(
              *property_
                   .transports[bound_.address.transport == KOLS_TRANSPORT_CLASSID_UDPv4 ? 0 : 1]) {
        if (is_multicast(bound_.address)) {
            const NUVNetioLocator group = locator_of(bound_);
            handle_ = network_.openGroup(network_.param, &group, &step);
            error = handle_ != NUV_NETIO_SOCKET_NONE ? 0 : errno;
            return;
        }
        handle_ = bound_.port != 0 ? network_.openUnicast(network_.param, &options)
                                   : network_.openSender(network_.param, &options);
        if (handle_ == NUV_NETIO_SOCKET_NONE) {
            error = errno;
        } else if (bound_.port != 0) {
            error = bind(bound);
        }
    }
    ~Udp() {
        if (handle_ != NUV_NETIO_SOCKET_NONE) {
            network_.close(network_.param, handle_);
        }
    }
    Udp(const Udp &) = delete;
    Udp &operator=(const Udp &) = delete;

    // The answers are 0 or errno.

    int bind(const std::string &text) const {
        const Endpoint endpoint = at(text);
        return answer(
            network_.bindUnicast(network_.param, handle_, &endpoint.address.value, endpoint.port));
    }
    int join(NUV_UINT32 interface) const {
        const NUVNetioLocator group = locator_of(bound_);
        return answer(network_.join(network_.param, handle_, &group, interface));
    }
    int leave(NUV_UINT32 interface) const {
        const NUVNetioLocator group = locator_of(bound_);
        return answer(network_.leave(network_.param, handle_, &group, interface));
    }
    int send(const std::string &to, const std::string &data, NUV_UINT32 interface = 0) const {
        const NUVNetioLocator destination = net::locator(to.c_str());
        return answer(network_.send(network_.param, handle_, &destination, interface,
                                    reinterpret_cast<const NUV_UINT8 *>(data.data()),
                                    static_cast<NUV_UINT32>(data.size()), 0));
    }

    struct Received {
        std::string data;
        std::string source;
        NUV_UINT32 interface = 0;
        NUV_UINT32 lost = 0;
    };
    /** The next datagram; none: errno tells why. */
    std::optional<Received> take(NUV_UINT32 size = 65'536) const {
        std::vector<NUV_UINT8> buffer(size);
        NUVNetioDatagram datagram{};
        if (network_.receive(network_.param, handle_, buffer.data(), size, &datagram) == 0) {
            return {};
        }
        return Received{{reinterpret_cast<const char *>(buffer.data()), datagram.length},
                        to_text(endpoint_of(datagram.source)),
                        datagram.interfaceIndex,
                        datagram.lost};
    }
    /** What has arrived, in order. */
    std::vector<std::string> take_all() const {
        std::vector<std::string> all;
        while (const std::optional<Received> one = take()) {
            all.push_back(one->data);
        }
        return all;
    }

    int error = 0; // of opening and binding it
    const char *step = nullptr;

private:
    static int answer(int result) {
        return result != 0 ? 0 : errno;
    }

    const Endpoint bound_;
    const NUVNetioRuntimeProperty property_;
    const NUVNetioTransport &network_;
    NUVNetioSocket_t handle_ = NUV_NETIO_SOCKET_NONE;
};

/** A world with a network. */
class Net {
public:
    explicit Net(NUV_UINT64 seed = 1) : world(seed) {}

    /** A process on a host of its own, with an interface "eth0" on the network. */
    Process &add(const std::string &name, const std::vector<std::string> &addresses,
                 const LinkProperty &link = {}, const ProcessProperty &property = {}) {
        return add_to(lan, name, addresses, link, property);
    }
    Process &add_to(Segment &segment, const std::string &name,
                    const std::vector<std::string> &addresses, const LinkProperty &link = {},
                    const ProcessProperty &property = {}) {
        Host &host = world.add_host(name);
        host.add_interface("eth0", &segment, addresses, link);
        return host.add_process(name, property);
    }

    NUV_UINT64 dropped(Drop reason) {
        return world.trace().dropped(reason);
    }

    World world;
    Segment &lan = world.add_segment("lan");
};

inline Interface &eth0(const Process &process) {
    return *process.host().find_interface("eth0");
}

/** A test on a network with a process "a" at 192.0.2.1 and one "b" at 192.0.2.2. */
class NetTest : public testing::Test, protected Net {
protected:
    void run(Time duration = SECOND) {
        world.run_for(duration);
    }

    static constexpr const char *GROUP = "239.255.0.1:7400";

    Process &a = add("a", {"192.0.2.1/24"});
    Process &b = add("b", {"192.0.2.2/24"});
    Host &host_a = a.host();
    Host &host_b = b.host();
};

/** The runtime of a process, with the transports of one participant. All its calls are the
 * process's. */
class Node {
public:
    explicit Node(Process &process, const char *transports = "udpv4") : process_(process) {
        const NUVNetioRuntimeProperty property = process.runtime_property();
        const NUVNetioConfiguratorProperty its_own = net::configurator_property(transports, {});
        process.call([&] {
            runtime = NUVNetioRuntime_new(&property, factories_.threads, factories_.workers);
            EXPECT_NE(runtime, nullptr);
            configurator = NUVNetioConfigurator_new(&its_own, runtime, factories_.worker);
            EXPECT_NE(configurator, nullptr);
        });
    }
    ~Node() {
        process_.call([this] {
            for (NUVNetioReceiveResource *const one : open_) {
                NUVNetioReceiveResource_release(one, factories_.worker);
            }
            NUVNetioConfigurator_delete(configurator);
            EXPECT_NE(NUVNetioRuntime_delete(runtime), 0);
        });
    }
    Node(const Node &) = delete;
    Node &operator=(const Node &) = delete;

    /** Receives there from now on; false when that cannot be. */
    bool open(const std::string &at) {
        const NUVNetioLocator locator = net::locator(at.c_str());
        const NUVNetioReceiveListener listener = inbox.listener();
        NUVNetioReceiveResource *const resource = process_.call([&] {
            return NUVNetioConfigurator_openReceiveResource(configurator, &locator, &listener,
                                                            factories_.worker);
        });
        if (resource != nullptr) {
            open_.push_back(resource);
        }
        return resource != nullptr;
    }
    bool send(const std::string &to, const std::string &data) const {
        const NUVNetioLocator locator = net::locator(to.c_str());
        return process_.call([&] {
            return NUVNetioConfigurator_send(
                       configurator, &locator, reinterpret_cast<const NUV_UINT8 *>(data.data()),
                       static_cast<NUV_UINT32>(data.size()), factories_.worker) != 0;
        });
    }
    /** Sends from the last that was opened; answers how many datagrams the network took. */
    int send_from_port(const std::string &to, const std::string &data) const {
        const NUVNetioLocator locator = net::locator(to.c_str());
        return process_.call([&] {
            return NUVNetioReceiveResource_send(
                open_.back(), &locator, reinterpret_cast<const NUV_UINT8 *>(data.data()),
                static_cast<NUV_UINT32>(data.size()), factories_.worker);
        });
    }
    /** What has been received. */
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const net::Inbox::Message &message : inbox.messages()) {
            all.push_back(message.data);
        }
        return all;
    }

    net::Inbox inbox;
    NUVNetioRuntime *runtime = nullptr;
    NUVNetioConfigurator *configurator = nullptr;

private:
    Process &process_;
    const net::Factories factories_;
    std::vector<NUVNetioReceiveResource *> open_;
};

/** A timed event of a runtime, which notes when it came by its host's clock. */
class Alarm {
public:
    Alarm(const Node &node, Process &process) : node_(node), process_(process) {}
    ~Alarm() {
        process_.call([this] { NUVEventActiveDatabase_cancelEvent(events(), &event_); });
    }
    Alarm(const Alarm &) = delete;
    Alarm &operator=(const Alarm &) = delete;

    /** Has it come after that much time. */
    void set(Time delay) {
        const NUVNtpTime time = NUVNtpTime_fromNanoseconds(delay);
        process_.call([&] { NUVEventActiveDatabase_postEvent(events(), &event_, &time); });
    }

    std::vector<Time> times; // of the world

private:
    NUVEventActiveDatabase *events() const {
        return NUVNetioRuntime_getEventDatabase(node_.runtime);
    }
    static void on_time(void *param, REDAWorker * /*worker*/) {
        auto *self = static_cast<Alarm *>(param);
        self->times.push_back(self->process_.host().world().now());
    }

    const Node &node_;
    Process &process_;
    NUVEvent event_{on_time, this, 0, nullptr, 0};
};

} // namespace sim
