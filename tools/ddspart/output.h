// SPDX-License-Identifier: Apache-2.0
// What goes to stdout: text for people, or one JSON object per line.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "dds_c/dds_c_domainparticipantqos.h"
#include "doctor/checks.h"
#include "held_ports.h"
#include "port_check.h"
#include "ports.h"
#include "sighting.h"
#include "streams.h"
#include "why/reasons.h"

/** A participant in its domain. */
struct Presence {
    DDS_DomainId_t domain;
    DDS_Long index; // -1 as long as it has no address and so no index either
    std::string guid;
    std::vector<Port> ports;
    std::vector<std::string> metatraffic_unicast_locators;
    std::vector<std::string> metatraffic_multicast_locators;
    std::vector<std::string> default_unicast_locators;
    std::vector<std::string> default_multicast_locators;

    bool operator==(const Presence &) const = default;
};

/** It has joined. */
struct Joined {
    const Presence &presence;
};

/** The QoS that it has. */
struct QosShown {
    DDS_DomainId_t domain;
    DDS_Long index;
    const DDS_DomainParticipantQos *qos;
};

/** Its index or locators are others now, because the network has changed. */
struct Changed {
    const Presence &presence;
};

/** What its discovery has done. */
struct Discovered {
    DDS_DomainId_t domain;
    DDS_Long index;
    DDS_DiscoveryStatistics statistics;
};

/** It has left. */
struct Left {
    DDS_DomainId_t domain;
    DDS_Long index;
    std::string reason; // what ended its stay
};

/** The participants of some domains. */
struct Listing {
    std::vector<Sighting> others;
    WallTime now;
};

/** Who holds ports of participants. */
struct HeldListing {
    const std::vector<HeldPorts> &all;
    bool shows_all_processes; // else a holder may be one that the caller may not know of
};

/** What has become of ports: CAME, CHANGED or GONE. */
struct HeldChange {
    Encounter::Change change;
    const HeldPorts &held; // as they are now, or were last
    bool shows_all_processes;
};

namespace doctor {

/** Another host may ask from now on. */
struct Serving {
    DDS_DomainId_t domain;
    const std::string &host;
    unsigned port;
    std::chrono::nanoseconds duration;
};

} // namespace doctor

/** Each returns its lines, with line ends. */
std::string as_text(const Joined &joined);
std::string as_text(const QosShown &shown);
std::string as_text(const Changed &changed);
std::string as_text(const Encounter &encounter);
std::string as_text(const Discovered &discovered);
std::string as_text(const Left &left);
std::string as_text(const Listing &listing);
std::string as_text(const HeldListing &listing);
std::string as_text(const HeldChange &change);
std::string as_text(const PortTable &table);
std::string as_text(const PortCheck &check);
std::string as_text(const doctor::Diagnosis &diagnosis);
std::string as_text(const doctor::Serving &serving);
std::string as_text(const why::Verdict &verdict);
std::string as_json(const Joined &joined);
std::string as_json(const QosShown &shown);
std::string as_json(const Changed &changed);
std::string as_json(const Encounter &encounter);
std::string as_json(const Discovered &discovered);
std::string as_json(const Left &left);
std::string as_json(const Listing &listing);
std::string as_json(const HeldListing &listing);
std::string as_json(const HeldChange &change);
std::string as_json(const PortTable &table);
std::string as_json(const PortCheck &check);
std::string as_json(const doctor::Diagnosis &diagnosis);
std::string as_json(const doctor::Serving &serving);
std::string as_json(const why::Verdict &verdict);

/** The lines, those that are longer than @p columns broken between words and indented. */
std::string wrapped(const std::string &lines, std::size_t columns);

template <class Event>
void show(const Event &event, bool json) {
    write_data(json ? as_json(event) : as_text(event));
}
