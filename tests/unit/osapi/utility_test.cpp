// SPDX-License-Identifier: Apache-2.0
// Bounded strings.
#include "osapi/osapi_utility.h"

#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

TEST(UtilityStrcpyTest, CopiesWhatFits) {
    char buffer[6] = "zzzzz";
    EXPECT_EQ(NUVOsapiUtility_strcpy(buffer, 5, "abc"), buffer);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(NUVOsapiUtility_strcpy(buffer, 5, "abcde"), buffer);
    EXPECT_STREQ(buffer, "abcde");
    EXPECT_EQ(NUVOsapiUtility_strcpy(buffer, 5, ""), buffer);
    EXPECT_STREQ(buffer, "");
}

TEST(UtilityStrcpyTest, RefusesWhatIsLongerAndLeavesTheDestination) {
    char buffer[6] = "same";
    EXPECT_EQ(NUVOsapiUtility_strcpy(buffer, 5, "abcdef"), nullptr);
    EXPECT_EQ(NUVOsapiUtility_strcpy(buffer, 0, "a"), nullptr);
    EXPECT_STREQ(buffer, "same");
}

TEST(UtilityStrcpyTest, NoRoomIsEnoughForTheEmptyString) {
    char buffer[1] = {'x'};
    EXPECT_EQ(NUVOsapiUtility_strcpy(buffer, 0, ""), buffer);
    EXPECT_EQ(buffer[0], '\0');
}

TEST(UtilityStrcpyTest, ReadsNoFurtherThanItMust) {
    const std::string exact(6, 'a'); // its terminator would be the 7th character
    char source[6];
    std::memcpy(source, exact.data(), sizeof source); // not terminated
    char buffer[6] = "same";
    EXPECT_EQ(NUVOsapiUtility_strcpy(buffer, 5, source), nullptr);
    EXPECT_STREQ(buffer, "same");
}

TEST(UtilityStrcpyTest, UnboundedLengthCopiesTheWholeString) {
    char buffer[6] = "";
    EXPECT_EQ(NUVOsapiUtility_strcpy(buffer, SIZE_MAX, "abc"), buffer);
    EXPECT_STREQ(buffer, "abc");
}

TEST(UtilityStrcpyTest, RefusesNull) {
    char buffer[6] = "same";
    EXPECT_EQ(NUVOsapiUtility_strcpy(nullptr, 5, "abc"), nullptr);
    EXPECT_EQ(NUVOsapiUtility_strcpy(buffer, 5, nullptr), nullptr);
    EXPECT_STREQ(buffer, "same");
}

TEST(UtilityStrncatTest, AppendsWhatFits) {
    char buffer[7] = "ab";
    EXPECT_EQ(NUVOsapiUtility_strncat(buffer, 6, "cd", 10), buffer);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(NUVOsapiUtility_strncat(buffer, 6, "efgh", 2), buffer);
    EXPECT_STREQ(buffer, "abcdef");
    EXPECT_EQ(NUVOsapiUtility_strncat(buffer, 6, "", 10), buffer);
    EXPECT_EQ(NUVOsapiUtility_strncat(buffer, 6, "xyz", 0), buffer);
    EXPECT_STREQ(buffer, "abcdef");
}

TEST(UtilityStrncatTest, RefusesWhatDoesNotFitAndLeavesTheDestination) {
    char buffer[7] = "abcd";
    EXPECT_EQ(NUVOsapiUtility_strncat(buffer, 6, "efg", 3), nullptr);
    EXPECT_EQ(NUVOsapiUtility_strncat(buffer, 6, "efg", SIZE_MAX), nullptr);
    EXPECT_STREQ(buffer, "abcd");
}

TEST(UtilityStrncatTest, ReadsOnlyCountCharactersOfTheSource) {
    const char source[2] = {'e', 'f'}; // not terminated
    char buffer[7] = "abcd";
    EXPECT_EQ(NUVOsapiUtility_strncat(buffer, 6, source, 2), buffer);
    EXPECT_STREQ(buffer, "abcdef");
}

TEST(UtilityStrncatTest, RefusesADestinationThatIsAlreadyTooLong) {
    char buffer[7] = "abcdef";
    EXPECT_EQ(NUVOsapiUtility_strncat(buffer, 3, "", 0), nullptr);
    EXPECT_STREQ(buffer, "abcdef");
}

TEST(UtilityStrncatTest, RefusesNull) {
    char buffer[7] = "same";
    EXPECT_EQ(NUVOsapiUtility_strncat(nullptr, 6, "a", 1), nullptr);
    EXPECT_EQ(NUVOsapiUtility_strncat(buffer, 6, nullptr, 1), nullptr);
    EXPECT_STREQ(buffer, "same");
}

TEST(UtilitySnprintfTest, AnswersTheLengthOfTheWholeTextAndTerminates) {
    // Through pointers, so that the compiler does not see that the text is cut.
    int (*const print)(char *, size_t, const char *, ...) = NUVOsapiUtility_snprintf;
    char buffer[6];
    EXPECT_EQ(print(buffer, sizeof buffer, "%d-%s", 12, "a"), 4);
    EXPECT_STREQ(buffer, "12-a");
    EXPECT_EQ(print(buffer, sizeof buffer, "%s", "abcdefgh"), 8);
    EXPECT_STREQ(buffer, "abcde");
    EXPECT_EQ(print(nullptr, 0, "%s", "abcdefgh"), 8);
}

} // namespace
