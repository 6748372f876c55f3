// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <memory>

#include <gtest/gtest.h>

#include "net_fixture.h"

namespace {

constexpr NUVNtpTime NOW = NUV_NTP_TIME_ZERO;
constexpr NUVNtpTime SOON = {0, 0x02000000};  // 8 ms
constexpr NUVNtpTime LATER = {0, 0x10000000}; // 62 ms
constexpr NUVNtpTime NEVER = NUV_NTP_TIME_INFINITE;

class EventDatabaseTest : public testing::Test {
protected:
    void post(NUVEvent &event, const NUVNtpTime &delay) {
        NUVEventActiveDatabase_postEvent(database, &event, &delay);
    }
    void cancel(NUVEvent &event) {
        NUVEventActiveDatabase_cancelEvent(database, &event);
    }

    net::Runtime runtime;
    NUVEventActiveDatabase *const database = NUVNetioRuntime_getEventDatabase(runtime.runtime);
};

/** Counts how often it runs. */
struct EventCounter {
    NUVEvent event{on_time, this, 0, nullptr, 0};
    std::atomic<int> runs{0};
    std::thread::id thread;

    static void on_time(void *param, REDAWorker *worker) {
        EXPECT_NE(worker, nullptr);
        auto *self = static_cast<EventCounter *>(param);
        self->thread = std::this_thread::get_id();
        ++self->runs;
    }
    bool wait_for(int count) {
        return net::eventually([&] { return runs >= count; });
    }
};

TEST_F(EventDatabaseTest, PostedEventRunsOnceOnTheReactorsThread) {
    EventCounter counter;
    post(counter.event, SOON);
    EXPECT_TRUE(counter.wait_for(1));
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(counter.runs, 1);
    EXPECT_NE(counter.thread, std::this_thread::get_id());
}

TEST_F(EventDatabaseTest, EventDoesNotRunBeforeItsTime) {
    const auto start = std::chrono::steady_clock::now();
    EventCounter counter;
    post(counter.event, LATER);
    EXPECT_TRUE(counter.wait_for(1));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::microseconds(62500));
}

TEST_F(EventDatabaseTest, DueEventsHaveRunAfterAFlush) {
    EventCounter counter;
    post(counter.event, NOW);
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(counter.runs, 1);
    post(counter.event, {-1, 0});
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(counter.runs, 2);
}

TEST_F(EventDatabaseTest, EventsRunInTheOrderOfTheirDeadlines) {
    struct Numbered {
        std::vector<int> *order;
        std::mutex *mutex;
        int number;
        static void on_time(void *param, REDAWorker *) {
            auto *self = static_cast<Numbered *>(param);
            const std::lock_guard lock(*self->mutex);
            self->order->push_back(self->number);
        }
    };
    std::vector<int> order;
    std::mutex mutex;
    Numbered numbered[] = {
        {&order, &mutex, 0}, {&order, &mutex, 1}, {&order, &mutex, 2}, {&order, &mutex, 3}};
    NUVEvent events[4] = {};
    for (int i = 0; i < 4; ++i) {
        events[i].onTime = Numbered::on_time;
        events[i].param = &numbered[i];
    }
    post(events[3], {0, 0x20000000});
    post(events[1], {0, 0x18000000});
    post(events[2], {0, 0x1C000000});
    post(events[0], {0, 0x14000000});
    EXPECT_TRUE(net::eventually([&] {
        const std::lock_guard lock(mutex);
        return order.size() == 4;
    }));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
}

TEST_F(EventDatabaseTest, PostedAgainItKeepsItsEarlierDeadline) {
    EventCounter counter;
    post(counter.event, SOON);
    post(counter.event, NEVER);
    EXPECT_TRUE(counter.wait_for(1));
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(counter.runs, 1);
}

TEST_F(EventDatabaseTest, PostedAgainEarlierItRunsEarlier) {
    EventCounter counter;
    post(counter.event, NEVER);
    post(counter.event, SOON);
    EXPECT_TRUE(counter.wait_for(1));
}

TEST_F(EventDatabaseTest, InfiniteDelayNeverEnds) {
    EventCounter never;
    EventCounter soon;
    post(never.event, NEVER);
    post(soon.event, SOON);
    EXPECT_TRUE(soon.wait_for(1));
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(never.runs, 0);
    cancel(never.event);
}

TEST_F(EventDatabaseTest, CancelledEventDoesNotRun) {
    EventCounter cancelled;
    EventCounter other;
    post(cancelled.event, SOON);
    post(other.event, LATER);
    cancel(cancelled.event);
    EXPECT_TRUE(other.wait_for(1));
    EXPECT_EQ(cancelled.runs, 0);
    cancel(cancelled.event); // twice does no harm
}

