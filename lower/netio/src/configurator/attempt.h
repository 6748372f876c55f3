// SPDX-License-Identifier: Apache-2.0
// An attempt at opening receive ports that belong together.
#ifndef NETIO_ATTEMPT_H
#define NETIO_ATTEMPT_H

#include <mutex>

#include "netio/netio_configurator.h"

namespace netio {

/** Whether an error means that the process or the system has run out of something. */
bool is_shortage(int error);

/** Says why ports could not be opened, and remembers it. Thread-safe. */
class Attempt {
public:
    Attempt() = default;
    Attempt(const Attempt &) = delete;
    Attempt &operator=(const Attempt &) = delete;

    void begin(bool quiet);
    void end();
    /** Whether one is under way in which nothing is said. */
    bool is_quiet();
    /** Outside an attempt every failure is said. */
    void note(const NUVNetioFailure &failure);
    /** False when nothing has failed since the last attempt began. */
    bool get_failure(NUVNetioFailure *out);

private:
    bool is_to_be_said(const NUVNetioFailure &failure);

    std::mutex mutex_; // guards what follows
    bool under_way_ = false;
    bool quiet_ = false;
    int error_said_ = 0;
    bool has_failure_ = false;
    NUVNetioFailure failure_{};
};

} // namespace netio

#endif
