// SPDX-License-Identifier: Apache-2.0
// The update of a participant's locators with real transports and sockets while the host's
// interfaces change.
#include <set>

#include "fault_loop.h"
#include "support/describe.h"
#include "support/running_presentation.h"
#include "support/socket_watch.h"
#include "update_fixture.h"

namespace {

using namespace support;

const char *const FIRST = "192.0.2.10";
const char *const SECOND = "192.0.2.20";

/** A participant of index 0 whose one interface has the first address. */
class UpdateNetwork : public RunningPresentation {
protected:
    void SetUp() override {
        RunningPresentation::SetUp();
        ASSERT_EQ(DDS_OctetSeq_ensure_length(&qos.user_data.value, 3, 3), DDS_BOOLEAN_TRUE);
        const std::size_t socketsOfTheProgram = openSockets().size();
        start();
        DDS_Long index = -1;
        ASSERT_EQ(DDS_DomainParticipantPresentation_reserve_participant_index_entryports(
                      &self, &index, worker),
                  DDS_RETCODE_OK);
        ASSERT_EQ(index, 0);
        ASSERT_EQ(DDS_DomainParticipantPresentation_enable(&self, &qos, nullptr, worker),
                  DDS_RETCODE_OK);
        log.clear();
        socketsBefore = openSockets();
        ASSERT_EQ(socketsBefore.size(), socketsOfTheProgram + 3)
            << "two unicast ports and one multicast port";
    }

    void TearDown() override {
        DDS_DomainParticipantPresentation_release_participant_index_entryports(&self, worker);
        RunningPresentation::TearDown();
    }

    /** The host has these addresses now, and the participant's transports know it. */
    void changeAddresses(const std::vector<const char *> &addresses) {
        interfaces.clear();
        for (const char *address : addresses) {
            interfaces.push_back(interfaceOf("test0", 1, address));
        }
        ASSERT_TRUE(NUVNetioRuntime_renewInterfaces(runtime, worker));
        (void)NUVNetioConfigurator_refreshInterfaces(configurator, worker);
        log.clear();
    }

    DDS_ReturnCode_t update() {
        const DDS_ReturnCode_t result =
            DDS_DomainParticipantPresentation_update_participant_locatorsI(&self, &owner, 0,
                                                                           worker);
        const NUVNtpTime timeout = {10, 0};
        EXPECT_TRUE(NUVNetioRuntime_flush(runtime, &timeout)) << "sockets given back are closed";
        return result;
    }

    static std::string user(const char *address) {
        return locator(address, 11);
    }
    static std::string meta(const char *address) {
        return locator(address, 10);
    }

    static std::string locator(const char *address, DDS_Long offset) {
        return std::string("udpv4://") + address + ':' + std::to_string(portBase() + offset);
    }

    void expectAnnounced(const std::string &userList, const std::string &metaList) {
        const PRESParticipantProperty property = running();
        EXPECT_EQ(describe(property.parameter.defaultUnicastLocator), '{' + userList + '}');
        EXPECT_EQ(describe(property.parameter.metatrafficUnicastLocator), '{' + metaList + '}');
        EXPECT_EQ(describe(self._cachedDefaultUnicastLocator), '{' + userList + '}');
        EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator), '{' + metaList + '}');
    }

    COMMENDFacadeStatistics statistics() {
        COMMENDFacade *facade = PRESParticipant_getFacade(self.participant);
        COMMENDFacadeStatistics now;
        facade->getStatistics(facade, &now, worker);
        return now;
    }

    std::set<std::string> socketsBefore;
};

// ---- nothing has changed

TEST_F(UpdateNetwork, MakesNoSocketCallWhenNothingHasChanged) {
    const SocketWatch sockets;
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(sockets.calls(), SocketCalls());
    EXPECT_EQ(openSockets(), socketsBefore);
}

TEST_F(UpdateNetwork, AllocatesNothingItselfWhenNothingHasChanged) {
    const int allocations = recorder.count("NUVOsapiHeap_reallocateMemoryInternal");
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(recorder.count("NUVOsapiHeap_reallocateMemoryInternal"), allocations);
}

TEST_F(UpdateNetwork, LogsNothingAndKeepsEveryLocatorWhenNothingHasChanged) {
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages());
    expectAnnounced(user(FIRST), meta(FIRST));
}

TEST_F(UpdateNetwork, RefersToNewReservationsAfterwards) {
    const REDAWeakReference before = self._reserveUserUnicast._entryportWR[0];
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_NE(describe(self._reserveUserUnicast._entryportWR[0]), describe(before));
    COMMENDFacade *facade = PRESParticipant_getFacade(self.participant);
    REDAWeakReference old = before;
    EXPECT_EQ(facade->removeEntryport(facade, &old, worker), 0) << "the old one is stale";
}

TEST_F(UpdateNetwork, LeavesNothingBehindHoweverOftenItIsDone) {
    const HeapWatch before;
    const COMMENDFacadeStatistics first = statistics();
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(update(), DDS_RETCODE_OK);
    }
    EXPECT_EQ(before.change(), Blocks());
    EXPECT_EQ(statistics().entryports, first.entryports);
    EXPECT_EQ(statistics().receiveResources, first.receiveResources);
    EXPECT_EQ(openSockets(), socketsBefore);
}

