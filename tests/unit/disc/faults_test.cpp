// SPDX-License-Identifier: Apache-2.0
// What a participant does when memory runs out, or nothing can be sent: it refuses, or goes on.
#include "participants.h"
#include "support/fault_loop.h"
#include "support/log_capture.h"

namespace {

using namespace sim;

class Faults : public ::testing::Test {
protected:
    static NUV_UINT64 live_blocks() {
        NUVOsapiHeapStatistics statistics{};
        NUVOsapiHeap_getStatistics(&statistics);
        return statistics.liveBlocks;
    }
    void say(const std::string &message) {
        EXPECT_EQ(socket.send("192.0.2.1:7410", message), 0);
        net.world.run_for(MS);
    }

    const faults::Guard faults_end;
    Net net;
    Machine machine{net.add("here", {"192.0.2.1/24"})};
    Process &elsewhere = net.add("elsewhere", {"192.0.2.9/24"});
    Udp socket{elsewhere, "0.0.0.0:7410"};
    Made made = [] {
        Made one;
        one.metatraffic = {"192.0.2.9:7410"};
        return one;
    }();
};

TEST_F(Faults, ADiscoveryIsMadeWholeOrNotAtAll) {
    faults::fail_each_allocation([&] { return DISCDiscovery_new(machine.runtime, machine.worker); },
                                 [](DISCDiscovery *discovery, const std::string &failed) {
                                     EXPECT_EQ(discovery == nullptr, !failed.empty());
                                     DISCDiscovery_delete(discovery);
                                 });
}

TEST_F(Faults, AParticipantIsMadeWholeOrNotAtAll) {
    Party other(machine); // whose presentation participant is not used here
    Settings settings;
    settings.index = 1;
    Party party(machine, settings);
    const RTPSProperty own = {{"name", 4}, {"value", 5}};
    DISCParticipantProperty property = DISC_PARTICIPANT_PROPERTY_DEFAULT;
    property.domainTag = "tag";
    property.ownProperties = &own;
    property.ownPropertyCount = 1;
    // It has endpoints already: so the participant is made without its own.
    EXPECT_NE(DISCParticipant_delete(party.discovery, machine.worker), 0);
    party.discovery = nullptr;
    const NUV_UINT64 before = live_blocks();
    const int count = faults::fail_each_allocation(
        [&] {
            return DISCParticipant_new(machine.discovery, party.participant, &property, nullptr,
                                       machine.worker);
        },
        [&](DISCParticipant *made_one, const std::string &failed) {
            EXPECT_EQ(made_one == nullptr, !failed.empty());
            EXPECT_NE(DISCParticipant_delete(made_one, machine.worker), 0);
            EXPECT_EQ(live_blocks(), before);
        });
    EXPECT_GE(count, 3);
}

TEST_F(Faults, ANewcomerIsKnownWhollyOrNotAtAll) {
    Party party(machine);
    net.world.run_for(SECOND);
    const std::string message = announcement(made);
    const int count = faults::fail_each_allocation(
        [&] {
            say(message);
            return party.count();
        },
        [&](std::size_t known, const std::string &failed) {
            EXPECT_EQ(known, failed.empty() ? 1u : 0u) << failed;
            EXPECT_EQ(party.statistics().came, known);
        });
    EXPECT_EQ(party.statistics().refused[DISC_REFUSED_NO_MEMORY], static_cast<NUV_UINT64>(count));
    EXPECT_EQ(party.see(made.prefix).metatraffic,
              (std::vector<std::string>{"udpv4://192.0.2.9:7410"}));
}

TEST_F(Faults, AChangeIsTakenWhollyOrNotAtAll) {
    Party party(machine);
    made.name = "before";
    say(announcement(made));
    (void)party.news();
    made.sequence = 2;
    made.name = "after";
    const std::string message = announcement(made);
    faults::fail_each_allocation(
        [&] {
            say(message);
            return party.see(made.prefix).name;
        },
        [&](const std::string &name, const std::string &failed) {
            EXPECT_EQ(name, failed.empty() ? "after" : "before") << failed;
        });
}

TEST_F(Faults, AClaimWithoutMemoryChangesNothing) {
    Party party(machine);
    say(announcement(made));
    made.sequence = 2;
    const std::string message = leaving(made);
    const Udp forger(net.add("forger", {"192.0.2.10/24"}));
    faults::fail_each_allocation(
        [&] {
            EXPECT_EQ(forger.send("192.0.2.1:7410", message), 0);
            net.world.run_for(100 * MS);
            return party.count();
        },
        [](std::size_t known, const std::string &failed) {
            EXPECT_EQ(known, failed.empty() ? 0u : 1u) << failed;
        });
}

TEST_F(Faults, WhatCannotBeSaidForLackOfMemoryIsSaidWhenThereIsSome) {
    Machine other_machine(net.add("other", {"192.0.2.2/24"}));
    Party party(machine);
    Party other(other_machine);
    net.world.run_for(SECOND);
    int value = 0;
    faults::fail_each_allocation(
        [&] {
            party.settings.user_data = std::to_string(++value);
            const bool is_set = party.set_property();
            faults::stop();
            net.world.run_for(1100 * MS);
            return is_set;
        },
        [&](bool is_set, const std::string &failed) {
            EXPECT_TRUE(is_set || !failed.empty());
            EXPECT_EQ(other.see(party.prefix()).user_data == std::to_string(value), is_set);
        });
}

TEST_F(Faults, WhatCannotBeSaidThoughItIsTriedAgainIsOneError) {
    Party party(machine);
    net.world.run_for(SECOND);
    const support::LogCapture log;
    constexpr int OF_THE_SETTING = 2; // the property's own, and what it has of octets
    for (int tries = 0; tries < 3; ++tries) {
        faults::fail_allocation(tries == 0 ? OF_THE_SETTING + 1 : 1);
        if (tries == 0) {
            party.set_user_data("new");
        } else {
            net.world.run_for(1001 * MS);
        }
        EXPECT_TRUE(faults::happened()) << tries;
    }
    EXPECT_EQ(log.messages().size(), 1u);
}

TEST_F(Faults, ALeaseThatCannotBeSaidForLackOfMemoryIsSaidWhenThereIsSome) {
    Machine other_machine(net.add("other", {"192.0.2.2/24"}));
    Party party(machine);
    Party other(other_machine);
    net.world.run_for(SECOND);
    NUVNtpTime lease = {30, 0};
    faults::fail_each_allocation(
        [&] {
            ++lease.sec;
            const NUVNtpTime period = {4, 0};
            party.call([&] {
                DISCParticipant_setLease(party.discovery, &lease, &period, machine.worker);
            });
            faults::stop();
            net.world.run_for(1100 * MS);
            return other.see(party.prefix()).data.leaseDuration.sec;
        },
        [&](NUV_INT32 seen, const std::string & /*failed*/) { EXPECT_EQ(seen, lease.sec); });
}

TEST_F(Faults, OneThatIsEnabledWithoutMemoryIsKnownWhenThereIsSome) {
    Machine other_machine(net.add("other", {"192.0.2.2/24"}));
    Party beside(machine);
    Party other(other_machine);
    net.world.run_for(SECOND);
    Settings settings;
    settings.index = 1;
    int nth = 0;
    settings.before_enabling = [&] { faults::fail_allocation(nth); };
    do {
        ++nth;
        Party party(machine, settings);
        faults::stop();
        net.world.run_for(5 * SECOND);
        EXPECT_TRUE(other.knows(party)) << faults::failed();
        EXPECT_TRUE(beside.knows(party)) << faults::failed();
        EXPECT_TRUE(party.knows(beside)) << faults::failed();
    } while (faults::happened());
    EXPECT_GE(nth, 5);
}

TEST_F(Faults, WhoNamesOneThatIsEnabledWithoutMemoryHearsOfItWhenThereIsSome) {
    Settings settings;
    settings.peers = {"192.0.2.8:7410"}; // who is there hears of nothing else
    settings.property.announcementPeriod = {5, 0};
    settings.property.initialAnnouncements = 0;
    int nth = 0;
    settings.before_enabling = [&] { faults::fail_allocation(nth); };
    do {
        ++nth;
        Party party(machine, settings);
        faults::stop();
        ++made.prefix.instanceId;
        say(announcement(made));
        (void)socket.take_all();
        net.world.run_for(5 * SECOND);
        std::vector<std::string> heard;
        for (const std::string &message : socket.take_all()) {
            heard.push_back(kinds(message));
        }
        EXPECT_TRUE(std::ranges::count(heard, "DST TS DATA") != 0) << faults::failed();
    } while (faults::happened());
    EXPECT_GE(nth, 5);
}

TEST_F(Faults, ThoseOfOneProcessMeetWhenThereIsMemory) {
    Settings settings;
    settings.peers = {"192.0.2.9:7411"};
    Party party(machine, settings);
    settings.index = 1;
    Party other(machine, settings);
    made.lease = NUV_NTP_TIME_INFINITE;
    for (int i = 0; i < 4; ++i) { // one more takes more room for the news
        ++made.prefix.instanceId;
        say(announcement(made));
    }
    const std::vector<NUVNetioPeer> peers = peers_of({"192.0.2.1:7412"});
    bool has_missed = false;
    faults::fail_each_allocation(
        [&] {
            const bool is_set = party.call([&] {
                return DISCParticipant_setPeers(party.discovery, peers.data(), 1, machine.worker) !=
                       0;
            });
            faults::stop();
            has_missed = has_missed || (is_set && !party.knows(other));
            net.world.run_for(5 * SECOND);
            return is_set;
        },
        [&](bool is_set, const std::string & /*failed*/) {
            EXPECT_EQ(party.knows(other), is_set);
            EXPECT_EQ(other.knows(party), is_set);
        });
    EXPECT_TRUE(has_missed);
}

TEST_F(Faults, PeersAreTakenWhollyOrNotAtAll) {
    Party party(machine);
    const std::vector<NUVNetioPeer> peers =
        peers_of({"192.0.2.9:7410", "192.0.2.3", "239.255.0.2"});
    faults::fail_each_allocation([&] {
        return party.call([&] {
            return DISCParticipant_setPeers(party.discovery, peers.data(), 3, machine.worker);
        }) != 0;
    });
}

TEST_F(Faults, MorePeersThanAllowedAreRefused) {
    Party party(machine);
    const std::vector<NUVNetioPeer> peers(DISC_PEERS_MAX + 1, peers_of({"192.0.2.9"})[0]);
    EXPECT_EQ(
        DISCParticipant_setPeers(party.discovery, peers.data(), DISC_PEERS_MAX + 1, machine.worker),
        0);
}

TEST_F(Faults, WhatCannotBeSentIsSentLater) {
    Machine other_machine(net.add("other", {"192.0.2.2/24"}));
    machine.process.fail({.call = Call::SEND, .error = ENETUNREACH, .times = -1});
    Party party(machine);
    Party other(other_machine);
    net.world.run_for(3 * SECOND);
    EXPECT_FALSE(other.knows(party));
    EXPECT_TRUE(party.knows(other));
    machine.process.mend();
    net.world.run_for(4 * SECOND);
    EXPECT_TRUE(other.knows(party));
}

} // namespace
