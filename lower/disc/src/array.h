// SPDX-License-Identifier: Apache-2.0
// An array that grows, of the heap's memory.
#ifndef DISC_ARRAY_H
#define DISC_ARRAY_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

#include "osapi/osapi_heap.h"

namespace disc {

/** Of values that are copied as octets. What may run out of memory returns false then. */
template <typename Value>
class Array {
    static_assert(std::is_trivially_copyable_v<Value>);

public:
    Array() = default;
    ~Array() {
        NUVOsapiHeap_freeArray(values_);
    }
    Array(const Array &) = delete;
    Array &operator=(const Array &) = delete;

    std::size_t size() const {
        return size_;
    }
    bool is_empty() const {
        return size_ == 0;
    }
    Value &operator[](std::size_t i) {
        return values_[i];
    }
    const Value &operator[](std::size_t i) const {
        return values_[i];
    }
    Value *begin() {
        return values_;
    }
    Value *end() {
        return values_ + size_;
    }
    const Value *begin() const {
        return values_;
    }
    const Value *end() const {
        return values_ + size_;
    }

    /** Has room for as many, twice as many as before at least. */
    bool reserve(std::size_t count) {
        if (count <= capacity_) {
            return true;
        }
        constexpr std::size_t FIRST_OCTETS = 128; // few large ones need no room for more
        const std::size_t larger = std::max({count, 2 * capacity_, FIRST_OCTETS / sizeof(Value)});
        if (NUVOsapiHeap_reallocateMemoryInternal(
                &values_, NUVOsapiHeap_sizeOfArray(larger, sizeof(Value)),
                NUV_OSAPI_HEAP_ALIGNMENT_DEFAULT, 1, 0, "disc::Array", NUV_OSAPI_HEAP_TAG_ARRAY,
                "disc::Array") == 0) {
            return false;
        }
        capacity_ = larger;
        return true;
    }
    /** Those that are new have all octets 0. */
    bool resize(std::size_t count) {
        if (!reserve(count)) {
            return false;
        }
        if (count > size_) {
            std::memset(static_cast<void *>(values_ + size_), 0, (count - size_) * sizeof(Value));
        }
        size_ = count;
        return true;
    }
    bool append(const Value &value) {
        if (!reserve(size_ + 1)) {
            return false;
        }
        values_[size_++] = value;
        return true;
    }
    void remove_last() {
        --size_;
    }
    /** Those behind it move up. */
    void remove(std::size_t i) {
        std::copy(values_ + i + 1, values_ + size_, values_ + i);
        --size_;
    }
    void remove_first(std::size_t count) {
        std::copy(values_ + count, values_ + size_, values_);
        size_ -= count;
    }
    void swap(Array &other) {
        std::swap(values_, other.values_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

private:
    Value *values_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

} // namespace disc

#endif
