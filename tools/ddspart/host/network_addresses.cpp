// SPDX-License-Identifier: Apache-2.0
#include "host/network_addresses.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>

#include "host/files.h"
#include "numbers.h"

namespace host {

namespace {

/** The tree of routes has an address on one line and what it is on one of the next. */
void add_ipv4(const std::string &tree, std::set<std::string> &addresses) {
    std::string address;

    for (const std::string &line : lines_of(tree)) {
        const std::vector<std::string> fields = fields_of(line);

        if (fields.size() == 2 && fields[0] == "|--") {
            address = fields[1];
        } else if (fields.size() == 3 && fields[0] == "/32" && fields[1] == "host" &&
                   fields[2] == "LOCAL" && !address.starts_with("127.")) {
            addresses.insert(address);
        }
    }
}

/** 32 hexadecimal digits, the index, the length of the prefix, the scope, flags and a name. */
void add_ipv6(const std::string &list, std::set<std::string> &addresses) {
    constexpr std::size_t DIGITS = 2;
    constexpr int BASE = 16;

    for (const std::string &line : lines_of(list)) {
        const std::vector<std::string> fields = fields_of(line);
        in6_addr address = {};
        std::array<char, INET6_ADDRSTRLEN> text = {};

        if (fields.size() < 4 || fields[0].size() != DIGITS * sizeof address || fields[3] != "00") {
            continue; // of another scope than all networks
        }
        for (std::size_t i = 0; i < sizeof address; ++i) {
            address.s6_addr[i] = to_number<unsigned char>(
                                     std::string_view(fields[0]).substr(i * DIGITS, DIGITS), BASE)
                                     .value_or(0);
        }
        addresses.insert(inet_ntop(AF_INET6, &address, text.data(), text.size()));
    }
}

} // namespace

std::set<std::string> network_addresses(const std::filesystem::path &net) {
    std::set<std::string> addresses;

    add_ipv4(text_or_none(net / "fib_trie").value_or(""), addresses);
    add_ipv6(text_or_none(net / "if_inet6").value_or(""), addresses);
    return addresses;
}

} // namespace host
