// SPDX-License-Identifier: Apache-2.0
// The update of a participant's locators: what is asked for, reserved, released and announced.
#include <algorithm>
#include <cstring>
#include <regex>

#include "update_fixture.h"

using namespace support;

namespace {

const Texts HELD_BEFORE = {"udpv4://239.255.0.1:8650",  "udpv4://239.255.0.1:8651",
                           "udpv4://192.0.2.1:8666",    "udpv4://192.0.2.2:8666",
                           "udpv4://198.51.100.1:8667", "udpv4://198.51.100.2:8667"};

/** Texts are written into buffers of the callees' frames, which may be the same ones or not. */
std::string withoutNumbersOfBuffers(const std::string &calls) {
    return std::regex_replace(calls, std::regex("char#[0-9]+"), "char#");
}

// ---- calls

TEST_F(Update, MakesTheseCallsWhenEveryListHasChanged) {
    userAddresses = {"198.51.100.1", "198.51.100.9"};
    metaAddresses = {"192.0.2.9"};
    multicastAddresses = {"239.255.0.7", "239.255.0.8"};
    Recording calls(recorder);
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(
        withoutNumbersOfBuffers(calls.text()),
        lines({
            "DDS_DomainParticipant_get_participant_user_data_max_lengthI(owner)",
            "DDS_DomainParticipant_get_participant_property_list_max_lengthI(owner)",
            "DDS_DomainParticipant_get_participant_property_string_max_lengthI(owner)",
            "DDS_DomainParticipantQos_setup_presentation_qosI(DDS_DomainParticipantQos#1, "
            "PRESParticipantProperty#1, 256, 32, 2048)",
            "PRESParticipantProperty_setPartitionBuffer(PRESParticipantProperty#1, char#)",
            "PRESParticipant_getProperty(participant, PRESParticipantProperty#1, worker)",
            // default unicast: into the property before the comparison
            "DDS_TransportUnicastQosPolicy_to_default_locators(default_unicast, &locators, 16, 5, "
            "3, ports, &aliases, configurator, 0, worker)",
            "PRESLocatorQosPolicy_copy(property.defaultUnicast, {udpv4://198.51.100.1:8667, "
            "udpv4://198.51.100.9:8667})",
            "PRESLocatorQosPolicy_compare(cachedDefaultUnicast, {udpv4://198.51.100.1:8667, "
            "udpv4://198.51.100.9:8667})",
            "PRESLocatorQosPolicy_toString(cachedDefaultUnicast, char#, 1024)",
            "PRESLocatorQosPolicy_toString({udpv4://198.51.100.1:8667, "
            "udpv4://198.51.100.9:8667}, char#, 1024)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://198.51.100.1:8667, 0, "
            "\"user\"}, worker)",
            "COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://198.51.100.9:8667, 0, "
            "\"user\"}, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.removeEntryport(facade, userUnicast[0], worker)",
            "COMMENDFacade.removeEntryport(facade, userUnicast[1], worker)",
            "PRESLocatorQosPolicy_copy(cachedDefaultUnicast, {udpv4://198.51.100.1:8667, "
            "udpv4://198.51.100.9:8667})",
            // metatraffic unicast: into the property after the comparison
            "DDS_DiscoveryQosPolicy_to_unicast_locators(discovery, &locators, &aliases, ports, 16, "
            "5, 3, configurator, worker)",
            "PRESLocatorQosPolicy_compare(cachedMetaUnicast, {udpv4://192.0.2.9:8666})",
            "PRESLocatorQosPolicy_toString(cachedMetaUnicast, char#, 1024)",
            "PRESLocatorQosPolicy_toString({udpv4://192.0.2.9:8666}, char#, 1024)",
            "PRESLocatorQosPolicy_copy(property.metaUnicast, {udpv4://192.0.2.9:8666})",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://192.0.2.9:8666, 0, "
            "\"meta\"}, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.removeEntryport(facade, metaUnicast[0], worker)",
            "COMMENDFacade.removeEntryport(facade, metaUnicast[1], worker)",
            "PRESLocatorQosPolicy_copy(cachedMetaUnicast, {udpv4://192.0.2.9:8666})",
            // metatraffic multicast: both lists into the property, one entryport
            "DDS_DiscoveryQosPolicy_to_multicast_locators(discovery, &locators, &aliases, ports, "
            "1, 5, configurator, worker)",
            "PRESLocatorQosPolicy_compare(cachedMetaMulticast, {udpv4://239.255.0.7:8650, "
            "udpv4://239.255.0.8:8650})",
            "PRESLocatorQosPolicy_toString(cachedMetaMulticast, char#, 1024)",
            "PRESLocatorQosPolicy_toString({udpv4://239.255.0.7:8650, udpv4://239.255.0.8:8650}, "
            "char#, 1024)",
            "PRESLocatorQosPolicy_copy(property.metaMulticast, {udpv4://239.255.0.7:8650, "
            "udpv4://239.255.0.8:8650})",
            "PRESLocatorQosPolicy_copy(property.defaultMulticast, {})",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://239.255.0.7:8650, 0, "
            "\"multicast\"}, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.removeEntryport(facade, metaMulticast, worker)",
            "PRESLocatorQosPolicy_copy(cachedMetaMulticast, {udpv4://239.255.0.7:8650, "
            "udpv4://239.255.0.8:8650})",
            "PRESParticipant_setProperty(participant, &failReason=0x0, PRESParticipantProperty#1, "
            "worker)",
            "DDS_DomainParticipantQos_finalize(DDS_DomainParticipantQos#1)",
            "DDS_DomainParticipantQos_finalize_presentation_qosI(PRESParticipantProperty#1)",
        }));
}

TEST_F(Update, MakesTheSameCallsWithoutTheTextsWhenNothingHasChanged) {
    Recording calls(recorder, except({"DDS_DomainParticipant_get*"}));
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({
            "DDS_DomainParticipantQos_setup_presentation_qosI(DDS_DomainParticipantQos#1, "
            "PRESParticipantProperty#1, 256, 32, 2048)",
            "PRESParticipantProperty_setPartitionBuffer(PRESParticipantProperty#1, char#1)",
            "PRESParticipant_getProperty(participant, PRESParticipantProperty#1, worker)",
            "DDS_TransportUnicastQosPolicy_to_default_locators(default_unicast, &locators, 16, 5, "
            "3, ports, &aliases, configurator, 0, worker)",
            "PRESLocatorQosPolicy_copy(property.defaultUnicast, {udpv4://198.51.100.1:8667, "
            "udpv4://198.51.100.2:8667})",
            "PRESLocatorQosPolicy_compare(cachedDefaultUnicast, {udpv4://198.51.100.1:8667, "
            "udpv4://198.51.100.2:8667})",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://198.51.100.1:8667, 0, "
            "\"user\"}, worker)",
            "COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://198.51.100.2:8667, 0, "
            "\"user\"}, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.removeEntryport(facade, userUnicast[0], worker)",
            "COMMENDFacade.removeEntryport(facade, userUnicast[1], worker)",
            "PRESLocatorQosPolicy_copy(cachedDefaultUnicast, {udpv4://198.51.100.1:8667, "
            "udpv4://198.51.100.2:8667})",
            "DDS_DiscoveryQosPolicy_to_unicast_locators(discovery, &locators, &aliases, ports, 16, "
            "5, 3, configurator, worker)",
            "PRESLocatorQosPolicy_compare(cachedMetaUnicast, {udpv4://192.0.2.1:8666, "
            "udpv4://192.0.2.2:8666})",
            "PRESLocatorQosPolicy_copy(property.metaUnicast, {udpv4://192.0.2.1:8666, "
            "udpv4://192.0.2.2:8666})",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://192.0.2.1:8666, 0, "
            "\"meta\"}, worker)",
            "COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://192.0.2.2:8666, 0, "
            "\"meta\"}, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.removeEntryport(facade, metaUnicast[0], worker)",
            "COMMENDFacade.removeEntryport(facade, metaUnicast[1], worker)",
            "PRESLocatorQosPolicy_copy(cachedMetaUnicast, {udpv4://192.0.2.1:8666, "
            "udpv4://192.0.2.2:8666})",
            "DDS_DiscoveryQosPolicy_to_multicast_locators(discovery, &locators, &aliases, ports, "
            "1, 5, configurator, worker)",
            "PRESLocatorQosPolicy_compare(cachedMetaMulticast, {udpv4://239.255.0.1:8650, "
            "udpv4://239.255.0.2:8650})",
            "PRESLocatorQosPolicy_copy(property.metaMulticast, {udpv4://239.255.0.1:8650, "
            "udpv4://239.255.0.2:8650})",
            "PRESLocatorQosPolicy_copy(property.defaultMulticast, {})",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://239.255.0.1:8650, 0, "
            "\"multicast\"}, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.removeEntryport(facade, metaMulticast, worker)",
            "PRESLocatorQosPolicy_copy(cachedMetaMulticast, {udpv4://239.255.0.1:8650, "
            "udpv4://239.255.0.2:8650})",
            "PRESParticipant_setProperty(participant, &failReason=0x0, PRESParticipantProperty#1, "
            "worker)",
            "DDS_DomainParticipantQos_finalize(DDS_DomainParticipantQos#1)",
            "DDS_DomainParticipantQos_finalize_presentation_qosI(PRESParticipantProperty#1)",
        }));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(Update, AllocatesNothingItself) {
    const int before = recorder.count("NUVOsapiHeap_reallocateMemoryInternal");
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(recorder.count("NUVOsapiHeap_reallocateMemoryInternal"), before);
}

TEST_F(Update, SetsUpBuffersOfTheOwnersLimits) {
    owner.qos.resource_limits = {12, 1001, 11, 3003, 4096};
    Recording calls(recorder, only({"DDS_DomainParticipantQos_setup_presentation_qosI"}));
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({"DDS_DomainParticipantQos_setup_presentation_qosI(DDS_DomainParticipantQos#1, "
                     "PRESParticipantProperty#1, 1001, 11, 3003)"}));
}

