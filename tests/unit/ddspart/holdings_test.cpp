// SPDX-License-Identifier: Apache-2.0
#include "holdings.h"

#include <gmock/gmock.h>

#include "fed_host.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

/** A line of a table of sockets. */
std::string socket_line(unsigned port, unsigned user, unsigned inode) {
    std::array<char, 160> line = {};

    (void)std::snprintf(line.data(), line.size(),
                        " 1: 00000000:%04X 00000000:0000 07 00000000:00000000 00:00000000 00000000 "
                        "%u 0 %u 2 0000000000000000 0\n",
                        port, user, inode);
    return line.data();
}

class HoldingsTest : public testing::Test {
protected:
    HoldingsTest() {
        put_network("own", socket_line(7410, 0, 77) + socket_line(53, 0, 78));
        put_network("other", socket_line(7410, 1000, 79));
        host_.link("proc/self/net", host_.path("own").string());
        put_process(1, "init", "own");
        put_process(812, "talker", "own");
        put_process(900, "listener", "other");
    }
    void put_network(const std::string &name, const std::string &sockets) const {
        host_.put(name + "/udp", sockets);
    }
    void put_process(int id, const std::string &name, const std::string &network) const {
        host_.put_process(id, name, 0);
        host_.link("proc/" + std::to_string(id) + "/net", host_.path(network).string());
    }
    Holdings look(bool all_networks = false, std::optional<pid_t> but = std::nullopt) const {
        return holdings(port_map(DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER), all_networks, but,
                        host_.files());
    }

    const FedHost host_;
};

TEST_F(HoldingsTest, AreThoseOfPortsOfTheMapping) {
    host_.put_socket(812, 3, 77);
    host_.put_socket(812, 4, 78);
    const Holdings found = look();

    ASSERT_THAT(found.all, SizeIs(1));
    EXPECT_EQ(found.all[0].socket.port, 7410);
    ASSERT_THAT(found.all[0].holders, SizeIs(1));
    EXPECT_EQ(process_of(found.all[0].holders[0]), "talker (812)");
}

TEST_F(HoldingsTest, AreThoseOfAllNetworksWhereAskedFor) {
    host_.put_socket(900, 3, 79);
    const Holdings found = look(true);

    ASSERT_THAT(found.networks, SizeIs(2));
    ASSERT_THAT(found.all, SizeIs(2));
    EXPECT_EQ(found.all[1].network, 1u);
    EXPECT_EQ(process_of(found.all[1].holders[0]), "listener (900)");
}

TEST_F(HoldingsTest, OfNobodyHaveTheUserOfTheSocket) {
    const Holdings found = look(true);

    ASSERT_THAT(found.all, SizeIs(2));
    EXPECT_EQ(found.all[1].holders[0].process, std::nullopt);
    EXPECT_EQ(found.all[1].holders[0].user, 1000u);
    EXPECT_EQ(process_of(found.all[1].holders[0]), "");
}

TEST_F(HoldingsTest, OfTheToolItselfAreLeftOut) {
    host_.put_socket(812, 3, 77);
    EXPECT_THAT(look(false, 812).all, IsEmpty());
}

TEST_F(HoldingsTest, ThatTheToolSharesWithOthersStay) {
    host_.put_socket(812, 3, 77);
    host_.put_socket(1, 3, 77);
    EXPECT_THAT(look(false, 812).all, SizeIs(1));
}

TEST_F(HoldingsTest, TellWhetherAllProcessesAreSeen) {
    EXPECT_TRUE(look().shows_all_processes);
    host_.put("proc/813/fd", "");
    EXPECT_FALSE(look().shows_all_processes);
}

TEST_F(HoldingsTest, ThatCannotBeReadAreAnError) {
    std::filesystem::remove(host_.path("own/udp"));
    EXPECT_THROW((void)look(), std::system_error);
}

} // namespace
