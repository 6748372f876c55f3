// SPDX-License-Identifier: Apache-2.0
// One participant of this process: what it announces, and its view of those that are known.
#include "participant.h"

#include <array>
#include <cstring>
#include <new>

#include "disc_log.h"
#include "osapi/osapi_assert.h"
#include "osapi/osapi_utility.h"

namespace disc {

namespace {

/** What a burst of changes has to end in. */
constexpr NUV_INT64 SETTLE_TIME = 20 * MILLISECOND;
/** How long after the one before it a change is said again. */
constexpr NUV_INT64 REPETITIONS[] = {100 * MILLISECOND, 200 * MILLISECOND};
/** How many of its periods may pass until it sends itself to one that its group does not reach. */
constexpr NUV_INT64 PERIODS_WITHOUT_GROUP = 2;

/** Between answers to one asker of a writer that there is not. */
constexpr NUV_INT64 ANSWER_PAUSE = SECOND;
/** Between answers to one address that asks what has become of somebody. */
constexpr NUV_INT64 QUESTION_PAUSE = 200 * MILLISECOND;
/** Until what could not be said for lack of memory is tried again. */
constexpr NUV_INT64 SAY_AGAIN_PAUSE = SECOND;
/** A period of nothing would never end. */
constexpr NUV_INT64 SHORTEST_PERIOD = MILLISECOND;

bool is_builtin_writer(RTPSEntityId id) {
    return (id & 0xC0u) == 0xC0u && ((id & 0x3Fu) == 0x02u || (id & 0x3Fu) == 0x03u);
}

NUV_UINT32 bit_of(KOLS_Transport_ClassId_t transport) {
    constexpr KOLS_Transport_ClassId_t BITS = 32;
    return transport >= 0 && transport < BITS ? 1u << transport : 0;
}

RTPSTime wall_time() {
    NUVClock *const clock = NUVClock_getRealtime();
    return RTPSTime_fromNanoseconds(clock->getNanoseconds(clock));
}

NUV_UINT32 seed_of(const NUVOsapiRtpsGuidPrefix &prefix) {
    return (prefix.hostId ^ prefix.appId * 2654435761u ^ prefix.instanceId * 40503u) | 1u;
}

/**
 * The loopback of another host is none of ours. Over IPv4 what our own says to a group by its
 * loopback interface has no source address.
 */
bool is_far(const Known &known, const Place &place) {
    return place.is_loopback() && !known.source.is_loopback() && !known.source.is_any();
}

} // namespace

bool OwnProperty::copy(const DISCParticipantProperty &property) {
    property_ = property;
    const char *const tag = property.domainTag != nullptr ? property.domainTag : "";
    std::size_t size = std::strlen(tag) + 1;
    const std::span given(property.ownProperties, property.ownPropertyCount);
    for (const RTPSProperty &one : given) {
        size += one.name.length + one.value.length;
    }
    if (!texts_.resize(size) || !properties_.reserve(given.size())) {
        return false;
    }
    char *end = texts_.begin();
    const auto keep = [&end](const char *text, std::size_t length) {
        char *const kept = end;
        std::memcpy(kept, text, length);
        end += length;
        return kept;
    };
    property_.domainTag = keep(tag, std::strlen(tag) + 1);
    for (const RTPSProperty &one : given) {
        (void)properties_.append({{keep(one.name.text, one.name.length), one.name.length},
                                  {keep(one.value.text, one.value.length), one.value.length}});
    }
    property_.ownProperties = properties_.begin();
    return true;
}

} // namespace disc

using disc::Domain;
using disc::Known;
using disc::Place;
using disc::View;

DISCParticipant::DISCParticipant(DISCDiscovery &discovery, Domain &domain,
                                 PRESParticipant *participant)
    : discovery_(discovery), domain_(domain), participant_(participant),
      facade_(PRESParticipant_getFacade(participant)),
      detector_{RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_DETECTOR,
                on_data,
                nullptr,
                nullptr,
                nullptr,
                on_message,
                this},
      announcer_{RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER,
                 nullptr,
                 nullptr,
                 nullptr,
                 on_acknack,
                 nullptr,
                 this},
      others_{RTPS_ENTITYID_UNKNOWN, nullptr, nullptr, nullptr, on_acknack, nullptr, this},
      period_(on_period, this),
      change_(on_change, this), say_again_{on_say_again, this, 0, nullptr, 0},
      answered_(domain.secret()), told_(domain.secret()), strangers_(domain.secret()) {
    PRESParticipant_getGuid(participant, &guid_);
    chance_ = disc::seed_of(guid_.prefix);
}

