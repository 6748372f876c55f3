// SPDX-License-Identifier: Apache-2.0
// The commands and their options, and what a command line asks for.
#include "options.h"

#include <cstdlib>
#include <functional>
#include <sstream>

#include "commandLine.h"
#include "dds_c/dds_c_productversion.h"
#include "doctor/checks.h"
#include "ports.h"
#include "values.h"
#include "why/reasons.h"
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
CLI::Option *add_texts(CLI::App &app, const std::string &name, const std::string &type,
                       const std::string &description, std::vector<std::string> &values) {
    return app.add_option(name, values, description)->type_name(type)->allow_extra_args(false);
}

void add_well_known_ports(CLI::App &app, DDS_RtpsWellKnownPorts_t &ports) {
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

    for (const Setting &setting : SETTINGS) {
        DDS_Long &target = ports.*setting.member;

        add(app, setting.name, "N",
            std::string(setting.description) + "; " + std::to_string(target) + " unless given",
            [&target](const std::string &value) { target = to_port_setting(value); });
    }
}

void add_port_settings(CLI::App &app, PortSettings &settings) {
    add(app, "--domain", "N", "domain id; 0 unless given", [&](const std::string &value) {
        settings.domain = to_domain(value);
    })->envname("NUVDDS_DOMAIN");
    add_well_known_ports(app, settings.well_known_ports);
}

void add_transports(CommandLine &line, CLI::App &app, DDS_TransportBuiltinKindMask &transports) {
    add_words(line, app, "--transport", "NAME,...",
              "transports: " + join(transport_words(), ", ") + "; udpv4 unless given",
              transport_words(),
              [&](const std::string &value) { transports = to_transports(value); });
}

void add_interfaces(CLI::App &app, std::vector<std::string> &interfaces) {
    add_texts(app, "--interface", "NAME",
              "interface, by name or address, to use instead of all; may be repeated", interfaces);
}

CLI::Option *add_peers(CLI::App &app, std::vector<std::string> &peers) {
    return add_texts(app, "--peer", "HOST[:PORT]",
                     "a peer to announce to in place of the usual ones; may be repeated", peers);
}

void add_multicast(CLI::App &app, ParticipantOptions &options) {
    CLI::Option *const multicast_address =
        add_texts(app, "--multicast-address", "ADDRESS",
                  "where to receive announcements instead of 239.255.0.1; may be repeated",
                  options.multicast_addresses);
    app.add_flag(
           "--no-multicast", [&](std::int64_t) { options.multicast = false; },
           "neither receive announcements by multicast nor, unless asked to by --peer, send them")
        ->excludes(multicast_address);
}

void add_properties(CLI::App &app, std::vector<std::pair<std::string, std::string>> &properties) {
    app.add_option_function<std::vector<std::string>>(
           "--property",
           [&properties](const std::vector<std::string> &values) {
               try {
                   for (const std::string &value : values) {
                       properties.push_back(to_property(value));
                   }
               } catch (const Refusal &refusal) {
                   throw CLI::ValidationError("--property", refusal.what());
               }
           },
           "property of the participant; may be repeated")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
}

CLI::Option *add_duration(CLI::App &app, const std::string &description,
                          std::optional<std::chrono::nanoseconds> &duration) {
    return add(app, "--for", "SECONDS", description,
               [&](const std::string &value) { duration = to_duration(value); });
}

void add_verbosity(CommandLine &line, CLI::App &app, const std::string &usual,
                   KOLS_Config_LogVerbosity &verbosity) {
    add_words(line, app, "--verbosity", "LEVEL",
              "what to show of the log: " + join(verbosity_words(), ", ") + "; " + usual +
                  " unless given",
              verbosity_words(), [&](const std::string &value) { verbosity = to_verbosity(value); })
        ->envname("NUVDDS_VERBOSITY");
}

void add_json(CLI::App &app, bool &json) {
    app.add_flag("--json", json, "print one JSON object per line");
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
    add_transports(line, *run, options.transports);
    add_interfaces(*run, options.interfaces);
    CLI::Option *const peers = add_peers(*run, options.peers);
    add_multicast(*run, options);
    run->add_flag(
           "--no-announce", [&](std::int64_t) { options.is_announced = false; },
           "listen only: others learn nothing of the participant")
        ->excludes(peers);
    add_properties(*run, options.properties);
    add(*run, "--name", "TEXT", "name of the participant",
        [&](const std::string &value) { options.name = value; });
    add(*run, "--user-data", "TEXT", "user data of the participant",
        [&](const std::string &value) { options.user_data = value; });
    run->add_flag("--show-qos", options.show_qos,
                  "once joined, print every policy of the participant as it has it");
    add_duration(*run, "how long to stay; until a signal unless given", options.duration);
    add_verbosity(line, *run, "status", options.verbosity);
    add_json(*run, options.json);
    return run;
}

