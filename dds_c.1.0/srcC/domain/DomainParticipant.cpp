// SPDX-License-Identifier: Apache-2.0
// What a participant is: created, enabled, asked, given topics, deleted.
#include <string.h>

#include <algorithm>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "domain/CallWorker.h"
#include "domain/CallbackMark.h"
#include "domain/DomainParticipantFactory_internal.h"
#include "domain/DomainParticipant_internal.h"
#include "infrastructure/Common_internal.h"
#include "infrastructure/dds_log.h"
#include "osapi/osapi_assert.h"
#include "osapi/osapi_heap.h"
#include "osapi/osapi_utility.h"
#include "properties/ParticipantProperties.h"
#include "properties/allowedInterfaces.h"
#include "properties/propertyTable.h"
#include "qos/transportBuiltin.h"
#include "qos/unusedSettings.h"
#include "reda/reda_exclusiveArea.h"
#include "reda/reda_string.h"
#include "rtps/rtps_guid.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

namespace {

/** How long a deletion waits for a message that is being handed on before it drains by sleeping. */
const NUVNtpTime CLOSE_TIME = {0, 0x20000000u}; /* 1/8 s */

/** A topic of the public API is the presentation layer's. */
DDS_Topic *to_public(PRESTopic *topic) {
    return reinterpret_cast<DDS_Topic *>(topic);
}

PRESTopic *to_presentation(DDS_Topic *topic) {
    return reinterpret_cast<PRESTopic *>(topic);
}

const PRESTopic *to_presentation(const DDS_Topic *topic) {
    return reinterpret_cast<const PRESTopic *>(topic);
}

void on_inconsistent_topic(void *param, PRESTopic *topic, REDAWorker *) {
    const DDS_DomainParticipantListener &listener =
        static_cast<DDS_DomainParticipant *>(param)->listener;

    if (listener.on_inconsistent_topic != nullptr) {
        const CallbackMark mark;

        listener.on_inconsistent_topic(listener.listener_data, to_public(topic));
    }
}

namespace creating {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantFactory_create_participant";

bool check_domain_id(DDS_DomainId_t domain_id) {
    if (domain_id < 0) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "domain_id is %d: allowed are 0 and more", domain_id);
        return false;
    }
    return true;
}

/** Null when memory runs out. */
DDS_DomainParticipant *allocate() {
    DDS_DomainParticipant *self = nullptr;

    NUVOsapiHeap_allocateStructure(&self, struct DDS_DomainParticipant);
    if (self == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, NUV_LOG_CREATION_FAILURE_s, "participant");
        return nullptr;
    }
    memset(self, 0, sizeof(*self));
    return self;
}

bool copy_qos(DDS_DomainParticipant *self, const DDS_DomainParticipantQos *qos) {
    if (DDS_DomainParticipantQos_copy(&self->qos, qos) == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "participant QoS");
        return false;
    }
    return DDS_DomainParticipantQos_is_consistent(&self->qos) &&
           check_participant_properties(&self->qos.property);
}

/** The areas are made in the order of their levels. */
bool create_exclusive_areas(DDS_DomainParticipant *self) {
    self->ea = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_PARTICIPANT, "participant");
    self->concurrency.tableEa = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_TABLE, "table");
    self->concurrency.recordEa = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_RECORD, "record");
    if (self->ea == nullptr || self->concurrency.tableEa == nullptr ||
        self->concurrency.recordEa == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "exclusive areas");
        return false;
    }
    return true;
}

/** Splits the interfaces of Property::ALLOW_INTERFACES into @p property. */
bool read_interfaces(const DDS_PropertyQosPolicy *properties,
                     NUVNetioConfiguratorProperty *property) {
    const DDS_Property_t *allowed = DDS_PropertyQosPolicyHelper_lookup_property(
        properties, name_of(Property::ALLOW_INTERFACES));
    char setting[128];

    if (allowed == nullptr || allowed->value == nullptr) {
        return true;
    }
    NUVOsapiUtility_snprintf(setting, sizeof(setting), "property %s", allowed->name);
    return read_allowed_interfaces(setting, allowed->value, property, LOG_METHOD);
}

