// SPDX-License-Identifier: Apache-2.0
// One participant of this process: what it announces, and its view of those that are known.
#ifndef DISC_PARTICIPANT_INTERNAL_H
#define DISC_PARTICIPANT_INTERNAL_H

#include "announcement.h"
#include "bounds.h"
#include "commend/commend_endpoint.h"
#include "domain.h"
#include "lookup.h"
#include "news.h"
#include "peers.h"

namespace disc {

/** What a participant's discovery was made with, copied. */
class OwnProperty {
public:
    /** False when memory runs out. */
    bool copy(const DISCParticipantProperty &property);
    const DISCParticipantProperty &get() const {
        return property_;
    }
    NUV_INT64 period() const {
        return NUVNtpTime_toNanoseconds(&property_.announcementPeriod);
    }
    void set_lease(const NUVNtpTime &lease, const NUVNtpTime &period) {
        property_.leaseDuration = lease;
        property_.announcementPeriod = period;
    }

private:
    DISCParticipantProperty property_{};
    Array<char> texts_;
    Array<RTPSProperty> properties_;
};

/** What a participant has to do with one that is known; all octets 0: nothing. */
struct View {
    bool has : 1;           // it knows it
    bool ignores : 1;       // and wants to hear nothing of it
    bool greets : 1;        // it announces itself to it, and it has not shown that it knows that
    bool is_heard : 1;      // the other one has said something to this one alone
    NUV_UINT8 greeting : 2; // which time
    bool has_addressed : 1; // the other one has said something to it alone, or by unicast
    NUV_UINT16 due;         // when that is: the last digits of the domain's milliseconds
};
static_assert(sizeof(View) == 4, "there is one for each pair of participants");

} // namespace disc

/** What is not said to be otherwise happens within the domain's area. */
struct DISCParticipant {
public:
    DISCParticipant(DISCDiscovery &discovery, disc::Domain &domain, PRESParticipant *participant);
    ~DISCParticipant() = default;
    DISCParticipant(const DISCParticipant &) = delete;
    DISCParticipant &operator=(const DISCParticipant &) = delete;

    /** How many timers it has. */
    static constexpr std::size_t TIMERS = 2;

    /** False when memory runs out. Without the area. */
    bool open(const DISCParticipantProperty &property, const DISCParticipantListener *listener);
    /** On failure an error has been logged. Without the area, as what follows. */
    bool add_endpoints(REDAWorker *worker);
    /** False when the reactor was still at one of them. */
    bool remove_endpoints(REDAWorker *worker);

    const NUVOsapiRtpsGuidPrefix &prefix() const {
        return guid_.prefix;
    }
    const DISCParticipantProperty &property() const {
        return own_.get();
    }
    const disc::OwnProperty &own() const {
        return own_;
    }
    /** Enabled, and not shut down yet. */
    bool is_active() const {
        return is_active_;
    }
    bool announces() const {
        return property().announces != 0;
    }
    bool answers() const {
        return announces() && record_ && property().answers != 0;
    }
    bool has_tag(const RTPSText &tag) const;
    /** Whether it may know it, by the domain and the tag that it says. */
    bool accepts(const disc::Known &known) const {
        return property().acceptsMismatch != 0 || (!known.is_elsewhere && has_tag(known.tag));
    }
    DISCDiscovery &discovery() const {
        return discovery_;
    }
    disc::Domain &domain() const {
        return domain_;
    }
    /** Something by chance from 0 to almost @p most. */
    NUV_INT64 pick(NUV_INT64 most);
    /** What it says of itself; null until it is active. */
    const DISCRemote *record() const {
        return record_.get();
    }

    // What it announces.
    void start(const PRESParticipantProperty &property);
    void change(const PRESParticipantProperty &property);
    void stop();
    void change_lease(const NUVNtpTime &lease, const NUVNtpTime &period);
    void announce_soon();
    /** Where it announces itself. */
    const disc::Destinations &destinations() const {
        return peers_.destinations();
    }
    /** Whether a place is one that it receives at, as one of this host knows it. */
    bool is_at(const disc::Place &place) const;
    const disc::Peers &peers() const {
        return peers_;
    }
    /** False when memory runs out: then they are those of before. */
    bool set_peers(std::span<const NUVNetioPeer> peers);
    /** What was found for the names of peers. */
    void take_names(const disc::Names &names);
    /** The search for these, if there is one: the caller's now, which may be under way. */
    disc::Lookup *give_up_lookup();
    /** Which of the networks that it is on a place is on; -1: none. Good for the moment. */
    NUV_INT32 network_of(const disc::Place &place) const;
    /** Whether another participant of this process hears what this one announces. */
    bool reaches(const DISCParticipant &other) const;

    // What it sends to one that is known.
    void greet(const disc::Known &known);
    /** Whether something was sent. */
    bool ask(const disc::Known &known, bool is_everywhere);
    void answer(const disc::Known &known, RTPSEntityId reader, RTPSEntityId writer);
    /** Whether a question from there, of one that need not be known, is answered now. */
    bool admits_question(const disc::Place &source);
    /** What it says of itself, and the answers behind it. */
    void answer(const NUVOsapiRtpsGuidPrefix &asker, const disc::Place &place,
                std::span<const RTPSProperty> answers);

