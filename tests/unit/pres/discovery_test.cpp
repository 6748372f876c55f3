// SPDX-License-Identifier: Apache-2.0
// What whoever announces a participant is told of.
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "fixture.h"

namespace {

/** Keeps what it is told. */
class Announcer {
public:
    PRESParticipantDiscovery discovery() {
        return {on_enabled, on_property_set, on_shutdown, this};
    }

    std::vector<std::string> told;
    REDAWorker *worker = nullptr;            // of the last call
    std::function<void()> meanwhile = [] {}; // within each call

private:
    void note(const std::string &what, REDAWorker *its_worker) {
        told.push_back(what);
        worker = its_worker;
        meanwhile();
    }
    static std::string text_of(const PRESParticipantProperty &property) {
        const PRESOctetSequence &data = property.parameter.userData;
        return to_text(property.parameter.metatrafficUnicastLocator) + " '" +
               std::string(reinterpret_cast<const char *>(data._buffer), data._length) + "'";
    }
    static void on_enabled(void *param, const PRESParticipantProperty *property,
                           REDAWorker *its_worker) {
        static_cast<Announcer *>(param)->note("enabled " + text_of(*property), its_worker);
    }
    static void on_property_set(void *param, const PRESParticipantProperty *property,
                                REDAWorker *its_worker) {
        static_cast<Announcer *>(param)->note("set " + text_of(*property), its_worker);
    }
    static void on_shutdown(void *param, REDAWorker *its_worker) {
        static_cast<Announcer *>(param)->note("shutdown", its_worker);
    }
};

using Told = std::vector<std::string>;

class DiscoveryTest : public ParticipantTest {
protected:
    void SetUp() override {
        participant = make();
        const PRESParticipantDiscovery discovery = announcer.discovery();
        PRESParticipant_setDiscovery(participant, &discovery, worker);
    }
    void TearDown() override {
        unmake(participant);
    }

