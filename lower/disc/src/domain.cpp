// SPDX-License-Identifier: Apache-2.0
// What the participants of a process in one domain share: whom they know, and what is to be done.
#include "domain.h"

#include <new>
#include <utility>

#include "disc_log.h"
#include "osapi/osapi_assert.h"
#include "participant.h"

namespace disc {

namespace {

/** When those who have come are announced to. */
constexpr NUV_UINT16 GREETINGS[] = {0, 150, 250, 500}; // milliseconds, from the one before it on
constexpr NUV_UINT8 LAST_GREETING = std::size(GREETINGS) - 1;
constexpr NUV_INT64 LONGEST_PAUSE = 1500; // of one that is greeted anew, and spread
/** One that is restarted again and again is greeted anew after so long. */
constexpr NUV_INT64 GREETED_FOR = SECOND;

/** From so many known ones on greetings are spread. */
constexpr std::size_t SPREAD_FROM = 16;
constexpr NUV_INT64 SPREAD_FOR_EACH = MILLISECOND / 2;
constexpr NUV_INT64 LONGEST_SPREAD = 250 * MILLISECOND;

/** How long one that may live is waited for. */
constexpr NUV_INT64 CLAIM_TIME = 50 * MILLISECOND;
constexpr NUV_INT64 FORMER_TIME = 200 * MILLISECOND;
/** Until it is asked again, as questions are lost, too. */
constexpr NUV_INT64 CLAIM_PAUSE = 15 * MILLISECOND;
constexpr NUV_INT64 FORMER_PAUSE = 60 * MILLISECOND;
/** What it said before it ended may still wait in another socket for so long. */
constexpr NUV_INT64 FORMER_DELAY = 20 * MILLISECOND;
constexpr NUV_UINT8 QUESTIONS = 3;
/** The part of its lease, the last one, in which one that is silent is asked: some announce late.
 */
constexpr NUV_INT64 LAST_OF_LEASE = 10;
/** For how long it is believed that it lives once it has shown that. */
constexpr NUV_INT64 LIFE_TIME = SECOND;
/** What nobody could be asked about waits for so long, and so often. */
constexpr NUV_INT64 UNASKED_TIME = 100 * MILLISECOND;
constexpr int UNASKED_MAX = 3;
/** How many former ones a newcomer may have. */
constexpr int FORMERS_MAX = 4;

/** A lease that is looked at later than that is judged after the sockets have been read. */
constexpr NUV_INT64 LATE = 50 * MILLISECOND;
constexpr NUV_UINT8 PROLONGATIONS_MAX = 3;

constexpr NUV_INT64 FORGERY_LINE_PAUSE = 60 * SECOND;

/** For how long what one of this process has said may come back after its end. */
constexpr NUV_INT64 ECHO_TIME = SECOND;

/** The most octets of all that one participant knows. */
constexpr std::size_t KNOWN_BYTES_MAX = 64u << 20;
/** One address holds at most this part of the room. */
constexpr NUV_INT32 SHARE_OF_ADDRESS = 4;

void count_one(NUV_UINT64 &counter) {
    ++counter;
}

/** Whoever reads an announcement, and where it came from. */
struct Reading {
    const DISCParticipant &by;
    const Place source;
};

/** Where it was heard from comes first, next what is on a network of ours. */
NUV_INT32 rank_locator(void *param, const NUVNetioLocator *locator) {
    const auto *reading = static_cast<const Reading *>(param);
    const Place place = Place::of(*locator);
    if (place.has_same_address(reading->source)) {
        return 3;
    }
    if (place.is_loopback()) {
        return 0;
    }
    return reading->by.network_of(place) >= 0 ? 2 : 1;
}

} // namespace

/** A DATA of an announcer, and where it was said. */
struct Domain::Heard {
    Heard(const COMMENDMessageContext &its_context, NUV_INT64 its_time)
        : context(its_context), prefix(its_context.source.guidPrefix),
          source(Place::of(its_context.message->source)), now(its_time),
          is_directed(its_context.isDirected != 0),
          is_by_group(its_context.message->interfaceIndex != 0) {}

    const COMMENDMessageContext &context;
    const NUVOsapiRtpsGuidPrefix &prefix;
    const Place source;
    const NUV_INT64 now;
    const bool is_directed;
    const bool is_by_group;
};

/**
 * Whether it was said to this one alone: by the words of one who is known, or by unicast, which on
 * our own host each other participant may do unasked.
 */
bool Domain::is_addressed(const DISCParticipant &by, const Known &known, const Heard &heard) {
    return (heard.is_directed || (!heard.is_by_group && !heard.source.is_loopback())) &&
           is_its(by, known, heard.source);
}

Domain::Domain(NUVNetioRuntime *runtime, NUV_INT32 its_id, Unasked &unasked, NUV_UINT64 secret)
    : table(secret), id(its_id), runtime_(runtime),
      clock_(NUVNetioRuntime_getClock(runtime)), event_{on_time, this, 0, nullptr, 0},
      secret_(secret), unasked_(unasked), last_words_(secret), beginning_(now()),
      forgotten_(secret) {}

Domain::~Domain() {
    NUV_ASSERT(participants_ == nullptr);
    REDAExclusiveArea_delete(area_);
}

bool Domain::open() {
    area_ = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_REMOTE_OBJECTS, "discovery");
    return area_ != nullptr;
}

bool Domain::close() {
    return NUVEventActiveDatabase_cancelEvent(NUVNetioRuntime_getEventDatabase(runtime_),
                                              &event_) != 0;
}

void Domain::on_time(void *param, REDAWorker *worker) {
    auto *self = static_cast<Domain *>(param);
    const Visit visit(*self, worker);
    const NUV_INT64 now = self->now();
    self->is_late_ = self->event_due_ != NEVER && now - self->event_due_ > LATE;
    self->event_due_ = NEVER;
    while (self->schedule.run_one(now)) {}
}

