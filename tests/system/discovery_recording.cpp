// SPDX-License-Identifier: Apache-2.0
#include "discovery_recording.h"

#include <array>
#include <ctime>
#include <filesystem>
#include <sstream>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/if_packet.h>
#include <linux/sockios.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "process.h"

namespace discovery {

namespace {

/** All frames of an interface, those to other stations included. */
int new_socket(const std::string &interface) {
    constexpr int BUFFER_SIZE = 64 << 20; // for what comes while the file is written
    const int result = checked(
        socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, htons(ETH_P_ALL)), "socket");
    sockaddr_ll address = {};
    packet_mreq request = {};

    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
    request.mr_ifindex = address.sll_ifindex;
    request.mr_type = PACKET_MR_PROMISC;
    (void)checked(setsockopt(result, SOL_SOCKET, SO_RCVBUFFORCE, &BUFFER_SIZE, sizeof BUFFER_SIZE),
                  "setsockopt");
    (void)checked(bind(result, reinterpret_cast<const sockaddr *>(&address), sizeof address),
                  "bind");
    (void)checked(setsockopt(result, SOL_PACKET, PACKET_ADD_MEMBERSHIP, &request, sizeof request),
                  "setsockopt");
    return result;
}

/** Of the classic format, pcap 2.4, with times in nanoseconds. */
struct FileHeader {
    std::uint32_t magic = 0xA1B23C4D;
    std::uint16_t major = 2;
    std::uint16_t minor = 4;
    std::uint32_t zone = 0;
    std::uint32_t accuracy = 0;
    std::uint32_t longest = 65535;
    std::uint32_t link = 1; // Ethernet
};

struct FrameHeader {
    std::uint32_t seconds;
    std::uint32_t nanoseconds;
    std::uint32_t captured;
    std::uint32_t length;
};

void append(std::ofstream &file, const void *data, std::size_t size) {
    file.write(static_cast<const char *>(data), static_cast<std::streamsize>(size));
}

} // namespace

Recording::Recording(const std::string &interface)
    : path_(std::filesystem::temp_directory_path() /
            ("recording." + std::to_string(getpid()) + ".pcap")),
      file_(path_, std::ios::binary), socket_(new_socket(interface)) {
    const FileHeader header;

    append(file_, &header, sizeof header);
    thread_ = std::thread([this] { run(); });
}

Recording::~Recording() {
    is_over_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
    (void)close(socket_);
    (void)std::filesystem::remove(path_);
}

bool Recording::is_readable() {
    return Process({"tshark", "--version"}).wait().code == 0;
}

void Recording::run() {
    while (!is_over_) {
        if (!write_one()) {
            pause_shortly();
        }
    }
    while (write_one()) {}
}

/** False when there is none. */
bool Recording::write_one() {
    std::array<char, 65536> frame{};
    const ssize_t length = recv(socket_, frame.data(), frame.size(), 0);
    timespec now{};

    // When it came, whenever it is read.
    if (length < 0 || ioctl(socket_, SIOCGSTAMPNS, &now) != 0) {
        return false;
    }
    const auto size = static_cast<std::uint32_t>(length);
    const FrameHeader header = {static_cast<std::uint32_t>(now.tv_sec),
                                static_cast<std::uint32_t>(now.tv_nsec), size, size};

    append(file_, &header, sizeof header);
    append(file_, frame.data(), size);
    return true;
}

void Recording::stop() {
    tpacket_stats statistics = {};
    socklen_t size = sizeof statistics;

    is_over_ = true;
    thread_.join();
    file_.close();
    EXPECT_TRUE(file_.good()) << path_;
    EXPECT_EQ(getsockopt(socket_, SOL_PACKET, PACKET_STATISTICS, &statistics, &size), 0);
    EXPECT_EQ(statistics.tp_drops, 0u);
}

std::vector<std::string> Recording::read(const std::string &filter,
                                         const std::vector<std::string> &fields) const {
    return read_capture(path_, filter, fields);
}

std::vector<std::string> read_capture(const std::string &path, const std::string &filter,
                                      const std::vector<std::string> &fields) {
    std::vector<std::string> command = {"tshark", "-n", "-r", path, "-Y", filter, "-T", "fields"};
    std::vector<std::string> lines;

    for (const std::string &field : fields) {
        command.insert(command.end(), {"-e", field});
    }
    Process tshark(command);

    EXPECT_EQ(tshark.wait().code, 0) << tshark.errors();
    std::istringstream output(tshark.output());

    for (std::string line; std::getline(output, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace discovery
