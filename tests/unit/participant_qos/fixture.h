// SPDX-License-Identifier: Apache-2.0
/**
 * @file fixture.h
 * @brief A participant of the public API, and QoS records to change it with.
 */
#pragma once

#include <set>
#include <string>
#include <vector>

#include "dds_c/dds_c.h"
#include "support/heap_watch.h"
#include "support/log_capture.h"
#include "support/socket_watch.h"
#include "gtest/gtest.h"

/** A QoS record that is finalized with the object. */
class Qos {
public:
    /** Without peers and addresses. */
    Qos() = default;
    ~Qos();
    Qos(const Qos &) = delete;
    Qos &operator=(const Qos &) = delete;

    /** The factory's default, on ports that no other test program uses. */
    void setDefault();

    void setUserData(const std::vector<DDS_Octet> &octets);
    void addPartition(const char *name);
    void addPeer(const char *address);
    void setProperty(const char *name, const char *value);
    void removeProperties();

    DDS_DomainParticipantQos *operator->() {
        return &qos_;
    }
    const DDS_DomainParticipantQos *operator->() const {
        return &qos_;
    }
    DDS_DomainParticipantQos *get() {
        return &qos_;
    }
    const DDS_DomainParticipantQos *get() const {
        return &qos_;
    }

    bool operator==(const Qos &other) const {
        return DDS_DomainParticipantQos_is_equal(&qos_, &other.qos_) != DDS_BOOLEAN_FALSE;
    }

private:
    DDS_DomainParticipantQos qos_ = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
};

/**
 * A participant that is created with `qos`. Nothing may be left of it and its factory afterwards:
 * no block of the heap, no socket.
 */
class ParticipantQos : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /** @p isEnabled false: the participant is not enabled. */
    void create(bool isEnabled = true, const DDS_DomainParticipantListener *listener = nullptr);

    DDS_ReturnCode_t set() {
        return DDS_DomainParticipant_set_qos(participant, qos.get());
    }
    /** Into `out`. */
    DDS_ReturnCode_t get() {
        return DDS_DomainParticipant_get_qos(participant, out.get());
    }

    /** The participant has the QoS @p expected. */
    void expectQos(const Qos &expected);

    /** The texts of the error messages and failed preconditions. */
    std::vector<std::string> errors() const;

    static std::vector<std::string> locators(DDS_DomainParticipant *of);
    std::vector<std::string> locators() const {
        return locators(participant);
    }

    const support::HeapWatch heap;
    const std::set<std::string> socketsBefore = support::openSockets();
    support::LogCapture log;
    Qos qos;
    Qos out;
    DDS_DomainParticipantFactory *factory = nullptr;
    DDS_DomainParticipant *participant = nullptr;
};
