// SPDX-License-Identifier: Apache-2.0
#include "host/network_addresses.h"

#include <gmock/gmock.h>

#include "fed_host.h"

using host::network_addresses;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(NetworkAddresses, AreThoseOfInterfacesButLoopback) {
    const FedHost host;

    host.put("net/fib_trie", "Main:\n"
                             "  +-- 0.0.0.0/0 3 0 5\n"
                             "     |-- 127.0.0.1\n"
                             "        /32 host LOCAL\n"
                             "     |-- 192.0.2.0\n"
                             "        /24 link UNICAST\n"
                             "     |-- 192.0.2.2\n"
                             "        /32 host LOCAL\n"
                             "     |-- 192.0.2.255\n"
                             "        /32 link BROADCAST\n");
    host.put("net/if_inet6", "fd000000000000000000000000000002 04 40 00 82     net0\n"
                             "fe8000000000000000fc00fffe000001 04 40 20 80     net0\n"
                             "00000000000000000000000000000001 01 80 10 80       lo\n");
    EXPECT_THAT(network_addresses(host.path("net")), ElementsAre("192.0.2.2", "fd00::2"));
}

TEST(NetworkAddresses, AreNoneOfANetworkThatIsGone) {
    const FedHost host;

    EXPECT_THAT(network_addresses(host.path("net")), IsEmpty());
}

} // namespace
