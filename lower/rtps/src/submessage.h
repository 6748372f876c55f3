// SPDX-License-Identifier: Apache-2.0
// What the submessages have in common when they are read and added.
#ifndef RTPS_SUBMESSAGE_INTERNAL_H
#define RTPS_SUBMESSAGE_INTERNAL_H

#include "input.h"
#include "osapi/osapi_assert.h"
#include "output.h"
#include "rtps/rtps_submessage.h"

namespace rtps {

/** The flag that each kind has; the others are those of its kind. */
constexpr NUV_UINT8 ENDIANNESS_FLAG = 0x01;

/** What precedes the body of a submessage: kind, flags, octetsToNextHeader. */
constexpr std::size_t SUBMESSAGE_HEADER_SIZE = 4;

/** Where the length is 0, these end with their header; others reach to the end of the message. */
inline bool may_be_empty(NUV_UINT8 kind) {
    return kind == RTPS_SUBMESSAGE_PAD || kind == RTPS_SUBMESSAGE_INFO_TS;
}

inline RTPSByteOrder byte_order_of(NUV_UINT8 flags) {
    return (flags & ENDIANNESS_FLAG) != 0 ? RTPS_LITTLE_ENDIAN : RTPS_BIG_ENDIAN;
}

inline NUV_INT32 has_flag(const RTPSSubmessage &submessage, NUV_UINT8 flag) {
    return static_cast<NUV_INT32>((submessage.flags & flag) != 0);
}

inline NUV_UINT8 flag_if(NUV_INT32 holds, NUV_UINT8 flag) {
    return holds != 0 ? flag : NUV_UINT8{0};
}

/** The body of a submessage that has to be of this kind. */
inline Input body_of(const RTPSSubmessage &submessage, [[maybe_unused]] RTPSSubmessageKind kind) {
    NUV_ASSERT(submessage.kind == kind);
    return {submessage.body, submessage.byteOrder};
}

/** Hands out what has been read when all of it was there and makes sense. */
template <typename Record>
RTPSRefusal accept(const Input &input, const Record &record, RTPSRefusal sense, Record *out) {
    if (!input.is_good()) {
        return RTPS_REFUSED_LENGTH;
    }
    if (sense == RTPS_ACCEPTED) {
        *out = record;
    }
    return sense;
}

/** One submessage while it is added to a message. */
class Addition {
public:
    Addition(RTPSMessageWriter &writer, NUV_UINT8 kind, NUV_UINT8 flags);

    /** Where the body goes. */
    Output &body() {
        return output_;
    }

    /**
     * Pads the body and enters its length. Non-zero when the submessage is in the message, 0 when
     * there is no room or there cannot be such a one.
     */
    int finish();

private:
    RTPSMessageWriter &writer_;
    const NUV_UINT8 kind_;
    const NUV_UINT8 flags_;
    Output output_;
};

/** Answers for a submessage that its reader would refuse. */
int add_nothing(RTPSMessageWriter &writer);

} // namespace rtps

#endif