/** The value of a property that has been checked, which fits @p out; without it, that stays. */
void read_number(const DDS_PropertyQosPolicy *properties, Property property, NUV_UINT8 *out) {
    const DDS_Property_t *given =
        DDS_PropertyQosPolicyHelper_lookup_property(properties, name_of(property));
    NUV_UINT32 number = 0;

    if (given != nullptr && REDAString_strToUnsignedLong(given->value, &number)) {
        *out = static_cast<NUV_UINT8>(number);
    }
}

bool create_configurator(DDS_DomainParticipant *self, REDAWorker *worker) {
    NUVNetioConfiguratorProperty property = NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT;
    property.transports.aliases[0] = '\0';
    for (const DDS_TransportBuiltinBitI &one : DDS_TRANSPORTBUILTIN_BITS) {
        if ((self->qos.transport_builtin.mask & one.bit) != 0) {
            (void)NUVNetioAliasList_add(&property.transports,
                                        NUVNetioTransport_aliasOfClass(one.classid));
        }
    }
    if (!read_interfaces(&self->qos.property, &property)) {
        return false;
    }
    read_number(&self->qos.property, Property::MULTICAST_TTL, &property.sending.multicastTtl);
    read_number(&self->qos.property, Property::DSCP, &property.sending.dscp);
    self->configurator = NUVNetioConfigurator_new(&property, self->resources.runtime, worker);
    return self->configurator != nullptr;
}

/** A new identity, with what the QoS fixes of it. */
void choose_guid(DDS_DomainParticipant *self) {
    const DDS_WireProtocolQosPolicy &wireProtocol = self->qos.wire_protocol;

    NUVOsapiRtpsGuid_generate(&self->guid);
    if (wireProtocol.rtps_host_id != 0) {
        self->guid.prefix.hostId = wireProtocol.rtps_host_id;
    }
    if (wireProtocol.rtps_app_id != 0) {
        self->guid.prefix.appId = wireProtocol.rtps_app_id;
    }
    if (wireProtocol.rtps_instance_id != 0) {
        self->guid.prefix.instanceId = wireProtocol.rtps_instance_id;
    }
}

bool initialize_presentation(DDS_DomainParticipant *self, DDS_StatusMask mask, REDAWorker *worker) {
    const DDS_DomainParticipantResourcesI &resources = self->resources;
    const PRESParticipantListener listener = {on_inconsistent_topic, self};
    char threadParticipantId[COMMEND_THREAD_PARTICIPANT_ID_SIZE];

    /* The domain, as far as it fits: a label for people, nothing depends on it. */
    NUVOsapiUtility_snprintf(threadParticipantId, sizeof(threadParticipantId), "%d",
                             self->domainId % 100000);
    return DDS_DomainParticipantPresentation_initialize(
               &self->presentation, self->factory, self->domainId, &self->qos, &self->guid,
               threadParticipantId, self->qos.wire_protocol.participant_id >= 0, &listener, mask,
               NUVNetioRuntime_getEventDatabase(resources.runtime), &self->concurrency,
               NUVClock_getMonotonic(), NUVClock_getRealtime(), self->configurator,
               resources.workerFactory, nullptr, nullptr, nullptr, resources.recvThreadFactory,
               resources.eventThreadFactory, resources.asynchPubThreadFactory,
               worker) == DDS_RETCODE_OK &&
           self->presentation.participant != nullptr &&
           DDS_DomainParticipant_has_propertiesI(self, &self->qos, worker);
}

/** Names all settings that were given and that nothing acts on. */
void warn_of_unused_settings(const DDS_DomainParticipantQos &qos) {
    const dds::qos::UnusedSettings unused(qos);

    if (unused.names()[0] != '\0') {
        DDSLog_text(NUV_LOG_LEVEL_WARNING, NUV_LOG_EMPTY_TEMPLATE,
                    "these settings are accepted but nothing acts on them in this version: %s",
                    unused.names());
    }
}

} // namespace creating

