// SPDX-License-Identifier: Apache-2.0
// What the lower layers answer with: any value but 0 is success.

#include "pres/pres_participant.h"
#include "properties/PropertyQosPolicyHelper_internal.h"
#include "qos/QosPolicy_internal.h"
#include "reda/reda_string.h"
#include "support/running_presentation.h"
#include "support/scripted_presentation.h"

namespace {

using namespace support;

/** Has a function answer this where it would answer with anything but 0. */
template <typename R, typename... A>
void answerWith(Recorder &recorder, const char *name, R (*function)(A...), int answer) {
    recorder.replace(name, [function, answer](A... arguments) -> R {
        return static_cast<R>(function(arguments...) != 0 ? answer : 0);
    });
}

#define ANSWER_WITH(RECORDER, FUNCTION, ANSWER) answerWith(RECORDER, #FUNCTION, FUNCTION, ANSWER)

std::string nameOf(const testing::TestParamInfo<int> &answer) {
    return answer.param < 0 ? "minus" + std::to_string(-answer.param)
                            : std::to_string(answer.param);
}

/** With a property of each kind that is parsed. */
class NonZeroAnswer : public RunningPresentation, public testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        RunningPresentation::SetUp();
        setProperty("dds.domain_participant.asynchronous_publisher_thread_destruction_timeout",
                    "5");
        setProperty("dds.participant.use_45d_compatible_alignment_enforcement", "1");
        setProperty("dds.participant.discovery_config.log_discovery_mismatch", "1");
        addUnicastSetting("udpv4", 7777);
    }
};

TEST_P(NonZeroAnswer, OfAParserIsSuccess) {
    ANSWER_WITH(recorder, REDAString_strToLong, GetParam());
    ANSWER_WITH(recorder, REDAString_strToBoolean, GetParam());
    start();
    EXPECT_EQ(recorder.count("REDAString_strToLong"), 1);
    EXPECT_EQ(recorder.count("REDAString_strToBoolean"), 2);
}

TEST_P(NonZeroAnswer, OfThePresentationLayerIsSuccess) {
    start();
    ANSWER_WITH(recorder, PRESParticipant_getProperty, GetParam());
    ANSWER_WITH(recorder, PRESParticipant_setProperty, GetParam());
    ANSWER_WITH(recorder, DDS_TransportUnicastQosPolicy_is_equalI, GetParam());
    setUserData({1, 2, 3});
    EXPECT_EQ(set(), DDS_RETCODE_OK);
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_DomainParticipantQos_is_equal(&out, &qos));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_P(NonZeroAnswer, IsSuccessForEnabling) {
    start();
    ANSWER_WITH(recorder, NUVNetioConfigurator_getTransportInfo, GetParam());
    ANSWER_WITH(recorder, PRESParticipant_enable, GetParam());
    ANSWER_WITH(recorder, PRESLocatorQosPolicy_toString, GetParam());
    self._cachedDefaultUnicastLocator = locatorsOf({"udpv4://192.0.2.10:7411"});
    self._cachedMetatrafficUnicastLocator = locatorsOf({"udpv4://192.0.2.10:7410"});
    EXPECT_EQ(DDS_DomainParticipantPresentation_enable(&self, &qos, nullptr, worker),
              DDS_RETCODE_OK);
    EXPECT_TRUE(PRESParticipant_isEnabled(self.participant, worker));
    EXPECT_EQ(logged().size(), 3u) << "peers and two lists";
}

INSTANTIATE_TEST_SUITE_P(Of, NonZeroAnswer, testing::Values(2, -1, 256), nameOf);

class NonZeroAnswerToASearch : public ScriptedPresentation,
                               public testing::WithParamInterface<int> {
protected:
    /** Every reservation succeeds with this answer. */
    void answerReservationsWith(int answer) {
        recorder.replace("COMMENDFacade.addEntryport",
                         [this, answer](COMMENDFacade *, REDAWeakReference *out,
                                        const NUVNetioLocatorInfo *, REDAWorker *) -> int {
                             *out = someReference(slots_++);
                             return answer;
                         });
    }

private:
    NUV_UINT32 slots_ = 0;
};

TEST_P(NonZeroAnswerToASearch, IsSuccess) {
    answerReservationsWith(GetParam());
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(self._reserveMetaUnicast._count, 2);
    EXPECT_EQ(self._reserveUserUnicast._count, 2);
}

TEST_P(NonZeroAnswerToASearch, IsSuccessForASinglePort) {
    answerReservationsWith(GetParam());
    self._cachedReservedPortMask = DDS_RTPS_RESERVED_PORT_MASK_NONE;
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(self._reserveMetaUnicast._count, 1);
}

TEST_P(NonZeroAnswerToASearch, IsSuccessForAChangeOfLocators) {
    ANSWER_WITH(recorder, PRESLocatorQosPolicy_toString, GetParam());
    DDS_DomainParticipantPresentation_log_locator_change(
        &LOCATOR_QOS_POLICY_DEFAULT, &LOCATOR_QOS_POLICY_DEFAULT, "Default unicast", worker);
    EXPECT_EQ(log.messages().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Of, NonZeroAnswerToASearch, testing::Values(2, -1, 256), nameOf);

// A boolean of the DDS layer has eight bits.

class TrueAnswer : public RunningPresentation {};

TEST_F(TrueAnswer, OfALookupOrACheckOfPortsIsAnyValueButZero) {
    setProperty("dds.participant.logging.time_based_logging.ea.timeout", "5");
    setProperty("dds.participant.directed_write_serialization_kind", "2");
    ANSWER_WITH(recorder, DDS_PropertyQosPolicyHelper_lookup_duration_property, 128);
    ANSWER_WITH(recorder, DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property, 128);
    keepProperty();
    start();
    EXPECT_EQ(given->property.directedWriteGuidSerializationKind, 2);
    EXPECT_EQ(recorder.count("REDAWorker_setEaTimeBasedLoggingLevelAndThreshold"), 1);

    DDS_Long index = 3;
    qos.wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_MASK_NONE;
    self._cachedReservedPortMask = DDS_RTPS_RESERVED_PORT_MASK_NONE;
    ANSWER_WITH(recorder, DDS_RtpsWellKnownPorts_isUnicastValid, 128);
    EXPECT_EQ(DDS_DomainParticipantPresentation_reserve_participant_index_entryports(&self, &index,
                                                                                     worker),
              DDS_RETCODE_OK);
}

TEST_F(TrueAnswer, IsNoExcuseForASerializationKindThatIsTooLarge) {
    setProperty("dds.participant.directed_write_serialization_kind", "3");
    ANSWER_WITH(recorder, DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property, 128);
    keepBuffers();
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(self.participant, nullptr);
}

} // namespace
