// SPDX-License-Identifier: Apache-2.0
// The search for a participant index with real transports, sockets and facades, on loopback.
#include <filesystem>
#include <set>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "commend/commend_facade.h"
#include "fault_loop.h"
#include "index_messages.h"
#include "support/describe.h"
#include "support/presentation_fixture.h"

using namespace support;

namespace {

constexpr const char *MODULE = "DomainParticipantPresentation.cpp";

/** A plain UDP socket on a port of every address of a family; none when the port is taken. */
class PlainSocket {
public:
    explicit PlainSocket(DDS_Long port, int family = AF_INET)
        : socket_(socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const int on = 1;
        if (family == AF_INET6) {
            setsockopt(socket_, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
        }
        sockaddr_in ipv4{};
        ipv4.sin_family = AF_INET;
        ipv4.sin_port = htons(static_cast<std::uint16_t>(port));
        sockaddr_in6 ipv6{};
        ipv6.sin6_family = AF_INET6;
        ipv6.sin6_port = ipv4.sin_port;
        isBound_ = (family == AF_INET
                        ? bind(socket_, reinterpret_cast<sockaddr *>(&ipv4), sizeof ipv4)
                        : bind(socket_, reinterpret_cast<sockaddr *>(&ipv6), sizeof ipv6)) == 0;
    }
    ~PlainSocket() {
        close(socket_);
    }
    PlainSocket(const PlainSocket &) = delete;
    PlainSocket &operator=(const PlainSocket &) = delete;

    bool isBound() const {
        return isBound_;
    }

private:
    int socket_;
    bool isBound_ = false;
};

bool isFree(DDS_Long port, int family = AF_INET) {
    return PlainSocket(port, family).isBound();
}

/** What this process has open. */
std::multiset<std::string> openFiles() {
    std::multiset<std::string> open;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const std::filesystem::path target = std::filesystem::read_symlink(entry.path(), error);
        if (!error && target.string().rfind("/proc/", 0) != 0) {
            open.insert(target.string().substr(0, target.string().find(':')));
        }
    }
    return open;
}

class IndexReal : public PresentationFixture {
protected:
    IndexReal() {
        interfaces = {interfaceOf("lo", 1, "127.0.0.1")};
        recorder.replace("NUVOsapiThread_sleep", [this](const NUVNtpTime *) {
            const NUVNtpTime timeout = {10, 0};
            EXPECT_NE(NUVNetioRuntime_flush(runtime, &timeout), 0);
        });
    }

    void SetUp() override {
        filesBefore_ = openFiles();
        PresentationFixture::SetUp();
        qos.wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_MASK_ALL;
        firstPort_ = portBase() + 10;
    }

    void TearDown() override {
        PresentationFixture::TearDown();
        EXPECT_EQ(openFiles(), filesBefore_);
    }

    DDS_Long metaPort(DDS_Long of) const {
        return firstPort_ + 2 * of;
    }
    DDS_Long userPort(DDS_Long of) const {
        return firstPort_ + 1 + 2 * of;
    }

    std::string locators(DDS_Long port) const {
        return "{udpv4://127.0.0.1:" + std::to_string(port) + '}';
    }

    DDS_ReturnCode_t reserve(DDS_DomainParticipantPresentation *record, DDS_Long requested) {
        index = requested;
        log.clear();
        return DDS_DomainParticipantPresentation_reserve_participant_index_entryports(
            record, &index, worker);
    }

    DDS_ReturnCode_t reserve(DDS_Long requested) {
        return reserve(&self, requested);
    }

    /** Gives every port of a record back and waits until they are closed. */
    void release(DDS_DomainParticipantPresentation *record) {
        DDS_DomainParticipantPresentation_release_participant_index_entryports(record, worker);
        EXPECT_EQ(
            DDS_DomainParticipantPresentation_wait_for_released_entryports(record, nullptr, worker),
            DDS_RETCODE_OK);
        const COMMENDFacadeStatistics statistics = statisticsOf(record);
        EXPECT_EQ(statistics.entryports, 0);
        EXPECT_EQ(statistics.receiveResources, 0);
    }

