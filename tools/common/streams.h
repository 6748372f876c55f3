// SPDX-License-Identifier: Apache-2.0
// The standard streams of a tool: data goes to stdout, messages to stderr.
#pragma once

#include <string>

/**
 * So that nothing that is opened gets the number of a stream and what is written to it. Writing to
 * a stream that was closed goes on failing.
 */
void occupy_closed_streams();

/** Writes to stdout, at once; throws when that fails. */
void write_data(const std::string &lines);

/** Writes one line to stderr, in one piece and as KOLS_Config_Logger_write_text does. */
void write_message(const std::string &line);
