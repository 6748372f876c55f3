// SPDX-License-Identifier: Apache-2.0
#include "participants.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>

#include "domain/DomainParticipant_internal.h"
#include "netio/netio_runtime.h"
#include "osapi/osapi_heap.h"

namespace bench {
namespace {

NUVOsapiHeapStatistics statistics() {
    NUVOsapiHeapStatistics out = {};

    NUVOsapiHeap_getStatistics(&out);
    return out;
}

} // namespace

void Qos::copy(const Qos &other) {
    if (DDS_DomainParticipantQos_copy(&qos_, &other.qos_) == nullptr) {
        throw std::bad_alloc();
    }
}

void Qos::set_user_data(DDS_Octet first_octet) {
    const std::array<DDS_Octet, 16> octets = {first_octet};

    if (!DDS_OctetSeq_from_array(&qos_.user_data.value, octets.data(), octets.size())) {
        throw std::bad_alloc();
    }
}

Participant::Participant(int domain, const DDS_DomainParticipantListener *listener,
                         DDS_DomainParticipantFactory *factory)
    : participant_(DDS_DomainParticipantFactory_create_participant(
          factory != nullptr ? factory : DDS_DomainParticipantFactory_get_instance(), domain,
          DDS_PARTICIPANT_QOS_DEFAULT, listener, DDS_STATUS_MASK_NONE)) {
    if (participant_ == nullptr) {
        throw std::runtime_error("a participant could not be created");
    }
}

Participant::~Participant() {
    if (participant_ != nullptr && DDS_DomainParticipantFactory_delete_participant(
                                       participant_->factory, participant_) != DDS_RETCODE_OK) {
        std::fputs("a participant could not be deleted\n", stderr);
        std::abort();
    }
}

int Participant::index() const {
    return DDS_DomainParticipant_get_participant_index(participant_);
}

void Participant::update_locators() const {
    if (DDS_DomainParticipant_update_locators(participant_) != DDS_RETCODE_OK) {
        throw std::runtime_error("the locators could not be updated");
    }
}

void Participant::get_qos(Qos &qos) const {
    if (DDS_DomainParticipant_get_qos(participant_, qos.get()) != DDS_RETCODE_OK) {
        throw std::runtime_error("a QoS could not be read");
    }
}

void Participant::set_qos(const Qos &qos) const {
    if (DDS_DomainParticipant_set_qos(participant_, qos.get()) != DDS_RETCODE_OK) {
        throw std::runtime_error("a QoS could not be set");
    }
}

void Participant::wait_for_reactor() const {
    constexpr NUVNtpTime PATIENCE = {10, 0};

    /* An event that was there before the first wait has been read before the second one ends. */
    for (int i = 0; i < 2; ++i) {
        if (NUVNetioRuntime_flush(participant_->resources.runtime, &PATIENCE) == 0) {
            throw std::runtime_error("the middleware's thread does not answer");
        }
    }
}

void Participant::wait_until_it_knows(int count) const {
    constexpr DDS_Duration_t PATIENCE = {60, 0};

    if (DDS_DomainParticipant_wait_for_participants(participant_, count, &PATIENCE) !=
        DDS_RETCODE_OK) {
        throw std::runtime_error("a participant does not come to know the others");
    }
}

DDS_DiscoveryStatistics Participant::statistics() const {
    DDS_DiscoveryStatistics now = {};

    if (DDS_DomainParticipant_get_discovery_statistics(participant_, &now) != DDS_RETCODE_OK) {
        throw std::runtime_error("the statistics of discovery could not be read");
    }
    return now;
}

std::vector<Participant> make_participants(int count, const DDS_DomainParticipantListener *listener,
                                           DDS_DomainParticipantFactory *factory) {
    std::vector<Participant> participants;

    participants.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        participants.emplace_back(DOMAIN, listener, factory);
    }
    return participants;
}

std::uint64_t allocations() {
    return statistics().allocations;
}

double heap_bytes() {
    return static_cast<double>(statistics().liveBytes);
}

} // namespace bench
