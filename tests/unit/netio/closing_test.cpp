// SPDX-License-Identifier: Apache-2.0
// What is released while the reactor is just at it.
#include <memory>
#include <optional>
#include <set>

#include <gtest/gtest.h>

#include "net_fixture.h"

namespace {

/** UDPv4 whose calls can be held up; it sees whether a socket is closed meanwhile. */
class HeldNetwork {
public:
    HeldNetwork() {
        transport.receive = receive;
        transport.send = send;
        transport.close = close;
        slots_ = this;
    }
    ~HeldNetwork() {
        slots_ = nullptr;
    }
    HeldNetwork(const HeldNetwork &) = delete;
    HeldNetwork &operator=(const HeldNetwork &) = delete;

    NUVNetioTransport transport = NUV_NETIO_TRANSPORT_UDPv4;
    std::atomic<bool> held{false};
    std::atomic<bool> is_receiving{false};
    std::atomic<bool> is_sending{false};

private:
    /** What is done to a socket, which is not closed meanwhile. */
    class Use {
    public:
        Use(NUVNetioSocket_t socket, std::atomic<bool> &flag) : socket_(socket), flag_(flag) {
            const std::lock_guard lock(slots_->mutex_);
            slots_->used_.insert(socket);
            flag_ = true;
        }
        ~Use() {
            const std::lock_guard lock(slots_->mutex_);
            slots_->used_.erase(slots_->used_.find(socket_));
            flag_ = false;
        }
        Use(const Use &) = delete;
        Use &operator=(const Use &) = delete;

        static bool is_of(NUVNetioSocket_t socket) {
            const std::lock_guard lock(slots_->mutex_);
            return slots_->used_.contains(socket);
        }

    private:
        const NUVNetioSocket_t socket_;
        std::atomic<bool> &flag_;
    };

    static int receive(void *param, NUVNetioSocket_t socket, NUV_UINT8 *buffer, NUV_UINT32 size,
                       NUVNetioDatagram *out) {
        const Use use(socket, slots_->is_receiving);
        EXPECT_TRUE(net::eventually([] { return !slots_->held; }));
        return NUV_NETIO_TRANSPORT_UDPv4.receive(param, socket, buffer, size, out);
    }
    static int send(void *param, NUVNetioSocket_t socket, const NUVNetioLocator *destination,
                    NUV_UINT32 interface_index, const NUV_UINT8 *data, NUV_UINT32 length,
                    int may_wait) {
        const Use use(socket, slots_->is_sending);
        EXPECT_TRUE(net::eventually([] { return !slots_->held; }));
        return NUV_NETIO_TRANSPORT_UDPv4.send(param, socket, destination, interface_index, data,
                                              length, may_wait);
    }
    static void close(void *param, NUVNetioSocket_t socket) {
        EXPECT_FALSE(Use::is_of(socket));
        NUV_NETIO_TRANSPORT_UDPv4.close(param, socket);
    }