bool DISCParticipant::open(const DISCParticipantProperty &property,
                           const DISCParticipantListener *listener) {
    if (listener != nullptr) {
        news.open(*listener);
    }
    return own_.copy(property);
}

bool DISCParticipant::add_endpoints(REDAWorker *worker) {
    for (const COMMENDEndpoint *endpoint : {&detector_, &announcer_, &others_}) {
        if (COMMENDFacade_addEndpoint(facade_, endpoint) == 0) {
            return false;
        }
    }
    const PRESParticipantDiscovery discovery = {on_enabled, on_property_set, on_shutdown, this};
    PRESParticipant_setDiscovery(participant_, &discovery, worker);
    return true;
}

bool DISCParticipant::remove_endpoints(REDAWorker *worker) {
    PRESParticipant_setDiscovery(participant_, nullptr, worker);
    bool is_removed = NUVEventActiveDatabase_cancelEvent(
                          NUVNetioRuntime_getEventDatabase(domain_.runtime()), &say_again_) != 0;
    for (const COMMENDEndpoint *endpoint : {&detector_, &announcer_, &others_}) {
        is_removed = COMMENDFacade_removeEndpoint(facade_, endpoint) != 0 && is_removed;
    }
    return is_removed;
}

bool DISCParticipant::has_tag(const RTPSText &tag) const {
    const std::size_t length = std::strlen(property().domainTag);
    return tag.length == length &&
           (length == 0 || std::memcmp(tag.text, property().domainTag, length) == 0);
}

disc::Schedule &DISCParticipant::schedule() const {
    return domain_.schedule;
}

// ---- What the presentation participant tells

void DISCParticipant::on_enabled(void *param, const PRESParticipantProperty *property,
                                 REDAWorker *worker) {
    auto *self = static_cast<DISCParticipant *>(param);
    const Domain::Visit visit(self->domain_, worker);
    self->start(*property);
}

void DISCParticipant::on_property_set(void *param, const PRESParticipantProperty *property,
                                      REDAWorker *worker) {
    auto *self = static_cast<DISCParticipant *>(param);
    const Domain::Visit visit(self->domain_, worker);
    self->change(*property);
}

void DISCParticipant::on_shutdown(void *param, REDAWorker *worker) {
    auto *self = static_cast<DISCParticipant *>(param);
    const Domain::Visit visit(self->domain_, worker);
    self->stop();
}

void DISCParticipant::start(const PRESParticipantProperty &property) {
    is_active_ = true;
    initial_left_ = this->property().initialAnnouncements;
    find_names();
    (void)say(make_record(property));
}

void DISCParticipant::change(const PRESParticipantProperty &property) {
    disc::HeldRemote record = make_record(property);
    if (record && record_ && record->says_the_same_as(*record_)) {
        is_unsaid_ = false;
        return;
    }
    const bool moves = record && record_ && has_moved_to(*record);
    // What it says afterwards is newer than its leaving, by number and by time.
    const Leaving leaving = {moves ? ++sequence_ : 0, next_time()};
    const bool is_first = !record_;
    // Who was known already was greeted with nothing.
    if (say(std::move(record)) && (!is_first || known_count() != 0)) {
        leaves_first_ = moves ? leaving : leaves_first_;
        announce_change();
    }
}

void DISCParticipant::change_lease(const NUVNtpTime &lease, const NUVNtpTime &period) {
    const bool is_new = NUVNtpTime_compare(&own_.get().leaseDuration, &lease) != 0;
    own_.set_lease(lease, period);
    if (!is_active_ || !record_) {
        return;
    }
    if (is_new) {
        RTPSParticipantData data;
        DISCRemote_read(record_.get(), &data);
        data.leaseDuration = lease;
        if (say(disc::HeldRemote(DISCRemote::make(data)))) {
            announce_change();
        }
    }
    if (announces()) {
        schedule().set_no_later(period_, disc::later(domain_.now(), shorten(this->period())));
    }
}

