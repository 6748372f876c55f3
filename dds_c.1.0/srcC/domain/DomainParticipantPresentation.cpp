// SPDX-License-Identifier: Apache-2.0
// The presentation half of a participant: all operations on its record, in the order of its life.
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "dds_c/dds_c_logger.h"
#include "dds_c/dds_c_productversion.h"
#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "domain/DomainParticipantFactory_internal.h"
#include "domain/DomainParticipant_internal.h"
#include "domain/domain_internal.h"
#include "infrastructure/Common_internal.h"
#include "infrastructure/dds_log.h"
#include "osapi/osapi_assert.h"
#include "osapi/osapi_heap.h"
#include "osapi/osapi_utility.h"
#include "properties/PropertyQosPolicyHelper_internal.h"
#include "properties/propertyTable.h"
#include "qos/DomainParticipantQos_internal.h"
#include "qos/QosPolicy_internal.h"
#include "reda/reda_string.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

namespace {

/** The most characters of a thread participant id. */
constexpr size_t THREAD_PARTICIPANT_ID_LENGTH_MAX = COMMEND_THREAD_PARTICIPANT_ID_SIZE - 1;

const REDAWeakReference INVALID_WR = REDA_WEAK_REFERENCE_INVALID;

} // namespace

/* ============================================================================================= */
/* Lifecycle                                                                                     */
/* ============================================================================================= */

DDS_Boolean DDS_DomainParticipantPresentation_is_participant_index_specified(
    const DDS_DomainParticipantPresentation *self) {
    return self->_participantIndexSpecified != 0 ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

DDS_Boolean DDS_DomainParticipantPresentation_are_entryports_reserved(
    const DDS_DomainParticipantPresentation *self) {
    return self->_entryportsReserved != 0 ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

DDS_Long DDS_DomainParticipantPresentation_get_max_locator_list_size(
    const DDS_DomainParticipantPresentation *self) {
    return self->_maxLocatorListSize;
}

DDS_Boolean DDS_DomainParticipantPresentation_is_locator_reachability_disabled(
    const DDS_DomainParticipantPresentation *self) {
    return self->_isLocatorReachabilityDisabled != 0 ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

namespace {

namespace initializing {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantPresentation_initialize";

const char *const PROPERTY_MAX_LOCATOR_LIST_SIZE = name_of(Property::MAX_LOCATOR_LIST_SIZE);
const char *const PROPERTY_ALIGNMENT_ENFORCEMENT = name_of(Property::ALIGNMENT_ENFORCEMENT);
const char *const PROPERTY_LOG_DISCOVERY_MISMATCH = name_of(Property::LOG_DISCOVERY_MISMATCH);
const char *const PROPERTY_DIRECTED_WRITE_SERIALIZATION_KIND =
    name_of(Property::DIRECTED_WRITE_SERIALIZATION_KIND);

constexpr DDS_UnsignedLong SERIALIZATION_KIND_MAX =
    row_of(Property::DIRECTED_WRITE_SERIALIZATION_KIND).largest;

/**
 * What prints the messages about a property that is out of its range. Deliberately under module id
 * 0, though every other message of this file carries the id of the DDS module.
 */
constexpr NUVLogModule PROPERTY_RANGE_LOG_MODULE = {0, "-", &DDSLog_g_instrumentationMask,
                                                    &DDSLog_g_submoduleMask};

#define LOG_PROPERTY_RANGE(worker, ...)                                                            \
    NUVLog_plainText(PROPERTY_RANGE_LOG_MODULE, LOG_SUBMODULE,                                     \
                     REDAWorker_getActivityContext(worker), NUV_LOG_LEVEL_ERROR, __VA_ARGS__)

bool set_thread_participant_id(DDS_DomainParticipantPresentation *self, const char *id) {
    if (NUVOsapiUtility_strcpy(self->_threadParticipantId, THREAD_PARTICIPANT_ID_LENGTH_MAX, id) ==
        nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd,
                       COMMEND_THREAD_PARTICIPANT_ID_SIZE, static_cast<int>(strlen(id)));
        return false;
    }
    return true;
}

/** An out-of-range value stays in the record. Text that is no number reads as 0. */
bool read_max_locator_list_size(DDS_DomainParticipantPresentation *self,
                                const DDS_PropertyQosPolicy *properties, REDAWorker *worker) {
    const DDS_Property_t *property =
        DDS_PropertyQosPolicyHelper_lookup_property(properties, PROPERTY_MAX_LOCATOR_LIST_SIZE);

    if (property != nullptr && property->value != nullptr) {
        self->_maxLocatorListSize = atoi(property->value);
    }
    if (self->_maxLocatorListSize < 0) {
        LOG_PROPERTY_RANGE(worker, "%s: the value of the property '%s' is not valid", LOG_METHOD,
                           PROPERTY_MAX_LOCATOR_LIST_SIZE);
        return false;
    }
    if (self->_maxLocatorListSize > DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX) {
        LOG_PROPERTY_RANGE(worker, "%s: the value of the property '%s' cannot exceed %d",
                           LOG_METHOD, PROPERTY_MAX_LOCATOR_LIST_SIZE,
                           DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX);
        return false;
    }
    return true;
}

void set_locator_reachability(DDS_DomainParticipantPresentation *self,
                              PRESParticipantProperty *property,
                              const DDS_DomainParticipantQos *qos) {
    const DDS_Duration_t reachabilityLease =
        qos->discovery_config.locator_reachability_lease_duration;

    DDS_Duration_to_ntp_time(&reachabilityLease, &property->parameter.reachabilityLeaseDuration);
    // Any one of the three is enough. The last one looks redundant and is kept on purpose: it is
    // how other implementations write an infinite fraction.
    if (reachabilityLease.sec == DDS_DURATION_INFINITE_SEC ||
        reachabilityLease.nanosec == DDS_DURATION_INFINITE_NSEC ||
        reachabilityLease.nanosec == 0xFFFFFFFFu) {
        self->_isLocatorReachabilityDisabled = 1;
    }
}

void initialize_cached_policies(DDS_DomainParticipantPresentation *self) {
    DDS_TransportUnicastQosPolicy_initialize(&self->_cachedTransportUnicastPolicy);
    DDS_DiscoveryQosPolicy_initialize(&self->cachedDiscoveryPolicy);
    DDS_TransportMulticastMappingQosPolicy_initialize(
        &self->_cachedTransportMulticastMappingPolicy);
}

template <size_t N>
void invalidate_locators(NUVNetioLocator (&locators)[N]) {
    static const NUVNetioLocator INVALID = NUV_NETIO_LOCATOR_INVALID;

    for (NUVNetioLocator &locator : locators) {
        locator = INVALID;
    }
}

void empty_cached_locators(DDS_DomainParticipantPresentation *self) {
    // A copy carries only the locators that count; an empty list has all of them invalid.
    invalidate_locators(self->_cachedDefaultUnicastLocator.locatorList);
    invalidate_locators(self->_cachedMetatrafficUnicastLocator.locatorList);
    invalidate_locators(self->_cachedDefaultMulticastLocator.locatorList);
    invalidate_locators(self->_cachedMetatrafficMulticastLocator.locatorList);

    PRESLocatorQosPolicy_copy(&self->_cachedDefaultUnicastLocator, &LOCATOR_QOS_POLICY_DEFAULT);
    PRESLocatorQosPolicy_copy(&self->_cachedMetatrafficUnicastLocator, &LOCATOR_QOS_POLICY_DEFAULT);
    PRESLocatorQosPolicy_copy(
        PRESReducedLocatorQosPolicy_asLocatorPolicy(&self->_cachedDefaultMulticastLocator),
        PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&REDUCED_LOCATOR_QOS_POLICY_DEFAULT));
    PRESLocatorQosPolicy_copy(
        PRESReducedLocatorQosPolicy_asLocatorPolicy(&self->_cachedMetatrafficMulticastLocator),
        PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&REDUCED_LOCATOR_QOS_POLICY_DEFAULT));
}

void empty_entryports(DDS_DomainParticipantPresentation *self) {
    self->_reserveEntryportMetaMulticastWR = INVALID_WR;
    self->_reserveEntryportUserMulticastWR = INVALID_WR;
    self->_reserveMetaUnicast._count = 0;
    self->_reserveUserUnicast._count = 0;
}

bool set_product_version(PRESParticipantProperty *property, DDS_ReturnCode_t *result) {
    DDS_ProductVersion_t product_version = {0, 0, 0, 0};

    DDS_ProductVersion_get_nuvdds_version(&product_version);
    *result = DDS_ProductVersion_to_presentation_qos_policy(&product_version,
                                                            &property->parameter.productVersion);
    if (*result != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "productVersion");
        return false;
    }
    return true;
}

bool read_alignment_enforcement(const DDS_PropertyQosPolicy *properties,
                                COMMENDInterpreterProperty *interpreter) {
    const DDS_Property_t *property =
        DDS_PropertyQosPolicyHelper_lookup_property(properties, PROPERTY_ALIGNMENT_ENFORCEMENT);

    if (property != nullptr &&
        !REDAString_strToBoolean(property->value, &interpreter->enforceSubmessageAlignment)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_INVALID_s, PROPERTY_ALIGNMENT_ENFORCEMENT);
        return false;
    }
    return true;
}

bool read_log_discovery_mismatch(const DDS_PropertyQosPolicy *properties,
                                 COMMENDInterpreterProperty *interpreter, REDAWorker *worker) {
    const DDS_Property_t *property =
        DDS_PropertyQosPolicyHelper_lookup_property(properties, PROPERTY_LOG_DISCOVERY_MISMATCH);

    if (property != nullptr &&
        !REDAString_strToBoolean(property->value, &interpreter->logParticipantDiscoveryMismatch)) {
        DDSLog_textForWorker(worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_FAILED_TO_CONVERT_TEMPLATE,
                             "expected boolean value for property %s, got %s",
                             PROPERTY_LOG_DISCOVERY_MISMATCH,
                             property->value != nullptr ? property->value : "(null)");
        return false;
    }
    return true;
}

