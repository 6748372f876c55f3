// SPDX-License-Identifier: Apache-2.0
#include "process.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <stdexcept>

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {
namespace {

bool is_private = false;

/** The text after "NAME" and ':' in a file of such lines; empty when there is none. */
std::string field(const char *path, const std::string &name) {
    std::ifstream file(path);

    for (std::string line; std::getline(file, line);) {
        const std::size_t colon = line.find(':');

        if (line.compare(0, name.size(), name) == 0 && colon != std::string::npos) {
            const std::size_t begin = line.find_first_not_of(" \t", colon + 1);

            return begin == std::string::npos ? "" : line.substr(begin);
        }
    }
    return "";
}

void bring_up_loopback() {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request = {};

    std::strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP;
    const bool done = descriptor >= 0 && ioctl(descriptor, SIOCSIFFLAGS, &request) == 0;
    if (descriptor >= 0) {
        close(descriptor);
    }
    if (!done) {
        throw std::runtime_error("loopback cannot be brought up in the private network");
    }
}

} // namespace

bool enter_private_network() {
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        return false;
    }
    bring_up_loopback();
    is_private = true;
    return true;
}

bool is_network_private() {
    return is_private;
}

void raise_file_limit() {
    rlimit limit = {};

    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        (void)setrlimit(RLIMIT_NOFILE, &limit);
    }
}

std::string cpu_model() {
    return field("/proc/cpuinfo", "model name");
}

int thread_count() {
    return std::atoi(field("/proc/self/status", "Threads").c_str());
}

double processor_seconds() {
    timespec time = {};

    (void)clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double resident_bytes() {
    return 1024.0 * std::atof(field("/proc/self/smaps_rollup", "Rss").c_str());
}

} // namespace bench
