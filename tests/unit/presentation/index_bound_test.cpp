// SPDX-License-Identifier: Apache-2.0
// The highest participant index, and the user multicast locators: port arithmetic.
#include "support/scripted_presentation.h"

using namespace support;

namespace {

constexpr DDS_RtpsWellKnownPorts_t STANDARD = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;

Message error(const std::string &body) {
    return {.level = NUV_LOG_LEVEL_ERROR,
            .function = "DDS_DomainParticipantPresentation_get_max_participant_indexI",
            .name = "NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
            .body = body,
            .text = "bad parameter: " + body};
}

Message precondition(const std::string &test) {
    return {.level = NUV_LOG_LEVEL_FATAL,
            .function = "DDS_DomainParticipantPresentation_get_max_participant_indexI",
            .name = "NUV_LOG_PRECONDITION_FAILURE_s",
            .text = "precondition failed: \"" + test + '"'};
}

class IndexBound : public testing::Test {
protected:
    DDS_Long bound() const {
        return DDS_DomainParticipantPresentation_get_max_participant_indexI(&ports);
    }

    Recorder recorder;
    LogCapture log;
    DDS_RtpsWellKnownPorts_t ports = STANDARD;
};

/** Port parameters, and the bound that they make; -1 with an error. */
struct Bound {
    const char *name;
    DDS_RtpsWellKnownPorts_t ports;
    DDS_Long bound;
    const char *error = nullptr;
};

void PrintTo(const Bound &bound, std::ostream *out) {
    *out << bound.name;
}

constexpr const char *NO_ROOM = "rtps_well_known_ports.participant_id_gain (536) must be less than "
                                "(65535 - rtps_well_known_ports.port_base (65000)).";

const Bound BOUNDS[] = {
    {"Is119ForTheStandardPorts", STANDARD, 119},
    {"IsTheRatioOfTheGainsLessOneWhenTheDomainGainIsLarger", {7400, 100, 10, 0, 0, 0, 0}, 9},
    {"IsTheWholePortRangeWhenTheGainsAreEqual", {7400, 2, 2, 0, 0, 0, 0}, 29066},
    {"IsTheWholePortRangeWhenTheDomainGainIsSmaller", {7400, 1, 1000, 0, 0, 0, 0}, 57},
    {"MayBeZeroInThePortRange", {65000, 1, 535, 0, 0, 0, 0}, 0},
    {"IsRefusedWhenThePortRangeHasNoRoomForOne", {65000, 1, 536, 0, 0, 0, 0}, -1, NO_ROOM},
    {"IsRefusedForAParticipantGainBeyondThePortRange",
     {65000, 250, 1000, 0, 10, 1, 11},
     -1,
     "rtps_well_known_ports.participant_id_gain (1000) must be less than "
     "(65535 - rtps_well_known_ports.port_base (65000))."},
    {"IsNotCorrectedWhenItIsRefused", {65000, 1, 536, 0, 5000, 0, 5000}, -1, NO_ROOM},
    {"IsNotHeldAgainstThePortRangeWhenTheDomainGainIsLarger", {65534, 250, 2, 0, 10, 1, 11}, 119},
    {"IsRefusedForABaseThatIsTheLastPort",
     {65535, 250, 2, 0, 10, 1, 11},
     -1,
     "rtps_well_known_ports.port_base (65535) must be less than 65535."},
    {"IsRefusedForABaseBeyondTheLastPort",
     {70000, 250, 2, 0, 10, 1, 11},
     -1,
     "rtps_well_known_ports.port_base (70000) must be less than 65535."},
    {"IsNotCorrectedForOffsetsEqualToTheParticipantGain", {7400, 100, 10, 0, 10, 0, 10}, 9},
    {"IsCorrectedForAUserOffsetAboveTheParticipantGain", {7400, 100, 10, 0, 0, 0, 11}, 8},
    {"IsCorrectedForABuiltinOffsetAboveTheParticipantGain", {7400, 100, 10, 0, 39, 0, 0}, 6},
    {"IsCorrectedByTheUserOffsetOnlyIfItIsLarger", {7400, 100, 10, 0, 20, 0, 50}, 4},
    {"IsCorrectedByTheBuiltinOffsetOnlyIfItIsLarger", {7400, 100, 10, 0, 50, 0, 20}, 4},
    {"IsCorrectedInThePortRangeToo", {7400, 2, 2, 0, 10, 1, 11}, 29061},
    {"MayFallBelowZeroByTheCorrectionWithoutAMessage", {7400, 3, 2, 0, 10, 1, 11}, -5},
    {"DoesNotLookAtTheMulticastOffsets", {7400, 250, 2, -1, 10, 60000, 11}, 119},
    {"AcceptsOffsetsOfZero", {7400, 250, 2, 0, 0, 1, 0}, 124},
    {"AcceptsABaseOfOneAndGainsOfOne", {1, 1, 1, 0, 0, 0, 0}, 65533},
};

class IndexBoundOfPorts : public IndexBound, public testing::WithParamInterface<Bound> {};

TEST_P(IndexBoundOfPorts, IsAsDocumented) {
    ports = GetParam().ports;
    EXPECT_EQ(bound(), GetParam().bound);
    EXPECT_EQ(log.messages(),
              GetParam().error == nullptr ? Messages() : Messages({error(GetParam().error)}));
}

INSTANTIATE_TEST_SUITE_P(That, IndexBoundOfPorts, testing::ValuesIn(BOUNDS),
                         [](const testing::TestParamInfo<Bound> &bound) {
                             return bound.param.name;
                         });

TEST_F(IndexBound, RefusesANullRecord) {
    EXPECT_EQ(DDS_DomainParticipantPresentation_get_max_participant_indexI(nullptr), -1);
    EXPECT_EQ(log.messages(), Messages({precondition("rtpsWellKnownPorts == ((void *)0)")}));
}

// ---- preconditions on the fields

struct BadField {
    const char *name;
    DDS_Long DDS_RtpsWellKnownPorts_t::*field;
    DDS_Long largestBad;
    const char *test;
};

void PrintTo(const BadField &bad, std::ostream *out) {
    *out << bad.name;
}

const BadField BAD_FIELDS[] = {
    {"PortBase", &DDS_RtpsWellKnownPorts_t::port_base, 0, "rtpsWellKnownPorts->port_base <= 0"},
    {"DomainIdGain", &DDS_RtpsWellKnownPorts_t::domain_id_gain, 0,
     "rtpsWellKnownPorts->domain_id_gain <= 0"},
    {"ParticipantIdGain", &DDS_RtpsWellKnownPorts_t::participant_id_gain, 0,
     "rtpsWellKnownPorts->participant_id_gain <= 0"},
    {"BuiltinUnicastPortOffset", &DDS_RtpsWellKnownPorts_t::builtin_unicast_port_offset, -1,
     "rtpsWellKnownPorts->builtin_unicast_port_offset < 0"},
    {"UserUnicastPortOffset", &DDS_RtpsWellKnownPorts_t::user_unicast_port_offset, -1,
     "rtpsWellKnownPorts->user_unicast_port_offset < 0"},
};

class IndexBoundPrecondition : public IndexBound, public testing::WithParamInterface<BadField> {};

TEST_P(IndexBoundPrecondition, IsReportedAndAnsweredByMinusOne) {
    ports.*GetParam().field = GetParam().largestBad;
    EXPECT_EQ(bound(), -1);
    EXPECT_EQ(log.messages(), Messages({precondition(GetParam().test)}));
}

TEST_P(IndexBoundPrecondition, HoldsForTheLowestValueToo) {
    ports.*GetParam().field = INT32_MIN;
    EXPECT_EQ(bound(), -1);
    EXPECT_EQ(log.messages(), Messages({precondition(GetParam().test)}));
}

TEST_P(IndexBoundPrecondition, IsReportedBeforeThoseOfLaterFields) {
    bool isLater = false;
    for (const BadField &bad : BAD_FIELDS) {
        isLater = isLater || bad.field == GetParam().field;
        if (isLater) {
            ports.*bad.field = bad.largestBad;
        }
    }
    EXPECT_EQ(bound(), -1);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0], precondition(GetParam().test));
}

