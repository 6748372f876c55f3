// SPDX-License-Identifier: Apache-2.0
// Participants on simulated hosts, and a stranger who says whatever a test wants.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../simnet/simulated.h"
#include "commend/commend_endpoint.h"
#include "disc/disc_participant.h"
#include "osapi/osapi_heap.h"
#include "rtps/rtps_inlineQos.h"
#include "rtps/rtps_submessage.h"

namespace sim {

constexpr Time MS = MILLISECOND;

/** What others have announced, read. */
struct Seen {
    RTPSParticipantData data;
    DISCRemoteStatus status;
    std::string name;
    std::string user_data;
    std::string tag;
    std::vector<std::string> metatraffic;
    std::vector<std::string> unicast;
    std::vector<std::string> metatraffic_multicast;
    std::vector<std::string> properties; // "name=value"
};

struct Settings {
    int domain = 0;
    int index = 0;
    std::vector<std::string> addresses; // that it announces; none: all
    std::string name;
    std::string user_data;
    std::vector<std::pair<std::string, std::string>> propagated;
    std::string tag;
    std::vector<std::string> peers = {"239.255.0.1", "127.0.0.1"};
    bool has_group = true;
    bool has_listener = true;
    std::function<void()> on_news; // there may be some to take; called with locks held
    std::function<void()> before_enabling;
    DISCParticipantProperty property = DISC_PARTICIPANT_PROPERTY_DEFAULT;
};

/** What has become of another one. */
struct News {
    DISCChange change;
    NUVOsapiRtpsGuidPrefix prefix;
    std::string user_data;
};

class Party;

/** A process with a runtime and its discovery. */
class Machine {
public:
    explicit Machine(Process &process);
    ~Machine();
    Machine(const Machine &) = delete;
    Machine &operator=(const Machine &) = delete;

    Process &process;
    REDAWorkerFactory *workers;
    REDAWorker *worker;
    NUVOsapiThreadFactory *threads;
    NUVNetioRuntime *runtime;
    DISCDiscovery *discovery;
};

/** A participant of a machine, enabled. */
class Party {
public:
    explicit Party(Machine &machine, const Settings &settings = {});
    ~Party();
    Party(const Party &) = delete;
    Party &operator=(const Party &) = delete;

    /** Ends it as an application does: it says that it leaves. */
    void leave();

    const NUVOsapiRtpsGuidPrefix &prefix() const {
        return guid.prefix;
    }
    std::size_t count();
    bool knows(const NUVOsapiRtpsGuidPrefix &prefix);
    bool knows(const Party &other) {
        return knows(other.prefix());
    }
    /** What it knows of another one; fails the test when it does not know it. */
    Seen see(const NUVOsapiRtpsGuidPrefix &prefix);
    /** The oldest news that was not taken yet. */
    std::optional<News> take_news();
    /** "came", "changed", "left" and "lost" since the last call, in order. */
    std::vector<std::string> news();
    DISCStatistics statistics();
    void set_user_data(const std::string &text);
    /** Sets the property as the settings have it now; false when that was refused. */
    bool set_property();
    /** None: all those of its host. */
    void set_addresses(const std::vector<std::string> &addresses);
    void set_peers(const std::vector<std::string> &peers);
    bool ignore(const NUVOsapiRtpsGuidPrefix &prefix);

    template <typename Function>
    auto call(Function &&function) {
        return machine.process.call(std::forward<Function>(function));
    }

    Machine &machine;
    Settings settings;
    NUVOsapiRtpsGuid guid{};
    bool has_addresses = true; // for its locators
    PRESParticipant *participant = nullptr;
    DISCParticipant *discovery = nullptr;

private:
    PRESParticipantProperty property();
    void reserve(const NUVNetioLocator &locator);
    void reserve_unicast(const PRESParticipantParameter &parameter);

    NUVNetioConfigurator *configurator_ = nullptr;
    REDAExclusiveArea *table_ = nullptr;
    REDAExclusiveArea *record_ = nullptr;
    std::vector<PRESProperty> list_;
};

std::vector<NUVNetioPeer> peers_of(const std::vector<std::string> &texts);

/** A participant made of octets. */
struct Made {
    NUVOsapiRtpsGuidPrefix prefix = {0xAABBCC01, 2, 3};
    RTPSSequenceNumber sequence = 1;
    RTPSTime timestamp = {1000, 0};
    RTPSByteOrder order = RTPS_LITTLE_ENDIAN;
    NUVNtpTime lease = {20, 0};
    std::optional<int> domain = 0;
    std::string tag;
    std::string name;
    std::vector<std::string> metatraffic;
    std::vector<std::string> unicast;
    std::string user_data;
    std::vector<std::pair<std::string, std::string>> properties;
    std::optional<NUVOsapiRtpsGuidPrefix> directed_at;
    std::optional<NUVOsapiRtpsGuid> guid; // that it says it has
};

/** The message that it announces itself with. */
std::string announcement(const Made &made);
/** The message with which it leaves; by its key, or only by the hash of that. */
std::string leaving(const Made &made, bool has_key = true);
/** The messages of others. */
std::string acknack(const Made &made, RTPSEntityId writer);
std::string heartbeat(const Made &made, RTPSEntityId writer);

/** What a message says, as "DST INFO_TS DATA". */
std::string kinds(const std::string &message);

} // namespace sim