void DISCParticipant::announce_soon() {
    if (is_active_ && announces() && record_) {
        schedule().set(period_, domain_.now());
    }
}

/** The first of a burst is said at once. */
void DISCParticipant::announce_change() {
    if (!announces()) {
        return;
    }
    const NUV_INT64 now = domain_.now();
    change_step_ = 0;
    const bool is_first = last_change_ == 0 || now - last_change_ >= disc::SETTLE_TIME;
    schedule().set(change_, is_first ? now : last_change_ + disc::SETTLE_TIME);
}

void DISCParticipant::stop() {
    if (!is_active_) {
        return;
    }
    schedule().cancel(period_);
    schedule().cancel(change_);
    if (announces() && record_) {
        leave({++sequence_, next_time()});
    }
    is_active_ = false; // from here on its own place is not at home any more
    domain_.forget(*this);
}

// ---- What it says of itself

/** None when memory runs out. */
disc::HeldRemote DISCParticipant::make_record(const PRESParticipantProperty &from) {
    RTPSParticipantData data = disc::data_of(from, own_.get());
    data.guid = guid_;
    note_transports(from.parameter);
    keep_working_locators(&data, from.parameter);
    disc::PropertyOctets octets;
    if (!octets.fill(from.parameter.propertyList, own_.get(), &data.properties)) {
        return {};
    }
    return disc::HeldRemote(DISCRemote::make(data));
}

/** Where there is no address, nothing can be sent. */
void DISCParticipant::note_transports(const PRESParticipantParameter &parameter) {
    transports_ = 0;
    for (const PRESLocatorQosPolicy *list :
         {&parameter.metatrafficUnicastLocator, &parameter.defaultUnicastLocator}) {
        for (const NUVNetioLocator &locator :
             std::span(list->locatorList, static_cast<std::size_t>(list->count))) {
            transports_ |= disc::bit_of(locator.transport);
        }
    }
}

void DISCParticipant::keep_working_locators(RTPSParticipantData *data,
                                            const PRESParticipantParameter &parameter) {
    const auto keep = [this](RTPSLocators *to, const NUVNetioLocator *from, NUV_INT32 count) {
        for (const NUVNetioLocator &locator : std::span(from, static_cast<std::size_t>(count))) {
            if (COMMENDFacade_hasEntryport(facade_, &locator, domain_.worker()) != 0) {
                RTPSLocators_add(to, &locator, nullptr);
            }
        }
    };
    const auto keep_all = [&keep](RTPSLocators *to, const auto &policy) {
        keep(to, policy.locatorList, policy.count);
    };
    keep_all(&data->metatrafficUnicast, parameter.metatrafficUnicastLocator);
    keep_all(&data->defaultUnicast, parameter.defaultUnicastLocator);
    keep_all(&data->metatrafficMulticast, parameter.metatrafficMulticastLocator);
    keep_all(&data->defaultMulticast, parameter.defaultMulticastLocator);
}

/** When memory runs out it goes on saying what it said before, until it is tried again. */
bool DISCParticipant::say(disc::HeldRemote record) {
    if (!record || !announcement_.set(*record, sequence_ + 1, next_time())) {
        say_later();
        return false;
    }
    is_unsaid_ = false;
    ++sequence_;
    record_ = std::move(record);
    shortest_lease_ = std::min(shortest_lease_, record_->lease());
    if (announces() && !period_.is_set()) {
        schedule().set(period_, domain_.now()); // for the first time
    }
    domain_.introduce(*this);
    return true;
}

void DISCParticipant::say_later() {
    constexpr const char *LOG_METHOD = "DISCParticipant_announce";
    if (!std::exchange(is_unsaid_, true)) {
        DISC_ERROR("out of memory for what a participant announces: the others are told of it as "
                   "soon as there is some");
    }
    const NUVNtpTime pause = NUVNtpTime_fromNanoseconds(disc::SAY_AGAIN_PAUSE);
    NUVEventActiveDatabase_postEvent(NUVNetioRuntime_getEventDatabase(domain_.runtime()),
                                     &say_again_, &pause);
}

