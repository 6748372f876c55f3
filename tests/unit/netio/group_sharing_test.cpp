// SPDX-License-Identifier: Apache-2.0
// A group and port is received once for all who want it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "memory_network.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

using net::group;
using support::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr NUV_UINT32 A0 = 2; // the interfaces of the host
constexpr NUV_UINT32 B0 = 3;

class GroupSharingTest : public testing::Test {
protected:
    /** The one socket of the group. */
    net::MemoryNetwork::Open &socket() {
        EXPECT_EQ(network.sockets.size(), 1u);
        return network.sockets.begin()->second;
    }
    void arrive(const std::string &data, NUV_UINT32 interface) {
        network.arrive(group(), data, interface);
        host.loop.pass(0);
    }
    bool release(NUVNetioReceiveResource *resource) {
        return NUVNetioReceiveResource_release(resource, host.worker()) != 0;
    }

    net::VirtualClock clock;
    net::MemoryNetwork network;
    net::Inbox first_inbox;
    net::Inbox second_inbox;
    net::VirtualHost host{clock, network};
    net::VirtualConfigurator first{host};
    net::VirtualConfigurator second{host};
};

TEST_F(GroupSharingTest, DatagramIsReceivedOnceForAll) {
    NUVNetioReceiveResource *const one = first.open(group(), first_inbox);
    NUVNetioReceiveResource *const two = second.open(group(), second_inbox);
    EXPECT_EQ(network.sockets.size(), 1u);
    arrive("hello", A0);
    EXPECT_EQ(network.received, 1);
    EXPECT_THAT(net::texts(first_inbox), ElementsAre("hello"));
    EXPECT_THAT(net::texts(second_inbox), ElementsAre("hello"));
    EXPECT_TRUE(release(one));
    EXPECT_TRUE(release(two));
}

TEST_F(GroupSharingTest, OtherPortOfTheGroupIsAnotherSocket) {
    NUVNetioReceiveResource *const one = first.open(group(), first_inbox);
    NUVNetioReceiveResource *const two =
        second.open(net::locator("239.255.0.1:7401"), second_inbox);
    EXPECT_EQ(network.sockets.size(), 2u);
    EXPECT_TRUE(release(one));
    EXPECT_TRUE(release(two));
}

TEST_F(GroupSharingTest, ReleaseByOneLeavesTheGroupToTheOther) {
    NUVNetioReceiveResource *const one = first.open(group(), first_inbox);
    NUVNetioReceiveResource *const two = second.open(group(), second_inbox);
    EXPECT_TRUE(release(one));
    arrive("hello", A0);
    EXPECT_THAT(net::texts(first_inbox), IsEmpty());
    EXPECT_THAT(net::texts(second_inbox), ElementsAre("hello"));
    EXPECT_THAT(socket().joined, ElementsAre(A0, B0));
    EXPECT_TRUE(release(two));
}

TEST_F(GroupSharingTest, LastReleaseClosesTheSocket) {
    NUVNetioReceiveResource *const one = first.open(group(), first_inbox);
    NUVNetioReceiveResource *const two = second.open(group(), second_inbox);
    EXPECT_TRUE(release(two));
    EXPECT_EQ(network.sockets.size(), 1u);
    EXPECT_TRUE(release(one));
    EXPECT_TRUE(network.sockets.empty());
}

/** Releases resources within its first message. */
struct Releasing {
    std::vector<NUVNetioReceiveResource *> resources;
    std::vector<int> answers;
    int messages = 0;
    int closed = 0;

    NUVNetioReceiveListener listener() {
        return {on_message, on_closed, this};
    }
    static void on_message(void *param, const NUVNetioMessage *, REDAWorker *worker) {
        auto *self = static_cast<Releasing *>(param);
        ++self->messages;
        for (NUVNetioReceiveResource *resource : std::exchange(self->resources, {})) {
            self->answers.push_back(NUVNetioReceiveResource_release(resource, worker));
        }
        EXPECT_EQ(self->closed, 0);
    }
    static void on_closed(void *param, REDAWorker *worker) {
        EXPECT_NE(worker, nullptr);
        ++static_cast<Releasing *>(param)->closed;
    }
};

