// SPDX-License-Identifier: Apache-2.0
/**
 * @file neighbourhood.h
 * @brief Participants on one network, and what each of them must know of the others at any time.
 */
#pragma once

#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../unit/disc/participants.h"
#include "scenario.h"

namespace simulated {

/** How soon something is known to those who can hear it, where nothing is lost. */
constexpr simnet::Time FOUND = 300 * simnet::MILLISECOND; // greetings are spread
constexpr simnet::Time CHANGED = 50 * simnet::MILLISECOND;
constexpr simnet::Time LEFT = 50 * simnet::MILLISECOND;
constexpr simnet::Time REPLACED = 250 * simnet::MILLISECOND;
constexpr simnet::Time MOVED = 150 * simnet::MILLISECOND;
/** After the end of its lease one is not known any more. */
constexpr simnet::Time LOST = 200 * simnet::MILLISECOND;

/** A participant that there is, or was. */
struct Neighbour {
    sim::Party &party() const {
        return *its_party;
    }
    bool is_there() const {
        return its_party != nullptr;
    }

    std::size_t number = 0; /**< in the order in which they came */
    simnet::Host *host = nullptr;
    std::shared_ptr<sim::Machine> machine; /**< its process, which it may share */
    std::unique_ptr<sim::Party> its_party; /**< null: it is there no more */
    sim::Settings settings;
    NUVOsapiRtpsGuidPrefix prefix{};
    simnet::Time lease = 0;
    simnet::Time period = 0;
    simnet::Time since = 0;
    std::optional<simnet::Time> ended;
    bool has_left = false;                                /**< by its word, when it has ended */
    std::optional<simnet::Time> replaced;                 /**< when another one had its ports */
    simnet::Time moved = std::numeric_limits<int>::min(); /**< to another address */
    std::vector<std::string> texts;                       /**< its user data, one after the other */
    std::map<const Neighbour *, std::size_t> known;       /**< and which of its texts */
};

/**
 * Whatever its participants make of one another is compared with what they can have heard: none is
 * taken for gone that speaks and is heard, none is kept longer than it may be, no news is invented
 * or old.
 */
class Neighbourhood : public Scenario {
public:
    struct Settings {
        simnet::LinkProperty link; /**< of each host */
        simnet::Time least_lease = simnet::SECOND;
        simnet::Time longest_lease = 20 * simnet::SECOND;
        int remote_participants_max = DISC_REMOTE_PARTICIPANTS_MAX_DEFAULT;
    };

    Neighbourhood(NUV_UINT64 seed, const Settings &settings);
    ~Neighbourhood();

    /** Links that delay, overtake and repeat; between two hosts that share is lost. */
    static simnet::LinkProperty any_link(NUV_UINT64 seed, double loss = 0);

    simnet::Host &add_host();
    /** A participant in a process of its own, or in that of another one. */
    Neighbour &start(simnet::Host &host);
    Neighbour &start_beside(const Neighbour &other);
    /** It leaves as applications do, which ends its process when it was the last one there. */
    void leave(Neighbour &one);
    /** Its process ends without a word. */
    void kill(const Neighbour &one);
    /** The same, and another one is started in its place. */
    void restart(const Neighbour &one);
    void change_text(Neighbour &one);

    /** Nothing passes between these hosts and the others. */
    void part(const std::vector<simnet::Host *> &side);
    void heal();
    void freeze(simnet::Host &host);
    void thaw(simnet::Host &host);
    void suspend(simnet::Host &host);
    void wake(simnet::Host &host);
    /** Gives it another address: beside the former one, or in its place. */
    void move(simnet::Host &host, bool keeps_former);

    /** Those that are there. */
    std::vector<Neighbour *> present();
    std::vector<Neighbour *> present_on(const simnet::Host &host);
    Neighbour &any();
    simnet::Host &any_host();
    const std::vector<simnet::Host *> &all_hosts() const {
        return its_hosts_;
    }
    bool happens(double share) {
        return world.random().happens(share);
    }
    int pick(int least, int most) {
        return static_cast<int>(world.random().between(least, most));
    }

    /** Whether each knows exactly those that are there and can be heard, as they are now. */
    bool is_all_right();
    /** Fails the test when it is not so. */
    void expect_all_right();
    /** Ends without a word, as nothing is judged any more. */
    void close();

    /** How many of those who lived were taken for gone as they were not heard. */
    std::size_t lost_living() const {
        return lost_living_;
    }
    /** Of all that there are or were. */
    simnet::Time longest_period() const;
    simnet::Time longest_lease() const;

private:
    /** A host was not heard by another one, or by any. */
    struct Silence {
        bool concerns(const Neighbour &one, const Neighbour &other) const {
            return other.host == from && (to == nullptr || one.host == to);
        }

        const simnet::Host *from;
        const simnet::Host *to; // null: any
        simnet::Time since;
        simnet::Time until;
    };
    static constexpr simnet::Time NEVER = std::numeric_limits<simnet::Time>::max();
    /** What is under way may arrive so much later. */
    static constexpr simnet::Time UNDER_WAY = 20 * simnet::MILLISECOND;

    Neighbour &start(simnet::Host &host, std::shared_ptr<sim::Machine> machine, int index);
    int free_index(const simnet::Host &host);
    void end(Neighbour &one, bool has_left);
    void silence(const simnet::Host *from, const simnet::Host *to);
    void end_silence(const simnet::Host *from, bool is_healed);
    std::optional<simnet::Time> unheard_since(const Neighbour &one, const Neighbour &other) const;
    bool has_heard_since(const Neighbour &one, const Neighbour &other, simnet::Time since) const;
    bool is_lossless() const {
        return settings_.link.loss == 0;
    }
    bool is_bounded() const {
        return settings_.remote_participants_max != DISC_REMOTE_PARTICIPANTS_MAX_DEFAULT;
    }

    void judge_news();
    void judge(Neighbour &one, const sim::News &news);
    void judge_came(const Neighbour &one, const Neighbour &other) const;
    void judge_text(Neighbour &one, const Neighbour &other, const std::string &text) const;
    void judge_lost(const Neighbour &one, const Neighbour &other);
    bool may_be_lost(const Neighbour &one, const Neighbour &other) const;
    std::string describe(const Neighbour &one, const Neighbour &other) const;
    void judge_kept();
    // These have it be looked at later what those know who can hear of it.
    void expect_known(const Neighbour &other);
    void expect_unknown(const Neighbour &other, simnet::Time after,
                        const Neighbour *successor = nullptr);
    void expect_text(const Neighbour &other);
    void expect_places(const Neighbour &other);
    simnet::Time longest_prolongation(const Neighbour &other);
    void plan(simnet::Time after, const simnet::Action &look);

    const Settings settings_;
    std::vector<Neighbour *> with_news_;
    bool is_closed_ = false;
    std::size_t lost_living_ = 0;
    std::vector<Silence> silences_;
    std::vector<simnet::Host *> its_hosts_;
    std::map<const simnet::Host *, simnet::Time> slow_until_; // to act on what it hears
    int addresses_ = 0;
    std::deque<Neighbour> all_;
};

} // namespace simulated
