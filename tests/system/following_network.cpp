// SPDX-License-Identifier: Apache-2.0
#include "following_network.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace following {

namespace {

bool has_flag(const json &link, const std::string &flag) {
    for (const json &each : link["flags"]) {
        if (each == flag) {
            return true;
        }
    }
    return false;
}

Texts addresses_of(const json &links, const std::string &family, bool loopback) {
    Texts addresses;

    for (const json &link : links) {
        if (!link.contains("flags") || has_flag(link, "LOOPBACK") != loopback ||
            !has_flag(link, "UP") || has_flag(link, "NO-CARRIER")) {
            continue;
        }
        for (const json &address : link["addr_info"]) {
            if (address.contains("local") && address["family"] == family &&
                address["scope"] != "link") {
                addresses.push_back(address["local"]);
            }
        }
    }
    return addresses;
}

/** A group as /proc/net/igmp shows it. */
std::string igmp_text(in_addr group) {
    std::array<char, 9> text{};

    (void)std::snprintf(text.data(), text.size(), "%08X", static_cast<unsigned>(group.s_addr));
    return text.data();
}

/** A group as /proc/net/igmp6 shows it. */
std::string igmp6_text(const in6_addr &group) {
    std::string text;

    for (const unsigned char octet : group.s6_addr) {
        std::array<char, 3> digits{};

        (void)std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned>(octet));
        text += digits.data();
    }
    return text;
}

std::set<std::string> interfaces_of_group4(const std::string &group) {
    std::ifstream lines("/proc/thread-self/net/igmp");
    std::set<std::string> interfaces;
    std::string interface;
    std::string line;

    while (std::getline(lines, line)) { // "2 net0 : 1 V3", then "<tab> 0100FFEF 1 ..."
        std::istringstream words(line);
        std::string first;
        std::string second;

        words >> first >> second;
        if (line.find(':') != std::string::npos && line.front() != '\t') {
            interface = second;
        } else if (first == group) {
            interfaces.insert(interface);
        }
    }
    return interfaces;
}

std::set<std::string> interfaces_of_group6(const std::string &group) {
    std::ifstream lines("/proc/thread-self/net/igmp6");
    std::set<std::string> interfaces;
    std::string line;

    while (std::getline(lines, line)) { // "2 net0 ff05... 1 ..."
        std::istringstream words(line);
        std::string number;
        std::string interface;
        std::string joined;

        if (words >> number >> interface >> joined && joined == group) {
            interfaces.insert(interface);
        }
    }
    return interfaces;
}

Texts command_of(const Texts &options) {
    Texts command = {"run", "--json"};

    command.insert(command.end(), options.begin(), options.end());
    return command;
}

std::string comma_separated(const Texts &words) {
    std::string text;

    for (const std::string &word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

} // namespace

Texts host_addresses(Families families) {
    Process process({"ip", "-json", "address", "show"});

    if (process.wait().code != 0) {
        throw std::runtime_error("ip failed: " + process.errors());
    }
    const json links = json::parse(process.output());

    for (const bool loopback : {false, true}) {
        Texts addresses = addresses_of(links, "inet", loopback);

        if (families == Families::BOTH) {
            const Texts more = addresses_of(links, "inet6", loopback);

            addresses.insert(addresses.end(), more.begin(), more.end());
        }
        if (!addresses.empty()) {
            return addresses;
        }
    }
    return {};
}

std::set<std::string> interfaces_of_group(const std::string &group) {
    in_addr v4{};
    in6_addr v6{};

    if (inet_pton(AF_INET, group.c_str(), &v4) == 1) {
        return interfaces_of_group4(igmp_text(v4));
    }
    if (inet_pton(AF_INET6, group.c_str(), &v6) == 1) {
        return interfaces_of_group6(igmp6_text(v6));
    }
    throw std::runtime_error("no group: " + group);
}

std::uint64_t udp_counter(const std::string &name) {
    std::ifstream lines("/proc/thread-self/net/snmp");
    std::string line;
    Texts names;

    while (std::getline(lines, line)) { // "Udp: InDatagrams ...", then "Udp: 12 ..."
        std::istringstream words(line);
        std::string word;

        words >> word;
        if (word != "Udp:") {
            continue;
        }
        const bool is_heading = names.empty();

        for (std::size_t i = 0; words >> word; ++i) {
            if (is_heading) {
                names.push_back(word);
            } else if (names.at(i) == name) {
                return std::stoull(word);
            }
        }
    }
    throw std::runtime_error("no counter: " + name);
}

std::string locator(const std::string &address, unsigned port) {
    return (address.find(':') == std::string::npos ? "udpv4://" + address
                                                   : "udpv6://[" + address + "]") +
           ":" + std::to_string(port);
}

Texts locators(const Texts &addresses, unsigned port) {
    Texts all;

    for (const std::string &address : addresses) {
        all.push_back(locator(address, port));
    }
    return all;
}

std::string change_line(const std::string &list, const Texts &before, const Texts &after) {
    return list + " locators have changed from {" + comma_separated(before) + "} to {" +
           comma_separated(after) + "}.\n";
}

TakenPort::TakenPort(unsigned port) : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    union {
        sockaddr any;
        sockaddr_in v4;
    } address = {};

    address.v4.sin_family = AF_INET;
    address.v4.sin_port = htons(static_cast<std::uint16_t>(port));
    if (socket_ < 0 || bind(socket_, &address.any, sizeof address.v4) != 0) {
        throw std::system_error(errno, std::generic_category(), "bind");
    }
}

