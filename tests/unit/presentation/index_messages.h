// SPDX-License-Identifier: Apache-2.0
// What the search for a participant index says.
#pragma once

#include <string>

#include "names.h"
#include "support/log_capture.h"

inline const support::Message NEXT_PORT = {.level = NUV_LOG_LEVEL_WARNING,
                                           .function = RESERVE_INDEX,
                                           .name = "NUV_LOG_EMPTY_TEMPLATE",
                                           .text = "Trying next port..."};
inline const support::Message NO_INDEX = {
    .level = NUV_LOG_LEVEL_ERROR,
    .function = RESERVE_INDEX,
    .name = "NUV_LOG_FAILED_TO_ENABLE_TEMPLATE",
    .body = "No index available for participant",
    .text = "failed to enable: No index available for participant"};
inline const support::Message NO_MULTICAST_LOCATORS = {
    .level = NUV_LOG_LEVEL_WARNING,
    .function = RESERVE_INDEX,
    .name = "DDS_LOG_MULTICAST_TRANSPORT_LOCATORS",
    .text = "cannot compute the multicast locators"};
inline const support::Message NO_UNICAST_LOCATORS = {.level = NUV_LOG_LEVEL_WARNING,
                                                     .function = RESERVE_INDEX,
                                                     .name = "DDS_LOG_UNICAST_TRANSPORT_LOCATORS",
                                                     .text = "cannot compute the unicast locators"};

inline support::Message reservedMessage(int index, int domain = 0) {
    const std::string body = "Reserved participant index " + std::to_string(index) + " on domain " +
                             std::to_string(domain);
    return {.level = NUV_LOG_LEVEL_LOCAL,
            .function = RESERVE_INDEX,
            .name = "NUV_LOG_ENABLE_TEMPLATE",
            .body = body,
            .text = "enable: " + body};
}
