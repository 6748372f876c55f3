// SPDX-License-Identifier: Apache-2.0
// Which participants know which, as they say themselves.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "dds_c/dds_c_builtin.h"
#include "simnet/simnet_trace.h"

namespace ddssim {

/** How many of those that are there know of each other, from then on. */
struct Moment {
    simnet::Time time = 0;
    std::uint64_t known = 0;  // ordered pairs
    std::uint64_t wanted = 0; // all of them

    bool is_complete() const {
        return known == wanted;
    }
    double share() const {
        return wanted == 0 ? 1 : static_cast<double>(known) / static_cast<double>(wanted);
    }
};

class Acquaintance {
public:
    using Number = std::size_t; // of a participant, in the order in which it was first told of

    /** Its participant is there from now on. */
    Number add(simnet::Time now, const DDS_GUID_t &guid);
    /** It is there no more. */
    void remove(simnet::Time now, Number one);
    /** What one says of another. */
    void note(simnet::Time now, Number one, const DDS_GUID_t &other,
              DDS_DiscoveredParticipantChange change);

    const Moment &now() const {
        return moment_;
    }
    /** How many are there. */
    std::uint64_t count() const {
        return there_;
    }
    /** The moments in which a hundredth more or less was known, and those in which all was. */
    const std::vector<Moment> &curve() const {
        return curve_;
    }
    /** When all knew all for the first time since @p since; none: they do not. */
    std::optional<simnet::Time> complete_since(simnet::Time since) const;
    /** How often one was taken for gone that was there. */
    std::uint64_t lost_living() const {
        return lost_living_;
    }

private:
    struct Participant {
        bool is_there = false;
        std::uint64_t known = 0; // of those that are there
        std::vector<bool> knows;
    };

    Number number_of(const DDS_GUID_t &guid);
    bool knows(const Participant &one, Number other) const;
    void changed(simnet::Time now);

    std::map<std::array<DDS_Octet, 12>, Number> numbers_;
    std::vector<Participant> all_;
    std::uint64_t there_ = 0;
    std::uint64_t lost_living_ = 0;
    Moment moment_;
    std::vector<Moment> curve_;
};

} // namespace ddssim
