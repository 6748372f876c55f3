// SPDX-License-Identifier: Apache-2.0
#include "support/socket_watch.h"

#include <filesystem>

#include "support/faults.h"

namespace support {

namespace {

SocketCalls countedCalls() {
    SocketCalls counted;
    for (const char *function : {"socket", "bind", "setsockopt", "close"}) {
        counted[function] = faults::count(function);
    }
    return counted;
}

} // namespace

SocketWatch::SocketWatch() : before_(countedCalls()) {}

SocketCalls SocketWatch::calls() const {
    SocketCalls since = countedCalls();
    for (const auto &[name, calls] : before_) {
        since[name] -= calls;
    }
    std::erase_if(since, [](const auto &entry) { return entry.second == 0; });
    return since;
}

std::set<std::string> openSockets() {
    std::set<std::string> sockets;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error; // of the directory itself, which is closed by now
        const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
        if (target.starts_with("socket:")) {
            sockets.insert(target);
        }
    }
    return sockets;
}

} // namespace support
