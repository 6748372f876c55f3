// SPDX-License-Identifier: Apache-2.0
// Where answers go: INFO_REPLY and INFO_REPLY_IP4.
#include <algorithm>

#include "layouts.h"
#include "submessage.h"

using namespace rtps;

namespace {

constexpr NUV_UINT8 MULTICAST_FLAG = 0x02;

/** Where the four octets of an IPv4 address are in an address of any kind. */
constexpr std::size_t IPV4_OFFSET = 12;

void locators(Input &input, RTPSLocators &list) {
    NUV_UINT32 count = 0;
    input.number(count);
    for (NUV_UINT32 i = 0; i < count && input.is_good(); ++i) {
        NUVNetioLocator it = NUV_NETIO_LOCATOR_INVALID;
        locator(input, it);
        RTPSLocators_add(&list, &it, nullptr);
    }
}

void locators(Output &output, const RTPSLocators &list) {
    NUV_ASSERT(list.count <= RTPS_LOCATORS_MAX);
    output.number(list.count);
    for (const NUVNetioLocator &it : std::span(list.locators, list.count)) {
        locator(output, it);
    }
}

/** Address and port as two numbers, both 0 of a locator that is invalid. */
void locator_ipv4(Input &input, NUVNetioLocator &it) {
    it = NUV_NETIO_LOCATOR_INVALID;
    NUV_UINT32 address = 0;
    input.number(address);
    input.number(it.port);
    if (address != 0 || it.port != 0) {
        it.transport = KOLS_TRANSPORT_CLASSID_UDPv4;
        Output octets(std::span(it.address.network_ordered_value).subspan<IPV4_OFFSET>(),
                      RTPS_BIG_ENDIAN);
        octets.number(address);
    }
}

void locator_ipv4(Output &output, const NUVNetioLocator &it) {
    NUV_UINT32 address = 0;
    Input octets({it.address.network_ordered_value + IPV4_OFFSET, sizeof address}, RTPS_BIG_ENDIAN);
    octets.number(address);
    output.number(address);
    output.number(it.port);
}

bool is_ipv4_or_none(const NUVNetioLocator &it) {
    constexpr NUVNetioLocator NONE = NUV_NETIO_LOCATOR_INVALID;

    return it.transport == KOLS_TRANSPORT_CLASSID_UDPv4 || NUVNetioLocator_isSame(&it, &NONE) != 0;
}

} // namespace

RTPSRefusal RTPSInfoReply_read(const RTPSSubmessage *submessage, RTPSInfoReply *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_INFO_REPLY);
    RTPSInfoReply record{};
    record.hasMulticast = has_flag(*submessage, MULTICAST_FLAG);
    locators(body, record.unicast);
    if (record.hasMulticast != 0) {
        locators(body, record.multicast);
    }
    return accept(body, record, RTPS_ACCEPTED, out);
}

int RTPSMessageWriter_addInfoReply(RTPSMessageWriter *self, const RTPSInfoReply *info) {
    Addition addition(*self, RTPS_SUBMESSAGE_INFO_REPLY,
                      flag_if(info->hasMulticast, MULTICAST_FLAG));
    locators(addition.body(), info->unicast);
    if (info->hasMulticast != 0) {
        locators(addition.body(), info->multicast);
    }
    return addition.finish();
}

RTPSRefusal RTPSInfoReplyIp4_read(const RTPSSubmessage *submessage, RTPSInfoReplyIp4 *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_INFO_REPLY_IP4);
    RTPSInfoReplyIp4 record{};
    record.hasMulticast = has_flag(*submessage, MULTICAST_FLAG);
    record.multicast = NUV_NETIO_LOCATOR_INVALID;
    locator_ipv4(body, record.unicast);
    if (record.hasMulticast != 0) {
        locator_ipv4(body, record.multicast);
    }
    return accept(body, record, RTPS_ACCEPTED, out);
}

int RTPSMessageWriter_addInfoReplyIp4(RTPSMessageWriter *self, const RTPSInfoReplyIp4 *info) {
    const bool has_multicast = info->hasMulticast != 0;
    if (!is_ipv4_or_none(info->unicast) || (has_multicast && !is_ipv4_or_none(info->multicast))) {
        return add_nothing(*self);
    }
    Addition addition(*self, RTPS_SUBMESSAGE_INFO_REPLY_IP4,
                      flag_if(info->hasMulticast, MULTICAST_FLAG));
    locator_ipv4(addition.body(), info->unicast);
    if (has_multicast) {
        locator_ipv4(addition.body(), info->multicast);
    }
    return addition.finish();
}