    std::mutex mutex_; // guards what follows
    std::multiset<NUVNetioSocket_t> used_;
    static inline HeldNetwork *slots_ = nullptr; // the parameter is that of UDPv4
};

TEST(ClosingTest, SocketIsNotClosedWhileItIsReceivedFrom) {
    HeldNetwork network;
    net::Interfaces interfaces({net::loopback()});
    NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    property.transports[0] = &network.transport;
    net::Inbox inbox;
    net::Runtime runtime(property);
    const net::Configurator configurator(runtime);
    const int port = net::free_port();
    const NUVNetioLocator locator = net::locator("127.0.0.1", port);
    const NUVNetioReceiveListener listener = inbox.listener();
    NUVNetioReceiveResource *const resource = NUVNetioConfigurator_openReceiveResource(
        configurator.self, &locator, &listener, runtime.worker());
    ASSERT_NE(resource, nullptr);
    network.held = true;
    ASSERT_TRUE(net::PlainSocket().send_to(locator, "hello"));
    ASSERT_TRUE(net::eventually([&] { return network.is_receiving.load(); }));
    std::thread releasing([&] { inbox.release(resource, runtime.worker()); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // for a close that does not wait
    network.held = false;
    releasing.join();
    EXPECT_TRUE(net::is_free(port));
    EXPECT_TRUE(inbox.wait_for_close());
}

/** What a test does to a resource that another thread is just sending from. */
class ClosingWhileSendingTest : public testing::Test {
protected:
    ClosingWhileSendingTest() {
        NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
        property.transports[0] = &network.transport;
        runtime.emplace(property);
    }
    void open(const std::vector<const char *> &allowed) {
        const NUVNetioReceiveListener listener = inbox.listener();
        configurator.emplace(*runtime, "udpv4", allowed);
        resource = NUVNetioConfigurator_openReceiveResource(configurator->self, &locator, &listener,
                                                            runtime->worker());
        ASSERT_NE(resource, nullptr);
    }
    /** On an interface that has two addresses, of which one is told of at a time. */
    void open_on_changing_interface() {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        ASSERT_TRUE(net::run("ip addr add 198.51.100.1/24 dev n0"));
        set_address("192.0.2.1");
        open({"n0"});
    }
    void set_address(const char *address) {
        interfaces.set({net::loopback(), net::interface("n0", if_nametoindex("n0"), address)});
        runtime->renew();
    }
    /** From then on the port is open at this one and no more at the other. */
    void change_to(const char *address) {
        REDAWorker *const worker = runtime->factories.worker_of_this_thread();
        set_address(address);
        NUVNetioConfigurator_refreshInterfaces(configurator->self, worker);
        const NUVNetioLocator now = net::locator(address, locator.port);
        EXPECT_NE(NUVNetioReceiveResource_cover(resource, &now, worker), 0);
    }
    int send(const NUVNetioLocator &destination) const {
        const NUV_UINT8 data[] = {'h', 'i'};
        return NUVNetioReceiveResource_send(resource, &destination, data, sizeof data,
                                            runtime->factories.worker_of_this_thread());
    }
    /** Begins to send, which is held up; what is done meanwhile is let go on after a moment. */
    template <typename Action>
    void while_sending(const NUVNetioLocator &destination, Action action) {
        network.held = true;
        std::thread sending([&] { EXPECT_EQ(send(destination), 1); });
        ASSERT_TRUE(net::eventually([&] { return network.is_sending.load(); }));
        std::thread acting(action);
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // for one that does not wait
        network.held = false;
        sending.join();
        acting.join();
    }

    HeldNetwork network;
    net::Interfaces interfaces{{net::loopback()}};
    net::Inbox inbox;
    std::optional<net::Runtime> runtime;
    std::optional<net::Configurator> configurator;
    const NUVNetioLocator locator = net::locator("127.0.0.1", net::free_port());
    NUVNetioReceiveResource *resource = nullptr;
};

TEST_F(ClosingWhileSendingTest, ReleaseWaitsForAMessageThatIsJustSent) {
    open({});
    while_sending(net::locator("127.0.0.1:1"), [&] {
        inbox.release(resource, runtime->factories.worker_of_this_thread());
        EXPECT_TRUE(net::is_free(locator.port));
    });
    EXPECT_TRUE(inbox.wait_for_close());
}

TEST_F(ClosingWhileSendingTest, CoverWaitsForAMessageThatIsJustSentFromAnAddressThatIsGone) {
    IN_PRIVATE_NETWORK([&] {
        open_on_changing_interface();
        while_sending(net::locator("192.0.2.1:1"), [&] { change_to("198.51.100.1"); });
        inbox.release(resource, runtime->worker());
        EXPECT_TRUE(inbox.wait_for_close());
    });
}

TEST_F(ClosingWhileSendingTest, ThreadsSendWhileTheReactorReceivesAndAddressesComeAndGo) {
    IN_PRIVATE_NETWORK([&] {
        open_on_changing_interface();
        std::atomic<bool> stop{false};
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; ++t) {
            threads.emplace_back([&] {
                while (!stop) {
                    EXPECT_EQ(send(locator), 1);
                    EXPECT_EQ(send(net::locator("192.0.2.1", locator.port)), 1);
                    EXPECT_EQ(send(net::locator("239.255.0.1:7400")), 1);
                }
            });
        }
        for (int i = 0; i < 100; ++i) {
            change_to(i % 2 == 0 ? "198.51.100.1" : "192.0.2.1");
        }
        EXPECT_TRUE(inbox.wait_for(100));
        stop = true;
        for (std::thread &thread : threads) {
            thread.join();
        }
        inbox.release(resource, runtime->worker());
        EXPECT_TRUE(inbox.wait_for_close());
    });
}

/** One that is gone when its release says so, or when it is told that it is closed. */
struct Guest {
    std::unique_ptr<int> messages = std::make_unique<int>(0);

    static void on_message(void *param, const NUVNetioMessage *, REDAWorker *) {
        ++*static_cast<Guest *>(param)->messages;
    }
    static void on_closed(void *param, REDAWorker *) {
        delete static_cast<Guest *>(param);
    }
};

TEST(ClosingTest, SharesOfAGroupComeAndGoWhileItReceives) {
    net::Runtime runtime;
    const net::Configurator configurator(runtime);
    const NUVNetioLocator group = net::locator("239.255.0.1", net::free_port());
    std::atomic<bool> stop{false};
    std::thread flood([&] {
        const NUV_UINT8 data[] = {'h', 'i'};
        while (!stop) {
            EXPECT_NE(NUVNetioConfigurator_send(configurator.self, &group, data, sizeof data,
                                                runtime.worker()),
                      0);
        }
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 300; ++i) {
                auto guest = std::make_unique<Guest>();
                const NUVNetioReceiveListener listener{Guest::on_message, Guest::on_closed,
                                                       guest.get()};
                NUVNetioReceiveResource *const resource = NUVNetioConfigurator_openReceiveResource(
                    configurator.self, &group, &listener, runtime.worker());
                ASSERT_NE(resource, nullptr);
                if (NUVNetioReceiveResource_release(resource, runtime.worker()) == 0) {
                    (void)guest.release(); // it goes when it is told
                }
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    stop = true;
    flood.join();
    EXPECT_TRUE(runtime.flush());
    EXPECT_TRUE(net::is_free(group.port));
}

} // namespace
