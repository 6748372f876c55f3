// SPDX-License-Identifier: Apache-2.0
// What a participant is asked by another one's announcement, and the words of its answer.
#include "question.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <optional>

#include "disc/disc_participant.h"
#include "osapi/osapi_utility.h"
#include "rtps/rtps_parameterList.h"

namespace disc {

namespace {

constexpr std::string_view QUESTION = DISC_QUESTION_PROPERTY;
constexpr std::string_view ANSWER = DISC_ANSWER_PROPERTY;
/** The most characters of the word that ends the name. */
constexpr std::size_t WORD_LENGTH_MAX = 16;

/** What follows the beginning; none when it does not begin so. */
std::optional<std::string_view> rest_of(std::string_view text, std::string_view beginning) {
    return text.starts_with(beginning) ? std::optional(text.substr(beginning.size()))
                                       : std::nullopt;
}

bool read_number(std::string_view text, int base, NUV_UINT32 *out) {
    const char *const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, *out, base);
    return result.ec == std::errc() && result.ptr == end;
}

/** Nobody has a longer name, and no host. */
bool is_name(std::string_view text) {
    constexpr std::size_t LONGEST = 255;
    return !text.empty() && text.size() <= LONGEST;
}

/** The three words of a prefix, each of eight hexadecimal digits, with dots between them. */
bool read_prefix(std::string_view text, NUVOsapiRtpsGuidPrefix *out) {
    constexpr std::size_t DIGITS = 8;
    constexpr int HEXADECIMAL = 16;
    const auto word = [&](std::size_t number) {
        return text.substr(number * (DIGITS + 1), DIGITS);
    };
    return text.size() == 3 * DIGITS + 2 && text[DIGITS] == '.' && text[2 * DIGITS + 1] == '.' &&
           read_number(word(0), HEXADECIMAL, &out->hostId) &&
           read_number(word(1), HEXADECIMAL, &out->appId) &&
           read_number(word(2), HEXADECIMAL, &out->instanceId);
}

std::string_view view_of(const RTPSText &text) {
    return {text.text, text.length};
}

RTPSText text_of(const char *text) {
    return {text, static_cast<NUV_UINT32>(std::string_view(text).size())};
}

} // namespace

bool Subject::read(std::string_view from) {
    constexpr int DECIMAL = 10;
    if (const auto guid = rest_of(from, "guid:")) {
        kind = Kind::PARTICIPANT;
        return read_prefix(*guid, &prefix);
    }
    if (const auto name = rest_of(from, "name:")) {
        kind = Kind::NAME;
        text = *name;
        name_hash = hash_of(text);
        return is_name(text);
    }
    const auto process_and_host = rest_of(from, "process:");
    const std::size_t at = process_and_host ? process_and_host->find('@') : from.npos;
    if (at == from.npos) {
        return false;
    }
    kind = Kind::PROCESS;
    text = process_and_host->substr(at + 1);
    return read_number(process_and_host->substr(0, at), DECIMAL, &process) && process != 0 &&
           is_name(text);
}

std::size_t Subject::hash_of(std::string_view name) {
    return std::hash<std::string_view>{}(name);
}

Questions Questions::of_payload(RTPSOctets payload) {
    RTPSParameterListReader reader;
    RTPSParameter parameter;
    if (RTPSParameterListReader_initializePayload(&reader, payload) != RTPS_ACCEPTED) {
        return {};
    }
    while (RTPSParameterListReader_next(&reader, &parameter) != 0) {
        RTPSPropertyList properties;
        if (parameter.id == RTPS_PID_PROPERTY_LIST &&
            RTPSPropertyList_read(parameter.value, reader.byteOrder, &properties) ==
                RTPS_ACCEPTED) {
            return of(properties);
        }
    }
    return {};
}

Questions Questions::of(const RTPSPropertyList &properties) {
    Questions questions;
    RTPSPropertyReader reader;
    RTPSProperty property;
    RTPSPropertyReader_initialize(&reader, &properties);
    while (RTPSPropertyReader_next(&reader, &property) != 0) {
        if (rest_of(view_of(property.name), ANSWER)) {
            return {}; // two that ask would answer each other's answers
        }
        questions.take(property);
    }
    return questions;
}

/** Nothing of what is no question. */
void Questions::take(const RTPSProperty &property) {
    const auto word = rest_of(view_of(property.name), QUESTION);
    Question question;
    if (word && word->size() <= WORD_LENGTH_MAX && count_ < MOST &&
        question.about.read(view_of(property.value))) {
        question.word = *word;
        all_[count_++] = question;
    }
}

Answer::Answer(const Question &question, State state, const NUVOsapiRtpsGuidPrefix &who,
               NUV_INT64 left, const Place *place) {
    static_assert(ANSWER.size() + WORD_LENGTH_MAX < std::tuple_size_v<decltype(name_)>);
    const auto end = std::copy(ANSWER.begin(), ANSWER.end(), name_.begin());
    *std::copy(question.word.begin(), question.word.end(), end) = '\0';
    constexpr const char *WORDS[] = {"unknown", "full", "self", "ignored", "known"};
    add("%s", WORDS[static_cast<std::size_t>(state)]);
    if (state == State::KNOWN || state == State::IGNORED) {
        add(" %08x.%08x.%08x", who.hostId, who.appId, who.instanceId);
    }
    if (state == State::KNOWN && left == NEVER) {
        add("%s", " infinite");
    } else if (state == State::KNOWN) {
        add(" %lld", static_cast<long long>(left / MILLISECOND));
    }
    if (state == State::KNOWN && place != nullptr) {
        add(" %s", netio::LocatorText(place->locator()).get());
    }
}

/** There is room for the longest of all answers. */
template <typename... Parts>
void Answer::add(const char *format, Parts... parts) {
    const std::size_t length = std::string_view(value_.data()).size();
    (void)NUVOsapiUtility_snprintf(value_.data() + length, value_.size() - length, format,
                                   parts...);
}

RTPSProperty Answer::property() const {
    return {text_of(name_.data()), text_of(value_.data())};
}

} // namespace disc
