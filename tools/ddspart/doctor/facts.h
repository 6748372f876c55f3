// SPDX-License-Identifier: Apache-2.0
// What the host is like, for whoever looks for what keeps participants apart.
#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <sys/types.h>

#include "doctor/wishes.h"
#include "held_ports.h"
#include "host/clocks.h"
#include "host/ephemeral_ports.h"
#include "host/files.h"
#include "port_map.h"
#include "sighting.h"

namespace doctor {

/** An address of an interface that participants can use: link-local ones of IPv6 are none. */
struct Address {
    Family family;
    std::string text;
    unsigned prefix_length;
    /** The interface by which the kernel answers neighbours in its subnet; empty: not known. */
    std::string answering_interface = {};
};

/** The last index at which a participant is looked for by peers that are told no port, usually. */
constexpr DDS_Long HIGHEST_PEER_INDEX = 4;

enum class ReversePath { OFF, STRICT, LOOSE }; // as the kernel numbers them

struct Interface {
    std::string name;
    unsigned index = 0;
    bool is_up = false;
    bool is_running = false; // has a carrier
    bool is_loopback = false;
    bool is_multicast = false;
    /** A tunnel, or a bridge that no cable leads to: it is there for guests, or on top of others.
     */
    bool is_auxiliary = false;
    std::string master;          // the bridge (or the like) that it is a port of
    bool has_link_local = false; // an address of IPv6 that is no use
    bool ipv6_is_off = false;
    ReversePath reverse_path = ReversePath::OFF;
    std::vector<Address> addresses;

    bool has(Family family) const;
    /** Whether what it carries is its master's business, which has the address. */
    bool is_port() const;
    /** Whether a participant can use it for a family, if it may. */
    bool is_usable(Family family) const;
};

/** A datagram that the host has sent to itself. */
struct Probe {
    enum class Road {
        GROUP,      // to a group, by way of an interface
        OWN_ADDRESS // to an address of the interface
    };
    enum class Outcome {
        RETURNED,
        HELD,      // the port is somebody's: it was left alone
        NOT_BOUND, // and so on: the step that failed, with `error`
        NOT_JOINED,
        NOT_SENT,
        LOST
    };

    Family family;
    std::string interface;
    bool is_loopback; // the interface
    Road road;
    std::string destination; // an address
    unsigned port;           // 0: one that has nothing to do with participants
    Outcome outcome = Outcome::RETURNED;
    int error = 0;

    /** Whether something on the way has dropped it, said or unsaid. */
    bool is_dropped() const;
};

/** What became of the search for a peer. */
struct PeerTrial {
    Peer peer;
    std::string failure;                // why the name has no address; empty: none is known
    std::vector<std::string> addresses; // of the families asked for; one if it is an address
    int route_error = 0;                // of the way to the first of them
    bool is_unanswered = false;         // no name server could be asked: the name may be right
    /** Of a name, when it was looked up again at the end; none: it was not, or had none then. */
    std::vector<std::string> later_addresses = {};
};

/** A rule of the firewall that drops or rejects. */
struct FirewallRule {
    std::string chain; // "chain input of table inet filter"
    std::string text;  // as the firewall lists it
};

/** A network of the host in which somebody has ports of the domain. */
struct PopulatedNetwork {
    std::string name; // as host::label_of()
    bool is_own = false;
    std::set<std::string> addresses;
};

/** What a participant of the tool's own has heard in the domain. */
struct Heard {
    std::vector<Sighting> others;
    std::vector<Sighting> returned; // each once: they had been lost, and announced themselves anew
    DDS_DiscoveryStatistics statistics = {};
    bool is_announced = false; // to the peers, which answer then
    std::chrono::duration<double> duration{};
};

/** What a datagram of a trial is about. */
struct Shot {
    enum class Kind : std::uint8_t {
        PORT,  // for this port
        LARGE, // of so many octets, for the first port
        GROUP  // for the group, with this time to live
    };
    Kind kind;
    unsigned value;

    auto operator<=>(const Shot &) const = default;
};

/** What one of two hosts that are looked at tells of itself. */
struct End {
    /** A participant that is on the host. */
    struct Resident {
        std::string guid;
        std::string name;
        std::vector<std::string> locators; // for discovery by unicast

