// SPDX-License-Identifier: Apache-2.0
// An attempt at opening receive ports that belong together.
#include "configurator/attempt.h"

#include <cerrno>
#include <cstdio>

#include "configurator/configurator.h"
#include "netio_log.h"

namespace {

/** A group's port is shared by whoever receives for it: only a stranger can have taken it. */
bool is_taken_unicast(const NUVNetioFailure &failure) {
    return failure.error == EADDRINUSE && NUVNetioLocator_isMulticast(&failure.locator) == 0;
}

} // namespace

namespace netio {

bool is_shortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS;
}

void Attempt::begin(bool quiet) {
    const std::lock_guard lock(mutex_);
    under_way_ = true;
    quiet_ = quiet;
    error_said_ = 0;
    has_failure_ = false;
}

void Attempt::end() {
    const std::lock_guard lock(mutex_);
    under_way_ = false;
    quiet_ = false;
}

bool Attempt::is_quiet() {
    const std::lock_guard lock(mutex_);
    return quiet_;
}

void Attempt::note(const NUVNetioFailure &failure) {
    constexpr const char *LOG_METHOD = "NUVNetioConfigurator_openReceiveResource";
    if (!is_to_be_said(failure)) {
        return;
    }
    char text[NUV_NETIO_FAILURE_STRING_SIZE];
    NUVNetioFailure_toString(&failure, text, sizeof text);
    if (is_taken_unicast(failure)) {
        NETIO_STATUS("%s", text);
    } else {
        NETIO_ERROR("%s", text);
    }
}

/** A taken port is one of many; what else is wrong is the same for each port of the attempt. */
bool Attempt::is_to_be_said(const NUVNetioFailure &failure) {
    const std::lock_guard lock(mutex_);
    if (!has_failure_ || is_taken_unicast(failure_)) {
        failure_ = failure;
        failure_.locator.hostname = nullptr; // it belongs to the caller
        has_failure_ = true;
    }
    if (quiet_) {
        return false;
    }
    if (!under_way_ || is_taken_unicast(failure)) {
        return true;
    }
    const bool is_new = error_said_ != failure.error;
    error_said_ = failure.error;
    return is_new;
}

bool Attempt::get_failure(NUVNetioFailure *out) {
    const std::lock_guard lock(mutex_);
    if (has_failure_) {
        *out = failure_;
    }
    return has_failure_;
}

} // namespace netio

void NUVNetioFailure_toString(const NUVNetioFailure *self, char *text, size_t size) {
    const netio::LocatorText locator(self->locator);
    if (is_taken_unicast(*self)) {
        std::snprintf(text, size, "%s port %d is taken",
                      NUVNetioTransport_aliasOfClass(self->locator.transport),
                      static_cast<int>(self->locator.port));
    } else if (self->step == nullptr) {
        std::snprintf(text, size, "cannot receive at %s: out of memory", locator.get());
    } else {
        std::snprintf(text, size, "cannot receive at %s: cannot %s: %s (%s)", locator.get(),
                      self->step, netio::error_description(self->error),
                      netio::error_name(self->error));
    }
}

int NUVNetioFailure_isShortage(const NUVNetioFailure *self) {
    return static_cast<int>(netio::is_shortage(self->error));
}

void NUVNetioConfigurator_beginAttempt(NUVNetioConfigurator *self, int quiet) {
    self->attempt.begin(quiet != 0);
}

void NUVNetioConfigurator_endAttempt(NUVNetioConfigurator *self) {
    self->attempt.end();
}

void NUVNetioConfigurator_noteFailure(NUVNetioConfigurator *self, const NUVNetioFailure *failure) {
    self->attempt.note(*failure);
}

int NUVNetioConfigurator_getFailure(NUVNetioConfigurator *self, NUVNetioFailure *out) {
    return static_cast<int>(self->attempt.get_failure(out));
}
