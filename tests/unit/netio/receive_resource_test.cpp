// SPDX-License-Identifier: Apache-2.0
#include <atomic>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include "net_fixture.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

using support::LogCapture;
using testing::HasSubstr;

NUVNetioReceiveResource *open_at(const net::Configurator &configurator, const net::Runtime &runtime,
                                 const NUVNetioLocator &locator, net::Inbox &inbox) {
    const NUVNetioReceiveListener listener = inbox.listener();
    return NUVNetioConfigurator_openReceiveResource(configurator.self, &locator, &listener,
                                                    runtime.worker());
}

class ReceiveResourceTest : public testing::Test {
protected:
    NUVNetioReceiveResource *open(const NUVNetioLocator &locator) {
        return open_at(configurator, runtime, locator, inbox);
    }
    NUVNetioReceiveResource *open(int number) {
        return open(net::locator("udpv4://127.0.0.1", number));
    }
    void release(NUVNetioReceiveResource *resource) {
        inbox.release(resource, runtime.worker());
    }

    net::Inbox inbox; // goes last, when the runtime has closed everything
    net::Runtime runtime;
    net::Configurator configurator{runtime};
    const int port = net::free_port();
};

// ---- unicast

TEST_F(ReceiveResourceTest, MessageArrivesWithItsSourceAndPort) {
    NUVNetioReceiveResource *resource = open(port);
    ASSERT_NE(resource, nullptr);
    const net::PlainSocket sender;
    ASSERT_TRUE(sender.bind_to("127.0.0.1", 0));
    ASSERT_TRUE(sender.send_to(net::locator("127.0.0.1", port), "hello"));
    ASSERT_TRUE(inbox.wait_for(1));
    const net::Inbox::Message message = inbox.messages()[0];
    EXPECT_EQ(message.data, "hello");
    EXPECT_EQ(message.transport, KOLS_TRANSPORT_CLASSID_UDPv4);
    EXPECT_EQ(message.port, port);
    EXPECT_EQ(net::text(message.source), "udpv4://127.0.0.1:" + std::to_string(sender.port()));
    release(resource);
}

TEST_F(ReceiveResourceTest, MessagesArriveInOrderWhateverTheirLength) {
    NUVNetioReceiveResource *resource = open(port);
    const net::PlainSocket sender;
    const std::vector<std::string> sent = {"", "a", std::string(1500, 'b'),
                                           std::string(NUV_NETIO_UDPv4_MESSAGE_SIZE_MAX, 'c'), "d"};
    for (const std::string &data : sent) {
        ASSERT_TRUE(sender.send_to(net::locator("127.0.0.1", port), data));
    }
    ASSERT_TRUE(inbox.wait_for(sent.size()));
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(inbox.messages()[i].data, sent[i]);
    }
    release(resource);
}

TEST_F(ReceiveResourceTest, MoreMessagesThanFitOneTurnAllArrive) {
    NUVNetioReceiveResource *resource = open(port);
    const net::PlainSocket sender;
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(sender.send_to(net::locator("127.0.0.1", port), std::to_string(i)));
    }
    EXPECT_TRUE(inbox.wait_for(100));
    release(resource);
}

TEST_F(ReceiveResourceTest, IsBoundToTheWildcardAddress) {
    NUVNetioReceiveResource *resource = open(port);
    for (const char *address : {"127.0.0.1", "127.1.2.3"}) {
        ASSERT_TRUE(net::PlainSocket().send_to(net::locator(address, port), address));
    }
    EXPECT_TRUE(inbox.wait_for(2));
    release(resource);
}

TEST_F(ReceiveResourceTest, PortIsExclusive) {
    NUVNetioReceiveResource *resource = open(port);
    const LogCapture log;
    EXPECT_EQ(open(port), nullptr);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_LOCAL);
    EXPECT_EQ(log.messages()[0].text, "udpv4 port " + std::to_string(port) + " is taken");
    EXPECT_FALSE(net::is_free(port));
    release(resource);
    EXPECT_TRUE(inbox.wait_for_close());
}

TEST_F(ReceiveResourceTest, PortOfAPlainSocketIsTaken) {
    const net::PlainSocket other;
    ASSERT_TRUE(other.bind_to("127.0.0.1", port));
    EXPECT_EQ(open(port), nullptr);
}

TEST_F(ReceiveResourceTest, ReleasedPortIsFreeAtOnce) {
    for (int i = 0; i < 3; ++i) {
        release(open(port));
        EXPECT_TRUE(net::is_free(port));
        EXPECT_EQ(inbox.closed(), i + 1);
    }
}

TEST_F(ReceiveResourceTest, ReleasedPortIsFreeAtOnceWhateverTheReactorIsAt) {
    net::Blocker blocker(runtime);
    for (int i = 0; i < 3; ++i) {
        release(open(port));
        EXPECT_TRUE(net::is_free(port));
    }
}

/** A listener that keeps the reactor at one message until it is let go. */
struct Lingering {
    std::atomic<int> messages{0};
    std::atomic<int> closed{0};
    std::atomic<bool> let_go{false};

