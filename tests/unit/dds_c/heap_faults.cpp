#include "heap_faults.h"

namespace {

thread_local int allocations = 0;
thread_local int failing = 0;

} // namespace

extern "C" int __real_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size,
                                                            int alignment, int keepContents,
                                                            int clear, const char *allocator,
                                                            NUV_UINT32 tag, const char *type);

extern "C" int __wrap_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size,
                                                            int alignment, int keepContents,
                                                            int clear, const char *allocator,
                                                            NUV_UINT32 tag, const char *type) {
    if (++allocations == failing) {
        if (!keepContents) {
            *static_cast<void **>(pointer) = nullptr;
        }
        return 0;
    }
    return __real_NUVOsapiHeap_reallocateMemoryInternal(pointer, size, alignment, keepContents,
                                                        clear, allocator, tag, type);
}

int heap_faults::count() {
    return allocations;
}

void heap_faults::fail(int nth) {
    allocations = 0;
    failing = nth;
}
