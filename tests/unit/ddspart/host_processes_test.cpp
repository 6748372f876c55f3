// SPDX-License-Identifier: Apache-2.0
#include "host/processes.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fed_host.h"

using host::HostProcess;
using host::process_ids;
using host::process_of;
using host::socket_holders;
using host::SocketHolders;
using host::user_name;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class Processes : public testing::Test {
protected:
    Processes() {
        host_.put_process(1, "init", 0);
    }

    const FedHost host_;
};

TEST_F(Processes, AreTheNumbersAmongTheFiles) {
    host_.put_process(10, "ten", 0);
    host_.put_process(9, "nine", 0);
    host_.put("proc/version", "");
    EXPECT_THAT(process_ids(host_.files()), ElementsAre(1, 9, 10));
}

TEST_F(Processes, HaveANameAUserAndAContainer) {
    host_.put_process(812, "talker", 1000, "0::/lxc/box\n");
    EXPECT_EQ(process_of(812, host_.files()), (HostProcess{812, "talker", 1000, "box"}));
}

TEST_F(Processes, HaveNamesThatSteerNoTerminal) {
    host_.put_process(812, "a\x1b[2J\nb", 1000);
    EXPECT_EQ(process_of(812, host_.files())->name, "a\\x1b[2J\\x0ab");
}

TEST_F(Processes, AreStoppedBySignalsAndByThoseWhoTraceThem) {
    host_.put_process(812, "talker", 1000);
    EXPECT_FALSE(host::is_stopped(812, host_.files()));
    for (const char *const state : {"T (stopped)", "t (tracing stop)", "S (sleeping)"}) {
        host_.put("proc/812/status", "Name:\ttalker\nState:\t" + std::string(state) + "\n");
        EXPECT_EQ(host::is_stopped(812, host_.files()), *state != 'S') << state;
    }
}

TEST_F(Processes, AreNoneOnceTheyAreGone) {
    EXPECT_EQ(process_of(812, host_.files()), std::nullopt);
}

TEST_F(Processes, HoldSockets) {
    host_.put_process(812, "talker", 1000);
    host_.put_socket(812, 3, 77);
    host_.put_socket(812, 4, 78);
    const SocketHolders holders = socket_holders({77}, host_.files());

    EXPECT_THAT(holders.by_inode, ElementsAre(Pair(77, ElementsAre(812))));
    EXPECT_TRUE(holders.is_complete);
}

TEST_F(Processes, MayHoldTheSameSocket) {
    host_.put_process(812, "talker", 1000);
    host_.put_process(813, "child", 1000);
    host_.put_socket(812, 3, 77);
    host_.put_socket(813, 3, 77);
    EXPECT_THAT(socket_holders({77}, host_.files()).by_inode,
                ElementsAre(Pair(77, ElementsAre(812, 813))));
}

TEST_F(Processes, HoldOtherThingsThanSockets) {
    host_.put_process(812, "talker", 1000);
    host_.link("proc/812/fd/0", "/dev/null");
    host_.link("proc/812/fd/1", "pipe:[77]");
    EXPECT_THAT(socket_holders({77}, host_.files()).by_inode, IsEmpty());
}

TEST_F(Processes, ThatEndMeanwhileHideNothing) {
    std::filesystem::create_directories(host_.path("proc/812")); // without descriptors
    EXPECT_TRUE(socket_holders({77}, host_.files()).is_complete);
}

TEST_F(Processes, WithoutTheFirstAreNotAll) {
    std::filesystem::remove_all(host_.path("proc/1"));
    EXPECT_FALSE(socket_holders({77}, host_.files()).is_complete);
}

TEST_F(Processes, WithHiddenDescriptorsMayHoldAnything) {
    host_.put("proc/812/fd", ""); // as little a directory that can be read as one of another user
    EXPECT_FALSE(socket_holders({77}, host_.files()).is_complete);
}

TEST_F(Processes, OfTheKernelAreFound) {
    int ends[2] = {};
    struct stat status = {};

    ASSERT_EQ(pipe(ends), 0); // no socket, but with an inode
    ASSERT_EQ(fstat(ends[0], &status), 0);
    EXPECT_THAT(process_ids(), testing::Contains(getpid()));
    EXPECT_EQ(process_of(getpid())->user, geteuid());
    EXPECT_THAT(socket_holders({status.st_ino}).by_inode, IsEmpty());
    EXPECT_EQ(close(ends[0]) + close(ends[1]), 0);
}

TEST(UserName, IsThatOfRoot) {
    EXPECT_EQ(user_name(0), "root");
}

TEST(UserName, IsANumberWhereThereIsNone) {
    EXPECT_EQ(user_name(4294967000), "4294967000");
}

} // namespace
