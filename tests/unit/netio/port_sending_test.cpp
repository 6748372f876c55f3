// SPDX-License-Identifier: Apache-2.0
// What is sent from the port of a receive resource.
#include <array>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "net_fixture.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

using support::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr const char *GROUP = "udpv4://239.255.0.1:7400";

/** A receive resource and what it is told. */
class Port {
public:
    Port(const net::Runtime &runtime, const net::Configurator &configurator,
         const NUVNetioLocator &locator)
        : runtime_(runtime) {
        const NUVNetioReceiveListener listener = inbox.listener();
        resource = NUVNetioConfigurator_openReceiveResource(configurator.self, &locator, &listener,
                                                            runtime.worker());
        EXPECT_NE(resource, nullptr);
    }
    ~Port() {
        inbox.release(resource, runtime_.worker());
        EXPECT_TRUE(inbox.wait_for_close());
    }
    Port(const Port &) = delete;
    Port &operator=(const Port &) = delete;

    int send(const NUVNetioLocator &destination, std::string_view data = "hello") const {
        return NUVNetioReceiveResource_send(
            resource, &destination, reinterpret_cast<const NUV_UINT8 *>(data.data()),
            static_cast<NUV_UINT32>(data.size()), runtime_.factories.worker_of_this_thread());
    }
    int send(const char *destination) const {
        return send(net::locator(destination));
    }
    std::vector<std::string> sources(std::size_t count) {
        EXPECT_TRUE(inbox.wait_for(count));
        std::vector<std::string> texts;
        for (const net::Inbox::Message &message : inbox.messages()) {
            texts.push_back(net::text(message.source));
        }
        return texts;
    }

    net::Inbox inbox;
    NUVNetioReceiveResource *resource = nullptr;

private:
    const net::Runtime &runtime_;
};

std::string at(const char *address, int port) {
    return std::string(address) + ":" + std::to_string(port);
}

class PortSendingTest : public testing::Test {
protected:
    const faults::Guard guard;
    net::TestClock clock;
    net::Runtime runtime;
    net::Configurator configurator{runtime};
    const int number = net::free_port();
    const Port port{runtime, configurator, net::locator("0.0.0.0", number)};
    const NUVNetioLocator somewhere = net::locator("127.0.0.1:1");
};

TEST_F(PortSendingTest, MessageComesFromThePort) {
    const int other = net::free_port();
    Port receiver(runtime, configurator, net::locator("0.0.0.0", other));
    EXPECT_EQ(port.send(net::locator("127.0.0.1", other)), 1);
    EXPECT_THAT(receiver.sources(1), ElementsAre(at("udpv4://127.0.0.1", number)));
    EXPECT_EQ(receiver.inbox.messages()[0].data, "hello");
}

TEST_F(PortSendingTest, NoSocketIsOpenedForIt) {
    const int before = faults::count("socket");
    EXPECT_EQ(port.send(somewhere), 1);
    EXPECT_EQ(port.send(GROUP), 1);
    EXPECT_EQ(faults::count("socket"), before);
}

TEST_F(PortSendingTest, SendNeverWaitsForRoom) {
    faults::fail_call("sendmsg without waiting", 1, EAGAIN);
    EXPECT_EQ(port.send(somewhere), 0);
    EXPECT_EQ(faults::count("sendmsg"), 0);
    EXPECT_EQ(port.send(GROUP), 1);
    EXPECT_EQ(faults::count("sendmsg"), 0);
}

TEST_F(PortSendingTest, RefusalIsOneWarningASecondAndErrnoTellsWhy) {
    const LogCapture log;
    for (int i = 0; i < 3; ++i) {
        faults::fail_call("sendmsg without waiting", 1, ENETDOWN);
        errno = 0;
        EXPECT_EQ(port.send(somewhere), 0);
        EXPECT_EQ(errno, ENETDOWN);
    }
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_WARNING);
    EXPECT_EQ(log.messages()[0].text, "cannot send 5 bytes from port " + std::to_string(number) +
                                          " to udpv4://127.0.0.1:1: Network is down (ENETDOWN)");
    clock.advance(1'000'000'000);
    faults::fail_call("sendmsg without waiting", 1, ENETDOWN);
    EXPECT_EQ(port.send(somewhere), 0);
    EXPECT_EQ(log.messages().size(), 2u);
}

