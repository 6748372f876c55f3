// SPDX-License-Identifier: Apache-2.0
#include "support/describe.h"

#include <cstdio>

namespace support {

std::string quote(const char *text) {
    return text == nullptr ? "null" : '"' + std::string(text) + '"';
}

std::string hex(unsigned long value) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%lX", value);
    return text;
}

std::string describe(const NUVNtpTime &time) {
    return '{' + std::to_string(time.sec) + ", " + hex(time.frac) + '}';
}

std::string describe(const DDS_Duration_t &duration) {
    return '{' + std::to_string(duration.sec) + ", " + std::to_string(duration.nanosec) + '}';
}

std::string describe(const DDS_ProductVersion_t &version) {
    return '{' + std::to_string(version.major) + '.' + std::to_string(version.minor) + '.' +
           std::to_string(version.release) + '.' + std::to_string(version.revision) + '}';
}

std::string describe(const NUVOsapiRtpsGuid &guid) {
    return '{' + hex(guid.prefix.hostId) + ", " + hex(guid.prefix.appId) + ", " +
           hex(guid.prefix.instanceId) + ", " + hex(guid.objectId) + '}';
}

std::string describe(const NUVNetioLocator &locator) {
    char text[NUV_NETIO_LOCATOR_STRING_SIZE];
    if (locator.transport == KOLS_TRANSPORT_CLASSID_INVALID ||
        NUVNetioLocator_toString(&locator, text, sizeof text) < 0) {
        return "{invalid}";
    }
    return text;
}

std::string describe(const NUVNetioAliasList &list) {
    return quote(list.aliases);
}

std::string describe(const NUVNetioLocatorInfo &info) {
    return '{' + describe(info.locator) + ", " + std::to_string(info.transport_priority) + ", " +
           describe(info.aliasList) + '}';
}

namespace {

template <typename Policy>
std::string describeList(const Policy &list) {
    std::string text = "{";
    for (int i = 0; i < list.count; ++i) {
        text += (i == 0 ? "" : ", ") + describe(list.locatorList[i]);
    }
    return text + '}';
}

} // namespace

std::string describe(const PRESLocatorQosPolicy &list) {
    return describeList(list);
}

std::string describe(const PRESReducedLocatorQosPolicy &list) {
    return describeList(list);
}

std::string describe(const PRESSequenceTransportInfo &sequence) {
    return '{' + std::to_string(sequence._maximum) + ", " + std::to_string(sequence._length) +
           (sequence._buffer == nullptr ? ", null}" : ", buffer}");
}

std::string describe(const REDAWeakReference &reference) {
    if (reference._manager == nullptr && reference._index == REDA_WEAK_REFERENCE_INVALID_INDEX &&
        reference._referentEpochAtCreation == 0) {
        return "{invalid}";
    }
    return std::string("{") + (reference._manager == nullptr ? "null" : "manager") + ", " +
           std::to_string(reference._index) + ", " +
           std::to_string(reference._referentEpochAtCreation) + '}';
}

} // namespace support
