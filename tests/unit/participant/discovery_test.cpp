// SPDX-License-Identifier: Apache-2.0
// What participants of this process and of another one know of each other.
#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include <netdb.h>
#include <sys/wait.h>
#include <unistd.h>

#include "domain/DomainParticipant_internal.h"
#include "fixture.h"
#include "osapi/osapi_process.h"
#include "support/fault_loop.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr DDS_Duration_t LONG_ENOUGH = {20, 0};

/** Data that is finalized with the object. */
class Data {
public:
    Data() = default;
    ~Data() {
        DDS_ParticipantBuiltinTopicData_finalize(&data_);
    }
    Data(const Data &) = delete;
    Data &operator=(const Data &) = delete;

    const DDS_ParticipantBuiltinTopicData *operator->() const {
        return &data_;
    }
    DDS_ParticipantBuiltinTopicData *get() {
        return &data_;
    }

private:
    DDS_ParticipantBuiltinTopicData data_ = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_INITIALIZER;
};

std::string text_of(const DDS_Octet *octets, size_t length) {
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        char digits[3];
        (void)snprintf(digits, sizeof digits, "%02x", octets[i]);
        text += digits;
    }
    return text;
}

DDS_InstanceHandle_t handle_of(DDS_DomainParticipant *participant) {
    DDS_GUID_t guid;
    DDS_InstanceHandle_t handle;
    EXPECT_EQ(DDS_DomainParticipant_get_guid(participant, &guid), DDS_RETCODE_OK);
    std::copy(std::begin(guid.value), std::end(guid.value), handle.value);
    return handle;
}

std::string text_of(const DDS_InstanceHandle_t &handle) {
    return text_of(handle.value, sizeof handle.value);
}

std::vector<std::string> texts_of(const DDS_LocatorSeq &locators) {
    std::vector<std::string> texts;
    for (DDS_Long i = 0; i < locators._length; ++i) {
        char text[DDS_LOCATOR_STRING_SIZE];
        EXPECT_EQ(DDS_Locator_to_string(&locators._buffer[i], text, sizeof text), DDS_RETCODE_OK);
        texts.emplace_back(text);
    }
    return texts;
}

std::string value_of(const DDS_PropertyQosPolicy &policy, const char *name) {
    const DDS_Property_t *const property =
        DDS_PropertyQosPolicyHelper_lookup_property(&policy, name);
    return property != nullptr ? property->value : "(none)";
}

class Discovery : public ParticipantTest {
protected:
    /** Removes the participants when it goes, ahead of what their listeners use. */
    class Removal {
    public:
        explicit Removal(Discovery &test) : test_(test) {}
        ~Removal() {
            while (!test_.participants.empty()) {
                EXPECT_EQ(test_.remove(test_.participants.back()), DDS_RETCODE_OK);
            }
        }
        Removal(const Removal &) = delete;
        Removal &operator=(const Removal &) = delete;

    private:
        Discovery &test_;
    };

    static bool wait(DDS_DomainParticipant *participant, DDS_Long count) {
        return DDS_DomainParticipant_wait_for_participants(participant, count, &LONG_ENOUGH) ==
               DDS_RETCODE_OK;
    }

    static std::vector<std::string> known(DDS_DomainParticipant *participant) {
        DDS_InstanceHandleSeq handles = DDS_SEQUENCE_INITIALIZER;
        std::vector<std::string> texts;
        EXPECT_EQ(DDS_DomainParticipant_get_discovered_participants(participant, &handles),
                  DDS_RETCODE_OK);
        for (DDS_Long i = 0; i < handles._length; ++i) {
            texts.push_back(text_of(handles._buffer[i]));
        }
        DDS_InstanceHandleSeq_finalize(&handles);
        return texts;
    }

    static DDS_ReturnCode_t read(DDS_DomainParticipant *participant, Data &data,
                                 DDS_DomainParticipant *other) {
        const DDS_InstanceHandle_t handle = handle_of(other);
        return DDS_DomainParticipant_get_discovered_participant_data(participant, data.get(),
                                                                     &handle);
    }

    void set_property(const char *name, const char *value, DDS_Boolean propagate) {
        ASSERT_EQ(
            DDS_PropertyQosPolicyHelper_assert_property(&qos->property, name, value, propagate),
            DDS_RETCODE_OK);
    }

    /** Gives each field that others learn of a value. */
    void fill_qos() {
        const DDS_Octet octets[] = {1, 2, 255};
        ASSERT_TRUE(DDS_OctetSeq_from_array(&qos->user_data.value, octets, 3));
        ASSERT_TRUE(DDS_String_replace(&qos->participant_name.name, "somebody"));
        qos->discovery_config.lease_duration = {40, 500000000};
        set_property("color", "green", DDS_BOOLEAN_TRUE);
        set_property("secret", "1", DDS_BOOLEAN_FALSE);
    }

    /** What was filled in is what @p data says. */
    static void expect_filled(const Data &data) {
        EXPECT_EQ(text_of(data->user_data.value._buffer,
                          static_cast<size_t>(data->user_data.value._length)),
                  "0102ff");
        EXPECT_STREQ(data->participant_name, "somebody");
        EXPECT_EQ(data->lease_duration.sec, 40);
        EXPECT_EQ(data->lease_duration.nanosec, 500000000u);
        EXPECT_EQ(value_of(data->property, "color"), "green");
        EXPECT_EQ(value_of(data->property, "secret"), "(none)");
    }
};

