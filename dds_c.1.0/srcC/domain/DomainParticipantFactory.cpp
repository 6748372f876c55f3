// SPDX-License-Identifier: Apache-2.0
// The factory: the list of participants, and what all of them share.
#include <atomic>
#include <mutex>
#include <new>

#include <pthread.h>

#include "domain/CallWorker.h"
#include "domain/DomainParticipantFactory_internal.h"
#include "domain/DomainParticipant_internal.h"
#include "domain/environment.h"
#include "infrastructure/dds_log.h"
#include "osapi/osapi_heap.h"
#include "osapi/osapi_process.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

struct DDS_DomainParticipantFactory {
    explicit DDS_DomainParticipantFactory(const NUVNetioRuntimeProperty &itsRuntimeProperty)
        : runtimeProperty(itsRuntimeProperty) {}

    const NUVNetioRuntimeProperty runtimeProperty;

    /** Guards the fields below. Held for the list only, never while a participant is worked on. */
    std::mutex mutex;
    DDS_DomainParticipantFactoryQos qos = {DDS_ENTITY_FACTORY_QOS_POLICY_INITIALIZER};
    /** Read by anybody: it stays as it was when the factory was made. */
    DDS_DomainParticipantQos defaultQos = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    DDS_DomainParticipant *participants = nullptr;
    /** Participants that are listed, and those on the way in. */
    int participantCount = 0;
    /** Made for the first participant; its runtime is null until then. */
    DDS_DomainParticipantResourcesI resources = {};

    /* Their callbacks are all null: the public API has none for what they tell. */
    PRESParticipantEntityFinalizeListener entityFinalizeListener = {};
    COMMENDActiveFacadeThreadListener threadListener = {};
};

namespace {

/**
 * The generation of the process that has the factory; 0 while there is none. Looked at before any
 * lock is taken: in a forked child a lock may be held by a thread that is not there.
 */
std::atomic<NUV_UINT32> home{0};

/** Guards the instance. */
std::mutex instanceMutex;
DDS_DomainParticipantFactory *instance = nullptr;

/**
 * In a forked child of a process that has no factory the lock is free, whoever had it during the
 * fork: while there is none the instance is null.
 */
void watch_forks() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;

    (void)pthread_once(&once, [] {
        (void)pthread_atfork(nullptr, nullptr, [] {
            (void)pthread_mutex_init(instanceMutex.native_handle(), nullptr);
        });
    });
}

void destroy(DDS_DomainParticipantFactory *self) {
    (void)DDS_DomainParticipantQos_finalize(&self->defaultQos);
    self->~DDS_DomainParticipantFactory();
    NUVOsapiHeap_freeStructure(self);
}

NUVOsapiThreadFactory *new_thread_factory() {
    static const NUVOsapiThreadFactoryProperty PROPERTY = {"dds.", 0};

    return NUVOsapiThreadFactory_new(&PROPERTY);
}

/** False, after an error, when a thread does not end: then what it may use stays. */
bool release_resources(DDS_DomainParticipantResourcesI *resources) {
    DISCDiscovery_delete(resources->discovery);
    resources->discovery = nullptr;
    if (!NUVNetioRuntime_delete(resources->runtime)) {
        return false;
    }
    NUVOsapiThreadFactory_delete(resources->asynchPubThreadFactory);
    NUVOsapiThreadFactory_delete(resources->eventThreadFactory);
    NUVOsapiThreadFactory_delete(resources->recvThreadFactory);
    REDAWorkerFactory_delete(resources->workerFactory);
    *resources = {};
    return true;
}

namespace creating {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantFactory_create_participant";

/** What all participants share. It stays until the factory goes, so that only the first pays. */
bool acquire_resources(DDS_DomainParticipantResourcesI *resources,
                       const NUVNetioRuntimeProperty &runtimeProperty) {
    if (resources->runtime != nullptr) {
        return true;
    }
    resources->workerFactory = REDAWorkerFactory_new();
    resources->recvThreadFactory = new_thread_factory();
    resources->eventThreadFactory = new_thread_factory();
    resources->asynchPubThreadFactory = new_thread_factory();
    if (resources->workerFactory == nullptr || resources->recvThreadFactory == nullptr ||
        resources->eventThreadFactory == nullptr || resources->asynchPubThreadFactory == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "participant factory");
        (void)release_resources(resources);
        return false;
    }
    resources->runtime = NUVNetioRuntime_new(&runtimeProperty, resources->recvThreadFactory,
                                             resources->workerFactory);
    if (resources->runtime == nullptr) {
        (void)release_resources(resources);
        return false;
    }
    CallWorker worker(resources->workerFactory);