    COMMENDFacadeStatistics statisticsOf(DDS_DomainParticipantPresentation *record) {
        COMMENDFacade *facade = PRESParticipant_getFacade(record->participant);
        COMMENDFacadeStatistics statistics{};
        facade->getStatistics(facade, &statistics, worker);
        return statistics;
    }

    Messages messages() const {
        return log.messagesOf(MODULE);
    }

    DDS_Long index = 0;

private:
    std::multiset<std::string> filesBefore_;
    DDS_Long firstPort_ = 0;
};

TEST_F(IndexReal, TakesTheFirstIndexWhenItsPortsAreFree) {
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(messages(), Messages({reservedMessage(0)}));
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator), locators(metaPort(0)));
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator), locators(userPort(0)));
    EXPECT_EQ(describe(self._cachedMetatrafficMulticastLocator),
              "{udpv4://239.255.0.1:" + std::to_string(portBase()) + '}');
    EXPECT_EQ(statisticsOf(&self).entryports, 4);
    EXPECT_EQ(statisticsOf(&self).receiveResources, 4);
    EXPECT_FALSE(isFree(metaPort(0)));
    EXPECT_FALSE(isFree(userPort(0)));
    EXPECT_TRUE(isFree(metaPort(1)));
    release(&self);
    EXPECT_TRUE(isFree(metaPort(0)));
    EXPECT_TRUE(isFree(userPort(0)));
}

TEST_F(IndexReal, TakesTheNextIndexWhenTheDiscoveryPortIsTaken) {
    const PlainSocket taken(metaPort(0));
    ASSERT_TRUE(taken.isBound());
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(messages(), Messages({NEXT_PORT, reservedMessage(1)}));
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator), locators(metaPort(1)));
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator), locators(userPort(1)));
    EXPECT_TRUE(isFree(userPort(0)));
    release(&self);
}

TEST_F(IndexReal, TakesTheNextIndexWhenTheUserPortIsTaken) {
    const PlainSocket taken(userPort(0));
    ASSERT_TRUE(taken.isBound());
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(messages(), Messages({NEXT_PORT, reservedMessage(1)}));
    EXPECT_EQ(statisticsOf(&self).entryports, 4);
    release(&self);
    EXPECT_TRUE(isFree(metaPort(0)));
    EXPECT_TRUE(isFree(metaPort(1)));
}

TEST_F(IndexReal, RefusesAFixedIndexWhosePortIsTaken) {
    const PlainSocket taken(metaPort(3));
    ASSERT_TRUE(taken.isBound());
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(reserve(3), DDS_RETCODE_ERROR);
    EXPECT_EQ(index, 3);
    EXPECT_EQ(messages(), Messages({NEXT_PORT, NO_INDEX}));
    EXPECT_EQ(self._entryportsReserved, 0);
    EXPECT_TRUE(isFree(userPort(3)));
    release(&self);
}

TEST_F(IndexReal, TakesAFixedIndexThatBecomesFree) {
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    {
        const PlainSocket taken(metaPort(3));
        EXPECT_EQ(reserve(3), DDS_RETCODE_ERROR);
        release(&self);
    }
    EXPECT_EQ(reserve(3), DDS_RETCODE_OK);
    EXPECT_EQ(messages(), Messages());
    EXPECT_FALSE(isFree(metaPort(3)));
    release(&self);
}

TEST_F(IndexReal, ClaimsAnIndexByItsDiscoveryPortWhenNoPortIsAskedFor) {
    qos.wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_MASK_NONE;
    const PlainSocket taken(metaPort(0));
    ASSERT_TRUE(taken.isBound());
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(messages(), Messages({reservedMessage(1)}));
    EXPECT_EQ(statisticsOf(&self).entryports, 1);
    EXPECT_FALSE(isFree(metaPort(1)));
    EXPECT_TRUE(isFree(userPort(1)));
    release(&self);
}

