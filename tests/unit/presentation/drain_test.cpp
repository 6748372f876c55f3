// SPDX-License-Identifier: Apache-2.0
// Giving the ports of an index back, and waiting until they are closed.
#include "support/scripted_presentation.h"

using namespace support;

namespace {

const char *const CHECK = "COMMENDFacade.checkEntryports(facade, &hasActiveEntryPortsOut=1, "
                          "transport, worker)";
const char *const SLEEP = "NUVOsapiThread_sleep({0, 0x20000000})";

const Message CHECK_FAILED = {.level = NUV_LOG_LEVEL_ERROR,
                              .function =
                                  "DDS_DomainParticipantPresentation_wait_for_released_entryports",
                              .name = "NUV_LOG_ANY_FAILURE_s",
                              .text = "failure: check active entry ports"};

// ---- release

class EntryportRelease : public ScriptedPresentation {
protected:
    EntryportRelease() {
        EXPECT_EQ(reserve(0), DDS_RETCODE_OK);
        log.clear();
    }

    void releaseMeta() {
        DDS_DomainParticipantPresentation_release_participant_index_meta_entryports(&self, worker);
    }

    void releaseUser() {
        DDS_DomainParticipantPresentation_release_participant_index_user_entryports(&self, worker);
    }

    void releaseAll() {
        DDS_DomainParticipantPresentation_release_participant_index_entryports(&self, worker);
    }
};

TEST_F(EntryportRelease, OfTheDiscoveryHalfIsTheSetAndThenTheMulticastPort) {
    Recording calls(recorder);
    releaseMeta();
    EXPECT_EQ(calls.text(), lines({
                                "PRESParticipant_getFacade(participant)",
                                "COMMENDFacade.removeEntryport(facade, metaUnicast[0], worker)",
                                "COMMENDFacade.removeEntryport(facade, metaUnicast[1], worker)",
                                "PRESParticipant_getFacade(participant)",
                                "COMMENDFacade.removeEntryport(facade, metaMulticast, worker)",
                            }));
    EXPECT_EQ(held(), Texts({"udpv4://239.255.0.1:8651", "udpv4://198.51.100.1:8661",
                             "udpv4://198.51.100.2:8661"}));
    EXPECT_EQ(self._reserveMetaUnicast._count, 0);
    EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR), "{invalid}");
    EXPECT_EQ(self._reserveUserUnicast._count, 2);
    EXPECT_EQ(describe(self._reserveEntryportUserMulticastWR), "{manager, 1, 1}");
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(EntryportRelease, OfTheUserHalfIsTheSetAndThenTheMulticastPort) {
    Recording calls(recorder);
    releaseUser();
    EXPECT_EQ(calls.text(), lines({
                                "PRESParticipant_getFacade(participant)",
                                "COMMENDFacade.removeEntryport(facade, userUnicast[0], worker)",
                                "COMMENDFacade.removeEntryport(facade, userUnicast[1], worker)",
                                "PRESParticipant_getFacade(participant)",
                                "COMMENDFacade.removeEntryport(facade, userMulticast, worker)",
                            }));
    EXPECT_EQ(held(), Texts({"udpv4://239.255.0.1:8650", "udpv4://192.0.2.1:8660",
                             "udpv4://192.0.2.2:8660"}));
    EXPECT_EQ(self._reserveUserUnicast._count, 0);
    EXPECT_EQ(describe(self._reserveEntryportUserMulticastWR), "{invalid}");
    EXPECT_EQ(self._reserveMetaUnicast._count, 2);
    EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR), "{manager, 0, 1}");
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(EntryportRelease, OfBothIsTheDiscoveryHalfAndThenTheUserHalf) {
    Recording calls(recorder, only({"COMMENDFacade.*"}));
    releaseAll();
    EXPECT_EQ(calls.text(), lines({
                                "COMMENDFacade.removeEntryport(facade, metaUnicast[0], worker)",
                                "COMMENDFacade.removeEntryport(facade, metaUnicast[1], worker)",
                                "COMMENDFacade.removeEntryport(facade, metaMulticast, worker)",
                                "COMMENDFacade.removeEntryport(facade, userUnicast[0], worker)",
                                "COMMENDFacade.removeEntryport(facade, userUnicast[1], worker)",
                                "COMMENDFacade.removeEntryport(facade, userMulticast, worker)",
                            }));
    EXPECT_EQ(held(), Texts());
}