TEST_F(Update, ComputesForTheIndexThatItIsGiven) {
    EXPECT_EQ(update(7), DDS_RETCODE_OK);
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator),
              "{udpv4://198.51.100.1:8675, udpv4://198.51.100.2:8675}");
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator),
              "{udpv4://192.0.2.1:8674, udpv4://192.0.2.2:8674}");
}

TEST_F(Update, HandsANegativeIndexOnAsItIs) {
    Recording calls(recorder,
                    only({"DDS_TransportUnicastQosPolicy_*", "DDS_DiscoveryQosPolicy_*"}));
    EXPECT_EQ(update(-2), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({
                  "DDS_TransportUnicastQosPolicy_to_default_locators(default_unicast, &locators, "
                  "16, 5, -2, ports, &aliases, configurator, 0, worker)",
                  "DDS_DiscoveryQosPolicy_to_unicast_locators(discovery, &locators, &aliases, "
                  "ports, 16, 5, -2, configurator, worker)",
                  "DDS_DiscoveryQosPolicy_to_multicast_locators(discovery, &locators, &aliases, "
                  "ports, 1, 5, configurator, worker)",
              }));
}

TEST_F(Update, StartsTheSettingUpFromADefaultPropertyAndAnEmptyQos) {
    int looks = 0;
    bool isQosEmpty = false;
    recorder.replace("DDS_DomainParticipantQos_setup_presentation_qosI",
                     [&](const DDS_DomainParticipantQos *scratch, PRESParticipantProperty *property,
                         DDS_Long, DDS_Long, DDS_Long) -> DDS_ReturnCode_t {
                         const DDS_DomainParticipantQos empty =
                             DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
                         isQosEmpty = DDS_DomainParticipantQos_is_equal(scratch, &empty);
                         expectDefault(*property);
                         ++looks;
                         return DDS_RETCODE_OK;
                     });
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_TRUE(isQosEmpty);
    EXPECT_EQ(looks, 1);
}