INSTANTIATE_TEST_SUITE_P(Of, IndexBoundPrecondition, testing::ValuesIn(BAD_FIELDS),
                         [](const testing::TestParamInfo<BadField> &field) {
                             return field.param.name;
                         });

TEST_F(IndexBound, ReportsAPreconditionBeforeABaseThatIsTooLarge) {
    ports.port_base = 65535;
    ports.user_unicast_port_offset = -1;
    EXPECT_EQ(bound(), -1);
    EXPECT_EQ(log.messages(),
              Messages({precondition("rtpsWellKnownPorts->user_unicast_port_offset < 0")}));
}

TEST_F(IndexBound, NotesAFailedPreconditionWhenAsked) {
    NUVLog_g_preconditionDetected = 0;
    NUVLog_g_detectPrecondition = 1;
    ports.port_base = 0;
    EXPECT_EQ(bound(), -1);
    EXPECT_EQ(NUVLog_g_preconditionDetected, 1);
    EXPECT_EQ(recorder.count("NUVLog_onAssertBreakpoint"), 1);
}

TEST_F(IndexBound, StopsAtTheBreakpointForAPreconditionThatNobodyAskedFor) {
    NUVLog_g_preconditionDetected = 0;
    NUVLog_g_detectPrecondition = 0;
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, 0);
    ports.port_base = 0;
    EXPECT_EQ(bound(), -1);
    EXPECT_EQ(NUVLog_g_preconditionDetected, 0);
    EXPECT_EQ(recorder.count("NUVLog_onAssertBreakpoint"), 1);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(IndexBound, IsNoPreconditionFailureWhenOnlyThePortRangeIsExceeded) {
    NUVLog_g_preconditionDetected = 0;
    NUVLog_g_detectPrecondition = 1;
    ports.port_base = 65535;
    EXPECT_EQ(bound(), -1);
    EXPECT_EQ(NUVLog_g_preconditionDetected, 0);
    EXPECT_EQ(recorder.count("NUVLog_onAssertBreakpoint"), 0);
}

