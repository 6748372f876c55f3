// SPDX-License-Identifier: Apache-2.0
// How what is sent travels: time to live and class of service.
#include <gtest/gtest.h>

#include "net_fixture.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

int option_of(int socket, int level, int option) {
    int value = -1;
    socklen_t length = sizeof value;
    EXPECT_EQ(getsockopt(socket, level, option, &value, &length), 0);
    return value;
}

/** Sends a message and looks at the socket that it is sent from, if it is. */
class SendOptions : public testing::Test {
protected:
    bool send(const char *destination, NUVNetioSendOptions options) {
        const net::Runtime runtime;
        NUVNetioConfiguratorProperty property = NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT;
        std::strcpy(property.transports.aliases, "udpv4,udpv6");
        property.sending = options;
        NUVNetioConfigurator *configurator =
            NUVNetioConfigurator_new(&property, runtime.runtime, runtime.worker());
        faults::replace("sendmsg", [this](int socket, const msghdr *, int) -> ssize_t {
            if (option_of(socket, SOL_SOCKET, SO_DOMAIN) == AF_INET) {
                multicast_ttl = option_of(socket, IPPROTO_IP, IP_MULTICAST_TTL);
                traffic_class = option_of(socket, IPPROTO_IP, IP_TOS);
            } else {
                multicast_ttl = option_of(socket, IPPROTO_IPV6, IPV6_MULTICAST_HOPS);
                traffic_class = option_of(socket, IPPROTO_IPV6, IPV6_TCLASS);
            }
            return 0;
        });
        const NUVNetioLocator locator = net::locator(destination);
        const int result =
            NUVNetioConfigurator_send(configurator, &locator, nullptr, 0, runtime.worker());
        NUVNetioConfigurator_delete(configurator);
        return result != 0;
    }

    const faults::Guard guard;
    int multicast_ttl = -1;
    int traffic_class = -1;
};

constexpr const char *IPV4 = "127.0.0.1:7410";
constexpr const char *IPV6 = "[::1]:7410";

TEST_F(SendOptions, ByDefaultNoRouterPassesOnWhatGoesToAGroup) {
    for (const char *destination : {IPV4, IPV6}) {
        EXPECT_TRUE(send(destination, NUV_NETIO_SEND_OPTIONS_DEFAULT));
        EXPECT_EQ(multicast_ttl, 1) << destination;
        EXPECT_EQ(traffic_class, 0) << destination;
    }
}

TEST_F(SendOptions, TimeToLiveOfWhatGoesToAGroupIsAsGiven) {
    for (const char *destination : {IPV4, IPV6}) {
        for (const NUV_UINT8 ttl : {NUV_UINT8{0}, NUV_UINT8{32}, NUV_UINT8{255}}) {
            EXPECT_TRUE(send(destination, {ttl, 0}));
            EXPECT_EQ(multicast_ttl, ttl) << destination;
        }
    }
}

TEST_F(SendOptions, ClassOfServiceIsInTheUpperSixBits) {
    for (const char *destination : {IPV4, IPV6}) {
        EXPECT_TRUE(send(destination, {1, 46}));
        EXPECT_EQ(traffic_class, 184) << destination;
        EXPECT_TRUE(send(destination, {1, NUV_NETIO_DSCP_MAX}));
        EXPECT_EQ(traffic_class, 252) << destination;
    }
}

TEST_F(SendOptions, NothingIsSentWithoutThem) {
    const net::Held before;
    for (const char *destination : {IPV4, IPV6}) {
        const int options = destination == IPV4 ? 3 : 4; // one more for IPv6 alone
        for (int i = 1; i <= options; ++i) {
            const support::LogCapture log;
            faults::fail_call("setsockopt", i, EPERM);
            EXPECT_FALSE(send(destination, {2, 46})) << destination << ' ' << i;
            EXPECT_TRUE(faults::happened()) << destination << ' ' << i;
            ASSERT_EQ(log.messages().size(), 1u);
            EXPECT_THAT(log.messages()[0].text, testing::HasSubstr("(EPERM)"));
            EXPECT_EQ(net::Held().descriptors, before.descriptors);
        }
    }
}

} // namespace
