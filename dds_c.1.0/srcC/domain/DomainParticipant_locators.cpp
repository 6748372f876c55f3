// SPDX-License-Identifier: Apache-2.0
// The participant index with its ports, and the locators that follow the interfaces.
#include <algorithm>

#include "domain/CallWorker.h"
#include "domain/CallbackMark.h"
#include "domain/DomainParticipantFactory_internal.h"
#include "domain/DomainParticipant_internal.h"
#include "domain/DomainParticipant_ports.h"
#include "infrastructure/Locator_internal.h"
#include "infrastructure/dds_log.h"
#include "osapi/osapi_utility.h"
#include "reda/reda_exclusiveArea.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

namespace {

/** The longest pause between two tries, where somebody else has a port, in seconds. */
constexpr NUV_INT32 LONGEST_PAUSE = 30;
/** The same where the process has run out of descriptors or memory: it may pass in a moment. */
constexpr NUV_INT32 LONGEST_PAUSE_OF_SHORTAGE = 1;

/** What came of bringing a participant up to date. */
struct Outcome {
    DDS_ReturnCode_t result;
    bool isComplete; // nothing is to be tried again
};

/**
 * The search reserves multicast ports anew. Those of a former one, which found no address, are
 * given back only then, so that they stay open in between; where it fails they stay.
 */
DDS_ReturnCode_t gain_index(DDS_DomainParticipant *self, REDAWorker *worker) {
    DDS_DomainParticipantPresentation *presentation = &self->presentation;
    DDS_DomainParticipantPresentationMulticastEntryportsI former;
    DDS_ReturnCode_t result = DDS_RETCODE_OK;

    DDS_DomainParticipantPresentation_take_multicast_entryportsI(presentation, &former);
    result = DDS_DomainParticipant_reserve_indexI(self, worker);
    if (result != DDS_RETCODE_OK) {
        DDS_DomainParticipant_release_indexI(self, worker);
        DDS_DomainParticipantPresentation_put_multicast_entryportsI(presentation, &former);
        return result;
    }
    DDS_DomainParticipantPresentation_release_entryportI(presentation, &former.metatraffic, worker);
    DDS_DomainParticipantPresentation_release_entryportI(presentation, &former.user, worker);
    return result;
}

namespace updating {

constexpr const char *LOG_METHOD = "DDS_DomainParticipant_update_locators";

/** The update's own lines say what could not be set; this one says why, and what comes of it. */
void report_incomplete(const DDS_DomainParticipant *self, DDS_ReturnCode_t result) {
    NUVNetioFailure failure;
    char reason[NUV_NETIO_FAILURE_STRING_SIZE];

    if (NUVNetioConfigurator_getFailure(self->configurator, &failure)) {
        NUVNetioFailure_toString(&failure, reason, sizeof(reason));
    } else {
        NUVOsapiUtility_snprintf(reason, sizeof(reason), "%s",
                                 DDS_ReturnCode_to_string(result != DDS_RETCODE_OK
                                                              ? result
                                                              : DDS_RETCODE_OUT_OF_RESOURCES));
    }
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                "the participant in domain %d does not receive at all of its locators yet, which "
                "is tried again: %s",
                self->domainId, reason);
}

} // namespace updating

/** Updates the locators of a participant that has its index. */
Outcome update_with_index(DDS_DomainParticipant *self, REDAWorker *worker) {
    DDS_ReturnCode_t result = DDS_RETCODE_OK;
    bool isComplete = false;

    {
        const PortAttempt attempt(self, PortAttempt::SAID);

        result = DDS_DomainParticipantPresentation_update_participant_locatorsI(
            &self->presentation, self, self->participantIndex, worker);
        isComplete = DDS_DomainParticipant_keep_portsI(self, worker) != 0;
    }
    /* OK is no sign of success: what could not be reserved is announced all the same. */
    isComplete =
        isComplete && result == DDS_RETCODE_OK &&
        DDS_DomainParticipantPresentation_are_locators_servedI(&self->presentation, worker);
    if (!isComplete) {
        updating::report_incomplete(self, result);
    }
    return {result, isComplete};
}

