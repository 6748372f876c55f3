// SPDX-License-Identifier: Apache-2.0
// The tagged heap.
#include "osapi/osapi_heap.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/faults.h"

namespace {

constexpr NUV_UINT32 STRUCTURE = NUV_OSAPI_HEAP_TAG_STRUCTURE;
constexpr NUV_UINT32 STRING = NUV_OSAPI_HEAP_TAG_STRING;
constexpr NUV_UINT32 ARRAY = NUV_OSAPI_HEAP_TAG_ARRAY;

struct Thing {
    std::uint64_t words[5];
};

NUVOsapiHeapStatistics statistics() {
    NUVOsapiHeapStatistics result{};
    NUVOsapiHeap_getStatistics(&result);
    return result;
}

std::byte *allocate(std::size_t size, int alignment = -1, int clear = 0,
                    const char *type = "thing") {
    std::byte *block = nullptr;
    NUVOsapiHeap_reallocateMemoryInternal(&block, size, alignment, 0, clear, "test", STRUCTURE,
                                          type);
    return block;
}

int resize(std::byte **block, std::size_t size, int clear = 0, NUV_UINT32 tag = STRUCTURE) {
    return NUVOsapiHeap_reallocateMemoryInternal(block, size, -1, 1, clear, "test resize", tag,
                                                 "thing");
}

void release(void *block, NUV_UINT32 tag = STRUCTURE, int scrub = 0) {
    NUVOsapiHeap_freeMemoryInternal(block, scrub, "test release", tag, -1);
}

bool all_are(const std::byte *bytes, std::size_t size, unsigned char value) {
    return std::all_of(bytes, bytes + size, [=](std::byte b) { return b == std::byte{value}; });
}

using Kind = std::pair<NUV_UINT32, std::string>;
struct Amount {
    NUV_UINT64 blocks;
    NUV_UINT64 bytes;
    int times_reported;
};

std::map<Kind, Amount> report() {
    std::map<Kind, Amount> kinds;
    NUVOsapiHeap_report(
        [](void *param, NUV_UINT32 tag, const char *type, NUV_UINT64 blocks, NUV_UINT64 bytes) {
            Amount &amount = (*static_cast<std::map<Kind, Amount> *>(param))[{tag, type}];
            amount = {blocks, bytes, amount.times_reported + 1};
        },
        &kinds);
    return kinds;
}

/** Has every allocation of this thread fail. */
/** Fills what is allocated, so that nothing is zero by chance. */
void fill_malloc() {
    faults::replace("malloc", [](std::size_t size) {
        void *const block = std::malloc(size);
        if (block != nullptr) {
            std::memset(block, 0xA5, size);
        }
        return block;
    });
}

/** Collects refusals, and sees that the test leaves nothing on the heap. */
class HeapTest : public testing::Test {
protected:
    struct Refusal {
        std::string allocator;
        NUV_UINT32 tag;
        NUV_UINT32 expected_tag;
    };

    HeapTest() {
        NUVOsapiHeap_setRefusalHook(
            [](void *param, const char *allocator, NUV_UINT32 tag, NUV_UINT32 expected_tag) {
                static_cast<HeapTest *>(param)->refusals_.push_back({allocator, tag, expected_tag});
            },
            this);
    }

    ~HeapTest() override {
        NUVOsapiHeap_setRefusalHook(nullptr, nullptr);
        EXPECT_EQ(statistics().liveBlocks, before_.liveBlocks);
        EXPECT_EQ(statistics().liveBytes, before_.liveBytes);
    }

    void expect_one_refusal(const char *allocator, NUV_UINT32 tag, NUV_UINT32 expected_tag) {
        ASSERT_EQ(refusals_.size(), 1u);
        EXPECT_EQ(refusals_[0].allocator, allocator);
        EXPECT_EQ(refusals_[0].tag, tag);
        EXPECT_EQ(refusals_[0].expected_tag, expected_tag);
        EXPECT_EQ(statistics().refusedFrees, before_.refusedFrees + 1);
        refusals_.clear();
    }

