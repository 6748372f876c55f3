// SPDX-License-Identifier: Apache-2.0
// Nothing that is given to ddspart steers the terminal that it writes to.
#include <random>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "network.h"
#include "process.h"

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace {

bool is_utf8(const std::string &text) {
    try {
        (void)json(text).dump();
        return true;
    } catch (const json::type_error &) {
        return false;
    }
}

void expect_harmless(const std::string &text) {
    for (const char character : text) {
        const auto octet = static_cast<unsigned char>(character);

        ASSERT_TRUE((octet >= 0x20 && octet != 0x7F) || octet == '\n') << unsigned(octet);
    }
    ASSERT_TRUE(is_utf8(text));
    for (char last = '\x80'; last <= '\x9F'; ++last) {
        ASSERT_THAT(text, Not(HasSubstr(std::string("\xC2") + last)));
    }
    for (const char *control : {"\u061C", "\u200E", "\u200F", "\u202A", "\u202B", "\u202C",
                                "\u202D", "\u202E", "\u2066", "\u2067", "\u2068", "\u2069"}) {
        ASSERT_THAT(text, Not(HasSubstr(control)));
    }
}

/** Octets of every kind; never 0, which ends an argument. */
std::string random_text(std::mt19937 &random) {
    std::uniform_int_distribution<unsigned> octet(1, 0xFF);
    std::string text(64, '\0');

    for (char &character : text) {
        character = static_cast<char>(octet(random));
    }
    return text;
}

std::vector<std::string> nasty_texts() {
    constexpr unsigned SEED = 7400;
    std::mt19937 random(SEED);
    std::string controls;

    for (char control = 1; control < ' '; ++control) {
        controls += control;
    }
    return {
        controls + "\x7F\x1b[2J\x1b]0;title\x07\n\r\b\x1b[31m"
                   "\u0080\u0085\u009B2J\u009D0;title\u009C"
                   "\u061C\u200E\u200F\u202A\u202B\u202C\u202D\u202E\u2066\u2067\u2068\u2069"
                   "\xFF\x80\xC0\x9B\xED\xA0\x80\xF4\x90\x80\x80\xE2\x80",
        "1\nJoined domain 0\x9B",
        random_text(random),
    };
}

/** A command with an option that takes a value, what comes before the value in its argument. */
struct Place {
    const char *name;
    std::vector<std::string> arguments;
    std::string before;

    friend void PrintTo(const Place &place, std::ostream *out) {
        *out << place.name;
    }
};

std::vector<Place> places() {
    std::vector<Place> all = {
        {"Command", {}, ""},
        {"UnknownOptionOfRun", {"run"}, "--"},
        {"UnknownOptionOfPorts", {"ports"}, "--"},
        {"ArgumentOfPorts", {"ports"}, ""},
        {"IndexOfPorts", {"ports", "--index"}, ""},
        {"PropertyOfARefusedName",
         {"run", "--property"},
         "dds.domain_participant.max_announced_locator_list_size="},
        {"PropertyValue", {"run", "--property"}, "a="},
        {"AllowedInterface", {"run", "--property"}, "dds.transport.allow_interfaces="},
        {"DomainOfWho", {"who", "--domain"}, ""},
        {"DomainOfDoctor", {"doctor", "--domain"}, ""},
        {"OtherEndOfDoctor", {"doctor", "--with"}, ""},
    };
    for (const char *option : {"--domain",
                               "--port-base",
                               "--domain-gain",
                               "--participant-gain",
                               "--builtin-multicast-offset",
                               "--builtin-unicast-offset",
                               "--user-multicast-offset",
                               "--user-unicast-offset",
                               "--index",
                               "--reserve",
                               "--transport",
                               "--interface",
                               "--peer",
                               "--multicast-address",
                               "--property",
                               "--name",
                               "--user-data",
                               "--for",
                               "--verbosity",
                               "--json",
                               "--show-qos",
                               "--no-multicast"}) {
        all.push_back({option, {"run", option}, ""});
    }
    for (const char *option : {"--domain", "--port-base", "--domain-gain", "--participant-gain",
                               "--builtin-multicast-offset", "--builtin-unicast-offset",
                               "--user-multicast-offset", "--user-unicast-offset", "--json"}) {
        all.push_back({option, {"ports", option}, ""});
    }
    for (const char *option : {"--domain", "--expect", "--for", "--interface", "--peer"}) {
        all.push_back({option, {"list", option}, ""});
    }
    return all;
}

/** What stands between a command and the option, for each way to run it: in words, and as JSON. */
std::vector<std::vector<std::string>> ways(const std::vector<std::string> &arguments) {
    if (arguments.empty()) {
        return {{}};
    }
    std::vector<std::vector<std::string>> all = {{}, {"--json"}};

    if (arguments.front() == "run") {
        all[0] = {"--show-qos", "--verbosity", "all"};
        all[1] = {"--json", "--show-qos", "--verbosity", "silent"};
    }
    if ((arguments.front() == "run" || arguments.front() == "list") &&
        arguments.back() != "--for") {
        for (std::vector<std::string> &way : all) {
            way.emplace_back("--for=0");
        }
    }
    return all;
}

class Terminal : public NetworkTest, public testing::WithParamInterface<Place> {};

INSTANTIATE_TEST_SUITE_P(, Terminal, testing::ValuesIn(places()), [](const auto &instance) {
    std::string name = std::to_string(instance.index) + "_";

    for (const char *at = instance.param.name; *at != '\0'; ++at) {
        name += *at == '-' ? "" : std::string(1, *at);
    }
    return name;
});

TEST_P(Terminal, IsNotSteeredByTheText) {
    const std::vector<std::string> &given = GetParam().arguments;

    for (const std::string &text : nasty_texts()) {
        for (const std::vector<std::string> &way : ways(given)) {
            std::vector<std::string> arguments = given;

            arguments.insert(arguments.begin() + !given.empty(), way.begin(), way.end());
            arguments.push_back(GetParam().before + text);
            Process process = ddspart(arguments);

            EXPECT_GE(process.wait().code, 0);
            expect_harmless(process.output());
            expect_harmless(process.errors());
        }
    }
}

} // namespace
