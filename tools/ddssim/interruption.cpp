// SPDX-License-Identifier: Apache-2.0
#include "interruption.h"

#include <csignal>
#include <cstring>
#include <ctime>

namespace {

volatile std::sig_atomic_t came = 0;
std::time_t came_at = 0; // of the handler alone, which does not interrupt itself

std::time_t seconds_now() {
    timespec now{};

    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

/** Who ends a job may signal it and then its group, so that one end comes as two signals. */
extern "C" void note(int signal) {
    constexpr std::time_t ONE_END = 1;

    if (came == 0) {
        came = signal;
        came_at = seconds_now();
    } else if (seconds_now() - came_at > ONE_END) {
        (void)std::signal(signal, SIG_DFL); // NOLINT(performance-no-int-to-ptr): in the macro
        (void)raise(signal);
    }
}

} // namespace

void note_interruptions() {
    struct sigaction action;

    std::memset(&action, 0, sizeof action);
    action.sa_handler = note;
    action.sa_flags = SA_RESTART; // what is being written is written
    (void)sigaddset(&action.sa_mask, SIGINT);
    (void)sigaddset(&action.sa_mask, SIGTERM);
    (void)sigaction(SIGINT, &action, nullptr);
    (void)sigaction(SIGTERM, &action, nullptr);
    (void)std::signal(SIGPIPE, SIG_IGN); // NOLINT(performance-no-int-to-ptr): in the macro
}

int interruption() {
    return came;
}
