// SPDX-License-Identifier: Apache-2.0
// Each measurement has a child process of its own, so that nothing that ran before has left memory
// behind.
#include "standing.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <vector>

#include "child.h"
#include "participants.h"
#include "process.h"

namespace bench {
namespace {

std::map<int, Standing> standing;

Standing stand(int count) {
    std::vector<Participant> participants;

    participants.reserve(static_cast<std::size_t>(count));
    (void)resident_bytes(); /* what the measurement itself needs is there now */
    participants.emplace_back(DOMAIN);

    const double resident_one = resident_bytes();
    const double heap_one = heap_bytes();

    while (participants.size() < static_cast<std::size_t>(count)) {
        participants.emplace_back(DOMAIN);
    }
    const double further = std::max(count - 1, 1);

    return {thread_count(), (resident_bytes() - resident_one) / further,
            (heap_bytes() - heap_one) / further};
}

} // namespace

void measure_standing() {
    for (const int count : {1, 10, 100, MANY}) {
        standing.emplace(count, in_child(stand, count));
    }
}

const Standing &standing_costs(int count) {
    return standing.at(count);
}

} // namespace bench
