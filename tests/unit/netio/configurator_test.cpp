// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "net_fixture.h"
#include "netio/netio_log.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

using support::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const NUVNetioInterface LO4 = net::loopback("127.0.0.1");
const NUVNetioInterface LO6 = net::loopback("::1");
const NUVNetioInterface ETH4 = net::interface("eth0", 2, "192.0.2.2");
const NUVNetioInterface ETH6 = net::interface("eth0", 2, "fd00::2");
const NUVNetioInterface WLAN4 = net::interface("wlan0", 3, "198.51.100.3");

// ---- making one

TEST(ConfiguratorTest, DefaultIsUdpv4OnAllInterfaces) {
    net::Runtime runtime({LO4, ETH4});
    NUVNetioConfigurator *configurator =
        NUVNetioConfigurator_new(nullptr, runtime.runtime, runtime.worker());
    ASSERT_NE(configurator, nullptr);
    EXPECT_EQ(NUVNetioConfigurator_getTransportCount(configurator), 1);
    EXPECT_EQ(NUVNetioConfigurator_getRuntime(configurator), runtime.runtime);
    EXPECT_STREQ(NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT.transports.aliases, "udpv4");
    EXPECT_EQ(NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT.allowedInterfaceCount, 0);
    NUVNetioConfigurator_delete(configurator);
    NUVNetioConfigurator_delete(nullptr);
}

struct Refusal {
    NUVNetioConfiguratorProperty property;
    std::vector<const char *> said;
};

void expect_refusal(const Refusal &refusal) {
    net::Runtime runtime;
    const net::Held before;
    const LogCapture log;
    EXPECT_EQ(NUVNetioConfigurator_new(&refusal.property, runtime.runtime, runtime.worker()),
              nullptr);
    EXPECT_EQ(net::Held(), before);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
    EXPECT_EQ(log.messages()[0].module, NUV_LOG_MODULE_NETIO);
    for (const char *part : refusal.said) {
        EXPECT_THAT(log.messages()[0].text, HasSubstr(part));
    }
}

TEST(ConfiguratorTest, UnknownTransportIsRefusedByName) {
    expect_refusal({net::configurator_property("udpv4,shmem", {}),
                    {"'udpv4,shmem'", "'shmem'", "'udpv4' and 'udpv6'"}});
    expect_refusal({net::configurator_property("UDPv4", {}), {"'UDPv4'"}});
    expect_refusal({net::configurator_property("udpv4,", {}), {"'udpv4,'", "''"}});
    expect_refusal({net::configurator_property(",udpv4", {}), {"',udpv4'"}});
    expect_refusal({net::configurator_property("udpv4, udpv6", {}), {"' udpv6'"}});
}

TEST(ConfiguratorTest, EntryThatIsNoInterfaceIsRefusedByName) {
    for (const char *entry :
         {"", ".", "..", "eth0/1", "eth0:1", "eth 0", "eth0\n", "\x7F", "sixteen-chars-ab",
          "a-name-that-is-far-too-long-for-any-interface", "fd00::2::3", "[fd00::2]",
          "192.0.2.2:7410", "udpv4://192.0.2.2", "192.0.2.0/24"}) {
        const std::string quoted = "'" + std::string(entry) + "'";
        expect_refusal({net::configurator_property("udpv4", {"eth0", entry}),
                        {"allowed interface", quoted.c_str(), "name of an interface",
                         "numeric IPv4 or IPv6 address"}});
    }
}

TEST(ConfiguratorTest, EntryWithoutTerminatorIsRefused) {
    NUVNetioConfiguratorProperty property = net::configurator_property("udpv4", {"eth0"});
    std::memset(property.allowedInterfaces[0], 'x', sizeof property.allowedInterfaces[0]);
    expect_refusal({property, {"xxx"}});
}

TEST(ConfiguratorTest, NumberOfEntriesOutOfRangeIsRefused) {
    NUVNetioConfiguratorProperty property = net::configurator_property("udpv4", {});
    property.allowedInterfaceCount = -1;
    expect_refusal({property, {"-1 allowed interfaces", "0 (all interfaces) to 32"}});
    property.allowedInterfaceCount = 33;
    expect_refusal({property, {"33 allowed interfaces"}});
}