TEST_F(IndexReal, OpensNoSocketForAFixedIndexWithoutPorts) {
    qos.wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_MASK_NONE;
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(reserve(2), DDS_RETCODE_OK);
    EXPECT_EQ(statisticsOf(&self).receiveResources, 0);
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator), locators(metaPort(2)));
    release(&self);
}

TEST_F(IndexReal, KeepsNothingOpenBetweenAReleaseAndTheNextReservation) {
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    const std::multiset<std::string> before = openFiles();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
        EXPECT_EQ(index, 0);
        release(&self);
        EXPECT_EQ(openFiles(), before);
    }
}

TEST_F(IndexReal, SleepsAnEighthOfASecondToDrain) {
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    DDS_DomainParticipantPresentation_release_participant_index_entryports(&self, worker);
    recorder.restore("NUVOsapiThread_sleep");
    const NUV_INT64 start = clock.getNanoseconds(&clock);
    EXPECT_EQ(
        DDS_DomainParticipantPresentation_wait_for_released_entryports(&self, nullptr, worker),
        DDS_RETCODE_OK);
    EXPECT_GE(clock.getNanoseconds(&clock) - start, 125'000'000);
    EXPECT_TRUE(isFree(metaPort(0)));
}

TEST_F(IndexReal, DrainsTheTransportOfAHandle) {
    REDAWeakReference udpv4 = REDA_WEAK_REFERENCE_INVALID;
    ASSERT_NE(
        NUVNetioConfigurator_getTransportHandle(configurator, KOLS_TRANSPORT_CLASSID_UDPv4, &udpv4),
        0);
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantPresentation_wait_for_released_entryports(&self, &udpv4, worker),
              DDS_RETCODE_TIMEOUT);
    DDS_DomainParticipantPresentation_release_participant_index_entryports(&self, worker);
    EXPECT_EQ(DDS_DomainParticipantPresentation_wait_for_released_entryports(&self, &udpv4, worker),
              DDS_RETCODE_OK);
}

// ---- both transports

/** Loopback has an address of each transport. */
class IndexRealBoth : public IndexReal {
protected:
    IndexRealBoth() {
        interfaces.push_back(interfaceOf("lo", 1, "::1"));
    }

    void SetUp() override {
        IndexReal::SetUp();
        if (!isFree(0, AF_INET6)) {
            GTEST_SKIP() << "this host has no IPv6";
        }
        NUVNetioConfiguratorProperty property = NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT;
        property.transports = {"udpv4,udpv6"};
        NUVNetioConfigurator_delete(configurator);
        configurator = NUVNetioConfigurator_new(&property, runtime, worker);
        ASSERT_NE(configurator, nullptr);
        qos.wire_protocol.rtps_reserved_port_mask =
            DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST | DDS_RTPS_RESERVED_PORT_USER_UNICAST;
        ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    }

    static std::string both(DDS_Long port) {
        const std::string text = std::to_string(port);
        return "{udpv4://127.0.0.1:" + text + ", udpv6://[::1]:" + text + '}';
    }
};

TEST_F(IndexRealBoth, ReserveAPortOfEachTransportAsAResourceOfItsOwn) {
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator), both(metaPort(0)));
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator), both(userPort(0)));
    EXPECT_EQ(statisticsOf(&self).entryports, 4);
    EXPECT_EQ(statisticsOf(&self).receiveResources, 4);
    EXPECT_FALSE(isFree(metaPort(0), AF_INET));
    EXPECT_FALSE(isFree(metaPort(0), AF_INET6));
    EXPECT_FALSE(isFree(userPort(0), AF_INET));
    EXPECT_FALSE(isFree(userPort(0), AF_INET6));
    release(&self);
    EXPECT_TRUE(isFree(metaPort(0), AF_INET));
    EXPECT_TRUE(isFree(metaPort(0), AF_INET6));
}

