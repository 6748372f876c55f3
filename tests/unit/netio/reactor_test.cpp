// SPDX-License-Identifier: Apache-2.0
// What the reactor does when the system fails it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "net_fixture.h"
#include "support/faults.h"
#include "support/hurried_waits.h"
#include "support/log_capture.h"

namespace {

using support::LogCapture;
using testing::HasSubstr;

/** What the reactor's thread said, at one level. */
std::vector<std::string> said(const LogCapture &log, NUV_UINT32 level) {
    std::vector<std::string> texts;
    for (const support::Message &message : log.messagesOfOtherThreads()) {
        if (message.level == level) {
            texts.push_back(message.text);
        }
    }
    return texts;
}

class FailingReceiveTest : public testing::Test {
protected:
    FailingReceiveTest() {
        const NUVNetioLocator locator = net::locator("127.0.0.1", port);
        const NUVNetioReceiveListener listener = inbox.listener();
        resource = NUVNetioConfigurator_openReceiveResource(configurator.self, &locator, &listener,
                                                            runtime.worker());
        EXPECT_NE(resource, nullptr);
    }
    ~FailingReceiveTest() override {
        faults::clear();
        if (resource != nullptr) {
            inbox.release(resource, runtime.worker());
        }
    }
    void send(const char *text) const {
        ASSERT_TRUE(net::PlainSocket().send_to(net::locator("127.0.0.1", port), text));
    }

