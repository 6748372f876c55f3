// SPDX-License-Identifier: Apache-2.0
// Entryports that are given back in any order, and those that are alike in part.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "facade_fixture.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

using commend_test::Facade;
using commend_test::Listener;

const NUVOsapiRtpsGuidPrefix SOMEBODY = {1, 2, 3};

class EntryportOrderTest : public testing::Test {
protected:
    EntryportOrderTest() {
        facade.listen(listener.listener());
    }
    bool send(const NUVNetioLocator &locator, const std::string &content) const {
        const int family = locator.transport == KOLS_TRANSPORT_CLASSID_UDPv4 ? AF_INET : AF_INET6;
        return net::PlainSocket(family).send_to(locator, commend_test::message(SOMEBODY, content));
    }
    /** Sends to each of them, and expects that all arrive. */
    void expect_delivery(const std::vector<NUVNetioLocator> &locators) {
        const std::size_t before = listener.messages().size();
        std::vector<std::string> sent;
        for (const NUVNetioLocator &locator : locators) {
            sent.push_back(commend_test::message(SOMEBODY, net::text(locator)));
            EXPECT_TRUE(send(locator, net::text(locator)));
        }
        ASSERT_TRUE(listener.wait_for(before + locators.size()));
        std::vector<std::string> arrived = listener.messages();
        arrived.erase(arrived.begin(), arrived.begin() + static_cast<std::ptrdiff_t>(before));
        EXPECT_THAT(arrived, testing::UnorderedElementsAreArray(sent));
    }

    Listener listener;
    net::Runtime runtime{{net::loopback("127.0.0.1"), net::loopback("::1")}};
    Facade facade{runtime, COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT, "udpv4,udpv6"};
};

/** The positions of three reservations, in the order in which they are given back. */
class GivingBackTest : public EntryportOrderTest,
                       public testing::WithParamInterface<std::array<std::size_t, 3>> {};

INSTANTIATE_TEST_SUITE_P(
    InOrder, GivingBackTest,
    testing::Values(std::array<std::size_t, 3>{0, 1, 2}, std::array<std::size_t, 3>{0, 2, 1},
                    std::array<std::size_t, 3>{1, 0, 2}, std::array<std::size_t, 3>{1, 2, 0},
                    std::array<std::size_t, 3>{2, 0, 1}, std::array<std::size_t, 3>{2, 1, 0}));

TEST_P(GivingBackTest, LeavesTheOthers) {
    std::vector<NUVNetioLocator> locators;
    std::vector<REDAWeakReference> references;
    for (int i = 0; i < 3; ++i) {
        locators.push_back(net::locator("127.0.0.1", net::free_port()));
        references.push_back(facade.add(locators.back()));
    }
    std::vector<NUVNetioLocator> left = locators;
    for (const std::size_t position : GetParam()) {
        EXPECT_TRUE(facade.remove(references[position]));
        std::erase_if(left, [&](const auto &one) { return one.port == locators[position].port; });
        EXPECT_EQ(facade.statistics().entryports, static_cast<int>(left.size()));
        EXPECT_EQ(facade.statistics().receiveResources, static_cast<int>(left.size()));
        EXPECT_TRUE(net::is_free(locators[position].port));
        expect_delivery(left);
    }
    EXPECT_FALSE(facade.is_active());
}

TEST_F(EntryportOrderTest, OnePortOnBothTransportsIsTwoResources) {
    const int port = net::free_port();
    const NUVNetioLocator four = net::locator("127.0.0.1", port);
    const NUVNetioLocator six = net::locator("udpv6://[::1]", port);
    const REDAWeakReference of_four = facade.add(four);
    const REDAWeakReference of_six = facade.add(six);
    EXPECT_EQ(facade.statistics().entryports, 2);
    EXPECT_EQ(facade.statistics().receiveResources, 2);
    expect_delivery({four, six});
    EXPECT_TRUE(facade.remove(of_four));
    EXPECT_EQ(facade.statistics().receiveResources, 1);
    expect_delivery({six});
    EXPECT_TRUE(facade.remove(of_six));
    EXPECT_EQ(facade.statistics().receiveResources, 0);
}

TEST_F(EntryportOrderTest, LargestPortIsReceivedAt) {
    const NUVNetioLocator largest = net::locator("127.0.0.1", 65535);
    if (!net::is_free(65535)) {
        GTEST_SKIP() << "somebody has port 65535";
    }
    facade.add(largest);
    expect_delivery({largest});
}

TEST_F(EntryportOrderTest, GroupAndPortOnBothTransportsAreTwoResources) {
    const int port = net::free_port();
    facade.add(net::locator("239.255.0.1", port));
    facade.add(net::locator("udpv6://[ff15::80]", port));
    EXPECT_EQ(facade.statistics().receiveResources, 2);
}

// ---- what is counted, and what a failure leaves behind

TEST_F(EntryportOrderTest, StatisticsTakeNothingOverFromTheirStorage) {
    facade.add(net::locator("127.0.0.1", net::free_port()));
    COMMENDFacadeStatistics statistics = {7, 7, 7, 7, 7, 7};
    facade.self->getStatistics(facade.self, &statistics, runtime.worker());
    EXPECT_EQ(statistics.messagesReceived, 0u);
    EXPECT_EQ(statistics.messagesFromSelf, 0u);
    EXPECT_EQ(statistics.datagramsRejected, 0u);
    EXPECT_EQ(statistics.messagesSent, 0u);
    EXPECT_EQ(statistics.entryports, 1);
    EXPECT_EQ(statistics.receiveResources, 1);
}

constexpr int MORE_THAN_THERE_IS_ROOM_FOR = 300; // in what is allocated at a time

TEST_F(EntryportOrderTest, AnyNumberOfRefusedPortsTakesNoMemory) {
    const faults::Guard guard;
    const support::LogCapture log;
    const net::PlainSocket other;
    ASSERT_TRUE(other.bind_to("0.0.0.0", 0));
    const NUVNetioLocator taken = net::locator("127.0.0.1", other.port());
    REDAWeakReference reference = REDA_WEAK_REFERENCE_INVALID;
    EXPECT_FALSE(facade.add(taken, &reference));
    const int before = faults::allocations();
    for (int i = 0; i < MORE_THAN_THERE_IS_ROOM_FOR; ++i) {
        EXPECT_FALSE(facade.add(taken, &reference));
    }
    EXPECT_EQ(faults::allocations(), before);
}

TEST(RefusedAddressTest, AnyNumberOfThemTakesNoMemory) {
    const faults::Guard guard;
    const support::LogCapture log;
    net::Runtime runtime({net::interface("a0", if_nametoindex("lo"), "127.0.0.2")});
    Facade facade(runtime, COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT, "udpv4", {"a0"});
    const int port = net::free_port();
    facade.add(net::locator("127.0.0.2", port));
    REDAWeakReference reference = REDA_WEAK_REFERENCE_INVALID;
    EXPECT_FALSE(facade.add(net::locator("127.0.0.3", port), &reference));
    EXPECT_EQ(reference._index, REDA_WEAK_REFERENCE_INVALID_INDEX);
    const int before = faults::allocations();
    for (int i = 0; i < MORE_THAN_THERE_IS_ROOM_FOR; ++i) {
        EXPECT_FALSE(facade.add(net::locator("127.0.0.3", port), &reference));
    }
    EXPECT_EQ(faults::allocations(), before);
    EXPECT_EQ(facade.statistics().entryports, 1);
}

} // namespace
