// SPDX-License-Identifier: Apache-2.0
/**
 * @file socket_watch.h
 * @brief Counts the calls of all threads that open, bind, configure or close a socket.
 *
 *     SocketWatch sockets;
 *     ...
 *     EXPECT_EQ(sockets.calls(), SocketCalls());
 *     EXPECT_EQ(sockets.calls(), (SocketCalls{{"bind", 1}, {"close", 2}}));
 */
#pragma once

#include <map>
#include <set>
#include <string>

namespace support {

/** Numbers of calls by name; what was not called is absent. */
using SocketCalls = std::map<std::string, long>;

class SocketWatch {
public:
    SocketWatch();

    SocketCalls calls() const;

private:
    const SocketCalls before_;
};

/** The sockets that the process has open, "socket:[1234]" for one: its inode tells it apart. */
std::set<std::string> openSockets();

} // namespace support
