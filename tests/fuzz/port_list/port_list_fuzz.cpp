// SPDX-License-Identifier: Apache-2.0
// The list of ports whose received messages are timed.
#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fuzz.h"
#include "receiver.h"
#include "simulated_runtime.h"

namespace {

using Range = std::pair<int, int>;

std::optional<int> read_port(std::string text) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    text.erase(0, text.find_first_not_of('0'));
    if (text.empty() || text.size() > 5 || std::stoi(text) > 65535) {
        return std::nullopt;
    }
    return std::stoi(text);
}

/** The ranges that a list consists of; nothing when any of them is none. */
std::optional<std::vector<Range>> read_list(const std::string &text) {
    std::vector<Range> ranges;
    std::string item;
    for (const char character : text + ',') {
        if (character != ',') {
            item += character;
            continue;
        }
        const std::size_t dash = item.find('-');
        const auto first = read_port(item.substr(0, dash));
        const auto last = dash == std::string::npos ? first : read_port(item.substr(dash + 1));
        if (!first || !last || *first > *last) {
            return std::nullopt;
        }
        ranges.emplace_back(*first, *last);
        item.clear();
    }
    return ranges;
}

void check_tracking(const commend::Receiver &receiver, const std::vector<Range> &ranges) {
    std::vector<int> ports = {1, 7410, 65535};
    for (const auto &[first, last] : ranges) {
        ports.insert(ports.end(), {first - 1, first, last, last + 1});
    }
    for (const int port : ports) {
        const bool is_listed =
            std::any_of(ranges.begin(), ranges.end(), [port](const Range &range) {
                return range.first <= port && port <= range.second;
            });
        fuzz::must(receiver.tracks(port) == (is_listed || ranges.empty()),
                   "the ports of the list are tracked, all of them where there is none");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    NUVNetioRuntime *const runtime = fuzz::runtime(); // which stays
    const fuzz::Messages messages;
    const fuzz::HeapBalance balance;
    std::string text = fuzz::text_of(data, size);
    COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
    COMMENDReceiverProperty &receiving = property.parent.receiver;
    receiving.processMessageTimeBasedLoggingThreshold = NUV_NTP_TIME_ZERO;
    receiving.processMessageTimeBasedLoggingExplicitPorts = text.data();
    commend::Receiver receiver(property.parent, runtime);

    const bool is_taken = receiver.open(receiving);
    const auto ranges = text.empty() ? std::vector<Range>() : read_list(text);
    fuzz::must(is_taken == ranges.has_value(), "lists of ports and ranges are taken, nothing else");
    if (is_taken) {
        check_tracking(receiver, *ranges);
    }
    fuzz::must(messages.count(NUV_LOG_LEVEL_ERROR) == (is_taken ? 0 : 1) &&
                   messages.count() == (is_taken ? 0 : 1),
               "a list that is refused is one error");
    return 0;
}
