// SPDX-License-Identifier: Apache-2.0
// A process that has closed its standard streams.
#include <fcntl.h>
#include <unistd.h>

#include "fixture.h"

namespace {

bool is_open(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

/** Ends the process: with 0 when its participant has taken none of the streams' numbers. */
[[noreturn]] void have_a_participant_without_streams() {
    Qos qos;

    qos->transport_builtin.mask = DDS_TRANSPORTBUILTIN_UDPv4 | DDS_TRANSPORTBUILTIN_UDPv6;
    (void)close(STDIN_FILENO);
    (void)close(STDOUT_FILENO);
    (void)close(STDERR_FILENO);
    DDS_DomainParticipantFactory *const factory = DDS_DomainParticipantFactory_get_instance();
    DDS_DomainParticipant *const participant = DDS_DomainParticipantFactory_create_participant(
        factory, 0, qos.get(), nullptr, DDS_STATUS_MASK_NONE);
    const bool are_free =
        !is_open(STDIN_FILENO) && !is_open(STDOUT_FILENO) && !is_open(STDERR_FILENO);

    _exit(participant != nullptr && are_free ? 0 : 1);
}

TEST(StandardStreams, ThatAreClosedAreNotTakenByAParticipant) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // in a process that had none before
    EXPECT_EXIT(have_a_participant_without_streams(), testing::ExitedWithCode(0), "");
}

} // namespace