TEST_F(EntryportRelease, MayBeRepeated) {
    ASSERT_EQ(held().size(), 6u);
    releaseAll();
    ASSERT_EQ(held(), Texts());
    Recording calls(recorder, only({"COMMENDFacade.*"}));
    releaseMeta();
    releaseUser();
    releaseAll();
    EXPECT_EQ(calls.text(), "");
}

TEST_F(EntryportRelease, KeepsTheFlagAndTheLocators) {
    releaseAll();
    EXPECT_EQ(self._entryportsReserved, 1);
    EXPECT_EQ(describe(self._cachedMetatrafficMulticastLocator),
              "{udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650}");
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator),
              "{udpv4://192.0.2.1:8660, udpv4://192.0.2.2:8660}");
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator),
              "{udpv4://198.51.100.1:8661, udpv4://198.51.100.2:8661}");
}

TEST_F(EntryportRelease, MakesRoomForAnotherReservation) {
    releaseAll();
    EXPECT_EQ(reserve(4), DDS_RETCODE_OK);
    EXPECT_EQ(held().size(), 6u);
}

using EntryportReleaseOfNothing = ScriptedPresentation;

TEST_F(EntryportReleaseOfNothing, AsksTheFacadeForNothing) {
    Recording calls(recorder);
    DDS_DomainParticipantPresentation_release_participant_index_user_entryports(&self, worker);
    DDS_DomainParticipantPresentation_release_participant_index_meta_entryports(&self, worker);
    EXPECT_EQ(calls.text(), lines({
                                "PRESParticipant_getFacade(participant)",
                                "PRESParticipant_getFacade(participant)",
                                "PRESParticipant_getFacade(participant)",
                                "PRESParticipant_getFacade(participant)",
                            }));
}

// ---- drain

class EntryportDrain : public ScriptedPresentation {
protected:
    EntryportDrain() {
        recorder.name(&transport, "transport");
        recorder.replace("NUVOsapiThread_sleep", [](const NUVNtpTime *) {});
    }

    /** From the n-th check on no entryport is active. */
    void closeAtCheck(int nth) {
        recorder.replace("COMMENDFacade.checkEntryports",
                         [this, nth](COMMENDFacade *, int *active, const REDAWeakReference *,
                                     REDAWorker *) -> int {
                             *active = ++checks_ >= nth ? 0 : 1;
                             return 1;
                         });
    }

    /** The n-th check fails and leaves this in its output; at those before it one is active. */
    void failAtCheck(int nth, int flag) {
        recorder.replace("COMMENDFacade.checkEntryports",
                         [this, nth, flag](COMMENDFacade *, int *active, const REDAWeakReference *,
                                           REDAWorker *) -> int {
                             const bool fails = ++checks_ == nth;
                             *active = fails ? flag : 1;
                             return fails ? 0 : 1;
                         });
    }

    DDS_ReturnCode_t drain() {
        return DDS_DomainParticipantPresentation_wait_for_released_entryports(&self, &transport,
                                                                              worker);
    }

    void expectCounts(int checks, int sleeps) {
        EXPECT_EQ(recorder.count("COMMENDFacade.checkEntryports"), checks);
        EXPECT_EQ(recorder.count("NUVOsapiThread_sleep"), sleeps);
    }

    const REDAWeakReference transport = someReference(9);

private:
    int checks_ = 0;
};

