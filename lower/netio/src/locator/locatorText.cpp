// SPDX-License-Identifier: Apache-2.0
// Numeric locators read from text.
#include "locator/endpointText.h"
#include "netio/netio_transport.h"

using netio::EndpointText;

namespace {

bool parse_as(const EndpointText &parts, const NUVNetioTransportClass &its_class,
              NUVNetioLocator *out) {
    const bool wanted =
        parts.transport == KOLS_TRANSPORT_CLASSID_INVALID || parts.transport == its_class.classid;
    const bool brackets_fit = !parts.bracketed || its_class.isBracketed != 0;
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    if (!wanted || !brackets_fit ||
        !netio::parse_address(parts.host, its_class, &locator.address)) {
        return false;
    }
    locator.transport = its_class.classid;
    locator.port = parts.port;
    *out = locator;
    return true;
}

} // namespace

int NUVNetioLocator_parse(const char *text, NUVNetioLocator *out) {
    EndpointText parts;
    bool parsed = false;
    if (text != nullptr && netio::split_endpoint(text, &parts)) {
        for (NUV_INT32 i = 0; i < NUV_NETIO_TRANSPORTS_MAX && !parsed; ++i) {
            parsed = parse_as(parts, *NUVNetioTransportClass_get(i), out);
        }
    }
    return static_cast<int>(parsed);
}
