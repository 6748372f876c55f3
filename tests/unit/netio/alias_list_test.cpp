// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "netio/netio_locator.h"

namespace {

NUVNetioAliasList list_of(const std::string &text) {
    NUVNetioAliasList list{};
    std::memcpy(list.aliases, text.data(), std::min(text.size(), sizeof list.aliases));
    return list;
}

TEST(AliasListTest, EmptyListContainsNothing) {
    const NUVNetioAliasList list = list_of("");
    EXPECT_EQ(NUVNetioAliasList_contains(&list, "udpv4"), 0);
    EXPECT_EQ(NUVNetioAliasList_contains(&list, ""), 0);
    EXPECT_EQ(NUVNetioAliasList_contains(&list, nullptr), 0);
}

TEST(AliasListTest, ContainsWholeAliasesOnly) {
    const NUVNetioAliasList list = list_of("udpv4,udpv6,shmem");
    EXPECT_NE(NUVNetioAliasList_contains(&list, "udpv4"), 0);
    EXPECT_NE(NUVNetioAliasList_contains(&list, "udpv6"), 0);
    EXPECT_NE(NUVNetioAliasList_contains(&list, "shmem"), 0);
    EXPECT_EQ(NUVNetioAliasList_contains(&list, "udp"), 0);
    EXPECT_EQ(NUVNetioAliasList_contains(&list, "udpv44"), 0);
    EXPECT_EQ(NUVNetioAliasList_contains(&list, "UDPv4"), 0);
    EXPECT_EQ(NUVNetioAliasList_contains(&list, "udpv4,udpv6"), 0);
    EXPECT_EQ(NUVNetioAliasList_contains(&list, ""), 0);
}

TEST(AliasListTest, AddedAliasesAreJoinedByCommas) {
    NUVNetioAliasList list{};
    EXPECT_NE(NUVNetioAliasList_add(&list, "udpv6"), 0);
    EXPECT_STREQ(list.aliases, "udpv6");
    EXPECT_NE(NUVNetioAliasList_add(&list, "udpv4"), 0);
    EXPECT_STREQ(list.aliases, "udpv6,udpv4");
}

TEST(AliasListTest, AddingTwiceAddsOnce) {
    NUVNetioAliasList list = list_of("udpv4");
    EXPECT_NE(NUVNetioAliasList_add(&list, "udpv4"), 0);
    EXPECT_STREQ(list.aliases, "udpv4");
}

TEST(AliasListTest, WhatIsNoAliasIsNotAdded) {
    NUVNetioAliasList list = list_of("udpv4");
    EXPECT_EQ(NUVNetioAliasList_add(&list, ""), 0);
    EXPECT_EQ(NUVNetioAliasList_add(&list, "a,b"), 0);
    EXPECT_EQ(NUVNetioAliasList_add(&list, nullptr), 0);
    EXPECT_STREQ(list.aliases, "udpv4");
}

TEST(AliasListTest, AliasThatJustFitsIsAddedAndOneMoreCharacterIsNot) {
    const std::string most(NUV_NETIO_ALIAS_LIST_SIZE - 1, 'x');
    NUVNetioAliasList list{};
    EXPECT_EQ(NUVNetioAliasList_add(&list, (most + "x").c_str()), 0);
    EXPECT_STREQ(list.aliases, "");
    EXPECT_NE(NUVNetioAliasList_add(&list, most.c_str()), 0);
    EXPECT_EQ(list.aliases, most);
    EXPECT_EQ(NUVNetioAliasList_add(&list, "y"), 0);
    EXPECT_EQ(list.aliases, most);

    NUVNetioAliasList nearly = list_of(std::string(NUV_NETIO_ALIAS_LIST_SIZE - 3, 'x'));
    EXPECT_EQ(NUVNetioAliasList_add(&nearly, "yy"), 0);
    EXPECT_NE(NUVNetioAliasList_add(&nearly, "y"), 0);
    EXPECT_NE(NUVNetioAliasList_contains(&nearly, "y"), 0);
}

TEST(AliasListTest, ListWithoutTerminatorEndsWithItsArray) {
    NUVNetioAliasList list{};
    std::memset(list.aliases, 'x', sizeof list.aliases);
    EXPECT_EQ(NUVNetioAliasList_contains(&list, "udpv4"), 0);
    EXPECT_NE(NUVNetioAliasList_contains(&list, std::string(sizeof list.aliases, 'x').c_str()), 0);
    EXPECT_EQ(NUVNetioAliasList_add(&list, "udpv4"), 0);
}

TEST(TransportTest, AliasesAndClassesCorrespond) {
    EXPECT_STREQ(NUVNetioTransport_aliasOfClass(KOLS_TRANSPORT_CLASSID_UDPv4), "udpv4");
    EXPECT_STREQ(NUVNetioTransport_aliasOfClass(KOLS_TRANSPORT_CLASSID_UDPv6), "udpv6");
    EXPECT_EQ(NUVNetioTransport_classOfAlias("udpv4"), KOLS_TRANSPORT_CLASSID_UDPv4);
    EXPECT_EQ(NUVNetioTransport_classOfAlias("udpv6"), KOLS_TRANSPORT_CLASSID_UDPv6);
}

TEST(TransportTest, UnknownOnesHaveNone) {
    EXPECT_EQ(NUVNetioTransport_aliasOfClass(KOLS_TRANSPORT_CLASSID_INVALID), nullptr);
    EXPECT_EQ(NUVNetioTransport_aliasOfClass(0), nullptr);
    EXPECT_EQ(NUVNetioTransport_aliasOfClass(3), nullptr);
    EXPECT_EQ(NUVNetioTransport_classOfAlias("udp"), KOLS_TRANSPORT_CLASSID_INVALID);
    EXPECT_EQ(NUVNetioTransport_classOfAlias(""), KOLS_TRANSPORT_CLASSID_INVALID);
    EXPECT_EQ(NUVNetioTransport_classOfAlias(nullptr), KOLS_TRANSPORT_CLASSID_INVALID);
}

} // namespace