/** An event that was posted keeps its earlier time, and finds then that there is nothing to do. */
void Domain::wake() {
    worker_ = nullptr;
    const NUV_INT64 due = schedule.next();
    if (due < event_due_) {
        event_due_ = due;
        const NUVNtpTime delay = NUVNtpTime_fromNanoseconds(std::max<NUV_INT64>(due - now(), 0));
        NUVEventActiveDatabase_postEvent(NUVNetioRuntime_getEventDatabase(runtime_), &event_,
                                         &delay);
    }
}

// ---- Its participants

bool Domain::add(DISCParticipant *participant) {
    if (!schedule.make_room(DISCParticipant::TIMERS)) {
        return false;
    }
    if (!participant->make_room(table.slots())) {
        schedule.give_back_room(DISCParticipant::TIMERS);
        return false;
    }
    participant->next = participants_;
    participants_ = participant;
    return true;
}

void Domain::remove(DISCParticipant *participant) {
    DISCParticipant **place = &participants_;
    while (*place != participant) {
        place = &(*place)->next;
    }
    *place = participant->next;
    schedule.give_back_room(DISCParticipant::TIMERS);
    for (std::size_t slot = 0; slot < table.slots(); ++slot) {
        Known *const known = table.at(slot);
        if (known != nullptr && !is_wanted(*known)) {
            free(known);
        }
    }
}

void Domain::introduce(DISCParticipant &participant) {
    constexpr const char *LOG_METHOD = "DISCParticipant_announce";
    Known *known = table.find(participant.prefix());
    if (known != nullptr && known->local == nullptr) {
        drop(*known, DISC_CHANGE_LOST); // somebody has spoken in its name
        known = nullptr;
    }
    HeldRemote record(DISCRemote_retain(participant.record()));
    if (known != nullptr) {
        replace(*known, std::move(record));
    } else {
        known = make_known(std::move(record));
        if (known == nullptr) {
            DISC_ERROR("out of memory for a participant: those of its process do not know it");
            has_missed_meeting_ = true;
            return;
        }
        known->local = &participant;
        known->first_heard = now();
    }
    known->last_heard = now();
    meet(participant);
}

void Domain::forget(const DISCParticipant &participant) {
    Known *const known = table.find(participant.prefix());
    if (known != nullptr && known->local == &participant) {
        (void)forgotten_.admits({participant.prefix(), RTPS_ENTITYID_UNKNOWN}, now(), 0);
        drop(*known, DISC_CHANGE_LEFT);
    }
}

void Domain::meet(DISCParticipant &participant) {
    Known *const known = table.find(participant.prefix());
    if (known == nullptr || known->local != &participant) {
        return;
    }
    for (DISCParticipant *other = participants_; other != nullptr; other = other->next) {
        Known *const other_known =
            other != &participant && other->is_active() ? table.find(other->prefix()) : nullptr;
        if (other_known == nullptr || other_known->local != other ||
            !participant.has_tag(other_known->tag)) {
            continue;
        }
        const bool is_heard = participant.reaches(*other);
        const bool hears = other->reaches(participant);
        if (is_heard || (hears && participant.announces())) {
            introduce_to(*other, *known);
        }
        if (hears || (is_heard && other->announces())) {
            introduce_to(participant, *other_known);
        }
    }
}

void Domain::introduce_to(DISCParticipant &participant, Known &known) {
    const View &view = participant.view_of(known);
    if (view.has || view.ignores || participant.ignores(known.prefix)) {
        return;
    }
    if (participant.make_room(table.slots())) {
        participant.add(known);
    } else {
        has_missed_meeting_ = true;
    }
}

void Domain::meet_again() {
    if (!std::exchange(has_missed_meeting_, false)) {
        return;
    }
    for (DISCParticipant *one = participants_; one != nullptr; one = one->next) {
        if (one->is_active() && one->record() != nullptr) {
            introduce(*one);
        }
    }
}

bool Domain::is_wanted(const Known &known) const {
    if (known.local != nullptr && known.local->is_active()) {
        return true;
    }
    for (DISCParticipant *one = participants_; one != nullptr; one = one->next) {
        const View &view = one->view_of(known);
        if (view.has || view.ignores) {
            return true;
        }
    }
    return false;
}

// ---- Known ones come and go

/** For each of the participants there is room for it. Null when memory runs out. */
Known *Domain::make_known(HeldRemote record) {
    if (!table.make_room() || !schedule.make_room(Known::TIMERS)) {
        return nullptr;
    }
    for (DISCParticipant *one = participants_; one != nullptr; one = one->next) {
        if (!one->make_room(table.slots())) {
            schedule.give_back_room(Known::TIMERS);
            return nullptr;
        }
    }
    Known *known = nullptr;
    NUVOsapiHeap_allocateStructure(&known, class disc::Known);
    if (known == nullptr) {
        schedule.give_back_room(Known::TIMERS);
        return nullptr;
    }
    const NUVOsapiRtpsGuidPrefix prefix = record->prefix();
    new (known) Known(*this, prefix, std::move(record));
    table.add(known);
    return known;
}

void Domain::free(Known *known) {
    schedule.cancel(known->greeting);
    schedule.cancel(known->lease);
    schedule.cancel(known->question);
    schedule.give_back_room(Known::TIMERS);
    end_claim(*known);
    table.remove(known);
    known->~Known();
    NUVOsapiHeap_freeStructure(known);
}

void Domain::drop(Known &known, DISCChange change) {
    for (DISCParticipant *one = participants_; one != nullptr; one = one->next) {
        one->remove(known, change);
    }
    free(&known);
}

/** It has left; what it said before that does not bring it back. */
void Domain::drop_with(Known &known, const Word &last, NUV_INT64 now) {
    last_words_.add(known.prefix, last, now);
    drop(known, DISC_CHANGE_LEFT);
}

