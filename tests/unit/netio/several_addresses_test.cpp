// SPDX-License-Identifier: Apache-2.0
// To multicast, an interface with several addresses is one interface.
#include <gtest/gtest.h>

#include "net_fixture.h"
#include "support/faults.h"

namespace {

/** A transport, a group, and two addresses for one interface. */
struct Network {
    const char *transport;
    const char *group;
    const char *first;
    const char *second;
};

void PrintTo(const Network &network, std::ostream *out) {
    *out << network.transport;
}

/** A group that is received on the interfaces of the kernel. */
struct Member {
    explicit Member(const Network &network)
        : configurator(runtime, network.transport), group(net::locator(network.group)) {
        const NUVNetioReceiveListener listener = inbox.listener();
        resource = NUVNetioConfigurator_openReceiveResource(configurator.self, &group, &listener,
                                                            runtime.worker());
        EXPECT_NE(resource, nullptr);
    }
    ~Member() {
        inbox.release(resource, runtime.worker());
    }

    bool send(std::string_view data) const {
        return NUVNetioConfigurator_send(
                   configurator.self, &group, reinterpret_cast<const NUV_UINT8 *>(data.data()),
                   static_cast<NUV_UINT32>(data.size()), runtime.worker()) != 0;
    }

    net::Inbox inbox;
    net::Runtime runtime{NUV_NETIO_RUNTIME_PROPERTY_DEFAULT};
    net::Configurator configurator;
    const NUVNetioLocator group;
    NUVNetioReceiveResource *resource = nullptr;
};

class SeveralAddressesTest : public testing::TestWithParam<Network> {
protected:
    static bool add_first() {
        return net::add_interface("n0", GetParam().first);
    }
    static bool add_second() {
        const std::string address = GetParam().second;
        return net::run("ip addr add " + address + " dev n0" +
                        (address.find(':') != std::string::npos ? " nodad" : ""));
    }

    const faults::Guard guard;
};

INSTANTIATE_TEST_SUITE_P(
    Of, SeveralAddressesTest,
    testing::Values(Network{"udpv4", "239.255.0.1:7400", "192.0.2.1/24", "198.51.100.1/24"},
                    Network{"udpv6", "[ff15::80]:7400", "fd00::2/64", "fd01::2/64"}),
    testing::PrintToStringParamName());

TEST_P(SeveralAddressesTest, InterfaceIsJoinedOnce) {
    IN_PRIVATE_NETWORK([&] {
        ASSERT_TRUE(add_first());
        const auto count_options = [] {
            const int before = faults::count("setsockopt");
            const Member member(GetParam());
            return faults::count("setsockopt") - before;
        };
        const int with_one = count_options();
        ASSERT_TRUE(add_second());
        EXPECT_EQ(count_options(), with_one);
    });
}

TEST_P(SeveralAddressesTest, InterfaceIsSentToOnce) {
    IN_PRIVATE_NETWORK([&] {
        ASSERT_TRUE(add_first());
        ASSERT_TRUE(add_second());
        Member member(GetParam());
        const int before = faults::count("sendmsg");
        ASSERT_TRUE(member.send("hello"));
        EXPECT_EQ(faults::count("sendmsg") - before, 1);
        EXPECT_TRUE(member.inbox.wait_for(1));
        EXPECT_TRUE(member.runtime.flush());
        EXPECT_EQ(member.inbox.messages().size(), 1u);
    });
}

} // namespace
