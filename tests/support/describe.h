// SPDX-License-Identifier: Apache-2.0
/**
 * @file describe.h
 * @brief Plain records of the lower layers as short text.
 */
#pragma once

#include <string>

#include "commend/commend_facade.h"
#include "dds_c/dds_c_common.h"
#include "dds_c/dds_c_productversion.h"
#include "pres/pres_participant.h"

namespace support {

std::string quote(const char *text);
std::string hex(unsigned long value);

std::string describe(const NUVNtpTime &time);
std::string describe(const DDS_Duration_t &duration);
std::string describe(const DDS_ProductVersion_t &version);
std::string describe(const NUVOsapiRtpsGuid &guid);
std::string describe(const NUVNetioLocator &locator);
std::string describe(const NUVNetioAliasList &list);
std::string describe(const NUVNetioLocatorInfo &info);
std::string describe(const PRESLocatorQosPolicy &list);
std::string describe(const PRESReducedLocatorQosPolicy &list);
std::string describe(const PRESSequenceTransportInfo &sequence);
std::string describe(const REDAWeakReference &reference);

template <typename T>
concept Describable = requires(const T &value) {
    describe(value);
};

} // namespace support