/** Frees whatever the participant has but its presentation half. */
void free_participant(DDS_DomainParticipant *self) {
    NUV_ASSERT(!self->isEnabled && self->presentation.participant == nullptr &&
               self->discovery == nullptr && self->keptPortCount == 0);
    NUVNetioConfigurator_delete(self->configurator);
    REDAExclusiveArea_delete(self->concurrency.recordEa);
    REDAExclusiveArea_delete(self->concurrency.tableEa);
    REDAExclusiveArea_delete(self->ea);
    (void)DDS_DomainParticipantQos_finalize(&self->qos);
    NUVOsapiHeap_freeStructure(self);
}

namespace deleting {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantFactory_delete_participant";

bool has_active_entryports(DDS_DomainParticipant *self, REDAWorker *worker) {
    COMMENDFacade *facade = PRESParticipant_getFacade(self->presentation.participant);
    int hasActiveEntryPorts = 1;

    return !facade->checkEntryports(facade, &hasActiveEntryPorts, nullptr, worker) ||
           hasActiveEntryPorts != 0;
}

/**
 * Waits until no message of the receive ports that were given back is being handed on. Mostly there
 * is none, so the drain with its long sleeps is the exception. Not to be called with the
 * participant's lock, which the reactor may be waiting for.
 */
DDS_ReturnCode_t await_closed_entryports(DDS_DomainParticipant *self, REDAWorker *worker) {
    COMMENDFacade *facade = PRESParticipant_getFacade(self->presentation.participant);

    (void)facade->flushEntryports(facade, &CLOSE_TIME, worker);
    if (!has_active_entryports(self, worker)) {
        return DDS_RETCODE_OK;
    }
    for (NUV_INT32 i = 0; i < NUV_NETIO_TRANSPORTS_MAX; ++i) {
        REDAWeakReference handle = REDA_WEAK_REFERENCE_INVALID;

        if (NUVNetioConfigurator_getTransportHandle(
                self->configurator, NUVNetioTransportClass_get(i)->classid, &handle) &&
            DDS_DomainParticipantPresentation_wait_for_released_entryports(
                &self->presentation, &handle, worker) != DDS_RETCODE_OK) {
            DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                        "the thread '%s' is still handing on a message of a participant in domain "
                        "%d",
                        NUV_NETIO_REACTOR_THREAD_NAME, self->domainId);
            return DDS_RETCODE_TIMEOUT;
        }
    }
    return DDS_RETCODE_OK;
}

/** Takes back the next try for what could not be had. False when one is under way. */
bool stop_trying(DDS_DomainParticipant *self) {
    return NUVEventActiveDatabase_cancelEvent(
               NUVNetioRuntime_getEventDatabase(self->resources.runtime), &self->retryEvent) != 0;
}

/** From now on nobody has the participant follow the interfaces. False when somebody still does. */
bool stop_following(DDS_DomainParticipant *self) {
    if (NUVNetioRuntime_removeInterfaceListener(self->resources.runtime,
                                                &self->interfaceListener) &&
        stop_trying(self)) {
        return true;
    }
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                "the thread '%s' does not come to an end with the locators of a participant in "
                "domain %d",
                NUV_NETIO_REACTOR_THREAD_NAME, self->domainId);
    return false;
}

/** From now on the application is told nothing. False when it is still being told. */
bool stop_telling(DDS_DomainParticipant *self) {
    const struct {
        NUVNetioCallback *callback;
        const char *name;
    } callbacks[] = {{&self->locatorsCallback, "on_locators_changed"},
                     {&self->discoveryCallback, "on_participant_discovered"}};

    for (const auto &[callback, name] : callbacks) {
        if (!NUVNetioRuntime_cancelCallback(self->resources.runtime, callback)) {
            DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                        "%s of a participant in domain %d does not return", name, self->domainId);
            return false;
        }
    }
    return true;
}

} // namespace deleting

