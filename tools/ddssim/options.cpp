// SPDX-License-Identifier: Apache-2.0
// The options, and what a command line asks for.
#include "options.h"

#include <functional>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <CLI/CLI.hpp>

#include "dds_c/dds_c_productversion.h"
#include "refusal.h"
#include "scenario_file.h"
#include "settings.h"

namespace ddssim {

namespace {

/** What the options say, which goes before what a file does. */
struct Given {
    std::vector<std::function<void(Scenario &)>> settings;
    std::optional<std::string> file;
    std::optional<Range<std::int64_t>> seeds;
    std::optional<std::string> pcap;
    bool json = false;
};

std::string version() {
    DDS_ProductVersion_t version = {0, 0, 0, 0};

    DDS_ProductVersion_get_nuvdds_version(&version);
    return "ddssim " + std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.release) + "." + std::to_string(version.revision);
}

/** Calls something whose refusal is one of an option. */
template <typename Take>
void take(const std::string &option, Take take_it) {
    try {
        take_it();
    } catch (const Refusal &refusal) {
        throw CLI::ValidationError(option, refusal.what());
    }
}

void add_setting(CLI::App &app, const Setting &setting, Given &given) {
    const std::string option = setting.option();
    const std::string usual = setting.get(Scenario());

    app.add_option_function<std::string>(
           option,
           [&setting, &given, option](const std::string &value) {
               Scenario some;

               take(option, [&] { setting.set(some, value); });
               given.settings.emplace_back(
                   [&setting, value](Scenario &scenario) { setting.set(scenario, value); });
           },
           setting.text + (usual.empty() ? "" : "; " + usual + " unless given"))
        ->type_name(setting.type);
}

void add_options(CLI::App &app, Given &given) {
    app.add_option("SCENARIO", given.file, "a file that says what is simulated");
    for (const Setting &setting : settings()) {
        add_setting(app, setting, given);
    }
    app.add_option_function<std::vector<std::string>>(
           "--event",
           [&given](const std::vector<std::string> &values) {
               for (const std::string &value : values) {
                   take("--event", [&] {
                       const Event event = to_event(value);

                       given.settings.emplace_back(
                           [event](Scenario &scenario) { scenario.events.push_back(event); });
                   });
               }
           },
           "something that happens, as in a file; may be repeated")
        ->type_name("EVENT")
        ->allow_extra_args(false);
    CLI::Option *const seeds =
        app.add_option_function<std::string>(
               "--seeds",
               [&given](const std::string &value) {
                   take("--seeds", [&] { given.seeds = to_numbers(value, SEEDS); });
               },
               "run it from each of these seeds, and show how far the runs are apart")
            ->type_name("FIRST-LAST")
            ->excludes("--seed");
    app.add_option("--pcap", given.pcap, "write what goes over the network into a pcapng file")
        ->type_name("FILE")
        ->excludes(seeds);
    app.add_flag("--json", given.json, "print one JSON object per line");
    app.set_version_flag("--version", version());
    app.footer("Example: 1,000 participants, a tenth of what they send is lost\n"
               "  ddssim --hosts 250 --participants 4 --loss 10% --delay 1ms --seed 7 --for 60");
}

constexpr const char *DESCRIPTION =
    "Simulate participants of a DDS domain on many hosts, before there are any, and show how soon "
    "they know each other and what that costs.";

Answer wrong(const std::string &reason) {
    return {2, "ddssim: " + reason + " (ddssim --help shows what is allowed)"};
}

Command options_of(const Given &given) {
    Options options;

    if (given.file) {
        read_scenario_file(*given.file, options.scenario);
    }
    for (const auto &set : given.settings) {
        set(options.scenario);
    }
    check(options.scenario);
    options.seeds =
        given.seeds.value_or(Range<std::int64_t>{options.scenario.seed, options.scenario.seed});
    options.has_seeds = given.seeds.has_value();
    options.pcap = given.pcap;
    options.json = given.json;
    return options;
}

} // namespace

Command parse_command_line(int argc, const char *const *argv) {
    CLI::App app(DESCRIPTION, "ddssim");
    Given given;

    add_options(app, given);
    try {
        app.parse(argc, argv);
        return options_of(given);
    } catch (const CLI::ParseError &error) {
        std::ostringstream help;

        return app.exit(error, help, help) == 0 ? Answer{0, help.str()} : wrong(error.what());
    } catch (const std::system_error &error) {
        return Answer{1, std::string("ddssim: ") + error.what()};
    } catch (const std::runtime_error &error) {
        return wrong(error.what());
    }
}

std::shared_ptr<const CLI::App> describe_options() {
    static Given given;
    const auto app = std::make_shared<CLI::App>(DESCRIPTION, "ddssim");

    add_options(*app, given);
    return app;
}

std::vector<Example> examples() {
    std::vector<Example> all;

    for (const Setting &setting : settings()) {
        const std::string value = setting.example;
        const bool is_word = value.find(' ') == std::string::npos;
        const std::string with = *setting.with != '\0' ? std::string(setting.with) + " " : "";

        all.push_back({setting.option(), "ddssim " + with + setting.option() + " " +
                                             (is_word ? value : "'" + value + "'")});
    }
    all.push_back({"--event", "ddssim --hosts 9 --event '{at: 5 s, do: stop, hosts: 1-3, for: 1 "
                              "min}'"});
    all.push_back({"--seeds", "ddssim --loss 10% --seeds 1-100"});
    all.push_back({"--pcap", "ddssim --hosts 10 --pcap ten.pcapng"});
    all.push_back({"--json", "ddssim --hosts 10 --json"});
    all.push_back({"--help", "ddssim --help"});
    all.push_back({"--version", "ddssim --version"});
    return all;
}

} // namespace ddssim
