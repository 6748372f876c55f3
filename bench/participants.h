/** @file participants.h  The subject: participants with the default QoS. */
#ifndef BENCH_PARTICIPANTS_H
#define BENCH_PARTICIPANTS_H

#include <cstdint>
#include <utility>

#include "dds_c/dds_c_domain.h"

namespace bench {

/** The domain that is measured in, and another that differs only in that nobody is there. Their
 * ports lie above those of the domains in common use and below the ephemeral ones. */
constexpr int DOMAIN = 77;
constexpr int EMPTY_DOMAIN = 78;

/** The most participants of this process in one domain that are measured. */
constexpr int MANY = 119;

/** An enabled participant. */
class Participant {
public:
    /** Throws when it cannot be created. */
    explicit Participant(int domain);
    Participant(Participant &&other) noexcept
        : participant_(std::exchange(other.participant_, nullptr)) {}
    Participant &operator=(Participant &&) = delete;
    Participant(const Participant &) = delete;
    Participant &operator=(const Participant &) = delete;
    ~Participant();

    int index() const;
    /** Has the locators follow the interfaces. Throws when they cannot. */
    void update_locators() const;

private:
    DDS_DomainParticipant *participant_;
};

/** Allocations from the library's heap since the start. */
std::uint64_t allocations();

/** Bytes now allocated from the library's heap. */
double heap_bytes();

} // namespace bench

#endif
