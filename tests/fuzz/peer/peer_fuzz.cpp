// SPDX-License-Identifier: Apache-2.0
// The text of a peer.
#include <cstring>
#include <string>

#include "endpoint_reader.h"
#include "fuzz.h"

namespace {

bool is_equal(const NUVNetioPeer &left, const NUVNetioPeer &right) {
    return fuzz::is_equal(left.locator, right.locator) && left.transport == right.transport &&
           std::strcmp(left.hostname, right.hostname) == 0 && left.port == right.port;
}

std::optional<NUVNetioPeer> expected(const std::string &text) {
    const auto locator = fuzz::read_locator(text);
    if (!locator) {
        return fuzz::read_host(text);
    }
    NUVNetioPeer peer{};
    peer.locator = *locator;
    peer.transport = locator->transport;
    peer.port = locator->port;
    return peer;
}

std::string text_of(const NUVNetioPeer &peer) {
    const char *alias = NUVNetioTransport_aliasOfClass(peer.transport);
    return (alias != nullptr ? std::string(alias) + "://" : "") + peer.hostname + ":" +
           std::to_string(peer.port);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::Messages messages;
    const std::string text = fuzz::text_of(data, size);
    NUVNetioPeer peer;
    std::memset(&peer, 0x5A, sizeof peer);
    NUVNetioPeer before;
    std::memcpy(&before, &peer, sizeof peer);

    const bool is_taken = NUVNetioPeer_parse(text.c_str(), &peer) != 0;
    const auto wanted = expected(text);
    fuzz::must(is_taken == wanted.has_value(), "addresses and host names are taken, nothing else");
    if (!is_taken) {
        fuzz::must(std::memcmp(&peer, &before, sizeof peer) == 0,
                   "a refused text leaves the peer as it was");
    } else {
        fuzz::must(is_equal(peer, *wanted), "a peer is what its text says");
        NUVNetioPeer again{};
        fuzz::must(
            peer.hostname[0] == '\0' ||
                (NUVNetioPeer_parse(text_of(peer).c_str(), &again) != 0 && is_equal(peer, again)),
            "a host's name and port read back as the same peer");
    }
    fuzz::must(messages.count() == 0, "reading a peer says nothing");
    return 0;
}