/** What it says from now on. */
void Domain::replace(Known &known, HeldRemote record) {
    if (record->says_the_same_as(*known.record)) {
        return;
    }
    const std::size_t before = known.record->size();
    table.change_record(&known, std::move(record));
    for (DISCParticipant *one = participants_; one != nullptr; one = one->next) {
        if (one->view_of(known).has) {
            one->count_bytes(known.record->size(), before);
            if (one->accepts(known) && one->known_bytes() <= KNOWN_BYTES_MAX) {
                one->note_change(known);
            } else {
                one->remove(known, DISC_CHANGE_LOST);
            }
        }
    }
}

void Domain::ignore(DISCParticipant &by, const NUVOsapiRtpsGuidPrefix &prefix) {
    Known *const known = table.find(prefix);
    if (known != nullptr) {
        by.remove(*known, DISC_CHANGE_LOST);
        by.view_of(*known).ignores = true;
    }
}

// ---- What is received

void Domain::receive(DISCParticipant &by, const COMMENDMessageContext &context,
                     const RTPSData &data) {
    const Heard heard(context, now());
    count_one(by.statistics.announcementsReceived);
    const Known *const known = table.find(heard.prefix);
    // What one that is no more has said may still have waited in a socket.
    if (known != nullptr
            ? known->local != nullptr
            : forgotten_.has({heard.prefix, RTPS_ENTITYID_UNKNOWN}, heard.now, ECHO_TIME)) {
        count_one(by.statistics.refused[DISC_REFUSED_ECHO]);
        return;
    }
    answer(by, heard, data, known);
    if (by.ignores(heard.prefix)) {
        count_one(by.statistics.refused[DISC_REFUSED_IGNORED]);
        return;
    }
    RTPSInlineQos qos{};
    if (data.inlineQos.length != 0) {
        const RTPSRefusal refusal = RTPSInlineQos_read(data.inlineQos, context.byteOrder, &qos);
        if (refusal != RTPS_ACCEPTED) {
            count_one(by.statistics.unreadable[refusal]);
            return;
        }
    }
    constexpr NUV_UINT32 GONE = RTPS_STATUS_INFO_DISPOSED | RTPS_STATUS_INFO_UNREGISTERED;
    if ((qos.statusInfo & GONE) != 0) {
        take_leaving(by, heard, data, qos);
    } else if (data.payloadKind == RTPS_PAYLOAD_DATA) {
        take_announcement(by, heard, data);
    } else {
        count_one(by.statistics.unreadable[RTPS_REFUSED_ENCAPSULATION]);
    }
}

/**
 * Whoever asks may be one that is ignored, finds no room or is of another domain: the answer says
 * so, and nothing is kept of it. One that is known asks from a place of its own.
 */
void Domain::answer(DISCParticipant &by, const Heard &heard, const RTPSData &data,
                    const Known *known) {
    const bool is_repeated = known != nullptr && known->sequence == data.writerSN;
    if (data.payloadKind != RTPS_PAYLOAD_DATA || (is_repeated && !known->record->asks()) ||
        heard.source.is_any() || heard.source.is_group() || !by.answers()) {
        return;
    }
    const Questions questions = Questions::of_payload(data.payload);
    if (questions.all().empty() || (known != nullptr && !is_its(by, *known, heard.source)) ||
        !is_announcement(heard, data) || !has_effort_left(heard.now) ||
        !by.admits_question(heard.source)) {
        return;
    }
    std::array<Answer, Questions::MOST> answers;
    std::array<RTPSProperty, Questions::MOST> properties;
    std::size_t count = 0;
    for (const Question &question : questions.all()) {
        answers[count] = answer_to(by, question);
        properties[count] = answers[count].property();
        ++count;
    }
    by.answer(heard.prefix, heard.source, {properties.data(), count});
}

/** Whether it can be read, and is of whoever says it. */
bool Domain::is_announcement(const Heard &heard, const RTPSData &data) {
    RTPSParticipantData ignored;
    return RTPSParticipantData_read(data.payload, &heard.context.source, nullptr, &ignored) ==
           RTPS_ACCEPTED;
}

/** Whoever floods with questions keeps the process from nothing else. */
bool Domain::has_effort_left(NUV_INT64 now) {
    constexpr NUV_INT64 SPAN = 100 * MILLISECOND;
    constexpr std::size_t MOST = 400'000; // looks at the table: a few milliseconds
    if (now - effort_since_ >= SPAN) {
        effort_since_ = now;
        effort_ = 0;
    }
    return effort_ < MOST;
}

/** Where what is for it alone goes; null when there is no such place. */
const Place *Domain::place_of(const Known &known) {
    const auto places = known.record->metatraffic();
    const auto heard_at = std::find_if(places.begin(), places.end(), [&](const Place &place) {
        return place.has_same_address(known.source);
    });
    return heard_at != places.end() ? &*heard_at : places.empty() ? nullptr : &places.front();
}

/** A name may be that of several: one that is known is told before one that is ignored. */
Answer Domain::answer_to(DISCParticipant &by, const Question &question) {
    const Subject &about = question.about;
    const Known *found = nullptr;
    State state = State::UNKNOWN;
    bool is_local = false; // for those there is always room
    const auto look_at = [&](const Known &known) {
        const State its = state_of(by, known);
        is_local = is_local || known.local != nullptr;
        if (its > state) {
            found = &known;
            state = its;
        }
    };
    if (about.kind == Subject::Kind::PARTICIPANT) {
        if (const Known *const known = table.find(about.prefix)) {
            look_at(*known);
        }
    } else {
        constexpr std::size_t READING = 100; // as many looks
        for (std::size_t slot = 0; slot < table.slots() && state != State::KNOWN; ++slot) {
            const Known *const known = table.at(slot);
            ++effort_;
            if (known != nullptr && known->record->may_be(about)) {
                effort_ += READING;
                if (known->record->is(about)) {
                    look_at(*known);
                }
            }
        }
    }
    if (found != nullptr) {
        const auto left = std::max<NUV_INT64>(found->lease_end - now(), 0);
        return {question, state, found->prefix, found->lease_end == NEVER ? NEVER : left,
                place_of(*found)};
    }
    if (about.kind == Subject::Kind::PARTICIPANT && by.ignores(about.prefix)) {
        return {question, State::IGNORED, about.prefix};
    }
    return {question, is_local || has_room(by, 0) ? State::UNKNOWN : State::FULL, about.prefix};
}

