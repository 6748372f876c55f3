// SPDX-License-Identifier: Apache-2.0
// Participants on one network, and what each of them must know of the others at any time.
#include "neighbourhood.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace simulated {

using simnet::MILLISECOND;
using simnet::SECOND;
using simnet::Time;

namespace {

/** What a process takes until it has noticed that its addresses are others. */
constexpr Time NOTICED = 100 * MILLISECOND;
/** A change of address is news of leaving for so long. */
constexpr Time MOVING = 500 * MILLISECOND;

simnet::Interface &eth0(const simnet::Host &host) {
    return *host.find_interface("eth0");
}

std::set<std::string> metatraffic_of(const Neighbour &one) {
    std::set<std::string> texts;
    for (const simnet::Prefix &prefix : eth0(*one.host).addresses()) {
        texts.insert("udpv4://" +
                     to_text(simnet::Endpoint{prefix.address, 7410 + 2 * one.settings.index}));
    }
    return texts;
}

} // namespace

Neighbourhood::Neighbourhood(NUV_UINT64 seed, const Settings &settings)
    : Scenario(seed), settings_(settings) {
    observe([this] { judge_news(); });
}

Neighbourhood::~Neighbourhood() {
    close();
}

void Neighbourhood::close() {
    is_closed_ = true;
    world.observe(nullptr);
    for (Neighbour &one : all_) {
        one.its_party.reset();
        one.machine.reset();
    }
}

simnet::LinkProperty Neighbourhood::any_link(NUV_UINT64 seed, double loss) {
    simnet::Random random(seed);
    simnet::LinkProperty link;
    link.delay = random.between(10 * simnet::MICROSECOND, MILLISECOND);
    link.jitter = random.between(0, MILLISECOND);
    link.duplication = random.happens(0.5) ? 0.1 : 0;
    link.reordering = random.happens(0.5) ? 0.1 : 0;
    link.loss = 1 - std::sqrt(1 - loss); // there are two of them
    return link;
}

// ---- What is done

simnet::Host &Neighbourhood::add_host() {
    simnet::Host &added = world.add_host("h" + std::to_string(its_hosts_.size()));
    const int number = addresses_++;
    added.add_interface(
        "eth0", &lan,
        {"10.0." + std::to_string(number / 250) + "." + std::to_string(number % 250 + 1) + "/16"},
        settings_.link);
    its_hosts_.push_back(&added);
    return added;
}

int Neighbourhood::free_index(const simnet::Host &on) {
    int index = 0;
    const std::vector<Neighbour *> its_own = present_on(on);
    while (std::any_of(its_own.begin(), its_own.end(),
                       [index](const Neighbour *one) { return one->settings.index == index; })) {
        ++index;
    }
    return index;
}

Neighbour &Neighbourhood::start(simnet::Host &on) {
    simnet::Process &process = on.add_process("p" + std::to_string(all_.size()), hasty_or_slow());
    return start(on, std::make_shared<sim::Machine>(process), free_index(on));
}

Neighbour &Neighbourhood::start_beside(const Neighbour &other) {
    return start(*other.host, other.machine, free_index(*other.host));
}

Neighbour &Neighbourhood::start(simnet::Host &on, std::shared_ptr<sim::Machine> machine,
                                int index) {
    Neighbour &one = all_.emplace_back();
    one.number = all_.size() - 1;
    one.host = &on;
    one.machine = std::move(machine);
    one.since = world.now();
    one.lease = world.random().between(settings_.least_lease, settings_.longest_lease);
    one.period = world.random().between(one.lease / 8, one.lease / 4);
    one.texts = {"0 of " + std::to_string(one.number)};
    one.settings.index = index;
    one.settings.user_data = one.texts.back();
    one.settings.property.leaseDuration = NUVNtpTime_fromNanoseconds(one.lease);
    one.settings.property.announcementPeriod = NUVNtpTime_fromNanoseconds(one.period);
    one.settings.property.remoteParticipantsMax = settings_.remote_participants_max;
    one.settings.on_news = [this, &one] { with_news_.push_back(&one); };
    for (Neighbour &former : all_) {
        if (&former != &one && former.host == &on && former.settings.index == index &&
            !former.replaced) {
            former.replaced = world.now();
            if (!former.has_left) {
                expect_unknown(former, REPLACED, &one);
            }
        }
    }
    one.its_party = std::make_unique<sim::Party>(*one.machine, one.settings);
    one.prefix = one.party().prefix();
    expect_known(one);
    return one;
}