CLI::App *add_list(CommandLine &line) {
    ListOptions &options = line.list;
    CLI::App *const list = line.app.add_subcommand(
        "list", "Show the participants of a domain, or of several, wherever they run");

    list->footer("Example: wait a minute at most until domain 7 has two participants\n"
                 "  ddspart list --domain 7 --expect 2 --for 60");
    add_words(line, *list, "--domain", "N|FIRST-LAST|all",
              "domain, or several at once; 'all', which are 0 to 232, listens only; 0 unless given",
              {"all"}, [&](const std::string &value) { options.domains = to_domains(value); })
        ->envname("NUVDDS_DOMAIN");
    add_well_known_ports(*list, options.well_known_ports);
    add_transports(line, *list, options.transports);
    add_interfaces(*list, options.interfaces);
    add_peers(*list, options.peers);
    CLI::Option *const listen_only =
        list->add_flag("--listen-only", options.listen_only,
                       "send nothing and take no participant index: shown is who announces itself "
                       "to everybody meanwhile");
    list->add_flag("--join", options.join,
                   "join, so that all answer at once, also with --domain all")
        ->excludes(listen_only);
    CLI::Option *const duration = add_duration(
        *list, "how long to look; 2 unless given, or 5 where nothing is sent", options.duration);
    CLI::Option *const expected =
        add(*list, "--expect", "N",
            "end as soon as N participants are there, tools not counted; exit code 3 if they are "
            "not when the time is up",
            [&](const std::string &value) { options.expected = to_number_of_participants(value); });
    list->add_flag("--watch", options.watch,
                   "show who comes, changes and goes, until SIGINT or SIGTERM")
        ->excludes(duration)
        ->excludes(expected);
    add_verbosity(line, *list, "error", options.verbosity);
    add_json(*list, options.json);
    list->final_callback([&options] {
        if (options.listens_only() && !options.peers.empty()) {
            throw CLI::ValidationError("--peer", "nothing is announced to a peer by --listen-only, "
                                                 "nor by --domain all without --join");
        }
    });
    line.findings[list] = "There are fewer participants than --expect asks for.";
    return list;
}

CLI::App *add_who(CommandLine &line) {
    WhoOptions &options = line.who;
    CLI::App *const who = line.app.add_subcommand(
        "who", "Show which processes of this host hold the ports of participants");

    who->footer("Example: who has the indices of domain 7, in containers as well\n"
                "  ddspart who --domain 7 --all-netns");
    add_words(line, *who, "--domain", "N|FIRST-LAST|all",
              "domain, or several at once; unless given, all, but for ports that the kernel may "
              "have given to anybody in domains without participants",
              {"all"}, [&](const std::string &value) { options.domains = to_domains(value); })
        ->envname("NUVDDS_DOMAIN");
    add_well_known_ports(*who, options.well_known_ports);
    add_transports(line, *who, options.transports);
    who->add_flag("--all-netns", options.all_networks,
                  "look into the network namespaces of all processes, not only into this one");
    CLI::Option *const duration =
        add_duration(*who,
                     "how long to listen, in this network namespace, for who announces itself; at "
                     "most 0.3 unless given",
                     options.duration);
    who->add_flag("--watch", options.watch,
                  "show who takes and releases ports, until SIGINT or SIGTERM")
        ->excludes(duration);
    add_verbosity(line, *who, "error", options.verbosity);
    add_json(*who, options.json);
    line.findings[who] = "A process that is no participant holds a port of an index.";
    return who;
}

CLI::App *add_ports(CommandLine &line) {
    PortsOptions &options = line.ports;
    CLI::App *const ports =
        line.app.add_subcommand("ports", "Show the ports of participant indices in a domain");

    ports->footer(
        "Example: the ports of participants 0 to 3 in domain 7\n  ddspart ports --domain 7 "
        "--index 0-3");
    add_words(line, *ports, "--domain", "N|FIRST-LAST|all",
              "domain, or several at once; 'all' are 0 to 232; 0 unless given", {"all"},
              [&](const std::string &value) {
                  const Domains domains = to_domains_of_ports(value);

                  options.domain = domains.first;
                  options.last_domain = domains.last;
              })
        ->envname("NUVDDS_DOMAIN");
    add_well_known_ports(*ports, options.well_known_ports);
    add(*ports, "--index", "FIRST[-LAST]",
        "participant indices; unless given, the first ten as far as they are usable, or all these "
        "with --check and --nft",
        [&](const std::string &value) { options.indices = to_index_range(value); });
    CLI::Option *const check = ports->add_flag(
        "--check", options.check,
        "say which indices are safe on this host: whose ports the kernel gives to nobody else, no "
        "stranger holds and no other index or domain that is asked for has as well");
    CLI::Option *const nft =
        ports
            ->add_flag(
                "--nft", options.nft,
                "print rules for nft -f that let the ports through: a chain for each "
                "domain, to which the chain \"input\" of the table \"inet filter\" jumps first")
            ->excludes(check);
    ports->add_flag("--json", options.json, "print one JSON object per line")->excludes(nft);
    line.findings[ports] = "With --check, an index is not safe.";
    return ports;
}

