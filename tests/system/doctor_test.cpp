// SPDX-License-Identifier: Apache-2.0
// ddspart doctor on hosts to which something has been done, and on hosts that are well.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "discovery_network.h"
#include "doctor_network.h"
#include "following_network.h"
#include "network.h"
#include "process.h"

using discovery::Host;
using discovery::json;
using discovery::Neighbour;
using doctor::diagnose;
using doctor::found;
using doctor::nft;
using doctor::set;
using doctor::Texts;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

const Texts BY_IPV6 = {"--transport", "udpv6",  "--multicast-address",
                       "ff05::1",     "--peer", "ff05::1"};

class Doctor : public HostTest {};
class DoctorOfALonelyHost : public NetworkTest {};

TEST_F(Doctor, FindsNothingOnAGoodHost) {
    const doctor::Diagnosis diagnosis = diagnose();

    EXPECT_EQ(diagnosis.code, 0);
    EXPECT_EQ(diagnosis.output, "Well: interfaces, multicast, firewall, ports, peers\n");
    EXPECT_EQ(diagnosis.errors, "");
}

TEST_F(Doctor, FindsNothingWhereParticipantsRun) {
    Process one = ddspart({"run", "--verbosity", "error"});
    Process other = ddspart({"run", "--verbosity", "error"});

    ASSERT_TRUE(one.wait_for_output("Default multicast locators"));
    ASSERT_TRUE(other.wait_for_output("Default multicast locators"));
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(Doctor, FindsNothingOnAHostWithManyInterfaces) {
    add_interface("net1", {"198.51.100.2/24"});
    add_interface("net2", {"203.0.113.2/24"});
    ip({"link", "add", "idle", "type", "bridge"});
    ip({"address", "add", "10.0.0.1/24", "dev", "idle"});
    ip({"link", "set", "idle", "up"});
    EXPECT_THAT(found(), IsEmpty());
    EXPECT_THAT(found({"--interface", "net1"}), IsEmpty());
}

TEST_F(Doctor, FindsNothingWhereThereIsIPv6) {
    ip({"address", "add", "fd00::2/64", "dev", "net0", "nodad"});
    EXPECT_THAT(found(BY_IPV6), IsEmpty());
    EXPECT_THAT(found({"--transport", "udpv4,udpv6"}), IsEmpty());
}

TEST_F(DoctorOfALonelyHost, FindsNothingWhereThereIsIPv6Alone) {
    add_interface("net0", {"fd00::2/64"});
    EXPECT_THAT(found(BY_IPV6), IsEmpty());
}

TEST_F(Doctor, FindsNothingWithoutMulticast) {
    ip({"link", "set", "net0", "multicast", "off"});
    EXPECT_THAT(found({"--no-multicast", "--peer", "192.0.2.9"}), IsEmpty());
}

TEST_F(Doctor, SendsNoDatagramToOthers) {
    const doctor::Wiretap tap("net0peer");

    EXPECT_THAT(found(), IsEmpty());
    EXPECT_THAT(tap.protocols(), Not(Contains(IPPROTO_UDP)));
    (void)send_datagram("udpv4://239.255.0.1:7400", "net0");
    EXPECT_THAT(tap.protocols(), Contains(IPPROTO_UDP));
}

TEST_F(DoctorOfALonelyHost, MissesAnInterface) {
    EXPECT_THAT(found(), ElementsAre("no-usable-interface"));
    add_interface("net0", {"192.0.2.2/24"});
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(DoctorOfALonelyHost, DoesNotTakeAnIdleTunnelForACable) {
    Process tunnel({"ip", "tuntap", "add", "mode", "tun", "name", "tunnel"});

    if (tunnel.wait().code != 0) {
        GTEST_SKIP() << "no tunnel can be made here: " << tunnel.errors();
    }
    EXPECT_THAT(found(), ElementsAre("no-usable-interface"));
    add_interface("net0", {"192.0.2.2/24"});
    ip({"link", "set", "tunnel", "up"}); // without a carrier
    ip({"link", "set", "net0", "down"});
    EXPECT_THAT(found(), ElementsAre("interface-down"));
}

TEST_F(DoctorOfALonelyHost, SaysThatLoopbackCarriesNoMulticastOfIPv6) {
    const Texts by_loopback = {"--transport",         "udpv6",   "--interface", "lo",
                               "--multicast-address", "ff05::1", "--peer",      "ff05::1"};

    EXPECT_THAT(found(by_loopback), ElementsAre("loopback-without-multicast"));
    EXPECT_THAT(found({"--transport", "udpv6", "--interface", "lo", "--peer", "::1"}), IsEmpty());
}

TEST_F(Doctor, NamesAnInterfaceThatIsDown) {
    ip({"link", "set", "net0", "down"});
    EXPECT_THAT(found(), ElementsAre("interface-down"));
    ip({"link", "set", "net0", "up"});
    ASSERT_TRUE(eventually([] { return is_running("net0"); }));
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(Doctor, NamesAnInterfaceWithoutCarrier) {
    ip({"link", "set", "net0peer", "down"});
    ASSERT_TRUE(eventually([] { return !is_running("net0"); }));
    EXPECT_THAT(found(), ElementsAre("interface-without-carrier"));
    ip({"link", "set", "net0peer", "up"});
    ASSERT_TRUE(eventually([] { return is_running("net0"); }));
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(Doctor, NamesAnInterfaceWithoutAddress) {
    ip({"address", "flush", "dev", "net0"});
    EXPECT_THAT(found({"--interface", "net0"}), ElementsAre("interface-without-address"));
    ip({"address", "add", "192.0.2.2/24", "dev", "net0"});
    EXPECT_THAT(found({"--interface", "net0"}), IsEmpty());
}

TEST_F(Doctor, NamesAnInterfaceWhoseAddressIsNotReady) {
    if (!set("net.ipv6.conf.net0.dad_transmits", "100")) { // seconds in which others may object
        GTEST_SKIP() << "settings of the network may not be changed here";
    }
    ip({"link", "set", "net0", "addrgenmode", "none"});
    ip({"-6", "address", "flush", "dev", "net0"});
    ip({"address", "add", "fd00::2/64", "dev", "net0"});
    EXPECT_THAT(found(BY_IPV6), ElementsAre("address-not-ready"));
    ip({"address", "add", "fd00::3/64", "dev", "net0", "nodad"});
    EXPECT_THAT(found(BY_IPV6), IsEmpty());
}

TEST_F(Doctor, NamesAnInterfaceThatIsNotThere) {
    EXPECT_THAT(found({"--interface", "net7"}), ElementsAre("no-such-interface"));
    EXPECT_THAT(found({"--interface", "192.0.2.2"}), IsEmpty());
}

TEST_F(Doctor, NamesAnInterfaceWhoseMulticastIsOff) {
    ip({"link", "set", "net0", "multicast", "off"});
    EXPECT_THAT(found({"--interface", "net0"}), ElementsAre("interface-without-multicast"));
    ip({"link", "set", "net0", "multicast", "on"});
    EXPECT_THAT(found({"--interface", "net0"}), IsEmpty());
}

TEST_F(Doctor, SaysThatIPv6IsOffWhereItIsAskedFor) {
    const Texts by_ipv6 = {"--transport", "udpv4,udpv6", "--interface", "net0"};

    if (!set("net.ipv6.conf.net0.disable_ipv6", "1")) {
        GTEST_SKIP() << "settings of the network may not be changed here";
    }
    EXPECT_THAT(found(by_ipv6), ElementsAre("ipv6-off"));
    ASSERT_TRUE(set("net.ipv6.conf.net0.disable_ipv6", "0"));
    ip({"address", "add", "fd00::2/64", "dev", "net0", "nodad"});
    EXPECT_THAT(found(by_ipv6), IsEmpty());
}

TEST_F(Doctor, NamesAnInterfaceWithoutARouteToTheGroup) {
    ip({"address", "add", "fd00::2/64", "dev", "net0", "nodad"});
    ip({"-6", "route", "del", "multicast", "ff00::/8", "dev", "net0", "table", "local"});
    EXPECT_THAT(found(BY_IPV6), ElementsAre("no-multicast-route"));
    ip({"-6", "route", "add", "multicast", "ff00::/8", "dev", "net0", "table", "local"});
    EXPECT_THAT(found(BY_IPV6), IsEmpty());
}

TEST_F(Doctor, NamesAnInterfaceOnWhichTheGroupCannotBeJoined) {
    if (!set("net.ipv4.igmp_max_memberships", "0")) {
        GTEST_SKIP() << "settings of the network may not be changed here";
    }
    EXPECT_THAT(found(), ElementsAre("group-not-joined"));
    ASSERT_TRUE(set("net.ipv4.igmp_max_memberships", "20"));
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(Doctor, ObjectsToAStrictReversePathWhereTwoInterfacesShareASubnet) {
    add_interface("net1", {"192.0.2.3/24"});
    if (!set("net.ipv4.conf.net1.rp_filter", "1")) {
        GTEST_SKIP() << "settings of the network may not be changed here";
    }
    EXPECT_THAT(found(), ElementsAre("strict-reverse-path"));
    ASSERT_TRUE(set("net.ipv4.conf.net1.rp_filter", "2"));
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(Doctor, NamesTheOneByWhichTheKernelAnswersBesideAStrictReversePath) {
    add_interface("net1", {"192.0.2.3/24"});
    if (!set("net.ipv4.conf.net0.rp_filter", "1")) {
        GTEST_SKIP() << "settings of the network may not be changed here";
    }
    EXPECT_THAT(found(), IsEmpty());
    ip({"route", "add", "192.0.2.0/24", "dev", "net0", "src", "192.0.2.2", "metric", "200"});
    ip({"route", "del", "192.0.2.0/24", "dev", "net0", "metric", "0"});
    const doctor::Diagnosis diagnosis = diagnose();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("strict-reverse-path"));
    EXPECT_THAT(diagnosis.output, HasSubstr("--interface net1"));
    EXPECT_THAT(found({"--interface", "net1"}), IsEmpty());
}

TEST_F(Doctor, SaysThatAPropertyKeepsMulticastOnTheHost) {
    EXPECT_THAT(found({"--property", "dds.transport.multicast_ttl=0"}), ElementsAre("ttl-zero"));
    EXPECT_THAT(found({"--property", "dds.transport.multicast_ttl=1"}), IsEmpty());
}

TEST_F(Doctor, NamesPeersToWhichThereIsNoWay) {
    EXPECT_THAT(found({"--peer", "198.51.100.9"}), ElementsAre("no-route-to-peer"));
    ip({"route", "add", "198.51.100.0/24", "via", "192.0.2.1"});
    EXPECT_THAT(found({"--peer", "198.51.100.9"}), IsEmpty());
    ip({"route", "add", "prohibit", "198.51.100.9"});
    EXPECT_THAT(found({"--peer", "198.51.100.9"}), ElementsAre("no-route-to-peer"));
}

TEST_F(Doctor, NamesPeersWithoutAnAddress) {
    EXPECT_THAT(found({"--peer", "no-such-host.invalid"}), ElementsAre("unresolved-peer"));
    EXPECT_THAT(found({"--peer", "localhost"}), IsEmpty());
}

TEST_F(Doctor, SaysWhenNobodyIsAnnouncedTo) {
    ip({"address", "add", "fd00::2/64", "dev", "net0", "nodad"});
    EXPECT_THAT(found({"--transport", "udpv6"}), ElementsAre("nobody-announced-to"));
    EXPECT_THAT(found({"--transport", "udpv6", "--peer", "ff05::1"}), IsEmpty());
}

TEST_F(Doctor, NamesAStrangerAtThePortOfAnIndex) {
    {
        const following::TakenPort stranger(7411);

        EXPECT_THAT(found(), ElementsAre("index-blocked"));
        EXPECT_THAT(diagnose().output,
                    HasSubstr("is held by test_system (" + std::to_string(getpid()) + ")"));
    }
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(Doctor, AsksWhoeverHasAPortBeforeItCallsHimAStranger) {
    Process silent = ddspart({"run", "--reserve", "builtin_unicast", "--no-multicast", "--peer",
                              "192.0.2.9", "--verbosity", "error"});

    ASSERT_TRUE(silent.wait_for_output("Default multicast locators"));
    EXPECT_THAT(found(), IsEmpty());
    silent.send(SIGSTOP); // now it is as silent as a stranger
    EXPECT_THAT(found(), Contains("index-blocked"));
}

TEST_F(Doctor, SaysWhatGainsItCanTellTheHoldersOfPortsWith) {
    const doctor::Diagnosis diagnosis = diagnose({"--domain-gain", "1", "--participant-gain", "1"});

    EXPECT_EQ(diagnosis.code, 0);
    EXPECT_THAT(diagnosis.output, HasSubstr("Not looked at: who holds the ports: --domain-gain is "
                                            "1: "));
    EXPECT_THAT(diagnosis.output, HasSubstr("allowed are gains with which they have less"));
}

TEST_F(Doctor, HasNothingAgainstAStrangerAtFarPorts) {
    const following::TakenPort near(7600);
    const following::TakenPort far(12345);

    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(Doctor, NamesWhoDoesNotShareThePortOfTheGroup) {
    {
        const following::TakenPort stranger(7400);

        EXPECT_THAT(found(), ElementsAre("group-port-taken"));
    }
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(Doctor, SaysWhoHasAllIndices) {
    const Texts few = {"--domain-gain", "14"}; // there are two indices then
    const auto join = [&] {
        Process process = ddspart({"run", "--domain-gain", "14", "--verbosity", "error"});

        EXPECT_TRUE(process.wait_for_output("Default multicast locators")) << process.errors();
        return process;
    };
    const Process one = join();

    EXPECT_THAT(found(few), IsEmpty());
    {
        const Process other = join();

        EXPECT_THAT(found(few), ElementsAre("no-free-index"));
    }
    EXPECT_THAT(found(few), IsEmpty());
}

TEST_F(Doctor, NamesWhoHasLostDatagrams) {
    Process participant = ddspart({"run", "--verbosity", "error"});
    const auto has_lost = [] {
        return std::ranges::any_of(udp_sockets(),
                                   [](const Socket &socket) { return socket.drops > 0; });
    };

    ASSERT_TRUE(participant.wait_for_output("Default multicast locators"));
    participant.send(SIGSTOP);
    ASSERT_TRUE(eventually([&] {
        for (int i = 0; i < 100; ++i) {
            (void)send_datagram("udpv4://192.0.2.2:7410", "net0");
        }
        return has_lost();
    }));
    EXPECT_THAT(found(), Not(Contains("datagrams-lost")));      // what has been is over
    EXPECT_THAT(found({"--for", "0.1", "--peer", "192.0.2.2"}), // is announced to, which is lost
                ElementsAre("suspended-process", "datagrams-lost", "silent-peer"));
    EXPECT_THAT(diagnose({"--serve", "192.0.2.9"}).ids(), Not(Contains("datagrams-lost")));
    participant.send(SIGCONT);
    EXPECT_EQ(participant.stop(SIGTERM).code, 0);
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(Doctor, NamesAParticipantThatIsStopped) {
    Process participant = ddspart({"run", "--verbosity", "error"});
    const auto is_stopped = [&] {
        std::ifstream file("/proc/" + std::to_string(participant.id()) + "/stat");
        const std::string text{std::istreambuf_iterator<char>(file), {}};

        return text.find(") T ") != std::string::npos;
    };

    ASSERT_TRUE(participant.wait_for_output("Default multicast locators"));
    participant.send(SIGSTOP);
    ASSERT_TRUE(eventually(is_stopped));
    const doctor::Diagnosis diagnosis = diagnose();
    const std::string id = std::to_string(participant.id());

    EXPECT_THAT(diagnosis.ids(), ElementsAre("suspended-process"));
    EXPECT_THAT(diagnosis.output, HasSubstr("ddspart (" + id +
                                            "), which holds UDP port 7410-7411, "
                                            "is stopped"));
    EXPECT_THAT(diagnosis.output, HasSubstr("kill -CONT " + id));
    participant.send(SIGCONT);
    ASSERT_TRUE(eventually([&] { return !is_stopped(); }));
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(Doctor, NamesPortsThatOnlyRootMayBind) {
    Process process({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                     "--inh-caps=-all", "--bounding-set=-all", DDSPART_PATH, "doctor", "--for", "0",
                     "--port-base", "500"});

    if (process.wait().code == 127 || process.wait().code == 126) {
        GTEST_SKIP() << "others may not run the program here: " << process.errors();
    }
    EXPECT_THAT(process.output(), HasSubstr("port-not-bound: UDP port 500, 510-519 of the domain "
                                            "cannot be bound: Permission denied."));
}

TEST_F(Doctor, ObjectsToPortsThatTheKernelGivesAway) {
    if (!set("net.ipv4.ip_local_port_range", "7400 7500")) {
        GTEST_SKIP() << "settings of the network may not be changed here";
    }
    EXPECT_THAT(found(), ElementsAre("ports-ephemeral"));
    EXPECT_THAT(found({"--domain", "1"}), IsEmpty());
    ASSERT_TRUE(set("net.ipv4.ip_local_reserved_ports", "7400-7450"));
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(Doctor, ObjectsToALimitOfFilesThatIsTooLow) {
    Process process({"prlimit", "--nofile=12:12", DDSPART_PATH, "doctor", "--for", "0"});

    EXPECT_EQ(process.wait().code, 3) << process.errors();
    EXPECT_THAT(process.output(), HasSubstr("few-descriptors: "));
}

TEST_F(Doctor, NeedsNoRights) {
    Process process({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                     "--inh-caps=-all", "--bounding-set=-all", DDSPART_PATH, "doctor", "--for",
                     "0"});

    if (process.wait().code == 127 || process.wait().code == 126) {
        GTEST_SKIP() << "others may not run the program here: " << process.errors();
    }
    EXPECT_EQ(process.wait().code, 0) << process.errors();
    EXPECT_EQ(process.output(), "Well: interfaces, multicast, firewall, ports, peers\n");
}

class DoctorOfADomain : public doctor::TwoHostsTest {
protected:
    Texts found_here(const Texts &options) const {
        const Host::Stay stay(*here);
        Texts all = {"--for", "0.2"};

        all.insert(all.end(), options.begin(), options.end());
        return found(all);
    }
};

TEST_F(DoctorOfADomain, FindsNothingWhereParticipantsFindEachOther) {
    const Neighbour neighbour(*there, {{"period", 0.05}});

    EXPECT_THAT(found_here({}), IsEmpty());
    EXPECT_THAT(found_here({"--peer", "192.0.2.2"}), IsEmpty());
}

TEST_F(DoctorOfADomain, NamesAPeerThatDoesNotAnswer) {
    EXPECT_THAT(found_here({"--peer", "192.0.2.2"}), ElementsAre("silent-peer"));
    const Neighbour neighbour(*there, json::object());

    EXPECT_THAT(found_here({"--peer", "192.0.2.2"}), IsEmpty());
}

TEST_F(DoctorOfADomain, SaysWhichAddressItHasForAPeerThatHasAnotherNow) {
    const doctor::HostNames names("192.0.2.9 beta\n");
    const auto look = [&] {
        const Host::Stay stay(*here);

        return doctor::said_by(names.ddspart({"doctor", "--peer", "beta", "--for", "0.2"}));
    };
    const Neighbour neighbour(*there, json::object());

    if (!names.can_be_had()) {
        GTEST_SKIP() << "needs files of its own";
    }
    const doctor::Diagnosis diagnosis = look();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("silent-peer"));
    EXPECT_THAT(diagnosis.output, HasSubstr("See whether the host still has 192.0.2.9, "));
    names.change("192.0.2.2 beta\n");
    EXPECT_THAT(look().ids(), IsEmpty());
}

TEST_F(DoctorOfADomain, SaysThatTheNameOfAPeerHasChanged) {
    const doctor::HostNames names("192.0.2.2 beta\n");
    const auto look = [&](const char *seconds) {
        const Host::Stay stay(*here);

        return names.ddspart({"doctor", "--peer", "beta", "--for", seconds});
    };
    Neighbour neighbour(*there, json::object());

    if (!names.can_be_had()) {
        GTEST_SKIP() << "needs files of its own";
    }
    Process process = look("60");

    (void)neighbour.wait_for([](const json &line) { return line.value("change", "") == "came"; });
    names.change("192.0.2.7 beta\n");
    process.send(SIGINT);
    const doctor::Diagnosis diagnosis = doctor::said_by(std::move(process));

    // It may be interrupted before it has heard the peer's answer.
    EXPECT_THAT(diagnosis.ids(), Contains("changed-peer"));
    EXPECT_THAT(diagnosis.output, HasSubstr("has changed from 192.0.2.2 to 192.0.2.7"));
    names.change("192.0.2.2 beta\n");
    EXPECT_THAT(doctor::said_by(look("0.2")).ids(), IsEmpty());
}

TEST_F(DoctorOfADomain, SaysThatThereAreParticipantsWithADomainTag) {
    {
        const Neighbour neighbour(*there, {{"tag", "blue"}, {"period", 0.05}});

        EXPECT_THAT(found_here({}), ElementsAre("refused-participants"));
    }
    const Neighbour neighbour(*there, {{"period", 0.05}});

    EXPECT_THAT(found_here({}), IsEmpty());
}

TEST_F(DoctorOfADomain, NamesTwoThatHaveOneAddress) {
    const Host copy("copy", {"192.0.2.2/24"});
    const Neighbour one(*there, {{"name", "one"}, {"period", 0.05}});
    {
        const Neighbour other(copy, {{"name", "other"}, {"period", 0.05}});

        EXPECT_THAT(found_here({}), ElementsAre("network-twice", "shared-locator"));
    }
    EXPECT_THAT(found_here({}), IsEmpty());
}

TEST_F(DoctorOfADomain, NamesANetworkThatHasTheAddressOfThisOne) {
    const Host copy("copy", {"192.0.2.1/24"});
    const Neighbour other(copy, json::object());

    EXPECT_THAT(found_here({}), ElementsAre("network-twice"));
    copy.replace_address("192.0.2.1/24", "192.0.2.3/24");
    EXPECT_THAT(found_here({}), IsEmpty());
}

TEST_F(DoctorOfADomain, FindsNothingOnAHostWithContainersOnABridge) {
    ip({"address", "add", "192.0.2.254/24", "dev", "wire"});
    const Neighbour one(*here, {{"period", 0.05}});
    const Neighbour other(*there, {{"period", 0.05}});

    EXPECT_THAT(found({"--for", "0.2"}), IsEmpty());
}

TEST_F(DoctorOfADomain, FindsNothingInABusyDomain) {
    const Neighbour many(*there, {{"count", 60}, {"period", 0.1}, {"listens", false}});
    const Neighbour more(*here, {{"count", 20}, {"period", 0.1}, {"listens", false}});

    EXPECT_THAT(found_here({}), IsEmpty());
    EXPECT_THAT(found_here({"--peer", "192.0.2.2"}), IsEmpty());
}

/** Says again, from a host, what a participant has said to the group. */
class Parrot {
public:
    explicit Parrot(const Host &host) {
        const Host::Stay stay(host);
        const int on = 1;
        const ip_mreqn group = {{inet_addr(GROUP)}, {}, static_cast<int>(if_nametoindex("net0"))};
        const sockaddr_in own = name();

        socket_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        (void)setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr *>(&own), sizeof own), 0);
        EXPECT_EQ(setsockopt(socket_, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group), 0);
        EXPECT_EQ(setsockopt(socket_, IPPROTO_IP, IP_MULTICAST_IF, &group, sizeof group), 0);
    }
    ~Parrot() {
        (void)close(socket_);
    }
    Parrot(const Parrot &) = delete;
    Parrot &operator=(const Parrot &) = delete;

    /** Waits for an announcement. */
    void listen() {
        pollfd waiting = {socket_, POLLIN, 0};

        announcement_.resize(2048);
        ASSERT_EQ(poll(&waiting, 1, std::chrono::milliseconds(PATIENCE).count()), 1);
        announcement_.resize(
            static_cast<std::size_t>(recv(socket_, announcement_.data(), announcement_.size(), 0)));
    }

    /** As if it were a newer one. */
    void renew() {
        // Behind the header and INFO_TS: of DATA the low half of the sequence number.
        constexpr std::size_t SEQUENCE_NUMBER = 20 + 12 + 4 + 4 + 8 + 4;

        ASSERT_GT(announcement_.size(), SEQUENCE_NUMBER);
        announcement_[SEQUENCE_NUMBER] = 100;
    }

    void say() const {
        const sockaddr_in group = name();

        EXPECT_EQ(sendto(socket_, announcement_.data(), announcement_.size(), 0,
                         reinterpret_cast<const sockaddr *>(&group), sizeof group),
                  static_cast<ssize_t>(announcement_.size()));
    }

private:
    static constexpr const char *GROUP = "239.255.0.1";

    static sockaddr_in name() {
        sockaddr_in group{};

        group.sin_family = AF_INET;
        group.sin_port = htons(7400);
        group.sin_addr.s_addr = inet_addr(GROUP);
        return group;
    }

    int socket_ = -1;
    std::string announcement_;
};

TEST_F(DoctorOfADomain, SaysThatTwoParticipantsHaveOneGuid) {
    const Host copy("copy", {"192.0.2.3/24"});
    Neighbour original(*there, {{"period", 0.05}});
    Parrot parrot(copy);

    parrot.listen();
    parrot.renew();
    Process process = here->ddspart({"doctor", "--for", "0.5", "--peer", "192.0.2.2"});

    // Whom it hears first it takes for the one.
    (void)original.wait_for([](const json &line) { return line.value("change", "") == "came"; });
    ASSERT_TRUE(eventually([&] {
        parrot.say();
        return process.has_ended();
    }));
    EXPECT_THAT(doctor::said_by(std::move(process)).output,
                HasSubstr("come from elsewhere than where their participant lives: two have one "
                          "GUID"));
    EXPECT_THAT(found_here({"--peer", "192.0.2.2"}), IsEmpty());
}

TEST_F(DoctorOfADomain, NamesAParticipantWhoseLeaseEndsBeforeItSpeaksAgain) {
    using Clock = std::chrono::steady_clock;
    Parrot parrot(*there);
    {
        Neighbour original(*there, {{"name", "talker"}, {"lease", 0.2}, {"period", 0.05}});

        parrot.listen();
        EXPECT_THAT(found_here({}), IsEmpty());
        (void)original.process().stop(SIGKILL);
    }
    Process process = here->ddspart({"doctor", "--for", "1.3"});
    Clock::time_point next = Clock::now();

    ASSERT_TRUE(eventually([&] {
        if (Clock::now() >= next) {
            parrot.say();
            next += std::chrono::milliseconds(500);
        }
        return process.has_ended();
    }));
    EXPECT_THAT(doctor::said_by(std::move(process)).output,
                HasSubstr("lease-too-short: talker on "));
}

class DoctorOfAFirewall : public Doctor {
protected:
    /** Of a chain for what comes in, or goes out; the test is skipped where there is no firewall.
     */
    static bool make(const std::string &hook, const std::string &rule,
                     const std::string &policy = "accept") {
        return nft("add table inet wall; add chain inet wall each { type filter hook " + hook +
                   " priority 0; policy " + policy + "; }; add rule inet wall each " + rule);
    }

    static bool remove() {
        return nft("delete table inet wall");
    }
};

TEST_F(DoctorOfAFirewall, QuotesTheRuleThatDropsTheDomainsPorts) {
    if (!make("input", "udp dport 7400-7500 drop")) {
        GTEST_SKIP() << "needs nft";
    }
    const doctor::Diagnosis diagnosis = diagnose();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("ports-filtered"));
    EXPECT_THAT(diagnosis.output,
                HasSubstr("\"udp dport 7400-7500 drop\" in chain each of table inet wall"));
    EXPECT_THAT(found({"--domain", "1"}), IsEmpty());
    ASSERT_TRUE(remove());
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(DoctorOfAFirewall, NamesPortsThatMayNotBeSentTo) {
    if (!make("output", "udp dport 7400 reject")) {
        GTEST_SKIP() << "needs nft";
    }
    EXPECT_THAT(found(), ElementsAre("ports-filtered"));
    ASSERT_TRUE(remove());
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(DoctorOfAFirewall, SaysThatNoMulticastReturnsWhereAllIsDropped) {
    if (!make("input", "iif lo accept", "drop")) {
        GTEST_SKIP() << "needs nft";
    }
    const doctor::Diagnosis diagnosis = diagnose();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("multicast-not-returning"));
    EXPECT_THAT(diagnosis.output, HasSubstr("\"policy drop\" in chain each of table inet wall"));
    ASSERT_TRUE(nft("add rule inet wall each udp dport 7400-7500 ip daddr "
                    "239.255.0.1 accept"));
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(DoctorOfAFirewall, SaysThatItsRulesMayNotBeRead) {
    if (!make("input", "udp dport 7400 drop")) {
        GTEST_SKIP() << "needs nft";
    }
    Process process({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                     "--inh-caps=-all", "--bounding-set=-all", DDSPART_PATH, "doctor", "--for",
                     "0"});

    if (process.wait().code == 127 || process.wait().code == 126) {
        GTEST_SKIP() << "others may not run the program here: " << process.errors();
    }
    EXPECT_THAT(process.output(), HasSubstr("ports-filtered: A firewall of this host drops what is "
                                            "for UDP port 7400 on "));
    EXPECT_THAT(process.output(), HasSubstr("Not looked at: firewall rules: "));
}

TEST_F(Doctor, SaysWhatNoParticipantCanHave) {
    const doctor::Diagnosis peer = diagnose({"--peer", "192.0.2.300"});
    const doctor::Diagnosis domain = diagnose({"--domain", "233"});

    EXPECT_EQ(peer.code, 1);
    EXPECT_THAT(peer.errors, HasSubstr("ddspart: inconsistent QoS: discovery.initial_peers has "
                                       "\"192.0.2.300\""));
    EXPECT_EQ(domain.code, 1);
    EXPECT_EQ(domain.errors, "ddspart: domain 233 has no valid ports for any participant index\n");
}

} // namespace