// ---- the user multicast locators

class IndexUserMulticast : public ScriptedPresentation {
protected:
    PRESReducedLocatorQosPolicy calculate(const PRESReducedLocatorQosPolicy &meta) {
        PRESReducedLocatorQosPolicy user = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
        DDS_DomainParticipantPresentation_calculate_user_multicast_locatorI(&self, &user, &meta);
        return user;
    }
};

TEST_F(IndexUserMulticast, HasTheUserPortOfTheDomainInEachLocator) {
    const PRESReducedLocatorQosPolicy user =
        calculate(reducedLocatorsOf({"udpv4://239.255.0.1:8650", "udpv4://239.255.0.2:8650",
                                     "udpv4://239.255.0.3:8650", "udpv6://[ff02::1]:8650"}));
    EXPECT_EQ(describe(user), "{udpv4://239.255.0.1:8651, udpv4://239.255.0.2:8651, "
                              "udpv4://239.255.0.3:8651, udpv6://[ff02::1]:8651}");
}

TEST_F(IndexUserMulticast, MayHaveALargeOffset) {
    self.cachedWellKnownPorts.user_multicast_port_offset = 1000;
    EXPECT_EQ(describe(calculate(reducedLocatorsOf({"udpv4://239.255.0.1:8650"}))),
              "{udpv4://239.255.0.1:9650}");
}

TEST_F(IndexUserMulticast, KeepsEveryFieldOfALocatorButItsPort) {
    const char *const name = "group.example";
    PRESReducedLocatorQosPolicy meta = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    meta.count = 1;
    meta.locatorList[0] = {
        2, {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}}, name, 1, 4, {1, 2, 3, 4}, 5,
        6};
    const PRESReducedLocatorQosPolicy user = calculate(meta);
    const NUVNetioLocator &locator = user.locatorList[0];
    EXPECT_EQ(locator.transport, 2);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(locator.address.network_ordered_value[i], i + 1);
    }
    EXPECT_EQ(locator.hostname, name);
    EXPECT_EQ(locator.port, 8651);
    EXPECT_EQ(locator.encapsulationCount, 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(locator.encapsulations[i], i + 1);
    }
    EXPECT_EQ(locator.lossProbability, 5);
    EXPECT_EQ(locator.disabled, 6);
}

TEST_F(IndexUserMulticast, IsComputedFromTheRecordsPorts) {
    self.cachedWellKnownPorts = {1000, 100, 7, 13, 17, 19, 23};
    self._domainId = 3;
    EXPECT_EQ(describe(calculate(reducedLocatorsOf({"udpv4://239.255.0.1:1"}))),
              "{udpv4://239.255.0.1:1319}");
}

TEST_F(IndexUserMulticast, IsNotHeldAgainstThePortRange) {
    self._domainId = 1000;
    EXPECT_EQ(calculate(reducedLocatorsOf({"udpv4://239.255.0.1:1"})).locatorList[0].port, 257401);
}

TEST_F(IndexUserMulticast, IsComputedInThirtyTwoBits) {
    self.cachedWellKnownPorts.domain_id_gain = INT32_MAX;
    self._domainId = 2;
    EXPECT_EQ(calculate(reducedLocatorsOf({"udpv4://239.255.0.1:1"})).locatorList[0].port, 7399);
}

TEST_F(IndexUserMulticast, IsEmptyWhenThereIsNoMetatrafficMulticast) {
    PRESReducedLocatorQosPolicy user = reducedLocatorsOf({"udpv4://239.255.0.9:9"});
    const PRESReducedLocatorQosPolicy none = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    DDS_DomainParticipantPresentation_calculate_user_multicast_locatorI(&self, &user, &none);
    EXPECT_EQ(user.count, 0);
    EXPECT_EQ(describe(user.locatorList[0]), "udpv4://239.255.0.9:9");
}

TEST_F(IndexUserMulticast, LeavesLocatorsBeyondTheCountAlone) {
    PRESReducedLocatorQosPolicy user =
        reducedLocatorsOf({"udpv4://239.255.0.8:8", "udpv4://239.255.0.9:9"});
    const PRESReducedLocatorQosPolicy meta = reducedLocatorsOf({"udpv4://239.255.0.1:8650"});
    DDS_DomainParticipantPresentation_calculate_user_multicast_locatorI(&self, &user, &meta);
    EXPECT_EQ(user.count, 1);
    EXPECT_EQ(describe(user.locatorList[0]), "udpv4://239.255.0.1:8651");
    EXPECT_EQ(describe(user.locatorList[1]), "udpv4://239.255.0.9:9");
}

} // namespace
