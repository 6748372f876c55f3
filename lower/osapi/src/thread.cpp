// SPDX-License-Identifier: Apache-2.0
// Threads over pthreads.
#include "osapi/osapi_thread.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include <pthread.h>
#include <signal.h>
#include <string.h> // strnlen

#include "osapi/osapi_heap.h"

/** The longest name that the kernel shows, and the terminator. */
constexpr std::size_t THREAD_NAME_SIZE = 16;

struct NUVOsapiThreadFactory {
    NUVOsapiThreadFactoryProperty property;
};

struct NUVOsapiThread {
    pthread_t handle;
    NUVOsapiThreadFunction function;
    void *param;
    std::array<char, THREAD_NAME_SIZE> name;
};

namespace {

/** Attributes of a thread to be created. */
class Attributes {
public:
    Attributes() {
        pthread_attr_init(&attributes_);
    }
    ~Attributes() {
        pthread_attr_destroy(&attributes_);
    }
    Attributes(const Attributes &) = delete;
    Attributes &operator=(const Attributes &) = delete;

    void set_stack_size(std::size_t size) {
        const auto smallest = static_cast<std::size_t>(PTHREAD_STACK_MIN);
        pthread_attr_setstacksize(&attributes_, std::max(size, smallest));
    }

    const pthread_attr_t *get() const {
        return &attributes_;
    }

private:
    pthread_attr_t attributes_{};
};

/** Blocks every signal in the calling thread, and so in the threads that it creates meanwhile. */
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &former_);
    }
    ~BlockedSignals() {
        pthread_sigmask(SIG_SETMASK, &former_, nullptr);
    }
    BlockedSignals(const BlockedSignals &) = delete;
    BlockedSignals &operator=(const BlockedSignals &) = delete;

private:
    sigset_t former_{};
};

std::array<char, THREAD_NAME_SIZE> join_name(const char *prefix, const char *name) {
    std::array<char, THREAD_NAME_SIZE> joined{};
    const std::size_t prefix_length = strnlen(prefix, THREAD_NAME_SIZE - 1);
    const std::size_t name_length = strnlen(name, THREAD_NAME_SIZE - 1 - prefix_length);
    std::memcpy(joined.data(), prefix, prefix_length);
    std::memcpy(joined.data() + prefix_length, name, name_length);
    return joined;
}

void *run(void *param) {
    const auto *thread = static_cast<const NUVOsapiThread *>(param);
    if (thread->name[0] != '\0') {
        pthread_setname_np(pthread_self(), thread->name.data());
    }
    thread->function(thread->param);
    return nullptr;
}

/** Returns 0 or an error number. */
int start(NUVOsapiThread *thread, std::size_t stack_size) {
    Attributes attributes;
    if (stack_size != 0) {
        attributes.set_stack_size(stack_size);
    }
    const BlockedSignals blocked;
    return pthread_create(&thread->handle, attributes.get(), run, thread);
}

} // namespace

NUVOsapiThreadFactory *NUVOsapiThreadFactory_new(const NUVOsapiThreadFactoryProperty *property) {
    NUVOsapiThreadFactory *self = nullptr;
    NUVOsapiHeap_allocateStructure(&self, struct NUVOsapiThreadFactory);
    if (self == nullptr) {
        return nullptr;
    }
    new (self) NUVOsapiThreadFactory{NUV_OSAPI_THREAD_FACTORY_PROPERTY_DEFAULT};
    if (property != nullptr) {
        self->property = *property;
    }
    return self;
}

void NUVOsapiThreadFactory_delete(NUVOsapiThreadFactory *self) {
    NUVOsapiHeap_freeStructure(self);
}

NUVOsapiThread *NUVOsapiThreadFactory_createThread(NUVOsapiThreadFactory *self, const char *name,
                                                   NUVOsapiThreadFunction function, void *param) {
    NUVOsapiThread *thread = nullptr;
    NUVOsapiHeap_allocateStructure(&thread, struct NUVOsapiThread);
    if (thread == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    new (thread) NUVOsapiThread{
        {}, function, param, join_name(self->property.namePrefix, name != nullptr ? name : "")};
    const int error = start(thread, self->property.stackSize);
    if (error != 0) {
        NUVOsapiHeap_freeStructure(thread);
        errno = error;
        return nullptr;
    }
    return thread;
}

void NUVOsapiThread_join(NUVOsapiThread *self) {
    if (self == nullptr) {
        return;
    }
    pthread_join(self->handle, nullptr);
    NUVOsapiHeap_freeStructure(self);
}

int NUVOsapiThread_isSelf(const NUVOsapiThread *self) {
    return static_cast<int>(pthread_equal(self->handle, pthread_self()) != 0);
}

void NUVOsapiThread_sleep(const NUVNtpTime *duration) {
    constexpr NUV_INT64 NANOSECONDS_PER_SECOND = 1'000'000'000;
    // Rounded up, so that no sleep is too short. The infinite duration, 68 years, needs no case of
    // its own.
    const auto rest = static_cast<NUV_INT64>(
        (duration->frac * NUV_UINT64{NANOSECONDS_PER_SECOND} + 0xFFFFFFFFu) >> 32);
    const NUVClock *clock = NUVClock_getMonotonic();
    const NUV_INT64 now = clock->getNanoseconds(clock);
    const NUV_INT64 end = now + duration->sec * NANOSECONDS_PER_SECOND + rest;
    if (end <= now) {
        return;
    }
    clock->sleepUntil(clock, end);
}
