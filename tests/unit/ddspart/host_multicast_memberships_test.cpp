// SPDX-License-Identifier: Apache-2.0
#include "host/multicast_memberships.h"

#include <system_error>

#include <gmock/gmock.h>

#include "fed_host.h"

using host::multicast_memberships;
using host::MulticastMembership;
using testing::ElementsAre;

namespace {

class MulticastMemberships : public testing::Test {
protected:
    const FedHost host_;
    const std::filesystem::path net_ = host_.path("net");
};

TEST_F(MulticastMemberships, AreThoseOfEachInterface) {
    host_.put("net/igmp", "Idx\tDevice    : Count Querier\tGroup    Users Timer\tReporter\n"
                          "1\tlo        :     1      V3\n"
                          "\t\t\t\t010000E0     1 0:00000000\t\t0\n"
                          "4\teth0      :     2      V3\n"
                          "\t\t\t\t0100FFEF     3 0:00000000\t\t0\n"
                          "\t\t\t\t010000E0     1 0:00000000\t\t0\n");
    EXPECT_THAT(multicast_memberships(net_),
                ElementsAre(MulticastMembership{"lo", "224.0.0.1", 1},
                            MulticastMembership{"eth0", "239.255.0.1", 3},
                            MulticastMembership{"eth0", "224.0.0.1", 1}));
}

TEST_F(MulticastMemberships, AreThoseOfInterfacesWithLongNames) {
    host_.put("net/igmp", "4\teth0.1234567: 1      V3\n"
                          "\t\t\t\t0100FFEF     3 0:00000000\t\t0\n");
    EXPECT_THAT(multicast_memberships(net_),
                ElementsAre(MulticastMembership{"eth0.1234567", "239.255.0.1", 3}));
}

TEST_F(MulticastMemberships, OfIPv6AreAmongThem) {
    host_.put("net/igmp", "");
    host_.put("net/igmp6",
              "4    eth0            ff020000000000000000000000000001     2 0000000C 0\n");
    EXPECT_THAT(multicast_memberships(net_),
                ElementsAre(MulticastMembership{"eth0", "ff02::1", 2}));
}

TEST_F(MulticastMemberships, ThatCannotBeReadAreAnError) {
    EXPECT_THROW((void)multicast_memberships(net_), std::system_error);
}

TEST_F(MulticastMemberships, OfTheKernelAreRead) {
    EXPECT_NO_THROW((void)multicast_memberships("/proc/self/net"));
}

} // namespace
