// SPDX-License-Identifier: Apache-2.0
// Participants that are asked to update their locators.
#include <atomic>

#include "domain/DomainParticipant_internal.h"
#include "fixture.h"
#include "qos/QosPolicy_internal.h"
#include "support/callback_flush.h"
#include "support/recorder.h"

namespace {

using support::Messages;

/** Counts what it is told, and reads the participant then. */
struct Told {
    static void onLocatorsChanged(void *data, DDS_DomainParticipant *participant) {
        auto *self = static_cast<Told *>(data);
        self->index = DDS_DomainParticipant_get_participant_index(participant);
        ++self->times;
    }

    std::atomic<int> times = 0;
    std::atomic<DDS_Long> index = -2;
    DDS_DomainParticipantListener listener = {this, nullptr, onLocatorsChanged, nullptr};
};

class UpdateLocators : public ParticipantQos {
protected:
    DDS_ReturnCode_t update() {
        const DDS_ReturnCode_t result = DDS_DomainParticipant_update_locators(participant);

        support::flush_callbacks(participant->resources.runtime); // the listener has been told
        return result;
    }

    /** From now on the participant computes this user address besides its own ones. */
    void addAddress(support::Recorder &recorder, const char *address) {
        recorder.replace(
            "DDS_TransportUnicastQosPolicy_to_default_locators",
            [address](const DDS_TransportUnicastQosPolicy *policy, PRESLocatorQosPolicy *locators,
                      DDS_Long maximum, DDS_DomainId_t domainId, DDS_Long index,
                      const DDS_RtpsWellKnownPorts_t *ports, NUVNetioAliasList *aliases,
                      NUVNetioConfigurator *configurator, int includeLoopback,
                      REDAWorker *worker) -> DDS_ReturnCode_t {
                const DDS_ReturnCode_t result = DDS_TransportUnicastQosPolicy_to_default_locators(
                    policy, locators, maximum, domainId, index, ports, aliases, configurator,
                    includeLoopback, worker);
                NUVNetioLocator &added = locators->locatorList[locators->count++];
                const KOLS_Transport_Port_t port = locators->locatorList[0].port;
                EXPECT_TRUE(NUVNetioLocator_parse(address, &added));
                added.port = port;
                return result;
            });
    }
};

TEST_F(UpdateLocators, IsRefusedBeforeTheParticipantIsEnabled) {
    Told told;
    create(false, &told.listener);
    EXPECT_EQ(update(), DDS_RETCODE_NOT_ENABLED);
    EXPECT_EQ(told.times, 0);
    EXPECT_TRUE(locators().empty());
}

TEST_F(UpdateLocators, ChangesNothingWhenNothingHasChanged) {
    Told told;
    create(true, &told.listener);
    const std::vector<std::string> before = locators();
    const std::set<std::string> sockets = support::openSockets();
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(locators(), before);
    EXPECT_EQ(support::openSockets(), sockets);
    EXPECT_EQ(told.times, 0);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(UpdateLocators, MakesNoSocketCallWhenNothingHasChanged) {
    qos.setProperty("dds.discovery.announce", "no"); // which takes socket calls as well
    create();
    const support::SocketWatch sockets;
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(sockets.calls(), support::SocketCalls());
}

TEST_F(UpdateLocators, TellsTheListenerOfAChangeOnceAndAfterIt) {
    Told told;
    create(true, &told.listener);
    const std::vector<std::string> before = locators();
    support::Recorder recorder;
    addAddress(recorder, "192.0.2.77");
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(told.times, 1);
    EXPECT_EQ(told.index, 0);
    const std::vector<std::string> now = locators();
    ASSERT_EQ(now.size(), before.size() + 1);
    EXPECT_EQ(now.back().substr(0, 19), "udpv4://192.0.2.77:");

    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(told.times, 1) << "the second time nothing has changed";
}

TEST_F(UpdateLocators, DoesWithoutAListener) {
    create();
    support::Recorder recorder;
    addAddress(recorder, "192.0.2.77");
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages().size(), 1u);
}

TEST_F(UpdateLocators, DoesWithoutTheCallback) {
    const DDS_DomainParticipantListener listener = {};
    create(true, &listener);
    support::Recorder recorder;
    addAddress(recorder, "192.0.2.77");
    EXPECT_EQ(update(), DDS_RETCODE_OK);
}

TEST_F(UpdateLocators, KeepsTheQos) {
    qos.setUserData({1, 2, 3});
    qos.setProperty("color", "green");
    qos.addPartition("one");
    create();
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    expectQos(qos);
}

TEST_F(UpdateLocators, AnswersWithTheReasonWhenTheLocatorsCannotBeComputed) {
    Told told;
    create(true, &told.listener);
    const std::vector<std::string> before = locators();
    support::Recorder recorder;
    recorder.fail("DDS_DiscoveryQosPolicy_to_unicast_locators",
                  {.result = DDS_RETCODE_INCONSISTENT_POLICY});
    EXPECT_EQ(update(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(locators(), before);
    EXPECT_EQ(told.times, 0);
}

TEST_F(UpdateLocators, GetsAnIndexWhenAnAddressAppears) {
    Told told;
    // A host without any address: neither list has a locator while the participant is enabled.
    support::Recorder recorder;
    recorder.replace("DDS_TransportUnicastQosPolicy_to_default_locators",
                     [](const DDS_TransportUnicastQosPolicy *, PRESLocatorQosPolicy *, DDS_Long,
                        DDS_DomainId_t, DDS_Long, const DDS_RtpsWellKnownPorts_t *,
                        NUVNetioAliasList *, NUVNetioConfigurator *, int,
                        REDAWorker *) -> DDS_ReturnCode_t { return DDS_RETCODE_OK; });
    recorder.replace("DDS_DiscoveryQosPolicy_to_unicast_locators",
                     [](const DDS_DiscoveryQosPolicy *, PRESLocatorQosPolicy *, NUVNetioAliasList *,
                        const DDS_RtpsWellKnownPorts_t *, DDS_Long, DDS_DomainId_t, DDS_Long,
                        NUVNetioConfigurator *,
                        REDAWorker *) -> DDS_ReturnCode_t { return DDS_RETCODE_OK; });
    create(true, &told.listener);
    ASSERT_EQ(DDS_DomainParticipant_get_participant_index(participant), -1);
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_DomainParticipant_get_participant_index(participant), -1) << "still none";
    EXPECT_EQ(told.times, 0);

    recorder.restore("DDS_TransportUnicastQosPolicy_to_default_locators");
    recorder.restore("DDS_DiscoveryQosPolicy_to_unicast_locators");
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_EQ(told.times, 1);
    EXPECT_EQ(told.index, 0);
    EXPECT_FALSE(locators().empty());
}

} // namespace
