// SPDX-License-Identifier: Apache-2.0
// What is known of another participant.
#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "dds_c/dds_c_builtin.h"
#include "dds_c/dds_c_rtpswellknownports.h"

/** The property under which a participant says of which tool it is. */
constexpr const char *TOOL_PROPERTY = "ddspart.tool";

/** What a participant says of itself. Texts are as it sends them. */
struct Description {
    DDS_DomainId_t domain = 0;
    std::string guid;
    std::optional<std::string> name;
    std::string vendor;                           // two numbers, as "1.3"
    std::string protocol;                         // the same
    std::optional<std::string> host;              // of its property __Hostname
    std::optional<std::string> process;           // of its property __ProcessName
    std::optional<DDS_LongLong> pid;              // of its property __Pid
    std::optional<std::string> tool;              // of its property TOOL_PROPERTY
    std::vector<std::string> addresses;           // of its unicast locators, each once
    std::optional<DDS_Long> builtin_unicast_port; // none where its locators have several
    std::optional<DDS_Long> user_unicast_port;
    std::optional<DDS_Long> index;                 // that has these ports, if one has
    std::optional<std::chrono::nanoseconds> lease; // none: infinite
    std::optional<std::string> domain_tag;
    std::vector<std::string> metatraffic_unicast_locators;
    std::vector<std::string> metatraffic_multicast_locators;
    std::vector<std::string> default_unicast_locators;
    std::vector<std::string> default_multicast_locators;
    std::vector<std::pair<std::string, std::string>> properties;

    bool operator==(const Description &) const = default;
};

using WallTime = std::chrono::sys_time<std::chrono::nanoseconds>;

struct Sighting : Description {
    std::optional<WallTime> first_heard; // none once it is gone
    std::optional<WallTime> last_heard;
    bool has_addressed = false; // it has said something to the tool's participant alone
};

/** @param ports those of its domain. */
Sighting sighting_of(const DDS_ParticipantBuiltinTopicData &data,
                     const DDS_RtpsWellKnownPorts_t &ports);

/**
 * Whether these are all the addresses that it announces, and not none. One alone may be of another
 * host as well, as those of bridges for containers are.
 */
bool is_at(const Description &other, const std::set<std::string> &addresses);

/** What has become of a participant. */
struct Encounter {
    enum class Change { CAME, CHANGED, LEFT, LOST, GONE }; // GONE: left or lost
    Change change;
    Sighting other; // as it is now, or was last
};

/** As "01020304.05060708.090a0b0c.000001c1": the three words of the prefix, and the entity. */
std::string to_text(const DDS_GUID_t &guid);

/** As "udpv4://192.0.2.2:7410"; what is no locator of UDP is left out. */
std::vector<std::string> to_texts(const DDS_LocatorSeq &locators);
