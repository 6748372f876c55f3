#include "support/socket_watch.h"

#include <atomic>
#include <filesystem>

#include <sys/socket.h>
#include <unistd.h>

extern "C" {
int __real_socket(int domain, int type, int protocol);
int __real_bind(int socket, const sockaddr *address, socklen_t length);
int __real_setsockopt(int socket, int level, int name, const void *value, socklen_t length);
int __real_close(int descriptor);
int __wrap_socket(int domain, int type, int protocol);
int __wrap_bind(int socket, const sockaddr *address, socklen_t length);
int __wrap_setsockopt(int socket, int level, int name, const void *value, socklen_t length);
int __wrap_close(int descriptor);
}

namespace {

constinit std::atomic<long> opened{0};
constinit std::atomic<long> bound{0};
constinit std::atomic<long> configured{0};
constinit std::atomic<long> closed{0};

support::SocketCalls countedCalls() {
    return {{"socket", opened}, {"bind", bound}, {"setsockopt", configured}, {"close", closed}};
}

} // namespace

int __wrap_socket(int domain, int type, int protocol) {
    ++opened;
    return __real_socket(domain, type, protocol);
}

int __wrap_bind(int socket, const sockaddr *address, socklen_t length) {
    ++bound;
    return __real_bind(socket, address, length);
}

int __wrap_setsockopt(int socket, int level, int name, const void *value, socklen_t length) {
    ++configured;
    return __real_setsockopt(socket, level, name, value, length);
}

int __wrap_close(int descriptor) {
    ++closed;
    return __real_close(descriptor);
}

namespace support {

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