        bool operator==(const Resident &) const = default;
    };
    std::set<std::string> addresses;    // of its networks that have participants, its own first
    std::set<unsigned> discovery_ports; // of its participants
    std::vector<Resident> residents;    // as far as they were heard there
    std::set<std::string> heard;        // the GUIDs of all participants that were heard there
    std::set<DDS_DomainId_t> domains;   // in which it has participants
    bool is_tagged = false;             // what it has heard of these has a domain tag
    bool needs_multicast = false;       // no peers on other hosts are named there
    bool is_whole = true;               // else it has heard too many to tell of all

    bool operator==(const End &) const = default;
};

/** What became of what one end has sent to the other. */
struct Direction {
    std::set<unsigned> ports; // those that the receiving end had free
    bool has_group = false;   // and whether it received a group
    std::set<Shot> sent;      // or refused by a rule of the sender
    std::set<Shot> arrived;
    std::string source;      // of what was sent, as the sender knows it
    std::string seen_source; // the same as it arrived; empty: nothing did
};

/** What two hosts have found out with each other. */
struct Ends {
    std::string name; // of the other one, as it was given
    End here;
    End there;
    Direction out;
    Direction in;
    std::set<std::string> asked_here;  // locators at which this end has announced itself there
    std::set<std::string> asked_there; // and the other one here
};

struct Facts {
    std::vector<Interface> interfaces;
    std::set<unsigned> ports; // of the domain: for groups, and of the first indices
    std::vector<Probe> probes;
    std::vector<PeerTrial> peers;
    std::optional<PortMap> port_map;        // none: the settings give too many uses to each port
    std::vector<HeldPorts> held;            // of the domain, by others; see compare()
    std::set<pid_t> stopped;                // the processes among their holders that are
    std::vector<PopulatedNetwork> networks; // the caller's own in any case
    std::optional<DDS_Long> highest_index;  // that an automatic choice may come to
    std::optional<host::EphemeralPorts> ephemeral;
    std::optional<std::size_t> descriptor_limit; // of files that a program may have open
    std::vector<FirewallRule> rules;             // those that drop one of the domain's ports
    std::optional<host::Clocks> clocks_before;   // all else was looked at; none: they are not known
    std::optional<host::Clocks> clocks_after;
    std::optional<Heard> heard; // none: nobody has listened
    std::optional<Ends> ends;   // none: no other host was to be looked at
    /** What could not be looked at, and why: "firewall rules: only root may read them". */
    std::vector<std::string> unseen;
};

/** The interfaces of the caller's network. Throws std::system_error. */
std::vector<Interface> list_interfaces(const host::Files &files = {});

/** Asks the kernel which interface it answers the neighbours of each IPv4 address by. */
void find_answering_interfaces(std::vector<Interface> &interfaces);

/** Whether an address, in whatever way it is written, is one of the interface. */
bool has_address(const Interface &interface, const std::string &address);

/** Whether an entry of the setting is the name of the interface, or an address of it. */
bool is_named(const Interface &interface, const std::string &entry);

/** Whether the participant may use the interface. Loopback is the last resort of all of them. */
bool is_allowed(const Interface &interface, const Wishes &wishes);

/** The interfaces that a group of a family is sent and received by, in the library's way. */
std::vector<Interface> multicast_interfaces(const std::vector<Interface> &interfaces,
                                            const Wishes &wishes, Family family);

/** The unicast ports of each of the first participant indices, as far as they are valid. */
std::vector<std::vector<unsigned>> unicast_ports(const Wishes &wishes);

/** All that the host tells, and what has to be tried. Takes two seconds at most. */
Facts gather(const Wishes &wishes);

/**
 * Leaves of the datagrams that were lost those that were lost between two looks, and takes what the
 * second one knows of who has the ports.
 */
void compare(std::vector<HeldPorts> &held, const std::vector<HeldPorts> &later);

/** The second look, at the end of the diagnosis; @p heard are all that have spoken meanwhile. */
void look_again(Facts &facts, const Wishes &wishes, const std::vector<Sighting> &heard);

} // namespace doctor
