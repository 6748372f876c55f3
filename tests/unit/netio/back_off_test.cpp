// SPDX-License-Identifier: Apache-2.0
// How long the reactor leaves a socket alone that cannot be read.
#include <gtest/gtest.h>

#include <map>

#include "net_fixture.h"
#include "support/faults.h"

namespace {

using net::MILLISECOND;

/** Ports that cannot be read, and how often that was tried. */
class BackOffTest : public testing::Test {
protected:
    BackOffTest() {
        faults::replace(
            "recvmsg",
            [this](int descriptor, msghdr *message, int flags) {
                if (is_over_) {
                    return recvmsg(descriptor, message, flags);
                }
                note_try(descriptor);
                errno = EPERM;
                return ssize_t{-1};
            },
            faults::Thread::ANY);
    }
    ~BackOffTest() override {
        for (NUVNetioReceiveResource *resource : resources_) {
            inbox.release(resource, runtime.worker());
        }
        EXPECT_TRUE(runtime.flush());
        faults::clear();
    }

    int open() {
        const NUVNetioLocator locator = net::locator("127.0.0.1", net::free_port());
        const NUVNetioReceiveListener listener = inbox.listener();
        resources_.push_back(NUVNetioConfigurator_openReceiveResource(configurator.self, &locator,
                                                                      &listener, runtime.worker()));
        EXPECT_NE(resources_.back(), nullptr);
        return locator.port;
    }
    static void send_to(int port) {
        ASSERT_TRUE(net::PlainSocket().send_to(net::locator("127.0.0.1", port), "hello"));
    }
    int tries(int port) const {
        const std::lock_guard lock(mutex_);
        const auto found = tries_.find(port);
        return found != tries_.end() ? found->second : 0;
    }
    /** Also for the reactor to have set the time of the next one. */
    bool wait_for_tries(int port, int wanted) {
        return net::eventually([&] { return tries(port) >= wanted; }) && runtime.flush();
    }
    /** Has time pass, and the reactor do what it does then. */
    void pass(NUV_INT64 nanoseconds) {
        clock.advance(nanoseconds);
        for (int i = 0; i < 3; ++i) { // what is watched again is read in the next turn
            EXPECT_TRUE(runtime.flush());
        }
    }
    void end_failures() {
        is_over_ = true;
    }

    const faults::Guard guard;
    net::Inbox inbox;
    net::TestClock clock;
    net::Runtime runtime;
    net::Configurator configurator{runtime};

private:
    void note_try(int descriptor) {
        sockaddr_in name{};
        socklen_t length = sizeof name;
        getsockname(descriptor, reinterpret_cast<sockaddr *>(&name), &length);
        const std::lock_guard lock(mutex_);
        ++tries_[ntohs(name.sin_port)];
    }

    std::atomic<bool> is_over_{false};
    mutable std::mutex mutex_;
    std::map<int, int> tries_;
    std::vector<NUVNetioReceiveResource *> resources_;
};

TEST_F(BackOffTest, PauseIsTwiceAsLongEachTimeUpToASecond) {
    const int port = open();
    send_to(port);
    ASSERT_TRUE(wait_for_tries(port, 1));
    int wanted = 1;
    for (const int milliseconds : {10, 20, 40, 80, 160, 320, 640, 1000, 1000}) {
        pass(milliseconds * MILLISECOND - MILLISECOND / 2);
        EXPECT_EQ(tries(port), wanted);
        pass(MILLISECOND / 2);
        ++wanted;
        EXPECT_EQ(tries(port), wanted) << milliseconds;
    }
}

TEST_F(BackOffTest, PauseBeginsAnewAfterASuccess) {
    const int port = open();
    send_to(port);
    ASSERT_TRUE(wait_for_tries(port, 1));
    pass(10 * MILLISECOND);
    EXPECT_EQ(tries(port), 2);
    end_failures();
    pass(20 * MILLISECOND);
    ASSERT_TRUE(inbox.wait_for(1));
    faults::restore("recvmsg");
    EXPECT_TRUE(runtime.flush());
    faults::fail_call("recvmsg", 1, EPERM);
    send_to(port);
    ASSERT_TRUE(net::eventually([] { return faults::happened(); }) && runtime.flush());
    pass(10 * MILLISECOND);
    EXPECT_EQ(inbox.messages().size(), 2u);
}

TEST_F(BackOffTest, EachSocketHasItsOwnPause) {
    const int first = open();
    const int second = open();
    send_to(first);
    ASSERT_TRUE(wait_for_tries(first, 1));
    pass(5 * MILLISECOND);
    send_to(second);
    ASSERT_TRUE(wait_for_tries(second, 1));
    pass(5 * MILLISECOND);
    EXPECT_EQ(tries(first), 2);
    EXPECT_EQ(tries(second), 1);
    pass(5 * MILLISECOND);
    EXPECT_EQ(tries(first), 2);
    EXPECT_EQ(tries(second), 2);
}

} // namespace