    const NUVOsapiHeapStatistics before_ = statistics();
    std::vector<Refusal> refusals_;
    faults::Guard faults_;
};

TEST_F(HeapTest, BlockIsWritableToItsLastByteAndCounted) {
    std::byte *block = allocate(1000);
    ASSERT_NE(block, nullptr);
    std::memset(block, 0x5A, 1000);
    EXPECT_EQ(statistics().liveBlocks, before_.liveBlocks + 1);
    EXPECT_EQ(statistics().liveBytes, before_.liveBytes + 1000);
    EXPECT_EQ(statistics().allocations, before_.allocations + 1);
    release(block);
    EXPECT_EQ(statistics().liveBlocks, before_.liveBlocks);
    EXPECT_EQ(statistics().liveBytes, before_.liveBytes);
    EXPECT_EQ(statistics().allocations, before_.allocations + 1);
    EXPECT_TRUE(refusals_.empty());
}

TEST_F(HeapTest, SizeZeroIsTakenAsOne) {
    std::byte *block = allocate(0);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(statistics().liveBytes, before_.liveBytes + 1);
    *block = std::byte{1};
    release(block);
}

TEST_F(HeapTest, AllocationAnswersNonZeroAndOverwritesTheCallersPointer) {
    int unrelated = 0;
    int *pointer = &unrelated; // not a block, and not to be resized
    EXPECT_NE(NUVOsapiHeap_reallocateMemoryInternal(&pointer, sizeof(int), -1, 0, 0, "test", ARRAY,
                                                    "int"),
              0);
    EXPECT_NE(pointer, &unrelated);
    EXPECT_TRUE(refusals_.empty());
    release(pointer, ARRAY);
}

TEST_F(HeapTest, NaturalAlignmentIsSixteenBytes) {
    std::vector<std::byte *> blocks;
    for (std::size_t size = 1; size < 200; size += 7) {
        blocks.push_back(allocate(size));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(blocks.back()) % 16, 0u) << size;
    }
    for (std::byte *block : blocks) {
        release(block);
    }
}

TEST_F(HeapTest, EveryPowerOfTwoIsHonouredAsAlignment) {
    for (int alignment = 1; alignment <= 1 << 20; alignment *= 2) {
        std::byte *block = allocate(100, alignment);
        ASSERT_NE(block, nullptr) << alignment;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % static_cast<unsigned>(alignment), 0u);
        std::memset(block, 0x5A, 100);
        NUVOsapiHeap_freeMemoryInternal(block, 0, "test", STRUCTURE, alignment);
    }
    EXPECT_TRUE(refusals_.empty());
}

TEST_F(HeapTest, AlignmentWithoutMeaningFails) {
    for (const int alignment : {0, -2, 3, 24, INT32_MIN}) {
        EXPECT_EQ(allocate(100, alignment), nullptr) << alignment;
    }
    EXPECT_EQ(statistics().allocations, before_.allocations);
}

TEST_F(HeapTest, ClearZeroesTheWholeBlock) {
    fill_malloc();
    std::byte *block = allocate(333, -1, 1);
    EXPECT_TRUE(all_are(block, 333, 0));
    release(block);
}

TEST_F(HeapTest, WithoutClearTheContentsAreNotTouched) {
    fill_malloc();
    std::byte *block = allocate(333);
    EXPECT_TRUE(all_are(block, 333, 0xA5));
    release(block);
}

TEST_F(HeapTest, NullAddressOfThePointerFails) {
    EXPECT_EQ(NUVOsapiHeap_reallocateMemoryInternal(nullptr, 8, -1, 0, 0, "test", ARRAY, "int"), 0);
}

TEST_F(HeapTest, ResizeKeepsTheContentsThatStillFit) {
    std::byte *block = allocate(40);
    std::memset(block, 0x11, 40);
    ASSERT_NE(resize(&block, 4000), 0);
    EXPECT_TRUE(all_are(block, 40, 0x11));
    EXPECT_EQ(statistics().liveBytes, before_.liveBytes + 4000);
    ASSERT_NE(resize(&block, 10), 0);
    EXPECT_TRUE(all_are(block, 10, 0x11));
    EXPECT_EQ(statistics().liveBytes, before_.liveBytes + 10);
    EXPECT_EQ(statistics().liveBlocks, before_.liveBlocks + 1);
    EXPECT_EQ(statistics().allocations, before_.allocations + 3);
    release(block);
}

TEST_F(HeapTest, ResizeWithClearZeroesOnlyTheNewBytes) {
    fill_malloc();
    std::byte *block = allocate(40);
    std::memset(block, 0x11, 40);
    ASSERT_NE(resize(&block, 100, 1), 0);
    EXPECT_TRUE(all_are(block, 40, 0x11));
    EXPECT_TRUE(all_are(block + 40, 60, 0));
    release(block);
}