    NUVNetioReceiveListener listener() {
        return {on_message, on_closed, this};
    }
    static void on_message(void *param, const NUVNetioMessage *, REDAWorker *) {
        auto *self = static_cast<Lingering *>(param);
        ++self->messages;
        EXPECT_TRUE(net::eventually([self] { return self->let_go.load(); }));
        EXPECT_EQ(self->closed, 0);
    }
    static void on_closed(void *param, REDAWorker *) {
        ++static_cast<Lingering *>(param)->closed;
    }
};

class LingeringTest : public ReceiveResourceTest {
protected:
    /** A resource of whose first message the reactor is at, with more behind it. */
    NUVNetioReceiveResource *open_busy() {
        const NUVNetioLocator locator = net::locator("127.0.0.1", port);
        const NUVNetioReceiveListener listener = lingering.listener();
        NUVNetioReceiveResource *resource = NUVNetioConfigurator_openReceiveResource(
            configurator.self, &locator, &listener, runtime.worker());
        EXPECT_NE(resource, nullptr);
        for (int i = 0; i < 3; ++i) {
            EXPECT_TRUE(net::PlainSocket().send_to(locator, "hello"));
        }
        EXPECT_TRUE(net::eventually([this] { return lingering.messages == 1; }));
        return resource;
    }
    ~LingeringTest() override {
        lingering.let_go = true;
        EXPECT_TRUE(runtime.flush());
    }

    Lingering lingering;
};

TEST_F(LingeringTest, PortReleasedDuringAMessageIsFreeAtOnceAndTheListenerToldLater) {
    EXPECT_EQ(NUVNetioReceiveResource_release(open_busy(), runtime.worker()), 0);
    EXPECT_TRUE(net::is_free(port));
    EXPECT_EQ(lingering.closed, 0);
    release(open(port));
    EXPECT_TRUE(net::is_free(port));
    lingering.let_go = true;
    EXPECT_TRUE(net::eventually([this] { return lingering.closed == 1; }));
}

TEST_F(LingeringTest, PortReleasedDuringAMessageHandsOnNoOtherOne) {
    EXPECT_EQ(NUVNetioReceiveResource_release(open_busy(), runtime.worker()), 0);
    lingering.let_go = true;
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(lingering.messages, 1);
    EXPECT_EQ(lingering.closed, 1);
}

TEST_F(LingeringTest, AnotherPortIsReleasedAtOnceMeanwhile) {
    NUVNetioReceiveResource *const busy = open_busy();
    const NUVNetioReceiveListener listener = inbox.listener();
    const NUVNetioLocator locator = net::locator("127.0.0.1", net::free_port());
    NUVNetioReceiveResource *const other = NUVNetioConfigurator_openReceiveResource(
        configurator.self, &locator, &listener, runtime.worker());
    EXPECT_NE(NUVNetioReceiveResource_release(other, runtime.worker()), 0);
    EXPECT_EQ(NUVNetioReceiveResource_release(busy, runtime.worker()), 0);
}

TEST_F(ReceiveResourceTest, OpenedAndReleasedItLeavesNothing) {
    release(open(port));
    EXPECT_TRUE(runtime.flush());
    const net::Held before;
    for (int i = 0; i < 3; ++i) {
        release(open(port));
        release(open(net::locator("239.255.0.1", port)));
    }
    EXPECT_EQ(net::Held(), before);
}

TEST_F(ReceiveResourceTest, ListenerNeedsNoCallbacks) {
    const NUVNetioLocator locator = net::locator("127.0.0.1", port);
    const NUVNetioReceiveListener deaf{nullptr, nullptr, nullptr};
    NUVNetioReceiveResource *resource = NUVNetioConfigurator_openReceiveResource(
        configurator.self, &locator, &deaf, runtime.worker());
    ASSERT_TRUE(net::PlainSocket().send_to(locator, "hello"));
    release(resource);
    EXPECT_TRUE(runtime.flush());
}

TEST_F(ReceiveResourceTest, MayBeReleasedByItsOwnListener) {
    struct Releasing {
        std::atomic<NUVNetioReceiveResource *> resource{nullptr};
        std::atomic<int> closed{0};
        static void on_message(void *param, const NUVNetioMessage *, REDAWorker *worker) {
            auto *self = static_cast<Releasing *>(param);
            if (NUVNetioReceiveResource *resource = self->resource.exchange(nullptr)) {
                NUVNetioReceiveResource_release(resource, worker);
            }
        }
        static void on_closed(void *param, REDAWorker *) {
            ++static_cast<Releasing *>(param)->closed;
        }
    } releasing;
    const NUVNetioLocator locator = net::locator("127.0.0.1", port);
    const NUVNetioReceiveListener listener{Releasing::on_message, Releasing::on_closed, &releasing};
    releasing.resource = NUVNetioConfigurator_openReceiveResource(configurator.self, &locator,
                                                                  &listener, runtime.worker());
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(net::PlainSocket().send_to(locator, "hello"));
    }
    EXPECT_TRUE(net::eventually([&] { return releasing.closed == 1; }));
    EXPECT_TRUE(net::is_free(port));
}

