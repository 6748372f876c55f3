// SPDX-License-Identifier: Apache-2.0
// What must hold of a participant on its way, asserted where asserts are on.
#include "domain/CallWorker.h"
#include "domain/DomainParticipant_internal.h"
#include "fixture.h"

namespace {

class Invariant : public ParticipantTest {
protected:
    void SetUp() override {
#ifdef NDEBUG
        GTEST_SKIP() << "asserts are off in this build";
#endif
        // A forked child could do nothing with the participant of its parent.
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        switch_autoenable_off();
    }
};

using InvariantDeathTest = Invariant;

TEST_F(InvariantDeathTest, OneThatHasAnIndexIsGivenNoOther) {
    DDS_DomainParticipant *const participant = create();
    const auto enable_with_index = [&] {
        participant->participantIndex = 3;
        (void)DDS_DomainParticipant_enable(participant);
    };
    EXPECT_DEATH(enable_with_index(), "participantIndex == -1");
}

TEST_F(InvariantDeathTest, OneThatKeepsPortsIsNotEnabled) {
    DDS_DomainParticipant *const participant = create();
    const auto enable_with_ports = [&] {
        participant->keptPortCount = 1;
        (void)DDS_DomainParticipant_enable(participant);
    };
    EXPECT_DEATH(enable_with_ports(), "enable_locked: .*keptPortCount == 0");
}

/** One that becomes what it should not be while it is being deleted. */
class DeletionDeathTest : public Invariant {
protected:
    /** Deletes a participant on which @p change is carried out as its core goes. */
    template <class Change>
    void remove_with(Change change) {
        DDS_DomainParticipant *const participant = create();
        faults::replace("PRESParticipant_delete",
                        [=](PRESParticipant *self, int *reason, REDAWorker *worker) {
                            change(participant);
                            return PRESParticipant_delete(self, reason, worker);
                        });
        (void)remove(participant);
    }
};

TEST_F(DeletionDeathTest, OneThatIsEnabledIsNotFreed) {
    EXPECT_DEATH(remove_with([](DDS_DomainParticipant *self) { self->isEnabled = 1; }),
                 "free_participant: '!self->isEnabled");
}

TEST_F(DeletionDeathTest, OneThatKeepsPortsIsNotFreed) {
    EXPECT_DEATH(remove_with([](DDS_DomainParticipant *self) { self->keptPortCount = 1; }),
                 "free_participant: .*keptPortCount == 0");
}

} // namespace