TEST_F(HeapTest, ResizeOfNullAllocates) {
    std::byte *block = nullptr;
    ASSERT_NE(resize(&block, 10), 0);
    ASSERT_NE(block, nullptr);
    release(block);
}

TEST_F(HeapTest, ResizeHonoursItsAlignment) {
    std::byte *block = allocate(40);
    std::memset(block, 0x11, 40);
    ASSERT_NE(
        NUVOsapiHeap_reallocateMemoryInternal(&block, 80, 4096, 1, 0, "test", STRUCTURE, "thing"),
        0);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 4096, 0u);
    EXPECT_TRUE(all_are(block, 40, 0x11));
    release(block);
}

TEST_F(HeapTest, ResizeUnderAnotherTagIsRefusedAndReported) {
    std::byte *block = allocate(40);
    std::byte *const same = block;
    EXPECT_EQ(resize(&block, 80, 0, ARRAY), 0);
    EXPECT_EQ(block, same);
    expect_one_refusal("test resize", ARRAY, STRUCTURE);
    release(block);
}

TEST_F(HeapTest, ResizeOfNoLiveBlockIsRefusedAndReported) {
    std::array<std::byte, 64> foreign{};
    std::byte *block = foreign.data();
    EXPECT_EQ(resize(&block, 80), 0);
    EXPECT_EQ(block, foreign.data());
    expect_one_refusal("test resize", STRUCTURE, 0);
}

TEST_F(HeapTest, FailedResizeLeavesTheBlockAsItWas) {
    std::byte *block = allocate(40);
    std::byte *const same = block;
    std::memset(block, 0x11, 40);
    EXPECT_EQ(resize(&block, SIZE_MAX), 0);
    faults::fail_malloc();
    EXPECT_EQ(resize(&block, 80), 0);
    faults::stop();
    EXPECT_EQ(block, same);
    EXPECT_TRUE(all_are(block, 40, 0x11));
    EXPECT_EQ(statistics().liveBytes, before_.liveBytes + 40);
    release(block);
}

TEST_F(HeapTest, SizeThatNoBlockCanHaveFails) {
    for (const std::size_t size : {SIZE_MAX, SIZE_MAX - 15, SIZE_MAX - 32, SIZE_MAX / 2 + 1,
                                   SIZE_MAX / 2, SIZE_MAX / 2 - 31}) {
        EXPECT_EQ(allocate(size), nullptr) << size;
        EXPECT_EQ(allocate(size, 4096), nullptr) << size;
    }
    EXPECT_EQ(statistics().liveBlocks, before_.liveBlocks);
}

TEST_F(HeapTest, RunningOutOfMemoryGivesNull) {
    faults::fail_malloc();
    int unrelated = 0;
    int *pointer = &unrelated;
    EXPECT_EQ(NUVOsapiHeap_allocateStructure(&pointer, int), 0);
    EXPECT_EQ(pointer, nullptr);
    EXPECT_EQ(statistics().allocations, before_.allocations);
}

TEST_F(HeapTest, FreeOfNullDoesNothing) {
    release(nullptr);
    EXPECT_TRUE(refusals_.empty());
    EXPECT_EQ(statistics().refusedFrees, before_.refusedFrees);
}

TEST_F(HeapTest, FreeUnderAnotherTagIsRefusedAndReported) {
    std::byte *block = allocate(40);
    std::memset(block, 0x11, 40);
    release(block, STRING, 1);
    expect_one_refusal("test release", STRING, STRUCTURE);
    EXPECT_TRUE(all_are(block, 40, 0x11));
    EXPECT_EQ(statistics().liveBlocks, before_.liveBlocks + 1);
    release(block);
    EXPECT_TRUE(refusals_.empty());
}

TEST_F(HeapTest, SecondFreeIsRefusedAndReported) {
    for (const std::size_t size : {std::size_t{40}, std::size_t{1} << 22}) {
        std::byte *block = allocate(size);
        release(block);
        release(block);
        ASSERT_EQ(refusals_.size(), 1u);
        EXPECT_EQ(refusals_[0].expected_tag, 0u);
        refusals_.clear();
    }
}

