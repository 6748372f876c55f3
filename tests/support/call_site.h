// SPDX-License-Identifier: Apache-2.0
/**
 * @file call_site.h
 * @brief What a __wrap_ function is made of; for the wraps_*.cpp files.
 *
 *     WRAP(int, PRESParticipant_shutdown, Failing::YES,
 *          (PRESParticipant * self, int *failReason, REDAWorker *worker), self, failReason, worker)
 */
#pragma once

#include <algorithm>
#include <cerrno>
#include <type_traits>
#include <utility>

#include "support/describe.h"
#include "support/recorder.h"
#include "support/wrapped.h"

namespace support {

using faults::Failing;
using faults::Fault;
using faults::Kind;

/** Writes the arguments of a call. */
class Arguments {
public:
    /** @p names as they stand in the source: "self, worker". */
    Arguments(Recorder &recorder, std::string_view names) : recorder_(recorder), names_(names) {}

    template <typename... A>
    std::string write(A... values) {
        (add(values), ...);
        return text_;
    }

private:
    template <typename T>
    void add(T value) {
        const std::string name(names_.substr(0, names_.find(',')));
        names_.remove_prefix(std::min(names_.size(), name.size() + 2));
        text_ += (text_.empty() ? "" : ", ") + show(name, value);
    }

    template <typename T>
    std::string show(const std::string &name, T value) {
        if constexpr (std::is_same_v<T, const char *>) {
            return quote(value);
        } else if constexpr (std::is_pointer_v<T>) {
            return value == nullptr ? "null" : showPointer(name, value);
        } else {
            return name == "failReason" ? hex(static_cast<unsigned long>(value))
                                        : std::to_string(static_cast<long>(value));
        }
    }

    template <typename T>
    std::string showPointer(const std::string &name, T *object) {
        using Plain = std::remove_const_t<T>;
        if constexpr (std::is_void_v<Plain>) {
            const std::string *known = recorder_.findAny(object);
            return known != nullptr ? *known : '&' + name;
        } else {
            if (const std::string *known = recorder_.find(object, faults::type_name<Plain>())) {
                return *known;
            }
            if constexpr (std::is_arithmetic_v<Plain> && !std::is_same_v<Plain, char>) {
                return '&' + name + '=' +
                       (name == "failReason" ? hex(static_cast<unsigned long>(*object))
                                             : std::to_string(*object));
            } else if constexpr (Describable<Plain>) {
                return std::is_const_v<T> ? describe(*object) : '&' + name;
            } else {
                return recorder_.nameOf(object, faults::type_name<Plain>());
            }
        }
    }

    Recorder &recorder_;
    std::string_view names_;
    std::string text_;
};

/** What a call of a wrapped function is to the recorder of its thread. */
class Call {
public:
    explicit Call(const faults::Wrapped &wrapped)
        : wrapped_(wrapped), recorder_(Recorder::current()),
          is_outermost_(recorder_ == nullptr || recorder_->depth_ == 0) {}

    bool isOutermost() const {
        return is_outermost_;
    }

    /** Whether the recorder is to be told of it. */
    bool isRecorded() const {
        return recorder_ != nullptr && is_outermost_ && wrapped_.kind == Kind::ASKED;
    }

    Recorder &recorder() const {
        return *recorder_;
    }

    void note(std::string text) {
        text_ = std::move(text);
        recorder_->note(wrapped_.name, text_);
    }

    void fails() const {
        if (isRecorded()) {
            recorder_->failed_ = text_;
        }
    }

private:
    const faults::Wrapped &wrapped_;
    Recorder *const recorder_;
    const bool is_outermost_;
    std::string text_;
};

/** While it lives, calls are those of the lower layers among themselves. */
class Inside {
public:
    explicit Inside(const Call &call) : recorder_(call.isRecorded() ? &call.recorder() : nullptr) {
        if (recorder_ != nullptr) {
            ++recorder_->depth_;
        }
    }
    ~Inside() {
        if (recorder_ != nullptr) {
            --recorder_->depth_;
        }
    }
    Inside(const Inside &) = delete;
    Inside &operator=(const Inside &) = delete;

private:
    Recorder *const recorder_;
};

template <typename Signature, Kind KIND = Kind::ASKED>
class Site;

/** A wrapped function, or a slot of a facade. */
template <typename R, typename... A, Kind KIND>
class Site<R(A...), KIND> : public faults::Wrapped {
public:
    constexpr Site(const char *its_name, Failing fails)
        : Wrapped(its_name, KIND, fails, faults::type_name<R(A...)>()) {}

