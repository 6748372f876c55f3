// SPDX-License-Identifier: Apache-2.0
#include "following_fixture.h"

#include <algorithm>
#include <cerrno>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "domain/CallWorker.h"
#include "domain/DomainParticipant_internal.h"
#include "support/callback_flush.h"

using support::Message;
using support::Messages;

namespace following {

namespace {

/** A socket bound to every address of the family, or -1 and the reason in errno. */
int bound_socket(DDS_Long port, int family) {
    const int result = socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    union {
        sockaddr any;
        sockaddr_in v4;
        sockaddr_in6 v6;
    } address = {};
    const socklen_t length = family == AF_INET ? sizeof address.v4 : sizeof address.v6;

    if (family == AF_INET) {
        address.v4.sin_family = AF_INET;
        address.v4.sin_port = htons(static_cast<in_port_t>(port));
    } else {
        address.v6.sin6_family = AF_INET6;
        address.v6.sin6_port = htons(static_cast<in_port_t>(port));
        (void)setsockopt(result, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    }
    if (result >= 0 && bind(result, &address.any, length) != 0) {
        const int error = errno;

        (void)close(result);
        errno = error;
        return -1;
    }
    return result;
}

Message change_line(const std::string &list, const Texts &before, const Texts &now) {
    const auto joined = [](const Texts &texts) {
        std::string all;

        for (const std::string &text : texts) {
            all += (all.empty() ? "" : ", ") + text;
        }
        return all;
    };
    const std::string body =
        list + " locators have changed from {" + joined(before) + "} to {" + joined(now) + "}.\n";

    return {.level = NUV_LOG_LEVEL_LOCAL,
            .function = "DDS_DomainParticipantPresentation_log_locator_change",
            .name = "NUV_LOG_UPDATE_TEMPLATE",
            .body = body,
            .text = "update: " + body};
}

} // namespace

injected::Links on_one_interface(const Texts &addresses) {
    return addresses.empty() ? injected::Links() : injected::Links{{"test0", addresses}};
}

DDS_Long metatraffic_port(int index) {
    return support::portBase() + 10 + 2 * index;
}

DDS_Long default_port(int index) {
    return support::portBase() + 11 + 2 * index;
}

Texts locators_at(const Texts &addresses, DDS_Long port) {
    Texts texts;

    for (const std::string &address : addresses) {
        texts.push_back((address.find(':') == std::string::npos ? "udpv4://" + address
                                                                : "udpv6://[" + address + "]") +
                        ":" + std::to_string(port));
    }
    return texts;
}

bool is_held(DDS_Long port, int family) {
    const int bound = bound_socket(port, family);

    if (bound < 0) {
        return errno == EADDRINUSE;
    }
    (void)close(bound);
    return false;
}

bool has_ipv6() {
    constexpr DDS_Long ANY_PORT = 0;
    const int bound = bound_socket(ANY_PORT, AF_INET6);

    if (bound < 0) {
        return false;
    }
    (void)close(bound);
    return true;
}

std::size_t open_sockets() {
    const std::multiset<std::string> files = open_files();

    return static_cast<std::size_t>(std::ranges::count_if(
        files, [](const std::string &file) { return file.starts_with("socket:"); }));
}

Messages change_of(const Texts &before, const Texts &now, int index) {
    return {change_line("Default unicast", locators_at(before, default_port(index)),
                        locators_at(now, default_port(index))),
            change_line("Metatraffic unicast", locators_at(before, metatraffic_port(index)),
                        locators_at(now, metatraffic_port(index)))};
}

Stranger::Stranger(DDS_Long port) : socket_(bound_socket(port, AF_INET)) {
    EXPECT_GE(socket_, 0) << port;
}

Stranger::~Stranger() {
    (void)close(socket_);
}

FollowingTest::FollowingTest() : interfaces(on_one_interface({"192.0.2.10"})) {
    // From addresses that the host does not have nothing can be sent.
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_property(&qos->property, "dds.discovery.announce",
                                                       "false", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    finalize_factory();
    blocks_before = heap.change();
    factory = DDS_DomainParticipantFactory_get_instance();
}

void FollowingTest::TearDown() {
    ParticipantTest::TearDown();
    EXPECT_EQ(heap.change(), blocks_before);
}

DDS_DomainParticipant *FollowingTest::create_follower(Callback callback) {
    DDS_DomainParticipantListener listener = {};

    if (callback != nullptr) {
        callbacks_.push_back(std::make_unique<Callback>(std::move(callback)));
        listener.listener_data = callbacks_.back().get();
        listener.on_locators_changed = [](void *data, DDS_DomainParticipant *participant) {
            (*static_cast<Callback *>(data))(participant);
        };
    }
    DDS_DomainParticipant *const participant = create(&listener);

    EXPECT_NE(participant, nullptr);
    log.clear();
    return participant;
}

bool FollowingTest::renew() const {
    const DDS_DomainParticipantResourcesI &resources = participants.at(0)->resources;
    CallWorker worker(resources.workerFactory);

    return NUVNetioRuntime_renewInterfaces(resources.runtime, worker.get()) != 0;
}

void FollowingTest::flush() const {
    constexpr NUVNtpTime LONG_ENOUGH = {20, 0};

    EXPECT_TRUE(NUVNetioRuntime_flush(participants.at(0)->resources.runtime, &LONG_ENOUGH));
}

void FollowingTest::flush_callbacks() const {
    support::flush_callbacks(participants.at(0)->resources.runtime);
}

bool FollowingTest::has(DDS_DomainParticipant *participant, const Texts &addresses) {
    const int index = DDS_DomainParticipant_get_participant_index(participant);

    return locators(participant, DDS_DomainParticipant_get_default_unicast_locators) ==
               locators_at(addresses, default_port(index)) &&
           locators(participant, DDS_DomainParticipant_get_metatraffic_unicast_locators) ==
               locators_at(addresses, metatraffic_port(index));
}

bool FollowingTest::holds_ports(int index, int family) {
    return is_held(metatraffic_port(index), family) && is_held(default_port(index), family);
}

void FollowingTest::finalize_factory() {
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
    factory = nullptr;
}

} // namespace following
