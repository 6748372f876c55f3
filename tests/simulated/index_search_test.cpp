// SPDX-License-Identifier: Apache-2.0
// The participants of a host share out its indices, in whatever order they come and go.
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
        world.observe([this] { model.compare(); });
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

    /** A stranger has a port or gives it back. */
    void toggle_stranger(KOLS_Transport_Port_t port) {
        if (host.free_port(any_address(port))) {
            model.remove_stranger(port);
        } else {
            const bool is_free = model.is_free(port);
            EXPECT_EQ(host.take_port(any_address(port)), is_free);
            if (is_free) {
                model.add_stranger(port);
            }
        }
        model.compare();
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
        EXPECT_FALSE(crowd.model.next_index());
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
                crowd.toggle_stranger(crowd.any_port());
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

} // namespace
