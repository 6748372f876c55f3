// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "net_fixture.h"
#include "support/faults.h"

namespace {

using Snapshot = const NUVNetioInterfaceSnapshot;

/** Takes over one use of a snapshot. */
class Held {
public:
    explicit Held(Snapshot *taken) : snapshot(taken) {
        EXPECT_NE(taken, nullptr);
    }
    ~Held() {
        NUVNetioInterfaceSnapshot_release(snapshot);
    }
    Held(const Held &) = delete;
    Held &operator=(const Held &) = delete;

    Snapshot *const snapshot;
};

TEST(InterfaceSnapshotTest, ListsWhatTheSourceListsInItsOrder) {
    net::Runtime runtime({net::interface("b0", 7, "192.0.2.2"), net::interface("b0", 7, "fd00::2"),
                          net::interface("a0", 9, "192.0.2.9")});
    const Held held(NUVNetioRuntime_acquireInterfaces(runtime.runtime));
    ASSERT_EQ(NUVNetioInterfaceSnapshot_getLength(held.snapshot), 3);
    const NUVNetioInterface *second = NUVNetioInterfaceSnapshot_get(held.snapshot, 1);
    EXPECT_STREQ(second->name, "b0");
    EXPECT_EQ(second->index, 7u);
    EXPECT_EQ(second->transport, KOLS_TRANSPORT_CLASSID_UDPv6);
    EXPECT_STREQ(NUVNetioInterfaceSnapshot_get(held.snapshot, 2)->name, "a0");
}

TEST(InterfaceSnapshotTest, HoldsAnyNumberOfAddresses) {
    std::vector<NUVNetioInterface> many(1000, net::interface("eth0", 2, "192.0.2.2"));
    net::Runtime runtime(many);
    const Held held(NUVNetioRuntime_acquireInterfaces(runtime.runtime));
    EXPECT_EQ(NUVNetioInterfaceSnapshot_getLength(held.snapshot), 1000);
}

TEST(InterfaceSnapshotTest, IsSharedWhileNothingChanges) {
    net::Runtime runtime;
    const Held first(NUVNetioRuntime_acquireInterfaces(runtime.runtime));
    EXPECT_TRUE(runtime.renew());
    const Held second(NUVNetioRuntime_acquireInterfaces(runtime.runtime));
    EXPECT_EQ(first.snapshot, second.snapshot);
}

TEST(InterfaceSnapshotTest, StaysAsItWasForWhoHoldsIt) {
    net::Runtime runtime({net::interface("eth0", 2, "192.0.2.2")});
    const Held before(NUVNetioRuntime_acquireInterfaces(runtime.runtime));
    runtime.interfaces.set({});
    EXPECT_TRUE(runtime.renew());
    const Held after(NUVNetioRuntime_acquireInterfaces(runtime.runtime));
    EXPECT_EQ(NUVNetioInterfaceSnapshot_getLength(after.snapshot), 0);
    ASSERT_EQ(NUVNetioInterfaceSnapshot_getLength(before.snapshot), 1);
    EXPECT_STREQ(NUVNetioInterfaceSnapshot_get(before.snapshot, 0)->name, "eth0");
}

TEST(InterfaceSnapshotTest, LastUserFreesIt) {
    net::Runtime runtime({net::interface("eth0", 2, "192.0.2.2")});
    Snapshot *held = NUVNetioRuntime_acquireInterfaces(runtime.runtime);
    EXPECT_EQ(NUVNetioInterfaceSnapshot_retain(held), held);
    runtime.interfaces.set({});
    EXPECT_TRUE(runtime.renew());
    const NUV_UINT64 with_both = net::live_blocks();
    NUVNetioInterfaceSnapshot_release(held);
    EXPECT_EQ(net::live_blocks(), with_both);
    NUVNetioInterfaceSnapshot_release(held);
    EXPECT_EQ(net::live_blocks(), with_both - 2);
    NUVNetioInterfaceSnapshot_release(nullptr);
}

bool is_equal(const std::vector<NUVNetioInterface> &left,
              const std::vector<NUVNetioInterface> &right) {
    net::Runtime first(left);
    net::Runtime second(right);
    const Held held_first(NUVNetioRuntime_acquireInterfaces(first.runtime));
    const Held held_second(NUVNetioRuntime_acquireInterfaces(second.runtime));
    return NUVNetioInterfaceSnapshot_isEqual(held_first.snapshot, held_second.snapshot) != 0;
}

TEST(InterfaceSnapshotTest, EqualMeansTheSameAddressesInTheSameOrder) {
    const NUVNetioInterface one = net::interface("eth0", 2, "192.0.2.2");
    const NUVNetioInterface two = net::interface("eth0", 2, "fd00::2");
    EXPECT_TRUE(is_equal({}, {}));
    EXPECT_TRUE(is_equal({one, two}, {one, two}));
    EXPECT_FALSE(is_equal({one}, {one, two}));
    EXPECT_FALSE(is_equal({one, two}, {two, one}));
    EXPECT_FALSE(is_equal({one}, {net::interface("eth1", 2, "192.0.2.2")}));
    EXPECT_FALSE(is_equal({one}, {net::interface("eth0", 3, "192.0.2.2")}));
    EXPECT_FALSE(is_equal({one}, {net::interface("eth0", 2, "192.0.2.3")}));
    EXPECT_FALSE(is_equal({one}, {net::interface("eth0", 2, "192.0.2.2/24")}));
    for (NUV_INT32 NUVNetioInterface::*flag :
         {&NUVNetioInterface::isLoopback, &NUVNetioInterface::isMulticast}) {
        NUVNetioInterface other = one;
        other.*flag = 1 - other.*flag;
        EXPECT_FALSE(is_equal({one}, {other}));
    }
}

TEST(InterfaceSnapshotTest, IsEqualToItself) {
    net::Runtime runtime;
    const Held held(NUVNetioRuntime_acquireInterfaces(runtime.runtime));
    EXPECT_NE(NUVNetioInterfaceSnapshot_isEqual(held.snapshot, held.snapshot), 0);
}

bool is_on(const char *network, const char *address) {
    const NUVNetioInterface interface = net::interface("eth0", 2, network);
    const NUVNetioLocator locator = net::locator(address);
    return NUVNetioInterface_isOnNetwork(&interface, &locator) != 0;
}

TEST(InterfaceNetworkTest, HasTheAddressesThatShareTheBitsOfItsNetmask) {
    EXPECT_TRUE(is_on("192.0.2.1/24", "192.0.2.255:7410"));
    EXPECT_FALSE(is_on("192.0.2.1/24", "192.0.3.1:7410"));
    EXPECT_TRUE(is_on("10.1.2.3/9", "10.127.0.1"));
    EXPECT_FALSE(is_on("10.1.2.3/9", "10.128.0.1"));
    EXPECT_TRUE(is_on("192.0.2.1/32", "192.0.2.1"));
    EXPECT_TRUE(is_on("fd00::1/64", "[fd00::ffff:1]:7410"));
    EXPECT_FALSE(is_on("fd00::1/64", "fd00:0:0:1::1"));
}

TEST(InterfaceNetworkTest, OfAnotherTransportOrNotKnownHasNone) {
    EXPECT_FALSE(is_on("192.0.2.1/24", "::c000:202")); // the same octets
    EXPECT_FALSE(is_on("192.0.2.1", "192.0.2.1"));
}

std::vector<NUVNetioInterface> list_kernel() {
    std::vector<NUVNetioInterface> all;
    const NUVNetioInterfaceSource &source = NUV_NETIO_INTERFACE_SOURCE_KERNEL;
    EXPECT_NE(source.list(
                  source.param,
                  [](void *param, const NUVNetioInterface *one) {
                      static_cast<std::vector<NUVNetioInterface> *>(param)->push_back(*one);
                      return 1;
                  },
                  &all),
              0);
    return all;
}

std::vector<std::string> describe(const std::vector<NUVNetioInterface> &all) {
    std::vector<std::string> described;
    for (const NUVNetioInterface &one : all) {
        NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
        locator.transport = one.transport;
        locator.address = one.address;
        described.push_back(std::string(one.name) + " " + net::text(locator) +
                            (one.isLoopback != 0 ? " loopback" : "") +
                            (one.isMulticast != 0 ? " multicast" : ""));
    }
    return described;
}

TEST(KernelInterfacesTest, UpAndRunningInterfacesAreListedAddressesTogether) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        ASSERT_TRUE(net::add_interface("n1", "198.51.100.1/24"));
        ASSERT_TRUE(net::add_interface("n2", "203.0.113.1/24"));
        ASSERT_TRUE(net::run("ip addr add 192.0.2.2/32 dev n0 label n0:1 && "
                             "ip -6 addr add fd00::1/64 dev n0 nodad && "
                             "ip link set n1 multicast off && ip link set n2 down"));
        EXPECT_EQ(describe(list_kernel()), (std::vector<std::string>{
                                               "lo udpv4://127.0.0.1:0 loopback multicast",
                                               "lo udpv6://[::1]:0 loopback multicast",
                                               "n0 udpv4://192.0.2.1:0 multicast",
                                               "n0 udpv4://192.0.2.2:0 multicast",
                                               "n0 udpv6://[fd00::1]:0 multicast",
                                               "n1 udpv4://198.51.100.1:0",
                                           }));
        for (const NUVNetioInterface &one : list_kernel()) {
            EXPECT_EQ(one.index, if_nametoindex(one.name));
        }
    });
}

