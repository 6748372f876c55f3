#include "options.h"

#include <charconv>
#include <functional>
#include <limits>
#include <sstream>
#include <string_view>

#include <CLI/CLI.hpp>

#include "dds_c/dds_c_productversion.h"

namespace {

constexpr DDS_Long LONG_LOWEST = std::numeric_limits<DDS_Long>::min();
constexpr DDS_Long LONG_HIGHEST = std::numeric_limits<DDS_Long>::max();
/** No index beyond this one has valid ports, whatever the settings. */
constexpr DDS_Long INDEX_HIGHEST = DDS_RTPS_PORT_MAX;
constexpr double SECONDS_HIGHEST = 1e9; // as nanoseconds well within 64 bits

/** A value that an option can't have: what it is not. */
class Refusal : public std::runtime_error {
public:
    Refusal(std::string_view value, const std::string &allowed)
        : std::runtime_error("'" + std::string(value) + "' is not " + allowed) {}
};

std::string join(const std::vector<std::string> &words, const std::string &separator) {
    std::string text;

    for (const std::string &word : words) {
        text += (text.empty() ? "" : separator) + word;
    }
    return text;
}

std::vector<std::string> split(const std::string &text, char separator) {
    std::vector<std::string> words(1);

    for (const char character : text) {
        if (character == separator) {
            words.emplace_back();
        } else {
            words.back() += character;
        }
    }
    return words;
}

/** The number that is the whole of @p text, if it is one. */
template <class Number>
std::optional<Number> to_number(std::string_view text) {
    const char *const end = text.data() + text.size();
    Number number = 0;
    const auto [rest, error] = std::from_chars(text.data(), end, number);

    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

DDS_Long to_long(std::string_view text, DDS_Long lowest, DDS_Long highest) {
    const auto number = to_number<DDS_Long>(text);

    if (!number || *number < lowest || *number > highest) {
        throw Refusal(text, "a whole number from " + std::to_string(lowest) + " to " +
                                std::to_string(highest));
    }
    return *number;
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
    const std::vector<std::string> ends = split(text, '-');
    const auto first = to_number<DDS_Long>(ends.front());
    const auto last = to_number<DDS_Long>(ends.back());

    if (ends.size() > 2 || !first || !last || *first < 0 || *first > *last ||
        *last > INDEX_HIGHEST) {
        throw Refusal(text, "an index or a range FIRST-LAST within 0 to " +
                                std::to_string(INDEX_HIGHEST));
    }
    return {*first, *last};
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

/** Words that stand for numbers. */
template <class Number>
using Vocabulary = std::vector<std::pair<std::string, Number>>;

const Vocabulary<DDS_RtpsReservedPortKindMask> PORT_KINDS = {
    {"builtin_unicast", DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST},
    {"builtin_multicast", DDS_RTPS_RESERVED_PORT_BUILTIN_MULTICAST},
    {"user_unicast", DDS_RTPS_RESERVED_PORT_USER_UNICAST},
    {"user_multicast", DDS_RTPS_RESERVED_PORT_USER_MULTICAST},
};
const Vocabulary<DDS_TransportBuiltinKindMask> TRANSPORTS = {
    {"udpv4", DDS_TRANSPORTBUILTIN_UDPv4},
    {"udpv6", DDS_TRANSPORTBUILTIN_UDPv6},
};
const Vocabulary<KOLS_Config_LogVerbosity> VERBOSITIES = {
    {"silent", KOLS_CONFIG_LOG_VERBOSITY_SILENT},
    {"error", KOLS_CONFIG_LOG_VERBOSITY_ERROR},
    {"warning", KOLS_CONFIG_LOG_VERBOSITY_WARNING},
    {"status", KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL},
    {"all", KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL},
};

template <class Number>
std::string words_of(const Vocabulary<Number> &vocabulary) {
    std::vector<std::string> words;

    for (const auto &[word, number] : vocabulary) {
        words.push_back(word);
    }
    return join(words, ", ");
}

template <class Number>
std::optional<Number> find(const Vocabulary<Number> &vocabulary, const std::string &text) {
    for (const auto &[word, number] : vocabulary) {
        if (word == text) {
            return number;
        }
    }
    return std::nullopt;
}

template <class Mask>
Mask to_mask(const Vocabulary<Mask> &vocabulary, const std::string &text) {
    Mask mask = 0;

    for (const std::string &word : split(text, ',')) {
        const auto bit = find(vocabulary, word);

        if (!bit) {
            throw Refusal(word, "one of " + words_of(vocabulary) + ", joined by ','");
        }
        mask |= *bit;
    }
    return mask;
}

DDS_RtpsReservedPortKindMask to_reserved_ports(const std::string &text) {
    return text == "none" ? DDS_RTPS_RESERVED_PORT_MASK_NONE : to_mask(PORT_KINDS, text);
}

KOLS_Config_LogVerbosity to_verbosity(const std::string &text) {
    const auto verbosity = find(VERBOSITIES, text);

    if (!verbosity) {
        throw Refusal(text, "one of " + words_of(VERBOSITIES));
    }
    return *verbosity;
}

/** Adds an option that is given at most once; @p set may throw a Refusal. */
void add(CLI::App &app, const std::string &name, const std::string &type,
         const std::string &description, const std::function<void(const std::string &)> &set) {
    app.add_option_function<std::string>(
           name,
           [name, set](const std::string &value) {
               try {
                   set(value);
               } catch (const Refusal &refusal) {
                   throw CLI::ValidationError(name, refusal.what());
               }
           },
           description)
        ->type_name(type);
}

/** Adds an option that may be repeated, with one value each time. */
CLI::Option *add_list(CLI::App &app, const std::string &name, const std::string &type,
                      const std::string &description, std::vector<std::string> &values) {
    return app.add_option(name, values, description)->type_name(type)->allow_extra_args(false);
}

void add_port_settings(CLI::App &app, PortSettings &settings) {
    struct Setting {
        const char *name;
        const char *description;
        DDS_Long DDS_RtpsWellKnownPorts_t::*member;
    };
    static constexpr Setting SETTINGS[] = {
        {"--port-base", "port base", &DDS_RtpsWellKnownPorts_t::port_base},
        {"--domain-gain", "ports from one domain to the next",
         &DDS_RtpsWellKnownPorts_t::domain_id_gain},
        {"--participant-gain", "ports from one participant to the next",
         &DDS_RtpsWellKnownPorts_t::participant_id_gain},
        {"--builtin-multicast-offset", "offset for discovery by multicast",
         &DDS_RtpsWellKnownPorts_t::builtin_multicast_port_offset},
        {"--builtin-unicast-offset", "offset for discovery by unicast",
         &DDS_RtpsWellKnownPorts_t::builtin_unicast_port_offset},
        {"--user-multicast-offset", "offset for user traffic by multicast",
         &DDS_RtpsWellKnownPorts_t::user_multicast_port_offset},
        {"--user-unicast-offset", "offset for user traffic by unicast",
         &DDS_RtpsWellKnownPorts_t::user_unicast_port_offset},
    };

    add(app, "--domain", "N", "domain id; 0 unless given",
        [&](const std::string &value) { settings.domain = to_long(value, 0, LONG_HIGHEST); });
    for (const Setting &setting : SETTINGS) {
        DDS_Long &target = settings.well_known_ports.*setting.member;

        add(app, setting.name, "N",
            std::string(setting.description) + "; " + std::to_string(target) + " unless given",
            [&target](const std::string &value) {
                target = to_long(value, LONG_LOWEST, LONG_HIGHEST);
            });
    }
}

CLI::App *add_run(CLI::App &app, RunOptions &options) {
    CLI::App *const run =
        app.add_subcommand("run", "Join a domain and stay until SIGINT, SIGTERM or the time is up");

    run->footer("Example: five seconds in domain 7\n  ddspart run --domain 7 --for 5");
    add_port_settings(*run, options);
    add(*run, "--index", "auto|N", "participant index; the first free one unless given",
        [&](const std::string &value) { options.index = to_index(value); });
    add(*run, "--reserve", "KIND,...|none", "ports to reserve: " + words_of(PORT_KINDS),
        [&](const std::string &value) { options.reserved_ports = to_reserved_ports(value); });
    add(*run, "--transport", "NAME,...",
        "transports: " + words_of(TRANSPORTS) + "; udpv4 unless given",
        [&](const std::string &value) { options.transports = to_mask(TRANSPORTS, value); });
    add_list(*run, "--interface", "NAME",
             "interface, by name or address, to use instead of all; may be repeated",
             options.interfaces);
    add_list(*run, "--peer", "PEER",
             "whom to announce to instead of the usual peers; may be repeated", options.peers);
    CLI::Option *const multicast_address =
        add_list(*run, "--multicast-address", "ADDRESS",
                 "where to receive announcements instead of 239.255.0.1; may be repeated",
                 options.multicast_addresses);
    run->add_flag(
           "--no-multicast", [&](std::int64_t) { options.multicast = false; },
           "neither receive announcements by multicast nor, unless asked to by --peer, send them")
        ->excludes(multicast_address);
    run->add_option_function<std::vector<std::string>>(
           "--property",
           [&](const std::vector<std::string> &values) {
               try {
                   for (const std::string &value : values) {
                       options.properties.push_back(to_property(value));
                   }
               } catch (const Refusal &refusal) {
                   throw CLI::ValidationError("--property", refusal.what());
               }
           },
           "property of the participant; may be repeated")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    add(*run, "--name", "TEXT", "name of the participant",
        [&](const std::string &value) { options.name = value; });
    add(*run, "--user-data", "TEXT", "user data of the participant",
        [&](const std::string &value) { options.user_data = value; });
    add(*run, "--for", "SECONDS", "how long to stay; until a signal unless given",
        [&](const std::string &value) { options.duration = to_duration(value); });
    add(*run, "--verbosity", "LEVEL",
        "what to show of the log: " + words_of(VERBOSITIES) + "; status unless given",
        [&](const std::string &value) { options.verbosity = to_verbosity(value); });
    run->add_flag("--json", options.json, "print one JSON object per line");
    return run;
}

CLI::App *add_ports(CLI::App &app, PortsOptions &options) {
    CLI::App *const ports =
        app.add_subcommand("ports", "Show the ports of participant indices in a domain");

    ports->footer(
        "Example: the ports of participants 0 to 3 in domain 7\n  ddspart ports --domain 7 "
        "--index 0-3");
    add_port_settings(*ports, options);
    add(*ports, "--index", "FIRST[-LAST]",
        "participant indices; unless given, the first ten as far as they are usable",
        [&](const std::string &value) { options.indices = to_index_range(value); });
    ports->add_flag("--json", options.json, "print one JSON object per line");
    return ports;
}

std::string version() {
    DDS_ProductVersion_t version = {0, 0, 0, 0};

    DDS_ProductVersion_get_nuvdds_version(&version);
    return "ddspart " + std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.release) + "." + std::to_string(version.revision);
}

/** What to say when parsing ended early. */
Answer answer(const CLI::App &app, const CLI::ParseError &error) {
    std::ostringstream help;

    if (app.exit(error, help, help) == 0) {
        const std::string text = help.str();

        return {0, text.ends_with('\n') ? text : text + '\n'};
    }
    std::string command = app.get_name();
    for (const CLI::App *subcommand : app.get_subcommands()) {
        command += " " + subcommand->get_name();
    }
    return {2, command + ": " + error.what() + " (" + command + " --help shows what is allowed)"};
}

} // namespace

Command parse_command_line(int argc, const char *const *argv) {
    CLI::App app("Join a DDS domain, or look at the ports that participants have in it.",
                 "ddspart");
    RunOptions run_options;
    PortsOptions ports_options;

    app.footer("ddspart COMMAND --help shows the options of a command.");
    app.set_version_flag("--version", version());
    app.require_subcommand(1);
    const CLI::App *const run = add_run(app, run_options);
    (void)add_ports(app, ports_options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return answer(app, error);
    }
    if (run->parsed()) {
        return run_options;
    }
    return ports_options;
}
