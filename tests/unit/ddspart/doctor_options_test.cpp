// SPDX-License-Identifier: Apache-2.0
// The options of ddspart doctor, which are those of ddspart run as far as they matter.
#include <gmock/gmock.h>

#include "options.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

namespace {

Command parse(std::vector<const char *> arguments) {
    arguments.insert(arguments.begin(), {"ddspart", "doctor"});
    return parse_command_line(static_cast<int>(arguments.size()), arguments.data());
}

TEST(DoctorOptions, DescribeAParticipant) {
    const auto options = std::get<DoctorOptions>(
        parse({"--domain", "7", "--transport", "udpv6", "--interface", "net0", "--peer", "beta",
               "--multicast-address", "ff05::1", "--property", "a=b", "--port-base", "8000"}));

    EXPECT_EQ(options.domain, 7);
    EXPECT_EQ(options.transports, DDS_TRANSPORTBUILTIN_UDPv6);
    EXPECT_THAT(options.interfaces, ElementsAre("net0"));
    EXPECT_THAT(options.peers, ElementsAre("beta"));
    EXPECT_THAT(options.multicast_addresses, ElementsAre("ff05::1"));
    EXPECT_THAT(options.properties, ElementsAre(Pair("a", "b")));
    EXPECT_EQ(options.well_known_ports.port_base, 8000);
    EXPECT_FALSE(options.json);
}

TEST(DoctorOptions, MaySayHowLongToListen) {
    EXPECT_EQ(std::get<DoctorOptions>(parse({})).duration, std::nullopt);
    EXPECT_EQ(std::get<DoctorOptions>(parse({"--for", "0.5"})).duration,
              std::chrono::milliseconds(500));
}

TEST(DoctorOptions, MayDoWithoutMulticast) {
    EXPECT_FALSE(std::get<DoctorOptions>(parse({"--no-multicast"})).multicast);
}

TEST(DoctorOptions, RefuseWhatNoParticipantCanHave) {
    const auto answer = std::get<Answer>(parse({"--transport", "tcp"}));

    EXPECT_EQ(answer.exit_code, 2);
    EXPECT_THAT(answer.text, HasSubstr("ddspart doctor: --transport: 'tcp' is not "));
}

} // namespace