TEST(ConfiguratorTest, EntryThatMatchesNothingNowIsAWarning) {
    net::Runtime runtime({LO4, ETH4});
    const LogCapture log;
    net::Configurator configurator(runtime, "udpv4",
                                   {"eth0", "192.0.2.2", "fifteen-chars-a", "203.0.113.1"});
    const support::Messages messages = log.messages();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].level, NUV_LOG_LEVEL_WARNING);
    EXPECT_THAT(messages[0].text, HasSubstr("'fifteen-chars-a'"));
    EXPECT_THAT(messages[1].text, HasSubstr("203.0.113.1"));
}

TEST(ConfiguratorTest, EachAllocationThatFailsGivesNullOneErrorAndLeavesNothing) {
    const faults::Guard guard;
    net::Runtime runtime({LO4, ETH4});
    const NUVNetioConfiguratorProperty property =
        net::configurator_property("udpv4,udpv6", {"eth0", "192.0.2.2"});
    EXPECT_GE(
        net::fail_each_in_making(
            faults::fail_allocation,
            [&] { return NUVNetioConfigurator_new(&property, runtime.runtime, runtime.worker()); },
            NUVNetioConfigurator_delete),
        3);
}

TEST(ConfiguratorTest, NoMemoryForANewSnapshotGivesNull) {
    const faults::Guard guard;
    net::Interfaces interfaces({LO4});
    NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    property.watchInterfaces = 1;
    property.interfaceSettleTime = {100, 0};
    net::Runtime runtime(property);
    const LogCapture log;
    net::pretend_event();
    faults::fail_call("recv", 1, ENOBUFS);
    faults::fail_allocation(
        5); // the configurator, what is allowed, its handles twice, the snapshot
    const NUVNetioConfiguratorProperty restricted = net::configurator_property("udpv4", {"lo"});
    EXPECT_EQ(NUVNetioConfigurator_new(&restricted, runtime.runtime, runtime.worker()), nullptr);
    EXPECT_EQ(log.messages().size(), 2u); // why, and of what
}

TEST(ConfiguratorTest, LooksForNewInterfacesOnlyToWarnOfThoseItDoesNotFind) {
    const faults::Guard guard;
    net::Interfaces interfaces({LO4});
    NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    property.watchInterfaces = 1;
    property.interfaceSettleTime = {100, 0};
    net::Runtime runtime(property);
    const int listings = interfaces.listings();
    net::pretend_event();
    faults::fail_call("recv", 1, ENOBUFS); // some were lost: there is something new
    {
        const net::Configurator open(runtime, "udpv4");
        EXPECT_EQ(interfaces.listings(), listings);
    }
    const net::Configurator restricted(runtime, "udpv4", {"lo"});
    EXPECT_EQ(interfaces.listings(), listings + 1);
}

// ---- its transports

TEST(TransportRegistryTest, TransportsAreListedByClassWhateverTheirOrder) {
    net::Runtime runtime;
    for (const char *aliases : {"udpv4,udpv6", "udpv6,udpv4", "udpv6,udpv4,udpv6"}) {
        net::Configurator configurator(runtime, aliases);
        NUVNetioTransportInfo info[NUV_NETIO_TRANSPORTS_MAX + 1] = {};
        NUV_UINT32 length = 99;
        EXPECT_EQ(NUVNetioConfigurator_getTransportCount(configurator.self), 2);
        EXPECT_NE(NUVNetioConfigurator_getTransportInfo(configurator.self, info, &length, 3,
                                                        runtime.worker()),
                  0);
        EXPECT_EQ(length, 2u);
        EXPECT_EQ(info[0].classid, KOLS_TRANSPORT_CLASSID_UDPv4);
        EXPECT_EQ(info[0].messageSizeMax, NUV_NETIO_UDPv4_MESSAGE_SIZE_MAX);
        EXPECT_EQ(info[1].classid, KOLS_TRANSPORT_CLASSID_UDPv6);
        EXPECT_EQ(info[1].messageSizeMax, NUV_NETIO_UDPv6_MESSAGE_SIZE_MAX);
    }
}

