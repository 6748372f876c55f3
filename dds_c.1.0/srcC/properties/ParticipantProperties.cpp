// The properties that a participant reads: which there are, and whether their values are good.
#include "properties/ParticipantProperties.h"

#include <string.h>

#include "domain/domain_internal.h"
#include "infrastructure/dds_log.h"
#include "reda/reda_string.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

namespace {

/** The beginning of the names that the library reads. */
constexpr char PREFIX[] = "dds.";

enum class Kind {
    BOOLEAN,
    NUMBER, /**< from 0 to the largest one */
    DURATION,
    INTEGER,
    CHECKED_ELSEWHERE, /**< by whoever reads it, with a message of its own */
};

struct KnownProperty {
    const char *name;
    Kind kind;
    NUV_UINT32 largest = 0;
};

constexpr KnownProperty KNOWN_PROPERTIES[] = {
    {PROPERTY_ALLOW_INTERFACES, Kind::CHECKED_ELSEWHERE},
    {"dds.domain_participant.max_announced_locator_list_size", Kind::NUMBER,
     DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX},
    {"dds.domain_participant.asynchronous_publisher_thread_destruction_timeout", Kind::NUMBER, 60},
    {"dds.participant.use_45d_compatible_alignment_enforcement", Kind::BOOLEAN},
    {"dds.participant.discovery_config.log_discovery_mismatch", Kind::BOOLEAN},
    {"dds.participant.directed_write_serialization_kind", Kind::NUMBER, 2},
    {"dds.participant.logging.time_based_logging.send.timeout", Kind::DURATION},
    {"dds.participant.logging.time_based_logging.ea.timeout", Kind::DURATION},
    {"dds.participant.logging.time_based_logging.ea.tracked_level", Kind::INTEGER},
    {"dds.participant.logging.time_based_logging.process_received_message.timeout", Kind::DURATION},
    {"dds.participant.logging.time_based_logging.process_received_message.tracked_ports",
     Kind::CHECKED_ELSEWHERE},
    {"dds.participant.logging.time_based_logging.authentication.timeout", Kind::DURATION},
};

const KnownProperty *find_known(const char *name) {
    for (const KnownProperty &known : KNOWN_PROPERTIES) {
        if (strcmp(known.name, name) == 0) {
            return &known;
        }
    }
    return nullptr;
}

namespace checking {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantFactory_create_participant";

bool check_boolean(const DDS_Property_t &property) {
    int boolean = 0;

    if (REDAString_strToBoolean(property.value, &boolean)) {
        return true;
    }
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE,
                "property %s has the value %.128s but can only be a boolean (0, 1, false, true, "
                "no, yes, off, on)",
                property.name, property.value);
    return false;
}

bool check_number(const DDS_Property_t &property, NUV_UINT32 largest) {
    NUV_UINT32 number = 0;

    if (REDAString_strToUnsignedLong(property.value, &number) && number <= largest) {
        return true;
    }
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE,
                "property %s has the value %.128s but can only be a number from 0 to %u",
                property.name, property.value, largest);
    return false;
}

void warn(const DDS_Property_t &property, const char *allowed) {
    DDSLog_text(NUV_LOG_LEVEL_WARNING, NUV_LOG_INCONSISTENT_QOS_TEMPLATE,
                "property %s has the value %.128s, which is passed over: allowed is %s",
                property.name, property.value, allowed);
}

bool check_value(const DDS_Property_t &property, const KnownProperty &known) {
    NUV_INT32 integer = 0;
    NUVNtpTime duration = NUV_NTP_TIME_ZERO;

    switch (known.kind) {
    case Kind::BOOLEAN:
        return check_boolean(property);
    case Kind::NUMBER:
        return check_number(property, known.largest);
    case Kind::DURATION:
        if (!REDAString_strToNtpTime(property.value, &duration)) {
            warn(property, "a number of seconds, as 0.125, or infinite");
        }
        return true;
    case Kind::INTEGER:
        if (!REDAString_strToLong(property.value, &integer)) {
            warn(property, "an integer");
        }
        return true;
    case Kind::CHECKED_ELSEWHERE:
        return true;
    }
    return true;
}

void warn_of_unknown(const DDS_Property_t &property) {
    DDSLog_text(NUV_LOG_LEVEL_WARNING, NUV_LOG_INCONSISTENT_QOS_TEMPLATE,
                "property %.128s is passed over: nobody knows a property of this name",
                property.name);
}

} // namespace checking

} // namespace

bool is_read_at_creation(const struct DDS_Property_t *property) {
    return strncmp(property->name, PREFIX, sizeof(PREFIX) - 1) == 0;
}

bool check_participant_properties(const struct DDS_PropertyQosPolicy *properties) {
    for (DDS_Long i = 0; i < DDS_PropertySeq_get_length(&properties->value); ++i) {
        const DDS_Property_t &property = *DDS_PropertySeq_get_reference(&properties->value, i);

        if (!is_read_at_creation(&property)) {
            continue;
        }
        const KnownProperty *const known = find_known(property.name);

        if (known == nullptr) {
            checking::warn_of_unknown(property);
        } else if (!checking::check_value(property, *known)) {
            return false;
        }
    }
    return true;
}
