// SPDX-License-Identifier: Apache-2.0
// The example programs.
#include <gmock/gmock.h>

#include "network.h"
#include "process.h"

using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/** The parameter: the path of the program. */
class Example : public HostTest, public testing::WithParamInterface<const char *> {};

INSTANTIATE_TEST_SUITE_P(, Example, testing::Values(EXAMPLE_C_PATH, EXAMPLE_CPP_PATH),
                         [](const auto &instance) {
                             return instance.index == 0 ? "InC" : "InCpp";
                         });

TEST_P(Example, ShowsIndexAndLocatorsAndLeaves) {
    Process process({GetParam(), "7"});

    EXPECT_EQ(process.wait().code, 0) << process.errors();
    EXPECT_THAT(process.output(), HasSubstr("domain 7, participant index 0\n"));
    EXPECT_THAT(process.output(), HasSubstr("user traffic: udpv4://192.0.2.2:9161\n"));
    EXPECT_THAT(process.errors(), IsEmpty());
    EXPECT_THAT(udp_ports(), IsEmpty());
}

TEST_P(Example, JoinsDomain0UnlessAskedOtherwise) {
    Process process({GetParam()});

    EXPECT_EQ(process.wait().code, 0) << process.errors();
    EXPECT_THAT(process.output(), HasSubstr("domain 0, "));
}

TEST_P(Example, FailsWithAReason) {
    Process process({GetParam(), "233"});

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_THAT(process.errors(), HasSubstr("wire_protocol.rtps_well_known_ports"));
}

TEST_P(Example, RefusesWhatIsNoDomain) {
    for (const char *argument : {"", "x", "7x", "-1", "2147483648", "99999999999999999999"}) {
        Process process({GetParam(), argument});

        EXPECT_EQ(process.wait().code, 2) << argument;
        EXPECT_THAT(process.errors(), HasSubstr("usage: ")) << argument;
    }
}

} // namespace
