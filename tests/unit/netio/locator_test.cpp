// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "netio/netio_locator.h"

namespace {

NUVNetioLocator parse(const char *text) {
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    EXPECT_NE(NUVNetioLocator_parse(text, &locator), 0) << text;
    return locator;
}

std::string to_text(const NUVNetioLocator &locator) {
    char buffer[NUV_NETIO_LOCATOR_STRING_SIZE];
    const int length = NUVNetioLocator_toString(&locator, buffer, sizeof buffer);
    EXPECT_EQ(length, static_cast<int>(std::strlen(buffer)));
    return buffer;
}

struct Case {
    const char *text;
    const char *written;
};

TEST(LocatorTest, NumericTextsAreReadAndWritten) {
    for (const auto &[text, written] :
         {Case{"239.255.0.1", "udpv4://239.255.0.1:0"},
          Case{"192.0.2.2:7410", "udpv4://192.0.2.2:7410"},
          Case{"udpv4://192.0.2.2", "udpv4://192.0.2.2:0"},
          Case{"udpv4://192.0.2.2:7410", "udpv4://192.0.2.2:7410"},
          Case{"0.0.0.0:0", "udpv4://0.0.0.0:0"},
          Case{"255.255.255.255:65535", "udpv4://255.255.255.255:65535"},
          Case{"1.2.3.4:00080", "udpv4://1.2.3.4:80"}, Case{"fd00::2", "udpv6://[fd00::2]:0"},
          Case{"::", "udpv6://[::]:0"}, Case{"::1", "udpv6://[::1]:0"},
          Case{"[fd00::2]", "udpv6://[fd00::2]:0"},
          Case{"[FD00:0:0::2]:7410", "udpv6://[fd00::2]:7410"},
          Case{"udpv6://fd00::2", "udpv6://[fd00::2]:0"},
          Case{"udpv6://[fd00::2]", "udpv6://[fd00::2]:0"},
          Case{"udpv6://[fd00::2]:7410", "udpv6://[fd00::2]:7410"},
          Case{"[::ffff:255.255.255.255]:65535", "udpv6://[::ffff:255.255.255.255]:65535"},
          Case{"[1111:2222:3333:4444:5555:6666:7777:8888]:65535",
               "udpv6://[1111:2222:3333:4444:5555:6666:7777:8888]:65535"}}) {
        const NUVNetioLocator locator = parse(text);
        EXPECT_EQ(to_text(locator), written);
        EXPECT_EQ(locator.hostname, nullptr);
        EXPECT_EQ(locator.encapsulationCount, 0);
        const NUVNetioLocator again = parse(written);
        EXPECT_NE(NUVNetioLocator_isSame(&locator, &again), 0);
    }
}

TEST(LocatorTest, OtherTextsAreRefusedAndTheLocatorStaysAsItWas) {
    const NUVNetioLocator before = parse("udpv6://[fd00::2]:7410");
    for (const char *text :
         {"",
          " ",
          ":",
          ":7410",
          "[",
          "]",
          "[]",
          "[]:7410",
          "udpv4://",
          "udpv6://",
          "udpv4://:7410",
          "udpv6://[]:1",
          "localhost",
          "udpv4://localhost",
          "1.2.3",
          "1.2.3.",
          "1.2.3.4.5",
          "1.2.3.256",
          "01.2.3.4.5",
          " 1.2.3.4",
          "1.2.3.4 ",
          "1.2.3.4:",
          "1.2.3.4:65536",
          "1.2.3.4:-1",
          "1.2.3.4:+1",
          "1.2.3.4: 1",
          "1.2.3.4:1 ",
          "1.2.3.4:1x",
          "1.2.3.4:0x50",
          "1.2.3.4:000080",
          "1.2.3.4:1:2",
          "1.2.3.4:99999999999999999999",
          "[1.2.3.4]:80",
          "udpv6://1.2.3.4",
          "udpv4://fd00::2",
          "udpv4://[fd00::2]:80",
          "udpv5://1.2.3.4",
          "UDPV4://1.2.3.4",
          "shmem://1.2.3.4",
          "://1.2.3.4",
          "udpv4:1.2.3.4",
          "udpv4:/1.2.3.4",
          "udpv4://udpv4://1.2.3.4",
          "[fd00::2",
          "fd00::2]",
          "[fd00::2]7410",
          "[fd00::2]:",
          "[fd00::2]:65536",
          "[fd00::2]:1]",
          "[[fd00::2]]",
          "[fd00::2]x:1",
          "fd00:::2",
          "fd00::2::3",
          "fe80::1%lo",
          "[fe80::1%lo]:80",
          "12345::1",
          "1:2:3:4:5:6:7:8:9",
          "1:2:3:4:5:6:7",
          "[1111:2222:3333:4444:5555:6666:7777:88888]",
          "1111:2222:3333:4444:5555:6666:7777:8888:9999:aaaa:bbbb:cccc:dddd:eeee"}) {
        NUVNetioLocator locator = before;
        EXPECT_EQ(NUVNetioLocator_parse(text, &locator), 0) << text;
        EXPECT_EQ(std::memcmp(&locator, &before, sizeof locator), 0) << text;
    }
}

TEST(LocatorTest, NullIsNoLocator) {
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    EXPECT_EQ(NUVNetioLocator_parse(nullptr, &locator), 0);
}

TEST(LocatorTest, TextThatDoesNotFitIsNotWrittenAtAll) {
    const NUVNetioLocator locator = parse("udpv4://192.0.2.2:7410");
    const std::string whole = "udpv4://192.0.2.2:7410";
    char buffer[64];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(NUVNetioLocator_toString(&locator, buffer, whole.size()), -1);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string(sizeof buffer, '#'));
    EXPECT_EQ(NUVNetioLocator_toString(&locator, nullptr, 0), -1);
    EXPECT_EQ(NUVNetioLocator_toString(&locator, buffer, whole.size() + 1),
              static_cast<int>(whole.size()));
    EXPECT_EQ(buffer, whole);
}

