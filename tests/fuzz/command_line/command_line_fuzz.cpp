// SPDX-License-Identifier: Apache-2.0
// The command line of ddspart, one argument a line.
#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>
#include <string>
#include <vector>

#include "fuzz.h"
#include "options.h"
#include "why/facts.h"

namespace {

using Arguments = std::vector<std::string>;

Command parse(const Arguments &arguments) {
    std::vector<const char *> words = {"ddspart"};
    for (const std::string &argument : arguments) {
        words.push_back(argument.c_str());
    }
    return parse_command_line(static_cast<int>(words.size()), words.data());
}

struct PortSetting {
    const char *option;
    DDS_Long DDS_RtpsWellKnownPorts_t::*member;
};

constexpr PortSetting PORT_SETTINGS[] = {
    {"--port-base", &DDS_RtpsWellKnownPorts_t::port_base},
    {"--domain-gain", &DDS_RtpsWellKnownPorts_t::domain_id_gain},
    {"--participant-gain", &DDS_RtpsWellKnownPorts_t::participant_id_gain},
    {"--builtin-multicast-offset", &DDS_RtpsWellKnownPorts_t::builtin_multicast_port_offset},
    {"--builtin-unicast-offset", &DDS_RtpsWellKnownPorts_t::builtin_unicast_port_offset},
    {"--user-multicast-offset", &DDS_RtpsWellKnownPorts_t::user_multicast_port_offset},
    {"--user-unicast-offset", &DDS_RtpsWellKnownPorts_t::user_unicast_port_offset},
};

struct Verbosity {
    const char *word;
    KOLS_Config_LogVerbosity value;
};

constexpr Verbosity VERBOSITIES[] = {
    {"silent", KOLS_CONFIG_LOG_VERBOSITY_SILENT},
    {"error", KOLS_CONFIG_LOG_VERBOSITY_ERROR},
    {"warning", KOLS_CONFIG_LOG_VERBOSITY_WARNING},
    {"status", KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL},
    {"all", KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL},
};

constexpr std::array<const char *, 4> PORT_KINDS = {"builtin_unicast", "builtin_multicast",
                                                    "user_unicast", "user_multicast"};
constexpr std::array<const char *, 2> TRANSPORTS = {"udpv4", "udpv6"};

template <std::size_t COUNT>
std::string words_of(const std::array<const char *, COUNT> &words, unsigned long mask) {
    std::string text;
    for (std::size_t bit = 0; bit < COUNT; ++bit) {
        if ((mask >> bit & 1) != 0) {
            text += (text.empty() ? "" : ",") + std::string(words[bit]);
        }
    }
    return text;
}

void add(Arguments &arguments, const std::string &option, const std::string &value) {
    arguments.push_back(option + "=" + value);
}

void add_each(Arguments &arguments, const std::string &option,
              const std::vector<std::string> &values) {
    for (const std::string &value : values) {
        add(arguments, option, value);
    }
}

void add_flag(Arguments &arguments, const std::string &option, bool is_given) {
    if (is_given) {
        arguments.push_back(option);
    }
}

void add_well_known_ports(Arguments &arguments, const DDS_RtpsWellKnownPorts_t &ports) {
    for (const PortSetting &setting : PORT_SETTINGS) {
        add(arguments, setting.option, std::to_string(ports.*setting.member));
    }
}

void add_port_settings(Arguments &arguments, const PortSettings &settings) {
    add(arguments, "--domain", std::to_string(settings.domain));
    add_well_known_ports(arguments, settings.well_known_ports);
}

std::string seconds(std::chrono::nanoseconds duration) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%lld.%09lld",
                  static_cast<long long>(duration.count() / 1'000'000'000),
                  static_cast<long long>(duration.count() % 1'000'000'000));
    return text.data();
}

/** The command line that says all of these options. */
Arguments arguments_of(const RunOptions &options) {
    Arguments arguments = {"run"};
    add_port_settings(arguments, options);
    add(arguments, "--index", options.index < 0 ? "auto" : std::to_string(options.index));
    const auto ports = static_cast<unsigned long>(options.reserved_ports);
    add(arguments, "--reserve", ports == 0 ? "none" : words_of(PORT_KINDS, ports));
    add(arguments, "--transport", words_of(TRANSPORTS, options.transports));
    for (const Verbosity &verbosity : VERBOSITIES) {
        if (verbosity.value == options.verbosity) {
            add(arguments, "--verbosity", verbosity.word);
        }
    }
    add_each(arguments, "--interface", options.interfaces);
    add_each(arguments, "--peer", options.peers);
    add_each(arguments, "--multicast-address", options.multicast_addresses);
    for (const auto &[name, value] : options.properties) {
        add(arguments, "--property", name + "=" + value);
    }
    if (options.name) {
        add(arguments, "--name", *options.name);
    }
    if (!options.user_data.empty()) {
        add(arguments, "--user-data", options.user_data);
    }
    if (options.duration) {
        add(arguments, "--for", seconds(*options.duration));
    }
    add_flag(arguments, "--no-multicast", !options.multicast);
    add_flag(arguments, "--show-qos", options.show_qos);
    add_flag(arguments, "--json", options.json);
    return arguments;
}

Arguments arguments_of(const PortsOptions &options) {
    Arguments arguments = {"ports"};
    add_well_known_ports(arguments, options.well_known_ports);
    add(arguments, "--domain",
        std::to_string(options.domain) +
            (options.last_domain && *options.last_domain != options.domain
                 ? "-" + std::to_string(*options.last_domain)
                 : ""));
    if (options.indices) {
        add(arguments, "--index",
            std::to_string(options.indices->first) + "-" + std::to_string(options.indices->last));
    }
    add_flag(arguments, "--check", options.check);
    add_flag(arguments, "--nft", options.nft);
    add_flag(arguments, "--json", options.json);
    return arguments;
}

bool is_equal(const PortSettings &left, const PortSettings &right) {
    return left.domain == right.domain &&
           std::all_of(std::begin(PORT_SETTINGS), std::end(PORT_SETTINGS),
                       [&](const PortSetting &setting) {
                           return left.well_known_ports.*setting.member ==
                                  right.well_known_ports.*setting.member;
                       });
}

/** A duration is read as a number of 53 bits, so that its last digits may differ. */
bool is_equal(const std::optional<std::chrono::nanoseconds> &left,
              const std::optional<std::chrono::nanoseconds> &right) {
    if (!left || !right) {
        return left.has_value() == right.has_value();
    }
    return std::chrono::abs(*left - *right).count() <= 1 + (left->count() >> 52);
}

bool is_equal(const RunOptions &left, const RunOptions &right) {
    return is_equal(static_cast<const PortSettings &>(left), right) && left.index == right.index &&
           left.reserved_ports == right.reserved_ports && left.transports == right.transports &&
           left.interfaces == right.interfaces && left.peers == right.peers &&
           left.multicast_addresses == right.multicast_addresses &&
           left.multicast == right.multicast && left.properties == right.properties &&
           left.name == right.name && left.user_data == right.user_data &&
           left.show_qos == right.show_qos && is_equal(left.duration, right.duration) &&
           left.verbosity == right.verbosity && left.json == right.json;
}

bool is_equal(const PortsOptions &left, const PortsOptions &right) {
    return is_equal(static_cast<const PortSettings &>(left), right) &&
           left.indices.has_value() == right.indices.has_value() &&
           (!left.indices || (left.indices->first == right.indices->first &&
                              left.indices->last == right.indices->last)) &&
           left.last_domain.value_or(left.domain) == right.last_domain.value_or(right.domain) &&
           left.check == right.check && left.nft == right.nft && left.json == right.json;
}

void check(const Answer &answer, unsigned /*variation*/) {
    fuzz::must(answer.exit_code == 0 || answer.exit_code == 2, "an answer is help or a refusal");
    if (answer.exit_code == 0) {
        fuzz::must(answer.text.ends_with('\n'), "help is whole lines");
        return;
    }
    fuzz::must(answer.text.starts_with("ddspart") && answer.text.find('\n') == std::string::npos &&
                   answer.text.ends_with(" --help shows what is allowed)"),
               "a refusal is one line, which says where to find help");
}

template <class Options>
void check_again(const Options &options) {
    const Command again = parse(arguments_of(options));
    const Options *same = std::get_if<Options>(&again);
    fuzz::must(same != nullptr && is_equal(options, *same),
               "options that are all spelled out read back as the same");
}

void check(const RunOptions &options, unsigned variation) {
    fuzz::must(options.domain >= 0, "a domain is 0 or more");
    fuzz::must(options.index >= DDS_PARTICIPANT_ID_AUTO, "an index is automatic, 0 or more");
    fuzz::must((options.reserved_ports & ~DDS_RTPS_RESERVED_PORT_MASK_ALL) == 0,
               "ports to reserve are of the four kinds");
    fuzz::must(options.transports != 0 &&
                   (options.transports & ~DDS_TRANSPORTBUILTIN_MASK_ALL) == 0,
               "there is a transport, and no other than the two");
    fuzz::must(std::any_of(std::begin(VERBOSITIES), std::end(VERBOSITIES),
                           [&options](const Verbosity &verbosity) {
                               return verbosity.value == options.verbosity;
                           }),
               "a verbosity is one of the five");
    fuzz::must(!options.duration || (*options.duration >= std::chrono::nanoseconds::zero() &&
                                     *options.duration <= std::chrono::seconds(1'000'000'000)),
               "a time to stay is 0 to a billion seconds");
    fuzz::must(std::none_of(options.properties.begin(), options.properties.end(),
                            [](const auto &property) { return property.first.empty(); }),
               "a property has a name");
    fuzz::must(options.multicast || options.multicast_addresses.empty(),
               "there is no multicast address without multicast");
    check_again(options);

    // Every option is taken, and every word means something else than the others.
    RunOptions varied = options;
    varied.domain = static_cast<DDS_DomainId_t>(variation);
    varied.reserved_ports =
        static_cast<DDS_RtpsReservedPortKindMask>(variation & DDS_RTPS_RESERVED_PORT_MASK_ALL);
    varied.transports = 1 + variation % DDS_TRANSPORTBUILTIN_MASK_ALL;
    varied.verbosity = VERBOSITIES[variation % std::size(VERBOSITIES)].value;
    varied.index = static_cast<DDS_Long>(variation);
    varied.interfaces.emplace_back("eth0");
    varied.peers.emplace_back("host.example:7410");
    varied.properties.emplace_back("name", "value=1");
    varied.name = "robot";
    varied.user_data = "text";
    varied.duration = std::chrono::milliseconds(variation);
    varied.multicast = !options.multicast || !options.multicast_addresses.empty();
    varied.show_qos = !options.show_qos;
    varied.json = !options.json;
    check_again(varied);
}

void check(const Domains &domains) {
    constexpr DDS_DomainId_t HIGHEST = 232;
    fuzz::must(0 <= domains.first && domains.first <= domains.last && domains.last <= HIGHEST,
               "domains are a range within 0 to 232");
    fuzz::must(!domains.are_all || (domains.first == 0 && domains.last == HIGHEST),
               "all domains are all that there are");
}

void check(const ListOptions &options, unsigned /*variation*/) {
    check(options.domains);
    fuzz::must(!options.listens_only() || options.peers.empty(),
               "whoever sends nothing has no peers");
}

void check(const WhoOptions &options, unsigned /*variation*/) {
    if (options.domains) {
        check(*options.domains);
    }
    fuzz::must(!options.watch || !options.duration, "whoever watches does so without an end");
}

void check(const DoctorOptions &options, unsigned /*variation*/) {
    fuzz::must(options.domain >= 0, "a domain is 0 or more");
    fuzz::must(options.multicast || options.multicast_addresses.empty(),
               "whoever does without multicast receives it nowhere");
    fuzz::must(options.with.empty() || options.serve.empty(), "nobody asks and answers at once");
    fuzz::must(1 <= options.control_port && options.control_port <= DDS_RTPS_PORT_MAX,
               "the port is one");
}

void check(const WhyOptions &options, unsigned /*variation*/) {
    fuzz::must(options.domain >= 0, "a domain is 0 or more");
    (void)why::to_subject(options.first); // whatever it is
}

void check(const PortsOptions &options, unsigned /*variation*/) {
    fuzz::must(options.domain >= 0, "a domain is 0 or more");
    fuzz::must(!options.indices || (0 <= options.indices->first &&
                                    options.indices->first <= options.indices->last &&
                                    options.indices->last <= DDS_RTPS_PORT_MAX),
               "indices are a range within 0 to 65535");
    check_again(options);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);
    fuzz::Input input(reinterpret_cast<const std::uint8_t *>(text.data()), text.size());
    Arguments arguments;
    while (!input.is_empty()) {
        arguments.emplace_back(input.line());
    }
    const Command command = parse(arguments);
    const unsigned variation = std::accumulate(data, data + size, 0u);
    std::visit([variation](const auto &asked) { check(asked, variation); }, command);
    return 0;
}
