// SPDX-License-Identifier: Apache-2.0
// The search for the addresses of a participant's peers, which takes as long as name servers do.
#include "lookup.h"

#include <utility>

#include "participant.h"

namespace disc {

void Lookup::start() {
    // One that waits for the area is posted no more, and reads the names when it has it.
    if (!std::exchange(is_posted_, true)) {
        NUVNetioRuntime_postCallback(domain.runtime(), &callback_);
    }
}

void Lookup::leave_behind() {
    participant_ = nullptr;
    is_left_behind_.store(true);
}

bool Lookup::end() {
    return NUVNetioRuntime_cancelCallback(domain.runtime(), &callback_) != 0;
}

void Lookup::on_call(void *param, REDAWorker *worker) {
    auto *self = static_cast<Lookup *>(param);
    Names names;
    bool has_names = false;
    {
        const Domain::Visit visit(self->domain, worker);
        self->is_posted_ = false;
        self->is_running_.store(true);
        has_names = self->participant_ != nullptr && self->participant_->peers().copy_names(&names);
    }
    // Without memory it is tried again with the next period.
    if (has_names && find_addresses(&names, self->is_left_behind_, self->domain.repetitions())) {
        const Domain::Visit visit(self->domain, worker);
        if (self->participant_ != nullptr) {
            self->participant_->take_names(names);
        }
    }
    self->is_running_.store(false); // somebody else may free it now
}

} // namespace disc
