// SPDX-License-Identifier: Apache-2.0
#include "child.h"

#include <cerrno>
#include <system_error>

#include <sys/prctl.h>
#include <sys/wait.h>

namespace bench {

Child::Child() {
    int ends[2];

    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    File of_parent(ends[0]);
    File of_child(ends[1]);

    id_ = fork();
    if (id_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (id_ == 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    }
    channel_ = Channel(std::move(id_ == 0 ? of_child : of_parent));
}

Child::~Child() {
    if (id_ > 0) {
        (void)kill(id_, SIGKILL);
        (void)waitpid(id_, nullptr, 0);
    }
}

} // namespace bench
