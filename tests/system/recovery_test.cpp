// SPDX-License-Identifier: Apache-2.0
// What could not be had is had later: strangers that were faster, descriptors that were missing.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "following_network.h"

using following::Child;
using following::default_port;
using following::Follower;
using following::metatraffic_port;
using testing::HasSubstr;

namespace {

constexpr const char *NEW_ADDRESS = "198.51.100.2";
constexpr uid_t NOBODY = 65534;

/** Takes both unicast ports of index 0 at an address that is not there yet, without any right. */
class EarlyStranger {
public:
    EarlyStranger() : child_(occupy) {}

    bool has_ports() const {
        return eventually([] {
            return addresses_of_port(default_port(0)).contains(NEW_ADDRESS) &&
                   addresses_of_port(metatraffic_port(0)).contains(NEW_ADDRESS);
        });
    }

private:
    static bool bind_early(unsigned port) {
        const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const int on = 1;
        sockaddr_in name{};

        name.sin_family = AF_INET;
        name.sin_port = htons(static_cast<in_port_t>(port));
        inet_pton(AF_INET, NEW_ADDRESS, &name.sin_addr);
        return setsockopt(socket, IPPROTO_IP, IP_FREEBIND, &on, sizeof on) == 0 &&
               bind(socket, reinterpret_cast<const sockaddr *>(&name), sizeof name) == 0;
    }

    static int occupy() {
        if (setuid(NOBODY) != 0 || !bind_early(default_port(0)) ||
            !bind_early(metatraffic_port(0))) {
            return 1;
        }
        (void)sleep(static_cast<unsigned>(PATIENCE.count())); // it is killed long before
        return 0;
    }

    Child child_;
};

class Recovering : public HostTest {};

TEST_F(Recovering, PortsOfANewAddressAreHadWhenAStrangerLeavesThem) {
    Follower follower({"--interface", "net0", "--verbosity", "error"});

    ASSERT_TRUE(follower.has({"192.0.2.2"})) << follower.log();
    {
        const EarlyStranger stranger;

        ASSERT_TRUE(stranger.has_ports());
        ip({"address", "add", std::string(NEW_ADDRESS) + "/24", "dev", "net0"});
        EXPECT_TRUE(follower.logs("which is tried again: udpv4 port 7410 is taken"))
            << follower.log();
        EXPECT_TRUE(follower.has({"192.0.2.2"})) << follower.log();
    }
    EXPECT_TRUE(follower.has({"192.0.2.2", NEW_ADDRESS})) << follower.log();
    EXPECT_EQ(follower.events().back()["index"], 0);
    EXPECT_TRUE(addresses_of_port(default_port(0)).contains(NEW_ADDRESS));
    EXPECT_TRUE(addresses_of_port(metatraffic_port(0)).contains(NEW_ADDRESS));
    ip({"link", "set", "lo", "up"});
    following::expect_arrival(NEW_ADDRESS, "net0");
    // Both lists that could not be had, and why; the tries until they could add nothing.
    EXPECT_EQ(count(follower.log(), "ERROR"), 3u) << follower.log();
    EXPECT_EQ(follower.process().stop(SIGTERM).code, 0) << follower.log();
    EXPECT_TRUE(udp_ports().empty());
}

TEST_F(Recovering, PortsOfANewAddressAreHadWhenDescriptorsAreBack) {
    Follower follower({"--interface", "net0", "--verbosity", "warning"});
    const pid_t process = follower.process().id();

    ASSERT_TRUE(follower.has({"192.0.2.2"})) << follower.log();
    rlimit all{};
    ASSERT_EQ(prlimit(process, RLIMIT_NOFILE, nullptr, &all), 0);
    const rlimit none = {3, all.rlim_max};

    ASSERT_EQ(prlimit(process, RLIMIT_NOFILE, &none, nullptr), 0);
    ip({"address", "add", std::string(NEW_ADDRESS) + "/24", "dev", "net0"});
    // Without a descriptor not even the addresses can be listed.
    EXPECT_TRUE(follower.logs("cannot list the network interfaces")) << follower.log();
    EXPECT_TRUE(follower.has({"192.0.2.2"})) << follower.log();
    ASSERT_EQ(prlimit(process, RLIMIT_NOFILE, &all, nullptr), 0);
    EXPECT_TRUE(follower.has({"192.0.2.2", NEW_ADDRESS})) << follower.log();
    ip({"link", "set", "lo", "up"});
    following::expect_arrival(NEW_ADDRESS, "net0");
    EXPECT_EQ(follower.process().stop(SIGTERM).code, 0) << follower.log();
}

class WithoutDescriptors : public HostTest {};

TEST_F(WithoutDescriptors, TheWholeSearchHasOneReason) {
    Process process({"/bin/sh", "-c", "ulimit -n 8; exec \"$0\" \"$@\"", DDSPART_PATH, "run",
                     "--for", "0", "--verbosity", "error"});

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_LE(count(process.errors(), "\n"), 3u) << process.errors();
    EXPECT_THAT(process.errors(), HasSubstr("Too many open files (EMFILE)"));
}

} // namespace
