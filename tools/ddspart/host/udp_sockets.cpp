// SPDX-License-Identifier: Apache-2.0
#include "host/udp_sockets.h"

#include <optional>

#include "host/addresses.h"
#include "host/files.h"
#include "numbers.h"
#include "words.h"

namespace host {

namespace {

constexpr int HEXADECIMAL = 16;

/** The socket of a line; none for the heading, or a line that the kernel has changed. */
std::optional<UdpSocket> socket_of(const std::string &line) {
    // sl local remote st tx:rx tr:when retransmits uid timeout inode ref pointer drops
    enum { LOCAL = 1, QUEUES = 4, USER = 7, INODE = 9, DROPS = 12, FIELDS };
    const std::vector<std::string> fields = fields_of(line);

    if (fields.size() < FIELDS) {
        return std::nullopt;
    }
    const std::vector<std::string> local = split(fields[LOCAL], ':');
    const std::string address = address_of_words(local.front());
    const auto port = to_number<std::uint16_t>(local.back(), HEXADECIMAL);
    const auto waiting = to_number<std::uint64_t>(split(fields[QUEUES], ':').back(), HEXADECIMAL);
    const auto user = to_number<uid_t>(fields[USER]);
    const auto inode = to_number<ino_t>(fields[INODE]);
    const auto drops = to_number<std::uint64_t>(fields[DROPS]);

    if (address.empty() || !port || !waiting || !user || !inode || !drops) {
        return std::nullopt;
    }
    return UdpSocket{address, *port, *user, *inode, *waiting, *drops};
}

void add_sockets(std::vector<UdpSocket> &sockets, const std::string &table) {
    for (const std::string &line : lines_of(table)) {
        if (const auto socket = socket_of(line)) {
            sockets.push_back(*socket);
        }
    }
}

} // namespace

std::vector<UdpSocket> udp_sockets(const std::filesystem::path &net) {
    std::vector<UdpSocket> sockets;

    add_sockets(sockets, text_of(net / "udp"));
    add_sockets(sockets, text_or_none(net / "udp6").value_or("")); // a kernel may lack IPv6
    return sockets;
}

} // namespace host
