// SPDX-License-Identifier: Apache-2.0
// Networks that change, and participants that follow them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "dds_c/dds_c_domain.h"
#include "network.h"
#include "process.h"

namespace following {

using Texts = std::vector<std::string>;

#ifdef NUVDDS_SANITIZED
constexpr bool IS_INSTRUMENTED = true;
#else
constexpr bool IS_INSTRUMENTED = false;
#endif

/** How many locators of a list are announced. */
constexpr std::size_t LIST_SIZE_MAX = 16;

/** The transports whose addresses count. */
enum class Families { IPV4, BOTH };

/**
 * The addresses of the interfaces that are up and running, as `ip` lists them: "192.0.2.2",
 * "fd00::2". IPv4 first; loopback ones only where there are no others.
 */
Texts host_addresses(Families families);

/** The names of the interfaces on which a program has joined the group. */
std::set<std::string> interfaces_of_group(const std::string &group);

/** One of the kernel's counters of UDP by IPv4, "NoPorts" for one. */
std::uint64_t udp_counter(const std::string &name);

/** "udpv4://192.0.2.2:7410" */
std::string locator(const std::string &address, unsigned port);
Texts locators(const Texts &addresses, unsigned port);

/** What the log says of a change, from the list's name on. */
std::string change_line(const std::string &list, const Texts &before, const Texts &after);

/** The standard ports of an index in domain 0. */
constexpr unsigned metatraffic_port(int index) {
    return 7410u + 2u * static_cast<unsigned>(index);
}
constexpr unsigned default_port(int index) {
    return 7411u + 2u * static_cast<unsigned>(index);
}

/** A port that a stranger has, on all addresses of the network. */
class TakenPort {
public:
    explicit TakenPort(unsigned port);
    ~TakenPort();
    TakenPort(const TakenPort &) = delete;
    TakenPort &operator=(const TakenPort &) = delete;

private:
    int socket_;
};

/** A child of the test that carries out a function. It is killed when the object goes. */
class Child {
public:
    explicit Child(const std::function<int()> &function);
    ~Child();
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    pid_t id() const {
        return id_;
    }
    /** Waits for its end; what the function returned, or -1. */
    int wait();

private:
    pid_t id_;
    bool ended_ = false;
};

/** ddspart run --json, and what it tells. */
class Follower {
public:
    explicit Follower(const Texts &options = {});

    /** Everything it has told of itself so far; waits for the first of it. */
    std::vector<nlohmann::json> events();
    /** Waits until its newest event satisfies @p condition. */
    bool comes_to(const std::function<bool(const nlohmann::json &)> &condition);
    /** Waits until both unicast lists are these addresses with the ports of the index. */
    bool has(const Texts &addresses, int index = 0);
    /** Waits until its log has the text. */
    bool logs(const std::string &text);
    std::string log() const {
        return process_.errors();
    }
    Process &process() {
        return process_;
    }
    /** That it always had this index and the ports that go with it, and no error; ends it. */
    void expect_never_moved(int index = 0);

private:
    Process process_;
};

/** That datagrams arrive at both unicast ports of an address. */
void expect_arrival(const std::string &address, const std::string &interface, int index = 0);
/** That a datagram arrives at the standard metatraffic group. */
void expect_group_arrival(const std::string &interface);

using LocatorGetter = DDS_ReturnCode_t (*)(DDS_DomainParticipant *, DDS_LocatorSeq *);
/** Locators of a participant of this process. */
Texts locators_of(DDS_DomainParticipant *participant, LocatorGetter get);

} // namespace following