TEST_F(PortSendingTest, MessageThatIsTooLargeIsRefused) {
    const LogCapture log;
    EXPECT_EQ(port.send(somewhere, std::string(NUV_NETIO_UDPv4_MESSAGE_SIZE_MAX + 1, 'x')), 0);
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_EQ(log.messages().size(), 1u);
}

TEST_F(PortSendingTest, MessageToAGroupGoesOverEachInterfaceAndIsCounted) {
    NUVNetioInterface twin = net::loopback("127.0.0.2");
    twin.index = 9999;
    runtime.interfaces.set({net::loopback(), twin});
    runtime.renew();
    NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
    std::vector<unsigned> interfaces;
    faults::replace("sendmsg without waiting", [&](int, const msghdr *message, int) -> ssize_t {
        in_pktinfo info{};
        std::memcpy(&info, CMSG_DATA(CMSG_FIRSTHDR(message)), sizeof info);
        interfaces.push_back(static_cast<unsigned>(info.ipi_ifindex));
        return 0;
    });
    EXPECT_EQ(port.send(GROUP), 2);
    EXPECT_THAT(interfaces, ElementsAre(if_nametoindex("lo"), 9999u));
}

TEST_F(PortSendingTest, InterfaceThatRefusesAGroupIsAWarningWhileOthersDoNot) {
    NUVNetioInterface twin = net::loopback("127.0.0.2");
    twin.index = 9999;
    runtime.interfaces.set({net::loopback(), twin});
    runtime.renew();
    NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
    const LogCapture log;
    EXPECT_EQ(port.send(GROUP), 1);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_WARNING);
    EXPECT_STREQ(log.messages()[0].function.c_str(), "NUVNetioReceiveResource_send");
    EXPECT_THAT(log.messages()[0].text, HasSubstr("1 of 2 interfaces refused a message"));
}

TEST_F(PortSendingTest, GroupThatEveryInterfaceRefusesIsOneWarning) {
    NUVNetioInterface gone = net::interface("gone0", 9999, "192.0.2.2");
    runtime.interfaces.set({gone});
    runtime.renew();
    NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
    const LogCapture log;
    EXPECT_EQ(port.send(GROUP), 0);
    EXPECT_EQ(errno, ENODEV);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_WARNING);
}

