// SPDX-License-Identifier: Apache-2.0
// What participants of real hosts send each other, as another tool reads it.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <optional>
#include <set>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "discovery_network.h"
#include "discovery_recording.h"

using discovery::Host;
using discovery::json;
using discovery::Neighbour;
using discovery::Recording;
using discovery::Texts;
using discovery::WireTest;
using testing::Each;
using testing::IsEmpty;
using testing::Not;

namespace {

/** How many messages there are to be, at the least; DISCOVERY_MESSAGES may ask for more. */
std::uint64_t messages_wanted() {
    const char *const number = std::getenv("DISCOVERY_MESSAGES");

    return number != nullptr ? std::stoull(number) : 2000;
}

/** A stranger on a host, who hears what is said to the group and says things himself. */
class Stranger {
public:
    explicit Stranger(const Host &host) {
        const Host::Stay stay(host);
        const int yes = 1;
        const sockaddr_in address = {AF_INET, htons(7400), {}, {}};
        const ip_mreqn membership = {
            {inet_addr(GROUP)}, {}, static_cast<int>(if_nametoindex("net0"))};

        socket_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes), 0);
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(
            setsockopt(socket_, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership), 0);
    }
    ~Stranger() {
        (void)close(socket_);
    }
    Stranger(const Stranger &) = delete;
    Stranger &operator=(const Stranger &) = delete;

    /** The next message of a participant. */
    std::string hear(const std::string &guid) const {
        constexpr std::size_t PREFIX_AT = 8;
        constexpr std::size_t PREFIX_SIZE = 12;
        std::array<char, 2000> octets{};
        std::string message;

        EXPECT_TRUE(eventually([&] {
            const ssize_t length = recv(socket_, octets.data(), octets.size(), MSG_DONTWAIT);

            message.assign(octets.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
            return message.size() > PREFIX_AT + PREFIX_SIZE &&
                   guid.starts_with(hexadecimal(message.substr(PREFIX_AT, PREFIX_SIZE)));
        }));
        return message;
    }

    void say(const std::string &octets, const std::string &address, unsigned port) const {
        sockaddr_in to = {AF_INET, htons(static_cast<std::uint16_t>(port)), {}, {}};

        EXPECT_EQ(inet_pton(AF_INET, address.c_str(), &to.sin_addr), 1);
        EXPECT_EQ(sendto(socket_, octets.data(), octets.size(), 0,
                         reinterpret_cast<const sockaddr *>(&to), sizeof to),
                  static_cast<ssize_t>(octets.size()));
    }

private:
    static std::string hexadecimal(const std::string &octets) {
        std::string text;

        for (const char octet : octets) {
            std::array<char, 3> digits{};

            (void)std::snprintf(digits.data(), digits.size(), "%02x",
                                static_cast<unsigned char>(octet));
            text += digits.data();
        }
        return text;
    }

    int socket_ = -1;
};

/** An announcement with a sequence number that is higher by 100. */
std::string newer(std::string announcement) {
    // The header, INFO_TS, and of the DATA all before the low half of its number.
    constexpr std::size_t NUMBER_AT = 20 + 12 + 4 + 4 + 8 + 4;

    announcement.at(NUMBER_AT) = static_cast<char>(announcement.at(NUMBER_AT) + 100);
    return announcement;
}

// What tshark prints of the submessages and of the status that inline QoS tells.
const std::string DIRECTED = "0x0e,";
const std::string ANNOUNCEMENT = "0x09,0x15\t";
const std::string LEAVING = "0x00000003";

class DiscoveryReferee : public WireTest {
protected:
    void SetUp() override {
        if (!Recording::is_readable()) {
            GTEST_SKIP() << "needs the program tshark";
        }
        WireTest::SetUp();
        if (!IsSkipped()) {
            one.emplace("one", Texts{"192.0.2.1/24", "fd00::1/64"});
            other.emplace("other", Texts{"192.0.2.2/24", "fd00::2/64"});
            third.emplace("third", Texts{"192.0.2.3/24", "fd00::3/64"});
            recording.emplace("wire");
        }
    }

    /** Participants that say as much as was asked for, of all lengths. */
    void chatter() {
        const std::string long_text(200, 'x');
        json many_properties = json::object();
        json settings = {{"count", 5},       {"listens", false}, {"lease", 1.0},
                         {"period", 0.01},   {"peers", {GROUP}}, {"user_data", "u"},
                         {"name", long_text}};

        for (int i = 0; i < 30; ++i) {
            many_properties["name" + std::to_string(i)] =
                std::string(static_cast<std::size_t>(i), 'v');
        }
        std::vector<std::unique_ptr<Neighbour>> talkers;

        talkers.push_back(std::make_unique<Neighbour>(*third, settings));
        settings["user_data"] = long_text;
        settings["transports"] = 3;
        talkers.push_back(std::make_unique<Neighbour>(*third, settings));
        settings["properties"] = many_properties;
        talkers.push_back(std::make_unique<Neighbour>(*other, settings));
        settings["peers"] = {"ff15::1"};
        settings["receive"] = {"ff15::1"};
        talkers.push_back(std::make_unique<Neighbour>(*one, settings));
        // Not all of it is on the wire: what is said to others of the same host is not.
        const std::uint64_t wanted = messages_wanted() + messages_wanted() / 3;
        EXPECT_TRUE(eventually([&] {
            std::uint64_t sum = 0;

            for (const auto &talker : talkers) {
                const json told = talker->tell();

                for (const json &each : told["statistics"]) {
                    sum += each["sent"].get<std::uint64_t>();
                }
            }
            return sum >= wanted;
        }));
        for (const auto &talker : talkers) {
            talker->leave();
        }
    }

