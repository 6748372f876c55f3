// SPDX-License-Identifier: Apache-2.0
// A participant that lives as long as the object.
#pragma once

#include <cstddef>
#include <mutex>
#include <vector>

#include "dds_c/dds_c_domain.h"
#include "options.h"
#include "output.h"
#include "sighting.h"

/** The factory of participants; gone with the object. */
class Factory {
public:
    Factory();
    ~Factory();
    Factory(const Factory &) = delete;
    Factory &operator=(const Factory &) = delete;

    DDS_DomainParticipantFactory *get() const {
        return factory_;
    }

private:
    DDS_DomainParticipantFactory *factory_;
};

/** The QoS of a participant: the default with what the options ask for, or the one that it has. */
class Qos {
public:
    Qos(const Factory &factory, const ParticipantOptions &options);
    /** The one that the participant has; throws LoggedFailure when it cannot be read. */
    explicit Qos(DDS_DomainParticipant *participant);
    ~Qos();
    Qos(const Qos &) = delete;
    Qos &operator=(const Qos &) = delete;

    const DDS_DomainParticipantQos *get() const {
        return &qos_;
    }

private:
    DDS_DomainParticipantQos qos_ = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
};

/** Whom a participant has met, until somebody asks; each is announced as news. Thread-safe. */
class Encounters {
public:
    /** What does not fit is counted instead. */
    void add(Encounter encounter);

    struct Taken {
        std::vector<Encounter> encounters;
        std::size_t missed; // those that did not fit, after these
    };
    Taken take();

private:
    std::mutex mutex_;
    Taken waiting_ = {{}, 0};
};

class Participant {
public:
    /** Joins; throws LoggedFailure when that fails. */
    Participant(const Factory &factory, const ParticipantOptions &options);
    /**
     * The same; changes of the network are announced as news, and so are others, which are put
     * into @p encounters. That must outlive it.
     */
    Participant(const Factory &factory, const ParticipantOptions &options, Encounters &encounters);
    ~Participant();
    Participant(const Participant &) = delete;
    Participant &operator=(const Participant &) = delete;

    Presence describe() const;
    /** Each throws LoggedFailure when that fails. */
    Qos qos() const;
    DDS_DiscoveryStatistics statistics() const;
    /** Those that it knows. */
    std::vector<Sighting> others() const;

    /** Leaves, which else the destructor does; throws LoggedFailure when that fails. */
    void leave();

private:
    Participant(const Factory &factory, const ParticipantOptions &options, Encounters *encounters);

    static void meet(void *participant, DDS_DomainParticipant *self,
                     const DDS_ParticipantBuiltinTopicData *data,
                     DDS_DiscoveredParticipantChange change) noexcept;

    const Factory &factory_;
    const PortSettings settings_;
    Encounters *const encounters_;
    DDS_DomainParticipant *participant_;
};
