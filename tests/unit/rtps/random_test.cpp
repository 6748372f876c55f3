// SPDX-License-Identifier: Apache-2.0
// Random messages and announcements: written, read back, and read after one octet was changed.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "kinds.h"

namespace {

constexpr int TRIES = 300;

/** Random values from a seed, so that every run is the same. */
class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}

    NUV_UINT64 upTo(NUV_UINT64 highest) {
        return std::uniform_int_distribution<NUV_UINT64>(0, highest)(engine_);
    }
    NUV_UINT32 word() {
        return static_cast<NUV_UINT32>(upTo(0xFFFFFFFF));
    }
    NUV_INT32 boolean() {
        return static_cast<NUV_INT32>(upTo(1));
    }
    RTPSSequenceNumber sequence_number() {
        return static_cast<RTPSSequenceNumber>(1 + upTo(INT64_MAX - 1000));
    }
    NUVOsapiRtpsGuidPrefix prefix() {
        return {word(), word(), word()};
    }
    template <typename Set>
    void fill(Set &set) {
        set.numBits = static_cast<NUV_UINT32>(upTo(256));
        for (NUV_UINT32 bit = 0; bit < set.numBits; ++bit) {
            set.bitmap[bit / 32] |= static_cast<NUV_UINT32>(upTo(1)) << (31 - bit % 32);
        }
    }
    void fill(RTPSLocators &list) {
        for (NUV_UINT64 i = upTo(RTPS_LOCATORS_MAX); i > 0; --i) {
            NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
            locator.transport = 1 + boolean();
            locator.port = static_cast<NUV_INT32>(1 + upTo(65534));
            for (NUV_UINT8 &octet : locator.address.network_ordered_value) {
                octet = static_cast<NUV_UINT8>(upTo(255));
            }
            RTPSLocators_add(&list, &locator, nullptr);
        }
    }
    std::string text() {
        std::string result(upTo(20), ' ');
        for (char &character : result) {
            character = static_cast<char>('a' + upTo(25));
        }
        return result;
    }

private:
    std::mt19937 engine_;
};

template <typename Record>
void expect_back(const Record &record, RTPSByteOrder order) {
    const std::string message = written(record, order);
    ASSERT_NE(message, "") << describe(record);
    const Block block(message);
    Record read{};
    EXPECT_EQ(read_from(block, &read), RTPS_ACCEPTED);
    EXPECT_EQ(describe(read), describe(record));
}

TEST(RandomSubmessageTest, IsReadAsItWasWritten) {
    Random random(1);
    for (int i = 0; i < TRIES; ++i) {
        const auto order = static_cast<RTPSByteOrder>(random.boolean());
        RTPSAckNack ack_nack = {random.boolean(),
                                random.word(),
                                random.word(),
                                {random.sequence_number(), 0, {}},
                                random.boolean()};
        random.fill(ack_nack.readerSNState);
        expect_back(ack_nack, order);

        RTPSNackFrag nack_frag = {random.word(),
                                  random.word(),
                                  random.sequence_number(),
                                  {1 + random.word() / 2, 0, {}},
                                  random.boolean()};
        random.fill(nack_frag.fragmentNumberState);
        expect_back(nack_frag, order);

        RTPSGap gap = {};
        gap.readerId = random.word();
        gap.writerId = random.word();
        gap.gapStart = random.sequence_number();
        gap.gapList.base = random.sequence_number();
        random.fill(gap.gapList);
        expect_back(gap, order);

        const RTPSSequenceNumber first = random.sequence_number();
        expect_back(RTPSHeartbeat{random.boolean(),
                                  random.boolean(),
                                  0,
                                  random.word(),
                                  random.word(),
                                  first,
                                  first - 1 + static_cast<NUV_INT64>(random.upTo(999)),
                                  static_cast<NUV_INT32>(random.word()),
                                  {}},
                    order);

        RTPSInfoReply reply = {};
        reply.hasMulticast = random.boolean();
        random.fill(reply.unicast);
        if (reply.hasMulticast != 0) {
            random.fill(reply.multicast);
        }
        expect_back(reply, order);
    }
}

TEST(RandomDataTest, IsReadAsItWasWritten) {
    Random random(4);
    for (int i = 0; i < TRIES; ++i) {
        const auto order = static_cast<RTPSByteOrder>(random.boolean());
        const RTPSInlineQos status = {0, {}, static_cast<NUV_UINT32>(random.upTo(7))};
        Block qos(RTPSInlineQos_write(&status, order, nullptr, 0));
        RTPSInlineQos_write(&status, order, qos.data(), qos.size());
        const Block payload(4 * random.upTo(20));
        expect_back(RTPSData{static_cast<RTPSPayloadKind>(1 + random.upTo(1)), random.boolean(),
                             random.word(), random.word(), random.sequence_number(),
                             random.boolean() != 0 ? qos.view() : RTPSOctets{}, payload.view()},
                    order);
    }
}

