// SPDX-License-Identifier: Apache-2.0
#include "values.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <sstream>

#include "numbers.h"
#include "words.h"

namespace {

constexpr DDS_Long LONG_LOWEST = std::numeric_limits<DDS_Long>::min();
constexpr DDS_Long LONG_HIGHEST = std::numeric_limits<DDS_Long>::max();
/** No index beyond this one has valid ports, whatever the settings. */
constexpr DDS_Long INDEX_HIGHEST = DDS_RTPS_PORT_MAX;
/** The last domain that has ports, with the standard settings. */
constexpr DDS_DomainId_t DOMAIN_HIGHEST = 232;
constexpr double SECONDS_HIGHEST = 1e9; // as nanoseconds well within 64 bits

/** A word that stands for a number. */
template <class Number>
struct Word {
    const char *text;
    Number number;
};

template <class Number, std::size_t N>
using Vocabulary = std::array<Word<Number>, N>;

/** The bits for which there is a word. */
template <class Mask, std::size_t N>
constexpr Mask all_bits(const Vocabulary<Mask, N> &vocabulary) {
    Mask bits = 0;

    for (const Word<Mask> &word : vocabulary) {
        bits |= word.number;
    }
    return bits;
}

using PortKind = Word<DDS_RtpsReservedPortKindMask>;
using Transport = Word<DDS_TransportBuiltinKindMask>;
using DiscoveryPlugin = Word<DDS_DiscoveryConfigBuiltinPluginKindMask>;
using Verbosity = Word<KOLS_Config_LogVerbosity>;

constexpr std::array PORT_KINDS = {
    PortKind{"builtin_unicast", DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST},
    PortKind{"builtin_multicast", DDS_RTPS_RESERVED_PORT_BUILTIN_MULTICAST},
    PortKind{"user_unicast", DDS_RTPS_RESERVED_PORT_USER_UNICAST},
    PortKind{"user_multicast", DDS_RTPS_RESERVED_PORT_USER_MULTICAST},
};
static_assert(all_bits(PORT_KINDS) == DDS_RTPS_RESERVED_PORT_MASK_ALL);

constexpr std::array TRANSPORTS = {
    Transport{"udpv4", DDS_TRANSPORTBUILTIN_UDPv4},
    Transport{"udpv6", DDS_TRANSPORTBUILTIN_UDPv6},
};
static_assert(all_bits(TRANSPORTS) == DDS_TRANSPORTBUILTIN_MASK_ALL);

constexpr std::array DISCOVERY_PLUGINS = {
    DiscoveryPlugin{"spdp", DDS_DISCOVERYCONFIG_BUILTIN_SPDP},
    DiscoveryPlugin{"spdp2", DDS_DISCOVERYCONFIG_BUILTIN_SPDP2},
};
static_assert(all_bits(DISCOVERY_PLUGINS) == DDS_DISCOVERYCONFIG_BUILTIN_PLUGIN_MASK_ALL);

constexpr std::array VERBOSITIES = {
    Verbosity{"silent", KOLS_CONFIG_LOG_VERBOSITY_SILENT},
    Verbosity{"error", KOLS_CONFIG_LOG_VERBOSITY_ERROR},
    Verbosity{"warning", KOLS_CONFIG_LOG_VERBOSITY_WARNING},
    Verbosity{"status", KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL},
    Verbosity{"all", KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL},
};

template <class Number, std::size_t N>
std::vector<std::string> words_of(const Vocabulary<Number, N> &vocabulary) {
    std::vector<std::string> words;

    for (const auto &[word, number] : vocabulary) {
        words.push_back(word);
    }
    return words;
}

template <class Number, std::size_t N>
std::optional<Number> find(const Vocabulary<Number, N> &vocabulary, const std::string &text) {
    for (const auto &[word, number] : vocabulary) {
        if (word == text) {
            return number;
        }
    }
    return std::nullopt;
}

template <class Mask, std::size_t N>
Mask to_mask(const Vocabulary<Mask, N> &vocabulary, const std::string &text) {
    Mask mask = 0;

    for (const std::string &word : split(text, ',')) {
        const auto bit = find(vocabulary, word);

        if (!bit) {
            throw Refusal(word, "one of " + join(words_of(vocabulary), ", ") + ", joined by ','");
        }
        mask |= *bit;
    }
    return mask;
}

template <class Mask, std::size_t N>
std::vector<std::string> words_of_mask(const Vocabulary<Mask, N> &vocabulary, Mask mask) {
    std::vector<std::string> words;

    for (const auto &[word, bit] : vocabulary) {
        if ((mask & bit) != 0) {
            words.push_back(word);
            mask &= ~bit;
        }
    }
    if (mask != 0) {
        std::ostringstream rest;

        rest << "0x" << std::hex << mask;
        words.push_back(rest.str());
    }
    return words;
}

DDS_Long to_long(const std::string &text, DDS_Long lowest, DDS_Long highest) {
    const auto number = to_number<DDS_Long>(text);

    if (!number || *number < lowest || *number > highest) {
        throw Refusal(text, "a whole number from " + std::to_string(lowest) + " to " +
                                std::to_string(highest));
    }
    return *number;
}

/** The numbers of a text "N" or "FIRST-LAST" within 0 to @p highest, if it is one. */
std::optional<std::pair<DDS_Long, DDS_Long>> to_range(const std::string &text, DDS_Long highest) {
    const std::vector<std::string> ends = split(text, '-');
    const auto first = to_number<DDS_Long>(ends.front());
    const auto last = to_number<DDS_Long>(ends.back());

    if (ends.size() > 2 || !first || !last || *first < 0 || *first > *last || *last > highest) {
        return std::nullopt;
    }
    return std::pair(*first, *last);
}

} // namespace

