// SPDX-License-Identifier: Apache-2.0
// What must hold of turns, lists and snapshots, asserted where asserts are on.
#include "../../../lower/netio/src/reactor/linkedList.h"

#include "memory_network.h"

namespace {

class Invariant : public testing::Test {
protected:
    void SetUp() override {
#ifdef NDEBUG
        GTEST_SKIP() << "asserts are off in this build";
#endif
    }
};

using InvariantDeathTest = Invariant;

TEST_F(InvariantDeathTest, ALoopDoesNotEndATurnThatItIsNotWithin) {
    net::VirtualClock clock;
    net::MemoryNetwork network;
    net::VirtualHost host(clock, network);
    host.loop.denies_its_turns = true;
    EXPECT_DEATH(host.loop.pass(0), "on_turn: 'self->is_within_turn\\(\\)'");
    host.loop.denies_its_turns = false;
}

TEST_F(InvariantDeathTest, ALoopDoesNotReadOutsideATurn) {
    net::VirtualClock clock;
    net::MemoryNetwork network;
    net::Inbox inbox;
    net::VirtualHost host(clock, network);
    const net::VirtualConfigurator configurator(host);
    const NUVNetioLocator port = net::locator("192.0.2.1:7410");
    NUVNetioReceiveResource *const resource = configurator.open(port, inbox);
    ASSERT_TRUE(configurator.send(port, "hello"));
    host.loop.denies_its_turns = true;
    EXPECT_DEATH(host.loop.pass(0), "on_readable: 'self->is_within_turn\\(\\)'");
    host.loop.denies_its_turns = false;
    inbox.release(resource, host.worker());
}

TEST_F(InvariantDeathTest, WhatIsFirstInAListIsNotPutThereAgain) {
    struct Item {
        Item *next = nullptr;
    };
    Item item;
    netio::LinkedList<Item, &Item::next> list;
    list.prepend(&item);
    EXPECT_DEATH(list.prepend(&item), "item != first_");
}

TEST_F(InvariantDeathTest, ASnapshotIsNotReadBeyondItsEnds) {
    net::Runtime runtime({net::interface("eth0", 2, "192.0.2.2")});
    const NUVNetioInterfaceSnapshot *const snapshot =
        NUVNetioRuntime_acquireInterfaces(runtime.runtime);
    EXPECT_DEATH((void)NUVNetioInterfaceSnapshot_get(snapshot, -1), "i >= 0");
    EXPECT_DEATH((void)NUVNetioInterfaceSnapshot_get(snapshot, 1), "i < self->length");
    NUVNetioInterfaceSnapshot_release(snapshot);
}

} // namespace
