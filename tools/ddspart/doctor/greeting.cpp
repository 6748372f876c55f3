// SPDX-License-Identifier: Apache-2.0
#include "doctor/greeting.h"

#include <array>
#include <chrono>

#include <arpa/inet.h>

#include "doctor/peers.h"
#include "doctor/two_ends.h"
#include "words.h"

namespace doctor {

namespace {

/** An address in the way in which that of a datagram is written. */
std::string usual_text(const std::string &address, Family family) {
    const int number = family == Family::IPV4 ? AF_INET : AF_INET6;
    in6_addr octets = {}; // has room for either
    std::array<char, INET6_ADDRSTRLEN> text{};

    (void)inet_pton(number, address.c_str(), &octets);
    (void)inet_ntop(number, &octets, text.data(), text.size());
    return text.data();
}

} // namespace

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
    std::vector<std::string> addresses;

    for (const std::string &address :
         trials.empty() ? std::vector<std::string>() : trials.front().addresses) {
        if (const auto family = family_of(address); family && wishes.has(*family)) {
            addresses.push_back(usual_text(address, *family));
        }
    }
    if (addresses.empty()) {
        throw NoTalk("the host " + host + " has no address that the transports reach" +
                     (trials.empty() || trials.front().failure.empty()
                          ? ""
                          : ": " + trials.front().failure));
    }
    return addresses;
}

} // namespace doctor
