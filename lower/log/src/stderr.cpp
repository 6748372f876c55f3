// SPDX-License-Identifier: Apache-2.0
// Lines on stderr, which a reader that takes none never holds up for long.
//
// Nothing but a regular file takes whatever is written. Whether a descriptor waits is a flag of the
// open file, which other processes share and which is therefore not touched; so each kind of file
// has its own way of being written without a wait.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <mutex>
#include <string_view>
#include <type_traits>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <string.h> // strnlen
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "dds_c/dds_c_logger.h"
#include "log/log_message.h"
#include "log_internal.h"
#include "osapi/osapi_duration.h"
#include "osapi/osapi_process.h"
#include "printable.h"

namespace {

constexpr NUV_INT64 MILLISECOND = 1'000'000;
constexpr NUV_INT64 PATIENCE = 100 * MILLISECOND;

/** A pipe takes a line whole or not at all. */
static_assert(KOLS_CONFIG_LOG_LINE_MAX <= PIPE_BUF);

/** A terminal that is ready for output takes this much, also when line ends grow to two octets. */
constexpr size_t TERMINAL_PORTION = 64;

/** By select, which works also where the process may have no descriptor any more. */
bool is_ready(int milliseconds) {
    timeval time{milliseconds / 1000, milliseconds % 1000 * 1000L};
    fd_set output;

    FD_ZERO(&output);
    FD_SET(STDERR_FILENO, &output);
    return select(STDERR_FILENO + 1, nullptr, &output, nullptr, &time) > 0;
}

bool is_without_reader() {
    pollfd output{STDERR_FILENO, 0, 0};

    return poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0;
}

/** With a number that no standard stream has, where those are closed; -1 when it fails. */
int open_above_stderr(const char *path, int flags) {
    const int opened = open(path, flags);

    if (opened < 0 || opened > STDERR_FILENO) {
        return opened;
    }
    const int above = fcntl(opened, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);

    close(opened);
    return above;
}

/** The way to stderr, for one line: whoever replaces the descriptor has the next line. */
class Outlet {
public:
    Outlet();
    ~Outlet() {
        if (own_ >= 0) {
            close(own_);
        }
    }
    Outlet(const Outlet &) = delete;
    Outlet &operator=(const Outlet &) = delete;

    /** As write(2), perhaps of a part; fails with EAGAIN where it would have to wait. */
    ssize_t write_at_once(const char *data, size_t size) const;

private:
    enum class Way { DIRECT, OWN, SOCKET, PORTIONS };

    ssize_t write_portion(const char *data, size_t size) const;

