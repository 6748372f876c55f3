// SPDX-License-Identifier: Apache-2.0
// Whom a participant has met, for whoever asks later.
#include "participant.h"

#include <gmock/gmock.h>

#include "signals.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr std::size_t ROOM = 4096;

Encounter with(const std::string &name) {
    Encounter encounter = {Encounter::Change::CAME, {}};

    encounter.other.name = name;
    return encounter;
}

TEST(Encounters, AreTakenOnceInTheirOrder) {
    Encounters encounters;

    encounters.add(with("a"));
    encounters.add(with("b"));
    const Encounters::Taken taken = encounters.take();

    ASSERT_THAT(taken.encounters, SizeIs(2));
    EXPECT_EQ(taken.encounters[0].other.name, "a");
    EXPECT_EQ(taken.encounters[1].other.name, "b");
    EXPECT_THAT(encounters.take().encounters, IsEmpty());
}

TEST(Encounters, AreNews) {
    Encounters encounters;

    encounters.add(with("a"));
    EXPECT_EQ(wait_for_event(Moment::clock::now()), Event::NEWS);
}

TEST(Encounters, AreCountedWhereThereIsNoRoom) {
    Encounters encounters;

    for (std::size_t i = 0; i < ROOM + 3; ++i) {
        encounters.add(with("a"));
    }
    const Encounters::Taken taken = encounters.take();

    EXPECT_THAT(taken.encounters, SizeIs(ROOM));
    EXPECT_EQ(taken.missed, 3u);
    EXPECT_EQ(encounters.take().missed, 0u);
}

} // namespace
