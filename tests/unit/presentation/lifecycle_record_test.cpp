// SPDX-License-Identifier: Apache-2.0
// The record itself: how it is laid out, and which of its fields initialization writes.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <utility>

#include "support/presentation_fixture.h"

namespace {

using namespace support;

using Record = DDS_DomainParticipantPresentation;

struct Field {
    const char *name;
    std::size_t offset;
    std::size_t size;
    std::size_t alignment;
};

#define FIELD(MEMBER)                                                                              \
    Field {                                                                                        \
#MEMBER, offsetof(Record, MEMBER), sizeof(std::declval <Record>().MEMBER),                 \
            alignof(decltype(std::declval <Record>().MEMBER))                                      \
    }

/** The fields in the order in which they stand; those of the entryport sets one by one. */
const Field FIELDS[] = {
    FIELD(participant),
    FIELD(_domainId),
    FIELD(_threadParticipantId),
    FIELD(_participantIndexSpecified),
    FIELD(_cachedTransportUnicastPolicy),
    FIELD(_cachedTransportMulticastMappingPolicy),
    FIELD(cachedDiscoveryPolicy),
    FIELD(cachedWellKnownPorts),
    FIELD(_cachedReservedPortMask),
    FIELD(_cachedDefaultUnicastLocator),
    FIELD(_cachedMetatrafficUnicastLocator),
    FIELD(_cachedDefaultMulticastLocator),
    FIELD(_cachedMetatrafficMulticastLocator),
    FIELD(_entityFinalizeListener),
    FIELD(_reserveEntryportMetaMulticastWR),
    FIELD(_reserveEntryportUserMulticastWR),
    FIELD(_reserveMetaUnicast._count),
    FIELD(_reserveMetaUnicast._entryportWR),
    FIELD(_reserveUserUnicast._count),
    FIELD(_reserveUserUnicast._entryportWR),
    FIELD(_configurator),
    FIELD(_entryportsReserved),
    FIELD(_maxLocatorListSize),
    FIELD(_isLocatorReachabilityDisabled),
};

std::size_t alignedUp(std::size_t offset, std::size_t alignment) {
    return (offset + alignment - 1) / alignment * alignment;
}

TEST(PresentationRecord, HasTheseFieldsInThisOrderAndNoOthers) {
    std::size_t end = 0;
    for (const Field &field : FIELDS) {
        // An entryport set is aligned as its references are.
        EXPECT_EQ(alignedUp(field.offset, alignof(void *)),
                  alignedUp(alignedUp(end, field.alignment), alignof(void *)))
            << field.name;
        EXPECT_GE(field.offset, end) << field.name;
        end = field.offset + field.size;
    }
    EXPECT_EQ(sizeof(Record), alignedUp(end, alignof(Record)));
}

TEST(PresentationRecord, HasNumbersOf32BitsAndRoomForSixteenEntryportsOfAKind) {
    EXPECT_EQ(sizeof Record::_domainId, 4u);
    EXPECT_EQ(sizeof Record::_threadParticipantId, 6u);
    EXPECT_EQ(sizeof Record::_participantIndexSpecified, 4u);
    EXPECT_EQ(sizeof Record::_entryportsReserved, 4u);
    EXPECT_EQ(sizeof Record::_maxLocatorListSize, 4u);
    EXPECT_EQ(sizeof Record::_isLocatorReachabilityDisabled, 4u);
    EXPECT_EQ(sizeof Record::_reserveMetaUnicast, alignof(void *) + 16 * sizeof(REDAWeakReference));
    EXPECT_EQ(sizeof Record::_cachedDefaultUnicastLocator,
              alignof(void *) + 16 * sizeof(NUVNetioLocator));
    EXPECT_EQ(sizeof Record::_cachedDefaultMulticastLocator,
              alignof(void *) + 4 * sizeof(NUVNetioLocator));
}

// ---- what initialization has written where it stops

using Names = std::set<std::string>;

constexpr unsigned char FILL = 0xA5;

/** The fields that are not as they were filled. */
Names writtenIn(const Record &record) {
    const auto *bytes = reinterpret_cast<const unsigned char *>(&record);
    Names names;
    for (const Field &field : FIELDS) {
        const unsigned char *begin = bytes + field.offset;
        if (!std::all_of(begin, begin + field.size,
                         [](unsigned char byte) { return byte == FILL; })) {
            names.insert(field.name);
        }
    }
    return names;
}

Names operator+(Names left, const Names &right) {
    left.insert(right.begin(), right.end());
    return left;
}

const Names BEFORE_THE_THREAD_ID = {"participant", "_domainId"};
const Names BEFORE_THE_PROPERTY =
    BEFORE_THE_THREAD_ID + Names{"_threadParticipantId", "_participantIndexSpecified",
                                 "_configurator",        "_entryportsReserved",
                                 "_maxLocatorListSize",  "_isLocatorReachabilityDisabled"};
const Names BEFORE_THE_PARTICIPANT =
    BEFORE_THE_PROPERTY + Names{"_cachedTransportUnicastPolicy",
                                "_cachedTransportMulticastMappingPolicy",
                                "cachedDiscoveryPolicy",
                                "_cachedDefaultUnicastLocator",
                                "_cachedMetatrafficUnicastLocator",
                                "_cachedDefaultMulticastLocator",
                                "_cachedMetatrafficMulticastLocator",
                                "_reserveEntryportMetaMulticastWR",
                                "_reserveEntryportUserMulticastWR",
                                "_reserveMetaUnicast._count",
                                "_reserveUserUnicast._count"};
const Names ALL = BEFORE_THE_PARTICIPANT + Names{"cachedWellKnownPorts", "_cachedReservedPortMask"};

/** A property or a call that stops initialization, and what the record has got until then. */
struct Stop {
    const char *name;
    const char *property;
    const char *value;
    const char *call;
    DDS_ReturnCode_t result;
    const Names *written;
};

class InitializeRecord : public PresentationFixture, public testing::WithParamInterface<Stop> {
protected:
    void SetUp() override {
        PresentationFixture::SetUp();
        keepBuffers();
        arguments.domainId = 7;
        arguments.threadParticipantId = "abcde";
        std::memset(&self, FILL, sizeof self);
    }

