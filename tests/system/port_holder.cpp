// SPDX-License-Identifier: Apache-2.0
#include "port_holder.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const std::string NEW = "new";

std::string network_file(pid_t process) {
    return "/proc/" + std::to_string(process) + "/ns/net";
}

bool enter(const std::string &network) {
    if (network.empty()) {
        return true;
    }
    return network == NEW ? unshare(CLONE_NEWNET) == 0
                          : setns(open(network.c_str(), O_RDONLY | O_CLOEXEC), CLONE_NEWNET) == 0;
}

bool take(std::uint16_t port) {
    sockaddr_in address = {};

    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    return bind(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0),
                reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

[[noreturn]] void hold(const std::string &name, const std::vector<std::uint16_t> &ports,
                       const std::string &network, int ready) {
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    (void)prctl(PR_SET_NAME, name.c_str());
    errno = 0;
    if (enter(network)) {
        for (const std::uint16_t port : ports) {
            if (!take(port)) {
                break;
            }
        }
    }
    const int error = errno;

    (void)!write(ready, &error, sizeof error);
    for (;;) {
        (void)pause();
    }
}

} // namespace

PortHolder::PortHolder(const std::string &name, const std::vector<std::uint16_t> &ports)
    : PortHolder(name, ports, "") {}

PortHolder::PortHolder(const std::string &name, const std::vector<std::uint16_t> &ports,
                       const std::string &network)
    : id_(-1) {
    int ends[2] = {-1, -1};
    int error = ECHILD; // where it ends without a word

    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    id_ = fork();
    if (id_ == 0) {
        hold(name, ports, network, ends[1]);
    }
    (void)close(ends[1]);
    (void)!read(ends[0], &error, sizeof error);
    (void)close(ends[0]);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot hold ports");
    }
}

PortHolder::~PortHolder() {
    if (id_ > 0) {
        (void)kill(id_, SIGKILL);
        (void)waitpid(id_, nullptr, 0);
    }
}

PortHolder::PortHolder(PortHolder &&other) noexcept : id_(std::exchange(other.id_, -1)) {}

PortHolder PortHolder::in_new_network(const std::string &name,
                                      const std::vector<std::uint16_t> &ports) {
    return {name, ports, NEW};
}

PortHolder PortHolder::beside(const PortHolder &other, const std::string &name,
                              const std::vector<std::uint16_t> &ports) {
    return {name, ports, network_file(other.id())};
}

std::string PortHolder::network() const {
    return std::filesystem::read_symlink(network_file(id_)).string();
}
