// SPDX-License-Identifier: Apache-2.0
// ddspart doctor that looks at two hosts and at what is between them.
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "discovery_network.h"
#include "doctor_network.h"
#include "network.h"
#include "port_holder.h"
#include "process.h"

using discovery::Host;
using discovery::json;
using discovery::Neighbour;
using doctor::Diagnosis;
using doctor::nft;
using doctor::Texts;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char *HERE = "192.0.2.1";
constexpr const char *THERE = "192.0.2.2";

Texts joined(Texts left, const Texts &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/** A socket of the test's own on a host. */
class Talker {
public:
    /** At the control port unless told. */
    explicit Talker(const Host &host, const std::string &address = "0.0.0.0",
                    std::uint16_t port = 7399) {
        const Host::Stay stay(host);
        sockaddr_in own = name_of(address, port);

        socket_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr *>(&own), sizeof own), 0);
    }
    ~Talker() {
        (void)close(socket_);
    }
    Talker(const Talker &) = delete;
    Talker &operator=(const Talker &) = delete;

    void say(const std::string &text, const std::string &address) const {
        const sockaddr_in to = name_of(address, 7399);

        EXPECT_EQ(sendto(socket_, text.data(), text.size(), 0,
                         reinterpret_cast<const sockaddr *>(&to), sizeof to),
                  static_cast<ssize_t>(text.size()));
    }

    void join(const Host &host, const char *group) const {
        const Host::Stay stay(host);
        ip_mreq request{};

        EXPECT_EQ(inet_pton(AF_INET, group, &request.imr_multiaddr), 1);
        EXPECT_EQ(inet_pton(AF_INET, HERE, &request.imr_interface), 1);
        EXPECT_EQ(setsockopt(socket_, IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof request), 0);
    }

    /** Whether a datagram is there. */
    bool has_heard(std::chrono::milliseconds most_time = {}) const {
        pollfd waiting = {socket_, POLLIN, 0};

        return poll(&waiting, 1, static_cast<int>(most_time.count())) == 1;
    }

    /** The next datagram; waits for it. */
    std::string hear() {
        std::array<char, 2048> octets{};

        if (!has_heard(PATIENCE)) {
            return "nothing";
        }
        sockaddr_in from{};
        socklen_t length = sizeof from;
        const ssize_t size = recvfrom(socket_, octets.data(), octets.size(), 0,
                                      reinterpret_cast<sockaddr *>(&from), &length);
        std::array<char, INET_ADDRSTRLEN> text{};

        source_ = inet_ntop(AF_INET, &from.sin_addr, text.data(), text.size());
        return {octets.data(), static_cast<std::size_t>(size)};
    }

    /** The address that what was heard last has come from. */
    const std::string &last_source() const {
        return source_;
    }

private:
    static sockaddr_in name_of(const std::string &address, std::uint16_t port) {
        sockaddr_in name{};

        name.sin_family = AF_INET;
        name.sin_port = htons(port);
        EXPECT_EQ(inet_pton(AF_INET, address.c_str(), &name.sin_addr), 1);
        return name;
    }

    int socket_ = -1;
    std::string source_;
};

/** Says a question, as "end 0 7", with these records. */
void say(const Talker &asker, const std::string &question, const std::string &records = {}) {
    asker.say("ddspart-doctor 1 " + question + "\n" + records, THERE);
}

/** A record that makes a greeting long enough to be answered. */
std::string padding() {
    return "padding\t" + std::string(200, '-') + "\n";
}

/** One host asks, the other one answers. */
class DoctorOfTwoEnds : public doctor::TwoHostsTest {
protected:
    Process serve(const Texts &options = {}) const {
        Process process = there->ddspart(joined({"doctor", "--serve", HERE}, options));

        EXPECT_TRUE(process.wait_for_output("Answers")) << process.errors();
        return process;
    }

    Diagnosis ask(const Texts &options = {}) const {
        const Host::Stay stay(*here);

        return doctor::diagnose(joined({"--with", THERE}, options));
    }