/** On the reactor, without the area: what the presentation participant guards comes first. */
void DISCParticipant::on_say_again(void *param, REDAWorker *worker) {
    const auto *self = static_cast<const DISCParticipant *>(param);
    PRESParticipant_repeatToDiscovery(self->participant_, worker);
}

/** Whether none of the places is left where it was found before. */
bool DISCParticipant::has_moved_to(const DISCRemote &record) const {
    const auto before = record_->metatraffic();
    const auto after = record.metatraffic();
    return !before.empty() && std::none_of(before.begin(), before.end(), [&](const Place &place) {
        return std::find(after.begin(), after.end(), place) != after.end();
    });
}

void DISCParticipant::on_period(void *owner, NUV_INT64 now) {
    auto *self = static_cast<DISCParticipant *>(owner);
    self->leave_first();
    self->announce_to_peers();
    self->domain_.meet_again();
    NUV_INT64 pause = 0;
    if (self->initial_left_ > 0) {
        --self->initial_left_;
        pause =
            self->shorten(NUVNtpTime_toNanoseconds(&self->property().initialAnnouncementPeriod));
    } else {
        pause = self->shorten(self->period());
        self->announce_to_unreached(now);
        self->find_names();
    }
    self->schedule().set(self->period_, disc::later(now, std::max(pause, disc::SHORTEST_PERIOD)));
}

void DISCParticipant::on_change(void *owner, NUV_INT64 now) {
    auto *self = static_cast<DISCParticipant *>(owner);
    if (self->change_step_ == 0) {
        self->last_change_ = now;
    }
    self->leave_first();
    self->announce_to_peers();
    self->visit_known([self](Known &known) { self->announce_to(known); });
    if (static_cast<std::size_t>(self->change_step_) < std::size(disc::REPETITIONS)) {
        self->schedule().set(self->change_, now + disc::REPETITIONS[self->change_step_]);
        ++self->change_step_;
    }
}

/** Before anything is heard of it from where nobody knows it. */
void DISCParticipant::leave_first() {
    if (leaves_first_.sequence != 0) {
        leave(std::exchange(leaves_first_, {}));
    }
}

/** Some keep the first lease that they were told of. */
NUV_INT64 DISCParticipant::period() const {
    constexpr NUV_INT64 PERIODS_OF_LEASE = 4;
    return std::min(own_.period(), shortest_lease_ / PERIODS_OF_LEASE);
}

/** A jitter that only shortens it keeps those that were started together from staying so. */
NUV_INT64 DISCParticipant::shorten(NUV_INT64 period) {
    return period - pick(period / 10);
}

NUV_INT64 DISCParticipant::pick(NUV_INT64 most) {
    constexpr NUV_UINT32 STEPS = 1024;
    chance_ ^= chance_ << 13;
    chance_ ^= chance_ >> 17;
    chance_ ^= chance_ << 5;
    return most / STEPS * (chance_ % STEPS);
}

bool DISCParticipant::set_peers(std::span<const NUVNetioPeer> peers) {
    const bool has_names = std::any_of(peers.begin(), peers.end(), disc::has_name);
    if (has_names && !make_lookup()) {
        return false;
    }
    if (!peers_.set(peers, property(), COMMENDFacade_getConfigurator(facade_))) {
        return false;
    }
    find_names();
    domain_.meet(*this);
    announce_soon();
    return true;
}

bool DISCParticipant::make_lookup() {
    if (lookup_ == nullptr) {
        NUVOsapiHeap_allocateStructure(&lookup_, class disc::Lookup);
        if (lookup_ == nullptr) {
            return false;
        }
        new (lookup_) disc::Lookup(domain_, *this);
    }
    return true;
}

/** The thread of callbacks runs, as there are names. */
void DISCParticipant::find_names() {
    if (peers_.has_names() && is_active_ && announces()) {
        lookup_->start();
    }
}

void DISCParticipant::take_names(const disc::Names &names) {
    if (peers_.take_names(names, property(), COMMENDFacade_getConfigurator(facade_))) {
        domain_.meet(*this);
        announce_soon();
    }
}