void Neighbourhood::end(Neighbour &one, bool has_left) {
    one.ended = world.now();
    one.has_left = has_left;
    one.its_party.reset();
    one.machine.reset();
    one.known.clear();
    plan(one.lease + longest_prolongation(one) + LOST, [this] { judge_kept(); });
}

void Neighbourhood::leave(Neighbour &one) {
    end(one, true);
    expect_unknown(one, LEFT);
}

void Neighbourhood::kill(const Neighbour &one) {
    const std::shared_ptr<sim::Machine> machine = one.machine;
    machine->process.kill();
    for (Neighbour &other : all_) {
        if (other.machine == machine) {
            end(other, false);
        }
    }
}

void Neighbourhood::restart(const Neighbour &one) {
    const int index = one.settings.index;
    kill(one);
    simnet::Process &process =
        one.host->add_process("p" + std::to_string(all_.size()), hasty_or_slow());
    start(*one.host, std::make_shared<sim::Machine>(process), index);
}

void Neighbourhood::change_text(Neighbour &one) {
    one.texts.push_back(std::to_string(one.texts.size()) + " of " + std::to_string(one.number));
    one.party().set_user_data(one.texts.back());
    expect_text(one);
}

void Neighbourhood::part(const std::vector<simnet::Host *> &side) {
    std::vector<simnet::Station *> stations;
    for (simnet::Host *const inside : side) {
        stations.push_back(&eth0(*inside));
        for (simnet::Host *const outside : its_hosts_) {
            if (std::find(side.begin(), side.end(), outside) == side.end()) {
                silence(inside, outside);
                silence(outside, inside);
            }
        }
    }
    lan.part(stations);
}

void Neighbourhood::heal() {
    lan.heal();
    for (const simnet::Host *const from : its_hosts_) {
        end_silence(from, true);
    }
}

void Neighbourhood::freeze(simnet::Host &which) {
    which.freeze();
    slow_until_[&which] = NEVER;
    silence(&which, nullptr);
}

void Neighbourhood::thaw(simnet::Host &which) {
    which.thaw();
    slow_until_[&which] = world.now() + UNDER_WAY;
    end_silence(&which, false);
}

void Neighbourhood::suspend(simnet::Host &which) {
    which.suspend();
    slow_until_[&which] = NEVER;
    silence(&which, nullptr);
}

/** Its leases have stood as its clock did. */
void Neighbourhood::wake(simnet::Host &which) {
    which.wake();
    slow_until_[&which] = world.now() + settings_.longest_lease;
    end_silence(&which, false);
}

void Neighbourhood::move(simnet::Host &which, bool keeps_former) {
    std::vector<std::string> texts;
    const int number = addresses_++;
    texts.push_back("10.0." + std::to_string(number / 250) + "." +
                    std::to_string(number % 250 + 1) + "/16");
    if (keeps_former) {
        texts.insert(texts.begin(), to_text(eth0(which).addresses().front().address) + "/16");
    }
    eth0(which).set_addresses(texts);
    const Time noticed = world.now() + up_to(NOTICED);
    for (Neighbour *const one : present_on(which)) {
        world.at(noticed, [this, one, keeps_former] {
            if (!one->is_there() || is_closed_) {
                return;
            }
            if (!keeps_former) {
                one->moved = world.now();
            }
            one->party().set_addresses({});
            expect_places(*one);
        });
    }
}

