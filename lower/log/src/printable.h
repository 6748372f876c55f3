// SPDX-License-Identifier: Apache-2.0
// The one filter for text that people read.
#ifndef LOG_PRINTABLE_H
#define LOG_PRINTABLE_H

#include <cstddef>
#include <string_view>

namespace kols {

/** What the control characters that are white space (tab, line ends) become. */
enum class WhiteSpace { SPACE, OCTETS };

/**
 * Puts a text together in a room of fixed size, always terminated. Only what a terminal shows and
 * does not obey gets in; the rest is shown as its octets, as "\x1b". What passes the room is cut,
 * between characters.
 */
class PrintableText {
public:
    /** There has to be room for the terminator. */
    PrintableText(char *characters, size_t size) : characters_(characters), room_(size - 1) {
        characters_[0] = '\0';
    }

    void append(std::string_view text, WhiteSpace white_space);

    size_t length() const {
        return length_;
    }

private:
    bool append_whole(std::string_view piece);
    bool append_octets(std::string_view octets);

    char *const characters_;
    const size_t room_; // without the terminator
    size_t length_ = 0;
    bool is_full_ = false; // what comes after a piece that did not fit is cut as well
};

} // namespace kols

#endif