TEST_F(Update, LendsABufferForPartitions) {
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    ASSERT_TRUE(pushed.has_value());
    EXPECT_NE(pushed->parameter.partitionQosPolicy.name.str, nullptr);
    EXPECT_EQ(pushed->parameter.partitionQosPolicy.name._maximum, 256);
}

/** "empty" when a list is as its initializer. */
template <typename List>
std::string isEmpty(const List &list) {
    NUVNetioLocator invalid = NUV_NETIO_LOCATOR_INVALID;
    const bool isEmpty =
        list.count == 0 && std::ranges::all_of(list.locatorList, [&](auto &one) {
            return NUVNetioLocator_isSame(&one, &invalid) && one.hostname == nullptr;
        });
    return isEmpty ? "empty" : "not empty";
}

TEST_F(Update, StartsEachListEmpty) {
    Texts lists;
    const auto unicast = [&](const PRESLocatorQosPolicy *list, const NUVNetioAliasList *aliases) {
        lists.push_back(isEmpty(*list) + describe(*aliases) + (isZero(*aliases) ? " zeroed" : ""));
    };
    recorder.replace("DDS_TransportUnicastQosPolicy_to_default_locators",
                     [&](const DDS_TransportUnicastQosPolicy *, PRESLocatorQosPolicy *locators,
                         DDS_Long, DDS_DomainId_t, DDS_Long, const DDS_RtpsWellKnownPorts_t *,
                         NUVNetioAliasList *aliases, NUVNetioConfigurator *, int,
                         REDAWorker *) -> DDS_ReturnCode_t {
                         unicast(locators, aliases);
                         return DDS_RETCODE_OK;
                     });
    recorder.replace("DDS_DiscoveryQosPolicy_to_unicast_locators",
                     [&](const DDS_DiscoveryQosPolicy *, PRESLocatorQosPolicy *locators,
                         NUVNetioAliasList *aliases, const DDS_RtpsWellKnownPorts_t *, DDS_Long,
                         DDS_DomainId_t, DDS_Long, NUVNetioConfigurator *,
                         REDAWorker *) -> DDS_ReturnCode_t {
                         unicast(locators, aliases);
                         std::strcpy(aliases->aliases, "discovery");
                         return DDS_RETCODE_OK;
                     });
    recorder.replace("DDS_DiscoveryQosPolicy_to_multicast_locators",
                     [&](const DDS_DiscoveryQosPolicy *, PRESReducedLocatorQosPolicy *locators,
                         NUVNetioAliasList *aliases, const DDS_RtpsWellKnownPorts_t *, DDS_Long,
                         DDS_DomainId_t, NUVNetioConfigurator *, REDAWorker *) -> DDS_ReturnCode_t {
                         lists.push_back(isEmpty(*locators) + describe(*aliases));
                         return DDS_RETCODE_OK;
                     });
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(lists, (Texts{"empty\"\" zeroed", "empty\"\" zeroed", "empty\"discovery\""}))
        << "the multicast computation is handed the aliases of discovery";
}

