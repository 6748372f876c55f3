// SPDX-License-Identifier: Apache-2.0
// The messages that a participant says of itself.
#include "announcement.h"

#include <cstring>

#include "osapi/osapi_assert.h"
#include "rtps/rtps_inlineQos.h"

namespace disc {

namespace {

RTPSHeader header_of(const NUVOsapiRtpsGuidPrefix &prefix) {
    return {RTPS_PROTOCOL_VERSION, RTPS_VENDOR_ID_UNKNOWN, prefix};
}

RTPSText text_of(const char *text) {
    return {text, text != nullptr ? static_cast<NUV_UINT32>(std::strlen(text)) : 0};
}

void add_properties(RTPSPropertyWriter *writer, const PRESPropertyList &list,
                    const DISCParticipantProperty &own) {
    for (const RTPSProperty &property : std::span(own.ownProperties, own.ownPropertyCount)) {
        RTPSPropertyWriter_add(writer, &property);
    }
    for (const PRESProperty &one : std::span(list.data._buffer, list.data._length)) {
        if (one.propagate != 0) {
            const RTPSProperty property = {text_of(one.name), text_of(one.value)};
            RTPSPropertyWriter_add(writer, &property);
        }
    }
}

} // namespace

/** Once to learn how long they are, and then into the room that they take. */
template <typename Add>
bool PropertyOctets::write(Add add_all, RTPSPropertyList *out) {
    RTPSPropertyWriter writer;
    RTPSPropertyWriter_initialize(&writer, nullptr, 0, RTPS_LITTLE_ENDIAN);
    add_all(&writer);
    const std::size_t size = RTPSPropertyWriter_finish(&writer, out);
    if (size == RTPS_SIZE_IMPOSSIBLE || !octets_.resize(size)) {
        return false;
    }
    RTPSPropertyWriter_initialize(&writer, octets_.begin(), octets_.size(), RTPS_LITTLE_ENDIAN);
    add_all(&writer);
    return RTPSPropertyWriter_finish(&writer, out) == size;
}

bool PropertyOctets::fill(const PRESPropertyList &list, const DISCParticipantProperty &own,
                          RTPSPropertyList *out) {
    return write([&](RTPSPropertyWriter *writer) { add_properties(writer, list, own); }, out);
}

bool PropertyOctets::fill(const RTPSPropertyList &list, std::span<const RTPSProperty> more,
                          RTPSPropertyList *out) {
    const auto add_all = [&](RTPSPropertyWriter *writer) {
        RTPSPropertyReader reader;
        RTPSProperty property;
        RTPSPropertyReader_initialize(&reader, &list);
        while (RTPSPropertyReader_next(&reader, &property) != 0) {
            RTPSPropertyWriter_add(writer, &property);
        }
        for (const RTPSProperty &one : more) {
            RTPSPropertyWriter_add(writer, &one);
        }
    };
    return write(add_all, out);
}

RTPSParticipantData data_of(const PRESParticipantProperty &property,
                            const DISCParticipantProperty &own) {
    const PRESParticipantParameter &parameter = property.parameter;
    RTPSParticipantData data{};
    data.protocolVersion = RTPS_PROTOCOL_VERSION;
    data.vendorId = RTPS_VENDOR_ID_UNKNOWN;
    data.guid = {property.facadeProperty.parent.guidPrefix, RTPS_ENTITYID_PARTICIPANT};
    data.leaseDuration = own.leaseDuration;
    data.availableBuiltinEndpoints =
        RTPS_BUILTIN_PARTICIPANT_ANNOUNCER | RTPS_BUILTIN_PARTICIPANT_DETECTOR;
    data.hasDomainId = 1;
    data.domainId = static_cast<NUV_UINT32>(parameter.domainId);
    data.domainTag = text_of(own.domainTag);
    data.userData = {parameter.userData._buffer, parameter.userData._length};
    if (parameter.entityName.hasName != 0) {
        data.entityName = text_of(parameter.entityName.name);
    }
    return data;
}

bool Announcement::set(const DISCRemote &record, RTPSSequenceNumber sequence,
                       const RTPSTime &timestamp) {
    const RTPSInfoTimestamp info = {timestamp};
    RTPSData data{};
    data.payloadKind = RTPS_PAYLOAD_DATA;
    data.readerId = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_DETECTOR;
    data.writerId = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER;
    data.writerSN = sequence;
    data.payload = record.octets();

    constexpr std::size_t REST = 64; // all that is neither payload nor front, and more
    Array<NUV_UINT8> buffer;
    if (!buffer.resize(FRONT + REST + record.octets().length)) {
        return false;
    }
    RTPSMessageWriter writer;
    const RTPSHeader header = header_of(record.prefix());
    const bool is_whole = RTPSMessageWriter_initialize(&writer, buffer.begin() + INFO_DST_SIZE,
                                                       buffer.size() - INFO_DST_SIZE,
                                                       RTPS_LITTLE_ENDIAN, &header) != 0 &&
                          RTPSMessageWriter_addInfoTimestamp(&writer, &info) != 0 &&
                          RTPSMessageWriter_addData(&writer, &data) != 0;
    if (!is_whole) {
        return false; // too long for any message
    }
    (void)buffer.resize(INFO_DST_SIZE + writer.length); // less than it was
    prefix_ = record.prefix();
    buffer_.swap(buffer);
    return true;
}

std::span<const NUV_UINT8> Announcement::to_all() {
    RTPSMessageWriter writer;
    const RTPSHeader header = header_of(prefix_);
    (void)RTPSMessageWriter_initialize(&writer, buffer_.begin() + INFO_DST_SIZE, RTPS_HEADER_SIZE,
                                       RTPS_LITTLE_ENDIAN, &header);
    return {buffer_.begin() + INFO_DST_SIZE, buffer_.end()};
}

std::span<const NUV_UINT8> Announcement::to(const NUVOsapiRtpsGuidPrefix &prefix) {
    RTPSMessageWriter writer;
    const RTPSHeader header = header_of(prefix_);
    const RTPSInfoDestination destination = {prefix};
    (void)RTPSMessageWriter_initialize(&writer, buffer_.begin(), FRONT, RTPS_LITTLE_ENDIAN,
                                       &header);
    [[maybe_unused]] const int has_room =
        RTPSMessageWriter_addInfoDestination(&writer, &destination);
    NUV_ASSERT(has_room != 0 && writer.length == FRONT);
    return {buffer_.begin(), buffer_.end()};
}

ShortMessage::ShortMessage(const NUVOsapiRtpsGuidPrefix &source,
                           const NUVOsapiRtpsGuidPrefix *destination)
    : source_(source) {
    const RTPSHeader header = header_of(source);
    (void)RTPSMessageWriter_initialize(&writer_, buffer_.data(), buffer_.size(), RTPS_LITTLE_ENDIAN,
                                       &header);
    if (destination != nullptr) {
        const RTPSInfoDestination info = {*destination};
        (void)RTPSMessageWriter_addInfoDestination(&writer_, &info);
    }
}

void ShortMessage::add_leaving(RTPSSequenceNumber sequence, const RTPSTime &timestamp) {
    const NUVOsapiRtpsGuid guid = {source_, RTPS_ENTITYID_PARTICIPANT};
    const RTPSInfoTimestamp info = {timestamp};
    RTPSInlineQos qos{};
    qos.hasKeyHash = 1;
    RTPSGuid_toOctets(&guid, qos.keyHash);
    qos.statusInfo = RTPS_STATUS_INFO_DISPOSED | RTPS_STATUS_INFO_UNREGISTERED;
    std::array<NUV_UINT8, 64> inline_qos;
    std::array<NUV_UINT8, 32> key;
    RTPSData data{};
    data.payloadKind = RTPS_PAYLOAD_KEY;
    data.readerId = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_DETECTOR;
    data.writerId = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER;
    data.writerSN = sequence;
    data.inlineQos = {inline_qos.data(), RTPSInlineQos_write(&qos, RTPS_LITTLE_ENDIAN,
                                                             inline_qos.data(), inline_qos.size())};
    data.payload = {key.data(),
                    RTPSParticipantKey_write(&guid, RTPS_LITTLE_ENDIAN, key.data(), key.size())};
    [[maybe_unused]] const bool has_room =
        RTPSMessageWriter_addInfoTimestamp(&writer_, &info) != 0 &&
        RTPSMessageWriter_addData(&writer_, &data) != 0;
    NUV_ASSERT(has_room);
}

void ShortMessage::add_empty_heartbeat(RTPSEntityId reader, RTPSEntityId writer, RTPSCount count) {
    RTPSHeartbeat heartbeat{};
    heartbeat.isFinal = 1;
    heartbeat.readerId = reader;
    heartbeat.writerId = writer;
    heartbeat.firstSN = 1;
    heartbeat.lastSN = 0;
    heartbeat.count = count;
    [[maybe_unused]] const int has_room = RTPSMessageWriter_addHeartbeat(&writer_, &heartbeat);
    NUV_ASSERT(has_room != 0);
}

void ShortMessage::add_question(RTPSCount count) {
    RTPSAckNack question{};
    question.readerId = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_DETECTOR;
    question.writerId = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER;
    question.readerSNState.base = 1;
    question.count = count;
    [[maybe_unused]] const int has_room = RTPSMessageWriter_addAckNack(&writer_, &question);
    NUV_ASSERT(has_room != 0);
}

} // namespace disc

size_t DISCParticipant_measure(const PRESParticipantProperty *property,
                               const DISCParticipantProperty *own) {
    RTPSParticipantData data = disc::data_of(*property, *own);
    disc::PropertyOctets octets;
    if (!octets.fill(property->parameter.propertyList, *own, &data.properties)) {
        return RTPS_SIZE_IMPOSSIBLE;
    }
    for (RTPSLocators *list : {&data.metatrafficUnicast, &data.defaultUnicast}) {
        list->count = PRES_LOCATOR_LIST_MAX;
    }
    for (RTPSLocators *list : {&data.metatrafficMulticast, &data.defaultMulticast}) {
        list->count = PRES_REDUCED_LOCATOR_LIST_MAX;
    }
    return RTPSParticipantData_write(&data, RTPS_LITTLE_ENDIAN, nullptr, 0);
}