TEST_F(HeapTest, PointerFromElsewhereIsRefusedWithoutReadingIt) {
    std::byte *block = allocate(400);
    std::array<std::byte, 64> on_stack{};
    std::vector<void *> pointers = {on_stack.data(),
                                    block + 1,
                                    block + 64,
                                    block - 16,
                                    reinterpret_cast<void *>(std::uintptr_t{16}),
                                    reinterpret_cast<void *>(UINTPTR_MAX)};
    for (void *pointer : pointers) {
        release(pointer);
        ASSERT_EQ(refusals_.size(), 1u) << pointer;
        EXPECT_EQ(refusals_[0].expected_tag, 0u);
        refusals_.clear();
    }
    release(block);
}

TEST_F(HeapTest, ScrubOverwritesTheContentsBeforeTheyAreFreed) {
    for (const int scrub : {0, 1}) {
        std::byte *block = allocate(100);
        std::memset(block, 0x5A, 100);
        std::vector<std::byte> seen(100);
        faults::replace("free", [&](void *pointer) { // which begins with the heap's own header
            std::memcpy(seen.data(), block, seen.size());
            std::free(pointer);
        });
        release(block, STRUCTURE, scrub);
        faults::restore("free");
        EXPECT_EQ(std::count(seen.begin(), seen.end(), std::byte{0x5A}), scrub != 0 ? 0 : 100);
    }
}

TEST_F(HeapTest, RefusalHookMayAskTheHeap) {
    NUV_UINT64 seen = 0;
    NUVOsapiHeap_setRefusalHook(
        [](void *param, const char *, NUV_UINT32, NUV_UINT32) {
            *static_cast<NUV_UINT64 *>(param) = statistics().refusedFrees;
        },
        &seen);
    release(&seen);
    EXPECT_EQ(seen, before_.refusedFrees + 1);
}

/** A report holds the heap's lock; a hook and its parameter are replaced as one, in that lock. */
TEST_F(HeapTest, RefusalHookIsNotReplacedInTheMiddleOfAnythingElse) {
    struct Replacement {
        std::thread thread;
        std::atomic<bool> is_under_way{false};
        std::atomic<bool> is_done{false};
        bool was_done_within_report = false;
    } replacement;
    std::byte *block = allocate(8);
    NUVOsapiHeap_report(
        [](void *param, NUV_UINT32, const char *, NUV_UINT64, NUV_UINT64) {
            auto *self = static_cast<Replacement *>(param);
            if (self->thread.joinable()) {
                return;
            }
            self->thread = std::thread([self] {
                self->is_under_way = true;
                NUVOsapiHeap_setRefusalHook(nullptr, nullptr);
                self->is_done = true;
            });
            while (!self->is_under_way) {
                std::this_thread::yield();
            }
            for (int i = 0; i < 50 && !self->is_done; ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            self->was_done_within_report = self->is_done;
        },
        &replacement);
    ASSERT_TRUE(replacement.thread.joinable());
    replacement.thread.join();
    EXPECT_FALSE(replacement.was_done_within_report);
    EXPECT_TRUE(replacement.is_done);
    release(block);
}

TEST_F(HeapTest, WithoutHookARefusalIsOneLineOnStderr) {
    NUVOsapiHeap_setRefusalHook(nullptr, nullptr);
    std::byte *block = allocate(8);
    testing::internal::CaptureStderr();
    release(block, ARRAY);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "heap: test release refused: tag 0x4B4F4C43, the block has tag 0x4B4F4C41\n");
    release(block);
    testing::internal::CaptureStderr();
    release(block);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "heap: test release refused: tag 0x4B4F4C41, no live block\n");
    testing::internal::CaptureStderr();
    NUVOsapiHeap_freeMemoryInternal(&block, 0, nullptr, ARRAY, -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "heap: ? refused: tag 0x4B4F4C43, no live block\n");
}

TEST_F(HeapTest, ReportNamesEachKindOnceWithItsBlocksAndBytes) {
    const std::string first_name = "struct Twin"; // equal names at two addresses
    const std::string second_name = first_name;
    std::vector<std::byte *> blocks;
    for (std::size_t i = 0; i < 10; ++i) {
        blocks.push_back(allocate(10, -1, 0, first_name.c_str()));
        blocks.push_back(allocate(20, -1, 0, second_name.c_str()));
    }
    std::byte *other = allocate(7, -1, 0, "struct Other");
    char *text = nullptr;
    NUVOsapiHeap_reallocateMemoryInternal(&text, 5, -1, 0, 0, "test", STRING, "struct Twin");
    for (int round = 0; round < 2; ++round) { // a report does not change the next one
        const auto kinds = report();
        const Amount &twins = kinds.at({STRUCTURE, "struct Twin"});
        EXPECT_EQ(twins.blocks, 20u);
        EXPECT_EQ(twins.bytes, 300u);
        EXPECT_EQ(twins.times_reported, 1);
        EXPECT_EQ(kinds.at({STRUCTURE, "struct Other"}).bytes, 7u);
        EXPECT_EQ(kinds.at({STRING, "struct Twin"}).blocks, 1u);
    }
    for (std::byte *block : blocks) {
        release(block);
    }
    EXPECT_FALSE(report().contains({STRUCTURE, "struct Twin"}));
    release(other);
    release(text, STRING);
}

