// SPDX-License-Identifier: Apache-2.0
// A child of the process keeps the sockets that it was forked with.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include "net_fixture.h"
#include "support/faults.h"

namespace {

/** Has all descriptors of the process, and does nothing, for as long as it lives. */
class Child {
public:
    Child() {
        EXPECT_EQ(pipe(pipe_), 0);
        pid_ = fork();
        EXPECT_GE(pid_, 0);
        if (pid_ == 0) {
            char byte = 0;
            close(pipe_[1]);
            while (read(pipe_[0], &byte, 1) > 0) {} // until the parent closes its end
            _exit(0);
        }
    }
    ~Child() {
        close(pipe_[1]);
        close(pipe_[0]);
        EXPECT_EQ(waitpid(pid_, nullptr, 0), pid_);
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

private:
    int pipe_[2] = {-1, -1};
    pid_t pid_ = -1;
};

/** A port that was released while a child has its socket. */
class ForkedChildTest : public testing::Test {
protected:
    void release_with_child(const NUVNetioLocator &locator) {
        const NUVNetioReceiveListener listener = inbox.listener();
        NUVNetioReceiveResource *resource = NUVNetioConfigurator_openReceiveResource(
            configurator.self, &locator, &listener, runtime.worker());
        ASSERT_NE(resource, nullptr);
        child.emplace();
        inbox.release(resource, runtime.worker());
        EXPECT_TRUE(runtime.flush());
        ASSERT_FALSE(net::is_free(locator.port));
    }

    /** How often the reactor wakes up while it is asked for so many answers. */
    int wake_ups_for(int answers) const {
        const int before = faults::count("epoll_wait");
        for (int i = 0; i < answers; ++i) {
            EXPECT_TRUE(runtime.flush());
        }
        return faults::count("epoll_wait") - before;
    }

    const faults::Guard guard;
    net::Inbox inbox;
    net::Runtime runtime;
    net::Configurator configurator{runtime};
    std::optional<Child> child;
};

constexpr int ANSWERS = 50;

TEST_F(ForkedChildTest, WhatArrivesAtAReleasedPortDoesNotWakeTheReactor) {
    const NUVNetioLocator locator = net::locator("127.0.0.1", net::free_port());
    release_with_child(locator);
    ASSERT_TRUE(net::PlainSocket().send_to(locator, "hello"));
    EXPECT_LE(wake_ups_for(ANSWERS), ANSWERS + 1);
    EXPECT_TRUE(inbox.messages().empty());
}

TEST_F(ForkedChildTest, WhatArrivesAtAReleasedGroupDoesNotWakeTheReactor) {
    const NUVNetioLocator group = net::locator("239.255.0.1", net::free_port());
    release_with_child(group);
    const net::PlainSocket sender;
    ASSERT_TRUE(sender.set_multicast_interface(group, "lo"));
    ASSERT_TRUE(sender.send_to(group, "hello"));
    EXPECT_LE(wake_ups_for(ANSWERS), ANSWERS + 1);
    EXPECT_TRUE(inbox.messages().empty());
}

} // namespace
