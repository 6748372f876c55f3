// SPDX-License-Identifier: Apache-2.0
#include "system_calls.h"

#include <csignal>
#include <optional>
#include <stdexcept>

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

/* No such files are open: to close them does nothing, but is seen. */
constexpr int FIRST_MARK = 1'000'001;
constexpr int LAST_MARK = 1'000'002;

constexpr int SYSTEM_CALL_STOP = SIGTRAP | 0x80; /* with PTRACE_O_TRACESYSGOOD */

/** The mark that a system call is; 0 when it is another one, nothing when it has ended. */
std::optional<long> mark_of(pid_t thread) {
    __ptrace_syscall_info info = {};

    if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof(info), &info) <= 0 ||
        info.op != PTRACE_SYSCALL_INFO_ENTRY) {
        return std::nullopt;
    }
    return info.entry.nr == SYS_close ? static_cast<long>(info.entry.args[0]) : 0;
}

/** Lets the threads of a process run on from system call to system call, until it ends. */
std::uint64_t trace(pid_t process) {
    std::uint64_t count = 0;
    bool counts = false;
    int status = 0;

    for (pid_t thread = 0; (thread = waitpid(-1, &status, __WALL)) > 0;) {
        if (!WIFSTOPPED(status)) {
            continue;
        }
        if (WSTOPSIG(status) == SYSTEM_CALL_STOP) {
            const std::optional<long> mark = mark_of(thread);

            if (thread != process) {
                count += mark && counts ? 1 : 0;
            } else if (mark == FIRST_MARK || mark == LAST_MARK) {
                counts = mark == FIRST_MARK;
            }
        }
        (void)ptrace(PTRACE_SYSCALL, thread, nullptr, nullptr);
    }
    return count;
}

} // namespace

std::uint64_t count_system_calls(const std::function<void()> &prepare,
                                 const std::function<void()> &perform) {
    const pid_t process = fork();

    if (process < 0) {
        throw std::runtime_error("no process can be started");
    }
    if (process == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            _exit(1);
        }
        (void)raise(SIGSTOP);
        prepare();
        (void)close(FIRST_MARK);
        perform();
        (void)close(LAST_MARK);
        _exit(0);
    }
    int status = 0;

    (void)waitpid(process, &status, 0);
    if (!WIFSTOPPED(status) ||
        ptrace(PTRACE_SETOPTIONS, process, nullptr,
               PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL) != 0) {
        throw std::runtime_error("processes cannot be traced here");
    }
    (void)ptrace(PTRACE_SYSCALL, process, nullptr, nullptr);
    return trace(process);
}

} // namespace bench
