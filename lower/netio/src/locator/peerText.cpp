// SPDX-License-Identifier: Apache-2.0
// Peers read from text.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "locator/endpointText.h"

namespace {

constexpr std::size_t LABEL_MAX = 63; // RFC 1035

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

bool is_letter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

/** The underscore is no part of RFC 1123's names, but names of containers have it. */
bool is_label(std::string_view label) {
    return !label.empty() && label.size() <= LABEL_MAX && label.front() != '-' &&
           label.back() != '-' && std::all_of(label.begin(), label.end(), [](char character) {
               return is_digit(character) || is_letter(character) || character == '-' ||
                      character == '_';
           });
}

bool is_host_name(std::string_view name) {
    if (name.size() > NUV_NETIO_HOSTNAME_MAX) {
        return false;
    }
    if (name.ends_with('.')) {
        name.remove_suffix(1); // the root's dot
    }
    std::string_view label;
    for (std::size_t dot = 0; dot != std::string_view::npos;) {
        dot = name.find('.');
        label = name.substr(0, dot);
        if (!is_label(label)) {
            return false;
        }
        name.remove_prefix(label.size() + (dot != std::string_view::npos ? 1 : 0));
    }
    // With a number at its end it is an IPv4 address gone wrong, such as "192.0.2.300".
    return !std::all_of(label.begin(), label.end(), is_digit);
}

} // namespace

int NUVNetioPeer_parse(const char *text, NUVNetioPeer *out) {
    NUVNetioPeer peer{};
    peer.locator = NUV_NETIO_LOCATOR_INVALID;
    if (NUVNetioLocator_parse(text, &peer.locator) != 0) {
        peer.transport = peer.locator.transport;
        peer.port = peer.locator.port;
        *out = peer;
        return 1;
    }
    netio::EndpointText parts;
    if (text == nullptr || !netio::split_endpoint(text, &parts) || parts.bracketed ||
        !is_host_name(parts.host)) {
        return 0;
    }
    peer.transport = parts.transport;
    peer.port = parts.port;
    std::memcpy(peer.hostname, parts.host.data(), parts.host.size());
    *out = peer;
    return 1;
}
