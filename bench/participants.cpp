#include "participants.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "osapi/osapi_heap.h"

namespace bench {
namespace {

NUVOsapiHeapStatistics statistics() {
    NUVOsapiHeapStatistics out = {};

    NUVOsapiHeap_getStatistics(&out);
    return out;
}

} // namespace

Participant::Participant(int domain)
    : participant_(DDS_DomainParticipantFactory_create_participant(
          DDS_DomainParticipantFactory_get_instance(), domain, DDS_PARTICIPANT_QOS_DEFAULT, nullptr,
          0)) {
    if (participant_ == nullptr) {
        throw std::runtime_error("a participant could not be created");
    }
}

Participant::~Participant() {
    if (participant_ != nullptr &&
        DDS_DomainParticipantFactory_delete_participant(DDS_DomainParticipantFactory_get_instance(),
                                                        participant_) != DDS_RETCODE_OK) {
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

std::uint64_t allocations() {
    return statistics().allocations;
}

double heap_bytes() {
    return static_cast<double>(statistics().liveBytes);
}

} // namespace bench
