// What the layer asks of the system, made to fail.
#include "faults.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include <pthread.h>
#include <sys/stat.h>

namespace faults {

Faults &current() {
    thread_local constinit Faults faults;
    return faults;
}

} // namespace faults

using faults::current;

extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void __real_free(void *pointer);
ssize_t __real_getrandom(void *buffer, size_t size, unsigned flags);
int __real_open(const char *path, int flags, ...);
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*function)(void *), void *param);
int __real_stat(const char *path, struct stat *out);

void *__wrap_malloc(size_t size) {
    if (current().malloc_fails) {
        return nullptr;
    }
    void *pointer = __real_malloc(size);
    if (current().fill_malloc && pointer != nullptr) {
        std::memset(pointer, 0xA5, size);
    }
    return pointer;
}

void *__wrap_calloc(size_t count, size_t size) {
    return current().calloc_fails ? nullptr : __real_calloc(count, size);
}

void __wrap_free(void *pointer) {
    faults::Faults &faults = current();
    const auto *start = static_cast<const std::byte *>(pointer);
    if (faults.seen_at_free != nullptr && start <= faults.watched &&
        faults.watched <= start + faults::Faults::NEAR) {
        std::memcpy(faults.seen_at_free->data(), faults.watched, faults.watched_size);
    }
    __real_free(pointer);
}

ssize_t __wrap_getrandom(void *buffer, size_t size, unsigned flags) {
    if (current().getrandom_fails) {
        errno = EAGAIN;
        return -1;
    }
    return __real_getrandom(buffer, size, flags);
}

int __wrap_open(const char *path, int flags, ...) {
    const char *missing_file = current().missing_file;
    if (current().open_fails || (missing_file != nullptr && std::strcmp(path, missing_file) == 0)) {
        errno = ENOENT;
        return -1;
    }
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return __real_open(path, flags, mode);
}

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*function)(void *), void *param) {
    return current().pthread_create_fails
               ? EAGAIN
               : __real_pthread_create(thread, attributes, function, param);
}

int __wrap_stat(const char *path, struct stat *out) {
    if (current().stat_fails) {
        errno = ENOENT;
        return -1;
    }
    const int result = __real_stat(path, out);
    if (result == 0 && current().inode != 0) {
        out->st_ino = current().inode;
    }
    return result;
}
}
