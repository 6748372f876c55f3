// SPDX-License-Identifier: Apache-2.0
// Reasons of refusal as people read them.
#include "rtps/rtps_refusal.h"

#include <array>

namespace {

constexpr std::array<const char *, RTPS_REFUSAL_COUNT> PHRASES = {
    "nothing",
    "no message of RTPS 2",
    "a length that is not that of what follows",
    "a submessage that begins at no multiple of four octets",
    "a submessage where none of its kind belongs",
    "a sequence number that cannot be",
    "a set of numbers that cannot be",
    "fragments that are none of their sample",
    "flags that exclude each other",
    "a payload that is no parameter list",
    "a parameter list without its end",
    "an unknown parameter that must be understood",
    "a text without its end",
    "a lease duration that is not above zero",
    "a participant without a GUID",
    "a GUID that is no participant's",
    "a participant that is not the sender",
};
static_assert(PHRASES.back() != nullptr, "each reason has its phrase");

} // namespace

const char *RTPSRefusal_toString(RTPSRefusal refusal) {
    return PHRASES[refusal];
}
