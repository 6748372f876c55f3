// SPDX-License-Identifier: Apache-2.0
// What is sent to a locator that stays arrives, whatever becomes of the others.
#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <thread>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "domain/CallWorker.h"
#include "domain/DomainParticipant_internal.h"
#include "following_library.h"

using following::default_port;
using following::Follower;
using following::LibraryTest;
using following::metatraffic_port;
using following::Texts;
using following::udp_counter;
using testing::IsEmpty;

namespace {

constexpr std::uint32_t DATAGRAMS_MAX = 1000000;
/** As many fit into a socket's buffer at any time, so that only a change could lose one. */
constexpr std::uint64_t UNDER_WAY_MAX = 32;

/** An RTPS message with nothing but a number. */
struct Numbered {
    char protocol[4] = {'R', 'T', 'P', 'S'};
    unsigned char version_and_vendor[4] = {2, 3, 1, 15};
    unsigned char prefix[12] = {1, 2, 3};
    std::uint32_t number = 0;
};
static_assert(sizeof(Numbered) == 24);

/** Sends numbered datagrams to some locators in turn, on a thread of its own. */
class Sender {
public:
    /** @param received how many have arrived so far. */
    Sender(const Texts &locators, std::function<std::uint64_t()> received)
        : received_(std::move(received)) {
        for (const std::string &each : locators) {
            sockets_.push_back(connected_socket(each));
        }
        thread_ = std::thread([this] { run(); });
    }
    ~Sender() {
        (void)stop();
        for (const int each : sockets_) {
            (void)close(each);
        }
    }
    Sender(const Sender &) = delete;
    Sender &operator=(const Sender &) = delete;

    std::uint32_t sent() const {
        return sent_;
    }
    /** The reason why one could not be sent, if so. */
    int error() const {
        return error_;
    }
    bool stop() {
        is_over_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
        return eventually([this] { return received_() >= sent_; });
    }

private:
    static int connected_socket(const std::string &locator) {
        const Endpoint endpoint = parse_locator(locator);
        const int result = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        union {
            sockaddr any;
            sockaddr_in v4;
        } address = {};
        const ip_mreqn interface = {{}, {inet_addr("192.0.2.2")}, 0};

        address.v4.sin_family = AF_INET;
        address.v4.sin_port = htons(static_cast<std::uint16_t>(endpoint.port));
        EXPECT_EQ(inet_pton(AF_INET, endpoint.address.c_str(), &address.v4.sin_addr), 1);
        EXPECT_EQ(setsockopt(result, IPPROTO_IP, IP_MULTICAST_IF, &interface, sizeof interface), 0);
        EXPECT_EQ(connect(result, &address.any, sizeof address.v4), 0);
        return result;
    }

    void run() {
        Numbered message;

        while (!is_over_ && error_ == 0 && sent_ < DATAGRAMS_MAX) {
            if (sent_ - received_() >= UNDER_WAY_MAX) {
                pause_shortly();
                continue;
            }
            message.number = sent_;
            if (send(sockets_.at(sent_ % sockets_.size()), &message, sizeof message, 0) !=
                static_cast<ssize_t>(sizeof message)) {
                error_ = errno;
            } else {
                ++sent_;
            }
        }
    }

