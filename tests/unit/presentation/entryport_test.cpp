// SPDX-License-Identifier: Apache-2.0
// Reserving and releasing receive ports through the facade: one, and a whole set.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "stack.h"
#include "support/scripted_presentation.h"

using namespace support;

namespace {

const REDAWeakReference NOTHING = REDA_WEAK_REFERENCE_INVALID;

std::string bytesOf(const void *object, size_t size) {
    const auto *bytes = static_cast<const std::uint8_t *>(object);
    std::string text;
    for (size_t i = 0; i < size; ++i) {
        text += hex(bytes[i]) + ' ';
    }
    return text;
}

/** A locator without a zero byte in its fields, and none but zeroes between them. */
NUVNetioLocator fullLocator(NUV_UINT8 fill) {
    NUVNetioLocator locator;
    std::memset(&locator, 0, sizeof locator);
    std::memset(&locator.transport, fill, sizeof locator.transport);
    std::memset(&locator.address, fill, sizeof locator.address);
    locator.hostname = "host.example";
    std::memset(&locator.port, fill, sizeof locator.port);
    std::memset(&locator.encapsulationCount, fill, sizeof locator.encapsulationCount);
    std::memset(&locator.encapsulations, fill, sizeof locator.encapsulations);
    std::memset(&locator.lossProbability, fill, sizeof locator.lossProbability);
    std::memset(&locator.disabled, fill, sizeof locator.disabled);
    return locator;
}

/** An alias list whose last byte, behind the end of the text, is not zero. */
NUVNetioAliasList fullAliasList() {
    NUVNetioAliasList list;
    std::memset(&list, 'a', sizeof list);
    list.aliases[NUV_NETIO_ALIAS_LIST_SIZE - 2] = 0;
    list.aliases[NUV_NETIO_ALIAS_LIST_SIZE - 1] = 'z';
    return list;
}

/** The request for a locator, every other byte zero. */
std::string requestBytes(const NUVNetioLocator &locator) {
    const NUVNetioAliasList aliases = fullAliasList();
    NUVNetioLocatorInfo request;
    std::memset(&request, 0, sizeof request);
    std::memcpy(&request.locator, &locator, sizeof locator);
    std::memcpy(&request.aliasList, &aliases, sizeof aliases);
    return bytesOf(&request, sizeof request);
}

class Entryport : public ScriptedPresentation {
protected:
    Entryport() {
        recorder.name(&reference, "entryport");
        for (int i = 0; i < DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX; ++i) {
            recorder.name(&set._entryportWR[i], "set[" + std::to_string(i) + ']');
            set._entryportWR[i] = NOTHING;
        }
    }

    /** Keeps the bytes of every request. */
    void keepRequests() {
        recorder.replace("COMMENDFacade.addEntryport",
                         [this](COMMENDFacade *, REDAWeakReference *out,
                                const NUVNetioLocatorInfo *info, REDAWorker *) -> int {
                             requests.push_back(bytesOf(info, sizeof *info));
                             referencesBefore.push_back(describe(*out));
                             return 1;
                         });
    }

    DDS_Boolean reserveOne(const std::string &locator) {
        const NUVNetioLocator one = locatorOf(locator);
        return DDS_DomainParticipantPresentation_reserve_entryportI(&self, &reference, &aliases,
                                                                    &one, worker);
    }

    DDS_Boolean reserveSet(PRESLocatorQosPolicy locators) {
        return DDS_DomainParticipantPresentation_reserve_entryport_setI(&self, &aliases, &locators,
                                                                        &set, worker);
    }

    void releaseOne() {
        DDS_DomainParticipantPresentation_release_entryportI(&self, &reference, worker);
    }

    void releaseSet() {
        DDS_DomainParticipantPresentation_release_entryport_setI(&self, &set, worker);
    }