TEST(LocatorTest, LongestTextsFitTheBuffer) {
    NUVNetioLocator locator = parse("[::ffff:255.255.255.255]");
    locator.port = INT32_MIN;
    EXPECT_EQ(to_text(locator), "udpv6://[::ffff:255.255.255.255]:-2147483648");
    locator.transport = INT32_MIN;
    EXPECT_EQ(to_text(locator), "-2147483648://00000000000000000000ffffffffffff:-2147483648");
}

TEST(LocatorTest, UnknownTransportIsWrittenAsClassAndHexadecimalAddress) {
    NUVNetioLocator locator = parse("192.0.2.2:7410");
    locator.transport = 16777216;
    EXPECT_EQ(to_text(locator), "16777216://000000000000000000000000c0000202:7410");
    const NUVNetioLocator invalid = NUV_NETIO_LOCATOR_INVALID;
    EXPECT_EQ(to_text(invalid), "-1://00000000000000000000000000000000:0");
}

TEST(LocatorTest, SameMeansTransportAddressAndPort) {
    const NUVNetioLocator locator = parse("192.0.2.2:7410");
    NUVNetioLocator other = locator;
    other.hostname = "host";
    other.encapsulationCount = 2;
    other.lossProbability = 1;
    other.disabled = 1;
    EXPECT_NE(NUVNetioLocator_isSame(&locator, &other), 0);
    other = locator;
    other.transport = KOLS_TRANSPORT_CLASSID_UDPv6;
    EXPECT_EQ(NUVNetioLocator_isSame(&locator, &other), 0);
    other = parse("192.0.2.3:7410");
    EXPECT_EQ(NUVNetioLocator_isSame(&locator, &other), 0);
    other = parse("192.0.2.2:7411");
    EXPECT_EQ(NUVNetioLocator_isSame(&locator, &other), 0);
}

bool is_multicast(const char *text) {
    const NUVNetioLocator locator = parse(text);
    return NUVNetioLocator_isMulticast(&locator) != 0;
}

bool is_loopback(const char *text) {
    const NUVNetioLocator locator = parse(text);
    return NUVNetioLocator_isLoopback(&locator) != 0;
}

TEST(LocatorTest, MulticastAddressesAreKnown) {
    EXPECT_TRUE(is_multicast("224.0.0.0"));
    EXPECT_TRUE(is_multicast("239.255.255.255"));
    EXPECT_FALSE(is_multicast("223.255.255.255"));
    EXPECT_FALSE(is_multicast("240.0.0.0"));
    EXPECT_TRUE(is_multicast("ff00::"));
    EXPECT_TRUE(is_multicast("ff02::1"));
    EXPECT_FALSE(is_multicast("fe80::1"));
}

TEST(LocatorTest, LoopbackAddressesAreKnown) {
    EXPECT_TRUE(is_loopback("127.0.0.1"));
    EXPECT_TRUE(is_loopback("127.255.255.255"));
    EXPECT_FALSE(is_loopback("126.255.255.255"));
    EXPECT_FALSE(is_loopback("128.0.0.0"));
    EXPECT_TRUE(is_loopback("::1"));
    EXPECT_FALSE(is_loopback("::"));
    EXPECT_FALSE(is_loopback("::2"));
}

TEST(LocatorTest, AddressesOfUnknownTransportsAreNeither) {
    for (const char *text : {"224.0.0.1", "127.0.0.1", "::1", "ff02::1"}) {
        NUVNetioLocator locator = parse(text);
        locator.transport = KOLS_TRANSPORT_CLASSID_INVALID;
        EXPECT_EQ(NUVNetioLocator_isMulticast(&locator), 0);
        EXPECT_EQ(NUVNetioLocator_isLoopback(&locator), 0);
    }
}

} // namespace
