// SPDX-License-Identifier: Apache-2.0
#include "network.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class Descriptor {
public:
    explicit Descriptor(int value) : value_(value) {}
    ~Descriptor() {
        (void)close(value_);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int get() const {
        return value_;
    }

private:
    int value_;
};

/** An address as /proc/net shows it: words of the host's byte order in hexadecimal. */
std::string address_text(const std::string &hexadecimal) {
    std::array<std::uint32_t, 4> words{};
    std::array<char, INET6_ADDRSTRLEN> text{};

    for (std::size_t i = 0; i < hexadecimal.size() / 8; ++i) {
        words.at(i) =
            static_cast<std::uint32_t>(std::stoul(hexadecimal.substr(i * 8, 8), nullptr, 16));
    }
    (void)inet_ntop(hexadecimal.size() == 8 ? AF_INET : AF_INET6, words.data(), text.data(),
                    text.size());
    return text.data();
}

void list_sockets(const char *table, std::vector<Socket> &sockets) {
    std::ifstream lines(table);
    std::string line;

    (void)std::getline(lines, line); // the heading
    while (std::getline(lines, line)) {
        // sl local remote st tx:rx tr:when retransmits uid timeout inode ref pointer drops
        std::istringstream fields(line);
        std::array<std::string, 13> field;

        for (std::string &each : field) {
            fields >> each;
        }
        const std::size_t colon = field[1].find(':');

        sockets.push_back(
            {address_text(field[1].substr(0, colon)),
             static_cast<unsigned>(std::stoul(field[1].substr(colon + 1), nullptr, 16)),
             std::stoull(field[4].substr(field[4].find(':') + 1), nullptr, 16),
             std::stoull(field[12])});
    }
}

/** A counter of the calling thread's network, as a protocol has it. */
std::uint64_t counter(const std::string &protocol, const std::string &name) {
    std::ifstream lines("/proc/thread-self/net/snmp"); // names, then numbers, of each protocol
    std::string names;
    std::string numbers;

    while (std::getline(lines, names) && std::getline(lines, numbers)) {
        std::istringstream title(names);
        std::istringstream value(numbers);
        std::string word;
        std::string number;

        while (names.starts_with(protocol + ":") && title >> word && value >> number) {
            if (word == name) {
                return std::stoull(number);
            }
        }
    }
    throw std::runtime_error("the kernel does not count " + protocol + " " + name);
}

bool enter_new_network() {
    // An ordinary user may have a network in a user namespace of his own.
    return unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
}

} // namespace

std::vector<Socket> udp_sockets() {
    std::vector<Socket> sockets;

    list_sockets("/proc/thread-self/net/udp", sockets);
    list_sockets("/proc/thread-self/net/udp6", sockets);
    return sockets;
}

std::set<unsigned> udp_ports() {
    std::set<unsigned> ports;

    for (const Socket &socket : udp_sockets()) {
        ports.insert(socket.port);
    }
    return ports;
}

std::set<std::string> addresses_of_port(unsigned port) {
    std::set<std::string> addresses;

    for (const Socket &socket : udp_sockets()) {
        if (socket.port == port) {
            addresses.insert(socket.address);
        }
    }
    return addresses;
}

std::uint64_t datagrams_sent() {
    return counter("Udp", "OutDatagrams");
}

std::uint64_t datagrams_received() {
    std::uint64_t sum = counter("Udp", "InDatagrams");
    std::ifstream lines6("/proc/thread-self/net/snmp6");
    std::string word;

    while (lines6 >> word) {
        std::uint64_t number = 0;

        if (word == "Udp6InDatagrams" && lines6 >> number) {
            sum += number;
        }
    }
    return sum;
}

std::uint64_t datagrams_lost() {
    return counter("Udp", "InErrors");
}

std::uint64_t datagrams_arrived() {
    return counter("Ip", "InDelivers") - counter("Icmp", "InMsgs") - counter("Udp", "NoPorts");
}

TextFile::TextFile(const std::string &text) : path_(testing::TempDir() + "network-XXXXXX") {
    const int file = mkstemp(path_.data());

    if (file < 0 || fchmod(file, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH) != 0 || close(file) != 0) {
        throw std::system_error(errno, std::generic_category(), path_);
    }
    write(text);
}

TextFile::~TextFile() {
    (void)unlink(path_.c_str());
}

