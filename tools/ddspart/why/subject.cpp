// SPDX-License-Identifier: Apache-2.0
// Who is named, and what participants answer.
#include <algorithm>
#include <cctype>

#include "numbers.h"
#include "properties.h"
#include "why/facts.h"
#include "words.h"

namespace why {

namespace {

constexpr std::size_t WORD_DIGITS = 8;
constexpr std::size_t PREFIX_LENGTH = 3 * WORD_DIGITS + 2;

bool is_hexadecimal(const std::string &text) {
    return std::ranges::all_of(text, [](unsigned char c) { return std::isxdigit(c) != 0; });
}

/** The three words of the prefix with dots between them; empty where the text is no GUID. */
std::string prefix_of(const std::string &text) {
    std::vector<std::string> words = split(text, '.');

    if (words.size() == 1 && (text.size() == 3 * WORD_DIGITS || text.size() == 4 * WORD_DIGITS)) {
        words.clear();
        for (std::size_t i = 0; i < text.size(); i += WORD_DIGITS) {
            words.push_back(text.substr(i, WORD_DIGITS));
        }
    }
    if (words.size() < 3 || words.size() > 4 ||
        !std::ranges::all_of(words, [](const std::string &word) {
            return word.size() == WORD_DIGITS && is_hexadecimal(word);
        })) {
        return "";
    }
    std::string prefix = join(words, ".").substr(0, PREFIX_LENGTH);

    std::ranges::transform(prefix, prefix.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return prefix;
}

/** Whether an address is one, "192.0.2.2:7410" and "[fd00::2]:7410" included. */
bool is_address(const std::string &text) {
    const std::size_t colon = text.rfind(':');

    if (doctor::family_of(text)) {
        return true;
    }
    if (colon == text.npos || !to_number<unsigned>(text.substr(colon + 1))) {
        return false;
    }
    const std::string host = text.substr(0, colon);

    return doctor::family_of(host.starts_with('[') && host.ends_with(']')
                                 ? host.substr(1, host.size() - 2)
                                 : host)
        .has_value();
}

bool has_place(const Sighting &other, const std::string &text) {
    const auto is_it = [&](const std::string &locator) { return locator.ends_with("//" + text); };

    return std::ranges::find(other.addresses, text) != other.addresses.end() ||
           std::ranges::any_of(other.metatraffic_unicast_locators, is_it) ||
           std::ranges::any_of(other.default_unicast_locators, is_it);
}

} // namespace

Subject to_subject(const std::string &text) {
    if (const auto process = to_number<pid_t>(text); process && *process > 0) {
        return {Subject::Kind::PROCESS, text, *process};
    }
    if (const std::string prefix = prefix_of(text); !prefix.empty()) {
        return {Subject::Kind::GUID, prefix};
    }
    return {is_address(text) ? Subject::Kind::ADDRESS : Subject::Kind::NAME, text};
}

bool is_named(const Subject &subject, const Sighting &other, const std::string &host) {
    switch (subject.kind) {
    case Subject::Kind::PROCESS:
        return other.pid == subject.process && other.host == host;
    case Subject::Kind::GUID:
        return other.guid.starts_with(subject.text);
    case Subject::Kind::ADDRESS:
        return has_place(other, subject.text);
    case Subject::Kind::NAME:
        break;
    }
    return other.name == subject.text;
}

std::optional<Reply> answer_of(const Sighting &other, const std::string &word) {
    const auto found = std::ranges::find(other.properties, ANSWER + word,
                                         &std::pair<std::string, std::string>::first);

    if (found == other.properties.end()) {
        return std::nullopt;
    }
    const std::vector<std::string> words = split(found->second, ' ');
    const std::string &state = words.front();

    if (state == "known" && words.size() >= 3 && !prefix_of(words[1]).empty()) {
        const auto left = to_number<std::chrono::milliseconds::rep>(words[2]);

        return Reply{Reply::State::KNOWN, words[1],
                     left ? std::optional(std::chrono::milliseconds(*left)) : std::nullopt,
                     words.size() > 3 ? words[3] : ""};
    }
    if (state == "ignored" && words.size() == 2 && !prefix_of(words[1]).empty()) {
        return Reply{Reply::State::IGNORED, words[1], std::nullopt, ""};
    }
    if (state == "full" || state == "unknown") {
        return Reply{state == "full" ? Reply::State::FULL : Reply::State::UNKNOWN, "", std::nullopt,
                     ""};
    }
    return std::nullopt;
}

} // namespace why