    net::Inbox inbox;
    net::Runtime runtime;
    net::Configurator configurator{runtime};
    const int port = net::free_port();
    const faults::Guard guard;
    NUVNetioReceiveResource *resource = nullptr;
};

TEST_F(FailingReceiveTest, LastingFailureIsSaidOnceAndBackedOffFrom) {
    const LogCapture log;
    faults::fail_every_call("recvmsg", EPERM);
    send("hello");
    EXPECT_TRUE(net::eventually([] { return faults::count("recvmsg") >= 4; }));
    // After 10, 30 and 70 ms: whoever does not back off is far beyond by now.
    EXPECT_LT(faults::count("recvmsg"), 100);
    EXPECT_EQ(
        said(log, NUV_LOG_LEVEL_WARNING),
        std::vector<std::string>{"cannot receive at udpv4://127.0.0.1:" + std::to_string(port) +
                                 ", trying again: Operation not permitted (EPERM)"});
}

TEST_F(FailingReceiveTest, MessagesArriveWhenTheFailureIsOver) {
    faults::fail_every_call("recvmsg", EPERM);
    send("first");
    EXPECT_TRUE(net::eventually([] { return faults::count("recvmsg") >= 3; }));
    faults::clear();
    send("second");
    ASSERT_TRUE(inbox.wait_for(2));
    EXPECT_EQ(inbox.messages()[0].data, "first");
    EXPECT_EQ(inbox.messages()[1].data, "second");
}

TEST(FailingReceiveByTheClockTest, NewFailureIsSaidAnewASecondLater) {
    const faults::Guard guard;
    const LogCapture log;
    net::TestClock clock;
    net::Inbox inbox;
    net::Runtime runtime;
    const net::Configurator configurator(runtime);
    const NUVNetioLocator locator = net::locator("127.0.0.1", net::free_port());
    const NUVNetioReceiveListener listener = inbox.listener();
    NUVNetioReceiveResource *resource = NUVNetioConfigurator_openReceiveResource(
        configurator.self, &locator, &listener, runtime.worker());
    for (std::size_t i = 1; i <= 2; ++i) {
        faults::fail_call("recvmsg", 1, ENOMEM);
        ASSERT_TRUE(net::PlainSocket().send_to(locator, "hello"));
        ASSERT_TRUE(net::eventually([&] {
            clock.advance(1'000'000'000);
            EXPECT_TRUE(runtime.flush()); // the kernel's timer goes by another clock
            return inbox.messages().size() == i;
        }));
    }
    EXPECT_EQ(said(log, NUV_LOG_LEVEL_WARNING).size(), 2u);
    inbox.release(resource, runtime.worker());
}

TEST_F(FailingReceiveTest, ResourceThatIsBackedOffFromIsReleasedAtOnce) {
    faults::fail_every_call("recvmsg", EPERM);
    send("hello");
    EXPECT_TRUE(net::eventually([] { return faults::count("recvmsg") >= 1; }));
    EXPECT_TRUE(runtime.flush());
    EXPECT_NE(NUVNetioReceiveResource_release(resource, runtime.worker()), 0);
    resource = nullptr;
    EXPECT_TRUE(net::is_free(port));
    const int before = faults::count("recvmsg");
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(faults::count("recvmsg"), before);
}

TEST_F(FailingReceiveTest, SocketThatCannotBePolledAgainIsTriedUntilItCan) {
    faults::fail_call("recvmsg", 1, EPERM);
    send("hello");
    EXPECT_TRUE(net::eventually([] { return faults::happened(); }));
    faults::fail_call("epoll_ctl", 1, ENOSPC); // the polling again, or else its end before that
    EXPECT_TRUE(net::eventually([] { return faults::happened(); }));
    EXPECT_TRUE(inbox.wait_for(1));
}

TEST(FailingPollTest, LastingFailureIsSaidOnceBackedOffFromAndOver) {
    const faults::Guard guard;
    net::Runtime runtime;
    const LogCapture log;
    faults::fail_every_call("epoll_wait", EBADF);
    EXPECT_TRUE(runtime.flush()); // it goes on nevertheless
    EXPECT_TRUE(net::eventually([] { return faults::count("epoll_wait") >= 4; }));
    EXPECT_LT(faults::count("epoll_wait"), 100);
    EXPECT_EQ(said(log, NUV_LOG_LEVEL_ERROR),
              std::vector<std::string>{"cannot poll the receive ports: Bad file descriptor "
                                       "(EBADF)"});
    faults::clear();
    EXPECT_TRUE(runtime.flush());
}

TEST(FailingPollTest, InterruptionIsNoFailure) {
    const faults::Guard guard;
    net::Runtime runtime;
    const LogCapture log;
    faults::fail_call("epoll_wait", 1, EINTR);
    EXPECT_TRUE(runtime.flush());
    EXPECT_TRUE(runtime.flush());
    EXPECT_TRUE(faults::happened());
    EXPECT_EQ(said(log, NUV_LOG_LEVEL_ERROR), std::vector<std::string>());
}

TEST(FailingPollTest, RuntimeEndsAllTheSame) {
    const faults::Guard guard;
    net::Factories factories;
    net::Interfaces interfaces({});
    const NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    NUVNetioRuntime *const runtime =
        NUVNetioRuntime_new(&property, factories.threads, factories.workers);
    const LogCapture log;
    faults::fail_every_call("epoll_wait", EBADF);
    const NUVNtpTime short_time = {0, 0x40000000};
    (void)NUVNetioRuntime_flush(runtime, &short_time);
    EXPECT_NE(NUVNetioRuntime_delete(runtime), 0);
}

TEST(FailingWakeUpTest, RuntimeThatCannotBeWokenIsLeftAloneAfterOneErrorAndCanBeDeletedLater) {
    const faults::Guard guard;
    net::Factories factories;
    net::Interfaces interfaces({});
    const NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    NUVNetioRuntime *const runtime =
        NUVNetioRuntime_new(&property, factories.threads, factories.workers);
    EXPECT_NE(NUVNetioRuntime_flush(runtime, &net::PLENTY), 0);
    {
        const LogCapture log;
        const support::HurriedWaits hurried;
        faults::fail_every_call("write", EIO);
        EXPECT_EQ(NUVNetioRuntime_delete(runtime), 0);
        ASSERT_EQ(log.messages().size(), 1u);
        EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
        EXPECT_EQ(log.messages()[0].text, "the thread 'reactor' cannot be woken, and so not be "
                                          "ended: Input/output error (EIO)");
    }
    faults::clear();
    EXPECT_NE(NUVNetioRuntime_delete(runtime), 0);
}

TEST(BusyReactorTest, RuntimeThatDoesNotAnswerIsLeftAloneAfterOneError) {
    net::Factories factories;
    net::Interfaces interfaces({});
    const NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    NUVNetioRuntime *const runtime =
        NUVNetioRuntime_new(&property, factories.threads, factories.workers);
    struct Long {
        std::atomic<bool> started{false};
        std::atomic<bool> let_go{false};
        static void on_time(void *param, REDAWorker *) {
            auto *self = static_cast<Long *>(param);
            self->started = true;
            EXPECT_TRUE(net::eventually([self] { return self->let_go.load(); }));
        }
    } task;
    NUVEvent event{Long::on_time, &task, 0, nullptr, 0};
    const NUVNtpTime now = NUV_NTP_TIME_ZERO;
    NUVEventActiveDatabase_postEvent(NUVNetioRuntime_getEventDatabase(runtime), &event, &now);
    EXPECT_TRUE(net::eventually([&] { return task.started.load(); }));
    {
        const LogCapture log;
        const support::HurriedWaits hurried;
        EXPECT_EQ(
            NUVEventActiveDatabase_cancelEvent(NUVNetioRuntime_getEventDatabase(runtime), &event),
            0);
        EXPECT_EQ(NUVNetioRuntime_delete(runtime), 0);
        ASSERT_EQ(log.messages().size(), 1u);
        EXPECT_EQ(log.messages()[0].text,
                  "the thread 'reactor' does not end: it has not answered for 4 s");
    }
    task.let_go = true;
    EXPECT_NE(NUVNetioRuntime_delete(runtime), 0);
}

TEST(UnreadableEventsTest, LastingFailureIsSaidOnceAndBackedOffFrom) {
    IN_PRIVATE_NETWORK([] {
        const faults::Guard guard;
        net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        const LogCapture log;
        faults::fail_every_call("recv", EPERM);
        ASSERT_TRUE(net::run("ip addr add 192.0.2.1/24 dev lo"));
        EXPECT_TRUE(net::eventually([] { return faults::count("recv") >= 4; }));
        EXPECT_LT(faults::count("recv"), 100);
        EXPECT_EQ(said(log, NUV_LOG_LEVEL_WARNING),
                  std::vector<std::string>{
                      "cannot read the kernel's events of the network interfaces, trying again: "
                      "Operation not permitted (EPERM)"});
        faults::clear();
        EXPECT_TRUE(net::eventually([&] {
            const NUVNetioInterfaceSnapshot *held =
                NUVNetioRuntime_acquireInterfaces(runtime.runtime);
            const NUV_INT32 length = NUVNetioInterfaceSnapshot_getLength(held);
            NUVNetioInterfaceSnapshot_release(held);
            return length >= 2;
        }));
    });
}

} // namespace