void TextFile::write(const std::string &text) const {
    if (!(std::ofstream(path_) << text << std::flush)) {
        throw std::runtime_error("cannot write " + path_);
    }
}

void ip(const std::vector<std::string> &arguments) {
    std::vector<std::string> command = {"ip"};

    command.insert(command.end(), arguments.begin(), arguments.end());
    Process process(command);

    if (process.wait().code != 0) {
        throw std::runtime_error("ip failed: " + process.errors());
    }
}

std::string address_line(const std::string &address, const std::string &interface) {
    const std::string options = address.find(':') != std::string::npos ? " nodad" : "";

    return "address add " + address + " dev " + interface + options;
}

void ip_batch(const std::vector<std::string> &lines) {
    std::string text;

    for (const std::string &line : lines) {
        text += line + "\n";
    }
    const TextFile file(text);

    ip({"-batch", file.path()});
}

bool is_running(const std::string &name) {
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    const bool known = ioctl(any, SIOCGIFFLAGS, &request) == 0;
    close(any);
    return known && (request.ifr_flags & IFF_UP) != 0 && (request.ifr_flags & IFF_RUNNING) != 0;
}

void add_interface(const std::string &name, const std::vector<std::string> &addresses) {
    std::vector<std::string> lines = {"link add " + name + " type veth peer name " + name + "peer"};

    for (const std::string &address : addresses) {
        lines.push_back(address_line(address, name));
    }
    lines.insert(lines.end(), {"link set " + name + "peer up", "link set " + name + " up"});
    ip_batch(lines);
    EXPECT_TRUE(eventually([&] { return is_running(name); })) << name;
}

void NetworkTest::SetUp() {
    if (!enter_new_network()) {
        GTEST_SKIP() << "a network of the test's own is not allowed here: " << strerror(errno);
    }
    ip({"link", "set", "lo", "up"});
}

void HostTest::SetUp() {
    NetworkTest::SetUp();
    if (!IsSkipped()) {
        add_interface("net0", {"192.0.2.2/24"});
    }
}

Endpoint parse_locator(const std::string &locator) {
    const std::size_t slashes = locator.find("//");
    const std::size_t colon = locator.rfind(':');
    std::string address = locator.substr(slashes + 2, colon - slashes - 2);

    if (address.front() == '[') {
        address = address.substr(1, address.size() - 2);
    }
    return {address, static_cast<unsigned>(std::stoul(locator.substr(colon + 1)))};
}

bool send_datagram(const std::string &locator, const std::string &interface) {
    const Endpoint endpoint = parse_locator(locator);
    const std::string data = "not an RTPS message";
    const int index = static_cast<int>(if_nametoindex(interface.c_str()));
    int family = AF_INET;
    union {
        sockaddr any;
        sockaddr_in v4;
        sockaddr_in6 v6;
    } address = {};
    socklen_t length = sizeof address.v4;

    if (inet_pton(AF_INET, endpoint.address.c_str(), &address.v4.sin_addr) == 1) {
        address.v4.sin_family = AF_INET;
        address.v4.sin_port = htons(static_cast<std::uint16_t>(endpoint.port));
    } else if (inet_pton(AF_INET6, endpoint.address.c_str(), &address.v6.sin6_addr) == 1) {
        family = AF_INET6;
        length = sizeof address.v6;
        address.v6.sin6_family = AF_INET6;
        address.v6.sin6_port = htons(static_cast<std::uint16_t>(endpoint.port));
    } else {
        throw std::runtime_error("no locator: " + locator);
    }
    const Descriptor sender(socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const ip_mreqn request = {{}, {}, index};

    if (family == AF_INET) {
        (void)setsockopt(sender.get(), IPPROTO_IP, IP_MULTICAST_IF, &request, sizeof request);
    } else {
        (void)setsockopt(sender.get(), IPPROTO_IPV6, IPV6_MULTICAST_IF, &index, sizeof index);
    }
    if (connect(sender.get(), &address.any, length) != 0 ||
        send(sender.get(), data.data(), data.size(), 0) != static_cast<ssize_t>(data.size())) {
        throw std::runtime_error("cannot send to " + locator + ": " + strerror(errno));
    }
    int error = 0;
    socklen_t size = sizeof error;

    // On one host a refusal is back before send returns.
    (void)getsockopt(sender.get(), SOL_SOCKET, SO_ERROR, &error, &size);
    return error != ECONNREFUSED;
}
