// SPDX-License-Identifier: Apache-2.0
#include "hosts.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>

namespace bench {
namespace {

/** What `ip` does with these lines. */
void run_ip(const std::string &lines) {
    FILE *const input = popen("ip -batch -", "w");

    if (input == nullptr) {
        throw std::runtime_error("no program can be started");
    }
    (void)std::fputs(lines.c_str(), input);
    if (pclose(input) != 0) {
        throw std::runtime_error("the program 'ip' cannot make a wire");
    }
}

/** The other end may come up later. */
void wait_until_running(const char *interface) {
    constexpr int TRIES = 10'000;
    constexpr std::chrono::milliseconds PAUSE(1);
    const File any = open_socket();
    ifreq request = {};

    std::strcpy(request.ifr_name, interface);
    for (int i = 0; i < TRIES; ++i) {
        if (ioctl(any.get(), SIOCGIFFLAGS, &request) == 0 &&
            (request.ifr_flags & IFF_RUNNING) != 0) {
            return;
        }
        std::this_thread::sleep_for(PAUSE);
    }
    throw std::runtime_error("the wire between two networks does not come up");
}

/** In a network of its own, once there is a wire. */
Hosts::Work on_host(const char *address, const Hosts::Work &work) {
    return [=](Channel &parent) {
        parent.tell(unshare(CLONE_NEWNET) == 0);
        parent.wait();
        run_ip(std::string("address add ") + address +
               "/24 dev net0\n"
               "link set lo up\n"
               "link set net0 up\n");
        wait_until_running("net0");
        parent.signal();
        parent.wait();
        work(parent);
    };
}

} // namespace

Hosts::Hosts(const Work &first, const Work &second)
    : first_(on_host(FIRST_HOST, first)), second_(on_host(SECOND_HOST, second)) {
    for (Child *const host : {&first_, &second_}) {
        if (!host->channel().hear<bool>()) {
            throw std::runtime_error("networks of their own are not allowed here");
        }
    }
    run_ip("link add net0 netns " + std::to_string(first_.id()) +
           " type veth peer name net0 netns " + std::to_string(second_.id()) + "\n");
    for (Child *const host : {&first_, &second_}) {
        host->channel().signal();
    }
    for (Child *const host : {&first_, &second_}) {
        host->channel().wait();
    }
    for (Child *const host : {&first_, &second_}) {
        host->channel().signal();
    }
}

} // namespace bench
