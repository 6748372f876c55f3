// SPDX-License-Identifier: Apache-2.0
// The same ten hosts, real and simulated.
#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>

#include <gmock/gmock.h>
#include <unistd.h>

#include "discovery_network.h"
#include "discovery_recording.h"
#include "following_network.h"
#include "scenario_file.h"
#include "simulation.h"

using discovery::Host;
using discovery::Neighbour;
using discovery::Recording;
using discovery::seconds_now;
using discovery::WireTest;

namespace {

constexpr int HOSTS = 10;
constexpr double LEASE = 1;
constexpr double PERIOD = 0.25;

struct Sent {
    double time = 0; // in seconds
    std::string from;
    std::string to;
    ddssim::Kind kind = ddssim::Kind::OTHER;
};

std::vector<std::uint8_t> octets_of(const std::string &digits) {
    std::vector<std::uint8_t> octets;

    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        octets.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return octets;
}

/** What is in a file of either network. */
std::vector<Sent> read(const std::string &path) {
    std::vector<Sent> all;

    for (const std::string &line :
         discovery::read_capture(path, "udp.port >= 7400 && udp.port < 7500 && !icmp",
                                 {"frame.time_epoch", "ip.src", "ip.dst", "udp.payload"})) {
        std::istringstream fields(line);
        Sent one;
        std::string payload;

        fields >> one.time >> one.from >> one.to >> payload;
        one.kind = ddssim::kind_of(octets_of(payload), one.to.starts_with("239."));
        all.push_back(one);
    }
    return all;
}

std::map<ddssim::Kind, double> counts_of(const std::vector<Sent> &all) {
    std::map<ddssim::Kind, double> counts;

    for (const Sent &one : all) {
        ++counts[one.kind];
    }
    return counts;
}

/**
 * Of each host that came when others were there: how long it took from its first word until it and
 * each of them had greeted each other. Sorted.
 */
std::vector<double> greeting_times_of(const std::vector<Sent> &all) {
    std::map<std::string, double> first;
    std::map<std::pair<std::string, std::string>, double> greeted;
    std::vector<double> times;

    for (const Sent &one : all) {
        first.try_emplace(one.from, one.time);
        if (one.kind == ddssim::Kind::GREETING) {
            greeted.try_emplace({one.from, one.to}, one.time);
        }
    }
    for (const auto &[newcomer, begin] : first) {
        double last = begin;

        for (const auto &[other, there] : first) {
            if (there < begin) {
                last = std::max({last, greeted[{newcomer, other}], greeted[{other, newcomer}]});
            }
        }
        if (last > begin) { // else it was the first
            times.push_back(last - begin);
        }
    }
    std::sort(times.begin(), times.end());
    return times;
}

/** From the last word of the one that is killed to the last question for it. */
double asked_after(const std::vector<Sent> &all) {
    std::map<std::string, double> last;
    const Sent *question = nullptr;

    for (const Sent &one : all) {
        if (one.kind == ddssim::Kind::QUESTION) {
            question = &one;
        } else {
            last[one.from] = one.time;
        }
    }
    return question != nullptr ? question->time - last[question->to] : 0;
}

/** What happens to real hosts, and so is to happen to simulated ones. */
class Timeline {
public:
    void add(const std::string &what, int host) {
        const double at = seconds_now() - begin_;
        std::array<char, 128> line{};

        (void)std::snprintf(line.data(), line.size(), "  - {at: %.4f, do: %s, hosts: %d}\n", at,
                            what.c_str(), host);
        text_ += line.data();
        last_ = at;
    }
    /**
     * Of as many hosts, for a moment longer. Ten hosts that share two processors, and do all of
     * them something when one comes, take longer to get to it than those that have their own.
     */
    std::string scenario() const {
        return "{hosts: " + std::to_string(HOSTS) +
               ", reaction: 400 us, lease: " + std::to_string(LEASE) +
               ", period: " + std::to_string(PERIOD) + ", for: " + std::to_string(last_ + 0.2) +
               "}";
    }
    const std::string &events() const {
        return text_;
    }

private:
    const double begin_ = seconds_now();
    double last_ = 0;
    std::string text_;
};

class SimulationBesideReality : public WireTest {
protected:
    void SetUp() override {
        WireTest::SetUp();
        if (!IsSkipped() && !Recording::is_readable()) {
            GTEST_SKIP() << "needs the program tshark";
        }
        if (following::IS_INSTRUMENTED) {
            GTEST_SKIP() << "instrumented hosts are too slow to be those that are simulated";
        }
    }

