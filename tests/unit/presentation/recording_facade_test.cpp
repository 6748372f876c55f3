// SPDX-License-Identifier: Apache-2.0
// The facade that records: whatever a test calls through it reaches the participant's own.
#include <atomic>
#include <chrono>
#include <thread>

#include "support/running_presentation.h"

namespace {

using namespace support;

class RecordedFacade : public RunningPresentation {
protected:
    void SetUp() override {
        RunningPresentation::SetUp();
        start();
        nameParticipant();
        recorder.name(worker, "worker");
        facade = PRESParticipant_getFacade(self.participant);
    }

    static NUVNetioLocator loopback() {
        NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
        EXPECT_TRUE(NUVNetioLocator_parse("127.0.0.1", &locator));
        locator.port = portBase();
        return locator;
    }

    REDAWeakReference add() {
        NUVNetioLocatorInfo info{};
        info.locator = loopback();
        REDAWeakReference entryport = REDA_WEAK_REFERENCE_INVALID;
        EXPECT_NE(facade->addEntryport(facade, &entryport, &info, worker), 0);
        return entryport;
    }

    COMMENDFacadeStatistics statistics() {
        COMMENDFacadeStatistics now{};
        facade->getStatistics(facade, &now, worker);
        return now;
    }

    COMMENDFacade *facade = nullptr;
};

TEST_F(RecordedFacade, PassesEntryportsOn) {
    REDAWeakReference entryport = add();
    EXPECT_EQ(statistics().entryports, 1);
    int isActive = 0;
    EXPECT_NE(facade->checkEntryports(facade, &isActive, nullptr, worker), 0);
    EXPECT_EQ(isActive, 1);
    EXPECT_NE(facade->removeEntryport(facade, &entryport, worker), 0);
    const NUVNtpTime plenty = {20, 0};
    EXPECT_NE(facade->flushEntryports(facade, &plenty, worker), 0);
    EXPECT_EQ(statistics().receiveResources, 0);
}

TEST_F(RecordedFacade, PassesDestinationsAndMessagesOn) {
    const NUVNetioLocator destination = loopback();
    const NUV_UINT8 data[] = {'R', 'T', 'P', 'S'};
    EXPECT_NE(facade->addDestination(facade, &destination, worker), 0);
    EXPECT_EQ(facade->sendMessage(facade, data, sizeof data, worker), 1);
    EXPECT_EQ(statistics().messagesSent, 1u);
    EXPECT_NE(facade->removeDestination(facade, &destination, worker), 0);
    EXPECT_EQ(facade->sendMessage(facade, data, sizeof data, worker), 0);
}

TEST_F(RecordedFacade, PassesTheMessageListenerOn) {
    std::atomic<int> received{0};
    const COMMENDMessageListener counter = {[](void *param, const NUVNetioMessage *, REDAWorker *) {
                                                ++*static_cast<std::atomic<int> *>(param);
                                            },
                                            &received};
    const COMMENDMessageListener nowhere{};
    const NUV_UINT8 header[20] = {'R', 'T', 'P', 'S', 2, 5};
    const NUVNetioLocator destination = loopback();
    REDAWeakReference entryport = add();
    facade->setMessageListener(facade, &counter, worker);
    facade->addDestination(facade, &destination, worker);
    ASSERT_EQ(facade->sendMessage(facade, header, sizeof header, worker), 1);
    for (int tries = 0; received == 0 && tries < 20000; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(received, 1);
    facade->setMessageListener(facade, &nowhere, worker);
    facade->removeEntryport(facade, &entryport, worker);
    const NUVNtpTime plenty = {20, 0};
    EXPECT_NE(facade->flushEntryports(facade, &plenty, worker), 0);
}

TEST_F(RecordedFacade, RecordsEverySlot) {
    const NUVNtpTime noTime = NUV_NTP_TIME_ZERO;
    const NUV_UINT8 data[] = {7};
    const COMMENDMessageListener nowhere{};
    NUVNetioLocator destination = NUV_NETIO_LOCATOR_INVALID;
    ASSERT_TRUE(NUVNetioLocator_parse("udpv4://192.0.2.7:7400", &destination));
    Recording calls(recorder);
    facade->addDestination(facade, &destination, worker);
    facade->removeDestination(facade, &destination, worker);
    facade->sendMessage(facade, data, sizeof data, worker);
    facade->flushEntryports(facade, &noTime, worker);
    facade->setMessageListener(facade, &nowhere, worker);
    statistics();
    EXPECT_EQ(calls.text(),
              lines({"COMMENDFacade.addDestination(facade, udpv4://192.0.2.7:7400, worker)",
                     "COMMENDFacade.removeDestination(facade, udpv4://192.0.2.7:7400, worker)",
                     "COMMENDFacade.sendMessage(facade, &data=7, 1, worker)",
                     "COMMENDFacade.flushEntryports(facade, {0, 0x0}, worker)",
                     "COMMENDFacade.setMessageListener(facade, COMMENDMessageListener#1, worker)",
                     "COMMENDFacade.getStatistics(facade, COMMENDFacadeStatistics#1, worker)"}));
}

TEST(ScriptedFacade, HasEverySlotToo) {
    Recorder recorder;
    COMMENDFacade *facade = recorder.scriptedFacade();
    const NUVNetioLocator destination = NUV_NETIO_LOCATOR_INVALID;
    const NUVNtpTime noTime = NUV_NTP_TIME_ZERO;
    const NUV_UINT8 data[] = {7};
    const COMMENDMessageListener nowhere{};
    COMMENDFacadeStatistics statistics{};
    statistics.entryports = 42;
    EXPECT_EQ(facade->addDestination(facade, &destination, nullptr), 1);
    EXPECT_EQ(facade->removeDestination(facade, &destination, nullptr), 1);
    EXPECT_EQ(facade->sendMessage(facade, data, sizeof data, nullptr), 0);
    EXPECT_EQ(facade->flushEntryports(facade, &noTime, nullptr), 1);
    facade->setMessageListener(facade, &nowhere, nullptr);
    facade->getStatistics(facade, &statistics, nullptr);
    EXPECT_EQ(statistics.entryports, 0);
}

} // namespace