/** Updates the locators of an enabled participant, which gets its index now if it has none yet. */
Outcome bring_up_to_date(DDS_DomainParticipant *self, REDAWorker *worker) {
    if (self->participantIndex < 0) {
        const DDS_ReturnCode_t result = gain_index(self, worker);

        if (result != DDS_RETCODE_OK) {
            return {result, false};
        }
        if (self->participantIndex < 0) {
            return {DDS_RETCODE_OK, true}; /* still without any address */
        }
        /* The update below finds nothing changed any more: so this is said here. */
        (void)DDS_DomainParticipantPresentation_log_peers_and_locators(&self->presentation, worker);
    }
    return update_with_index(self, worker);
}

/** Has an incomplete participant tried for again after a pause, longer than the one before. */
void try_again_later(DDS_DomainParticipant *self) {
    NUVNetioFailure failure;
    const bool isShortage = NUVNetioConfigurator_getFailure(self->configurator, &failure) != 0 &&
                            NUVNetioFailure_isShortage(&failure) != 0;

    self->retryPause = std::clamp(2 * self->retryPause, NUV_INT32{1},
                                  isShortage ? LONGEST_PAUSE_OF_SHORTAGE : LONGEST_PAUSE);
    const NUVNtpTime pause = {self->retryPause, 0};

    NUVEventActiveDatabase_postEvent(NUVNetioRuntime_getEventDatabase(self->resources.runtime),
                                     &self->retryEvent, &pause);
}

DDS_ReturnCode_t take_note_of(DDS_DomainParticipant *self, const Outcome &outcome) {
    if (outcome.isComplete) {
        self->retryPause = 0;
    } else {
        try_again_later(self);
    }
    return outcome.result;
}

/** Has the application told of a change, if it wants to know; never waits for it. */
void tell_of_change(DDS_DomainParticipant *self) {
    if (self->listener.on_locators_changed != nullptr) {
        NUVNetioRuntime_postCallback(self->resources.runtime, &self->locatorsCallback);
    }
}

/**
 * Follows the interfaces, as a snapshot has them or, without one, as they are now, and has the
 * application told if that changed anything.
 */
DDS_ReturnCode_t update_locators(DDS_DomainParticipant *self,
                                 const NUVNetioInterfaceSnapshot *snapshot, REDAWorker *worker) {
    DDS_DomainParticipantPresentationLocatorsI before;
    const reda::ExclusiveAreaGuard lock(self->ea, worker);

    if (!self->isEnabled) {
        return DDS_RETCODE_NOT_ENABLED;
    }
    DDS_DomainParticipantPresentation_copy_locatorsI(&self->presentation, &before);
    if (snapshot != nullptr) {
        (void)NUVNetioConfigurator_takeInterfaces(self->configurator, snapshot);
    } else {
        (void)NUVNetioConfigurator_refreshInterfaces(self->configurator, worker);
    }
    self->retryPause = 0; /* the network is another one: what failed before says nothing */
    const DDS_ReturnCode_t result = take_note_of(self, bring_up_to_date(self, worker));

    if (!DDS_DomainParticipantPresentation_has_locatorsI(&self->presentation, &before)) {
        tell_of_change(self);
    }
    return result;
}

/** Whether all the ports that are wanted can be had now. Says nothing. */
bool reserve_trial(TrialPorts &trial, DDS_DomainParticipant *self) {
    const PortAttempt attempt(self, PortAttempt::QUIET);

    return self->participantIndex < 0 ? trial.reserve_for_index() : trial.reserve_for_update();
}

/**
 * Tries again for what an update could not have: first for the participant itself, without a word,
 * and only when that succeeds by an update, which then finds the ports its own.
 */
void try_again(DDS_DomainParticipant *self, REDAWorker *worker) {
    DDS_DomainParticipantPresentationLocatorsI before;
    const reda::ExclusiveAreaGuard lock(self->ea, worker);

    if (!self->isEnabled) {
        return;
    }
    DDS_DomainParticipantPresentation_copy_locatorsI(&self->presentation, &before);
    (void)NUVNetioConfigurator_refreshInterfaces(self->configurator, worker);
    TrialPorts trial(self, worker);

    if (!reserve_trial(trial, self)) {
        try_again_later(self);
        return;
    }
    (void)take_note_of(self, bring_up_to_date(self, worker));
    if (!DDS_DomainParticipantPresentation_has_locatorsI(&self->presentation, &before)) {
        tell_of_change(self);
    }
}

