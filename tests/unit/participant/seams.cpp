#include "seams.h"

#include <cstring>

#include "osapi/osapi_heap.h"
#include "pres/pres_participant.h"

namespace seams {

State &current() {
    thread_local State state;
    return state;
}

namespace {

/** Counts down to 0, where it stays once and then becomes -1. */
bool is_over(int &left) {
    return left >= 0 && left-- == 0;
}

bool call_fails(const char *function) {
    State &state = current();
    const bool is_named = state.call_to_fail == function;

    if (is_named) {
        state.call_to_fail.clear();
    }
    if (!is_named && !is_over(state.calls_until_failure)) {
        return false;
    }
    state.failed = function;
    return true;
}

} // namespace

} // namespace seams

/** The wrapped function, whose failure is to return 0. */
#define FAILING(RESULT, NAME, PARAMETERS, ...)                                                     \
    extern "C" RESULT __real_##NAME PARAMETERS;                                                    \
    extern "C" RESULT __wrap_##NAME PARAMETERS;                                                    \
    RESULT __wrap_##NAME PARAMETERS {                                                              \
        return seams::call_fails(#NAME) ? RESULT{} : __real_##NAME(__VA_ARGS__);                   \
    }

/** The same with a fail reason. */
#define FAILING_WITH_REASON(NAME)                                                                  \
    extern "C" int __real_##NAME(PRESParticipant *self, int *failReason, REDAWorker *worker);      \
    extern "C" int __wrap_##NAME(PRESParticipant *self, int *failReason, REDAWorker *worker);      \
    int __wrap_##NAME(PRESParticipant *self, int *failReason, REDAWorker *worker) {                \
        if (seams::call_fails(#NAME)) {                                                            \
            *failReason = PRES_RETCODE_ERROR;                                                      \
            return 0;                                                                              \
        }                                                                                          \
        return __real_##NAME(self, failReason, worker);                                            \
    }

using Facade = COMMENDFacade *;
using Configurator = NUVNetioConfigurator *;
using ReceiveResource = NUVNetioReceiveResource *;
using Runtime = NUVNetioRuntime *;
using Thread = NUVOsapiThread *;
using ThreadFactory = NUVOsapiThreadFactory *;
using Participant = PRESParticipant *;
using ExclusiveArea = REDAExclusiveArea *;
using WorkerFactory = REDAWorkerFactory *;

FAILING(Facade, COMMENDFacade_new,
        (const COMMENDActiveFacadeProperty *property, Configurator configurator,
         REDAWorker *worker),
        property, configurator, worker)
FAILING(int, NUVNetioConfigurator_getTransportInfo,
        (Configurator self, NUVNetioTransportInfo *buffer, NUV_UINT32 *length, NUV_UINT32 maximum,
         REDAWorker *worker),
        self, buffer, length, maximum, worker)
FAILING(Configurator, NUVNetioConfigurator_new,
        (const NUVNetioConfiguratorProperty *property, Runtime runtime, REDAWorker *worker),
        property, runtime, worker)
FAILING(ReceiveResource, NUVNetioConfigurator_openReceiveResource,
        (Configurator self, const NUVNetioLocator *locator, const NUVNetioReceiveListener *listener,
         REDAWorker *worker),
        self, locator, listener, worker)
FAILING(Runtime, NUVNetioRuntime_new,
        (const NUVNetioRuntimeProperty *property, ThreadFactory threads, WorkerFactory workers),
        property, threads, workers)
FAILING(Thread, NUVOsapiThreadFactory_createThread,
        (ThreadFactory self, const char *name, NUVOsapiThreadFunction function, void *param), self,
        name, function, param)
FAILING(ThreadFactory, NUVOsapiThreadFactory_new, (const NUVOsapiThreadFactoryProperty *property),
        property)
FAILING(int, PRESParticipant_enable,
        (Participant self, const int *all, const PRESLocatorQosPolicy *default_unicast,
         const PRESLocatorQosPolicy *metatraffic_unicast,
         const PRESReducedLocatorQosPolicy *metatraffic_multicast,
         const PRESSequenceTransportInfo *transports, REDAWorker *worker),
        self, all, default_unicast, metatraffic_unicast, metatraffic_multicast, transports, worker)
FAILING(Participant, PRESParticipant_new,
        (const NUVOsapiRtpsGuid *guid, Configurator configurator, WorkerFactory workers,
         NUVEventActiveDatabase *events, NUVClock *clock, NUVClock *timestamp_clock,
         ExclusiveArea table, ExclusiveArea record, ExclusiveArea remote_objects,
         const COMMENDActiveFacadeThreadListener *thread_listener,
         const PRESParticipantEntityFinalizeListener *finalize_listener,
         const PRESParticipantProperty *property, const PRESParticipantListener *listener,
         PRESStatusKindMask mask, const PRESParticipantSecurity *security, ThreadFactory recv,
         ThreadFactory event, ThreadFactory asynch_pub, REDAWorker *worker),
        guid, configurator, workers, events, clock, timestamp_clock, table, record, remote_objects,
        thread_listener, finalize_listener, property, listener, mask, security, recv, event,
        asynch_pub, worker)
FAILING_WITH_REASON(PRESParticipant_delete)
FAILING_WITH_REASON(PRESParticipant_preShutdownWakeup)
FAILING_WITH_REASON(PRESParticipant_shutdown)
FAILING(ExclusiveArea, REDAExclusiveArea_new, (NUV_INT32 level, const char *name), level, name)
FAILING(WorkerFactory, REDAWorkerFactory_new, (void))

extern "C" {

int __real_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 NUV_UINT32 tag, const char *type);

int __wrap_NUVOsapiHeap_reallocateMemoryInternal(void *pointer, size_t size, int alignment,
                                                 int keepContents, int clear, const char *allocator,
                                                 NUV_UINT32 tag, const char *type) {
    if (seams::is_over(seams::current().allocations_until_failure)) {
        const void *const nothing = nullptr;

        seams::current().failed = type;
        if (keepContents == 0) {
            std::memcpy(pointer, &nothing, sizeof nothing);
        }
        return 0;
    }
    return __real_NUVOsapiHeap_reallocateMemoryInternal(pointer, size, alignment, keepContents,
                                                        clear, allocator, tag, type);
}
}
