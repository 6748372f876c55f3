// SPDX-License-Identifier: Apache-2.0
// The wrapped functions of the public layer that one of its files asks of another.
#include "dds_c/dds_c_productversion.h"
#include "domain/DomainParticipantFactory_internal.h"
#include "infrastructure/Common_internal.h"
#include "properties/PropertyQosPolicyHelper_internal.h"
#include "qos/DomainParticipantQos_internal.h"
#include "qos/QosPolicy_internal.h"
#include "support/call_site.h"

using support::Failing;

WRAP(PRESStatusKindMask, DDS_StatusMask_get_presentation_maskI, Failing::NEVER,
     (DDS_StatusMask mask), mask)
WRAP(DDS_ReturnCode_t, DDS_ReturnCode_from_presentation_return_codeI, Failing::NEVER,
     (int failReason), failReason)
WRAP(void, DDS_Duration_to_ntp_time, Failing::NEVER,
     (const DDS_Duration_t *duration, NUVNtpTime *out), duration, out)
WRAP(void, DDS_ProductVersion_get_nuvdds_version, Failing::NEVER, (DDS_ProductVersion_t * version),
     version)
WRAP(DDS_ReturnCode_t, DDS_ProductVersion_to_presentation_qos_policy, Failing::YES,
     (const DDS_ProductVersion_t *version, PRESProductVersion *out), version, out)

WRAP(DDS_Property_t *, DDS_PropertyQosPolicyHelper_lookup_property, Failing::BY_NAME,
     (const DDS_PropertyQosPolicy *policy, const char *name), policy, name)
WRAP(DDS_Boolean, DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property, Failing::BY_NAME,
     (const DDS_PropertyQosPolicy *policy, DDS_UnsignedLong *out, const char *name), policy, out,
     name)
WRAP(DDS_Boolean, DDS_PropertyQosPolicyHelper_lookup_integer_property, Failing::BY_NAME,
     (const DDS_PropertyQosPolicy *policy, DDS_Long *out, const char *name), policy, out, name)
WRAP(DDS_Boolean, DDS_PropertyQosPolicyHelper_lookup_duration_property, Failing::BY_NAME,
     (const DDS_PropertyQosPolicy *policy, NUVNtpTime *out, const char *name), policy, out, name)

WRAP(char *, DDS_String_dup, Failing::YES, (const char *text), text)
WRAP(DDS_Long, DDS_StringSeq_get_length, Failing::NEVER, (const DDS_StringSeq *sequence), sequence)
WRAP(char *, DDS_StringSeq_get, Failing::NEVER, (const DDS_StringSeq *sequence, DDS_Long index),
     sequence, index)

WRAP(void, DDS_TransportUnicastQosPolicy_initialize, Failing::NEVER,
     (DDS_TransportUnicastQosPolicy * policy), policy)
WRAP(void, DDS_TransportUnicastQosPolicy_finalize, Failing::NEVER,
     (DDS_TransportUnicastQosPolicy * policy), policy)
WRAP(DDS_TransportUnicastQosPolicy *, DDS_TransportUnicastQosPolicy_copy, Failing::YES,
     (DDS_TransportUnicastQosPolicy * dst, const DDS_TransportUnicastQosPolicy *src), dst, src)
WRAP(int, DDS_TransportUnicastQosPolicy_is_equalI, Failing::BY_NAME,
     (const DDS_TransportUnicastQosPolicy *left, const DDS_TransportUnicastQosPolicy *right,
      int compareReceivePorts),
     left, right, compareReceivePorts)
WRAP(void, DDS_TransportMulticastMappingQosPolicy_initialize, Failing::NEVER,
     (DDS_TransportMulticastMappingQosPolicy * policy), policy)
WRAP(void, DDS_TransportMulticastMappingQosPolicy_finalize, Failing::NEVER,
     (DDS_TransportMulticastMappingQosPolicy * policy), policy)
WRAP(DDS_TransportMulticastMappingQosPolicy *, DDS_TransportMulticastMappingQosPolicy_copy,
     Failing::YES,
     (DDS_TransportMulticastMappingQosPolicy * dst,
      const DDS_TransportMulticastMappingQosPolicy *src),
     dst, src)
WRAP(void, DDS_DiscoveryQosPolicy_initialize, Failing::NEVER, (DDS_DiscoveryQosPolicy * policy),
     policy)
WRAP(void, DDS_DiscoveryQosPolicy_finalize, Failing::NEVER, (DDS_DiscoveryQosPolicy * policy),
     policy)
WRAP(DDS_DiscoveryQosPolicy *, DDS_DiscoveryQosPolicy_copy, Failing::YES,
     (DDS_DiscoveryQosPolicy * dst, const DDS_DiscoveryQosPolicy *src), dst, src)

WRAP(DDS_ReturnCode_t, DDS_DomainParticipantQos_to_participant_property, Failing::NEVER,
     (const DDS_DomainParticipantQos *qos, PRESParticipantProperty *property), qos, property)
WRAP(DDS_ReturnCode_t, DDS_DomainParticipantQos_from_participant_property, Failing::NEVER,
     (DDS_DomainParticipantQos * qos, const PRESParticipantProperty *property), qos, property)
