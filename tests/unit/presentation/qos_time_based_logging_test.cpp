// SPDX-License-Identifier: Apache-2.0
// The time-based logging settings, which come from properties only.
#include "names.h"
#include "support/describe.h"
#include "support/presentation_fixture.h"

namespace {

using namespace support;

const char *const SEND = "dds.participant.logging.time_based_logging.send.timeout";
const char *const EA = "dds.participant.logging.time_based_logging.ea.timeout";
const char *const EA_LEVEL = "dds.participant.logging.time_based_logging.ea.tracked_level";
const char *const RECEIVE =
    "dds.participant.logging.time_based_logging.process_received_message.timeout";
const char *const PORTS =
    "dds.participant.logging.time_based_logging.process_received_message.tracked_ports";
const char *const AUTHENTICATION =
    "dds.participant.logging.time_based_logging.authentication.timeout";

class TimeBasedLogging : public PresentationFixture {
protected:
    void SetUp() override {
        PresentationFixture::SetUp();
        recorder.name(&property, "property");
        nameProperty(recorder, property, "property");
    }

    void TearDown() override {
        DDS_String_free(receiver().processMessageTimeBasedLoggingExplicitPorts);
        PresentationFixture::TearDown();
    }

    int configure(REDAWorker *caller) {
        return DDS_DomainParticipantPresentation_setTimeBasedLoggingConfiguration(
            &qos.property, &property, caller);
    }
    int configure() {
        return configure(worker);
    }

    COMMENDReceiverProperty &receiver() {
        return property.facadeProperty.parent.receiver;
    }
    std::string sendThreshold() const {
        return describe(property.facadeProperty.parent.sender.sendTimeBasedLoggingThreshold);
    }
    std::string receiveThreshold() {
        return describe(receiver().processMessageTimeBasedLoggingThreshold);
    }
    std::string authenticationThreshold() const {
        return describe(property.authenticationTimeThreshold);
    }

    /** The one that the worker factory has. */
    std::string eaThreshold() const {
        NUV_INT32 level = 0;
        NUVNtpTime threshold = NUV_NTP_TIME_ZERO;
        REDAWorkerFactory_getEaTimeBasedLogging(workerFactory, &level, &threshold);
        return describe(threshold);
    }

