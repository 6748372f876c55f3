/**
 * @file ParticipantLock.h
 * @brief The lock that serialises the operations on one participant.
 */
#ifndef DOMAIN_PARTICIPANT_LOCK_H
#define DOMAIN_PARTICIPANT_LOCK_H

#include "domain/DomainParticipant_internal.h"

/** Enters a participant's exclusive area for as long as it lives. */
class ParticipantLock {
public:
    ParticipantLock(struct DDS_DomainParticipant *participant, struct REDAWorker *callWorker)
        : ea(participant->ea), worker(callWorker) {
        REDAExclusiveArea_enter(ea, worker);
    }
    ~ParticipantLock() {
        REDAExclusiveArea_leave(ea, worker);
    }
    ParticipantLock(const ParticipantLock &) = delete;
    ParticipantLock &operator=(const ParticipantLock &) = delete;

private:
    struct REDAExclusiveArea *ea;
    struct REDAWorker *worker;
};

#endif
