// SPDX-License-Identifier: Apache-2.0
#include "host/addresses.h"

#include <array>
#include <cstdint>
#include <vector>

#include <arpa/inet.h>

#include "numbers.h"

namespace host {

namespace {

constexpr std::size_t WORD_DIGITS = 8;
constexpr int HEXADECIMAL = 16;

/** As many words as the digits make; none where they are no digits, or too few or many. */
std::vector<std::uint32_t> words_of(std::string_view hexadecimal) {
    std::vector<std::uint32_t> words;

    if (hexadecimal.size() != WORD_DIGITS && hexadecimal.size() != 4 * WORD_DIGITS) {
        return {};
    }
    for (; !hexadecimal.empty(); hexadecimal.remove_prefix(WORD_DIGITS)) {
        const auto word = to_number<std::uint32_t>(hexadecimal.substr(0, WORD_DIGITS), HEXADECIMAL);

        if (!word) {
            return {};
        }
        words.push_back(*word);
    }
    return words;
}

std::string text_of_address(const std::vector<std::uint32_t> &words) {
    std::array<char, INET6_ADDRSTRLEN> text = {};

    if (!words.empty()) {
        (void)inet_ntop(words.size() == 1 ? AF_INET : AF_INET6, words.data(), text.data(),
                        text.size());
    }
    return text.data();
}

} // namespace

bool is_group(const std::string &address) {
    in_addr ipv4 = {};
    in6_addr ipv6 = {};

    if (inet_pton(AF_INET, address.c_str(), &ipv4) == 1) {
        return IN_MULTICAST(ntohl(ipv4.s_addr));
    }
    return inet_pton(AF_INET6, address.c_str(), &ipv6) == 1 && IN6_IS_ADDR_MULTICAST(&ipv6);
}

std::string address_of_words(std::string_view hexadecimal) {
    return text_of_address(words_of(hexadecimal));
}

} // namespace host
