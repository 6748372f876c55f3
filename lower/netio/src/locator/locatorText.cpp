// Numeric locators read from text.
#include "locator/endpointText.h"

using netio::EndpointText;

namespace {

bool parse_as(const EndpointText &parts, KOLS_Transport_ClassId_t transport, NUVNetioLocator *out) {
    const bool wanted =
        parts.transport == KOLS_TRANSPORT_CLASSID_INVALID || parts.transport == transport;
    const bool brackets_fit = !parts.bracketed || transport == KOLS_TRANSPORT_CLASSID_UDPv6;
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    if (!wanted || !brackets_fit ||
        !netio::parse_address(parts.host, transport, &locator.address)) {
        return false;
    }
    locator.transport = transport;
    locator.port = parts.port;
    *out = locator;
    return true;
}

} // namespace

int NUVNetioLocator_parse(const char *text, struct NUVNetioLocator *out) {
    EndpointText parts;
    return static_cast<int>(text != nullptr && netio::split_endpoint(text, &parts) &&
                            (parse_as(parts, KOLS_TRANSPORT_CLASSID_UDPv4, out) ||
                             parse_as(parts, KOLS_TRANSPORT_CLASSID_UDPv6, out)));
}
