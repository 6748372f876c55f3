// SPDX-License-Identifier: Apache-2.0
// The files in which the host tells of itself.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace host {

/** Where these files are; a test has its own. */
struct Files {
    std::filesystem::path proc = "/proc";
    std::filesystem::path run = "/run";
    std::filesystem::path sys = "/sys";

    /** The directory of a process; that of the caller has no number. */
    std::filesystem::path of_process(std::optional<int> process = std::nullopt) const {
        return proc / (process ? std::to_string(*process) : "self");
    }
};

/** What a file says; throws std::system_error, which names it, when it cannot be read. */
std::string text_of(const std::filesystem::path &file);

/** The same; none when it cannot be read, as of a process that has ended or is hidden. */
std::optional<std::string> text_or_none(const std::filesystem::path &file);

/** Where a symbolic link points to; none as above. */
std::optional<std::string> link_or_none(const std::filesystem::path &link);

/** The lines of a text, without their ends. */
std::vector<std::string> lines_of(const std::string &text);

/** What is between the blanks of a line. */
std::vector<std::string> fields_of(const std::string &line);

} // namespace host
