// SPDX-License-Identifier: Apache-2.0
// Groups on many interfaces, and on those that refuse.
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "net_fixture.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

using support::LogCapture;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const NUVNetioLocator &group_v4() {
    static const NUVNetioLocator group = net::locator("udpv4://239.255.0.1:7400");
    return group;
}

const NUVNetioLocator &group_v6() {
    static const NUVNetioLocator group = net::locator("[ff15::80]:7400");
    return group;
}

std::vector<std::string> texts(const LogCapture &log) {
    std::vector<std::string> all;
    for (const support::Message &message : log.messages()) {
        all.push_back(message.text);
    }
    return all;
}

/** A group that is received on interfaces that the test makes up. */
class MembershipTest : public testing::Test {
protected:
    void TearDown() override {
        faults::clear();
        NUVNetioReceiveResource_release(resource, runtime.worker());
        EXPECT_TRUE(runtime.flush());
    }
    void set(const std::vector<NUVNetioInterface> &interfaces) {
        clock.advance(1'000'000'000); // for a warning of its own
        runtime.interfaces.set(interfaces);
        runtime.renew();
    }
    void open() {
        clock.advance(1'000'000'000);
        const NUVNetioReceiveListener listener = inbox.listener();
        resource = NUVNetioConfigurator_openReceiveResource(configurator.self, &group_v4(),
                                                            &listener, runtime.worker());
        ASSERT_NE(resource, nullptr);
    }

    const faults::Guard guard;
    net::Inbox inbox;
    net::TestClock clock;
    net::Runtime runtime;
    net::Configurator configurator{runtime};
    const NUVNetioInterface good = net::interface("good0", if_nametoindex("lo"), "192.0.2.1");
    const NUVNetioInterface bad = net::interface("bad0", 9998, "192.0.2.2");
    const NUVNetioInterface worse = net::interface("worse0", 9999, "192.0.2.3");
    NUVNetioReceiveResource *resource = nullptr;
};

TEST_F(MembershipTest, InterfacesThatRefuseAreNamedInOneWarning) {
    set({good, bad, worse});
    const LogCapture log;
    open();
    EXPECT_THAT(texts(log), ElementsAre("cannot join udpv4://239.255.0.1:7400 on bad0, worse0: "
                                        "No such device (ENODEV)"));
}

TEST_F(MembershipTest, RefusalIsSaidOnceAndNotAtEveryChange) {
    set({good, bad});
    open();
    const LogCapture log;
    set({good, bad, worse});
    EXPECT_THAT(texts(log), ElementsAre(AllOf(HasSubstr("worse0"), Not(HasSubstr("bad0")))));
    set({good, bad});
    set({good, bad, net::interface("bad0", 9998, "192.0.2.4")});
    EXPECT_EQ(log.messages().size(), 1u);
}

TEST_F(MembershipTest, RefusalForAnotherReasonIsSaidAnew) {
    set({good, bad});
    open();
    const LogCapture log;
    faults::fail_call("setsockopt", 1, EPERM);
    set({bad, good});
    EXPECT_THAT(texts(log), ElementsAre(HasSubstr("bad0: Operation not permitted (EPERM)")));
}

TEST_F(MembershipTest, InterfaceThatRefusedIsTriedAgainAtTheNextChange) {
    set({good});
    faults::fail_call("setsockopt", 4, EPERM); // after the socket's three options
    open();
    const LogCapture log;
    set({good, bad});
    EXPECT_THAT(texts(log), ElementsAre(HasSubstr("on bad0: No such device (ENODEV)")));
}

TEST_F(MembershipTest, InterfaceThatRefusedInAShortageIsJoinedByItselfWhenThatIsOver) {
    set({good});
    const LogCapture log;
    faults::fail_call("setsockopt", 4, EMFILE); // after the socket's three options
    open();
    EXPECT_THAT(texts(log), ElementsAre(HasSubstr("on any interface (good0): Too many open files "
                                                  "(EMFILE)")));
    const int calls = faults::count("setsockopt");
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(faults::count("setsockopt"), calls); // not before its time
    clock.advance(1'000'000'000);
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(faults::count("setsockopt"), calls + 1);
    clock.advance(1'000'000'000);
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(faults::count("setsockopt"), calls + 1); // joined
}

TEST_F(MembershipTest, InterfaceThatRefusesForGoodIsNotTriedAgainByItself) {
    set({good, bad});
    open();
    const int calls = faults::count("setsockopt");
    clock.advance(1'000'000'000);
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(faults::count("setsockopt"), calls);
}

TEST_F(MembershipTest, ManyInterfacesThatRefuseAreOneLineThatEndsWithTheirNumber) {
    std::vector<NUVNetioInterface> interfaces = {good};
    for (NUV_UINT32 i = 0; i < 60; ++i) {
        interfaces.push_back(
            net::interface(("interface" + std::to_string(100 + i)).c_str(), 9000 + i, "192.0.2.2"));
    }
    set(interfaces);
    const LogCapture log;
    open();
    EXPECT_THAT(texts(log), ElementsAre(AllOf(HasSubstr("on interface100, interface101, "),
                                              EndsWith(" and 44 more: No such device (ENODEV)"))));
}

TEST_F(MembershipTest, GroupThatNoInterfaceJoinsIsOneWarning) {
    set({bad, worse});
    const LogCapture log;
    open();
    EXPECT_THAT(texts(log),
                ElementsAre("cannot join udpv4://239.255.0.1:7400 on any interface (bad0, worse0): "
                            "No such device (ENODEV)"));
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_WARNING);
    set({worse, bad});
    EXPECT_EQ(log.messages().size(), 1u);
}

TEST_F(MembershipTest, GroupWithoutAnyInterfaceIsOneWarning) {
    set({});
    const LogCapture log;
    open();
    EXPECT_THAT(texts(log),
                ElementsAre("cannot join udpv4://239.255.0.1:7400 on any interface: no usable one "
                            "has an address of its transport and multicast"));
    set({net::interface("six0", 9997, "[fd00::1]")});
    EXPECT_EQ(log.messages().size(), 1u);
}

TEST_F(MembershipTest, RefusalsOfAQuietAttemptAreNotSaidNorLater) {
    set({good, bad});
    const LogCapture log;
    NUVNetioConfigurator_beginAttempt(configurator.self, 1);
    open();
    NUVNetioConfigurator_endAttempt(configurator.self);
    set({bad, good});
    EXPECT_THAT(texts(log), IsEmpty());
    set({bad, good, worse});
    EXPECT_THAT(texts(log), ElementsAre(HasSubstr("on worse0: ")));
}

TEST_F(MembershipTest, GroupThatNoInterfaceJoinsInAQuietAttemptIsNotSaid) {
    set({bad});
    const LogCapture log;
    NUVNetioConfigurator_beginAttempt(configurator.self, 1);
    open();
    NUVNetioConfigurator_endAttempt(configurator.self);
    set({bad, worse});
    EXPECT_THAT(texts(log), IsEmpty());
}

TEST_F(MembershipTest, GroupThatLosesItsLastInterfaceAnewIsSaidAnew) {
    set({});
    open();
    const LogCapture log;
    set({good});
    EXPECT_THAT(texts(log), IsEmpty());
    set({});
    EXPECT_EQ(log.messages().size(), 1u);
}

/** The errors of a socket of UDPv4 and of UDPv6. */
class FullSocketTest : public MembershipTest, public testing::WithParamInterface<int> {};

TEST_P(FullSocketTest, FurtherOneTakesTheMembership) {
    set({good});
    faults::fail_call("setsockopt", 4, GetParam()); // the join by the first
    const int before = faults::count("socket");
    const LogCapture log;
    open();
    EXPECT_EQ(faults::count("socket"), before + 2);
    EXPECT_THAT(texts(log), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, FullSocketTest, testing::Values(ENOBUFS, ENOMEM));

/** What fails of a further socket, by the number of the call since the resource was asked for. */
class FurtherSocketTest : public MembershipTest,
                          public testing::WithParamInterface<std::pair<const char *, int>> {};

TEST_P(FurtherSocketTest, FailureIsThatInterfacesWarningAndLeavesNothing) {
    set({good});
    open();
    const net::Held before;
    const LogCapture log;
    // The first socket is full for an interface that appears.
    NUVNetioInterface second = net::interface("second0", if_nametoindex("lo") + 1000, "192.0.2.9");
    const auto [function, nth] = GetParam();
    faults::fail_call("setsockopt", 1, ENOBUFS);
    faults::fail_call(function, nth, EMFILE);
    set({good, second});
    EXPECT_THAT(texts(log), ElementsAre(HasSubstr("on second0: Too many open files (EMFILE)")));
    EXPECT_EQ(net::Held().descriptors, before.descriptors);
}

INSTANTIATE_TEST_SUITE_P(All, FurtherSocketTest,
                         testing::Values(std::pair("socket", 1), std::pair("bind", 1),
                                         std::pair("setsockopt", 2), std::pair("epoll_ctl", 1),
                                         std::pair("setsockopt", 5)));

// ---- on many interfaces, by the kernel

constexpr int INTERFACES = 60; // three times as many as a socket of UDPv4 has memberships

/** What `ip` does with a line for each of the interfaces; "%" stands for the number. */
bool for_interfaces(int first, int last, const std::vector<std::string> &commands) {
    std::string batch;
    for (int i = first; i < last; ++i) {
        for (std::string command : commands) {
            for (std::size_t at = 0; (at = command.find('%')) != std::string::npos;) {
                command.replace(at, 1, std::to_string(i));
            }
            batch += command + "\n";
        }
    }
    return net::run("echo '" + batch + "' | ip -batch -");
}

/** What is sent to a group on one of them comes back on it alone. */
bool add_interfaces(int first = 0, int last = INTERFACES) {
    return for_interfaces(first, last,
                          {"link add m% type veth peer name m%p", "link set m%p up",
                           "link set m% up", "address add 10.0.%.1/24 dev m%",
                           "address add fd00:%::1/64 dev m% nodad"});
}

std::set<std::string> joined_interfaces() {
    std::set<std::string> names;
    std::ifstream lines("/proc/thread-self/net/igmp");
    std::string line;
    std::string name;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        if (line[0] != '\t') {
            words >> name >> name; // after the index
        } else if (line.find("0100FFEF") != std::string::npos) {
            names.insert(name);
        }
    }
    return names;
}

struct ManyInterfaces {
    ManyInterfaces(const char *transport, const NUVNetioLocator &its_group)
        : configurator(runtime, transport), group(its_group) {
        const NUVNetioReceiveListener listener = inbox.listener();
        resource = NUVNetioConfigurator_openReceiveResource(configurator.self, &group, &listener,
                                                            runtime.worker());
        EXPECT_NE(resource, nullptr);
    }
    ~ManyInterfaces() {
        inbox.release(resource, runtime.worker());
    }

    /** Has each interface carry one message of its own and expects that it arrives once. */
    void expect_one_message_each(const std::string &text, int first, int last) {
        const std::size_t before = inbox.messages().size();
        for (int i = first; i < last; ++i) {
            const std::string name = "m" + std::to_string(i);
            const net::PlainSocket sender(
                group.transport == KOLS_TRANSPORT_CLASSID_UDPv4 ? AF_INET : AF_INET6);
            ASSERT_TRUE(sender.set_multicast_interface(group, name));
            ASSERT_TRUE(sender.send_to(group, text + name)) << name;
        }
        EXPECT_TRUE(inbox.wait_for(before + static_cast<std::size_t>(last - first)));
        EXPECT_TRUE(runtime.flush()); // for what may come twice
        std::map<std::string, int> arrived;
        for (const net::Inbox::Message &message : inbox.messages()) {
            ++arrived[message.data];
        }
        for (int i = first; i < last; ++i) {
            EXPECT_EQ(arrived[text + "m" + std::to_string(i)], 1) << i;
        }
    }

    net::Inbox inbox;
    net::Runtime runtime{NUV_NETIO_RUNTIME_PROPERTY_DEFAULT};
    net::Configurator configurator;
    const NUVNetioLocator group;
    NUVNetioReceiveResource *resource = nullptr;
};

TEST(ManyInterfacesTest, EachReceivesADatagramOnceAlsoAfterHalfWentAndCameBack) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(add_interfaces());
        const LogCapture log;
        ManyInterfaces many("udpv4", group_v4());
        ASSERT_TRUE(net::eventually([] { return joined_interfaces().size() == INTERFACES; }));
        many.expect_one_message_each("first ", 0, INTERFACES);
        const long with_all = net::open_descriptors();
        ASSERT_TRUE(for_interfaces(0, INTERFACES / 2, {"link del m%"}));
        ASSERT_TRUE(net::eventually([] { return joined_interfaces().size() == INTERFACES / 2; }));
        many.expect_one_message_each("half ", INTERFACES / 2, INTERFACES);
        ASSERT_TRUE(add_interfaces(0, INTERFACES / 2));
        ASSERT_TRUE(net::eventually([] { return joined_interfaces().size() == INTERFACES; }));
        many.expect_one_message_each("again ", 0, INTERFACES);
        EXPECT_LE(net::open_descriptors(), with_all + 1); // at most what the gaps cost
        EXPECT_THAT(texts(log), IsEmpty());
    });
}

TEST(ManyInterfacesTest, SocketsThatAreEmptyAreClosed) {
    IN_PRIVATE_NETWORK([] {
        ManyInterfaces many("udpv4", group_v4());
        const long with_one = net::open_descriptors();
        ASSERT_TRUE(add_interfaces());
        ASSERT_TRUE(net::eventually([] { return joined_interfaces().size() == INTERFACES; }));
        EXPECT_TRUE(net::eventually([&] { return net::open_descriptors() == with_one + 2; }));
        ASSERT_TRUE(for_interfaces(0, INTERFACES, {"link set m% down"}));
        EXPECT_TRUE(net::eventually([&] { return net::open_descriptors() == with_one; }));
    });
}

TEST(ManyInterfacesTest, EachReceivesADatagramOfIpv6Once) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(add_interfaces());
        ManyInterfaces many("udpv6", group_v6());
        many.expect_one_message_each("", 0, INTERFACES);
    });
}

TEST(SwitchedOffIpv6Test, GroupIsReservedAfterOneWarning) {
    IN_PRIVATE_NETWORK([] {
        if (!net::run("sysctl -w net.ipv6.conf.all.disable_ipv6=1")) {
            GTEST_SKIP() << "needs the right to switch IPv6 off in a network of its own";
        }
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        const LogCapture log;
        ManyInterfaces many("udpv6", group_v6());
        EXPECT_THAT(texts(log), ElementsAre(HasSubstr("cannot join udpv6://[ff15::80]:7400 on any "
                                                      "interface")));
        EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_WARNING);
    });
}

} // namespace