State Domain::state_of(DISCParticipant &by, const Known &known) {
    const View &view = by.view_of(known);
    return known.local == &by                         ? State::SELF
           : view.ignores || by.ignores(known.prefix) ? State::IGNORED
           : view.has                                 ? State::KNOWN
                                                      : State::UNKNOWN;
}

/** Who leaves is told by the key, or else by its hash; it can only be the sender. */
void Domain::take_leaving(DISCParticipant &by, const Heard &heard, const RTPSData &data,
                          const RTPSInlineQos &qos) {
    NUVOsapiRtpsGuid guid = {heard.prefix, RTPS_ENTITYID_PARTICIPANT};
    RTPSRefusal refusal = RTPS_ACCEPTED;
    if (data.payloadKind == RTPS_PAYLOAD_KEY) {
        refusal = RTPSParticipantKey_read(data.payload, &guid);
    } else if (qos.hasKeyHash != 0) {
        guid = RTPSGuid_fromOctets(qos.keyHash);
    }
    if (refusal == RTPS_ACCEPTED && guid.objectId != RTPS_ENTITYID_PARTICIPANT) {
        refusal = RTPS_REFUSED_ENTITY_ID;
    }
    if (refusal == RTPS_ACCEPTED &&
        NUVOsapiRtpsGuidPrefix_isSame(&guid.prefix, &heard.prefix) == 0) {
        refusal = RTPS_REFUSED_GUID_PREFIX;
    }
    if (refusal != RTPS_ACCEPTED) {
        count_one(by.statistics.unreadable[refusal]);
        return;
    }
    Known *const known = table.find(heard.prefix);
    if (known == nullptr || !by.view_of(*known).has) {
        return; // nobody to forget
    }
    const bool is_of_former_life =
        data.writerSN == known->sequence && compare_time(known->word(), heard) < 0;
    if (is_of_former_life || is_stale(known, heard, data.writerSN)) {
        count_one(by.statistics.refused[DISC_REFUSED_STALE]);
    } else if (is_its(by, *known, heard.source)) {
        drop_with(*known, {data.writerSN, heard.context.timestamp}, heard.now);
    } else {
        claim(by, *known, heard, data, {});
    }
}

/** Above 0: later than what was said last; below: earlier; 0: the times do not tell. */
int Domain::compare_time(const Word &last, const Heard &heard) {
    const RTPSTime &timestamp = heard.context.timestamp;
    return RTPSTime_isValid(&timestamp) != 0 && RTPSTime_isValid(&last.timestamp) != 0
               ? RTPSTime_compare(&timestamp, &last.timestamp)
               : 0;
}

/** With a newer time even a lower number is of another life under the same identity. */
bool Domain::is_newer(const Word &last, const Heard &heard) {
    return compare_time(last, heard) > 0;
}

/** Some leave with the number of what they have announced last. */
bool Domain::is_stale(const Known *known, const Heard &heard, RTPSSequenceNumber sequence) const {
    if (known != nullptr) {
        return sequence < known->sequence && !is_newer(known->word(), heard);
    }
    const Word *const last = last_words_.find(heard.prefix, heard.now);
    return last != nullptr && sequence <= last->sequence && !is_newer(*last, heard);
}

void Domain::take_announcement(DISCParticipant &by, const Heard &heard, const RTPSData &data) {
    Known *const known = table.find(heard.prefix);
    if (is_stale(known, heard, data.writerSN)) {
        count_one(by.statistics.refused[DISC_REFUSED_STALE]);
    } else if (known == nullptr) {
        take_newcomer(by, heard, data);
    } else if (data.writerSN == known->sequence && !has_new_life(*known, heard, data)) {
        take_repetition(by, heard, *known);
    } else {
        take_newer(by, heard, data, *known);
    }
}

/** Some say the number 1 all their lives, and the time of each repetition. */
bool Domain::has_new_life(Known &known, const Heard &heard, const RTPSData &data) const {
    return is_newer(known.word(), heard) && hash_of(data.payload) != known.payload;
}

NUV_UINT64 Domain::hash_of(const RTPSOctets &octets) const {
    Hash hash(secret_);
    std::size_t i = 0;
    for (NUV_UINT64 part = 0; i + sizeof part <= octets.length; i += sizeof part) {
        std::memcpy(&part, octets.data + i, sizeof part);
        hash.add(part);
    }
    for (; i < octets.length; ++i) {
        hash.add(octets.data[i]);
    }
    return hash.value();
}

/** Whether what comes from there may be its own. On our host it may speak by loopback. */
bool Domain::is_its(const DISCParticipant &by, const Known &known, const Place &source) {
    if (known.is_at(source) || !source.is_loopback() || by.record() == nullptr) {
        return known.is_at(source);
    }
    const auto own = by.record()->metatraffic();
    return std::any_of(own.begin(), own.end(),
                       [&](const Place &place) { return known.is_at(place); });
}

/** What was read already: by itself once before, or for another participant of this process. */
void Domain::take_repetition(DISCParticipant &by, const Heard &heard, Known &known) {
    if (!by.accepts(known)) {
        count_one(by.statistics.refused[known.is_elsewhere ? DISC_REFUSED_DOMAIN_ID
                                                           : DISC_REFUSED_DOMAIN_TAG]);
        return;
    }
    if (is_its(by, known, heard.source)) {
        renew(known, heard);
        note_life(known);
    }
    (void)look(by, heard, known);
}

