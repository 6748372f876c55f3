// Every allocation and every call of a lower layer fails in turn, until the operation goes through.
#include "domain/DomainParticipant_internal.h"
#include "fixture.h"
#include "support/recorder.h"

namespace {

using support::Blocks;
using support::HeapWatch;
using support::Recorder;

constexpr int TRIES_MAX = 1000;

/** A participant with something in every part of its QoS that may change. */
class Failure : public ParticipantQos {
protected:
    void SetUp() override {
        ParticipantQos::SetUp();
        qos.setUserData({1, 2, 3});
        qos.setProperty("color", "green");
        qos.addPartition("one");
        create();
        ASSERT_NE(DDS_DomainParticipantQos_copy(former.get(), qos.get()), nullptr);
    }

    void TearDown() override {
        DDS_DomainParticipantQos_finalize(former.get());
        ParticipantQos::TearDown();
    }

    /** What `qos` is to be: all that may change has changed. */
    void changeAll() {
        qos.setUserData({4, 5});
        qos.setProperty("color", "blue");
        qos.setProperty("size", "3");
        qos.addPartition("two");
        qos.addPeer("192.0.2.1");
    }

    /** Sets the QoS back, whatever has become of it. */
    void setBack() {
        ASSERT_EQ(DDS_DomainParticipant_set_qos(participant, former.get()), DDS_RETCODE_OK);
        expectQos(former);
        log.clear();
    }

    Qos former;
};

// ---- get_qos

TEST_F(Failure, OfAnyAllocationWhileGettingTheQosIsAnErrorAndLeavesNothing) {
    for (int nth = 1; nth < TRIES_MAX; ++nth) {
        DDS_DomainParticipantQos_finalize(out.get());
        log.clear();
        const HeapWatch before;
        Recorder recorder;
        recorder.failAllocation(nth);
        const DDS_ReturnCode_t result = get();
        const std::string failed = recorder.failed();
        recorder.clearFaults();
        if (failed.empty()) {
            EXPECT_EQ(result, DDS_RETCODE_OK);
            EXPECT_TRUE(out == former);
            EXPECT_GT(nth, 10);
            return;
        }
        EXPECT_NE(result, DDS_RETCODE_OK) << failed << ", attempt " << nth;
        EXPECT_FALSE(errors().empty()) << failed;
        DDS_DomainParticipantQos_finalize(out.get());
        EXPECT_EQ(before.change(), Blocks()) << failed;
    }
    FAIL() << "there is no end of allocations";
}

TEST_F(Failure, OfAnyAllocationWhileGettingTheQosLeavesTheParticipantAlone) {
    for (int nth = 1; nth < TRIES_MAX; ++nth) {
        Recorder recorder;
        recorder.failAllocation(nth);
        (void)get();
        const std::string failed = recorder.failed();
        recorder.clearFaults();
        expectQos(former);
        if (failed.empty()) {
            return;
        }
    }
    FAIL() << "there is no end of allocations";
}

// ---- set_qos

TEST_F(Failure, OfAnyAllocationWhileSettingTheQosIsAnErrorWithAReason) {
    changeAll();
    for (int nth = 1; nth < TRIES_MAX; ++nth) {
        Recorder recorder;
        recorder.failAllocation(nth);
        const DDS_ReturnCode_t result = set();
        const std::string failed = recorder.failed();
        recorder.clearFaults();
        if (failed.empty()) {
            EXPECT_EQ(result, DDS_RETCODE_OK);
            expectQos(qos);
            EXPECT_GT(nth, 10);
            return;
        }
        EXPECT_TRUE(result == DDS_RETCODE_OUT_OF_RESOURCES || result == DDS_RETCODE_ERROR)
            << failed << ", attempt " << nth << ": " << result;
        EXPECT_FALSE(errors().empty()) << failed;
        setBack();
    }
    FAIL() << "there is no end of allocations";
}

TEST_F(Failure, OfAnyAllocationWhileSettingTheQosLeavesTheOldOneWhole) {
    changeAll();
    for (int nth = 1; nth < TRIES_MAX; ++nth) {
        Recorder recorder;
        recorder.failAllocation(nth);
        (void)set();
        const std::string failed = recorder.failed();
        recorder.clearFaults();
        if (failed.empty()) {
            expectQos(qos);
            return;
        }
        SCOPED_TRACE(failed + ", attempt " + std::to_string(nth));
        expectQos(former);
        setBack();
    }
    FAIL() << "there is no end of allocations";
}

TEST_F(Failure, OfAnyCallWhileSettingTheQosIsAnError) {
    changeAll();
    for (int nth = 1; nth < TRIES_MAX; ++nth) {
        Recorder recorder;
        recorder.failCall(nth);
        const DDS_ReturnCode_t result = set();
        const std::string failed = recorder.failed();
        recorder.clearFaults();
        if (failed.empty()) {
            EXPECT_EQ(result, DDS_RETCODE_OK);
            expectQos(qos);
            EXPECT_GT(nth, 5);
            return;
        }
        if (failed != "DDS_String_dup(null)") { // which gives null anyway
            EXPECT_NE(result, DDS_RETCODE_OK) << failed;
            EXPECT_FALSE(errors().empty()) << failed;
            expectQos(former);
        }
        setBack();
    }
    FAIL() << "there is no end of calls";
}

TEST_F(Failure, ToSetTheQosDoesNotLeak) {
    changeAll();
    setBack(); // so that its storage has its size
    for (int nth = 1; nth < TRIES_MAX; ++nth) {
        const HeapWatch before;
        Recorder recorder;
        recorder.failAllocation(nth);
        (void)set();
        const std::string failed = recorder.failed();
        recorder.clearFaults();
        setBack();
        EXPECT_EQ(before.change(), Blocks()) << failed;
        if (failed.empty()) {
            return;
        }
    }
    FAIL() << "there is no end of allocations";
}

// ---- update_locators

TEST_F(Failure, OfAnyAllocationWhileUpdatingLeavesTheParticipantAsItWas) {
    const std::vector<std::string> locatorsBefore = locators();
    const std::set<std::string> sockets = support::openSockets();
    for (int nth = 1; nth < TRIES_MAX; ++nth) {
        log.clear();
        const HeapWatch before;
        Recorder recorder;
        recorder.failAllocation(nth);
        const DDS_ReturnCode_t result = DDS_DomainParticipant_update_locators(participant);
        const std::string failed = recorder.failed();
        recorder.clearFaults();
        if (failed.empty()) {
            EXPECT_EQ(result, DDS_RETCODE_OK);
            EXPECT_GT(nth, 4);
            expectQos(former);
            return;
        }
        EXPECT_TRUE(result == DDS_RETCODE_OK || !errors().empty()) << failed;
        EXPECT_EQ(before.change(), Blocks()) << failed;
        EXPECT_EQ(locators(), locatorsBefore) << failed;
        EXPECT_EQ(support::openSockets(), sockets) << failed;
        expectQos(former);
    }
    FAIL() << "there is no end of allocations";
}

} // namespace