/** Copies locators out, if the participant is enabled and so has any. */
DDS_ReturnCode_t get_locators(const char *LOG_METHOD, DDS_DomainParticipant *self,
                              enum DDS_DomainParticipantPresentationLocatorKindI kind,
                              DDS_LocatorSeq *locators) {
    if (DDS_DomainParticipantFactory_isForkedI(LOG_METHOD)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    CallWorker worker(self->resources.workerFactory);
    const reda::ExclusiveAreaGuard lock(self->ea, worker.get());
    const PRESLocatorQosPolicy *list =
        DDS_DomainParticipantPresentation_get_locatorsI(&self->presentation, kind);
    const DDS_Long count = self->isEnabled ? list->count : 0;

    if (!DDS_LocatorSeq_ensure_length(locators, count, count)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "locators");
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    for (DDS_Long i = 0; i < count; ++i) {
        DDS_Locator_from_netio_locatorI(DDS_LocatorSeq_get_reference(locators, i),
                                        &list->locatorList[i]);
    }
    return DDS_RETCODE_OK;
}

} // namespace

void DDS_DomainParticipant_on_interfaces_changedI(void *param,
                                                  const NUVNetioInterfaceSnapshot *snapshot,
                                                  REDAWorker *worker) {
    (void)update_locators(static_cast<DDS_DomainParticipant *>(param), snapshot, worker);
}

void DDS_DomainParticipant_on_retryI(void *param, REDAWorker *worker) {
    try_again(static_cast<DDS_DomainParticipant *>(param), worker);
}

void DDS_DomainParticipant_try_again_soonI(DDS_DomainParticipant *self) {
    const NUVNtpTime pause = {1, 0};

    NUVEventActiveDatabase_postEvent(NUVNetioRuntime_getEventDatabase(self->resources.runtime),
                                     &self->retryEvent, &pause);
}

void DDS_DomainParticipant_on_locators_changedI(void *param, REDAWorker *) {
    auto *self = static_cast<DDS_DomainParticipant *>(param);
    const CallbackMark mark;

    self->listener.on_locators_changed(self->listener.listener_data, self);
}

DDS_ReturnCode_t DDS_DomainParticipant_update_locators(DDS_DomainParticipant *self) {
    if (DDSLog_isNull(self)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_DomainParticipantFactory_isForkedI(__func__) ||
        DDS_DomainParticipantResources_isWithinListenerI(&self->resources, __func__)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    CallWorker worker(self->resources.workerFactory);
    const DDS_ReturnCode_t result = update_locators(self, nullptr, worker.get());

    if (result == DDS_RETCODE_NOT_ENABLED) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                    "cannot update the locators: the participant is not enabled");
    }
    return result;
}

DDS_ReturnCode_t DDS_DomainParticipant_get_default_unicast_locators(DDS_DomainParticipant *self,
                                                                    DDS_LocatorSeq *locators) {
    if (DDSLog_isNull(self) || DDSLog_isNull(locators)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return get_locators(__func__, self, DDS_DEFAULT_UNICAST_LOCATORS, locators);
}

DDS_ReturnCode_t DDS_DomainParticipant_get_default_multicast_locators(DDS_DomainParticipant *self,
                                                                      DDS_LocatorSeq *locators) {
    if (DDSLog_isNull(self) || DDSLog_isNull(locators)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return get_locators(__func__, self, DDS_DEFAULT_MULTICAST_LOCATORS, locators);
}

DDS_ReturnCode_t DDS_DomainParticipant_get_metatraffic_unicast_locators(DDS_DomainParticipant *self,
                                                                        DDS_LocatorSeq *locators) {
    if (DDSLog_isNull(self) || DDSLog_isNull(locators)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return get_locators(__func__, self, DDS_METATRAFFIC_UNICAST_LOCATORS, locators);
}

DDS_ReturnCode_t
DDS_DomainParticipant_get_metatraffic_multicast_locators(DDS_DomainParticipant *self,
                                                         DDS_LocatorSeq *locators) {
    if (DDSLog_isNull(self) || DDSLog_isNull(locators)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return get_locators(__func__, self, DDS_METATRAFFIC_MULTICAST_LOCATORS, locators);
}
