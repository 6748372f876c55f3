// SPDX-License-Identifier: Apache-2.0
// Addresses, endpoints and prefixes, and their texts.
#include <stdexcept>

#include <gtest/gtest.h>

#include "simulated.h"

namespace {

using namespace simnet;

TEST(SimAddress, IsReadAndWritten) {
    for (const char *text : {"192.0.2.1", "0.0.0.0", "239.255.0.1", "fd00::1", "::", "ff02::1"}) {
        EXPECT_EQ(to_text(address(text)), text);
    }
}

TEST(SimAddress, WhatIsNoneIsRefused) {
    for (const char *text : {"", "192.0.2", "192.0.2.256", "fd00::1::2", "eth0", "192.0.2.1/24"}) {
        EXPECT_THROW((void)address(text), std::invalid_argument) << text;
    }
}

TEST(SimAddress, HasNoTextWithoutATransport) {
    EXPECT_THROW((void)to_text(Address{}), std::invalid_argument);
}

TEST(SimAddress, AnyIsAllZero) {
    EXPECT_TRUE(is_any(address("0.0.0.0")));
    EXPECT_TRUE(is_any(address("::")));
    EXPECT_FALSE(is_any(address("1.0.0.0")));
    EXPECT_FALSE(is_any(address("::1")));
}

TEST(SimAddress, KindsAreToldApart) {
    EXPECT_TRUE(is_multicast(address("239.255.0.1")) && is_multicast(address("ff02::1")));
    EXPECT_FALSE(is_multicast(address("192.0.2.1")) || is_multicast(address("fd00::1")));
    EXPECT_TRUE(is_loopback(address("127.0.0.1")) && is_loopback(address("::1")));
    EXPECT_FALSE(is_loopback(address("192.0.2.1")) || is_loopback(address("fd00::1")));
    EXPECT_TRUE(is_link_local(address("fe80::1")) && is_link_local(address("febf::1")));
    EXPECT_FALSE(is_link_local(address("fec0::1")) || is_link_local(address("192.0.2.1")));
}

TEST(SimAddress, IsOrderedByItsTransportFirst) {
    EXPECT_LT(address("255.255.255.255"), address("::"));
    EXPECT_LT(address("192.0.2.1"), address("192.0.2.2"));
    EXPECT_NE(address("0.0.0.0"), address("::"));
    EXPECT_EQ(address("192.0.2.1"), address("192.0.2.1"));
}

TEST(SimEndpoint, HasBracketsWhereItsAddressHasColons) {
    EXPECT_EQ(to_text(Endpoint{address("192.0.2.1"), 7400}), "192.0.2.1:7400");
    EXPECT_EQ(to_text(Endpoint{address("fd00::1"), 7400}), "[fd00::1]:7400");
}

TEST(SimEndpoint, IsALocator) {
    const Endpoint endpoint{address("fd00::1"), 7400};
    EXPECT_EQ(net::text(locator_of(endpoint)), "udpv6://[fd00::1]:7400");
    EXPECT_EQ(endpoint_of(locator_of(endpoint)), endpoint);
}

TEST(SimEndpoint, DiffersByAddressAndByPort) {
    EXPECT_NE(sim::at("192.0.2.1:1"), sim::at("192.0.2.1:2"));
    EXPECT_NE(sim::at("192.0.2.1:1"), sim::at("192.0.2.2:1"));
}

TEST(SimPrefix, ContainsWhatHasItsFirstBits) {
    EXPECT_TRUE(prefix("192.0.2.1/24").contains(address("192.0.2.255")));
    EXPECT_FALSE(prefix("192.0.2.1/24").contains(address("192.0.3.1")));
    EXPECT_TRUE(prefix("192.0.2.1/25").contains(address("192.0.2.127")));
    EXPECT_FALSE(prefix("192.0.2.1/25").contains(address("192.0.2.128")));
    EXPECT_TRUE(prefix("fd00::1/64").contains(address("fd00::ffff:0:0:0")));
    EXPECT_FALSE(prefix("fd00::1/64").contains(address("fd00:0:0:1::1")));
    EXPECT_FALSE(prefix("192.0.2.1/32").contains(address("192.0.2.0")));
}

TEST(SimPrefix, OfLengthZeroContainsAllOfItsTransport) {
    EXPECT_TRUE(prefix("0.0.0.0/0").contains(address("203.0.113.1")));
    EXPECT_FALSE(prefix("0.0.0.0/0").contains(address("fd00::1")));
}

TEST(SimPrefix, IsItsAddressAndItsLength) {
    EXPECT_EQ(prefix("192.0.2.1/24"), (Prefix{address("192.0.2.1"), 24}));
    EXPECT_EQ(prefix("fd00::1/128"), (Prefix{address("fd00::1"), 128}));
}

TEST(SimPrefix, WithoutALengthThatItCanHaveIsRefused) {
    for (const char *text : {"192.0.2.1", "192.0.2.1/", "192.0.2.1/33", "192.0.2.1/-1",
                             "192.0.2.1/24x", "fd00::1/129", "/24"}) {
        EXPECT_THROW((void)prefix(text), std::invalid_argument) << text;
    }
}

} // namespace
