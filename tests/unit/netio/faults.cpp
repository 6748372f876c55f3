#include "faults.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include <ifaddrs.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/timerfd.h>

#include "osapi/osapi_thread.h"

namespace faults {

namespace {

std::mutex mutex; // guards the next two

/** A child that a test forks finds it free, whichever thread was counting a call just then. */
[[maybe_unused]] const int watched_forks =
    pthread_atfork([] { mutex.lock(); }, [] { mutex.unlock(); }, [] { mutex.unlock(); });

std::map<std::string, int, std::less<>> counts;
struct {
    std::string function;
    int left = 0;
    int error = 0;
    bool every = false;
} planned;

std::atomic<bool> has_happened{false};
thread_local int allocations_left = 0;
thread_local int allocations_seen = 0;
thread_local int calls_left = 0;
thread_local int calls_error = 0;
thread_local bool pretends_event = false;

bool take_one_of_thread() {
    if (calls_left == 0 || --calls_left != 0) {
        return false;
    }
    errno = calls_error;
    return true;
}

bool take_planned(std::string_view function) {
    const std::lock_guard lock(mutex);
    ++counts[std::string(function)];
    if (planned.function != function ||
        (!planned.every && (planned.left == 0 || --planned.left != 0))) {
        return false;
    }
    errno = planned.error;
    return true;
}

bool fails(std::string_view function) {
    if (take_planned(function) || take_one_of_thread()) {
        has_happened = true;
        return true;
    }
    return false;
}

} // namespace

void fail_allocation(int nth) {
    has_happened = false;
    allocations_left = nth;
}

void fail_call(std::string_view function, int nth, int error) {
    const std::lock_guard lock(mutex);
    has_happened = false;
    planned = {std::string(function), nth, error, false};
}

void fail_every_call(std::string_view function, int error) {
    const std::lock_guard lock(mutex);
    has_happened = false;
    planned = {std::string(function), 0, error, true};
}

void fail_any_call(int nth, int error) {
    has_happened = false;
    calls_left = nth;
    calls_error = error;
}

void pretend_event() {
    pretends_event = true;
}

bool happened() {
    return has_happened;
}

int count(std::string_view function) {
    const std::lock_guard lock(mutex);
    const auto found = counts.find(function);
    return found != counts.end() ? found->second : 0;
}

int allocations() {
    return allocations_seen;
}

void clear() {
    const std::lock_guard lock(mutex);
    counts.clear();
    planned = {};
    has_happened = false;
    allocations_left = 0;
    allocations_seen = 0;
    calls_left = 0;
    pretends_event = false;
}

namespace {

bool allocation_fails() {
    ++allocations_seen;
    if (allocations_left == 0 || --allocations_left != 0) {
        return false;
    }
    has_happened = true;
    return true;
}

} // namespace

} // namespace faults

