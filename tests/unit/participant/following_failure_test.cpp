// Every allocation and every call of a lower layer fails in turn while the locators are updated.
#include <algorithm>
#include <utility>

#include <sys/socket.h>

#include "domain/DomainParticipant_internal.h"
#include "following_fixture.h"
#include "seams.h"

using following::FollowingTest;
using following::on_one_interface;
using following::Texts;

namespace {

constexpr int MORE_THAN_THERE_ARE = 2000;
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

    /** Goes the course again and again, with another failure each time, until none happens. */
    template <class Prepare>
    void fail_each_in_turn(Prepare prepare, bool wants_reason) {
        for (int nth = 0; nth < MORE_THAN_THERE_ARE; ++nth) {
            const std::string failed = go([&] { prepare(nth); }, wants_reason);

            ASSERT_EQ(heap.change(), blocks_before) << nth << ": " << failed;
            ASSERT_EQ(open_files(), files_before) << nth << ": " << failed;
            ASSERT_FALSE(HasFailure()) << nth << ": " << failed;
            if (failed.empty()) {
                EXPECT_GE(nth, FEWEST);
                return;
            }
        }
        FAIL() << "there is no end of it";
    }

private:
    /** Makes a participant, has its last update fail, mends that and deletes it. */
    template <class Prepare>
    std::string go(Prepare prepare, bool wants_reason) {
        factory = DDS_DomainParticipantFactory_get_instance();
        interfaces.set(on_one_interface(GetParam().addresses.front()));
        DDS_DomainParticipant *const participant = create_follower();

        fail_entryports_of(participant);
        for (std::size_t i = 1; i + 1 < GetParam().addresses.size(); ++i) {
            update(participant, GetParam().addresses[i]);
        }
        const int index = DDS_DomainParticipant_get_participant_index(participant);

        log.clear();
        interfaces.set(on_one_interface(GetParam().addresses.back()));
        prepare();
        (void)DDS_DomainParticipant_update_locators(participant);
        const std::string failed = std::exchange(seams::current(), {}).failed;

        EXPECT_TRUE(has_reason() || !wants_reason || failed.empty());
        EXPECT_TRUE(index < 0 || index == DDS_DomainParticipant_get_participant_index(participant));
        flush();
        expect_ports(participant, {});
        update(participant, GetParam().addresses.back());
        // Without an index until now, it may have passed one over that could not be reserved.
        EXPECT_GE(DDS_DomainParticipant_get_participant_index(participant), 0);
        expect_ports(participant, GetParam().addresses.back());
        update(participant, {});
        expect_ports(participant, GetParam().addresses.back());
        EXPECT_EQ(remove(participant), DDS_RETCODE_OK);
        finalize_factory();
        return failed;
    }

    bool has_reason() const {
        return !errors().empty() || !messages(NUV_LOG_LEVEL_WARNING).empty();
    }

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
        if (injected::call_fails("COMMENDFacade.addEntryport")) {
            *out = REDA_WEAK_REFERENCE_INVALID;
            return 0;
        }
        return real_add_(self, out, info, worker);
    }

    static inline int (*real_add_)(COMMENDFacade *, REDAWeakReference *,
                                   const NUVNetioLocatorInfo *, REDAWorker *) = nullptr;

    const seams::Guard guard_;
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
    fail_each_in_turn([](int nth) { seams::current().allocations_until_failure = nth; }, true);
}

TEST_P(FollowingFailure, OfAnyCallOfALowerLayerIsMendedByTheNextUpdate) {
    fail_each_in_turn([](int nth) { seams::current().calls_until_failure = nth; }, false);
}

} // namespace
