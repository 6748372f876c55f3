// SPDX-License-Identifier: Apache-2.0
// The text of a locator or peer taken apart.
#include "locator/endpointText.h"

#include <array>
#include <charconv>
#include <cstring>

#include "locator/aliasList.h"

namespace netio {

namespace {

constexpr std::size_t PORT_DIGITS_MAX = 5;

bool parse_port(std::string_view text, KOLS_Transport_Port_t *out) {
    if (text.empty() || text.size() > PORT_DIGITS_MAX || text[0] == '-') {
        return false;
    }
    KOLS_Transport_Port_t port = 0;
    const char *const end = text.data() + text.size();
    if (std::from_chars(text.data(), end, port).ptr != end || port > KOLS_TRANSPORT_PORT_MAX) {
        return false;
    }
    *out = port;
    return true;
}

/** Takes "udpv4://" off the text; a text without a scheme is fine, an unknown scheme is not. */
bool take_scheme(std::string_view *text, EndpointText *parts) {
    constexpr std::string_view MARK = "://";
    const std::size_t mark = text->find(MARK);
    if (mark == std::string_view::npos) {
        return true;
    }
    parts->transport = class_of_alias(text->substr(0, mark));
    text->remove_prefix(mark + MARK.size());
    return parts->transport != KOLS_TRANSPORT_CLASSID_INVALID;
}

/** Takes "HOST" or "[HOST]" off the text; what is left is empty or starts with ':'. */
bool take_host(std::string_view *text, EndpointText *parts) {
    if (text->starts_with('[')) {
        const std::size_t end = text->find(']');
        if (end == std::string_view::npos) {
            return false;
        }
        parts->bracketed = true;
        parts->host = text->substr(1, end - 1);
        text->remove_prefix(end + 1);
        return !parts->host.empty() && (text->empty() || text->starts_with(':'));
    }
    const std::size_t colon = text->find(':');
    // Several colons without brackets are a bare IPv6 address, which has no port.
    const bool bare = colon != text->rfind(':');
    parts->host = bare ? *text : text->substr(0, colon);
    text->remove_prefix(parts->host.size());
    return !parts->host.empty();
}

} // namespace

bool split_endpoint(std::string_view text, EndpointText *out) {
    EndpointText parts;
    if (!take_scheme(&text, &parts) || !take_host(&text, &parts)) {
        return false;
    }
    if (!text.empty() && !parse_port(text.substr(1), &parts.port)) {
        return false;
    }
    *out = parts;
    return true;
}

bool parse_address(std::string_view text, const NUVNetioTransportClass &its_class,
                   KOLS_Transport_Address_t *out) {
    // A copy with a terminator, which the parsers of addresses need.
    std::array<char, NUV_NETIO_ADDRESS_STRING_SIZE> terminated{};
    if (text.size() >= terminated.size() || text.find('\0') != std::string_view::npos) {
        return false;
    }
    std::memcpy(terminated.data(), text.data(), text.size());
    return its_class.parse(terminated.data(), out) != 0;
}

} // namespace netio
