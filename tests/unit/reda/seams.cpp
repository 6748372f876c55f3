// The heap and the clock, diverted.
#include "seams.h"

#include <cstring>

#include "osapi/osapi_heap.h"

namespace seams {

State &current() {
    thread_local constinit State state;
    return state;
}

} // namespace seams

extern "C" {

int __real_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 NUV_UINT32 tag, const char *type);

int __wrap_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 NUV_UINT32 tag, const char *type) {
    int &left = seams::current().allocations_until_failure;
    if (left == 0) {
        return 0; // the callers' pointers are null already, as they are to be afterwards
    }
    if (left > 0) {
        --left;
    }
    const int result = __real_NUVOsapiHeap_reallocateMemoryInternal(
        pointer, size, alignment, keepContents, clear, allocator, tag, type);
    std::memcpy(&seams::current().last_block, pointer, sizeof(void *));
    return result;
}

struct NUVClock *__wrap_NUVClock_getMonotonic(void) {
    static NUVClock clock = {"test", [](const NUVClock *) {
                                 ++seams::current().clock_readings;
                                 return seams::current().now;
                             }};
    return &clock;
}
}