DDS_ReturnCode_t enable_presentation(DDS_DomainParticipant *self, REDAWorker *worker) {
    int enableAllEntities =
        self->qos.entity_factory.autoenable_created_entities != DDS_BOOLEAN_FALSE ? 1 : 0;
    const DDS_ReturnCode_t result = DDS_DomainParticipantPresentation_enable(
        &self->presentation, &self->qos, &enableAllEntities, worker);

    /* Enabling may return OK without having enabled, when memory ran out. */
    if (result == DDS_RETCODE_OK &&
        !PRESParticipant_isEnabled(self->presentation.participant, worker)) {
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    return result;
}

/** On failure the receive ports have been given back. */
DDS_ReturnCode_t enable_locked(DDS_DomainParticipant *self, REDAWorker *worker) {
    DDS_ReturnCode_t result = DDS_RETCODE_OK;

    NUV_ASSERT(!self->isEnabled && self->keptPortCount == 0);
    (void)NUVNetioConfigurator_refreshInterfaces(self->configurator, worker);
    result = DDS_DomainParticipant_reserve_indexI(self, worker);
    if (result == DDS_RETCODE_OK && !DDS_DomainParticipant_keep_portsI(self, worker)) {
        result = DDS_RETCODE_OUT_OF_RESOURCES;
    }
    if (result == DDS_RETCODE_OK) {
        result = enable_presentation(self, worker);
    }
    if (result != DDS_RETCODE_OK) {
        DDS_DomainParticipant_release_indexI(self, worker);
        return result;
    }
    self->isEnabled = 1;
    self->shortestLease = self->qos.discovery_config.lease_duration;
    return DDS_RETCODE_OK;
}

} // namespace

DDS_DomainParticipant *DDS_DomainParticipant_newI(DDS_DomainParticipantFactory *factory,
                                                  const DDS_DomainParticipantResourcesI *resources,
                                                  DDS_DomainId_t domain_id,
                                                  const DDS_DomainParticipantQos *qos,
                                                  const DDS_DomainParticipantListener *listener,
                                                  DDS_StatusMask mask) {
    static const DDS_DomainParticipantQos EMPTY_QOS = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    CallWorker worker(resources->workerFactory);
    DDS_DomainParticipant *const self =
        creating::check_domain_id(domain_id) ? creating::allocate() : nullptr;

    if (self == nullptr) {
        return nullptr;
    }
    self->factory = factory;
    self->resources = *resources;
    self->qos = EMPTY_QOS;
    self->domainId = domain_id;
    self->participantIndex = -1;
    self->shortestLease = DDS_DURATION_INFINITE;
    if (listener != nullptr) {
        self->listener = *listener;
    }

    if (!creating::copy_qos(self, qos) || !creating::create_exclusive_areas(self) ||
        !creating::create_configurator(self, worker.get()) ||
        ((self->listener.on_locators_changed != nullptr ||
          self->listener.on_participant_discovered != nullptr) &&
         !NUVNetioRuntime_startCallbacks(resources->runtime))) {
        free_participant(self);
        return nullptr;
    }
    creating::choose_guid(self);
    self->interfaceListener.onInterfacesChanged = DDS_DomainParticipant_on_interfaces_changedI;
    self->interfaceListener.param = self;
    self->retryEvent.onTime = DDS_DomainParticipant_on_retryI;
    self->retryEvent.param = self;
    self->locatorsCallback.onCall = DDS_DomainParticipant_on_locators_changedI;
    self->locatorsCallback.param = self;
    self->discoveryCallback.onCall = DDS_DomainParticipant_on_discoveredI;
    self->discoveryCallback.param = self;
    if (!creating::initialize_presentation(self, mask, worker.get()) ||
        !DDS_DomainParticipant_start_discoveryI(self, worker.get())) {
        /* It may have stopped half-way without undoing itself; to finalize is always allowed. */
        (void)DDS_DomainParticipantPresentation_finalize(&self->presentation, worker.get());
        free_participant(self);
        return nullptr;
    }
    if (DDSLog_isEnabled(NUV_LOG_LEVEL_WARNING)) {
        creating::warn_of_unused_settings(self->qos);
    }
    NUVNetioRuntime_addInterfaceListener(self->resources.runtime, &self->interfaceListener);
    return self;
}

int DDS_DomainParticipantResources_isCallbackThreadI(
    const DDS_DomainParticipantResourcesI *resources) {
    return static_cast<int>(
        CallbackMark::is_set() ||
        (resources->runtime != nullptr && NUVNetioRuntime_isReactorThread(resources->runtime)));
}

int DDS_DomainParticipantResources_isWithinListenerI(
    const DDS_DomainParticipantResourcesI *resources, const char *LOG_METHOD) {
    if (!DDS_DomainParticipantResources_isCallbackThreadI(resources)) {
        return 0;
    }
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                "a participant can be neither created, changed nor deleted within a listener");
    return 1;
}