TEST_F(UpdateNetwork, KeepsUserDataAndPropertiesOfTheParticipant) {
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_DomainParticipantQos_is_equal(&out, &qos));
}

// ---- addresses change

TEST_F(UpdateNetwork, FollowsAnAddressThatChanges) {
    changeAddresses({SECOND});
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    expectAnnounced(user(SECOND), meta(SECOND));
    EXPECT_EQ(log.messages(),
              Messages({changeLine("Default unicast", user(FIRST), user(SECOND)),
                        changeLine("Metatraffic unicast", meta(FIRST), meta(SECOND))}));
}

TEST_F(UpdateNetwork, AddsAnAddressThatAppears) {
    changeAddresses({FIRST, SECOND});
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    const std::string users = user(FIRST) + ", " + user(SECOND);
    const std::string metas = meta(FIRST) + ", " + meta(SECOND);
    expectAnnounced(users, metas);
    EXPECT_EQ(log.messages(), Messages({changeLine("Default unicast", user(FIRST), users),
                                        changeLine("Metatraffic unicast", meta(FIRST), metas)}));
    EXPECT_EQ(self._reserveUserUnicast._count, 2);
    EXPECT_EQ(self._reserveMetaUnicast._count, 2);
}

TEST_F(UpdateNetwork, DropsAnAddressThatDisappears) {
    changeAddresses({FIRST, SECOND});
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    changeAddresses({SECOND});
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    expectAnnounced(user(SECOND), meta(SECOND));
    EXPECT_EQ(self._reserveUserUnicast._count, 1);
    EXPECT_EQ(self._reserveMetaUnicast._count, 1);
    EXPECT_EQ(openSockets(), socketsBefore);
}

TEST_F(UpdateNetwork, KeepsItsSocketsWhenAddressesChange) {
    for (const std::vector<const char *> &addresses :
         {std::vector<const char *>{SECOND}, {FIRST, SECOND}, {FIRST}}) {
        changeAddresses(addresses);
        const SocketWatch sockets;
        EXPECT_EQ(update(), DDS_RETCODE_OK);
        EXPECT_EQ(sockets.calls(), SocketCalls());
        EXPECT_EQ(openSockets(), socketsBefore);
    }
}

TEST_F(UpdateNetwork, SaysNothingTheSecondTime) {
    changeAddresses({SECOND});
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    log.clear();
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(UpdateNetwork, ChangesNothingUntilTheTransportsKnow) {
    interfaces = {interfaceOf("test0", 1, SECOND)};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    expectAnnounced(user(FIRST), meta(FIRST));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(UpdateNetwork, KeepsTheMulticastPortWhenNoAddressIsLeft) {
    changeAddresses({});
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    expectAnnounced("", "");
    EXPECT_TRUE(REDAWeakReference_isHeld(&self._reserveEntryportMetaMulticastWR));
    EXPECT_EQ(self._reserveUserUnicast._count, 0);
    EXPECT_EQ(self._reserveMetaUnicast._count, 0);
}

TEST_F(UpdateNetwork, TakesItsPortsAgainWhenAnAddressComesBack) {
    changeAddresses({});
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    changeAddresses({SECOND});
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    expectAnnounced(user(SECOND), meta(SECOND));
    EXPECT_EQ(openSockets().size(), socketsBefore.size());
}

// ---- allocations fail in turn, all the way down

TEST_F(UpdateNetwork, IsEitherMadeOrAnsweredWithTheReasonWhicheverAllocationFails) {
    const char *const addresses[] = {FIRST, SECOND};
    int tries = 0;
    std::set<std::string> answers;
    const int faults = failEach(recorder, &Recorder::failAllocation, [&](auto arm) {
        const char *const before = addresses[tries % 2];
        const char *const now = addresses[++tries % 2];
        changeAddresses({before});
        EXPECT_EQ(update(), DDS_RETCODE_OK);
        changeAddresses({now});
        const HeapWatch unchanged;
        arm();
        const DDS_ReturnCode_t result = update();
        const std::string failed = recorder.failed();
        recorder.clearFaults();
        EXPECT_EQ(unchanged.change(), Blocks()) << failed;
        EXPECT_EQ(openSockets(), socketsBefore) << failed;
        EXPECT_EQ(statistics().entryports, 3) << failed;

        std::string errors;
        for (const Message &message : logged()) {
            errors += message.level == NUV_LOG_LEVEL_ERROR ? message.text + ';' : "";
        }
        answers.insert(std::to_string(result) + ' ' + errors);
        const bool isPushed = result == DDS_RETCODE_OK;
        EXPECT_EQ(describe(running().parameter.defaultUnicastLocator),
                  '{' + user(isPushed ? now : before) + '}')
            << failed;
        return failed;
    });
    EXPECT_GT(faults, 3);
    for (const std::string &answer : answers) {
        EXPECT_TRUE(answer == "0 " || answer == "5 cannot get DDS_DomainParticipantQos;" ||
                    answer == "5 cannot set participant QoS;" ||
                    answer == "0 cannot set default unicast entryports;" ||
                    answer == "0 cannot set metatraffic unicast entryports;" ||
                    answer == "0 cannot set metatraffic multicast entryports;")
            << answer;
    }
    EXPECT_TRUE(answers.contains("5 cannot get DDS_DomainParticipantQos;"));
    EXPECT_TRUE(answers.contains("5 cannot set participant QoS;"));
}

} // namespace
