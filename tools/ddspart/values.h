// SPDX-License-Identifier: Apache-2.0
// The values of the options, from their text. A text that is not allowed is a Refusal.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "options.h"
#include "refusal.h"

DDS_DomainId_t to_domain(const std::string &text);
Domains to_domains(const std::string &text);
/** The same, and any single domain, of which the library may judge. */
Domains to_domains_of_ports(const std::string &text);
DDS_Long to_port_setting(const std::string &text);
/** Of UDP. */
unsigned to_port(const std::string &text);
/** A name or an address, without a port. */
std::string to_host(const std::string &text);
DDS_Long to_index(const std::string &text);
PortsOptions::Range to_index_range(const std::string &text);
std::size_t to_number_of_participants(const std::string &text);
std::chrono::nanoseconds to_duration(const std::string &text);
std::pair<std::string, std::string> to_property(const std::string &text);
DDS_RtpsReservedPortKindMask to_reserved_ports(const std::string &text);
DDS_TransportBuiltinKindMask to_transports(const std::string &text);
KOLS_Config_LogVerbosity to_verbosity(const std::string &text);

/** The words for the bits of a mask; bits without a word as one number, "0x40" for one. */
std::vector<std::string> words_of_reserved_ports(DDS_RtpsReservedPortKindMask mask);
std::vector<std::string> words_of_transports(DDS_TransportBuiltinKindMask mask);
std::vector<std::string> words_of_discovery_plugins(DDS_DiscoveryConfigBuiltinPluginKindMask mask);

/** The words for those of the values that have words. */
std::vector<std::string> port_kind_words();
std::vector<std::string> transport_words();
std::vector<std::string> verbosity_words();
