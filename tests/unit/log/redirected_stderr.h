// SPDX-License-Identifier: Apache-2.0
// Another file in the place of stderr, for as long as the object lives.
#pragma once

#include <string>

/** What stderr may be; a terminal emulator writes to the controlling end of a terminal. */
enum class Kind { REGULAR_FILE, PIPE, SOCKET, TERMINAL, TERMINAL_EMULATOR };

class RedirectedStderr {
public:
    explicit RedirectedStderr(Kind kind);
    ~RedirectedStderr();
    RedirectedStderr(const RedirectedStderr &) = delete;
    RedirectedStderr &operator=(const RedirectedStderr &) = delete;

    /** Takes what has been written so far; a terminal's line ends as they were written. */
    std::string read();
    /** From now on there is nobody who could read. */
    void close_reader();

private:
    const int former_;
    int reader_ = -1;
};