TEST(TransportRegistryTest, NetworksAreRegisteredByClassWhateverTheirOrder) {
    net::Interfaces interfaces({net::loopback()});
    NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    std::swap(property.transports[0], property.transports[1]);
    net::Runtime runtime(property);
    net::Configurator configurator(runtime, "udpv4,udpv6");
    NUVNetioTransportInfo info[NUV_NETIO_TRANSPORTS_MAX] = {};
    NUV_UINT32 length = 0;
    EXPECT_NE(NUVNetioConfigurator_getTransportInfo(configurator.self, info, &length,
                                                    NUV_NETIO_TRANSPORTS_MAX, runtime.worker()),
              0);
    EXPECT_EQ(length, 2u);
    EXPECT_EQ(info[0].classid, KOLS_TRANSPORT_CLASSID_UDPv4);
    EXPECT_EQ(info[1].classid, KOLS_TRANSPORT_CLASSID_UDPv6);
}

TEST(TransportRegistryTest, FirstTransportsAreListedWhenThereIsNoRoomForMore) {
    net::Runtime runtime;
    net::Configurator configurator(runtime, "udpv4,udpv6");
    NUVNetioTransportInfo info[2] = {};
    NUV_UINT32 length = 99;
    EXPECT_NE(NUVNetioConfigurator_getTransportInfo(configurator.self, info, &length, 1,
                                                    runtime.worker()),
              0);
    EXPECT_EQ(length, 1u);
    EXPECT_EQ(info[0].classid, KOLS_TRANSPORT_CLASSID_UDPv4);
    EXPECT_EQ(info[1].classid, 0);
    EXPECT_NE(NUVNetioConfigurator_getTransportInfo(configurator.self, nullptr, &length, 0,
                                                    runtime.worker()),
              0);
    EXPECT_EQ(length, 0u);
}

TEST(TransportRegistryTest, MayBeEmpty) {
    net::Runtime runtime;
    net::Configurator configurator(runtime, "");
    NUV_UINT32 length = 99;
    NUVNetioTransportInfo info{};
    EXPECT_EQ(NUVNetioConfigurator_getTransportCount(configurator.self), 0);
    EXPECT_NE(NUVNetioConfigurator_getTransportInfo(configurator.self, &info, &length, 1,
                                                    runtime.worker()),
              0);
    EXPECT_EQ(length, 0u);
}

TEST(TransportRegistryTest, HandlesNameTheirTransports) {
    net::Runtime runtime;
    net::Configurator configurator(runtime, "udpv4,udpv6");
    for (const KOLS_Transport_ClassId_t classid :
         {KOLS_TRANSPORT_CLASSID_UDPv4, KOLS_TRANSPORT_CLASSID_UDPv6}) {
        REDAWeakReference handle = REDA_WEAK_REFERENCE_INVALID;
        EXPECT_NE(NUVNetioConfigurator_getTransportHandle(configurator.self, classid, &handle), 0);
        EXPECT_NE(REDAWeakReference_isHeld(&handle), 0);
        EXPECT_EQ(NUVNetioConfigurator_getTransportClass(configurator.self, &handle), classid);
    }
}

TEST(TransportRegistryTest, UnregisteredTransportHasNoHandle) {
    net::Runtime runtime;
    net::Configurator configurator(runtime, "udpv4");
    for (const KOLS_Transport_ClassId_t classid :
         {KOLS_TRANSPORT_CLASSID_UDPv6, KOLS_TRANSPORT_CLASSID_INVALID, 0, 99}) {
        REDAWeakReference handle = {nullptr, 5, 5};
        EXPECT_EQ(NUVNetioConfigurator_getTransportHandle(configurator.self, classid, &handle), 0);
        EXPECT_EQ(handle._index, REDA_WEAK_REFERENCE_INVALID_INDEX);
    }
}

TEST(TransportRegistryTest, HandlesOfOthersAreNotRecognised) {
    net::Runtime runtime;
    net::Configurator one(runtime);
    net::Configurator other(runtime);
    REDAWeakReference handle = REDA_WEAK_REFERENCE_INVALID;
    EXPECT_EQ(NUVNetioConfigurator_getTransportClass(one.self, &handle),
              KOLS_TRANSPORT_CLASSID_INVALID);
    NUVNetioConfigurator_getTransportHandle(other.self, KOLS_TRANSPORT_CLASSID_UDPv4, &handle);
    EXPECT_EQ(NUVNetioConfigurator_getTransportClass(one.self, &handle),
              KOLS_TRANSPORT_CLASSID_INVALID);
}

