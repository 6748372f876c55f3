// SPDX-License-Identifier: Apache-2.0
// The wrapped functions of the C library. They are called by every thread, in forked children and
// in signal handlers.
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "support/call_site.h"

using support::Failing;

WRAP_SYSTEM(void *, malloc, (size_t size), size)
WRAP_SYSTEM(void *, calloc, (size_t count, size_t size), count, size)
WRAP_SYSTEM(void, free, (void *pointer), pointer)

WRAP_SYSTEM(int, pthread_create,
            (pthread_t * thread, const pthread_attr_t *attributes, void *(*function)(void *),
             void *param),
            thread, attributes, function, param)

WRAP_SYSTEM(ssize_t, read, (int descriptor, void *buffer, size_t size), descriptor, buffer, size)
WRAP_SYSTEM(ssize_t, write, (int descriptor, const void *data, size_t size), descriptor, data, size)
WRAP_SYSTEM(int, close, (int descriptor), descriptor)
WRAP_SYSTEM(int, stat, (const char *path, struct stat *out), path, out)
WRAP_SYSTEM(ssize_t, getrandom, (void *buffer, size_t size, unsigned flags), buffer, size, flags)

WRAP_SYSTEM(int, socket, (int domain, int type, int protocol), domain, type, protocol)
WRAP_SYSTEM(int, bind, (int descriptor, const sockaddr *address, socklen_t length), descriptor,
            address, length)
WRAP_SYSTEM(int, setsockopt,
            (int descriptor, int level, int option, const void *value, socklen_t length),
            descriptor, level, option, value, length)
WRAP_SYSTEM(ssize_t, recv, (int descriptor, void *buffer, size_t size, int flags), descriptor,
            buffer, size, flags)
WRAP_SYSTEM(ssize_t, recvmsg, (int descriptor, msghdr *message, int flags), descriptor, message,
            flags)

WRAP_SYSTEM(int, poll, (pollfd * descriptors, nfds_t number, int timeout), descriptors, number,
            timeout)
WRAP_SYSTEM(int, epoll_create1, (int flags), flags)
WRAP_SYSTEM(int, epoll_ctl, (int descriptor, int operation, int other, epoll_event *event),
            descriptor, operation, other, event)
WRAP_SYSTEM(int, epoll_wait, (int descriptor, epoll_event *events, int maximum, int timeout),
            descriptor, events, maximum, timeout)
WRAP_SYSTEM(int, eventfd, (unsigned count, int flags), count, flags)
WRAP_SYSTEM(int, signalfd, (int descriptor, const sigset_t *signals, int flags), descriptor,
            signals, flags)
WRAP_SYSTEM(int, timerfd_create, (int clock, int flags), clock, flags)

// std::chrono::steady_clock::now, by which the C++ library sets the end of a wait; in nanoseconds
WRAP_SYSTEM(std::int64_t, _ZNSt6chrono3_V212steady_clock3nowEv, (void))

WRAP_SYSTEM(int, getifaddrs, (ifaddrs * *out), out)
WRAP_SYSTEM(void, freeifaddrs, (ifaddrs * list), list)

// ---- those of which one is more than one

extern "C" {
int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...);
int __real_getaddrinfo(const char *node, const char *service, const addrinfo *hints,
                       addrinfo **out);
int __wrap_getaddrinfo(const char *node, const char *service, const addrinfo *hints,
                       addrinfo **out);
ssize_t __real_sendmsg(int descriptor, const msghdr *message, int flags);
ssize_t __wrap_sendmsg(int descriptor, const msghdr *message, int flags);
}

namespace {

template <typename Signature>
using Site = support::Site<Signature, support::Kind::SYSTEM>;

using Open = int(const char *path, int flags, mode_t mode);
using Resolve = int(const char *node, const char *service, const addrinfo *hints, addrinfo **out);
using Send = ssize_t(int descriptor, const msghdr *message, int flags);

constinit Site<Open> site_open("open", Failing::BY_NAME);
constinit Site<Resolve> site_resolve("getaddrinfo", Failing::BY_NAME);
constinit Site<Send> site_send("sendmsg", Failing::BY_NAME);
constinit Site<Send> site_try("sendmsg without waiting", Failing::BY_NAME);
const faults::Registration registrations[] = {
    faults::Registration(site_open), faults::Registration(site_resolve),
    faults::Registration(site_send), faults::Registration(site_try)};

/** No test asks a name server: of all names that are no addresses it knows one. */
int resolve_here(const char *node, const char *service, const addrinfo *hints, addrinfo **out) {
    in6_addr address;
    const bool is_known = node == nullptr || std::strcmp(node, "localhost") == 0 ||
                          inet_pton(AF_INET, node, &address) == 1 ||
                          inet_pton(AF_INET6, node, &address) == 1;
    return is_known ? __real_getaddrinfo(node, service, hints, out) : EAI_NONAME;
}

} // namespace

int __wrap_getaddrinfo(const char *node, const char *service, const addrinfo *hints,
                       addrinfo **out) {
    return site_resolve.call(resolve_here, "node, service, hints, out", node, service, hints, out);
}

int __wrap_open(const char *path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t); // which nobody looks at where none is given
    va_end(rest);
    return site_open.call(__real_open, "path, flags, mode", path, flags, mode);
}

ssize_t __wrap_sendmsg(int descriptor, const msghdr *message, int flags) {
    Site<Send> &site = (flags & MSG_DONTWAIT) != 0 ? site_try : site_send;
    return site.call(__real_sendmsg, "descriptor, message, flags", descriptor, message, flags);
}
