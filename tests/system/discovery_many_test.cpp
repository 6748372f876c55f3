// SPDX-License-Identifier: Apache-2.0
// As many participants as a domain has room for on one host, and others beside them.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>

#include <gmock/gmock.h>

#include "discovery_network.h"
#include "following_network.h"

using discovery::Host;
using discovery::json;
using discovery::Neighbour;
using discovery::seconds_now;
using discovery::Texts;
using discovery::WireTest;
using following::IS_INSTRUMENTED;

namespace {

constexpr int ON_ONE_HOST = 119;

class DiscoveryOfMany : public WireTest {};

TEST_F(DiscoveryOfMany, ProcessesOfOneHostAllKnowAll) {
    const Host host("one", {"192.0.2.1/24"});
    const std::string all_known = "\"knows\":" + std::to_string(ON_ONE_HOST - 1);
    std::vector<Process> processes;

    const double begin = seconds_now();
    processes.reserve(ON_ONE_HOST);
    for (int i = 0; i < ON_ONE_HOST; ++i) {
        processes.push_back(
            discovery::start(host, {{"listens", false}, {"expects", ON_ONE_HOST - 1}}));
    }
    for (Process &process : processes) {
        EXPECT_TRUE(process.wait_for_output(all_known)) << process.errors();
    }
    std::printf("[ MEASURED ] until all of them knew all: %.1f s\n", seconds_now() - begin);
    for (const Process &process : processes) {
        process.send(SIGTERM);
    }
    for (Process &process : processes) {
        EXPECT_EQ(process.wait().code, 0) << process.errors();
    }
}

/** A host with as many participants in one process as there is room for, and others with 20. */
class DiscoveryBesideMany : public WireTest {
protected:
    /** With a sanitizer ten of them take too long. */
    static constexpr int OTHER_HOSTS = IS_INSTRUMENTED ? 3 : 10;
    static constexpr int OF_EACH = 20;
    static constexpr int ALL = ON_ONE_HOST + OTHER_HOSTS * OF_EACH;

    void SetUp() override {
        WireTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        host.emplace("one", Texts{"192.0.2.1/24"});
        many.emplace(*host, settings(ON_ONE_HOST));
        for (int i = 0; i < OTHER_HOSTS; ++i) {
            const std::string number = std::to_string(2 + i);

            other_hosts_.push_back(
                std::make_unique<Host>("other" + number, Texts{"192.0.2." + number + "/24"}));
            others.push_back(std::make_unique<Neighbour>(*other_hosts_.back(), settings(OF_EACH)));
        }
    }

    /** Waits until each of them does. */
    void expect_all_to_know_all() {
        std::printf("[ MEASURED ] until the process knew all: %.1f s\n",
                    many->seconds_until_all_are_known());
        for (const auto &other : others) {
            (void)other->seconds_until_all_are_known();
        }
    }

    static void expect_that_it_knows_all(Neighbour &neighbour) {
        const json told = neighbour.tell();

        for (const json &participant : told["statistics"]) {
            EXPECT_EQ(participant["known"], ALL - 1);
        }
    }

    std::optional<Host> host;
    std::optional<Neighbour> many;
    std::vector<std::unique_ptr<Neighbour>> others;

private:
    static json settings(int count) {
        return {{"count", count},           {"expects", ALL - 1}, {"listens", false},
                {"peers", {"239.255.0.1"}}, {"period", 3.0},      {"lease", 4000.0}};
    }

    std::vector<std::unique_ptr<Host>> other_hosts_;
};

TEST_F(DiscoveryBesideMany, ParticipantsOfOneProcessAndOfOtherHostsAllKnowAll) {
    expect_all_to_know_all();
    expect_that_it_knows_all(*many);
    for (const auto &other : others) {
        expect_that_it_knows_all(*other);
    }
}

/** Whether nothing waits to be received on the calling thread's network. */
bool is_all_received() {
    const std::vector<Socket> sockets = udp_sockets();

    return std::all_of(sockets.begin(), sockets.end(),
                       [](const Socket &socket) { return socket.bytes_waiting == 0; });
}

TEST_F(DiscoveryBesideMany, TheProcessReceivesEachDatagramOnce) {
    expect_all_to_know_all();
    const Host::Stay stay(*host);

    EXPECT_TRUE(eventually(is_all_received));
    const std::uint64_t received = datagrams_received() + datagrams_lost();

    EXPECT_GT(received, 0u);
    EXPECT_LE(received, datagrams_arrived()); // in this order: more of them may come
}

} // namespace