std::string enabled(const net::Configurator &configurator, const char *wanted) {
    NUVNetioAliasList list{};
    NUVNetioAliasList out{};
    std::strncpy(out.aliases, "what was there before", sizeof out.aliases - 1);
    if (wanted != nullptr) {
        std::strncpy(list.aliases, wanted, sizeof list.aliases - 1);
    }
    NUVNetioConfigurator_getEnabledAliases(configurator.self, wanted != nullptr ? &list : nullptr,
                                           &out);
    return out.aliases;
}

TEST(TransportRegistryTest, EnabledAliasesAreTheRegisteredOnesAmongThoseWanted) {
    net::Runtime runtime;
    net::Configurator both(runtime, "udpv4,udpv6");
    EXPECT_EQ(enabled(both, nullptr), "udpv4,udpv6");
    EXPECT_EQ(enabled(both, ""), "udpv4,udpv6");
    EXPECT_EQ(enabled(both, "udpv6"), "udpv6");
    EXPECT_EQ(enabled(both, "shmem,udpv6,udpv4"), "udpv4,udpv6");
    EXPECT_EQ(enabled(both, "shmem"), "");
    net::Configurator one(runtime, "udpv4");
    EXPECT_EQ(enabled(one, nullptr), "udpv4");
    EXPECT_EQ(enabled(one, "udpv6"), "");
}

// ---- its locators

std::vector<std::string> locators(const net::Configurator &configurator,
                                  const char *wanted = nullptr, int with_loopback = 0,
                                  NUV_INT32 maximum = 16) {
    NUVNetioAliasList list{};
    if (wanted != nullptr) {
        std::strncpy(list.aliases, wanted, sizeof list.aliases - 1);
    }
    NUVNetioLocator found[16];
    const NUV_INT32 count = NUVNetioConfigurator_getUnicastLocators(
        configurator.self, wanted != nullptr ? &list : nullptr, 7410, with_loopback, found,
        maximum);
    EXPECT_LE(count, maximum);
    std::vector<std::string> texts;
    for (NUV_INT32 i = 0; i < count; ++i) {
        texts.push_back(net::text(found[i]));
    }
    return texts;
}

TEST(UnicastLocatorsTest, AreTheAddressesOfTheInterfacesUdpv4First) {
    net::Runtime runtime({LO4, LO6, ETH6, ETH4, WLAN4});
    EXPECT_THAT(locators(net::Configurator(runtime, "udpv4,udpv6")),
                ElementsAre("udpv4://192.0.2.2:7410", "udpv4://198.51.100.3:7410",
                            "udpv6://[fd00::2]:7410"));
}

TEST(UnicastLocatorsTest, AreOfRegisteredAndEnabledTransportsOnly) {
    net::Runtime runtime({LO4, LO6, ETH6, ETH4});
    EXPECT_THAT(locators(net::Configurator(runtime, "udpv4")),
                ElementsAre("udpv4://192.0.2.2:7410"));
    net::Configurator both(runtime, "udpv4,udpv6");
    EXPECT_THAT(locators(both, "udpv6"), ElementsAre("udpv6://[fd00::2]:7410"));
    EXPECT_THAT(locators(both, ""),
                ElementsAre("udpv4://192.0.2.2:7410", "udpv6://[fd00::2]:7410"));
    EXPECT_THAT(locators(both, "shmem"), IsEmpty());
    EXPECT_THAT(locators(net::Configurator(runtime, "")), IsEmpty());
}

TEST(UnicastLocatorsTest, LoopbackIsListedWhenThereIsNothingElse) {
    net::Runtime runtime({LO4, LO6});
    EXPECT_THAT(locators(net::Configurator(runtime, "udpv4,udpv6")),
                ElementsAre("udpv4://127.0.0.1:7410", "udpv6://[::1]:7410"));
}

TEST(UnicastLocatorsTest, LoopbackIsNotListedWhenAnotherEnabledTransportHasAnAddress) {
    net::Runtime runtime({LO4, LO6, ETH6});
    net::Configurator both(runtime, "udpv4,udpv6");
    EXPECT_THAT(locators(both), ElementsAre("udpv6://[fd00::2]:7410"));
    EXPECT_THAT(locators(both, "udpv4"), ElementsAre("udpv4://127.0.0.1:7410"));
}

