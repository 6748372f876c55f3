/**
 * @file call_site.h
 * @brief What a __wrap_ function is made of; for the wraps_*.cpp files.
 *
 *     WRAP(int, PRESParticipant_shutdown, Failing::YES,
 *          (PRESParticipant * self, int *failReason, REDAWorker *worker), self, failReason, worker)
 */
#pragma once

#include <algorithm>
#include <type_traits>
#include <utility>

#include "support/describe.h"
#include "support/recorder.h"

namespace support {

/** Whether a call can be made to fail. */
enum class Failing {
    NEVER,
    BY_NAME, ///< only when it is asked for: its "failure" is an ordinary answer
    YES,
};

/** One wrapped function, or one slot of a facade. */
class CallSite {
public:
    CallSite(const char *name, Failing failing, std::string_view signature);
    CallSite(const CallSite &) = delete;
    CallSite &operator=(const CallSite &) = delete;

    static const CallSite *find(std::string_view name);

    const char *const name;
    const Failing failing;
    const std::string signature;

protected:
    static Recorder::Steering &steering(Recorder &recorder, const CallSite &site) {
        return recorder.steering(site.name);
    }
    static void note(Recorder &recorder, const CallSite &site, const std::string &call) {
        recorder.note(site, call);
    }
    static std::optional<Fault> takeFault(Recorder &recorder, const CallSite &site,
                                          const std::string &call) {
        return recorder.takeFault(site, call);
    }
};

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
            if (const std::string *known = recorder_.find(object, typeName<Plain>())) {
                return *known;
            }
            if constexpr (std::is_arithmetic_v<Plain> && !std::is_same_v<Plain, char>) {
                return '&' + name + '=' +
                       (name == "failReason" ? hex(static_cast<unsigned long>(*object))
                                             : std::to_string(*object));
            } else if constexpr (Describable<Plain>) {
                return std::is_const_v<T> ? describe(*object) : '&' + name;
            } else {
                return recorder_.nameOf(object, typeName<Plain>());
            }
        }
    }

    Recorder &recorder_;
    std::string_view names_;
    std::string text_;
};

/** While it lives, calls are those of the lower layers among themselves. */
class Inside {
public:
    explicit Inside(Recorder &recorder) : recorder_(recorder) {
        ++recorder_.depth_;
    }
    ~Inside() {
        --recorder_.depth_;
    }
    Inside(const Inside &) = delete;
    Inside &operator=(const Inside &) = delete;

private:
    Recorder &recorder_;
};

template <typename Signature>
class Site;

template <typename R, typename... A>
class Site<R(A...)> : public CallSite {
public:
    Site(const char *site, Failing fails) : CallSite(site, fails, typeName<R(A...)>()) {}

    /** Handles one call. @p real is called unless the call fails or is replaced. */
    template <typename Real>
    R call(Real real, std::string_view names, A... arguments) const {
        Recorder *recorder = Recorder::current();
        if (recorder == nullptr || recorder->isInside()) {
            return real(arguments...);
        }
        const std::string text =
            std::string(name) + '(' + Arguments(*recorder, names).write(arguments...) + ')';
        note(*recorder, *this, text);
        const std::optional<Fault> fault = takeFault(*recorder, *this, text);
        const Inside inside(*recorder);
        if (fault) {
            return failWith(*fault, names, arguments...);
        }
        if (const auto replacement = std::static_pointer_cast<std::function<R(A...)>>(
                steering(*recorder, *this).replacement)) {
            return (*replacement)(arguments...);
        }
        return real(arguments...);
    }

private:
    static R failWith([[maybe_unused]] const Fault &fault, [[maybe_unused]] std::string_view names,
                      [[maybe_unused]] A... arguments) {
        (setFailReason(fault, names, arguments), ...);
        if constexpr (std::is_same_v<R, DDS_ReturnCode_t>) {
            return static_cast<R>(fault.result.value_or(DDS_RETCODE_ERROR));
        } else if constexpr (std::is_integral_v<R>) {
            return static_cast<R>(fault.result.value_or(0));
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

/** Defines __wrap_NAME, which reports the call and passes it on to __real_NAME. */
#define WRAP(RESULT, NAME, FAILING, PARAMETERS, ...)                                               \
    extern "C" RESULT __real_##NAME PARAMETERS;                                                    \
    extern "C" RESULT __wrap_##NAME PARAMETERS;                                                    \
    static const support::Site<RESULT PARAMETERS> site_##NAME(#NAME, FAILING);                     \
    RESULT __wrap_##NAME PARAMETERS {                                                              \
        return site_##NAME.call(__real_##NAME, #__VA_ARGS__ __VA_OPT__(, ) __VA_ARGS__);           \
    }
