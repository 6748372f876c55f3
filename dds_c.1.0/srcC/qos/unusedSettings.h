// SPDX-License-Identifier: Apache-2.0
/**
 * @file unusedSettings.h
 * @brief The settings that are accepted and kept, and that nothing acts on in this version.
 */
#ifndef QOS_UNUSED_SETTINGS_H
#define QOS_UNUSED_SETTINGS_H

#include "properties/propertyTable.h"
#include "qos/walk.h"

namespace dds::qos {

/** How many there are in the tables. */
constexpr std::size_t count_unused_settings() {
    std::size_t count = 0;
    every_row_within<DDS_DomainParticipantQos>([&](const auto &row) {
        count += row.use.effect == Effect::NONE ? 1 : 0;
        return true;
    });
    for (const PropertyRow &row : PROPERTIES) {
        count += row.place != 0 ? 1 : 0;
    }
    return count;
}

/** Room for all their names, joined. */
constexpr std::size_t unused_settings_size() {
    std::size_t longest = path_size<DDS_DomainParticipantQos>();
    for (const PropertyRow &row : PROPERTIES) {
        longest = std::max(longest, std::string_view(row.name).size());
    }
    return count_unused_settings() * (longest + sizeof ", ");
}

/** The names of those that a QoS gives, joined by ", ", in the order of their places. */
class UnusedSettings {
public:
    explicit UnusedSettings(const DDS_DomainParticipantQos &qos);

    /** "" when there are none. */
    const char *names() const {
        return text_;
    }

private:
    void append(std::string_view name);

    char text_[unused_settings_size()] = {};
    std::size_t length_ = 0;
};

} // namespace dds::qos

#endif
