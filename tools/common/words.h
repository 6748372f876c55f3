// SPDX-License-Identifier: Apache-2.0
// Lists of words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

/** The words, one after the other, with @p separator between two. */
inline std::string join(const std::vector<std::string> &words, const std::string &separator) {
    std::string text;

    for (const std::string &word : words) {
        text += (text.empty() ? "" : separator) + word;
    }
    return text;
}

/** The words as people read them, "none" where there are none. */
inline std::string listed(const std::vector<std::string> &words) {
    return words.empty() ? "none" : join(words, ", ");
}

/** What is between the separators; one word more than there are of these. */
inline std::vector<std::string> split(std::string_view text, char separator) {
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
