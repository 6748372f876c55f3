// SPDX-License-Identifier: Apache-2.0
#include "discovery_network.h"

#include <algorithm>
#include <chrono>
#include <csignal>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "following_network.h"

namespace discovery {

namespace {

constexpr const char *WIRE = "wire";

/** The network that the calling thread is in. */
int open_network() {
    return checked(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC), "open");
}

void enter(int network) {
    (void)checked(setns(network, CLONE_NEWNET), "setns");
}

/** A new network with nothing but a loopback interface, which is down. */
int new_network() {
    const int home = open_network();

    (void)checked(unshare(CLONE_NEWNET), "unshare");
    const int network = open_network();

    enter(home);
    (void)close(home);
    return network;
}

} // namespace

void WireTest::SetUp() {
    NetworkTest::SetUp();
    if (!IsSkipped()) {
        ip_batch({std::string("link add ") + WIRE + " type bridge mcast_snooping 0",
                  std::string("link set ") + WIRE + " up"});
    }
}

Host::Host(const std::string &name, const Texts &addresses) : network_(new_network()) {
    // ip opens it from a process of its own.
    const std::string network =
        "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(network_);

    ip_batch({"link add " + name + " type veth peer name net0 netns " + network,
              "link set " + name + " master " + WIRE + " up"});
    Texts lines = {"link set lo up"};

    for (const std::string &address : addresses) {
        lines.push_back(address_line(address, "net0"));
    }
    lines.emplace_back("link set net0 up");
    const Stay stay(*this);

    ip_batch(lines);
    EXPECT_TRUE(eventually([] { return is_running("net0"); })) << name;
}

Host::~Host() {
    (void)close(network_);
}

Host::Stay::Stay(const Host &host) : home_(open_network()) {
    enter(host.network_);
}

Host::Stay::~Stay() {
    enter(home_);
    (void)close(home_);
}

Process Host::ddspart(const Texts &arguments) const {
    const Stay stay(*this);

    return ::ddspart(arguments);
}

void Host::ip(const Texts &arguments) const {
    const Stay stay(*this);

    ::ip(arguments);
}

void Host::replace_address(const std::string &former, const std::string &address) const {
    const Stay stay(*this);

    ip_batch({"address del " + former + " dev net0", "address add " + address + " dev net0"});
}

Process start(const Host &host, const json &settings) {
    const Host::Stay stay(host);

    return Process({NEIGHBOUR_PATH, settings.dump()});
}

Neighbour::Neighbour(const Host &host, const json &settings) : process_(start(host, settings)) {
    const std::ptrdiff_t count = settings.value("count", 1);
    const auto is_of_own = [](const json &line) { return line.contains("index"); };
    std::vector<json> all;

    // Its listener may be quicker.
    (void)eventually([&] {
        all = lines();
        return std::count_if(all.begin(), all.end(), is_of_own) == count || process_.has_ended();
    });
    const auto first = std::find_if(all.begin(), all.end(), is_of_own);

    if (first == all.end()) {
        throw std::runtime_error("no neighbour: " + process_.errors());
    }
    here_ = *first;
}

std::vector<json> Neighbour::lines() const {
    const std::string text = process_.output();
    std::vector<json> lines;

    // The last one may not be whole yet.
    for (std::size_t start = 0, end = 0; (end = text.find('\n', start)) != std::string::npos;
         start = end + 1) {
        lines.push_back(json::parse(text.substr(start, end - start)));
    }
    return lines;
}

json Neighbour::wait_for(const std::function<bool(const json &)> &condition) {
    json found;

    EXPECT_TRUE(eventually([&] {
        const std::vector<json> all = lines();
        const auto at = std::find_if(all.begin(), all.end(), condition);

        if (at != all.end()) {
            found = *at;
        }
        return at != all.end() || process_.has_ended();
    }));
    EXPECT_FALSE(found.is_null()) << process_.output() << process_.errors();
    return found;
}

json Neighbour::wait_for_change(const std::string &change, const std::string &guid) {
    return wait_for([&](const json &line) {
        return line.value("change", "") == change && line["participant"]["guid"] == guid;
    });
}

json Neighbour::wait_for_addresses(const Neighbour &other, const Texts &addresses) {
    return wait_for([&](const json &line) {
        return line.contains("change") && line["participant"]["guid"] == other.guid() &&
               line["participant"]["metatraffic_unicast"] ==
                   following::locators(addresses, following::metatraffic_port(0));
    });
}

bool Neighbour::comes_to_know(const Neighbour &other) {
    return !wait_for_change("came", other.guid()).is_null();
}

double Neighbour::seconds_until_all_are_known() {
    const json line = wait_for([](const json &each) { return each.contains("knows"); });

    return line.is_null() ? 0 : line["at"].get<double>() - here_["at"].get<double>();
}

json Neighbour::tell() {
    const auto answers = [&] {
        std::vector<json> all = lines();

        std::erase_if(all, [](const json &line) { return !line.contains("known"); });
        return all;
    };
    const std::size_t before = answers().size();

    process_.send(SIGUSR1);
    if (!eventually([&] { return answers().size() > before || process_.has_ended(); }) ||
        process_.has_ended()) {
        throw std::runtime_error("a neighbour does not answer: " + process_.errors());
    }
    return answers().back();
}

Texts Neighbour::known() {
    const json told = tell();
    Texts guids;

    for (const json &each : told["known"]) {
        guids.push_back(each["guid"]);
    }
    std::sort(guids.begin(), guids.end());
    return guids;
}

void Neighbour::change() const {
    process_.send(SIGUSR2);
}

void Neighbour::leave() {
    EXPECT_EQ(process_.stop(SIGTERM).code, 0) << process_.errors();
}

double seconds_now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace discovery