void apply_security(
    PRESParticipantProperty *property, const PRESParticipantSecurity *security,
    const PRESParticipantSecurityTokens *securityTokens,
    const DDS_DomainParticipantTrustPluginsMaxTransformOverheads *maxTransformOverheads) {
    COMMENDFacadeProperty &facadeProperty = property->facadeProperty.parent;
    const NUV_UINT32 bitmask = security->attributes.protectionInfo.bitmask;
    const bool isRtpsProtectedWithPresharedKey =
        (bitmask & PRES_PARTICIPANT_SECURITY_RTPS_PRESHARED_KEY_PROTECTED) != 0;

    facadeProperty.messageGenerator.canEncodeSubmessage = 1;
    facadeProperty.messageGenerator.encodedSubmessageMaxOverhead =
        maxTransformOverheads->submessage;
    facadeProperty.interpreter.canDecode = 1;
    if ((bitmask & PRES_PARTICIPANT_SECURITY_RTPS_PROTECTED) != 0 ||
        isRtpsProtectedWithPresharedKey) {
        facadeProperty.messageGenerator.canEncodeRtpsMessage = 1;
        facadeProperty.interpreter.mustDecodeRtpsMessage = 1;
        facadeProperty.messageGenerator.encodedMessageBaseOverhead =
            maxTransformOverheads->messageBase;
        facadeProperty.messageGenerator.encodedMessageWithPresharedKeyMaxOverhead =
            maxTransformOverheads->presharedKeyMessage;
        facadeProperty.messageGenerator.encodedMessageOverheadPerReceiver =
            maxTransformOverheads->messagePerReceiver;
    }
    facadeProperty.interpreter.mustDecodeRtpsBootstrappingMessage =
        isRtpsProtectedWithPresharedKey ? 1 : 0;

    property->parameter.securityProtectionInfo = security->attributes.protectionInfo;
    property->parameter.securityTokens = *securityTokens;
    property->parameter.securityAlgorithmInfo = security->attributes.algorithmInfo;
    property->parameter.securityVendorProtectionInfo =
        security->attributes.securityVendorProtectionInfo;
}

bool read_directed_write_serialization_kind(const DDS_PropertyQosPolicy *properties,
                                            PRESParticipantProperty *property) {
    DDS_UnsignedLong serializationKindUInt = 0;

    if (DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(
            properties, &serializationKindUInt, PROPERTY_DIRECTED_WRITE_SERIALIZATION_KIND) &&
        serializationKindUInt > SERIALIZATION_KIND_MAX) {
        char logMsg[100] = {0};

        NUVOsapiUtility_snprintf(
            logMsg, sizeof(logMsg), "%s has the value %d but can only be (0, 1, 2)",
            PROPERTY_DIRECTED_WRITE_SERIALIZATION_KIND, static_cast<int>(serializationKindUInt));
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_INVALID_s, logMsg);
        return false;
    }
    property->directedWriteGuidSerializationKind = static_cast<NUV_INT32>(serializationKindUInt);
    return true;
}

/** Frees what the translation and the time-based logging settings put into a property. */
void free_property_buffers(PRESParticipantProperty *property) {
    COMMENDReceiverProperty &receiver = property->facadeProperty.parent.receiver;

    NUVOsapiHeap_freeArray(property->parameter.propertyList.data._buffer);
    property->parameter.propertyList.data._buffer = nullptr;
    if (receiver.processMessageTimeBasedLoggingExplicitPorts != nullptr) {
        NUVOsapiHeap_freeString(receiver.processMessageTimeBasedLoggingExplicitPorts);
        receiver.processMessageTimeBasedLoggingExplicitPorts = nullptr;
    }
}

void undo_initialization(DDS_DomainParticipantPresentation *self, REDAWorker *worker) {
    if (DDS_DomainParticipantPresentation_prefinalize(self, worker) != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_FINALIZE_FAILURE_s,
                       "DP Presentation (in prefinalize routine)");
    }
    if (DDS_DomainParticipantPresentation_finalize(self, worker) != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_FINALIZE_FAILURE_s, "DP Presentation");
    }
}

} // namespace initializing

} // namespace

// The stops at `done` with an OK result, which leave `participant` null, are deliberate: the caller
// sees the failure by that null. So is that the stops between the translation and the creation of
// the presentation participant free only the property record and not the buffers in it.
DDS_ReturnCode_t DDS_DomainParticipantPresentation_initialize(
    DDS_DomainParticipantPresentation *self, DDS_DomainParticipantFactory *factory,
    DDS_DomainId_t domain_id, const DDS_DomainParticipantQos *qos,
    NUVOsapiRtpsGuid *participantGuid, char *threadParticipantId, int participant_index_specified,
    const PRESParticipantListener *listener, DDS_StatusMask mask, NUVEventActiveDatabase *active_db,
    DDS_DomainParticipantConcurrency *concurrency, NUVClock *clock, NUVClock *timestamp_clock,
    NUVNetioConfigurator *configurator, REDAWorkerFactory *worker_factory,
    const PRESParticipantSecurity *security, const PRESParticipantSecurityTokens *securityTokens,
    DDS_DomainParticipantTrustPluginsMaxTransformOverheads *maxTransformOverheads,
    NUVOsapiThreadFactory *recv_thread_factory, NUVOsapiThreadFactory *event_thread_factory,
    NUVOsapiThreadFactory *asynch_pub_thread_factory, REDAWorker *worker) {
    DDS_ReturnCode_t result = DDS_RETCODE_OK;
    PRESParticipantProperty *participantProperty = nullptr;
    COMMENDInterpreterProperty *interpreter = nullptr;
    const PRESParticipantEntityFinalizeListener *finalizeListener = nullptr;
    const COMMENDActiveFacadeThreadListener *threadListener = nullptr;
    const PRESStatusKindMask listenerMask = DDS_StatusMask_get_presentation_maskI(mask);
    char partitionNames[PRES_PARTITION_BUFFER_SIZE];

    if (DDSLog_isNull(self)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }

    self->participant = nullptr;
    self->_domainId = domain_id;
    if (!initializing::set_thread_participant_id(self, threadParticipantId)) {
        goto done;
    }
    self->_participantIndexSpecified = participant_index_specified;
    self->_configurator = configurator;
    self->_entryportsReserved = 0;
    self->_isLocatorReachabilityDisabled = 0;
    self->_maxLocatorListSize = DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX;
    if (!initializing::read_max_locator_list_size(self, &qos->property, worker)) {
        return DDS_RETCODE_ERROR;
    }

    NUVOsapiHeap_allocateStructure(&participantProperty, struct PRESParticipantProperty);
    if (participantProperty == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_CREATION_FAILURE_s, "participant property");
        goto done;
    }
    *participantProperty = PARTICIPANT_PROPERTY_DEFAULT;
    interpreter = &participantProperty->facadeProperty.parent.interpreter;

    initializing::set_locator_reachability(self, participantProperty, qos);
    initializing::initialize_cached_policies(self);
    initializing::empty_cached_locators(self);
    initializing::empty_entryports(self);

    if (!initializing::set_product_version(participantProperty, &result)) {
        goto done;
    }
    PRESParticipantProperty_setPartitionBuffer(participantProperty, partitionNames);
    result = DDS_DomainParticipantPresentation_translate_qos(self, participantProperty, qos,
                                                             participantGuid, worker);
    if (result != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "QoS");
        goto done;
    }
    if (!initializing::read_alignment_enforcement(&qos->property, interpreter)) {
        goto done;
    }
    if (!initializing::read_log_discovery_mismatch(&qos->property, interpreter, worker)) {
        goto done;
    }
    interpreter->isSpdp2 =
        (qos->discovery_config.builtin_discovery_plugins & DDS_DISCOVERYCONFIG_BUILTIN_SPDP2) != 0
            ? 1
            : 0;
    if (!DDS_DomainParticipantPresentation_setTimeBasedLoggingConfiguration(
            &qos->property, participantProperty, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s,
                       "time-based logging configuration");
        goto done;
    }
    if (security != nullptr) {
        initializing::apply_security(participantProperty, security, securityTokens,
                                     maxTransformOverheads);
    }
    if (!initializing::read_directed_write_serialization_kind(&qos->property,
                                                              participantProperty)) {
        goto done;
    }

    finalizeListener =
        DDS_DomainParticipantFactory_get_presentation_entity_finalize_listenerI(factory);
    threadListener = DDS_DomainParticipantFactory_get_presentation_thread_listenerI(factory);
    self->participant = PRESParticipant_new(
        participantGuid, configurator, worker_factory, active_db, clock, timestamp_clock,
        concurrency->tableEa, concurrency->recordEa, concurrency->remoteObjectsEa, threadListener,
        finalizeListener, participantProperty, listener, listenerMask, security,
        recv_thread_factory, event_thread_factory, asynch_pub_thread_factory, worker);
    initializing::free_property_buffers(participantProperty);
    if (self->participant == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_CREATION_FAILURE_s, "participant core");
        result = DDS_RETCODE_ERROR;
        goto done;
    }
    result = DDS_DomainParticipantPresentation_cache_irreversible_qos(self, qos);
    if (result != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "QoS");
    }

done:
    if (result != DDS_RETCODE_OK) {
        initializing::undo_initialization(self, worker);
    }
    if (participantProperty != nullptr) {
        NUVOsapiHeap_freeStructure(participantProperty);
    }
    return result;
}