DDS_ReturnCode_t DDS_DomainParticipant_deleteI(DDS_DomainParticipant *self) {
    CallWorker worker(self->resources.workerFactory);
    DDS_ReturnCode_t result = DDS_DomainParticipantPresentation_checkShutdownPrecondition(
        &self->presentation, worker.get());

    if (result != DDS_RETCODE_OK) {
        return result;
    }
    if (!deleting::stop_following(self)) {
        NUVNetioRuntime_addInterfaceListener(self->resources.runtime, &self->interfaceListener);
        DDS_DomainParticipant_try_again_soonI(self); /* what it missed meanwhile */
        return DDS_RETCODE_ERROR;
    }
    result = DDS_DomainParticipantPresentation_wakeup(&self->presentation, worker.get());
    if (result != DDS_RETCODE_OK) {
        goto refused;
    }
    result = DDS_DomainParticipantPresentation_prefinalize(&self->presentation, worker.get());
    if (result != DDS_RETCODE_OK) {
        goto refused;
    }
    {
        const reda::ExclusiveAreaGuard lock(self->ea,
                                            worker.get()); /* a listener may be reading it */

        /* From here on it is good for nothing but its deletion. */
        self->isEnabled = 0;
        DDS_DomainParticipant_release_indexI(self, worker.get());
    }
    result = deleting::await_closed_entryports(self, worker.get());
    if (result == DDS_RETCODE_OK &&
        !(DDS_DomainParticipant_stop_discoveryI(self, worker.get()) &&
          deleting::stop_telling(self) && deleting::stop_trying(self))) {
        result = DDS_RETCODE_TIMEOUT;
    }
    if (result == DDS_RETCODE_OK) {
        result = DDS_DomainParticipantPresentation_finalize(&self->presentation, worker.get());
    }
    if (result == DDS_RETCODE_OK) {
        free_participant(self);
    }
    return result;

refused:
    NUVNetioRuntime_addInterfaceListener(self->resources.runtime, &self->interfaceListener);
    /* What it missed meanwhile. */
    DDS_DomainParticipant_on_interfaces_changedI(self, nullptr, worker.get());
    return result;
}

DDS_Long
DDS_DomainParticipant_get_participant_user_data_max_lengthI(const DDS_DomainParticipant *self) {
    return self->qos.resource_limits.participant_user_data_max_length;
}

DDS_Long
DDS_DomainParticipant_get_participant_property_list_max_lengthI(const DDS_DomainParticipant *self) {
    return self->qos.resource_limits.participant_property_list_max_length;
}

DDS_Long DDS_DomainParticipant_get_participant_property_string_max_lengthI(
    const DDS_DomainParticipant *self) {
    return self->qos.resource_limits.participant_property_string_max_length;
}

DDS_ReturnCode_t DDS_DomainParticipant_enable(DDS_DomainParticipant *self) {
    DDS_ReturnCode_t result = DDS_RETCODE_OK;

    if (DDSLog_isNull(self)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_DomainParticipantFactory_isForkedI(__func__) ||
        DDS_DomainParticipantResources_isWithinListenerI(&self->resources, __func__)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    CallWorker worker(self->resources.workerFactory);
    {
        const reda::ExclusiveAreaGuard lock(self->ea, worker.get());

        result = self->isEnabled ? DDS_RETCODE_OK : enable_locked(self, worker.get());
    }
    return result;
}

DDS_Long DDS_DomainParticipant_get_max_participant_index(
    const DDS_RtpsWellKnownPorts_t *rtps_well_known_ports) {
    if (DDSLog_isNull(rtps_well_known_ports)) {
        return -1;
    }
    const DDS_RtpsWellKnownPorts_t &ports = *rtps_well_known_ports;
    const DDS_Long gain = ports.participant_id_gain;
    DDS_RtpsWellKnownPorts_t lowOffsets = ports;

    /* Offsets of at most the gain cost no index; all else that can be wrong is said at once. */
    lowOffsets.builtin_unicast_port_offset = std::min(ports.builtin_unicast_port_offset, gain);
    lowOffsets.user_unicast_port_offset = std::min(ports.user_unicast_port_offset, gain);
    const DDS_Long bound =
        DDS_DomainParticipantPresentation_get_max_participant_indexI(&lowOffsets);

    if (bound < 0) {
        return -1;
    }
    const DDS_Long index = DDS_DomainParticipantPresentation_get_max_participant_indexI(&ports);

    if (index < 0) {
        const bool isUser = ports.user_unicast_port_offset > ports.builtin_unicast_port_offset;

        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "rtps_well_known_ports.%s is %d, which leaves no participant index: with "
                    "port_base %d, domain_id_gain %d and participant_id_gain %d allowed are at "
                    "most %d",
                    isUser ? "user_unicast_port_offset" : "builtin_unicast_port_offset",
                    isUser ? ports.user_unicast_port_offset : ports.builtin_unicast_port_offset,
                    ports.port_base, ports.domain_id_gain, gain,
                    std::max(gain, gain * (bound + 1) - 1));
        return -1;
    }
    return index;
}