    /** Ten hosts start one after the other, one is killed, the others leave. */
    std::vector<Sent> run() {
        std::vector<std::unique_ptr<Host>> hosts;
        std::vector<std::unique_ptr<Neighbour>> neighbours;

        for (int i = 1; i <= HOSTS; ++i) {
            const std::string number = std::to_string(i);

            hosts.push_back(std::make_unique<Host>("host" + number,
                                                   discovery::Texts{"10.0.0." + number + "/16"}));
        }
        Recording recording("wire");

        timeline_.emplace();
        for (int i = 1; i <= HOSTS; ++i) {
            neighbours.push_back(
                std::make_unique<Neighbour>(*hosts[static_cast<std::size_t>(i - 1)],
                                            discovery::json{{"lease", LEASE}, {"period", PERIOD}}));
            timeline_->add("start", i);
        }
        for (const auto &one : neighbours) {
            for (const auto &other : neighbours) {
                EXPECT_TRUE(one == other || one->comes_to_know(*other));
            }
        }
        const std::unique_ptr<Neighbour> killed = std::move(neighbours.back());

        neighbours.pop_back();
        (void)killed->process().stop(SIGKILL);
        timeline_->add("kill", HOSTS);
        for (const auto &one : neighbours) {
            (void)one->wait_for_change("lost", killed->guid());
        }
        for (std::size_t i = 0; i < neighbours.size(); ++i) {
            neighbours[i]->leave();
            timeline_->add("leave", static_cast<int>(i) + 1);
            for (std::size_t j = i + 1; j < neighbours.size(); ++j) {
                (void)neighbours[j]->wait_for_change("left", neighbours[i]->guid());
            }
        }
        recording.stop();
        return read(recording.path());
    }

    std::vector<Sent> simulate() const {
        const std::string path = std::filesystem::temp_directory_path() /
                                 ("simulated." + std::to_string(getpid()) + ".pcapng");
        ddssim::Scenario scenario;
        simnet::Capture capture(path);

        ddssim::read_scenario(timeline_->scenario(), "scenario", scenario);
        ddssim::read_scenario("events:\n" + timeline_->events(), "events", scenario);
        ddssim::check(scenario);
        (void)ddssim::simulate(scenario, 1,
                               {&capture, [](const ddssim::Progress &) { return true; }});
        capture.close();
        std::vector<Sent> all = read(path);

        (void)std::filesystem::remove(path);
        return all;
    }

private:
    std::optional<Timeline> timeline_;
};

TEST_F(SimulationBesideReality, AsManyDatagramsOfEachKindAreSent) {
    constexpr double TOLERANCE = 0.05;
    const std::vector<Sent> real = run();
    const std::vector<Sent> simulated = simulate();
    std::map<ddssim::Kind, double> real_counts = counts_of(real);
    std::map<ddssim::Kind, double> simulated_counts = counts_of(simulated);

    for (int i = 0; i < static_cast<int>(ddssim::KINDS); ++i) {
        const auto kind = static_cast<ddssim::Kind>(i);

        std::printf("[ MEASURED ] %-18s %5.0f real, %5.0f simulated\n", to_text(kind),
                    real_counts[kind], simulated_counts[kind]);
        EXPECT_NEAR(real_counts[kind], simulated_counts[kind],
                    std::max(1.0, TOLERANCE * real_counts[kind]))
            << to_text(kind);
    }
    const std::vector<double> real_times = greeting_times_of(real);
    const std::vector<double> simulated_times = greeting_times_of(simulated);

    // How busy the machine is decides these.
    ASSERT_EQ(real_times.size(), HOSTS - 1u);
    ASSERT_EQ(simulated_times.size(), HOSTS - 1u);
    for (const int i : {(HOSTS - 2) / 2, HOSTS - 2}) {
        const auto at = static_cast<std::size_t>(i);

        std::printf("[ MEASURED ] greeted, the %d. of %d: %.3f ms real, %.3f ms simulated\n", i + 1,
                    HOSTS - 1, 1'000 * real_times.at(at), 1'000 * simulated_times.at(at));
    }
    std::printf("[ MEASURED ] the killed one was asked for until %.3f s real, %.3f s simulated\n",
                asked_after(real), asked_after(simulated));
}

} // namespace
