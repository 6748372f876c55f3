// SPDX-License-Identifier: Apache-2.0
#include "interruption.h"

#include <csignal>
#include <cstring>

namespace {

volatile std::sig_atomic_t came = 0;

extern "C" void note(int signal) {
    came = signal;
}

} // namespace

void note_interruptions() {
    struct sigaction action;

    std::memset(&action, 0, sizeof action);
    action.sa_handler = note;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    (void)sigaction(SIGINT, &action, nullptr);
    (void)sigaction(SIGTERM, &action, nullptr);
    (void)std::signal(SIGPIPE, SIG_IGN); // NOLINT(performance-no-int-to-ptr): in the macro
}

int interruption() {
    return came;
}