    REDAWeakReference reference = NOTHING;
    DDS_DomainParticipantPresentationEntryportSet set{};
    NUVNetioAliasList aliases = {"udpv4"};
    Texts requests;
    Texts referencesBefore;
};

// ---- one

TEST_F(Entryport, IsReservedThroughTheParticipantsFacade) {
    Recording calls(recorder);
    EXPECT_EQ(reserveOne("udpv4://192.0.2.1:7410"), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(calls.text(), lines({
                                "PRESParticipant_getFacade(participant)",
                                "COMMENDFacade.addEntryport(facade, entryport, "
                                "{udpv4://192.0.2.1:7410, 0, \"udpv4\"}, worker)",
                            }));
    EXPECT_EQ(describe(reference), describe(someReference(0)));
    EXPECT_EQ(held(), Texts({"udpv4://192.0.2.1:7410"}));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(Entryport, AnswersTrueForAnyNonZeroResult) {
    recorder.fail("COMMENDFacade.addEntryport", {.result = 256});
    EXPECT_EQ(reserveOne("udpv4://192.0.2.1:7410"), DDS_BOOLEAN_TRUE);
}

TEST_F(Entryport, RequestIsTheLocatorTheWholeAliasListAndZeroes) {
    const NUVNetioLocator locator = fullLocator(0x11);
    const NUVNetioAliasList full = fullAliasList();
    keepRequests();
    dirtyTheStack();
    DDS_DomainParticipantPresentation_reserve_entryportI(&self, &reference, &full, &locator,
                                                         worker);
    EXPECT_EQ(requests, Texts({requestBytes(locator)}));
}

TEST_F(Entryport, ReferenceIsInvalidBeforeItIsReserved) {
    reference = someReference(77);
    keepRequests();
    EXPECT_EQ(reserveOne("udpv4://192.0.2.1:7410"), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(referencesBefore, Texts({"{invalid}"}));
}

TEST_F(Entryport, ReferenceIsInvalidAfterAFailure) {
    reference = someReference(77);
    takenPorts = {7410};
    Recording calls(recorder, only({"COMMENDFacade.*"}));
    EXPECT_EQ(reserveOne("udpv4://192.0.2.1:7410"), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(describe(reference), "{invalid}");
    EXPECT_EQ(calls.text(), lines({
                                "COMMENDFacade.addEntryport(facade, entryport, "
                                "{udpv4://192.0.2.1:7410, 0, \"udpv4\"}, worker)",
                            }));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(Entryport, IsReleasedWhenHeld) {
    reference = someReference(3);
    std::string atRemoval;
    recorder.replace("COMMENDFacade.removeEntryport",
                     [&](COMMENDFacade *, REDAWeakReference *out, REDAWorker *) -> int {
                         atRemoval = describe(*out);
                         return 1;
                     });
    Recording calls(recorder);
    releaseOne();
    EXPECT_EQ(calls.text(), lines({
                                "PRESParticipant_getFacade(participant)",
                                "COMMENDFacade.removeEntryport(facade, entryport, worker)",
                            }));
    EXPECT_EQ(atRemoval, "{manager, 3, 1}");
    EXPECT_EQ(describe(reference), "{invalid}");
}

TEST_F(Entryport, IsHeldAtSlotZero) {
    reference = someReference(0);
    releaseOne();
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 1);
}

TEST_F(Entryport, ReferenceIsInvalidEvenWhenTheFacadeRefusesTheRelease) {
    reference = someReference(3);
    recorder.fail("COMMENDFacade.removeEntryport");
    releaseOne();
    EXPECT_EQ(describe(reference), "{invalid}");
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(Entryport, IsNotReleasedWhenInvalid) {
    Recording calls(recorder);
    releaseOne();
    EXPECT_EQ(calls.text(), lines({"PRESParticipant_getFacade(participant)"}));
    EXPECT_EQ(describe(reference), "{invalid}");
}

TEST_F(Entryport, IsNotHeldWithTheInvalidIndex) {
    reference = someReference(0xFFFFFFFF);
    releaseOne();
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 0);
    EXPECT_EQ(describe(reference), "{manager, 4294967295, 1}");
}

TEST_F(Entryport, IsNotHeldWithoutAManager) {
    reference = {nullptr, 3, 1};
    releaseOne();
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 0);
    EXPECT_EQ(describe(reference), "{null, 3, 1}");
}

TEST_F(Entryport, IsNotHeldWhenZeroed) {
    reference = {};
    releaseOne();
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 0);
}

TEST_F(Entryport, IsReleasedOnlyOnce) {
    reserveOne("udpv4://192.0.2.1:7410");
    releaseOne();
    releaseOne();
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 1);
    EXPECT_EQ(held(), Texts());
}

// ---- a set

const Texts FIVE = {"udpv4://192.0.2.1:1", "udpv4://192.0.2.2:2", "udpv4://192.0.2.3:3",
                    "udpv4://192.0.2.4:4", "udpv6://[fd00::5]:5"};

using EntryportSet = Entryport;

TEST_F(EntryportSet, IsReservedInTheOrderOfTheList) {
    Recording calls(recorder);
    EXPECT_EQ(reserveSet(locatorsOf(FIVE)), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(calls.text(), lines({
                                "PRESParticipant_getFacade(participant)",
                                "COMMENDFacade.addEntryport(facade, set[0], "
                                "{udpv4://192.0.2.1:1, 0, \"udpv4\"}, worker)",
                                "COMMENDFacade.addEntryport(facade, set[1], "
                                "{udpv4://192.0.2.2:2, 0, \"udpv4\"}, worker)",
                                "COMMENDFacade.addEntryport(facade, set[2], "
                                "{udpv4://192.0.2.3:3, 0, \"udpv4\"}, worker)",
                                "COMMENDFacade.addEntryport(facade, set[3], "
                                "{udpv4://192.0.2.4:4, 0, \"udpv4\"}, worker)",
                                "COMMENDFacade.addEntryport(facade, set[4], "
                                "{udpv6://[fd00::5]:5, 0, \"udpv4\"}, worker)",
                            }));
    EXPECT_EQ(set._count, 5);
    EXPECT_EQ(held(), FIVE);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(EntryportSet, RequestsAreEachLocatorTheWholeAliasListAndZeroes) {
    PRESLocatorQosPolicy locators = LOCATOR_QOS_POLICY_DEFAULT;
    locators.count = 2;
    locators.locatorList[0] = fullLocator(0x11);
    locators.locatorList[1] = fullLocator(0x22);
    aliases = fullAliasList();
    keepRequests();
    dirtyTheStack();
    reserveSet(locators);
    EXPECT_EQ(requests, Texts({requestBytes(fullLocator(0x11)), requestBytes(fullLocator(0x22))}));
}

TEST_F(EntryportSet, HoldsSixteen) {
    PRESLocatorQosPolicy locators = LOCATOR_QOS_POLICY_DEFAULT;
    for (int i = 0; i < 16; ++i) {
        locators.locatorList[i] = locatorOf("udpv4://192.0.2.1:" + std::to_string(i + 1));
    }
    locators.count = 16;
    EXPECT_EQ(reserveSet(locators), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(set._count, 16);
    EXPECT_EQ(describe(set._entryportWR[15]), "{manager, 15, 1}");
}

TEST_F(EntryportSet, OfSixteenIsReleasedAsAWhole) {
    PRESLocatorQosPolicy locators = LOCATOR_QOS_POLICY_DEFAULT;
    locators.count = 16;
    EXPECT_EQ(reserveSet(locators), DDS_BOOLEAN_TRUE);
    releaseSet();
    EXPECT_EQ(set._count, 0);
    EXPECT_EQ(held(), Texts());
}

TEST_F(EntryportSet, OfNoLocatorIsEmptyAndAsksNothing) {
    set._count = 3;
    Recording calls(recorder);
    EXPECT_EQ(reserveSet(LOCATOR_QOS_POLICY_DEFAULT), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(calls.text(), lines({"PRESParticipant_getFacade(participant)"}));
    EXPECT_EQ(set._count, 0);
}

TEST_F(EntryportSet, IsOverwrittenWithoutReleasingWhatItHeld) {
    set._count = 2;
    set._entryportWR[0] = someReference(70);
    set._entryportWR[1] = someReference(71);
    EXPECT_EQ(reserveSet(locatorsOf({"udpv4://192.0.2.1:1"})), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 0);
    EXPECT_EQ(set._count, 1);
    EXPECT_EQ(describe(set._entryportWR[0]), "{manager, 0, 1}");
    EXPECT_EQ(describe(set._entryportWR[1]), "{manager, 71, 1}");
}

TEST_F(EntryportSet, IsReservedAsAWholeOrNotAtAll) {
    takenPorts = {3};
    set._entryportWR[2] = someReference(72);
    Recording calls(recorder);
    EXPECT_EQ(reserveSet(locatorsOf(FIVE)), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(calls.text(), lines({
                                "PRESParticipant_getFacade(participant)",
                                "COMMENDFacade.addEntryport(facade, set[0], "
                                "{udpv4://192.0.2.1:1, 0, \"udpv4\"}, worker)",
                                "COMMENDFacade.addEntryport(facade, set[1], "
                                "{udpv4://192.0.2.2:2, 0, \"udpv4\"}, worker)",
                                "COMMENDFacade.addEntryport(facade, set[2], "
                                "{udpv4://192.0.2.3:3, 0, \"udpv4\"}, worker)",
                                "PRESParticipant_getFacade(participant)",
                                "COMMENDFacade.removeEntryport(facade, set[0], worker)",
                                "COMMENDFacade.removeEntryport(facade, set[1], worker)",
                            }));
    EXPECT_EQ(set._count, 0);
    EXPECT_EQ(describe(set._entryportWR[0]), "{invalid}");
    EXPECT_EQ(describe(set._entryportWR[1]), "{invalid}");
    EXPECT_EQ(describe(set._entryportWR[2]), "{manager, 72, 1}"); // the one that failed stays
    EXPECT_EQ(held(), Texts());
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(EntryportSet, ReleasesNothingWhenTheFirstFails) {
    takenPorts = {1};
    EXPECT_EQ(reserveSet(locatorsOf(FIVE)), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(recorder.count("COMMENDFacade.addEntryport"), 1);
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 0);
    EXPECT_EQ(set._count, 0);
}

TEST_F(EntryportSet, ReleasesAllButTheLastWhenTheLastFails) {
    takenPorts = {5};
    EXPECT_EQ(reserveSet(locatorsOf(FIVE)), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(recorder.count("COMMENDFacade.addEntryport"), 5);
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 4);
    EXPECT_EQ(held(), Texts());
}

TEST_F(EntryportSet, IsReleasedFromTheFirstToTheLast) {
    reserveSet(locatorsOf({"udpv4://192.0.2.1:1", "udpv4://192.0.2.2:2"}));
    set._entryportWR[2] = someReference(72);
    Recording calls(recorder);
    releaseSet();
    EXPECT_EQ(calls.text(), lines({
                                "PRESParticipant_getFacade(participant)",
                                "COMMENDFacade.removeEntryport(facade, set[0], worker)",
                                "COMMENDFacade.removeEntryport(facade, set[1], worker)",
                            }));
    EXPECT_EQ(set._count, 0);
    EXPECT_EQ(describe(set._entryportWR[0]), "{invalid}");
    EXPECT_EQ(describe(set._entryportWR[1]), "{invalid}");
    EXPECT_EQ(describe(set._entryportWR[2]), "{manager, 72, 1}"); // beyond the count
    EXPECT_EQ(held(), Texts());
}

TEST_F(EntryportSet, IsReleasedWithoutAskingWhetherAnEntryIsHeld) {
    set._count = 2;
    set._entryportWR[0] = NOTHING;
    set._entryportWR[1] = {nullptr, 4, 1};
    Recording calls(recorder, only({"COMMENDFacade.*"}));
    releaseSet();
    EXPECT_EQ(calls.text(), lines({
                                "COMMENDFacade.removeEntryport(facade, set[0], worker)",
                                "COMMENDFacade.removeEntryport(facade, set[1], worker)",
                            }));
    EXPECT_EQ(describe(set._entryportWR[1]), "{invalid}");
}

TEST_F(EntryportSet, IsEmptyEvenWhenTheFacadeRefusesARelease) {
    reserveSet(locatorsOf({"udpv4://192.0.2.1:1", "udpv4://192.0.2.2:2"}));
    recorder.fail("COMMENDFacade.removeEntryport");
    releaseSet();
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 2);
    EXPECT_EQ(set._count, 0);
    EXPECT_EQ(describe(set._entryportWR[0]), "{invalid}");
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(EntryportSet, IsReleasedOnlyOnce) {
    reserveSet(locatorsOf(FIVE));
    releaseSet();
    Recording calls(recorder);
    releaseSet();
    EXPECT_EQ(calls.text(), lines({"PRESParticipant_getFacade(participant)"}));
}

} // namespace
