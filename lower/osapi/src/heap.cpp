// SPDX-License-Identifier: Apache-2.0
// The tagged heap.
//
// Each block carries a small header in front of its contents. The headers of all live blocks hang
// in one hash table by address, so that a pointer is recognised, or refused, without reading
// anything behind it: a block freed twice or a pointer from elsewhere does no harm. The memory
// itself comes from malloc, which lets the usual memory checkers see every block's bounds.
//
// This file holds nothing but the heap: a test that replaces NUVOsapiHeap_* with the linker then
// catches every use.
#include "osapi/osapi_heap.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <type_traits>

#include <pthread.h>
#include <string.h> // explicit_bzero
#include <unistd.h>

namespace {

constexpr std::size_t NATURAL_ALIGNMENT = 16;
/** No object can be larger than this, so that differences between its addresses have a value. */
constexpr std::size_t LARGEST_ALLOCATION = PTRDIFF_MAX;

/** What stands in front of a block's contents. */
struct alignas(NATURAL_ALIGNMENT) Header {
    Header *next; // in the same bucket
    const char *type;
    std::size_t size;
    NUV_UINT32 tag;
    NUV_UINT32 offset : 31;  // from the start of the allocation to the contents
    NUV_UINT32 reported : 1; // during a report: counted already
};

std::byte *contents_of(Header *header) {
    return reinterpret_cast<std::byte *>(header + 1);
}

void *allocation_of(Header *header) {
    return contents_of(header) - header->offset;
}

bool holds(const Header &header, NUV_UINT32 tag, const char *type) {
    // The same name may stand at different addresses in different object files.
    return header.tag == tag && (header.type == type || std::strcmp(header.type, type) == 0);
}

/** The live blocks, found by the address of their contents. */
class LiveBlocks {
public:
    constexpr LiveBlocks() = default;

    Header *find(const void *contents) const {
        Header *header = buckets_[index_of(contents)];
        while (header != nullptr && contents_of(header) != contents) {
            header = header->next;
        }
        return header;
    }

    void insert(Header *header) {
        if (count_ >= bucket_count()) {
            grow();
        }
        link(header);
        ++count_;
    }

    void remove(Header *header) {
        Header **place = &buckets_[index_of(contents_of(header))];
        while (*place != header) {
            place = &(*place)->next;
        }
        *place = header->next;
        --count_;
    }

    template <typename Function>
    void for_each(Function function) const {
        for (std::size_t i = 0; i < bucket_count(); ++i) {
            for (Header *header = buckets_[i]; header != nullptr; header = header->next) {
                function(*header);
            }
        }
    }

private:
    static constexpr unsigned FIRST_BUCKET_BITS = 8;

    std::size_t bucket_count() const {
        return std::size_t{1} << bucket_bits_;
    }

    std::size_t index_of(const void *contents) const {
        // The low bits of an address are all alike; the multiplication mixes the others upwards.
        const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(contents));
        return static_cast<std::size_t>(((address / NATURAL_ALIGNMENT) * 0x9E3779B97F4A7C15u) >>
                                        (64 - bucket_bits_));
    }

    void link(Header *header) {
        Header *&bucket = buckets_[index_of(contents_of(header))];
        header->next = bucket;
        bucket = header;
    }

    /** Doubles the table. Without memory for it the chains only become longer. */
    void grow() {
        const std::size_t former_count = bucket_count();
        auto *larger = static_cast<Header **>(std::calloc(2 * former_count, sizeof(Header *)));
        if (larger == nullptr) {
            return;
        }
        Header **const former = buckets_;
        buckets_ = larger;
        ++bucket_bits_;
        for (std::size_t i = 0; i < former_count; ++i) {
            for (Header *header = former[i]; header != nullptr;) {
                Header *const next = header->next;
                link(header);
                header = next;
            }
        }
        if (former != first_buckets_.data()) {
            std::free(former);
        }
    }