    resources->discovery = DISCDiscovery_new(resources->runtime, worker.get());
    if (resources->discovery == nullptr) {
        (void)release_resources(resources);
        return false;
    }
    return true;
}

} // namespace creating

/** Takes a participant out of the list, if it is there. */
bool unlist(DDS_DomainParticipantFactory *self, const DDS_DomainParticipant *participant) {
    for (DDS_DomainParticipant **link = &self->participants; *link != nullptr;
         link = &(*link)->next) {
        if (*link == participant) {
            *link = participant->next;
            return true;
        }
    }
    return false;
}

void enlist(DDS_DomainParticipantFactory *self, DDS_DomainParticipant *participant) {
    participant->next = self->participants;
    self->participants = participant;
}

/** Null, after an error, when memory runs out. */
DDS_DomainParticipantFactory *make(const NUVNetioRuntimeProperty &runtimeProperty,
                                   const char *LOG_METHOD) {
    DDS_DomainParticipantFactory *self = nullptr;

    NUVOsapiHeap_allocateStructure(&self, struct DDS_DomainParticipantFactory);
    if (self == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "participant factory");
        return nullptr;
    }
    new (self) DDS_DomainParticipantFactory(runtimeProperty);
    if (DDS_DomainParticipantQos_initialize(&self->defaultQos) != DDS_RETCODE_OK) {
        destroy(self);
        return nullptr;
    }
    return self;
}

/** Frees a factory that has no participants, also when it returns TIMEOUT. */
DDS_ReturnCode_t finalize(DDS_DomainParticipantFactory *self, const char *LOG_METHOD) {
    {
        const std::lock_guard<std::mutex> listLock(self->mutex);

        if (self->participantCount != 0) {
            DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                        "the participant factory cannot be finalized: %d participants exist",
                        self->participantCount);
            return DDS_RETCODE_PRECONDITION_NOT_MET;
        }
    }
    const bool hasEnded = release_resources(&self->resources);

    destroy(self);
    return hasEnded ? DDS_RETCODE_OK : DDS_RETCODE_TIMEOUT;
}

} // namespace

DDS_DomainParticipantFactory *
DDS_DomainParticipantFactory_newI(const NUVNetioRuntimeProperty *runtimeProperty) {
    return make(*runtimeProperty, __func__);
}

DDS_ReturnCode_t DDS_DomainParticipantFactory_deleteI(DDS_DomainParticipantFactory *self) {
    return finalize(self, __func__);
}

int DDS_DomainParticipantFactory_isForkedI(const char *LOG_METHOD) {
    const NUV_UINT32 owner = home.load();

    if (owner == 0 || owner == NUVOsapiProcess_getGeneration()) {
        return 0;
    }
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                "this process was forked from the one that made the participant factory, and can't "
                "use it");
    return 1;
}

const PRESParticipantEntityFinalizeListener *
DDS_DomainParticipantFactory_get_presentation_entity_finalize_listenerI(
    DDS_DomainParticipantFactory *self) {
    return &self->entityFinalizeListener;
}

const COMMENDActiveFacadeThreadListener *
DDS_DomainParticipantFactory_get_presentation_thread_listenerI(DDS_DomainParticipantFactory *self) {
    return &self->threadListener;
}

DDS_DomainParticipantFactory *DDS_DomainParticipantFactory_get_instance(void) {
    NUV_UINT32 nobody = 0;

    watch_forks();
    (void)home.compare_exchange_strong(nobody, NUVOsapiProcess_getGeneration());
    if (DDS_DomainParticipantFactory_isForkedI(__func__)) {
        return nullptr;
    }
    const osapi::CancellationHold hold;
    const std::lock_guard<std::mutex> lock(instanceMutex);

    if (instance == nullptr) {
        instance = make(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT, __func__);
        if (instance != nullptr && !dds::environment::apply(&instance->defaultQos)) {
            destroy(instance);
            instance = nullptr;
        }
        if (instance == nullptr) {
            home.store(0); // a child that is forked now may have one of its own
            return nullptr;
        }
        home.store(NUVOsapiProcess_getGeneration()); // it may have been finalized since the above
    }
    return instance;
}