DDS_ReturnCode_t
DDS_DomainParticipantPresentation_checkShutdownPrecondition(DDS_DomainParticipantPresentation *self,
                                                            REDAWorker *worker) {
    if (self == nullptr || self->participant == nullptr) {
        return DDS_RETCODE_OK;
    }
    if (PRESParticipant_hasTopic(self->participant, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_ANY_FAILURE_s,
                       "participant has outstanding topics");
        return DDS_RETCODE_PRECONDITION_NOT_MET;
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_DomainParticipantPresentation_wakeup(DDS_DomainParticipantPresentation *self,
                                                          REDAWorker *worker) {
    int failReason = PRES_RETCODE_OK;

    if (self == nullptr || self->participant == nullptr) {
        return DDS_RETCODE_OK;
    }
    if (!PRESParticipant_preShutdownWakeup(self->participant, &failReason, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_ANY_FAILURE_s,
                       "wake up participant core for shutdown");
        return DDS_ReturnCode_from_presentation_return_codeI(failReason);
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t
DDS_DomainParticipantPresentation_prefinalize(DDS_DomainParticipantPresentation *self,
                                              REDAWorker *worker) {
    int failReason = PRES_RETCODE_OK;

    if (self == nullptr || self->participant == nullptr) {
        return DDS_RETCODE_OK;
    }
    if (!PRESParticipant_shutdown(self->participant, &failReason, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_ANY_FAILURE_s, "shut down participant core");
        return DDS_ReturnCode_from_presentation_return_codeI(failReason);
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_DomainParticipantPresentation_finalize(DDS_DomainParticipantPresentation *self,
                                                            REDAWorker *worker) {
    if (DDSLog_isNull(self)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (self->participant != nullptr) {
        int failReason = PRES_RETCODE_OK;

        if (!PRESParticipant_delete(self->participant, &failReason, worker)) {
            DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_DESTRUCTION_FAILURE_s, "participant core");
            return DDS_ReturnCode_from_presentation_return_codeI(failReason);
        }
        self->participant = nullptr;
    }
    DDS_TransportUnicastQosPolicy_finalize(&self->_cachedTransportUnicastPolicy);
    DDS_DiscoveryQosPolicy_finalize(&self->cachedDiscoveryPolicy);
    DDS_TransportMulticastMappingQosPolicy_finalize(&self->_cachedTransportMulticastMappingPolicy);
    memset(self, 0, sizeof(*self));
    return DDS_RETCODE_OK;
}

namespace {

namespace enabling {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantPresentation_enable";

void warn_of_missing_locators(const DDS_DomainParticipantPresentation *self) {
    if (self->_cachedDefaultUnicastLocator.count == 0) {
        DDSLog_message(NUV_LOG_LEVEL_WARNING, DDS_LOG_NO_DEFAULT_UNICAST_TRANSPORT_LOCATORS);
    }
    if (self->_cachedMetatrafficUnicastLocator.count +
            self->_cachedMetatrafficMulticastLocator.count ==
        0) {
        DDSLog_message(NUV_LOG_LEVEL_WARNING, DDS_LOG_NO_DISCOVERY_TRANSPORT_LOCATORS);
    }
}

/** Fills the sequence with at most @p count transports. Tells whether to go on with enabling. */
bool list_transports(DDS_DomainParticipantPresentation *self,
                     PRESSequenceTransportInfo *transportInfo, DDS_Long count,
                     DDS_ReturnCode_t *result, REDAWorker *worker) {
    if (count == 0) {
        DDSLog_message(NUV_LOG_LEVEL_LOCAL, DDS_LOG_GET_TRANSPORT_INFO_SIZE_ZERO);
        return true;
    }
    transportInfo->_maximum = static_cast<NUV_UINT32>(count);
    NUVOsapiHeap_allocateArray(&transportInfo->_buffer, count, struct NUVNetioTransportInfo);
    if (transportInfo->_buffer == nullptr) {
        // Deliberately no error: the participant stays disabled and the result is still OK.
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d,
                       static_cast<int>(sizeof(NUVNetioTransportInfo)));
        return false;
    }
    if (!NUVNetioConfigurator_getTransportInfo(self->_configurator, transportInfo->_buffer,
                                               &transportInfo->_length,
                                               static_cast<NUV_UINT32>(count), worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_GET_TRANSPORT_INFO);
        *result = DDS_RETCODE_ERROR;
        return false;
    }
    return true;
}

} // namespace enabling

} // namespace

DDS_ReturnCode_t DDS_DomainParticipantPresentation_enable(DDS_DomainParticipantPresentation *self,
                                                          DDS_DomainParticipantQos *qos,
                                                          int *enableAllEntities,
                                                          REDAWorker *worker) {
    DDS_ReturnCode_t result = DDS_RETCODE_OK;
    PRESSequenceTransportInfo transportInfoSequence = {0, 0, nullptr};
    NUVLogCategoryMask cachedCategory = 0;

    if (DDSLog_isNull(worker)) {
        return DDS_RETCODE_ERROR;
    }
    NUVOsapiContext_addAndCacheCategory(worker->_activityContext, &cachedCategory, 0,
                                        NUV_LOG_CATEGORY_ENABLE);

    enabling::warn_of_missing_locators(self);
    if (!enabling::list_transports(self, &transportInfoSequence,
                                   qos->resource_limits.transport_info_list_max_length, &result,
                                   worker)) {
        goto done;
    }
    if (!PRESParticipant_enable(
            self->participant, enableAllEntities, &self->_cachedDefaultUnicastLocator,
            &self->_cachedMetatrafficUnicastLocator, &self->_cachedMetatrafficMulticastLocator,
            &transportInfoSequence, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_CREATION_FAILURE_s, "enable");
        result = DDS_RETCODE_ERROR;
        goto done;
    }
    DDS_DomainParticipantPresentation_log_peers_and_locators(self, worker);

done:
    NUVOsapiContext_setCategory(worker->_activityContext, 0, cachedCategory);
    if (transportInfoSequence._buffer != nullptr) {
        NUVOsapiHeap_freeArray(transportInfoSequence._buffer);
        transportInfoSequence._buffer = nullptr;
    }
    return result;
}

/* ============================================================================================= */
/* QoS                                                                                           */
/* ============================================================================================= */

namespace {

namespace translating {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantPresentation_translate_qos";

const char *const PROPERTY_THREAD_DESTRUCTION_TIMEOUT =
    name_of(Property::THREAD_DESTRUCTION_TIMEOUT);
/** The longest that an execution thread may be given to end, in seconds. */
constexpr NUV_INT32 THREAD_DESTRUCTION_TIMEOUT_MAX =
    static_cast<NUV_INT32>(row_of(Property::THREAD_DESTRUCTION_TIMEOUT).largest);

/** How many buffers one send gathers at the most, whatever the QoS says. */
constexpr NUV_INT32 GATHER_SEND_BUFFER_COUNT_MAX = 128;

/** The record's id may lack its terminator; what lies behind it is not read. */
bool copy_thread_participant_id(char *dst, const DDS_DomainParticipantPresentation *self) {
    if (NUVOsapiUtility_strcpy(dst, THREAD_PARTICIPANT_ID_LENGTH_MAX, self->_threadParticipantId) ==
        nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd,
                       COMMEND_THREAD_PARTICIPANT_ID_SIZE,
                       static_cast<int>(
                           strnlen(self->_threadParticipantId, sizeof self->_threadParticipantId)));
        return false;
    }
    return true;
}

bool stamp_identity(DDS_DomainParticipantPresentation *self, PRESParticipantProperty *dst,
                    const NUVOsapiRtpsGuid *guid) {
    COMMENDFacadeProperty &facadeProperty = dst->facadeProperty.parent;

    facadeProperty.guidPrefix.hostId = guid->prefix.hostId;
    facadeProperty.guidPrefix.appId = guid->prefix.appId;
    facadeProperty.guidPrefix.instanceId = guid->prefix.instanceId;
    // Fixed on purpose: the QoS never decides it.
    facadeProperty.messageGenerator.gatherSendBufferCountMax = GATHER_SEND_BUFFER_COUNT_MAX;
    dst->parameter.domainId = self->_domainId;
    return copy_thread_participant_id(facadeProperty.threadParticipantId, self) &&
           copy_thread_participant_id(dst->facadeProperty.activeEventGenerator.threadParticipantId,
                                      self) &&
           copy_thread_participant_id(facadeProperty.jobDispatcher.threadParticipantId, self);
}

bool read_thread_destruction_timeout(const DDS_PropertyQosPolicy *properties,
                                     COMMENDJobDispatcherProperty *jobDispatcher) {
    NUV_INT32 timeout = 0;
    const DDS_Property_t *property = DDS_PropertyQosPolicyHelper_lookup_property(
        properties, PROPERTY_THREAD_DESTRUCTION_TIMEOUT);

    if (property == nullptr || property->value == nullptr) {
        return true;
    }
    if (!REDAString_strToLong(property->value, &timeout) || timeout < 0 ||
        timeout > THREAD_DESTRUCTION_TIMEOUT_MAX) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_INCONSISTENT_PROPERTY_sss, "Domain Participant",
                       PROPERTY_THREAD_DESTRUCTION_TIMEOUT, "expected integer within [0-60] range");
        return false;
    }
    jobDispatcher->executionThreadDestructionTimeout = timeout;
    return true;
}

} // namespace translating

} // namespace

DDS_ReturnCode_t DDS_DomainParticipantPresentation_translate_qos(
    DDS_DomainParticipantPresentation *self, PRESParticipantProperty *dst,
    const DDS_DomainParticipantQos *src, NUVOsapiRtpsGuid *participant_guid, REDAWorker *worker) {
    DDS_ReturnCode_t result = DDS_RETCODE_ERROR;

    // What the QoS does not cover keeps the value that a running participant has.
    if (self->participant != nullptr &&
        !PRESParticipant_getProperty(self->participant, dst, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_GET_FAILURE_s, "PRESParticipant property");
        goto done;
    }
    DDS_DomainParticipantQos_to_participant_property(src, dst);
    if (!translating::stamp_identity(self, dst, participant_guid)) {
        goto done;
    }
    if (!translating::read_thread_destruction_timeout(&src->property,
                                                      &dst->facadeProperty.parent.jobDispatcher)) {
        goto done;
    }
    result = DDS_RETCODE_OK;

done:
    if (result != DDS_RETCODE_OK && dst->parameter.propertyList.data._buffer != nullptr) {
        NUVOsapiHeap_freeArray(dst->parameter.propertyList.data._buffer);
        dst->parameter.propertyList.data._buffer = nullptr;
    }
    return result;
}

DDS_ReturnCode_t
DDS_DomainParticipantPresentation_cache_irreversible_qos(DDS_DomainParticipantPresentation *self,
                                                         const DDS_DomainParticipantQos *src) {
    if (DDS_TransportUnicastQosPolicy_copy(&self->_cachedTransportUnicastPolicy,
                                           &src->default_unicast) == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "default_unicast");
        return DDS_RETCODE_ERROR;
    }
    if (DDS_TransportMulticastMappingQosPolicy_copy(&self->_cachedTransportMulticastMappingPolicy,
                                                    &src->multicast_mapping) == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "multicast_mapping");
        return DDS_RETCODE_ERROR;
    }
    if (DDS_DiscoveryQosPolicy_copy(&self->cachedDiscoveryPolicy, &src->discovery) == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "discovery");
        return DDS_RETCODE_ERROR;
    }
    self->cachedWellKnownPorts = src->wire_protocol.rtps_well_known_ports;
    self->_cachedReservedPortMask = src->wire_protocol.rtps_reserved_port_mask;
    return DDS_RETCODE_OK;
}

namespace {

/** Asks for the limits in their order: user data, property list, property strings. */
DDS_ReturnCode_t set_up_presentation_qos(const DDS_DomainParticipantQos *qos,
                                         PRESParticipantProperty *property,
                                         const DDS_DomainParticipant *participant) {
    const DDS_Long maxLength =
        DDS_DomainParticipant_get_participant_user_data_max_lengthI(participant);
    const DDS_Long maxPropertyLength =
        DDS_DomainParticipant_get_participant_property_list_max_lengthI(participant);
    const DDS_Long maxPropertyStringLength =
        DDS_DomainParticipant_get_participant_property_string_max_lengthI(participant);

    return DDS_DomainParticipantQos_setup_presentation_qosI(
        qos, property, maxLength, maxPropertyLength, maxPropertyStringLength);
}

namespace getting {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantPresentation_get_qos";

/** Overwrites what the property does not carry back. */
bool restore_irreversible_qos(const DDS_DomainParticipantPresentation *self,
                              DDS_DomainParticipantQos *qos) {
    if (DDS_TransportUnicastQosPolicy_copy(&qos->default_unicast,
                                           &self->_cachedTransportUnicastPolicy) == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "default_unicast");
        return false;
    }
    if (DDS_TransportMulticastMappingQosPolicy_copy(
            &qos->multicast_mapping, &self->_cachedTransportMulticastMappingPolicy) == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "multicast_mapping");
        return false;
    }
    if (DDS_DiscoveryQosPolicy_copy(&qos->discovery, &self->cachedDiscoveryPolicy) == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "discovery");
        return false;
    }
    qos->wire_protocol.rtps_well_known_ports = self->cachedWellKnownPorts;
    qos->wire_protocol.rtps_reserved_port_mask = self->_cachedReservedPortMask;
    return true;
}

} // namespace getting

} // namespace