void Domain::take_newer(DISCParticipant &by, const Heard &heard, const RTPSData &data,
                        Known &known) {
    RTPSParticipantData read_data;
    if (!read(by, heard, data, &read_data) || !is_ours(by, heard, read_data)) {
        return;
    }
    HeldRemote record = keep(by, read_data);
    if (!record) {
        return;
    }
    if (by.known_bytes() + record->size() > KNOWN_BYTES_MAX + known.record->size()) {
        count_one(by.statistics.refused[DISC_REFUSED_FULL]);
        return;
    }
    if (!is_its(by, known, heard.source)) {
        claim(by, known, heard, data, std::move(record));
        return;
    }
    note_life(known);
    replace(known, std::move(record));
    const bool is_restart = data.writerSN < known.sequence;
    known.sequence = data.writerSN;
    known.timestamp = heard.context.timestamp;
    known.payload = hash_of(data.payload);
    table.change_source(&known, heard.source);
    renew(known, heard);
    schedule_lease(known);
    if (is_restart) {
        greet_anew(known, heard.is_directed ? &by : nullptr, heard.now);
    }
    (void)look(by, heard, known);
    if (!is_wanted(known)) {
        free(&known);
    }
}

/**
 * It knows nobody, but for whom it has said so to, if anybody. One that is restarted again and
 * again is greeted once in a second.
 */
void Domain::greet_anew(Known &known, const DISCParticipant *known_to_it, NUV_INT64 now) {
    const NUV_INT64 first = std::max(now, known.greeted_until);
    if (first == now) {
        known.greeted_until = now + GREETED_FOR;
    }
    for (DISCParticipant *one = participants_; one != nullptr; one = one->next) {
        View &view = one->view_of(known);
        if (view.has) {
            view.is_heard = false;
            view.has_addressed = false;
            begin_greeting(*one, known, one == known_to_it, first);
        }
    }
}

void Domain::take_newcomer(DISCParticipant &by, const Heard &heard, const RTPSData &data) {
    RTPSParticipantData read_data;
    if (!read(by, heard, data, &read_data) || !is_ours(by, heard, read_data)) {
        return;
    }
    HeldRemote record = keep(by, read_data);
    if (!record) {
        return;
    }
    if (!has_share_of_table(by, heard) || !has_room_for(by, heard, *record)) {
        return;
    }
    Known *const known = make_known(std::move(record));
    if (known == nullptr) {
        count_one(by.statistics.refused[DISC_REFUSED_NO_MEMORY]);
        return;
    }
    known->sequence = data.writerSN;
    known->timestamp = heard.context.timestamp;
    known->payload = hash_of(data.payload);
    known->first_heard = heard.now;
    table.change_source(known, heard.source);
    renew(*known, heard);
    known->was_heard_again = false;
    schedule_lease(*known);
    if (look(by, heard, *known)) {
        ask_former(*known, heard.now);
    } else {
        free(known);
    }
}

bool Domain::read(DISCParticipant &by, const Heard &heard, const RTPSData &data,
                  RTPSParticipantData *out) {
    Reading reading = {by, heard.source};
    const RTPSLocatorRanking ranking = {rank_locator, &reading};
    const RTPSRefusal refusal =
        RTPSParticipantData_read(data.payload, &heard.context.source, &ranking, out);
    if (refusal != RTPS_ACCEPTED) {
        count_one(by.statistics.unreadable[refusal]);
    }
    return refusal == RTPS_ACCEPTED;
}

/** None when it was counted why. */
HeldRemote Domain::keep(DISCParticipant &by, const RTPSParticipantData &data) {
    HeldRemote record(DISCRemote::make(data));
    if (!record) {
        const bool is_too_long = RTPSParticipantData_write(&data, RTPS_LITTLE_ENDIAN, nullptr, 0) ==
                                 RTPS_SIZE_IMPOSSIBLE;
        count_one(is_too_long ? by.statistics.unreadable[RTPS_REFUSED_LENGTH]
                              : by.statistics.refused[DISC_REFUSED_NO_MEMORY]);
    }
    return record;
}

bool Domain::is_ours(DISCParticipant &by, const Heard &heard, const RTPSParticipantData &data) {
    constexpr const char *LOG_METHOD = "receive";
    const bool is_logged = by.property().logsMismatch != 0;
    if (by.property().acceptsMismatch != 0) {
        return true;
    }
    if (data.hasDomainId != 0 && data.domainId != static_cast<NUV_UINT32>(id)) {
        count_one(by.statistics.refused[DISC_REFUSED_DOMAIN_ID]);
        if (is_logged) {
            DISC_WARNING_LIMITED(repetitions(),
                                 "a participant at %s is in domain %u, this one in domain %d: they "
                                 "do not know each other",
                                 netio::LocatorText(heard.context.message->source).get(),
                                 data.domainId, id);
        }
        return false;
    }
    if (!by.has_tag(data.domainTag)) {
        count_one(by.statistics.refused[DISC_REFUSED_DOMAIN_TAG]);
        if (is_logged) {
            DISC_WARNING_LIMITED(repetitions(),
                                 "a participant at %s has the domain tag '%s', this one '%s': they "
                                 "do not know each other",
                                 netio::LocatorText(heard.context.message->source).get(),
                                 data.domainTag.text != nullptr ? data.domainTag.text : "",
                                 by.property().domainTag);
        }
        return false;
    }
    return true;
}

