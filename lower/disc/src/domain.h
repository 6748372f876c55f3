// SPDX-License-Identifier: Apache-2.0
// What the participants of a process in one domain share: whom they know, and what is to be done.
#ifndef DISC_DOMAIN_H
#define DISC_DOMAIN_H

#include "bounds.h"
#include "commend/commend_endpoint.h"
#include "disc/disc_participant.h"
#include "netio/event_activeDatabase.h"
#include "reda/reda_exclusiveArea.h"
#include "rtps/rtps_inlineQos.h"
#include "schedule.h"
#include "table.h"

namespace disc {

/** What is not said to be otherwise happens within its area. */
class Domain {
public:
    Domain(NUVNetioRuntime *runtime, NUV_INT32 its_id, Unasked &unasked, NUV_UINT64 secret);
    ~Domain();
    Domain(const Domain &) = delete;
    Domain &operator=(const Domain &) = delete;

    /** False when memory runs out. Without the area, as what follows. */
    bool open();
    /** Ends what it would do. False when the reactor is still at it. */
    bool close();

    REDAExclusiveArea *area() const {
        return area_;
    }
    NUV_INT64 now() const {
        return clock_->getNanoseconds(clock_);
    }
    NUVNetioRuntime *runtime() const {
        return runtime_;
    }
    REDARepetitions *repetitions() const {
        return NUVNetioRuntime_getRepetitions(runtime_);
    }
    /** Whose calls these are, within a visit. */
    REDAWorker *worker() const {
        return worker_;
    }
    /** Within the area; what is to be done afterwards is done on the reactor. */
    class Visit;

    // Its participants.
    bool add(DISCParticipant *participant);
    void remove(DISCParticipant *participant);
    /** Has the others know what it says of itself. */
    void introduce(DISCParticipant &participant);
    /** Has them know it no more. */
    void forget(const DISCParticipant &participant);
    /** Has those who hear one another now know one another. */
    void meet(DISCParticipant &participant);
    /** Has those do that for which memory was missing. */
    void meet_again();

    // What is received, by a participant that is active.
    void receive(DISCParticipant &by, const COMMENDMessageContext &context, const RTPSData &data);
    /** Something else that was said under a participant's prefix. */
    Known *note_sign_of_life(DISCParticipant &by, const COMMENDMessageContext &context);

    void ignore(DISCParticipant &by, const NUVOsapiRtpsGuidPrefix &prefix);
    /** Whether something may be sent to a place now. */
    bool admits(const DISCParticipant &by, const Place &place);
    /** Whether a participant of this process receives there, who need not be sent anything. */
    bool is_home(const Place &place) const;
    /** What nobody outside the process knows. */
    NUV_UINT64 secret() const {
        return secret_;
    }

    static void on_greeting(void *owner, NUV_INT64 now);
    static void on_lease(void *owner, NUV_INT64 now);
    static void on_question(void *owner, NUV_INT64 now);

    Schedule schedule;
    Table table;
    const NUV_INT32 id;

    Domain *next = nullptr; // of all domains
    NUV_UINT32 users = 0;

private:
    struct Heard;

    static void on_time(void *param, REDAWorker *worker);
    void wake();

    void take_leaving(DISCParticipant &by, const Heard &heard, const RTPSData &data,
                      const RTPSInlineQos &qos);
    static bool is_addressed(const DISCParticipant &by, const Known &known, const Heard &heard);
    static int compare_time(const Word &last, const Heard &heard);
    static bool is_newer(const Word &last, const Heard &heard);
    bool is_stale(const Known *known, const Heard &heard, RTPSSequenceNumber sequence) const;
    void take_announcement(DISCParticipant &by, const Heard &heard, const RTPSData &data);
    void take_repetition(DISCParticipant &by, const Heard &heard, Known &known);
    void take_newer(DISCParticipant &by, const Heard &heard, const RTPSData &data, Known &known);
    void take_newcomer(DISCParticipant &by, const Heard &heard, const RTPSData &data);
    bool read(DISCParticipant &by, const Heard &heard, const RTPSData &data,
              RTPSParticipantData *out);
    bool is_ours(DISCParticipant &by, const Heard &heard, const RTPSParticipantData &data);