    Way way_ = Way::DIRECT;
    bool is_pipe_ = false;
    int own_ = -1;       // the same pipe or terminal, opened again so as not to wait
    size_t portion_ = 0; // that a write takes once stderr is ready
};

Outlet::Outlet() {
    const int flags = fcntl(STDERR_FILENO, F_GETFL);
    struct stat status {};
    unsigned number = 0;

    if (flags < 0 || (flags & O_ACCMODE) == O_RDONLY || fstat(STDERR_FILENO, &status) != 0) {
        return; // the write says what is wrong
    }
    if (S_ISSOCK(status.st_mode)) {
        way_ = Way::SOCKET;
        return;
    }
    const bool is_terminal = S_ISCHR(status.st_mode) && isatty(STDERR_FILENO) != 0;
    is_pipe_ = S_ISFIFO(status.st_mode);
    if (!is_pipe_ && !is_terminal) {
        return;
    }
    portion_ = is_terminal ? TERMINAL_PORTION : PIPE_BUF;
    // The controlling end of a pseudo-terminal is not opened again: that would make another one.
    if (!is_terminal || ioctl(STDERR_FILENO, TIOCGPTN, &number) != 0) {
        own_ = open_above_stderr("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }
    way_ = own_ >= 0 ? Way::OWN : Way::PORTIONS;
}

ssize_t Outlet::write_at_once(const char *data, size_t size) const {
    if (is_pipe_ && is_without_reader()) { // which a write may end the process for
        errno = EPIPE;
        return -1;
    }
    switch (way_) {
    case Way::OWN:
        return write(own_, data, size);
    case Way::SOCKET:
        return send(STDERR_FILENO, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    case Way::PORTIONS:
        return write_portion(data, size);
    case Way::DIRECT:
        break;
    }
    return write(STDERR_FILENO, data, size);
}

/** Where stderr cannot be opened again, for want of the right, of a descriptor or of /proc. */
ssize_t Outlet::write_portion(const char *data, size_t size) const {
    if (!is_ready(0)) {
        errno = EAGAIN;
        return -1;
    }
    return write(STDERR_FILENO, data, std::min(size, portion_));
}

/** A line with its line end, which takes the place of the terminator. */
class Line {
public:
    std::string_view of(const KOLS_Config_LogRecord &record) {
        return ended(KOLS_Config_Logger_format_line(&record, characters_, sizeof characters_));
    }

    std::string_view of(const char *text) {
        kols::PrintableText printable(characters_, sizeof characters_);

        // In the line no octet takes less room: what comes after as many would be cut.
        printable.append({text, strnlen(text, sizeof characters_)}, kols::WhiteSpace::SPACE);
        return ended(printable.length());
    }

private:
    std::string_view ended(size_t length) {
        characters_[length] = '\n';
        return {characters_, length + 1};
    }

    char characters_[KOLS_CONFIG_LOG_LINE_MAX];
};

enum class Outcome { WHOLE, DROPPED, FAILED };

class Stderr {
public:
    /** A line with its line end. */
    void write_line(std::string_view line);

    void renew_lock() {
        (void)pthread_mutex_init(mutex_.native_handle(), nullptr);
    }

private:
    Outcome report_dropped(const Outlet &outlet, NUV_INT64 deadline);
    Outcome write_whole(const Outlet &outlet, std::string_view line, NUV_INT64 deadline);
    Outcome write_rest(const Outlet &outlet, std::string_view &rest, NUV_INT64 deadline);

    std::mutex mutex_;
    NUV_UINT64 dropped_ = 0;     // since stderr took no more; nobody waits until it does again
    bool is_broken_off_ = false; // the last line has no end yet
};

void Stderr::write_line(std::string_view line) {
    kols::prepare_for_forks();
    const osapi::CancellationHold hold; // a write is where a thread may be cancelled
    const std::lock_guard guard(mutex_);

    if (dropped_ > 0 && !is_ready(0)) {
        ++dropped_;
        return;
    }
    const Outlet outlet;
    const NUV_INT64 deadline = osapi::read_monotonic_clock() + PATIENCE;

    if (report_dropped(outlet, deadline) == Outcome::DROPPED ||
        write_whole(outlet, line, deadline) == Outcome::DROPPED) {
        ++dropped_;
    }
}

Outcome Stderr::report_dropped(const Outlet &outlet, NUV_INT64 deadline) {
    if (dropped_ == 0) {
        return Outcome::WHOLE;
    }
    const NUVClock *const clock = NUVClock_getRealtime();
    char text[128];
    (void)std::snprintf(text, sizeof text, "%llu %s dropped: stderr took none for a while",
                        static_cast<unsigned long long>(dropped_),
                        dropped_ == 1 ? "line of the log was" : "lines of the log were");
    const KOLS_Config_LogRecord record = {NUV_LOG_UNNUMBERED,
                                          NUV_LOG_LEVEL_WARNING,
                                          0,
                                          __FILE__,
                                          __LINE__,
                                          __func__,
                                          nullptr,
                                          text,
                                          text,
                                          clock->getNanoseconds(clock)};
    Line line;
    const Outcome outcome = write_whole(outlet, line.of(record), deadline);

    if (outcome != Outcome::DROPPED) {
        dropped_ = 0;
    }
    return outcome;
}

Outcome Stderr::write_whole(const Outlet &outlet, std::string_view line, NUV_INT64 deadline) {
    if (is_broken_off_) {
        std::string_view line_end = "\n";
        const Outcome outcome = write_rest(outlet, line_end, deadline);

        if (outcome != Outcome::WHOLE) {
            return outcome;
        }
    }
    std::string_view rest = line;
    const Outcome outcome = write_rest(outlet, rest, deadline);

    is_broken_off_ = !rest.empty() && rest.size() < line.size();
    return outcome;
}

/** Takes what was written off @p rest. */
Outcome Stderr::write_rest(const Outlet &outlet, std::string_view &rest, NUV_INT64 deadline) {
    bool was_ready = false;

    while (!rest.empty()) {
        const ssize_t written = outlet.write_at_once(rest.data(), rest.size());

        if (written > 0) {
            rest.remove_prefix(static_cast<size_t>(written));
            was_ready = false;
        } else if (written < 0 && errno == EAGAIN) {
            const NUV_INT64 left = deadline - osapi::read_monotonic_clock();

            if (left <= 0) {
                return Outcome::DROPPED;
            }
            if (was_ready) { // and yet took nothing, as when another process is writing to it
                (void)poll(nullptr, 0, 1);
            }
            was_ready = is_ready(static_cast<int>((left + MILLISECOND - 1) / MILLISECOND));
        } else if (written == 0 || errno != EINTR) {
            return Outcome::FAILED; // there is nobody left to tell
        }
    }
    return Outcome::WHOLE;
}

/** One for the process; never destroyed, since a message may come until its very end. */
constinit Stderr output;
static_assert(std::is_trivially_destructible_v<Stderr>);

} // namespace

void kols::renew_stderr_lock() {
    output.renew_lock();
}

void KOLS_Config_Logger_write_record(const KOLS_Config_LogRecord *record) {
    const kols::KeptErrno kept_errno;

    if (KOLSLog_isNull(record)) {
        return;
    }
    Line line;
    output.write_line(line.of(*record));
}

void KOLS_Config_Logger_write_text(const char *text) {
    const kols::KeptErrno kept_errno;

    if (KOLSLog_isNull(text)) {
        return;
    }
    Line line;
    output.write_line(line.of(text));
}
