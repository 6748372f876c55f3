// SPDX-License-Identifier: Apache-2.0
#include "host/network_namespaces.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "fed_host.h"

using host::label_of;
using host::net_directory;
using host::network_namespaces;
using host::NetworkNamespace;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

/** Processes in networks, each of which has tables of its own. */
class NetworkNamespaces : public testing::Test {
protected:
    NetworkNamespaces() {
        host_.put("networks/own/udp", "");
        host_.put("networks/other/udp", "");
        host_.link("proc/self/net", host_.path("networks/own").string());
        put_process(1, "own");
    }

    void put_process(int id, const std::string &network, const std::string &cgroups = "") const {
        host_.put_process(id, "process", 0, cgroups);
        host_.link("proc/" + std::to_string(id) + "/net",
                   host_.path("networks/" + network).string());
    }
    /** As to somebody who may look at the process. */
    void put_number(int id, ino_t number) const {
        host_.link("proc/" + std::to_string(id) + "/ns/net",
                   "net:[" + std::to_string(number) + "]");
    }
    std::vector<NetworkNamespace> found() const {
        return network_namespaces(host_.files());
    }

    const FedHost host_;
};

TEST_F(NetworkNamespaces, AreAsManyAsProcessesAreIn) {
    put_process(2, "other");
    put_process(3, "own");
    put_process(4, "other");
    const auto spaces = found();

    ASSERT_THAT(spaces, SizeIs(2));
    EXPECT_THAT(spaces[0].processes, ElementsAre(1, 3));
    EXPECT_THAT(spaces[1].processes, ElementsAre(2, 4));
}

TEST_F(NetworkNamespaces, BeginWithTheCallers) {
    std::filesystem::remove_all(host_.path("proc/1"));
    put_process(2, "other");
    put_process(3, "own");
    const auto spaces = found();

    ASSERT_THAT(spaces, SizeIs(2));
    EXPECT_TRUE(spaces[0].is_own);
    EXPECT_FALSE(spaces[1].is_own);
}

TEST_F(NetworkNamespaces, HaveTheNumberThatAnyOfTheirProcessesTells) {
    put_process(3, "own");
    put_number(3, 4026531840);
    EXPECT_EQ(found()[0].number, 4026531840);
}

TEST_F(NetworkNamespaces, HaveNoNumberThatNoneTells) {
    EXPECT_EQ(found()[0].number, std::nullopt);
}

TEST_F(NetworkNamespaces, HaveTheNameThatTheyWereGiven) {
    host_.put("run/netns/blue", "");
    struct stat status = {};
    ASSERT_EQ(stat(host_.path("run/netns/blue").c_str(), &status), 0);
    put_process(2, "other");
    put_number(2, status.st_ino);
    EXPECT_EQ(found()[1].name, "blue");
    EXPECT_EQ(found()[0].name, "");
}

TEST_F(NetworkNamespaces, AreThoseOfTheirFirstProcesssContainer) {
    put_process(2, "other", "0::/lxc/box\n");
    put_process(3, "own", "0::/lxc/box-without-a-network-of-its-own\n");
    EXPECT_EQ(found()[1].container, "box");
    EXPECT_EQ(found()[0].container, "");
}

TEST_F(NetworkNamespaces, AreReachedByAnyProcessThatIsStillThere) {
    put_process(2, "other");
    put_process(3, "other");
    const auto spaces = found();
    std::filesystem::remove_all(host_.path("proc/2"));
    EXPECT_EQ(net_directory(spaces[1], host_.files()), host_.path("proc/3/net"));
}

TEST_F(NetworkNamespaces, AreGoneWithTheirLastProcess) {
    put_process(2, "other");
    const auto spaces = found();
    std::filesystem::remove_all(host_.path("proc/2"));
    EXPECT_EQ(net_directory(spaces[1], host_.files()), std::nullopt);
}

TEST_F(NetworkNamespaces, OfTheKernelAreFound) {
    const auto spaces = network_namespaces();

    ASSERT_FALSE(spaces.empty());
    EXPECT_TRUE(spaces[0].is_own);
    EXPECT_NE(spaces[0].number, std::nullopt);
    EXPECT_NE(net_directory(spaces[0]), std::nullopt);
}

TEST(LabelOfANetworkNamespace, IsTheMostTelling) {
    NetworkNamespace space;

    space.processes = {812};
    EXPECT_EQ(label_of(space), "of process 812");
    space.number = 4026531840;
    EXPECT_EQ(label_of(space), "net:[4026531840]");
    space.is_own = true;
    EXPECT_EQ(label_of(space), "own");
    space.name = "blue";
    EXPECT_EQ(label_of(space), "blue");
    space.container = "box";
    EXPECT_EQ(label_of(space), "box");
}

} // namespace
