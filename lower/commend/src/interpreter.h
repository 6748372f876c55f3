// SPDX-License-Identifier: Apache-2.0
// Goes through a message and hands its submessages to the endpoints that they are for.
#ifndef COMMEND_INTERPRETER_H
#define COMMEND_INTERPRETER_H

#include <array>
#include <atomic>

#include "endpoints.h"

namespace commend {

/** Interprets one message at a time, on the reactor's thread; the counts may be read on any. */
class Interpreter {
public:
    Interpreter(const COMMENDFacadeProperty &property, NUVNetioRuntime *runtime);

    Endpoints endpoints;

    /**
     * Goes through a message.
     * @param reader has read its header.
     */
    void interpret(const NUVNetioMessage &message, const RTPSHeader &header,
                   RTPSMessageReader reader, REDAWorker *worker);

    void copy_statistics(COMMENDInterpreterStatistics *out) const;

private:
    class Walk;
    using Counter = std::atomic<NUV_UINT64>;

    bool is_own(const NUVOsapiRtpsGuidPrefix &prefix) const {
        return NUVOsapiRtpsGuidPrefix_isSame(&prefix, &own_prefix_) != 0;
    }
    void note_refusal(const NUVNetioMessage &message, RTPSRefusal reason);

    const NUVOsapiRtpsGuidPrefix own_prefix_;
    const bool enforces_alignment_;
    REDARepetitions *const repetitions_;

    Counter handed_on_{0};
    Counter unwanted_{0};
    Counter for_others_{0};
    Counter from_self_{0};
    Counter passed_over_{0};
    std::array<Counter, RTPS_REFUSAL_COUNT> refused_{};
};

} // namespace commend

#endif
