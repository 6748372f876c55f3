// SPDX-License-Identifier: Apache-2.0
// Every allocation and every call of a lower layer fails in turn, until the operation goes through.
#include <functional>

#include "domain/DomainParticipant_internal.h"
#include "fixture.h"
#include "support/fault_loop.h"
#include "support/recorder.h"

namespace {

using support::Blocks;
using support::HeapWatch;
using support::Recorder;

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

    const faults::Guard guard;
    Qos former;
    const std::function<DDS_ReturnCode_t()> getting = [this] { return get(); };
    const std::function<DDS_ReturnCode_t()> setting = [this] { return set(); };
};

// ---- get_qos

TEST_F(Failure, OfAnyAllocationWhileGettingTheQosIsAnErrorAndLeavesNothing) {
    DDS_DomainParticipantQos_finalize(out.get());
    const HeapWatch before;
    EXPECT_GT(faults::fail_each_allocation(getting,
                                           [&](DDS_ReturnCode_t result, const std::string &failed) {
                                               EXPECT_EQ(result == DDS_RETCODE_OK, failed.empty())
                                                   << failed;
                                               EXPECT_EQ(errors().empty(), failed.empty())
                                                   << failed;
                                               EXPECT_TRUE(!failed.empty() || out == former);
                                               DDS_DomainParticipantQos_finalize(out.get());
                                               EXPECT_EQ(before.change(), Blocks()) << failed;
                                               log.clear();
                                           }),
              9);
}

TEST_F(Failure, OfAnyAllocationWhileGettingTheQosLeavesTheParticipantAlone) {
    faults::fail_each_allocation(getting,
                                 [&](DDS_ReturnCode_t, const std::string &) { expectQos(former); });
}

// ---- set_qos

/** What others are told of a QoS may lack memory: it is set all the same. */
bool is_of_announcement(const std::string &type) {
    return type == "disc::Array" || type == "struct DISCRemote";
}

TEST_F(Failure, OfAnyAllocationWhileSettingTheQosIsAnErrorWithAReason) {
    changeAll();
    EXPECT_GT(faults::fail_each_allocation(
                  setting,
                  [&](DDS_ReturnCode_t result, const std::string &failed) {
                      EXPECT_TRUE((result == DDS_RETCODE_OK &&
                                   (failed.empty() || is_of_announcement(failed))) ||
                                  (!failed.empty() && (result == DDS_RETCODE_OUT_OF_RESOURCES ||
                                                       result == DDS_RETCODE_ERROR)))
                          << failed << ": " << result;
                      EXPECT_EQ(errors().empty(), failed.empty()) << failed;
                      setBack();
                  }),
              9);
}

TEST_F(Failure, OfAnyAllocationWhileSettingTheQosLeavesTheOldOneWhole) {
    changeAll();
    faults::fail_each_allocation(setting, [&](DDS_ReturnCode_t result, const std::string &failed) {
        SCOPED_TRACE(failed);
        expectQos(result == DDS_RETCODE_OK ? qos : former);
        setBack();
    });
}

TEST_F(Failure, OfAnyCallWhileSettingTheQosIsAnError) {
    changeAll();
    Recorder recorder;
    EXPECT_GT(faults::fail_each([&](int nth) { recorder.failCall(nth); }, setting,
                                [&](DDS_ReturnCode_t result, const std::string &failed) {
                                    SCOPED_TRACE(failed);
                                    const bool gives_null_anyway =
                                        recorder.failed() == "DDS_String_dup(null)";
                                    if (failed.empty() || !gives_null_anyway) {
                                        EXPECT_EQ(result == DDS_RETCODE_OK, failed.empty());
                                        EXPECT_EQ(errors().empty(), failed.empty());
                                        expectQos(failed.empty() ? qos : former);
                                    }
                                    setBack();
                                }),
              4);
}

TEST_F(Failure, ToSetTheQosDoesNotLeak) {
    changeAll();
    setBack(); // so that its storage has its size
    const HeapWatch before;
    faults::fail_each_allocation(setting, [&](DDS_ReturnCode_t, const std::string &failed) {
        setBack();
        EXPECT_EQ(before.change(), Blocks()) << failed;
    });
}

// ---- update_locators

TEST_F(Failure, OfAnyAllocationWhileUpdatingLeavesTheParticipantAsItWas) {
    const std::vector<std::string> locatorsBefore = locators();
    const std::set<std::string> sockets = support::openSockets();
    log.clear();
    const HeapWatch before;
    EXPECT_GT(faults::fail_each_allocation(
                  [&] { return DDS_DomainParticipant_update_locators(participant); },
                  [&](DDS_ReturnCode_t result, const std::string &failed) {
                      SCOPED_TRACE(failed);
                      EXPECT_TRUE(result == DDS_RETCODE_OK ||
                                  (!failed.empty() && !errors().empty()));
                      EXPECT_EQ(before.change(), Blocks());
                      EXPECT_EQ(locators(), locatorsBefore);
                      EXPECT_EQ(support::openSockets(), sockets);
                      expectQos(former);
                      log.clear();
                  }),
              3);
}

} // namespace
