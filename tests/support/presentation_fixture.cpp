// SPDX-License-Identifier: Apache-2.0
#include "support/presentation_fixture.h"

#include <algorithm>
#include <cstring>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "osapi/osapi_heap.h"
#include "qos/DomainParticipantQos_internal.h"

namespace support {

namespace {

int listInterfaces(void *param, int (*add)(void *, const NUVNetioInterface *), void *addParam) {
    const auto *interfaces = static_cast<const std::vector<NUVNetioInterface> *>(param);
    return std::ranges::all_of(*interfaces,
                               [&](const NUVNetioInterface &one) { return add(addParam, &one); })
               ? 1
               : 0;
}

} // namespace

void nameProperty(Recorder &recorder, const PRESParticipantProperty &property,
                  const std::string &prefix) {
    const COMMENDFacadeProperty &facade = property.facadeProperty.parent;
    recorder.name(facade.threadParticipantId, prefix + ".parent.threadParticipantId");
    recorder.name(property.facadeProperty.activeEventGenerator.threadParticipantId,
                  prefix + ".activeEventGenerator.threadParticipantId");
    recorder.name(facade.jobDispatcher.threadParticipantId,
                  prefix + ".jobDispatcher.threadParticipantId");
    recorder.name(&facade.interpreter.enforceSubmessageAlignment,
                  prefix + ".enforceSubmessageAlignment");
    recorder.name(&facade.interpreter.logParticipantDiscoveryMismatch,
                  prefix + ".logParticipantDiscoveryMismatch");
    recorder.name(&facade.sender.sendTimeBasedLoggingThreshold,
                  prefix + ".sendTimeBasedLoggingThreshold");
    recorder.name(&facade.receiver.processMessageTimeBasedLoggingThreshold,
                  prefix + ".processMessageTimeBasedLoggingThreshold");
    recorder.name(&property.parameter.productVersion, prefix + ".productVersion");
    recorder.name(&property.parameter.reachabilityLeaseDuration,
                  prefix + ".reachabilityLeaseDuration");
    recorder.name(&property.authenticationTimeThreshold, prefix + ".authenticationTimeThreshold");
}

NUVNetioInterface interfaceOf(const char *name, NUV_UINT32 index, const char *address) {
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    EXPECT_TRUE(NUVNetioLocator_parse(address, &locator)) << address;

    NUVNetioInterface one{};
    std::snprintf(one.name, sizeof one.name, "%s", name);
    one.index = index;
    one.transport = locator.transport;
    one.address = locator.address;
    one.isLoopback = NUVNetioLocator_isLoopback(&locator);
    one.isMulticast = 1;
    return one;
}

PresentationFixture::PresentationFixture() = default;
PresentationFixture::~PresentationFixture() = default;

void PresentationFixture::SetUp() {
    static char dummyFactory;

    factory = reinterpret_cast<DDS_DomainParticipantFactory *>(&dummyFactory);
    threadFactory = NUVOsapiThreadFactory_new(nullptr);
    recvThreadFactory = NUVOsapiThreadFactory_new(nullptr);
    eventThreadFactory = NUVOsapiThreadFactory_new(nullptr);
    asynchPubThreadFactory = NUVOsapiThreadFactory_new(nullptr);
    workerFactory = REDAWorkerFactory_new();
    ASSERT_NE(workerFactory, nullptr);
    worker = REDAWorkerFactory_createWorker(workerFactory, "test");
    ASSERT_NE(worker, nullptr);
    clock = *NUVClock_getMonotonic();
    timestampClock = *NUVClock_getRealtime();

    NUVNetioRuntimeProperty runtimeProperty = NUV_NETIO_RUNTIME_PROPERTY_DEFAULT;
    runtimeProperty.interfaceSource = {listInterfaces, &interfaces, nullptr};
    runtimeProperty.watchInterfaces = 0;
    runtimeProperty.interfaceSettleTime = {0, 0};
    runtime = NUVNetioRuntime_new(&runtimeProperty, threadFactory, workerFactory);
    ASSERT_NE(runtime, nullptr);
    activeDatabase = NUVNetioRuntime_getEventDatabase(runtime);
    configurator = NUVNetioConfigurator_new(nullptr, runtime, worker);
    ASSERT_NE(configurator, nullptr);
    concurrency.tableEa = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_TABLE, "table");
    concurrency.recordEa = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_RECORD, "record");
    concurrency.remoteObjectsEa =
        REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_REMOTE_OBJECTS, "remoteObjects");

    ASSERT_EQ(DDS_DomainParticipantQos_initialize(&qos), DDS_RETCODE_OK);
    qos.wire_protocol.rtps_well_known_ports.port_base = portBase();

    recorder.name(factory, "factory");
    recorder.name(&guid, "guid");
    recorder.name(recvThreadFactory, "recvThreadFactory");
    recorder.name(eventThreadFactory, "eventThreadFactory");
    recorder.name(asynchPubThreadFactory, "asynchPubThreadFactory");
    recorder.name(workerFactory, "workerFactory");
    recorder.name(worker, "worker");
    recorder.name(worker->_activityContext, "worker._activityContext");
    recorder.name(activeDatabase, "activeDatabase");
    recorder.name(configurator, "configurator");
    recorder.name(concurrency.tableEa, "tableEa");
    recorder.name(concurrency.recordEa, "recordEa");
    recorder.name(concurrency.remoteObjectsEa, "remoteObjectsEa");
    recorder.name(&clock, "clock");
    recorder.name(&timestampClock, "timestampClock");
    recorder.name(&qos, "qos");
    recorder.name(&qos.property, "qos.property");
    recorder.name(&qos.default_unicast, "qos.default_unicast");
    recorder.name(&qos.multicast_mapping, "qos.multicast_mapping");
    recorder.name(&qos.discovery, "qos.discovery");
    recorder.name(&LOCATOR_QOS_POLICY_DEFAULT, "LOCATOR_QOS_POLICY_DEFAULT");
    recorder.name(&REDUCED_LOCATOR_QOS_POLICY_DEFAULT, "REDUCED_LOCATOR_QOS_POLICY_DEFAULT");
    recorder.name(KOLS_Config_Logger_get_instance(), "logger");
    nameRecord(self, "self");
    recorder.onBlock(
        "struct PRESParticipantProperty", [this](void *block, const std::string &name) {
            nameProperty(recorder, *static_cast<PRESParticipantProperty *>(block), name);
        });
    log.clear();
}