// ---- the record afterwards

TEST_F(Update, HoldsThePortsOfTheNewListsOnly) {
    ASSERT_EQ(held(), HELD_BEFORE);
    userAddresses = {"198.51.100.1", "198.51.100.9"};
    metaAddresses = {"192.0.2.9"};
    multicastAddresses = {"239.255.0.7"};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(held(), (Texts{"udpv4://239.255.0.1:8651", "udpv4://198.51.100.1:8667",
                             "udpv4://198.51.100.9:8667", "udpv4://192.0.2.9:8666",
                             "udpv4://239.255.0.7:8650"}))
        << "the user multicast port is as it was";
}

TEST_F(Update, StoresTheNewListsAndHandles) {
    userAddresses = {"198.51.100.7", "198.51.100.8", "198.51.100.9"};
    metaAddresses = {"192.0.2.9"};
    multicastAddresses = {"239.255.0.7"};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator),
              "{udpv4://198.51.100.7:8667, udpv4://198.51.100.8:8667, udpv4://198.51.100.9:8667}");
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator), "{udpv4://192.0.2.9:8666}");
    EXPECT_EQ(describe(self._cachedMetatrafficMulticastLocator), "{udpv4://239.255.0.7:8650}");
    ASSERT_EQ(self._reserveUserUnicast._count, 3);
    ASSERT_EQ(self._reserveMetaUnicast._count, 1);
    // Six reservations were made before: the new ones are numbered from 6 on.
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(describe(self._reserveUserUnicast._entryportWR[i]),
                  "{manager, " + std::to_string(6 + i) + ", 1}");
    }
    EXPECT_EQ(describe(self._reserveMetaUnicast._entryportWR[0]), "{manager, 9, 1}");
    EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR), "{manager, 10, 1}");
    EXPECT_EQ(describe(self._reserveEntryportUserMulticastWR), "{manager, 1, 1}");
}

