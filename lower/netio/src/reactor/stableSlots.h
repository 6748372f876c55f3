// SPDX-License-Identifier: Apache-2.0
// Values that one thread reads while another adds and removes some.
#ifndef NETIO_STABLE_SLOTS_H
#define NETIO_STABLE_SLOTS_H

#include <array>
#include <atomic>
#include <cstddef>
#include <new>

#include "osapi/osapi_heap.h"

namespace netio {

/**
 * Slots stay where they are until all of them go: they are read without a lock. Whoever changes
 * them does so one at a time. An empty slot has the value that a Value has by itself.
 */
template <typename Value, std::size_t SLOTS_OF_A_CHUNK>
class StableSlots {
public:
    using Slot = std::atomic<Value>;

    StableSlots() = default;
    ~StableSlots() {
        for (Chunk *chunk = first_.next.load(); chunk != nullptr;) {
            Chunk *const next = chunk->next.load();
            chunk->~Chunk();
            NUVOsapiHeap_freeStructure(chunk);
            chunk = next;
        }
    }
    StableSlots(const StableSlots &) = delete;
    StableSlots &operator=(const StableSlots &) = delete;

    /** Makes sure that one more has room. False when memory runs out. */
    bool make_room() {
        Chunk *chunk = &first_;
        for (Chunk *next = chunk; next != nullptr; next = chunk->next.load()) {
            chunk = next;
            if (find(*chunk, Value{}) != nullptr) {
                return true;
            }
        }
        Chunk *added = nullptr;
        NUVOsapiHeap_allocateStructure(&added, Chunk);
        if (added == nullptr) {
            return false;
        }
        chunk->next.store(new (added) Chunk());
        return true;
    }

    /** Puts a value into the first empty slot; there is one. */
    void add(Value value) {
        replace(Value{}, value);
    }
    /** Nothing happens when it is in none. */
    void remove(Value value) {
        replace(value, Value{});
    }

    /** Calls @p visitor with each slot until it answers false. */
    template <typename Visitor>
    void visit(Visitor visitor) const {
        for (const Chunk *chunk = &first_; chunk != nullptr; chunk = chunk->next.load()) {
            for (const Slot &slot : chunk->slots) {
                if (!visitor(slot)) {
                    return;
                }
            }
        }
    }

private:
    struct Chunk {
        std::array<Slot, SLOTS_OF_A_CHUNK> slots{};
        std::atomic<Chunk *> next{nullptr};
    };

    static Slot *find(Chunk &chunk, Value value) {
        for (Slot &slot : chunk.slots) {
            if (slot.load() == value) {
                return &slot;
            }
        }
        return nullptr;
    }

    void replace(Value former, Value value) {
        Slot *slot = nullptr;
        for (Chunk *chunk = &first_; chunk != nullptr && slot == nullptr;
             chunk = chunk->next.load()) {
            slot = find(*chunk, former);
        }
        if (slot != nullptr) {
            slot->store(value);
        }
    }

    Chunk first_;
};

} // namespace netio

#endif