class ReleaseWithinMessageTest : public GroupSharingTest {
protected:
    NUVNetioReceiveResource *open_releasing() {
        const NUVNetioReceiveListener listener = releasing.listener();
        return NUVNetioConfigurator_openReceiveResource(first.self, &group(), &listener,
                                                        host.worker());
    }

    Releasing releasing;
};

TEST_F(ReleaseWithinMessageTest, OfTheOneThatIsCalledIsClosedLaterAndLeavesTheOther) {
    releasing.resources = {open_releasing()};
    NUVNetioReceiveResource *const two = second.open(group(), second_inbox);
    arrive("hello", A0);
    EXPECT_THAT(releasing.answers, ElementsAre(0));
    EXPECT_EQ(releasing.closed, 1);
    EXPECT_THAT(net::texts(second_inbox), ElementsAre("hello"));
    arrive("again", A0);
    EXPECT_EQ(releasing.messages, 1);
    EXPECT_TRUE(release(two));
}

TEST_F(ReleaseWithinMessageTest, OfAnotherIsClosedAtOnceAndNotCalledAnyMore) {
    NUVNetioReceiveResource *const one = open_releasing();
    releasing.resources = {second.open(group(), second_inbox)};
    arrive("hello", A0);
    EXPECT_THAT(releasing.answers, ElementsAre(1));
    EXPECT_THAT(net::texts(second_inbox), IsEmpty());
    EXPECT_TRUE(release(one));
    EXPECT_EQ(releasing.closed, 0);
}

TEST_F(ReleaseWithinMessageTest, OfAllOfThemClosesTheSocketAtOnce) {
    releasing.resources = {open_releasing(), second.open(group(), second_inbox)};
    network.arrive(group(), "hello", A0);
    network.arrive(group(), "again", A0);
    host.loop.pass(0);
    EXPECT_THAT(releasing.answers, ElementsAre(0, 1));
    EXPECT_EQ(releasing.messages, 1);
    EXPECT_EQ(releasing.closed, 1);
    EXPECT_TRUE(network.sockets.empty());
}

TEST_F(GroupSharingTest, MoreThanFitAtFirstAllReceive) {
    std::vector<NUVNetioReceiveResource *> resources;
    for (int i = 0; i < 20; ++i) {
        resources.push_back(first.open(group(), first_inbox));
    }
    arrive("hello", A0);
    EXPECT_EQ(first_inbox.messages().size(), 20u);
    EXPECT_EQ(network.received, 1);
    for (NUVNetioReceiveResource *resource : resources) {
        EXPECT_TRUE(release(resource));
    }
}

// ---- restricted interfaces

class RestrictedSharingTest : public GroupSharingTest {
protected:
    net::VirtualConfigurator on_a0{host, {"a0"}};
    net::VirtualConfigurator on_b0{host, {"b0"}};
};

TEST_F(RestrictedSharingTest, EachReceivesByItsOwnInterfaces) {
    net::Inbox everywhere;
    NUVNetioReceiveResource *const one = on_a0.open(group(), first_inbox);
    NUVNetioReceiveResource *const two = on_b0.open(group(), second_inbox);
    NUVNetioReceiveResource *const all = first.open(group(), everywhere);
    arrive("by a0", A0);
    arrive("by b0", B0);
    EXPECT_THAT(net::texts(first_inbox), ElementsAre("by a0"));
    EXPECT_THAT(net::texts(second_inbox), ElementsAre("by b0"));
    EXPECT_THAT(net::texts(everywhere), ElementsAre("by a0", "by b0"));
    for (NUVNetioReceiveResource *resource : {one, two, all}) {
        EXPECT_TRUE(release(resource));
    }
}

