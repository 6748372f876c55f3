// SPDX-License-Identifier: Apache-2.0
/**
 * @file osapi_heap.h
 * @brief The tagged heap: all memory of the library comes from here.
 *
 * Every block carries the kind of thing that it holds (its tag) and the name of its type. A block
 * is given back under the tag it was taken with; anything else is refused, reported and counted.
 * All operations are thread-safe.
 */
#ifndef OSAPI_HEAP_H
#define OSAPI_HEAP_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Tag of a block that holds one structure. */
#define NUV_OSAPI_HEAP_TAG_STRUCTURE 0x4B4F4C41u
/** Tag of a block that holds a string. */
#define NUV_OSAPI_HEAP_TAG_STRING 0x4B4F4C42u
/** Tag of a block that holds an array. */
#define NUV_OSAPI_HEAP_TAG_ARRAY 0x4B4F4C43u
/** The alignment argument that asks for the natural alignment, good for any object (16 bytes). */
#define NUV_OSAPI_HEAP_ALIGNMENT_DEFAULT (-1)

/**
 * @brief Allocates a block, or changes the size of one.
 *
 * @param pointer   address of the caller's pointer (of any object type). Receives the block, or
 *                  null when there is no memory; with @p keepContents set it holds the block to
 *                  resize (or null) on entry, and stays as it was on failure.
 * @param size      bytes wanted; 0 is taken as 1.
 * @param alignment a power of two, or -1 for the natural alignment.
 * @param keepContents non-zero to resize the block behind @p pointer, which must have the same tag.
 * @param clear     non-zero to zero the bytes that are new.
 * @param allocator name of the calling allocator, for reports.
 * @param tag       one of the NUV_OSAPI_HEAP_TAG_* values.
 * @param type      name of the type that the block holds; a string that outlives the block.
 * @return non-zero on success, 0 when memory ran out, the alignment has no meaning or the block to
 * resize was refused.
 */
int NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                          int keepContents, int clear, const char *allocator,
                                          NUV_UINT32 tag, const char *type);

/**
 * @brief Gives a block back.
 *
 * @param pointer   the block; null is accepted and does nothing.
 * @param scrub     non-zero to overwrite the contents first.
 * @param allocator name of the calling function, for reports.
 * @param tag       the tag that the block was allocated with. Another tag, or a pointer that is no
 *                  live block, is refused: the block stays as it is and the refusal is reported.
 * @param alignment the alignment given at allocation, or -1. The heap knows it and does not
 * compare.
 */
void NUVOsapiHeap_freeMemoryInternal(void *pointer, int scrub, const char *allocator,
                                     NUV_UINT32 tag, int alignment);

/** Bytes in an array; SIZE_MAX, which no block can have, when there are too many. */
static inline size_t NUVOsapiHeap_sizeOfArray(size_t count, size_t elementSize) {
    return elementSize != 0 && count > SIZE_MAX / elementSize ? SIZE_MAX : count * elementSize;
}

/** Bytes in a string of @p length characters with its terminator; SIZE_MAX if too many. */
static inline size_t NUVOsapiHeap_sizeOfString(size_t length) {
    return length == SIZE_MAX ? SIZE_MAX : length + 1;
}

/** Allocates one @p TYPE (spelled with its `struct`) into the pointer behind @p pointer. */
#define NUVOsapiHeap_allocateStructure(pointer, TYPE)                                              \
    NUVOsapiHeap_reallocateMemoryInternal((pointer), sizeof(TYPE), -1, 0, 0,                       \
                                          "NUVOsapiHeap_allocateStructure",                        \
                                          NUV_OSAPI_HEAP_TAG_STRUCTURE, #TYPE)
#define NUVOsapiHeap_freeStructure(pointer)                                                        \
    NUVOsapiHeap_freeMemoryInternal((pointer), 0, "NUVOsapiHeap_freeStructure",                    \
                                    NUV_OSAPI_HEAP_TAG_STRUCTURE, -1)

/** Allocates an array of @p count elements of @p TYPE into the pointer behind @p pointer. */
#define NUVOsapiHeap_allocateArray(pointer, count, TYPE)                                           \
    NUVOsapiHeap_reallocateMemoryInternal(                                                         \
        (pointer), NUVOsapiHeap_sizeOfArray((size_t)(count), sizeof(TYPE)), -1, 0, 0,              \
        "NUVOsapiHeap_allocateArray", NUV_OSAPI_HEAP_TAG_ARRAY, #TYPE)
#define NUVOsapiHeap_freeArray(pointer)                                                            \
    NUVOsapiHeap_freeMemoryInternal((pointer), 0, "NUVOsapiHeap_freeArray",                        \
                                    NUV_OSAPI_HEAP_TAG_ARRAY, -1)

/** Allocates room for a string of @p length characters and its terminator. */
#define NUVOsapiHeap_allocateString(pointer, length)                                               \
    NUVOsapiHeap_reallocateMemoryInternal((pointer), NUVOsapiHeap_sizeOfString((size_t)(length)),  \
                                          -1, 0, 0, "NUVOsapiHeap_allocateString",                 \
                                          NUV_OSAPI_HEAP_TAG_STRING, "char")
#define NUVOsapiHeap_freeString(pointer)                                                           \
    NUVOsapiHeap_freeMemoryInternal((pointer), 0, "NUVOsapiHeap_freeString",                       \
                                    NUV_OSAPI_HEAP_TAG_STRING, -1)

/** What the heap has done so far in this process. */
struct NUVOsapiHeapStatistics {
    NUV_UINT64 liveBlocks;   /**< blocks allocated and not yet freed */
    NUV_UINT64 liveBytes;    /**< bytes in them, without the heap's own headers */
    NUV_UINT64 allocations;  /**< successful allocations (and resizes) since the start */
    NUV_UINT64 refusedFrees; /**< frees and resizes refused since the start */
};

/** Reads the heap's counters. */
void NUVOsapiHeap_getStatistics(struct NUVOsapiHeapStatistics *out);

/**
 * @brief Called once for each pair of tag and type name that has live blocks.
 * It runs under the heap's lock and must not allocate from or free to this heap.
 */
typedef void (*NUVOsapiHeapVisitor)(void *param, NUV_UINT32 tag, const char *type,
                                    NUV_UINT64 blocks, NUV_UINT64 bytes);

/** Reports the live blocks by tag and type name, in no particular order. */
void NUVOsapiHeap_report(NUVOsapiHeapVisitor visitor, void *param);

/**
 * @brief Told of every refused free or resize, in the thread that asked for it. No lock is held.
 * @param allocator    the name that the refused call gave.
 * @param tag          the tag that it gave.
 * @param expectedTag  the tag of the block, or 0 when the pointer is no live block.
 */
typedef void (*NUVOsapiHeapRefusalHook)(void *param, const char *allocator, NUV_UINT32 tag,
                                        NUV_UINT32 expectedTag);

/** Sets the hook for refusals; null restores the default, which writes one line to stderr. */
void NUVOsapiHeap_setRefusalHook(NUVOsapiHeapRefusalHook hook, void *param);

#ifdef __cplusplus
}
#endif

#endif