TEST_F(PortSendingTest, ResourceOfAGroupIsNotSentFrom) {
    const Port group(runtime, configurator, net::locator("239.255.0.1", number + 1));
    const LogCapture log;
    EXPECT_EQ(group.send(somewhere), 0);
    EXPECT_EQ(errno, EOPNOTSUPP);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(PortSendingTest, ReactorMaySendWhatAnswersAMessage) {
    struct Echo {
        static void on_message(void *param, const NUVNetioMessage *message, REDAWorker *worker) {
            auto *self = static_cast<Echo *>(param);
            EXPECT_EQ(NUVNetioReceiveResource_send(self->resource, &message->source, message->data,
                                                   message->length, worker),
                      1);
        }
        NUVNetioReceiveResource *resource = nullptr;
    } echo;
    const NUVNetioLocator locator = net::locator("127.0.0.1", net::free_port());
    const NUVNetioReceiveListener listener{Echo::on_message, nullptr, &echo};
    echo.resource = NUVNetioConfigurator_openReceiveResource(configurator.self, &locator, &listener,
                                                             runtime.worker());
    ASSERT_NE(echo.resource, nullptr);
    const net::PlainSocket asking;
    ASSERT_TRUE(asking.bind_to("127.0.0.1", 0));
    ASSERT_TRUE(asking.send_to(locator, "hello"));
    std::array<char, 16> answer{};
    EXPECT_EQ(recv(asking.number, answer.data(), answer.size(), 0), 5);
    NUVNetioReceiveResource_release(echo.resource, runtime.worker());
    EXPECT_TRUE(runtime.flush());
}

// ---- without a wait from the socket that is no port

class TrySendTest : public PortSendingTest {
protected:
    int try_send(const NUVNetioLocator &destination) {
        const NUV_UINT8 data[] = {'h', 'i'};
        return NUVNetioConfigurator_trySend(configurator.self, &destination, data, sizeof data,
                                            runtime.worker());
    }
};

TEST_F(TrySendTest, NeverWaitsForRoom) {
    EXPECT_EQ(try_send(somewhere), 1);
    EXPECT_EQ(try_send(net::locator(GROUP)), 1);
    EXPECT_EQ(faults::count("sendmsg"), 0);
    EXPECT_EQ(faults::count("sendmsg without waiting"), 2);
}

TEST_F(TrySendTest, RefusalIsAnError) {
    const LogCapture log;
    faults::fail_call("sendmsg without waiting", 1, EAGAIN);
    EXPECT_EQ(try_send(somewhere), 0);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
    EXPECT_STREQ(log.messages()[0].function.c_str(), "NUVNetioConfigurator_trySend");
    EXPECT_THAT(log.messages()[0].text, HasSubstr("(EAGAIN)"));
}

// ---- which address it leaves from, where interfaces are restricted

/** Answers the address that the socket of each message is bound to, instead of sending it. */
class Addresses {
public:
    Addresses() {
        faults::replace("sendmsg without waiting", [this](int socket, const msghdr *, int) {
            union {
                sockaddr any;
                sockaddr_in ipv4;
                sockaddr_in6 ipv6;
            } name{};
            socklen_t length = sizeof name;
            std::array<char, INET6_ADDRSTRLEN> text{};
            EXPECT_EQ(getsockname(socket, &name.any, &length), 0);
            inet_ntop(name.any.sa_family,
                      name.any.sa_family == AF_INET ? static_cast<void *>(&name.ipv4.sin_addr)
                                                    : static_cast<void *>(&name.ipv6.sin6_addr),
                      text.data(), text.size());
            seen_.emplace_back(text.data());
            return ssize_t{0};
        });
    }
    std::vector<std::string> take() {
        return std::exchange(seen_, {});
    }

private:
    std::vector<std::string> seen_;
};

class AddressChoiceTest : public testing::Test {
protected:
    const faults::Guard guard;
};

TEST_F(AddressChoiceTest, MessageToAGroupLeavesFromAnAddressOfItsInterface) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        ASSERT_TRUE(net::add_interface("n1", "198.51.100.1/24"));
        const net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        const net::Configurator configurator(runtime, "udpv4", {"n0", "n1"});
        const int number = net::free_port();
        const Port port(runtime, configurator, net::locator("0.0.0.0", number));
        Port group(runtime, configurator, net::locator(GROUP));
        EXPECT_EQ(port.send(GROUP), 2);
        EXPECT_THAT(group.sources(2), UnorderedElementsAre(at("udpv4://192.0.2.1", number),
                                                           at("udpv4://198.51.100.1", number)));
    });
}

TEST_F(AddressChoiceTest, MessageToAnAddressLeavesFromTheOneThatIsNearest) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        ASSERT_TRUE(net::add_interface("n1", "198.51.100.1/24"));
        const net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        const net::Configurator configurator(runtime, "udpv4", {"n0", "n1"});
        const Port port(runtime, configurator, net::locator("0.0.0.0", net::free_port()));
        Addresses addresses;
        for (const char *destination :
             {"192.0.2.7:1", "198.51.100.7:1", "127.0.0.1:1", "192.0.2.1:1", "10.0.0.1:1"}) {
            EXPECT_EQ(port.send(destination), 1);
        }
        EXPECT_THAT(addresses.take(), ElementsAre("192.0.2.1", "198.51.100.1", "127.0.0.1",
                                                  "192.0.2.1", "192.0.2.1"));
    });
}

TEST_F(AddressChoiceTest, MessageOverIpv6LeavesFromTheOneThatIsNearest) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::add_interface("n0", "fd00:1::1/64"));
        ASSERT_TRUE(net::add_interface("n1", "fd00:2::1/64"));
        const net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        const net::Configurator configurator(runtime, "udpv6", {"n0", "n1"});
        const Port port(runtime, configurator, net::locator("[::]", net::free_port()));
        Addresses addresses;
        for (const char *destination : {"[fd00:2::7]:1", "[fd00:1::7]:1", "[::1]:1"}) {
            EXPECT_EQ(port.send(destination), 1);
        }
        EXPECT_THAT(addresses.take(), ElementsAre("fd00:2::1", "fd00:1::1", "::1"));
        EXPECT_EQ(port.send("[ff15::80]:7400"), 2);
        EXPECT_THAT(addresses.take(), ElementsAre("fd00:1::1", "fd00:2::1"));
    });
}

