// SPDX-License-Identifier: Apache-2.0
// The search for the addresses of a participant's peers, which takes as long as name servers do.
#ifndef DISC_LOOKUP_H
#define DISC_LOOKUP_H

#include <atomic>

#include "netio/netio_callback.h"

struct DISCParticipant;

namespace disc {

class Domain;

/**
 * It runs on the thread of callbacks, and may be left behind there by a participant that ends:
 * then what it finds is nobody's.
 */
class Lookup {
public:
    Lookup(Domain &its_domain, DISCParticipant &participant)
        : domain(its_domain), callback_{on_call, this, nullptr, 0}, participant_(&participant) {}
    Lookup(const Lookup &) = delete;
    Lookup &operator=(const Lookup &) = delete;

    // Within the domain's area.

    /** Has it begin; once more when it is under way. */
    void start();
    /** The participant is no more. */
    void leave_behind();
    /** Whether nothing of it is under way: it may be freed. */
    bool is_over() const {
        return !is_posted_ && !is_running_.load();
    }

    /** Waits, without the area, until nothing of it is under way. False after 4 s. */
    bool end();

    Domain &domain;         // a user of it, once it has been left behind
    Lookup *next = nullptr; // of those that have been

private:
    static void on_call(void *param, REDAWorker *worker);

    NUVNetioCallback callback_;
    DISCParticipant *participant_; // null: it has been left behind
    bool is_posted_ = false;
    std::atomic<bool> is_running_{false};
    std::atomic<bool> is_left_behind_{false};
};

} // namespace disc

#endif
