// UDP over IPv4.
#include <cstring>

#include <arpa/inet.h>

#include "transport/socketAddress.h"
#include "transport/transportClasses.h"

namespace netio {

namespace {

void to_string(const KOLS_Transport_Address_t *address, char *text) {
    inet_ntop(AF_INET, address->network_ordered_value + IPV4_OFFSET, text,
              NUV_NETIO_ADDRESS_STRING_SIZE);
}

int parse(const char *text, KOLS_Transport_Address_t *out) {
    KOLS_Transport_Address_t address{};
    if (inet_pton(AF_INET, text, address.network_ordered_value + IPV4_OFFSET) != 1) {
        return 0;
    }
    *out = address;
    return 1;
}

int is_multicast(const KOLS_Transport_Address_t *address) {
    return static_cast<int>((address->network_ordered_value[IPV4_OFFSET] & 0xF0u) ==
                            0xE0u); // 224.0.0.0/4
}

int is_loopback(const KOLS_Transport_Address_t *address) {
    return static_cast<int>(address->network_ordered_value[IPV4_OFFSET] == 127u); // 127.0.0.0/8
}

const char *narrow_scope(const KOLS_Transport_Address_t * /*address*/) {
    return nullptr;
}

} // namespace

const NUVNetioTransportClass UDPV4_CLASS = {
    KOLS_TRANSPORT_CLASSID_UDPv4,
    "udpv4",
    "IPv4",
    0,
    NUV_NETIO_UDPv4_MESSAGE_SIZE_MAX,
    to_string,
    parse,
    is_multicast,
    is_loopback,
    narrow_scope,
    "224.0.0.0/4",
};

} // namespace netio
