// SPDX-License-Identifier: Apache-2.0
// Participants find one another, and lose nobody but those that are gone.
#include <cmath>
#include <cstdio>

#include "neighbourhood.h"
#include "seeds.h"

using namespace simulated;
using simnet::MILLISECOND;
using simnet::SECOND;
using simnet::Time;

namespace {

/** Whole networks take their time. */
constexpr NUV_UINT64 FEW_SEEDS = 60;

/** Hosts with some participants each. */
class Streets : public Neighbourhood {
public:
    Streets(NUV_UINT64 seed, const Settings &settings, int least_hosts = 2, int most_hosts = 6)
        : Neighbourhood(seed, settings) {
        const int hosts = pick(least_hosts, most_hosts);
        for (int i = 0; i < hosts; ++i) {
            add_host();
        }
    }
    explicit Streets(NUV_UINT64 seed) : Streets(seed, {.link = any_link(seed)}) {}

    /** Starts some on each host, within that time. */
    void start_all(Time within) {
        std::vector<simnet::Host *> order = all_hosts();
        shuffle(order);
        for (simnet::Host *const one : order) {
            for (int left = pick(1, 3); left > 0; --left) {
                run_for(up_to(within / static_cast<Time>(3 * order.size())));
                if (!present_on(*one).empty() && happens(0.3)) {
                    start_beside(*present_on(*one).front());
                } else {
                    start(*one);
                }
            }
        }
    }
    void start_all_and_settle() {
        start_all(SECOND);
        run_for(FOUND + up_to(2 * longest_period()));
        expect_all_right();
    }
    std::vector<simnet::Host *> some_hosts() {
        std::vector<simnet::Host *> some = all_hosts();
        shuffle(some);
        some.resize(static_cast<std::size_t>(pick(1, static_cast<int>(some.size()) - 1)));
        return some;
    }
};

TEST(SimulatedDiscovery, AllFindAllWhenManyStartAtOnce) {
    for_each_seed(
        [](NUV_UINT64 seed) {
            Streets streets(seed, {.link = Neighbourhood::any_link(seed)}, 2, 12);
            streets.start_all(streets.up_to(100 * MILLISECOND));
            streets.run_for(FOUND);
            streets.expect_all_right();
            streets.run_for(3 * streets.longest_lease());
            streets.expect_all_right();
        },
        FEW_SEEDS);
}

TEST(SimulatedDiscovery, WhoeverIsStartedAnewTakesTheFormerOnesPlace) {
    for_each_seed(
        [](NUV_UINT64 seed) {
            Streets streets(seed);
            streets.start_all_and_settle();
            for (int i = 0; i < 12; ++i) {
                Neighbour &one = streets.any();
                switch (streets.pick(0, 3)) {
                case 0:
                    streets.leave(one);
                    streets.run_for(streets.happens(0.5) ? 0 : streets.up_to(SECOND));
                    streets.start(*one.host);
                    break;
                case 1:
                    streets.kill(one);
                    streets.run_for(streets.up_to(SECOND));
                    streets.start(*one.host);
                    break;
                case 2:
                    streets.restart(one);
                    break;
                default:
                    streets.change_text(one);
                    break;
                }
                streets.run_for(streets.up_to(600 * MILLISECOND));
            }
            streets.run_for(streets.longest_lease() + LOST + SECOND);
            streets.expect_all_right();
        },
        FEW_SEEDS);
}

TEST(SimulatedDiscovery, APartitionThatHealsIsForgotten) {
    for_each_seed(
        [](NUV_UINT64 seed) {
            Streets streets(seed);
            streets.start_all_and_settle();
            for (int i = 0; i < 2; ++i) {
                streets.part(streets.some_hosts());
                const Time half = streets.up_to(streets.longest_lease() * 3 / 4);
                streets.run_for(half);
                streets.change_text(streets.any());
                if (streets.happens(0.5)) {
                    streets.leave(streets.any());
                }
                streets.run_for(half);
                streets.heal();
                streets.run_for(streets.longest_period() + FOUND);
                streets.run_for(streets.longest_lease() + LOST); // who left was not heard to leave
                streets.expect_all_right();
            }
        },
        FEW_SEEDS);
}

TEST(SimulatedDiscovery, AHostThatStandsStillIsBackWithItsFirstWord) {
    for_each_seed(
        [](NUV_UINT64 seed) {
            Streets streets(seed);
            streets.start_all_and_settle();
            for (int i = 0; i < 3; ++i) {
                simnet::Host &host = streets.any_host();
                const Time lease = streets.longest_lease();
                const bool sleeps = streets.happens(0.3);
                sleeps ? streets.suspend(host) : streets.freeze(host);
                streets.run_for(streets.happens(0.5) ? lease / 2 : 2 * lease);
                sleeps ? streets.wake(host) : streets.thaw(host);
                streets.run_for(sleeps ? streets.longest_period() + FOUND : FOUND);
                streets.expect_all_right();
            }
        },
        FEW_SEEDS);
}

TEST(SimulatedDiscovery, AnAddressThatMovesIsFollowed) {
    for_each_seed(
        [](NUV_UINT64 seed) {
            Streets streets(seed);
            streets.start_all_and_settle();
            for (int i = 0; i < 3; ++i) {
                streets.move(streets.any_host(), streets.happens(0.5));
                streets.run_for(300 * MILLISECOND);
                streets.expect_all_right();
                streets.run_for(streets.up_to(streets.longest_lease()));
                streets.expect_all_right();
            }
        },
        FEW_SEEDS);
}

TEST(SimulatedDiscovery, AFullTableHasRoomForWhoeverIsThereWhenOthersGo) {
    for_each_seed(
        [](NUV_UINT64 seed) {
            constexpr std::size_t ROOM = 8;
            Streets streets(seed,
                            {.link = Neighbourhood::any_link(seed),
                             .longest_lease = 5 * SECOND,
                             .remote_participants_max = ROOM},
                            12, 16);
            for (simnet::Host *const host : streets.all_hosts()) {
                streets.start(*host);
                streets.run_for(streets.up_to(50 * MILLISECOND));
            }
            streets.run_for(2 * streets.longest_lease());
            for (Neighbour *const one : streets.present()) {
                EXPECT_EQ(one->party().count(), ROOM) << one->number;
            }
            while (streets.present().size() > ROOM + 1) {
                Neighbour &one = streets.any();
                streets.happens(0.5) ? streets.leave(one) : streets.kill(one);
                streets.run_for(streets.up_to(100 * MILLISECOND));
            }
            // The killed ones have a place as long as their lease, and then others are heard.
            streets.run_for(5 * SECOND + LOST + streets.longest_period() + FOUND);
            streets.expect_all_right();
        },
        FEW_SEEDS);
}

/**
 * How often a participant that lives is taken for gone: each time that all that it says in a lease
 * is lost after something was heard, and so are the questions or answers at the lease's end.
 */
struct Losses {
    double predicted = 0;
    std::size_t counted = 0;
};

void live_with_loss(NUV_UINT64 seed, double loss, Losses *losses) {
    constexpr Time LEASE = 10 * SECOND;
    constexpr Time SPAN = 40 * LEASE;
    constexpr int QUESTIONS = 3;
    Streets streets(
        seed,
        {.link = Neighbourhood::any_link(seed, loss), .least_lease = LEASE, .longest_lease = LEASE},
        3, 5);
    for (simnet::Host *const host : streets.all_hosts()) {
        streets.start(*host);
    }
    // All have been heard when so many more have been said.
    const double tries = std::ceil(std::log(1e-10) / std::log(loss));
    const Time found = SECOND + static_cast<Time>(tries) * streets.longest_period();
    EXPECT_TRUE(streets.world.run_until(streets.world.now() + found,
                                        [&] { return streets.is_all_right(); }));
    const std::vector<Neighbour *> present = streets.present();
    const double unanswered = std::pow(1 - (1 - loss) * (1 - loss), QUESTIONS);
    const std::size_t before = streets.lost_living();
    streets.run_for(SPAN);
    for (const Neighbour *const one : present) {
        // The period is shorter than it is said to be by a tenth at most.
        const double period = 0.95 * static_cast<double>(one->period);
        const double in_lease = std::floor(static_cast<double>(LEASE) / period);
        losses->predicted += static_cast<double>(present.size() - 1) * SPAN / period * (1 - loss) *
                             std::pow(loss, in_lease) * unanswered;
    }
    losses->counted += streets.lost_living() - before;
}

class SimulatedDiscoveryWithLoss : public testing::TestWithParam<int> {};

TEST_P(SimulatedDiscoveryWithLoss, LosesThoseWhoLiveNoMoreOftenThanTheirLeaseHasIt) {
    Losses losses;
    for_each_seed([&losses](NUV_UINT64 seed) { live_with_loss(seed, GetParam() / 100.0, &losses); },
                  FEW_SEEDS);
    std::printf("loss of %d %%: %zu lost, %.1f predicted\n", GetParam(), losses.counted,
                losses.predicted);
    // All that one loses by its own link it loses at once, so they come in clusters.
    EXPECT_LE(static_cast<double>(losses.counted),
              1.2 * losses.predicted + 8 * std::sqrt(losses.predicted) + 1);
}

INSTANTIATE_TEST_SUITE_P(Percent, SimulatedDiscoveryWithLoss, testing::Values(20, 35, 50));

TEST(SimulatedDiscovery, TwoHostsFindEachOtherThoughThreeInTenDatagramsAreLost) {
    int runs = 0;
    int soon = 0;
    for_each_seed([&](NUV_UINT64 seed) {
        Neighbourhood::Settings settings;
        settings.link = Neighbourhood::any_link(seed, 0.3);
        settings.least_lease = settings.longest_lease = 20 * SECOND;
        Streets streets(seed, settings, 2, 2);
        streets.start(*streets.all_hosts().front());
        streets.run_for(streets.up_to(SECOND));
        streets.start(*streets.all_hosts().back());
        const Time start = streets.world.now();
        const auto both_know = [&] { return streets.is_all_right(); };
        ++runs;
        soon += streets.world.run_until(start + 2 * SECOND, both_know) ? 1 : 0;
        EXPECT_TRUE(streets.world.run_until(start + 30 * SECOND, both_know));
    });
    std::printf("%.2f %% of %d runs: both know each other within 2 s\n", 100.0 * soon / runs, runs);
    EXPECT_GE(soon + 1, 0.95 * runs);
}

} // namespace
