#include "faults.h"

#include "commend/commend_facade.h"
#include "osapi/osapi_heap.h"

namespace faults {

Faults &current() {
    thread_local constinit Faults faults;
    return faults;
}

} // namespace faults

extern "C" {

int __real_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 NUV_UINT32 tag, const char *type);
COMMENDFacade *__real_COMMENDFacade_new(const COMMENDActiveFacadeProperty *property,
                                        NUVNetioConfigurator *configurator, REDAWorker *worker);
int __real_COMMENDFacade_delete(COMMENDFacade *self, REDAWorker *worker);

int __wrap_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 NUV_UINT32 tag, const char *type) {
    // Of all allocations exactly one fails: the count then stays at -1.
    int &left = faults::current().allocations_left;
    if (left >= 0 && left-- == 0) {
        if (keepContents == 0) {
            *static_cast<void **>(pointer) = nullptr;
        }
        return 0;
    }
    return __real_NUVOsapiHeap_reallocateMemoryInternal(pointer, size, alignment, keepContents,
                                                        clear, allocator, tag, type);
}

COMMENDFacade *__wrap_COMMENDFacade_new(const COMMENDActiveFacadeProperty *property,
                                        NUVNetioConfigurator *configurator, REDAWorker *worker) {
    return faults::current().facade_fails
               ? nullptr
               : __real_COMMENDFacade_new(property, configurator, worker);
}

int __wrap_COMMENDFacade_delete(COMMENDFacade *self, REDAWorker *worker) {
    faults::current().deleted_facade = self;
    return __real_COMMENDFacade_delete(self, worker);
}
}