TEST_F(Update, ChangesNothingElseInTheRecord) {
    userAddresses = {"198.51.100.9"};
    metaAddresses = {"192.0.2.9"};
    multicastAddresses = {"239.255.0.7"};
    DDS_DomainParticipantPresentation record;
    std::memcpy(&record, &self, sizeof self);
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    record._cachedDefaultUnicastLocator = self._cachedDefaultUnicastLocator;
    record._cachedMetatrafficUnicastLocator = self._cachedMetatrafficUnicastLocator;
    record._cachedMetatrafficMulticastLocator = self._cachedMetatrafficMulticastLocator;
    record._reserveUserUnicast = self._reserveUserUnicast;
    record._reserveMetaUnicast = self._reserveMetaUnicast;
    record._reserveEntryportMetaMulticastWR = self._reserveEntryportMetaMulticastWR;
    EXPECT_EQ(std::memcmp(&record, &self, sizeof self), 0);
}

TEST_F(Update, LeavesTheFlagOfReservedPortsAlone) {
    for (const int flag : {0, 7}) {
        self._entryportsReserved = flag;
        EXPECT_EQ(update(), DDS_RETCODE_OK);
        EXPECT_EQ(self._entryportsReserved, flag);
    }
}

TEST_F(Update, TakesTheNewSetsOverWholly) {
    // Each reservation fills the rest of its set, too, so that it can be seen where that goes.
    const auto fillRest = [](REDAWeakReference *out, NUV_UINT32 first) {
        for (NUV_UINT32 i = 0; i < 16; ++i) {
            out[i] = someReference(first + i);
        }
    };
    recorder.replace("COMMENDFacade.addEntryport",
                     [&](COMMENDFacade *, REDAWeakReference *out, const NUVNetioLocatorInfo *info,
                         REDAWorker *) -> int {
                         const std::string kind = info->aliasList.aliases;
                         if (kind == "multicast") {
                             *out = someReference(300);
                         } else {
                             fillRest(out, kind == "user" ? 100 : 200);
                         }
                         return 1;
                     });
    userAddresses = {"198.51.100.9"};
    metaAddresses = {"192.0.2.9"};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    ASSERT_EQ(self._reserveUserUnicast._count, 1);
    ASSERT_EQ(self._reserveMetaUnicast._count, 1);
    for (NUV_UINT32 i = 0; i < 16; ++i) {
        EXPECT_EQ(self._reserveUserUnicast._entryportWR[i]._index, 100 + i);
        EXPECT_EQ(self._reserveMetaUnicast._entryportWR[i]._index, 200 + i);
    }
}

class UpdateMask : public Update, public testing::WithParamInterface<int> {};

TEST_P(UpdateMask, DoesNotMatter) {
    self._cachedReservedPortMask = GetParam();
    userAddresses = {"198.51.100.9"};
    metaAddresses = {"192.0.2.9"};
    multicastAddresses = {"239.255.0.7"};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(held(), (Texts{"udpv4://239.255.0.1:8651", "udpv4://198.51.100.9:8667",
                             "udpv4://192.0.2.9:8666", "udpv4://239.255.0.7:8650"}));
    EXPECT_EQ(log.messages().size(), 3u);
    EXPECT_EQ(self._cachedReservedPortMask, GetParam());
}

