// SPDX-License-Identifier: Apache-2.0
// A participant that lives as long as the object.
#pragma once

#include "dds_c/dds_c_domain.h"
#include "options.h"
#include "output.h"

/** As "01020304.05060708.090a0b0c.000001c1": the three words of the prefix, and the entity. */
std::string to_text(const DDS_GUID_t &guid);

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
    Qos(const Factory &factory, const RunOptions &options);
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

class Participant {
public:
    /** Joins; throws LoggedFailure when that fails. Changes of the network are announced as news.
     */
    Participant(const Factory &factory, const RunOptions &options);
    ~Participant();
    Participant(const Participant &) = delete;
    Participant &operator=(const Participant &) = delete;

    Presence describe() const;
    /** Throws LoggedFailure when that fails. */
    Qos qos() const;

    /** Leaves, which else the destructor does; throws LoggedFailure when that fails. */
    void leave();

private:
    const Factory &factory_;
    const PortSettings settings_;
    DDS_DomainParticipant *participant_;
};
