// SPDX-License-Identifier: Apache-2.0
#include "doctor/greeting.h"

#include <chrono>

#include "doctor/peers.h"
#include "doctor/two_ends.h"
#include "words.h"

namespace doctor {

Record settings_of(const PortSettings &settings) {
    const DDS_RtpsWellKnownPorts_t &ports = settings.well_known_ports;
    Record record = {"settings", std::to_string(settings.domain)};

    for (const DDS_Long each :
         {ports.port_base, ports.domain_id_gain, ports.participant_id_gain,
          ports.builtin_multicast_port_offset, ports.builtin_unicast_port_offset,
          ports.user_multicast_port_offset, ports.user_unicast_port_offset}) {
        record.push_back(std::to_string(each));
    }
    return record;
}

std::string text_of_settings(const Record &fields) {
    return fields.empty() ? "no domain"
                          : "domain " + fields.front() + " with the settings of ports " +
                                join({fields.begin() + 1, fields.end()}, " ");
}

std::vector<std::string> addresses_of_host(const std::string &host, const Wishes &wishes) {
    constexpr std::chrono::milliseconds TIME_TO_LOOK_UP(500);
    Wishes only = wishes;

    only.peers = {to_peer(host)};
    const std::vector<PeerTrial> trials = try_peers(only, TIME_TO_LOOK_UP);
    std::vector<std::string> addresses =
        trials.empty() ? std::vector<std::string>() : trials.front().addresses;

    std::erase_if(addresses, [&](const std::string &address) {
        const auto family = family_of(address);

        return !family || !wishes.has(*family);
    });
    if (addresses.empty()) {
        throw NoTalk("the host " + host + " has no address that the transports reach" +
                     (trials.empty() || trials.front().failure.empty()
                          ? ""
                          : ": " + trials.front().failure));
    }
    return addresses;
}

} // namespace doctor