INSTANTIATE_TEST_SUITE_P(OfReservedPorts, UpdateMask, testing::Range(0, 16));

TEST_F(Update, ReservesForAllSixteenLocators) {
    userAddresses.clear();
    for (int i = 1; i <= 16; ++i) {
        userAddresses.push_back("198.51.100." + std::to_string(i));
    }
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(self._reserveUserUnicast._count, 16);
    EXPECT_EQ(self._cachedDefaultUnicastLocator.count, 16);
    EXPECT_EQ(held().size(), 16u + 2u + 2u);
}

TEST_F(Update, ReleasesAllPortsOfAListThatBecomesEmpty) {
    userAddresses.clear();
    metaAddresses.clear();
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(held(), (Texts{"udpv4://239.255.0.1:8651", "udpv4://239.255.0.1:8650"}));
    EXPECT_EQ(self._reserveUserUnicast._count, 0);
    EXPECT_EQ(self._reserveMetaUnicast._count, 0);
    EXPECT_EQ(self._cachedDefaultUnicastLocator.count, 0);
    ASSERT_TRUE(pushed.has_value());
    EXPECT_EQ(pushed->parameter.defaultUnicastLocator.count, 0);
    EXPECT_EQ(log.messages(),
              Messages({changeLine("Default unicast",
                                   "udpv4://198.51.100.1:8667, udpv4://198.51.100.2:8667", ""),
                        changeLine("Metatraffic unicast",
                                   "udpv4://192.0.2.1:8666, udpv4://192.0.2.2:8666", "")}));
}

TEST_F(Update, ReservesForAParticipantThatHeldNothing) {
    DDS_DomainParticipantPresentation_release_participant_index_entryports(&self, worker);
    ASSERT_EQ(held(), Texts());
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(held(), (Texts{"udpv4://198.51.100.1:8667", "udpv4://198.51.100.2:8667",
                             "udpv4://192.0.2.1:8666", "udpv4://192.0.2.2:8666",
                             "udpv4://239.255.0.1:8650"}));
}

// ---- multicast

TEST_F(Update, ReservesForTheFirstMulticastLocatorOnly) {
    multicastAddresses = {"239.255.0.7", "239.255.0.8", "239.255.0.9", "239.255.0.10"};
    Recording calls(recorder, only({"COMMENDFacade.addEntryport"}));
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    ASSERT_EQ(calls.calls().size(), 2u + 2u + 1u);
    EXPECT_EQ(calls.calls().back(), "COMMENDFacade.addEntryport(facade, &entryportWROut, "
                                    "{udpv4://239.255.0.7:8650, 0, \"multicast\"}, worker)");
    EXPECT_EQ(self._cachedMetatrafficMulticastLocator.count, 4);
}

TEST_F(Update, KeepsTheMulticastListAndItsPortWhenTheNewListIsEmpty) {
    multicastAddresses.clear();
    Recording calls(recorder, only({"COMMENDFacade.*"}));
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.calls().size(), 8u) << "for unicast only: " << calls.text();
    EXPECT_EQ(describe(self._cachedMetatrafficMulticastLocator),
              "{udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650}");
    EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR), "{manager, 0, 1}");
}

TEST_F(Update, AnnouncesAnEmptyMulticastListAllTheSame) {
    multicastAddresses.clear();
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    ASSERT_TRUE(pushed.has_value());
    EXPECT_EQ(pushed->parameter.metatrafficMulticastLocator.count, 0);
    EXPECT_EQ(log.messages(),
              Messages({changeLine("Metatraffic multicast",
                                   "udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650", "")}));
}

TEST_F(Update, LogsAnEmptyMulticastListEachTimeBecauseTheOldOneIsKept) {
    multicastAddresses.clear();
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    log.clear();
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages().size(), 1u);
}

