// SPDX-License-Identifier: Apache-2.0
// Snapshots of the interfaces that are taken, and replaced, by several threads.
#include <gtest/gtest.h>

#include "net_fixture.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

/** A source whose next listing stays with what it has found until it is let go. */
class SlowSource {
public:
    NUVNetioInterfaceSource source() {
        return {list, this, nullptr};
    }
    void set(std::vector<NUVNetioInterface> interfaces) {
        const std::lock_guard lock(mutex_);
        interfaces_ = std::move(interfaces);
    }
    void set_failing() {
        is_failing_ = true;
    }
    void hold_next() {
        holds_next_ = true;
    }
    bool wait_until_held() {
        return net::eventually([this] { return is_held_.load(); });
    }
    void let_go() {
        is_let_go_ = true;
    }

private:
    static int list(void *param, int (*add)(void *, const NUVNetioInterface *), void *add_param) {
        auto *self = static_cast<SlowSource *>(param);
        std::vector<NUVNetioInterface> found;
        if (self->is_failing_) {
            errno = ENFILE;
            return 0;
        }
        {
            const std::lock_guard lock(self->mutex_);
            found = self->interfaces_;
        }
        if (self->holds_next_.exchange(false)) {
            self->is_held_ = true;
            EXPECT_TRUE(net::eventually([self] { return self->is_let_go_.load(); }));
        }
        return static_cast<int>(std::all_of(found.begin(), found.end(), [&](const auto &one) {
            return add(add_param, &one) != 0;
        }));
    }

    std::mutex mutex_;
    std::vector<NUVNetioInterface> interfaces_;
    std::atomic<bool> is_failing_{false};
    std::atomic<bool> holds_next_{false};
    std::atomic<bool> is_held_{false};
    std::atomic<bool> is_let_go_{false};
};

/** What has the interfaces listed. */
enum class Way { RENEWAL, DEMAND };

struct Ways {
    Way older;
    Way newer;
};

void PrintTo(const Ways &ways, std::ostream *out) {
    const auto name = [](Way way) { return way == Way::RENEWAL ? "Renewal" : "Demand"; };
    *out << name(ways.newer) << "Beside" << name(ways.older);
}

class SnapshotOrderTest : public testing::TestWithParam<Ways> {
protected:
    SnapshotOrderTest() {
        NUVNetioRuntimeProperty property = net::runtime_property(source.source());
        property.watchInterfaces = 1;
        // Where the kernel does not tell of its events, each demand has the interfaces listed.
        faults::fail_call("socket", 1, EPERM);
        runtime.emplace(property);
        EXPECT_TRUE(faults::happened());
    }

    void list(Way way) const {
        if (way == Way::RENEWAL) {
            EXPECT_NE(NUVNetioRuntime_renewInterfaces(runtime->runtime, runtime->worker()), 0);
        } else {
            NUVNetioInterfaceSnapshot_release(NUVNetioRuntime_acquireInterfaces(runtime->runtime));
        }
    }

    /** The name of the one interface of the newest snapshot, without another listing. */
    std::string current_interface() {
        source.set_failing();
        const NUVNetioInterfaceSnapshot *held = NUVNetioRuntime_acquireInterfaces(runtime->runtime);
        const bool is_one = NUVNetioInterfaceSnapshot_getLength(held) == 1;
        const std::string name = is_one ? NUVNetioInterfaceSnapshot_get(held, 0)->name : "";
        NUVNetioInterfaceSnapshot_release(held);
        return name;
    }

    const faults::Guard guard;
    const support::LogCapture log; // of the watch that cannot be had
    SlowSource source;
    std::optional<net::Runtime> runtime;
};

INSTANTIATE_TEST_SUITE_P(Of, SnapshotOrderTest,
                         testing::Values(Ways{Way::RENEWAL, Way::RENEWAL},
                                         Ways{Way::RENEWAL, Way::DEMAND},
                                         Ways{Way::DEMAND, Way::RENEWAL},
                                         Ways{Way::DEMAND, Way::DEMAND}),
                         testing::PrintToStringParamName());

