// SPDX-License-Identifier: Apache-2.0
// What the command line asks for.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "dds_c/dds_c_logger.h"
#include "dds_c/dds_c_qospolicy.h"

struct PortSettings {
    DDS_DomainId_t domain = 0;
    DDS_RtpsWellKnownPorts_t well_known_ports = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;
};

/** What a participant is to be like. */
struct ParticipantOptions : PortSettings {
    DDS_Long index = DDS_PARTICIPANT_ID_AUTO;
    DDS_RtpsReservedPortKindMask reserved_ports = DDS_RTPS_RESERVED_PORT_MASK_DEFAULT;
    DDS_TransportBuiltinKindMask transports = DDS_TRANSPORTBUILTIN_MASK_DEFAULT;
    std::vector<std::string> interfaces;          // none: all
    std::vector<std::string> peers;               // none: the usual ones
    std::vector<std::string> further_peers;       // beside these
    std::vector<std::string> multicast_addresses; // none: the usual one
    bool multicast = true;
    bool is_announced = true; // else it listens only
    std::vector<std::pair<std::string, std::string>> properties;
    std::vector<std::pair<std::string, std::string>> announced_properties;
    std::optional<std::string> name;
    std::string user_data;
    std::optional<std::string> tool; // as what it makes itself known to others; none: as usual
};

/** ddspart run */
struct RunOptions : ParticipantOptions {
    bool show_qos = false;
    std::optional<std::chrono::nanoseconds> duration; // none: until a signal
    KOLS_Config_LogVerbosity verbosity = KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL;
    bool json = false;
};

struct Domains {
    DDS_DomainId_t first = 0;
    DDS_DomainId_t last = 0;
    bool are_all = false;

    bool contain(DDS_DomainId_t domain) const {
        return are_all || (domain >= first && domain <= last);
    }
};

/** ddspart list */
struct ListOptions {
    Domains domains;
    DDS_RtpsWellKnownPorts_t well_known_ports = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;
    DDS_TransportBuiltinKindMask transports = DDS_TRANSPORTBUILTIN_MASK_DEFAULT;
    std::vector<std::string> interfaces;              // none: all
    std::vector<std::string> peers;                   // none: the usual ones
    std::optional<std::chrono::nanoseconds> duration; // none: as long as it usually takes
    bool watch = false;
    bool listen_only = false;
    bool join = false;
    std::optional<std::size_t> expected; // none: whoever is there
    KOLS_Config_LogVerbosity verbosity = KOLS_CONFIG_LOG_VERBOSITY_ERROR;
    bool json = false;

    /** Whether nothing is sent and no participant index taken. */
    bool listens_only() const {
        return listen_only || (domains.are_all && !join);
    }
};

/** ddspart who */
struct WhoOptions {
    std::optional<Domains> domains; // none: those in which anybody is, or a stranger may not be
    DDS_RtpsWellKnownPorts_t well_known_ports = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;
    DDS_TransportBuiltinKindMask transports = DDS_TRANSPORTBUILTIN_MASK_DEFAULT;
    bool all_networks = false;
    std::optional<std::chrono::nanoseconds> duration; // of listening; none: a moment
    bool watch = false;
    KOLS_Config_LogVerbosity verbosity = KOLS_CONFIG_LOG_VERBOSITY_ERROR;
    bool json = false;
};

/** ddspart ports */
struct PortsOptions : PortSettings {
    struct Range {
        DDS_Long first;
        DDS_Long last;
    };
    std::optional<DDS_DomainId_t> last_domain; // none: the one domain
    std::optional<Range> indices; // none: the first ten, as far as they are usable, or to check all
    bool check = false;
    bool nft = false;
    bool json = false;

    /** The settings of each of the domains. */
    std::vector<PortSettings> each_domain() const {
        std::vector<PortSettings> all;

        for (DDS_DomainId_t each = domain; each < last_domain.value_or(domain); ++each) {
            all.push_back({each, well_known_ports});
        }
        all.push_back({last_domain.value_or(domain), well_known_ports});
        return all;
    }
};

/** ddspart doctor */
struct DoctorOptions : ParticipantOptions {
    std::optional<std::chrono::nanoseconds> duration; // none: as long as it usually takes
    std::string with;                                 // the host to look at as well; empty: none
    std::string serve;                                // the host to answer; empty: none
    unsigned control_port = 7399;                     // see --control-port
    bool json = false;
};

/** ddspart why */
struct WhyOptions : ParticipantOptions {
    std::string first;                                // process id, GUID, name or address
    std::optional<std::string> second;                // the same; none: a participant as this
    std::optional<std::chrono::nanoseconds> duration; // none: as long as it usually takes
    bool json = false;
};

/** There is nothing to do: help or the version was asked for, or the command line is wrong. */
struct Answer {
    int exit_code; // 0 or 2
    std::string text;
};

using Command = std::variant<RunOptions, ListOptions, WhoOptions, PortsOptions, DoctorOptions,
                             WhyOptions, Answer>;

Command parse_command_line(int argc, const char *const *argv);