DDS_ReturnCode_t DDS_DomainParticipantPresentation_get_qos(
    const DDS_DomainParticipantPresentation *self, DDS_DomainParticipant *domainParticipant,
    DDS_DomainParticipantQos *qos, int getUserData, REDAWorker *worker) {
    DDS_ReturnCode_t result = DDS_RETCODE_OK;
    PRESParticipantProperty *property = nullptr;
    char partitionNames[PRES_PARTITION_BUFFER_SIZE];

    NUVOsapiHeap_allocateStructure(&property, struct PRESParticipantProperty);
    if (property == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_CREATION_FAILURE_s, "participant property");
        return DDS_RETCODE_ERROR;
    }
    *property = PARTICIPANT_PROPERTY_DEFAULT;

    // Deliberately logged only: without its buffers the rest of the QoS can still be read.
    if (getUserData &&
        set_up_presentation_qos(qos, property, domainParticipant) != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_GET_FAILURE_s, "DDS_DomainParticipantQos");
    }
    PRESParticipantProperty_setPartitionBuffer(property, partitionNames);
    if (!PRESParticipant_getProperty(self->participant, property, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_GET_FAILURE_s, "QoS");
        result = DDS_RETCODE_ERROR;
        goto done;
    }
    DDS_DomainParticipantQos_from_participant_property(qos, property);
    if (!getting::restore_irreversible_qos(self, qos)) {
        result = DDS_RETCODE_ERROR;
    }

done:
    if (DDS_DomainParticipantQos_finalize_presentation_qosI(property) != DDS_RETCODE_OK) {
        DDSLog_textForWorker(worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_FAILED_TO_FINALIZE_TEMPLATE,
                             "Presentation QoS");
        result = DDS_RETCODE_ERROR;
    }
    NUVOsapiHeap_freeStructure(property);
    return result;
}

namespace {

namespace setting {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantPresentation_set_qos";

/** 0 asks for the running word; any other value must be it. */
bool keeps(DDS_UnsignedLong requested, NUV_UINT32 running) {
    return requested == 0 || requested == running;
}

/** Reads the running identity into @p guid. */
bool check_immutable_policies(const DDS_DomainParticipantPresentation *self,
                              const DDS_DomainParticipantQos *qos, NUVOsapiRtpsGuid *guid) {
    const DDS_WireProtocolQosPolicy &wireProtocol = qos->wire_protocol;

    if (!DDS_TransportUnicastQosPolicy_is_equalI(&self->_cachedTransportUnicastPolicy,
                                                 &qos->default_unicast, 1)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_IMMUTABLE_POLICY_s, "default_unicast");
        return false;
    }
    PRESParticipant_getGuid(self->participant, guid);
    if (!keeps(wireProtocol.rtps_host_id, guid->prefix.hostId) ||
        !keeps(wireProtocol.rtps_app_id, guid->prefix.appId) ||
        !keeps(wireProtocol.rtps_instance_id, guid->prefix.instanceId)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_IMMUTABLE_POLICY_s, "wire_protocol");
        return false;
    }
    return true;
}

} // namespace setting

} // namespace

// The caches follow only a property change that took effect; a failure to renew them leaves it.
DDS_ReturnCode_t DDS_DomainParticipantPresentation_set_qos(DDS_DomainParticipantPresentation *self,
                                                           const DDS_DomainParticipantQos *qos,
                                                           REDAWorker *worker) {
    DDS_ReturnCode_t result = DDS_RETCODE_ERROR;
    PRESParticipantProperty *participantProperty = nullptr;
    NUVOsapiRtpsGuid guid = {{0, 0, 0}, 0};
    int failReason = PRES_RETCODE_ERROR;
    char partitionNames[PRES_PARTITION_BUFFER_SIZE];

    if (!setting::check_immutable_policies(self, qos, &guid)) {
        return DDS_RETCODE_IMMUTABLE_POLICY;
    }
    NUVOsapiHeap_allocateStructure(&participantProperty, struct PRESParticipantProperty);
    if (participantProperty == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_CREATION_FAILURE_s, "participant property");
        return DDS_RETCODE_ERROR;
    }
    *participantProperty = PARTICIPANT_PROPERTY_DEFAULT;
    partitionNames[0] = '\0';
    participantProperty->parameter.partitionQosPolicy.name.str = partitionNames;
    participantProperty->parameter.partitionQosPolicy.name._maximum = PRES_PARTITION_BUFFER_SIZE;

    result = DDS_DomainParticipantPresentation_translate_qos(self, participantProperty, qos, &guid,
                                                             worker);
    if (result != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "QoS");
        goto done;
    }
    if (!PRESParticipant_setProperty(self->participant, &failReason, participantProperty, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "participant QoS");
        result = DDS_ReturnCode_from_presentation_return_codeI(failReason);
        goto done;
    }
    result = DDS_DomainParticipantPresentation_cache_irreversible_qos(self, qos);
    if (result != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "QoS");
    }

done:
    if (participantProperty->parameter.propertyList.data._buffer != nullptr) {
        NUVOsapiHeap_freeArray(participantProperty->parameter.propertyList.data._buffer);
        participantProperty->parameter.propertyList.data._buffer = nullptr;
    }
    NUVOsapiHeap_freeStructure(participantProperty);
    return result;
}

namespace {

const char *const PROPERTY_SEND_TIMEOUT = name_of(Property::SEND_TIMEOUT);
const char *const PROPERTY_EA_TIMEOUT = name_of(Property::EA_TIMEOUT);
const char *const PROPERTY_EA_TRACKED_LEVEL = name_of(Property::EA_TRACKED_LEVEL);
const char *const PROPERTY_RECEIVE_TIMEOUT = name_of(Property::RECEIVE_TIMEOUT);
const char *const PROPERTY_RECEIVE_TRACKED_PORTS = name_of(Property::RECEIVE_TRACKED_PORTS);
const char *const PROPERTY_AUTHENTICATION_TIMEOUT = name_of(Property::AUTHENTICATION_TIMEOUT);

/** The level of exclusive area that is watched unless a property sets another. */
constexpr DDS_Long EA_TRACKED_LEVEL_DEFAULT = 10;

void set_exclusive_area_logging(const DDS_PropertyQosPolicy *properties, const REDAWorker *worker) {
    NUVNtpTime eaTimeBasedLoggingThreshold = NUV_NTP_TIME_ZERO;
    DDS_Long eaTimeBasedLoggingLevel = EA_TRACKED_LEVEL_DEFAULT;

    if (!DDS_PropertyQosPolicyHelper_lookup_duration_property(
            properties, &eaTimeBasedLoggingThreshold, PROPERTY_EA_TIMEOUT)) {
        return;
    }
    (void)DDS_PropertyQosPolicyHelper_lookup_integer_property(properties, &eaTimeBasedLoggingLevel,
                                                              PROPERTY_EA_TRACKED_LEVEL);
    REDAWorker_setEaTimeBasedLoggingLevelAndThreshold(worker->_manager, eaTimeBasedLoggingLevel,
                                                      &eaTimeBasedLoggingThreshold);
}

} // namespace

// A malformed duration or level is passed over in silence: the default stays.
int DDS_DomainParticipantPresentation_setTimeBasedLoggingConfiguration(
    const DDS_PropertyQosPolicy *properties, PRESParticipantProperty *participantProperty,
    REDAWorker *worker) {
    COMMENDFacadeProperty &facadeProperty = participantProperty->facadeProperty.parent;
    const DDS_Property_t *trackedPorts = nullptr;

    (void)DDS_PropertyQosPolicyHelper_lookup_duration_property(
        properties, &facadeProperty.sender.sendTimeBasedLoggingThreshold, PROPERTY_SEND_TIMEOUT);
    set_exclusive_area_logging(properties, worker);
    (void)DDS_PropertyQosPolicyHelper_lookup_duration_property(
        properties, &facadeProperty.receiver.processMessageTimeBasedLoggingThreshold,
        PROPERTY_RECEIVE_TIMEOUT);
    trackedPorts =
        DDS_PropertyQosPolicyHelper_lookup_property(properties, PROPERTY_RECEIVE_TRACKED_PORTS);
    if (trackedPorts != nullptr) {
        facadeProperty.receiver.processMessageTimeBasedLoggingExplicitPorts =
            DDS_String_dup(trackedPorts->value);
        if (facadeProperty.receiver.processMessageTimeBasedLoggingExplicitPorts == nullptr) {
            DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s,
                           PROPERTY_RECEIVE_TRACKED_PORTS);
            return 0;
        }
    }
    (void)DDS_PropertyQosPolicyHelper_lookup_duration_property(
        properties, &participantProperty->authenticationTimeThreshold,
        PROPERTY_AUTHENTICATION_TIMEOUT);
    return 1;
}

/* ============================================================================================= */
/* Participant index and entryports                                                              */
/* ============================================================================================= */

namespace {

namespace bounding {

static_assert(DDS_RTPS_PORT_MAX == KOLS_TRANSPORT_PORT_MAX);

constexpr const char *LOG_METHOD = "DDS_DomainParticipantPresentation_get_max_participant_indexI";

bool check_ports(const DDS_RtpsWellKnownPorts_t *rtpsWellKnownPorts) {
    if (DDSLog_isNull(rtpsWellKnownPorts)) {
        return false;
    }
    if (rtpsWellKnownPorts->port_base <= 0) {
        DDSLog_precondition("\"rtpsWellKnownPorts->port_base <= 0\"");
        return false;
    }
    if (rtpsWellKnownPorts->domain_id_gain <= 0) {
        DDSLog_precondition("\"rtpsWellKnownPorts->domain_id_gain <= 0\"");
        return false;
    }
    if (rtpsWellKnownPorts->participant_id_gain <= 0) {
        DDSLog_precondition("\"rtpsWellKnownPorts->participant_id_gain <= 0\"");
        return false;
    }
    if (rtpsWellKnownPorts->builtin_unicast_port_offset < 0) {
        DDSLog_precondition("\"rtpsWellKnownPorts->builtin_unicast_port_offset < 0\"");
        return false;
    }
    if (rtpsWellKnownPorts->user_unicast_port_offset < 0) {
        DDSLog_precondition("\"rtpsWellKnownPorts->user_unicast_port_offset < 0\"");
        return false;
    }
    if (rtpsWellKnownPorts->port_base >= DDS_RTPS_PORT_MAX) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "rtps_well_known_ports.port_base (%d) must be less than %u.",
                    rtpsWellKnownPorts->port_base, static_cast<unsigned>(DDS_RTPS_PORT_MAX));
        return false;
    }
    return true;
}

