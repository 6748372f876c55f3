// SPDX-License-Identifier: Apache-2.0
// What is released while the reactor is just at it.
#include <memory>

#include <gtest/gtest.h>

#include "net_fixture.h"

namespace {

/** UDPv4 whose receiving can be held up; it sees whether a socket is closed meanwhile. */
class HeldNetwork {
public:
    HeldNetwork() {
        transport.receive = receive;
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

private:
    static int receive(void *param, NUVNetioSocket_t socket, NUV_UINT8 *buffer, NUV_UINT32 size,
                       NUVNetioDatagram *out) {
        slots_->is_receiving = true;
        EXPECT_TRUE(net::eventually([] { return !slots_->held; }));
        const int received = NUV_NETIO_TRANSPORT_UDPv4.receive(param, socket, buffer, size, out);
        slots_->is_receiving = false;
        return received;
    }
    static void close(void *param, NUVNetioSocket_t socket) {
        EXPECT_FALSE(slots_->is_receiving);
        NUV_NETIO_TRANSPORT_UDPv4.close(param, socket);
    }

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