WRAP(DDS_ReturnCode_t, DDS_DomainParticipantQos_setup_presentation_qosI, Failing::YES,
     (const DDS_DomainParticipantQos *qos, PRESParticipantProperty *property, DDS_Long maxLength,
      DDS_Long maxPropertyLength, DDS_Long maxPropertyStringLength),
     qos, property, maxLength, maxPropertyLength, maxPropertyStringLength)
WRAP(DDS_ReturnCode_t, DDS_DomainParticipantQos_finalize_presentation_qosI, Failing::YES,
     (PRESParticipantProperty * property), property)

WRAP(DDS_Boolean, DDS_RtpsWellKnownPorts_isUnicastValid, Failing::BY_NAME,
     (const DDS_RtpsWellKnownPorts_t *ports, DDS_DomainId_t domainId, DDS_Long participantIndex),
     ports, domainId, participantIndex)
WRAP(DDS_ReturnCode_t, DDS_DiscoveryQosPolicy_to_multicast_locators, Failing::YES,
     (const DDS_DiscoveryQosPolicy *policy, PRESReducedLocatorQosPolicy *locators,
      NUVNetioAliasList *aliases, const DDS_RtpsWellKnownPorts_t *ports, DDS_Long maximum,
      DDS_DomainId_t domainId, NUVNetioConfigurator *configurator, REDAWorker *worker),
     policy, locators, aliases, ports, maximum, domainId, configurator, worker)
WRAP(DDS_ReturnCode_t, DDS_DiscoveryQosPolicy_to_unicast_locators, Failing::YES,
     (const DDS_DiscoveryQosPolicy *policy, PRESLocatorQosPolicy *locators,
      NUVNetioAliasList *aliases, const DDS_RtpsWellKnownPorts_t *ports, DDS_Long maximum,
      DDS_DomainId_t domainId, DDS_Long participantIndex, NUVNetioConfigurator *configurator,
      REDAWorker *worker),
     policy, locators, aliases, ports, maximum, domainId, participantIndex, configurator, worker)
WRAP(DDS_ReturnCode_t, DDS_TransportUnicastQosPolicy_to_default_locators, Failing::YES,
     (const DDS_TransportUnicastQosPolicy *policy, PRESLocatorQosPolicy *locators, DDS_Long maximum,
      DDS_DomainId_t domainId, DDS_Long participantIndex, const DDS_RtpsWellKnownPorts_t *ports,
      NUVNetioAliasList *aliases, NUVNetioConfigurator *configurator, int includeLoopback,
      REDAWorker *worker),
     policy, locators, maximum, domainId, participantIndex, ports, aliases, configurator,
     includeLoopback, worker)

// ---- the factory's listeners: where there is a recorder, no real factory stands behind the
// pointer

extern "C" {
const PRESParticipantEntityFinalizeListener *
__real_DDS_DomainParticipantFactory_get_presentation_entity_finalize_listenerI(
    DDS_DomainParticipantFactory *factory);
const PRESParticipantEntityFinalizeListener *
__wrap_DDS_DomainParticipantFactory_get_presentation_entity_finalize_listenerI(
    DDS_DomainParticipantFactory *factory);
const COMMENDActiveFacadeThreadListener *
__real_DDS_DomainParticipantFactory_get_presentation_thread_listenerI(
    DDS_DomainParticipantFactory *factory);
const COMMENDActiveFacadeThreadListener *
__wrap_DDS_DomainParticipantFactory_get_presentation_thread_listenerI(
    DDS_DomainParticipantFactory *factory);
}

namespace {

template <typename Listener>
using Getter = support::Site<const Listener *(DDS_DomainParticipantFactory *)>;

constinit Getter<PRESParticipantEntityFinalizeListener>
    site_finalizeListener("DDS_DomainParticipantFactory_get_presentation_entity_finalize_listenerI",
                          Failing::NEVER);
constinit Getter<COMMENDActiveFacadeThreadListener>
    site_threadListener("DDS_DomainParticipantFactory_get_presentation_thread_listenerI",
                        Failing::NEVER);
const faults::Registration registrations[] = {faults::Registration(site_finalizeListener),
                                              faults::Registration(site_threadListener)};

/** A listener that is told and does nothing, named on the way; without a recorder the real one. */
template <typename Listener, typename Real>
const Listener *listener(Getter<Listener> &site, Real real, const char *name,
                         DDS_DomainParticipantFactory *factory) {
    static const Listener nobody{};
    support::Recorder *const recorder = support::Recorder::current();
    if (recorder == nullptr) {
        return real(factory);
    }
    return site.call(
        [=](DDS_DomainParticipantFactory *) {
            recorder->name(&nobody, name);
            return &nobody;
        },
        "factory", factory);
}

} // namespace

const PRESParticipantEntityFinalizeListener *
__wrap_DDS_DomainParticipantFactory_get_presentation_entity_finalize_listenerI(
    DDS_DomainParticipantFactory *factory) {
    return listener(site_finalizeListener,
                    __real_DDS_DomainParticipantFactory_get_presentation_entity_finalize_listenerI,
                    "finalizeListener", factory);
}

const COMMENDActiveFacadeThreadListener *
__wrap_DDS_DomainParticipantFactory_get_presentation_thread_listenerI(
    DDS_DomainParticipantFactory *factory) {
    return listener(site_threadListener,
                    __real_DDS_DomainParticipantFactory_get_presentation_thread_listenerI,
                    "threadListener", factory);
}
