// SPDX-License-Identifier: Apache-2.0
// Participants on networks in memory, in virtual time, on one thread.
#include "../netio/memory_network.h"
#include "domain/DomainParticipantFactory_internal.h"
#include "domain/DomainParticipant_internal.h"
#include "fixture.h"

using testing::ElementsAre;

namespace {

constexpr NUV_INT64 MILLISECOND = 1'000'000;

/** Has the monotonic clock be a virtual one; whoever sleeps has the loop run meanwhile. */
class VirtualTime {
public:
    explicit VirtualTime(net::VirtualMachine &machine) {
        machine_ = &machine;
        clock_->getNanoseconds = [](const NUVClock *) { return machine_->clock.now; };
        clock_->sleepUntil = [](const NUVClock *, NUV_INT64 nanoseconds) {
            machine_->loop.pass(nanoseconds - machine_->clock.now);
        };
    }
    ~VirtualTime() {
        *clock_ = former_;
    }
    VirtualTime(const VirtualTime &) = delete;
    VirtualTime &operator=(const VirtualTime &) = delete;

private:
    static inline net::VirtualMachine *machine_ = nullptr;

    NUVClock *const clock_ = NUVClock_getMonotonic();
    const NUVClock former_ = *clock_;
};

struct OwnNetwork {
    net::MemoryNetwork own_network;
};

/** A host whose participants are made by a factory of its own. */
struct Host : OwnNetwork, net::VirtualMachine {
    explicit Host(net::VirtualClock &its_clock) : VirtualMachine(its_clock, own_network) {
        const NUVNetioRuntimeProperty its_property = property();
        factory = DDS_DomainParticipantFactory_newI(&its_property);
        EXPECT_NE(factory, nullptr);
    }
    ~Host() {
        EXPECT_EQ(DDS_DomainParticipantFactory_deleteI(factory), DDS_RETCODE_OK);
        EXPECT_TRUE(own_network.sockets.empty());
    }
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    DDS_DomainParticipant *create() const {
        return DDS_DomainParticipantFactory_create_participant(
            factory, 0, DDS_PARTICIPANT_QOS_DEFAULT, nullptr, DDS_STATUS_MASK_NONE);
    }
    DDS_ReturnCode_t remove(DDS_DomainParticipant *participant) const {
        return DDS_DomainParticipantFactory_delete_participant(factory, participant);
    }

    DDS_DomainParticipantFactory *factory = nullptr;
};

std::vector<std::string> unicast(DDS_DomainParticipant *participant) {
    return locators(participant, DDS_DomainParticipant_get_default_unicast_locators);
}

class VirtualParticipant : public testing::Test {
protected:
    support::LogCapture log;
    net::VirtualClock clock;
    Host host{clock};
    const VirtualTime time{host};
};

TEST_F(VirtualParticipant, HasTheInterfacesOfItsFactory) {
    DDS_DomainParticipant *const participant = host.create();
    EXPECT_THAT(unicast(participant),
                ElementsAre("udpv4://192.0.2.1:7411", "udpv4://198.51.100.1:7411"));
    EXPECT_EQ(host.remove(participant), DDS_RETCODE_OK);
}

TEST_F(VirtualParticipant, HasNothingToDoWithThoseOfAnotherHost) {
    Host other(clock);
    DDS_DomainParticipant *const here = host.create();
    DDS_DomainParticipant *const there = other.create();
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(here), 0);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(there), 0);
    EXPECT_EQ(host.remove(there), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(host.remove(here), DDS_RETCODE_OK);
    EXPECT_EQ(other.remove(there), DDS_RETCODE_OK);
}

TEST_F(VirtualParticipant, FollowsTheInterfacesWhenTimePasses) {
    DDS_DomainParticipant *const participant = host.create();
    host.interfaces.set({net::interface("a0", 2, "192.0.2.7")});
    NUVNetioRuntime_noteInterfaceEvent(participant->resources.runtime);
    host.loop.pass(20 * MILLISECOND);
    EXPECT_THAT(unicast(participant), ElementsAre("udpv4://192.0.2.7:7411"));
    EXPECT_EQ(host.remove(participant), DDS_RETCODE_OK);
}

/** An event that notes when it runs. */
struct TimedEvent {
    TimedEvent(const net::VirtualClock &its_clock, NUVNetioRuntime *runtime, NUV_INT64 delay)
        : clock(its_clock) {
        const NUVNtpTime time = NUVNtpTime_fromNanoseconds(delay);
        NUVEventActiveDatabase_postEvent(NUVNetioRuntime_getEventDatabase(runtime), &event, &time);
    }
    static void on_time(void *param, REDAWorker * /*worker*/) {
        auto *self = static_cast<TimedEvent *>(param);
        self->ran_at = self->clock.now;
    }

    const net::VirtualClock &clock;
    NUV_INT64 ran_at = 0;
    NUVEvent event{on_time, this, 0, nullptr, 0};
};

TEST_F(VirtualParticipant, HasTheLoopRunWhileItsDrainSleeps) {
    DDS_DomainParticipant *const participant = host.create();
    const DDS_DomainParticipantResourcesI &resources = participant->resources;
    REDAWorker *const worker = REDAWorkerFactory_createWorker(resources.workerFactory, "test");
    const NUV_INT64 start = clock.now;
    TimedEvent event(clock, resources.runtime, 100 * MILLISECOND);
    EXPECT_EQ(DDS_DomainParticipantPresentation_wait_for_released_entryports(
                  &participant->presentation, nullptr, worker),
              DDS_RETCODE_TIMEOUT); // its ports have not been given back
    EXPECT_EQ(event.ran_at, start + 100 * MILLISECOND);
    EXPECT_EQ(clock.now, start + 300 * 125 * MILLISECOND);
    REDAWorkerFactory_destroyWorker(resources.workerFactory, worker);
    EXPECT_EQ(host.remove(participant), DDS_RETCODE_OK);
}

TEST_F(VirtualParticipant, TakesNoThreadAndNoDescriptor) {
    const faults::Guard guard;
    const long descriptors = net::open_descriptors();
    DDS_DomainParticipant *const participant = host.create();
    EXPECT_EQ(net::open_descriptors(), descriptors);
    EXPECT_EQ(host.remove(participant), DDS_RETCODE_OK);
    EXPECT_EQ(faults::count("NUVOsapiThreadFactory_createThread"), 0);
    EXPECT_EQ(faults::count("socket"), 0);
}

TEST_F(VirtualParticipant, KeepsItsFactory) {
    DDS_DomainParticipant *const participant = host.create();
    EXPECT_EQ(DDS_DomainParticipantFactory_deleteI(host.factory), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(host.remove(participant), DDS_RETCODE_OK);
}

} // namespace
