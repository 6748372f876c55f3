// SPDX-License-Identifier: Apache-2.0
// What must hold of a participant that goes, asserted where asserts are on.
#include "fixture.h"

namespace {

class Invariant : public ParticipantTest {
protected:
    void SetUp() override {
#ifdef NDEBUG
        GTEST_SKIP() << "asserts are off in this build";
#endif
        participant = make();
    }
    void TearDown() override {
        if (participant != nullptr) {
            unmake(participant);
        }
    }

    /** Deletes the participant, on which @p change is carried out as its facade goes. */
    template <class Change>
    void remove_with(Change change) {
        faults::replace("COMMENDFacade_delete", [&](COMMENDFacade *facade, REDAWorker *its_worker) {
            change();
            return COMMENDFacade_delete(facade, its_worker);
        });
        int reason = PRES_RETCODE_OK;
        (void)PRESParticipant_delete(participant, &reason, worker);
    }

    PRESParticipant *participant = nullptr;
};

using InvariantDeathTest = Invariant;

TEST_F(InvariantDeathTest, OneThatHasATopicIsNotFreed) {
    EXPECT_DEATH(remove_with([&] { create_topic(participant, "square"); }),
                 "free_participant: 'self->topics == nullptr");
}

TEST_F(InvariantDeathTest, OneThatIsEnabledIsNotFreed) {
    EXPECT_DEATH(remove_with([&] { enable(participant); }), "free_participant: .*Phase::ENABLED");
}

} // namespace
