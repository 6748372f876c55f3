#include "signals.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace {

sigset_t held_signals() {
    sigset_t signals;

    (void)sigemptyset(&signals);
    (void)sigaddset(&signals, SIGINT);
    (void)sigaddset(&signals, SIGTERM);
    (void)sigaddset(&signals, NEWS_SIGNAL);
    return signals;
}

timespec to_timespec(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);

    return {static_cast<time_t>(seconds.count()), static_cast<long>((duration - seconds).count())};
}

} // namespace

void hold_signals() {
    const sigset_t signals = held_signals();
    const int error = pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot hold signals");
    }
    (void)std::signal(SIGPIPE, SIG_IGN); // NOLINT(performance-no-int-to-ptr): in the macro
}

void announce_news() {
    (void)kill(getpid(), NEWS_SIGNAL);
}

int wait_for_signal(std::optional<Moment> end) {
    const sigset_t signals = held_signals();

    for (;;) {
        const std::chrono::nanoseconds left =
            end ? std::max(*end - Moment::clock::now(), Moment::duration::zero())
                : Moment::duration::zero();
        const timespec timeout = to_timespec(left);
        const int signal =
            end ? sigtimedwait(&signals, nullptr, &timeout) : sigwaitinfo(&signals, nullptr);

        if (signal > 0) {
            return signal;
        }
        if (errno == EAGAIN) {
            return 0;
        }
        if (errno != EINTR) { // which only means that the process was stopped for a while
            throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
        }
    }
}