TakenPort::~TakenPort() {
    (void)close(socket_);
}

Child::Child(const std::function<int()> &function) {
    const pid_t parent = getpid();

    id_ = fork();
    if (id_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (id_ == 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
        _exit(getppid() == parent ? function() : 127);
    }
}

Child::~Child() {
    if (!ended_) {
        (void)kill(id_, SIGKILL);
        (void)waitpid(id_, nullptr, 0);
    }
}

int Child::wait() {
    int status = 0;

    ended_ = eventually([&] { return waitpid(id_, &status, WNOHANG) == id_; });
    return ended_ && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Follower::Follower(const Texts &options) : process_(ddspart(command_of(options))) {
    (void)events();
}

std::vector<json> Follower::events() {
    std::vector<json> all;

    if (!process_.wait_for_output("}\n")) {
        throw std::runtime_error("ddspart has not joined: " + process_.errors());
    }
    const std::string text = process_.output();

    for (std::size_t start = 0, end = 0; (end = text.find('\n', start)) != std::string::npos;
         start = end + 1) {
        json event = json::parse(text.substr(start, end - start));
        const json kind = event.value("event", json());

        if (kind != "participant" && kind != "discovery") { // those are of others
            all.push_back(std::move(event));
        }
    }
    return all;
}

bool Follower::comes_to(const std::function<bool(const json &)> &condition) {
    return eventually([&] { return condition(events().back()) || process_.has_ended(); }) &&
           condition(events().back());
}

bool Follower::has(const Texts &addresses, int index) {
    return comes_to([&](const json &event) {
        return event["metatraffic_unicast_locators"] ==
                   locators(addresses, metatraffic_port(index)) &&
               event["default_unicast_locators"] == locators(addresses, default_port(index));
    });
}

bool Follower::logs(const std::string &text) {
    return eventually([&] { return log().find(text) != std::string::npos; });
}

void Follower::expect_never_moved(int index) {
    const std::vector<json> all = events();

    for (const json &event : all) {
        EXPECT_EQ(event["index"], index);
        EXPECT_EQ(event["ports"], all.front()["ports"]);
    }
    EXPECT_EQ(all.front()["ports"]["builtin_unicast"], metatraffic_port(index));
    EXPECT_EQ(all.front()["ports"]["user_unicast"], default_port(index));
    EXPECT_THAT(log(), Not(HasSubstr("ERROR")));
    EXPECT_THAT(log(), Not(HasSubstr("FATAL")));
    EXPECT_EQ(process_.stop(SIGTERM).code, 0) << log();
}

void expect_arrival(const std::string &address, const std::string &interface, int index) {
    const std::uint64_t before = datagrams_received();

    for (const unsigned port : {metatraffic_port(index), default_port(index)}) {
        EXPECT_TRUE(send_datagram(locator(address, port), interface))
            << "nobody listens at " << locator(address, port);
    }
    EXPECT_TRUE(eventually([&] { return datagrams_received() >= before + 2; })) << address;
}

void expect_group_arrival(const std::string &interface) {
    const std::uint64_t before = datagrams_received();

    EXPECT_TRUE(send_datagram("udpv4://239.255.0.1:7400", interface));
    EXPECT_TRUE(eventually([&] { return datagrams_received() > before; })) << interface;
}

Texts locators_of(DDS_DomainParticipant *participant, LocatorGetter get) {
    DDS_LocatorSeq sequence = DDS_SEQUENCE_INITIALIZER;
    Texts texts;

    EXPECT_EQ(get(participant, &sequence), DDS_RETCODE_OK);
    for (DDS_Long i = 0; i < DDS_LocatorSeq_get_length(&sequence); ++i) {
        std::array<char, DDS_LOCATOR_STRING_SIZE> text{};

        EXPECT_EQ(DDS_Locator_to_string(DDS_LocatorSeq_get_reference(&sequence, i), text.data(),
                                        text.size()),
                  DDS_RETCODE_OK);
        texts.emplace_back(text.data());
    }
    DDS_LocatorSeq_finalize(&sequence);
    return texts;
}

} // namespace following