TEST_F(ReceiveResourceTest, FloodedPortDoesNotKeepOthersFromClosing) {
    NUVNetioReceiveResource *flooded = open(port);
    std::atomic<bool> stop{false};
    std::thread flood([&] {
        const net::PlainSocket sender;
        while (!stop) {
            sender.send_to(net::locator("127.0.0.1", port), "flood");
        }
    });
    EXPECT_TRUE(inbox.wait_for(1000));
    net::Inbox other;
    NUVNetioReceiveResource *quiet =
        open_at(configurator, runtime, net::locator("127.0.0.1", net::free_port()), other);
    other.release(quiet, runtime.worker());
    EXPECT_TRUE(other.wait_for_close());
    release(flooded);
    EXPECT_TRUE(inbox.wait_for_close());
    EXPECT_TRUE(net::is_free(port));
    stop = true;
    flood.join();
}

TEST_F(ReceiveResourceTest, PortsOutOfRangeAreRefused) {
    for (const int wrong : {-1, 0, 65536}) {
        const LogCapture log;
        EXPECT_EQ(open(wrong), nullptr);
        ASSERT_EQ(log.messages().size(), 1u);
        EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
        EXPECT_THAT(log.messages()[0].text, HasSubstr(":" + std::to_string(wrong) + ":"));
        EXPECT_THAT(log.messages()[0].text, HasSubstr("1 to 65535"));
    }
}

TEST_F(ReceiveResourceTest, UnregisteredTransportIsRefused) {
    const LogCapture log;
    EXPECT_EQ(open(net::locator("udpv6://[::1]", port)), nullptr);
    const NUVNetioLocator invalid = NUV_NETIO_LOCATOR_INVALID;
    EXPECT_EQ(open(invalid), nullptr);
    ASSERT_EQ(log.messages().size(), 2u);
    EXPECT_THAT(log.messages()[0].text, HasSubstr("its transport is not registered"));
}

TEST_F(ReceiveResourceTest, PrivilegedPortIsAnErrorWithItsReason) {
    const faults::Guard guard;
    const LogCapture log;
    faults::fail_call("bind", 1, EACCES);
    EXPECT_EQ(open(port), nullptr);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
    EXPECT_THAT(log.messages()[0].text, HasSubstr(std::to_string(port)));
    EXPECT_THAT(log.messages()[0].text, HasSubstr("Permission denied (EACCES)"));
}

