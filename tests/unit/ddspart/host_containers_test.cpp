// SPDX-License-Identifier: Apache-2.0
#include "host/containers.h"

#include <gtest/gtest.h>

using host::container_of;

namespace {

const std::string NUMBER = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

TEST(Container, IsNoneOfAProcessOfTheHost) {
    EXPECT_EQ(container_of("0::/user.slice/user-1000.slice/session-2.scope\n"), "");
    EXPECT_EQ(container_of("0::/\n"), "");
    EXPECT_EQ(container_of(""), "");
}

TEST(Container, HasTheFirstDigitsOfItsNumber) {
    EXPECT_EQ(container_of("0::/docker/" + NUMBER + "\n"), "0123456789ab");
    EXPECT_EQ(container_of("0::/kubepods/besteffort/pod1-2/" + NUMBER + "\n"), "0123456789ab");
}

TEST(Container, HasTheFirstDigitsOfItsNumberInAScope) {
    EXPECT_EQ(container_of("0::/system.slice/docker-" + NUMBER + ".scope\n"), "0123456789ab");
    EXPECT_EQ(container_of("0::/kubepods.slice/cri-containerd-" + NUMBER + ".scope\n"),
              "0123456789ab");
}

TEST(Container, IsFoundAboveItsOwnGroups) {
    EXPECT_EQ(container_of("0::/machine.slice/libpod-" + NUMBER + ".scope/container\n"),
              "0123456789ab");
    EXPECT_EQ(container_of("0::/lxc.payload.box/init.scope\n"), "box");
}

TEST(Container, HasItsName) {
    EXPECT_EQ(container_of("0::/lxc.payload.box\n"), "box");
    EXPECT_EQ(container_of("0::/lxc/box\n"), "box");
    EXPECT_EQ(container_of("0::/machine.slice/machine-box.scope/payload\n"), "box");
    EXPECT_EQ(container_of("0::/machine.slice/systemd-nspawn@box.service/payload\n"), "box");
}

TEST(Container, HasADashInItsName) {
    EXPECT_EQ(container_of("0::/machine.slice/machine-my\\x2dbox.scope\n"), "my-box");
}

TEST(Container, IsTheOneOfAnyHierarchy) {
    EXPECT_EQ(container_of("2:cpu:/\n1:memory:/docker/" + NUMBER + "\n0::/\n"), "0123456789ab");
}

TEST(Container, SteersNoTerminal) {
    EXPECT_EQ(container_of("0::/lxc/a\x1b[2J\n"), "a\\x1b[2J");
}

} // namespace