disc::Lookup *DISCParticipant::give_up_lookup() {
    if (lookup_ != nullptr) {
        lookup_->leave_behind();
    }
    return std::exchange(lookup_, nullptr);
}

void DISCParticipant::announce_to_peers() {
    for (const Place &place : destinations()) {
        if (!domain_.is_home(place)) {
            statistics.announcementsSent += send(place, announcement_.to_all()) ? 1 : 0;
        }
    }
}

bool DISCParticipant::is_at(const Place &place) const {
    const auto own = record_ ? record_->metatraffic() : std::span<const Place>();
    return std::any_of(own.begin(), own.end(), [&](const Place &one) {
        return one == place ||
               (place.is_loopback() && one.transport == place.transport && one.port == place.port);
    });
}

/**
 * To those that were never heard by the group: it may not reach them either. They have shown that
 * they hear us, and go on speaking: whoever forges somebody's address has to go on, too.
 */
void DISCParticipant::announce_to_unreached(NUV_INT64 now) {
    visit_known([&](Known &known) {
        if (!known.was_heard_by_group && view_of(known).is_heard && !peers_.has(known.source) &&
            (now - known.first_heard) / disc::PERIODS_WITHOUT_GROUP >= period() &&
            (now - known.last_heard) / disc::PERIODS_WITHOUT_GROUP <= record_->lease()) {
            announce_to(known);
        }
    });
}

template <typename Visitor>
void DISCParticipant::visit_known(Visitor visitor) {
    for (std::size_t slot = 0; slot < domain_.table.slots(); ++slot) {
        Known *const known = domain_.table.at(slot);
        if (known != nullptr && known->local == nullptr && views_[slot].has) {
            visitor(*known);
        }
    }
}

void DISCParticipant::announce_to(const Known &known) {
    statistics.announcementsSent += send_to(known, announcement_.to(known.prefix));
}

void DISCParticipant::leave(const Leaving &leaving) {
    disc::ShortMessage to_all(prefix(), nullptr);
    to_all.add_leaving(leaving.sequence, leaving.time);
    for (const Place &place : destinations()) {
        if (!domain_.is_home(place)) {
            statistics.announcementsSent += send(place, to_all.octets()) ? 1 : 0;
        }
    }
    visit_known([&](const Known &known) {
        disc::ShortMessage message(prefix(), &known.prefix);
        message.add_leaving(leaving.sequence, leaving.time);
        statistics.announcementsSent += send_to(known, message.octets());
    });
}

// ---- What it sends to one that is known

void DISCParticipant::greet(const Known &known) {
    if (record_) {
        leave_first();
        announce_to(known);
    }
}

/** Everywhere: at each of its places. */
bool DISCParticipant::ask(const Known &known, bool is_everywhere) {
    disc::ShortMessage message(prefix(), &known.prefix);
    message.add_question(++count_);
    if (!is_everywhere) {
        return send_to(known, message.octets()) != 0;
    }
    bool is_sent = false;
    for (const Place &place : known.record->metatraffic()) {
        is_sent = (!disc::is_far(known, place) && domain_.admits(*this, place) &&
                   send(place, message.octets())) ||
                  is_sent;
    }
    return is_sent;
}

void DISCParticipant::answer(const Known &known, RTPSEntityId reader, RTPSEntityId writer) {
    disc::ShortMessage message(prefix(), &known.prefix);
    message.add_empty_heartbeat(reader, writer, ++count_);
    statistics.heartbeatsSent += send_to(known, message.octets());
}

/** Without memory nobody is answered. */
bool DISCParticipant::admits_question(const Place &source) {
    auto *const told = told_.get();
    return told != nullptr && told->admits({source}, domain_.now(), disc::QUESTION_PAUSE);
}

/** Later than all that it has said, whatever the clock was set to. */
RTPSTime DISCParticipant::next_time() {
    const RTPSTime now = disc::wall_time();
    if (RTPSTime_isValid(&now) == 0) {
        return now;
    }
    if (RTPSTime_compare(&now, &last_time_) > 0) {
        last_time_ = now;
    } else if (++last_time_.fraction == 0) {
        ++last_time_.seconds;
    }
    return last_time_;
}

