// SPDX-License-Identifier: Apache-2.0
// Basic types: durations, return codes, status kinds, versions.
#include "infrastructure/Common_internal.h"

#include "infrastructure/basic_values.h"
#include "infrastructure/dds_log.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_INFRASTRUCTURE;

using dds::value::to_boolean;

namespace {

constexpr DDS_UnsignedLong NANOSECONDS_PER_SECOND = 1000000000;

/** Of a valid duration; INT64_MAX of an infinite one. */
DDS_LongLong nanoseconds_of(const DDS_Duration_t &duration) {
    return DDS_Duration_is_infinite(&duration)
               ? INT64_MAX
               : static_cast<DDS_LongLong>(duration.sec) * NANOSECONDS_PER_SECOND +
                     duration.nanosec;
}

} // namespace

const char *DDS_ReturnCode_to_string(DDS_ReturnCode_t code) {
    switch (code) {
    case DDS_RETCODE_OK:
        return "DDS_RETCODE_OK";
    case DDS_RETCODE_ERROR:
        return "DDS_RETCODE_ERROR";
    case DDS_RETCODE_UNSUPPORTED:
        return "DDS_RETCODE_UNSUPPORTED";
    case DDS_RETCODE_BAD_PARAMETER:
        return "DDS_RETCODE_BAD_PARAMETER";
    case DDS_RETCODE_PRECONDITION_NOT_MET:
        return "DDS_RETCODE_PRECONDITION_NOT_MET";
    case DDS_RETCODE_OUT_OF_RESOURCES:
        return "DDS_RETCODE_OUT_OF_RESOURCES";
    case DDS_RETCODE_NOT_ENABLED:
        return "DDS_RETCODE_NOT_ENABLED";
    case DDS_RETCODE_IMMUTABLE_POLICY:
        return "DDS_RETCODE_IMMUTABLE_POLICY";
    case DDS_RETCODE_INCONSISTENT_POLICY:
        return "DDS_RETCODE_INCONSISTENT_POLICY";
    case DDS_RETCODE_ALREADY_DELETED:
        return "DDS_RETCODE_ALREADY_DELETED";
    case DDS_RETCODE_TIMEOUT:
        return "DDS_RETCODE_TIMEOUT";
    case DDS_RETCODE_NO_DATA:
        return "DDS_RETCODE_NO_DATA";
    case DDS_RETCODE_ILLEGAL_OPERATION:
        return "DDS_RETCODE_ILLEGAL_OPERATION";
    case DDS_RETCODE_NOT_ALLOWED_BY_SECURITY:
        return "DDS_RETCODE_NOT_ALLOWED_BY_SECURITY";
    }
    return "DDS_RETCODE_UNKNOWN";
}

DDS_ReturnCode_t DDS_ReturnCode_from_presentation_return_codeI(int failReason) {
    switch (failReason) {
    case PRES_RETCODE_OK:
        return DDS_RETCODE_OK;
    case PRES_RETCODE_UNSUPPORTED:
        return DDS_RETCODE_UNSUPPORTED;
    case PRES_RETCODE_BAD_PARAMETER:
        return DDS_RETCODE_BAD_PARAMETER;
    case PRES_RETCODE_PRECONDITION_NOT_MET:
        return DDS_RETCODE_PRECONDITION_NOT_MET;
    case PRES_RETCODE_OUT_OF_RESOURCES:
        return DDS_RETCODE_OUT_OF_RESOURCES;
    case PRES_RETCODE_NOT_ENABLED:
        return DDS_RETCODE_NOT_ENABLED;
    case PRES_RETCODE_IMMUTABLE_POLICY:
        return DDS_RETCODE_IMMUTABLE_POLICY;
    case PRES_RETCODE_INCONSISTENT_POLICY:
        return DDS_RETCODE_INCONSISTENT_POLICY;
    case PRES_RETCODE_ALREADY_DELETED:
        return DDS_RETCODE_ALREADY_DELETED;
    case PRES_RETCODE_TIMEOUT:
        return DDS_RETCODE_TIMEOUT;
    case PRES_RETCODE_NOT_ALLOWED_BY_SECURITY:
        return DDS_RETCODE_NOT_ALLOWED_BY_SECURITY;
    default:
        return DDS_RETCODE_ERROR;
    }
}

