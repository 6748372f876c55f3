// SPDX-License-Identifier: Apache-2.0
// What the fuzz targets share.
#include "fuzz.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <system_error>

#include "dds_c/dds_c_logger.h"
#include "osapi/osapi_heap.h"

namespace fuzz {

namespace {

NUVOsapiHeapStatistics heap() {
    NUVOsapiHeapStatistics statistics{};
    NUVOsapiHeap_getStatistics(&statistics);
    return statistics;
}

} // namespace

void must(bool holds, const char *what) {
    if (!holds) {
        std::fprintf(stderr, "\nDoes not hold: %s\n", what);
        std::abort();
    }
}

std::string text_of(const std::uint8_t *data, std::size_t size) {
    const std::string_view whole(reinterpret_cast<const char *>(data), size);
    return std::string(whole.substr(0, whole.find('\0')));
}

std::string_view Input::take_to(char separator) {
    const std::size_t end = rest_.find(separator);
    const std::string_view piece = rest_.substr(0, end);
    rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
    return piece;
}

std::optional<long long> number_in(std::string_view text) {
    long long number = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stop == end ? std::optional(number) : std::nullopt;
}

Messages::Messages() {
    KOLS_Config_Logger *logger = KOLS_Config_Logger_get_instance();
    KOLS_Config_Logger_set_verbosity(logger, KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL);
    KOLS_Config_Logger_set_output_device(logger, take, this);
}

Messages::~Messages() {
    KOLS_Config_Logger_set_output_device(KOLS_Config_Logger_get_instance(), nullptr, nullptr);
}

int Messages::count() const {
    return std::accumulate(counts_.begin(), counts_.end(), 0);
}

void Messages::take(void *param, const KOLS_Config_LogRecord *record) {
    auto *self = static_cast<Messages *>(param);
    must(record->level < self->counts_.size(), "a message has one of the levels");
    ++self->counts_[record->level];
    self->last_ = record->text;
}

HeapBalance::HeapBalance() : blocks_(heap().liveBlocks), refused_(heap().refusedFrees) {}

HeapBalance::~HeapBalance() {
    must(heap().liveBlocks == blocks_, "what was taken from the heap is given back");
    must(heap().refusedFrees == refused_, "nothing is given back that was not taken");
}

} // namespace fuzz
