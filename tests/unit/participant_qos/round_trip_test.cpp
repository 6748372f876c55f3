// SPDX-License-Identifier: Apache-2.0
// What a participant was created with is what is read back, and can be set again.
#include "random_qos.h"

namespace {

using support::Messages;

class RoundTrip : public ParticipantQos {
protected:
    /** Creates a participant with `qos`, which may be refused. */
    bool tryToCreate(bool isEnabled) {
        const DDS_DomainParticipantFactoryQos factoryQos = {
            {isEnabled ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE}};
        EXPECT_EQ(DDS_DomainParticipantFactory_set_qos(factory, &factoryQos), DDS_RETCODE_OK);
        log.clear();
        participant = DDS_DomainParticipantFactory_create_participant(
            factory, 0, qos.get(), nullptr, DDS_STATUS_MASK_NONE);
        return participant != nullptr;
    }

    void remove() {
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                  DDS_RETCODE_OK);
        participant = nullptr;
    }

    /** What is read back is what was given, twice, and both can be set. */
    void expectRoundTrip() {
        log.clear();
        for (int time = 0; time < 2; ++time) {
            ASSERT_EQ(get(), DDS_RETCODE_OK);
            EXPECT_TRUE(out == qos);
            EXPECT_EQ(DDS_DomainParticipant_set_qos(participant, out.get()), DDS_RETCODE_OK);
        }
        EXPECT_EQ(set(), DDS_RETCODE_OK);
        expectQos(qos);
        EXPECT_EQ(log.messages(), Messages());
    }

    /** The number of seeds from @p first on whose QoS is accepted, each of which is tried. */
    int tryAll(unsigned first, unsigned count, Ports ports) {
        int accepted = 0;
        for (unsigned seed = first; seed < first + count && !HasFailure(); ++seed) {
            SCOPED_TRACE("seed " + std::to_string(seed));
            qos.setDefault();
            fill(qos, seed, ports);
            if (tryToCreate(ports == Ports::USABLE)) {
                ++accepted;
                expectRoundTrip();
                remove();
            } else {
                EXPECT_EQ(errors().size(), 1u);
            }
        }
        return accepted;
    }
};

TEST_F(RoundTrip, OfAnyQosThatIsAcceptedChangesNothing) {
    EXPECT_GE(tryAll(1, 600, Ports::ANY), 300);
}

TEST_F(RoundTrip, OfAnyQosOfAnEnabledParticipantChangesNothing) {
    EXPECT_GE(tryAll(1, 200, Ports::USABLE), 100);
}

TEST_F(RoundTrip, OfEverySpellingOfAnInfiniteLeaseChangesNothing) {
    for (const DDS_Duration_t &infinite :
         {DDS_Duration_t DDS_DURATION_INFINITE, DDS_Duration_t{0x7FFFFFFF, 0},
          DDS_Duration_t{5, 0x7FFFFFFFu}, DDS_Duration_t{5, 0xFFFFFFFFu}}) {
        qos->discovery_config.locator_reachability_lease_duration = infinite;
        create(false);
        expectRoundTrip();
        remove();
    }
}

/** A participant with the highest limits, each of which is used up. */
class HighestLimits : public RoundTrip {
protected:
    void SetUp() override {
        RoundTrip::SetUp();
        qos->resource_limits = {DDS_TRANSPORT_INFO_LIST_LENGTH_MAX, DDS_USER_DATA_LENGTH_MAX,
                                DDS_PROPERTY_LIST_LENGTH_MAX, DDS_PROPERTY_STRING_LENGTH_MAX,
                                DDS_REMOTE_PARTICIPANTS_MAX};
        qos.setUserData(std::vector<DDS_Octet>(DDS_USER_DATA_LENGTH_MAX, 7));
        // No announcement has room for all of it.
        qos.setProperty("dds.discovery.announce", "no");
        size_t rest =
            DDS_PROPERTY_STRING_LENGTH_MAX - sizeof "dds.discovery.announce" - sizeof "no";
        for (int i = 2; i < DDS_PROPERTY_LIST_LENGTH_MAX; ++i) {
            const std::string name = std::to_string(10000 + i);
            qos.setProperty(name.c_str(), "");
            rest -= name.size() + 2;
        }
        qos.setProperty("rest", std::string(rest - sizeof "rest" - 1, 'r').c_str());
    }
};

TEST_F(HighestLimits, AreReadBackAndSetAgain) {
    create(false);
    expectRoundTrip();
}

TEST_F(HighestLimits, LetTheLocatorsBeUpdated) {
    create();
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages());
    expectQos(qos);
}

TEST_F(RoundTrip, LimitsThatNoBufferServesAreRefusedAtCreation) {
    qos->resource_limits.participant_user_data_max_length = 0x7FFFFFFF;
    EXPECT_FALSE(tryToCreate(true));
    EXPECT_EQ(errors(),
              std::vector<std::string>(
                  {"inconsistent QoS: resource_limits.participant_user_data_max_length is "
                   "2147483647; allowed is 0 to 65528"}));
}

TEST_F(RoundTrip, ABooleanThatIsNoneIsRefusedAtCreation) {
    qos.setProperty("color", "green");
    qos->property.value._buffer[0].propagate = 2;
    EXPECT_FALSE(tryToCreate(true));
    EXPECT_EQ(errors(), std::vector<std::string>({"inconsistent QoS: property.value[0].propagate "
                                                  "of \"color\" is 2; allowed are 0 and 1"}));
}

TEST_F(RoundTrip, ABooleanThatIsNoneIsAnInconsistentChange) {
    create();
    qos->entity_factory.autoenable_created_entities = 2;
    EXPECT_EQ(set(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(errors().size(), 1u);
}

} // namespace