TEST(KernelInterfacesTest, ListsTheNetmaskOfEachAddress) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/20"));
        ASSERT_TRUE(net::run("ip -6 addr add fd00::1/60 dev n0 nodad"));
        for (const NUVNetioInterface &expected :
             {net::interface("n0", 0, "192.0.2.1/20"), net::interface("n0", 0, "fd00::1/60")}) {
            const std::vector<NUVNetioInterface> all = list_kernel();
            EXPECT_TRUE(std::any_of(all.begin(), all.end(), [&](const NUVNetioInterface &one) {
                return std::memcmp(&one.address, &expected.address, sizeof one.address) == 0 &&
                       std::memcmp(&one.netmask, &expected.netmask, sizeof one.netmask) == 0;
            }));
        }
    });
}

TEST(KernelInterfacesTest, GivesUpWhenAnAddressCannotBeAdded) {
    const NUVNetioInterfaceSource &source = NUV_NETIO_INTERFACE_SOURCE_KERNEL;
    int calls = 0;
    EXPECT_EQ(source.list(
                  source.param,
                  [](void *param, const NUVNetioInterface *) {
                      ++*static_cast<int *>(param);
                      return 0;
                  },
                  &calls),
              0);
    EXPECT_EQ(calls, 1);
}

TEST(KernelInterfacesTest, FailsWhenTheKernelDoes) {
    const faults::Guard guard;
    faults::fail_call("getifaddrs", 1, ENOBUFS);
    const NUVNetioInterfaceSource &source = NUV_NETIO_INTERFACE_SOURCE_KERNEL;
    EXPECT_EQ(source.list(
                  source.param, [](void *, const NUVNetioInterface *) { return 1; }, nullptr),
              0);
    EXPECT_EQ(errno, ENOBUFS);
}

} // namespace