TEST(UnicastLocatorsTest, LoopbackIsListedWhenItIsAskedFor) {
    net::Runtime runtime({LO4, ETH4});
    EXPECT_THAT(locators(net::Configurator(runtime), nullptr, 1),
                ElementsAre("udpv4://127.0.0.1:7410", "udpv4://192.0.2.2:7410"));
}

TEST(UnicastLocatorsTest, AreOfAllowedInterfacesOnly) {
    net::Runtime runtime({LO4, LO6, ETH4, ETH6, WLAN4});
    EXPECT_THAT(locators(net::Configurator(runtime, "udpv4,udpv6", {"wlan0"})),
                ElementsAre("udpv4://198.51.100.3:7410"));
    EXPECT_THAT(locators(net::Configurator(runtime, "udpv4,udpv6", {"fd00::2"})),
                ElementsAre("udpv6://[fd00::2]:7410"));
    EXPECT_THAT(locators(net::Configurator(runtime, "udpv4,udpv6", {"192.0.2.2", "wlan0"})),
                ElementsAre("udpv4://192.0.2.2:7410", "udpv4://198.51.100.3:7410"));
    EXPECT_THAT(locators(net::Configurator(runtime, "udpv4,udpv6", {"lo"})),
                ElementsAre("udpv4://127.0.0.1:7410", "udpv6://[::1]:7410"));
    EXPECT_THAT(locators(net::Configurator(runtime, "udpv4", {"eth9"})),
                ElementsAre("udpv4://127.0.0.1:7410"));
}

TEST(UnicastLocatorsTest, FurtherOnesAreLeftOutWhenThereIsNoRoom) {
    net::Runtime runtime({ETH4, WLAN4});
    net::Configurator configurator(runtime);
    EXPECT_THAT(locators(configurator, nullptr, 0, 1), ElementsAre("udpv4://192.0.2.2:7410"));
    EXPECT_THAT(locators(configurator, nullptr, 0, 0), IsEmpty());
}

TEST(UnicastLocatorsTest, WithoutAnyInterfaceThereAreNone) {
    net::Runtime runtime(std::vector<NUVNetioInterface>{});
    EXPECT_THAT(locators(net::Configurator(runtime)), IsEmpty());
}

TEST(UnicastLocatorsTest, AreComputedWithoutSystemCallOrAllocation) {
    const faults::Guard guard;
    net::Interfaces interfaces({LO4, ETH4});
    NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    property.watchInterfaces = 1;
    net::Runtime runtime(property);
    net::Configurator configurator(runtime);
    const int listings = interfaces.listings();
    const int allocations = faults::allocations();
    const int receives = faults::count("recv");
    EXPECT_THAT(locators(configurator), ElementsAre("udpv4://192.0.2.2:7410"));
    EXPECT_EQ(NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker()), 0);
    EXPECT_EQ(interfaces.listings(), listings);
    EXPECT_EQ(faults::allocations(), allocations);
    EXPECT_EQ(faults::count("recv"), receives);
}

// ---- networks

NUV_INT32 network(const net::Configurator &configurator, const char *address) {
    const NUVNetioLocator locator = net::locator(address);
    return NUVNetioConfigurator_findNetwork(configurator.self, &locator);
}

TEST(NetworksTest, AddressesOfOneNetworkHaveTheSameNumber) {
    net::Runtime runtime({net::interface("eth0", 2, "192.0.2.2/24"),
                          net::interface("eth1", 3, "198.51.100.2/24"),
                          net::interface("eth1", 3, "198.51.100.3/24")});
    const net::Configurator configurator(runtime);
    const NUV_INT32 first = network(configurator, "192.0.2.7:7410");
    const NUV_INT32 second = network(configurator, "198.51.100.7:7410");
    EXPECT_GE(first, 0);
    EXPECT_GE(second, 0);
    EXPECT_NE(first, second);
    EXPECT_EQ(network(configurator, "192.0.2.8:9"), first);
    EXPECT_EQ(network(configurator, "198.51.100.3:9"), second);
    EXPECT_EQ(network(configurator, "203.0.113.1:7410"), -1);
}

