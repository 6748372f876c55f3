// SPDX-License-Identifier: Apache-2.0
// What the two ends of a diagnosis say to each other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace doctor {

/** Goes up when an older end could not understand a newer one. */
constexpr unsigned MESSAGE_VERSION = 1;
/** As long as a message may be: it goes through any network in one piece. */
constexpr std::size_t MESSAGE_SIZE_HIGHEST = 1200;
/** As long as the first question is, and its answer at most: of an end that is not known yet. */
constexpr std::size_t GREETING_SIZE = 256;

/** The fields of a line; the first one is its name, which is never empty. */
using Record = std::vector<std::string>;

/** A question, or its answer. */
struct Message {
    std::string kind;          // letters
    std::uint64_t session = 0; // by which the other end knows who asks; 0: it does not yet
    unsigned number = 0;       // of the question; its answer has the same
    std::vector<Record> records;

    bool operator==(const Message &) const = default;

    /** The fields of the first record that begins with @p name, without it; none if there is none.
     */
    std::optional<Record> find(std::string_view name) const;
};

/**
 * A head, and a line for each record, whose fields tabs separate:
 *
 *     ddspart-doctor 1 send 5f3a9c0012345678 7
 *     port<TAB>7410
 *
 * Control characters in a field are replaced as they are for a terminal. What goes beyond
 * MESSAGE_SIZE_HIGHEST is left out, record by record.
 */
std::string to_text(const Message &message);

/** As to_text(), followed by a record that makes it as long as a greeting is. */
std::string to_greeting(Message message);

/** The kind of the answer to a question of another version, which any version has. */
constexpr const char *VERSION_KIND = "version";

struct Reading {
    std::optional<unsigned> version; // none: it is no message at all
    std::string kind;                // of whatever version, as far as the head has one
    std::optional<Message> message;  // none as well if it is of another version, or malformed
};

/** Takes what to_text() makes, whoever has made it. */
Reading read_message(std::string_view text);

/** How many of the records, from @p first on, one message has room for. */
std::size_t records_for_one_message(const std::vector<Record> &records, std::size_t first);

} // namespace doctor
