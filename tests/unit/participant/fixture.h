// SPDX-License-Identifier: Apache-2.0
// Participants through the public API.
#pragma once

#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "dds_c/dds_c.h"
#include "support/faults.h"
#include "support/heap_watch.h"
#include "support/log_capture.h"
#include "support/ports.h"

constexpr const char *ALLOW_INTERFACES = "dds.transport.allow_interfaces";

/** A QoS that is finalized with the object, with ports that no other test program uses. */
class Qos {
public:
    Qos();
    ~Qos();
    Qos(const Qos &) = delete;
    Qos &operator=(const Qos &) = delete;

    DDS_DomainParticipantQos *operator->() {
        return &qos_;
    }
    DDS_DomainParticipantQos *get() {
        return &qos_;
    }

private:
    DDS_DomainParticipantQos qos_ = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
};

/** The first port of the standard kind for participant index 0 and domain 0, with that QoS. */

/** The files that the process has open, "socket:[1234]" for one. */
std::multiset<std::string> open_files();

/** Locators of a participant as text. */
using LocatorGetter = DDS_ReturnCode_t (*)(DDS_DomainParticipant *, DDS_LocatorSeq *);
std::vector<std::string> locators(DDS_DomainParticipant *participant, LocatorGetter get);

/**
 * A factory, and what a test creates with it. Nothing may be left of either afterwards: no block,
 * no open file.
 */
class ParticipantTest : public testing::Test {
protected:
    ParticipantTest();

    void TearDown() override;

    DDS_DomainParticipant *create(const DDS_DomainParticipantListener *listener = nullptr,
                                  DDS_StatusMask mask = DDS_STATUS_MASK_NONE);
    DDS_ReturnCode_t remove(DDS_DomainParticipant *participant);

    /** Participants are created without being enabled from now on. */
    void switch_autoenable_off();

    /** The texts of the messages of one level. */
    std::vector<std::string> messages(NUV_UINT32 level) const;
    std::vector<std::string> errors() const {
        return messages(NUV_LOG_LEVEL_ERROR);
    }

    const faults::Guard guard;
    const support::HeapWatch heap;
    const std::multiset<std::string> files_before = open_files();
    support::LogCapture log;
    Qos qos;
    DDS_DomainParticipantFactory *factory;
    std::vector<DDS_DomainParticipant *> participants;
};
