// SPDX-License-Identifier: Apache-2.0
// A port that is received at only on allowed interfaces.
#include <gtest/gtest.h>

#include "net_fixture.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

struct Restricted {
    Restricted(const std::vector<NUVNetioInterface> &interfaces, const char *transports)
        : runtime(interfaces), configurator(runtime, transports, {"n0"}) {}

    NUVNetioReceiveResource *open(const NUVNetioLocator &locator, net::Inbox &inbox) {
        const NUVNetioReceiveListener listener = inbox.listener();
        return NUVNetioConfigurator_openReceiveResource(configurator.self, &locator, &listener,
                                                        runtime.worker());
    }
    void set(const std::vector<NUVNetioInterface> &interfaces) {
        runtime.interfaces.set(interfaces);
        EXPECT_TRUE(runtime.renew());
        NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
    }

    net::Runtime runtime;
    net::Configurator configurator;
};

NUVNetioInterface n0(const char *address) {
    return net::interface("n0", if_nametoindex("n0"), address);
}

TEST(RestrictedPortTest, LoopbackStaysWhenItsInterfaceHasGone) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        ASSERT_TRUE(net::run("ip addr add 192.0.2.2/24 dev n0"));
        net::Inbox inbox;
        Restricted port({net::loopback(), n0("192.0.2.1")}, "udpv4");
        const NUVNetioLocator added = net::locator("192.0.2.2:7410");
        NUVNetioReceiveResource *resource = port.open(net::locator("192.0.2.1:7410"), inbox);
        ASSERT_NE(resource, nullptr);
        port.set({n0("192.0.2.2")});
        EXPECT_NE(NUVNetioReceiveResource_cover(resource, &added, port.runtime.worker()), 0);
        EXPECT_FALSE(net::PlainSocket().bind_to("127.0.0.1", 7410));
        EXPECT_FALSE(net::PlainSocket().bind_to("192.0.2.2", 7410));
        EXPECT_TRUE(net::PlainSocket().bind_to("192.0.2.1", 7410)); // the one that has gone
        inbox.release(resource, port.runtime.worker());
    });
}

TEST(RestrictedPortTest, IsBoundToTheAddressesOfItsTransportOnly) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        ASSERT_TRUE(net::run("ip addr add fd00::2/64 dev n0 nodad"));
        const faults::Guard guard;
        std::array<net::Inbox, 2> inboxes;
        std::size_t next = 0;
        Restricted port({n0("192.0.2.1"), n0("fd00::2")}, "udpv4,udpv6");
        for (const char *text : {"192.0.2.1:7410", "[fd00::2]:7410"}) {
            const NUVNetioLocator locator = net::locator(text);
            const int before = faults::count("bind");
            net::Inbox &inbox = inboxes[next++];
            NUVNetioReceiveResource *resource = port.open(locator, inbox);
            ASSERT_NE(resource, nullptr);
            EXPECT_EQ(faults::count("bind") - before, 1);
            const int family =
                locator.transport == KOLS_TRANSPORT_CLASSID_UDPv4 ? AF_INET : AF_INET6;
            const net::PlainSocket sender(family);
            // The kernel drops what comes to an address of IPv6 in its first moment.
            ASSERT_TRUE(net::eventually([&] {
                EXPECT_TRUE(sender.send_to(locator, text));
                return !inbox.messages().empty();
            })) << text;
            EXPECT_EQ(inbox.messages()[0].data, text);
            inbox.release(resource, port.runtime.worker());
        }
    });
}

TEST(RestrictedPortTest, AddressOfTheOtherTransportIsNotCovered) {
    // The same octets are an address of each transport.
    net::Inbox inbox;
    Restricted port({net::interface("n0", 2, "::7f00:2")}, "udpv4,udpv6");
    const NUVNetioLocator locator = net::locator("127.0.0.2", net::free_port());
    NUVNetioReceiveResource *resource = port.open(locator, inbox);
    ASSERT_NE(resource, nullptr);
    const support::LogCapture log;
    EXPECT_EQ(NUVNetioReceiveResource_cover(resource, &locator, port.runtime.worker()), 0);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].text, "cannot receive at " + net::text(locator) +
                                          ": it is no address of an allowed interface");
    inbox.release(resource, port.runtime.worker());
}

} // namespace
