// SPDX-License-Identifier: Apache-2.0
// Who lets an error of the module through: its masks and, for some of them, the worker's activity.
#pragma once

#include <ostream>
#include <string>
#include <tuple>

#include "support/running_presentation.h"

/** A state of the masks and of the worker. */
struct Gate {
    enum class Open { TO_ALL, TO_THOSE_FOR_WORKERS, TO_NONE };

    const char *name;
    Open open;
    void (*set)(REDAWorker &worker);

    /** What gets through of the messages of a failure. */
    support::Messages pass(const support::Messages &messages, bool areForWorkersToo = false) const {
        return open == Open::TO_ALL || (open == Open::TO_THOSE_FOR_WORKERS && areForWorkersToo)
                   ? messages
                   : support::Messages();
    }
};

inline void PrintTo(const Gate &gate, std::ostream *out) {
    *out << gate.name;
}

inline void wantErrorsForWorkerOnly(REDAWorker &worker) {
    support::wantForWorkerOnly(worker, NUV_LOG_LEVEL_ERROR);
}

inline const Gate GATES[] = {
    {"IsOpenByDefault", Gate::Open::TO_ALL, [](REDAWorker &) {}},
    {"IsClosedWithoutTheErrorLevel", Gate::Open::TO_NONE,
     [](REDAWorker &) { support::forbidErrors(); }},
    {"IsClosedWithoutTheDomain", Gate::Open::TO_NONE,
     [](REDAWorker &) { support::forbidDomain(); }},
    {"IsOpenForTheWorkersCategoryOnlyWhereSoDocumented", Gate::Open::TO_THOSE_FOR_WORKERS,
     wantErrorsForWorkerOnly},
    {"IsOpenForItWithTheDomainForbiddenToo", Gate::Open::TO_THOSE_FOR_WORKERS,
     [](REDAWorker &worker) {
         wantErrorsForWorkerOnly(worker);
         NUVLog_storeMask(&DDSLog_g_instrumentationMask, ~0u);
         support::forbidDomain();
     }},
    {"IsClosedForAnotherCategory", Gate::Open::TO_NONE,
     [](REDAWorker &worker) {
         wantErrorsForWorkerOnly(worker);
         worker._activityContext->category = 2;
     }},
    {"IsClosedWhenTheCategoryIsWantedAtOtherLevels", Gate::Open::TO_NONE,
     [](REDAWorker &worker) {
         wantErrorsForWorkerOnly(worker);
         NUVLog_storeMask(&NUVLog_g_categoryMask[NUV_LOG_LEVEL_ERROR], 0);
         for (const NUV_UINT32 level :
              {NUV_LOG_LEVEL_FATAL, NUV_LOG_LEVEL_WARNING, NUV_LOG_LEVEL_LOCAL}) {
             NUVLog_storeMask(&NUVLog_g_categoryMask[level], 4);
         }
     }},
};

/** A test suite's parameter: a failure beside a gate. */
template <typename Failed>
using FailedAtGate = std::tuple<Failed, Gate>;

template <typename Failed>
std::string nameOfGate(const testing::TestParamInfo<FailedAtGate<Failed>> &info) {
    const auto &[failed, gate] = info.param;
    return std::string(failed.name) + gate.name;
}
