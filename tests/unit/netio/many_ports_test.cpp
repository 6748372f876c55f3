// SPDX-License-Identifier: Apache-2.0
// Many ports at once, and several things that happen to them in one turn of the reactor.
#include <gtest/gtest.h>

#include "net_fixture.h"

namespace {

/** A port whose listener gives it back when its first message comes. */
struct SelfReleasing {
    NUVNetioReceiveResource *resource = nullptr;
    std::atomic<int> messages{0};
    std::atomic<int> closed{0};

    NUVNetioReceiveListener listener() {
        return {on_message, on_closed, this};
    }
    static void on_message(void *param, const NUVNetioMessage * /*message*/, REDAWorker *worker) {
        auto *self = static_cast<SelfReleasing *>(param);
        ++self->messages;
        EXPECT_EQ(NUVNetioReceiveResource_release(self->resource, worker), 0);
    }
    static void on_closed(void *param, REDAWorker * /*worker*/) {
        ++static_cast<SelfReleasing *>(param)->closed;
    }
};

TEST(OneTurnTest, SeveralPortsMayBeReleasedByTheirListeners) {
    net::Runtime runtime;
    const net::Configurator configurator(runtime);
    const net::Held before;
    std::array<SelfReleasing, 3> all;
    {
        net::Blocker blocker(runtime); // so that all is there when the next turn begins
        for (SelfReleasing &one : all) {
            const NUVNetioLocator locator = net::locator("127.0.0.1", net::free_port());
            const NUVNetioReceiveListener listener = one.listener();
            one.resource = NUVNetioConfigurator_openReceiveResource(configurator.self, &locator,
                                                                    &listener, runtime.worker());
            ASSERT_NE(one.resource, nullptr);
            ASSERT_TRUE(net::PlainSocket().send_to(locator, "hello"));
        }
    }
    for (SelfReleasing &one : all) {
        EXPECT_TRUE(net::eventually([&] { return one.closed == 1; }));
        EXPECT_EQ(one.messages, 1);
    }
    EXPECT_TRUE(runtime.flush());
    for (const SelfReleasing &one : all) {
        EXPECT_EQ(one.closed, 1);
    }
    EXPECT_EQ(net::Held().descriptors, before.descriptors);
}

class ManyPortsTest : public testing::Test {
protected:
    static constexpr std::size_t PORTS = 120; // more than there is room for to begin with

    struct Port {
        NUVNetioLocator locator;
        NUVNetioReceiveResource *resource;
        net::Inbox inbox;
    };

    void open(Port &port) {
        port.locator = net::locator("127.0.0.1", net::free_port());
        const NUVNetioReceiveListener listener = port.inbox.listener();
        port.resource = NUVNetioConfigurator_openReceiveResource(configurator.self, &port.locator,
                                                                 &listener, runtime.worker());
        ASSERT_NE(port.resource, nullptr);
    }
    /** Sends each what nobody else is sent, and expects that it arrives there alone. */
    void expect_delivery(const std::string &text, std::vector<Port> &all) {
        std::vector<std::size_t> before;
        for (Port &port : all) {
            before.push_back(port.inbox.messages().size());
            ASSERT_TRUE(net::PlainSocket().send_to(port.locator, text + net::text(port.locator)));
        }
        for (std::size_t i = 0; i < all.size(); ++i) {
            ASSERT_TRUE(all[i].inbox.wait_for(before[i] + 1));
        }
        EXPECT_TRUE(runtime.flush());
        for (std::size_t i = 0; i < all.size(); ++i) {
            const std::vector<net::Inbox::Message> messages = all[i].inbox.messages();
            ASSERT_EQ(messages.size(), before[i] + 1);
            EXPECT_EQ(messages.back().data, text + net::text(all[i].locator));
        }
    }

    net::Runtime runtime;
    net::Configurator configurator{runtime};
};

TEST_F(ManyPortsTest, EachReceivesWhatIsSentToItAlsoInThePlaceOfAnotherOne) {
    std::vector<Port> ports(PORTS);
    for (Port &port : ports) {
        open(port);
    }
    expect_delivery("first ", ports);
    std::vector<Port> others(PORTS / 2);
    for (std::size_t i = 0; i < others.size(); ++i) {
        Port &gone = ports[2 * i];
        gone.inbox.release(gone.resource, runtime.worker());
        gone.resource = nullptr;
        open(others[i]);
    }
    expect_delivery("second ", others);
    for (std::vector<Port> *all : {&ports, &others}) {
        for (Port &port : *all) {
            if (port.resource != nullptr) {
                port.inbox.release(port.resource, runtime.worker());
            }
        }
    }
}

} // namespace
