// SPDX-License-Identifier: Apache-2.0
// A port hands nothing on before it is open as a whole.
#include <gtest/gtest.h>

#include <sys/epoll.h>

#include "net_fixture.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

class OpeningTest : public testing::Test {
protected:
    NUVNetioReceiveResource *open(const net::Configurator &configurator,
                                  const NUVNetioLocator &locator) {
        const NUVNetioReceiveListener listener = inbox.listener();
        return NUVNetioConfigurator_openReceiveResource(configurator.self, &locator, &listener,
                                                        runtime.worker());
    }

    static NUVNetioInterface other(const char *address) {
        return net::interface("other0", if_nametoindex("lo"), address);
    }

    /** Waits until the reactor has woken up, for as long as it may be kept from that. */
    static void wait_for_wake_up(int wake_ups_before) {
        for (int i = 0; i < 200 && faults::count("epoll_wait") == wake_ups_before; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    const faults::Guard guard;
    net::Inbox inbox;
    net::Runtime runtime{{other("127.0.0.2"), other("127.0.0.3")}};
    const int port = net::free_port();
};

TEST_F(OpeningTest, DatagramToTheFirstAddressWaitsForTheLast) {
    const net::Configurator configurator(runtime, "udpv4", {"other0"});
    EXPECT_TRUE(runtime.flush()); // the reactor waits from now on
    int polled = 0;
    faults::replace("epoll_ctl", [&](int epoll, int operation, int descriptor, epoll_event *event) {
        if (operation == EPOLL_CTL_ADD && ++polled == 2) {
            const int wake_ups = faults::count("epoll_wait");
            for (const char *address : {"127.0.0.2", "127.0.0.3"}) {
                EXPECT_TRUE(net::PlainSocket().send_to(net::locator(address, port), "early"));
            }
            wait_for_wake_up(wake_ups);
            EXPECT_EQ(inbox.messages().size(), 0u);
        }
        return epoll_ctl(epoll, operation, descriptor, event);
    });
    NUVNetioReceiveResource *resource = open(configurator, net::locator("127.0.0.2", port));
    ASSERT_NE(resource, nullptr);
    EXPECT_EQ(polled, 2);
    EXPECT_TRUE(inbox.wait_for(2));
    inbox.release(resource, runtime.worker());
}

TEST_F(OpeningTest, DatagramToAGroupWaitsForTheJoins) {
    const net::Configurator configurator(runtime);
    const NUVNetioLocator group = net::locator("239.255.0.1", port);
    const net::PlainSocket sender;
    ASSERT_TRUE(sender.set_multicast_interface(group, "lo"));
    int joined = 0;
    faults::replace("setsockopt", [&](int descriptor, int level, int option, const void *value,
                                      socklen_t length) {
        const int result = setsockopt(descriptor, level, option, value, length);
        if (level == IPPROTO_IP && option == IP_ADD_MEMBERSHIP) {
            ++joined;
            EXPECT_TRUE(sender.send_to(group, "early"));
            EXPECT_TRUE(runtime.flush());
            EXPECT_EQ(inbox.messages().size(), 0u);
        }
        return result;
    });
    NUVNetioReceiveResource *resource = open(configurator, group);
    ASSERT_NE(resource, nullptr);
    EXPECT_EQ(joined, 1);
    EXPECT_TRUE(inbox.wait_for(1));
    inbox.release(resource, runtime.worker());
}

/** A port that is restricted to one address, among so many that the host has. */
class FullSnapshotTest : public testing::TestWithParam<int> {
protected:
    static std::vector<NUVNetioInterface> interfaces() {
        std::vector<NUVNetioInterface> all;
        for (int i = 1; i <= GetParam(); ++i) {
            all.push_back(net::interface("other0", if_nametoindex("lo"),
                                         ("127.0.1." + std::to_string(i)).c_str()));
        }
        return all;
    }
};

INSTANTIATE_TEST_SUITE_P(Of, FullSnapshotTest, testing::Range(1, 17));

TEST_P(FullSnapshotTest, AddressThatIsNotInItIsNotCovered) {
    net::Inbox inbox;
    net::Runtime runtime(interfaces());
    const net::Configurator configurator(runtime, "udpv4", {"127.0.1.1"});
    const int port = net::free_port();
    const NUVNetioLocator known = net::locator("127.0.1.1", port);
    const NUVNetioLocator unknown = net::locator("127.0.2.1", port);
    const NUVNetioReceiveListener listener = inbox.listener();
    NUVNetioReceiveResource *resource = NUVNetioConfigurator_openReceiveResource(
        configurator.self, &known, &listener, runtime.worker());
    ASSERT_NE(resource, nullptr);
    const support::LogCapture log;
    EXPECT_EQ(NUVNetioReceiveResource_cover(resource, &unknown, runtime.worker()), 0);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].text, "cannot receive at " + net::text(unknown) +
                                          ": it is no address of an allowed interface");
    EXPECT_NE(NUVNetioReceiveResource_cover(resource, &known, runtime.worker()), 0);
    inbox.release(resource, runtime.worker());
}

} // namespace
