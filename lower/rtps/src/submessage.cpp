// SPDX-License-Identifier: Apache-2.0
// Submessages added to a message.
#include "submessage.h"

#include <limits>

namespace rtps {

namespace {

constexpr std::size_t LENGTH_MAX = std::numeric_limits<NUV_UINT16>::max();

/** No room where nothing can be added, whatever there is. */
std::span<NUV_UINT8> room_in(const RTPSMessageWriter &writer) {
    return {writer.buffer, writer.isClosed != 0 ? 0 : writer.capacity};
}

} // namespace

/** The header is entered last: until then nothing is known of the body. */
Addition::Addition(RTPSMessageWriter &writer, NUV_UINT8 kind, NUV_UINT8 flags)
    : writer_(writer), kind_(kind), flags_(flags),
      output_(room_in(writer), writer.byteOrder, writer.length + SUBMESSAGE_HEADER_SIZE) {}

int Addition::finish() {
    output_.align(4);
    const std::size_t length = output_.size() - writer_.length - SUBMESSAGE_HEADER_SIZE;
    // What is too long for its length to be told has the length 0, and so reaches to the end of the
    // message. Some kinds can only be empty then, the others never are.
    const bool is_long = length > LENGTH_MAX;
    const bool has_its_length =
        length == 0 ? may_be_empty(kind_) : !(is_long && may_be_empty(kind_));
    if (writer_.isClosed != 0 || !has_its_length) {
        return add_nothing(writer_);
    }
    writer_.needed = output_.size();
    if (!output_.fits()) {
        return 0;
    }
    Output header(room_in(writer_), writer_.byteOrder, writer_.length);
    header.number(kind_);
    header.number(static_cast<NUV_UINT8>(flags_ | writer_.byteOrder));
    header.number(static_cast<NUV_UINT16>(is_long ? 0 : length));
    writer_.length = output_.size();
    writer_.isClosed = static_cast<NUV_INT32>(is_long);
    return 1;
}

int add_nothing(RTPSMessageWriter &writer) {
    writer.needed = RTPS_SIZE_IMPOSSIBLE;
    return 0;
}

} // namespace rtps