TEST_F(RestrictedSharingTest, GroupIsJoinedWhereAnyOfThemWantsIt) {
    NUVNetioReceiveResource *const one = on_a0.open(group(), first_inbox);
    EXPECT_THAT(socket().joined, ElementsAre(A0));
    NUVNetioReceiveResource *const two = on_b0.open(group(), second_inbox);
    EXPECT_THAT(socket().joined, ElementsAre(A0, B0));
    EXPECT_TRUE(release(one));
    EXPECT_THAT(socket().joined, ElementsAre(B0));
    EXPECT_TRUE(release(two));
}

TEST_F(RestrictedSharingTest, LastWithoutRestrictionLeavesWhatOnlyItWanted) {
    NUVNetioReceiveResource *const one = on_a0.open(group(), first_inbox);
    NUVNetioReceiveResource *const two = first.open(group(), second_inbox);
    NUVNetioReceiveResource *const three = second.open(group(), second_inbox);
    EXPECT_TRUE(release(two));
    EXPECT_THAT(socket().joined, ElementsAre(A0, B0));
    EXPECT_TRUE(release(three));
    EXPECT_THAT(socket().joined, ElementsAre(A0));
    EXPECT_TRUE(release(one));
}

TEST_F(RestrictedSharingTest, ChangesOfTheInterfacesAreFollowedForEach) {
    NUVNetioReceiveResource *const one = on_a0.open(group(), first_inbox);
    NUVNetioReceiveResource *const two = first.open(group(), second_inbox);
    host.interfaces.set(
        {net::interface("a0", 7, "192.0.2.1"), net::interface("c0", A0, "192.0.2.8")});
    EXPECT_NE(NUVNetioRuntime_renewInterfaces(host.runtime, host.worker()), 0);
    EXPECT_THAT(socket().joined, ElementsAre(A0, 7u));
    arrive("by a0", 7);
    arrive("by c0", A0); // whose number was that of a0
    EXPECT_THAT(net::texts(first_inbox), ElementsAre("by a0"));
    EXPECT_THAT(net::texts(second_inbox), ElementsAre("by a0", "by c0"));
    EXPECT_TRUE(release(one));
    EXPECT_TRUE(release(two));
}

TEST_F(RestrictedSharingTest, WhatAnotherHadLetInAndLeftIsNotHandedOn) {
    NUVNetioReceiveResource *const one = on_a0.open(group(), first_inbox);
    NUVNetioReceiveResource *const two = on_b0.open(group(), second_inbox);
    network.arrive(group(), "by b0", B0); // and waits
    EXPECT_TRUE(release(two));
    arrive("by a0", A0);
    EXPECT_THAT(net::texts(first_inbox), ElementsAre("by a0"));
    EXPECT_TRUE(release(one));
}

TEST_F(RestrictedSharingTest, WhatAnotherHadLetInAndLeftIsNotHandedOnToUnrestrictedOnes) {
    host.interfaces.set(
        {net::interface("lo", 1, "127.0.0.1"), net::interface("a0", A0, "192.0.2.1")});
    EXPECT_NE(NUVNetioRuntime_renewInterfaces(host.runtime, host.worker()), 0);
    NUVNetioReceiveResource *const one = on_b0.open(group(), first_inbox); // by loopback
    NUVNetioReceiveResource *const two = first.open(group(), second_inbox);
    network.arrive(group(), "by lo", 1); // and waits
    EXPECT_TRUE(release(one));
    arrive("by a0", A0);
    EXPECT_THAT(net::texts(second_inbox), ElementsAre("by a0"));
    EXPECT_TRUE(release(two));
}

