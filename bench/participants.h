// SPDX-License-Identifier: Apache-2.0
/** @file participants.h  The subject: participants with the default QoS. */
#ifndef BENCH_PARTICIPANTS_H
#define BENCH_PARTICIPANTS_H

#include <cstdint>
#include <utility>
#include <vector>

#include "dds_c/dds_c_domain.h"

namespace bench {

/** The domain that is measured in, and another that differs only in that nobody is there. Their
 * ports lie above those of the domains in common use and below the ephemeral ones. */
constexpr int DOMAIN = 77;
constexpr int EMPTY_DOMAIN = 78;

/** The most participants of this process in one domain that are measured. */
constexpr int MANY = 119;

/** The QoS of a participant. */
class Qos {
public:
    Qos() = default;
    Qos(Qos &&other) noexcept : qos_(std::exchange(other.qos_, EMPTY)) {}
    Qos &operator=(Qos &&) = delete;
    Qos(const Qos &) = delete;
    Qos &operator=(const Qos &) = delete;
    ~Qos() {
        clear();
    }

    /** Frees what it has. */
    void clear() {
        (void)DDS_DomainParticipantQos_finalize(&qos_);
    }
    /** Throws when memory runs out. */
    void copy(const Qos &other);
    /** Sets user data of 16 octets. Throws when memory runs out. */
    void set_user_data(DDS_Octet first_octet);

    DDS_DomainParticipantQos *get() {
        return &qos_;
    }
    const DDS_DomainParticipantQos *get() const {
        return &qos_;
    }

private:
    static constexpr DDS_DomainParticipantQos EMPTY = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;

    DDS_DomainParticipantQos qos_ = EMPTY;
};

/** An enabled participant. */
class Participant {
public:
    /** @param factory null: the instance. Throws when it cannot be created. */
    explicit Participant(int domain, const DDS_DomainParticipantListener *listener = nullptr,
                         DDS_DomainParticipantFactory *factory = nullptr);
    Participant(Participant &&other) noexcept
        : participant_(std::exchange(other.participant_, nullptr)) {}
    Participant &operator=(Participant &&) = delete;
    Participant(const Participant &) = delete;
    Participant &operator=(const Participant &) = delete;
    ~Participant();

    int index() const;
    /** Has the locators follow the interfaces. Throws when they cannot. */
    void update_locators() const;
    /** Each throws when it fails. */
    void get_qos(Qos &qos) const;
    void set_qos(const Qos &qos) const;
    /** Waits until the middleware's thread has read every event that the kernel has sent. */
    void wait_for_reactor() const;
    /** Waits until it knows as many others. Throws when that takes a minute. */
    void wait_until_it_knows(int count) const;
    /** What its discovery has done. */
    DDS_DiscoveryStatistics statistics() const;

private:
    DDS_DomainParticipant *participant_;
};

/** As many participants, one after the other. */
std::vector<Participant> make_participants(int count,
                                           const DDS_DomainParticipantListener *listener = nullptr,
                                           DDS_DomainParticipantFactory *factory = nullptr);

/** Allocations from the library's heap since the start. */
std::uint64_t allocations();

/** Bytes now allocated from the library's heap. */
double heap_bytes();

} // namespace bench

#endif
