// SPDX-License-Identifier: Apache-2.0
/**
 * @file DomainParticipant_ports.h
 * @brief Attempts of a participant at receive ports.
 */
#ifndef DOMAIN_PARTICIPANT_PORTS_H
#define DOMAIN_PARTICIPANT_PORTS_H

#include <array>

#include "domain/DomainParticipant_internal.h"

/**
 * An attempt at several ports for as long as it lives: what fails is said once, or not at all. The
 * reason can be asked for afterwards.
 */
class PortAttempt {
public:
    enum Said { SAID, QUIET };

    PortAttempt(struct DDS_DomainParticipant *participant, Said said)
        : configurator(participant->configurator) {
        NUVNetioConfigurator_beginAttempt(configurator, said == QUIET ? 1 : 0);
    }
    ~PortAttempt() {
        NUVNetioConfigurator_endAttempt(configurator);
    }
    PortAttempt(const PortAttempt &) = delete;
    PortAttempt &operator=(const PortAttempt &) = delete;

private:
    struct NUVNetioConfigurator *const configurator;
};

/**
 * Ports that a participant reserves for itself, to see whether they can be had before the
 * presentation half tries; given back with the object. With the participant's lock.
 */
class TrialPorts {
public:
    TrialPorts(struct DDS_DomainParticipant *participant, struct REDAWorker *callWorker);
    ~TrialPorts();
    TrialPorts(const TrialPorts &) = delete;
    TrialPorts &operator=(const TrialPorts &) = delete;

    /** Reserves what an update of the locators needs, as far as it can be had. False: not all. */
    bool reserve_for_update();
    /** Reserves what an index needs, the fixed one or the first that is free. False: none is. */
    bool reserve_for_index();

private:
    bool reserve_index(DDS_Long index);
    bool compute(DDS_Long index, struct DDS_DomainParticipantPresentationLocatorsI *locators);
    template <class LocatorPolicy>
    bool reserve(const LocatorPolicy &locators);
    void release();

    struct DDS_DomainParticipant *const self;
    struct REDAWorker *const worker;
    /* Two full unicast lists, and a group for each kind of traffic. */
    std::array<struct REDAWeakReference, 2 * DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX + 2>
        entryports;
    size_t count = 0;
};

#endif
