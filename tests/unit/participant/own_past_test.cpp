// SPDX-License-Identifier: Apache-2.0
// What a participant itself had a moment ago is never in its own way.
#include <atomic>

#include "../netio/net_fixture.h"
#include "domain/DomainParticipant_internal.h"
#include "following_fixture.h"

using following::default_port;
using following::FollowingTest;
using following::Stranger;
using testing::IsEmpty;

namespace {

constexpr int MANY = 2000;

/**
 * User traffic at a port of its own and at the index's, of which a stranger has that of index 0: so
 * the first try reserves a port that the second one needs again.
 */
class OwnPast : public ParticipantTest {
protected:
    OwnPast() {
        DDS_TransportUnicastSettingsSeq &settings = qos->default_unicast.value;

        EXPECT_TRUE(DDS_TransportUnicastSettingsSeq_ensure_length(&settings, 2, 2));
        DDS_TransportUnicastSettingsSeq_get_reference(&settings, 0)->receive_port =
            support::portBase() + 240;
        DDS_TransportUnicastSettingsSeq_get_reference(&settings, 1)->receive_port = 0;
    }

    void expect_index_1(int times) {
        for (int i = 0; i < times && !HasFailure(); ++i) {
            DDS_DomainParticipant *const participant = create();

            ASSERT_NE(participant, nullptr) << i;
            ASSERT_EQ(DDS_DomainParticipant_get_participant_index(participant), 1) << i;
            ASSERT_EQ(remove(participant), DDS_RETCODE_OK) << i;
        }
    }

    void TearDown() override {
        stranger.reset();
        ParticipantTest::TearDown();
    }

    std::unique_ptr<Stranger> stranger = std::make_unique<Stranger>(default_port(0));
};

TEST_F(OwnPast, DoesNotKeepTheSearchFromTheFirstFreeIndex) {
    expect_index_1(MANY);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(OwnPast, DoesNotKeepTheSearchFromItWhileTheMiddlewaresThreadIsBusy) {
    ASSERT_NE(create(), nullptr); // so that there is a thread
    ASSERT_EQ(remove(participants.at(0)), DDS_RETCODE_OK);
    switch_autoenable_off();
    DDS_DomainParticipant *const idle = create();
    const DDS_DomainParticipantFactoryQos on = {{DDS_BOOLEAN_TRUE}};

    ASSERT_EQ(DDS_DomainParticipantFactory_set_qos(factory, &on), DDS_RETCODE_OK);
    struct Busy {
        std::atomic<bool> started{false};
        std::atomic<bool> let_go{false};
        static void on_time(void *param, REDAWorker *) {
            auto *self = static_cast<Busy *>(param);

            self->started = true;
            EXPECT_TRUE(net::eventually([self] { return self->let_go.load(); }));
        }
    } busy;
    NUVEvent event = {Busy::on_time, &busy, 0, nullptr, 0};
    NUVEventActiveDatabase *const events =
        NUVNetioRuntime_getEventDatabase(idle->resources.runtime);
    const NUVNtpTime now = NUV_NTP_TIME_ZERO;

    NUVEventActiveDatabase_postEvent(events, &event, &now);
    EXPECT_TRUE(net::eventually([&] { return busy.started.load(); }));
    expect_index_1(20);
    busy.let_go = true;
    EXPECT_NE(NUVEventActiveDatabase_cancelEvent(events, &event), 0);
}

TEST_F(OwnPast, DoesNotKeepAFixedIndexFromBeingHadAgain) {
    qos->wire_protocol.participant_id = 1;
    expect_index_1(50);
}

} // namespace