TEST_F(Discovery, ParticipantsOfOneProcessKnowEachOther) {
    DDS_DomainParticipant *const one = create();
    DDS_DomainParticipant *const other = create();

    ASSERT_TRUE(wait(one, 1));
    ASSERT_TRUE(wait(other, 1));
    EXPECT_THAT(known(one), ElementsAre(text_of(handle_of(other))));
    EXPECT_THAT(known(other), ElementsAre(text_of(handle_of(one))));
}

TEST_F(Discovery, DataAreWhatTheOtherWasGiven) {
    NUVOsapiProcessIdentity process;
    Data data;

    DDS_DomainParticipant *const one = create();
    fill_qos();
    DDS_DomainParticipant *const other = create();
    ASSERT_TRUE(wait(one, 1));
    ASSERT_EQ(read(one, data, other), DDS_RETCODE_OK);
    expect_filled(data);
    EXPECT_EQ(text_of(data->key.value, 16), text_of(handle_of(other)));
    EXPECT_EQ(text_of(data->guid.value, 16), text_of(handle_of(other)));
    EXPECT_EQ(text_of(data->rtps_vendor_id.value, 2), "0000");
    EXPECT_EQ(data->rtps_protocol_version.major, 2);
    EXPECT_EQ(data->rtps_protocol_version.minor, 5);
    EXPECT_EQ(data->domain_id, 0);
    EXPECT_EQ(data->says_domain_id, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(data->domain_tag, nullptr);
    EXPECT_EQ(texts_of(data->metatraffic_unicast_locators),
              locators(other, DDS_DomainParticipant_get_metatraffic_unicast_locators));
    EXPECT_EQ(texts_of(data->metatraffic_multicast_locators),
              locators(other, DDS_DomainParticipant_get_metatraffic_multicast_locators));
    EXPECT_EQ(texts_of(data->default_unicast_locators),
              locators(other, DDS_DomainParticipant_get_default_unicast_locators));
    EXPECT_EQ(texts_of(data->default_multicast_locators),
              locators(other, DDS_DomainParticipant_get_default_multicast_locators));
    EXPECT_EQ(data->is_local, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(data->source.kind, DDS_LOCATOR_KIND_INVALID);
    NUVOsapiProcess_identify(&process);
    EXPECT_EQ(value_of(data->property, "__Pid"), std::to_string(process.pid));
    EXPECT_EQ(value_of(data->property, "__ProcessName"), process.program);
    EXPECT_EQ(value_of(data->property, "__Hostname"), process.host);
}

TEST_F(Discovery, TimesAreThoseOfTheWallClock) {
    Data data;
    const time_t before = time(nullptr);
    DDS_DomainParticipant *const one = create();
    DDS_DomainParticipant *const other = create();

    ASSERT_TRUE(wait(one, 1));
    ASSERT_EQ(read(one, data, other), DDS_RETCODE_OK);
    EXPECT_GE(data->first_heard.sec, before - 1);
    EXPECT_LE(data->last_heard.sec, time(nullptr) + 1);
    EXPECT_LT(data->first_heard.nanosec, 1'000'000'000u);
}

TEST_F(Discovery, ParticipantsOfAnotherTagAreNotKnown) {
    Data data;
    DDS_DomainParticipant *const untagged = create();
    ASSERT_TRUE(DDS_String_replace(&qos->discovery_config.domain_tag, "blue"));
    DDS_DomainParticipant *const one = create();
    DDS_DomainParticipant *const other = create();

    ASSERT_TRUE(wait(one, 1));
    EXPECT_THAT(known(one), ElementsAre(text_of(handle_of(other))));
    EXPECT_THAT(known(untagged), IsEmpty());
    ASSERT_EQ(read(one, data, other), DDS_RETCODE_OK);
    EXPECT_STREQ(data->domain_tag, "blue");
}

TEST_F(Discovery, TheProcessIsNotAnnouncedWhenThatIsSwitchedOff) {
    Data data;
    set_property("dds.discovery.announce_process", "no", DDS_BOOLEAN_FALSE);
    DDS_DomainParticipant *const one = create();
    DDS_DomainParticipant *const other = create();

    ASSERT_TRUE(wait(one, 1));
    ASSERT_EQ(read(one, data, other), DDS_RETCODE_OK);
    EXPECT_EQ(data->property.value._length, 0);
}

TEST_F(Discovery, WhoOnlyListensSendsNothing) {
    DDS_DiscoveryStatistics statistics;
    set_property("dds.discovery.announce", "no", DDS_BOOLEAN_FALSE);
    DDS_DomainParticipant *const one = create();

    ASSERT_EQ(DDS_DomainParticipant_assert_liveliness(one), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_DomainParticipant_get_discovery_statistics(one, &statistics), DDS_RETCODE_OK);
    EXPECT_EQ(statistics.announcements_sent, 0u);
}

TEST_F(Discovery, AChangedQosIsKnownToTheOther) {
    Data data;
    DDS_DomainParticipant *const one = create();
    DDS_DomainParticipant *const other = create();
    ASSERT_TRUE(wait(one, 1));
    const DDS_Octet octets[] = {7};
    ASSERT_TRUE(DDS_OctetSeq_from_array(&qos->user_data.value, octets, 1));
    qos->discovery_config.lease_duration = {60, 0};

    ASSERT_EQ(DDS_DomainParticipant_set_qos(other, qos.get()), DDS_RETCODE_OK);
    ASSERT_EQ(read(one, data, other), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(data->user_data.value._buffer, 1), "07");
    EXPECT_EQ(data->lease_duration.sec, 60);
}

TEST_F(Discovery, WhoIsDeletedIsNotKnownAnyMore) {
    DDS_DomainParticipant *const one = create();
    DDS_DomainParticipant *const other = create();
    ASSERT_TRUE(wait(one, 1));

    EXPECT_EQ(remove(other), DDS_RETCODE_OK);
    EXPECT_THAT(known(one), IsEmpty());
}

TEST_F(Discovery, WhoIsIgnoredIsNotKnownAnyMore) {
    Data data;
    DDS_DomainParticipant *const one = create();
    DDS_DomainParticipant *const other = create();
    const DDS_InstanceHandle_t handle = handle_of(other);
    ASSERT_TRUE(wait(one, 1));

    EXPECT_EQ(DDS_DomainParticipant_ignore_participant(one, &handle), DDS_RETCODE_OK);
    EXPECT_THAT(known(one), IsEmpty());
    EXPECT_EQ(read(one, data, other), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_THAT(known(other), ElementsAre(text_of(handle_of(one))));
}

TEST_F(Discovery, StatisticsCountNewcomersAndThoseWhoLeave) {
    DDS_DiscoveryStatistics statistics;
    DDS_DomainParticipant *const one = create();
    DDS_DomainParticipant *const other = create();
    ASSERT_TRUE(wait(one, 1));

    ASSERT_EQ(DDS_DomainParticipant_get_discovery_statistics(one, &statistics), DDS_RETCODE_OK);
    EXPECT_EQ(statistics.known, 1u);
    EXPECT_EQ(statistics.came, 1u);
    ASSERT_EQ(remove(other), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_DomainParticipant_get_discovery_statistics(one, &statistics), DDS_RETCODE_OK);
    EXPECT_EQ(statistics.known, 0u);
    EXPECT_EQ(statistics.left, 1u);
}

// ---- what discovery is told

/** Takes down with what discovery is made, and makes it. */
class MadeDiscovery {
public:
    explicit MadeDiscovery(support::Recorder &recorder) {
        recorder.replace(
            "DISCParticipant_new",
            [this](DISCDiscovery *discovery, PRESParticipant *participant,
                   const DISCParticipantProperty *given, const DISCParticipantListener *listener,
                   REDAWorker *worker) -> DISCParticipant * {
                property = *given;
                hasListener = listener != nullptr;
                return DISCParticipant_new(discovery, participant, given, listener, worker);
            });
    }

    DISCParticipantProperty property{};
    bool hasListener = false;
};

TEST_F(Discovery, GoesByTheQos) {
    support::Recorder recorder;
    MadeDiscovery made(recorder);
    switch_autoenable_off();
    qos->discovery_config.lease_duration = {8, 500000000};
    qos->discovery_config.announcement_period = {2, 0};
    qos->discovery_config.initial_announcements = 3;
    qos->discovery_config.initial_announcement_period = {0, 250000000};
    qos->resource_limits.remote_participants_max = 77;
    qos->wire_protocol.rtps_well_known_ports = {10000, 100, 4, 1, 20, 2, 21};
    set_property("dds.discovery.max_peer_index", "9", DDS_BOOLEAN_FALSE);
    set_property("dds.participant.discovery_config.log_discovery_mismatch", "1", DDS_BOOLEAN_FALSE);
    set_property("dds.discovery.accept_mismatch", "1", DDS_BOOLEAN_FALSE);
    set_property("dds.discovery.answer_questions", "0", DDS_BOOLEAN_FALSE);

    ASSERT_NE(create(), nullptr);
    EXPECT_EQ(NUVNtpTime_toNanoseconds(&made.property.leaseDuration), 8'500'000'000);
    EXPECT_EQ(NUVNtpTime_toNanoseconds(&made.property.announcementPeriod), 2'000'000'000);
    EXPECT_EQ(made.property.initialAnnouncements, 3);
    EXPECT_EQ(NUVNtpTime_toNanoseconds(&made.property.initialAnnouncementPeriod), 250'000'000);
    EXPECT_EQ(made.property.remoteParticipantsMax, 77);
    EXPECT_EQ(made.property.builtinMulticastPort, 10001);
    EXPECT_EQ(made.property.builtinUnicastPort, 10020);
    EXPECT_EQ(made.property.participantIdGain, 4);
    EXPECT_EQ(made.property.peerIndexMax, 9);
    EXPECT_EQ(made.property.logsMismatch, 1);
    EXPECT_EQ(made.property.acceptsMismatch, 1);
    EXPECT_EQ(made.property.answers, 0);
    EXPECT_EQ(made.property.announces, 1);
    EXPECT_FALSE(made.hasListener);
}

TEST_F(Discovery, HasThePortsOfItsDomainAsFarAsTheyAreOnes) {
    support::Recorder recorder;
    MadeDiscovery made(recorder);
    switch_autoenable_off();
    qos->wire_protocol.rtps_well_known_ports = {-1, 100, 0x7FFFFFFF, 0, 0x7FFFFFFF, 2, 21};

    ASSERT_NE(create(), nullptr);
    EXPECT_EQ(made.property.builtinMulticastPort, 0);
    EXPECT_EQ(made.property.builtinUnicastPort, 0);
    EXPECT_EQ(made.property.participantIdGain, 65535);
}

TEST_F(Discovery, LeavesOutPeersOfTransportsThatItDoesNotUse) {
    support::Recorder recorder;
    std::vector<std::string> peers;
    recorder.replace("DISCParticipant_setPeers",
                     [&](DISCParticipant *self, const NUVNetioPeer *given, NUV_UINT32 count,
                         REDAWorker *worker) -> int {
                         for (NUV_UINT32 i = 0; i < count; ++i) {
                             char text[NUV_NETIO_LOCATOR_STRING_SIZE];
                             (void)NUVNetioLocator_toString(&given[i].locator, text, sizeof text);
                             peers.emplace_back(given[i].hostname[0] != '\0' ? given[i].hostname
                                                                             : text);
                         }
                         return DISCParticipant_setPeers(self, given, count, worker);
                     });
    switch_autoenable_off();
    qos->transport_builtin.mask = DDS_TRANSPORTBUILTIN_MASK_ALL;
    ASSERT_TRUE(DDS_StringSeq_append(&qos->discovery.enabled_transports, "udpv6"));
    ASSERT_TRUE(DDS_StringSeq_append(&qos->discovery.initial_peers, "udpv6://[ff05::1]:7400"));
    ASSERT_TRUE(DDS_StringSeq_append(&qos->discovery.initial_peers, "localhost"));

    ASSERT_NE(create(), nullptr);
    EXPECT_THAT(peers, ElementsAre("udpv6://[ff05::1]:7400", "localhost"));
}

TEST_F(Discovery, PeersThatCannotBeSetLeaveTheQosAsItWas) {
    support::Recorder recorder;
    Qos now;
    DDS_DomainParticipant *const one = create();
    ASSERT_TRUE(DDS_StringSeq_append(&qos->discovery.initial_peers, "192.0.2.1"));

    recorder.fail("DISCParticipant_setPeers", {});
    EXPECT_EQ(DDS_DomainParticipant_set_qos(one, qos.get()), DDS_RETCODE_OUT_OF_RESOURCES);
    ASSERT_EQ(DDS_DomainParticipant_get_qos(one, now.get()), DDS_RETCODE_OK);
    EXPECT_EQ(now->discovery.initial_peers._length, 2);
}

TEST_F(Discovery, AChangeThatFailsLeavesThePeersAsTheyWere) {
    support::Recorder recorder;
    std::vector<NUV_UINT32> counts;
    DDS_DomainParticipant *const one = create();
    recorder.replace("DISCParticipant_setPeers",
                     [&](DISCParticipant *self, const NUVNetioPeer *peers, NUV_UINT32 count,
                         REDAWorker *worker) -> int {
                         counts.push_back(count);
                         return DISCParticipant_setPeers(self, peers, count, worker);
                     });
    ASSERT_TRUE(DDS_StringSeq_append(&qos->discovery.initial_peers, "192.0.2.1"));

    recorder.fail("PRESParticipant_setProperty");
    EXPECT_NE(DDS_DomainParticipant_set_qos(one, qos.get()), DDS_RETCODE_OK);
    EXPECT_TRUE(counts.empty());
}

TEST_F(Discovery, ADeletionThatTheReactorHoldsUpCanBeRepeated) {
    support::Recorder recorder;
    DDS_DomainParticipant *const one = create();

    recorder.fail("DISCParticipant_delete", {});
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, one), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(DDS_DomainParticipant_assert_liveliness(one), DDS_RETCODE_NOT_ENABLED);
    EXPECT_EQ(remove(one), DDS_RETCODE_OK);
}

TEST_F(Discovery, AParticipantIsDeletedWhileANameOfItsPeersIsLookedUp) {
    struct Gate {
        std::atomic<bool> is_reached = false;
        std::promise<void> entered;
        std::promise<void> opened;
    };
    const auto gate = std::make_shared<Gate>(); // whoever waits there outlives the test's own
    faults::replace(
        "getaddrinfo",
        [gate](const char *, const char *, const addrinfo *, addrinfo **) {
            if (!gate->is_reached.exchange(true)) {
                gate->entered.set_value();
                gate->opened.get_future().wait();
            }
            return EAI_NONAME;
        },
        faults::Thread::ANY);
    ASSERT_TRUE(DDS_StringSeq_append(&qos->discovery.initial_peers, "far-away"));
    DDS_DomainParticipant *const one = create();
    ASSERT_EQ(gate->entered.get_future().wait_for(std::chrono::seconds(20)),
              std::future_status::ready);

    EXPECT_EQ(remove(one), DDS_RETCODE_OK);
    gate->opened.set_value();
}

// ---- another process

/** A child that has a participant of this QoS until its input ends. */
class Child {
public:
    explicit Child(DDS_DomainParticipantQos *qos) {
        int input[2];
        int output[2];
        EXPECT_EQ(pipe(input), 0);
        EXPECT_EQ(pipe(output), 0);
        pid_ = fork();
        if (pid_ == 0) {
            close(input[1]);
            close(output[0]);
            _exit(run(qos, input[0], output[1]));
        }
        close(input[0]);
        close(output[1]);
        input_ = input[1];
        EXPECT_EQ(::read(output[0], handle_.value, sizeof handle_.value), 16);
        close(output[0]);
    }
    ~Child() {
        leave();
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    void leave() {
        int status = -1;
        if (pid_ > 0) {
            close(input_);
            EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
            pid_ = -1;
        }
    }

    pid_t pid() const {
        return pid_;
    }
    const DDS_InstanceHandle_t &handle() const {
        return handle_;
    }

private:
    static int run(DDS_DomainParticipantQos *qos, int input, int output) {
        constexpr unsigned FAR_TOO_LONG = 60; // seconds
        alarm(FAR_TOO_LONG);
        DDS_DomainParticipantFactory *const factory = DDS_DomainParticipantFactory_get_instance();
        DDS_DomainParticipant *const participant = DDS_DomainParticipantFactory_create_participant(
            factory, 0, qos, nullptr, DDS_STATUS_MASK_NONE);
        DDS_GUID_t guid;
        char end;
        if (participant == nullptr ||
            DDS_DomainParticipant_get_guid(participant, &guid) != DDS_RETCODE_OK ||
            write(output, guid.value, sizeof guid.value) != sizeof guid.value) {
            return 1;
        }
        (void)!::read(input, &end, 1);
        return DDS_DomainParticipantFactory_delete_participant(factory, participant) ==
                           DDS_RETCODE_OK &&
                       DDS_DomainParticipantFactory_finalize_instance() == DDS_RETCODE_OK
                   ? 0
                   : 2;
    }

    pid_t pid_ = -1;
    int input_ = -1;
    DDS_InstanceHandle_t handle_ = DDS_HANDLE_NIL;
};

class DiscoveryOfAnotherProcess : public Discovery {
protected:
    void SetUp() override {
        // The child is to have a factory of its own.
        ASSERT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
    }

    DDS_DomainParticipant *create_beside() {
        factory = DDS_DomainParticipantFactory_get_instance();
        return create();
    }
};

TEST_F(DiscoveryOfAnotherProcess, HasEveryFieldAsItWasGiven) {
    Data data;
    fill_qos();
    Child child(qos.get());
    DDS_DomainParticipant *const one = create_beside();

    ASSERT_TRUE(wait(one, 1));
    ASSERT_EQ(
        DDS_DomainParticipant_get_discovered_participant_data(one, data.get(), &child.handle()),
        DDS_RETCODE_OK);
    expect_filled(data);
    EXPECT_EQ(value_of(data->property, "__Pid"), std::to_string(child.pid()));
    EXPECT_EQ(data->is_local, DDS_BOOLEAN_FALSE);
    EXPECT_EQ(data->source.kind, DDS_LOCATOR_KIND_UDPv4);
    EXPECT_EQ(texts_of(data->metatraffic_unicast_locators).size(),
              locators(one, DDS_DomainParticipant_get_metatraffic_unicast_locators).size());
}

TEST_F(DiscoveryOfAnotherProcess, EndsWhenThatLeaves) {
    Child child(qos.get());
    DDS_DomainParticipant *const one = create_beside();
    DDS_DiscoveryStatistics statistics = {};
    ASSERT_TRUE(wait(one, 1));

    child.leave();
    for (int i = 0; i < 20000 && statistics.left == 0; ++i) {
        ASSERT_EQ(DDS_DomainParticipant_get_discovery_statistics(one, &statistics), DDS_RETCODE_OK);
        usleep(1000);
    }
    EXPECT_EQ(statistics.left, 1u);
    EXPECT_THAT(known(one), IsEmpty());
}

// ---- listeners

/** Takes down what it is told, and may do something in there. */
class Listener {
public:
    using Action = std::function<void(DDS_DomainParticipant *, const DDS_InstanceHandle_t &)>;

    explicit Listener(Action action = nullptr) : action_(std::move(action)) {}

    const DDS_DomainParticipantListener *get() const {
        return &listener_;
    }

    /** Whether it has been told of so many changes. */
    bool await(size_t count) {
        std::unique_lock lock(mutex_);
        return told_.wait_for(lock, std::chrono::seconds(20),
                              [&] { return changes_.size() >= count; });
    }

    std::vector<std::string> changes() {
        const std::lock_guard lock(mutex_);
        return changes_;
    }

private:
    static void on_discovered(void *self, DDS_DomainParticipant *participant,
                              const DDS_ParticipantBuiltinTopicData *data,
                              DDS_DiscoveredParticipantChange change) {
        static_cast<Listener *>(self)->take(participant, *data, change);
    }

    void take(DDS_DomainParticipant *participant, const DDS_ParticipantBuiltinTopicData &data,
              DDS_DiscoveredParticipantChange change) {
        static const char *const WORDS[] = {"came", "changed", "left", "lost"};
        DDS_InstanceHandle_t handle;
        std::copy(std::begin(data.key.value), std::end(data.key.value), handle.value);
        if (action_ != nullptr) {
            action_(participant, handle);
        }
        const std::lock_guard lock(mutex_);
        changes_.push_back(WORDS[change] + (' ' + text_of(handle)));
        told_.notify_all();
    }

    const Action action_;
    const DDS_DomainParticipantListener listener_ = {this, nullptr, nullptr, on_discovered};
    std::mutex mutex_;
    std::condition_variable told_;
    std::vector<std::string> changes_;
};

TEST_F(Discovery, TheListenerIsToldOfEachChangeInTurn) {
    Listener listener;
    const Removal removal(*this);
    DDS_DomainParticipant *const one = create(listener.get());
    DDS_DomainParticipant *const other = create();
    const std::string name = text_of(handle_of(other));

    ASSERT_NE(one, nullptr);
    ASSERT_TRUE(listener.await(1));
    const DDS_Octet octet = 1;
    ASSERT_TRUE(DDS_OctetSeq_from_array(&qos->user_data.value, &octet, 1));
    ASSERT_EQ(DDS_DomainParticipant_set_qos(other, qos.get()), DDS_RETCODE_OK);
    ASSERT_TRUE(listener.await(2));
    ASSERT_EQ(remove(other), DDS_RETCODE_OK);
    ASSERT_TRUE(listener.await(3));
    EXPECT_THAT(listener.changes(), ElementsAre("came " + name, "changed " + name, "left " + name));
}

TEST_F(Discovery, TheListenerMayAskItsParticipant) {
    std::vector<std::string> seen;
    DDS_ReturnCode_t result = DDS_RETCODE_ERROR;
    Listener listener([&](DDS_DomainParticipant *participant, const DDS_InstanceHandle_t &handle) {
        Data data;
        seen = known(participant);
        result =
            DDS_DomainParticipant_get_discovered_participant_data(participant, data.get(), &handle);
    });
    const Removal removal(*this);
    DDS_DomainParticipant *const one = create(listener.get());
    DDS_DomainParticipant *const other = create();

    ASSERT_NE(one, nullptr);
    ASSERT_TRUE(listener.await(1));
    EXPECT_THAT(seen, ElementsAre(text_of(handle_of(other))));
    EXPECT_EQ(result, DDS_RETCODE_OK);
}

TEST_F(Discovery, TheListenerMayHaveTheOtherIgnored) {
    Listener listener([](DDS_DomainParticipant *participant, const DDS_InstanceHandle_t &handle) {
        EXPECT_EQ(DDS_DomainParticipant_ignore_participant(participant, &handle), DDS_RETCODE_OK);
    });
    const Removal removal(*this);
    DDS_DomainParticipant *const one = create(listener.get());
    DDS_DomainParticipant *const other = create();
    const std::string name = text_of(handle_of(other));

    ASSERT_TRUE(listener.await(2));
    EXPECT_THAT(listener.changes(), ElementsAre("came " + name, "lost " + name));
    EXPECT_THAT(known(one), IsEmpty());
}

TEST_F(Discovery, NobodyWaitsWithinAListener) {
    DDS_ReturnCode_t result = DDS_RETCODE_OK;
    Listener listener([&](DDS_DomainParticipant *participant, const DDS_InstanceHandle_t &) {
        result = DDS_DomainParticipant_wait_for_participants(participant, 1, &LONG_ENOUGH);
    });
    const Removal removal(*this);
    DDS_DomainParticipant *const one = create(listener.get());

    ASSERT_NE(create(), nullptr);
    ASSERT_NE(one, nullptr);
    ASSERT_TRUE(listener.await(1));
    EXPECT_EQ(result, DDS_RETCODE_ILLEGAL_OPERATION);
}

TEST_F(Discovery, AParticipantIsNotDeletedWhileItsListenerIsBeingTold) {
    std::promise<void> entered;
    std::promise<void> opened;
    std::atomic<bool> has_returned = false;
    Listener listener([&](DDS_DomainParticipant *, const DDS_InstanceHandle_t &) {
        entered.set_value();
        opened.get_future().wait();
        has_returned = true;
    });
    const Removal removal(*this);
    DDS_DomainParticipant *const one = create(listener.get());
    ASSERT_NE(create(), nullptr);
    ASSERT_EQ(entered.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    std::thread opener([&] {
        usleep(20000); // until the deletion waits, most likely
        opened.set_value();
    });

    EXPECT_EQ(remove(one), DDS_RETCODE_OK);
    EXPECT_TRUE(has_returned);
    opener.join();
}

// ---- what is not possible

TEST_F(Discovery, OfAParticipantThatIsNotEnabledIsNone) {
    switch_autoenable_off();
    DDS_DomainParticipant *const one = create();
    DDS_InstanceHandleSeq handles = DDS_SEQUENCE_INITIALIZER;
    DDS_DiscoveryStatistics statistics;
    const DDS_InstanceHandle_t handle = handle_of(one);
    Data data;

    EXPECT_EQ(DDS_DomainParticipant_get_discovered_participants(one, &handles),
              DDS_RETCODE_NOT_ENABLED);
    EXPECT_EQ(DDS_DomainParticipant_get_discovered_participant_data(one, data.get(), &handle),
              DDS_RETCODE_NOT_ENABLED);
    EXPECT_EQ(DDS_DomainParticipant_ignore_participant(one, &handle), DDS_RETCODE_NOT_ENABLED);
    EXPECT_EQ(DDS_DomainParticipant_wait_for_participants(one, 0, &LONG_ENOUGH),
              DDS_RETCODE_NOT_ENABLED);
    EXPECT_EQ(DDS_DomainParticipant_assert_liveliness(one), DDS_RETCODE_NOT_ENABLED);
    EXPECT_EQ(DDS_DomainParticipant_get_discovery_statistics(one, &statistics),
              DDS_RETCODE_NOT_ENABLED);
    EXPECT_EQ(errors(),
              std::vector<std::string>(6, "the participant is not enabled: it discovers nobody"));
}

TEST_F(Discovery, WaitingEndsWithTheTime) {
    const DDS_Duration_t moment = {0, 1000000};
    DDS_DomainParticipant *const one = create();

    EXPECT_EQ(DDS_DomainParticipant_wait_for_participants(one, 1, &moment), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(DDS_DomainParticipant_wait_for_participants(one, 0, &moment), DDS_RETCODE_OK);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(Discovery, WaitingHasABoundAndACount) {
    const DDS_Duration_t infinite = DDS_DURATION_INFINITE;
    DDS_DomainParticipant *const one = create();

    EXPECT_EQ(DDS_DomainParticipant_wait_for_participants(one, -1, &LONG_ENOUGH),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_wait_for_participants(one, 1, &infinite),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_THAT(errors(),
                ElementsAre(HasSubstr("count is -1: allowed are 0 and more"),
                            HasSubstr("timeout is 2147483647 s and 2147483647 ns: allowed is 0 or "
                                      "more, not infinite, with at most 999999999 ns")));
}

TEST_F(Discovery, AHandleThatIsUnknownIsNamed) {
    DDS_DomainParticipant *const one = create();
    const DDS_InstanceHandle_t nil = DDS_HANDLE_NIL;
    Data data;

    EXPECT_EQ(read(one, data, one), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DomainParticipant_get_discovered_participant_data(one, data.get(), &nil),
              DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_THAT(errors(), ElementsAre("handle is " + text_of(handle_of(one)) +
                                          ": no participant of that GUID is known",
                                      "handle is " + std::string(32, '0') +
                                          ": no participant of that GUID is known"));
}

TEST_F(Discovery, AHandleOfNoParticipantIsNotIgnored) {
    DDS_DomainParticipant *const one = create();
    const DDS_InstanceHandle_t nil = DDS_HANDLE_NIL;

    EXPECT_EQ(DDS_DomainParticipant_ignore_participant(one, &nil), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("handle: allowed is the GUID of a participant")));
}

TEST_F(Discovery, RefusesNull) {
    DDS_DomainParticipant *const one = create();
    DDS_InstanceHandleSeq handles = DDS_SEQUENCE_INITIALIZER;
    DDS_DiscoveryStatistics statistics;
    const DDS_InstanceHandle_t handle = DDS_HANDLE_NIL;
    Data data;
    const DDS_ReturnCode_t results[] = {
        DDS_DomainParticipant_get_discovered_participants(nullptr, &handles),
        DDS_DomainParticipant_get_discovered_participants(one, nullptr),
        DDS_DomainParticipant_get_discovered_participant_data(nullptr, data.get(), &handle),
        DDS_DomainParticipant_get_discovered_participant_data(one, nullptr, &handle),
        DDS_DomainParticipant_get_discovered_participant_data(one, data.get(), nullptr),
        DDS_DomainParticipant_ignore_participant(nullptr, &handle),
        DDS_DomainParticipant_ignore_participant(one, nullptr),
        DDS_DomainParticipant_wait_for_participants(nullptr, 0, &LONG_ENOUGH),
        DDS_DomainParticipant_wait_for_participants(one, 0, nullptr),
        DDS_DomainParticipant_assert_liveliness(nullptr),
        DDS_DomainParticipant_get_discovery_statistics(nullptr, &statistics),
        DDS_DomainParticipant_get_discovery_statistics(one, nullptr)};

    EXPECT_THAT(results, testing::Each(DDS_RETCODE_BAD_PARAMETER));
}

TEST_F(Discovery, OfAForkedChildIsRefused) {
    DDS_DomainParticipant *const one = create();
    const pid_t child = fork();

    if (child == 0) {
        DDS_DiscoveryStatistics statistics;
        const bool is_refused =
            DDS_DomainParticipant_wait_for_participants(one, 0, &LONG_ENOUGH) ==
                DDS_RETCODE_ILLEGAL_OPERATION &&
            DDS_DomainParticipant_assert_liveliness(one) == DDS_RETCODE_ILLEGAL_OPERATION &&
            DDS_DomainParticipant_get_discovery_statistics(one, &statistics) ==
                DDS_RETCODE_ILLEGAL_OPERATION;
        _exit(is_refused ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// ---- too long to be announced

TEST_F(Discovery, UserDataThatAreTooLongToBeAnnouncedAreRefused) {
    qos->resource_limits.participant_user_data_max_length = DDS_USER_DATA_LENGTH_MAX;
    ASSERT_TRUE(DDS_OctetSeq_ensure_length(&qos->user_data.value, DDS_USER_DATA_LENGTH_MAX,
                                           DDS_USER_DATA_LENGTH_MAX));

    EXPECT_EQ(create(), nullptr);
    ASSERT_EQ(errors().size(), 1u);
    const std::string error = errors()[0];
    EXPECT_THAT(error, testing::MatchesRegex(
                           "inconsistent QoS: user_data.value takes 65536 octets of what the "
                           "participant announces; allowed are at most [0-9]+, which all else "
                           "leaves"));
    // What is allowed is allowed, and no more.
    const auto allowed = static_cast<DDS_Long>(
        std::stol(error.substr(error.find("at most ") + sizeof "at most " - 1)));
    ASSERT_TRUE(DDS_OctetSeq_set_length(&qos->user_data.value, allowed - 8));
    EXPECT_NE(create(), nullptr);
    ASSERT_TRUE(DDS_OctetSeq_set_length(&qos->user_data.value, allowed - 7));
    EXPECT_EQ(create(), nullptr);
}

TEST_F(Discovery, PropertiesThatAreTooLongToBeAnnouncedAreRefused) {
    qos->resource_limits.participant_property_string_max_length = DDS_PROPERTY_STRING_LENGTH_MAX;
    set_property("long", std::string(65500, 'v').c_str(), DDS_BOOLEAN_TRUE);

    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("property.value takes ")));
}

TEST_F(Discovery, ManyShortPropertiesAreRefusedWhereTheyFitNoAnnouncement) {
    qos->resource_limits.participant_property_list_max_length = DDS_PROPERTY_LIST_LENGTH_MAX;
    qos->resource_limits.participant_property_string_max_length = DDS_PROPERTY_STRING_LENGTH_MAX;
    for (int i = 0; i < 4000; ++i) {
        set_property(std::to_string(i).c_str(), "12345", DDS_BOOLEAN_TRUE);
    }

    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("property.value takes ")));
}

TEST_F(Discovery, WhatIsNotAnnouncedMayBeLong) {
    qos->resource_limits.participant_property_string_max_length = DDS_PROPERTY_STRING_LENGTH_MAX;
    set_property("long", std::string(65500, 'v').c_str(), DDS_BOOLEAN_FALSE);

    EXPECT_NE(create(), nullptr);
}

TEST_F(Discovery, AChangeToWhatIsTooLongLeavesTheQosAsItWas) {
    qos->resource_limits.participant_user_data_max_length = DDS_USER_DATA_LENGTH_MAX;
    DDS_DomainParticipant *const one = create();
    Qos now;
    ASSERT_TRUE(DDS_OctetSeq_ensure_length(&qos->user_data.value, DDS_USER_DATA_LENGTH_MAX,
                                           DDS_USER_DATA_LENGTH_MAX));

    EXPECT_EQ(DDS_DomainParticipant_set_qos(one, qos.get()), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("user_data.value takes 65536 octets")));
    ASSERT_EQ(DDS_DomainParticipant_get_qos(one, now.get()), DDS_RETCODE_OK);
    EXPECT_EQ(now->user_data.value._length, 0);
}

TEST_F(Discovery, ThePeriodStaysWithinTheShortestLeaseThatWasAnnounced) {
    qos->discovery_config.lease_duration = {8, 0};
    qos->discovery_config.announcement_period = {2, 0};
    DDS_DomainParticipant *const one = create();

    qos->discovery_config.lease_duration = {80, 0};
    EXPECT_EQ(DDS_DomainParticipant_set_qos(one, qos.get()), DDS_RETCODE_OK);
    qos->discovery_config.announcement_period = {3, 0};
    EXPECT_EQ(DDS_DomainParticipant_set_qos(one, qos.get()), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_THAT(errors(),
                ElementsAre("inconsistent QoS: discovery_config.announcement_period is 3 s and 0 "
                            "ns; allowed is at most a quarter of the shortest lease_duration that "
                            "has been announced, which is 8 s and 0 ns"));
    qos->discovery_config.lease_duration = {4, 0};
    qos->discovery_config.announcement_period = {1, 0};
    EXPECT_EQ(DDS_DomainParticipant_set_qos(one, qos.get()), DDS_RETCODE_OK);
    qos->discovery_config.announcement_period = {1, 1};
    qos->discovery_config.lease_duration = {80, 0};
    EXPECT_EQ(DDS_DomainParticipant_set_qos(one, qos.get()), DDS_RETCODE_INCONSISTENT_POLICY);
}

TEST_F(Discovery, ALeaseThatWasNeverAnnouncedBindsNobody) {
    switch_autoenable_off();
    qos->discovery_config.lease_duration = {8, 0};
    qos->discovery_config.announcement_period = {2, 0};
    DDS_DomainParticipant *const one = create();

    qos->discovery_config.lease_duration = {80, 0};
    qos->discovery_config.announcement_period = {20, 0};
    EXPECT_EQ(DDS_DomainParticipant_set_qos(one, qos.get()), DDS_RETCODE_OK);
}

// ---- faults

TEST_F(Discovery, EachAllocationOfReadingDataMayFail) {
    fill_qos();
    DDS_DomainParticipant *const one = create();
    DDS_DomainParticipant *const other = create();
    ASSERT_TRUE(wait(one, 1));
    Data data;

    EXPECT_GT(faults::fail_each_allocation(
                  [&] { return read(one, data, other); },
                  [&](DDS_ReturnCode_t result, const std::string &failed) {
                      EXPECT_EQ(result,
                                failed.empty() ? DDS_RETCODE_OK : DDS_RETCODE_OUT_OF_RESOURCES);
                      EXPECT_EQ(errors().empty(), failed.empty());
                      EXPECT_EQ(data->user_data.value._length, failed.empty() ? 3 : 0);
                      log.clear();
                  }),
              5);
}

TEST_F(Discovery, EachAllocationOfListingMayFail) {
    DDS_DomainParticipant *const one = create();
    ASSERT_NE(create(), nullptr);
    ASSERT_TRUE(wait(one, 1));
    DDS_InstanceHandleSeq handles = DDS_SEQUENCE_INITIALIZER;

    EXPECT_EQ(faults::fail_each_allocation(
                  [&] { return DDS_DomainParticipant_get_discovered_participants(one, &handles); },
                  [&](DDS_ReturnCode_t result, const std::string &failed) {
                      EXPECT_EQ(result,
                                failed.empty() ? DDS_RETCODE_OK : DDS_RETCODE_OUT_OF_RESOURCES);
                      EXPECT_EQ(handles._length, failed.empty() ? 1 : 0);
                      EXPECT_EQ(errors().empty(), failed.empty());
                      log.clear();
                  }),
              2);
    DDS_InstanceHandleSeq_finalize(&handles);
}

} // namespace
