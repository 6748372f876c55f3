// SPDX-License-Identifier: Apache-2.0
// What a participant is asked by another one's announcement, and the words of its answer.
#ifndef DISC_QUESTION_H
#define DISC_QUESTION_H

#include <array>
#include <span>
#include <string_view>

#include "osapi/osapi_guid.h"
#include "place.h"
#include "rtps/rtps_propertyList.h"
#include "units.h"

namespace disc {

/** Somebody who is asked about. The texts are views of the announcement that asks. */
struct Subject {
    enum class Kind { PARTICIPANT, NAME, PROCESS };

    /** "guid:01020304.05060708.090a0b0c", "name:talker", "process:812@host"; false: none of these.
     */
    bool read(std::string_view from);
    /** By which names are told apart before they are looked at. */
    static std::size_t hash_of(std::string_view name);

    Kind kind = Kind::PARTICIPANT;
    NUVOsapiRtpsGuidPrefix prefix{0, 0, 0};
    std::string_view text;     // the name, or the host of the process
    std::size_t name_hash = 0; // of the name
    NUV_UINT32 process = 0;    // its id, 1 or more
};

/** An announced property that asks, whose name ends in a word that its answer ends in as well. */
struct Question {
    std::string_view word;
    Subject about;
};

/**
 * Those of an announcement, the first ones when there are more than anybody needs; none of one that
 * answers.
 */
class Questions {
public:
    static constexpr std::size_t MOST = 4;

    /** None where the octets are no announcement. */
    static Questions of_payload(RTPSOctets payload);
    static Questions of(const RTPSPropertyList &properties);

    std::span<const Question> all() const {
        return {all_.data(), count_};
    }

private:
    void take(const RTPSProperty &property);

    std::array<Question, MOST> all_;
    std::size_t count_ = 0;
};

/** What has become of somebody in the one that is asked; of several the last of these is told. */
enum class State { UNKNOWN, FULL, SELF, IGNORED, KNOWN };

/** An announced property that answers. */
class Answer {
public:
    Answer() = default;
    /**
     * @param who  in the states KNOWN and IGNORED.
     * @param left of its lease, in the state KNOWN; NEVER: it does not end.
     * @param place where it receives, in the state KNOWN; null when it has none.
     */
    Answer(const Question &question, State state, const NUVOsapiRtpsGuidPrefix &who,
           NUV_INT64 left = NEVER, const Place *place = nullptr);

    /** A view of this. */
    RTPSProperty property() const;

private:
    template <typename... Parts>
    void add(const char *format, Parts... parts);

    std::array<char, 64> name_{};
    std::array<char, 128> value_{};
};

} // namespace disc

#endif
