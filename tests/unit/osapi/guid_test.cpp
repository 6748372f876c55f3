// SPDX-License-Identifier: Apache-2.0
// GUIDs: unique, whatever the host lacks.
#include "osapi/osapi_guid.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/faults.h"

namespace {

using Prefix = std::tuple<NUV_UINT32, NUV_UINT32, NUV_UINT32>;

NUVOsapiRtpsGuid generate() {
    NUVOsapiRtpsGuid guid{};
    NUVOsapiRtpsGuid_generate(&guid);
    return guid;
}

Prefix prefix_of(const NUVOsapiRtpsGuid &guid) {
    return {guid.prefix.hostId, guid.prefix.appId, guid.prefix.instanceId};
}

bool has_no_zero(const NUVOsapiRtpsGuid &guid) {
    return guid.prefix.hostId != 0 && guid.prefix.appId != 0 && guid.prefix.instanceId != 0;
}

TEST(GuidTest, NamesAParticipantAndHasNoZeroField) {
    const NUVOsapiRtpsGuid guid = generate();
    EXPECT_EQ(guid.objectId, 0x000001C1u);
    EXPECT_TRUE(has_no_zero(guid));
}

TEST(GuidTest, ItsVendorOctetsAreThoseOfTheUnknownVendor) {
    EXPECT_EQ(generate().prefix.hostId >> 16, 0u);
}

TEST(GuidTest, ParticipantsOfOneProcessShareTheHostAndNothingElse) {
    const NUVOsapiRtpsGuid first = generate();
    std::set<NUV_UINT32> apps;
    std::set<NUV_UINT32> instances;
    for (int i = 0; i < 100; ++i) {
        const NUVOsapiRtpsGuid guid = generate();
        EXPECT_EQ(guid.prefix.hostId, first.prefix.hostId);
        apps.insert(guid.prefix.appId);
        instances.insert(guid.prefix.instanceId);
    }
    // Of 2^32 values two may be the same once in a blue moon; both parts at once, never.
    EXPECT_GE(apps.size(), 99u);
    EXPECT_GE(instances.size(), 99u);
}

TEST(GuidTest, ThreadsGetDifferentPrefixes) {
    constexpr std::size_t EACH = 5000;
    std::vector<std::vector<Prefix>> results(4);
    std::vector<std::thread> threads;
    for (std::vector<Prefix> &result : results) {
        threads.emplace_back([&result] {
            for (std::size_t i = 0; i < EACH; ++i) {
                result.push_back(prefix_of(generate()));
            }
        });
    }
    std::set<Prefix> all;
    for (std::size_t i = 0; i < threads.size(); ++i) {
        threads[i].join();
        all.insert(results[i].begin(), results[i].end());
    }
    EXPECT_EQ(all.size(), EACH * results.size());
}

TEST(GuidTest, PrefixesDifferAlsoWithoutRandomBits) {
    const faults::Guard guard;
    faults::fail_every_call("getrandom", EAGAIN);
    std::set<Prefix> all;
    for (int i = 0; i < 10'000; ++i) {
        const NUVOsapiRtpsGuid guid = generate();
        ASSERT_TRUE(has_no_zero(guid));
        all.insert(prefix_of(guid));
    }
    EXPECT_EQ(all.size(), 10'000u);
}

TEST(GuidTest, ForkedChildrenGetPrefixesOfTheirOwnOnTheSameHost) {
    const NUVOsapiRtpsGuid before = generate();
    std::set<Prefix> all = {prefix_of(before)};
    for (int i = 0; i < 4; ++i) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            const NUVOsapiRtpsGuid guid = generate();
            _exit(write(ends[1], &guid, sizeof guid) == sizeof guid ? 0 : 1);
        }
        NUVOsapiRtpsGuid guid{};
        ASSERT_EQ(read(ends[0], &guid, sizeof guid), static_cast<ssize_t>(sizeof guid));
        EXPECT_EQ(waitpid(child, nullptr, 0), child);
        close(ends[0]);
        close(ends[1]);
        EXPECT_EQ(guid.prefix.hostId, before.prefix.hostId);
        all.insert(prefix_of(guid));
    }
    all.insert(prefix_of(generate()));
    EXPECT_EQ(all.size(), 6u);
}

TEST(GuidTest, HostWithoutAnyIdentityIsTolerated) {
    // The identity is read once per process, so this takes a process of its own.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            faults::fail_every_call("open", ENOENT);
            faults::fail_every_call("stat", ENOENT);
            const NUVOsapiRtpsGuid first = generate();
            const NUVOsapiRtpsGuid second = generate();
            const bool good = has_no_zero(first) && has_no_zero(second) &&
                              first.prefix.hostId == second.prefix.hostId &&
                              prefix_of(first) != prefix_of(second);
            std::_Exit(good ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

class GuidIdentityTest : public testing::TestWithParam<const char *> {};

TEST_P(GuidIdentityTest, HostIdDependsOnIt) {
    if (access(GetParam(), R_OK) != 0) {
        GTEST_SKIP() << "there is no " << GetParam();
    }
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Read here only: in the other process it is to be read under the fault.
    const bool in_child = testing::internal::InDeathTestChild();
    const std::string known = in_child ? "" : std::to_string(generate().prefix.hostId);
    EXPECT_EXIT(
        {
            faults::replace("open", [](const char *path, int flags, mode_t mode) {
                return open(std::strcmp(path, GetParam()) == 0 ? "/nowhere" : path, flags, mode);
            });
            std::fprintf(stderr, "host %u.", generate().prefix.hostId);
            std::_Exit(0);
        },
        testing::ExitedWithCode(0),
        testing::AllOf(testing::HasSubstr("host "),
                       testing::Not(testing::HasSubstr("host " + known + "."))));
}

TEST(GuidTest, HostIdDependsOnTheNetworkNamespace) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const bool in_child = testing::internal::InDeathTestChild();
    const std::string known = in_child ? "" : std::to_string(generate().prefix.hostId);
    EXPECT_EXIT(
        {
            faults::replace("stat", [](const char *path, struct stat *out) {
                const int result = stat(path, out);
                out->st_ino = 1;
                return result;
            });
            std::fprintf(stderr, "host %u.", generate().prefix.hostId);
            std::_Exit(0);
        },
        testing::ExitedWithCode(0),
        testing::AllOf(testing::HasSubstr("host "),
                       testing::Not(testing::HasSubstr("host " + known + "."))));
}

INSTANTIATE_TEST_SUITE_P(Machine, GuidIdentityTest, testing::Values("/etc/machine-id"));
INSTANTIATE_TEST_SUITE_P(Boot, GuidIdentityTest,
                         testing::Values("/proc/sys/kernel/random/boot_id"));

} // namespace
