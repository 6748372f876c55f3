// SPDX-License-Identifier: Apache-2.0
// What the fuzz targets share: their oracles' verdict, their input taken apart, what the library
// said and keeps.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "log/log_message.h"

namespace fuzz {

/** Ends the run with a message, which makes the input a finding, unless @p holds. */
void must(bool holds, const char *what);

/** The input as text, without what comes after a zero. */
std::string text_of(const std::uint8_t *data, std::size_t size);

/** The input read piece by piece. What it no longer has is empty. */
class Input {
public:
    Input(const std::uint8_t *data, std::size_t size)
        : rest_(reinterpret_cast<const char *>(data), size) {}

    bool is_empty() const {
        return rest_.empty();
    }
    std::string_view rest() const {
        return rest_;
    }
    /** Up to the next line end, which is taken off too. */
    std::string_view line() {
        return take_to('\n');
    }
    /** Up to the next separator, which is taken off too. */
    std::string_view take_to(char separator);

private:
    std::string_view rest_;
};

/** The number that a piece of the input is, if it is one. */
std::optional<long long> number_in(std::string_view text);

/** Takes the library's messages, as long as it lives, and counts them by level. */
class Messages {
public:
    Messages();
    ~Messages();
    Messages(const Messages &) = delete;
    Messages &operator=(const Messages &) = delete;

    /** How many there were of this level. */
    int count(NUV_UINT32 level) const {
        return counts_.at(level);
    }
    /** How many there were of all levels. */
    int count() const;
    /** The text of the last one. */
    const std::string &last() const {
        return last_;
    }

private:
    static void take(void *param, const KOLS_Config_LogRecord *record);

    std::array<int, NUV_LOG_LEVEL_ALL + 1> counts_{};
    std::string last_;
};

/** Sees to it that whatever is taken from the heap while it lives is given back. */
class HeapBalance {
public:
    HeapBalance();
    ~HeapBalance();
    HeapBalance(const HeapBalance &) = delete;
    HeapBalance &operator=(const HeapBalance &) = delete;

private:
    const std::uint64_t blocks_;
    const std::uint64_t refused_;
};

} // namespace fuzz

/** A fuzz target. It answers 0: the engine has no use for another answer. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);