TEST_F(EventDatabaseTest, CancelledEventMayBePostedAgain) {
    EventCounter counter;
    post(counter.event, NEVER);
    cancel(counter.event);
    post(counter.event, SOON);
    EXPECT_TRUE(counter.wait_for(1));
}

TEST_F(EventDatabaseTest, CancelWaitsForTheEventThatRuns) {
    struct Slow {
        std::atomic<bool> started{false};
        std::atomic<bool> ended{false};
        static void on_time(void *param, REDAWorker *) {
            auto *self = static_cast<Slow *>(param);
            self->started = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            self->ended = true;
        }
    } slow;
    NUVEvent event{Slow::on_time, &slow, 0, nullptr, 0};
    post(event, NOW);
    EXPECT_TRUE(net::eventually([&] { return slow.started.load(); }));
    cancel(event);
    EXPECT_TRUE(slow.ended);
}

/** Posts itself again each time it runs. */
struct Ticker {
    NUVEventActiveDatabase *database;
    NUVNtpTime delay;
    NUVEvent event{on_time, this, 0, nullptr, 0};
    std::atomic<int> runs{0};

    static void on_time(void *param, REDAWorker *) {
        auto *self = static_cast<Ticker *>(param);
        ++self->runs;
        NUVEventActiveDatabase_postEvent(self->database, &self->event, &self->delay);
    }
};

TEST_F(EventDatabaseTest, EventMayPostItselfAgain) {
    Ticker ticker{database, {0, 0x00400000}};
    post(ticker.event, NOW);
    EXPECT_TRUE(net::eventually([&] { return ticker.runs >= 3; }));
    cancel(ticker.event);
    const int runs = ticker.runs;
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(ticker.runs, runs);
}

TEST_F(EventDatabaseTest, EventThatPostsItselfAtOnceLetsOthersBe) {
    Ticker ticker{database, NOW};
    post(ticker.event, NOW);
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(runtime.flush());
    }
    cancel(ticker.event);
    const int runs = ticker.runs;
    EXPECT_TRUE(runtime.flush());
    EXPECT_EQ(ticker.runs, runs);
}

TEST_F(EventDatabaseTest, EventMayCancelItselfAndOthers) {
    struct Canceller {
        NUVEventActiveDatabase *database;
        NUVEvent *other;
        NUVEvent event{on_time, this, 0, nullptr, 0};
        std::atomic<bool> ran{false};
        static void on_time(void *param, REDAWorker *) {
            auto *self = static_cast<Canceller *>(param);
            const NUVNtpTime soon = SOON;
            NUVEventActiveDatabase_postEvent(self->database, &self->event, &soon);
            NUVEventActiveDatabase_cancelEvent(self->database, &self->event);
            NUVEventActiveDatabase_cancelEvent(self->database, self->other);
            self->ran = true;
        }
    };
    EventCounter other;
    EventCounter last;
    Canceller canceller{database, &other.event};
    post(other.event, LATER);
    post(last.event, {0, 0x18000000});
    post(canceller.event, NOW);
    EXPECT_TRUE(last.wait_for(1));
    EXPECT_TRUE(canceller.ran);
    EXPECT_EQ(other.runs, 0);
}

TEST_F(EventDatabaseTest, EventMayFreeItself) {
    struct Mortal {
        NUVEvent event{on_time, this, 0, nullptr, 0};
        std::atomic<bool> *gone;
        static void on_time(void *param, REDAWorker *) {
            auto *self = static_cast<Mortal *>(param);
            std::atomic<bool> *gone = self->gone;
            delete self;
            *gone = true;
        }
    };
    std::atomic<bool> gone{false};
    auto *mortal = new Mortal;
    mortal->gone = &gone;
    post(mortal->event, NOW);
    EXPECT_TRUE(net::eventually([&] { return gone.load(); }));
}

TEST_F(EventDatabaseTest, PostingAllocatesNothing) {
    EventCounter counter;
    NUVOsapiHeapStatistics before{};
    NUVOsapiHeapStatistics after{};
    NUVOsapiHeap_getStatistics(&before);
    post(counter.event, NOW);
    EXPECT_TRUE(counter.wait_for(1));
    NUVOsapiHeap_getStatistics(&after);
    EXPECT_EQ(before.allocations, after.allocations);
}

TEST_F(EventDatabaseTest, ThreadsMayPostAndCancelAtTheSameTime) {
    EventCounter counters[8];
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i) {
                EventCounter &counter = counters[(t * 3 + i) % 8];
                if (i % 3 == 2) {
                    cancel(counter.event);
                } else {
                    post(counter.event, i % 2 == 0 ? NOW : SOON);
                }
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (EventCounter &counter : counters) {
        cancel(counter.event);
    }
}

} // namespace
