// SPDX-License-Identifier: Apache-2.0
/**
 * @file recording_facade.h
 * @brief A communication facade whose slots record each call and then pass it on.
 */
#pragma once

#include "commend/commend_facade.h"

struct PRESParticipant;

namespace support {

class Recorder;

struct RecordingFacade {
    /** @p real null: nothing is passed on; reservations succeed and nothing else is done. */
    explicit RecordingFacade(COMMENDFacade *real);

    COMMENDFacade slots; // first: a slot gets the address of this and finds the rest behind it
    COMMENDFacade *real;
    NUV_UINT32 reservations = 0; // given out without a real facade

    /** What getFacade answers. */
    static COMMENDFacade *of(Recorder &recorder, PRESParticipant *participant);
};

} // namespace support
