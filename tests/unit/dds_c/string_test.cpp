// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstring>

#include "dds_c/dds_c_string.h"
#include "messages.h"

namespace {

using StringTest = MessageTest;
using faults::fail_each_allocation;

TEST_F(StringTest, AllocatedStringIsEmptyAndHasRoom) {
    char *text = DDS_String_alloc(3);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "");
    std::memcpy(text, "abc", 4);
    DDS_String_free(text);
}

TEST_F(StringTest, TooLongAStringIsNotAllocated) {
    EXPECT_EQ(DDS_String_alloc(SIZE_MAX), nullptr);
    EXPECT_EQ(DDS_String_alloc(SIZE_MAX - 1), nullptr);
}

TEST_F(StringTest, DuplicateIsAnotherStringOfTheSameText) {
    const char *text = "domain";
    char *duplicate = DDS_String_dup(text);
    EXPECT_NE(duplicate, text);
    EXPECT_STREQ(duplicate, text);
    DDS_String_free(duplicate);
    char *empty = DDS_String_dup("");
    EXPECT_STREQ(empty, "");
    DDS_String_free(empty);
}

TEST_F(StringTest, DuplicateHasTheTagOfStrings) {
    char *text = DDS_String_dup("domain");
    NUVOsapiHeap_freeString(text);
}

TEST_F(StringTest, NullIsDuplicatedAndFreedAsNull) {
    EXPECT_EQ(DDS_String_dup(nullptr), nullptr);
    DDS_String_free(nullptr);
    EXPECT_TRUE(messages_.empty());
}

TEST_F(StringTest, DuplicatingFailsWithoutMemory) {
    EXPECT_EQ(fail_each_allocation([] {
                  char *text = DDS_String_dup("domain");
                  const bool is_done = text != nullptr;
                  DDS_String_free(text);
                  return is_done;
              }),
              1);
}

TEST_F(StringTest, ReplacingFreesTheFormerText) {
    char *text = nullptr;
    EXPECT_EQ(DDS_String_replace(&text, "a"), DDS_BOOLEAN_TRUE);
    EXPECT_STREQ(text, "a");
    EXPECT_EQ(DDS_String_replace(&text, "longer"), DDS_BOOLEAN_TRUE);
    EXPECT_STREQ(text, "longer");
    EXPECT_EQ(DDS_String_replace(&text, text), DDS_BOOLEAN_TRUE);
    EXPECT_STREQ(text, "longer");
    EXPECT_EQ(DDS_String_replace(&text, text + 4), DDS_BOOLEAN_TRUE);
    EXPECT_STREQ(text, "er");
    EXPECT_EQ(DDS_String_replace(&text, nullptr), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(DDS_String_replace(nullptr, "a"), DDS_BOOLEAN_FALSE);
    expect_precondition("\"self == ((void *)0)\"");
}

TEST_F(StringTest, ReplacingKeepsTheTextWithoutMemory) {
    char *text = DDS_String_dup("kept");
    faults::fail_allocation(1);
    EXPECT_EQ(DDS_String_replace(&text, "other"), DDS_BOOLEAN_FALSE);
    faults::stop();
    EXPECT_STREQ(text, "kept");
    DDS_String_free(text);
}

} // namespace
