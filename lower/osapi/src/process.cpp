// SPDX-License-Identifier: Apache-2.0
// What a library needs to know of the process and the thread that call it.
#include "osapi/osapi_process.h"

#include <array>
#include <atomic>
#include <string_view>

#include <errno.h>
#include <limits.h>
#include <pthread.h>
#include <unistd.h>

namespace {

/** Changed by a forked child before any of its code runs. */
std::atomic<NUV_UINT32> generation{1};

void note_fork() {
    const NUV_UINT32 next = generation.load(std::memory_order_relaxed) + 1;
    generation.store(next != 0 ? next : 1, std::memory_order_relaxed);
}

void watch_forks() {
    // Fails only for want of memory; then forks go unnoticed.
    (void)pthread_atfork(nullptr, nullptr, note_fork);
}

/** Copies as much of a text as there is room for. */
template <std::size_t SIZE>
void copy_text(char (&out)[SIZE], std::string_view text) {
    out[text.copy(out, SIZE - 1)] = '\0';
}

/** Without a process file system there is what the program was called by. */
void read_program(NUVOsapiProcessIdentity *out) {
    std::array<char, PATH_MAX> path;
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    std::string_view program = program_invocation_short_name;

    if (length > 0) {
        program = {path.data(), static_cast<std::size_t>(length)};
        program.remove_prefix(program.rfind('/') + 1); // npos + 1 is 0
    }
    copy_text(out->program, program);
}

void read_host(NUVOsapiProcessIdentity *out) {
    if (gethostname(out->host, sizeof out->host) != 0) {
        out->host[0] = '\0';
    }
    out->host[sizeof out->host - 1] = '\0';
}

} // namespace

void NUVOsapiProcess_identify(NUVOsapiProcessIdentity *out) {
    out->pid = getpid();
    read_program(out);
    read_host(out);
}

NUV_UINT32 NUVOsapiProcess_getGeneration(void) {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    (void)pthread_once(&once, watch_forks);
    return generation.load(std::memory_order_relaxed);
}

int NUVOsapiThread_holdCancellation(void) {
    int former = PTHREAD_CANCEL_ENABLE;
    (void)pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
    return former;
}

void NUVOsapiThread_releaseCancellation(int held) {
    (void)pthread_setcancelstate(held, nullptr);
}
