// SPDX-License-Identifier: Apache-2.0
// Every allocation and every call of a lower layer fails in turn while the locators are updated.
#include <algorithm>
#include <functional>

#include <sys/socket.h>

#include "domain/DomainParticipant_internal.h"
#include "following_fixture.h"
#include "support/fault_loop.h"
#include "support/wrapped.h"

using following::FollowingTest;
using following::on_one_interface;
using following::Texts;

namespace {

const std::vector<std::string_view> CALLS_OF_AN_UPDATE = {
    "COMMENDFacade.addEntryport",
    "NUVNetioConfigurator_getTransportInfo",
    "NUVNetioConfigurator_openReceiveResource",
    "PRESParticipant_enable",
    "PRESParticipant_getProperty",
    "PRESParticipant_setProperty",
    "getifaddrs"};
constexpr int FEWEST = 4; // of any course, of allocations as of calls

/** The addresses that a participant is created with, and those that it comes to; the last fails. */
struct Course {
    const char *name;
    std::vector<Texts> addresses;
};

void PrintTo(const Course &course, std::ostream *out) {
    *out << course.name;
}

bool has_ipv6_address(const Texts &addresses) {
    return std::ranges::any_of(addresses, [](const std::string &address) {
        return address.find(':') != std::string::npos;
    });
}

class FollowingFailure : public FollowingTest, public testing::WithParamInterface<Course> {
protected:
    void SetUp() override {
        if (has_ipv6_address(GetParam().addresses.back())) {
            if (!following::has_ipv6()) {
                GTEST_SKIP() << "the host has no IPv6";
            }
            qos->transport_builtin.mask = DDS_TRANSPORTBUILTIN_UDPv4 | DDS_TRANSPORTBUILTIN_UDPv6;
        }
        finalize_factory();
    }

    /** Makes a participant and has its last update fail as asked for. @return whether it says why
     */
    bool go() {
        factory = DDS_DomainParticipantFactory_get_instance();
        interfaces.set(on_one_interface(GetParam().addresses.front()));
        follower_ = create_follower();
        for (std::size_t i = 1; i + 1 < GetParam().addresses.size(); ++i) {
            update(follower_, GetParam().addresses[i]);
        }
        index_ = DDS_DomainParticipant_get_participant_index(follower_);
        log.clear();
        interfaces.set(on_one_interface(GetParam().addresses.back()));
        fail_entryports_of(follower_);
        ask_();
        (void)DDS_DomainParticipant_update_locators(follower_);
        return !errors().empty() || !messages(NUV_LOG_LEVEL_WARNING).empty();
    }

    /** Mends it and deletes it; nothing is to be left. */
    void mend(const std::string &failed) {
        EXPECT_TRUE(index_ < 0 || index_ == DDS_DomainParticipant_get_participant_index(follower_));
        flush();
        expect_ports(follower_, {});
        update(follower_, GetParam().addresses.back());
        // Without an index until now, it may have passed one over that could not be reserved.
        EXPECT_GE(DDS_DomainParticipant_get_participant_index(follower_), 0);
        expect_ports(follower_, GetParam().addresses.back());
        update(follower_, {});
        expect_ports(follower_, GetParam().addresses.back());
        EXPECT_EQ(remove(follower_), DDS_RETCODE_OK);
        finalize_factory();
        ASSERT_EQ(heap.change(), blocks_before) << failed;
        ASSERT_EQ(open_files(), files_before) << failed;
        ASSERT_FALSE(HasFailure()) << failed;
    }

    /** Has the fault that @p ask asks for happen in the last update, not before. */
    auto in_the_update(void (*ask)(int nth)) {
        return [this, ask](int nth) { ask_ = [=] { ask(nth); }; };
    }

private:
    void update(DDS_DomainParticipant *participant, const Texts &addresses) {
        interfaces.set(on_one_interface(addresses));
        EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
        EXPECT_TRUE(has(participant, addresses));
        flush();
    }

    /** Whether the ports are held that an index must have: IPv4, and IPv6 if there is any. */
    void expect_ports(DDS_DomainParticipant *participant, const Texts &addresses) {
        const int index = DDS_DomainParticipant_get_participant_index(participant);

        if (index >= 0) {
            EXPECT_TRUE(holds_ports(index, AF_INET));
        }
        if (has_ipv6_address(addresses)) {
            EXPECT_TRUE(holds_ports(index, AF_INET6));
        }
    }

    static void fail_entryports_of(DDS_DomainParticipant *participant) {
        COMMENDFacade *const facade =
            PRESParticipant_getFacade(participant->presentation.participant);

        real_add_ = facade->addEntryport;
        facade->addEntryport = add_entryport;
    }

    static int add_entryport(COMMENDFacade *self, REDAWeakReference *out,
                             const NUVNetioLocatorInfo *info, REDAWorker *worker) {
        if (faults::Wrapped::get("COMMENDFacade.addEntryport").take(true) != nullptr) {
            *out = REDA_WEAK_REFERENCE_INVALID;
            return 0;
        }
        return real_add_(self, out, info, worker);
    }

    DDS_DomainParticipant *follower_ = nullptr;
    int index_ = -1;
    std::function<void()> ask_;
    static inline int (*real_add_)(COMMENDFacade *, REDAWeakReference *,
                                   const NUVNetioLocatorInfo *, REDAWorker *) = nullptr;
};

const Course COURSES[] = {
    {"AnotherAddress", {{"192.0.2.10"}, {"198.51.100.2"}}},
    {"OneMore", {{"192.0.2.10"}, {"192.0.2.10", "198.51.100.2"}}},
    {"NoneAnyMore", {{"192.0.2.10"}, {}}},
    {"OneAgain", {{"192.0.2.10"}, {}, {"192.0.2.10"}}},
    {"ManyAgain",
     {{"192.0.2.10"},
      {},
      {"10.0.1.1", "10.0.1.2", "10.0.1.3", "10.0.1.4", "10.0.1.5", "10.0.1.6", "10.0.1.7",
       "10.0.1.8", "10.0.1.9"}}},
    {"TheFirstOne", {{}, {"192.0.2.10"}}},
    {"TheFirstOneOfIPv6", {{"192.0.2.10"}, {"192.0.2.10", "2001:db8::2"}}},
};

INSTANTIATE_TEST_SUITE_P(WhileThereIs, FollowingFailure, testing::ValuesIn(COURSES),
                         testing::PrintToStringParamName());

TEST_P(FollowingFailure, OfAnyAllocationIsMendedByTheNextUpdate) {
    EXPECT_GE(faults::fail_each(
                  in_the_update(faults::fail_allocation), [&] { return go(); },
                  [&](bool has_reason, const std::string &failed) {
                      EXPECT_TRUE(has_reason || failed.empty());
                      mend(failed);
                  }),
              FEWEST);
}

TEST_P(FollowingFailure, OfAnyCallOfALowerLayerIsMendedByTheNextUpdate) {
    EXPECT_GE(faults::fail_each(
                  in_the_update([](int nth) { faults::fail_any_call(nth, CALLS_OF_AN_UPDATE); }),
                  [&] { return go(); }, [&](bool, const std::string &failed) { mend(failed); }),
              FEWEST);
}

} // namespace
