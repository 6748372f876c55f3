// SPDX-License-Identifier: Apache-2.0
#include "signals.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

/**
 * How long an end in order may take once a signal has come. It is counted in naps, which take
 * longer where the machine is so busy that the end in order takes longer as well.
 */
constexpr int NAPS = 70;
constexpr int NAP = 10; // milliseconds

[[noreturn]] void fail(int error) {
    throw std::system_error(error, std::generic_category(), "cannot wait for signals");
}

sigset_t ending_signals() {
    sigset_t signals;

    (void)sigemptyset(&signals);
    (void)sigaddset(&signals, SIGINT);
    (void)sigaddset(&signals, SIGTERM);
    return signals;
}

/** They stay for whoever takes them, in this thread and in those that it starts. */
sigset_t held(const sigset_t &signals) {
    const int error = pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    if (error != 0) {
        fail(error);
    }
    return signals;
}

std::thread start(const std::function<void()> &body) {
    try {
        return std::thread(body);
    } catch (const std::system_error &error) {
        fail(error.code().value());
    }
}

/**
 * Waits until one of them is readable, at most so many milliseconds; below 0 means no limit. May
 * return before that: where the process may have next to no descriptors polling is refused, and
 * then a nap is all there is.
 */
template <std::size_t N>
void wait_for_one(std::array<pollfd, N> descriptors, int milliseconds) {
    if (poll(descriptors.data(), descriptors.size(), milliseconds) < 0 && errno != EINTR) {
        std::this_thread::sleep_for(std::chrono::milliseconds(NAP));
    }
}

[[noreturn]] void end_by(int signal) {
    constexpr int SHELLS_CODE_FOR_SIGNALS = 128;
    sigset_t signals;

    (void)sigemptyset(&signals);
    (void)sigaddset(&signals, signal);
    (void)std::signal(signal, SIG_DFL);
    (void)pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    (void)raise(signal);
    _exit(SHELLS_CODE_FOR_SIGNALS + signal); // the first process of a container survives its own
}

/** What has come and was not yet asked for. */
struct Inbox {
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<Event> signal; // the first one; the end of the stay cannot be called off
    bool has_news = false;
};

Inbox inbox;

void announce_signal(int signal) {
    const std::lock_guard lock(inbox.mutex);

    inbox.signal = signal == SIGINT ? Event::SIGINT_CAME : Event::SIGTERM_CAME;
    inbox.changed.notify_all();
}

} // namespace

Signals::Descriptor::Descriptor(int number) : number_(number) {
    if (number < 0) {
        fail(errno);
    }
}

Signals::Descriptor::~Descriptor() {
    (void)close(number_);
}

Signals::Signals()
    : arrivals_([] {
          const sigset_t signals = held(ending_signals());

          return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
      }()),
      end_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), watcher_(start([this] { watch(); })) {
    (void)std::signal(SIGPIPE, SIG_IGN); // NOLINT(performance-no-int-to-ptr): in the macro
    // It means nothing here; from whoever takes it for a request it should not end a stay.
    (void)std::signal(SIGUSR1, SIG_IGN); // NOLINT(performance-no-int-to-ptr): in the macro
}

Signals::~Signals() {
    (void)eventfd_write(end_.get(), 1);
    watcher_.join();
}

void Signals::watch() const {
    const std::array<pollfd, 2> both = {{{end_.get(), POLLIN, 0}, {arrivals_.get(), POLLIN, 0}}};
    const std::array<pollfd, 1> end = {both[0]};
    const auto has_ended = [this] {
        eventfd_t count = 0;

        return eventfd_read(end_.get(), &count) == 0;
    };
    signalfd_siginfo arrived = {};

    while (read(arrivals_.get(), &arrived, sizeof arrived) !=
           static_cast<ssize_t>(sizeof arrived)) {
        if (has_ended()) {
            return; // without a signal
        }
        wait_for_one(both, -1);
    }
    const int signal = static_cast<int>(arrived.ssi_signo);

    announce_signal(signal);
    for (int nap = 0; nap < NAPS; ++nap) {
        wait_for_one(end, NAP);
        if (has_ended()) {
            return;
        }
    }
    end_by(signal);
}

void announce_news() {
    const std::lock_guard lock(inbox.mutex);

    inbox.has_news = true;
    inbox.changed.notify_all();
}

Event wait_for_event(std::optional<Moment> end) {
    const auto has_come = [] { return inbox.signal || inbox.has_news; };
    std::unique_lock lock(inbox.mutex);

    if (end) {
        (void)inbox.changed.wait_until(lock, *end, has_come);
    } else {
        inbox.changed.wait(lock, has_come);
    }
    if (inbox.signal) {
        return *inbox.signal;
    }
    return std::exchange(inbox.has_news, false) ? Event::NEWS : Event::TIME_IS_UP;
}