/** Whether a participant has it in its view, from now on or already. */
bool Domain::look(DISCParticipant &by, const Heard &heard, Known &known) {
    if (by.view_of(known).ignores) {
        count_one(by.statistics.refused[DISC_REFUSED_IGNORED]);
        return false;
    }
    if (by.view_of(known).has) {
        View &view = by.view_of(known);
        const bool shows_that_it_knows = heard.is_directed && is_its(by, known, heard.source);
        view.is_heard = view.is_heard || shows_that_it_knows;
        view.has_addressed = view.has_addressed || is_addressed(by, known, heard);
        if (shows_that_it_knows && view.greets) {
            // It knows us. It does not know that we know it, unless we have said something to it.
            view.greets = view.greeting == 0;
            view.greeting = LAST_GREETING;
        }
        // It goes on without having been told of us: what it was told may have been lost.
        if (!heard.is_directed && !view.is_heard && !view.greets && !known.was_heard_by_group &&
            is_its(by, known, heard.source)) {
            begin_greeting(by, known, true, heard.now);
        }
        return true;
    }
    if (!by.make_room(table.slots())) {
        count_one(by.statistics.refused[DISC_REFUSED_NO_MEMORY]);
        return false;
    }
    if (!has_share_of_table(by, heard) || !has_room_for(by, heard, *known.record)) {
        return false;
    }
    by.add(known);
    by.view_of(known).is_heard = heard.is_directed;
    by.view_of(known).has_addressed = is_addressed(by, known, heard);
    begin_greeting(by, known, heard.is_directed, heard.now);
    return true;
}

void Domain::begin_greeting(DISCParticipant &by, Known &known, bool is_directed, NUV_INT64 now) {
    if (!by.announces()) {
        return;
    }
    const NUV_INT64 longest =
        by.known_count() < SPREAD_FROM
            ? 0
            : std::min(LONGEST_SPREAD, SPREAD_FOR_EACH * static_cast<NUV_INT64>(by.known_count()));
    const NUV_INT64 due = milliseconds(now + by.pick(longest));
    View &view = by.view_of(known);
    view.greets = true;
    view.greeting = is_directed ? LAST_GREETING : 0;
    view.due = static_cast<NUV_UINT16>(due);
    schedule.set_no_later(known.greeting, beginning_ + due * MILLISECOND);
}

Known *Domain::note_sign_of_life(DISCParticipant &by, const COMMENDMessageContext &context) {
    const Heard heard(context, now());
    Known *const known = table.find(heard.prefix);
    if (known == nullptr || known->local != nullptr || !by.view_of(*known).has ||
        !is_its(by, *known, heard.source)) {
        return nullptr;
    }
    renew(*known, heard);
    note_life(*known);
    View &view = by.view_of(*known);
    view.is_heard = view.is_heard || heard.is_directed;
    view.has_addressed = view.has_addressed || is_addressed(by, *known, heard);
    return known;
}

// ---- Limits

bool Domain::has_room(const DISCParticipant &by, std::size_t bytes) {
    return by.known_bytes() + bytes <= KNOWN_BYTES_MAX &&
           by.remote_count() < static_cast<std::size_t>(by.property().remoteParticipantsMax);
}

bool Domain::has_room_for(DISCParticipant &by, const Heard &heard, const DISCRemote &record) {
    constexpr const char *LOG_METHOD = "receive";
    const NUV_INT32 most = by.property().remoteParticipantsMax;
    if (has_room(by, record.size())) {
        return true;
    }
    if (by.is_heard_again(heard.prefix, heard.context.message->arrival, heard.now)) {
        while (!has_room(by, record.size()) && make_place(by)) {}
        if (has_room(by, record.size())) {
            return true;
        }
    }
    count_one(by.statistics.refused[DISC_REFUSED_FULL]);
    DISC_WARNING_LIMITED(repetitions(),
                         "no room for a participant at %s: allowed are %d, by "
                         "resource_limits.remote_participants_max, and 64 MiB",
                         netio::LocatorText(heard.context.message->source).get(), most);
    return false;
}

/** Whoever speaks from one address alone does not fill the table. */
bool Domain::has_share_of_table(DISCParticipant &by, const Heard &heard) {
    constexpr const char *LOG_METHOD = "receive";
    const NUV_INT32 share = std::max(by.property().remoteParticipantsMax / SHARE_OF_ADDRESS, 1);
    NUV_INT32 count = 0;
    const bool is_used_up = table.has_heard(heard.source, [&](const Known &one) {
        count += by.view_of(one).has ? 1 : 0;
        return count >= share;
    });
    if (!is_used_up) {
        return true;
    }
    count_one(by.statistics.refused[DISC_REFUSED_FULL]);
    DISC_WARNING_LIMITED(repetitions(),
                         "no room for a participant at %s: allowed are %d of one address, a "
                         "quarter of resource_limits.remote_participants_max",
                         netio::LocatorText(heard.context.message->source).get(), share);
    return false;
}

/** Has one that was heard only once give way. */
bool Domain::make_place(DISCParticipant &by) {
    for (std::size_t slot = 0; slot < table.slots(); ++slot) {
        Known *const known = table.at(slot);
        if (known != nullptr && known->local == nullptr && !known->was_heard_again &&
            by.view_of(*known).has) {
            by.remove(*known, DISC_CHANGE_LOST);
            if (!is_wanted(*known)) {
                free(known);
            }
            return true;
        }
    }
    return false;
}

bool Domain::admits(const DISCParticipant &by, const Place &place) {
    const auto own = by.record()->metatraffic();
    const bool is_this_host = std::any_of(
        own.begin(), own.end(), [&](const Place &one) { return one.has_same_address(place); });
    return is_this_host || by.peers().has(place) ||
           table.has_heard(place, [](const Known & /*any*/) { return true; }) ||
           unasked_.admits(place, now());
}

bool Domain::is_home(const Place &place) const {
    for (const DISCParticipant *one = participants_; one != nullptr; one = one->next) {
        if (one->is_active() && one->is_at(place)) {
            return true;
        }
    }
    return false;
}

// ---- Greetings