TEST_F(AddressChoiceTest, NothingLeavesTheHostFromLoopbackAlone) {
    const net::Runtime runtime;
    const net::Configurator configurator(runtime, "udpv4", {"eth7"});
    const Port port(runtime, configurator, net::locator("0.0.0.0", net::free_port()));
    const LogCapture log;
    EXPECT_EQ(port.send("192.0.2.7:1"), 0);
    EXPECT_EQ(errno, EADDRNOTAVAIL);
    EXPECT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(port.send("127.0.0.1:1"), 1);
    EXPECT_EQ(port.send(GROUP), 1); // over the loopback interface, where there is no other
}

TEST_F(AddressChoiceTest, AddressThatIsGoneIsNotSentFrom) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        const net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        const net::Configurator configurator(runtime, "udpv4", {"n0"});
        const int number = net::free_port();
        const Port port(runtime, configurator, net::locator("0.0.0.0", number));
        ASSERT_TRUE(net::run("ip addr add 198.51.100.1/24 dev n0"));
        ASSERT_TRUE(net::run("ip addr del 192.0.2.1/24 dev n0"));
        NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
        const NUVNetioLocator now = net::locator("198.51.100.1", number);
        ASSERT_NE(NUVNetioReceiveResource_cover(port.resource, &now, runtime.worker()), 0);
        Addresses addresses;
        EXPECT_EQ(port.send("192.0.2.7:1"), 1);
        EXPECT_THAT(addresses.take(), ElementsAre("198.51.100.1"));
    });
}

// ---- how it travels

/** What a plain receiver of a group is told of a datagram. */
struct Travelled {
    int ttl = -1;
    int traffic_class = -1;
    int port = -1;
};

struct Family {
    const char *transport;
    const char *group;
    int domain;
    int level;
    int wants_ttl;
    int wants_class;
    int ttl;
    int traffic_class;
};

void PrintTo(const Family &family, std::ostream *out) {
    *out << family.transport;
}

class PortOptionsTest : public testing::TestWithParam<Family> {
protected:
    /** A resource whose sockets have these options. */
    static std::unique_ptr<net::Configurator> configurator(const net::Runtime &runtime,
                                                           NUVNetioSendOptions options) {
        auto made = std::make_unique<net::Configurator>(runtime, GetParam().transport);
        NUVNetioConfigurator_delete(made->self);
        NUVNetioConfiguratorProperty property =
            net::configurator_property(GetParam().transport, {});
        property.sending = options;
        made->self = NUVNetioConfigurator_new(&property, runtime.runtime, runtime.worker());
        return made;
    }
    static NUVNetioLocator unicast(int port) {
        return net::locator(GetParam().domain == AF_INET ? "0.0.0.0" : "[::]", port);
    }

    const faults::Guard guard;
};

INSTANTIATE_TEST_SUITE_P(Of, PortOptionsTest,
                         testing::Values(Family{"udpv4", "udpv4://239.255.0.1:7400", AF_INET,
                                                IPPROTO_IP, IP_RECVTTL, IP_RECVTOS, IP_TTL, IP_TOS},
                                         Family{"udpv6", "udpv6://[ff15::80]:7400", AF_INET6,
                                                IPPROTO_IPV6, IPV6_RECVHOPLIMIT, IPV6_RECVTCLASS,
                                                IPV6_HOPLIMIT, IPV6_TCLASS}),
                         testing::PrintToStringParamName());

/** A plain member of the group, on the interface n0, which tells how a datagram came. */
class MemberSocket {
public:
    MemberSocket() : socket_(GetFamily().domain) {
        const NUVNetioLocator group = net::locator(GetFamily().group);
        const int on = 1;
        setsockopt(socket_.number, GetFamily().level, GetFamily().wants_ttl, &on, sizeof on);
        setsockopt(socket_.number, GetFamily().level, GetFamily().wants_class, &on, sizeof on);
        if (GetFamily().domain == AF_INET) {
            EXPECT_TRUE(socket_.bind_to("0.0.0.0", group.port));
            ip_mreqn request{};
            std::memcpy(&request.imr_multiaddr, group.address.network_ordered_value + 12, 4);
            request.imr_ifindex = static_cast<int>(if_nametoindex("n0"));
            EXPECT_EQ(
                setsockopt(socket_.number, IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof request),
                0);
        } else {
            sockaddr_in6 name{};
            name.sin6_family = AF_INET6;
            name.sin6_port = htons(static_cast<in_port_t>(group.port));
            EXPECT_EQ(bind(socket_.number, reinterpret_cast<const sockaddr *>(&name), sizeof name),
                      0);
            ipv6_mreq request{};
            std::memcpy(&request.ipv6mr_multiaddr, group.address.network_ordered_value, 16);
            request.ipv6mr_interface = if_nametoindex("n0");
            EXPECT_EQ(
                setsockopt(socket_.number, IPPROTO_IPV6, IPV6_JOIN_GROUP, &request, sizeof request),
                0);
        }
    }