/** The largest index whose gains stay clear of the next domain and of the end of the port range. */
bool find_max_by_gains(const DDS_RtpsWellKnownPorts_t &ports, DDS_Long *max) {
    if (ports.domain_id_gain > ports.participant_id_gain) {
        *max = ports.domain_id_gain / ports.participant_id_gain - 1;
        return true;
    }
    *max = (DDS_RTPS_PORT_MAX - ports.port_base) / ports.participant_id_gain - 1;
    if (*max < 0) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "rtps_well_known_ports.participant_id_gain (%d) must be less than (%u - "
                    "rtps_well_known_ports.port_base (%d)).",
                    ports.participant_id_gain, static_cast<unsigned>(DDS_RTPS_PORT_MAX),
                    ports.port_base);
        return false;
    }
    return true;
}

/** How many indices are lost at the end to offsets that are larger than the gain. */
DDS_Long count_lost_to_offsets(const DDS_RtpsWellKnownPorts_t &ports) {
    const DDS_Long offset =
        std::max(ports.user_unicast_port_offset, ports.builtin_unicast_port_offset);

    return offset > ports.participant_id_gain ? offset / ports.participant_id_gain : 0;
}

} // namespace bounding

} // namespace

// Deliberately without the domain id and the multicast offsets: whether an index really has valid
// unicast ports in its domain is checked for each index when it is tried.
DDS_Long DDS_DomainParticipantPresentation_get_max_participant_indexI(
    const DDS_RtpsWellKnownPorts_t *rtpsWellKnownPorts) {
    DDS_Long max = -1;

    if (!bounding::check_ports(rtpsWellKnownPorts) ||
        !bounding::find_max_by_gains(*rtpsWellKnownPorts, &max)) {
        return -1;
    }
    return max - bounding::count_lost_to_offsets(*rtpsWellKnownPorts);
}

void DDS_DomainParticipantPresentation_calculate_user_multicast_locatorI(
    DDS_DomainParticipantPresentation *self, PRESReducedLocatorQosPolicy *userMulticastLocatorInOut,
    const PRESReducedLocatorQosPolicy *metatrafficMulticastLocatorIn) {
    const DDS_RtpsWellKnownPorts_t &ports = self->cachedWellKnownPorts;
    // 32 bits that wrap around: the range is the business of whoever reserves the port.
    const KOLS_Transport_Port_t userPort = static_cast<KOLS_Transport_Port_t>(
        static_cast<NUV_UINT32>(ports.port_base) +
        static_cast<NUV_UINT32>(ports.domain_id_gain) * static_cast<NUV_UINT32>(self->_domainId) +
        static_cast<NUV_UINT32>(ports.user_multicast_port_offset));

    NUV_ASSERT(metatrafficMulticastLocatorIn->count >= 0 &&
               metatrafficMulticastLocatorIn->count <= PRES_REDUCED_LOCATOR_LIST_MAX);
    userMulticastLocatorInOut->count = metatrafficMulticastLocatorIn->count;
    for (NUV_INT32 i = 0; i < metatrafficMulticastLocatorIn->count; ++i) {
        userMulticastLocatorInOut->locatorList[i] = metatrafficMulticastLocatorIn->locatorList[i];
        userMulticastLocatorInOut->locatorList[i].port = userPort;
    }
}

namespace {

/** A request with every byte zero but the locator's transport, which is -1. */
void initialize_request(NUVNetioLocatorInfo *request) {
    memset(request, 0, sizeof(*request));
    request->locator.transport = KOLS_TRANSPORT_CLASSID_INVALID;
}

} // namespace

DDS_Boolean DDS_DomainParticipantPresentation_reserve_entryportI(
    DDS_DomainParticipantPresentation *self, REDAWeakReference *entryportWRInOut,
    const NUVNetioAliasList *enabledPluginAliasesIn, const NUVNetioLocator *locatorIn,
    REDAWorker *worker) {
    COMMENDFacade *facade = PRESParticipant_getFacade(self->participant);
    NUVNetioLocatorInfo request;

    initialize_request(&request);
    *entryportWRInOut = INVALID_WR;
    request.aliasList = *enabledPluginAliasesIn;
    request.locator = *locatorIn;
    return facade->addEntryport(facade, entryportWRInOut, &request, worker) ? DDS_BOOLEAN_TRUE
                                                                            : DDS_BOOLEAN_FALSE;
}

void DDS_DomainParticipantPresentation_release_entryportI(DDS_DomainParticipantPresentation *self,
                                                          REDAWeakReference *entryportWR,
                                                          REDAWorker *worker) {
    COMMENDFacade *facade = PRESParticipant_getFacade(self->participant);

    if (REDAWeakReference_isHeld(entryportWR)) {
        (void)facade->removeEntryport(facade, entryportWR, worker);
        *entryportWR = INVALID_WR;
    }
}

DDS_Boolean DDS_DomainParticipantPresentation_reserve_entryport_setI(
    DDS_DomainParticipantPresentation *self, NUVNetioAliasList *enabledPluginAliases,
    PRESLocatorQosPolicy *locators, DDS_DomainParticipantPresentationEntryportSet *entryportSet,
    REDAWorker *worker) {
    COMMENDFacade *facade = PRESParticipant_getFacade(self->participant);
    NUVNetioLocatorInfo request;

    NUV_ASSERT(locators->count >= 0 && locators->count <= PRES_LOCATOR_LIST_MAX);
    initialize_request(&request);
    request.aliasList = *enabledPluginAliases;
    entryportSet->_count = 0;
    for (NUV_INT32 i = 0; i < locators->count; ++i) {
        request.locator = locators->locatorList[i];
        if (!facade->addEntryport(facade, &entryportSet->_entryportWR[i], &request, worker)) {
            DDS_DomainParticipantPresentation_release_entryport_setI(self, entryportSet, worker);
            return DDS_BOOLEAN_FALSE;
        }
        ++entryportSet->_count;
    }
    return DDS_BOOLEAN_TRUE;
}

void DDS_DomainParticipantPresentation_release_entryport_setI(
    DDS_DomainParticipantPresentation *self,
    DDS_DomainParticipantPresentationEntryportSet *entryportSet, REDAWorker *worker) {
    COMMENDFacade *facade = PRESParticipant_getFacade(self->participant);

    NUV_ASSERT(entryportSet->_count >= 0 &&
               entryportSet->_count <= DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX);
    for (DDS_Long i = 0; i < entryportSet->_count; ++i) {
        (void)facade->removeEntryport(facade, &entryportSet->_entryportWR[i], worker);
        entryportSet->_entryportWR[i] = INVALID_WR;
    }
    entryportSet->_count = 0;
}

