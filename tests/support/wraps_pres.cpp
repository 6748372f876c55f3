// SPDX-License-Identifier: Apache-2.0
// The wrapped functions of the netio and presentation layers. The facade's slots and
// PRESParticipant_getFacade are in recording_facade.cpp.
#include "commend/commend_facade.h"
#include "netio/netio_configurator.h"
#include "netio/netio_runtime.h"
#include "pres/pres_participant.h"
#include "support/call_site.h"

using support::Failing;

WRAP(int, NUVNetioConfigurator_getTransportInfo, Failing::YES,
     (NUVNetioConfigurator * configurator, NUVNetioTransportInfo *buffer, NUV_UINT32 *length,
      NUV_UINT32 maximum, REDAWorker *worker),
     configurator, buffer, length, maximum, worker)

WRAP(PRESParticipant *, PRESParticipant_new, Failing::YES,
     (const NUVOsapiRtpsGuid *guid, NUVNetioConfigurator *configurator,
      REDAWorkerFactory *workerFactory, NUVEventActiveDatabase *activeDatabase, NUVClock *clock,
      NUVClock *timestampClock, REDAExclusiveArea *tableEa, REDAExclusiveArea *recordEa,
      REDAExclusiveArea *remoteObjectsEa, const COMMENDActiveFacadeThreadListener *threadListener,
      const PRESParticipantEntityFinalizeListener *finalizeListener,
      const PRESParticipantProperty *property, const PRESParticipantListener *listener,
      PRESStatusKindMask listenerMask, const PRESParticipantSecurity *security,
      NUVOsapiThreadFactory *recvThreadFactory, NUVOsapiThreadFactory *eventThreadFactory,
      NUVOsapiThreadFactory *asynchPubThreadFactory, REDAWorker *worker),
     guid, configurator, workerFactory, activeDatabase, clock, timestampClock, tableEa, recordEa,
     remoteObjectsEa, threadListener, finalizeListener, property, listener, listenerMask, security,
     recvThreadFactory, eventThreadFactory, asynchPubThreadFactory, worker)
WRAP(int, PRESParticipant_enable, Failing::YES,
     (PRESParticipant * participant, const int *enableAllEntities,
      const PRESLocatorQosPolicy *defaultUnicastLocator,
      const PRESLocatorQosPolicy *metatrafficUnicastLocator,
      const PRESReducedLocatorQosPolicy *metatrafficMulticastLocator,
      const PRESSequenceTransportInfo *transportInfo, REDAWorker *worker),
     participant, enableAllEntities, defaultUnicastLocator, metatrafficUnicastLocator,
     metatrafficMulticastLocator, transportInfo, worker)
WRAP(int, PRESParticipant_getProperty, Failing::YES,
     (PRESParticipant * participant, PRESParticipantProperty *property, REDAWorker *worker),
     participant, property, worker)
WRAP(int, PRESParticipant_setProperty, Failing::YES,
     (PRESParticipant * participant, int *failReason, const PRESParticipantProperty *property,
      REDAWorker *worker),
     participant, failReason, property, worker)
WRAP(void, PRESParticipant_getGuid, Failing::NEVER,
     (PRESParticipant * participant, NUVOsapiRtpsGuid *guid), participant, guid)
WRAP(int, PRESParticipant_hasTopic, Failing::BY_NAME,
     (PRESParticipant * participant, REDAWorker *worker), participant, worker)
WRAP(int, PRESParticipant_hasLocators, Failing::BY_NAME,
     (PRESParticipant * participant, const PRESLocatorQosPolicy *defaultUnicastLocator,
      const PRESLocatorQosPolicy *metatrafficUnicastLocator,
      const PRESReducedLocatorQosPolicy *metatrafficMulticastLocator, REDAWorker *worker),
     participant, defaultUnicastLocator, metatrafficUnicastLocator, metatrafficMulticastLocator,
     worker)
WRAP(int, PRESParticipant_preShutdownWakeup, Failing::YES,
     (PRESParticipant * participant, int *failReason, REDAWorker *worker), participant, failReason,
     worker)
WRAP(int, PRESParticipant_shutdown, Failing::YES,
     (PRESParticipant * participant, int *failReason, REDAWorker *worker), participant, failReason,
     worker)
WRAP(int, PRESParticipant_delete, Failing::YES,
     (PRESParticipant * participant, int *failReason, REDAWorker *worker), participant, failReason,
     worker)
WRAP(void, PRESParticipantProperty_setPartitionBuffer, Failing::NEVER,
     (PRESParticipantProperty * property, char *buffer), property, buffer)

WRAP(void, PRESLocatorQosPolicy_copy, Failing::NEVER,
     (PRESLocatorQosPolicy * dst, const PRESLocatorQosPolicy *src), dst, src)
WRAP(int, PRESLocatorQosPolicy_compare, Failing::NEVER,
     (const PRESLocatorQosPolicy *left, const PRESLocatorQosPolicy *right), left, right)
WRAP(int, PRESLocatorQosPolicy_toString, Failing::YES,
     (const PRESLocatorQosPolicy *list, char *buffer, NUV_INT32 size), list, buffer, size)

// ---- what only the layers around the presentation half ask for

WRAP_LOWER(NUVNetioRuntime *, NUVNetioRuntime_new,
           (const NUVNetioRuntimeProperty *property, NUVOsapiThreadFactory *threads,
            REDAWorkerFactory *workers),
           property, threads, workers)
WRAP_LOWER(NUVNetioConfigurator *, NUVNetioConfigurator_new,
           (const NUVNetioConfiguratorProperty *property, NUVNetioRuntime *runtime,
            REDAWorker *worker),
           property, runtime, worker)
WRAP_LOWER(NUVNetioReceiveResource *, NUVNetioConfigurator_openReceiveResource,
           (NUVNetioConfigurator * configurator, const NUVNetioLocator *locator,
            const NUVNetioReceiveListener *listener, REDAWorker *worker),
           configurator, locator, listener, worker)
WRAP_LOWER(COMMENDFacade *, COMMENDFacade_new,
           (const COMMENDActiveFacadeProperty *property, NUVNetioConfigurator *configurator,
            REDAWorker *worker),
           property, configurator, worker)
WRAP_LOWER(int, COMMENDFacade_delete, (COMMENDFacade * facade, REDAWorker *worker), facade, worker)