    std::array<Header *, std::size_t{1} << FIRST_BUCKET_BITS> first_buckets_{};
    Header **buckets_ = first_buckets_.data();
    unsigned bucket_bits_ = FIRST_BUCKET_BITS;
    std::size_t count_ = 0;
};

void print_refusal(void * /*param*/, const char *allocator, NUV_UINT32 tag,
                   NUV_UINT32 expectedTag) {
    char line[256];
    int length = 0;
    if (expectedTag == 0) {
        length =
            std::snprintf(line, sizeof line, "heap: %.100s refused: tag 0x%08X, no live block\n",
                          allocator, static_cast<unsigned>(tag));
    } else {
        length = std::snprintf(
            line, sizeof line, "heap: %.100s refused: tag 0x%08X, the block has tag 0x%08X\n",
            allocator, static_cast<unsigned>(tag), static_cast<unsigned>(expectedTag));
    }
    if (length > 0) {
        // Nothing can be done when stderr cannot be written.
        [[maybe_unused]] const ssize_t written =
            write(STDERR_FILENO, line, static_cast<std::size_t>(length));
    }
}

/** Everything that the mutex guards. Never destroyed: blocks may be freed until the very end. */
struct State {
    std::mutex mutex;
    LiveBlocks live;
    NUVOsapiHeapStatistics statistics{};
    NUVOsapiHeapRefusalHook hook = print_refusal;
    void *hook_param = nullptr;

    void add(Header *header) {
        live.insert(header);
        ++statistics.liveBlocks;
        statistics.liveBytes += header->size;
        ++statistics.allocations;
    }

    void remove(Header *header) {
        live.remove(header);
        --statistics.liveBlocks;
        statistics.liveBytes -= header->size;
    }
};

constinit State state;
static_assert(std::is_trivially_destructible_v<State>);

/** In a forked child the lock would stay locked that another thread had. */
void prepare_for_forks() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    (void)pthread_once(&once, [] {
        // Fails only for want of memory, which leaves things as they would be without it.
        (void)pthread_atfork([] { state.mutex.lock(); }, [] { state.mutex.unlock(); },
                             [] { state.mutex.unlock(); });
    });
}

/** Makes a block that is not live yet, or returns null. */
Header *make_block(std::size_t size, std::size_t alignment, NUV_UINT32 tag, const char *type) {
    prepare_for_forks();
    const std::size_t slack =
        alignment > alignof(std::max_align_t) ? alignment - alignof(std::max_align_t) : 0;
    const std::size_t overhead = sizeof(Header) + slack;
    if (size > LARGEST_ALLOCATION - overhead) {
        return nullptr;
    }
    auto *allocation = static_cast<std::byte *>(std::malloc(size + overhead));
    if (allocation == nullptr) {
        return nullptr;
    }
    const auto earliest = reinterpret_cast<std::uintptr_t>(allocation + sizeof(Header));
    const std::size_t padding = (alignment - earliest % alignment) % alignment;
    auto *header = new (allocation + padding) Header{};
    header->type = type != nullptr ? type : "";
    header->size = size;
    header->tag = tag;
    header->offset = static_cast<NUV_UINT32>(sizeof(Header) + padding) & 0x7FFFFFFFu;
    return header;
}

/** The alignment in bytes that an argument asks for, or 0 when it means nothing. */
std::size_t read_alignment(int alignment) {
    if (alignment == NUV_OSAPI_HEAP_ALIGNMENT_DEFAULT) {
        return NATURAL_ALIGNMENT;
    }
    if (alignment <= 0 || (alignment & (alignment - 1)) != 0) {
        return 0;
    }
    return std::max(static_cast<std::size_t>(alignment), NATURAL_ALIGNMENT);
}

enum class Then { KEEP, REMOVE };