TEST_F(RestrictedSharingTest, OneWithoutMemoryForItsFilterGoesOnReceiving) {
    const faults::Guard guard;
    std::vector<NUVNetioInterface> many = {net::interface("lo", 1, "127.0.0.1")};
    for (NUV_UINT32 i = A0; i < A0 + 5; ++i) {
        many.push_back(net::interface("a", i, "192.0.2.1"));
    }
    host.interfaces.set(many);
    EXPECT_NE(NUVNetioRuntime_renewInterfaces(host.runtime, host.worker()), 0);
    NUVNetioReceiveResource *const one = first.open(group(), first_inbox);
    faults::fail_allocation(2); // the first is the share's
    NUVNetioReceiveResource *const two = on_b0.open(group(), second_inbox);
    EXPECT_TRUE(faults::happened());
    for (NUV_UINT32 i = A0; i < A0 + 5; ++i) {
        arrive("by it", i);
    }
    EXPECT_EQ(first_inbox.messages().size(), 5u);
    host.loop.pass(1'000'000'000); // when it is tried again
    arrive("by lo", 1);
    EXPECT_EQ(first_inbox.messages().size(), 5u);
    EXPECT_THAT(net::texts(second_inbox), ElementsAre("by lo"));
    EXPECT_TRUE(release(one));
    EXPECT_TRUE(release(two));
}

TEST_F(RestrictedSharingTest, LoopbackOfOneThatHasNothingElseIsNotTheOthers) {
    host.interfaces.set(
        {net::interface("lo", 1, "127.0.0.1"), net::interface("a0", A0, "192.0.2.1")});
    EXPECT_NE(NUVNetioRuntime_renewInterfaces(host.runtime, host.worker()), 0);
    const LogCapture log;
    const net::VirtualConfigurator on_none(host, {"gone0"});
    NUVNetioReceiveResource *const one = on_none.open(group(), first_inbox);
    NUVNetioReceiveResource *const two = first.open(group(), second_inbox);
    EXPECT_THAT(socket().joined, ElementsAre(1u, A0));
    arrive("by lo", 1);
    arrive("by a0", A0);
    EXPECT_THAT(net::texts(first_inbox), ElementsAre("by lo"));
    EXPECT_THAT(net::texts(second_inbox), ElementsAre("by a0"));
    EXPECT_TRUE(release(one));
    EXPECT_TRUE(release(two));
}

// ---- refusals

TEST_F(RestrictedSharingTest, EachIsToldOfTheRefusalsOfItsOwnInterfaces) {
    network.refusing = {A0};
    const LogCapture log;
    NUVNetioReceiveResource *const one = on_b0.open(group(), first_inbox);
    EXPECT_THAT(log.messages(), IsEmpty());
    NUVNetioReceiveResource *const two = first.open(group(), second_inbox);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].text,
              "cannot join udpv4://239.255.0.1:7400 on a0: No such device (ENODEV)");
    clock.now += 1'000'000'000; // for a warning of its own
    NUVNetioReceiveResource *const three = second.open(group(), second_inbox);
    ASSERT_EQ(log.messages().size(), 2u);
    EXPECT_EQ(log.messages()[1].text, log.messages()[0].text);
    for (NUVNetioReceiveResource *resource : {one, two, three}) {
        EXPECT_TRUE(release(resource));
    }
}

/** An output device that waits, at the first line, until somebody else has joined a group. */
class JoiningDevice {
public:
    JoiningDevice(const net::VirtualHost &host, const net::VirtualConfigurator &configurator)
        : host_(host), configurator_(configurator) {
        KOLS_Config_Logger_set_output_device(KOLS_Config_Logger_get_instance(), take, this);
    }
    ~JoiningDevice() {
        KOLS_Config_Logger_set_output_device(KOLS_Config_Logger_get_instance(), nullptr, nullptr);
        if (thread_.joinable()) {
            thread_.join();
            EXPECT_NE(NUVNetioReceiveResource_release(resource_, host_.worker()), 0);
        }
    }
    JoiningDevice(const JoiningDevice &) = delete;
    JoiningDevice &operator=(const JoiningDevice &) = delete;

