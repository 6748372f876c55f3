// SPDX-License-Identifier: Apache-2.0
// A program that runs beside the test.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

/** Everything is expected long before; instrumented programs on a busy machine take their time. */
constexpr std::chrono::seconds PATIENCE(90);

/** Asks @p condition again and again until it holds; false when patience is at its end. */
template <class Condition>
bool eventually(Condition condition);

/** The @p result of a system call; throws what errno says where it is negative. */
int checked(int result, const char *what);

/** How a process ended. */
struct Exit {
    int code;   // -1 when a signal ended it
    int signal; // 0 when it ended by itself
};

/** A child process; what it writes is kept. It is killed when the object goes. */
class Process {
public:
    explicit Process(const std::vector<std::string> &command);
    Process(Process &&other) noexcept;
    ~Process();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;
    Process &operator=(Process &&) = delete;

    pid_t id() const {
        return id_;
    }

    /** What it has written so far. */
    std::string output() const;
    std::string errors() const;

    /** Waits until it has written @p text to stdout. False when it ended without. */
    bool wait_for_output(const std::string &text);
    /**
     * Waits until it keeps SIGTERM for later, as the first thing that ddspart does. False when it
     * ended before.
     */
    bool wait_until_signals_are_held();

    void send(int signal) const;
    /** Waits for its end. The exit code is -1, as after a signal, if patience ends first. */
    Exit wait();
    bool has_ended();

    /** Sends the signal, then waits. */
    Exit stop(int signal);

    std::size_t number_of_threads() const;

private:
    pid_t id_;
    int id_descriptor_;
    int output_;
    int errors_;
    bool ended_ = false;
    Exit exit_ = {-1, 0};
};

const std::string ONE_MINUTE = "60"; // for --for

/** Runs ddspart with these arguments; see DDSPART_PATH. */
Process ddspart(const std::vector<std::string> &arguments);

/** The same process, a participant's, once it has joined its domain. */
Process once_joined(Process process);

/** How often @p part is in @p text. */
std::size_t count(const std::string &text, const std::string &part);

void pause_shortly();

template <class Condition>
bool eventually(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + PATIENCE;

    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        pause_shortly();
    }
    return true;
}
