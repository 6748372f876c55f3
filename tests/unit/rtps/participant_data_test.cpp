// SPDX-License-Identifier: Apache-2.0
// What a participant announces: its form in either byte order, both ways, and what is refused.
#include <memory>
#include <string>

#include "kinds.h"

namespace {

constexpr const char *ANNOUNCEMENT_BIG =
    "0002 0000  "
    "0015 0004 02 05 0000  "                                            // protocol version
    "0016 0004 00 00 0000  "                                            // vendor id
    "0050 0010 01020304 05060708 090a0b0c 000001c1  "                   // participant GUID
    "0002 0008 00000014 80000000  "                                     // lease duration
    "0058 0004 00000003  "                                              // builtin endpoints
    "0032 0018 00000001 00001cf2 00000000 00000000 00000000 c0000202  " // metatraffic unicast
    "0032 0018 00000002 00001cf2 fd000000 00000000 00000000 00000002  "
    "0031 0018 00000001 00001cf3 00000000 00000000 00000000 c0000202  " // default unicast
    "0033 0018 00000001 00001ce8 00000000 00000000 00000000 efff0001  " // metatraffic multicast
    "0048 0018 00000001 00001ce9 00000000 00000000 00000000 efff0001  " // default multicast
    "0077 0004 00000001  "                                              // builtin endpoint QoS
    "000f 0004 0000002a  "                                              // domain id
    "4014 0008 00000003 6c 61 00 00  "                                  // domain tag "la"
    "002c 0008 00000003 01 02 03 00  "                                  // user data
    "0062 000c 00000005 6e 6f 64 65 00 000000  "                        // entity name "node"
    "0059 0018 00000001 00000006 5f 5f 50 69 64 00 0000 00000003 34 32 00 00  " // "__Pid" is "42"
    "0043 0004 01 000000  " // expects inline QoS
    "0001 0000";

constexpr const char *ANNOUNCEMENT_LITTLE =
    "0003 0000  "
    "1500 0400 02 05 0000  "
    "1600 0400 00 00 0000  "
    "5000 1000 01020304 05060708 090a0b0c 000001c1  "
    "0200 0800 14000000 00000080  "
    "5800 0400 03000000  "
    "3200 1800 01000000 f21c0000 00000000 00000000 00000000 c0000202  "
    "3200 1800 02000000 f21c0000 fd000000 00000000 00000000 00000002  "
    "3100 1800 01000000 f31c0000 00000000 00000000 00000000 c0000202  "
    "3300 1800 01000000 e81c0000 00000000 00000000 00000000 efff0001  "
    "4800 1800 01000000 e91c0000 00000000 00000000 00000000 efff0001  "
    "7700 0400 01000000  "
    "0f00 0400 2a000000  "
    "1440 0800 03000000 6c 61 00 00  "
    "2c00 0800 03000000 01 02 03 00  "
    "6200 0c00 05000000 6e 6f 64 65 00 000000  "
    "5900 1800 01000000 06000000 5f 5f 50 69 64 00 0000 03000000 34 32 00 00  "
    "4300 0400 01 000000  "
    "0100 0000";

constexpr const char *announcement(RTPSByteOrder order) {
    return order == RTPS_BIG_ENDIAN ? ANNOUNCEMENT_BIG : ANNOUNCEMENT_LITTLE;
}

constexpr const char *GUID = "0050 0010 01020304 05060708 090a0b0c 000001c1  ";

void add(RTPSLocators &list, const char *text) {
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    EXPECT_NE(NUVNetioLocator_parse(text, &locator), 0) << text;
    RTPSLocators_add(&list, &locator, nullptr);
}

/** A participant that says only what it must; the rest is as the standard has it then. */
RTPSParticipantData least() {
    RTPSParticipantData data{};
    data.protocolVersion = {2, 5};
    data.guid = {HEADER_RECORD.guidPrefix, 0x000001C1};
    data.leaseDuration = RTPS_LEASE_DURATION_DEFAULT;
    return data;
}

/** The participant of the announcements above. Its views are of octets that stay. */
RTPSParticipantData everything() {
    static const auto USER_DATA = octets("010203");
    static const auto PROPERTIES = octets("00000001 00000006 5f5f506964000000 00000003 34320000");
    RTPSParticipantData data = least();
    data.leaseDuration = {20, 0x80000000};
    data.availableBuiltinEndpoints = 3;
    data.builtinEndpointQos = 1;
    data.hasDomainId = 1;
    data.domainId = 42;
    data.expectsInlineQos = 1;
    data.domainTag = {"la", 2};
    data.entityName = {"node", 4};
    data.userData = {USER_DATA.data(), USER_DATA.size()};
    data.properties = {1, RTPS_BIG_ENDIAN, {PROPERTIES.data(), PROPERTIES.size()}};
    add(data.metatrafficUnicast, "udpv4://192.0.2.2:7410");
    add(data.metatrafficUnicast, "udpv6://[fd00::2]:7410");
    add(data.defaultUnicast, "udpv4://192.0.2.2:7411");
    add(data.metatrafficMulticast, "udpv4://239.255.0.1:7400");
    add(data.defaultMulticast, "udpv4://239.255.0.1:7401");
    return data;
}

/** What an announcement says, or why it is refused. */
std::string read(const std::string &payload, const RTPSHeader &source = HEADER_RECORD,
                 const RTPSLocatorRanking *ranking = nullptr) {
    const Block block(payload);
    RTPSParticipantData data;
    const RTPSRefusal refusal = RTPSParticipantData_read(block.view(), &source, ranking, &data);
    return refusal == RTPS_ACCEPTED ? describe(data) : RTPSRefusal_toString(refusal);
}

/** The same of a big-endian announcement with the GUID and these parameters. */
std::string read_with(const std::string &parameters) {
    return read(std::string("0002 0000 ") + GUID + parameters + "0001 0000");
}

std::string reason(RTPSRefusal refusal) {
    return RTPSRefusal_toString(refusal);
}

TEST(ParticipantDataTest, IsReadInEitherByteOrder) {
    EXPECT_EQ(read(ANNOUNCEMENT_BIG), describe(everything()));
    EXPECT_EQ(read(ANNOUNCEMENT_LITTLE), describe(everything()));
}

TEST(ParticipantDataTest, IsWrittenInEitherByteOrder) {
    const RTPSParticipantData data = everything();
    for (const RTPSByteOrder order : BYTE_ORDERS) {
        Block room(octets(announcement(order)).size());
        EXPECT_EQ(RTPSParticipantData_write(&data, order, room.data(), room.size()), room.size());
        EXPECT_EQ(hex(room.view()), compact(announcement(order)));
    }
}

TEST(ParticipantDataTest, TellsItsSizeInWhateverRoom) {
    const RTPSParticipantData data = everything();
    const std::size_t needed = octets(ANNOUNCEMENT_BIG).size();
    EXPECT_EQ(RTPSParticipantData_write(&data, RTPS_BIG_ENDIAN, nullptr, 0), needed);
    for (std::size_t size = 0; size < needed; ++size) {
        Block room(size);
        EXPECT_EQ(RTPSParticipantData_write(&data, RTPS_BIG_ENDIAN, room.data(), size), needed);
    }
}

TEST(ParticipantDataTest, CutOffAnywhereIsRefused) {
    for (const RTPSByteOrder order : BYTE_ORDERS) {
        const std::vector<NUV_UINT8> whole = octets(announcement(order));
        for (std::size_t size = 0; size < whole.size(); ++size) {
            const Block block{std::span(whole).first(size)};
            RTPSParticipantData data;
            EXPECT_NE(RTPSParticipantData_read(block.view(), &HEADER_RECORD, nullptr, &data),
                      RTPS_ACCEPTED)
                << size;
        }
    }
}

TEST(ParticipantDataTest, WhatIsNotSaidIsAsTheStandardHasIt) {
    EXPECT_EQ(read_with(""), describe(least()));
}

TEST(ParticipantDataTest, WhatMeansTheSameUnsaidIsNotSaid) {
    const RTPSParticipantData data = least();
    Block room(72);
    EXPECT_EQ(RTPSParticipantData_write(&data, RTPS_BIG_ENDIAN, room.data(), room.size()), 72u);
    EXPECT_EQ(hex(room.view()),
              compact(std::string("0002 0000  0015 0004 02050000  0016 0004 00000000 ") + GUID +
                      "0002 0008 00000064 00000000  0058 0004 00000000  0043 0004 00000000  "
                      "0001 0000"));
}

TEST(ParticipantDataTest, VersionAndVendorAreTheSendersUnlessSaid) {
    const RTPSHeader source = {{2, 9}, {{7, 8}}, HEADER_RECORD.guidPrefix};
    RTPSParticipantData data = least();
    data.protocolVersion = source.version;
    data.vendorId = source.vendorId;
    EXPECT_EQ(read(std::string("0002 0000 ") + GUID + "0001 0000", source), describe(data));
    EXPECT_EQ(read(ANNOUNCEMENT_BIG, source), describe(everything()));
}

TEST(ParticipantDataTest, LocatorsAddUp) {
    RTPSParticipantData data = least();
    add(data.defaultUnicast, "udpv4://192.0.2.2:7411");
    add(data.defaultUnicast, "udpv4://192.0.2.3:7411");
    EXPECT_EQ(read_with("0031 0018 00000001 00001cf3 00000000 00000000 00000000 c0000202  "
                        "0031 0018 00000001 00001cf3 00000000 00000000 00000000 c0000203  "),
              describe(data));
}

TEST(ParticipantDataTest, LocatorsOfUnknownKindsAreSkipped) {
    EXPECT_EQ(read_with("0031 0018 00000010 00001cf3 00000000 00000000 00000000 c0000202  "
                        "0031 0018 ffffffff 00000000 00000000 00000000 00000000 00000000  "),
              describe(least()));
}

TEST(ParticipantDataTest, LocatorsAreKeptByTheirRank) {
    const RTPSLocatorRanking by_port = {
        [](void *param, const NUVNetioLocator *locator) -> NUV_INT32 {
            ++*static_cast<int *>(param);
            return locator->port;
        },
        nullptr};
    int calls = 0;
    RTPSLocatorRanking ranking = by_port;
    ranking.param = &calls;
    std::string locators;
    for (int port = 1; port <= 40; ++port) {
        char text[96];
        std::snprintf(text, sizeof text,
                      "0032 0018 00000001 %08x 00000000 00000000 00000000 c0000202 ",
                      static_cast<unsigned>(port));
        locators += text;
    }
    const Block block(std::string("0002 0000 ") + GUID + locators + "0001 0000");
    RTPSParticipantData data;
    EXPECT_EQ(RTPSParticipantData_read(block.view(), &HEADER_RECORD, &ranking, &data),
              RTPS_ACCEPTED);
    EXPECT_EQ(data.metatrafficUnicast.count, 16u);
    EXPECT_EQ(data.metatrafficUnicast.locators[0].port, 40);
    EXPECT_EQ(data.metatrafficUnicast.locators[15].port, 25);
    EXPECT_GE(calls, 40);
}

TEST(ParticipantDataTest, LastOfSeveralCounts) {
    RTPSParticipantData data = least();
    data.leaseDuration = {7, 0};
    data.entityName = {"b", 1};
    EXPECT_EQ(read_with("0002 0008 00000000 00000000  0062 0008 00000002 61000000  "
                        "0002 0008 00000007 00000000  0062 0008 00000002 62000000  "),
              describe(data));
}

TEST(ParticipantDataTest, ParametersMayComeInAnyOrder) {
    RTPSParticipantData data = least();
    data.entityName = {"a", 1};
    EXPECT_EQ(read(std::string("0002 0000 0062 0008 00000002 61000000 ") + GUID + "0001 0000"),
              describe(data));
}

TEST(ParticipantDataTest, UnknownParametersAreSkipped) {
    EXPECT_EQ(read_with("0034 0004 00000000  8000 0004 00000000  1001 0000  "), describe(least()));
}

TEST(ParticipantDataTest, UnknownParametersThatMustBeUnderstoodAreRefused) {
    EXPECT_EQ(read_with("4034 0004 00000000  "), reason(RTPS_REFUSED_MUST_UNDERSTAND));
    EXPECT_EQ(read_with("c000 0004 00000000  "), reason(RTPS_REFUSED_MUST_UNDERSTAND));
}

TEST(ParticipantDataTest, KnownParametersMayHaveToBeUnderstood) {
    RTPSParticipantData data = least();
    data.hasDomainId = 1;
    data.domainId = 3;
    data.domainTag = {"a", 1};
    EXPECT_EQ(read_with("400f 0004 00000003  0014 0008 00000002 61000000  "), describe(data));
}

TEST(ParticipantDataTest, ParameterOfAVendorIsNotTheOneWithThatNumber) {
    EXPECT_EQ(read_with("800f 0004 00000003  "), describe(least()));
}

TEST(ParticipantDataTest, InfiniteLeaseIsTaken) {
    RTPSParticipantData data = least();
    data.leaseDuration = NUV_NTP_TIME_INFINITE;
    EXPECT_EQ(read_with("0002 0008 7fffffff ffffffff  "), describe(data));
}

TEST(ParticipantDataTest, LeaseOfAFractionIsTaken) {
    RTPSParticipantData data = least();
    data.leaseDuration = {0, 1};
    EXPECT_EQ(read_with("0002 0008 00000000 00000001  "), describe(data));
}

TEST(ParticipantDataTest, LeaseOfZeroOrLessIsRefused) {
    for (const char *lease : {"0002 0008 00000000 00000000  ", "0002 0008 ffffffff ffffffff  ",
                              "0002 0008 80000000 00000000  "}) {
        EXPECT_EQ(read_with(lease), reason(RTPS_REFUSED_LEASE)) << lease;
    }
}

TEST(ParticipantDataTest, WithoutAGuidIsRefused) {
    EXPECT_EQ(read("0002 0000 0001 0000"), reason(RTPS_REFUSED_NO_GUID));
}

TEST(ParticipantDataTest, GuidOfAnotherEntityIsRefused) {
    EXPECT_EQ(read_with("0050 0010 01020304 05060708 090a0b0c 000100c2  "),
              reason(RTPS_REFUSED_ENTITY_ID));
}

TEST(ParticipantDataTest, GuidOfAnotherSenderIsRefused) {
    for (const char *guid : {"0050 0010 01020305 05060708 090a0b0c 000001c1  ",
                             "0050 0010 01020304 05060709 090a0b0c 000001c1  ",
                             "0050 0010 01020304 05060708 090a0b0d 000001c1  "}) {
        EXPECT_EQ(read_with(guid), reason(RTPS_REFUSED_GUID_PREFIX)) << guid;
    }
}

TEST(ParticipantDataTest, TextWithoutItsEndIsRefused) {
    EXPECT_EQ(read_with("0062 0008 00000004 61626364  "), reason(RTPS_REFUSED_TEXT));
    EXPECT_EQ(read_with("4014 0008 00000001 61000000  "), reason(RTPS_REFUSED_TEXT));
    EXPECT_EQ(read_with("0059 000c 00000001 00000001 61000000  "), reason(RTPS_REFUSED_TEXT));
}

TEST(ParticipantDataTest, ParametersThatAreTooShortAreRefused) {
    for (const char *parameter : {"0015 0000  ",
                                  "0016 0000  ",
                                  "0050 000c 01020304 05060708 090a0b0c  ",
                                  "0002 0004 00000001  ",
                                  "0058 0000  ",
                                  "0077 0000  ",
                                  "000f 0000  ",
                                  "0043 0000  ",
                                  "0032 0014 00000001 00001cf2 00000000 00000000 00000000  ",
                                  "0031 0014 00000001 00001cf2 00000000 00000000 00000000  ",
                                  "0033 0014 00000001 00001cf2 00000000 00000000 00000000  ",
                                  "0048 0014 00000001 00001cf2 00000000 00000000 00000000  ",
                                  "4014 0000  ",
                                  "4014 0004 00000001  ",
                                  "0062 0000  ",
                                  "0062 0008 00000005 61626300  ",
                                  "002c 0000  ",
                                  "002c 0008 00000005 61626364  ",
                                  "002c 0004 ffffffff  ",
                                  "0059 0000  ",
                                  "0059 0004 00000001  "}) {
        EXPECT_EQ(read_with(parameter), reason(RTPS_REFUSED_LENGTH)) << parameter;
    }
}

TEST(ParticipantDataTest, ParametersMayBeLongerThanTheirValue) {
    RTPSParticipantData data = least();
    data.hasDomainId = 1;
    data.domainId = 3;
    EXPECT_EQ(read_with("000f 0008 00000003 deadbeef  "), describe(data));
}

TEST(ParticipantDataTest, PayloadThatIsNoParameterListIsRefused) {
    EXPECT_EQ(read("0001 0000"), reason(RTPS_REFUSED_ENCAPSULATION));
}

TEST(ParticipantDataTest, ListWithoutItsEndIsRefused) {
    EXPECT_EQ(read(std::string("0002 0000 ") + GUID), reason(RTPS_REFUSED_NO_SENTINEL));
}

TEST(ParticipantDataTest, WhatIsTooLongForAnyAnnouncementIsImpossible) {
    const std::string text(65'528, 'x');
    RTPSParticipantData data = least();
    data.entityName = {text.c_str(), 65'527};
    EXPECT_EQ(RTPSParticipantData_write(&data, RTPS_BIG_ENDIAN, nullptr, 0), 72u + 65'536);
    data.entityName.length = 65'528;
    EXPECT_EQ(RTPSParticipantData_write(&data, RTPS_BIG_ENDIAN, nullptr, 0), RTPS_SIZE_IMPOSSIBLE);
}

constexpr const char *KEY_BIG =
    "0002 0000  0050 0010 01020304 05060708 090a0b0c 000001c1  0001 0000";
constexpr const char *KEY_LITTLE =
    "0003 0000  5000 1000 01020304 05060708 090a0b0c 000001c1  0100 0000";

RTPSRefusal read_key(const std::string &payload, NUVOsapiRtpsGuid *out) {
    const Block block(payload);
    return RTPSParticipantKey_read(block.view(), out);
}

std::string describe_guid(const NUVOsapiRtpsGuid &guid) {
    Block room(RTPS_GUID_SIZE);
    RTPSGuid_toOctets(&guid, room.data());
    return hex(room.view());
}

TEST(ParticipantKeyTest, HasThisForm) {
    for (const auto &[order, payload] :
         {std::pair{RTPS_BIG_ENDIAN, KEY_BIG}, std::pair{RTPS_LITTLE_ENDIAN, KEY_LITTLE}}) {
        NUVOsapiRtpsGuid guid{};
        EXPECT_EQ(read_key(payload, &guid), RTPS_ACCEPTED);
        EXPECT_EQ(describe_guid(guid), "0102030405060708090a0b0c000001c1");
        Block room(28);
        EXPECT_EQ(RTPSParticipantKey_write(&guid, order, room.data(), room.size()), 28u);
        EXPECT_EQ(hex(room.view()), compact(payload));
    }
}

TEST(ParticipantKeyTest, WhatIsNoKeyIsRefusedAndLeavesTheGuidAlone) {
    NUVOsapiRtpsGuid guid = {{1, 2, 3}, 4};
    EXPECT_EQ(read_key("0001 0000", &guid), RTPS_REFUSED_ENCAPSULATION);
    EXPECT_EQ(read_key("0002 0000 0001 0000", &guid), RTPS_REFUSED_NO_GUID);
    EXPECT_EQ(read_key(std::string("0002 0000 ") + GUID, &guid), RTPS_REFUSED_NO_SENTINEL);
    EXPECT_EQ(read_key("0002 0000 0050 000c 01020304 05060708 090a0b0c 0001 0000", &guid),
              RTPS_REFUSED_LENGTH);
    EXPECT_EQ(read_key("0002 0000 0050 0010 01020304 05060708 090a0b0c 000100c2 0001 0000", &guid),
              RTPS_REFUSED_ENTITY_ID);
    EXPECT_EQ(read_key(std::string("0002 0000 4051 0000 ") + GUID + "0001 0000", &guid),
              RTPS_REFUSED_MUST_UNDERSTAND);
    EXPECT_EQ(describe_guid(guid), "00000001000000020000000300000004");
}

TEST(ParticipantKeyTest, OtherParametersAreSkipped) {
    NUVOsapiRtpsGuid guid{};
    EXPECT_EQ(read_key(std::string("0002 0000 0015 0004 02050000 ") + GUID + "0001 0000", &guid),
              RTPS_ACCEPTED);
}

} // namespace