class IndexRealTaken : public IndexRealBoth, public testing::WithParamInterface<int> {};

TEST_P(IndexRealTaken, PortOfOneTransportIsEnoughToPassAnIndexOver) {
    const PlainSocket meta(metaPort(0), GetParam());
    const PlainSocket user(userPort(1), GetParam());
    ASSERT_TRUE(meta.isBound() && user.isBound());
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(messages(), Messages({NEXT_PORT, NEXT_PORT, reservedMessage(2)}));
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator), both(metaPort(2)));
    EXPECT_EQ(statisticsOf(&self).entryports, 4);
    const int other = GetParam() == AF_INET ? AF_INET6 : AF_INET;
    EXPECT_TRUE(isFree(metaPort(0), other));
    EXPECT_TRUE(isFree(metaPort(1), other));
    EXPECT_TRUE(isFree(userPort(1), other));
    release(&self);
}

INSTANTIATE_TEST_SUITE_P(Of, IndexRealTaken, testing::Values(AF_INET, AF_INET6),
                         [](const testing::TestParamInfo<int> &family) {
                             return family.param == AF_INET ? "udpv4" : "udpv6";
                         });

// ---- two participants

class IndexRealPair : public IndexReal {
protected:
    void SetUp() override {
        IndexReal::SetUp();
        ASSERT_EQ(initialize(), DDS_RETCODE_OK);
        ASSERT_EQ(initialize(&other), DDS_RETCODE_OK);
    }

    void TearDown() override {
        release(&self);
        release(&other);
        EXPECT_EQ(DDS_DomainParticipantPresentation_prefinalize(&other, worker), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_DomainParticipantPresentation_finalize(&other, worker), DDS_RETCODE_OK);
        IndexReal::TearDown();
    }

    DDS_DomainParticipantPresentation other{};
};

