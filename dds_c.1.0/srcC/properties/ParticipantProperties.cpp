// SPDX-License-Identifier: Apache-2.0
// Checks the properties of a new participant by their table.
#include "properties/ParticipantProperties.h"

#include <string.h>

#include "infrastructure/dds_log.h"
#include "properties/propertyTable.h"
#include "reda/reda_string.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

namespace {

/** The beginning of the names that the library reads. */
constexpr char PREFIX[] = "dds.";

const PropertyRow *find_known(const char *name) {
    for (const PropertyRow &row : PROPERTIES) {
        if (strcmp(row.name, name) == 0) {
            return &row;
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

bool check_value(const DDS_Property_t &property, const PropertyRow &known) {
    NUV_INT32 integer = 0;
    NUVNtpTime duration = NUV_NTP_TIME_ZERO;

    switch (known.kind) {
    case PropertyRow::Kind::BOOLEAN:
        return check_boolean(property);
    case PropertyRow::Kind::NUMBER:
        return check_number(property, known.largest);
    case PropertyRow::Kind::DURATION:
        if (!REDAString_strToNtpTime(property.value, &duration)) {
            warn(property, "a number of seconds, as 0.125, or infinite");
        }
        return true;
    case PropertyRow::Kind::INTEGER:
        if (!REDAString_strToLong(property.value, &integer)) {
            warn(property, "an integer");
        }
        return true;
    case PropertyRow::Kind::TEXT:
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

bool is_read_at_creation(const DDS_Property_t *property) {
    return strncmp(property->name, PREFIX, sizeof(PREFIX) - 1) == 0;
}

bool check_participant_properties(const DDS_PropertyQosPolicy *properties) {
    for (DDS_Long i = 0; i < DDS_PropertySeq_get_length(&properties->value); ++i) {
        const DDS_Property_t &property = *DDS_PropertySeq_get_reference(&properties->value, i);

        if (!is_read_at_creation(&property)) {
            continue;
        }
        const PropertyRow *const known = find_known(property.name);

        if (known == nullptr) {
            checking::warn_of_unknown(property);
        } else if (!checking::check_value(property, *known)) {
            return false;
        }
    }
    return true;
}
