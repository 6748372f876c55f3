// SPDX-License-Identifier: Apache-2.0
// The copy of the QoS that cannot change after creation.
#include <algorithm>

#include "fault_loop.h"
#include "names.h"
#include "support/presentation_fixture.h"

namespace {

using namespace support;

class Cache : public PresentationFixture {
protected:
    void SetUp() override {
        PresentationFixture::SetUp();
        fill(qos, "udpv4", "239.255.1.1", "peer-one", {8000, 100, 3, 1, 20, 2, 21}, 5);
    }

    void TearDown() override {
        DDS_DomainParticipantQos_finalize(&other);
        PresentationFixture::TearDown();
    }

    static void fill(DDS_DomainParticipantQos &filled, const char *transport, const char *address,
                     const char *peer, const DDS_RtpsWellKnownPorts_t &ports,
                     DDS_RtpsReservedPortKindMask mask) {
        ASSERT_TRUE(
            DDS_TransportUnicastSettingsSeq_ensure_length(&filled.default_unicast.value, 1, 1));
        ASSERT_TRUE(
            DDS_StringSeq_append(&filled.default_unicast.value._buffer[0].transports, transport));
        ASSERT_TRUE(
            DDS_TransportMulticastMappingSeq_ensure_length(&filled.multicast_mapping.value, 1, 1));
        ASSERT_TRUE(
            DDS_StringSeq_append(&filled.multicast_mapping.value._buffer[0].addresses, address));
        ASSERT_TRUE(DDS_StringSeq_append(&filled.discovery.initial_peers, peer));
        filled.wire_protocol.rtps_well_known_ports = ports;
        filled.wire_protocol.rtps_reserved_port_mask = mask;
    }

    /** Another QoS, of which every cached part differs. */
    const DDS_DomainParticipantQos &otherQos() {
        fill(other, "udpv6", "239.255.2.2", "peer-two", {9000, 200, 4, 2, 30, 3, 31}, 8);
        return other;
    }

    DDS_ReturnCode_t cache(const DDS_DomainParticipantQos &src) {
        return DDS_DomainParticipantPresentation_cache_irreversible_qos(&self, &src);
    }

    bool hasUnicastOf(const DDS_DomainParticipantQos &src) const {
        return DDS_TransportUnicastQosPolicy_is_equal(&self._cachedTransportUnicastPolicy,
                                                      &src.default_unicast);
    }
    bool hasMappingOf(const DDS_DomainParticipantQos &src) const {
        return DDS_TransportMulticastMappingQosPolicy_is_equal(
            &self._cachedTransportMulticastMappingPolicy, &src.multicast_mapping);
    }
    bool hasDiscoveryOf(const DDS_DomainParticipantQos &src) const {
        return DDS_DiscoveryQosPolicy_is_equal(&self.cachedDiscoveryPolicy, &src.discovery);
    }
    bool hasPortsOf(const DDS_DomainParticipantQos &src) const {
        return DDS_RtpsWellKnownPorts_is_equal(&self.cachedWellKnownPorts,
                                               &src.wire_protocol.rtps_well_known_ports) &&
               self._cachedReservedPortMask == src.wire_protocol.rtps_reserved_port_mask;
    }

