// SPDX-License-Identifier: Apache-2.0
/**
 * @file environment.h
 * @brief What users set without recompiling: environment variables.
 *
 * They change defaults only: a program that sets the same itself has its own way. None is read in a
 * program that runs with more rights than its caller has (set-user-id), and one that is empty
 * counts as not set. Each that is used is told in the log.
 */
#ifndef DOMAIN_ENVIRONMENT_H
#define DOMAIN_ENVIRONMENT_H

#include "dds_c/dds_c_domainparticipantqos.h"
#include "osapi/osapi_type.h"

namespace dds::environment {

/** What became of a value. */
enum class Outcome : NUV_UINT8 {
    USED,
    OVERRIDDEN, /**< the program has set the same itself */
    REFUSED,    /**< it cannot be read, or memory ran out; an error says so */
};

struct Variable {
    const char *name;
    const char *values;  /**< for README.md: which are allowed */
    const char *meaning; /**< for README.md */
    /** Takes over a value. */
    Outcome (*use)(const char *name, const char *value, DDS_DomainParticipantQos *qos);
};

Outcome use_peers(const char *name, const char *value, DDS_DomainParticipantQos *qos);
Outcome use_interfaces(const char *name, const char *value, DDS_DomainParticipantQos *qos);
Outcome use_verbosity(const char *name, const char *value, DDS_DomainParticipantQos *qos);

/** All that the library reads, in the order in which it does. */
inline constexpr Variable VARIABLES[] = {
    {"NUVDDS_VERBOSITY", "`silent`, `error`, `warning`, `status` or `all`", "what the log shows",
     use_verbosity},
    {"NUVDDS_PEERS", "as for `--peer`, joined by `,`", "initial peers", use_peers},
    {"NUVDDS_INTERFACES", "names or addresses joined by `,`", "interfaces that may be used",
     use_interfaces},
};

/**
 * Takes over what is set into the default QoS of participants and the verbosity of the log. False,
 * after one error that names the variable, when a value cannot be read or memory runs out.
 */
bool apply(DDS_DomainParticipantQos *qos);

} // namespace dds::environment

#endif