    bool has_joined_meanwhile() const {
        return has_joined_meanwhile_;
    }

private:
    static void take(void *param, const KOLS_Config_LogRecord * /*record*/) {
        auto *self = static_cast<JoiningDevice *>(param);
        if (!self->thread_.joinable()) {
            self->thread_ = std::thread([self] { self->join(); });
            self->has_joined_meanwhile_ =
                net::eventually([self] { return self->has_joined_.load(); });
        }
    }
    void join() {
        const NUVNetioReceiveListener listener = inbox_.listener();
        resource_ = NUVNetioConfigurator_openReceiveResource(
            configurator_.self, &group(), &listener, host_.factories.worker_of_this_thread());
        has_joined_ = true;
    }

    const net::VirtualHost &host_;
    const net::VirtualConfigurator &configurator_;
    net::Inbox inbox_;
    std::thread thread_;
    NUVNetioReceiveResource *resource_ = nullptr;
    std::atomic<bool> has_joined_{false};
    bool has_joined_meanwhile_ = false;
};

TEST_F(GroupSharingTest, RefusalOfANewGroupIsSaidWithNothingLocked) {
    network.refusing = {A0};
    const LogCapture log;
    const JoiningDevice device(host, second);
    NUVNetioReceiveResource *const one = first.open(group(), first_inbox);
    EXPECT_TRUE(device.has_joined_meanwhile());
    EXPECT_TRUE(release(one));
}

TEST_F(GroupSharingTest, RefusalOfANewInterfaceIsSaidWithNothingLocked) {
    NUVNetioReceiveResource *const one = first.open(group(), first_inbox);
    network.refusing = {4};
    const LogCapture log;
    const JoiningDevice device(host, second);
    host.interfaces.set(
        {net::interface("a0", A0, "192.0.2.1"), net::interface("c0", 4, "203.0.113.1")});
    EXPECT_NE(NUVNetioRuntime_renewInterfaces(host.runtime, host.worker()), 0);
    EXPECT_TRUE(device.has_joined_meanwhile());
    EXPECT_TRUE(release(one));
}

