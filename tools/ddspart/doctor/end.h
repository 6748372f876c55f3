// SPDX-License-Identifier: Apache-2.0
// What one of two ends knows of its host.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "doctor/facts.h"
#include "doctor/message.h"
#include "doctor/volley.h"
#include "options.h"
#include "participant.h"

namespace doctor {

/** One of the two ends: its host, and its participants that listen and ask. */
class OwnEnd {
public:
    /** @param facts of the host; what is referred to must outlive it. */
    OwnEnd(const DoctorOptions &options, const Wishes &wishes, const Facts &facts);

    const DoctorOptions &options() const {
        return options_;
    }
    const Wishes &wishes() const {
        return wishes_;
    }
    const Facts &facts() const {
        return facts_;
    }
    /** @param token by which the datagrams of one direction are told from all others. */
    VolleyPlan volley_plan(Family family, std::uint64_t token) const;

    /** Whether no peers on other hosts are named. */
    bool needs_multicast() const;

    /** Listens from now on to who announces himself to everybody; not where that cannot be done. */
    void listen();

    /**
     * Announces itself to the participants of this network and to these places, so that they
     * answer, until it is asked to do so again or to stop. False where no participant can be had.
     */
    bool announce(const std::vector<std::string> &places);
    void stop_announcing();

    /** Begins anew: who has been heard may have gone. */
    void forget();

    /** How many have been heard until now. */
    std::size_t number_heard();

    /** What it knows now. */
    End look();

private:
    void take_heard();
    /** What is held on this host, in all of its networks that may be looked into. */
    std::vector<HeldPorts> held() const;
    void find_residents(End &end, const std::set<std::string> &addresses_of_guests) const;

    const DoctorOptions &options_;
    const Wishes &wishes_;
    const Facts &facts_;
    const Factory factory_;
    std::unique_ptr<Participant> listener_;
    std::unique_ptr<Participant> announcer_;
    std::vector<Sighting> heard_; // each once
    bool has_refused_tags_ = false;
};

/** An end as records of messages, and what these say; what is not understood is left out. */
std::vector<Record> to_records(const End &end);
End to_end(const std::vector<Record> &records);

} // namespace doctor
