// SPDX-License-Identifier: Apache-2.0
// Parameter lists within submessages, and parameters of the types that there are.
#ifndef RTPS_PARAMETER_LIST_INTERNAL_H
#define RTPS_PARAMETER_LIST_INTERNAL_H

#include "input.h"
#include "output.h"
#include "rtps/rtps_parameterList.h"

namespace rtps {

/** Takes a list with its sentinel off the input: empty where it is @p refused. */
RTPSOctets take_parameter_list(Input &input, RTPSRefusal &refused);

/** Whether octets are one list, and nothing else. */
bool is_parameter_list(const RTPSOctets &octets, RTPSByteOrder order);

/** Where the next parameter of a list goes. */
inline Output end_of(const RTPSParameterListWriter &writer) {
    return {std::span(writer.buffer, writer.capacity), writer.byteOrder, writer.length};
}

/** Adds a parameter whose value @p represent writes to an Output, the same however often it is
 * asked. */
template <typename Represent>
void add_parameter(RTPSParameterListWriter &writer, RTPSParameterId id, Represent represent) {
    constexpr std::size_t ALIGNMENT = 4;

    Output value({}, writer.byteOrder);
    represent(value);
    value.align(ALIGNMENT);
    if (writer.length == RTPS_SIZE_IMPOSSIBLE || value.size() > RTPS_PARAMETER_VALUE_MAX) {
        writer.length = RTPS_SIZE_IMPOSSIBLE;
        return;
    }
    Output output = end_of(writer);
    output.number(id);
    output.number(static_cast<NUV_UINT16>(value.size()));
    represent(output);
    output.align(ALIGNMENT);
    writer.length = output.size();
}

} // namespace rtps

#endif