TEST_F(ReceiveResourceTest, PortsAreExclusiveBetweenProcesses) {
    int to_child[2];
    int to_parent[2];
    ASSERT_EQ(pipe(to_child), 0);
    ASSERT_EQ(pipe(to_parent), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // Only what is safe in a fork of a process with threads.
        const net::PlainSocket other;
        char byte = other.bind_to("0.0.0.0", port) ? 'y' : 'n';
        const bool told = write(to_parent[1], &byte, 1) == 1 && read(to_child[0], &byte, 1) == 1;
        _exit(told ? 0 : 1);
    }
    char byte = 0;
    ASSERT_EQ(read(to_parent[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'y');
    EXPECT_EQ(open(port), nullptr);
    ASSERT_EQ(write(to_child[1], &byte, 1), 1);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    NUVNetioReceiveResource *resource = open(port);
    EXPECT_NE(resource, nullptr);
    release(resource);
    for (const int end : {to_child[0], to_child[1], to_parent[0], to_parent[1]}) {
        close(end);
    }
}

TEST_F(ReceiveResourceTest, InterruptedReceiveIsRepeated) {
    const faults::Guard guard;
    NUVNetioReceiveResource *resource = open(port);
    faults::fail_call("recvmsg", 1, EINTR);
    ASSERT_TRUE(net::PlainSocket().send_to(net::locator("127.0.0.1", port), "hello"));
    EXPECT_TRUE(inbox.wait_for(1));
    EXPECT_TRUE(faults::happened());
    release(resource);
    EXPECT_TRUE(runtime.flush());
}

TEST_F(ReceiveResourceTest, FailedReceiveIsAWarningAndNotTheEnd) {
    const faults::Guard guard;
    const LogCapture log;
    NUVNetioReceiveResource *resource = open(port);
    faults::fail_call("recvmsg", 1, ENOMEM);
    ASSERT_TRUE(net::PlainSocket().send_to(net::locator("127.0.0.1", port), "hello"));
    EXPECT_TRUE(inbox.wait_for(1));
    release(resource);
    EXPECT_TRUE(runtime.flush());
    ASSERT_EQ(log.messagesOfOtherThreads().size(), 1u);
    EXPECT_EQ(log.messagesOfOtherThreads()[0].level, NUV_LOG_LEVEL_WARNING);
    EXPECT_THAT(log.messagesOfOtherThreads()[0].text, HasSubstr("(ENOMEM)"));
}

TEST(FailedReceiveTest, IsOneWarningASecondForAllResources) {
    const faults::Guard guard;
    net::TestClock clock;
    net::Inbox inbox;
    net::Runtime runtime;
    const net::Configurator configurator(runtime);
    const LogCapture log;
    std::vector<NUVNetioReceiveResource *> resources;
    for (int i = 0; i < 3; ++i) {
        const NUVNetioLocator locator = net::locator("127.0.0.1", net::free_port());
        resources.push_back(open_at(configurator, runtime, locator, inbox));
        clock.advance(i == 2 ? 1'000'000'000 : 0);
        faults::fail_call("recvmsg", 1, ENOMEM);
        ASSERT_TRUE(net::PlainSocket().send_to(locator, "hello"));
        ASSERT_TRUE(net::eventually([] { return faults::happened(); }));
        ASSERT_TRUE(runtime.flush());
    }
    for (NUVNetioReceiveResource *resource : resources) {
        NUVNetioReceiveResource_release(resource, runtime.worker());
    }
    ASSERT_EQ(log.messagesOfOtherThreads().size(), 2u);
    EXPECT_THAT(log.messagesOfOtherThreads()[1].text,
                HasSubstr("(ENOMEM) (and 1 more like it since the last line)"));
}

// ---- passing over taken ports

TEST_F(ReceiveResourceTest, PassingOverTakenPortsCostsNoSocketAndNoAllocation) {
    const faults::Guard guard;
    const net::PlainSocket other;
    ASSERT_TRUE(other.bind_to("0.0.0.0", port));
    EXPECT_EQ(open(port), nullptr);
    const int free_port = net::free_port();
    const int sockets = faults::count("socket");
    const int allocations = faults::allocations();
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(open(port), nullptr);
    }
    EXPECT_EQ(faults::count("socket"), sockets);
    EXPECT_EQ(faults::allocations(), allocations);
    NUVNetioReceiveResource *resource = open(free_port);
    EXPECT_NE(resource, nullptr);
    EXPECT_EQ(faults::count("socket"), sockets); // the same socket at last
    release(resource);
}

TEST_F(ReceiveResourceTest, SocketThatCouldNotBeBoundGoesWithTheConfigurator) {
    const net::PlainSocket other;
    ASSERT_TRUE(other.bind_to("0.0.0.0", port));
    const net::Held before;
    {
        net::Configurator passing(runtime);
        EXPECT_EQ(open_at(passing, runtime, net::locator("127.0.0.1", port), inbox), nullptr);
        EXPECT_EQ(net::Held().descriptors, before.descriptors + 1);
    }
    EXPECT_EQ(net::Held(), before);
}

TEST_F(ReceiveResourceTest, ThreadsMayOpenAndReleaseAtTheSameTime) {
    std::vector<std::thread> threads;
    std::atomic<int> opened{0};
    const int ports[] = {net::free_port(), net::free_port()};
    const net::Held before;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 100; ++i) {
                NUVNetioReceiveResource *resource =
                    i % 3 == 0 ? open(net::locator("239.255.0.1", ports[t % 2]))
                               : open(ports[(t + i) % 2]);
                if (resource != nullptr) {
                    ++opened;
                    release(resource);
                }
                runtime.renew();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(runtime.flush());
    EXPECT_GT(opened, 0);
    EXPECT_EQ(inbox.closed(), opened);
    EXPECT_LE(net::Held().descriptors, before.descriptors + 1); // an unbound one may be kept
    EXPECT_EQ(net::Held().blocks, before.blocks);
}

// ---- multicast over the loopback interface

const char *const GROUP_ADDRESS = "udpv4://239.255.0.1";

TEST_F(ReceiveResourceTest, GroupIsReceivedByEveryResourceThatHasJoinedIt) {
    net::Inbox second;
    NUVNetioReceiveResource *one = open(net::locator(GROUP_ADDRESS, port));
    NUVNetioReceiveResource *two =
        open_at(configurator, runtime, net::locator(GROUP_ADDRESS, port), second);
    ASSERT_NE(one, nullptr);
    ASSERT_NE(two, nullptr);
    const NUVNetioLocator destination = net::locator(GROUP_ADDRESS, port);
    const NUV_UINT8 data[] = {'h', 'i'};
    EXPECT_NE(NUVNetioConfigurator_send(configurator.self, &destination, data, sizeof data,
                                        runtime.worker()),
              0);
    EXPECT_TRUE(inbox.wait_for(1));
    EXPECT_TRUE(second.wait_for(1));
    EXPECT_EQ(inbox.messages()[0].data, "hi");
    EXPECT_EQ(inbox.messages()[0].port, port);
    release(one);
    release(two);
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(inbox.messages().size(), 1u);
}

TEST_F(ReceiveResourceTest, OtherGroupOfTheSamePortIsNotReceived) {
    net::Inbox second;
    NUVNetioReceiveResource *one = open(net::locator(GROUP_ADDRESS, port));
    NUVNetioReceiveResource *two =
        open_at(configurator, runtime, net::locator("239.255.0.2", port), second);
    const NUVNetioLocator destination = net::locator("239.255.0.2", port);
    const NUV_UINT8 data[] = {'h', 'i'};
    NUVNetioConfigurator_send(configurator.self, &destination, data, sizeof data, runtime.worker());
    EXPECT_TRUE(second.wait_for(1));
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(inbox.messages().size(), 0u);
    release(one);
    release(two);
    EXPECT_TRUE(runtime.flush());
}

TEST_F(ReceiveResourceTest, InterfaceThatRefusesTheGroupIsAWarning) {
    runtime.interfaces.set({net::interface("gone0", 9999, "192.0.2.2")});
    runtime.renew();
    const LogCapture log;
    NUVNetioReceiveResource *resource = open(net::locator(GROUP_ADDRESS, port));
    EXPECT_NE(resource, nullptr);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_WARNING);
    EXPECT_THAT(log.messages()[0].text, HasSubstr("239.255.0.1:" + std::to_string(port)));
    EXPECT_THAT(log.messages()[0].text, HasSubstr("gone0"));
    EXPECT_THAT(log.messages()[0].text, HasSubstr("(ENODEV)"));
    release(resource);
    EXPECT_TRUE(runtime.flush());
}

TEST_F(ReceiveResourceTest, GroupOpensWithoutAnyInterfaceAndJoinsWhenOneAppears) {
    runtime.interfaces.set({});
    runtime.renew();
    NUVNetioReceiveResource *resource = open(net::locator(GROUP_ADDRESS, port));
    ASSERT_NE(resource, nullptr);
    runtime.interfaces.set({net::loopback()});
    runtime.renew();
    NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
    const NUVNetioLocator destination = net::locator(GROUP_ADDRESS, port);
    const NUV_UINT8 data[] = {'h', 'i'};
    EXPECT_NE(NUVNetioConfigurator_send(configurator.self, &destination, data, sizeof data,
                                        runtime.worker()),
              0);
    EXPECT_TRUE(inbox.wait_for(1));
    release(resource);
    EXPECT_TRUE(runtime.flush());
}

TEST_F(ReceiveResourceTest, InterfaceIsJoinedOnceWhateverItsAddressesAndAgainWhenItComesBack) {
    const faults::Guard guard;
    const NUVNetioInterface first = net::loopback("127.0.0.1");
    const NUVNetioInterface second = net::loopback("127.0.0.2");
    runtime.interfaces.set({first, second});
    runtime.renew();
    const int before = faults::count("setsockopt");
    NUVNetioReceiveResource *resource = open(net::locator(GROUP_ADDRESS, port));
    const int opened = faults::count("setsockopt");
    EXPECT_EQ(opened, before + 4); // address reuse, only what is joined, its interface, the join
    runtime.interfaces.set({second});
    runtime.renew();
    EXPECT_EQ(faults::count("setsockopt"), opened);
    runtime.interfaces.set({});
    runtime.renew();
    EXPECT_EQ(faults::count("setsockopt"), opened + 1); // left
    const LogCapture log;
    runtime.interfaces.set({first});
    runtime.renew();
    EXPECT_EQ(faults::count("setsockopt"), opened + 2);
    release(resource);
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(log.messages(), support::Messages());
}

TEST_F(ReceiveResourceTest, ReleasedGroupFollowsTheInterfacesNoMore) {
    const faults::Guard guard;
    NUVNetioReceiveResource *first = open(net::locator(GROUP_ADDRESS, port));
    NUVNetioReceiveResource *second = open(net::locator("239.255.0.2", port));
    NUVNetioReceiveResource *third = open(net::locator("239.255.0.3", port));
    release(second);
    release(third);
    release(first);
    const int before = faults::count("setsockopt");
    runtime.interfaces.set({});
    runtime.renew();
    EXPECT_EQ(faults::count("setsockopt"), before);
    EXPECT_TRUE(runtime.flush());
}

TEST_F(ReceiveResourceTest, LoopbackIsLeftWhenAnotherInterfaceAppears) {
    IN_PRIVATE_NETWORK([&] {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        const NUVNetioInterface n0 = net::interface("n0", if_nametoindex("n0"), "192.0.2.1");
        const NUVNetioInterface lo = net::loopback();
        net::Runtime there({lo});
        net::Configurator its(there);
        const NUVNetioLocator group = net::locator(GROUP_ADDRESS, port);
        NUVNetioReceiveResource *resource = open_at(its, there, group, inbox);
        const auto joined = [](const char *name) {
            return net::run(std::string("ip maddr show dev ") + name + " | grep -q 239.255.0.1");
        };
        EXPECT_TRUE(joined("lo"));
        there.interfaces.set({lo, n0});
        NUVNetioRuntime_renewInterfaces(there.runtime, there.worker());
        EXPECT_FALSE(joined("lo"));
        EXPECT_TRUE(joined("n0"));
        there.interfaces.set({lo});
        NUVNetioRuntime_renewInterfaces(there.runtime, there.worker());
        EXPECT_TRUE(joined("lo"));
        EXPECT_FALSE(joined("n0"));
        inbox.release(resource, there.worker());
        EXPECT_TRUE(there.flush());
    });
}

// ---- restricted interfaces

class RestrictedTest : public ReceiveResourceTest {
protected:
    RestrictedTest() {
        set({"127.0.0.1", "127.0.0.2"});
        restricted = std::make_unique<net::Configurator>(runtime, "udpv4",
                                                         std::vector{"127.0.0.2", "pretend0"});
    }

    /** 127.0.0.1 is loopback; the others are those of an interface that pretends to be none. */
    void set(const std::vector<const char *> &addresses) {
        std::vector<NUVNetioInterface> list;
        for (const char *address : addresses) {
            list.push_back(std::string(address) == "127.0.0.1"
                               ? net::loopback()
                               : net::interface("other0", if_nametoindex("lo"), address));
        }
        for (NUVNetioInterface &one : list) {
            if (net::text({one.transport, one.address, nullptr, 0, 0, {}, 0, 0})
                    .find("127.0.0.4") != std::string::npos) {
                std::strcpy(one.name, "pretend0");
            }
        }
        runtime.interfaces.set(list);
        runtime.renew();
    }
    NUVNetioReceiveResource *open_restricted() {
        return open_at(*restricted, runtime, net::locator("127.0.0.2", port), inbox);
    }
    bool cover(NUVNetioReceiveResource *resource, const char *address) {
        const NUVNetioLocator locator = net::locator(address, port);
        return NUVNetioReceiveResource_cover(resource, &locator, runtime.worker()) != 0;
    }
    bool is_bound(const char *address) const {
        return !net::PlainSocket().bind_to(address, port);
    }

    std::unique_ptr<net::Configurator> restricted;
};

TEST_F(RestrictedTest, EachAllowedAddressAndLoopbackIsBoundAndNothingElse) {
    NUVNetioReceiveResource *resource = open_restricted();
    ASSERT_NE(resource, nullptr);
    EXPECT_TRUE(is_bound("127.0.0.1"));
    EXPECT_TRUE(is_bound("127.0.0.2"));
    EXPECT_FALSE(is_bound("127.0.0.3"));
    for (const char *address : {"127.0.0.1", "127.0.0.2"}) {
        ASSERT_TRUE(net::PlainSocket().send_to(net::locator(address, port), address));
    }
    EXPECT_TRUE(inbox.wait_for(2));
    release(resource);
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(inbox.closed(), 1);
    EXPECT_FALSE(is_bound("127.0.0.1"));
    EXPECT_FALSE(is_bound("127.0.0.2"));
}

TEST_F(RestrictedTest, OneTakenAddressMakesThePortTaken) {
    const net::PlainSocket other;
    ASSERT_TRUE(other.bind_to("127.0.0.2", port));
    const LogCapture log;
    EXPECT_EQ(open_restricted(), nullptr);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_LOCAL);
    EXPECT_FALSE(is_bound("127.0.0.1"));
}

