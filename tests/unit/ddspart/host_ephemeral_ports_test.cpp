// SPDX-License-Identifier: Apache-2.0
#include "host/ephemeral_ports.h"

#include <gmock/gmock.h>

#include "fed_host.h"

using host::ephemeral_ports;
using host::EphemeralPorts;
using host::PortRange;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class EphemeralPortsTest : public testing::Test {
protected:
    void put(const std::string &range) const {
        host_.put("proc/sys/net/ipv4/ip_local_port_range", range);
    }
    void put_reserved(const std::string &ports) const {
        host_.put("proc/sys/net/ipv4/ip_local_reserved_ports", ports);
    }

    const FedHost host_;
};

TEST_F(EphemeralPortsTest, AreTheRangeOfTheKernel) {
    put("32768\t60999\n");
    const EphemeralPorts ports = ephemeral_ports(host_.files());

    EXPECT_EQ(ports.range, (PortRange{32768, 60999}));
    EXPECT_THAT(ports.reserved, IsEmpty());
}

TEST_F(EphemeralPortsTest, AreWithoutThoseThatAreReserved) {
    put("7400\t7500\n");
    put_reserved("80,7410-7420\n");
    const EphemeralPorts ports = ephemeral_ports(host_.files());

    EXPECT_THAT(ports.reserved, ElementsAre(PortRange{80, 80}, PortRange{7410, 7420}));
    EXPECT_TRUE(ports.may_be(7409));
    EXPECT_FALSE(ports.may_be(7410));
    EXPECT_FALSE(ports.may_be(7420));
    EXPECT_TRUE(ports.may_be(7421));
}

TEST_F(EphemeralPortsTest, EndWithTheRange) {
    put("7400\t7500\n");
    put_reserved("\n");
    const EphemeralPorts ports = ephemeral_ports(host_.files());

    EXPECT_FALSE(ports.may_be(7399));
    EXPECT_TRUE(ports.may_be(7400));
    EXPECT_TRUE(ports.may_be(7500));
    EXPECT_FALSE(ports.may_be(7501));
}

TEST_F(EphemeralPortsTest, ThatAreNoNumbersAreAnError) {
    put("many\n");
    EXPECT_THROW((void)ephemeral_ports(host_.files()), std::runtime_error);
}

TEST_F(EphemeralPortsTest, OfTheKernelAreRead) {
    EXPECT_GT(ephemeral_ports().range.last, 0u);
}

} // namespace