namespace {

namespace reserving {

constexpr const char *LOG_METHOD =
    "DDS_DomainParticipantPresentation_reserve_participant_index_entryports";

/** The working state of one search for a participant index. */
struct IndexSearch {
    COMMENDFacade *facade;
    DDS_DomainId_t domainId;
    DDS_Long participantIndex;    /**< the index being tried */
    DDS_Long maxParticipantIndex; /**< the last index to try */
    bool skipPortReservation;
    PRESReducedLocatorQosPolicy metatrafficMulticastLocator;
    PRESReducedLocatorQosPolicy usertrafficMulticastLocator;
    PRESLocatorQosPolicy metatrafficUnicastLocator;
    PRESLocatorQosPolicy usertrafficUnicastLocator;
    NUVNetioAliasList enabledPluginAliases;
    NUVNetioAliasList enabledUserTrafficPluginAliases;
    NUVNetioLocatorInfo entryportLocatorInfo;
};

void initialize_search(IndexSearch *search, const DDS_DomainParticipantPresentation *self,
                       DDS_Long participantIndex) {
    search->domainId = self->_domainId;
    search->participantIndex = participantIndex;
    search->maxParticipantIndex = 0;
    search->skipPortReservation = false;
    search->metatrafficMulticastLocator = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    search->usertrafficMulticastLocator = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    search->metatrafficUnicastLocator = LOCATOR_QOS_POLICY_DEFAULT;
    search->usertrafficUnicastLocator = LOCATOR_QOS_POLICY_DEFAULT;
    memset(&search->enabledPluginAliases, 0, sizeof(search->enabledPluginAliases));
    memset(&search->enabledUserTrafficPluginAliases, 0,
           sizeof(search->enabledUserTrafficPluginAliases));
    initialize_request(&search->entryportLocatorInfo);
    search->facade = PRESParticipant_getFacade(self->participant);
}

bool reserves(const DDS_DomainParticipantPresentation *self, DDS_RtpsReservedPortKindMask kinds) {
    return (self->_cachedReservedPortMask & kinds) != 0;
}

bool reserves_no_unicast(const DDS_DomainParticipantPresentation *self) {
    return !reserves(self,
                     DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST | DDS_RTPS_RESERVED_PORT_USER_UNICAST);
}

bool check_gains(const DDS_DomainParticipantPresentation *self, REDAWorker *worker) {
    if (self->cachedWellKnownPorts.participant_id_gain <= 0 ||
        self->cachedWellKnownPorts.domain_id_gain <= 0) {
        DDSLog_textForWorker(
            worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE,
            "Gains of wire_protocol.rtps_well_known_ports should be higher than 0");
        return false;
    }
    return true;
}

bool compute_multicast_locators(DDS_DomainParticipantPresentation *self, IndexSearch *search,
                                REDAWorker *worker) {
    if (DDS_DiscoveryQosPolicy_to_multicast_locators(
            &self->cachedDiscoveryPolicy, &search->metatrafficMulticastLocator,
            &search->enabledPluginAliases, &self->cachedWellKnownPorts, 1, search->domainId,
            self->_configurator, worker) != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_WARNING, DDS_LOG_MULTICAST_TRANSPORT_LOCATORS);
        return false;
    }
    DDS_DomainParticipantPresentation_calculate_user_multicast_locatorI(
        self, &search->usertrafficMulticastLocator, &search->metatrafficMulticastLocator);
    return true;
}

/** Only the first locator of each list gets an entryport. */
bool reserve_multicast_entryports(DDS_DomainParticipantPresentation *self,
                                  const IndexSearch *search, REDAWorker *worker) {
    if (search->metatrafficMulticastLocator.count != 0 &&
        reserves(self, DDS_RTPS_RESERVED_PORT_BUILTIN_MULTICAST) &&
        !DDS_DomainParticipantPresentation_reserve_entryportI(
            self, &self->_reserveEntryportMetaMulticastWR, &search->enabledPluginAliases,
            &search->metatrafficMulticastLocator.locatorList[0], worker)) {
        return false;
    }
    if (search->usertrafficMulticastLocator.count != 0 &&
        reserves(self, DDS_RTPS_RESERVED_PORT_USER_MULTICAST) &&
        !DDS_DomainParticipantPresentation_reserve_entryportI(
            self, &self->_reserveEntryportUserMulticastWR, &search->enabledPluginAliases,
            &search->usertrafficMulticastLocator.locatorList[0], worker)) {
        DDS_DomainParticipantPresentation_release_entryportI(
            self, &self->_reserveEntryportMetaMulticastWR, worker);
        return false;
    }
    return true;
}

void choose_index_range(const DDS_DomainParticipantPresentation *self, IndexSearch *search) {
    if (search->participantIndex >= 0) {
        search->skipPortReservation = reserves_no_unicast(self);
        search->maxParticipantIndex = search->participantIndex;
    } else {
        search->participantIndex = 0;
        search->maxParticipantIndex = DDS_DomainParticipantPresentation_get_max_participant_indexI(
            &self->cachedWellKnownPorts);
    }
}

/** The locator of the lowest transport class; the first one of several. */
const NUVNetioLocator *find_lowest_transport(const PRESLocatorQosPolicy *locators) {
    const NUVNetioLocator *lowest = &locators->locatorList[0];

    for (NUV_INT32 i = 1; i < locators->count; ++i) {
        if (locators->locatorList[i].transport < lowest->transport) {
            lowest = &locators->locatorList[i];
        }
    }
    return lowest;
}

/** Claims an index by one port for a participant that asked for no unicast port at all. */
bool reserve_single_entryport(DDS_DomainParticipantPresentation *self, IndexSearch *search,
                              REDAWorker *worker) {
    search->entryportLocatorInfo.aliasList = search->enabledPluginAliases;
    search->entryportLocatorInfo.locator =
        *find_lowest_transport(&search->metatrafficUnicastLocator);
    if (!search->facade->addEntryport(search->facade, &self->_reserveMetaUnicast._entryportWR[0],
                                      &search->entryportLocatorInfo, worker)) {
        return false;
    }
    self->_reserveMetaUnicast._count = 1;
    return true;
}

void log_next_port(REDAWorker *worker) {
    DDSLog_textForWorker(worker, NUV_LOG_LEVEL_WARNING, NUV_LOG_EMPTY_TEMPLATE,
                         "Trying next port...");
}

/** Tells whether the ports could be reserved; if not, the next index is to be tried. */
bool reserve_meta_unicast(DDS_DomainParticipantPresentation *self, IndexSearch *search,
                          REDAWorker *worker) {
    if (search->skipPortReservation || search->metatrafficUnicastLocator.count <= 0) {
        return true;
    }
    if (reserves(self, DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST)) {
        if (!DDS_DomainParticipantPresentation_reserve_entryport_setI(
                self, &search->enabledPluginAliases, &search->metatrafficUnicastLocator,
                &self->_reserveMetaUnicast, worker)) {
            log_next_port(worker);
            return false;
        }
    } else if (reserves_no_unicast(self)) {
        return reserve_single_entryport(self, search, worker);
    }
    return true;
}

/** Like reserve_meta_unicast; gives the metatraffic ports of the index back when it fails. */
bool reserve_user_unicast(DDS_DomainParticipantPresentation *self, IndexSearch *search,
                          REDAWorker *worker) {
    if (!reserves(self, DDS_RTPS_RESERVED_PORT_USER_UNICAST) ||
        search->usertrafficUnicastLocator.count <= 0) {
        return true;
    }
    if (!DDS_DomainParticipantPresentation_reserve_entryport_setI(
            self, &search->enabledUserTrafficPluginAliases, &search->usertrafficUnicastLocator,
            &self->_reserveUserUnicast, worker)) {
        DDS_DomainParticipantPresentation_release_entryport_setI(self, &self->_reserveMetaUnicast,
                                                                 worker);
        log_next_port(worker);
        return false;
    }
    return true;
}

enum class IndexTry { TAKEN, NEXT, FAILED };

IndexTry try_index(DDS_DomainParticipantPresentation *self, IndexSearch *search,
                   DDS_ReturnCode_t *result, REDAWorker *worker) {
    *result = DDS_RETCODE_ERROR;
    if (!DDS_RtpsWellKnownPorts_isUnicastValid(&self->cachedWellKnownPorts, search->domainId,
                                               search->participantIndex)) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "wire_protocol.rtps_well_known_ports");
        return IndexTry::FAILED;
    }
    if (DDS_DiscoveryQosPolicy_to_unicast_locators(
            &self->cachedDiscoveryPolicy, &search->metatrafficUnicastLocator,
            &search->enabledPluginAliases, &self->cachedWellKnownPorts, self->_maxLocatorListSize,
            search->domainId, search->participantIndex, self->_configurator,
            worker) != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_WARNING, DDS_LOG_UNICAST_TRANSPORT_LOCATORS);
        return IndexTry::FAILED;
    }
    if (!reserve_meta_unicast(self, search, worker)) {
        return IndexTry::NEXT;
    }
    if (DDS_TransportUnicastQosPolicy_to_default_locators(
            &self->_cachedTransportUnicastPolicy, &search->usertrafficUnicastLocator,
            self->_maxLocatorListSize, search->domainId, search->participantIndex,
            &self->cachedWellKnownPorts, &search->enabledUserTrafficPluginAliases,
            self->_configurator, 0, worker) != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_WARNING, DDS_LOG_UNICAST_TRANSPORT_LOCATORS);
        return IndexTry::FAILED;
    }
    if (!reserve_user_unicast(self, search, worker)) {
        return IndexTry::NEXT;
    }
    if (search->metatrafficUnicastLocator.count == 0 &&
        search->usertrafficUnicastLocator.count == 0) {
        *result = DDS_RETCODE_NO_DATA;
        return IndexTry::FAILED;
    }
    *result = DDS_RETCODE_OK;
    return IndexTry::TAKEN;
}

DDS_ReturnCode_t search_index(DDS_DomainParticipantPresentation *self, IndexSearch *search,
                              REDAWorker *worker) {
    DDS_ReturnCode_t result = DDS_RETCODE_ERROR;

    for (; search->participantIndex <= search->maxParticipantIndex; ++search->participantIndex) {
        if (try_index(self, search, &result, worker) != IndexTry::NEXT) {
            return result;
        }
    }
    DDSLog_textForWorker(worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_FAILED_TO_ENABLE_TEMPLATE,
                         "No index available for participant");
    return DDS_RETCODE_ERROR;
}

void take_index(DDS_DomainParticipantPresentation *self, const IndexSearch &search,
                DDS_Long *participantIndex, REDAWorker *worker) {
    if (search.participantIndex != *participantIndex) {
        *participantIndex = search.participantIndex;
        DDSLog_textForWorker(worker, NUV_LOG_LEVEL_LOCAL, NUV_LOG_ENABLE_TEMPLATE,
                             "Reserved participant index %d on domain %d", search.participantIndex,
                             search.domainId);
    }
    PRESLocatorQosPolicy_copy(&self->_cachedDefaultUnicastLocator,
                              &search.usertrafficUnicastLocator);
    PRESLocatorQosPolicy_copy(&self->_cachedMetatrafficUnicastLocator,
                              &search.metatrafficUnicastLocator);
    self->_entryportsReserved = 1;
}

} // namespace reserving

} // namespace

// Deliberately, an error after the multicast entryports were reserved does not release them, nor
// does NO_DATA release the unicast ones of its index: the caller does.
DDS_ReturnCode_t DDS_DomainParticipantPresentation_reserve_participant_index_entryports(
    DDS_DomainParticipantPresentation *self, DDS_Long *participantIndex_inout, REDAWorker *worker) {
    DDS_ReturnCode_t result = DDS_RETCODE_ERROR;
    reserving::IndexSearch search;

    reserving::initialize_search(&search, self, *participantIndex_inout);
    if (reserving::check_gains(self, worker) &&
        reserving::compute_multicast_locators(self, &search, worker) &&
        reserving::reserve_multicast_entryports(self, &search, worker)) {
        PRESLocatorQosPolicy_copy(
            PRESReducedLocatorQosPolicy_asLocatorPolicy(&self->_cachedMetatrafficMulticastLocator),
            PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&search.metatrafficMulticastLocator));
        reserving::choose_index_range(self, &search);
        result = reserving::search_index(self, &search, worker);
    }
    if (result == DDS_RETCODE_OK) {
        reserving::take_index(self, search, participantIndex_inout, worker);
    }
    return result;
}

void DDS_DomainParticipantPresentation_release_participant_index_meta_entryports(
    DDS_DomainParticipantPresentation *self, REDAWorker *worker) {
    DDS_DomainParticipantPresentation_release_entryport_setI(self, &self->_reserveMetaUnicast,
                                                             worker);
    DDS_DomainParticipantPresentation_release_entryportI(
        self, &self->_reserveEntryportMetaMulticastWR, worker);
}

void DDS_DomainParticipantPresentation_release_participant_index_user_entryports(
    DDS_DomainParticipantPresentation *self, REDAWorker *worker) {
    DDS_DomainParticipantPresentation_release_entryport_setI(self, &self->_reserveUserUnicast,
                                                             worker);
    DDS_DomainParticipantPresentation_release_entryportI(
        self, &self->_reserveEntryportUserMulticastWR, worker);
}

void DDS_DomainParticipantPresentation_release_participant_index_entryports(
    DDS_DomainParticipantPresentation *self, REDAWorker *worker) {
    DDS_DomainParticipantPresentation_release_participant_index_meta_entryports(self, worker);
    DDS_DomainParticipantPresentation_release_participant_index_user_entryports(self, worker);
}

namespace {

/** One eighth of a second. */
const NUVNtpTime SLEEP_TIME = {0, 0x20000000u};
constexpr int MAX_NUM_SLEEPS = 300;

} // namespace

// The sleep comes after every check, deliberately also after the one that finds nothing active: a
// drain lasts at least one sleep.
DDS_ReturnCode_t DDS_DomainParticipantPresentation_wait_for_released_entryports(
    DDS_DomainParticipantPresentation *self, const REDAWeakReference *transportHandle,
    REDAWorker *worker) {
    int hasActiveEntryPorts = 1;
    int numSleeps = 0;
    COMMENDFacade *facade = PRESParticipant_getFacade(self->participant);

    while (hasActiveEntryPorts != 0 && numSleeps < MAX_NUM_SLEEPS) {
        if (!facade->checkEntryports(facade, &hasActiveEntryPorts, transportHandle, worker)) {
            DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_ANY_FAILURE_s, "check active entry ports");
            break;
        }
        NUVOsapiThread_sleep(&SLEEP_TIME);
        ++numSleeps;
    }
    return hasActiveEntryPorts != 0 ? DDS_RETCODE_TIMEOUT : DDS_RETCODE_OK;
}

/* ============================================================================================= */
/* Locator update                                                                                */
/* ============================================================================================= */

