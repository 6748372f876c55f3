// SPDX-License-Identifier: Apache-2.0
// Reads the environment variables that users set.
#include "domain/environment.h"

#include <stdlib.h>
#include <string.h>

#include "dds_c/dds_c_logger.h"
#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "dds_c/dds_c_string.h"
#include "infrastructure/dds_log.h"
#include "log/log_module.h"
#include "netio/netio_transport.h"
#include "osapi/osapi_utility.h"
#include "properties/allowedInterfaces.h"
#include "properties/propertyTable.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

namespace dds::environment {

namespace {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantFactory_get_instance";

struct Verbosity {
    const char *word;
    KOLS_Config_LogVerbosity value;
};

constexpr Verbosity VERBOSITIES[] = {
    {"silent", KOLS_CONFIG_LOG_VERBOSITY_SILENT},
    {"error", KOLS_CONFIG_LOG_VERBOSITY_ERROR},
    {"warning", KOLS_CONFIG_LOG_VERBOSITY_WARNING},
    {"status", KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL},
    {"all", KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL},
};

Outcome refuse_for_want_of_memory(const char *name) {
    DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, name);
    return Outcome::REFUSED;
}

/** Replaces the peers by the one entry after the other; ends with the first that is none. */
Outcome read_peers(const char *name, char *list, DDS_StringSeq *peers) {
    int number = 0;

    for (char *rest = list; rest != nullptr;) {
        const char *const peer = strsep(&rest, ",");
        NUVNetioPeer parsed;

        ++number;
        if (NUVNetioPeer_parse(peer, &parsed) == 0) {
            char forms[NUV_NETIO_TRANSPORTS_STRING_SIZE];

            NUVNetioTransportClass_listForms(forms, sizeof(forms));
            DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                        "environment variable %s has '%.128s' as entry %d: allowed are ADDRESS, "
                        "ADDRESS:PORT, %s and host names, joined by ','",
                        name, peer, number, forms);
            return Outcome::REFUSED;
        }
        if (!DDS_StringSeq_append(peers, peer)) {
            return refuse_for_want_of_memory(name);
        }
    }
    return Outcome::USED;
}

} // namespace

Outcome use_peers(const char *name, const char *value, DDS_DomainParticipantQos *qos) {
    char *list = DDS_String_dup(value);

    if (list == nullptr || !DDS_StringSeq_set_length(&qos->discovery.initial_peers, 0)) {
        DDS_String_free(list);
        return refuse_for_want_of_memory(name);
    }
    const Outcome result = read_peers(name, list, &qos->discovery.initial_peers);

    DDS_String_free(list);
    return result;
}

Outcome use_interfaces(const char *name, const char *value, DDS_DomainParticipantQos *qos) {
    NUVNetioConfiguratorProperty checked = NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT;
    char setting[64];

    NUVOsapiUtility_snprintf(setting, sizeof(setting), "environment variable %s", name);
    if (!read_allowed_interfaces(setting, value, &checked, LOG_METHOD)) {
        return Outcome::REFUSED;
    }
    return DDS_PropertyQosPolicyHelper_assert_property(&qos->property,
                                                       name_of(Property::ALLOW_INTERFACES), value,
                                                       DDS_BOOLEAN_FALSE) == DDS_RETCODE_OK
               ? Outcome::USED
               : refuse_for_want_of_memory(name);
}

Outcome use_verbosity(const char *name, const char *value, DDS_DomainParticipantQos * /*qos*/) {
    for (const Verbosity &verbosity : VERBOSITIES) {
        if (strcmp(value, verbosity.word) == 0) {
            return NUVLog_setDefaultVerbosity(verbosity.value) != 0 ? Outcome::USED
                                                                    : Outcome::OVERRIDDEN;
        }
    }
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                "environment variable %s is '%.128s': allowed are silent, error, warning, status "
                "and all",
                name, value);
    return Outcome::REFUSED;
}

bool apply(DDS_DomainParticipantQos *qos) {
    for (const Variable &variable : VARIABLES) {
        const char *const value = secure_getenv(variable.name);

        if (value == nullptr || *value == '\0') {
            continue;
        }
        switch (variable.use(variable.name, value, qos)) {
        case Outcome::USED:
            DDSLog_text(NUV_LOG_LEVEL_LOCAL, NUV_LOG_EMPTY_TEMPLATE,
                        "environment variable %s is used: %.512s", variable.name, value);
            break;
        case Outcome::OVERRIDDEN:
            break;
        case Outcome::REFUSED:
            return false;
        }
    }
    return true;
}

} // namespace dds::environment
