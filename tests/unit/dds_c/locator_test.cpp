// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "infrastructure/Locator_internal.h"
#include "messages.h"

namespace {

class LocatorTest : public MessageTest {
protected:
    /** Checks that the one message is an error of DDS_Locator_to_string. */
    void expect_error(const char *name, const char *body) {
        const Message message = take_message();
        EXPECT_EQ(message.level, NUV_LOG_LEVEL_ERROR);
        EXPECT_EQ(message.module, NUV_LOG_MODULE_DDS);
        EXPECT_EQ(message.function, "DDS_Locator_to_string");
        EXPECT_EQ(message.name, name);
        EXPECT_EQ(message.body, body);
    }
};

constexpr DDS_Locator_t UDPV4 = {
    DDS_LOCATOR_KIND_UDPv4, 7410, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 192, 0, 2, 2}};

TEST_F(LocatorTest, EachMemberCountsForEquality) {
    DDS_Locator_t other = UDPV4;
    EXPECT_EQ(DDS_Locator_is_equal(&UDPV4, &other), DDS_BOOLEAN_TRUE);
    other.kind = DDS_LOCATOR_KIND_UDPv6;
    EXPECT_EQ(DDS_Locator_is_equal(&UDPV4, &other), DDS_BOOLEAN_FALSE);
    other = UDPV4;
    other.port = 7411;
    EXPECT_EQ(DDS_Locator_is_equal(&UDPV4, &other), DDS_BOOLEAN_FALSE);
    other = UDPV4;
    other.address[0] = 1;
    EXPECT_EQ(DDS_Locator_is_equal(&UDPV4, &other), DDS_BOOLEAN_FALSE);
}

TEST_F(LocatorTest, InvalidLocatorIsNone) {
    const DDS_Locator_t locator = DDS_LOCATOR_INVALID;
    EXPECT_EQ(locator.kind, KOLS_TRANSPORT_CLASSID_INVALID);
    EXPECT_EQ(locator.port, 0u);
    for (DDS_Octet octet : locator.address) {
        EXPECT_EQ(octet, 0);
    }
}

TEST_F(LocatorTest, HasAText) {
    char buffer[DDS_LOCATOR_STRING_SIZE];
    EXPECT_EQ(DDS_Locator_to_string(&UDPV4, buffer, sizeof buffer), DDS_RETCODE_OK);
    EXPECT_STREQ(buffer, "udpv4://192.0.2.2:7410");
    const DDS_Locator_t udpv6 = {
        DDS_LOCATOR_KIND_UDPv6, 7410, {0xfd, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}};
    EXPECT_EQ(DDS_Locator_to_string(&udpv6, buffer, sizeof buffer), DDS_RETCODE_OK);
    EXPECT_STREQ(buffer, "udpv6://[fd00::2]:7410");
}

TEST_F(LocatorTest, TextThatDoesNotFitIsNotWritten) {
    const std::string text = "udpv4://192.0.2.2:7410";
    char buffer[DDS_LOCATOR_STRING_SIZE] = "before";
    EXPECT_EQ(DDS_Locator_to_string(&UDPV4, buffer, text.size()), DDS_RETCODE_OUT_OF_RESOURCES);
    expect_error("NUV_LOG_EMPTY_TEMPLATE", "the text of a locator does not fit into a buffer of 22 "
                                           "characters: 72 are always enough");
    EXPECT_STREQ(buffer, "before");
    EXPECT_EQ(DDS_Locator_to_string(&UDPV4, buffer, text.size() + 1), DDS_RETCODE_OK);
    EXPECT_EQ(buffer, text);
    EXPECT_TRUE(messages_.empty());
}

TEST_F(LocatorTest, PortsOfMoreThan31BitsHaveNoText) {
    DDS_Locator_t locator = UDPV4;
    locator.port = 0x80000000u;
    char buffer[DDS_LOCATOR_STRING_SIZE] = "before";
    EXPECT_EQ(DDS_Locator_to_string(&locator, buffer, sizeof buffer), DDS_RETCODE_BAD_PARAMETER);
    expect_error("NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                 "locator->port is 2147483648: allowed are 0 to 2147483647");
    EXPECT_STREQ(buffer, "before");
}

TEST_F(LocatorTest, ComesFromALocatorOfTheLowerLayers) {
    NUVNetioLocator lower = NUV_NETIO_LOCATOR_INVALID;
    ASSERT_NE(NUVNetioLocator_parse("192.0.2.2:7410", &lower), 0);
    DDS_Locator_t locator = DDS_LOCATOR_INVALID;
    DDS_Locator_from_netio_locatorI(&locator, &lower);
    EXPECT_EQ(DDS_Locator_is_equal(&locator, &UDPV4), DDS_BOOLEAN_TRUE);
}

TEST_F(LocatorTest, NullIsAFailedPrecondition) {
    char buffer[DDS_LOCATOR_STRING_SIZE];
    NUVNetioLocator lower = NUV_NETIO_LOCATOR_INVALID;
    DDS_Locator_t locator = UDPV4;
    EXPECT_EQ(DDS_Locator_to_string(nullptr, buffer, sizeof buffer), DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"locator == ((void *)0)\"");
    EXPECT_EQ(DDS_Locator_to_string(&UDPV4, nullptr, 1), DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"buffer == ((void *)0)\"");
    EXPECT_EQ(DDS_Locator_is_equal(nullptr, &UDPV4), DDS_BOOLEAN_FALSE);
    expect_precondition("\"left == ((void *)0)\"");
    EXPECT_EQ(DDS_Locator_is_equal(&UDPV4, nullptr), DDS_BOOLEAN_FALSE);
    expect_precondition("\"right == ((void *)0)\"");
    DDS_Locator_from_netio_locatorI(nullptr, &lower);
    expect_precondition("\"self == ((void *)0)\"");
    DDS_Locator_from_netio_locatorI(&locator, nullptr);
    expect_precondition("\"locator == ((void *)0)\"");
}

} // namespace