TEST_F(HeapTest, BlockWithoutTypeNameIsReportedWithAnEmptyOne) {
    std::byte *block = allocate(7, -1, 0, nullptr);
    EXPECT_EQ(report().at({STRUCTURE, ""}).bytes, 7u);
    release(block);
}

TEST_F(HeapTest, MacrosGiveEachKindItsTagItsTypeAndItsSize) {
    struct Thing *thing = nullptr;
    struct Thing *things = nullptr;
    char *text = nullptr;
    EXPECT_NE(NUVOsapiHeap_allocateStructure(&thing, struct Thing), 0);
    EXPECT_NE(NUVOsapiHeap_allocateArray(&things, 3, struct Thing), 0);
    EXPECT_NE(NUVOsapiHeap_allocateString(&text, 6), 0);
    const auto kinds = report();
    EXPECT_EQ(kinds.at({STRUCTURE, "struct Thing"}).bytes, sizeof(Thing));
    EXPECT_EQ(kinds.at({ARRAY, "struct Thing"}).bytes, 3 * sizeof(Thing));
    EXPECT_EQ(kinds.at({STRING, "char"}).bytes, 7u);
    NUVOsapiHeap_freeStructure(thing);
    NUVOsapiHeap_freeArray(things);
    NUVOsapiHeap_freeString(text);
    EXPECT_TRUE(refusals_.empty());
}

TEST_F(HeapTest, ArrayOrStringWhoseSizeOverflowsFails) {
    struct Thing *things = nullptr;
    char *text = nullptr;
    EXPECT_EQ(NUVOsapiHeap_allocateArray(&things, SIZE_MAX / sizeof(Thing) + 1, struct Thing), 0);
    EXPECT_EQ(NUVOsapiHeap_allocateArray(&things, -1, struct Thing), 0);
    EXPECT_EQ(NUVOsapiHeap_allocateString(&text, SIZE_MAX), 0);
    EXPECT_EQ(NUVOsapiHeap_sizeOfArray(SIZE_MAX, 0), 0u);
}

void use_many_blocks() {
    constexpr std::size_t COUNT = 5000;
    std::vector<std::byte *> blocks;
    for (std::size_t i = 0; i < COUNT; ++i) {
        blocks.push_back(allocate(1 + i % 50));
    }
    for (std::size_t i = 0; i < COUNT; i += 2) {
        release(blocks[i]);
        blocks[i] = allocate(60);
    }
    std::reverse(blocks.begin(), blocks.end());
    for (std::byte *block : blocks) {
        release(block);
    }
}

TEST_F(HeapTest, ManyBlocksAreAllFoundAgain) {
    use_many_blocks();
    EXPECT_TRUE(refusals_.empty());
}

TEST_F(HeapTest, ManyBlocksAreAllFoundAgainWithoutMemoryForALargerTable) {
    faults::fail_every_call("calloc", ENOMEM);
    use_many_blocks();
    EXPECT_TRUE(refusals_.empty());
}

TEST_F(HeapTest, ThreadsMayAllocateResizeFreeAndReportAtOnce) {
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (unsigned char id = 1; id <= 4; ++id) {
        threads.emplace_back([id] {
            for (std::size_t i = 0; i < 2000; ++i) {
                std::byte *block = allocate(1 + i % 100);
                std::memset(block, id, 1 + i % 100);
                ASSERT_NE(resize(&block, 200), 0);
                ASSERT_TRUE(all_are(block, 1 + i % 100, id));
                release(block);
            }
        });
    }
    std::thread reporter([&] {
        while (!done) {
            report();
            statistics();
        }
    });
    for (std::thread &thread : threads) {
        thread.join();
    }
    done = true;
    reporter.join();
    EXPECT_EQ(statistics().allocations, before_.allocations + 4 * 2000 * 2);
    EXPECT_TRUE(refusals_.empty());
}

} // namespace
