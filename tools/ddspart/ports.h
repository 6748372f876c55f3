// SPDX-License-Identifier: Apache-2.0
// The ports that a participant has by its domain and index.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "options.h"

/** One of a participant's four ports. */
struct Port {
    std::string_view kind;
    DDS_LongLong number; // as the settings give it

    bool operator==(const Port &) const = default;

    bool is_valid() const {
        return number >= DDS_RTPS_PORT_MIN && number <= DDS_RTPS_PORT_MAX;
    }
};

/** Without an index, which is one below 0, there are only the multicast ports. */
std::vector<Port> ports_of(const PortSettings &settings, DDS_Long index);

/** What ddspart ports shows. */
struct PortTable {
    DDS_DomainId_t domain;
    std::optional<DDS_Long> highest_usable_index;
    struct Row {
        DDS_Long index;
        std::vector<Port> ports;
    };
    std::vector<Row> rows;
};

/**
 * The highest index with valid unicast ports that an automatic choice may come to in the domain.
 * Throws when the settings give none in any domain; the log then says why.
 */
std::optional<DDS_Long> highest_usable_index(const PortSettings &settings);

/** Of the indices asked for, else of the first ten as far as they are usable. */
PortTable port_table(const PortSettings &settings, const std::optional<PortsOptions::Range> &asked);