TEST_F(RestrictedTest, NewAllowedAddressIsCovered) {
    NUVNetioReceiveResource *resource = open_restricted();
    EXPECT_TRUE(cover(resource, "127.0.0.2")); // has been from the beginning
    set({"127.0.0.1", "127.0.0.2", "127.0.0.4"});
    NUVNetioConfigurator_refreshInterfaces(restricted->self, runtime.worker());
    EXPECT_FALSE(is_bound("127.0.0.4"));
    EXPECT_TRUE(cover(resource, "127.0.0.4"));
    EXPECT_TRUE(is_bound("127.0.0.4"));
    EXPECT_TRUE(cover(resource, "127.0.0.4"));
    ASSERT_TRUE(net::PlainSocket().send_to(net::locator("127.0.0.4", port), "hello"));
    EXPECT_TRUE(inbox.wait_for(1));
    release(resource);
    EXPECT_TRUE(runtime.flush());
    EXPECT_FALSE(is_bound("127.0.0.4"));
}

TEST_F(RestrictedTest, AddressThatIsNotAllowedIsNotCovered) {
    set({"127.0.0.1", "127.0.0.2", "127.0.0.3"});
    NUVNetioConfigurator_refreshInterfaces(restricted->self, runtime.worker());
    NUVNetioReceiveResource *resource = open_restricted();
    const LogCapture log;
    EXPECT_FALSE(cover(resource, "127.0.0.3"));
    EXPECT_FALSE(cover(resource, "127.0.0.9"));
    ASSERT_EQ(log.messages().size(), 2u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
    EXPECT_THAT(log.messages()[0].text, HasSubstr("127.0.0.3"));
    EXPECT_FALSE(is_bound("127.0.0.3"));
    release(resource);
    EXPECT_TRUE(runtime.flush());
}

TEST_F(RestrictedTest, AddressThatIsTakenIsNotCovered) {
    NUVNetioReceiveResource *resource = open_restricted();
    set({"127.0.0.1", "127.0.0.2", "127.0.0.4"});
    NUVNetioConfigurator_refreshInterfaces(restricted->self, runtime.worker());
    {
        const net::PlainSocket other;
        ASSERT_TRUE(other.bind_to("127.0.0.4", port));
        EXPECT_FALSE(cover(resource, "127.0.0.4"));
    }
    EXPECT_TRUE(cover(resource, "127.0.0.4"));
    release(resource);
    EXPECT_TRUE(runtime.flush());
}

TEST_F(RestrictedTest, CoveringThatFailsLeavesNothing) {
    const faults::Guard guard;
    const net::Held before;
    NUVNetioReceiveResource *resource = open_restricted();
    set({"127.0.0.1", "127.0.0.2", "127.0.0.4"});
    NUVNetioConfigurator_refreshInterfaces(restricted->self, runtime.worker());
    const net::Held opened;
    faults::fail_allocation(1);
    EXPECT_FALSE(cover(resource, "127.0.0.4"));
    faults::fail_call("epoll_ctl", 1, ENOSPC);
    EXPECT_FALSE(cover(resource, "127.0.0.4"));
    faults::fail_call("socket", 1, EMFILE);
    EXPECT_FALSE(cover(resource, "127.0.0.4"));
    EXPECT_FALSE(is_bound("127.0.0.4"));
    EXPECT_EQ(net::Held().descriptors, opened.descriptors);
    release(resource);
    EXPECT_EQ(net::Held().descriptors, before.descriptors);
    EXPECT_LE(net::Held().blocks, before.blocks + 1); // the larger snapshot's
}

TEST_F(RestrictedTest, CoveringDoesNothingWithoutRestrictionForGroupsAndForNoAddress) {
    const faults::Guard guard;
    NUVNetioReceiveResource *group =
        open_at(*restricted, runtime, net::locator(GROUP_ADDRESS, port), inbox);
    NUVNetioReceiveResource *wildcard = open(net::free_port());
    NUVNetioReceiveResource *some =
        open_at(*restricted, runtime, net::locator("127.0.0.2", net::free_port()), inbox);
    const int before = faults::count("bind");
    EXPECT_TRUE(cover(group, "239.255.0.9"));
    EXPECT_TRUE(cover(wildcard, "127.0.0.9"));
    EXPECT_TRUE(cover(some, "0.0.0.0"));
    EXPECT_EQ(faults::count("bind"), before);
    for (NUVNetioReceiveResource *resource : {group, wildcard, some}) {
        release(resource);
    }
    EXPECT_TRUE(runtime.flush());
}

TEST_F(RestrictedTest, OpensWithoutAnyAddressAndCoversTheFirst) {
    set({});
    NUVNetioConfigurator_refreshInterfaces(restricted->self, runtime.worker());
    NUVNetioReceiveResource *resource = open_restricted();
    ASSERT_NE(resource, nullptr);
    set({"127.0.0.2"});
    NUVNetioConfigurator_refreshInterfaces(restricted->self, runtime.worker());
    EXPECT_TRUE(cover(resource, "127.0.0.2"));
    ASSERT_TRUE(net::PlainSocket().send_to(net::locator("127.0.0.2", port), "hello"));
    EXPECT_TRUE(inbox.wait_for(1));
    release(resource);
    EXPECT_TRUE(runtime.flush());
}

TEST(RestrictedAddressTest, AddressThatIsGivenBackCanBeHadAgainAtOnce) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::run("ip addr add 192.0.2.1/32 dev lo && ip addr add 192.0.2.2/32 dev lo"));
        const NUVNetioInterface stays = net::interface("a0", if_nametoindex("lo"), "192.0.2.1");
        const NUVNetioInterface comes = net::interface("a0", if_nametoindex("lo"), "192.0.2.2");
        net::Runtime runtime({stays});
        net::Configurator configurator(runtime, "udpv4", {"a0"});
        net::Inbox inbox;
        NUVNetioReceiveResource *resource =
            open_at(configurator, runtime, net::locator("192.0.2.1:7410"), inbox);
        ASSERT_NE(resource, nullptr);
        const net::Blocker blocker(runtime);
        const auto cover = [&](const std::vector<NUVNetioInterface> &list, const char *address) {
            const NUVNetioLocator locator = net::locator(address, 7410);
            runtime.interfaces.set(list);
            runtime.renew();
            NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
            return NUVNetioReceiveResource_cover(resource, &locator, runtime.worker()) != 0;
        };
        for (int i = 0; i < 3; ++i) {
            EXPECT_TRUE(cover({stays, comes}, "192.0.2.2"));
            EXPECT_FALSE(net::PlainSocket().bind_to("192.0.2.2", 7410));
            EXPECT_TRUE(cover({stays}, "192.0.2.1"));
            EXPECT_TRUE(net::PlainSocket().bind_to("192.0.2.2", 7410));
        }
        inbox.release(resource, runtime.worker());
        EXPECT_TRUE(inbox.wait_for_close());
    });
}