TEST_F(GroupSharingTest, RefusalAtALaterTryIsSaidWithNothingLocked) {
    network.refusing = {A0};
    network.refusal = ENOBUFS;
    NUVNetioReceiveResource *const one = first.open(group(), first_inbox);
    network.refusal = ENODEV;
    const LogCapture log;
    const JoiningDevice device(host, second);
    host.loop.pass(1'000'000'000);
    EXPECT_TRUE(device.has_joined_meanwhile());
    EXPECT_TRUE(release(one));
}

TEST_F(GroupSharingTest, FailureToJoinIsSaidWithNothingLocked) {
    const LogCapture log;
    const JoiningDevice device(host, second);
    faults::fail_allocation(1);
    EXPECT_EQ(first.open(group(), first_inbox), nullptr);
    EXPECT_TRUE(device.has_joined_meanwhile());
}

TEST_F(GroupSharingTest, WhatAQuietAttemptMeetsIsSaidToTheOthersOnly) {
    network.refusing = {A0};
    const LogCapture log;
    NUVNetioConfigurator_beginAttempt(first.self, 1);
    NUVNetioReceiveResource *const one = first.open(group(), first_inbox);
    NUVNetioConfigurator_endAttempt(first.self);
    EXPECT_THAT(log.messages(), IsEmpty());
    NUVNetioReceiveResource *const two = second.open(group(), second_inbox);
    EXPECT_EQ(log.messages().size(), 1u);
    EXPECT_TRUE(release(one));
    EXPECT_TRUE(release(two));
}

TEST_F(GroupSharingTest, RefusedInterfaceIsTriedAgainForWhoeverComesNext) {
    network.refusing = {A0};
    const LogCapture log;
    NUVNetioReceiveResource *const one = first.open(group(), first_inbox);
    network.refusing = {};
    NUVNetioReceiveResource *const two = second.open(group(), second_inbox);
    EXPECT_THAT(socket().joined, ElementsAre(A0, B0));
    EXPECT_EQ(log.messages().size(), 1u);
    EXPECT_TRUE(release(one));
    EXPECT_TRUE(release(two));
}

TEST_F(GroupSharingTest, ShareWithoutMemoryIsOneErrorAndLeavesTheGroupToTheOther) {
    const faults::Guard guard;
    NUVNetioReceiveResource *const one = first.open(group(), first_inbox);
    const NUV_UINT64 blocks = net::live_blocks();
    const LogCapture log;
    faults::fail_allocation(1);
    EXPECT_EQ(second.open(group(), second_inbox), nullptr);
    EXPECT_TRUE(faults::happened());
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_THAT(log.messages()[0].text,
                HasSubstr("cannot receive at udpv4://239.255.0.1:7400: out of memory"));
    EXPECT_EQ(net::live_blocks(), blocks);
    arrive("hello", A0);
    EXPECT_THAT(net::texts(first_inbox), ElementsAre("hello"));
    EXPECT_TRUE(release(one));
}

// ---- by the kernel

/** A group on two interfaces by the kernel, for one that is restricted and one that is not. */
void expect_kernel_tells_interfaces(const char *transport, const NUVNetioLocator &its_group,
                                    int family, const char *const (&addresses)[2]) {
    ASSERT_TRUE(net::add_interface("n0", addresses[0]));
    ASSERT_TRUE(net::add_interface("n1", addresses[1]));
    net::Inbox restricted_inbox;
    net::Inbox all_inbox;
    net::Runtime runtime{NUV_NETIO_RUNTIME_PROPERTY_DEFAULT};
    const net::Configurator restricted(runtime, transport, {"n0"});
    const net::Configurator all(runtime, transport);
    const NUVNetioReceiveListener restricted_listener = restricted_inbox.listener();
    const NUVNetioReceiveListener all_listener = all_inbox.listener();
    const long before = net::open_descriptors();
    NUVNetioReceiveResource *const one = NUVNetioConfigurator_openReceiveResource(
        restricted.self, &its_group, &restricted_listener, runtime.worker());
    NUVNetioReceiveResource *const two = NUVNetioConfigurator_openReceiveResource(
        all.self, &its_group, &all_listener, runtime.worker());
    EXPECT_EQ(net::open_descriptors(), before + 1);
    for (const char *name : {"n1", "n0"}) {
        const net::PlainSocket sender(family);
        ASSERT_TRUE(sender.set_multicast_interface(its_group, name));
        ASSERT_TRUE(sender.send_to(its_group, name));
    }
    EXPECT_TRUE(all_inbox.wait_for(2));
    EXPECT_TRUE(runtime.flush());
    EXPECT_THAT(net::texts(restricted_inbox), ElementsAre("n0"));
    EXPECT_THAT(net::texts(all_inbox), testing::UnorderedElementsAre("n0", "n1"));
    restricted_inbox.release(one, runtime.worker());
    all_inbox.release(two, runtime.worker());
}

TEST(KernelGroupSharingTest, RestrictedOneReceivesByItsInterfacesOnly) {
    IN_PRIVATE_NETWORK([] {
        expect_kernel_tells_interfaces("udpv4", group(), AF_INET,
                                       {"192.0.2.1/24", "198.51.100.1/24"});
    });
}

TEST(KernelGroupSharingTest, RestrictedOneOfIpv6ReceivesByItsInterfacesOnly) {
    IN_PRIVATE_NETWORK([] {
        expect_kernel_tells_interfaces("udpv6", net::locator("[ff15::80]:7400"), AF_INET6,
                                       {"fd00::1/64", "fd01::1/64"});
    });
}

} // namespace
