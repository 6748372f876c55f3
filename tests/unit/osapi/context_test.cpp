// SPDX-License-Identifier: Apache-2.0
// The activity context.
#include "osapi/osapi_context.h"

#include <gtest/gtest.h>

namespace {

TEST(ContextTest, DefaultHasNoCategory) {
    const NUVOsapiActivityContext context = NUV_OSAPI_ACTIVITY_CONTEXT_DEFAULT;
    EXPECT_EQ(context.category, 0u);
}

TEST(ContextTest, AddTakesAwayThenAddsAndRemembersTheFormer) {
    NUVOsapiActivityContext context = {0b0110u};
    NUVLogCategoryMask cached = 0;
    NUVOsapiContext_addAndCacheCategory(&context, &cached, 0b0010u, 0b1001u);
    EXPECT_EQ(cached, 0b0110u);
    EXPECT_EQ(context.category, 0b1101u);
}

TEST(ContextTest, WhatIsBothDroppedAndAddedStays) {
    NUVOsapiActivityContext context = {0b01u};
    NUVLogCategoryMask cached = 0;
    NUVOsapiContext_addAndCacheCategory(&context, &cached, 0b11u, 0b10u);
    EXPECT_EQ(context.category, 0b10u);
}

TEST(ContextTest, SetKeepsOnlyWhatItIsToldTo) {
    NUVOsapiActivityContext context = {0b0111u};
    NUVOsapiContext_setCategory(&context, 0b0001u, 0b1000u);
    EXPECT_EQ(context.category, 0b1001u);
    NUVOsapiContext_setCategory(&context, 0u, 0b0100u);
    EXPECT_EQ(context.category, 0b0100u);
}

TEST(ContextTest, SetBackToTheCachedRestores) {
    NUVOsapiActivityContext context = {0b0110u};
    NUVLogCategoryMask cached = 0;
    NUVOsapiContext_addAndCacheCategory(&context, &cached, 0u, NUV_LOG_CATEGORY_ENABLE);
    EXPECT_EQ(context.category, 0b0111u);
    NUVOsapiContext_setCategory(&context, 0u, cached);
    EXPECT_EQ(context.category, 0b0110u);
}

TEST(ContextTest, NullContextIsAccepted) {
    NUVLogCategoryMask cached = 5;
    NUVOsapiContext_addAndCacheCategory(nullptr, &cached, 1u, 1u);
    EXPECT_EQ(cached, 0u);
    NUVOsapiContext_setCategory(nullptr, 0u, 1u);
}

} // namespace
