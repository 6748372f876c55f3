// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstdint>

#include "dds_c/dds_c_rtpswellknownports.h"
#include "messages.h"

namespace {

class WellKnownPortsTest : public MessageTest {
protected:
    DDS_LongLong builtin_multicast(DDS_DomainId_t domain) {
        return DDS_RtpsWellKnownPorts_get_builtin_multicast_port(&ports_, domain);
    }
    DDS_LongLong builtin_unicast(DDS_DomainId_t domain, DDS_Long index) {
        return DDS_RtpsWellKnownPorts_get_builtin_unicast_port(&ports_, domain, index);
    }
    DDS_LongLong user_multicast(DDS_DomainId_t domain) {
        return DDS_RtpsWellKnownPorts_get_user_multicast_port(&ports_, domain);
    }
    DDS_LongLong user_unicast(DDS_DomainId_t domain, DDS_Long index) {
        return DDS_RtpsWellKnownPorts_get_user_unicast_port(&ports_, domain, index);
    }
    DDS_Boolean is_valid(DDS_DomainId_t domain, DDS_Long index) {
        return DDS_RtpsWellKnownPorts_isUnicastValid(&ports_, domain, index);
    }

    DDS_RtpsWellKnownPorts_t ports_ = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;
};

TEST_F(WellKnownPortsTest, DefaultsAreThoseOfRtps) {
    DDS_RtpsWellKnownPorts_t ports = {};
    DDS_RtpsWellKnownPorts_initialize(&ports);
    EXPECT_EQ(ports.port_base, 7400);
    EXPECT_EQ(ports.domain_id_gain, 250);
    EXPECT_EQ(ports.participant_id_gain, 2);
    EXPECT_EQ(ports.builtin_multicast_port_offset, 0);
    EXPECT_EQ(ports.builtin_unicast_port_offset, 10);
    EXPECT_EQ(ports.user_multicast_port_offset, 1);
    EXPECT_EQ(ports.user_unicast_port_offset, 11);
    EXPECT_EQ(DDS_RtpsWellKnownPorts_is_equal(&ports, &ports_), DDS_BOOLEAN_TRUE);
}

TEST_F(WellKnownPortsTest, ReservedPortBitsAreThoseOfTheWire) {
    EXPECT_EQ(DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST, 1);
    EXPECT_EQ(DDS_RTPS_RESERVED_PORT_BUILTIN_MULTICAST, 2);
    EXPECT_EQ(DDS_RTPS_RESERVED_PORT_USER_UNICAST, 4);
    EXPECT_EQ(DDS_RTPS_RESERVED_PORT_USER_MULTICAST, 8);
    EXPECT_EQ(DDS_RTPS_RESERVED_PORT_MASK_NONE, 0);
    EXPECT_EQ(DDS_RTPS_RESERVED_PORT_MASK_DEFAULT, 7);
    EXPECT_EQ(DDS_RTPS_RESERVED_PORT_MASK_ALL, 15);
}

TEST_F(WellKnownPortsTest, EachParameterCountsForEquality) {
    DDS_Long DDS_RtpsWellKnownPorts_t::*const members[] = {
        &DDS_RtpsWellKnownPorts_t::port_base,
        &DDS_RtpsWellKnownPorts_t::domain_id_gain,
        &DDS_RtpsWellKnownPorts_t::participant_id_gain,
        &DDS_RtpsWellKnownPorts_t::builtin_multicast_port_offset,
        &DDS_RtpsWellKnownPorts_t::builtin_unicast_port_offset,
        &DDS_RtpsWellKnownPorts_t::user_multicast_port_offset,
        &DDS_RtpsWellKnownPorts_t::user_unicast_port_offset,
    };
    for (auto member : members) {
        DDS_RtpsWellKnownPorts_t other = ports_;
        ++(other.*member);
        EXPECT_EQ(DDS_RtpsWellKnownPorts_is_equal(&ports_, &other), DDS_BOOLEAN_FALSE);
    }
}

TEST_F(WellKnownPortsTest, PortsFollowDomainAndIndex) {
    EXPECT_EQ(builtin_multicast(0), 7400);
    EXPECT_EQ(user_multicast(0), 7401);
    EXPECT_EQ(builtin_unicast(0, 0), 7410);
    EXPECT_EQ(user_unicast(0, 0), 7411);
    EXPECT_EQ(builtin_multicast(3), 8150);
    EXPECT_EQ(user_multicast(3), 8151);
    EXPECT_EQ(builtin_unicast(3, 5), 8170);
    EXPECT_EQ(user_unicast(3, 5), 8171);
}

TEST_F(WellKnownPortsTest, EachParameterHasItsPlace) {
    ports_ = {1000000, 100000, 10000, 1, 2, 3, 4};
    EXPECT_EQ(builtin_multicast(2), 1200001);
    EXPECT_EQ(user_multicast(2), 1200003);
    EXPECT_EQ(builtin_unicast(2, 5), 1250002);
    EXPECT_EQ(user_unicast(2, 5), 1250004);
}

TEST_F(WellKnownPortsTest, LargeNumbersDoNotOverflow) {
    ports_ = {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX};
    const DDS_LongLong product = static_cast<DDS_LongLong>(INT32_MAX) * INT32_MAX;
    EXPECT_EQ(builtin_multicast(INT32_MAX), product + 2LL * INT32_MAX);
    EXPECT_EQ(user_unicast(INT32_MAX, INT32_MAX), 2 * product + 2LL * INT32_MAX);
    EXPECT_EQ(user_unicast(INT32_MIN, INT32_MIN),
              2 * static_cast<DDS_LongLong>(INT32_MAX) * INT32_MIN + 2LL * INT32_MAX);
}

TEST_F(WellKnownPortsTest, WhatDoesNotFitIn64BitsIsTheLargestValue) {
    ports_ = {0, INT32_MIN, INT32_MIN, 0, 0, 0, 0};
    EXPECT_EQ(builtin_unicast(INT32_MIN, INT32_MIN), LLONG_MAX);
    EXPECT_EQ(is_valid(INT32_MIN, INT32_MIN), DDS_BOOLEAN_FALSE);
}

TEST_F(WellKnownPortsTest, UnicastIsValidUpToTheLastPort) {
    EXPECT_EQ(is_valid(0, 0), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(is_valid(232, 62), DDS_BOOLEAN_TRUE); // 65534, 65535
    EXPECT_EQ(is_valid(232, 63), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(is_valid(233, 0), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(is_valid(-1, 0), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(is_valid(-30, 0), DDS_BOOLEAN_FALSE);
}

TEST_F(WellKnownPortsTest, BothUnicastPortsMustBeValid) {
    ports_ = {1, 0, 1, 0, 65534, 0, 65535};
    EXPECT_EQ(is_valid(0, 0), DDS_BOOLEAN_FALSE);
    ports_.user_unicast_port_offset = 65534;
    EXPECT_EQ(is_valid(0, 0), DDS_BOOLEAN_TRUE);
    ports_.builtin_unicast_port_offset = 65535;
    EXPECT_EQ(is_valid(0, 0), DDS_BOOLEAN_FALSE);
    ports_ = {0, 0, 1, 0, 0, 0, 1};
    EXPECT_EQ(is_valid(0, 0), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(is_valid(0, 1), DDS_BOOLEAN_TRUE);
}

TEST_F(WellKnownPortsTest, NullIsAFailedPrecondition) {
    const char *const text = "\"self == ((void *)0)\"";
    DDS_RtpsWellKnownPorts_initialize(nullptr);
    expect_precondition(text);
    EXPECT_EQ(DDS_RtpsWellKnownPorts_get_builtin_multicast_port(nullptr, 0), 0);
    expect_precondition(text);
    EXPECT_EQ(DDS_RtpsWellKnownPorts_get_builtin_unicast_port(nullptr, 0, 0), 0);
    expect_precondition(text);
    EXPECT_EQ(DDS_RtpsWellKnownPorts_get_user_multicast_port(nullptr, 0), 0);
    expect_precondition(text);
    EXPECT_EQ(DDS_RtpsWellKnownPorts_get_user_unicast_port(nullptr, 0, 0), 0);
    expect_precondition(text);
    EXPECT_EQ(DDS_RtpsWellKnownPorts_isUnicastValid(nullptr, 0, 0), DDS_BOOLEAN_FALSE);
    expect_precondition(text);
    EXPECT_EQ(DDS_RtpsWellKnownPorts_is_equal(nullptr, &ports_), DDS_BOOLEAN_FALSE);
    expect_precondition("\"left == ((void *)0)\"");
    EXPECT_EQ(DDS_RtpsWellKnownPorts_is_equal(&ports_, nullptr), DDS_BOOLEAN_FALSE);
    expect_precondition("\"right == ((void *)0)\"");
}

} // namespace
