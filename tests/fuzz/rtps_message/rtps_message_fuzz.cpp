// SPDX-License-Identifier: Apache-2.0
// A message of RTPS, with its submessages.
#include <algorithm>
#include <optional>
#include <span>
#include <vector>

#include "fuzz.h"
#include "octets.h"
#include "rtps/rtps_submessage.h"

namespace {

using Octets = std::vector<std::uint8_t>;

/** One submessage as another, simpler reader finds it. */
struct Found {
    std::uint8_t kind;
    std::size_t begin;
    std::size_t size;
};

/** All submessages of a message, and whether it ends with the last one (DDSI-RTPS 9.4.5.1). */
struct Walk {
    explicit Walk(std::span<const std::uint8_t> message) {
        std::size_t place = RTPS_HEADER_SIZE;
        while (place + 4 <= message.size()) {
            const bool is_little = message[place + 1] % 2 == 1;
            const std::size_t first = message[place + 2];
            const std::size_t second = message[place + 3];
            std::size_t size = is_little ? second * 256 + first : first * 256 + second;
            const std::uint8_t kind = message[place];
            place += 4;
            if (size == 0 && kind != 1 && kind != 9) {
                size = message.size() - place;
            }
            if (size > message.size() - place) {
                return;
            }
            found.push_back({kind, place, size});
            place += size;
        }
        is_whole = place == message.size();
    }

