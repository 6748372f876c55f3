// SPDX-License-Identifier: Apache-2.0
// The signals that end a run.
#pragma once

/** From here on SIGINT and SIGTERM are noted; one that comes a second or two later ends the
 * process. */
void note_interruptions();

/** The one that has come; 0: none. */
int interruption();