    /** Handles one call. @p real is called unless the call fails or is replaced. */
    template <typename Real>
    R call(Real real, std::string_view names, A... arguments) {
        Call site(*this);
        if constexpr (KIND == Kind::ASKED) {
            if (site.isRecorded()) {
                site.note(std::string(name) + '(' +
                          Arguments(site.recorder(), names).write(arguments...) + ')');
            }
        }
        const Fault *fault = take(site.isOutermost());
        const Inside inside(site);
        if (fault != nullptr) {
            site.fails();
            return failWith(*fault, names, arguments...);
        }
        if (const faults::Replacement *instead = replacement(site.isOutermost())) {
            const faults::Replacing replacing(*this);
            return (*static_cast<std::function<R(A...)> *>(instead->function.get()))(arguments...);
        }
        return real(arguments...);
    }

private:
    static R failWith(const Fault &fault, [[maybe_unused]] std::string_view names,
                      [[maybe_unused]] A... arguments) {
        (setFailReason(fault, names, arguments), ...);
        if (fault.error != 0) {
            errno = fault.error;
        }
        if constexpr (std::is_same_v<R, DDS_ReturnCode_t>) {
            return static_cast<R>(fault.result.value_or(DDS_RETCODE_ERROR));
        } else if constexpr (std::is_integral_v<R>) {
            return static_cast<R>(fault.result.value_or(KIND == Kind::SYSTEM ? -1 : 0));
        } else if constexpr (!std::is_void_v<R>) {
            return R{};
        }
    }

    template <typename T>
    static void setFailReason([[maybe_unused]] const Fault &fault,
                              [[maybe_unused]] std::string_view names,
                              [[maybe_unused]] T argument) {
        if constexpr (std::is_same_v<T, int *>) {
            if (names.find("failReason") != std::string_view::npos) {
                *argument = fault.failReason.value_or(PRES_RETCODE_ERROR);
            }
        }
    }
};

} // namespace support

#define NUVDDS_WRAP(KIND, FAILING, RESULT, NAME, PARAMETERS, ...)                                  \
    extern "C" RESULT __real_##NAME PARAMETERS;                                                    \
    extern "C" RESULT __wrap_##NAME PARAMETERS;                                                    \
    static constinit support::Site<RESULT PARAMETERS, KIND> site_##NAME(#NAME, FAILING);           \
    static const faults::Registration registration_##NAME(site_##NAME);                            \
    RESULT __wrap_##NAME PARAMETERS {                                                              \
        return site_##NAME.call(__real_##NAME, #__VA_ARGS__ __VA_OPT__(, ) __VA_ARGS__);           \
    }

/** Defines __wrap_NAME, of which the recorder is told, and which passes on to __real_NAME. */
#define WRAP(RESULT, NAME, FAILING, PARAMETERS, ...)                                               \
    NUVDDS_WRAP(support::Kind::ASKED, FAILING, RESULT, NAME, PARAMETERS, __VA_ARGS__)

/** The same for a function of a lower layer of which the recorder is not told. */
#define WRAP_LOWER(RESULT, NAME, PARAMETERS, ...)                                                  \
    NUVDDS_WRAP(support::Kind::LOWER, support::Failing::BY_NAME, RESULT, NAME, PARAMETERS,         \
                __VA_ARGS__)

/** The same for a function of the C library. */
#define WRAP_SYSTEM(RESULT, NAME, PARAMETERS, ...)                                                 \
    NUVDDS_WRAP(support::Kind::SYSTEM, support::Failing::BY_NAME, RESULT, NAME, PARAMETERS,        \
                __VA_ARGS__)