TEST_F(Update, EmptiesTheDefaultMulticastListOfTheProperty) {
    running.parameter.defaultMulticastLocator = reducedLocatorsOf({"udpv4://239.255.3.3:33"});
    self._cachedDefaultMulticastLocator = reducedLocatorsOf({"udpv4://239.255.4.4:44"});
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    ASSERT_TRUE(pushed.has_value());
    EXPECT_EQ(pushed->parameter.defaultMulticastLocator.count, 0);
    EXPECT_EQ(describe(self._cachedDefaultMulticastLocator), "{udpv4://239.255.4.4:44}")
        << "the record's own list is left alone";
}

// ---- the property

TEST_F(Update, PushesTheNewLists) {
    userAddresses = {"198.51.100.9"};
    metaAddresses = {"192.0.2.9"};
    multicastAddresses = {"239.255.0.7"};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    ASSERT_TRUE(pushed.has_value());
    const PRESParticipantParameter &parameter = pushed->parameter;
    EXPECT_EQ(describe(parameter.defaultUnicastLocator), "{udpv4://198.51.100.9:8667}");
    EXPECT_EQ(describe(parameter.metatrafficUnicastLocator), "{udpv4://192.0.2.9:8666}");
    EXPECT_EQ(describe(parameter.metatrafficMulticastLocator), "{udpv4://239.255.0.7:8650}");
}

TEST_F(Update, PushesEverythingElseAsItRuns) {
    running.directedWriteGuidSerializationKind = 2;
    running.parameter.participantIndex = 17;
    running.parameter.autoenableCreatedEntities = 0;
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    ASSERT_TRUE(pushed.has_value());
    EXPECT_EQ(pushed->directedWriteGuidSerializationKind, 2);
    EXPECT_EQ(pushed->parameter.participantIndex, 17);
    EXPECT_EQ(pushed->parameter.autoenableCreatedEntities, 0);
}

// ---- the lines

TEST_F(Update, LogsAChangeOfTheDefaultUnicastList) {
    userAddresses = {"198.51.100.1", "198.51.100.2", "198.51.100.3"};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(),
              Messages({changeLine("Default unicast",
                                   "udpv4://198.51.100.1:8667, udpv4://198.51.100.2:8667",
                                   "udpv4://198.51.100.1:8667, udpv4://198.51.100.2:8667, "
                                   "udpv4://198.51.100.3:8667")}));
}

TEST_F(Update, LogsAChangeOfTheMetatrafficUnicastList) {
    metaAddresses = {"192.0.2.1"};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({changeLine("Metatraffic unicast",
                                                   "udpv4://192.0.2.1:8666, udpv4://192.0.2.2:8666",
                                                   "udpv4://192.0.2.1:8666")}));
}

TEST_F(Update, LogsAChangeOfTheMetatrafficMulticastList) {
    multicastAddresses = {"239.255.0.1", "239.255.0.3"};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(),
              Messages({changeLine("Metatraffic multicast",
                                   "udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650",
                                   "udpv4://239.255.0.1:8650, udpv4://239.255.0.3:8650")}));
}

TEST_F(Update, LogsAChangeForAnyNonZeroComparison) {
    for (const int difference : {-1, -256, 2}) {
        recorder.replace("PRESLocatorQosPolicy_compare",
                         [difference](const PRESLocatorQosPolicy *, const PRESLocatorQosPolicy *) {
                             return difference;
                         });
        log.clear();
        EXPECT_EQ(update(), DDS_RETCODE_OK);
        EXPECT_EQ(log.messages().size(), 3u) << difference;
    }
}

TEST_F(Update, LogsEachChangeOnce) {
    userAddresses = {"198.51.100.9"};
    metaAddresses = {"192.0.2.9"};
    multicastAddresses = {"239.255.0.7"};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(
        log.messages(),
        Messages(
            {changeLine("Default unicast", "udpv4://198.51.100.1:8667, udpv4://198.51.100.2:8667",
                        "udpv4://198.51.100.9:8667"),
             changeLine("Metatraffic unicast", "udpv4://192.0.2.1:8666, udpv4://192.0.2.2:8666",
                        "udpv4://192.0.2.9:8666"),
             changeLine("Metatraffic multicast",
                        "udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650",
                        "udpv4://239.255.0.7:8650")}));
    log.clear();
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages());
}

} // namespace