// ---- Who there is

std::vector<Neighbour *> Neighbourhood::present() {
    std::vector<Neighbour *> some;
    for (Neighbour &one : all_) {
        if (one.is_there()) {
            some.push_back(&one);
        }
    }
    return some;
}

std::vector<Neighbour *> Neighbourhood::present_on(const simnet::Host &which) {
    std::vector<Neighbour *> some = present();
    std::erase_if(some, [&which](const Neighbour *one) { return one->host != &which; });
    return some;
}

Neighbour &Neighbourhood::any() {
    const std::vector<Neighbour *> some = present();
    return *some[world.random().up_to(some.size() - 1)];
}

simnet::Host &Neighbourhood::any_host() {
    return *its_hosts_[world.random().up_to(its_hosts_.size() - 1)];
}

Time Neighbourhood::longest_period() const {
    Time longest = 0;
    for (const Neighbour &one : all_) {
        longest = std::max(longest, one.period);
    }
    return longest;
}

Time Neighbourhood::longest_lease() const {
    Time longest = 0;
    for (const Neighbour &one : all_) {
        longest = std::max(longest, one.lease);
    }
    return longest;
}

// ---- Who can hear whom

void Neighbourhood::silence(const simnet::Host *from, const simnet::Host *to) {
    silences_.push_back({from, to, world.now(), NEVER});
    for (const Neighbour *const one : present_on(*from)) {
        plan(one->lease + longest_prolongation(*one) + LOST, [this] { judge_kept(); });
    }
}

void Neighbourhood::end_silence(const simnet::Host *from, bool is_healed) {
    for (Silence &one : silences_) {
        if (one.from == from && (one.to != nullptr) == is_healed && one.until == NEVER) {
            one.until = world.now();
        }
    }
}

/** Since when the one has not been able to hear the other; none: it can. */
std::optional<Time> Neighbourhood::unheard_since(const Neighbour &one,
                                                 const Neighbour &other) const {
    std::optional<Time> since = other.ended;
    for (const Silence &silence : silences_) {
        if (silence.concerns(one, other) && silence.until == NEVER) {
            since = std::min(since.value_or(NEVER), silence.since);
        }
    }
    return since;
}

/** Whether the one could hear the other all the time from then on, and act on it. */
bool Neighbourhood::has_heard_since(const Neighbour &one, const Neighbour &other,
                                    Time since) const {
    const auto slow = slow_until_.find(one.host);
    return (slow == slow_until_.end() || slow->second < since) &&
           std::none_of(silences_.begin(), silences_.end(), [&](const Silence &silence) {
               return silence.concerns(one, other) && silence.until >= since;
           });
}

/** As long as datagrams have found no room, those who said them may be among the lost ones. */
Time Neighbourhood::longest_prolongation(const Neighbour &other) {
    return world.trace().dropped(simnet::Drop::BUFFER) != 0 ? 3 * other.lease / 4 : 0;
}

// ---- What must be known

void Neighbourhood::plan(Time after, const simnet::Action &look) {
    world.after(after, [this, look] {
        if (!is_closed_ && !testing::Test::HasFailure()) {
            judge_news();
            look();
        }
    });
}

void Neighbourhood::expect_known(const Neighbour &other) {
    if (!is_lossless() || is_bounded()) {
        return;
    }
    plan(FOUND, [this, &other, since = world.now()] {
        for (Neighbour *const one : present()) {
            if (one != &other && other.is_there() && one->since <= since &&
                has_heard_since(*one, other, since) && has_heard_since(other, *one, since)) {
                EXPECT_TRUE(one->party().knows(other.prefix)) << describe(*one, other) << " not";
                EXPECT_TRUE(other.party().knows(one->prefix)) << describe(other, *one) << " not";
            }
        }
    });
}

