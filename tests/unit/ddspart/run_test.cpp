// SPDX-License-Identifier: Apache-2.0
// The run of a participant, where the library fails.
#include <filesystem>
#include <iterator>

#include <gmock/gmock.h>

#include "commands.h"
#include "dds_c/dds_c_domain.h"
#include "log.h"
#include "signals.h"
#include "support/faults.h"
#include "support/heap_watch.h"
#include "support/ports.h"

using testing::HasSubstr;
using testing::Not;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

namespace {

RunOptions a_short_stay() {
    RunOptions options;

    options.well_known_ports.port_base = support::portBase();
    options.show_qos = true;
    options.duration = std::chrono::nanoseconds(0);
    return options;
}

auto number_of_open_files() {
    const std::filesystem::directory_iterator files("/proc/self/fd");

    return std::distance(begin(files), end(files));
}

class RunThatCannotReadTheQos : public testing::Test {
protected:
    RunThatCannotReadTheQos() {
        faults::fail("DDS_DomainParticipant_get_qos", {.every = true});
        CaptureStdout();
        CaptureStderr();
    }

    const faults::Guard guard_;
};

TEST_F(RunThatCannotReadTheQos, FailsWithOneLine) {
    Log log(KOLS_CONFIG_LOG_VERBOSITY_ERROR);

    try {
        execute(a_short_stay());
        ADD_FAILURE() << "it has not failed";
    } catch (const LoggedFailure &failure) {
        log.explain(failure);
    }
    EXPECT_EQ(GetCapturedStderr(), "ddspart: the library could not do it\n");
    EXPECT_THAT(GetCapturedStdout(), Not(HasSubstr("user_data")));
}

TEST_F(RunThatCannotReadTheQos, LeavesInOrder) {
    const support::HeapWatch heap;
    const auto files = number_of_open_files();

    EXPECT_THROW(execute(a_short_stay()), LoggedFailure);
    EXPECT_EQ(number_of_open_files(), files);
    EXPECT_EQ(heap.change(), support::Blocks());
    (void)GetCapturedStderr();
    EXPECT_THAT(GetCapturedStdout(), HasSubstr("Joined domain 0"));
}

TEST(RunOfAParticipant, SaysNothingOfNewsThatAreNone) {
    CaptureStdout();
    CaptureStderr();
    announce_news();
    execute(a_short_stay());
    (void)GetCapturedStderr();
    const std::string text = GetCapturedStdout();

    EXPECT_THAT(text, Not(HasSubstr("Now in")));
    EXPECT_THAT(text, HasSubstr("Left domain 0: time is up\n"));
}

} // namespace
