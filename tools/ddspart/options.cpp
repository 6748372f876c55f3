// SPDX-License-Identifier: Apache-2.0
// The commands and their options, and what a command line asks for.
#include "options.h"

#include <cstdlib>
#include <functional>
#include <sstream>

#include "commandLine.h"
#include "dds_c/dds_c_productversion.h"
#include "values.h"
#include "words.h"

namespace {

/** Where the value of an option comes from. */
std::string source_of(const CLI::Option &option, const std::string &value) {
    const std::string variable = option.get_envname();
    const char *const set = variable.empty() ? nullptr : std::getenv(variable.c_str());

    return set != nullptr && value == set ? variable : option.get_name();
}

/** Adds an option that is given at most once; @p set may throw a Refusal. */
CLI::Option *add(CLI::App &app, const std::string &name, const std::string &type,
                 const std::string &description,
                 const std::function<void(const std::string &)> &set) {
    return app
        .add_option_function<std::string>(
            name,
            [&app, name, set](const std::string &value) {
                try {
                    set(value);
                } catch (const Refusal &refusal) {
                    throw CLI::ValidationError(source_of(*app.get_option(name), value),
                                               refusal.what());
                }
            },
            description)
        ->type_name(type);
}

/** Adds an option that is given at most once and has words as values. */
CLI::Option *add_words(CommandLine &line, CLI::App &app, const std::string &name,
                       const std::string &type, const std::string &description,
                       const std::vector<std::string> &words,
                       const std::function<void(const std::string &)> &set) {
    CLI::Option *const option = add(app, name, type, description, set);

    line.words[option] = words;
    return option;
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

    add(app, "--domain", "N", "domain id; 0 unless given", [&](const std::string &value) {
        settings.domain = to_domain(value);
    })->envname("NUVDDS_DOMAIN");
    for (const Setting &setting : SETTINGS) {
        DDS_Long &target = settings.well_known_ports.*setting.member;

        add(app, setting.name, "N",
            std::string(setting.description) + "; " + std::to_string(target) + " unless given",
            [&target](const std::string &value) { target = to_port_setting(value); });
    }
}

CLI::App *add_run(CommandLine &line) {
    RunOptions &options = line.run;
    CLI::App *const run = line.app.add_subcommand(
        "run", "Join a domain and stay until SIGINT, SIGTERM or the time is up");

    run->footer("Example: five seconds in domain 7\n  ddspart run --domain 7 --for 5");
    add_port_settings(*run, options);
    add_words(line, *run, "--index", "auto|N", "participant index; the first free one unless given",
              {"auto"}, [&](const std::string &value) { options.index = to_index(value); });
    std::vector<std::string> kinds_or_none = port_kind_words();
    kinds_or_none.push_back("none");
    add_words(line, *run, "--reserve", "KIND,...|none",
              "ports to reserve: " + join(port_kind_words(), ", "), kinds_or_none,
              [&](const std::string &value) { options.reserved_ports = to_reserved_ports(value); });
    add_words(line, *run, "--transport", "NAME,...",
              "transports: " + join(transport_words(), ", ") + "; udpv4 unless given",
              transport_words(),
              [&](const std::string &value) { options.transports = to_transports(value); });
    add_list(*run, "--interface", "NAME",
             "interface, by name or address, to use instead of all; may be repeated",
             options.interfaces);
    add_list(
        *run, "--peer", "PEER",
        "a peer in place of the usual ones, for when participants are announced; may be repeated",
        options.peers);
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
    run->add_flag("--show-qos", options.show_qos,
                  "once joined, print every policy of the participant as it has it");
    add(*run, "--for", "SECONDS", "how long to stay; until a signal unless given",
        [&](const std::string &value) { options.duration = to_duration(value); });
    add_words(line, *run, "--verbosity", "LEVEL",
              "what to show of the log: " + join(verbosity_words(), ", ") + "; status unless given",
              verbosity_words(),
              [&](const std::string &value) { options.verbosity = to_verbosity(value); })
        ->envname("NUVDDS_VERBOSITY");
    run->add_flag("--json", options.json, "print one JSON object per line");
    return run;
}

CLI::App *add_ports(CommandLine &line) {
    PortsOptions &options = line.ports;
    CLI::App *const ports =
        line.app.add_subcommand("ports", "Show the ports of participant indices in a domain");

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

std::string reason(const CLI::App &app, const CLI::ParseError &error) {
    if (dynamic_cast<const CLI::RequiredError *>(&error) == nullptr) {
        return error.what();
    }
    const std::vector<std::string> words = app.remaining();

    return words.empty() ? "a command is required: run or ports"
                         : "'" + words.front() + "' is not one of the commands run, ports";
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
    return {2, command + ": " + reason(app, error) + " (" + command +
                   " --help shows what is allowed)"};
}

} // namespace

CommandLine::CommandLine()
    : app("Join a DDS domain, or look at the ports that participants have in it.", "ddspart") {
    app.footer("ddspart COMMAND --help shows the options of a command.");
    app.set_version_flag("--version", version());
    app.require_subcommand(1);
    run_command = add_run(*this);
    (void)add_ports(*this);
}

Command parse_command_line(int argc, const char *const *argv) {
    CommandLine line;

    try {
        line.app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return answer(line.app, error);
    }
    if (line.run_command->parsed()) {
        return line.run;
    }
    return line.ports;
}