void Neighbourhood::expect_unknown(const Neighbour &other, Time after, const Neighbour *successor) {
    if (!is_lossless()) {
        return;
    }
    // Who does not know it yet may hear of its end first, and of it then: its lease ends that.
    std::set<const Neighbour *> concerned;
    for (const Neighbour *const one : present()) {
        if (one->known.contains(&other)) {
            concerned.insert(one);
        }
    }
    plan(after, [this, &other, concerned, successor, since = world.now()] {
        if (successor != nullptr && !successor->is_there()) {
            return; // it may not have been heard at all
        }
        for (Neighbour *const one : present()) {
            if (concerned.contains(one) && has_heard_since(*one, other, since - UNDER_WAY)) {
                EXPECT_FALSE(one->party().knows(other.prefix)) << describe(*one, other);
            }
        }
    });
}

void Neighbourhood::expect_text(const Neighbour &other) {
    if (!is_lossless() || is_bounded()) {
        return;
    }
    plan(CHANGED, [this, &other, since = world.now(), text = other.texts.size() - 1] {
        for (const Neighbour *const one : present()) {
            const auto known = one->known.find(&other);
            if (other.is_there() && known != one->known.end() &&
                has_heard_since(*one, other, since)) {
                EXPECT_GE(known->second, text) << describe(*one, other) << " as it was";
            }
        }
    });
}

void Neighbourhood::expect_places(const Neighbour &other) {
    plan(MOVED, [this, &other, since = world.now()] {
        const std::set<std::string> places = metatraffic_of(other);
        for (Neighbour *const one : present()) {
            if (one != &other && other.is_there() && has_heard_since(*one, other, since)) {
                const std::vector<std::string> seen = one->party().see(other.prefix).metatraffic;
                EXPECT_EQ(std::set<std::string>(seen.begin(), seen.end()), places)
                    << describe(*one, other) << " elsewhere";
            }
        }
    });
}

/** None is known any more that was last heard longer ago than its lease. */
void Neighbourhood::judge_kept() {
    for (Neighbour *const one : present()) {
        const auto slow = slow_until_.find(one->host);
        if (slow != slow_until_.end() && slow->second >= world.now() - LOST) {
            continue;
        }
        for (const auto &[other, text] : one->known) {
            const std::optional<Time> unheard = unheard_since(*one, *other);
            EXPECT_FALSE(unheard && world.now() >= *unheard + other->lease + LOST +
                                                       longest_prolongation(*other))
                << describe(*one, *other) << " after its lease";
        }
    }
}

bool Neighbourhood::is_all_right() {
    judge_news();
    const std::vector<Neighbour *> some = present();
    return std::all_of(some.begin(), some.end(), [&](const Neighbour *one) {
        return one->known.size() == some.size() - 1 &&
               std::all_of(some.begin(), some.end(), [&](const Neighbour *other) {
                   const auto known = one->known.find(other);
                   return one == other ||
                          (known != one->known.end() && known->second == other->texts.size() - 1);
               });
    });
}

void Neighbourhood::expect_all_right() {
    if (testing::Test::HasFailure()) {
        return;
    }
    judge_news();
    const std::vector<Neighbour *> some = present();
    for (Neighbour *const one : some) {
        EXPECT_EQ(one->party().count(), some.size() - 1) << one->number;
        for (const Neighbour *const other : some) {
            if (other == one) {
                continue;
            }
            const auto known = one->known.find(other);
            if (known == one->known.end() || !one->party().knows(other->prefix)) {
                ADD_FAILURE() << describe(*one, *other) << " not";
            } else {
                EXPECT_EQ(known->second, other->texts.size() - 1) << describe(*one, *other);
            }
        }
    }
}

// ---- What is heard of others

void Neighbourhood::judge_news() {
    while (!with_news_.empty()) {
        Neighbour &one = *with_news_.back();
        with_news_.pop_back();
        while (one.is_there()) {
            const std::optional<sim::News> news = one.party().take_news();
            if (!news) {
                break;
            }
            judge(one, *news);
        }
    }
}