namespace {

namespace updating {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantPresentation_update_participant_locatorsI";

/** The working state of one locator update. */
struct LocatorUpdate {
    PRESParticipantProperty property = PRES_PARTICIPANT_PROPERTY_DEFAULT;
    PRESLocatorQosPolicy defaultUnicastLocator = PRES_LOCATOR_QOS_POLICY_DEFAULT;
    PRESLocatorQosPolicy metatrafficUnicastLocator = PRES_LOCATOR_QOS_POLICY_DEFAULT;
    PRESReducedLocatorQosPolicy metatrafficMulticastLocator =
        PRES_REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    PRESReducedLocatorQosPolicy defaultMulticastLocator = PRES_REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    NUVNetioAliasList enabledUserTrafficPluginAliases = {{0}};
    NUVNetioAliasList enabledDiscTrafficPluginAliases = {{0}};
};

bool read_current_property(DDS_DomainParticipantPresentation *self,
                           const DDS_DomainParticipant *participant,
                           const DDS_DomainParticipantQos *participantQos,
                           PRESParticipantProperty *property, char *partitionNames,
                           DDS_ReturnCode_t *result, REDAWorker *worker) {
    *result = set_up_presentation_qos(participantQos, property, participant);
    if (*result != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_GET_FAILURE_s, "DDS_DomainParticipantQos");
        return false;
    }
    PRESParticipantProperty_setPartitionBuffer(property, partitionNames);
    if (!PRESParticipant_getProperty(self->participant, property, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_GET_FAILURE_s, "PRESParticipant QoS");
        *result = DDS_RETCODE_ERROR;
        return false;
    }
    return true;
}

/** Reserves a new unicast list before it releases the old one; false keeps the old one whole. */
bool replace_unicast_entryports(DDS_DomainParticipantPresentation *self, NUVNetioAliasList *aliases,
                                PRESLocatorQosPolicy *locators,
                                PRESLocatorQosPolicy *cachedLocators,
                                DDS_DomainParticipantPresentationEntryportSet *entryportSet,
                                REDAWorker *worker) {
    DDS_DomainParticipantPresentationEntryportSet tmpEntryportSet;

    if (!DDS_DomainParticipantPresentation_reserve_entryport_setI(self, aliases, locators,
                                                                  &tmpEntryportSet, worker)) {
        return false;
    }
    DDS_DomainParticipantPresentation_release_entryport_setI(self, entryportSet, worker);
    PRESLocatorQosPolicy_copy(cachedLocators, locators);
    *entryportSet = tmpEntryportSet;
    return true;
}

/** The same for the first locator of a multicast list that has one; a failure is only logged. */
void replace_multicast_entryport(DDS_DomainParticipantPresentation *self,
                                 const NUVNetioAliasList *aliases,
                                 const PRESReducedLocatorQosPolicy *locators,
                                 PRESReducedLocatorQosPolicy *cachedLocators,
                                 REDAWeakReference *entryportWR, const char *description,
                                 REDAWorker *worker) {
    REDAWeakReference tmpEntryPort;

    if (locators->count == 0) {
        return;
    }
    if (!DDS_DomainParticipantPresentation_reserve_entryportI(self, &tmpEntryPort, aliases,
                                                              &locators->locatorList[0], worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, description);
        return;
    }
    DDS_DomainParticipantPresentation_release_entryportI(self, entryportWR, worker);
    PRESLocatorQosPolicy_copy(PRESReducedLocatorQosPolicy_asLocatorPolicy(cachedLocators),
                              PRESReducedLocatorQosPolicy_asConstLocatorPolicy(locators));
    *entryportWR = tmpEntryPort;
}

bool update_default_unicast(DDS_DomainParticipantPresentation *self, LocatorUpdate *update,
                            int participantIndex, DDS_ReturnCode_t *result, REDAWorker *worker) {
    *result = DDS_TransportUnicastQosPolicy_to_default_locators(
        &self->_cachedTransportUnicastPolicy, &update->defaultUnicastLocator,
        DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX, self->_domainId, participantIndex,
        &self->cachedWellKnownPorts, &update->enabledUserTrafficPluginAliases, self->_configurator,
        0, worker);
    if (*result != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "default unicast locators");
        return false;
    }
    PRESLocatorQosPolicy_copy(&update->property.parameter.defaultUnicastLocator,
                              &update->defaultUnicastLocator);
    if (PRESLocatorQosPolicy_compare(&self->_cachedDefaultUnicastLocator,
                                     &update->defaultUnicastLocator) != 0) {
        DDS_DomainParticipantPresentation_log_locator_change(&self->_cachedDefaultUnicastLocator,
                                                             &update->defaultUnicastLocator,
                                                             "Default unicast", worker);
    }
    if (!replace_unicast_entryports(
            self, &update->enabledUserTrafficPluginAliases, &update->defaultUnicastLocator,
            &self->_cachedDefaultUnicastLocator, &self->_reserveUserUnicast, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "default unicast entryports");
    }
    return true;
}

bool update_metatraffic_unicast(DDS_DomainParticipantPresentation *self, LocatorUpdate *update,
                                int participantIndex, DDS_ReturnCode_t *result,
                                REDAWorker *worker) {
    *result = DDS_DiscoveryQosPolicy_to_unicast_locators(
        &self->cachedDiscoveryPolicy, &update->metatrafficUnicastLocator,
        &update->enabledDiscTrafficPluginAliases, &self->cachedWellKnownPorts,
        DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX, self->_domainId, participantIndex,
        self->_configurator, worker);
    if (*result != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "metatraffic unicast locators");
        return false;
    }
    if (PRESLocatorQosPolicy_compare(&self->_cachedMetatrafficUnicastLocator,
                                     &update->metatrafficUnicastLocator) != 0) {
        DDS_DomainParticipantPresentation_log_locator_change(
            &self->_cachedMetatrafficUnicastLocator, &update->metatrafficUnicastLocator,
            "Metatraffic unicast", worker);
    }
    // After the comparison, where the default unicast list goes into the property before it.
    PRESLocatorQosPolicy_copy(&update->property.parameter.metatrafficUnicastLocator,
                              &update->metatrafficUnicastLocator);
    if (!replace_unicast_entryports(
            self, &update->enabledDiscTrafficPluginAliases, &update->metatrafficUnicastLocator,
            &self->_cachedMetatrafficUnicastLocator, &self->_reserveMetaUnicast, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s,
                       "metatraffic unicast entryports");
    }
    return true;
}

bool update_metatraffic_multicast(DDS_DomainParticipantPresentation *self, LocatorUpdate *update,
                                  REDAWorker *worker) {
    const PRESLocatorQosPolicy *cachedLocators =
        PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&self->_cachedMetatrafficMulticastLocator);
    const PRESLocatorQosPolicy *locators =
        PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&update->metatrafficMulticastLocator);
    PRESParticipantParameter &parameter = update->property.parameter;

    // Deliberately, the code is not kept: the update ends here, with OK, and pushes nothing.
    if (DDS_DiscoveryQosPolicy_to_multicast_locators(
            &self->cachedDiscoveryPolicy, &update->metatrafficMulticastLocator,
            &update->enabledDiscTrafficPluginAliases, &self->cachedWellKnownPorts, 1,
            self->_domainId, self->_configurator, worker) != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s,
                       "metatraffic multicast locators");
        return false;
    }
    if (PRESLocatorQosPolicy_compare(cachedLocators, locators) != 0) {
        DDS_DomainParticipantPresentation_log_locator_change(cachedLocators, locators,
                                                             "Metatraffic multicast", worker);
    }
    PRESLocatorQosPolicy_copy(
        PRESReducedLocatorQosPolicy_asLocatorPolicy(&parameter.metatrafficMulticastLocator),
        locators);
    // Deliberately emptied: no default multicast locators are computed here.
    PRESLocatorQosPolicy_copy(
        PRESReducedLocatorQosPolicy_asLocatorPolicy(&parameter.defaultMulticastLocator),
        PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&update->defaultMulticastLocator));
    replace_multicast_entryport(
        self, &update->enabledDiscTrafficPluginAliases, &update->metatrafficMulticastLocator,
        &self->_cachedMetatrafficMulticastLocator, &self->_reserveEntryportMetaMulticastWR,
        "metatraffic multicast entryports", worker);
    return true;
}

/**
 * Never does anything as long as the update computes no default multicast locators; kept as the
 * shape that they would need, with the aliases of discovery traffic as it stands.
 */
void update_default_multicast(DDS_DomainParticipantPresentation *self, const LocatorUpdate *update,
                              REDAWorker *worker) {
    replace_multicast_entryport(
        self, &update->enabledDiscTrafficPluginAliases, &update->defaultMulticastLocator,
        &self->_cachedDefaultMulticastLocator, &self->_reserveEntryportUserMulticastWR,
        "default multicast entryports", worker);
}

} // namespace updating

} // namespace

// Nothing is rolled back: what was updated before a failure stays updated.
DDS_ReturnCode_t DDS_DomainParticipantPresentation_update_participant_locatorsI(
    DDS_DomainParticipantPresentation *self, DDS_DomainParticipant *participant,
    int actual_participant_index, REDAWorker *worker) {
    DDS_ReturnCode_t result = DDS_RETCODE_OK;
    int failReason = 0;
    updating::LocatorUpdate update;
    DDS_DomainParticipantQos participantQos = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    char partitionNames[PRES_PARTITION_BUFFER_SIZE];

    if (!updating::read_current_property(self, participant, &participantQos, &update.property,
                                         partitionNames, &result, worker)) {
        goto done;
    }
    if (!updating::update_default_unicast(self, &update, actual_participant_index, &result,
                                          worker)) {
        goto done;
    }
    if (!updating::update_metatraffic_unicast(self, &update, actual_participant_index, &result,
                                              worker)) {
        goto done;
    }
    if (!updating::update_metatraffic_multicast(self, &update, worker)) {
        goto done;
    }
    updating::update_default_multicast(self, &update, worker);
    if (!PRESParticipant_setProperty(self->participant, &failReason, &update.property, worker)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "participant QoS");
        result = DDS_ReturnCode_from_presentation_return_codeI(failReason);
    }

done:
    (void)DDS_DomainParticipantQos_finalize(&participantQos);
    if (DDS_DomainParticipantQos_finalize_presentation_qosI(&update.property) != DDS_RETCODE_OK) {
        DDSLog_textForWorker(worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_FAILED_TO_FINALIZE_TEMPLATE,
                             "Presentation QoS");
        result = DDS_RETCODE_ERROR;
    }
    return result;
}

/* ============================================================================================= */
/* What the enclosing participant needs of the record                                            */
/* ============================================================================================= */

