// Each measurement has a child process of its own, so that nothing that ran before has left memory
// behind, and so that a trap for system calls stays there.
#include "ahead.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bare_sockets.h"
#include "participants.h"
#include "process.h"

namespace bench {
namespace {

std::map<int, Standing> standing;
int socket_calls;

/** What a function returns that runs in a child process. */
template <typename Result>
Result in_child(Result (*function)(int), int argument) {
    int ends[2];

    if (pipe(ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const File from_child(ends[0]);
    File to_parent(ends[1]);
    const pid_t child = fork();

    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        try {
            const Result result = function(argument);

            _exit(write(to_parent.get(), &result, sizeof(result)) == sizeof(result) ? 0 : 1);
        } catch (const std::exception &error) {
            std::fprintf(stderr, "%s\n", error.what());
            _exit(1);
        }
    }
    to_parent = File(-1);

    Result result = {};
    const bool complete = read(from_child.get(), &result, sizeof(result)) == sizeof(result);

    (void)waitpid(child, nullptr, 0);
    if (!complete) {
        throw std::runtime_error("a child process could not measure");
    }
    return result;
}

Standing measure_standing(int count) {
    std::vector<Participant> participants;

    participants.reserve(static_cast<std::size_t>(count));
    (void)resident_bytes(); /* what the measurement itself needs is there now */
    participants.emplace_back(DOMAIN);

    const double resident_one = resident_bytes();
    const double heap_one = heap_bytes();

    while (participants.size() < static_cast<std::size_t>(count)) {
        participants.emplace_back(DOMAIN);
    }
    const double further = std::max(count - 1, 1);

    return {thread_count(), (resident_bytes() - resident_one) / further,
            (heap_bytes() - heap_one) / further};
}

volatile std::sig_atomic_t trapped_calls;

/** Has each system call on sockets by this thread counted instead of made. */
void trap_socket_calls() {
    constexpr std::array CALLS = {SYS_socket,      SYS_socketpair, SYS_bind,       SYS_connect,
                                  SYS_getsockname, SYS_setsockopt, SYS_getsockopt, SYS_sendto,
                                  SYS_recvfrom,    SYS_sendmsg,    SYS_recvmsg,    SYS_sendmmsg,
                                  SYS_recvmmsg,    SYS_shutdown,   SYS_ioctl,      SYS_close,
                                  SYS_epoll_ctl,   SYS_getpeername};
    std::vector<sock_filter> filter = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};

    for (const long call : CALLS) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<__u32>(call), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));

    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};

    std::signal(SIGSYS, [](int) { trapped_calls = trapped_calls + 1; });
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        throw std::system_error(errno, std::generic_category(), "seccomp");
    }
}

int count_socket_calls(int updates) {
    /* Never deleted: it could not close its sockets any more. The end of the process does. */
    const auto *participant = new Participant(DOMAIN);

    trap_socket_calls();
    for (int i = 0; i < updates; ++i) {
        participant->update_locators();
    }
    return trapped_calls;
}

} // namespace

void measure_ahead() {
    for (const int count : {1, 10, 100, MANY}) {
        standing.emplace(count, in_child(measure_standing, count));
    }
    socket_calls = in_child(count_socket_calls, LOCATOR_UPDATES);
}

const Standing &standing_costs(int count) {
    return standing.at(count);
}

int socket_calls_of_updates() {
    return socket_calls;
}

} // namespace bench
