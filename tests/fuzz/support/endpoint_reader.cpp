// SPDX-License-Identifier: Apache-2.0
// Another reader of locators and peers.
#include "endpoint_reader.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <arpa/inet.h>

namespace fuzz {

namespace {

constexpr const char *DIGITS = "0123456789";
constexpr const char *NAME_CHARACTERS =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";

/** What follows the scheme, in one of the ways in which it may be split. */
struct Form {
    KOLS_Transport_ClassId_t scheme = KOLS_TRANSPORT_CLASSID_INVALID;
    std::string host;
    KOLS_Transport_Port_t port = 0;
};

Form without_scheme(const std::string &text) {
    for (const auto &[word, transport] : {std::pair{"udpv4://", KOLS_TRANSPORT_CLASSID_UDPv4},
                                          std::pair{"udpv6://", KOLS_TRANSPORT_CLASSID_UDPv6}}) {
        if (text.starts_with(word)) {
            return {transport, text.substr(std::strlen(word)), 0};
        }
    }
    return {KOLS_TRANSPORT_CLASSID_INVALID, text, 0};
}

/** Takes ":PORT" off the end of the host. */
std::optional<Form> without_port(Form form) {
    const std::size_t colon = form.host.rfind(':');
    if (colon == std::string::npos) {
        return std::nullopt;
    }
    const std::string port = form.host.substr(colon + 1);
    if (port.empty() || port.size() > 5 || port.find_first_not_of(DIGITS) != std::string::npos ||
        std::stol(port) > 65535) {
        return std::nullopt;
    }
    form.port = static_cast<KOLS_Transport_Port_t>(std::stol(port));
    form.host.resize(colon);
    return form;
}

/** The whole text as a host, and what it is with a port at its end. */
std::vector<Form> forms_of(const std::string &text) {
    const Form whole = without_scheme(text);
    std::vector<Form> forms = {whole};
    if (const auto shorter = without_port(whole)) {
        forms.push_back(*shorter);
    }
    return forms;
}

std::optional<NUVNetioLocator> locator_of(const Form &form, KOLS_Transport_ClassId_t transport,
                                          const std::string &address) {
    const bool is_ipv4 = transport == KOLS_TRANSPORT_CLASSID_UDPv4;
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    locator.transport = transport;
    locator.port = form.port;
    if ((form.scheme != KOLS_TRANSPORT_CLASSID_INVALID && form.scheme != transport) ||
        inet_pton(is_ipv4 ? AF_INET : AF_INET6, address.c_str(),
                  &locator.address.network_ordered_value[is_ipv4 ? 12 : 0]) != 1) {
        return std::nullopt;
    }
    return locator;
}

bool is_label(const std::string &label) {
    return !label.empty() && label.size() <= 63 && label.front() != '-' && label.back() != '-' &&
           label.find_first_not_of(NAME_CHARACTERS) == std::string::npos;
}

bool is_host_name(const std::string &name) {
    std::vector<std::string> labels = {""};
    for (const char character : name) {
        if (character == '.') {
            labels.emplace_back();
        } else {
            labels.back() += character;
        }
    }
    if (labels.size() > 1 && labels.back().empty()) {
        labels.pop_back(); // the root's
    }
    return name.size() <= 255 && std::all_of(labels.begin(), labels.end(), is_label) &&
           labels.back().find_first_not_of(DIGITS) != std::string::npos;
}

} // namespace

std::optional<NUVNetioLocator> read_locator(const std::string &text) {
    for (const Form &form : forms_of(text)) {
        const std::string &host = form.host;
        if (auto ipv4 = locator_of(form, KOLS_TRANSPORT_CLASSID_UDPv4, host)) {
            return ipv4;
        }
        if (host.starts_with('[') && host.ends_with(']')) {
            return locator_of(form, KOLS_TRANSPORT_CLASSID_UDPv6, host.substr(1, host.size() - 2));
        }
    }
    // Without brackets the last group of an IPv6 address may look like a port: it has none.
    const Form whole = without_scheme(text);
    return locator_of(whole, KOLS_TRANSPORT_CLASSID_UDPv6, whole.host);
}

std::optional<NUVNetioPeer> read_host(const std::string &text) {
    for (const Form &form : forms_of(text)) {
        if (is_host_name(form.host)) {
            NUVNetioPeer peer{};
            peer.locator = NUV_NETIO_LOCATOR_INVALID;
            peer.transport = form.scheme;
            peer.port = form.port;
            form.host.copy(peer.hostname, sizeof peer.hostname - 1);
            return peer;
        }
    }
    return std::nullopt;
}

bool is_equal(const NUVNetioLocator &left, const NUVNetioLocator &right) {
    return left.transport == right.transport && left.port == right.port &&
           std::memcmp(&left.address, &right.address, sizeof left.address) == 0 &&
           left.hostname == right.hostname && left.encapsulationCount == right.encapsulationCount &&
           std::equal(std::begin(left.encapsulations), std::end(left.encapsulations),
                      std::begin(right.encapsulations)) &&
           left.lossProbability == right.lossProbability && left.disabled == right.disabled;
}

} // namespace fuzz