void Neighbourhood::judge(Neighbour &one, const sim::News &news) {
    const auto other = std::find_if(all_.begin(), all_.end(), [&](const Neighbour &any) {
        return NUVOsapiRtpsGuidPrefix_isSame(&any.prefix, &news.prefix) != 0;
    });
    if (other == all_.end()) {
        ADD_FAILURE() << one.number << " has news of nobody";
        return;
    }
    switch (news.change) {
    case DISC_CHANGE_CAME:
        judge_came(one, *other);
        judge_text(one, *other, news.user_data);
        break;
    case DISC_CHANGE_CHANGED:
        EXPECT_TRUE(one.known.contains(&*other)) << describe(one, *other) << " not, and changed";
        judge_text(one, *other, news.user_data);
        break;
    case DISC_CHANGE_LEFT:
        EXPECT_TRUE(other->has_left || world.now() - other->moved <= MOVING)
            << describe(one, *other) << " to have left";
        EXPECT_EQ(one.known.erase(&*other), 1u) << describe(one, *other) << " not, and left";
        break;
    case DISC_CHANGE_LOST:
        judge_lost(one, *other);
        EXPECT_EQ(one.known.erase(&*other), 1u) << describe(one, *other) << " not, and lost";
        break;
    }
}

void Neighbourhood::judge_came(const Neighbour &one, const Neighbour &other) const {
    EXPECT_FALSE(one.known.contains(&other)) << describe(one, other) << " twice";
    EXPECT_TRUE(!other.ended || world.now() <= *other.ended + UNDER_WAY ||
                !has_heard_since(one, other, *other.ended))
        << describe(one, other) << " after its end";
}

/** It is what it once was, and not older than what was known. */
void Neighbourhood::judge_text(Neighbour &one, const Neighbour &other,
                               const std::string &text) const {
    const auto found = std::find(other.texts.begin(), other.texts.end(), text);
    ASSERT_NE(found, other.texts.end()) << describe(one, other) << " as '" << text << "'";
    const auto number = static_cast<std::size_t>(found - other.texts.begin());
    const auto known = one.known.find(&other);
    EXPECT_TRUE(known == one.known.end() || number >= known->second)
        << describe(one, other) << " as it was before";
    one.known[&other] = number;
}

void Neighbourhood::judge_lost(const Neighbour &one, const Neighbour &other) {
    if (other.is_there() && !is_lossless()) {
        ++lost_living_;
        return;
    }
    if (is_bounded()) {
        return; // it has made room for somebody else
    }
    EXPECT_TRUE(may_be_lost(one, other)) << describe(one, other) << " to be lost";
}

bool Neighbourhood::may_be_lost(const Neighbour &one, const Neighbour &other) const {
    const Time now = world.now();
    // It may not have been heard for a period before that, and is heard again a period after it.
    const Time shortest = other.lease - other.period - UNDER_WAY;
    const Time last_said = other.ended.value_or(now) - other.period - UNDER_WAY;
    const bool was_silent =
        std::any_of(silences_.begin(), silences_.end(), [&](const Silence &silence) {
            return silence.concerns(one, other) && now >= silence.since + shortest &&
                   silence.until >= last_said;
        });
    if (!other.ended) {
        return was_silent;
    }
    const bool is_told =
        other.has_left && is_lossless() && has_heard_since(one, other, *other.ended - UNDER_WAY);
    return was_silent || (!is_told && now >= *other.ended + shortest) ||
           (other.replaced && now >= *other.replaced);
}

std::string Neighbourhood::describe(const Neighbour &one, const Neighbour &other) const {
    return std::to_string(world.now() / MILLISECOND) + " ms: " + std::to_string(one.number) +
           " on " + one.host->name() + " knows " + std::to_string(other.number) + " on " +
           other.host->name();
}

} // namespace simulated
