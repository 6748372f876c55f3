// SPDX-License-Identifier: Apache-2.0
// The participants of a host share out its indices, in whatever order they come and go.
#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "port_model.h"
#include "scenario.h"
#include "seeds.h"

using namespace simulated;

namespace {

/** A host full of applications with a participant each, and what its ports must be like. */
class Crowd : public Scenario {
public:
    explicit Crowd(NUV_UINT64 seed) : Scenario(seed) {
        host.add_interface("eth0", &lan, {"192.0.2.1/24"});
        for (int i = 0; i <= LAST_INDEX; ++i) {
            applications.push_back(
                std::make_unique<Application>(host, "p" + std::to_string(i), hasty_or_slow()));
        }
        observe([this] { model.compare(); });
    }
    ~Crowd() {
        world.observe(nullptr);
    }

    /** It has a participant that has none, and the other way round. */
    void toggle(Application &application) {
        if (application.participants().empty()) {
            const std::optional<DDS_Long> expected = model.next_index();
            DDS_DomainParticipant *const created = application.create();
            ASSERT_EQ(created != nullptr, expected.has_value());
            if (created != nullptr) {
                EXPECT_EQ(application.index(created), *expected);
                model.add_participant(application, *expected);
            }
        } else {
            DDS_DomainParticipant *const participant = application.participants().front();
            const DDS_Long index = application.index(participant);
            EXPECT_EQ(application.remove(participant), DDS_RETCODE_OK);
            model.remove_participant(application, index);
        }
        model.compare();
    }

    /** Its process ends without a word, and another one is started in its place. */
    void restart(std::unique_ptr<Application> &application) {
        for (DDS_DomainParticipant *const participant : application->participants()) {
            model.remove_participant(*application, application->index(participant));
        }
        application->process().kill();
        model.compare();
        const std::string name = application->process().name();
        application.reset();
        application = std::make_unique<Application>(host, name + "'", hasty_or_slow());
        model.compare();
    }

    /**
     * A stranger has a port or gives it back: of all addresses, or of one, which keeps others from
     * having it of all addresses as well.
     */
    bool toggle_stranger(KOLS_Transport_Port_t port) {
        static const std::array<simnet::Address, 3> ADDRESSES = {
            any_address(0).address, simnet::address("192.0.2.1"), simnet::address("127.0.0.1")};
        const simnet::Endpoint endpoint{ADDRESSES[static_cast<std::size_t>(port) % 3], port};
        if (host.free_port(endpoint)) {
            model.remove_stranger(port);
            return true;
        }
        if (host.take_port(endpoint)) {
            model.add_stranger(port);
            return true;
        }
        return false;
    }

    /**
     * It has a participant while strangers take and leave ports, and another application comes in
     * between. Which index it gets is a matter of luck; that it is its own is not.
     */
    void create_amid_others(Application &application, Application &other) {
        const int calls = static_cast<int>(world.random().up_to(40));
        application.process().interpose(calls, [this, &other] {
            for (int i = 0; i < 3; ++i) {
                (void)toggle_stranger(UNICAST_PORT + static_cast<int>(world.random().up_to(20)));
            }
            add_any(other);
        });
        add_any(application);
        application.process().interpose(0, nullptr);
        model.compare();
    }
    /** It has one more participant, with whatever index. */
    void add_any(Application &application) {
        DDS_DomainParticipant *const created = application.create();
        ASSERT_NE(created, nullptr);
        model.add_participant(application, application.index(created));
    }

    bool is_strangers(KOLS_Transport_Port_t port) const {
        const std::vector<simnet::PortHolder> held = host.ports();
        return std::any_of(held.begin(), held.end(), [port](const simnet::PortHolder &one) {
            return one.endpoint.port == port && one.process == nullptr;
        });
    }

    std::unique_ptr<Application> &any_application() {
        return applications[world.random().up_to(applications.size() - 1)];
    }
    KOLS_Transport_Port_t any_port() {
        return UNICAST_PORT + static_cast<int>(world.random().up_to(2 * LAST_INDEX + 1));
    }

    PortModel model{host};
    std::vector<std::unique_ptr<Application>> applications;
};

TEST(SimulatedIndexSearch, GivesEachOfAFullHostItsOwnWhateverTheOrder) {
    for_each_seed([](NUV_UINT64 seed) {
        Crowd crowd(seed);
        std::vector<Application *> order;
        for (const auto &application : crowd.applications) {
            order.push_back(application.get());
        }
        crowd.shuffle(order);
        for (Application *const one : order) {
            crowd.toggle(*one);
        }
        // One more finds none, but that of whoever goes.
        Application more(crowd.host, "more");
        for (int i = 0; i < 5; ++i) {
            crowd.toggle(more);
            ASSERT_TRUE(more.participants().empty());
            crowd.toggle(*order[crowd.world.random().up_to(order.size() - 1)]);
            crowd.toggle(more);
            ASSERT_EQ(more.participants().size(), 1u);
            crowd.toggle(more);
            for (Application *const one : order) {
                if (one->participants().empty()) {
                    crowd.toggle(*one);
                }
            }
        }
        crowd.shuffle(order);
        for (Application *const one : order) {
            crowd.toggle(*one);
        }
        crowd.run_for(simnet::SECOND);
    });
}

TEST(SimulatedIndexSearch, GivesTheLowestThatIsFreeWhileOthersComeAndGo) {
    for_each_seed([](NUV_UINT64 seed) {
        Crowd crowd(seed);
        for (int i = 0; i < 200; ++i) {
            crowd.toggle(*crowd.any_application());
            crowd.run_for(crowd.up_to(simnet::MILLISECOND));
        }
    });
}

TEST(SimulatedIndexSearch, PassesOverThePortsOfStrangersThatComeAndGo) {
    for_each_seed([](NUV_UINT64 seed) {
        Crowd crowd(seed);
        for (int i = 0; i < 200; ++i) {
            if (crowd.world.random().happens(0.5)) {
                const KOLS_Transport_Port_t port = crowd.any_port();
                const bool is_participants =
                    !crowd.model.is_free(port) && !crowd.is_strangers(port);
                EXPECT_EQ(crowd.toggle_stranger(port), !is_participants);
                crowd.model.compare();
            } else {
                crowd.toggle(*crowd.any_application());
            }
            crowd.run_for(crowd.up_to(simnet::MILLISECOND));
        }
    });
}

TEST(SimulatedIndexSearch, HasWhatProcessesHadThatWereKilled) {
    for_each_seed([](NUV_UINT64 seed) {
        Crowd crowd(seed);
        for (int i = 0; i < 200; ++i) {
            if (crowd.world.random().happens(0.2)) {
                crowd.restart(crowd.any_application());
            } else {
                crowd.toggle(*crowd.any_application());
            }
            crowd.run_for(crowd.up_to(simnet::MILLISECOND));
        }
    });
}

TEST(SimulatedIndexSearch, GivesEachItsOwnWhateverHappensInTheMiddleOfIt) {
    for_each_seed([](NUV_UINT64 seed) {
        Crowd crowd(seed);
        for (std::size_t i = 0; i + 1 < 30; i += 2) {
            crowd.create_amid_others(*crowd.applications[i], *crowd.applications[i + 1]);
            crowd.run_for(crowd.up_to(simnet::MILLISECOND));
        }
    });
}

} // namespace
