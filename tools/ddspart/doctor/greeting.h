// SPDX-License-Identifier: Apache-2.0
// What two ends must agree in before they look at anything.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "doctor/message.h"
#include "doctor/wishes.h"

namespace doctor {

/** The token of the volleys of the end that answers, by that of the one that asks. */
constexpr std::uint64_t way_back(std::uint64_t token) {
    return ~token;
}

/** The domain and the settings of ports, as a record. */
Record settings_of(const PortSettings &settings);

/** The fields of such a record without its name, in words. */
std::string text_of_settings(const Record &fields);

/** The addresses of a host, of the families of the transports; throws NoTalk when there are none.
 */
std::vector<std::string> addresses_of_host(const std::string &host, const Wishes &wishes);

} // namespace doctor