void PresentationFixture::TearDown() {
    recorder.clearFaults();
    finalize();
    freeBuffers();
    DDS_DomainParticipantQos_finalize(&qos);
    REDAExclusiveArea_delete(concurrency.remoteObjectsEa);
    REDAExclusiveArea_delete(concurrency.recordEa);
    REDAExclusiveArea_delete(concurrency.tableEa);
    NUVNetioConfigurator_delete(configurator);
    NUVNetioRuntime_delete(runtime);
    if (workerFactory != nullptr) {
        REDAWorkerFactory_destroyWorker(workerFactory, worker);
    }
    REDAWorkerFactory_delete(workerFactory);
    NUVOsapiThreadFactory_delete(asynchPubThreadFactory);
    NUVOsapiThreadFactory_delete(eventThreadFactory);
    NUVOsapiThreadFactory_delete(recvThreadFactory);
    NUVOsapiThreadFactory_delete(threadFactory);
    EXPECT_EQ(heap.change(), Blocks());
    EXPECT_EQ(heap.refusals(), 0u);
}

DDS_ReturnCode_t PresentationFixture::initialize() {
    return initialize(&self);
}

DDS_ReturnCode_t PresentationFixture::initialize(DDS_DomainParticipantPresentation *record) {
    isInitializing_ = true;
    const DDS_ReturnCode_t result = DDS_DomainParticipantPresentation_initialize(
        record, factory, arguments.domainId, &qos, &guid, arguments.threadParticipantId.data(),
        arguments.participantIndexSpecified, arguments.listener, arguments.mask, activeDatabase,
        &concurrency, &clock, &timestampClock, configurator, workerFactory, arguments.security,
        arguments.securityTokens, arguments.overheads, recvThreadFactory, eventThreadFactory,
        asynchPubThreadFactory, arguments.isWorkerNull ? nullptr : worker);
    isInitializing_ = false;
    return result;
}

void PresentationFixture::finalize() {
    EXPECT_EQ(DDS_DomainParticipantPresentation_prefinalize(&self, worker), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantPresentation_finalize(&self, worker), DDS_RETCODE_OK);
}

