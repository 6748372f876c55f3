// The system calls that the log makes, diverted.
#include "system_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>

#include <fcntl.h>
#include <unistd.h>

#include "osapi/osapi_heap.h"

namespace {

/** By itself, since counting must not allocate. */
thread_local int allocation_count = 0;

} // namespace

namespace system_calls {

State &current() {
    thread_local State state;
    state.allocations = allocation_count;
    return state;
}

} // namespace system_calls

extern "C" {

void *__real_malloc(size_t size);
ssize_t __real_write(int descriptor, const void *data, size_t size);
int __real_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 NUV_UINT32 tag, const char *type);

void *__wrap_malloc(size_t size) {
    ++allocation_count;
    return __real_malloc(size);
}

int __wrap_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 NUV_UINT32 tag, const char *type) {
    ++allocation_count;
    return __real_NUVOsapiHeap_reallocateMemoryInternal(pointer, size, alignment, keepContents,
                                                        clear, allocator, tag, type);
}

int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...) {
    if (system_calls::opens_fail) {
        errno = EMFILE;
        return -1;
    }
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return __real_open(path, flags, mode);
}

ssize_t __wrap_write(int descriptor, const void *data, size_t size) {
    system_calls::State &state = system_calls::current();
    if (descriptor != STDERR_FILENO || !state.writes_are_taken) {
        return __real_write(descriptor, data, size);
    }
    system_calls::State::Write next = {0, size};
    if (!state.next_writes.empty()) {
        next = state.next_writes.front();
        state.next_writes.erase(state.next_writes.begin());
    }
    if (next.error != 0) {
        state.written.emplace_back();
        errno = next.error;
        return -1;
    }
    const size_t taken = std::min(next.most, size);
    state.written.emplace_back(static_cast<const char *>(data), taken);
    return static_cast<ssize_t>(taken);
}
}