extern "C" {

int __real_bind(int descriptor, const sockaddr *address, socklen_t length);
int __wrap_bind(int descriptor, const sockaddr *address, socklen_t length);
int __wrap_bind(int descriptor, const sockaddr *address, socklen_t length) {
    return faults::fails("bind") ? -1 : __real_bind(descriptor, address, length);
}

int __real_epoll_create1(int flags);
int __wrap_epoll_create1(int flags);
int __wrap_epoll_create1(int flags) {
    return faults::fails("epoll_create1") ? -1 : __real_epoll_create1(flags);
}

int __real_epoll_ctl(int descriptor, int operation, int other, epoll_event *event);
int __wrap_epoll_ctl(int descriptor, int operation, int other, epoll_event *event);
int __wrap_epoll_ctl(int descriptor, int operation, int other, epoll_event *event) {
    return faults::fails("epoll_ctl") ? -1 : __real_epoll_ctl(descriptor, operation, other, event);
}

int __real_epoll_wait(int descriptor, epoll_event *events, int maximum, int timeout);
int __wrap_epoll_wait(int descriptor, epoll_event *events, int maximum, int timeout);
int __wrap_epoll_wait(int descriptor, epoll_event *events, int maximum, int timeout) {
    return faults::fails("epoll_wait") ? -1
                                       : __real_epoll_wait(descriptor, events, maximum, timeout);
}

int __real_eventfd(unsigned count, int flags);
int __wrap_eventfd(unsigned count, int flags);
int __wrap_eventfd(unsigned count, int flags) {
    return faults::fails("eventfd") ? -1 : __real_eventfd(count, flags);
}

int __real_getifaddrs(ifaddrs **out);
int __wrap_getifaddrs(ifaddrs **out);
int __wrap_getifaddrs(ifaddrs **out) {
    return faults::fails("getifaddrs") ? -1 : __real_getifaddrs(out);
}

int __real_poll(pollfd *descriptors, nfds_t number, int timeout);
int __wrap_poll(pollfd *descriptors, nfds_t number, int timeout);
int __wrap_poll(pollfd *descriptors, nfds_t number, int timeout) {
    if (std::exchange(faults::pretends_event, false)) {
        descriptors[0].revents = POLLIN;
        return 1;
    }
    return faults::fails("poll") ? -1 : __real_poll(descriptors, number, timeout);
}

ssize_t __real_read(int descriptor, void *buffer, size_t size);
ssize_t __wrap_read(int descriptor, void *buffer, size_t size);
ssize_t __wrap_read(int descriptor, void *buffer, size_t size) {
    return faults::fails("read") ? -1 : __real_read(descriptor, buffer, size);
}

ssize_t __real_recv(int descriptor, void *buffer, size_t size, int flags);
ssize_t __wrap_recv(int descriptor, void *buffer, size_t size, int flags);
ssize_t __wrap_recv(int descriptor, void *buffer, size_t size, int flags) {
    return faults::fails("recv") ? -1 : __real_recv(descriptor, buffer, size, flags);
}

ssize_t __real_recvmsg(int descriptor, msghdr *message, int flags);
ssize_t __wrap_recvmsg(int descriptor, msghdr *message, int flags);
ssize_t __wrap_recvmsg(int descriptor, msghdr *message, int flags) {
    return faults::fails("recvmsg") ? -1 : __real_recvmsg(descriptor, message, flags);
}

ssize_t __real_sendmsg(int descriptor, const msghdr *message, int flags);
ssize_t __wrap_sendmsg(int descriptor, const msghdr *message, int flags);
ssize_t __wrap_sendmsg(int descriptor, const msghdr *message, int flags) {
    const char *name = (flags & MSG_DONTWAIT) != 0 ? "sendmsg without waiting" : "sendmsg";
    return faults::fails(name) ? -1 : __real_sendmsg(descriptor, message, flags);
}

int __real_setsockopt(int descriptor, int level, int option, const void *value, socklen_t length);
int __wrap_setsockopt(int descriptor, int level, int option, const void *value, socklen_t length);
int __wrap_setsockopt(int descriptor, int level, int option, const void *value, socklen_t length) {
    return faults::fails("setsockopt")
               ? -1
               : __real_setsockopt(descriptor, level, option, value, length);
}

int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol) {
    return faults::fails("socket") ? -1 : __real_socket(domain, type, protocol);
}

int __real_timerfd_create(int clock, int flags);
int __wrap_timerfd_create(int clock, int flags);
int __wrap_timerfd_create(int clock, int flags) {
    return faults::fails("timerfd_create") ? -1 : __real_timerfd_create(clock, flags);
}

ssize_t __real_write(int descriptor, const void *buffer, size_t size);
ssize_t __wrap_write(int descriptor, const void *buffer, size_t size);
ssize_t __wrap_write(int descriptor, const void *buffer, size_t size) {
    return faults::fails("write") ? -1 : __real_write(descriptor, buffer, size);
}

NUVOsapiThread *__real_NUVOsapiThreadFactory_createThread(NUVOsapiThreadFactory *self,
                                                          const char *name,
                                                          NUVOsapiThreadFunction function,
                                                          void *param);
NUVOsapiThread *__wrap_NUVOsapiThreadFactory_createThread(NUVOsapiThreadFactory *self,
                                                          const char *name,
                                                          NUVOsapiThreadFunction function,
                                                          void *param);
NUVOsapiThread *__wrap_NUVOsapiThreadFactory_createThread(NUVOsapiThreadFactory *self,
                                                          const char *name,
                                                          NUVOsapiThreadFunction function,
                                                          void *param) {
    return faults::fails("NUVOsapiThreadFactory_createThread")
               ? nullptr
               : __real_NUVOsapiThreadFactory_createThread(self, name, function, param);
}

int __real_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 uint32_t tag, const char *type);
int __wrap_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 uint32_t tag, const char *type);
int __wrap_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 uint32_t tag, const char *type) {
    // A size that no block has fails as the heap itself fails.
    return __real_NUVOsapiHeap_reallocateMemoryInternal(
        pointer, faults::allocation_fails() ? SIZE_MAX : size, alignment, keepContents, clear,
        allocator, tag, type);
}
}