/**
 * Under the number of what it has announced, but with a time of its own: for the asker that is
 * news, and what is announced to all afterwards is a repetition. Without memory nobody is answered.
 */
void DISCParticipant::answer(const NUVOsapiRtpsGuidPrefix &asker, const Place &place,
                             std::span<const RTPSProperty> answers) {
    RTPSParticipantData data;
    disc::PropertyOctets octets;
    DISCRemote_read(record_.get(), &data);
    if (!octets.fill(RTPSPropertyList(data.properties), answers, &data.properties)) {
        return;
    }
    const disc::HeldRemote record(DISCRemote::make(data));
    disc::Announcement announcement;
    if (record && announcement.set(*record, sequence_, next_time())) {
        leave_first();
        statistics.announcementsSent += send(place, announcement.to(asker)) ? 1 : 0;
    }
}

/** From its own port, so that firewalls can be told. */
bool DISCParticipant::send(const Place &place, std::span<const NUV_UINT8> message) {
    if ((transports_ & disc::bit_of(place.transport)) == 0) {
        return false;
    }
    KOLS_Transport_Port_t port = 0;
    for (const Place &own : record_->metatraffic()) {
        if (own.transport == place.transport) {
            port = own.port;
            break;
        }
    }
    const NUVNetioLocator locator = place.locator();
    return COMMENDFacade_sendFrom(facade_, port, &locator, message.data(),
                                  static_cast<NUV_UINT32>(message.size()), domain_.worker()) != 0;
}

NUV_INT32 DISCParticipant::network_of(const Place &place) const {
    const NUVNetioLocator locator = place.locator();
    return NUVNetioConfigurator_findNetwork(COMMENDFacade_getConfigurator(facade_), &locator);
}

/**
 * Where it was heard from, when that is a place of its own; else at one place of each network that
 * we share; else, also when nothing can be sent there, at each.
 */
NUV_UINT64 DISCParticipant::send_to(const Known &known, std::span<const NUV_UINT8> message) {
    const auto places = known.record->metatraffic();
    const auto heard_at = std::find_if(places.begin(), places.end(), [&](const Place &place) {
        return place.has_same_address(known.source);
    });
    if (heard_at != places.end()) {
        return send(*heard_at, message) ? 1 : 0;
    }
    constexpr NUV_INT32 NONE = -1;
    std::array<NUV_INT32, RTPS_LOCATORS_MAX> networks; // of the places
    NUV_ASSERT(places.size() <= networks.size());
    const auto end =
        std::transform(places.begin(), places.end(), networks.begin(), [&](const Place &place) {
            return disc::is_far(known, place) || is_twin(known, place) ? NONE : network_of(place);
        });
    const auto send_at = [&](const Place &place) {
        return !disc::is_far(known, place) && domain_.admits(*this, place) && send(place, message);
    };
    NUV_UINT64 sent = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (networks[i] != NONE && send_at(places[i])) {
            ++sent;
            std::replace(networks.begin(), end, NUV_INT32{networks[i]}, NONE); // reached there
        }
    }
    if (sent != 0) {
        return sent;
    }
    for (std::size_t i = 0; i < places.size(); ++i) {
        sent += networks[i] == NONE && send_at(places[i]) ? 1 : 0;
    }
    return sent;
}

/** Whether another host has an address that we have as well, on a network of its own. */
bool DISCParticipant::is_twin(const Known &known, const Place &place) const {
    const auto own = record_->metatraffic();
    const auto has = [&](const Place &address) {
        return std::any_of(own.begin(), own.end(),
                           [&](const Place &one) { return one.has_same_address(address); });
    };
    return has(place) && !has(known.source) && !known.source.is_loopback() &&
           !known.source.is_any();
}

bool DISCParticipant::reaches(const DISCParticipant &other) const {
    if (!announces() || !record_ || !other.record_) {
        return false;
    }
    const auto groups = other.record_->groups();
    return std::any_of(destinations().begin(), destinations().end(), [&](const Place &place) {
        return place.is_group() ? std::find(groups.begin(), groups.end(), place) != groups.end()
                                : other.is_at(place);
    });
}

// ---- Its view

bool DISCParticipant::make_room(std::size_t slots) {
    return (slots <= views_.size() || views_.resize(slots)) && news.make_room(known_count_);
}