    Travelled receive() const {
        std::array<char, 16> data{};
        alignas(cmsghdr) std::array<char, 128> control{};
        sockaddr_in6 source{}; // the port is where that of IPv4 is
        iovec part{data.data(), data.size()};
        msghdr header{};
        header.msg_name = &source;
        header.msg_namelen = sizeof source;
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        EXPECT_EQ(recvmsg(socket_.number, &header, 0), 5);
        Travelled travelled;
        travelled.port = ntohs(source.sin6_port);
        for (cmsghdr *one = CMSG_FIRSTHDR(&header); one != nullptr;
             one = CMSG_NXTHDR(&header, one)) {
            if (one->cmsg_type == GetFamily().ttl) {
                std::memcpy(&travelled.ttl, CMSG_DATA(one), sizeof travelled.ttl);
            } else if (one->cmsg_type == GetFamily().traffic_class) {
                travelled.traffic_class = *CMSG_DATA(one); // an octet or an integer, of this order
            }
        }
        return travelled;
    }

private:
    static const Family &GetFamily() {
        return PortOptionsTest::GetParam();
    }

    const net::PlainSocket socket_;
};

TEST_P(PortOptionsTest, MessageToAGroupTravelsAsIsSetAndFromThePort) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(
            net::add_interface("n0", GetParam().domain == AF_INET ? "192.0.2.1/24" : "fd00::1/64"));
        const MemberSocket member;
        const net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        const auto with_options = configurator(runtime, {3, 46});
        const int number = net::free_port();
        const Port port(runtime, *with_options, unicast(number));
        ASSERT_EQ(port.send(GetParam().group), 1);
        const Travelled travelled = member.receive();
        EXPECT_EQ(travelled.ttl, 3);
        EXPECT_EQ(travelled.traffic_class, 184);
        EXPECT_EQ(travelled.port, number);
    });
}

TEST_P(PortOptionsTest, ByDefaultItTravelsToTheLinksOnlyWithoutAClassOfService) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(
            net::add_interface("n0", GetParam().domain == AF_INET ? "192.0.2.1/24" : "fd00::1/64"));
        const MemberSocket member;
        const net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        const net::Configurator configurator(runtime, GetParam().transport);
        const Port port(runtime, configurator, unicast(net::free_port()));
        ASSERT_EQ(port.send(GetParam().group), 1);
        const Travelled travelled = member.receive();
        EXPECT_EQ(travelled.ttl, 1);
        EXPECT_EQ(travelled.traffic_class, 0);
    });
}

TEST_P(PortOptionsTest, DefaultsCostNoCall) {
    const net::Runtime runtime;
    const net::Configurator configurator(runtime, GetParam().transport);
    const Port port(runtime, configurator, unicast(net::free_port()));
    EXPECT_EQ(faults::count("setsockopt"), GetParam().domain == AF_INET ? 0 : 1); // that of IPv6
}

TEST_P(PortOptionsTest, PortThatCannotHaveThemIsNotOpened) {
    const net::Runtime runtime;
    const auto with_options = configurator(runtime, {3, 46});
    const NUVNetioLocator locator = unicast(net::free_port());
    const int options = GetParam().domain == AF_INET ? 2 : 3;
    const net::Held before;
    for (int i = 1; i <= options; ++i) {
        const LogCapture log;
        net::Inbox inbox;
        const NUVNetioReceiveListener listener = inbox.listener();
        faults::fail_call("setsockopt", i, EPERM);
        EXPECT_EQ(NUVNetioConfigurator_openReceiveResource(with_options->self, &locator, &listener,
                                                           runtime.worker()),
                  nullptr);
        EXPECT_TRUE(faults::happened());
        ASSERT_EQ(log.messages().size(), 1u);
        EXPECT_THAT(log.messages()[0].text, HasSubstr("(EPERM)"));
        EXPECT_EQ(net::Held(), before);
        EXPECT_TRUE(net::is_free(locator.port));
    }
}

} // namespace
