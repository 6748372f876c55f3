// SPDX-License-Identifier: Apache-2.0
// A network of the test's own.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "process.h"

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
/** Datagrams that programs of the network have received so far. */
std::uint64_t datagrams_received();
/** Those for which a socket had no room so far, by IPv4: once for each socket. */
std::uint64_t datagrams_lost();
/** Datagrams that have come to open ports so far, by IPv4: once each, whatever became of them. */
std::uint64_t datagrams_arrived();

/** What `ip` does with these arguments. */
void ip(const std::vector<std::string> &arguments);

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

/**
 * Another host: a network beside the test's, joined to it by an interface in each, "link0" at
 * 198.51.100.1 in the test's and at 198.51.100.2 in this one. It is gone with the object.
 */
class OtherHost {
public:
    OtherHost();

    /** Runs a program there. */
    Process run(const std::vector<std::string> &command) const;
    /** Runs ddspart there. */
    Process ddspart(const std::vector<std::string> &arguments) const;
    /** Datagrams that its programs have sent by IPv4 so far. */
    std::uint64_t datagrams_sent() const;

private:
    Process holder_; // as long as a process is there, so is the network
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