// ---- UDPv6

TEST(ReceiveResourceV6Test, PortIsReceivedAtAndLeftToUdpv4) {
    IN_PRIVATE_NETWORK([] {
        net::Runtime runtime({net::loopback("127.0.0.1"), net::loopback("::1")});
        net::Configurator configurator(runtime, "udpv4,udpv6");
        net::Inbox inbox;
        NUVNetioReceiveResource *six =
            open_at(configurator, runtime, net::locator("[::1]:7410"), inbox);
        NUVNetioReceiveResource *four =
            open_at(configurator, runtime, net::locator("127.0.0.1:7410"), inbox);
        ASSERT_NE(six, nullptr);
        ASSERT_NE(four, nullptr);
        EXPECT_EQ(open_at(configurator, runtime, net::locator("[::1]:7410"), inbox), nullptr);
        ASSERT_TRUE(net::PlainSocket(AF_INET6).send_to(net::locator("[::1]:7410"), "six"));
        ASSERT_TRUE(inbox.wait_for(1));
        EXPECT_EQ(inbox.messages()[0].transport, KOLS_TRANSPORT_CLASSID_UDPv6);
        EXPECT_THAT(net::text(inbox.messages()[0].source), HasSubstr("udpv6://[::1]:"));
        inbox.release(six, runtime.worker());
        inbox.release(four, runtime.worker());
        EXPECT_TRUE(runtime.flush());
    });
}

