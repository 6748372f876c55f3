// SPDX-License-Identifier: Apache-2.0
#include "doctor/message.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <utility>

#include "numbers.h"
#include "printable.h"
#include "words.h"

namespace doctor {

namespace {

constexpr const char *NAME = "ddspart-doctor";
constexpr int BASE_OF_SESSION = 16;
/** More than the longest head has. */
constexpr std::size_t ROOM_FOR_HEAD = 100;

std::string line_of(const Record &record) {
    std::vector<std::string> fields;

    fields.reserve(record.size());
    for (const std::string &field : record) {
        fields.push_back(printable(field));
    }
    return join(fields, "\t") + '\n';
}

std::string head_of(const Message &message) {
    std::ostringstream head;

    head << NAME << ' ' << MESSAGE_VERSION << ' ' << message.kind << ' ' << std::hex
         << message.session << std::dec << ' ' << message.number << '\n';
    return head.str();
}

bool is_word(const std::string &text) {
    constexpr std::size_t LONGEST = 16;

    return !text.empty() && text.size() <= LONGEST &&
           std::ranges::all_of(text, [](char letter) { return letter >= 'a' && letter <= 'z'; });
}

/** None where it has no name, or a field what to_text() would not have left in it. */
std::optional<Record> record_of(std::string_view line) {
    Record record = split(line, '\t');

    if (record.front().empty() || std::ranges::any_of(record, [](const std::string &field) {
            return field != printable(field);
        })) {
        return std::nullopt;
    }
    return record;
}

} // namespace

std::optional<Record> Message::find(std::string_view name) const {
    for (const Record &record : records) {
        if (record.front() == name) {
            return Record(record.begin() + 1, record.end());
        }
    }
    return std::nullopt;
}

std::string to_text(const Message &message) {
    std::string text = head_of(message);

    for (const Record &record : message.records) {
        const std::string line = line_of(record);

        if (text.size() + line.size() <= MESSAGE_SIZE_HIGHEST) {
            text += line;
        }
    }
    return text;
}

std::string to_greeting(Message message) {
    constexpr std::string_view WITHOUT_PADDING = "padding\t\n";
    const std::size_t size = to_text(message).size() + WITHOUT_PADDING.size();

    if (size < GREETING_SIZE) {
        message.records.push_back({"padding", std::string(GREETING_SIZE - size, '-')});
    }
    return to_text(message);
}

Reading read_message(std::string_view text) {
    constexpr std::size_t WORDS_OF_HEAD = 5;
    constexpr std::size_t SESSION = 3;
    constexpr std::size_t NUMBER = 4;

    if (text.size() > MESSAGE_SIZE_HIGHEST || !text.ends_with('\n')) {
        return {};
    }
    std::vector<std::string> lines = split(text.substr(0, text.size() - 1), '\n');
    const std::vector<std::string> head = split(lines.front(), ' ');
    const auto version =
        head.size() > 1 && head[0] == NAME ? to_number<unsigned>(head[1]) : std::nullopt;

    const std::string kind = version && head.size() > 2 ? head[2] : "";

    if (version != MESSAGE_VERSION || head.size() != WORDS_OF_HEAD) {
        return {version, kind, std::nullopt};
    }
    const auto session = to_number<std::uint64_t>(head[SESSION], BASE_OF_SESSION);
    const auto number = to_number<unsigned>(head[NUMBER]);

    if (!is_word(kind) || !session || !number) {
        return {version, kind, std::nullopt};
    }
    Message message = {kind, *session, *number, {}};

    for (std::size_t i = 1; i < lines.size(); ++i) {
        std::optional<Record> record = record_of(lines[i]);

        if (!record) {
            return {version, kind, std::nullopt};
        }
        message.records.push_back(std::move(*record));
    }
    return {version, kind, std::move(message)};
}

std::size_t records_for_one_message(const std::vector<Record> &records, std::size_t first) {
    std::size_t size = ROOM_FOR_HEAD;
    std::size_t count = 0;

    while (first + count < records.size()) {
        size += line_of(records[first + count]).size();
        if (size > MESSAGE_SIZE_HIGHEST) {
            break;
        }
        ++count;
    }
    return count;
}

} // namespace doctor