TEST_F(EntryportDrain, SleepsOnceWhenEverythingIsClosedAlready) {
    Recording calls(recorder);
    EXPECT_EQ(drain(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), lines({"PRESParticipant_getFacade(participant)", CHECK, SLEEP}));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(EntryportDrain, ChecksAndSleepsUntilEverythingIsClosed) {
    closeAtCheck(3);
    Recording calls(recorder);
    EXPECT_EQ(drain(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), lines({"PRESParticipant_getFacade(participant)", CHECK, SLEEP, CHECK,
                                   SLEEP, CHECK, SLEEP}));
}

TEST_F(EntryportDrain, AsksAboutEveryTransportWithoutAHandle) {
    Recording calls(recorder, only({"COMMENDFacade.*"}));
    EXPECT_EQ(
        DDS_DomainParticipantPresentation_wait_for_released_entryports(&self, nullptr, worker),
        DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), lines({"COMMENDFacade.checkEntryports(facade, "
                                   "&hasActiveEntryPortsOut=1, null, worker)"}));
}

TEST_F(EntryportDrain, TimesOutAfterThreeHundredSleeps) {
    closeAtCheck(1000);
    EXPECT_EQ(drain(), DDS_RETCODE_TIMEOUT);
    expectCounts(300, 300);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(EntryportDrain, SucceedsAtTheLastCheck) {
    closeAtCheck(300);
    EXPECT_EQ(drain(), DDS_RETCODE_OK);
    expectCounts(300, 300);
}

TEST_F(EntryportDrain, TimesOutWhenTheClosingComesAfterTheLastCheck) {
    closeAtCheck(301);
    EXPECT_EQ(drain(), DDS_RETCODE_TIMEOUT);
    expectCounts(300, 300);
}

TEST_F(EntryportDrain, TimesOutAtOnceWhenTheFirstCheckFails) {
    recorder.fail("COMMENDFacade.checkEntryports");
    EXPECT_EQ(drain(), DDS_RETCODE_TIMEOUT);
    expectCounts(1, 0);
    EXPECT_EQ(log.messages(), Messages({CHECK_FAILED}));
}

TEST_F(EntryportDrain, TimesOutAtOnceWhenALaterCheckFails) {
    failAtCheck(3, 1);
    EXPECT_EQ(drain(), DDS_RETCODE_TIMEOUT);
    expectCounts(3, 2);
    EXPECT_EQ(log.messages(), Messages({CHECK_FAILED}));
}

TEST_F(EntryportDrain, BelievesTheFlagOfACheckThatFails) {
    failAtCheck(2, 0);
    EXPECT_EQ(drain(), DDS_RETCODE_OK);
    expectCounts(2, 1);
    EXPECT_EQ(log.messages(), Messages({CHECK_FAILED}));
}

TEST_F(EntryportDrain, TakesAnyNonZeroFlagForActive) {
    for (const int flag : {2, -7, 256}) {
        const int before = recorder.count("COMMENDFacade.checkEntryports");
        recorder.replace(
            "COMMENDFacade.checkEntryports",
            [flag](COMMENDFacade *, int *active, const REDAWeakReference *, REDAWorker *) -> int {
                *active = flag;
                return 1;
            });
        EXPECT_EQ(drain(), DDS_RETCODE_TIMEOUT) << flag;
        EXPECT_EQ(recorder.count("COMMENDFacade.checkEntryports") - before, 300) << flag;
    }
}

TEST_F(EntryportDrain, BelievesAnyNonZeroFlagOfACheckThatFails) {
    failAtCheck(2, -7);
    EXPECT_EQ(drain(), DDS_RETCODE_TIMEOUT);
    expectCounts(2, 1);
}

TEST_F(EntryportDrain, TakesAnyNonZeroAnswerForSuccess) {
    recorder.replace(
        "COMMENDFacade.checkEntryports",
        [](COMMENDFacade *, int *active, const REDAWeakReference *, REDAWorker *) -> int {
            *active = 0;
            return -1;
        });
    EXPECT_EQ(drain(), DDS_RETCODE_OK);
    expectCounts(1, 1);
}

} // namespace
