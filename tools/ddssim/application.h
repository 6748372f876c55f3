// SPDX-License-Identifier: Apache-2.0
// A process of a simulated host, with its participants.
#pragma once

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "acquaintance.h"
#include "dds_c/dds_c.h"
#include "scenario.h"
#include "simnet/simnet_world.h"

namespace ddssim {

/** Where a host of a number, from 1, is at first. */
std::string address_of(std::int64_t host);

class Qos;

class Application {
public:
    /**
     * Starts it. Throws a std::runtime_error when there can't be as many participants.
     * @param number of the process on its host, from 1
     */
    Application(simnet::Host &host, const Scenario &scenario, std::int64_t number,
                Acquaintance &acquaintance);
    /** Ends it without a word. */
    ~Application();
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    /** Has it end as applications do, when it gets to it, and calls @p then. */
    void leave(simnet::Action then);
    /** Has it end without a word. */
    void kill();

private:
    struct Participant {
        Application *application = nullptr;
        DDS_DomainParticipant *participant = nullptr;
        std::optional<Acquaintance::Number> number;
        std::vector<std::pair<DDS_GUID_t, DDS_DiscoveredParticipantChange>> early; // before that
    };

    static void on_discovered(void *data, DDS_DomainParticipant *participant,
                              const DDS_ParticipantBuiltinTopicData *other,
                              DDS_DiscoveredParticipantChange change);
    void add(const Qos &qos);
    void forget();
    void remove_all();

    simnet::Process &process_;
    Acquaintance &acquaintance_;
    DDS_DomainParticipantFactory *factory_ = nullptr;
    std::deque<Participant> participants_;
};

} // namespace ddssim
