// SPDX-License-Identifier: Apache-2.0
// Weak references.
#include "reda/reda_weakReference.h"

#include <cstdint>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "../../../lower/reda/src/weakReference_internal.h"
#include "osapi/osapi_heap.h"
#include "support/heap_watch.h"
#include "support/recorder.h"

namespace {

using support::live_blocks;

class WeakReferenceTest : public testing::Test {
protected:
    ~WeakReferenceTest() override {
        REDAWeakReferenceManager_delete(manager_);
        EXPECT_EQ(live_blocks(), blocks_before_);
    }

    REDAWeakReference refer_to(void *referent) {
        REDAWeakReference reference = REDA_WEAK_REFERENCE_INVALID;
        EXPECT_NE(REDAWeakReferenceManager_createReference(manager_, referent, &reference), 0);
        return reference;
    }

    void *referent_of(const REDAWeakReference &reference) {
        return REDAWeakReferenceManager_getReferent(manager_, &reference);
    }

    bool invalidate(const REDAWeakReference &reference) {
        return REDAWeakReferenceManager_invalidate(manager_, &reference) != 0;
    }

    const faults::Guard guard_;
    const NUV_UINT64 blocks_before_ = live_blocks();
    REDAWeakReferenceManager *const manager_ = REDAWeakReferenceManager_new();
    int things_[3] = {};
};

TEST_F(WeakReferenceTest, InvalidReferenceRefersToNothing) {
    const REDAWeakReference invalid = REDA_WEAK_REFERENCE_INVALID;
    EXPECT_EQ(REDAWeakReference_isHeld(&invalid), 0);
    EXPECT_EQ(referent_of(invalid), nullptr);
    EXPECT_FALSE(invalidate(invalid));
}

TEST_F(WeakReferenceTest, ReferenceLeadsToItsReferent) {
    const REDAWeakReference first = refer_to(&things_[0]);
    const REDAWeakReference second = refer_to(&things_[1]);
    EXPECT_NE(REDAWeakReference_isHeld(&first), 0);
    EXPECT_EQ(referent_of(first), &things_[0]);
    EXPECT_EQ(referent_of(second), &things_[1]);
}

TEST_F(WeakReferenceTest, InvalidatedReferenceAndItsCopiesAreStale) {
    const REDAWeakReference reference = refer_to(&things_[0]);
    const REDAWeakReference copy = reference;
    EXPECT_TRUE(invalidate(reference));
    EXPECT_EQ(referent_of(reference), nullptr);
    EXPECT_EQ(referent_of(copy), nullptr);
    EXPECT_FALSE(invalidate(copy));
    EXPECT_NE(REDAWeakReference_isHeld(&reference), 0); // given once, though its referent is gone
}

TEST_F(WeakReferenceTest, StaleReferenceIsRecognisedWhenItsSlotIsUsedAgain) {
    const REDAWeakReference stale = refer_to(&things_[0]);
    invalidate(stale);
    const REDAWeakReference fresh = refer_to(&things_[1]);
    EXPECT_EQ(fresh._index, stale._index);
    EXPECT_EQ(referent_of(stale), nullptr);
    EXPECT_FALSE(invalidate(stale));
    EXPECT_EQ(referent_of(fresh), &things_[1]);
}

TEST_F(WeakReferenceTest, StaleReferencesStayStaleForAsLongAsTheSlotIsUsed) {
    std::vector<REDAWeakReference> stale;
    for (int i = 0; i < 1000; ++i) {
        const REDAWeakReference reference = refer_to(&things_[0]);
        for (const REDAWeakReference &old : stale) {
            ASSERT_EQ(referent_of(old), nullptr);
        }
        invalidate(reference);
        stale.push_back(reference);
    }
}

TEST_F(WeakReferenceTest, SlotWhoseEpochsAreUsedUpIsNotUsedAgain) {
    REDAWeakReferenceSlot *slots = nullptr;
    support::Recorder recorder;
    recorder.onBlock("struct REDAWeakReferenceSlot", [&](void *block, const std::string &) {
        slots = static_cast<REDAWeakReferenceSlot *>(block);
    });
    REDAWeakReference last = refer_to(&things_[0]);
    ASSERT_NE(slots, nullptr);
    // Four thousand million references later:
    slots[last._index].epoch = UINT32_MAX;
    last._referentEpochAtCreation = UINT32_MAX;
    EXPECT_EQ(referent_of(last), &things_[0]);
    EXPECT_TRUE(invalidate(last));
    EXPECT_EQ(referent_of(last), nullptr);
    EXPECT_FALSE(invalidate(last));
    for (int i = 0; i < 100; ++i) {
        EXPECT_NE(refer_to(&things_[1])._index, last._index);
    }
    EXPECT_EQ(referent_of(last), nullptr);
}

TEST_F(WeakReferenceTest, TwoReferencesToOneReferentAreIndependent) {
    const REDAWeakReference first = refer_to(&things_[0]);
    const REDAWeakReference second = refer_to(&things_[0]);
    EXPECT_TRUE(invalidate(first));
    EXPECT_EQ(referent_of(second), &things_[0]);
}

TEST_F(WeakReferenceTest, ReferenceOfAnotherManagerRefersToNothing) {
    REDAWeakReferenceManager *other = REDAWeakReferenceManager_new();
    const REDAWeakReference mine = refer_to(&things_[0]);
    REDAWeakReference theirs = REDA_WEAK_REFERENCE_INVALID;
    REDAWeakReferenceManager_createReference(other, &things_[1], &theirs);
    EXPECT_EQ(referent_of(theirs), nullptr);
    EXPECT_FALSE(invalidate(theirs));
    EXPECT_EQ(REDAWeakReferenceManager_getReferent(other, &mine), nullptr);
    EXPECT_EQ(REDAWeakReferenceManager_getReferent(other, &theirs), &things_[1]);
    REDAWeakReferenceManager_delete(other);
}

TEST_F(WeakReferenceTest, MadeUpReferenceRefersToNothing) {
    const REDAWeakReference real = refer_to(&things_[0]);
    for (const REDAWeakReference &made_up :
         {REDAWeakReference{manager_, real._index, 0u},
          REDAWeakReference{manager_, real._index, real._referentEpochAtCreation + 1},
          REDAWeakReference{manager_, real._index + 1, real._referentEpochAtCreation},
          REDAWeakReference{manager_, 0xFFFFFFFEu, real._referentEpochAtCreation},
          REDAWeakReference{nullptr, real._index, real._referentEpochAtCreation},
          REDAWeakReference{nullptr, 0u, 0u}}) {
        EXPECT_EQ(referent_of(made_up), nullptr);
        EXPECT_FALSE(invalidate(made_up));
    }
}

TEST_F(WeakReferenceTest, FreeSlotIsNotReachedWithTheEpochThatItWillHave) {
    REDAWeakReference reference = refer_to(&things_[0]);
    invalidate(reference);
    ++reference._referentEpochAtCreation;
    EXPECT_EQ(referent_of(reference), nullptr);
    EXPECT_FALSE(invalidate(reference));
    refer_to(&things_[1]);
    refer_to(&things_[2]); // a slot put on the free list twice would be given twice
}

TEST_F(WeakReferenceTest, ReferenceToNullIsRefused) {
    REDAWeakReference reference = refer_to(&things_[0]);
    EXPECT_EQ(REDAWeakReferenceManager_createReference(manager_, nullptr, &reference), 0);
    EXPECT_EQ(REDAWeakReference_isHeld(&reference), 0);
}

TEST_F(WeakReferenceTest, SlotsOfInvalidatedReferencesAreUsedAgain) {
    std::vector<REDAWeakReference> references;
    for (int i = 0; i < 100; ++i) {
        references.push_back(refer_to(&things_[0]));
    }
    const faults::Guard guard;
    faults::fail("NUVOsapiHeap_reallocateMemoryInternal", {.every = true});
    for (const REDAWeakReference &reference : references) {
        EXPECT_TRUE(invalidate(reference));
    }
    std::set<NUV_UINT32> indices;
    for (int i = 0; i < 100; ++i) {
        indices.insert(refer_to(&things_[0])._index);
    }
    EXPECT_EQ(indices.size(), 100u);
}

TEST_F(WeakReferenceTest, ManyReferencesComeAndGo) {
    std::mt19937 random(1);
    std::vector<int> things(500);
    std::vector<REDAWeakReference> live(things.size(), REDA_WEAK_REFERENCE_INVALID);
    std::vector<REDAWeakReference> stale;
    for (int step = 0; step < 20'000; ++step) {
        const std::size_t i = random() % things.size();
        if (REDAWeakReference_isHeld(&live[i]) == 0) {
            live[i] = refer_to(&things[i]);
        } else {
            ASSERT_EQ(referent_of(live[i]), &things[i]);
            ASSERT_TRUE(invalidate(live[i]));
            stale.push_back(live[i]);
            live[i] = REDA_WEAK_REFERENCE_INVALID;
        }
    }
    for (const REDAWeakReference &reference : stale) {
        ASSERT_EQ(referent_of(reference), nullptr);
    }
}

TEST_F(WeakReferenceTest, RunningOutOfMemoryGivesAnInvalidReferenceAndKeepsTheOthers) {
    std::vector<REDAWeakReference> references;
    REDAWeakReference reference = REDA_WEAK_REFERENCE_INVALID;
    faults::fail_allocation(1);
    EXPECT_EQ(REDAWeakReferenceManager_createReference(manager_, &things_[0], &reference), 0);
    faults::fail_allocation(2);
    while (REDAWeakReferenceManager_createReference(manager_, &things_[0], &reference) != 0) {
        references.push_back(reference);
        ASSERT_LT(references.size(), 10'000u);
    }
    EXPECT_FALSE(references.empty());
    EXPECT_EQ(REDAWeakReference_isHeld(&reference), 0);
    for (const REDAWeakReference &earlier : references) {
        EXPECT_EQ(referent_of(earlier), &things_[0]);
    }
    faults::stop();
    EXPECT_EQ(referent_of(refer_to(&things_[1])), &things_[1]);
}

TEST_F(WeakReferenceTest, ManagerIsNullWithoutMemoryAndNullIsAcceptedByDelete) {
    faults::fail_allocation(1);
    EXPECT_EQ(REDAWeakReferenceManager_new(), nullptr);
    REDAWeakReferenceManager_delete(nullptr);
}

} // namespace
