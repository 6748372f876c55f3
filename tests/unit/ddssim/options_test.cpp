// SPDX-License-Identifier: Apache-2.0
#include "options.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include <CLI/CLI.hpp>
#include <gmock/gmock.h>
#include <unistd.h>

#include "man_page.h"
#include "manual.h"
#include "scenario_file.h"
#include "settings.h"

using namespace ddssim;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

Command parse(std::vector<const char *> arguments) {
    arguments.insert(arguments.begin(), "ddssim");
    return parse_command_line(static_cast<int>(arguments.size()), arguments.data());
}

Options options(const std::vector<const char *> &arguments) {
    return std::get<Options>(parse(arguments));
}

Answer answer(const std::vector<const char *> &arguments) {
    return std::get<Answer>(parse(arguments));
}

class File {
public:
    explicit File(const std::string &text)
        : path_(testing::TempDir() + "ddssim_" + std::to_string(getpid()) + ".yaml") {
        std::ofstream(path_) << text;
    }
    ~File() {
        (void)std::remove(path_.c_str());
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;

    const char *path() const {
        return path_.c_str();
    }

private:
    const std::string path_;
};

TEST(Options, EachSettingIsOne) {
    for (const Setting &setting : settings()) {
        Scenario scenario;

        setting.set(scenario, setting.example);
        EXPECT_EQ(setting.get(options({setting.option().c_str(), setting.example}).scenario),
                  setting.get(scenario));
    }
}

TEST(Options, GoBeforeWhatAFileSays) {
    const File file("hosts: 5\nparticipants: 2\n");
    const Scenario scenario = options({file.path(), "--hosts", "6"}).scenario;

    EXPECT_EQ(scenario.hosts, 6);
    EXPECT_EQ(scenario.participants, 2);
}

TEST(Options, OfEventsAddUp) {
    const Options given =
        options({"--event", "{at: 1 s, do: stop}", "--event", "{at: 2 s, do: start}"});

    EXPECT_EQ(given.scenario.events.size(), 2u);
}

TEST(Options, HaveOneSeedOrSeveral) {
    EXPECT_EQ(options({"--seed", "7"}).seeds, (Range<std::int64_t>{7, 7}));
    EXPECT_EQ(options({"--seeds", "0-5"}).seeds, (Range<std::int64_t>{0, 5}));
    EXPECT_TRUE(options({"--seeds", "3-5"}).has_seeds);
}

TEST(Options, ThatAreWrongAreRefusedInOneLine) {
    const std::vector<std::pair<std::vector<const char *>, std::string>> all = {
        {{"--hots", "3"}, "--hots"},
        {{"--hosts"}, "--hosts"},
        {{"--hosts", "0"}, "--hosts: '0' is not a whole number from 1 to 4000"},
        {{"--event", "{at: 1 s}"}, "an event has no 'do'"},
        {{"--seeds", "5-3"}, "--seeds: '5-3' is not a number N or a range"},
        {{"--seeds", "9223372036854775807"}, "from 0 to 9223372036854775806"},
        {{"--seed", "1", "--seeds", "1-2"}, "excludes"},
        {{"--seeds", "1-2", "--pcap", "x"}, "excludes"},
        {{"--period", "6s"}, "period: '6 s' is not at most 5 s"},
    };

    for (const auto &[arguments, reason] : all) {
        const Answer refused = answer(arguments);

        EXPECT_EQ(refused.exit_code, 2);
        EXPECT_THAT(refused.text, AllOf(StartsWith("ddssim: "), HasSubstr(reason),
                                        HasSubstr("(ddssim --help shows what is allowed)")));
        EXPECT_EQ(refused.text.find('\n'), std::string::npos);
    }
}

TEST(Options, AMistakeInAFileIsWrongUsageAndAMissingFileIsNot) {
    const File file("hosts: x\n");

    EXPECT_EQ(answer({file.path()}).exit_code, 2);
    EXPECT_THAT(answer({file.path()}).text, HasSubstr(".yaml:1:8: hosts: 'x' is not"));
    EXPECT_EQ(answer({"/nowhere.yaml"}).exit_code, 1);
}

TEST(ManualPage, HasAnExampleOfEachOption) {
    const std::string page = manual_page();
    const std::vector<Example> all = examples();
    const auto app = describe_options();

    for (const CLI::Option *option : options_of(*app)) {
        const std::string name = "--" + option->get_lnames().front();
        const auto found = std::find_if(all.begin(), all.end(), [&name](const Example &example) {
            return example.option == name;
        });

        ASSERT_NE(found, all.end()) << name;
        EXPECT_TRUE(page.find(escaped(found->line)) != std::string::npos) << name;
    }
}

/** As a shell has them: single quotes keep blanks. */
std::vector<std::string> words_of(const std::string &line) {
    std::vector<std::string> words(1);
    bool is_quoted = false;

    for (const char character : line) {
        if (character == '\'') {
            is_quoted = !is_quoted;
        } else if (character == ' ' && !is_quoted) {
            words.emplace_back();
        } else {
            words.back() += character;
        }
    }
    return words;
}

TEST(ManualPage, HasExamplesThatAreTakenAndHaveTheirOption) {
    for (const Example &example : examples()) {
        const std::vector<std::string> words = words_of(example.line);
        std::vector<const char *> arguments;

        for (const std::string &word : words) {
            arguments.push_back(word.c_str());
        }
        const Command command =
            parse_command_line(static_cast<int>(arguments.size()), arguments.data());
        const Answer *const answer = std::get_if<Answer>(&command);

        EXPECT_THAT(words, testing::Contains(example.option));
        EXPECT_TRUE(answer == nullptr || answer->exit_code == 0) << answer->text;
    }
}

TEST(ManualPage, TellsOfEachKeyAndEachThingThatHappens) {
    const std::string page = manual_page();

    for (const EventKey &key : event_keys()) {
        EXPECT_TRUE(page.find(std::string("\\fB") + key.key + ":") != std::string::npos) << key.key;
    }
    for (const IncidentKind &kind : incident_kinds()) {
        EXPECT_TRUE(page.find(std::string(".B ") + kind.word + "\n") != std::string::npos)
            << kind.word;
    }
}

} // namespace
