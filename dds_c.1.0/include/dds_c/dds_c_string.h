// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_string.h
 * @brief Strings that the library owns, and sequences of strings and octets.
 *
 * A string that becomes part of a QoS or of a sequence is made here and freed here. Thread-safe.
 */
#ifndef DDS_C_STRING_H
#define DDS_C_STRING_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_sequence.h"

DDS_C_API_BEGIN

/**
 * @brief Makes an empty string with room for @p length characters and the terminator.
 * @return the string, to be freed with DDS_String_free; null when memory runs out.
 */
char *DDS_String_alloc(size_t length);

/**
 * @brief Makes a copy of a string.
 * @param text may be null: then so is the copy.
 * @return the copy, to be freed with DDS_String_free; null when memory runs out.
 */
char *DDS_String_dup(const char *text);

/** Frees a string made by DDS_String_alloc or DDS_String_dup; null is accepted. */
void DDS_String_free(char *text);

/**
 * @brief Makes the string behind @p self a copy of @p text.
 * @param self not null; the string behind it is freed, it may be null.
 * @param text may be null, or the string itself.
 * @return DDS_BOOLEAN_FALSE when memory runs out; then the string is as it was.
 */
DDS_Boolean DDS_String_replace(char **self, const char *text);

/** A sequence of strings. */
DDS_SEQUENCE(DDS_StringSeq, char *);

/**
 * @brief Appends a copy of @p text (not null) to a sequence.
 * @return DDS_BOOLEAN_FALSE when memory runs out; then the sequence is as it was.
 */
DDS_Boolean DDS_StringSeq_append(struct DDS_StringSeq *self, const char *text);

/** A sequence of octets. */
DDS_SEQUENCE(DDS_OctetSeq, DDS_Octet);

DDS_C_API_END

#endif