    std::optional<Host> one;
    std::optional<Host> other;
    std::optional<Host> third;
    std::optional<Recording> recording;
};

TEST_F(DiscoveryReferee, HasNothingToSayAgainstAnythingThatIsSent) {
    Neighbour left(*one, {{"transports", 3}});
    Neighbour right(*other, {{"transports", 3}, {"user_data", "before"}});
    Stranger stranger(*third);

    ASSERT_TRUE(left.comes_to_know(right));
    ASSERT_TRUE(right.comes_to_know(left));
    stranger.say(newer(stranger.hear(right.guid())), "192.0.2.1", 7410);
    EXPECT_TRUE(eventually([&] {
        return right.tell()["statistics"][0]["heartbeats"].get<int>() > 0; // it was asked
    }));
    right.change();
    (void)left.wait_for_change("changed", right.guid());
    right.leave();
    chatter();
    recording->stop();

    EXPECT_THAT(recording->read("_ws.malformed || _ws.expert.severity >= warning",
                                {"frame.number", "_ws.expert.message"}),
                IsEmpty());
    EXPECT_THAT(recording->read("udp && !rtps", {"frame.number"}), IsEmpty());

    // INFO_DST, INFO_TS, DATA, ACKNACK, HEARTBEAT: all that there is was seen.
    const Texts kinds = recording->read("rtps", {"rtps.sm.id", "rtps.param.status_info"});

    EXPECT_GE(kinds.size(), messages_wanted());
    EXPECT_EQ(std::set<std::string>(kinds.begin(), kinds.end()),
              (std::set<std::string>{ANNOUNCEMENT, DIRECTED + ANNOUNCEMENT, ANNOUNCEMENT + LEAVING,
                                     DIRECTED + ANNOUNCEMENT + LEAVING, DIRECTED + "0x06\t",
                                     DIRECTED + "0x07\t"}));
}

TEST_F(DiscoveryReferee, ReadsThatWhoHasNoneOfItsOldAddressesLeavesFirst) {
    Neighbour left(*one, json::object());
    Neighbour right(*other, json::object());

    ASSERT_TRUE(left.comes_to_know(right));
    other->replace_address("192.0.2.2/24", "192.0.2.77/24");
    EXPECT_FALSE(left.wait_for_addresses(right, {"192.0.2.77"}).is_null());
    recording->stop();
    const Texts lines = recording->read("rtps.guidPrefix.src == " + right.guid().substr(0, 24),
                                        {"ip.src", "rtps.param.status_info", "rtps.locator.ipv4"});
    // What was due before the change had settled is said from there, too, and as it was.
    const auto from_there = std::find_if(lines.begin(), lines.end(), [](const std::string &line) {
        return line.starts_with("192.0.2.77\t") && line.find("\t192.0.2.2,") == std::string::npos;
    });

    ASSERT_NE(from_there, lines.end());
    EXPECT_EQ(*from_there, "192.0.2.77\t" + LEAVING + "\t");
}

TEST_F(DiscoveryReferee, ReadsWhatAParticipantWasGiven) {
    Neighbour left(*one, {{"domain", 3}, {"tag", "blue"}});
    Neighbour right(*other, {{"transports", 3},
                             {"name", "somebody"},
                             {"user_data", "me"},
                             {"domain", 3},
                             {"tag", "blue"},
                             {"lease", 40.5},
                             {"properties", {{"color", "green"}}}});

    ASSERT_TRUE(left.comes_to_know(right));
    recording->stop();
    const std::string prefix = right.guid().substr(0, 24);
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"rtps.version", "0x0205,0x0205"}, // of the message, of the participant
        {"rtps.vendorId", "0x0000,0x0000"},
        {"rtps.sm.seqNumber", "1"},
        {"rtps.param.participant_guid", right.guid()},
        {"rtps.param.ntpTime.sec", "40"},
        {"rtps.param.ntpTime.fraction", "2147483648"},
        {"rtps.param.builtin_endpoint_set", "0x00000003"},
        {"rtps.locator.ipv4", "192.0.2.2,192.0.2.2,239.255.0.1"},
        {"rtps.locator.ipv6", "fd00::2,fd00::2"},
        {"rtps.locator.port", "8160,8160,8161,8161,8150"},
        {"rtps.param.userData", "6d65"},
        {"rtps.param.entityName", "somebody"},
        {"rtps.property_name", "__Pid,__ProcessName,__Hostname,color"},
    };
    Texts fields;
    std::string line;

    for (const auto &[field, text] : expected) {
        fields.push_back(field);
        line += (line.empty() ? "" : "\t") + text;
    }
    const Texts lines = recording->read("rtps.guidPrefix.src == " + prefix, fields);

    EXPECT_THAT(lines, Not(IsEmpty()));
    EXPECT_THAT(lines, Each(line));
}

} // namespace