DDS_Boolean DDS_Duration_is_infinite(const DDS_Duration_t *self) {
    return to_boolean(!DDSLog_isNull(self) && (self->sec == DDS_DURATION_INFINITE_SEC ||
                                               self->nanosec == DDS_DURATION_INFINITE_NSEC ||
                                               self->nanosec == 0xFFFFFFFFu));
}

DDS_Boolean DDS_Duration_is_valid(const DDS_Duration_t *self) {
    return to_boolean(!DDSLog_isNull(self) &&
                      (DDS_Duration_is_infinite(self) ||
                       (self->sec >= 0 && self->nanosec < NANOSECONDS_PER_SECOND)));
}

DDS_Boolean DDS_Duration_is_quarterI(const DDS_Duration_t *self, const DDS_Duration_t *whole) {
    return to_boolean(nanoseconds_of(*self) <= nanoseconds_of(*whole) / 4);
}

DDS_Boolean DDS_Duration_is_shorterI(const DDS_Duration_t *self, const DDS_Duration_t *other) {
    return to_boolean(nanoseconds_of(*self) < nanoseconds_of(*other));
}

void DDS_Duration_to_ntp_time(const DDS_Duration_t *self, NUVNtpTime *out) {
    if (DDSLog_isNull(self) || DDSLog_isNull(out)) {
        return;
    }
    if (DDS_Duration_is_infinite(self)) {
        *out = NUV_NTP_TIME_INFINITE;
        return;
    }
    const DDS_LongLong seconds =
        static_cast<DDS_LongLong>(self->sec) + self->nanosec / NANOSECONDS_PER_SECOND;
    const DDS_UnsignedLongLong nanoseconds = self->nanosec % NANOSECONDS_PER_SECOND;
    if (seconds >= DDS_DURATION_INFINITE_SEC) {
        *out = NUV_NTP_TIME_INFINITE;
        return;
    }
    out->sec = static_cast<NUV_INT32>(seconds);
    out->frac = static_cast<NUV_UINT32>(((nanoseconds << 32) + NANOSECONDS_PER_SECOND / 2) /
                                        NANOSECONDS_PER_SECOND);
}

void DDS_Duration_from_ntp_time(DDS_Duration_t *self, const NUVNtpTime *time) {
    if (DDSLog_isNull(self) || DDSLog_isNull(time)) {
        return;
    }
    const DDS_UnsignedLongLong nanoseconds =
        (static_cast<DDS_UnsignedLongLong>(time->frac) * NANOSECONDS_PER_SECOND + 0x80000000u) >>
        32;
    const DDS_LongLong seconds =
        time->sec + static_cast<DDS_LongLong>(nanoseconds / NANOSECONDS_PER_SECOND);
    if (seconds >= DDS_DURATION_INFINITE_SEC) {
        *self = DDS_DURATION_INFINITE;
        return;
    }
    self->sec = static_cast<DDS_Long>(seconds);
    self->nanosec = static_cast<DDS_UnsignedLong>(nanoseconds % NANOSECONDS_PER_SECOND);
}

PRESStatusKindMask DDS_StatusMask_get_presentation_maskI(DDS_StatusMask mask) {
    return (mask & DDS_INCONSISTENT_TOPIC_STATUS) != 0 ? PRES_STATUS_KIND_INCONSISTENT_TOPIC : 0u;
}

void DDS_ProductVersion_get_nuvdds_version(DDS_ProductVersion_t *out) {
    if (!DDSLog_isNull(out)) {
        *out = {NUVDDS_VERSION, 0};
    }
}

DDS_ReturnCode_t DDS_ProductVersion_to_presentation_qos_policy(const DDS_ProductVersion_t *self,
                                                               PRESProductVersion *out) {
    if (DDSLog_isNull(self) || DDSLog_isNull(out)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    *out = {self->major, self->minor, self->release, self->revision};
    return DDS_RETCODE_OK;
}
