// SPDX-License-Identifier: Apache-2.0
// What an update without news asks of the kernel.
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <unistd.h>

#include "following_network.h"

using following::Child;
using following::IS_INSTRUMENTED;
using testing::HasSubstr;

namespace {

// No such files are open: to close them does nothing, but is in the trace.
constexpr int FIRST_MARK = 1000001;
constexpr int LAST_MARK = 1000002;
constexpr int UPDATES = 100;

/** Whether all threads of this process are traced. */
bool is_traced() {
    for (const auto &thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(thread.path() / "status");
        std::string word;
        long tracer = 0;

        while (status >> word && word != "TracerPid:") {}
        if (!(status >> tracer) || tracer == 0) {
            return false;
        }
    }
    return true;
}

/** The process that is traced: what it returns is its exit code. */
int update_without_news() {
    DDS_DomainParticipantFactory *const factory = DDS_DomainParticipantFactory_get_instance();
    DDS_DomainParticipant *const participant = DDS_DomainParticipantFactory_create_participant(
        factory, 0, DDS_PARTICIPANT_QOS_DEFAULT, nullptr, DDS_STATUS_MASK_NONE);

    if (participant == nullptr ||
        DDS_DomainParticipant_update_locators(participant) != DDS_RETCODE_OK ||
        !eventually(is_traced)) {
        return 1;
    }
    (void)close(FIRST_MARK);
    for (int i = 0; i < UPDATES; ++i) {
        if (DDS_DomainParticipant_update_locators(participant) != DDS_RETCODE_OK) {
            return 2;
        }
    }
    (void)close(LAST_MARK);
    if (DDS_DomainParticipantFactory_delete_participant(factory, participant) != DDS_RETCODE_OK) {
        return 3;
    }
    return DDS_DomainParticipantFactory_finalize_instance() == DDS_RETCODE_OK ? 0 : 4;
}

class FollowingSystemCalls : public HostTest {};

TEST_F(FollowingSystemCalls, AnUpdateWithoutNewsOpensBindsSetsAndClosesNothing) {
    if (IS_INSTRUMENTED) {
        GTEST_SKIP() << "a program with a sanitizer makes system calls of its own";
    }
    Child child(update_without_news);
    Process strace({"strace", "-f", "-e", "trace=socket,bind,setsockopt,close", "-p",
                    std::to_string(child.id())});
    const auto has_attached = [&] {
        return strace.errors().find(" attached") != std::string::npos;
    };

    if (!eventually([&] { return has_attached() || strace.has_ended(); }) || !has_attached()) {
        GTEST_SKIP() << "strace cannot be used here: " << strace.errors();
    }
    ASSERT_EQ(child.wait(), 0) << strace.errors();
    (void)strace.wait();
    const std::string trace = strace.errors();
    const std::string first = "close(" + std::to_string(FIRST_MARK) + ")";
    const std::string last = "close(" + std::to_string(LAST_MARK) + ")";

    ASSERT_THAT(trace, HasSubstr(first));
    ASSERT_THAT(trace, HasSubstr(last));
    // The deletion shows that there is something to be seen.
    EXPECT_GE(count(trace.substr(trace.find(last)), "close("), 3u) << trace;
    const std::string between =
        trace.substr(trace.find(first), trace.find(last) - trace.find(first));

    for (const char *call : {"socket(", "bind(", "setsockopt("}) {
        EXPECT_EQ(count(between, call), 0u) << between;
    }
    EXPECT_EQ(count(between, "close("), 1u) << between; // the mark
}

} // namespace