void Domain::on_greeting(void *owner, NUV_INT64 now) {
    Known &known = *static_cast<Known *>(owner);
    Domain &self = known.domain;
    const NUV_INT64 milliseconds = self.milliseconds(now);
    const auto time_left = [milliseconds](const View &view) {
        const auto left = static_cast<NUV_UINT16>(view.due - static_cast<NUV_UINT16>(milliseconds));
        return left <= LONGEST_PAUSE ? left : 0; // more: it was due before
    };
    NUV_INT64 pause = NEVER;
    for (DISCParticipant *one = self.participants_; one != nullptr; one = one->next) {
        View &view = one->view_of(known);
        if (!view.greets || !one->is_active()) {
            continue;
        }
        if (time_left(view) <= 0) {
            one->greet(known);
            view.greets = view.greeting < LAST_GREETING;
            if (!view.greets) {
                continue;
            }
            ++view.greeting;
            view.due = static_cast<NUV_UINT16>(milliseconds + GREETINGS[view.greeting]);
        }
        pause = std::min<NUV_INT64>(pause, time_left(view));
    }
    if (pause != NEVER) {
        self.schedule.set(known.greeting, self.beginning_ + (milliseconds + pause) * MILLISECOND);
    }
}

// ---- Leases

void Domain::renew(Known &known, const Heard &heard) {
    known.last_heard = heard.now;
    known.lease_end = later(heard.now, known.record->lease());
    known.lost_datagrams = NUVNetioRuntime_getLostDatagrams(runtime_);
    known.prolongations = 0;
    known.lease_questions = 0;
    known.was_graced = false;
    const NUV_UINT64 arrival = heard.context.message->arrival;
    known.was_heard_again = known.was_heard_again || arrival != known.arrival;
    known.arrival = arrival;
    known.was_heard_by_group = known.was_heard_by_group || heard.is_by_group;
}

/** Between two questions to one that is silent. */
NUV_INT64 Domain::question_pause(const Known &known) {
    return known.record->lease() / LAST_OF_LEASE / QUESTIONS;
}

/** When one that stays silent is asked the next time, or else when its lease ends. */
NUV_INT64 Domain::next_doubt(const Known &known) {
    return known.lease_end == NEVER
               ? NEVER
               : known.lease_end - (QUESTIONS - known.lease_questions) * question_pause(known);
}

/** A timer that runs out too early looks again; so renewing sets none. */
void Domain::schedule_lease(Known &known) {
    schedule.set_no_later(known.lease, next_doubt(known));
}

/**
 * Who is silent is asked before its lease ends: that others do not hear its group any more it does
 * not know, and they may be heard by it all the same.
 */
void Domain::on_lease(void *owner, NUV_INT64 now) {
    Known &known = *static_cast<Known *>(owner);
    Domain &self = known.domain;
    if (next_doubt(known) > now) {
        self.schedule_lease(known);
        return;
    }
    if (known.lease_end > now) {
        (void)self.send_question(known, known.lease_questions, false);
        ++known.lease_questions;
        if (self.is_late_) {
            known.lease_end = std::max(known.lease_end, now + LATE); // time for an answer
        }
        // When a turn was late they would all be due at once, and be lost together.
        self.schedule.set_no_later(
            known.lease,
            std::max(next_doubt(known), std::min(now + question_pause(known), known.lease_end)));
        return;
    }
    if ((self.is_late_ || now - known.lease_end > LATE) && !known.was_graced) {
        known.was_graced = true; // what it has said may still wait in the sockets
        (void)self.send_question(known, known.lease_questions, false);
        self.schedule.set(known.lease, now + LATE);
        return;
    }
    const NUV_UINT64 lost = NUVNetioRuntime_getLostDatagrams(self.runtime_);
    if (lost != known.lost_datagrams && known.prolongations < PROLONGATIONS_MAX) {
        known.lost_datagrams = lost; // it may have been among them
        ++known.prolongations;
        known.lease_questions = 0; // an answer may have been, too
        known.lease_end = later(now, std::max(known.record->lease() / 4, MILLISECOND));
        self.schedule_lease(known);
        return;
    }
    self.drop(known, DISC_CHANGE_LOST);
}

// ---- What may be forged

/** Said by somebody who was never heard from there: the one that it is about may object. */
void Domain::claim(DISCParticipant &by, Known &known, const Heard &heard, const RTPSData &data,
                   HeldRemote record) {
    if (heard.now < known.lives_until) {
        count_one(by.statistics.refused[DISC_REFUSED_FORGED]);
        return;
    }
    if (known.claim != nullptr) {
        if (known.claim->source.has_same_address(heard.source) &&
            data.writerSN > known.claim->sequence) {
            known.claim->announcement = std::move(record);
            known.claim->sequence = data.writerSN;
            known.claim->timestamp = heard.context.timestamp;
            known.claim->payload = hash_of(data.payload);
        }
        return;
    }
    NUVOsapiHeap_allocateStructure(&known.claim, struct disc::Claim);
    if (known.claim == nullptr) {
        count_one(by.statistics.refused[DISC_REFUSED_NO_MEMORY]);
        return;
    }
    new (known.claim) Claim{std::move(record), data.writerSN,         heard.context.timestamp,
                            heard.source,      hash_of(data.payload), heard.now + CLAIM_TIME};
    ask(known, heard.now, CLAIM_PAUSE);
}

/** It lives where it was: what was said in its name elsewhere is not true. */
void Domain::note_life(Known &known) {
    constexpr const char *LOG_METHOD = "receive";
    const NUV_INT64 time = now();
    if (known.claim == nullptr && known.questions_left == QUESTIONS) {
        return; // that is older than the question
    }
    if (known.asked_until != NEVER || known.claim != nullptr) {
        known.lives_until = later(time, LIFE_TIME);
    }
    known.asked_until = NEVER;
    known.next_question = NEVER;
    known.was_asked = false;
    if (known.claim == nullptr) {
        return;
    }
    for (DISCParticipant *one = participants_; one != nullptr; one = one->next) {
        if (one->view_of(known).has) {
            count_one(one->statistics.refused[DISC_REFUSED_FORGED]);
        }
    }
    if (last_forgery_line_ == 0 || time - last_forgery_line_ >= FORGERY_LINE_PAUSE) {
        last_forgery_line_ = time;
        DISC_LOG(
            NUV_LOG_LEVEL_WARNING,
            "somebody at %s has spoken for a participant at %s, which lives and says otherwise",
            netio::LocatorText(known.claim->source.locator()).get(),
            netio::LocatorText(known.source.locator()).get());
    }
    end_claim(known);
}