void PresentationFixture::setProperty(const char *property, const char *value) {
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_assert_property(
                  &qos.property, property, value == nullptr ? "" : value, DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    if (value == nullptr) {
        DDS_Property_t *one = DDS_PropertyQosPolicyHelper_lookup_property(&qos.property, property);
        DDS_String_free(one->value);
        one->value = nullptr;
    }
}

void PresentationFixture::nameRecord(const DDS_DomainParticipantPresentation &record,
                                     const std::string &prefix) {
    recorder.name(&record, prefix);
    recorder.name(record._threadParticipantId, prefix + "._threadParticipantId");
    recorder.name(&record._cachedTransportUnicastPolicy, prefix + "._cachedTransportUnicastPolicy");
    recorder.name(&record._cachedTransportMulticastMappingPolicy,
                  prefix + "._cachedTransportMulticastMappingPolicy");
    recorder.name(&record.cachedDiscoveryPolicy, prefix + ".cachedDiscoveryPolicy");
    recorder.name(&record.cachedDiscoveryPolicy.initial_peers,
                  prefix + ".cachedDiscoveryPolicy.initial_peers");
    recorder.name(&record.cachedWellKnownPorts, prefix + ".cachedWellKnownPorts");
    recorder.name(&record._cachedDefaultUnicastLocator, prefix + "._cachedDefaultUnicastLocator");
    recorder.name(&record._cachedMetatrafficUnicastLocator,
                  prefix + "._cachedMetatrafficUnicastLocator");
    recorder.name(&record._cachedDefaultMulticastLocator,
                  prefix + "._cachedDefaultMulticastLocator");
    recorder.name(&record._cachedMetatrafficMulticastLocator,
                  prefix + "._cachedMetatrafficMulticastLocator");
    recorder.name(&record._reserveEntryportMetaMulticastWR,
                  prefix + "._reserveEntryportMetaMulticastWR");
    recorder.name(&record._reserveEntryportUserMulticastWR,
                  prefix + "._reserveEntryportUserMulticastWR");
    for (int i = 0; i < DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX; ++i) {
        const std::string index = '[' + std::to_string(i) + ']';
        recorder.name(&record._reserveMetaUnicast._entryportWR[i],
                      prefix + "._reserveMetaUnicast" + index);
        recorder.name(&record._reserveUserUnicast._entryportWR[i],
                      prefix + "._reserveUserUnicast" + index);
    }
}

void PresentationFixture::keepBuffers() {
    recorder.replace("DDS_DomainParticipantQos_to_participant_property",
                     [this](const DDS_DomainParticipantQos *src, PRESParticipantProperty *dst) {
                         const DDS_ReturnCode_t result =
                             DDS_DomainParticipantQos_to_participant_property(src, dst);
                         if (isInitializing_) {
                             propertyList_ = dst->parameter.propertyList.data._buffer;
                         }
                         return result;
                     });
    recorder.replace("DDS_String_dup", [this](const char *text) {
        char *const duplicate = DDS_String_dup(text);
        if (isInitializing_) { // a test duplicates texts too, for its QoS
            trackedPorts_ = duplicate;
        }
        return duplicate;
    });
    recorder.onFree([this](const void *block) {
        if (block == propertyList_) {
            propertyList_ = nullptr;
        } else if (block == trackedPorts_) {
            trackedPorts_ = nullptr;
        }
    });
}

void PresentationFixture::freeBuffers() {
    NUVOsapiHeap_freeArray(propertyList_);
    DDS_String_free(trackedPorts_);
}

void PresentationFixture::keepProperty() {
    recorder.replace(
        "PRESParticipant_new",
        [this](const NUVOsapiRtpsGuid *participantGuid, NUVNetioConfigurator *transports,
               REDAWorkerFactory *workers, NUVEventActiveDatabase *events, NUVClock *monotonic,
               NUVClock *wall, REDAExclusiveArea *tableEa, REDAExclusiveArea *recordEa,
               REDAExclusiveArea *remoteObjectsEa,
               const COMMENDActiveFacadeThreadListener *threadListener,
               const PRESParticipantEntityFinalizeListener *finalizeListener,
               const PRESParticipantProperty *property, const PRESParticipantListener *listener,
               PRESStatusKindMask mask, const PRESParticipantSecurity *security,
               NUVOsapiThreadFactory *recv, NUVOsapiThreadFactory *event,
               NUVOsapiThreadFactory *asynch, REDAWorker *caller) {
            given = Given{*property, {}, {}, {}};
            const COMMENDReceiverProperty &receiver = property->facadeProperty.parent.receiver;
            if (receiver.processMessageTimeBasedLoggingExplicitPorts != nullptr) {
                given->trackedPorts = receiver.processMessageTimeBasedLoggingExplicitPorts;
            }
            if (property->parameter.partitionQosPolicy.name.str != nullptr) {
                given->partition = property->parameter.partitionQosPolicy.name.str;
            }
            const PRESPropertySequence &list = property->parameter.propertyList.data;
            for (NUV_UINT32 i = 0; i < list._length; ++i) {
                given->properties[list._buffer[i].name] = list._buffer[i].value;
            }
            return PRESParticipant_new(participantGuid, transports, workers, events, monotonic,
                                       wall, tableEa, recordEa, remoteObjectsEa, threadListener,
                                       finalizeListener, property, listener, mask, security, recv,
                                       event, asynch, caller);
        });
}

void PresentationFixture::nameParticipant() {
    recorder.name(self.participant, "participant");
}

} // namespace support
