// SPDX-License-Identifier: Apache-2.0
// What a property may not be: longer than its limits, or other than the running participant's.
#ifndef PRES_PROPERTY_RULES_H
#define PRES_PROPERTY_RULES_H

#include "pres/pres_participantProperty.h"

/** A part of a property that is longer than allowed. */
struct PRESPropertyExcess {
    const char *setting; /**< what limits it; null when nothing is too long */
    const char *part;
    long long length;
    long long allowed;
};

/** The first part that is longer than the property's own limits allow. */
struct PRESPropertyExcess
PRESParticipantProperty_findExcessI(const struct PRESParticipantProperty *self);

/** For messages: the part and its limit, as "SETTING: LENGTH PART, at most ALLOWED". */
#define PRES_PROPERTY_EXCESS_FORMAT "%s: %lld %s, at most %lld"
#define PRES_PROPERTY_EXCESS_ARGUMENTS(excess)                                                     \
    (excess).setting, (excess).length, (excess).part, (excess).allowed

/** A setting that is fixed once the participant has been made, and is to change all the same. */
struct PRESPropertyChange {
    const char *setting; /**< null when no such change is asked for */
    long long current;
    long long asked;
};

/** The first change from @p current to @p next that is not allowed. */
struct PRESPropertyChange
PRESParticipantProperty_findForbiddenChangeI(const struct PRESParticipantProperty *current,
                                             const struct PRESParticipantProperty *next);

#endif