TEST(RandomDataFragTest, IsReadAsItWasWritten) {
    Random random(5);
    for (int i = 0; i < TRIES; ++i) {
        const Block sample(1 + random.upTo(500));
        const std::size_t size = 1 + random.upTo(sample.size() - 1);
        const std::size_t count = (sample.size() + size - 1) / size;
        const std::size_t first = random.upTo(count - 1);
        const std::size_t fragments = 1 + random.upTo(count - 1 - first);
        const std::size_t end = std::min((first + fragments) * size, sample.size());
        expect_back(RTPSDataFrag{random.boolean(),
                                 random.boolean(),
                                 random.word(),
                                 random.word(),
                                 random.sequence_number(),
                                 static_cast<RTPSFragmentNumber>(1 + first),
                                 static_cast<NUV_UINT16>(fragments),
                                 static_cast<NUV_UINT16>(size),
                                 static_cast<NUV_UINT32>(sample.size()),
                                 {},
                                 {sample.view().data + first * size, end - first * size}},
                    static_cast<RTPSByteOrder>(random.boolean()));
    }
}

/** A random participant, and the texts and octets that it has views of. */
struct RandomParticipant {
    explicit RandomParticipant(Random &random)
        : tag(random.text()), name(random.text()), user(random.text()) {
        data.protocolVersion = {2, static_cast<NUV_UINT8>(random.upTo(255))};
        data.vendorId = {{static_cast<NUV_UINT8>(random.upTo(255)), 1}};
        data.guid = {random.prefix(), 0x000001C1};
        data.leaseDuration = {1 + static_cast<NUV_INT32>(random.word() / 4), random.word()};
        data.availableBuiltinEndpoints = random.word();
        data.builtinEndpointQos = random.word();
        data.hasDomainId = random.boolean();
        data.domainId = data.hasDomainId != 0 ? random.word() : 0;
        data.expectsInlineQos = random.boolean();
        data.domainTag = {tag.c_str(), static_cast<NUV_UINT32>(tag.size())};
        data.entityName = {name.c_str(), static_cast<NUV_UINT32>(name.size())};
        data.userData = {reinterpret_cast<const NUV_UINT8 *>(user.data()), user.size()};
        for (RTPSLocators *list : {&data.metatrafficUnicast, &data.metatrafficMulticast,
                                   &data.defaultUnicast, &data.defaultMulticast}) {
            random.fill(*list);
        }
        add_properties(random);
    }

    RTPSParticipantData data{};

private:
    void add_properties(Random &random) {
        RTPSPropertyWriter writer;
        RTPSPropertyWriter_initialize(&writer, properties.data(), properties.size(),
                                      static_cast<RTPSByteOrder>(random.boolean()));
        for (NUV_UINT64 i = random.upTo(5); i > 0; --i) {
            const std::string key = random.text();
            const std::string value = random.text();
            const RTPSProperty property = {{key.c_str(), static_cast<NUV_UINT32>(key.size())},
                                           {value.c_str(), static_cast<NUV_UINT32>(value.size())}};
            RTPSPropertyWriter_add(&writer, &property);
        }
        EXPECT_LE(RTPSPropertyWriter_finish(&writer, &data.properties), properties.size());
    }

    std::string tag;
    std::string name;
    std::string user;
    Block properties{std::size_t{400}};
};

/** What a participant is as octets of one byte order, which it fits exactly. */
Block announcement_of(const RTPSParticipantData &data, RTPSByteOrder order) {
    Block room(RTPSParticipantData_write(&data, order, nullptr, 0));
    EXPECT_EQ(RTPSParticipantData_write(&data, order, room.data(), room.size()), room.size());
    return room;
}

TEST(RandomParticipantTest, IsReadAsItWasWritten) {
    Random random(2);
    for (int i = 0; i < TRIES; ++i) {
        const RandomParticipant participant(random);
        const RTPSHeader source = {{2, 1}, {{9, 9}}, participant.data.guid.prefix};
        for (const RTPSByteOrder order : BYTE_ORDERS) {
            const Block payload = announcement_of(participant.data, order);
            RTPSParticipantData read;
            EXPECT_EQ(RTPSParticipantData_read(payload.view(), &source, nullptr, &read),
                      RTPS_ACCEPTED);
            EXPECT_EQ(describe(read), describe(participant.data));
        }
    }
}

TEST(RandomParticipantTest, IsReadWithinItsOctetsWhateverOneOfThemIs) {
    Random random(3);
    for (int i = 0; i < TRIES; ++i) {
        const RandomParticipant participant(random);
        const RTPSHeader source = {{2, 1}, {{9, 9}}, participant.data.guid.prefix};
        Block payload =
            announcement_of(participant.data, static_cast<RTPSByteOrder>(random.boolean()));
        payload.data()[random.upTo(payload.size() - 1)] ^=
            static_cast<NUV_UINT8>(1 + random.upTo(254));
        RTPSParticipantData read;
        const RTPSRefusal refusal =
            RTPSParticipantData_read(payload.view(), &source, nullptr, &read);
        EXPECT_TRUE(refusal != RTPS_ACCEPTED || !describe(read).empty());
    }
}

} // namespace
