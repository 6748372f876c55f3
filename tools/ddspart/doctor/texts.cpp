// SPDX-License-Identifier: Apache-2.0
#include "doctor/texts.h"

#include <iomanip>
#include <sstream>
#include <system_error>

#include "words.h"

namespace doctor {

std::string error_text(int error) {
    return std::generic_category().message(error);
}

std::string text_of(std::chrono::duration<double> duration) {
    std::ostringstream text;

    text << std::fixed << std::setprecision(1) << duration.count() << " s";
    return text.str();
}

std::string family_names(const std::vector<Family> &families) {
    std::vector<std::string> names;

    names.reserve(families.size());
    for (const Family family : families) {
        names.emplace_back(name_of(family));
    }
    return join(names, " or ");
}

std::string port_list(const std::set<unsigned> &ports) {
    std::string text;

    for (auto first = ports.begin(); first != ports.end();) {
        auto last = first;
        auto next = std::next(first);

        while (next != ports.end() && *next == *last + 1) {
            last = next++;
        }
        text += (text.empty() ? "" : ", ") + std::to_string(*first) +
                (last != first ? "-" + std::to_string(*last) : "");
        first = next;
    }
    return text;
}

std::string rule_text(const Facts &facts) {
    if (facts.rules.empty()) {
        return "";
    }
    const FirewallRule &rule = facts.rules.front();

    return " (\"" + rule.text + "\" in " + rule.chain + ")";
}

bool is_loopback_locator(const std::string &locator) {
    return locator.find("//127.") != std::string::npos ||
           locator.find("//[::1]") != std::string::npos;
}

} // namespace doctor
