// SPDX-License-Identifier: Apache-2.0
// A network of the test's own.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "process.h"

constexpr const char *GROUP = "239.255.0.1"; // the usual one of metatraffic

/** A UDP socket of the network, as the kernel lists it. */
struct Socket {
    std::string address; // "0.0.0.0", "::", ...
    unsigned port;
    std::uint64_t bytes_waiting;
    std::uint64_t drops;
};

/** The UDP sockets of all processes in the calling thread's network. */
std::vector<Socket> udp_sockets();
/** Their ports. */
std::set<unsigned> udp_ports();
/** The addresses that a port is bound at. */
std::set<std::string> addresses_of_port(unsigned port);
/** Datagrams that programs of the network have sent by IPv4 so far. */
std::uint64_t datagrams_sent();
/** Datagrams that programs of the network have received so far. */
std::uint64_t datagrams_received();
/** Datagrams for which a socket had no room so far, by IPv4: once for each socket. */
std::uint64_t datagrams_lost();
/** Datagrams that have come to open ports so far, by IPv4: once each, whatever became of them. */
std::uint64_t datagrams_arrived();

/** A file with a text, for any program to read; gone with the object. */
class TextFile {
public:
    explicit TextFile(const std::string &text);
    ~TextFile();
    TextFile(const TextFile &) = delete;
    TextFile &operator=(const TextFile &) = delete;

    const std::string &path() const {
        return path_;
    }
    /** Has another text in the same file. */
    void write(const std::string &text) const;

private:
    std::string path_;
};

/** What `ip` does with these arguments. */
void ip(const std::vector<std::string> &arguments);
/** Has one `ip` carry out many lines: the changes follow each other closely. */
void ip_batch(const std::vector<std::string> &lines);
/** The line that gives an interface an address, which is ready at once. */
std::string address_line(const std::string &address, const std::string &interface);

/** Whether an interface has a carrier, which comes a moment after it was set up. */
bool is_running(const std::string &name);

/** An interface that is up and running, with its other end in the same network. */
void add_interface(const std::string &name, const std::vector<std::string> &addresses);

/**
 * Each test runs, with the processes that it starts, in a new network that has nothing but a
 * loopback interface. Skipped where that is not allowed.
 */
class NetworkTest : public testing::Test {
protected:
    void SetUp() override;
};

/** The same with the interface "net0" at 192.0.2.2. */
class HostTest : public NetworkTest {
protected:
    void SetUp() override;
};

/** The locators that a text of the kind "udpv4://192.0.2.2:7410" names. */
struct Endpoint {
    std::string address;
    unsigned port;
};
Endpoint parse_locator(const std::string &locator);

/**
 * Sends a datagram to a unicast or multicast locator, multicast by way of an interface. False when
 * nobody has the port open.
 */
bool send_datagram(const std::string &locator, const std::string &interface);