void DISCParticipant::add(const Known &known) {
    View &view = view_of(known);
    NUV_ASSERT(view.has == false);
    view.has = true;
    ++known_count_;
    remote_count_ += known.local == nullptr ? 1 : 0;
    known_bytes_ += known.record->size();
    ++statistics.came;
    news.add(DISC_CHANGE_CAME, *known.record);
}

void DISCParticipant::remove(const Known &known, DISCChange change) {
    if (known.slot >= views_.size()) {
        return;
    }
    View &view = view_of(known);
    if (view.has) {
        --known_count_;
        remote_count_ -= known.local == nullptr ? 1 : 0;
        known_bytes_ -= known.record->size();
        ++(change == DISC_CHANGE_LEFT ? statistics.left : statistics.lost);
        news.add(change, *known.record);
    }
    view = {};
}

void DISCParticipant::note_change(const Known &known) {
    ++statistics.changed;
    if (news.make_room(known_count_)) { // that for the ends of others is not taken from them
        news.add(DISC_CHANGE_CHANGED, *known.record);
    }
}

bool DISCParticipant::is_heard_again(const NUVOsapiRtpsGuidPrefix &stranger, NUV_UINT64 arrival,
                                     NUV_INT64 now) {
    constexpr NUV_INT64 SPAN = 60 * disc::SECOND;
    constexpr NUV_INT64 PAUSE = disc::SECOND;
    auto *const strangers = strangers_.get();
    // Twice in one datagram is once.
    return strangers != nullptr && std::exchange(stranger_arrival_, arrival) != arrival &&
           strangers->repeats({stranger, RTPS_ENTITYID_UNKNOWN}, now, SPAN, PAUSE);
}

bool DISCParticipant::ignores(const NUVOsapiRtpsGuidPrefix &prefix) const {
    return std::any_of(ignored_.begin(), ignored_.end(), [&](const auto &one) {
        return NUVOsapiRtpsGuidPrefix_isSame(&one, &prefix) != 0;
    });
}

bool DISCParticipant::ignore(const NUVOsapiRtpsGuidPrefix &prefix) {
    return ignores(prefix) || ignored_.append(prefix);
}

// ---- What it receives

void DISCParticipant::on_data(void *param, const COMMENDMessageContext *context,
                              const RTPSData *data, REDAWorker *worker) {
    auto *self = static_cast<DISCParticipant *>(param);
    const Domain::Visit visit(self->domain_, worker);
    if (self->is_active_ && data->writerId == RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER) {
        self->domain_.receive(*self, *context, *data);
    }
}

/** Whatever a participant says shows that it lives. */
void DISCParticipant::on_message(void *param, const COMMENDMessageContext *context,
                                 REDAWorker *worker) {
    auto *self = static_cast<DISCParticipant *>(param);
    const Domain::Visit visit(self->domain_, worker);
    if (self->is_active_) {
        (void)self->domain_.note_sign_of_life(*self, *context);
    }
}

/** Whoever asks a builtin writer that there is not is told so; else some ask again for ever. */
void DISCParticipant::on_acknack(void *param, const COMMENDMessageContext *context,
                                 const RTPSAckNack *acknack, REDAWorker *worker) {
    auto *self = static_cast<DISCParticipant *>(param);
    const Domain::Visit visit(self->domain_, worker);
    if (!self->is_active_ || !self->record_) {
        return;
    }
    const Known *const asker = self->domain_.note_sign_of_life(*self, *context);
    if (asker == nullptr || !self->announces() || !disc::is_builtin_writer(acknack->writerId)) {
        return;
    }
    // Whether it lives is answered each time: whoever asks that acts on silence.
    if (acknack->writerId == RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER ||
        self->admits_answer({asker->prefix, acknack->writerId})) {
        self->answer(*asker, acknack->readerId, acknack->writerId);
    }
}

/** Without memory nobody is answered who may ask again at once. */
bool DISCParticipant::admits_answer(const disc::Asker &asker) {
    auto *const answered = answered_.get();
    return answered != nullptr && answered->admits(asker, domain_.now(), disc::ANSWER_PAUSE);
}
