// SPDX-License-Identifier: Apache-2.0
// A parameter list: as inline QoS, as the key of a participant, and the properties of one.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "octets.h"
#include "rtps/rtps_guid.h"
#include "rtps/rtps_inlineQos.h"
#include "rtps/rtps_parameterList.h"
#include "rtps/rtps_participantData.h"

namespace {

using Octets = std::vector<std::uint8_t>;

RTPSOctets view_of(const Octets &octets) {
    return {octets.data(), octets.size()};
}

/** The parameters of a list one after the other, written anew. */
Octets rewrite(RTPSParameterListReader reader, const RTPSOctets &whole) {
    const auto write = [reader, &whole](RTPSParameterListWriter &writer) {
        RTPSParameterListReader rest = reader;
        for (RTPSParameter parameter; RTPSParameterListReader_next(&rest, &parameter) != 0;) {
            fuzz::must_be_within(parameter.value, whole);
            const unsigned flag = parameter.mustUnderstand != 0 ? RTPS_PID_MUST_UNDERSTAND : 0;
            RTPSParameterListWriter_add(&writer, static_cast<RTPSParameterId>(parameter.id | flag),
                                        parameter.value);
        }
        return RTPSParameterListWriter_finish(&writer);
    };
    RTPSParameterListWriter writer;
    RTPSParameterListWriter_initialize(&writer, nullptr, 0, reader.byteOrder);
    Octets octets(write(writer));
    RTPSParameterListWriter_initialize(&writer, octets.data(), octets.size(), reader.byteOrder);
    fuzz::must(write(writer) == octets.size(), "a list has the length that was told without room");
    return octets;
}

void check_list(const RTPSOctets &list, RTPSByteOrder order) {
    RTPSParameterListReader reader;
    RTPSParameterListReader_initialize(&reader, list, order);
    const Octets once = rewrite(reader, list);
    RTPSParameterListReader_initialize(&reader, view_of(once), order);
    fuzz::must(rewrite(reader, view_of(once)) == once, "a list that is written reads as the same");
}

void check_inline_qos(const RTPSOctets &list, RTPSByteOrder order) {
    RTPSInlineQos qos{};
    if (RTPSInlineQos_read(list, order, &qos) != RTPS_ACCEPTED) {
        return;
    }
    for (const RTPSByteOrder written : {RTPS_BIG_ENDIAN, RTPS_LITTLE_ENDIAN}) {
        Octets octets(RTPSInlineQos_write(&qos, written, nullptr, 0));
        RTPSInlineQos_write(&qos, written, octets.data(), octets.size());
        RTPSInlineQos again{};
        fuzz::must(RTPSInlineQos_read(view_of(octets), written, &again) == RTPS_ACCEPTED &&
                       std::memcmp(&qos, &again, sizeof qos) == 0,
                   "inline QoS that is written reads as the same");
    }
}

void check_key(const RTPSOctets &payload) {
    NUVOsapiRtpsGuid guid{};
    if (RTPSParticipantKey_read(payload, &guid) != RTPS_ACCEPTED) {
        return;
    }
    Octets key(RTPS_GUID_SIZE);
    RTPSGuid_toOctets(&guid, key.data());
    const auto *const end = payload.data + payload.length;
    fuzz::must(std::search(payload.data, end, key.begin(), key.end()) != end,
               "a key has the octets of its GUID");
    Octets octets(RTPSParticipantKey_write(&guid, RTPS_LITTLE_ENDIAN, nullptr, 0));
    RTPSParticipantKey_write(&guid, RTPS_LITTLE_ENDIAN, octets.data(), octets.size());
    NUVOsapiRtpsGuid again{};
    fuzz::must(RTPSParticipantKey_read(view_of(octets), &again) == RTPS_ACCEPTED &&
                   std::memcmp(&guid, &again, sizeof guid) == 0,
               "a key that is written reads as the same");
}

/** Every name and value of a list, each with its terminator. */
std::string text_of(const RTPSPropertyList &list, const RTPSOctets &whole) {
    RTPSPropertyReader reader;
    RTPSPropertyReader_initialize(&reader, &list);
    std::string text;
    NUV_UINT32 count = 0;
    for (RTPSProperty property; RTPSPropertyReader_next(&reader, &property) != 0; ++count) {
        for (const RTPSText &part : {property.name, property.value}) {
            fuzz::must_be_within(part, whole);
            text.append(part.text, part.length + std::size_t{1});
        }
    }
    fuzz::must(count == list.count, "a list has as many properties as it says");
    return text;
}

/** The list written anew; @p octets is where it goes. */
RTPSPropertyList rewrite(const RTPSPropertyList &list, RTPSByteOrder order, Octets &octets) {
    RTPSPropertyReader reader;
    RTPSPropertyWriter writer;
    RTPSPropertyReader_initialize(&reader, &list);
    RTPSPropertyWriter_initialize(&writer, octets.data(), octets.size(), order);
    for (RTPSProperty property; RTPSPropertyReader_next(&reader, &property) != 0;) {
        RTPSPropertyWriter_add(&writer, &property);
    }
    RTPSPropertyList written{};
    const std::size_t size = RTPSPropertyWriter_finish(&writer, &written);
    if (size > octets.size()) {
        octets.resize(size);
        return rewrite(list, order, octets);
    }
    return written;
}

void check_properties(const RTPSOctets &octets, RTPSByteOrder order) {
    RTPSPropertyList list{};
    if (RTPSPropertyList_read(octets, order, &list) != RTPS_ACCEPTED) {
        return;
    }
    fuzz::must_be_within(list.octets, octets);
    const std::string text = text_of(list, octets);
    for (const RTPSByteOrder other : {RTPS_BIG_ENDIAN, RTPS_LITTLE_ENDIAN}) {
        Octets room;
        const RTPSPropertyList written = rewrite(list, other, room);
        RTPSPropertyList again{};
        fuzz::must(RTPSPropertyList_read(written.octets, other, &again) == RTPS_ACCEPTED &&
                       text_of(again, written.octets) == text,
                   "properties that are written read as the same");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::Unaligned copy({data, size});
    for (const RTPSOctets &octets : {RTPSOctets{data, size}, copy.view()}) {
        for (const RTPSByteOrder order : {RTPS_BIG_ENDIAN, RTPS_LITTLE_ENDIAN}) {
            check_list(octets, order);
            check_inline_qos(octets, order);
            check_properties(octets, order);
        }
        check_key(octets);
    }
    return 0;
}