TEST_F(IndexRealPair, GetDifferentIndices) {
    EXPECT_EQ(reserve(&self, -1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(reserve(&other, -1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(messages(), Messages({NEXT_PORT, reservedMessage(1)}));
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator), locators(userPort(0)));
    EXPECT_EQ(describe(other._cachedDefaultUnicastLocator), locators(userPort(1)));
    EXPECT_EQ(statisticsOf(&self).entryports, 4);
    EXPECT_EQ(statisticsOf(&other).entryports, 4);
}

TEST_F(IndexRealPair, CannotHaveTheSameFixedIndex) {
    EXPECT_EQ(reserve(&self, 2), DDS_RETCODE_OK);
    EXPECT_EQ(reserve(&other, 2), DDS_RETCODE_ERROR);
    EXPECT_EQ(messages(), Messages({NEXT_PORT, NO_INDEX}));
}

TEST_F(IndexRealPair, LeaveTheirIndexToEachOther) {
    EXPECT_EQ(reserve(&self, -1), DDS_RETCODE_OK);
    release(&self);
    EXPECT_EQ(reserve(&other, -1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 0);
}

// ---- faults

class IndexRealFault : public IndexReal {
protected:
    /** The outcome of a reservation for an automatic index in which this call failed. */
    void expectOutcome(DDS_ReturnCode_t result, const std::string &failed) {
        const auto is = [&](const char *start) { return failed.rfind(start, 0) == 0; };
        if (failed.empty()) {
            EXPECT_EQ(result, DDS_RETCODE_OK);
            EXPECT_EQ(messages(), Messages({reservedMessage(0)}));
        } else if (is("DDS_DiscoveryQosPolicy_to_multicast_locators")) {
            EXPECT_EQ(result, DDS_RETCODE_ERROR);
            EXPECT_EQ(messages(), Messages({NO_MULTICAST_LOCATORS}));
        } else if (is("COMMENDFacade.addEntryport(facade, self._reserveEntryport")) {
            EXPECT_EQ(result, DDS_RETCODE_ERROR);
            EXPECT_EQ(messages(), Messages());
        } else if (is("COMMENDFacade.addEntryport")) {
            EXPECT_EQ(result, DDS_RETCODE_OK);
            EXPECT_EQ(index, 1);
            EXPECT_EQ(messages(), Messages({NEXT_PORT, reservedMessage(1)}));
        } else {
            EXPECT_EQ(result, DDS_RETCODE_ERROR);
            EXPECT_EQ(messages(), Messages({NO_UNICAST_LOCATORS}));
        }
    }

    /** The record holds ports exactly as far as the reservation's answer says. */
    void expectRecord(DDS_ReturnCode_t result) {
        EXPECT_EQ(self._entryportsReserved, result == DDS_RETCODE_OK ? 1 : 0);
        const int held = REDAWeakReference_isHeld(&self._reserveEntryportMetaMulticastWR) +
                         REDAWeakReference_isHeld(&self._reserveEntryportUserMulticastWR) +
                         self._reserveMetaUnicast._count + self._reserveUserUnicast._count;
        EXPECT_EQ(statisticsOf(&self).entryports, held);
        if (result == DDS_RETCODE_OK) {
            EXPECT_EQ(held, 4);
        }
    }

    /** One participant's life around a reservation with a fault. */
    template <typename SetFault>
    std::pair<DDS_ReturnCode_t, std::string> reserveWith(SetFault setFault) {
        const HeapWatch blocks;
        EXPECT_EQ(initialize(), DDS_RETCODE_OK);
        const std::multiset<std::string> files = openFiles();
        setFault();
        const DDS_ReturnCode_t result = reserve(-1);
        const std::string failed = recorder.failed();
        recorder.clearFaults();
        expectRecord(result);
        release(&self);
        EXPECT_EQ(openFiles(), files);
        for (DDS_Long i = 0; i < 3; ++i) {
            EXPECT_TRUE(isFree(metaPort(i)));
            EXPECT_TRUE(isFree(userPort(i)));
        }
        finalize();
        EXPECT_EQ(blocks.change(), Blocks());
        return {result, failed};
    }
};

TEST_F(IndexRealFault, InEachReservationIsAnsweredAndLeavesNothing) {
    for (int nth = 1; nth <= 4; ++nth) {
        SCOPED_TRACE(nth);
        const auto [result, failed] =
            reserveWith([&] { recorder.fail("COMMENDFacade.addEntryport", {.nth = nth}); });
        EXPECT_NE(failed, "");
        expectOutcome(result, failed);
    }
}

TEST_F(IndexRealFault, InEachCallIsAnsweredAndLeavesNothing) {
    const int faults = failEach(recorder, &Recorder::failCall, [&](auto arm) {
        const auto [result, failed] = reserveWith(arm);
        SCOPED_TRACE(failed);
        expectOutcome(result, failed);
        return failed;
    });
    EXPECT_EQ(faults, 3 + 4) << "three computations and four ports";
}

TEST_F(IndexRealFault, InEachAllocationIsAnsweredAndLeavesNothing) {
    const int faults = failEach(recorder, &Recorder::failAllocation, [&](auto arm) {
        const auto [result, failed] = reserveWith(arm);
        SCOPED_TRACE(failed);
        // Only reservations allocate: those of the multicast ports end the operation in silence,
        // those of an index make it pass on to the next one. Without the memory to note a
        // membership a group is not joined, which is a warning of the transport's at the most.
        const bool isUnharmed = failed.empty() || failed == "allocation of struct Membership";
        if (result == DDS_RETCODE_OK) {
            EXPECT_EQ(messages(), isUnharmed ? Messages({reservedMessage(0)})
                                             : Messages({NEXT_PORT, reservedMessage(1)}));
        } else {
            EXPECT_EQ(result, DDS_RETCODE_ERROR);
            EXPECT_EQ(messages(), Messages());
        }
        return failed;
    });
    EXPECT_GE(faults, 4) << "at least one for each port";
}

} // namespace
