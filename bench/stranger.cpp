// SPDX-License-Identifier: Apache-2.0
#include "stranger.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/socket.h>

#include "rtps/rtps_participantData.h"
#include "rtps/rtps_submessage.h"

namespace bench {
namespace {

constexpr const char *GROUP = "239.255.0.1";
constexpr int PORT_BASE = 7400;
constexpr int DOMAIN_ID_GAIN = 250;
constexpr std::size_t ROOM = 1024;

[[noreturn]] void fail(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_in ipv4(const char *address, int port) {
    sockaddr_in out = {};

    out.sin_family = AF_INET;
    out.sin_port = htons(static_cast<std::uint16_t>(port));
    (void)inet_pton(AF_INET, address, &out.sin_addr);
    return out;
}

File open_sender() {
    File socket = open_socket();
    const sockaddr_in here = ipv4("127.0.0.1", 0);
    const ip_mreqn loopback = {{}, here.sin_addr, static_cast<int>(if_nametoindex("lo"))};

    if (!try_bind(socket, here) ||
        setsockopt(socket.get(), IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof(loopback)) != 0) {
        fail("a socket at loopback");
    }
    return socket;
}

NUVOsapiRtpsGuidPrefix prefix_of(unsigned number) {
    return {0xBE9C0001u, number, 1};
}

void add_locator(RTPSLocators &list, const char *address, int port) {
    const std::string text = std::string(address) + ":" + std::to_string(port);
    NUVNetioPeer peer;

    if (NUVNetioPeer_parse(text.c_str(), &peer) == 0) {
        throw std::logic_error("no locator: " + text);
    }
    peer.locator.port = peer.port;
    RTPSLocators_add(&list, &peer.locator, nullptr);
}

/** Its parameters, with their encapsulation header; each participant has places of its own. */
std::vector<std::uint8_t> parameters_of(int domain, unsigned number) {
    constexpr unsigned PORTS = 20'000;
    const std::string address = "127.1.0." + std::to_string(1 + number / PORTS);
    const int port = static_cast<int>(10'000 + 2 * (number % PORTS));
    std::array<NUV_UINT8, 64> properties = {};
    RTPSPropertyWriter writer;
    RTPSParticipantData data = {};

    RTPSPropertyWriter_initialize(&writer, properties.data(), properties.size(),
                                  RTPS_LITTLE_ENDIAN);
    for (const auto &[name, value] : {std::pair{"__Pid", "12345"}, {"__Hostname", "stranger"}}) {
        const RTPSProperty property = {{name, static_cast<NUV_UINT32>(std::strlen(name))},
                                       {value, static_cast<NUV_UINT32>(std::strlen(value))}};

        RTPSPropertyWriter_add(&writer, &property);
    }
    (void)RTPSPropertyWriter_finish(&writer, &data.properties);
    data.protocolVersion = RTPS_PROTOCOL_VERSION;
    data.guid = {prefix_of(number), RTPS_ENTITYID_PARTICIPANT};
    data.leaseDuration = {1000, 0};
    data.availableBuiltinEndpoints =
        RTPS_BUILTIN_PARTICIPANT_ANNOUNCER | RTPS_BUILTIN_PARTICIPANT_DETECTOR;
    data.hasDomainId = 1;
    data.domainId = static_cast<NUV_UINT32>(domain);
    add_locator(data.metatrafficUnicast, address.c_str(), port);
    add_locator(data.defaultUnicast, address.c_str(), port + 1);
    add_locator(data.metatrafficMulticast, GROUP, PORT_BASE + DOMAIN_ID_GAIN * domain);
    std::vector<std::uint8_t> octets(ROOM);

    octets.resize(
        RTPSParticipantData_write(&data, RTPS_LITTLE_ENDIAN, octets.data(), octets.size()));
    return octets;
}

} // namespace

Stranger::Stranger(int domain)
    : domain_(domain), group_(ipv4(GROUP, PORT_BASE + DOMAIN_ID_GAIN * domain)),
      socket_(open_sender()) {}

std::size_t Stranger::data_size(unsigned number) const {
    return parameters_of(domain_, number).size();
}

std::vector<std::uint8_t> Stranger::announcement(unsigned number) const {
    const std::vector<std::uint8_t> parameters = parameters_of(domain_, number);
    const RTPSHeader header = {RTPS_PROTOCOL_VERSION, RTPS_VENDOR_ID_UNKNOWN, prefix_of(number)};
    const RTPSInfoTimestamp time = {{1'700'000'000, 0}};
    std::vector<std::uint8_t> octets(ROOM);
    RTPSMessageWriter writer;
    RTPSData data = {};

    data.payloadKind = RTPS_PAYLOAD_DATA;
    data.readerId = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_DETECTOR;
    data.writerId = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER;
    data.writerSN = 1;
    data.payload = {parameters.data(), parameters.size()};
    if (RTPSMessageWriter_initialize(&writer, octets.data(), octets.size(), RTPS_LITTLE_ENDIAN,
                                     &header) == 0 ||
        RTPSMessageWriter_addInfoTimestamp(&writer, &time) == 0 ||
        RTPSMessageWriter_addData(&writer, &data) == 0) {
        throw std::logic_error("no room for an announcement");
    }
    octets.resize(writer.length);
    return octets;
}

void Stranger::say(const std::vector<std::uint8_t> &message) const {
    if (sendto(socket_.get(), message.data(), message.size(), 0,
               reinterpret_cast<const sockaddr *>(&group_), sizeof(group_)) < 0) {
        fail("sendto");
    }
}

} // namespace bench
