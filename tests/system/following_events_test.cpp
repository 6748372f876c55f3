// SPDX-License-Identifier: Apache-2.0
// A great many events of the kernel's network in a row, as chance has it. What chance may bring at
// any moment of a call is looked for on the simulated network; here are the kernel's own events.
#include <array>
#include <chrono>
#include <random>
#include <thread>

#include <gmock/gmock.h>

#include "following_library.h"

using following::Families;
using following::host_addresses;
using following::LibraryTest;
using following::OpenFiles;
using following::Texts;
using support::Blocks;
using testing::IsEmpty;

namespace {

constexpr unsigned SEED_OF_EVENTS = 20260131;
constexpr std::size_t EVENTS = 250;

/** Makes lines for `ip -batch` that each change something. */
class Events {
public:
    /** The next change; some take several lines. */
    void add_to(Texts &lines) {
        const std::size_t number = choose(interfaces_.size());
        Interface &interface = interfaces_.at(number);
        const std::size_t dice = choose(100);

        if (dice < 4) {
            switch_loopback(lines);
        } else if (!interface.exists) {
            make(interface, number, lines);
        } else if (dice < 40) {
            switch_address(interface.has_v4, "10.0." + std::to_string(number) + ".", "/32", number,
                           lines);
        } else if (dice < 70) {
            // The kernel takes the addresses of IPv6 from a link that goes down.
            if (interface.is_up) {
                switch_address(interface.has_v6, "fd00::" + std::to_string(number + 1) + ":",
                               "/128 nodad", number, lines);
            }
        } else if (dice < 85) {
            switch_link(interface, number, lines);
        } else if (dice < 92) {
            switch_carrier(interface, number, lines);
        } else {
            lines.push_back("link del " + name(number));
            interface = {};
        }
    }

    /** Leaves an address of each family, with room for both in a list. */
    void end(Texts &lines) {
        if (interfaces_.at(0).exists) {
            lines.push_back("link del " + name(0));
        }
        make(interfaces_.at(0), 0, lines);
        lines.push_back("address add 10.0.0.1/32 dev " + name(0));
        lines.push_back("address add fd00::1:1/128 dev " + name(0) + " nodad");
    }

    std::size_t choose(std::size_t number) {
        return generator_() % number; // the same with every library
    }

private:
    struct Interface {
        bool exists = false;
        bool is_up = false;
        bool has_carrier = false;
        std::array<bool, 4> has_v4 = {};
        std::array<bool, 4> has_v6 = {};
    };

    static std::string name(std::size_t number) {
        return "eth" + std::to_string(number);
    }

    void switch_loopback(Texts &lines) {
        is_loopback_up_ = !is_loopback_up_;
        lines.push_back(std::string("link set lo ") + (is_loopback_up_ ? "up" : "down"));
    }

    static void make(Interface &interface, std::size_t number, Texts &lines) {
        lines.push_back("link add " + name(number) + " type veth peer name " + name(number) + "p");
        lines.push_back("link set " + name(number) + "p up");
        lines.push_back("link set " + name(number) + " up");
        interface.exists = interface.is_up = interface.has_carrier = true;
    }

    void switch_address(std::array<bool, 4> &has, const std::string &start, const std::string &end,
                        std::size_t number, Texts &lines) {
        const std::size_t i = choose(has.size());
        const bool add = !has.at(i);
        // "nodad" is for the adding only.
        const std::string suffix = add ? end : end.substr(0, end.find(' '));
        const std::size_t space = suffix.find(' ');

        lines.push_back(std::string("address ") + (add ? "add " : "del ") + start +
                        std::to_string(i + 1) + suffix.substr(0, space) + " dev " + name(number) +
                        (space != std::string::npos ? suffix.substr(space) : ""));
        has.at(i) = add;
    }

    static void switch_link(Interface &interface, std::size_t number, Texts &lines) {
        interface.is_up = !interface.is_up;
        interface.has_v6 = {};
        lines.push_back("link set " + name(number) + (interface.is_up ? " up" : " down"));
    }

    static void switch_carrier(Interface &interface, std::size_t number, Texts &lines) {
        interface.has_carrier = !interface.has_carrier;
        lines.push_back("link set " + name(number) + "p " +
                        (interface.has_carrier ? "up" : "down"));
    }

    std::mt19937 generator_{SEED_OF_EVENTS};
    std::array<Interface, 4> interfaces_ = {};
    bool is_loopback_up_ = true;
};

class FollowingManyEvents : public LibraryTest {
protected:
    /** Waits until the participant announces what the host has. */
    bool is_up_to_date(DDS_DomainParticipant *participant) {
        return eventually([&] {
            Texts addresses = host_addresses(Families::BOTH);

            addresses.resize(std::min(addresses.size(), following::LIST_SIZE_MAX));
            return has(participant, addresses);
        });
    }
};

TEST_F(FollowingManyEvents, LeavesNothingBehindAndNothingOut) {
    DDS_DomainParticipantQos qos = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;

    ASSERT_EQ(DDS_DomainParticipantQos_initialize(&qos), DDS_RETCODE_OK);
    qos.transport_builtin.mask = DDS_TRANSPORTBUILTIN_UDPv4 | DDS_TRANSPORTBUILTIN_UDPv6;
    DDS_DomainParticipant *participant = create(nullptr, &qos);
    Events events;

    for (std::size_t done = 0; done < EVENTS;) {
        const std::size_t burst = 1 + events.choose(40);
        Texts lines;

        while (lines.size() < burst) {
            events.add_to(lines);
        }
        ip_batch(lines);
        done += lines.size();
        // Some bursts follow at once, others when the first has settled.
        std::this_thread::sleep_for(std::chrono::milliseconds(events.choose(50)));
    }
    // A fresh participant has no ports of a transport without any address, which this one keeps.
    Texts lines;

    events.end(lines);
    ip_batch(lines);
    EXPECT_TRUE(is_up_to_date(participant))
        << testing::PrintToString(host_addresses(Families::BOTH)) << '\n'
        << testing::PrintToString(default_unicast(participant));
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_THAT(errors(), IsEmpty());
    flush(participant);
    const OpenFiles files = following::open_files();
    Blocks blocks = heap.change();
    // That an interface went while a group was joined on it is remembered by the group.
    blocks.erase("struct Said 0x4B4F4C43");

    start_over();
    participant = create(nullptr, &qos);
    EXPECT_TRUE(is_up_to_date(participant));
    flush(participant);
    EXPECT_EQ(files, following::open_files());
    EXPECT_EQ(blocks, heap.change());
    EXPECT_EQ(DDS_DomainParticipantQos_finalize(&qos), DDS_RETCODE_OK);
}

} // namespace