    void TearDown() override {
        if (!writtenIn(self).contains("cachedDiscoveryPolicy")) {
            self = {}; // there is nothing in it to be finalized
        }
        PresentationFixture::TearDown();
    }
};

TEST_P(InitializeRecord, IsWrittenOnlyAsFarAsInitializationCame) {
    const Stop &stop = GetParam();
    if (stop.property != nullptr) {
        setProperty(stop.property, stop.value);
    }
    if (stop.call != nullptr) {
        recorder.fail(stop.call);
    }
    EXPECT_EQ(initialize(), stop.result);
    EXPECT_EQ(writtenIn(self), *stop.written);
}

INSTANTIATE_TEST_SUITE_P(
    At, InitializeRecord,
    testing::Values(
        Stop{"TheThreadId", nullptr, nullptr, "NUVOsapiUtility_strcpy", DDS_RETCODE_OK,
             &BEFORE_THE_THREAD_ID},
        Stop{"ANegativeListSize", "dds.domain_participant.max_announced_locator_list_size", "-1",
             nullptr, DDS_RETCODE_ERROR, &BEFORE_THE_PROPERTY},
        Stop{"ALargeListSize", "dds.domain_participant.max_announced_locator_list_size", "17",
             nullptr, DDS_RETCODE_ERROR, &BEFORE_THE_PROPERTY},
        Stop{"TheProperty", nullptr, nullptr, "NUVOsapiHeap_reallocateMemoryInternal",
             DDS_RETCODE_OK, &BEFORE_THE_PROPERTY},
        Stop{"TheAlignment", "dds.participant.use_45d_compatible_alignment_enforcement", "perhaps",
             nullptr, DDS_RETCODE_OK, &BEFORE_THE_PARTICIPANT},
        Stop{"TheMismatchLogging", "dds.participant.discovery_config.log_discovery_mismatch",
             "perhaps", nullptr, DDS_RETCODE_OK, &BEFORE_THE_PARTICIPANT},
        Stop{"TheTrackedPorts",
             "dds.participant.logging.time_based_logging.process_received_message.tracked_ports",
             "7410", "DDS_String_dup", DDS_RETCODE_OK, &BEFORE_THE_PARTICIPANT},
        Stop{"TheSerializationKind", "dds.participant.directed_write_serialization_kind", "3",
             nullptr, DDS_RETCODE_OK, &BEFORE_THE_PARTICIPANT},
        Stop{"TheEnd", nullptr, nullptr, nullptr, DDS_RETCODE_OK, &ALL}),
    [](const auto &stop) { return std::string(stop.param.name); });

} // namespace
