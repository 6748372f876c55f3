// SPDX-License-Identifier: Apache-2.0
// Reading and replacing a running participant's property.
#include "participant_internal.h"

#include "pres_log.h"
#include "propertyRules.h"

namespace {

PRESPropertyChange find_forbidden_change(PRESParticipant *self,
                                         const PRESParticipantProperty *property,
                                         REDAWorker *worker) {
    const reda::ExclusiveAreaGuard record(self->recordEa, worker);
    return PRESParticipantProperty_findForbiddenChangeI(&self->property.get(), property);
}

/** The caller is in the participant's recordEa. */
void tell_discovery(PRESParticipant *self, REDAWorker *worker) {
    if (self->isAnnounced && self->discovery.onPropertySet != nullptr) {
        self->discovery.onPropertySet(self->discovery.param, &self->property.get(), worker);
    }
}

void replace_property(PRESParticipant *self, PRESPropertyStore &next, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard record(self->recordEa, worker);
    next.setFacadeProperty(self->property.get().facadeProperty);
    self->property.swap(next);
    tell_discovery(self, worker);
}

} // namespace

int PRESParticipant_getProperty(PRESParticipant *self, PRESParticipantProperty *out,
                                REDAWorker *worker) {
    const reda::ExclusiveAreaGuard record(self->recordEa, worker);
    return self->property.copyTo(*out) ? 1 : 0;
}

int PRESParticipant_setProperty(PRESParticipant *self, int *failReason,
                                const PRESParticipantProperty *property, REDAWorker *worker) {
    PRESPropertyStore next; // in the end what it replaced, which goes with it

    const PRESPropertyChange change = find_forbidden_change(self, property, worker);
    if (change.setting != nullptr) {
        PRESLog_error(worker, "%s: %lld cannot be changed to %lld in a running participant",
                      change.setting, change.current, change.asked);
        *failReason = PRES_RETCODE_IMMUTABLE_POLICY;
        return 0;
    }
    const PRESPropertyExcess excess = PRESParticipantProperty_findExcessI(property);
    if (excess.setting != nullptr) {
        PRESLog_error(worker, PRES_PROPERTY_EXCESS_FORMAT, PRES_PROPERTY_EXCESS_ARGUMENTS(excess));
        *failReason = PRES_RETCODE_INCONSISTENT_POLICY;
        return 0;
    }
    if (!next.copyFrom(*property)) {
        PRESLog_error(worker, "out of memory for a participant's property");
        *failReason = PRES_RETCODE_OUT_OF_RESOURCES;
        return 0;
    }
    replace_property(self, next, worker);
    return 1;
}

void PRESParticipant_repeatToDiscovery(PRESParticipant *self, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard record(self->recordEa, worker);
    tell_discovery(self, worker);
}
