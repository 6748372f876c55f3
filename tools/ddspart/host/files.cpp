// SPDX-License-Identifier: Apache-2.0
#include "host/files.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <sstream>
#include <system_error>

#include "words.h"

namespace host {

namespace {

struct Close {
    void operator()(std::FILE *file) const {
        (void)std::fclose(file);
    }
};

/** Whether the whole of it could be read; else errno says why not. */
bool read_whole(const std::filesystem::path &path, std::string &text) {
    constexpr std::size_t PART_SIZE = 1U << 16U; // a table of the kernel comes in few pieces
    const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "rbe"));
    const auto part = std::make_unique<std::array<char, PART_SIZE>>();
    std::size_t length = 0;

    if (file == nullptr) {
        return false;
    }
    (void)std::setvbuf(file.get(), nullptr, _IONBF, 0);
    while ((length = std::fread(part->data(), 1, part->size(), file.get())) > 0) {
        text.append(part->data(), length);
    }
    return std::ferror(file.get()) == 0;
}

} // namespace

std::string text_of(const std::filesystem::path &file) {
    std::string text;

    if (!read_whole(file, text)) {
        throw std::system_error(errno, std::generic_category(), "cannot read " + file.string());
    }
    return text;
}

std::optional<std::string> text_or_none(const std::filesystem::path &file) {
    std::string text;

    return read_whole(file, text) ? std::optional(text) : std::nullopt;
}

std::optional<std::string> link_or_none(const std::filesystem::path &link) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::read_symlink(link, error);

    return error ? std::nullopt : std::optional(target.string());
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines = split(text, '\n');

    if (lines.back().empty()) {
        lines.pop_back();
    }
    return lines;
}

std::vector<std::string> fields_of(const std::string &line) {
    std::istringstream words(line);
    std::vector<std::string> fields;

    for (std::string word; words >> word;) {
        fields.push_back(word);
    }
    return fields;
}

} // namespace host
