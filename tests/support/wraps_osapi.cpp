// SPDX-License-Identifier: Apache-2.0
// The wrapped functions of the operating-system, log and reda layers.
#include <cstring>

#include "dds_c/dds_c_logger.h"
#include "log/log_module.h"
#include "osapi/osapi_heap.h"
#include "osapi/osapi_ntptime.h"
#include "osapi/osapi_thread.h"
#include "osapi/osapi_utility.h"
#include "reda/reda_exclusiveArea.h"
#include "reda/reda_string.h"
#include "reda/reda_worker.h"
#include "support/call_site.h"

using support::Failing;
using support::Kind;
using support::Recorder;

// ---- heap: reached by every layer and thread, and written with its tag in hexadecimal

extern "C" {
int __real_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 NUV_UINT32 tag, const char *type);
int __wrap_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 NUV_UINT32 tag, const char *type);
void __real_NUVOsapiHeap_freeMemoryInternal(void *pointer, int scrub, const char *allocator,
                                            NUV_UINT32 tag, int alignment);
void __wrap_NUVOsapiHeap_freeMemoryInternal(void *pointer, int scrub, const char *allocator,
                                            NUV_UINT32 tag, int alignment);
}

namespace support {

/** What the recorder knows of the heap's blocks. */
class HeapSite {
public:
    static void fails(Recorder &recorder, const char *type) {
        recorder.failed_ = std::string("allocation of ") + type;
    }

    static std::string nameOf(Recorder &recorder, const void *block) {
        return recorder.nameOfBlock(block);
    }

    static void addBlock(Recorder &recorder, void *block, size_t size, const char *type) {
        recorder.addBlock(block, size, type);
    }

    static void removeBlock(Recorder &recorder, const void *block) {
        recorder.removeBlock(block);
    }
};

} // namespace support

namespace {

constinit faults::Wrapped site_reallocate("NUVOsapiHeap_reallocateMemoryInternal", Kind::ASKED,
                                          Failing::YES, "the heap's own");
constinit faults::Wrapped site_free("NUVOsapiHeap_freeMemoryInternal", Kind::ASKED, Failing::NEVER,
                                    "the heap's own");
const faults::Registration registrations[] = {faults::Registration(site_reallocate),
                                              faults::Registration(site_free)};

void *pointee(const void *pointer) {
    void *block = nullptr;
    std::memcpy(&block, pointer, sizeof block);
    return block;
}

int refuse_memory(void *pointer, int keepContents) {
    const void *nothing = nullptr;
    if (keepContents == 0) {
        std::memcpy(pointer, &nothing, sizeof nothing);
    }
    return 0;
}

} // namespace

int __wrap_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 NUV_UINT32 tag, const char *type) {
    support::Call call(site_reallocate);
    if (faults::take_allocation(type)) {
        if (Recorder *recorder = Recorder::current()) {
            support::HeapSite::fails(*recorder, type);
        }
        return refuse_memory(pointer, keepContents);
    }
    if (call.isRecorded()) {
        call.note("NUVOsapiHeap_reallocateMemoryInternal(&pointer, " + std::to_string(size) + ", " +
                  std::to_string(alignment) + ", " + std::to_string(keepContents) + ", " +
                  std::to_string(clear) + ", " + support::quote(allocator) + ", " +
                  support::hex(tag) + ", " + support::quote(type) + ")");
    }
    if (site_reallocate.take(call.isOutermost()) != nullptr) {
        call.fails();
        return refuse_memory(pointer, keepContents);
    }
    Recorder *const recorder = Recorder::current();
    const void *former = recorder != nullptr && keepContents != 0 ? pointee(pointer) : nullptr;
    const int result = __real_NUVOsapiHeap_reallocateMemoryInternal(
        pointer, size, alignment, keepContents, clear, allocator, tag, type);
    if (recorder != nullptr && result != 0) {
        support::HeapSite::removeBlock(*recorder, former);
        support::HeapSite::addBlock(*recorder, pointee(pointer), size, type);
    }
    return result;
}

void __wrap_NUVOsapiHeap_freeMemoryInternal(void *pointer, int scrub, const char *allocator,
                                            NUV_UINT32 tag, int alignment) {
    support::Call call(site_free);
    (void)site_free.take(call.isOutermost());
    if (Recorder *const recorder = Recorder::current()) {
        if (call.isRecorded()) {
            call.note("NUVOsapiHeap_freeMemoryInternal(" +
                      support::HeapSite::nameOf(*recorder, pointer) + ", " + std::to_string(scrub) +
                      ", " + support::quote(allocator) + ", " + support::hex(tag) + ", " +
                      std::to_string(alignment) + ")");
        }
        support::HeapSite::removeBlock(*recorder, pointer);
    }
    __real_NUVOsapiHeap_freeMemoryInternal(pointer, scrub, allocator, tag, alignment);
}

// ---- the rest

WRAP(char *, NUVOsapiUtility_strcpy, Failing::YES, (char *dst, size_t maxLength, const char *src),
     dst, maxLength, src)
WRAP(char *, NUVOsapiUtility_strncat, Failing::YES,
     (char *dst, size_t maxLength, const char *src, size_t count), dst, maxLength, src, count)
WRAP(void, NUVOsapiThread_sleep, Failing::NEVER, (const NUVNtpTime *duration), duration)
WRAP(void, NUVOsapiContext_addAndCacheCategory, Failing::NEVER,
     (NUVOsapiActivityContext * context, NUVLogCategoryMask *cachedOut, NUVLogCategoryMask drop,
      NUVLogCategoryMask add),
     context, cachedOut, drop, add)
WRAP(void, NUVOsapiContext_setCategory, Failing::NEVER,
     (NUVOsapiActivityContext * context, NUVLogCategoryMask keep, NUVLogCategoryMask category),
     context, keep, category)

WRAP(void, NUVLog_onAssertBreakpoint, Failing::NEVER, (void))
WRAP(KOLS_Config_LogVerbosity, KOLS_Config_Logger_get_verbosity, Failing::NEVER,
     (KOLS_Config_Logger * logger), logger)

WRAP(int, REDAString_strToBoolean, Failing::YES, (const char *text, int *out), text, out)
WRAP(int, REDAString_strToLong, Failing::YES, (const char *text, NUV_INT32 *out), text, out)
WRAP(void, REDAWorker_setEaTimeBasedLoggingLevelAndThreshold, Failing::NEVER,
     (REDAWorkerFactory * factory, NUV_INT32 level, const NUVNtpTime *threshold), factory, level,
     threshold)

// ---- what only the lower layers ask of each other

WRAP_LOWER(NUVOsapiThread *, NUVOsapiThreadFactory_createThread,
           (NUVOsapiThreadFactory * factory, const char *name, NUVOsapiThreadFunction function,
            void *param),
           factory, name, function, param)
WRAP_LOWER(NUVOsapiThreadFactory *, NUVOsapiThreadFactory_new,
           (const NUVOsapiThreadFactoryProperty *property), property)
WRAP_LOWER(NUVClock *, NUVClock_getMonotonic, (void))
WRAP_LOWER(REDAExclusiveArea *, REDAExclusiveArea_new, (NUV_INT32 level, const char *name), level,
           name)
WRAP_LOWER(REDAWorkerFactory *, REDAWorkerFactory_new, (void))
WRAP_LOWER(int, NUVLog_setDefaultVerbosity, (NUV_UINT32 verbosity), verbosity)
