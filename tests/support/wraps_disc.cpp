// SPDX-License-Identifier: Apache-2.0
// The wrapped functions of discovery, which the public participant asks for.
#include "disc/disc_participant.h"
#include "netio/netio_callback.h"
#include "support/call_site.h"

using support::Failing;

WRAP(DISCParticipant *, DISCParticipant_new, Failing::YES,
     (DISCDiscovery * discovery, PRESParticipant *participant,
      const DISCParticipantProperty *property, const DISCParticipantListener *listener,
      REDAWorker *worker),
     discovery, participant, property, listener, worker)
WRAP(int, DISCParticipant_delete, Failing::YES, (DISCParticipant * self, REDAWorker *worker), self,
     worker)
WRAP(int, DISCParticipant_setPeers, Failing::YES,
     (DISCParticipant * self, const NUVNetioPeer *peers, NUV_UINT32 count, REDAWorker *worker),
     self, peers, count, worker)
WRAP(int, DISCParticipant_ignore, Failing::YES,
     (DISCParticipant * self, const NUVOsapiRtpsGuidPrefix *prefix, REDAWorker *worker), self,
     prefix, worker)

WRAP_LOWER(DISCDiscovery *, DISCDiscovery_new, (NUVNetioRuntime * runtime, REDAWorker *worker),
           runtime, worker)

WRAP_LOWER(void, NUVNetioRuntime_postCallback,
           (NUVNetioRuntime * runtime, NUVNetioCallback *callback), runtime, callback)