DDS_ReturnCode_t DDS_DomainParticipantFactory_finalize_instance(void) {
    if (DDS_DomainParticipantFactory_isForkedI(__func__)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    const osapi::CancellationHold hold;
    const std::lock_guard<std::mutex> lock(instanceMutex);
    DDS_ReturnCode_t result = DDS_RETCODE_OK;

    if (instance != nullptr) {
        result = finalize(instance, __func__);
        if (result == DDS_RETCODE_PRECONDITION_NOT_MET) {
            return result;
        }
        instance = nullptr;
    }
    home.store(0);
    return result;
}

DDS_ReturnCode_t DDS_DomainParticipantFactory_get_qos(DDS_DomainParticipantFactory *self,
                                                      DDS_DomainParticipantFactoryQos *qos) {
    if (DDSLog_isNull(self) || DDSLog_isNull(qos)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_DomainParticipantFactory_isForkedI(__func__)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    const osapi::CancellationHold hold;
    const std::lock_guard<std::mutex> lock(self->mutex);

    *qos = self->qos;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_DomainParticipantFactory_set_qos(DDS_DomainParticipantFactory *self,
                                                      const DDS_DomainParticipantFactoryQos *qos) {
    if (DDSLog_isNull(self) || DDSLog_isNull(qos)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_DomainParticipantFactory_isForkedI(__func__)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    const DDS_Boolean autoenable = qos->entity_factory.autoenable_created_entities;

    if (autoenable != DDS_BOOLEAN_FALSE && autoenable != DDS_BOOLEAN_TRUE) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE,
                    "entity_factory.autoenable_created_entities is %d; allowed are 0 and 1",
                    autoenable);
        return DDS_RETCODE_INCONSISTENT_POLICY;
    }
    const osapi::CancellationHold hold;
    const std::lock_guard<std::mutex> lock(self->mutex);

    self->qos = *qos;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t
DDS_DomainParticipantFactory_get_default_participant_qos(DDS_DomainParticipantFactory *self,
                                                         DDS_DomainParticipantQos *qos) {
    if (DDSLog_isNull(self) || DDSLog_isNull(qos)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_DomainParticipantFactory_isForkedI(__func__)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    if (DDS_DomainParticipantQos_copy(qos, &self->defaultQos) == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "default participant QoS");
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    return DDS_RETCODE_OK;
}

DDS_DomainParticipant *DDS_DomainParticipantFactory_create_participant(
    DDS_DomainParticipantFactory *self, DDS_DomainId_t domain_id,
    const DDS_DomainParticipantQos *qos, const DDS_DomainParticipantListener *listener,
    DDS_StatusMask mask) {
    DDS_DomainParticipantResourcesI resources = {};
    DDS_DomainParticipant *participant = nullptr;
    bool enable = true;

    if (DDSLog_isNull(self) || DDS_DomainParticipantFactory_isForkedI(__func__)) {
        return nullptr;
    }
    const osapi::CancellationHold hold;

    {
        const std::lock_guard<std::mutex> lock(self->mutex);

        if (!creating::acquire_resources(&self->resources, self->runtimeProperty)) {
            return nullptr;
        }
        resources = self->resources;
        enable = self->qos.entity_factory.autoenable_created_entities != DDS_BOOLEAN_FALSE;
        ++self->participantCount;
    }
    if (!DDS_DomainParticipantResources_isWithinListenerI(&resources, __func__)) {
        participant = DDS_DomainParticipant_newI(
            self, &resources, domain_id,
            qos != DDS_PARTICIPANT_QOS_DEFAULT ? qos : &self->defaultQos, listener, mask);
    }
    {
        const std::lock_guard<std::mutex> lock(self->mutex);

        if (participant == nullptr) {
            --self->participantCount;
            return nullptr;
        }
        enlist(self, participant);
    }
    if (enable && DDS_DomainParticipant_enable(participant) != DDS_RETCODE_OK) {
        (void)DDS_DomainParticipantFactory_delete_participant(self, participant);
        return nullptr;
    }
    return participant;
}

DDS_ReturnCode_t
DDS_DomainParticipantFactory_delete_participant(DDS_DomainParticipantFactory *self,
                                                DDS_DomainParticipant *participant) {
    DDS_ReturnCode_t result = DDS_RETCODE_OK;

    if (DDSLog_isNull(self) || DDSLog_isNull(participant)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_DomainParticipantFactory_isForkedI(__func__) ||
        DDS_DomainParticipantResources_isWithinListenerI(&self->resources, __func__)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    const osapi::CancellationHold hold;

    {
        const std::lock_guard<std::mutex> lock(self->mutex);

        /* Not listed while it is deleted, so that nobody else can begin to delete it. */
        if (!unlist(self, participant)) {
            DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                        "participant: it is none of this factory's");
            return DDS_RETCODE_BAD_PARAMETER;
        }
    }
    result = DDS_DomainParticipant_deleteI(participant);

    const std::lock_guard<std::mutex> lock(self->mutex);

    if (result == DDS_RETCODE_OK) {
        --self->participantCount;
    } else {
        enlist(self, participant);
    }
    return result;
}