DDS_DomainId_t DDS_DomainParticipant_get_domain_id(const DDS_DomainParticipant *self) {
    return DDSLog_isNull(self) || DDS_DomainParticipantFactory_isForkedI(__func__) ? -1
                                                                                   : self->domainId;
}

DDS_Long DDS_DomainParticipant_get_participant_index(DDS_DomainParticipant *self) {
    if (DDSLog_isNull(self) || DDS_DomainParticipantFactory_isForkedI(__func__)) {
        return -1;
    }
    CallWorker worker(self->resources.workerFactory);
    const reda::ExclusiveAreaGuard lock(self->ea, worker.get());

    return self->participantIndex;
}

DDS_ReturnCode_t DDS_DomainParticipant_get_guid(DDS_DomainParticipant *self, DDS_GUID_t *guid) {
    NUVOsapiRtpsGuid rtpsGuid = {{0, 0, 0}, 0};

    if (DDSLog_isNull(self) || DDSLog_isNull(guid)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_DomainParticipantFactory_isForkedI(__func__)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    PRESParticipant_getGuid(self->presentation.participant, &rtpsGuid);
    RTPSGuid_toOctets(&rtpsGuid, guid->value);
    return DDS_RETCODE_OK;
}

DDS_Topic *DDS_DomainParticipant_create_topic(DDS_DomainParticipant *self, const char *name,
                                              const char *type_name) {
    int failReason = PRES_RETCODE_OK;
    PRESTopic *topic = nullptr;

    if (DDSLog_isNull(self) || DDSLog_isNull(name) || DDSLog_isNull(type_name) ||
        DDS_DomainParticipantFactory_isForkedI(__func__)) {
        return nullptr;
    }
    CallWorker worker(self->resources.workerFactory);

    topic = PRESParticipant_createTopic(self->presentation.participant, &failReason, name,
                                        type_name, worker.get());
    if (topic == nullptr) {
        DDSLog_text(
            NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
            "cannot create topic '%s' of type '%s': %s", name, type_name,
            DDS_ReturnCode_to_string(DDS_ReturnCode_from_presentation_return_codeI(failReason)));
    }
    return to_public(topic);
}

DDS_ReturnCode_t DDS_DomainParticipant_delete_topic(DDS_DomainParticipant *self, DDS_Topic *topic) {
    int failReason = PRES_RETCODE_OK;

    if (DDSLog_isNull(self) || DDSLog_isNull(topic)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_DomainParticipantFactory_isForkedI(__func__)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    CallWorker worker(self->resources.workerFactory);

    if (!PRESParticipant_deleteTopic(self->presentation.participant, &failReason,
                                     to_presentation(topic), worker.get())) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "topic: it is none of this participant's");
        return DDS_ReturnCode_from_presentation_return_codeI(failReason);
    }
    return DDS_RETCODE_OK;
}

const char *DDS_Topic_get_name(const DDS_Topic *self) {
    return DDSLog_isNull(self) ? nullptr : PRESTopic_getName(to_presentation(self));
}

const char *DDS_Topic_get_type_name(const DDS_Topic *self) {
    return DDSLog_isNull(self) ? nullptr : PRESTopic_getTypeName(to_presentation(self));
}
