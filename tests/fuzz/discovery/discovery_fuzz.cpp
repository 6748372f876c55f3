// SPDX-License-Identifier: Apache-2.0
// What others say to a participant that takes part in discovery, message by message.
#include <array>
#include <vector>

#include "commend/commend_facade.h"
#include "disc/disc_participant.h"
#include "fuzz.h"
#include "netio/event_activeDatabase.h"
#include "osapi/osapi_heap.h"
#include "rtps/rtps_message.h"
#include "simnet/simnet_world.h"

namespace {

using namespace simnet;

constexpr NUV_INT32 MOST = 8; // participants that are known

NUVNetioLocator locator(const char *text) {
    NUVNetioLocator out = NUV_NETIO_LOCATOR_INVALID;
    fuzz::must(NUVNetioLocator_parse(text, &out) != 0, "a locator is read");
    return out;
}

/** A process that somebody else's octets are sent from. */
class Stranger {
public:
    explicit Stranger(Process &process)
        : property_(process.runtime_property()), network_(*property_.transports[0]) {
        const NUVNetioSendOptions options = NUV_NETIO_SEND_OPTIONS_DEFAULT;
        handle_ = network_.openSender(network_.param, &options);
    }
    ~Stranger() {
        network_.close(network_.param, handle_);
    }
    Stranger(const Stranger &) = delete;
    Stranger &operator=(const Stranger &) = delete;

    void say(const NUVNetioLocator &to, const std::uint8_t *data, std::size_t size) const {
        (void)network_.send(network_.param, handle_, &to, 0, data, static_cast<NUV_UINT32>(size),
                            0);
    }

private:
    const NUVNetioRuntimeProperty property_;
    const NUVNetioTransport &network_;
    NUVNetioSocket_t handle_;
};

/** A participant of a simulated process, whose identity is always the same. */
class Participant {
public:
    explicit Participant(Process &process) : process_(process) {
        process_.call([this] { make(); });
    }
    ~Participant() {
        process_.call([this] { unmake(); });
    }
    Participant(const Participant &) = delete;
    Participant &operator=(const Participant &) = delete;

    /** Looks whether all that it knows agrees. */
    void check() {
        DISCStatistics statistics{};
        DISCParticipant_getStatistics(discovery_, &statistics, worker_);
        std::array<NUVOsapiRtpsGuidPrefix, MOST> prefixes;
        const NUV_UINT32 known =
            DISCParticipant_listRemotes(discovery_, prefixes.data(), MOST, worker_);
        fuzz::must(known <= MOST, "no more are known than allowed");
        fuzz::must(known == statistics.known &&
                       statistics.came == known + statistics.left + statistics.lost,
                   "those that came are known, have left or are lost");
        for (NUV_UINT32 i = 0; i < known; ++i) {
            const DISCRemote *const remote =
                DISCParticipant_findRemote(discovery_, &prefixes[i], nullptr, worker_);
            fuzz::must(remote != nullptr, "whoever is listed is found");
            check(*remote, prefixes[i]);
            DISCRemote_release(remote);
        }
    }

    static constexpr NUVOsapiRtpsGuid GUID = {{1, 2, 3}, NUV_OSAPI_RTPS_OBJECT_ID_PARTICIPANT};

private:
    static void check(const DISCRemote &remote, const NUVOsapiRtpsGuidPrefix &prefix) {
        RTPSParticipantData data;
        DISCRemote_read(&remote, &data);
        fuzz::must(NUVOsapiRtpsGuidPrefix_isSame(&data.guid.prefix, &prefix) != 0,
                   "it is the participant that was asked for");
        std::vector<NUV_UINT8> again(
            RTPSParticipantData_write(&data, RTPS_LITTLE_ENDIAN, nullptr, 0));
        RTPSParticipantData_write(&data, RTPS_LITTLE_ENDIAN, again.data(), again.size());
        RTPSParticipantData read_again;
        const RTPSHeader source = {RTPS_PROTOCOL_VERSION, RTPS_VENDOR_ID_UNKNOWN, prefix};
        fuzz::must(RTPSParticipantData_read({again.data(), again.size()}, &source, nullptr,
                                            &read_again) == RTPS_ACCEPTED &&
                       read_again.userData.length == data.userData.length &&
                       read_again.properties.count == data.properties.count,
                   "what is kept can be said again");
    }

