// SPDX-License-Identifier: Apache-2.0
#include "host/udp_sockets.h"

#include <system_error>

#include <gmock/gmock.h>

#include "fed_host.h"

using host::udp_sockets;
using host::UdpSocket;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string KERNEL_TITLES =
    "   sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout "
    "inode ref pointer drops            \n";
const std::string WILDCARD =
    "11350: 00000000:1CF2 00000000:0000 07 00000000:00000300 00:00000000 00000000  1000        0 "
    "20419672 2 00000000d21dcdd7 5      \n";
const std::string BOUND_TO_ONE_ADDRESS =
    "11351: 020200C0:1CF3 00000000:0000 07 00000000:00000000 00:00000000 00000000     0        0 "
    "20419673 2 00000000d21dcdd8 0      \n";
const std::string OF_IPV6 =
    "  350: 000000FD000000000000000002000000:1CF2 00000000000000000000000000000000:0000 07 "
    "00000000:00000000 00:00000000 00000000     0        0 20419674 2 00000000d21dcdd9 0\n";

class UdpSockets : public testing::Test {
protected:
    const FedHost host_;
    const std::filesystem::path net_ = host_.path("net");
};

TEST_F(UdpSockets, AreOnePerLine) {
    host_.put("net/udp", KERNEL_TITLES + WILDCARD + BOUND_TO_ONE_ADDRESS);
    EXPECT_THAT(udp_sockets(net_), ElementsAre(UdpSocket{"0.0.0.0", 7410, 1000, 20419672, 0x300, 5},
                                               UdpSocket{"192.0.2.2", 7411, 0, 20419673, 0, 0}));
}

TEST_F(UdpSockets, OfIPv6AreAmongThem) {
    host_.put("net/udp", KERNEL_TITLES);
    host_.put("net/udp6", KERNEL_TITLES + OF_IPV6);
    EXPECT_THAT(udp_sockets(net_), ElementsAre(UdpSocket{"fd00::2", 7410, 0, 20419674, 0, 0}));
}

TEST_F(UdpSockets, AreNoneOfALineThatIsCutOff) {
    host_.put("net/udp", KERNEL_TITLES + WILDCARD.substr(0, 100));
    EXPECT_THAT(udp_sockets(net_), IsEmpty());
}

TEST_F(UdpSockets, AreNoneOfALineWithSomethingElseForANumber) {
    std::string line = WILDCARD;

    line.replace(line.find("1CF2"), 4, "1CFG");
    host_.put("net/udp", KERNEL_TITLES + line);
    EXPECT_THAT(udp_sockets(net_), IsEmpty());
}

TEST_F(UdpSockets, ThatCannotBeReadAreAnErrorThatNamesTheFile) {
    try {
        (void)udp_sockets(net_);
        FAIL() << "no error";
    } catch (const std::system_error &error) {
        EXPECT_EQ(error.what(),
                  "cannot read " + (net_ / "udp").string() + ": No such file or directory");
    }
}

TEST_F(UdpSockets, OfTheKernelAreRead) {
    EXPECT_NO_THROW((void)udp_sockets("/proc/self/net"));
}

} // namespace
