// SPDX-License-Identifier: Apache-2.0
/**
 * @file QosPolicy_internal.h
 * @brief Operations of policies that are not public.
 */
#ifndef QOS_QOS_POLICY_INTERNAL_H
#define QOS_QOS_POLICY_INTERNAL_H

#include "dds_c/dds_c_qospolicy.h"
#include "pres/pres_participantProperty.h"
#include "reda/reda_worker.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief Makes storage without a value the discovery policy of the default participant QoS, with
 * its initial peers and its multicast receive address.
 * @return DDS_RETCODE_OK; DDS_RETCODE_OUT_OF_RESOURCES: then the policy is empty.
 */
DDS_ReturnCode_t DDS_DiscoveryQosPolicy_get_defaultI(struct DDS_DiscoveryQosPolicy *self);

/**
 * @brief True when both have the same settings in the same order.
 * @param compareReceivePorts 0 to compare the transports only.
 */
int DDS_TransportUnicastQosPolicy_is_equalI(const struct DDS_TransportUnicastQosPolicy *left,
                                            const struct DDS_TransportUnicastQosPolicy *right,
                                            int compareReceivePorts);

/*
 * Locators from policies. Each lists at most `maximum` locators (none for 0 or less), which are
 * taken from the configurator's interface snapshot: no system call, no allocation. The list of
 * aliases receives the registered transports that the policy enables, joined by ','.
 *
 * They return DDS_RETCODE_OK, or DDS_RETCODE_INCONSISTENT_POLICY after one error message that names
 * the setting that is wrong; the lists are then empty.
 */

/** Where discovery traffic is received by multicast. */
DDS_ReturnCode_t DDS_DiscoveryQosPolicy_to_multicast_locators(
    const struct DDS_DiscoveryQosPolicy *self, struct PRESReducedLocatorQosPolicy *locatorsOut,
    struct NUVNetioAliasList *aliasesOut, const struct DDS_RtpsWellKnownPorts_t *wellKnownPorts,
    DDS_Long maximum, DDS_DomainId_t domainId, struct NUVNetioConfigurator *configurator,
    struct REDAWorker *worker);

/** Where discovery traffic is received by unicast. */
DDS_ReturnCode_t DDS_DiscoveryQosPolicy_to_unicast_locators(
    const struct DDS_DiscoveryQosPolicy *self, struct PRESLocatorQosPolicy *locatorsOut,
    struct NUVNetioAliasList *aliasesOut, const struct DDS_RtpsWellKnownPorts_t *wellKnownPorts,
    DDS_Long maximum, DDS_DomainId_t domainId, DDS_Long participantIndex,
    struct NUVNetioConfigurator *configurator, struct REDAWorker *worker);

/**
 * @brief Where user traffic is received by unicast: setting by setting, each locator once.
 * @param includeLoopback non-zero to list loopback addresses even beside others.
 */
DDS_ReturnCode_t DDS_TransportUnicastQosPolicy_to_default_locators(
    const struct DDS_TransportUnicastQosPolicy *self, struct PRESLocatorQosPolicy *locatorsOut,
    DDS_Long maximum, DDS_DomainId_t domainId, DDS_Long participantIndex,
    const struct DDS_RtpsWellKnownPorts_t *wellKnownPorts, struct NUVNetioAliasList *aliasesOut,
    struct NUVNetioConfigurator *configurator, int includeLoopback, struct REDAWorker *worker);

#ifdef __cplusplus
}
#endif

#endif