    int set(std::string_view user_data, NUV_UINT8 host) {
        Source source;
        source.set_user_data(user_data);
        source.property.parameter.metatrafficUnicastLocator = locators({host}, 7410);
        int reason = PRES_RETCODE_OK;
        return PRESParticipant_setProperty(participant, &reason, &source.property, worker);
    }
    void shut_down() {
        int reason = PRES_RETCODE_OK;
        EXPECT_NE(PRESParticipant_shutdown(participant, &reason, worker), 0);
    }
    /** Whether somebody else can enter an area. */
    bool is_free(REDAExclusiveArea *area) {
        const auto is_entered = std::make_shared<std::atomic<bool>>(false);
        visitors.emplace_back([area, is_entered] {
            const reda::ExclusiveAreaGuard guard(area, nullptr);
            *is_entered = true;
        });
        for (int i = 0; i < 20 && !*is_entered; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return *is_entered;
    }

    std::vector<std::thread> visitors;
    Announcer announcer;
    PRESParticipant *participant = nullptr;
};

TEST_F(DiscoveryTest, IsToldOnceOfEnablingWithTheLocatorsThatWereHandedOver) {
    ASSERT_NE(set("before", 9), 0);
    EXPECT_EQ(announcer.told, Told{});
    ASSERT_NE(enable(participant), 0);
    EXPECT_EQ(announcer.told, Told{"enabled udpv4://192.0.2.1:7410 'before'"});
    EXPECT_EQ(announcer.worker, worker);
    ASSERT_NE(enable(participant), 0);
    EXPECT_EQ(announcer.told.size(), 1u);
}

TEST_F(DiscoveryTest, IsNotToldOfEnablingThatFails) {
    faults::fail_allocation(1);
    EXPECT_EQ(enable(participant), 0);
    EXPECT_EQ(announcer.told, Told{});
}

TEST_F(DiscoveryTest, IsToldOfEachPropertyThatWasSetWhileEnabled) {
    ASSERT_NE(enable(participant), 0);
    announcer.told.clear();
    ASSERT_NE(set("one", 2), 0);
    ASSERT_NE(set("two", 3), 0);
    EXPECT_EQ(announcer.told,
              (Told{"set udpv4://192.0.2.2:7410 'one'", "set udpv4://192.0.2.3:7410 'two'"}));
    EXPECT_EQ(announcer.worker, worker);
}

TEST_F(DiscoveryTest, IsToldOfThePropertyOnceMoreOnlyWhileEnabled) {
    ASSERT_NE(set("one", 2), 0);
    PRESParticipant_repeatToDiscovery(participant, worker);
    EXPECT_EQ(announcer.told, Told{});
    ASSERT_NE(enable(participant), 0);
    announcer.told.clear();
    PRESParticipant_repeatToDiscovery(participant, worker);
    EXPECT_EQ(announcer.told, Told{"set udpv4://192.0.2.1:7410 'one'"});
    shut_down();
    announcer.told.clear();
    PRESParticipant_repeatToDiscovery(participant, worker);
    EXPECT_EQ(announcer.told, Told{});
}

TEST_F(DiscoveryTest, IsNotToldOfAPropertyThatIsRefused) {
    ASSERT_NE(enable(participant), 0);
    announcer.told.clear();
    int reason = PRES_RETCODE_OK;
    PRESParticipantProperty other_domain = PARTICIPANT_PROPERTY_DEFAULT;
    other_domain.parameter.domainId = 77;
    EXPECT_EQ(PRESParticipant_setProperty(participant, &reason, &other_domain, worker), 0);
    EXPECT_EQ(set(std::string(100'000, 'x'), 2), 0);
    faults::fail_allocation(1);
    EXPECT_EQ(set("no memory", 2), 0);
    EXPECT_EQ(announcer.told, Told{});
}

TEST_F(DiscoveryTest, IsToldOnceOfTheShutdownAndOfNothingAfterIt) {
    ASSERT_NE(enable(participant), 0);
    announcer.told.clear();
    shut_down();
    shut_down();
    ASSERT_NE(set("after", 2), 0);
    EXPECT_EQ(enable(participant), 0);
    EXPECT_EQ(announcer.told, Told{"shutdown"});
    EXPECT_EQ(announcer.worker, worker);
}

TEST_F(DiscoveryTest, IsNotToldOfTheShutdownOfOneThatWasNotEnabled) {
    shut_down();
    EXPECT_EQ(announcer.told, Told{});
}

TEST_F(DiscoveryTest, IsToldOfTheShutdownBeforeMessagesStop) {
    static std::vector<std::string> *order = nullptr;
    order = &announcer.told;
    PRESParticipant_getFacade(participant)->setMessageListener =
        [](COMMENDFacade *, const COMMENDMessageListener *its_listener, REDAWorker *) {
            order->push_back(its_listener->onMessage != nullptr ? "messages" : "no messages");
        };
    ASSERT_NE(enable(participant), 0);
    shut_down();
    EXPECT_EQ(announcer.told,
              (Told{"messages", "enabled udpv4://192.0.2.1:7410 ''", "shutdown", "no messages"}));
}

TEST_F(DiscoveryTest, PropertyIsWhatIsReadNext) {
    ASSERT_NE(enable(participant), 0);
    ASSERT_NE(set("new", 5), 0);
    Target now;
    ASSERT_NE(PRESParticipant_getProperty(participant, &now.property, worker), 0);
    EXPECT_EQ(now.user_data(), "new");
}

TEST_F(DiscoveryTest, IsToldWithTheRecordsAreaHeldButOfTheShutdownWithTheTablesAlone) {
    std::vector<bool> record_is_free;
    std::vector<bool> table_is_free;
    announcer.meanwhile = [&] {
        record_is_free.push_back(is_free(record_ea));
        table_is_free.push_back(is_free(table_ea));
    };
    ASSERT_NE(enable(participant), 0);
    ASSERT_NE(set("new", 5), 0);
    shut_down();
    for (std::thread &visitor : visitors) {
        visitor.join();
    }
    EXPECT_EQ(record_is_free, (std::vector{false, false, true}));
    EXPECT_EQ(table_is_free, (std::vector{false, true, false}));
}

TEST_F(DiscoveryTest, NobodyNeedsToBeTold) {
    for (const bool is_null : {true, false}) {
        PRESParticipant *const silent = make();
        const PRESParticipantDiscovery discovery = announcer.discovery();
        const PRESParticipantDiscovery nobody = {};
        PRESParticipant_setDiscovery(silent, &discovery, worker);
        PRESParticipant_setDiscovery(silent, is_null ? nullptr : &nobody, worker);
        ASSERT_NE(enable(silent), 0);
        int reason = PRES_RETCODE_OK;
        EXPECT_NE(
            PRESParticipant_setProperty(silent, &reason, &PARTICIPANT_PROPERTY_DEFAULT, worker), 0);
        unmake(silent);
    }
    EXPECT_EQ(announcer.told, Told{});
}

TEST_F(DiscoveryTest, OrderIsThatOfWhatHappenedWhateverThreadsDoIt) {
    constexpr int ROUNDS = 100;
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&, t] {
            REDAWorker *const mine = REDAWorkerFactory_createWorker(worker_factory, "thread");
            for (int i = 0; i < ROUNDS; ++i) {
                Source source;
                source.set_user_data(std::to_string(t));
                int reason = PRES_RETCODE_OK;
                EXPECT_NE(PRESParticipant_setProperty(participant, &reason, &source.property, mine),
                          0);
            }
            REDAWorkerFactory_destroyWorker(worker_factory, mine);
        });
    }
    ASSERT_NE(enable(participant), 0);
    for (std::thread &thread : threads) {
        thread.join();
    }
    Target now;
    ASSERT_NE(PRESParticipant_getProperty(participant, &now.property, worker), 0);
    shut_down();
    ASSERT_GE(announcer.told.size(), 2u);
    EXPECT_EQ(announcer.told.front().substr(0, 31), "enabled udpv4://192.0.2.1:7410 ");
    EXPECT_EQ(announcer.told.back(), "shutdown");
    const std::string &last = announcer.told[announcer.told.size() - 2];
    EXPECT_NE(last.find("'" + now.user_data() + "'"), std::string::npos) << last;
}

TEST_F(DiscoveryTest, NothingIsToldAfterTheShutdownWhateverThreadsSetMeanwhile) {
    announcer.meanwhile = [&] {
        if (announcer.told.back() == "shutdown") {
            std::this_thread::sleep_for(std::chrono::milliseconds(5)); // for one that comes late
        }
    };
    ASSERT_NE(enable(participant), 0);
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&] {
            REDAWorker *const mine = REDAWorkerFactory_createWorker(worker_factory, "thread");
            while (!stop) {
                int reason = PRES_RETCODE_OK;
                EXPECT_NE(PRESParticipant_setProperty(participant, &reason,
                                                      &PARTICIPANT_PROPERTY_DEFAULT, mine),
                          0);
            }
            REDAWorkerFactory_destroyWorker(worker_factory, mine);
        });
    }
    shut_down();
    stop = true;
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(announcer.told.back(), "shutdown");
}

} // namespace
