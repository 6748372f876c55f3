// SPDX-License-Identifier: Apache-2.0
// The receive ports whose processing of messages is timed.
#include "trackedPorts.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

#include "commend_log.h"
#include "osapi/osapi_heap.h"

namespace commend {

namespace {

bool parse_port(std::string_view text, KOLS_Transport_Port_t *out) {
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, *out);
    return error == std::errc{} && stop == end && NUVNetioLocator_isPort(*out) != 0;
}

bool parse_range(std::string_view text, PortRange *out) {
    const std::size_t dash = text.find('-');
    if (!parse_port(text.substr(0, dash), &out->first)) {
        return false;
    }
    if (dash == std::string_view::npos) {
        out->last = out->first;
        return true;
    }
    return parse_port(text.substr(dash + 1), &out->last) && out->first <= out->last;
}

bool parse_ranges(std::string_view text, PortRange *ranges, NUV_INT32 count) {
    for (NUV_INT32 i = 0; i < count; ++i) {
        const std::size_t comma = text.find(',');
        if (!parse_range(text.substr(0, comma), &ranges[i])) {
            return false;
        }
        text.remove_prefix(comma != std::string_view::npos ? comma + 1 : text.size());
    }
    return true;
}

} // namespace

TrackedPorts::~TrackedPorts() {
    NUVOsapiHeap_freeArray(ranges_);
}

bool TrackedPorts::read(const char *text) {
    constexpr const char *LOG_METHOD = "COMMENDFacade_new";
    if (text == nullptr || text[0] == '\0') {
        return true;
    }
    const std::string_view whole = text;
    const auto count = static_cast<NUV_INT32>(std::count(whole.begin(), whole.end(), ',') + 1);
    NUVOsapiHeap_allocateArray(&ranges_, count, struct PortRange);
    if (ranges_ == nullptr) {
        COMMEND_ERROR("out of memory for %d ranges of tracked ports", static_cast<int>(count));
        return false;
    }
    if (!parse_ranges(whole, ranges_, count)) {
        COMMEND_ERROR("property 'dds.participant.logging.time_based_logging."
                      "process_received_message.tracked_ports' is '%s': allowed are port numbers "
                      "from 1 to %d and ranges of them, joined by ',', as in '7410,7412-7420'",
                      text, KOLS_TRANSPORT_PORT_MAX);
        return false;
    }
    count_ = count;
    return true;
}

bool TrackedPorts::contains(KOLS_Transport_Port_t port) const {
    return count_ == 0 || std::any_of(ranges_, ranges_ + count_, [port](const PortRange &range) {
               return range.first <= port && port <= range.last;
           });
}

} // namespace commend
