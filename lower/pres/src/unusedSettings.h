// The settings that this version accepts and does not act on.
#ifndef PRES_UNUSED_SETTINGS_H
#define PRES_UNUSED_SETTINGS_H

#include "pres/pres_participantProperty.h"

/** Room for the names of all of them. */
#define PRES_UNUSED_SETTINGS_TEXT_SIZE 768

/**
 * Writes the names of those settings that were given and that nothing acts on, as the user knows
 * them, joined by ", ". An empty text when there are none.
 */
void PRESParticipantProperty_listUnusedSettingsI(const struct PRESParticipantProperty *self,
                                                 bool isSecure,
                                                 char (&out)[PRES_UNUSED_SETTINGS_TEXT_SIZE]);

#endif