    // Its view.
    disc::View &view_of(const disc::Known &known) {
        return views_[known.slot];
    }
    const disc::View &view_of(const disc::Known &known) const {
        return views_[known.slot];
    }
    /** Room for so many known ones, and for the news of one more. */
    bool make_room(std::size_t slots);
    /** Has it know one, for which there is room. */
    void add(const disc::Known &known);
    /** Has it know one no more; nothing when it does not. */
    void remove(const disc::Known &known, DISCChange change);
    void note_change(const disc::Known &known);
    std::size_t known_count() const {
        return known_count_;
    }
    /** Without those of this process. */
    std::size_t remote_count() const {
        return remote_count_;
    }
    std::size_t known_bytes() const {
        return known_bytes_;
    }
    void count_bytes(std::size_t more, std::size_t less) {
        known_bytes_ = known_bytes_ + more - less;
    }
    bool ignores(const NUVOsapiRtpsGuidPrefix &prefix) const;
    bool ignore(const NUVOsapiRtpsGuidPrefix &prefix);

    disc::News news;
    DISCStatistics statistics{};
    /** Whether one for which there was no room was heard before; false, too, without memory. */
    bool is_heard_again(const NUVOsapiRtpsGuidPrefix &stranger, NUV_UINT64 arrival, NUV_INT64 now);

    DISCParticipant *next = nullptr; // of the domain

private:
    struct Leaving {
        RTPSSequenceNumber sequence = 0;
        RTPSTime time = RTPS_TIME_INVALID;
    };

    static void on_enabled(void *param, const PRESParticipantProperty *property,
                           REDAWorker *worker);
    static void on_property_set(void *param, const PRESParticipantProperty *property,
                                REDAWorker *worker);
    static void on_shutdown(void *param, REDAWorker *worker);
    static void on_data(void *param, const COMMENDMessageContext *context, const RTPSData *data,
                        REDAWorker *worker);
    static void on_message(void *param, const COMMENDMessageContext *context, REDAWorker *worker);
    static void on_acknack(void *param, const COMMENDMessageContext *context,
                           const RTPSAckNack *acknack, REDAWorker *worker);

    static void on_say_again(void *param, REDAWorker *worker);
    static void on_period(void *owner, NUV_INT64 now);
    static void on_change(void *owner, NUV_INT64 now);

    disc::HeldRemote make_record(const PRESParticipantProperty &from);
    void note_transports(const PRESParticipantParameter &parameter);
    void keep_working_locators(RTPSParticipantData *data,
                               const PRESParticipantParameter &parameter);
    bool say(disc::HeldRemote record);
    void say_later();
    void leave_first();
    NUV_INT64 period() const;
    bool has_moved_to(const DISCRemote &record) const;
    bool make_lookup();
    void find_names();
    void announce_change();
    void announce_to_peers();
    void announce_to_unreached(NUV_INT64 now);
    void announce_to(const disc::Known &known);
    void leave(const Leaving &leaving);
    bool admits_answer(const disc::Asker &asker);
    RTPSTime next_time();
    bool is_twin(const disc::Known &known, const disc::Place &place) const;
    template <typename Visitor>
    void visit_known(Visitor visitor);
    bool send(const disc::Place &place, std::span<const NUV_UINT8> message);
    NUV_UINT64 send_to(const disc::Known &known, std::span<const NUV_UINT8> message);
    NUV_INT64 shorten(NUV_INT64 period);
    disc::Schedule &schedule() const;

    DISCDiscovery &discovery_;
    disc::Domain &domain_;
    PRESParticipant *const participant_;
    COMMENDFacade *const facade_;
    NUVOsapiRtpsGuid guid_{};
    disc::OwnProperty own_;
    const COMMENDEndpoint detector_;  // reads what others announce
    const COMMENDEndpoint announcer_; // is asked whether it is there
    const COMMENDEndpoint others_;    // takes what is for endpoints that there are not
    bool is_active_ = false;

    disc::HeldRemote record_;
    NUV_UINT32 transports_ = 0; // a bit for each on which it has an address
    disc::Announcement announcement_;
    RTPSSequenceNumber sequence_ = 0;
    /** Before it announces itself from where nobody knows it; number 0: it does not. */
    Leaving leaves_first_;
    disc::Peers peers_;
    disc::Timer period_;
    disc::Timer change_;
    NUV_INT32 initial_left_ = 0;
    NUV_INT32 change_step_ = 0;
    NUV_INT64 last_change_ = 0;
    NUV_INT64 shortest_lease_ = disc::NEVER; // that it has announced
    NUV_UINT32 chance_;
    NUVEvent say_again_;
    bool is_unsaid_ = false;         // what it has to say, for lack of memory
    disc::Lookup *lookup_ = nullptr; // when there are names of peers, or were
    RTPSCount count_ = 0;            // of its heartbeats and questions
    disc::RecentOnDemand<disc::Asker, 64> answered_;
    disc::RecentOnDemand<disc::Address, 64> told_;      // what has become of somebody
    RTPSTime last_time_{0, 0};                          // of what it has said
    disc::RecentOnDemand<disc::Asker, 4096> strangers_; // for whom there was no room
    NUV_UINT64 stranger_arrival_ = 0;

    disc::Array<disc::View> views_; // by the slots of the table
    std::size_t known_count_ = 0;
    std::size_t remote_count_ = 0;
    std::size_t known_bytes_ = 0;
    disc::Array<NUVOsapiRtpsGuidPrefix> ignored_;
};

#endif