    const std::function<std::uint64_t()> received_;
    std::vector<int> sockets_;
    std::atomic<std::uint32_t> sent_ = 0;
    std::atomic<int> error_ = 0;
    std::atomic<bool> is_over_ = false;
    std::thread thread_;
};

/** The locators that a participant with index 0 keeps while "net0" keeps its address. */
const Texts KEPT = {following::locator("192.0.2.2", default_port(0)),
                    following::locator("192.0.2.2", metatraffic_port(0)),
                    "udpv4://239.255.0.1:7400"};

/** Changes the network; after each step @p has is asked whether it was followed. */
template <class Has>
void change_the_network(Has has) {
    for (int i = 0; i < 5; ++i) {
        ip({"address", "add", "198.51.100.2/24", "dev", "net0"});
        ASSERT_TRUE(has({"192.0.2.2", "198.51.100.2"}));
        add_interface("net1", {"203.0.113.2/24"});
        ASSERT_TRUE(has({"192.0.2.2", "198.51.100.2", "203.0.113.2"}));
        ip({"link", "set", "net1", "down"});
        ASSERT_TRUE(has({"192.0.2.2", "198.51.100.2"}));
        ip({"address", "del", "198.51.100.2/24", "dev", "net0"});
        ASSERT_TRUE(has({"192.0.2.2"}));
        ip({"link", "set", "net1", "up"});
        ASSERT_TRUE(has({"192.0.2.2", "203.0.113.2"}));
        ip({"link", "del", "net1"});
        ASSERT_TRUE(has({"192.0.2.2"}));
    }
}

void expect_no_loss(Sender &sender, std::uint64_t lost_before) {
    // Some after the last change, too.
    const std::uint32_t so_far = sender.sent();

    EXPECT_TRUE(eventually([&] { return sender.sent() > so_far + 100 || sender.error() != 0; }));
    EXPECT_TRUE(sender.stop());
    EXPECT_EQ(sender.error(), 0) << strerror(sender.error());
    EXPECT_GT(sender.sent(), 100u);
    EXPECT_EQ(udp_counter("NoPorts") + udp_counter("RcvbufErrors") + udp_counter("InErrors"),
              lost_before);
}

class FollowingWithoutLoss : public LibraryTest {};

/** What participants send themselves is not counted. */
const Texts SILENT = {"--property", "dds.discovery.announce=false"};

TEST_F(FollowingWithoutLoss, TheKernelHandsOverAllThatWasSentToWhatStays) {
    Follower follower(SILENT);
    const std::uint64_t lost =
        udp_counter("NoPorts") + udp_counter("RcvbufErrors") + udp_counter("InErrors");
    const std::uint64_t before = datagrams_received();
    Sender sender(KEPT, [before] { return datagrams_received() - before; });

    change_the_network([&](const Texts &addresses) { return follower.has(addresses); });
    expect_no_loss(sender, lost);
    EXPECT_EQ(datagrams_received() - before, sender.sent());
    for (const Socket &socket : udp_sockets()) {
        EXPECT_EQ(socket.drops, 0u) << socket.address << ' ' << socket.port;
    }
    follower.expect_never_moved();
}

TEST_F(FollowingWithoutLoss, ARestrictedParticipantGetsAllThatWasSentToWhatStays) {
    Follower follower({"--interface", "net0", "--interface", "net1", SILENT[0], SILENT[1]});
    const std::uint64_t lost =
        udp_counter("NoPorts") + udp_counter("RcvbufErrors") + udp_counter("InErrors");
    const std::uint64_t before = datagrams_received();
    Sender sender(KEPT, [before] { return datagrams_received() - before; });

    change_the_network([&](const Texts &addresses) { return follower.has(addresses); });
    expect_no_loss(sender, lost);
    EXPECT_EQ(datagrams_received() - before, sender.sent());
    follower.expect_never_moved();
}

TEST_F(FollowingWithoutLoss, EachMessageReachesTheParticipantOnce) {
    struct Messages {
        std::atomic<std::uint64_t> number = 0;
        std::vector<std::uint32_t> numbers; // of the reactor's thread until all is over
    } arrived;
    DDS_DomainParticipantQos qos = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    ASSERT_EQ(DDS_DomainParticipantQos_initialize(&qos), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&qos.property, "dds.discovery.announce",
                                                       "false", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    DDS_DomainParticipant *const participant = create(nullptr, &qos);
    EXPECT_EQ(DDS_DomainParticipantQos_finalize(&qos), DDS_RETCODE_OK);
    COMMENDFacade *const facade = PRESParticipant_getFacade(participant->presentation.participant);
    const COMMENDMessageListener listener = {
        [](void *param, const NUVNetioMessage *message, REDAWorker *) {
            auto *const all = static_cast<Messages *>(param);
            Numbered numbered;

            if (message->length == sizeof numbered) {
                std::memcpy(&numbered, message->data, sizeof numbered);
                all->numbers.push_back(numbered.number);
                ++all->number;
            }
        },
        &arrived};
    CallWorker worker(participant->resources.workerFactory);
    COMMENDFacadeStatistics statistics = {};

    facade->setMessageListener(facade, &listener, worker.get());
    Sender sender(KEPT, [&arrived] { return arrived.number.load(); });

    change_the_network([&](const Texts &addresses) {
        return eventually([&] { return has(participant, addresses); });
    });
    expect_no_loss(sender, 0);
    facade->getStatistics(facade, &statistics, worker.get());
    EXPECT_EQ(statistics.messagesReceived, sender.sent());
    EXPECT_EQ(statistics.datagramsRejected, 0u);
    EXPECT_THAT(errors(), IsEmpty());
    remove_all(); // no more messages from here on
    std::sort(arrived.numbers.begin(), arrived.numbers.end());
    ASSERT_EQ(arrived.numbers.size(), sender.sent());
    for (std::uint32_t i = 0; i < sender.sent(); ++i) {
        ASSERT_EQ(arrived.numbers[i], i);
    }
}

} // namespace