const PRESLocatorQosPolicy *DDS_DomainParticipantPresentation_get_locatorsI(
    const DDS_DomainParticipantPresentation *self,
    DDS_DomainParticipantPresentationLocatorKindI kind) {
    switch (kind) {
    case DDS_DEFAULT_UNICAST_LOCATORS:
        return &self->_cachedDefaultUnicastLocator;
    case DDS_METATRAFFIC_UNICAST_LOCATORS:
        return &self->_cachedMetatrafficUnicastLocator;
    case DDS_DEFAULT_MULTICAST_LOCATORS:
        return PRESReducedLocatorQosPolicy_asConstLocatorPolicy(
            &self->_cachedDefaultMulticastLocator);
    case DDS_METATRAFFIC_MULTICAST_LOCATORS:
        return PRESReducedLocatorQosPolicy_asConstLocatorPolicy(
            &self->_cachedMetatrafficMulticastLocator);
    }
    return nullptr;
}

DDS_Long DDS_DomainParticipantPresentation_get_reserved_countI(
    const DDS_DomainParticipantPresentation *self,
    DDS_DomainParticipantPresentationLocatorKindI kind) {
    const bool isDefault = kind == DDS_DEFAULT_UNICAST_LOCATORS;
    const DDS_DomainParticipantPresentationEntryportSet &reserved =
        isDefault ? self->_reserveUserUnicast : self->_reserveMetaUnicast;
    const PRESLocatorQosPolicy &locators =
        isDefault ? self->_cachedDefaultUnicastLocator : self->_cachedMetatrafficUnicastLocator;

    return reserved._count < locators.count ? reserved._count : locators.count;
}

void DDS_DomainParticipantPresentation_copy_locatorsI(
    const DDS_DomainParticipantPresentation *self,
    DDS_DomainParticipantPresentationLocatorsI *out) {
    out->defaultUnicast = self->_cachedDefaultUnicastLocator;
    out->metatrafficUnicast = self->_cachedMetatrafficUnicastLocator;
    out->metatrafficMulticast = self->_cachedMetatrafficMulticastLocator;
}

DDS_Boolean DDS_DomainParticipantPresentation_has_locatorsI(
    const DDS_DomainParticipantPresentation *self,
    const DDS_DomainParticipantPresentationLocatorsI *locators) {
    return PRESLocatorQosPolicy_compare(&self->_cachedDefaultUnicastLocator,
                                        &locators->defaultUnicast) == 0 &&
                   PRESLocatorQosPolicy_compare(&self->_cachedMetatrafficUnicastLocator,
                                                &locators->metatrafficUnicast) == 0 &&
                   PRESLocatorQosPolicy_compare(PRESReducedLocatorQosPolicy_asConstLocatorPolicy(
                                                    &self->_cachedMetatrafficMulticastLocator),
                                                PRESReducedLocatorQosPolicy_asConstLocatorPolicy(
                                                    &locators->metatrafficMulticast)) == 0
               ? DDS_BOOLEAN_TRUE
               : DDS_BOOLEAN_FALSE;
}

DDS_Boolean DDS_DomainParticipantPresentation_are_locators_servedI(
    const DDS_DomainParticipantPresentation *self, REDAWorker *worker) {
    return self->_reserveUserUnicast._count == self->_cachedDefaultUnicastLocator.count &&
                   self->_reserveMetaUnicast._count ==
                       self->_cachedMetatrafficUnicastLocator.count &&
                   (self->_cachedMetatrafficMulticastLocator.count == 0 ||
                    REDAWeakReference_isHeld(&self->_reserveEntryportMetaMulticastWR)) &&
                   PRESParticipant_hasLocators(self->participant,
                                               &self->_cachedDefaultUnicastLocator,
                                               &self->_cachedMetatrafficUnicastLocator,
                                               &self->_cachedMetatrafficMulticastLocator, worker)
               ? DDS_BOOLEAN_TRUE
               : DDS_BOOLEAN_FALSE;
}

DDS_Boolean DDS_DomainParticipantPresentation_compute_locatorsI(
    DDS_DomainParticipantPresentation *self, DDS_Long participantIndex,
    DDS_DomainParticipantPresentationLocatorsI *out, REDAWorker *worker) {
    NUVNetioAliasList aliases;

    return DDS_TransportUnicastQosPolicy_to_default_locators(
               &self->_cachedTransportUnicastPolicy, &out->defaultUnicast,
               DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX, self->_domainId, participantIndex,
               &self->cachedWellKnownPorts, &aliases, self->_configurator, 0,
               worker) == DDS_RETCODE_OK &&
                   DDS_DiscoveryQosPolicy_to_unicast_locators(
                       &self->cachedDiscoveryPolicy, &out->metatrafficUnicast, &aliases,
                       &self->cachedWellKnownPorts, DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX,
                       self->_domainId, participantIndex, self->_configurator,
                       worker) == DDS_RETCODE_OK &&
                   DDS_DiscoveryQosPolicy_to_multicast_locators(
                       &self->cachedDiscoveryPolicy, &out->metatrafficMulticast, &aliases,
                       &self->cachedWellKnownPorts, 1, self->_domainId, self->_configurator,
                       worker) == DDS_RETCODE_OK
               ? DDS_BOOLEAN_TRUE
               : DDS_BOOLEAN_FALSE;
}

void DDS_DomainParticipantPresentation_take_multicast_entryportsI(
    DDS_DomainParticipantPresentation *self,
    DDS_DomainParticipantPresentationMulticastEntryportsI *out) {
    out->metatraffic = self->_reserveEntryportMetaMulticastWR;
    out->user = self->_reserveEntryportUserMulticastWR;
    self->_reserveEntryportMetaMulticastWR = INVALID_WR;
    self->_reserveEntryportUserMulticastWR = INVALID_WR;
}

void DDS_DomainParticipantPresentation_put_multicast_entryportsI(
    DDS_DomainParticipantPresentation *self,
    const DDS_DomainParticipantPresentationMulticastEntryportsI *entryports) {
    self->_reserveEntryportMetaMulticastWR = entryports->metatraffic;
    self->_reserveEntryportUserMulticastWR = entryports->user;
}

/* ============================================================================================= */
/* Locator diagnostics                                                                           */
/* ============================================================================================= */

namespace {

/** What the lines of log_locator_change are made of as well. */
constexpr size_t LOG_TEXT_SIZE = 1024;

namespace logging {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantPresentation_log_peers_and_locators";

/** The most characters of one peer that are logged. */
constexpr size_t LOG_PEER_LENGTH_MAX = 210;

/** Joins the peers by ',', with one more at the end. False when they do not fit. */
bool join_peers(const DDS_StringSeq *peers, char *text) {
    const DDS_Long numPeers = DDS_StringSeq_get_length(peers);

    for (DDS_Long i = 0; i < numPeers; ++i) {
        if (NUVOsapiUtility_strncat(text, LOG_TEXT_SIZE - 1, DDS_StringSeq_get(peers, i),
                                    LOG_PEER_LENGTH_MAX) == nullptr ||
            NUVOsapiUtility_strncat(text, LOG_TEXT_SIZE - 1, ",", 1) == nullptr) {
            return false;
        }
    }
    return true;
}

/** False when the peers do not fit; a list without any has no line. */
bool log_peers(const DDS_StringSeq *peers, char *text, REDAWorker *worker) {
    if (!join_peers(peers, text)) {
        return false;
    }
    const size_t length = strlen(text);

    if (length != 0) {
        text[length - 1] = '\0';
        DDSLog_textForWorker(worker, NUV_LOG_LEVEL_LOCAL, NUV_LOG_INITIALIZE_TEMPLATE,
                             "Participant with initial peers: %s.\n", text);
    }
    return true;
}

/**
 * Defines how one of the three lists is logged, which differ in their names only: one line for a
 * list that has a text. False when the text does not fit.
 */
#define DEFINE_LOG_LOCATORS(function, name)                                                        \
    bool function(const PRESLocatorQosPolicy *locators, char *text, REDAWorker *worker) {          \
        if (!PRESLocatorQosPolicy_toString(locators, text, LOG_TEXT_SIZE)) {                       \
            DDSLog_textForWorker(worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_FAILED_TO_GET_TEMPLATE,      \
                                 name " locators string");                                         \
            return false;                                                                          \
        }                                                                                          \
        if (text[0] != '\0') {                                                                     \
            DDSLog_textForWorker(worker, NUV_LOG_LEVEL_LOCAL, NUV_LOG_INITIALIZE_TEMPLATE,         \
                                 "Participant with " name " locators %s.\n", text);                \
        }                                                                                          \
        return true;                                                                               \
    }

DEFINE_LOG_LOCATORS(log_metatraffic_unicast, "metatraffic unicast")
DEFINE_LOG_LOCATORS(log_metatraffic_multicast, "metatraffic multicast")
DEFINE_LOG_LOCATORS(log_default_unicast, "default unicast")

#undef DEFINE_LOG_LOCATORS

} // namespace logging

} // namespace

int DDS_DomainParticipantPresentation_log_peers_and_locators(
    const DDS_DomainParticipantPresentation *self, REDAWorker *worker) {
    char tempBuf[LOG_TEXT_SIZE] = {0};

    if (DDSLog_isNull(self) || DDSLog_isNull(worker)) {
        return 0;
    }
    if ((KOLS_Config_Logger_get_verbosity(KOLS_Config_Logger_get_instance()) &
         NUV_LOG_LEVEL_LOCAL) == 0) {
        return 1;
    }

    return logging::log_peers(&self->cachedDiscoveryPolicy.initial_peers, tempBuf, worker) &&
                   logging::log_metatraffic_unicast(&self->_cachedMetatrafficUnicastLocator,
                                                    tempBuf, worker) &&
                   logging::log_metatraffic_multicast(
                       PRESReducedLocatorQosPolicy_asConstLocatorPolicy(
                           &self->_cachedMetatrafficMulticastLocator),
                       tempBuf, worker) &&
                   logging::log_default_unicast(&self->_cachedDefaultUnicastLocator, tempBuf,
                                                worker)
               ? 1
               : 0;
}

void DDS_DomainParticipantPresentation_log_locator_change(const PRESLocatorQosPolicy *locatorList1,
                                                          const PRESLocatorQosPolicy *locatorList2,
                                                          const char *locatorDescription,
                                                          REDAWorker *worker) {
    char preLocatorList[LOG_TEXT_SIZE] = {0};
    char postLocatorList[LOG_TEXT_SIZE] = {0};

    if (DDSLog_isNull(locatorList1) || DDSLog_isNull(locatorList2) ||
        DDSLog_isNull(locatorDescription) || DDSLog_isNull(worker)) {
        return;
    }
    if (!PRESLocatorQosPolicy_toString(locatorList1, preLocatorList, LOG_TEXT_SIZE) ||
        !PRESLocatorQosPolicy_toString(locatorList2, postLocatorList, LOG_TEXT_SIZE)) {
        return;
    }
    DDSLog_textForWorker(worker, NUV_LOG_LEVEL_LOCAL, NUV_LOG_UPDATE_TEMPLATE,
                         "%s locators have changed from {%s} to {%s}.\n", locatorDescription,
                         preLocatorList, postLocatorList);
}
