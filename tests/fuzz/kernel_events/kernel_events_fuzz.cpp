// SPDX-License-Identifier: Apache-2.0
// What the kernel's link and address events are like, one answer of the socket after the other.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <poll.h>
#include <sys/socket.h>

#include "fuzz.h"
#include "interface/linkWatch.h"

using netio::LinkEvents;

namespace {

/** The events that are taken in one go at the most; more come with the next one. */
constexpr int EVENTS_PER_TURN = 256;

/** What the socket answers next, one letter each; what it has no answer for would block. */
std::string_view script;
int receptions = 0;

char next_answer() {
    if (script.empty()) {
        return '.';
    }
    const char answer = script.front();
    script.remove_prefix(1);
    return answer;
}

/** The error number that a letter stands for; 0 for an event. */
int error_of(char answer) {
    switch (answer) {
    case '.':
        return EAGAIN;
    case 'i':
        return EINTR;
    case 'l':
        return ENOBUFS; // events were lost
    case 'b':
        return EBADF;
    case 'm':
        return ENOMEM;
    default:
        return 0;
    }
}

/** What one go makes of the answers that are to come. */
LinkEvents expected(std::string_view answers) {
    bool is_any = false;
    for (const char answer : answers.substr(0, EVENTS_PER_TURN)) {
        const int error = error_of(answer);
        if (error == EAGAIN) {
            break;
        }
        if (error != 0 && error != EINTR && error != ENOBUFS) {
            return LinkEvents::UNREADABLE;
        }
        is_any = is_any || error != EINTR;
    }
    return is_any ? LinkEvents::SOME : LinkEvents::NONE;
}

} // namespace

extern "C" {

int __wrap_poll(pollfd *descriptors, nfds_t count, int timeout) {
    fuzz::must(count == 1 && timeout == 0, "nobody waits for an event");
    if (script.starts_with('p')) { // to look is refused
        script.remove_prefix(1);
        errno = EINVAL;
        return -1;
    }
    descriptors->revents = script.empty() ? short{0} : short{POLLIN};
    return script.empty() ? 0 : 1;
}

ssize_t __wrap_recv(int /*descriptor*/, void *buffer, size_t size, int /*flags*/) {
    const char answer = next_answer();
    ++receptions;
    if (const int error = error_of(answer); error != 0) {
        errno = error;
        return -1;
    }
    // An event of any length, which need not fit.
    const size_t length =
        std::min<size_t>(size, std::size_t{8} * static_cast<unsigned char>(answer));
    std::memset(buffer, answer, length);
    return static_cast<ssize_t>(length);
}

} // extern "C"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::Messages messages;
    netio::LinkWatch watch;

    script = {reinterpret_cast<const char *>(data), size};
    while (!script.empty()) {
        const std::string_view to_come = script.substr(script.starts_with('p') ? 1 : 0);
        const LinkEvents answer = expected(to_come);
        receptions = 0;
        fuzz::must(watch.take_events() == answer,
                   "events are told, failures too, and nothing else");
        fuzz::must(answer != LinkEvents::UNREADABLE || (errno != EAGAIN && errno != EINTR),
                   "errno tells why events are unreadable");
        fuzz::must(receptions <= EVENTS_PER_TURN, "a flood of events ends a turn");
    }
    fuzz::must(watch.take_events() == LinkEvents::NONE, "without events there are none");
    fuzz::must(messages.count() == 0, "whatever comes, nothing is said of it");
    return 0;
}
