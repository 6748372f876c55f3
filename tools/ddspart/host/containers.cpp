// SPDX-License-Identifier: Apache-2.0
#include "host/containers.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "host/files.h"
#include "numbers.h"
#include "printable.h"
#include "words.h"

namespace host {

namespace {

constexpr std::size_t NUMBER_DIGITS = 64;
constexpr std::size_t DIGITS_SHOWN = 12;

bool is_number_of_container(std::string_view text) {
    return text.size() == NUMBER_DIGITS &&
           text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/** "my\x2dbox", as systemd has a dash in the name of a unit, as "my-box". */
std::string unescaped(std::string_view text) {
    constexpr std::string_view MARK = "\\x";
    constexpr std::size_t LENGTH = 4;
    constexpr int HEXADECIMAL = 16;
    std::string result;

    while (!text.empty()) {
        const auto octet = text.starts_with(MARK) && text.size() >= LENGTH
                               ? to_number<std::uint8_t>(text.substr(MARK.size(), 2), HEXADECIMAL)
                               : std::nullopt;

        result += octet ? static_cast<char>(*octet) : text.front();
        text.remove_prefix(octet ? LENGTH : 1);
    }
    return result;
}

/** What is between the two, empty where they are not there. */
std::string_view between(std::string_view text, std::string_view before, std::string_view after) {
    if (text.size() < before.size() + after.size() || !text.starts_with(before) ||
        !text.ends_with(after)) {
        return {};
    }
    return text.substr(before.size(), text.size() - before.size() - after.size());
}

/** The container that one control group is that of; empty where it is that of none. */
std::string container_of_group(std::string_view group, std::string_view parent) {
    struct Form {
        std::string_view before;
        std::string_view after;
    };
    static constexpr std::array FORMS = {
        Form{"lxc.payload.", ""},
        Form{"machine-", ".scope"},
        Form{"systemd-nspawn@", ".service"},
    };
    std::string_view number = group;

    if (number.ends_with(".scope")) { // as "docker-0123....scope"
        number = between(number.substr(number.rfind('-') + 1), "", ".scope");
    }
    if (is_number_of_container(number)) {
        return std::string(number.substr(0, DIGITS_SHOWN));
    }
    if (parent == "lxc") {
        return std::string(group);
    }
    for (const Form &form : FORMS) {
        if (const std::string_view name = between(group, form.before, form.after); !name.empty()) {
            return unescaped(name);
        }
    }
    return {};
}

} // namespace

std::string container_of(const std::string &cgroups) {
    for (const std::string &line : lines_of(cgroups)) { // "number:controllers:/path"
        const std::vector<std::string> groups = split(line, '/');

        for (std::size_t i = groups.size(); i-- > 1;) { // the innermost one first
            const std::string container = container_of_group(groups[i], groups[i - 1]);

            if (!container.empty()) {
                return printable(container);
            }
        }
    }
    return {};
}

} // namespace host