TEST(NetworksTest, AnAddressIsOnTheSmallest) {
    net::Runtime runtime({net::interface("tun0", 4, "10.0.0.1/8"),
                          net::interface("eth0", 2, "10.1.0.1/16"),
                          net::interface("eth1", 3, "10.2.0.1/16")});
    const net::Configurator configurator(runtime);
    EXPECT_NE(network(configurator, "10.1.0.7"), network(configurator, "10.2.0.7"));
    EXPECT_EQ(network(configurator, "10.3.0.7"), network(configurator, "10.4.0.7"));
    EXPECT_NE(network(configurator, "10.1.0.7"), network(configurator, "10.3.0.7"));
}

TEST(NetworksTest, ThoseThatMayNotBeUsedDoNotCount) {
    net::Runtime runtime({net::interface("eth0", 2, "192.0.2.2/24"),
                          net::interface("eth0", 2, "fd00::2/64"),
                          net::interface("eth1", 3, "198.51.100.2/24")});
    const net::Configurator restricted(runtime, "udpv4", {"eth0"});
    EXPECT_GE(network(restricted, "192.0.2.7"), 0);
    EXPECT_EQ(network(restricted, "198.51.100.7"), -1);
    EXPECT_EQ(network(restricted, "fd00::7"), -1);
}

// ---- its snapshot

TEST(RefreshTest, ConfiguratorGoesByItsSnapshotUntilItIsRefreshed) {
    net::Runtime runtime({LO4, ETH4});
    net::Configurator configurator(runtime);
    runtime.interfaces.set({LO4, WLAN4});
    runtime.renew();
    EXPECT_THAT(locators(configurator), ElementsAre("udpv4://192.0.2.2:7410"));
    EXPECT_NE(NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker()), 0);
    EXPECT_THAT(locators(configurator), ElementsAre("udpv4://198.51.100.3:7410"));
    EXPECT_EQ(NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker()), 0);
}

TEST(RefreshTest, InterfacesThatCameAndWentMakeNoDifference) {
    net::Runtime runtime({LO4});
    net::Configurator configurator(runtime);
    runtime.interfaces.set({LO4, WLAN4});
    runtime.renew();
    runtime.interfaces.set({LO4});
    runtime.renew();
    EXPECT_EQ(NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker()), 0);
}

TEST(RefreshTest, NewConfiguratorHasTheNewestSnapshot) {
    net::Runtime runtime({LO4});
    runtime.interfaces.set({LO4, WLAN4});
    runtime.renew();
    EXPECT_THAT(locators(net::Configurator(runtime)), ElementsAre("udpv4://198.51.100.3:7410"));
}

TEST(RefreshTest, EventsThatTheReactorHasSeenAreTakenIntoAccount) {
    IN_PRIVATE_NETWORK([] {
        net::Interfaces interfaces({LO4});
        NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
        property.watchInterfaces = 1;
        property.interfaceSettleTime = {100, 0};
        net::Runtime runtime(property);
        net::Configurator configurator(runtime);
        interfaces.set({LO4, WLAN4});
        ASSERT_TRUE(net::run("ip addr add 192.0.2.1/24 dev lo"));
        EXPECT_TRUE(net::eventually([&] {
            return NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker()) != 0;
        }));
        EXPECT_THAT(locators(configurator), ElementsAre("udpv4://198.51.100.3:7410"));
    });
}

TEST(RefreshTest, RunningOutOfMemoryKeepsTheSnapshot) {
    const faults::Guard guard;
    IN_PRIVATE_NETWORK([] {
        net::Interfaces interfaces({LO4});
        NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
        property.watchInterfaces = 1;
        property.interfaceSettleTime = {100, 0};
        net::Runtime runtime(property);
        net::Configurator configurator(runtime);
        interfaces.set({LO4, WLAN4});
        ASSERT_TRUE(net::run("ip addr add 192.0.2.1/24 dev lo"));
        EXPECT_TRUE(net::eventually([&] {
            faults::fail_allocation(1);
            EXPECT_EQ(NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker()),
                      0);
            return faults::happened();
        }));
        EXPECT_THAT(locators(configurator), ElementsAre("udpv4://127.0.0.1:7410"));
    });
}

} // namespace