    std::vector<Found> found;
    bool is_whole = false;
};

bool is_message(std::span<const std::uint8_t> octets) {
    constexpr std::uint8_t PROTOCOL[] = {'R', 'T', 'P', 'S', 2};
    return octets.size() >= RTPS_HEADER_SIZE &&
           std::equal(std::begin(PROTOCOL), std::end(PROTOCOL), octets.begin());
}

template <typename Record>
using Add = int (*)(RTPSMessageWriter *, const Record *);
template <typename Record>
using Read = RTPSRefusal (*)(const RTPSSubmessage *, Record *);

/** The message that a record alone makes, or what there is without it. */
template <typename Record>
Octets write(const Record &record, Add<Record> add, RTPSByteOrder order, std::size_t room) {
    const RTPSHeader header = {RTPS_PROTOCOL_VERSION, RTPS_VENDOR_ID_UNKNOWN, {1, 2, 3}};
    Octets message(room);
    RTPSMessageWriter writer;
    fuzz::must(RTPSMessageWriter_initialize(&writer, message.data(), room, order, &header) != 0,
               "there is room for the header");
    const bool is_added = add(&writer, &record) != 0;
    fuzz::must(is_added ? writer.length == writer.needed && writer.length <= room
                        : writer.length == RTPS_HEADER_SIZE && writer.needed > room,
               "a submessage is there as a whole or not at all");
    message.resize(writer.length);
    return message;
}

RTPSSubmessage only_submessage(const Octets &message) {
    RTPSMessageReader reader;
    RTPSHeader header;
    RTPSSubmessage submessage{};
    RTPSSubmessage second;
    fuzz::must(RTPSMessageReader_initialize(&reader, {message.data(), message.size()}, &header) ==
                       RTPS_ACCEPTED &&
                   RTPSMessageReader_next(&reader, &submessage) != 0 &&
                   RTPSMessageReader_next(&reader, &second) == 0 && reader.refusal == RTPS_ACCEPTED,
               "what is written is a message with one submessage");
    return submessage;
}

/** Room enough for what any input can hold, more than which is never written of it. */
constexpr std::size_t ROOM = 1 << 14;

template <typename Record>
void check_writing(const Record &record, Read<Record> read, Add<Record> add, RTPSByteOrder order) {
    const Octets message = write(record, add, order, ROOM);
    fuzz::must(message.size() > RTPS_HEADER_SIZE, "what was read can be written");
    fuzz::must(write(record, add, order, message.size()) == message,
               "it fits where there is room for it and no more");
    fuzz::must(write(record, add, order, message.size() - 1).size() == RTPS_HEADER_SIZE,
               "it does not fit where there is less");

    const RTPSSubmessage submessage = only_submessage(message);
    Record again{};
    fuzz::must(read(&submessage, &again) == RTPS_ACCEPTED, "what is written can be read");
    fuzz::must(write(again, add, order, ROOM) == message, "what is read again is equal");
}

/** What has nothing to be left out is written as it was read, but for what follows the known parts.
 */
template <typename Record>
void check_octets(const RTPSSubmessage &submessage, const Record &record, Add<Record> add) {
    const Octets message = write(record, add, submessage.byteOrder, ROOM);
    const std::span body = std::span(message).subspan(RTPS_HEADER_SIZE + 4);
    fuzz::must(body.size() <= submessage.body.length &&
                   std::equal(body.begin(), body.end(), submessage.body.data),
               "what is written again has the same octets");
}

constexpr RTPSByteOrder BOTH[] = {RTPS_BIG_ENDIAN, RTPS_LITTLE_ENDIAN};

template <typename Record>
bool check(const RTPSSubmessage &submessage, Read<Record> read, Add<Record> add) {
    Record record{};
    const bool is_read = read(&submessage, &record) == RTPS_ACCEPTED;
    for (const RTPSByteOrder order : BOTH) {
        if (is_read) {
            check_writing(record, read, add, order);
        }
    }
    return is_read;
}

template <typename Record>
bool check_with_octets(const RTPSSubmessage &submessage, Read<Record> read, Add<Record> add) {
    Record record{};
    if (read(&submessage, &record) == RTPS_ACCEPTED) {
        check_octets(submessage, record, add);
    }
    return check(submessage, read, add);
}

/** What has views of parameters, which are in the byte order of the submessage. */
template <typename Record, typename Views>
bool check_with_views(const RTPSSubmessage &submessage, Read<Record> read, Add<Record> add,
                      Views views) {
    Record record{};
    if (read(&submessage, &record) != RTPS_ACCEPTED) {
        return false;
    }
    for (const RTPSOctets &view : views(record)) {
        fuzz::must_be_within(view, submessage.body);
    }
    check_writing(record, read, add, submessage.byteOrder);
    return true;
}

/** The fragments are some of those that the sample has, and as long as these are. */
bool check_data_frag(const RTPSSubmessage &submessage) {
    RTPSDataFrag frag{};
    if (RTPSDataFrag_read(&submessage, &frag) == RTPS_ACCEPTED) {
        std::uint64_t size = 0;
        for (std::uint64_t i = 0; i < frag.fragmentsInSubmessage; ++i) {
            const std::uint64_t begin =
                (frag.fragmentStartingNum - std::uint64_t{1} + i) * frag.fragmentSize;
            fuzz::must(begin < frag.sampleSize, "each fragment begins within its sample");
            size += std::min<std::uint64_t>(frag.fragmentSize, frag.sampleSize - begin);
        }
        const auto *const end = submessage.body.data + submessage.body.length;
        fuzz::must(frag.fragmentSize <= frag.sampleSize && frag.payload.length == size &&
                       end - (frag.payload.data + size) < 4,
                   "the payload is as long as its fragments, but for what it is padded with");
    }
    return check_with_views<RTPSDataFrag>(
        submessage, RTPSDataFrag_read, RTPSMessageWriter_addDataFrag, [](const RTPSDataFrag &it) {
            return std::vector{it.inlineQos, it.payload};
        });
}

bool check_header_extension(const RTPSSubmessage &submessage) {
    const auto views = [](const RTPSHeaderExtension &it) {
        return std::vector{it.messageChecksum, it.parameters};
    };
    constexpr unsigned PARTS = 0xFE;
    if ((submessage.flags & PARTS) != 0) {
        return check_with_views(submessage, RTPSHeaderExtension_read,
                                RTPSMessageWriter_addHeaderExtension, +views);
    }
    RTPSHeaderExtension record;
    return RTPSHeaderExtension_read(&submessage, &record) == RTPS_ACCEPTED;
}

/** Whether a submessage of a known kind is accepted; nothing where nothing is read. */
std::optional<bool> check_contents(const RTPSSubmessage &it) {
    switch (it.kind) {
    case RTPS_SUBMESSAGE_HEADER_EXTENSION:
        return check_header_extension(it);
    case RTPS_SUBMESSAGE_ACKNACK:
        return check<RTPSAckNack>(it, RTPSAckNack_read, RTPSMessageWriter_addAckNack);
    case RTPS_SUBMESSAGE_HEARTBEAT:
        return check_with_octets<RTPSHeartbeat>(it, RTPSHeartbeat_read,
                                                RTPSMessageWriter_addHeartbeat);
    case RTPS_SUBMESSAGE_GAP:
        return check<RTPSGap>(it, RTPSGap_read, RTPSMessageWriter_addGap);
    case RTPS_SUBMESSAGE_INFO_TS:
        return check<RTPSInfoTimestamp>(it, RTPSInfoTimestamp_read,
                                        RTPSMessageWriter_addInfoTimestamp);
    case RTPS_SUBMESSAGE_INFO_SRC:
        return check<RTPSInfoSource>(it, RTPSInfoSource_read, RTPSMessageWriter_addInfoSource);
    case RTPS_SUBMESSAGE_INFO_REPLY_IP4:
        return check_with_octets<RTPSInfoReplyIp4>(it, RTPSInfoReplyIp4_read,
                                                   RTPSMessageWriter_addInfoReplyIp4);
    case RTPS_SUBMESSAGE_INFO_DST:
        return check_with_octets<RTPSInfoDestination>(it, RTPSInfoDestination_read,
                                                      RTPSMessageWriter_addInfoDestination);
    case RTPS_SUBMESSAGE_INFO_REPLY:
        return check<RTPSInfoReply>(it, RTPSInfoReply_read, RTPSMessageWriter_addInfoReply);
    case RTPS_SUBMESSAGE_NACK_FRAG:
        return check<RTPSNackFrag>(it, RTPSNackFrag_read, RTPSMessageWriter_addNackFrag);
    case RTPS_SUBMESSAGE_HEARTBEAT_FRAG:
        return check_with_octets<RTPSHeartbeatFrag>(it, RTPSHeartbeatFrag_read,
                                                    RTPSMessageWriter_addHeartbeatFrag);
    case RTPS_SUBMESSAGE_DATA:
        return check_with_views<RTPSData>(it, RTPSData_read, RTPSMessageWriter_addData,
                                          [](const RTPSData &data) {
                                              return std::vector{data.inlineQos, data.payload};
                                          });
    case RTPS_SUBMESSAGE_DATA_FRAG:
        return check_data_frag(it);
    default:
        return std::nullopt;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::span input(data, size);
    const fuzz::Unaligned copy(input);
    RTPSMessageReader reader;
    RTPSMessageReader unaligned;
    RTPSHeader header;
    const RTPSRefusal refusal = RTPSMessageReader_initialize(&reader, {data, size}, &header);
    RTPSMessageReader_initialize(&unaligned, copy.view(), &header);
    fuzz::must((refusal == RTPS_ACCEPTED) == is_message(input),
               "what begins with the header of RTPS 2 is a message, and nothing else");
    if (refusal != RTPS_ACCEPTED) {
        return 0;
    }

    const Walk expected(input);
    RTPSSubmessage submessage;
    RTPSSubmessage same;
    for (const Found &found : expected.found) {
        fuzz::must(RTPSMessageReader_next(&reader, &submessage) != 0 &&
                       RTPSMessageReader_next(&unaligned, &same) != 0,
                   "each submessage is found");
        fuzz::must(submessage.kind == found.kind && submessage.body.data == data + found.begin &&
                       submessage.body.length == found.size,
                   "it is where its lengths say");
        fuzz::must(check_contents(submessage) == check_contents(same),
                   "it makes no difference where it lies");
    }
    fuzz::must(RTPSMessageReader_next(&reader, &submessage) == 0, "there are no others");
    fuzz::must((reader.refusal == RTPS_ACCEPTED) == expected.is_whole,
               "a message that does not end with its last submessage is told from one that does");
    return 0;
}
