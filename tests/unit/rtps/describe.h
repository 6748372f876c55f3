// SPDX-License-Identifier: Apache-2.0
// Records as texts, which are equal when every field is.
#pragma once

#include <string>

#include "rtps/rtps_inlineQos.h"
#include "rtps/rtps_participantData.h"
#include "rtps/rtps_submessage.h"

std::string describe(const RTPSHeader &header);
std::string describe(const NUVNetioLocator &locator);
std::string describe(const RTPSLocators &locators);
std::string describe(const RTPSSequenceNumberSet &set);
std::string describe(const RTPSFragmentNumberSet &set);
std::string describe(const RTPSAckNack &record);
std::string describe(const RTPSNackFrag &record);
std::string describe(const RTPSHeartbeat &record);
std::string describe(const RTPSHeartbeatFrag &record);
std::string describe(const RTPSGap &record);
std::string describe(const RTPSInfoTimestamp &record);
std::string describe(const RTPSInfoSource &record);
std::string describe(const RTPSInfoDestination &record);
std::string describe(const RTPSInfoReply &record);
std::string describe(const RTPSInfoReplyIp4 &record);
std::string describe(const RTPSData &record);
std::string describe(const RTPSDataFrag &record);
std::string describe(const RTPSHeaderExtension &record);
std::string describe(const RTPSInlineQos &record);
std::string describe(const RTPSParticipantData &record);
