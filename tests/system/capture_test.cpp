// SPDX-License-Identifier: Apache-2.0
// What is captured of a simulated network, as another tool reads it.
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../unit/simnet/simulated.h"
#include "process.h"
#include "simnet/simnet_capture.h"

namespace {

/** Ten hosts that send to each other and to groups, in one packet and in fragments. */
class CaptureTest : public testing::Test {
protected:
    CaptureTest() {
        for (int i = 1; i <= 10; ++i) {
            const std::string number = std::to_string(i);
            simnet::Process &process =
                net_.add("host" + number, {"192.0.2." + number + "/24", "fd00::" + number + "/64"},
                         {.mtu = i % 2 == 0 ? 1500u : 576u});
            nodes_.push_back(std::make_unique<sim::Node>(process, "udpv4,udpv6"));
            for (const char *at :
                 {"239.255.0.1:17400", "[ff15::1]:17401", "192.0.2.1:17410", "[fd00::1]:17411"}) {
                EXPECT_TRUE(nodes_.back()->open(at));
            }
        }
        net_.world.tap(&capture_);
        for (const auto &node : nodes_) {
            for (const char *to :
                 {"239.255.0.1:17400", "[ff15::1]:17401", "192.0.2.3:17410", "[fd00::8]:17411"}) {
                for (const std::size_t size : {1u, 333u, 5'000u}) {
                    EXPECT_TRUE(node->send(to, std::string(size, 'x')));
                    net_.world.run_for(simnet::MILLISECOND);
                }
            }
        }
        net_.world.run_for(simnet::SECOND);
        net_.world.tap(nullptr);
        capture_.close();
    }
    ~CaptureTest() override {
        std::filesystem::remove(path_);
    }

    /** What tshark prints of the frames that a filter lets pass; false when there is no tshark. */
    bool read(const std::string &filter, const std::string &field) {
        Process tshark({"tshark", "-n", "-r", path_, "-o", "ip.check_checksum:TRUE", "-o",
                        "udp.check_checksum:TRUE", "-Y", filter, "-T", "fields", "-e",
                        "frame.number", "-e", field});
        const int code = tshark.wait().code;
        EXPECT_TRUE(code == 0 || code == NO_PROGRAM) << tshark.errors();
        output_ = tshark.output();
        return code != NO_PROGRAM;
    }

    static constexpr int NO_PROGRAM = 127;
    // To itself a host sends two of its datagrams thrice: nobody sees these.
    static constexpr std::size_t DATAGRAMS = 10 * 4 * 3 - 2 * 3;

    const std::string path_ = std::filesystem::temp_directory_path() /
                              ("capture." + std::to_string(getpid()) + ".pcapng");
    sim::Net net_;
    std::vector<std::unique_ptr<sim::Node>> nodes_;
    simnet::Capture capture_{path_};
    std::string output_;
};

TEST_F(CaptureTest, TsharkFindsNothingMalformedAndHasNothingToWarnOf) {
    if (!read("_ws.malformed || _ws.expert.severity >= warning", "_ws.expert.message")) {
        GTEST_SKIP() << "needs the program tshark";
    }
    EXPECT_EQ(output_, "");
}

TEST_F(CaptureTest, TsharkPutsEachDatagramTogether) {
    if (!read("udp", "udp.length")) {
        GTEST_SKIP() << "needs the program tshark";
    }
    EXPECT_EQ(count(output_, "\n"), DATAGRAMS);
    EXPECT_EQ(count(output_, "\t5008\n"), DATAGRAMS / 3);
    EXPECT_EQ(count(output_, "\t341\n"), DATAGRAMS / 3);
}

TEST_F(CaptureTest, TsharkFindsEachChecksumRight) {
    if (!read("udp.checksum.status != 1 || ip.checksum.status != 1", "udp.checksum.status")) {
        GTEST_SKIP() << "needs the program tshark";
    }
    EXPECT_EQ(output_, "");
}

} // namespace
