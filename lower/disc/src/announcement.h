// SPDX-License-Identifier: Apache-2.0
// The messages that a participant says of itself.
#ifndef DISC_ANNOUNCEMENT_H
#define DISC_ANNOUNCEMENT_H

#include <array>
#include <span>

#include "array.h"
#include "disc/disc_participant.h"
#include "remote.h"
#include "rtps/rtps_submessage.h"

namespace disc {

/** What a property has of announced properties, as octets. */
class PropertyOctets {
public:
    /** False when memory runs out, or they are too long for any announcement. */
    bool fill(const PRESPropertyList &list, const DISCParticipantProperty &own,
              RTPSPropertyList *out);
    /** The same of a list that there is, with more behind it. */
    bool fill(const RTPSPropertyList &list, std::span<const RTPSProperty> more,
              RTPSPropertyList *out);

private:
    template <typename Add>
    bool write(Add add_all, RTPSPropertyList *out);

    Array<NUV_UINT8> octets_;
};

/** All that a property says, but its locators and its properties; the views are the property's. */
RTPSParticipantData data_of(const PRESParticipantProperty &property,
                            const DISCParticipantProperty &own);

/** A message that is made once and sent often: to all, or directed at one participant. */
class Announcement {
public:
    /** Says what @p record does. False when memory runs out: it says then what it said before. */
    bool set(const DISCRemote &record, RTPSSequenceNumber sequence, const RTPSTime &timestamp);
    bool is_set() const {
        return !buffer_.is_empty();
    }

    std::span<const NUV_UINT8> to_all();
    std::span<const NUV_UINT8> to(const NUVOsapiRtpsGuidPrefix &prefix);

private:
    /** The header is in front of the rest, or else there is an INFO_DST between them. */
    static constexpr std::size_t INFO_DST_SIZE = 16;
    static constexpr std::size_t FRONT = RTPS_HEADER_SIZE + INFO_DST_SIZE;

    NUVOsapiRtpsGuidPrefix prefix_{0, 0, 0};
    Array<NUV_UINT8> buffer_;
};

/** A message without data, made for one destination. */
class ShortMessage {
public:
    /** @param destination null: for all. */
    ShortMessage(const NUVOsapiRtpsGuidPrefix &source, const NUVOsapiRtpsGuidPrefix *destination);

    /** That the source leaves. */
    void add_leaving(RTPSSequenceNumber sequence, const RTPSTime &timestamp);
    /** That a writer of the source has nothing. */
    void add_empty_heartbeat(RTPSEntityId reader, RTPSEntityId writer, RTPSCount count);
    /** The question whether the destination's announcer is there. */
    void add_question(RTPSCount count);

    std::span<const NUV_UINT8> octets() const {
        return {buffer_.data(), writer_.length};
    }

private:
    const NUVOsapiRtpsGuidPrefix source_;
    std::array<NUV_UINT8, 192> buffer_;
    RTPSMessageWriter writer_;
};

} // namespace disc

#endif
