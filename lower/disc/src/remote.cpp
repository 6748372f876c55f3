// SPDX-License-Identifier: Apache-2.0
// What a participant has announced, as it is kept.
#include "remote.h"

#include <charconv>
#include <cstring>
#include <new>

#include "osapi/osapi_assert.h"
#include "osapi/osapi_heap.h"
#include "units.h"

namespace {

static_assert(alignof(disc::Place) <= alignof(DISCRemote));

NUV_INT64 nanoseconds_of(const NUVNtpTime &lease) {
    return NUVNtpTime_isInfinite(&lease) != 0 ? disc::NEVER : NUVNtpTime_toNanoseconds(&lease);
}

std::string_view view_of(const RTPSText &text) {
    return {text.text, text.length};
}

/** The value of a property; empty without it. */
std::string_view value_of(const RTPSPropertyList &properties, std::string_view name) {
    RTPSPropertyReader reader;
    RTPSProperty property;
    RTPSPropertyReader_initialize(&reader, &properties);
    while (RTPSPropertyReader_next(&reader, &property) != 0) {
        if (view_of(property.name) == name) {
            return view_of(property.value);
        }
    }
    return {};
}

/** 0: it does not say. */
NUV_UINT32 process_of(const RTPSPropertyList &properties) {
    const std::string_view text = value_of(properties, "__Pid");
    NUV_UINT32 process = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), process);
    return result.ptr == text.data() + text.size() ? process : 0;
}

std::span<const NUVNetioLocator> list_of(const RTPSLocators &locators) {
    return {locators.locators, locators.count};
}

} // namespace

DISCRemote::DISCRemote(const RTPSParticipantData &data)
    : prefix_(data.guid.prefix), lease_(nanoseconds_of(data.leaseDuration)),
      name_hash_(disc::Subject::hash_of(view_of(data.entityName))),
      process_(process_of(data.properties)),
      asks_(!disc::Questions::of(data.properties).all().empty()) {
    metatraffic_count_ = add_places(data.metatrafficUnicast, false);
    unicast_count_ = add_places(data.defaultUnicast, false);
    (void)add_places(data.metatrafficMulticast, true);
}

/** Whoever says that a group, or any address, is its own would have us send to everybody. */
NUV_UINT32 DISCRemote::add_places(const RTPSLocators &locators, bool are_groups) {
    for (const NUVNetioLocator &locator : list_of(locators)) {
        const disc::Place place = disc::Place::of(locator);
        if (place.is_group() == are_groups && !place.is_any()) {
            new (const_cast<disc::Place *>(places()) + place_count_++) disc::Place(place);
        }
    }
    return place_count_;
}

DISCRemote *DISCRemote::make(const RTPSParticipantData &data) {
    const std::size_t places =
        data.metatrafficUnicast.count + data.defaultUnicast.count + data.metatrafficMulticast.count;
    const std::size_t length = RTPSParticipantData_write(&data, RTPS_LITTLE_ENDIAN, nullptr, 0);
    if (length == RTPS_SIZE_IMPOSSIBLE) { // what was read may be longer as it is written here
        return nullptr;
    }
    DISCRemote *self = nullptr;
    if (NUVOsapiHeap_reallocateMemoryInternal(
            &self, sizeof(DISCRemote) + places * sizeof(disc::Place) + length,
            NUV_OSAPI_HEAP_ALIGNMENT_DEFAULT, 0, 0, "DISCRemote::make",
            NUV_OSAPI_HEAP_TAG_STRUCTURE, "struct DISCRemote") == 0) {
        return nullptr;
    }
    new (self) DISCRemote(data);
    self->length_ = length; // behind as many places as there are
    (void)RTPSParticipantData_write(&data, RTPS_LITTLE_ENDIAN,
                                    const_cast<NUV_UINT8 *>(self->octets().data), length);
    return self;
}

bool DISCRemote::says_the_same_as(const DISCRemote &other) const {
    return length_ == other.length_ &&
           std::memcmp(octets().data, other.octets().data, length_) == 0;
}

bool DISCRemote::may_be(const disc::Subject &subject) const {
    switch (subject.kind) {
    case disc::Subject::Kind::NAME:
        return name_hash_ == subject.name_hash;
    case disc::Subject::Kind::PROCESS:
        return process_ == subject.process;
    case disc::Subject::Kind::PARTICIPANT:
        break;
    }
    return NUVOsapiRtpsGuidPrefix_isSame(&prefix_, &subject.prefix) != 0;
}

bool DISCRemote::is(const disc::Subject &subject) const {
    if (!may_be(subject)) {
        return false;
    }
    RTPSParticipantData data;
    DISCRemote_read(this, &data);
    switch (subject.kind) {
    case disc::Subject::Kind::NAME:
        return view_of(data.entityName) == subject.text;
    case disc::Subject::Kind::PROCESS:
        return value_of(data.properties, "__Hostname") == subject.text;
    case disc::Subject::Kind::PARTICIPANT:
        break;
    }
    return true;
}

const DISCRemote *DISCRemote_retain(const DISCRemote *self) {
    self->users_.fetch_add(1, std::memory_order_relaxed);
    return self;
}

void DISCRemote_release(const DISCRemote *self) {
    if (self != nullptr && self->users_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        auto *const last = const_cast<DISCRemote *>(self);
        last->~DISCRemote();
        NUVOsapiHeap_freeStructure(last);
    }
}

void DISCRemote_read(const DISCRemote *self, RTPSParticipantData *out) {
    const RTPSHeader source = {RTPS_PROTOCOL_VERSION, RTPS_VENDOR_ID_UNKNOWN, self->prefix()};
    [[maybe_unused]] const RTPSRefusal refusal =
        RTPSParticipantData_read(self->octets(), &source, nullptr, out);
    NUV_ASSERT(refusal == RTPS_ACCEPTED); // these are octets that we have written
}

const NUVOsapiRtpsGuidPrefix *DISCRemote_getPrefix(const DISCRemote *self) {
    return &self->prefix();
}