    PRESParticipantProperty property = PARTICIPANT_PROPERTY_DEFAULT;
    const std::string infinite = "{2147483647, 0xFFFFFFFF}";
};

TEST_F(TimeBasedLogging, KeepsItsDefaultsWithoutProperties) {
    Recording calls(recorder);
    EXPECT_EQ(configure(), 1);
    EXPECT_EQ(calls.text(),
              lines({
                  "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, "
                  "property.sendTimeBasedLoggingThreshold, "
                  "\"dds.participant.logging.time_based_logging.send.timeout\")",
                  "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, &out, "
                  "\"dds.participant.logging.time_based_logging.ea.timeout\")",
                  "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, "
                  "property.processMessageTimeBasedLoggingThreshold, "
                  "\"dds.participant.logging.time_based_logging.process_received_message."
                  "timeout\")",
                  "DDS_PropertyQosPolicyHelper_lookup_property(qos.property, "
                  "\"dds.participant.logging.time_based_logging.process_received_message."
                  "tracked_ports\")",
                  "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, "
                  "property.authenticationTimeThreshold, "
                  "\"dds.participant.logging.time_based_logging.authentication.timeout\")",
              }));
    EXPECT_EQ(sendThreshold(), infinite);
    EXPECT_EQ(receiveThreshold(), infinite);
    EXPECT_EQ(authenticationThreshold(), infinite);
    EXPECT_EQ(receiver().processMessageTimeBasedLoggingExplicitPorts, nullptr);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(TimeBasedLogging, ReadsAllSixPropertiesInThisOrder) {
    setProperty(SEND, "1");
    setProperty(EA, "2");
    setProperty(EA_LEVEL, "30");
    setProperty(RECEIVE, "4");
    setProperty(PORTS, "7410,7412-7420");
    setProperty(AUTHENTICATION, "0.5");
    Recording calls(recorder);
    EXPECT_EQ(configure(), 1);
    EXPECT_EQ(calls.text(),
              lines({
                  "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, "
                  "property.sendTimeBasedLoggingThreshold, "
                  "\"dds.participant.logging.time_based_logging.send.timeout\")",
                  "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, &out, "
                  "\"dds.participant.logging.time_based_logging.ea.timeout\")",
                  "DDS_PropertyQosPolicyHelper_lookup_integer_property(qos.property, &out=10, "
                  "\"dds.participant.logging.time_based_logging.ea.tracked_level\")",
                  "REDAWorker_setEaTimeBasedLoggingLevelAndThreshold(workerFactory, 30, {2, 0x0})",
                  "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, "
                  "property.processMessageTimeBasedLoggingThreshold, "
                  "\"dds.participant.logging.time_based_logging.process_received_message."
                  "timeout\")",
                  "DDS_PropertyQosPolicyHelper_lookup_property(qos.property, "
                  "\"dds.participant.logging.time_based_logging.process_received_message."
                  "tracked_ports\")",
                  "DDS_String_dup(\"7410,7412-7420\")",
                  "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, "
                  "property.authenticationTimeThreshold, "
                  "\"dds.participant.logging.time_based_logging.authentication.timeout\")",
              }));
    EXPECT_EQ(sendThreshold(), "{1, 0x0}");
    EXPECT_EQ(receiveThreshold(), "{4, 0x0}");
    EXPECT_EQ(authenticationThreshold(), "{0, 0x80000000}");
    EXPECT_STREQ(receiver().processMessageTimeBasedLoggingExplicitPorts, "7410,7412-7420");
}

// ---- exclusive areas

TEST_F(TimeBasedLogging, DoesNotTouchTheWorkerFactoryForATrackedLevelAlone) {
    setProperty(EA_LEVEL, "30");
    EXPECT_EQ(configure(), 1);
    EXPECT_EQ(recorder.count("DDS_PropertyQosPolicyHelper_lookup_integer_property"), 0);
    EXPECT_EQ(recorder.count("REDAWorker_setEaTimeBasedLoggingLevelAndThreshold"), 0);
    EXPECT_EQ(eaThreshold(), infinite);
}

TEST_F(TimeBasedLogging, TracksLevelTenUnlessAnotherIsSet) {
    setProperty(EA, "2");
    Recording calls(recorder, only({"REDAWorker_*"}));
    EXPECT_EQ(configure(), 1);
    EXPECT_EQ(calls.text(), lines({"REDAWorker_setEaTimeBasedLoggingLevelAndThreshold("
                                   "workerFactory, 10, {2, 0x0})"}));
    EXPECT_EQ(eaThreshold(), "{2, 0x0}");
}

TEST_F(TimeBasedLogging, TracksLevelTenForALevelThatIsNoNumber) {
    setProperty(EA, "2");
    setProperty(EA_LEVEL, "high");
    Recording calls(recorder, only({"REDAWorker_*"}));
    EXPECT_EQ(configure(), 1);
    EXPECT_EQ(calls.text(), lines({"REDAWorker_setEaTimeBasedLoggingLevelAndThreshold("
                                   "workerFactory, 10, {2, 0x0})"}));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(TimeBasedLogging, TracksAnyLevel) {
    setProperty(EA, "2");
    setProperty(EA_LEVEL, "-1");
    Recording calls(recorder, only({"REDAWorker_*"}));
    EXPECT_EQ(configure(), 1);
    EXPECT_EQ(calls.text(), lines({"REDAWorker_setEaTimeBasedLoggingLevelAndThreshold("
                                   "workerFactory, -1, {2, 0x0})"}));
}

TEST_F(TimeBasedLogging, NeedsNoWorkerWithoutAnExclusiveAreaTimeout) {
    setProperty(SEND, "1");
    setProperty(EA_LEVEL, "30");
    EXPECT_EQ(configure(nullptr), 1);
    EXPECT_EQ(sendThreshold(), "{1, 0x0}");
}

// ---- what cannot be read is passed over

TEST_F(TimeBasedLogging, PassesOverWhatIsNoDuration) {
    setProperty(SEND, "soon");
    setProperty(EA, "soon");
    setProperty(RECEIVE, "-1");
    setProperty(AUTHENTICATION, "");
    EXPECT_EQ(configure(), 1);
    EXPECT_EQ(sendThreshold(), infinite);
    EXPECT_EQ(receiveThreshold(), infinite);
    EXPECT_EQ(authenticationThreshold(), infinite);
    EXPECT_EQ(recorder.count("REDAWorker_setEaTimeBasedLoggingLevelAndThreshold"), 0);
    EXPECT_EQ(log.messages(), Messages());
}

// ---- tracked ports

TEST_F(TimeBasedLogging, CopiesTheTrackedPorts) {
    setProperty(PORTS, "7410");
    EXPECT_EQ(configure(), 1);
    setProperty(PORTS, "7412");
    EXPECT_STREQ(receiver().processMessageTimeBasedLoggingExplicitPorts, "7410");
}

TEST_F(TimeBasedLogging, TakesAnyTextForTrackedPorts) {
    setProperty(PORTS, "all of them");
    EXPECT_EQ(configure(), 1);
    EXPECT_STREQ(receiver().processMessageTimeBasedLoggingExplicitPorts, "all of them");
}

TEST_F(TimeBasedLogging, CopiesEmptyTrackedPortsToo) {
    setProperty(PORTS, "");
    EXPECT_EQ(configure(), 1);
    EXPECT_STREQ(receiver().processMessageTimeBasedLoggingExplicitPorts, "");
}

TEST_F(TimeBasedLogging, FailsWithoutMemoryForTheTrackedPorts) {
    setProperty(EA, "2");
    setProperty(PORTS, "7410");
    setProperty(AUTHENTICATION, "5");
    recorder.failAllocation(1);
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(log.messages(), Messages({{.function = TIME_BASED,
                                         .name = "DDS_LOG_OUT_OF_RESOURCES_s",
                                         .text = std::string("out of resources: ") + PORTS}}));
    EXPECT_EQ(receiver().processMessageTimeBasedLoggingExplicitPorts, nullptr);
    EXPECT_EQ(authenticationThreshold(), infinite) << "it is not read any more";
    EXPECT_EQ(eaThreshold(), "{2, 0x0}") << "this stays in force";
}

} // namespace