DDS_DomainId_t to_domain(const std::string &text) {
    return to_long(text, 0, LONG_HIGHEST);
}

Domains to_domains(const std::string &text) {
    if (text == "all") {
        return {0, DOMAIN_HIGHEST, true};
    }
    const auto range = to_range(text, DOMAIN_HIGHEST);

    if (!range) {
        throw Refusal(text, "a domain or a range FIRST-LAST within 0 to " +
                                std::to_string(DOMAIN_HIGHEST) + ", or 'all'");
    }
    return {range->first, range->second, false};
}

Domains to_domains_of_ports(const std::string &text) {
    const auto domain = to_number<DDS_DomainId_t>(text);

    return domain && *domain >= 0 ? Domains{*domain, *domain, false} : to_domains(text);
}

DDS_Long to_port_setting(const std::string &text) {
    return to_long(text, LONG_LOWEST, LONG_HIGHEST);
}

unsigned to_port(const std::string &text) {
    return static_cast<unsigned>(to_long(text, DDS_RTPS_PORT_MIN, DDS_RTPS_PORT_MAX));
}

std::string to_host(const std::string &text) {
    const bool has_port = std::ranges::count(text, ':') == 1;

    if (text.empty() || has_port || text.find_first_of("/[] \t") != std::string::npos) {
        throw Refusal(text, "the name or the address of a host, without a port");
    }
    return text;
}

DDS_Long to_index(const std::string &text) {
    const auto number = to_number<DDS_Long>(text);

    if (text == "auto") {
        return DDS_PARTICIPANT_ID_AUTO;
    }
    if (!number || *number < 0) {
        throw Refusal(text, "'auto' or a whole number from 0 to " + std::to_string(LONG_HIGHEST));
    }
    return *number;
}

PortsOptions::Range to_index_range(const std::string &text) {
    const auto range = to_range(text, INDEX_HIGHEST);

    if (!range) {
        throw Refusal(text, "an index or a range FIRST-LAST within 0 to " +
                                std::to_string(INDEX_HIGHEST));
    }
    return {range->first, range->second};
}

std::size_t to_number_of_participants(const std::string &text) {
    return static_cast<std::size_t>(to_long(text, 1, LONG_HIGHEST));
}

std::chrono::nanoseconds to_duration(const std::string &text) {
    const auto seconds = to_number<double>(text);

    if (!seconds || !(*seconds >= 0 && *seconds <= SECONDS_HIGHEST)) {
        throw Refusal(text, "a number of seconds from 0 to 1000000000");
    }
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(*seconds));
}

std::pair<std::string, std::string> to_property(const std::string &text) {
    const std::size_t equals = text.find('=');

    if (equals == std::string::npos || equals == 0) {
        throw Refusal(text, "of the form NAME=VALUE");
    }
    return {text.substr(0, equals), text.substr(equals + 1)};
}

DDS_RtpsReservedPortKindMask to_reserved_ports(const std::string &text) {
    return text == "none" ? DDS_RTPS_RESERVED_PORT_MASK_NONE : to_mask(PORT_KINDS, text);
}

DDS_TransportBuiltinKindMask to_transports(const std::string &text) {
    return to_mask(TRANSPORTS, text);
}

KOLS_Config_LogVerbosity to_verbosity(const std::string &text) {
    const auto verbosity = find(VERBOSITIES, text);

    if (!verbosity) {
        throw Refusal(text, "one of " + join(words_of(VERBOSITIES), ", "));
    }
    return *verbosity;
}

std::vector<std::string> words_of_reserved_ports(DDS_RtpsReservedPortKindMask mask) {
    return words_of_mask(PORT_KINDS, mask);
}

std::vector<std::string> words_of_transports(DDS_TransportBuiltinKindMask mask) {
    return words_of_mask(TRANSPORTS, mask);
}

std::vector<std::string> words_of_discovery_plugins(DDS_DiscoveryConfigBuiltinPluginKindMask mask) {
    return words_of_mask(DISCOVERY_PLUGINS, mask);
}

std::vector<std::string> port_kind_words() {
    return words_of(PORT_KINDS);
}

std::vector<std::string> transport_words() {
    return words_of(TRANSPORTS);
}

std::vector<std::string> verbosity_words() {
    return words_of(VERBOSITIES);
}
