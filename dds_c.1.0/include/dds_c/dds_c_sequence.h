// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_sequence.h
 * @brief Sequences in the usual C mapping of IDL.
 *
 * A sequence owns its elements and what they own: strings, and the sequences in them. It starts as
 * DDS_SEQUENCE_INITIALIZER (or zeroed, or through TSeq_initialize) and is given back with
 * TSeq_finalize. Its elements are those below its length; room beyond the length, up to the
 * maximum, holds nothing. A string element is null until it is set; a string that is stored in an
 * element must come from DDS_String_dup or DDS_String_alloc, and the one that it replaces must be
 * given to DDS_String_free.
 *
 * Operations on different sequences may run at the same time; a sequence that one thread changes
 * must not be used by another. A null sequence is an error, which is logged: the operation then
 * fails or returns 0.
 *
 * DDS_SEQUENCE(TSeq, T) declares the sequence TSeq of the element T with these operations:
 *
 * - `void TSeq_initialize(TSeq *self)`: makes storage without a value the empty sequence. Allocates
 *   nothing.
 * - `void TSeq_finalize(TSeq *self)`: frees the elements and the storage; @p self is then empty and
 *   may be used again.
 * - `DDS_Long TSeq_get_length(const TSeq *self)`: the number of elements.
 * - `DDS_Boolean TSeq_set_length(TSeq *self, DDS_Long length)`: sets the number of elements, 0 to
 *   the maximum. Elements that go are freed; elements that come are zero (null). False, and nothing
 *   changed, when @p length is out of range.
 * - `DDS_Long TSeq_get_maximum(const TSeq *self)`: the number of elements that fit.
 * - `DDS_Boolean TSeq_set_maximum(TSeq *self, DDS_Long maximum)`: sets the number of elements that
 *   fit, the length or more. False, and nothing changed, when @p maximum is out of range or memory
 *   runs out.
 * - `DDS_Boolean TSeq_ensure_length(TSeq *self, DDS_Long length, DDS_Long maximum)`: sets the
 *   length and first, when it does not fit, the maximum (@p length or more). False, and nothing
 *   changed, when an argument is out of range or memory runs out.
 * - `T TSeq_get(const TSeq *self, DDS_Long i)`: the element at @p i, 0 <= i < length; what it owns
 *   stays the sequence's. An index out of range is an error, which is logged: the result is zero.
 * - `T *TSeq_get_reference(const TSeq *self, DDS_Long i)`: the address of the element at @p i,
 * valid until the maximum changes; null, and the error logged, for an index out of range.
 * - `TSeq *TSeq_copy(TSeq *self, const TSeq *src)`: makes @p self a deep copy of @p src, in the
 *   storage that @p self has when everything fits there. The copy, or null when memory runs out;
 *   then @p self is as it was.
 * - `DDS_Boolean TSeq_from_array(TSeq *self, T const *array, DDS_Long length)`: as TSeq_copy, from
 *   @p length elements of an array; @p array may be null when @p length is 0. False when memory
 *   runs out or, which is logged, @p length is negative; then @p self is as it was.
 * - `DDS_Boolean TSeq_is_equal(const TSeq *left, const TSeq *right)`: true when both hold equal
 *   elements in the same order; strings are equal by their characters.
 */
#ifndef DDS_C_SEQUENCE_H
#define DDS_C_SEQUENCE_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_common.h"

DDS_C_API_BEGIN

/** The initializer of an empty sequence. */
#define DDS_SEQUENCE_INITIALIZER                                                                   \
    { NULL, 0, 0 }

/** Declares a sequence and its operations; see the head of this file. */
#define DDS_SEQUENCE(TSeq, T)                                                                      \
    typedef struct TSeq {                                                                          \
        T *_buffer;                                                                                \
        DDS_Long _length;                                                                          \
        DDS_Long _maximum;                                                                         \
    } TSeq;                                                                                        \
    void TSeq##_initialize(struct TSeq *self);                                                     \
    void TSeq##_finalize(struct TSeq *self);                                                       \
    DDS_Long TSeq##_get_length(const struct TSeq *self);                                           \
    DDS_Boolean TSeq##_set_length(struct TSeq *self, DDS_Long length);                             \
    DDS_Long TSeq##_get_maximum(const struct TSeq *self);                                          \
    DDS_Boolean TSeq##_set_maximum(struct TSeq *self, DDS_Long maximum);                           \
    DDS_Boolean TSeq##_ensure_length(struct TSeq *self, DDS_Long length, DDS_Long maximum);        \
    T TSeq##_get(const struct TSeq *self, DDS_Long i);                                             \
    T *TSeq##_get_reference(const struct TSeq *self, DDS_Long i);                                  \
    struct TSeq *TSeq##_copy(struct TSeq *self, const struct TSeq *src);                           \
    DDS_Boolean TSeq##_from_array(struct TSeq *self, T const *array, DDS_Long length);             \
    DDS_Boolean TSeq##_is_equal(const struct TSeq *left, const struct TSeq *right)

DDS_C_API_END

#endif
