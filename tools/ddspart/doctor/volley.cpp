// SPDX-License-Identifier: Apache-2.0
#include "doctor/volley.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <netdb.h>

#include "numbers.h"

namespace doctor {

namespace {

struct KindWord {
    Shot::Kind kind;
    const char *word;
};

constexpr std::array KIND_WORDS = {KindWord{Shot::Kind::PORT, "port"},
                                   KindWord{Shot::Kind::LARGE, "large"},
                                   KindWord{Shot::Kind::GROUP, "ttl"}};

/** The header of an RTPS message, whose prefix is the token, the kind and the value. */
constexpr std::size_t HEADER_SIZE = 20;
constexpr std::array<unsigned char, 8> HEAD = {'R', 'T', 'P', 'S', 2, 5, 0, 0};
constexpr std::size_t TOKEN_SIZE = 8;
constexpr std::size_t KIND_AT = HEAD.size() + TOKEN_SIZE;
constexpr unsigned BITS_OF_OCTET = 8;

using Octets = std::vector<unsigned char>;

Octets datagram_of(const Shot &shot, std::uint64_t token, std::size_t size) {
    // A submessage that means nothing and goes on until the end.
    constexpr std::array<unsigned char, 4> PADDING = {1, 1, 0, 0};
    Octets octets(HEAD.begin(), HEAD.end());

    for (std::size_t i = 0; i < TOKEN_SIZE; ++i) {
        octets.push_back(static_cast<unsigned char>(token >> (i * BITS_OF_OCTET)));
    }
    octets.push_back(static_cast<unsigned char>(shot.kind));
    octets.push_back(0);
    octets.push_back(static_cast<unsigned char>(shot.value >> BITS_OF_OCTET));
    octets.push_back(static_cast<unsigned char>(shot.value));
    if (size > octets.size()) {
        octets.insert(octets.end(), PADDING.begin(), PADDING.end());
        octets.resize(size);
    }
    return octets;
}

/** The shot that a datagram is, which may have been cut; none if it is of no such volley. */
std::optional<Shot> shot_of(const Octets &octets, std::uint64_t token) {
    if (octets.size() < HEADER_SIZE || octets[KIND_AT] >= KIND_WORDS.size()) {
        return std::nullopt;
    }
    const Shot shot = {static_cast<Shot::Kind>(octets[KIND_AT]),
                       (static_cast<unsigned>(octets[KIND_AT + 2]) << BITS_OF_OCTET) |
                           octets[KIND_AT + 3]};

    return std::ranges::equal(datagram_of(shot, token, HEADER_SIZE),
                              Octets(octets.begin(), octets.begin() + HEADER_SIZE))
               ? std::optional(shot)
               : std::nullopt;
}

/** As many octets as fill a packet of Ethernet; and more than one packet takes. */
std::array<unsigned, 2> large_sizes(Family family) {
    constexpr unsigned PACKET = 1472;
    constexpr unsigned LONGER_HEADER = 20;
    constexpr unsigned SEVERAL_PACKETS = 4000;

    return {family == Family::IPV4 ? PACKET : PACKET - LONGER_HEADER, SEVERAL_PACKETS};
}

/** Those of participants, and greater ones. */
std::set<int> times_to_live(int own) {
    std::set<int> all = {own};

    for (const int greater : {2, 4, 8, 16, 32}) {
        if (greater > own) {
            all.insert(greater);
        }
    }
    return all;
}

void fire_at_groups(const VolleyPlan &plan, Volley &volley) {
    const Socket sender(plan.family);

    for (const int ttl : times_to_live(plan.wishes.multicast_ttl)) {
        const Shot shot = {Shot::Kind::GROUP, static_cast<unsigned>(ttl)};
        const Octets octets = datagram_of(shot, plan.token, HEADER_SIZE);

        (void)(plan.family == Family::IPV4 ? sender.set(IPPROTO_IP, IP_MULTICAST_TTL, ttl)
                                           : sender.set(IPPROTO_IPV6, IPV6_MULTICAST_HOPS, ttl));
        for (const Group &group : plan.wishes.groups) {
            if (group.family != plan.family) {
                continue;
            }
            for (const Interface &interface :
                 multicast_interfaces(plan.interfaces, plan.wishes, plan.family)) {
                const bool is_sent = send(sender, octets, {plan.family, group.address, group.port},
                                          plan.family, interface.index);

                // An interface without a way to the group may be well; a rule against it is not.
                if (is_sent || errno == EPERM) {
                    volley.shots.insert(shot);
                }
            }
        }
    }
}

} // namespace

std::vector<std::string> to_record(const Shot &shot) {
    return {KIND_WORDS.at(static_cast<std::size_t>(shot.kind)).word, std::to_string(shot.value)};
}

std::optional<Shot> to_shot(const std::vector<std::string> &record) {
    if (record.size() != 2) {
        return std::nullopt;
    }
    const auto kind = std::ranges::find(KIND_WORDS, record[0], &KindWord::word);
    const auto value = to_number<std::uint16_t>(record[1]);

    return kind != KIND_WORDS.end() && value ? std::optional(Shot{kind->kind, *value})
                                             : std::nullopt;
}

Ear::Ear(const VolleyPlan &plan, const std::set<unsigned> &ports) : plan_(plan) {
    const int on = 1;

    for (const unsigned port : ports) {
        Socket socket(plan.family);
        const SocketName own(plan.family, plan.family == Family::IPV4 ? "0.0.0.0" : "::", port);

        (void)receive_own_groups(socket, plan.family);
        if (bind(socket.get(), own.get(), own.length()) == 0) {
            places_.push_back({std::move(socket), false});
            ports_.insert(port);
        }
    }
    for (const Group &group : plan.wishes.groups) {
        Socket socket(plan.family);
        const SocketName own(plan.family, group.address, group.port);
        bool is_joined = false;

        if (group.family != plan.family || !group.is_received) {
            continue;
        }
        (void)receive_own_groups(socket, plan.family);
        (void)socket.set(SOL_SOCKET, SO_REUSEADDR, on);
        if (bind(socket.get(), own.get(), own.length()) != 0) {
            continue;
        }
        for (const Interface &interface :
             multicast_interfaces(plan.interfaces, plan.wishes, plan.family)) {
            is_joined =
                join_group(socket, plan.family, group.address, interface.index) || is_joined;
        }
        if (is_joined) {
            places_.push_back({std::move(socket), true});
            has_group_ = true;
        }
    }
}

void Ear::listen() {
    for (const Place &place : places_) {
        take(place);
    }
}

void Ear::take(const Place &place) {
    constexpr int MOST = 256; // others may send there as well
    sockaddr_storage from = {};

    for (int i = 0; i < MOST; ++i) {
        Octets octets(HEADER_SIZE);
        socklen_t length = sizeof from;
        const ssize_t size = recvfrom(place.socket.get(), octets.data(), octets.size(), MSG_TRUNC,
                                      reinterpret_cast<sockaddr *>(&from), &length);

        if (size < 0) {
            return;
        }
        const auto shot = static_cast<std::size_t>(size) < HEADER_SIZE
                              ? std::nullopt
                              : shot_of(octets, plan_.token);

        if (shot && (shot->kind == Shot::Kind::GROUP) == place.is_group) {
            shots_.insert(*shot);
            if (shot->kind == Shot::Kind::PORT) {
                source_ = text_of(from);
            }
        }
    }
}

Volley fire(const VolleyPlan &plan, const std::string &address, const std::set<unsigned> &ports) {
    const Socket sender(plan.family);
    Volley volley;
    const auto fire_at = [&](unsigned port, const Shot &shot, std::size_t size) {
        // Whether the network loses it or this host refuses to send it: it does not arrive.
        (void)send(sender, datagram_of(shot, plan.token, size), {plan.family, address, port},
                   plan.family, 0);
        volley.shots.insert(shot);
    };

    for (const unsigned port : ports) {
        fire_at(port, {Shot::Kind::PORT, port}, HEADER_SIZE);
    }
    if (!ports.empty()) {
        for (const unsigned size : large_sizes(plan.family)) {
            fire_at(*ports.begin(), {Shot::Kind::LARGE, size}, size);
        }
    }
    const std::string source = source_towards(plan.family, address);

    if (!source.empty()) {
        volley.source = plan.family == Family::IPV4 ? source : "[" + source + "]";
        volley.source += ":" + std::to_string(port_of(sender));
    }
    fire_at_groups(plan, volley);
    return volley;
}

std::string text_of(const sockaddr_storage &name, std::string *address, unsigned *port) {
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> service{};

    (void)getnameinfo(reinterpret_cast<const sockaddr *>(&name), sizeof name, host.data(),
                      host.size(), service.data(), service.size(),
                      NI_NUMERICHOST | NI_NUMERICSERV | NI_DGRAM);
    if (address != nullptr) {
        *address = host.data();
    }
    if (port != nullptr) {
        *port = to_number<unsigned>(service.data()).value_or(0);
    }
    return (name.ss_family == AF_INET6 ? "[" + std::string(host.data()) + "]" : host.data()) +
           std::string(":") + service.data();
}

std::string source_towards(Family family, const std::string &address) {
    constexpr unsigned ANY_PORT = 9; // nothing is sent there
    const Socket socket(family);
    const SocketName name(family, address, ANY_PORT);
    sockaddr_storage own = {};
    socklen_t length = sizeof own;
    std::string text;

    if (connect(socket.get(), name.get(), name.length()) == 0 &&
        getsockname(socket.get(), reinterpret_cast<sockaddr *>(&own), &length) == 0) {
        (void)text_of(own, &text);
    }
    return text;
}

} // namespace doctor
