// SPDX-License-Identifier: Apache-2.0
// A range of ports is claimed by an abstract socket address: these belong to a network, as ports
// do.
#include "support/ports.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int FIRST = 10000;
constexpr int RANGES = 88; // up to 32000; the kernel gives out ports from 32768 on

bool claim(int descriptor, int range) {
    const std::string name = "nuvdds-test-ports-" + std::to_string(range);
    sockaddr_un address{};

    address.sun_family = AF_UNIX;
    name.copy(address.sun_path + 1, sizeof address.sun_path - 1);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    return bind(descriptor, reinterpret_cast<const sockaddr *>(&address), size) == 0;
}

int claimRange() {
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);

    for (int i = 0; descriptor >= 0 && i < RANGES; ++i) {
        const int range = (getpid() + i) % RANGES;
        if (claim(descriptor, range)) {
            return FIRST + range * support::PORTS_OF_A_PROGRAM;
        }
    }
    std::perror("no range of ports for this test program");
    std::abort();
}

// Before any test looks at what the process has open.
const int base = claimRange();

} // namespace

namespace support {

int portBase() {
    return base;
}

} // namespace support
