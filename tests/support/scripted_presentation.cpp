// SPDX-License-Identifier: Apache-2.0
#include "support/scripted_presentation.h"

#include <algorithm>
#include <cstring>

namespace support {

namespace {

/** A pointer to something that only has to have an address. */
template <typename T>
T *placeOf(char &place) {
    return reinterpret_cast<T *>(&place);
}

char participantPlace;
char configuratorPlace;
char managerPlace;

/** Numeric addresses with a port; an IPv6 address stands in brackets. */
template <typename List>
void fill(List *list, const Texts &addresses, KOLS_Transport_Port_t port) {
    list->count = 0;
    for (const std::string &address : addresses) {
        NUVNetioLocator &locator = list->locatorList[list->count++];
        locator = locatorOf(address);
        locator.port = port;
    }
}

void fill(NUVNetioAliasList *list, const char *name) {
    *list = {};
    std::strncpy(list->aliases, name, sizeof list->aliases - 1);
}

template <typename List>
List listOf(List empty, const Texts &texts) {
    for (const std::string &text : texts) {
        empty.locatorList[empty.count++] = locatorOf(text);
    }
    return empty;
}

} // namespace

NUVNetioLocator locatorOf(const std::string &text) {
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    EXPECT_TRUE(NUVNetioLocator_parse(text.c_str(), &locator)) << text;
    return locator;
}

PRESLocatorQosPolicy locatorsOf(const Texts &texts) {
    return listOf(LOCATOR_QOS_POLICY_DEFAULT, texts);
}

PRESReducedLocatorQosPolicy reducedLocatorsOf(const Texts &texts) {
    return listOf(REDUCED_LOCATOR_QOS_POLICY_DEFAULT, texts);
}

ScriptedPresentation::ScriptedPresentation() {
    const REDAWeakReference nothing = REDA_WEAK_REFERENCE_INVALID;
    self.participant = placeOf<PRESParticipant>(participantPlace);
    self._domainId = 5;
    self.cachedWellKnownPorts = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;
    self._cachedReservedPortMask = DDS_RTPS_RESERVED_PORT_MASK_ALL;
    self._cachedDefaultUnicastLocator = LOCATOR_QOS_POLICY_DEFAULT;
    self._cachedMetatrafficUnicastLocator = LOCATOR_QOS_POLICY_DEFAULT;
    self._cachedDefaultMulticastLocator = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    self._cachedMetatrafficMulticastLocator = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    self._reserveEntryportMetaMulticastWR = nothing;
    self._reserveEntryportUserMulticastWR = nothing;
    self._configurator = placeOf<NUVNetioConfigurator>(configuratorPlace);
    self._maxLocatorListSize = 7;
    nameEverything();
    scriptLocators();
    scriptFacade();
}

void ScriptedPresentation::nameEverything() {
    recorder.name(self.participant, "participant");
    recorder.name(self._configurator, "configurator");
    recorder.name(worker, "worker");
    recorder.name(&self.cachedDiscoveryPolicy, "discovery");
    recorder.name(&self._cachedTransportUnicastPolicy, "default_unicast");
    recorder.name(&self.cachedWellKnownPorts, "ports");
    recorder.name(&self._reserveEntryportMetaMulticastWR, "metaMulticast");
    recorder.name(&self._reserveEntryportUserMulticastWR, "userMulticast");
    recorder.name(&self._cachedDefaultUnicastLocator, "cachedDefaultUnicast");
    recorder.name(&self._cachedMetatrafficUnicastLocator, "cachedMetaUnicast");
    recorder.name(&self._cachedDefaultMulticastLocator, "cachedDefaultMulticast");
    recorder.name(&self._cachedMetatrafficMulticastLocator, "cachedMetaMulticast");
    for (int i = 0; i < DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX; ++i) {
        const std::string place = '[' + std::to_string(i) + ']';
        recorder.name(&self._reserveMetaUnicast._entryportWR[i], "metaUnicast" + place);
        recorder.name(&self._reserveUserUnicast._entryportWR[i], "userUnicast" + place);
    }
}

void ScriptedPresentation::scriptLocators() {
    recorder.replace("DDS_DiscoveryQosPolicy_to_multicast_locators",
                     [this](const DDS_DiscoveryQosPolicy *, PRESReducedLocatorQosPolicy *locators,
                            NUVNetioAliasList *aliases, const DDS_RtpsWellKnownPorts_t *ports,
                            DDS_Long, DDS_DomainId_t domainId, NUVNetioConfigurator *,
                            REDAWorker *) -> DDS_ReturnCode_t {
                         fill(locators, multicastAddresses,
                              ports->port_base + ports->domain_id_gain * domainId +
                                  ports->builtin_multicast_port_offset);
                         fill(aliases, "multicast");
                         return DDS_RETCODE_OK;
                     });
    recorder.replace("DDS_DiscoveryQosPolicy_to_unicast_locators",
                     [this](const DDS_DiscoveryQosPolicy *, PRESLocatorQosPolicy *locators,
                            NUVNetioAliasList *aliases, const DDS_RtpsWellKnownPorts_t *ports,
                            DDS_Long, DDS_DomainId_t domainId, DDS_Long participantIndex,
                            NUVNetioConfigurator *, REDAWorker *) -> DDS_ReturnCode_t {
                         fill(locators, metaAddresses,
                              ports->port_base + ports->domain_id_gain * domainId +
                                  ports->participant_id_gain * participantIndex +
                                  ports->builtin_unicast_port_offset);
                         fill(aliases, "meta");
                         return DDS_RETCODE_OK;
                     });
    recorder.replace("DDS_TransportUnicastQosPolicy_to_default_locators",
                     [this](const DDS_TransportUnicastQosPolicy *, PRESLocatorQosPolicy *locators,
                            DDS_Long, DDS_DomainId_t domainId, DDS_Long participantIndex,
                            const DDS_RtpsWellKnownPorts_t *ports, NUVNetioAliasList *aliases,
                            NUVNetioConfigurator *, int, REDAWorker *) -> DDS_ReturnCode_t {
                         fill(locators, userAddresses,
                              ports->port_base + ports->domain_id_gain * domainId +
                                  ports->participant_id_gain * participantIndex +
                                  ports->user_unicast_port_offset);
                         fill(aliases, "user");
                         return DDS_RETCODE_OK;
                     });
}

void ScriptedPresentation::scriptFacade() {
    recorder.scriptedFacade();
    recorder.replace("COMMENDFacade.addEntryport",
                     [this](COMMENDFacade *, REDAWeakReference *out,
                            const NUVNetioLocatorInfo *info, REDAWorker *) -> int {
                         if (takenPorts.contains(info->locator.port)) {
                             return 0;
                         }
                         *out = someReference(reservations_);
                         held_[reservations_++] = describe(info->locator);
                         return 1;
                     });
    recorder.replace("COMMENDFacade.removeEntryport",
                     [this](COMMENDFacade *, REDAWeakReference *reference, REDAWorker *) -> int {
                         return held_.erase(reference->_index) != 0 ? 1 : 0;
                     });
}

DDS_ReturnCode_t ScriptedPresentation::reserve(DDS_Long requested) {
    index = requested;
    return DDS_DomainParticipantPresentation_reserve_participant_index_entryports(&self, &index,
                                                                                  worker);
}

Texts ScriptedPresentation::held() const {
    Texts locators;
    for (const auto &[slot, locator] : held_) {
        locators.push_back(locator);
    }
    return locators;
}

REDAWeakReference ScriptedPresentation::someReference(NUV_UINT32 slot) {
    return {placeOf<REDAWeakReferenceManager>(managerPlace), slot, 1};
}

void ScriptedPresentation::wantForWorkerOnly(NUV_UINT32 level) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, 0);
    NUVLog_storeMask(&NUVLog_g_categoryMask[level], 4);
    context.category = 6;
}

} // namespace support
