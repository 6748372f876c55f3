// SPDX-License-Identifier: Apache-2.0
// The options of ddspart doctor, which are those of ddspart run as far as they matter.
#include <utility>

#include <gmock/gmock.h>

#include "options.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

namespace {

Command parse_doctor(std::vector<const char *> arguments) {
    arguments.insert(arguments.begin(), {"ddspart", "doctor"});
    return parse_command_line(static_cast<int>(arguments.size()), arguments.data());
}

TEST(DoctorOptions, DescribeAParticipant) {
    const auto options = std::get<DoctorOptions>(parse_doctor(
        {"--domain", "7", "--transport", "udpv6", "--interface", "net0", "--peer", "beta",
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
    EXPECT_EQ(std::get<DoctorOptions>(parse_doctor({})).duration, std::nullopt);
    EXPECT_EQ(std::get<DoctorOptions>(parse_doctor({"--for", "0.5"})).duration,
              std::chrono::milliseconds(500));
}

TEST(DoctorOptions, MayDoWithoutMulticast) {
    EXPECT_FALSE(std::get<DoctorOptions>(parse_doctor({"--no-multicast"})).multicast);
}

std::string refused(std::vector<const char *> arguments) {
    const Command command = parse_doctor(std::move(arguments));
    const auto *const answer = std::get_if<Answer>(&command);

    return answer != nullptr && answer->exit_code == 2 ? answer->text : "";
}

TEST(DoctorOptions, NameAnotherHost) {
    EXPECT_EQ(std::get<DoctorOptions>(parse_doctor({"--with", "beta"})).with, "beta");
    EXPECT_EQ(std::get<DoctorOptions>(parse_doctor({"--serve", "fd00::2"})).serve, "fd00::2");
    EXPECT_THAT(refused({"--with", "beta:7399"}), HasSubstr("the name or the address of a host"));
    EXPECT_THAT(refused({"--with", "udpv4://192.0.2.2"}), HasSubstr("without a port"));
    EXPECT_THAT(refused({"--serve", ""}), HasSubstr("without a port"));
    EXPECT_THAT(refused({"--serve", "beta", "--with", "beta"}), HasSubstr("excludes"));
}

TEST(DoctorOptions, NameAPortThatNoParticipantHas) {
    const auto port = [](std::vector<const char *> arguments) {
        return std::get<DoctorOptions>(parse_doctor(std::move(arguments))).control_port;
    };

    EXPECT_EQ(port({"--with", "beta"}), 7399U);
    EXPECT_EQ(port({"--with", "beta", "--control-port", "9000"}), 9000U);
    EXPECT_EQ(port({"--serve", "beta", "--control-port", "9000"}), 9000U);
    EXPECT_THAT(refused({"--control-port", "9000"}), HasSubstr("is for --with and --serve"));
    EXPECT_THAT(refused({"--with", "beta", "--control-port", "0"}), HasSubstr("1 to 65535"));
    EXPECT_THAT(refused({"--with", "beta", "--control-port", "7412"}),
                HasSubstr("'7412' is not outside the ports of domain 0"));
    EXPECT_THAT(refused({"--with", "beta", "--port-base", "7389"}),
                HasSubstr("'7399' is not outside the ports of domain 0"));
}

TEST(DoctorOptions, RefuseWhatNoParticipantCanHave) {
    const auto answer = std::get<Answer>(parse_doctor({"--transport", "tcp"}));

    EXPECT_EQ(answer.exit_code, 2);
    EXPECT_THAT(answer.text, HasSubstr("ddspart doctor: --transport: 'tcp' is not "));
}

} // namespace