void Domain::end_claim(Known &known) {
    if (known.claim != nullptr) {
        known.claim->~Claim();
        NUVOsapiHeap_freeStructure(known.claim);
        known.claim = nullptr;
    }
}

/** False when it is no more. */
bool Domain::accept_claim(Known &known, NUV_INT64 now) {
    Claim &claim = *known.claim;
    if (!claim.announcement) {
        drop_with(known, {claim.sequence, claim.timestamp}, now);
        return false;
    }
    const bool is_restart = claim.sequence < known.sequence;
    replace(known, std::move(claim.announcement));
    known.sequence = claim.sequence;
    known.timestamp = claim.timestamp;
    known.payload = claim.payload;
    table.change_source(&known, claim.source);
    known.asked_until = NEVER; // it is somewhere else
    known.next_question = NEVER;
    known.last_heard = now;
    known.lease_end = later(now, known.record->lease());
    known.lease_questions = 0;
    schedule_lease(known);
    end_claim(known);
    if (is_restart) {
        greet_anew(known, nullptr, now);
    }
    if (!is_wanted(known)) {
        free(&known);
        return false;
    }
    return true;
}

/** Asks it whether it lives where it was, more than once. */
void Domain::ask(Known &known, NUV_INT64 first, NUV_INT64 pause) {
    known.was_asked = known.question.is_set() && known.was_asked;
    known.questions_left = QUESTIONS;
    known.question_pause = pause;
    known.next_question = first;
    schedule_question(known);
}

bool Domain::can_ask(const DISCParticipant &one, const Known &known) {
    return one.is_active() && one.announces() && one.record() != nullptr && one.view_of(known).has;
}

/** Those first whom it has shown that it knows. Null when there are not so many. */
DISCParticipant *Domain::find_asker(const Known &known, int nth) const {
    for (const bool is_heard : {true, false}) {
        for (DISCParticipant *one = participants_; one != nullptr; one = one->next) {
            if (can_ask(*one, known) && one->view_of(known).is_heard == is_heard && nth-- == 0) {
                return one;
            }
        }
    }
    return nullptr;
}

/**
 * By another one each time: it answers only those that it knows. False when nothing could be sent.
 */
bool Domain::send_question(const Known &known, int time, bool is_everywhere) {
    constexpr int TRIES_MAX = 3;
    for (int tries = 0; tries < TRIES_MAX; ++tries) {
        DISCParticipant *one = find_asker(known, time + tries);
        one = one != nullptr ? one : find_asker(known, 0);
        if (one == nullptr) {
            return false;
        }
        if (one->ask(known, is_everywhere)) {
            return true;
        }
    }
    return false;
}

/** Several participants of a process may share its places. */
bool Domain::is_of_same_process(const Known &left, const Known &right) {
    return left.prefix.hostId == right.prefix.hostId && left.prefix.appId == right.prefix.appId;
}

/** Whoever had all its places among those of a newcomer is most likely gone. */
void Domain::ask_former(const Known &newcomer, NUV_INT64 now) {
    const auto places = newcomer.record->metatraffic();
    int formers = 0;
    for (std::size_t i = 0; i < places.size() && formers < FORMERS_MAX; ++i) {
        table.visit_at(places[i], [&](Known &former) {
            const auto its_places = former.record->metatraffic();
            const bool is_replaced =
                &former != &newcomer && former.local == nullptr && former.asked_until == NEVER &&
                !is_of_same_process(former, newcomer) &&
                std::all_of(its_places.begin(), its_places.end(), [&](const Place &one) {
                    return std::find(places.begin(), places.end(), one) != places.end();
                });
            if (is_replaced) {
                // One that has just shown that it lives is asked when that is a while ago.
                const NUV_INT64 beginning = std::max(now, former.lives_until);
                ++formers;
                former.asked_until = beginning + FORMER_TIME;
                ask(former, beginning + FORMER_DELAY, FORMER_PAUSE);
            }
            return formers < FORMERS_MAX;
        });
    }
}

void Domain::schedule_question(Known &known) {
    const NUV_INT64 claimed_until = known.claim != nullptr ? known.claim->until : NEVER;
    schedule.set(known.question, std::min({claimed_until, known.asked_until, known.next_question}));
}

void Domain::on_question(void *owner, NUV_INT64 now) {
    Known &known = *static_cast<Known *>(owner);
    Domain &self = known.domain;
    if (known.next_question <= now) {
        known.was_asked =
            self.send_question(known, QUESTIONS - known.questions_left, true) || known.was_asked;
        --known.questions_left;
        known.next_question = known.questions_left != 0 ? now + known.question_pause : NEVER;
    }
    if (known.claim != nullptr && known.claim->until <= now) {
        if (!known.was_asked && known.claim->delays < UNASKED_MAX &&
            self.find_asker(known, 0) != nullptr) {
            ++known.claim->delays;
            known.claim->until = now + UNASKED_TIME;
            known.questions_left = 1;
            known.next_question = now + UNASKED_TIME / 2;
        } else if (!self.accept_claim(known, now)) {
            return;
        }
    }
    if (known.asked_until <= now) {
        if (known.was_asked) {
            self.drop(known, DISC_CHANGE_LOST);
            return;
        }
        known.asked_until = NEVER; // its lease tells
    }
    self.schedule_question(known);
}

} // namespace disc
