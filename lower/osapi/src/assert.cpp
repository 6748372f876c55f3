// SPDX-License-Identifier: Apache-2.0
// The end of a process in which something that must hold does not.
#include "osapi/osapi_assert.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

void NUVOsapi_failAssertion(const char *condition, const char *file, int line,
                            const char *function) {
    char text[1024];
    const int length = std::snprintf(text, sizeof text, "%s:%d: %s: '%s' does not hold\n", file,
                                     line, function, condition);

    // Past the log, whose locks this thread may hold.
    if (length > 0) {
        const auto shown = static_cast<size_t>(length) < sizeof text ? static_cast<size_t>(length)
                                                                     : sizeof text - 1;
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, shown);
    }
    std::abort();
}
