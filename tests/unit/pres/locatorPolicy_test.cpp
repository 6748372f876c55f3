// SPDX-License-Identifier: Apache-2.0
#include "pres/pres_locatorPolicy.h"

#include <cstring>
#include <memory>

#include "fixture.h"

namespace {

bool is_invalid(const NUVNetioLocator &entry) {
    const NUVNetioLocator invalid = NUV_NETIO_LOCATOR_INVALID;
    return entry.transport == -1 &&
           std::memcmp(&entry.address, &invalid.address, sizeof entry.address) == 0 &&
           entry.hostname == nullptr && entry.port == 0 && entry.encapsulationCount == 0 &&
           entry.lossProbability == 0 && entry.disabled == 0;
}

int compare(const PRESLocatorQosPolicy &left, const PRESLocatorQosPolicy &right) {
    return PRESLocatorQosPolicy_compare(&left, &right);
}

TEST(LocatorPolicy, DefaultsAreEmptyAndEveryLocatorIsInvalid) {
    EXPECT_EQ(LOCATOR_QOS_POLICY_DEFAULT.count, 0);
    for (const NUVNetioLocator &entry : LOCATOR_QOS_POLICY_DEFAULT.locatorList) {
        EXPECT_TRUE(is_invalid(entry));
    }
    EXPECT_EQ(REDUCED_LOCATOR_QOS_POLICY_DEFAULT.count, 0);
    for (const NUVNetioLocator &entry : REDUCED_LOCATOR_QOS_POLICY_DEFAULT.locatorList) {
        EXPECT_TRUE(is_invalid(entry));
    }
}

TEST(LocatorPolicy, CopyTakesTheCountAndThatManyLocators) {
    const auto source = locators({1, 2, 3});
    PRESLocatorQosPolicy copy = LOCATOR_QOS_POLICY_DEFAULT;
    PRESLocatorQosPolicy_copy(&copy, &source);
    EXPECT_EQ(copy.count, 3);
    EXPECT_EQ(to_text(copy),
              "udpv4://192.0.2.1:7410, udpv4://192.0.2.2:7410, udpv4://192.0.2.3:7410");
}

TEST(LocatorPolicy, CopyTakesEveryFieldOfALocator) {
    const char *const name = "host";
    auto source = locators({1});
    source.locatorList[0].hostname = name;
    source.locatorList[0].encapsulationCount = 2;
    source.locatorList[0].encapsulations[1] = 7;
    source.locatorList[0].lossProbability = 3;
    source.locatorList[0].disabled = 1;
    PRESLocatorQosPolicy copy = LOCATOR_QOS_POLICY_DEFAULT;
    PRESLocatorQosPolicy_copy(&copy, &source);
    EXPECT_EQ(copy.locatorList[0].hostname, name);
    EXPECT_EQ(copy.locatorList[0].encapsulationCount, 2);
    EXPECT_EQ(copy.locatorList[0].encapsulations[1], 7);
    EXPECT_EQ(copy.locatorList[0].lossProbability, 3);
    EXPECT_EQ(copy.locatorList[0].disabled, 1);
}

TEST(LocatorPolicy, CopyLeavesTheRestOfTheDestinationAsItIs) {
    const auto source = locators({9});
    auto copy = locators({1, 2, 3});
    PRESLocatorQosPolicy_copy(&copy, &source);
    EXPECT_EQ(copy.count, 1);
    EXPECT_EQ(copy.locatorList[0].address.network_ordered_value[15], 9);
    EXPECT_EQ(copy.locatorList[1].address.network_ordered_value[15], 2);
    EXPECT_EQ(copy.locatorList[2].address.network_ordered_value[15], 3);
}

TEST(LocatorPolicy, CopyOfAnEmptyListOnlySetsTheCount) {
    auto copy = locators({1});
    PRESLocatorQosPolicy_copy(&copy, &LOCATOR_QOS_POLICY_DEFAULT);
    EXPECT_EQ(copy.count, 0);
    EXPECT_EQ(copy.locatorList[0].transport, KOLS_TRANSPORT_CLASSID_UDPv4);
}

TEST(LocatorPolicy, CopyOfAFullListIsWhole) {
    const auto source = locators({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    PRESLocatorQosPolicy copy = LOCATOR_QOS_POLICY_DEFAULT;
    PRESLocatorQosPolicy_copy(&copy, &source);
    EXPECT_EQ(copy.count, PRES_LOCATOR_LIST_MAX);
    EXPECT_EQ(compare(copy, source), 0);
}

// On the heap, where the address sanitizer sees an access past the end.
TEST(LocatorPolicy, ReducedListsAreCopiedComparedAndPrintedWithinTheirBounds) {
    using Reduced = PRESReducedLocatorQosPolicy;
    const auto source = std::make_unique<Reduced>(locators<Reduced>({1, 2, 3, 4}));
    const auto copy = std::make_unique<Reduced>(REDUCED_LOCATOR_QOS_POLICY_DEFAULT);
    const PRESLocatorQosPolicy *const from =
        PRESReducedLocatorQosPolicy_asConstLocatorPolicy(source.get());
    PRESLocatorQosPolicy *const to = PRESReducedLocatorQosPolicy_asLocatorPolicy(copy.get());

    EXPECT_NE(PRESLocatorQosPolicy_compare(to, from), 0);
    PRESLocatorQosPolicy_copy(to, from);
    EXPECT_EQ(copy->count, 4);
    EXPECT_EQ(PRESLocatorQosPolicy_compare(to, from), 0);
    EXPECT_EQ(to_text(*copy), "udpv4://192.0.2.1:7410, udpv4://192.0.2.2:7410, "
                              "udpv4://192.0.2.3:7410, udpv4://192.0.2.4:7410");
}

TEST(LocatorPolicy, AReducedListCanBeCopiedIntoAWholeOne) {
    const auto source = locators<PRESReducedLocatorQosPolicy>({1, 2});
    PRESLocatorQosPolicy copy = LOCATOR_QOS_POLICY_DEFAULT;
    PRESLocatorQosPolicy_copy(&copy, PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&source));
    EXPECT_EQ(compare(copy, locators({1, 2})), 0);
}

TEST(LocatorPolicy, ListsOfTheSameLocatorsAreEqual) {
    EXPECT_EQ(compare(locators({1, 2}), locators({1, 2})), 0);
    EXPECT_EQ(compare(LOCATOR_QOS_POLICY_DEFAULT, LOCATOR_QOS_POLICY_DEFAULT), 0);
}

TEST(LocatorPolicy, ListsOfOtherLengthLocatorOrOrderDiffer) {
    EXPECT_NE(compare(locators({1, 2}), locators({1})), 0);
    EXPECT_NE(compare(locators({1}), locators({1, 2})), 0);
    EXPECT_NE(compare(locators({1, 2}), locators({1, 3})), 0);
    EXPECT_NE(compare(locators({1, 2}), locators({2, 1})), 0);
    EXPECT_NE(compare(locators({1}, 7410), locators({1}, 7411)), 0);
}

TEST(LocatorPolicy, WhatLiesBehindTheCountDoesNotMatter) {
    auto left = locators({1, 2});
    auto right = locators({1, 3});
    left.count = 1;
    right.count = 1;
    EXPECT_EQ(compare(left, right), 0);
}

TEST(LocatorPolicy, TheTextOfAnEmptyListIsEmpty) {
    char text[] = "before";
    EXPECT_NE(PRESLocatorQosPolicy_toString(&LOCATOR_QOS_POLICY_DEFAULT, text, sizeof text), 0);
    EXPECT_STREQ(text, "");
}

TEST(LocatorPolicy, ATextThatJustFitsIsWritten) {
    const std::string whole = "udpv4://192.0.2.1:7410, udpv4://192.0.2.2:7410";
    std::vector<char> buffer(whole.size() + 1, 'x');
    const auto list = locators({1, 2});
    EXPECT_NE(
        PRESLocatorQosPolicy_toString(&list, buffer.data(), static_cast<NUV_INT32>(buffer.size())),
        0);
    EXPECT_EQ(buffer.data(), whole);
}

// One byte less, down to none, wherever that ends: in a locator or in a separator.
TEST(LocatorPolicy, ATextThatDoesNotFitFailsAndLeavesAnEmptyText) {
    const auto list = locators({1, 2});
    const std::size_t whole = to_text(list).size() + 1;
    for (std::size_t size = 1; size < whole; ++size) {
        std::vector<char> buffer(size, 'x');
        EXPECT_EQ(PRESLocatorQosPolicy_toString(&list, buffer.data(), static_cast<NUV_INT32>(size)),
                  0);
        EXPECT_EQ(buffer[0], '\0') << size;
    }
}

TEST(LocatorPolicy, ABufferWithoutRoomIsNotTouched) {
    char text[] = "before";
    EXPECT_EQ(PRESLocatorQosPolicy_toString(&LOCATOR_QOS_POLICY_DEFAULT, text, 0), 0);
    EXPECT_EQ(PRESLocatorQosPolicy_toString(&LOCATOR_QOS_POLICY_DEFAULT, text, -1), 0);
    EXPECT_STREQ(text, "before");
}

} // namespace
