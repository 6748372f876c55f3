// SPDX-License-Identifier: Apache-2.0
// What the logger asks of the system, in the calling thread.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>
#include <vector>

#include <unistd.h>

#include "support/faults.h"

namespace system_calls {

/** Allocations of the system's memory, and of the tagged heap's. */
inline int allocations() {
    return faults::count("malloc") + faults::allocations();
}

/** For as long as it lives, it takes what is written to stderr. */
class StderrWrites {
public:
    StderrWrites() {
        faults::replace("write", [this](int descriptor, const void *data, std::size_t size) {
            return descriptor == STDERR_FILENO ? take(static_cast<const char *>(data), size)
                                               : write(descriptor, data, size);
        });
    }
    ~StderrWrites() {
        faults::restore("write");
    }
    StderrWrites(const StderrWrites &) = delete;
    StderrWrites &operator=(const StderrWrites &) = delete;

    /** What the next of them does. */
    struct Write {
        int error;        // errno to fail with, or 0
        std::size_t most; // bytes to take
    };
    std::vector<Write> next; // when used up, everything is taken
    std::vector<std::string> written;

private:
    ssize_t take(const char *data, std::size_t size) {
        Write what = {0, size};
        if (!next.empty()) {
            what = next.front();
            next.erase(next.begin());
        }
        const std::size_t taken = what.error != 0 ? 0 : std::min(what.most, size);
        written.emplace_back(data, taken);
        errno = what.error != 0 ? what.error : errno;
        return what.error != 0 ? -1 : static_cast<ssize_t>(taken);
    }
};

} // namespace system_calls
