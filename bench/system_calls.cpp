#include "system_calls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <system_error>

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

/* No such files are open: to close them does nothing, but the tracer sees it. */
constexpr int FIRST_MARK = 1000001;
constexpr int LAST_MARK = 1000002;
constexpr int KEEP_MARK = 1000003;

constexpr int WORK_FAILED = 1;
constexpr int TRACING_FORBIDDEN = 2;

bool is_on_sockets(long call) {
    constexpr std::array CALLS = {SYS_socket,      SYS_socketpair,  SYS_bind,       SYS_connect,
                                  SYS_getsockname, SYS_getpeername, SYS_setsockopt, SYS_getsockopt,
                                  SYS_sendto,      SYS_recvfrom,    SYS_sendmsg,    SYS_recvmsg,
                                  SYS_sendmmsg,    SYS_recvmmsg,    SYS_read,       SYS_write,
                                  SYS_shutdown,    SYS_ioctl,       SYS_fcntl,      SYS_close,
                                  SYS_epoll_ctl};

    return std::find(CALLS.begin(), CALLS.end(), call) != CALLS.end();
}

[[noreturn]] void work_traced(const std::function<void()> &work) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
        _exit(TRACING_FORBIDDEN);
    }
    (void)raise(SIGSTOP); /* until the tracer is ready */
    try {
        work();
        _exit(0);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        _exit(WORK_FAILED);
    }
}

/** Counts what lies between the marks. */
class Counter {
public:
    void enter(long call, long argument) {
        if (call == SYS_close && argument == FIRST_MARK) {
            is_counting_ = true;
            last_ = {0, 0};
        } else if (call == SYS_close && argument == LAST_MARK) {
            is_counting_ = false;
        } else if (call == SYS_close && argument == KEEP_MARK) {
            sum_.all += last_.all;
            sum_.on_sockets += last_.on_sockets;
            ++kept_;
        } else if (is_counting_) {
            last_.all += 1;
            last_.on_sockets += is_on_sockets(call) ? 1 : 0;
        }
    }
    SystemCalls mean() const {
        return {sum_.all / kept_, sum_.on_sockets / kept_};
    }

private:
    SystemCalls sum_ = {0, 0};
    SystemCalls last_ = {0, 0};
    int kept_ = 0;
    bool is_counting_ = false;
};

/** A thread stops twice for each call; this tells the first of the two. */
void take_stop(pid_t child, Counter &counter) {
    __ptrace_syscall_info info = {};

    if (ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof(info), &info) < 0) {
        throw std::system_error(errno, std::generic_category(), "ptrace");
    }
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
        counter.enter(static_cast<long>(info.entry.nr), static_cast<long>(info.entry.args[0]));
    }
}

int wait_for(pid_t child) {
    int status = 0;

    while (waitpid(child, &status, 0) != child) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "waitpid");
        }
    }
    return status;
}

/** How the child ended, after its calls have gone to @p counter. */
int trace(pid_t child, Counter &counter) {
    constexpr int SYSTEM_CALL_STOP = SIGTRAP | 0x80; /* with PTRACE_O_TRACESYSGOOD */
    int status = wait_for(child);

    if (WIFSTOPPED(status)) { /* the child's own SIGSTOP */
        (void)ptrace(PTRACE_SETOPTIONS, child, nullptr,
                     static_cast<long>(PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL));
        (void)ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        status = wait_for(child);
    }
    while (WIFSTOPPED(status)) {
        const bool is_call = WSTOPSIG(status) == SYSTEM_CALL_STOP;

        if (is_call) {
            take_stop(child, counter);
        }
        (void)ptrace(PTRACE_SYSCALL, child, nullptr,
                     is_call ? 0L : static_cast<long>(WSTOPSIG(status)));
        status = wait_for(child);
    }
    return status;
}

} // namespace

void begin_counting() {
    (void)close(FIRST_MARK);
}

void end_counting() {
    (void)close(LAST_MARK);
}

void keep_count() {
    (void)close(KEEP_MARK);
}

std::optional<SystemCalls> count_system_calls(const std::function<void()> &work) {
    const pid_t child = fork();
    Counter counter;

    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        work_traced(work);
    }
    const int status = trace(child, counter);

    if (WIFEXITED(status) && WEXITSTATUS(status) == TRACING_FORBIDDEN) {
        return std::nullopt;
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("a child process could not count its system calls");
    }
    return counter.mean();
}

} // namespace bench
