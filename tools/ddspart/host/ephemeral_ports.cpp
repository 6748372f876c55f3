// SPDX-License-Identifier: Apache-2.0
#include "host/ephemeral_ports.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "numbers.h"
#include "words.h"

namespace host {

namespace {

std::optional<PortRange> range_of(const std::string &first, const std::string &last) {
    const auto low = to_number<unsigned>(first);
    const auto high = to_number<unsigned>(last);

    return low && high ? std::optional(PortRange{*low, *high}) : std::nullopt;
}

/** Of a text as "8080,9148-9150". */
std::vector<PortRange> ranges_of(const std::string &text) {
    std::vector<PortRange> ranges;

    for (const std::string &word : split(text, ',')) {
        const std::vector<std::string> ends = split(word, '-');

        if (const auto range = range_of(ends.front(), ends.back())) {
            ranges.push_back(*range);
        }
    }
    return ranges;
}

} // namespace

bool EphemeralPorts::may_be(unsigned port) const {
    return range.contains(port) && std::ranges::none_of(reserved, [&](const PortRange &each) {
               return each.contains(port);
           });
}

EphemeralPorts usual_ephemeral_ports() {
    return {{32768, 60999}, {}};
}

EphemeralPorts ephemeral_ports(const Files &files) {
    const std::filesystem::path settings = files.proc / "sys" / "net" / "ipv4";
    const std::filesystem::path file = settings / "ip_local_port_range";
    const std::vector<std::string> ends = fields_of(text_of(file));
    const auto range = ends.size() == 2 ? range_of(ends.front(), ends.back()) : std::nullopt;

    if (!range) {
        throw std::runtime_error(file.string() + " is not two numbers");
    }
    const std::string reserved = text_or_none(settings / "ip_local_reserved_ports").value_or("");

    return {*range, ranges_of(join(fields_of(reserved), ""))};
}

} // namespace host