void add_two_ends(CLI::App &app, DoctorOptions &options) {
    CLI::Option *const with =
        add(app, "--with", "HOST",
            "look at another host as well, and at the way there and back; it runs ddspart doctor "
            "--serve meanwhile, with the address of this host and the same --domain",
            [&](const std::string &value) { options.with = to_host(value); });
    CLI::Option *const serve =
        add(app, "--serve", "HOST",
            "look at this host, then answer that one, and no other, for 60 seconds, or as long as "
            "--for says",
            [&](const std::string &value) { options.serve = to_host(value); })
            ->excludes(with);
    CLI::Option *const control_port = add(
        app, "--control-port", "N",
        "UDP port by which the two talk; 7399 unless given, which is the last one below those of "
        "all domains, and above those that are root's",
        [&](const std::string &value) { options.control_port = to_port(value); });

    app.final_callback([&options, with, serve, control_port] {
        if (control_port->count() > 0 && with->count() == 0 && serve->count() == 0) {
            throw CLI::ValidationError("--control-port", "is for --with and --serve");
        }
        if (with->count() == 0 && serve->count() == 0) {
            return;
        }
        for (DDS_Long index = 0; index <= doctor::HIGHEST_PEER_INDEX; ++index) {
            for (const Port &port : ports_of(options, index)) {
                if (port.number == options.control_port) {
                    throw CLI::ValidationError("--control-port",
                                               "'" + std::to_string(options.control_port) +
                                                   "' is not outside the ports of domain " +
                                                   std::to_string(options.domain));
                }
            }
        }
    });
}

/** What a participant would have, of which a command says how it would fare. */
template <class Options>
void add_wishes(CommandLine &line, CLI::App &command, Options &options) {
    add_port_settings(command, options);
    add_transports(line, command, options.transports);
    add_interfaces(command, options.interfaces);
    add_peers(command, options.peers);
    add_multicast(command, options);
    add_properties(command, options.properties);
}

CLI::App *add_doctor(CommandLine &line) {
    DoctorOptions &options = line.doctor;
    CLI::App *const command = line.app.add_subcommand(
        "doctor", "Look for what keeps a participant from finding others, and say what to do");

    command->footer("Example: why does a participant of domain 7 not find the one on host beta\n"
                    "  ddspart doctor --domain 7 --peer beta");
    add_wishes(line, *command, options);
    add_duration(*command,
                 "how long to listen to the domain, after all else; unless given, until 2.5 "
                 "seconds have passed since the start",
                 options.duration);
    add_two_ends(*command, options);
    add_json(*command, options.json);
    line.findings[command] = "There are findings.";
    for (const doctor::Check &check : doctor::checks()) {
        line.finding_names[command].emplace_back(check.id, check.meaning);
    }
    return command;
}

CLI::App *add_why(CommandLine &line) {
    WhyOptions &options = line.why;
    CLI::App *const command = line.app.add_subcommand(
        "why", "Say why two participants do not know each other, or why one is not seen");

    command->footer(
        "Example: why does the participant of process 812 not know the one called radar\n"
        "  ddspart why 812 radar");
    command
        ->add_option("A", options.first,
                     "a participant: its process id, GUID, name or address, which is looked for in "
                     "the domains of this host's participants and in --domain")
        ->required();
    command->add_option("B", options.second,
                        "the other one; unless given, a participant that has the options");
    add_wishes(line, *command, options);
    add_duration(*command,
                 "how long to listen for those that are not heard at once; 2 unless given",
                 options.duration);
    add_json(*command, options.json);
    line.findings[command] = "There is a reason.";
    for (const why::Check &check : why::checks()) {
        line.finding_names[command].emplace_back(check.id, check.meaning);
    }
    return command;
}

std::string version() {
    DDS_ProductVersion_t version = {0, 0, 0, 0};

    DDS_ProductVersion_get_nuvdds_version(&version);
    return "ddspart " + std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.release) + "." + std::to_string(version.revision);
}

std::vector<std::string> names_of_commands(const CLI::App &app) {
    std::vector<std::string> names;

    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

std::string reason(const CLI::App &app, const CLI::ParseError &error) {
    if (dynamic_cast<const CLI::RequiredError *>(&error) == nullptr ||
        !app.get_subcommands().empty()) {
        return error.what();
    }
    const std::vector<std::string> words = app.remaining();
    const std::string commands = join(names_of_commands(app), ", ");

    return words.empty() ? "a command is required, one of " + commands
                         : "'" + words.front() + "' is not one of the commands " + commands;
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
    : app("Join a DDS domain, look at its participants, their ports and who holds these, or for "
          "what "
          "keeps them apart.",
          "ddspart") {
    app.footer("ddspart COMMAND --help shows the options of a command.");
    app.set_version_flag("--version", version());
    app.require_subcommand(1);
    run_command = add_run(*this);
    list_command = add_list(*this);
    who_command = add_who(*this);
    (void)add_ports(*this);
    doctor_command = add_doctor(*this);
    why_command = add_why(*this);
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
    if (line.list_command->parsed()) {
        return line.list;
    }
    if (line.who_command->parsed()) {
        return line.who;
    }
    if (line.doctor_command->parsed()) {
        return line.doctor;
    }
    if (line.why_command->parsed()) {
        return line.why;
    }
    return line.ports;
}