    void answer(DISCParticipant &by, const Heard &heard, const RTPSData &data, const Known *known);
    static bool is_announcement(const Heard &heard, const RTPSData &data);
    bool has_effort_left(NUV_INT64 now);
    Answer answer_to(DISCParticipant &by, const Question &question);
    static State state_of(DISCParticipant &by, const Known &known);
    static const Place *place_of(const Known &known);
    static bool has_room(const DISCParticipant &by, std::size_t bytes);
    bool has_room_for(DISCParticipant &by, const Heard &heard, const DISCRemote &record);
    bool has_share_of_table(DISCParticipant &by, const Heard &heard);
    bool make_place(DISCParticipant &by);
    bool look(DISCParticipant &by, const Heard &heard, Known &known);
    void begin_greeting(DISCParticipant &by, Known &known, bool is_directed, NUV_INT64 now);
    void greet_anew(Known &known, const DISCParticipant *known_to_it, NUV_INT64 now);
    static bool is_its(const DISCParticipant &by, const Known &known, const Place &source);
    static HeldRemote keep(DISCParticipant &by, const RTPSParticipantData &data);
    NUV_INT64 milliseconds(NUV_INT64 time) const {
        return (time - beginning_) / MILLISECOND;
    }
    Known *make_known(HeldRemote record);
    void free(Known *known);
    void drop(Known &known, DISCChange change);
    void drop_with(Known &known, const Word &last, NUV_INT64 now);
    bool is_wanted(const Known &known) const;

    void renew(Known &known, const Heard &heard);
    void replace(Known &known, HeldRemote record);
    void claim(DISCParticipant &by, Known &known, const Heard &heard, const RTPSData &data,
               HeldRemote record);
    bool has_new_life(Known &known, const Heard &heard, const RTPSData &data) const;
    NUV_UINT64 hash_of(const RTPSOctets &octets) const;
    bool accept_claim(Known &known, NUV_INT64 now);
    static void end_claim(Known &known);
    void ask(Known &known, NUV_INT64 first, NUV_INT64 pause);
    static bool can_ask(const DISCParticipant &one, const Known &known);
    DISCParticipant *find_asker(const Known &known, int nth) const;
    bool send_question(const Known &known, int time, bool is_everywhere);
    static bool is_of_same_process(const Known &left, const Known &right);
    void ask_former(const Known &newcomer, NUV_INT64 now);
    void note_life(Known &known);
    void schedule_question(Known &known);
    static NUV_INT64 question_pause(const Known &known);
    static NUV_INT64 next_doubt(const Known &known);
    void schedule_lease(Known &known);
    void introduce_to(DISCParticipant &participant, Known &known);

    NUVNetioRuntime *const runtime_;
    NUVClock *const clock_;
    REDAExclusiveArea *area_ = nullptr;
    NUVEvent event_;
    NUV_INT64 event_due_ = NEVER;
    bool is_late_ = false;            // the turn that is under way
    bool has_missed_meeting_ = false; // some of its participants, for lack of memory
    REDAWorker *worker_ = nullptr;
    DISCParticipant *participants_ = nullptr;
    const NUV_UINT64 secret_;
    Unasked &unasked_;
    LastWords last_words_;
    const NUV_INT64 beginning_;    // from which milliseconds are counted
    Recent<Asker, 256> forgotten_; // participants of this process that are no more
    NUV_INT64 last_forgery_line_ = 0;
    NUV_INT64 effort_since_ = 0;
    std::size_t effort_ = 0; // since then, for answers: looks at the table
};

class Domain::Visit {
public:
    Visit(Domain &domain, REDAWorker *worker) : domain_(domain), guard_(domain.area_, worker) {
        domain_.worker_ = worker;
    }
    ~Visit() {
        domain_.wake();
    }
    Visit(const Visit &) = delete;
    Visit &operator=(const Visit &) = delete;

private:
    Domain &domain_;
    const reda::ExclusiveAreaGuard guard_;
};

} // namespace disc

#endif