    DDS_DomainParticipantQos other = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
};

TEST_F(Cache, CopiesThePoliciesInThisOrder) {
    Recording calls(recorder);
    EXPECT_EQ(cache(qos), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({
                  "DDS_TransportUnicastQosPolicy_copy(self._cachedTransportUnicastPolicy, "
                  "qos.default_unicast)",
                  "DDS_TransportMulticastMappingQosPolicy_copy("
                  "self._cachedTransportMulticastMappingPolicy, qos.multicast_mapping)",
                  "DDS_DiscoveryQosPolicy_copy(self.cachedDiscoveryPolicy, qos.discovery)",
              }));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(Cache, HoldsDeepCopiesOfThePolicies) {
    EXPECT_EQ(cache(qos), DDS_RETCODE_OK);
    EXPECT_TRUE(hasUnicastOf(qos));
    EXPECT_TRUE(hasMappingOf(qos));
    EXPECT_TRUE(hasDiscoveryOf(qos));
    EXPECT_NE(self._cachedTransportUnicastPolicy.value._buffer, qos.default_unicast.value._buffer);
    EXPECT_NE(self._cachedTransportMulticastMappingPolicy.value._buffer,
              qos.multicast_mapping.value._buffer);
    EXPECT_NE(self.cachedDiscoveryPolicy.initial_peers._buffer,
              qos.discovery.initial_peers._buffer);
}

TEST_F(Cache, HoldsAllSevenPortParametersAndTheMask) {
    EXPECT_EQ(cache(qos), DDS_RETCODE_OK);
    EXPECT_EQ(self.cachedWellKnownPorts.port_base, 8000);
    EXPECT_EQ(self.cachedWellKnownPorts.domain_id_gain, 100);
    EXPECT_EQ(self.cachedWellKnownPorts.participant_id_gain, 3);
    EXPECT_EQ(self.cachedWellKnownPorts.builtin_multicast_port_offset, 1);
    EXPECT_EQ(self.cachedWellKnownPorts.builtin_unicast_port_offset, 20);
    EXPECT_EQ(self.cachedWellKnownPorts.user_multicast_port_offset, 2);
    EXPECT_EQ(self.cachedWellKnownPorts.user_unicast_port_offset, 21);
    EXPECT_EQ(self._cachedReservedPortMask, 5);
}

TEST_F(Cache, TakesPortsAndMaskWhateverTheirValues) {
    qos.wire_protocol.rtps_well_known_ports = {-1, 0, -3, 70000, -5, 0x7FFFFFFF, -7};
    qos.wire_protocol.rtps_reserved_port_mask = -1;
    EXPECT_EQ(cache(qos), DDS_RETCODE_OK);
    EXPECT_TRUE(hasPortsOf(qos));
}

TEST_F(Cache, TouchesNothingElseInTheRecord) {
    self._domainId = 5;
    self._maxLocatorListSize = 6;
    self._cachedDefaultUnicastLocator.count = 7;
    EXPECT_EQ(cache(qos), DDS_RETCODE_OK);
    EXPECT_EQ(self._domainId, 5);
    EXPECT_EQ(self._maxLocatorListSize, 6);
    EXPECT_EQ(self._cachedDefaultUnicastLocator.count, 7);
    EXPECT_EQ(self.participant, nullptr);
}

TEST_F(Cache, FilledTwiceWithTheSameReusesItsStorage) {
    ASSERT_EQ(cache(qos), DDS_RETCODE_OK);
    const void *const unicast = self._cachedTransportUnicastPolicy.value._buffer;
    const void *const mapping = self._cachedTransportMulticastMappingPolicy.value._buffer;
    const void *const peers = self.cachedDiscoveryPolicy.initial_peers._buffer;
    const HeapWatch unchanged;

    recorder.failAllocation(1);
    EXPECT_EQ(cache(qos), DDS_RETCODE_OK);
    EXPECT_EQ(recorder.failed(), "") << "nothing was allocated";
    EXPECT_EQ(self._cachedTransportUnicastPolicy.value._buffer, unicast);
    EXPECT_EQ(self._cachedTransportMulticastMappingPolicy.value._buffer, mapping);
    EXPECT_EQ(self.cachedDiscoveryPolicy.initial_peers._buffer, peers);
    EXPECT_EQ(unchanged.change(), Blocks());
    EXPECT_TRUE(hasUnicastOf(qos) && hasMappingOf(qos) && hasDiscoveryOf(qos) && hasPortsOf(qos));
}

TEST_F(Cache, FollowsAnotherQos) {
    ASSERT_EQ(cache(qos), DDS_RETCODE_OK);
    EXPECT_EQ(cache(otherQos()), DDS_RETCODE_OK);
    EXPECT_TRUE(hasUnicastOf(other));
    EXPECT_TRUE(hasMappingOf(other));
    EXPECT_TRUE(hasDiscoveryOf(other));
    EXPECT_TRUE(hasPortsOf(other));
}

// ---- failures: what came before the failed copy is new, what comes after it is old

Messages notCopied(const char *policy) {
    return {{.function = CACHE,
             .name = "DDS_LOG_COPY_FAILURE_s",
             .text = std::string("cannot copy ") + policy}};
}

struct FailedCopy {
    const char *copy;
    const char *policy;
    bool isUnicastNew;
    bool isMappingNew;
};

class CacheAfterFailedCopy : public Cache, public testing::WithParamInterface<FailedCopy> {};

TEST_P(CacheAfterFailedCopy, IsNewInTheTransportPoliciesBeforeItOnly) {
    ASSERT_EQ(cache(qos), DDS_RETCODE_OK);
    recorder.fail(GetParam().copy);
    EXPECT_EQ(cache(otherQos()), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), notCopied(GetParam().policy));
    EXPECT_TRUE(hasUnicastOf(GetParam().isUnicastNew ? other : qos));
    EXPECT_TRUE(hasMappingOf(GetParam().isMappingNew ? other : qos));
    EXPECT_TRUE(hasDiscoveryOf(qos));
    EXPECT_TRUE(hasPortsOf(qos));
}

INSTANTIATE_TEST_SUITE_P(Of, CacheAfterFailedCopy,
                         testing::Values(FailedCopy{"DDS_TransportUnicastQosPolicy_copy",
                                                    "default_unicast", false, false},
                                         FailedCopy{"DDS_TransportMulticastMappingQosPolicy_copy",
                                                    "multicast_mapping", true, false},
                                         FailedCopy{"DDS_DiscoveryQosPolicy_copy", "discovery",
                                                    true, true}),
                         [](const auto &failed) { return std::string(failed.param.policy); });

TEST_F(Cache, StopsAtTheFirstCopyThatFails) {
    recorder.fail("DDS_TransportUnicastQosPolicy_copy");
    EXPECT_EQ(cache(qos), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("DDS_TransportMulticastMappingQosPolicy_copy"), 0);
    EXPECT_EQ(recorder.count("DDS_DiscoveryQosPolicy_copy"), 0);
}

TEST_F(Cache, FailsForEachAllocationThatFails) {
    const Messages documented[] = {notCopied("default_unicast"), notCopied("multicast_mapping"),
                                   notCopied("discovery")};
    const int faults = failEach(recorder, &Recorder::failAllocation, [&](auto arm) {
        log.clear();
        arm();
        const DDS_ReturnCode_t result = cache(qos);
        const std::string failed = recorder.failed();
        if (failed.empty()) {
            EXPECT_EQ(result, DDS_RETCODE_OK);
            return failed;
        }
        EXPECT_EQ(result, DDS_RETCODE_ERROR);
        EXPECT_NE(std::find(std::begin(documented), std::end(documented), log.messages()),
                  std::end(documented));
        EXPECT_FALSE(hasPortsOf(qos));
        finalize();
        return failed;
    });
    EXPECT_GT(faults, 2);
}

} // namespace