TEST_P(SnapshotOrderTest, OlderListingDoesNotReplaceANewerOne) {
    source.set({net::interface("older0", 2, "192.0.2.1")});
    source.hold_next();
    std::thread older([&] { list(GetParam().older); });
    ASSERT_TRUE(source.wait_until_held());
    source.set({net::interface("newer0", 3, "192.0.2.2")});
    std::atomic<bool> is_done{false};
    std::thread newer([&] {
        list(GetParam().newer);
        is_done = true;
    });
    // It has to wait; one that did not would be done soon.
    for (int i = 0; i < 100 && !is_done; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    source.let_go();
    older.join();
    newer.join();
    EXPECT_EQ(current_interface(), "newer0");
}

// ---- a send, while the snapshot is replaced

class SendingTest : public testing::Test {
protected:
    bool send() const {
        const NUV_UINT8 data[] = {'h', 'i'};
        return NUVNetioConfigurator_send(configurator.self, &group, data, sizeof data,
                                         runtime.worker()) != 0;
    }
    /** Has the configurator go by another snapshot, of interfaces with other names. */
    void replace_snapshot() {
        std::vector<NUVNetioInterface> interfaces = two_interfaces();
        const std::string name = "lo" + std::to_string(++replaced_);
        for (NUVNetioInterface &one : interfaces) {
            std::strncpy(one.name, name.c_str(), sizeof one.name - 1);
        }
        runtime.interfaces.set(interfaces);
        EXPECT_TRUE(runtime.renew());
        EXPECT_NE(NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker()), 0);
    }

    /** The loopback interface, and one that does not exist. */
    static std::vector<NUVNetioInterface> two_interfaces() {
        std::vector<NUVNetioInterface> interfaces(2, net::loopback());
        interfaces[1].index = 9999;
        return interfaces;
    }

    const faults::Guard guard;
    net::TestClock clock;
    net::Runtime runtime{two_interfaces()};
    net::Configurator configurator{runtime};
    const NUVNetioLocator group = net::locator("239.255.0.1", net::free_port());

private:
    int replaced_ = 0;
};

TEST_F(SendingTest, GoesOnWithTheSnapshotThatItBeganWith) {
    const support::LogCapture log; // of the interface that refuses
    int sent = 0;
    faults::replace("sendmsg", [&](int descriptor, const msghdr *message, int flags) {
        if (++sent == 1) {
            replace_snapshot();
            runtime.interfaces.set({});
            EXPECT_TRUE(runtime.renew());
            EXPECT_NE(NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker()),
                      0);
        }
        return sendmsg(descriptor, message, flags);
    });
    EXPECT_TRUE(send());
    EXPECT_EQ(sent, 2);
}

TEST_F(SendingTest, ThreadsMaySendWhileTheSnapshotIsReplaced) {
    const support::LogCapture log;
    std::atomic<bool> ends{false};
    std::atomic<int> sent{0};
    std::vector<std::thread> senders;
    for (int t = 0; t < 2; ++t) {
        senders.emplace_back([&] {
            while (!ends) {
                EXPECT_TRUE(send());
                ++sent;
            }
        });
    }
    for (int i = 0; i < 100; ++i) {
        replace_snapshot();
        const int before = sent;
        EXPECT_TRUE(net::eventually([&] { return sent > before; }));
    }
    ends = true;
    for (std::thread &sender : senders) {
        sender.join();
    }
}

// ---- a burst of events

TEST(SettlingTest, EventsAreActedOnWhenTheyHaveSettledFor20Milliseconds) {
    const faults::Guard guard;
    net::TestClock clock;
    net::Interfaces interfaces({});
    NUVNetioRuntimeProperty property = NUV_NETIO_RUNTIME_PROPERTY_DEFAULT;
    property.interfaceSource = interfaces.source();
    const net::Runtime runtime(property);
    net::pretend_event();
    faults::fail_call("recv", 1, ENOBUFS);
    NUVNetioInterfaceSnapshot_release(NUVNetioRuntime_acquireInterfaces(runtime.runtime));
    const int before = interfaces.listings();
    clock.advance(19'900'000);
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(interfaces.listings(), before);
    clock.advance(100'000);
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(interfaces.listings(), before + 1);
}

} // namespace