TEST(ReceiveResourceV6Test, GroupIsReceived) {
    IN_PRIVATE_NETWORK([] {
        // Not over the loopback interface, on which the kernel routes no IPv6 multicast.
        ASSERT_TRUE(net::add_interface("n0", "fd00::2/64"));
        net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        net::Configurator configurator(runtime, "udpv6");
        net::Inbox inbox;
        const NUVNetioLocator group = net::locator("[ff15::80]:7400");
        NUVNetioReceiveResource *resource = open_at(configurator, runtime, group, inbox);
        ASSERT_NE(resource, nullptr);
        const NUV_UINT8 data[] = {'h', 'i'};
        EXPECT_NE(NUVNetioConfigurator_send(configurator.self, &group, data, sizeof data,
                                            runtime.worker()),
                  0);
        ASSERT_TRUE(inbox.wait_for(1));
        EXPECT_EQ(inbox.messages()[0].data, "hi");
        EXPECT_THAT(net::text(inbox.messages()[0].source), HasSubstr("udpv6://["));
        inbox.release(resource, runtime.worker());
        EXPECT_TRUE(inbox.wait_for_close());
    });
}

// ---- failures

/** Fails one thing after the other until opening succeeds; says how many failures there were. */
template <typename Ask>
int count_failures(Ask ask, const net::Runtime &runtime, const net::Configurator &configurator,
                   const NUVNetioLocator &locator) {
    LogCapture log;
    net::Inbox inbox;
    const net::Held before;
    return faults::fail_each(
        ask, [&] { return open_at(configurator, runtime, locator, inbox); },
        [&](NUVNetioReceiveResource *resource, const std::string &failed) {
            const NUV_UINT32 level =
                resource == nullptr ? NUV_LOG_LEVEL_ERROR : NUV_LOG_LEVEL_WARNING; // of a join
            EXPECT_TRUE(runtime.flush());
            EXPECT_EQ(log.messages().size(), failed.empty() ? 0u : 1u) << failed;
            EXPECT_TRUE(failed.empty() || log.messages()[0].level == level) << failed;
            if (resource != nullptr) {
                EXPECT_TRUE(failed.empty() || NUVNetioLocator_isMulticast(&locator) != 0);
                inbox.release(resource, runtime.worker());
                EXPECT_TRUE(inbox.wait_for_close());
            }
            EXPECT_LE(net::Held().descriptors, before.descriptors + 1); // an unbound one is kept
            EXPECT_EQ(net::Held().blocks, before.blocks) << failed;
            EXPECT_TRUE(net::is_free(locator.port)) << failed;
            log.clear();
        });
}