    /** The ids of the findings when nobody has asked that end before. */
    Texts found(const Texts &options = {}, const Texts &options_there = {}) const {
        constexpr int FINDINGS = 3;
        const Process other = serve(options_there);
        const Diagnosis diagnosis = ask(options);
        const Texts ids = diagnosis.ids();

        EXPECT_EQ(diagnosis.code, ids.empty() ? 0 : FINDINGS)
            << diagnosis.output << diagnosis.errors;
        return ids;
    }

    /** On the wire; the test is skipped where there is no such firewall. */
    static bool drop(const std::string &rule) {
        return nft("add table bridge wall; add chain bridge wall each { type filter hook forward "
                   "priority 0; }; add rule bridge wall each " +
                   rule + " drop");
    }
    static bool let_through() {
        return nft("delete table bridge wall");
    }
};

TEST_F(DoctorOfTwoEnds, FindsNothingWhereAllArrives) {
    const Process other = serve();
    const Diagnosis diagnosis = ask();

    EXPECT_EQ(diagnosis.code, 0);
    EXPECT_EQ(diagnosis.output,
              "Well: interfaces, multicast, firewall, ports, peers, the way to the other host and "
              "back\n");
    EXPECT_EQ(diagnosis.errors, "");
}

TEST_F(DoctorOfTwoEnds, FindsNothingWhereParticipantsFindEachOther) {
    const Neighbour one(*here, json::object());
    const Neighbour other(*there, {{"count", 3}});

    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, FindsNothingByIPv6Alone) {
    const Host one("one", {"fd00::1/64"});
    const Host other("other", {"fd00::2/64", "fd00::7/64"});
    const Texts by_ipv6 = {"--transport", "udpv6",  "--multicast-address",
                           "ff05::1",     "--peer", "ff05::1"};
    Process server = other.ddspart(joined({"doctor", "--serve", "FD00:0::1"}, by_ipv6));

    ASSERT_TRUE(server.wait_for_output("Answers")) << server.errors();
    const Host::Stay stay(one);

    EXPECT_THAT(doctor::found(joined({"--with", "FD00:0::2"}, by_ipv6)), IsEmpty());
    EXPECT_THAT(doctor::found(joined({"--with", "fd00::7"}, by_ipv6)), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, AnswerFromTheAddressThatWasAsked) {
    constexpr const char *ALSO_THERE = "192.0.2.7";

    there->ip({"address", "add", std::string(ALSO_THERE) + "/24", "dev", "net0"});
    const Process other = serve();
    Talker asker(*here);

    asker.say("ddspart-doctor 1 hello 0 5\n" + padding(), ALSO_THERE);
    EXPECT_THAT(asker.hear(), HasSubstr(" 5\nsettings\t"));
    EXPECT_EQ(asker.last_source(), ALSO_THERE);
    asker.say("ddspart-doctor 1 hello 0 6\n" + padding(), THERE);
    EXPECT_THAT(asker.hear(), HasSubstr(" 6\nsettings\t"));
    EXPECT_EQ(asker.last_source(), THERE);
}

TEST_F(DoctorOfTwoEnds, TryEachAddressOfAName) {
    const doctor::HostNames names("192.0.2.3 beta\n192.0.2.2 beta\n");

    if (!names.can_be_had()) {
        GTEST_SKIP() << "needs files of its own";
    }
    const Process other = serve();
    const Host::Stay stay(*here);
    const Diagnosis diagnosis =
        doctor::said_by(names.ddspart({"doctor", "--for", "0", "--with", "beta"}));

    EXPECT_EQ(diagnosis.code, 0) << diagnosis.output << diagnosis.errors;
    EXPECT_THAT(diagnosis.output,
                HasSubstr("Not looked at: the way to beta by 192.0.2.3: 192.0.2.2 was taken, which "
                          "has answered\n"));
}

TEST_F(DoctorOfTwoEnds, SayWhichFamilyTheyTalkedBy) {
    const doctor::HostNames names("192.0.2.2 beta\nfd00::2 beta\n");

    if (!names.can_be_had()) {
        GTEST_SKIP() << "needs files of its own";
    }
    here->ip({"address", "add", "fd00::1/64", "dev", "net0", "nodad"});
    there->ip({"address", "add", "fd00::2/64", "dev", "net0", "nodad"});
    const Process other = serve(); // the address of IPv4
    const Host::Stay stay(*here);
    const Diagnosis diagnosis = doctor::said_by(
        names.ddspart({"doctor", "--for", "0", "--transport", "udpv4,udpv6", "--with", "beta"}));

    EXPECT_EQ(diagnosis.code, 0) << diagnosis.output << diagnosis.errors;
    EXPECT_THAT(diagnosis.output,
                HasSubstr("Not looked at: the way to beta by fd00::2: 192.0.2.2 was taken, which "
                          "has answered\n"));
}

TEST_F(DoctorOfTwoEnds, FindsNothingWithoutMulticastWherePeersAreNamed) {
    const Neighbour one(*here, {{"receive", json::array()}, {"peers", {THERE}}});
    const Neighbour other(*there, {{"receive", json::array()}, {"peers", json::array()}});

    if (!drop("ip daddr 224.0.0.0/4")) {
        GTEST_SKIP() << "needs nft";
    }
    EXPECT_THAT(found({"--no-multicast", "--peer", THERE}, {"--no-multicast", "--peer", HERE}),
                IsEmpty());
    EXPECT_THAT(found({"--peer", THERE}), IsEmpty()); // one that names the other is enough
}

TEST_F(DoctorOfTwoEnds, FindsNothingWhereBothHaveABridgeOfTheSameAddress) {
    for (const Host *const host : {here.get(), there.get()}) {
        const Host::Stay stay(*host);

        add_interface("guests", {"172.17.0.1/16"});
    }
    const Neighbour one(*here, json::object());
    const Neighbour other(*there, json::object());

    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysThatPortsAreReachedOneWayOnly) {
    if (!drop("iifname here ip saddr 192.0.2.1 ip daddr 192.0.2.2 udp dport 7410-7419")) {
        GTEST_SKIP() << "needs nft";
    }
    const Process other = serve();
    const Diagnosis diagnosis = ask();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("unicast-lost"));
    EXPECT_THAT(diagnosis.output,
                StartsWith("unicast-lost: What this host sends to UDP port 7410-7419 of 192.0.2.2 "
                           "does not arrive, while what 192.0.2.2 sends there arrives: one way "
                           "only. Let UDP to these ports into 192.0.2.2 and out of this host, "));
    ASSERT_TRUE(let_through());
    EXPECT_THAT(ask().ids(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysThatThisHostLetsNothingOut) {
    {
        const Host::Stay stay(*here);

        if (!nft("add table ip wall; add chain ip wall each { type filter hook output priority 0; "
                 "}; add rule ip wall each ip daddr 192.0.2.2 udp dport 7410-7419 drop")) {
            GTEST_SKIP() << "needs nft";
        }
    }
    const Process other = serve();

    EXPECT_THAT(ask().ids(), ElementsAre("unicast-lost"));
    {
        const Host::Stay stay(*here);

        ASSERT_TRUE(nft("delete table ip wall"));
    }
    EXPECT_THAT(ask().ids(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysThatNothingComesBackUntilTheRulesThatItNamesAreThere) {
    const Host::Stay stay(*here);

    if (!nft("add table inet filter; add chain inet filter input { type filter hook input "
             "priority 0; policy drop; }; add rule inet filter input iif lo accept; add rule inet "
             "filter input udp dport 7399 accept; add rule inet filter input ip daddr 239.255.0.1 "
             "accept")) {
        GTEST_SKIP() << "needs nft";
    }
    const Process other = serve();
    const Diagnosis diagnosis = ask();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("unicast-lost"));
    EXPECT_THAT(diagnosis.output,
                StartsWith("unicast-lost: What 192.0.2.2 sends to UDP port 7410-7419 of this host "
                           "does not arrive, while what this host sends there arrives: one way "
                           "only. Let UDP to these ports into this host and out of 192.0.2.2, "));
    EXPECT_THAT(diagnosis.output, HasSubstr("(ddspart ports --domain 0 --nft prints rules"));
    ASSERT_TRUE(nft(doctor::said_by(ddspart({"ports", "--domain", "0", "--nft"})).output));
    EXPECT_THAT(ask().ids(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysThatPortsAreReachedNeitherWay) {
    if (!drop("ip daddr 192.0.2.0/24 udp dport 7400-7500")) {
        GTEST_SKIP() << "needs nft";
    }
    const Process other = serve();
    const Diagnosis diagnosis = ask();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("unicast-lost", "unicast-lost"));
    EXPECT_THAT(diagnosis.output, HasSubstr("neither does what is sent the other way"));
    ASSERT_TRUE(let_through());
    EXPECT_THAT(ask().ids(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysWhichWayMulticastDoesNotArrive) {
    if (!drop("iifname there ip daddr 239.255.0.1")) {
        GTEST_SKIP() << "needs nft";
    }
    const Process other = serve();
    const Diagnosis diagnosis = ask();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("multicast-lost"));
    EXPECT_THAT(diagnosis.output,
                HasSubstr("What 192.0.2.2 sends to the group does not arrive at this host, while "
                          "unicast does; the other way it does."));
    EXPECT_THAT(ask({"--peer", THERE}).ids(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysWhatTimeToLiveMulticastNeeds) {
    if (!drop("iifname here ip daddr 239.255.0.1 ip ttl < 3")) {
        GTEST_SKIP() << "needs nft";
    }
    const Process other = serve();
    const Diagnosis diagnosis = ask();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("ttl-too-small"));
    EXPECT_THAT(diagnosis.output, HasSubstr("dds.transport.multicast_ttl=4"));
    EXPECT_THAT(ask({"--property", "dds.transport.multicast_ttl=4"}).ids(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysThatTheWayTakesSmallerPacketsThanTheInterfaces) {
    if (!drop("ether type ip meta length > 1400")) {
        GTEST_SKIP() << "needs nft";
    }
    const Process other = serve();
    const Diagnosis diagnosis = ask();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("large-datagrams-lost", "large-datagrams-lost"));
    EXPECT_THAT(diagnosis.output, HasSubstr("Datagrams of 1472 octets from this host to 192.0.2.2 "
                                            "are lost, while small ones arrive"));
    EXPECT_THAT(diagnosis.output, HasSubstr("Make the MTU of the interfaces as small"));
    for (const Host *const host : {here.get(), there.get()}) {
        host->ip({"link", "set", "net0", "mtu", "1400"});
    }
    EXPECT_THAT(ask().ids(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysThatFragmentsAreLost) {
    if (!drop("iifname here ip frag-off & 0x1fff != 0")) {
        GTEST_SKIP() << "needs nft";
    }
    const Process other = serve();
    const Diagnosis diagnosis = ask();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("large-datagrams-lost"));
    EXPECT_THAT(diagnosis.output, HasSubstr("Datagrams of 4000 octets from this host"));
    EXPECT_THAT(diagnosis.output, HasSubstr("Let fragments of UDP through"));
    ASSERT_TRUE(let_through());
    EXPECT_THAT(ask().ids(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysThatPortsAreTranslatedOnTheWay) {
    const auto translate = [&](const std::string &commands) {
        const Host::Stay stay(*here);

        return nft(commands);
    };

    if (!translate("add table ip wall; add chain ip wall each { type nat hook postrouting "
                   "priority 100; }; add rule ip wall each ip daddr 192.0.2.2 udp dport 7410-7419 "
                   "masquerade to :20000-20100")) {
        GTEST_SKIP() << "needs nft";
    }
    const Process other = serve();
    const Diagnosis diagnosis = ask();

    EXPECT_THAT(diagnosis.ids(), ElementsAre("address-translated"));
    EXPECT_THAT(diagnosis.output, HasSubstr("arrives at 192.0.2.2 as from 192.0.2.1:20"));
    ASSERT_TRUE(translate("delete table ip wall"));
    EXPECT_THAT(ask().ids(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysThatParticipantsAreInDifferentDomains) {
    const Neighbour one(*here, json::object());
    {
        const Neighbour other(*there, {{"domain", 1}});

        EXPECT_THAT(found(), ElementsAre("domains-differ"));
    }
    const Neighbour other(*there, json::object());

    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysThatParticipantsOfOneEndHaveADomainTag) {
    const Neighbour one(*here, {{"period", 0.1}});
    {
        const Neighbour other(*there, {{"tag", "blue"}, {"period", 0.1}});
        const Process server = serve();
        const Diagnosis diagnosis = ask();

        EXPECT_THAT(diagnosis.ids(), ElementsAre("tags-differ"));
        EXPECT_THAT(diagnosis.output, HasSubstr("The participants of 192.0.2.2 have a domain tag"));
    }
    const Neighbour other(*there, {{"period", 0.1}});

    EXPECT_THAT(found(), IsEmpty());
}

json using_interface(const std::string &interface) {
    return {{"name", "talker"}, {"properties", {{"dds.transport.allow_interfaces", interface}}}};
}

TEST_F(DoctorOfTwoEnds, NamesAParticipantThatAnnouncesOnlyLoopback) {
    {
        const Neighbour lonely(*there, using_interface("lo"));
        const Process other = serve();
        const Diagnosis diagnosis = ask();

        EXPECT_THAT(diagnosis.ids(), ElementsAre("participant-out-of-reach"));
        EXPECT_THAT(diagnosis.output,
                    HasSubstr(" of 192.0.2.2 is not heard by this host: it announces only "
                              "loopback (udpv4://127.0.0.1:7410)"));
    }
    const Neighbour found_by_all(*there, using_interface("net0"));

    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, NamesAParticipantThatAnnouncesAnAddressWhichBothHostsHave) {
    for (const Host *const host : {here.get(), there.get()}) {
        const Host::Stay stay(*host);

        add_interface("guests", {"172.17.0.1/16"});
    }
    {
        const Neighbour lonely(*there, using_interface("guests"));
        const Process other = serve();
        const Diagnosis diagnosis = ask();

        EXPECT_THAT(diagnosis.ids(), ElementsAre("participant-out-of-reach"));
        EXPECT_THAT(diagnosis.output, HasSubstr("are addresses that this host has itself"));
    }
    const Neighbour found_by_all(*there, using_interface("net0"));

    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, NamesAParticipantOfThisHostThatTheOtherOneDoesNotReach) {
    {
        const Host::Stay stay(*here);

        add_interface("guests", {"172.18.0.1/16"});
    }
    {
        const Neighbour lonely(*here, using_interface("guests"));
        const Process other = serve();
        const Diagnosis diagnosis = ask();

        EXPECT_THAT(diagnosis.ids(), ElementsAre("participant-out-of-reach"));
        EXPECT_THAT(diagnosis.output,
                    HasSubstr("The participant talker of this host is not heard by 192.0.2.2: "
                              "nothing comes back from what it announces "
                              "(udpv4://172.18.0.1:7410)"));
    }
    const Neighbour found_by_all(*here, using_interface("guests,net0"));

    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(DoctorOfTwoEnds, SaysThatTheOtherEndDoesNotAnswer) {
    const doctor::HostNames names("192.0.2.3 gamma\n192.0.2.9 gamma\n");
    const Host::Stay stay(*there);
    Process other = names.ddspart({"doctor", "--for", "0", "--with", "gamma"});
    const Diagnosis diagnosis = ask();

    EXPECT_EQ(diagnosis.code, 1);
    EXPECT_EQ(diagnosis.output, "Well: interfaces, multicast, firewall, ports, peers\n");
    EXPECT_EQ(diagnosis.errors,
              "ddspart: 192.0.2.2 does not answer at UDP port 7399; run \"ddspart doctor --serve\" "
              "there with the address 192.0.2.1 of this host, and let that port through both "
              "ways\n");
    if (names.can_be_had()) {
        EXPECT_EQ(doctor::said_by(std::move(other)).errors,
                  "ddspart: gamma does not answer at UDP port 7399 of 192.0.2.3, 192.0.2.9; run "
                  "\"ddspart doctor --serve\" there with the address 192.0.2.2 of this host, and "
                  "let that port through both ways\n");
    }
}

TEST_F(DoctorOfTwoEnds, SaysThatTheOtherEndLooksAtAnotherDomain) {
    const Process other = serve({"--domain", "8"});
    const Diagnosis diagnosis = ask({"--domain", "7"});

    EXPECT_EQ(diagnosis.code, 1);
    EXPECT_THAT(diagnosis.errors, StartsWith("ddspart: 192.0.2.2 looks at domain 8 with "));
    EXPECT_THAT(diagnosis.errors, HasSubstr(", this end at domain 7 with "));
}

TEST_F(DoctorOfTwoEnds, TalkByAPortThatIsAskedFor) {
    const Process other = serve({"--control-port", "7000"});
    {
        const Host::Stay stay(*there);

        EXPECT_THAT(udp_ports(), Not(Contains(7399)));
    }
    EXPECT_EQ(ask({"--control-port", "7000"}).code, 0);
}

TEST_F(DoctorOfTwoEnds, EndInOrderWhenInterrupted) {
    Process other = serve();

    EXPECT_EQ(other.stop(SIGINT).code, 0);
    EXPECT_EQ(other.errors(), "");
    Process asker = here->ddspart({"doctor", "--for", "0", "--with", "192.0.2.9"});

    ASSERT_TRUE(asker.wait_until_signals_are_held());
    EXPECT_EQ(asker.stop(SIGTERM).code, 1);
    EXPECT_EQ(asker.errors(), "ddspart: 192.0.2.9 was not asked to the end: interrupted\n");
}

/** Greets with the question of this number, and returns the session of the answer. */
std::string greet(Talker &asker, int number) {
    say(asker, "hello 0 " + std::to_string(number), padding());
    std::istringstream answer(asker.hear());
    std::string session;

    answer >> session >> session >> session >> session;
    return session;
}

TEST_F(DoctorOfTwoEnds, SayThatTheySpeakDifferentVersions) {
    Talker other(*there);
    Process asker = here->ddspart({"doctor", "--for", "0", "--with", THERE});

    EXPECT_THAT(other.hear(), StartsWith("ddspart-doctor 1 hello 0 "));
    other.say("ddspart-doctor 2 version 0 0\n", HERE);
    EXPECT_EQ(asker.wait().code, 1);
    EXPECT_EQ(asker.errors(), "ddspart: 192.0.2.2 speaks version 2 of the language of ddspart "
                              "doctor, this end version 1; allowed is the same ddspart at both "
                              "ends\n");
}

TEST_F(DoctorOfTwoEnds, AnswersOneHostOnly) {
    const Host stranger("stranger", {"192.0.2.3/24"});
    const Talker asker(stranger);
    Process other = there->ddspart({"doctor", "--serve", HERE, "--for", "0.2"});

    ASSERT_TRUE(eventually([&] {
        say(asker, "hello 0 5", padding());
        return other.has_ended();
    }));
    EXPECT_EQ(other.wait().code, 1);
    EXPECT_THAT(other.errors(), HasSubstr("192.0.2.1 has asked nothing at UDP port 7399, but "
                                          "192.0.2.3 has, which is not answered"));
    EXPECT_FALSE(asker.has_heard());
}

TEST_F(DoctorOfTwoEnds, SayNoMoreThanTheyWereToldToWhomTheyDoNotKnow) {
    const Process other = serve();
    Talker asker(*here);

    asker.say("ddspart-doctor 1 hello 0 5\n", THERE);                       // too short
    asker.say("ddspart-doctor 1 end 0 6\npage\t0\n", THERE);                // of no session
    asker.say("ddspart-doctor 1 end 5f3a9c0012345678 7\npage\t0\n", THERE); // of another one
    asker.say("ddspart-doctor 1 hello 0\n" + std::string(200, 'x'), THERE); // malformed
    asker.say(std::string(2000, 'x'), THERE);                               // too long
    const std::string greeting = "ddspart-doctor 1 hello 0 8\n" + padding();

    asker.say(greeting, THERE);
    const std::string answer = asker.hear(); // the only one

    EXPECT_THAT(answer, HasSubstr(" 8\nsettings\t0\t7400\t250\t2\t0\t10\t1\t11\n"));
    EXPECT_LE(answer.size(), greeting.size());
}

TEST_F(DoctorOfTwoEnds, SendNoGroupWhatTellsThemWhoAsks) {
    const Process other = serve();
    Talker asker(*here);
    Talker listener(*here, "239.255.0.1", 7400);

    listener.join(*here, "239.255.0.1");
    const std::string session = greet(asker, 5);

    say(asker, "send " + session + " 6");
    const std::string shot = listener.hear();
    const std::uint64_t number = std::stoull(session, nullptr, 16);
    std::uint64_t token = 0;

    ASSERT_EQ(shot.size(), 20U);
    std::memcpy(&token, shot.data() + 8, sizeof token);
    EXPECT_NE(token, number);
    EXPECT_NE(token, ~number);
}

TEST_F(DoctorOfTwoEnds, AnnounceThemselvesToOtherHostsOnly) {
    const Process other = serve();
    Talker asker(*here);
    Talker asked(*here, HERE, 7777);
    const Talker trusting(*there, "127.0.0.1", 7777);
    const std::string session = greet(asker, 5);

    say(asker, "announce " + session + " 6",
        "place\tudpv4://127.0.0.1:7777\nplace\tudpv4://0.0.0.0:7777\n"
        "place\tudpv4://192.0.2.1:7777\n");
    EXPECT_THAT(asked.hear(), StartsWith("RTPS"));
    EXPECT_FALSE(trusting.has_heard());
}

TEST_F(DoctorOfTwoEnds, AnnounceThemselvesRarely) {
    constexpr int QUESTIONS = 20;
    const Process other = serve();
    Talker asker(*here);
    const std::string session = greet(asker, 5);
    const auto start = std::chrono::steady_clock::now();
    int count = 0;

    for (int i = 0; i < QUESTIONS; ++i) {
        say(asker, "announce " + session + " " + std::to_string(6 + i), "port\t7777\n");
    }
    say(asker, "received " + session + " 100");
    while (asker.hear().find(" announce ") != std::string::npos) {
        ++count;
    }
    const auto duration = std::chrono::steady_clock::now() - start;

    EXPECT_GE(count, 1);
    EXPECT_LE(count, 1 + duration / std::chrono::milliseconds(200));
}

TEST_F(DoctorOfTwoEnds, TakeNoAnswerForAQuestion) {
    const Process other = serve();
    Talker asker(*here);

    say(asker, "hello 5f3a9c0012345678 5", padding());
    asker.say("ddspart-doctor 2 version 0 0\n" + padding(), THERE);
    asker.say("ddspart-doctor 0 hello 0 7\n" + padding(), THERE);
    EXPECT_EQ(asker.hear(), "ddspart-doctor 1 version 0 0\n"); // to the last one
    asker.say("ddspart-doctor 2 hello 0 8\n" + padding(), THERE);
    EXPECT_EQ(asker.hear(), "ddspart-doctor 1 version 0 0\n");
    say(asker, "hello 0 6", padding());
    EXPECT_THAT(asker.hear(), HasSubstr(" 6\nsettings\t"));
}

TEST_F(DoctorOfTwoEnds, GoOnTalkingWhateverElseGreets) {
    const Process other = serve();
    Talker asker(*here);
    const std::string session = greet(asker, 5);

    say(asker, "end " + session + " 6", "page\t0\n");
    EXPECT_THAT(asker.hear(), HasSubstr(" 6\naddress\t192.0.2.2\n"));
    const std::string later = greet(asker, 5000);

    say(asker, "end " + session + " 7", "page\t0\n");
    EXPECT_THAT(asker.hear(), HasSubstr(session + " 7\n"));
    say(asker, "end " + later + " 7", "page\t0\n"); // until the other one asks something
    EXPECT_THAT(asker.hear(), HasSubstr(later + " 7\naddress\t192.0.2.2\n"));
}

/** Holds ports on a host; is no participant. */
PortHolder holder_on(const Host &host, const std::vector<std::uint16_t> &ports) {
    const Host::Stay stay(host);

    return {"program", ports};
}

TEST_F(DoctorOfTwoEnds, TellOfNoDomainThatOnlyPortsInARowSpeakFor) {
    const PortHolder program = holder_on(*there, {7660, 7661});
    const Process other = serve();
    Talker asker(*here);

    say(asker, "end " + greet(asker, 5) + " 6", "page\t0\n");
    EXPECT_THAT(asker.hear(), EndsWith(" 6\naddress\t192.0.2.2\nmulticast\n"));
}

TEST_F(DoctorOfTwoEnds, TellOfNoPortsThatTheKernelGivesToAnybody) {
    const PortHolder program = holder_on(*there, {34910, 34911});
    const Process other = serve({"--domain", "110"});
    Talker asker(*here);

    say(asker, "end " + greet(asker, 5) + " 6", "page\t0\n");
    EXPECT_THAT(asker.hear(), EndsWith(" 6\naddress\t192.0.2.2\nmulticast\n"));
}

TEST_F(DoctorOfTwoEnds, SaysThatNoPortWasTried) {
    const PortHolder program =
        holder_on(*there, {7410, 7411, 7412, 7413, 7414, 7415, 7416, 7417, 7418, 7419});
    const Process other = serve();

    EXPECT_THAT(ask().output,
                HasSubstr("Not looked at: whether ports of 192.0.2.2 are reached: none of the "
                          "first participant indices is free there\n"));
}

/** Answers the greeting of the host that asks, and returns its next question. */
std::string answer_greeting(Talker &other) {
    std::istringstream greeting(other.hear());
    std::string number;
    std::string question;

    greeting >> number >> number >> number >> number >> number;
    other.say("ddspart-doctor 1 hello 5f3a9c0012345678 " + number +
                  "\nsettings\t0\t7400\t250\t2\t0\t10\t1\t11\n",
              HERE);
    do {
        question = other.hear();
    } while (question.find(" hello ") != std::string::npos);
    return question;
}

TEST_F(DoctorOfTwoEnds, KeepWhatTheyHaveFoundWhenInterrupted) {
    Talker other(*there);
    Process asker = here->ddspart({"doctor", "--for", "0", "--with", THERE});

    EXPECT_THAT(answer_greeting(other), StartsWith("ddspart-doctor 1 receive 5f3a9c0012345678 "));
    EXPECT_EQ(asker.stop(SIGINT).code, 0);
    EXPECT_THAT(asker.output(), HasSubstr("Not looked at: the rest of the way to 192.0.2.2 and "
                                          "back: 192.0.2.2 was not asked to the end: "
                                          "interrupted\n"));
    EXPECT_EQ(asker.errors(), "");
}

/** What an end without free ports answers; what is for the group has arrived or has not. */
std::string answer_to(const std::string &kind, bool has_arrived) {
    if (kind == "receive") {
        return "token\t1\ngroup\n";
    }
    if (kind == "received") {
        return has_arrived ? "ttl\t1\nttl\t2\nttl\t4\nttl\t8\nttl\t16\nttl\t32\n" : "";
    }
    return kind == "end" ? "multicast\n" : "done\n";
}

TEST_F(DoctorOfTwoEnds, WaitForWhatAccessPointsKeepForGroups) {
    constexpr int TRIES = 3;
    Talker other(*there);
    Process asker = here->ddspart({"doctor", "--for", "0", "--with", THERE});
    std::string kind;
    int count = 0;
    bool has_announced = false;

    for (std::string text = answer_greeting(other);; text = other.hear()) {
        std::istringstream question(text);
        std::string word;
        std::string number;

        ASSERT_TRUE(question >> word >> word >> kind >> word >> number) << text;
        count += kind == "received" ? 1 : 0;
        has_announced = has_announced || kind == "announce";
        other.say("ddspart-doctor 1 " + kind + " 5f3a9c0012345678 " + number + "\n" +
                      answer_to(kind, count > TRIES),
                  HERE);
        if (has_announced && kind == "end") {
            break;
        }
    }
    EXPECT_EQ(asker.wait().code, 0) << asker.output();
}

} // namespace
