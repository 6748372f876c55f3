// SPDX-License-Identifier: Apache-2.0
// The text of a locator or peer taken apart.
#ifndef NETIO_ENDPOINT_TEXT_H
#define NETIO_ENDPOINT_TEXT_H

#include <string_view>

#include "netio/netio_transport.h"

namespace netio {

/** "udpv6://[HOST]:PORT" in its parts; scheme, brackets and port may be missing. */
struct EndpointText {
    KOLS_Transport_ClassId_t transport = KOLS_TRANSPORT_CLASSID_INVALID; // of the scheme
    std::string_view host;
    bool bracketed = false;
    KOLS_Transport_Port_t port = 0;
};

/** Takes a text apart; false when it has no such parts. The host itself is not looked at. */
bool split_endpoint(std::string_view text, EndpointText *out);

/** Parses an address without port or brackets. False when it is none of this class. */
bool parse_address(std::string_view text, const NUVNetioTransportClass &its_class,
                   KOLS_Transport_Address_t *out);

} // namespace netio

#endif