    void make() {
        workers_ = REDAWorkerFactory_new();
        worker_ = REDAWorkerFactory_createWorker(workers_, "fuzz");
        threads_ = NUVOsapiThreadFactory_new(nullptr);
        const NUVNetioRuntimeProperty property = process_.runtime_property();
        runtime_ = NUVNetioRuntime_new(&property, threads_, workers_);
        discovery_of_process_ = DISCDiscovery_new(runtime_, worker_);
        configurator_ = NUVNetioConfigurator_new(nullptr, runtime_, worker_);
        table_ = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_TABLE, "table");
        record_ = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_RECORD, "record");
        PRESParticipantProperty presentation = PARTICIPANT_PROPERTY_DEFAULT;
        presentation.facadeProperty.parent.guidPrefix = GUID.prefix;
        participant_ = PRESParticipant_new(
            &GUID, configurator_, workers_, NUVNetioRuntime_getEventDatabase(runtime_),
            NUVClock_getMonotonic(), NUVClock_getRealtime(), table_, record_, nullptr, nullptr,
            nullptr, &presentation, nullptr, 0, nullptr, threads_, threads_, threads_, worker_);
        DISCParticipantProperty own = DISC_PARTICIPANT_PROPERTY_DEFAULT;
        own.remoteParticipantsMax = MOST;
        const DISCParticipantListener listener = {[](void *) {}, nullptr};
        discovery_ =
            DISCParticipant_new(discovery_of_process_, participant_, &own, &listener, worker_);
        fuzz::must(discovery_ != nullptr, "a participant is made");
        enable();
    }

    void enable() {
        PRESLocatorQosPolicy metatraffic = LOCATOR_QOS_POLICY_DEFAULT;
        metatraffic.count = 1;
        metatraffic.locatorList[0] = locator("192.0.2.1:7410");
        PRESReducedLocatorQosPolicy group = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
        COMMENDFacade *const facade = PRESParticipant_getFacade(participant_);
        const NUVNetioLocatorInfo info = {metatraffic.locatorList[0], 0, {""}};
        REDAWeakReference reference = REDA_WEAK_REFERENCE_INVALID;
        fuzz::must(facade->addEntryport(facade, &reference, &info, worker_) != 0,
                   "its port is free");
        const PRESSequenceTransportInfo none = {0, 0, nullptr};
        fuzz::must(PRESParticipant_enable(participant_, nullptr, &LOCATOR_QOS_POLICY_DEFAULT,
                                          &metatraffic, &group, &none, worker_) != 0,
                   "it is enabled");
    }

    void unmake() {
        int reason = 0;
        (void)PRESParticipant_shutdown(participant_, &reason, worker_);
        fuzz::must(DISCParticipant_delete(discovery_, worker_) != 0 &&
                       PRESParticipant_delete(participant_, &reason, worker_) != 0,
                   "it is deleted");
        NUVNetioConfigurator_delete(configurator_);
        REDAExclusiveArea_delete(table_);
        REDAExclusiveArea_delete(record_);
        DISCDiscovery_delete(discovery_of_process_);
        fuzz::must(NUVNetioRuntime_delete(runtime_) != 0, "its runtime ends");
        NUVOsapiThreadFactory_delete(threads_);
        REDAWorkerFactory_destroyWorker(workers_, worker_);
        REDAWorkerFactory_delete(workers_);
    }

    Process &process_;
    REDAWorkerFactory *workers_ = nullptr;
    REDAWorker *worker_ = nullptr;
    NUVOsapiThreadFactory *threads_ = nullptr;
    NUVNetioRuntime *runtime_ = nullptr;
    DISCDiscovery *discovery_of_process_ = nullptr;
    NUVNetioConfigurator *configurator_ = nullptr;
    REDAExclusiveArea *table_ = nullptr;
    REDAExclusiveArea *record_ = nullptr;
    PRESParticipant *participant_ = nullptr;
    DISCParticipant *discovery_ = nullptr;
};

NUV_UINT64 live_blocks() {
    NUVOsapiHeapStatistics statistics;
    NUVOsapiHeap_getStatistics(&statistics);
    return statistics.liveBlocks;
}

/** Octets of the input: who says it (bit 0) and how long after (the others), its length, itself. */
void converse(const std::uint8_t *data, std::size_t size) {
    World world(1);
    Segment &lan = world.add_segment("lan");
    const auto add = [&](const char *name, const char *address) -> Process & {
        Host &host = world.add_host(name);
        host.add_interface("eth0", &lan, {address});
        return host.add_process("process");
    };
    Process &home = add("home", "192.0.2.1/24");
    const Stranger near(add("near", "192.0.2.9/24"));
    const Stranger far(add("far", "192.0.2.10/24"));
    const NUVNetioLocator to = locator("192.0.2.1:7410");
    Participant participant(home);
    while (size >= 3) {
        const Stranger &stranger = (data[0] & 1) != 0 ? far : near;
        const Time pause = MILLISECOND * (data[0] >> 1) * (data[0] >> 1);
        const std::size_t length = std::min<std::size_t>(data[1] + 256u * data[2], size - 3);
        stranger.say(to, data + 3, length);
        world.run_for(pause + MILLISECOND);
        participant.check();
        data += 3 + length;
        size -= 3 + length;
    }
    world.run_for(SECOND);
    participant.check();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::Messages messages;
    const NUV_UINT64 before = live_blocks();
    converse(data, size);
    fuzz::must(live_blocks() == before, "nothing is left behind");
    fuzz::must(messages.count(NUV_LOG_LEVEL_FATAL) + messages.count(NUV_LOG_LEVEL_ERROR) == 0,
               "whatever others say, it is no error");
    return 0;
}