TEST_F(ReceiveResourceTest, EachAllocationThatFailsGivesNullOneErrorAndLeavesNothing) {
    const faults::Guard guard;
    EXPECT_EQ(count_failures(faults::fail_allocation, runtime, configurator,
                             net::locator("127.0.0.1", port)),
              2);
    EXPECT_EQ(count_failures(faults::fail_allocation, runtime, configurator,
                             net::locator(GROUP_ADDRESS, port)),
              4); // the last one only makes the join impossible
}

TEST_F(ReceiveResourceTest, EachCallThatFailsGivesNullOneErrorAndLeavesNothing) {
    for (const char *function : {"socket", "bind", "epoll_ctl"}) {
        const faults::Guard guard;
        const net::Configurator fresh(runtime);
        const auto fail = [&](int nth) { faults::fail_call(function, nth, ENOBUFS); };
        EXPECT_EQ(count_failures(fail, runtime, fresh, net::locator("127.0.0.1", port)), 1)
            << function;
    }
}

TEST_F(ReceiveResourceTest, EachCallThatFailsForAGroupLeavesNothing) {
    for (const char *function : {"socket", "bind", "epoll_ctl"}) {
        const faults::Guard guard;
        const auto fail = [&](int nth) { faults::fail_call(function, nth, ENOBUFS); };
        EXPECT_EQ(count_failures(fail, runtime, configurator, net::locator(GROUP_ADDRESS, port)), 1)
            << function;
    }
    const faults::Guard guard;
    const auto fail = [](int nth) { faults::fail_call("setsockopt", nth, EPERM); };
    EXPECT_EQ(count_failures(fail, runtime, configurator, net::locator(GROUP_ADDRESS, port)), 4);
}

TEST_F(RestrictedTest, EachAllocationAndCallThatFailsLeavesNothing) {
    const NUVNetioLocator locator = net::locator("127.0.0.2", port);
    const faults::Guard guard;
    EXPECT_EQ(count_failures(faults::fail_allocation, runtime, *restricted, locator), 3);
    for (const char *function : {"bind", "epoll_ctl"}) {
        const auto fail = [&](int nth) { faults::fail_call(function, nth, ENOBUFS); };
        EXPECT_EQ(count_failures(fail, runtime, *restricted, locator), 2) << function;
    }
}

TEST(ReceiveResourceV6Test, FailedOptionsLeaveNothing) {
    const faults::Guard guard;
    net::Runtime runtime({net::loopback("::1")});
    net::Configurator configurator(runtime, "udpv6");
    net::Inbox inbox;
    const net::Held before;
    faults::fail_call("setsockopt", 1, ENOPROTOOPT);
    EXPECT_EQ(open_at(configurator, runtime, net::locator("[::1]", net::free_port()), inbox),
              nullptr);
    EXPECT_EQ(net::Held(), before);
}

} // namespace
