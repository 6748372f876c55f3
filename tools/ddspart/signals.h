// SPDX-License-Identifier: Apache-2.0
// The signals that end the tool, and what else the run of a participant waits for.
#pragma once

#include <chrono>
#include <optional>
#include <thread>

/**
 * Takes SIGINT and SIGTERM from here on, so that neither can interrupt the joining or leaving of a
 * domain: wait_for_event tells of them. Only one is to be made, before any other thread.
 *
 * What goes on regardless, such as writing to a reader that takes nothing, does not keep the tool
 * alive: if the object still lives some 700 ms after the signal, the same signal ends the process
 * as if nobody had taken it. Writing to a closed pipe fails instead of ending the process.
 */
class Signals {
public:
    Signals();
    ~Signals();
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;

private:
    class Descriptor {
    public:
        explicit Descriptor(int number); // throws when it is none
        ~Descriptor();
        Descriptor(const Descriptor &) = delete;
        Descriptor &operator=(const Descriptor &) = delete;

        int get() const {
            return number_;
        }

    private:
        const int number_;
    };

    void watch() const;

    const Descriptor arrivals_; // of the signals
    const Descriptor end_;      // readable when the object goes
    std::thread watcher_;
};

enum class Event { TIME_IS_UP, NEWS, SIGINT_CAME, SIGTERM_CAME };

/** The participant's index or locators may be others now. From any thread. */
void announce_news();

using Moment = std::chrono::steady_clock::time_point;

/** Waits until something has come, also before the call, or the time is up. */
Event wait_for_event(std::optional<Moment> end);