/** Finds the live block that has these contents and this tag; anything else is reported. */
Header *find_or_refuse(const void *contents, const char *allocator, NUV_UINT32 tag, Then then) {
    NUV_UINT32 expected_tag = 0;
    NUVOsapiHeapRefusalHook hook = nullptr;
    void *hook_param = nullptr;
    {
        const std::lock_guard lock(state.mutex);
        Header *header = state.live.find(contents);
        if (header != nullptr && header->tag == tag) {
            if (then == Then::REMOVE) {
                state.remove(header);
            }
            return header;
        }
        ++state.statistics.refusedFrees;
        expected_tag = header != nullptr ? header->tag : 0;
        hook = state.hook;
        hook_param = state.hook_param;
    }
    // Without the lock, so that the hook may ask the heap for its counters.
    hook(hook_param, allocator != nullptr ? allocator : "?", tag, expected_tag);
    return nullptr;
}

} // namespace

int NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                          int keepContents, int clear, const char *allocator,
                                          NUV_UINT32 tag, const char *type) {
    if (pointer == nullptr) {
        return 0;
    }
    // The caller's pointer may be of any object type, hence the copies.
    void *contents = nullptr;
    if (keepContents != 0) {
        std::memcpy(&contents, pointer, sizeof contents);
    } else {
        std::memcpy(pointer, &contents, sizeof contents);
    }
    Header *former = nullptr;
    if (contents != nullptr) {
        former = find_or_refuse(contents, allocator, tag, Then::KEEP);
        if (former == nullptr) {
            return 0;
        }
    }
    const std::size_t bytes_of_alignment = read_alignment(alignment);
    if (bytes_of_alignment == 0) {
        return 0;
    }
    Header *header = make_block(std::max<std::size_t>(size, 1), bytes_of_alignment, tag, type);
    if (header == nullptr) {
        return 0;
    }
    const std::size_t kept = former != nullptr ? std::min(former->size, header->size) : 0;
    if (kept != 0) {
        std::memcpy(contents_of(header), contents, kept);
    }
    if (clear != 0) {
        std::memset(contents_of(header) + kept, 0, header->size - kept);
    }
    {
        const std::lock_guard lock(state.mutex);
        if (former != nullptr) {
            state.remove(former);
        }
        state.add(header);
    }
    if (former != nullptr) {
        std::free(allocation_of(former));
    }
    contents = contents_of(header);
    std::memcpy(pointer, &contents, sizeof contents);
    return 1;
}

void NUVOsapiHeap_freeMemoryInternal(void *pointer, int scrub, const char *allocator,
                                     NUV_UINT32 tag, int /*alignment: the header knows*/) {
    if (pointer == nullptr) {
        return;
    }
    Header *header = find_or_refuse(pointer, allocator, tag, Then::REMOVE);
    if (header == nullptr) {
        return;
    }
    if (scrub != 0) {
        // A memset would be optimised away: nobody reads the block any more.
        explicit_bzero(pointer, header->size);
    }
    std::free(allocation_of(header));
}

void NUVOsapiHeap_getStatistics(NUVOsapiHeapStatistics *out) {
    const std::lock_guard lock(state.mutex);
    *out = state.statistics;
}

void NUVOsapiHeap_report(NUVOsapiHeapVisitor visitor, void *param) {
    const std::lock_guard lock(state.mutex);
    // One walk per kind of block: few kinds, many blocks, and no memory needed to group them.
    state.live.for_each([&](const Header &first) {
        if (first.reported != 0) {
            return;
        }
        NUV_UINT64 blocks = 0;
        NUV_UINT64 bytes = 0;
        state.live.for_each([&](Header &other) {
            if (holds(other, first.tag, first.type)) {
                other.reported = 1;
                ++blocks;
                bytes += other.size;
            }
        });
        visitor(param, first.tag, first.type, blocks, bytes);
    });
    state.live.for_each([](Header &header) { header.reported = 0; });
}

void NUVOsapiHeap_setRefusalHook(NUVOsapiHeapRefusalHook hook, void *param) {
    const std::lock_guard lock(state.mutex);
    state.hook = hook != nullptr ? hook : print_refusal;
    state.hook_param = hook != nullptr ? param : nullptr;
}
