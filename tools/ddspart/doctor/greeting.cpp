// SPDX-License-Identifier: Apache-2.0
#include "doctor/greeting.h"

#include <array>
#include <chrono>

#include <arpa/inet.h>
#include <netinet/in.h>

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

/** Whether it is an address of one link, with the interface of that or without. */
bool is_link_local(const std::string &address) {
    in6_addr octets = {};

    return inet_pton(AF_INET6, address.substr(0, address.find('%')).c_str(), &octets) == 1 &&
           IN6_IS_ADDR_LINKLOCAL(&octets);
}

/** Why a host has no address, as ": Name or service not known"; empty: nobody knows. */
std::string reason_for(const std::string &link_local, const std::vector<PeerTrial> &trials) {
    if (!link_local.empty()) {
        return ": " + link_local +
               " is link-local, and participants announce no such address; "
               "allowed are a name and addresses such as 192.0.2.2 and fd00::2";
    }
    return trials.empty() || trials.front().failure.empty() ? "" : ": " + trials.front().failure;
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
    std::string link_local = is_link_local(host) ? host : "";
    std::vector<std::string> addresses;

    for (const std::string &address :
         trials.empty() ? std::vector<std::string>() : trials.front().addresses) {
        if (is_link_local(address)) {
            link_local = address;
        } else if (const auto family = family_of(address); family && wishes.has(*family)) {
            addresses.push_back(usual_text(address, *family));
        }
    }
    if (addresses.empty()) {
        throw NoTalk("the host " + host + " has no address that the transports reach" +
                     reason_for(link_local, trials));
    }
    return addresses;
}

} // namespace doctor
