// SPDX-License-Identifier: Apache-2.0
// What the tool asks of a participant, and makes of the answers.
#include "participant.h"

#include <gtest/gtest.h>

namespace {

TEST(GuidText, IsFourWordsOfLowerCaseDigits) {
    const DDS_GUID_t guid = {{0x00, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, //
                              0xEF, 0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x01, 0xC1}};

    EXPECT_EQ(to_text(guid), "00012345.6789abcd.effedcba.987601c1");
}

} // namespace
