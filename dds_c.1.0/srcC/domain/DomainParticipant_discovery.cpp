// SPDX-License-Identifier: Apache-2.0
// What a participant announces, to whom, and what it knows of others.
#include <algorithm>
#include <string_view>
#include <utility>

#include <string.h>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "domain/CallWorker.h"
#include "domain/CallbackMark.h"
#include "domain/DomainParticipantFactory_internal.h"
#include "domain/DomainParticipant_internal.h"
#include "infrastructure/Builtin_internal.h"
#include "infrastructure/Common_internal.h"
#include "infrastructure/dds_log.h"
#include "netio/netio_configurator.h"
#include "osapi/osapi_heap.h"
#include "osapi/osapi_process.h"
#include "osapi/osapi_utility.h"
#include "properties/propertyTable.h"
#include "qos/DomainParticipantQos_internal.h"
#include "reda/reda_exclusiveArea.h"
#include "reda/reda_string.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

static_assert(DDS_INITIAL_PEERS_LENGTH_MAX == DISC_PEERS_MAX);
static_assert(DDS_DOMAIN_TAG_LENGTH_MAX == DISC_DOMAIN_TAG_LENGTH_MAX);

namespace {

/* ---- From the QoS ---------------------------------------------------------------------------- */

/** The value of a property, which has been checked; null without it. */
const char *value_of(const DDS_PropertyQosPolicy &properties, Property property) {
    const DDS_Property_t *const given =
        DDS_PropertyQosPolicyHelper_lookup_property(&properties, name_of(property));

    return given != nullptr ? given->value : nullptr;
}

bool is_true(const DDS_PropertyQosPolicy &properties, Property property, bool unless_given) {
    const char *const value = value_of(properties, property);
    int boolean = unless_given ? 1 : 0;

    if (value != nullptr) {
        (void)REDAString_strToBoolean(value, &boolean);
    }
    return boolean != 0;
}

/** A port that can be sent to, or 0. */
KOLS_Transport_Port_t to_port(DDS_LongLong number) {
    return number <= KOLS_TRANSPORT_PORT_MAX && number > 0
               ? static_cast<KOLS_Transport_Port_t>(number)
               : 0;
}

/** What discovery is told of a participant, and the texts that this refers to. */
class DiscoverySettings {
public:
    DiscoverySettings(const DDS_DomainParticipantQos &qos, DDS_DomainId_t domain_id) {
        take_policies(qos);
        take_ports(qos.wire_protocol.rtps_well_known_ports, domain_id);
        take_properties(qos.property);
    }
    DiscoverySettings(const DiscoverySettings &) = delete;
    DiscoverySettings &operator=(const DiscoverySettings &) = delete;

    const DISCParticipantProperty *get() const {
        return &property_;
    }

private:
    void take_policies(const DDS_DomainParticipantQos &qos) {
        const DDS_DiscoveryConfigQosPolicy &config = qos.discovery_config;

        DDS_Duration_to_ntp_time(&config.lease_duration, &property_.leaseDuration);
        DDS_Duration_to_ntp_time(&config.announcement_period, &property_.announcementPeriod);
        DDS_Duration_to_ntp_time(&config.initial_announcement_period,
                                 &property_.initialAnnouncementPeriod);
        property_.initialAnnouncements = config.initial_announcements;
        property_.domainTag = config.domain_tag;
        property_.remoteParticipantsMax = qos.resource_limits.remote_participants_max;
    }

    void take_ports(const DDS_RtpsWellKnownPorts_t &ports, DDS_DomainId_t domain_id) {
        property_.builtinMulticastPort =
            to_port(DDS_RtpsWellKnownPorts_get_builtin_multicast_port(&ports, domain_id));
        property_.builtinUnicastPort =
            to_port(DDS_RtpsWellKnownPorts_get_builtin_unicast_port(&ports, domain_id, 0));
        property_.participantIdGain =
            std::clamp(ports.participant_id_gain, 0, KOLS_TRANSPORT_PORT_MAX);
    }

    void take_properties(const DDS_PropertyQosPolicy &properties) {
        const char *const index = value_of(properties, Property::MAX_PEER_INDEX);
        NUV_INT32 number = 0;

        if (index != nullptr && REDAString_strToLong(index, &number) != 0) {
            property_.peerIndexMax = number;
        }
        property_.announces = is_true(properties, Property::ANNOUNCE, true) ? 1 : 0;
        property_.logsMismatch =
            is_true(properties, Property::LOG_DISCOVERY_MISMATCH, false) ? 1 : 0;
        property_.acceptsMismatch = is_true(properties, Property::ACCEPT_MISMATCH, false) ? 1 : 0;
        property_.answers = is_true(properties, Property::ANSWER_QUESTIONS, true) ? 1 : 0;
        if (is_true(properties, Property::ANNOUNCE_PROCESS, true)) {
            announce_process();
        }
    }

    void announce_process() {
        NUVOsapiProcess_identify(&process_);
        NUVOsapiUtility_snprintf(pid_, sizeof(pid_), "%d", process_.pid);
        add("__Pid", pid_);
        add("__ProcessName", process_.program);
        add("__Hostname", process_.host);
        property_.ownProperties = own_;
    }

    void add(std::string_view name, std::string_view value) {
        own_[property_.ownPropertyCount++] = {
            {name.data(), static_cast<NUV_UINT32>(name.size())},
            {value.data(), static_cast<NUV_UINT32>(value.size())}};
    }

    DISCParticipantProperty property_ = DISC_PARTICIPANT_PROPERTY_DEFAULT;
    NUVOsapiProcessIdentity process_;
    char pid_[sizeof("-2147483648")];
    RTPSProperty own_[3];
};

/** Whether discovery uses a transport; that of a host name shows when it is resolved. */
bool is_enabled(const DDS_DiscoveryQosPolicy &discovery, KOLS_Transport_ClassId_t transport) {
    const DDS_StringSeq &enabled = discovery.enabled_transports;

    return enabled._length == 0 || transport == KOLS_TRANSPORT_CLASSID_INVALID ||
           std::any_of(enabled._buffer, enabled._buffer + enabled._length, [=](const char *alias) {
               return NUVNetioTransport_classOfAlias(alias) == transport;
           });
}

bool set_peers(DISCParticipant *self, const DDS_DiscoveryQosPolicy &discovery,
               const char *LOG_METHOD, REDAWorker *worker) {
    const DDS_StringSeq &texts = discovery.initial_peers;
    NUVNetioPeer *peers = nullptr;
    NUV_UINT32 count = 0;

    if (texts._length > 0 &&
        !NUVOsapiHeap_allocateArray(&peers, texts._length, struct NUVNetioPeer)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "peers");
        return false;
    }
    for (DDS_Long i = 0; i < texts._length; ++i) {
        if (NUVNetioPeer_parse(texts._buffer[i], &peers[count]) != 0 &&
            is_enabled(discovery, peers[count].locator.transport)) {
            ++count;
        }
    }
    const bool is_set = DISCParticipant_setPeers(self, peers, count, worker) != 0;

    NUVOsapiHeap_freeArray(peers);
    if (!is_set) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "discovery.initial_peers");
    }
    return is_set;
}

/* ---- What has to have room in an announcement ------------------------------------------------ */

/** A property with what a QoS announces. */
class AnnouncedProperty {
public:
    AnnouncedProperty() {
        PRESParticipantProperty_setPartitionBuffer(&property_, partition_);
    }
    ~AnnouncedProperty() {
        NUVOsapiHeap_freeArray(list_);
    }
    AnnouncedProperty(const AnnouncedProperty &) = delete;
    AnnouncedProperty &operator=(const AnnouncedProperty &) = delete;

    DDS_ReturnCode_t take(const DDS_DomainParticipantQos &qos) {
        const DDS_ReturnCode_t result =
            DDS_DomainParticipantQos_to_participant_property(&qos, &property_);

        list_ = property_.parameter.propertyList.data._buffer;
        return result;
    }

    size_t measure(const DiscoverySettings &settings) const {
        return DISCParticipant_measure(&property_, settings.get());
    }

    size_t user_data_octets() const {
        return property_.parameter.userData._length;
    }

    /** The octets of the properties that are announced, as a list. */
    size_t property_octets() const {
        const PRESPropertySequence &list = property_.parameter.propertyList.data;
        RTPSPropertyWriter writer;
        RTPSPropertyList written;

        RTPSPropertyWriter_initialize(&writer, nullptr, 0, RTPS_LITTLE_ENDIAN);
        for (NUV_UINT32 i = 0; i < list._length; ++i) {
            const PRESProperty &one = list._buffer[i];

            if (one.propagate != 0) {
                const RTPSProperty property = {
                    {one.name, static_cast<NUV_UINT32>(strlen(one.name))},
                    {one.value, static_cast<NUV_UINT32>(strlen(one.value))}};

                RTPSPropertyWriter_add(&writer, &property);
            }
        }
        return RTPSPropertyWriter_finish(&writer, &written);
    }

    void leave_out_user_data() {
        property_.parameter.userData._length = 0;
    }
    void leave_out_properties() {
        property_.parameter.propertyList.data._length = 0;
    }

private:
    PRESParticipantProperty property_ = PARTICIPANT_PROPERTY_DEFAULT;
    char partition_[PRES_PARTITION_BUFFER_SIZE];
    PRESProperty *list_ = nullptr;
};

} // namespace

/* ---- News, and what is asked ----------------------------------------------------------------- */

namespace {

constexpr DDS_DiscoveredParticipantChange to_public(DISCChange change) {
    switch (change) {
    case DISC_CHANGE_CAME:
        return DDS_DISCOVERED_PARTICIPANT_CAME;
    case DISC_CHANGE_CHANGED:
        return DDS_DISCOVERED_PARTICIPANT_CHANGED;
    case DISC_CHANGE_LEFT:
        return DDS_DISCOVERED_PARTICIPANT_LEFT;
    case DISC_CHANGE_LOST:
        break;
    }
    return DDS_DISCOVERED_PARTICIPANT_LOST;
}

/** One of the participant's news. */
struct NewsItem {
    DISCChange change;
    const DISCRemote *remote; // retained
    DISCRemoteStatus status;
    bool hasStatus; // what it is about is still there
};

bool take_news(DDS_DomainParticipant *self, NewsItem &news, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard lock(self->ea, worker); // nobody deletes it meanwhile

    if (!self->isEnabled ||
        DISCParticipant_takeNews(self->discovery, &news.change, &news.remote, worker) == 0) {
        return false;
    }
    if (news.change == DISC_CHANGE_CAME || news.change == DISC_CHANGE_CHANGED) {
        const DISCRemote *const now = DISCParticipant_findRemote(
            self->discovery, DISCRemote_getPrefix(news.remote), &news.status, worker);

        news.hasStatus = now != nullptr;
        DISCRemote_release(now);
    }
    return true;
}

void tell(DDS_DomainParticipant *self, const NewsItem &news) {
    constexpr const char *LOG_METHOD = "DDS_DomainParticipantListener_on_participant_discovered";
    DDS_ParticipantBuiltinTopicData data = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_INITIALIZER;

    if (!DDS_ParticipantBuiltinTopicData_from_remoteI(
            &data, news.remote, news.hasStatus ? &news.status : nullptr, self->domainId)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s,
                       "data of a participant that was discovered");
        return;
    }
    {
        const CallbackMark mark;

        self->listener.on_participant_discovered(self->listener.listener_data, self, &data,
                                                 to_public(news.change));
    }
    DDS_ParticipantBuiltinTopicData_finalize(&data);
}

/**
 * Asks the discovery of an enabled participant, which nobody deletes meanwhile.
 * @param what what there may be no memory for.
 */
template <typename Operation>
DDS_ReturnCode_t ask(const char *LOG_METHOD, DDS_DomainParticipant *self, const char *what,
                     Operation operation) {
    if (DDS_DomainParticipantFactory_isForkedI(LOG_METHOD)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    CallWorker worker(self->resources.workerFactory);
    const reda::ExclusiveAreaGuard lock(self->ea, worker.get());

    if (!self->isEnabled) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                    "the participant is not enabled: it discovers nobody");
        return DDS_RETCODE_NOT_ENABLED;
    }
    const DDS_ReturnCode_t result = operation(self->discovery, worker.get());

    if (result == DDS_RETCODE_OUT_OF_RESOURCES) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, what);
    }
    return result;
}

/** The participants that one knows, as many as there are. */
class KnownPrefixes {
public:
    KnownPrefixes() = default;
    ~KnownPrefixes() {
        NUVOsapiHeap_freeArray(buffer_);
    }
    KnownPrefixes(const KnownPrefixes &) = delete;
    KnownPrefixes &operator=(const KnownPrefixes &) = delete;

    /** False when memory runs out. */
    bool list(DISCParticipant *discovery, REDAWorker *worker) {
        NUV_UINT32 room = 0;

        /* Others may come meanwhile; as many as there can be are not many doublings away. */
        while ((count_ = DISCParticipant_listRemotes(discovery, buffer_, room, worker)) > room) {
            room = std::max(count_, 2 * room);
            NUVOsapiHeap_freeArray(buffer_);
            buffer_ = nullptr;
            if (!NUVOsapiHeap_allocateArray(&buffer_, room, struct NUVOsapiRtpsGuidPrefix)) {
                return false;
            }
        }
        return true;
    }

    DDS_Long count() const {
        return static_cast<DDS_Long>(count_);
    }
    const NUVOsapiRtpsGuidPrefix *operator[](DDS_Long i) const {
        return &buffer_[i];
    }

private:
    NUVOsapiRtpsGuidPrefix *buffer_ = nullptr;
    NUV_UINT32 count_ = 0;
};

/** Says that a handle names no participant that is known. */
DDS_ReturnCode_t refuse_unknown(const char *LOG_METHOD, const DDS_InstanceHandle_t &handle) {
    char text[2 * sizeof(handle.value) + 1];

    for (size_t i = 0; i < sizeof(handle.value); ++i) {
        NUVOsapiUtility_snprintf(&text[2 * i], 3, "%02x", handle.value[i]);
    }
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                "handle is %s: no participant of that GUID is known", text);
    return DDS_RETCODE_PRECONDITION_NOT_MET;
}

} // namespace

int DDS_DomainParticipant_start_discoveryI(DDS_DomainParticipant *self, REDAWorker *worker) {
    constexpr const char *LOG_METHOD = "DDS_DomainParticipantFactory_create_participant";
    const DISCParticipantListener listener = {
        [](void *param) {
            auto *const participant = static_cast<DDS_DomainParticipant *>(param);

            NUVNetioRuntime_postCallback(participant->resources.runtime,
                                         &participant->discoveryCallback);
        },
        self};
    const DiscoverySettings settings(self->qos, self->domainId);

    if (DDS_DomainParticipant_check_announcementI(self, &self->qos, LOG_METHOD) != DDS_RETCODE_OK) {
        return 0;
    }
    self->discovery = DISCParticipant_new(
        self->resources.discovery, self->presentation.participant, settings.get(),
        self->listener.on_participant_discovered != nullptr ? &listener : nullptr, worker);
    if (self->discovery == nullptr) {
        return 0;
    }
    if (!set_peers(self->discovery, self->qos.discovery, LOG_METHOD, worker)) {
        (void)DDS_DomainParticipant_stop_discoveryI(self, worker);
        return 0;
    }
    return 1;
}

int DDS_DomainParticipant_stop_discoveryI(DDS_DomainParticipant *self, REDAWorker *worker) {
    if (DISCParticipant_delete(self->discovery, worker) == 0) {
        return 0;
    }
    self->discovery = nullptr;
    return 1;
}

int DDS_DomainParticipant_set_peersI(DDS_DomainParticipant *self,
                                     const DDS_DiscoveryQosPolicy *discovery, REDAWorker *worker) {
    return set_peers(self->discovery, *discovery, "DDS_DomainParticipant_set_qos", worker) ? 1 : 0;
}

void DDS_DomainParticipant_set_leaseI(DDS_DomainParticipant *self,
                                      const DDS_DiscoveryConfigQosPolicy *config,
                                      REDAWorker *worker) {
    NUVNtpTime lease;
    NUVNtpTime period;

    DDS_Duration_to_ntp_time(&config->lease_duration, &lease);
    DDS_Duration_to_ntp_time(&config->announcement_period, &period);
    DISCParticipant_setLease(self->discovery, &lease, &period, worker);
}

DDS_ReturnCode_t DDS_DomainParticipant_check_announcementI(const DDS_DomainParticipant *self,
                                                           const DDS_DomainParticipantQos *qos,
                                                           const char *LOG_METHOD) {
    const DiscoverySettings settings(*qos, self->domainId);
    AnnouncedProperty property;

    if (settings.get()->announces == 0) {
        return DDS_RETCODE_OK;
    }
    const DDS_ReturnCode_t result = property.take(*qos);
    const size_t whole = property.measure(settings);

    if (result != DDS_RETCODE_OK || whole <= DISC_ANNOUNCEMENT_SIZE_MAX) {
        return result;
    }
    /* All else that is of variable length has no more than some hundred characters. */
    const size_t userData = property.user_data_octets();
    const size_t properties = property.property_octets();
    const size_t longest = std::max(userData, properties);

    if (userData == longest) {
        property.leave_out_user_data();
    } else {
        property.leave_out_properties();
    }
    const size_t rest = property.measure(settings);

    /* It is out of memory that the answer is impossible, too. */
    if (rest == RTPS_SIZE_IMPOSSIBLE ||
        (whole == RTPS_SIZE_IMPOSSIBLE && rest + longest <= DISC_ANNOUNCEMENT_SIZE_MAX)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "announcement");
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE,
                "%s takes %zu octets of what the participant announces; allowed are at most %zu, "
                "which all else leaves",
                userData == longest ? "user_data.value" : "property.value",
                whole != RTPS_SIZE_IMPOSSIBLE ? whole - rest : longest,
                DISC_ANNOUNCEMENT_SIZE_MAX - std::min<size_t>(rest, DISC_ANNOUNCEMENT_SIZE_MAX));
    return DDS_RETCODE_INCONSISTENT_POLICY;
}

void DDS_DomainParticipant_on_discoveredI(void *param, REDAWorker *worker) {
    auto *const self = static_cast<DDS_DomainParticipant *>(param);
    NewsItem news = {};

    if (!take_news(self, news, worker)) {
        return;
    }
    /* One at a time: in between the callbacks of others have their turn. */
    NUVNetioRuntime_postCallback(self->resources.runtime, &self->discoveryCallback);
    tell(self, news);
    DISCRemote_release(news.remote);
}

DDS_ReturnCode_t DDS_DomainParticipant_get_discovered_participants(DDS_DomainParticipant *self,
                                                                   DDS_InstanceHandleSeq *handles) {
    constexpr const char *LOG_METHOD = "DDS_DomainParticipant_get_discovered_participants";

    if (DDSLog_isNull(self) || DDSLog_isNull(handles)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return ask(LOG_METHOD, self, "handles", [=](DISCParticipant *discovery, REDAWorker *worker) {
        KnownPrefixes known;

        if (!known.list(discovery, worker) ||
            !DDS_InstanceHandleSeq_ensure_length(handles, known.count(), known.count())) {
            return DDS_RETCODE_OUT_OF_RESOURCES;
        }
        for (DDS_Long i = 0; i < known.count(); ++i) {
            DDS_InstanceHandle_from_prefixI(&handles->_buffer[i], known[i]);
        }
        return DDS_RETCODE_OK;
    });
}

DDS_ReturnCode_t
DDS_DomainParticipant_get_discovered_participant_data(DDS_DomainParticipant *self,
                                                      DDS_ParticipantBuiltinTopicData *data,
                                                      const DDS_InstanceHandle_t *handle) {
    constexpr const char *LOG_METHOD = "DDS_DomainParticipant_get_discovered_participant_data";

    if (DDSLog_isNull(self) || DDSLog_isNull(data) || DDSLog_isNull(handle)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return ask(LOG_METHOD, self, "data of a participant",
               [=](DISCParticipant *discovery, REDAWorker *worker) {
                   NUVOsapiRtpsGuidPrefix prefix;
                   DISCRemoteStatus status;
                   const DISCRemote *const remote =
                       DDS_InstanceHandle_to_prefixI(handle, &prefix) != 0
                           ? DISCParticipant_findRemote(discovery, &prefix, &status, worker)
                           : nullptr;

                   if (remote == nullptr) {
                       return refuse_unknown(LOG_METHOD, *handle);
                   }
                   const int isTaken = DDS_ParticipantBuiltinTopicData_from_remoteI(
                       data, remote, &status, self->domainId);

                   DISCRemote_release(remote);
                   if (isTaken == 0) {
                       return DDS_RETCODE_OUT_OF_RESOURCES;
                   }
                   return DDS_RETCODE_OK;
               });
}

DDS_ReturnCode_t DDS_DomainParticipant_ignore_participant(DDS_DomainParticipant *self,
                                                          const DDS_InstanceHandle_t *handle) {
    constexpr const char *LOG_METHOD = "DDS_DomainParticipant_ignore_participant";
    NUVOsapiRtpsGuidPrefix prefix;

    if (DDSLog_isNull(self) || DDSLog_isNull(handle)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_InstanceHandle_to_prefixI(handle, &prefix) == 0) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "handle: allowed is the GUID of a participant");
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return ask(LOG_METHOD, self, "participants to ignore",
               [=](DISCParticipant *discovery, REDAWorker *worker) {
                   if (DISCParticipant_ignore(discovery, &prefix, worker) == 0) {
                       return DDS_RETCODE_OUT_OF_RESOURCES;
                   }
                   return DDS_RETCODE_OK;
               });
}

DDS_ReturnCode_t DDS_DomainParticipant_wait_for_participants(DDS_DomainParticipant *self,
                                                             DDS_Long count,
                                                             const DDS_Duration_t *timeout) {
    constexpr const char *LOG_METHOD = "DDS_DomainParticipant_wait_for_participants";

    if (DDSLog_isNull(self) || DDSLog_isNull(timeout)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (count < 0) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "count is %d: allowed are 0 and more", count);
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (!DDS_Duration_is_valid(timeout) || DDS_Duration_is_infinite(timeout)) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "timeout is %d s and %u ns: allowed is 0 or more, not infinite, with at most "
                    "999999999 ns",
                    timeout->sec, timeout->nanosec);
        return DDS_RETCODE_BAD_PARAMETER;
    }
    DISCParticipant *discovery = nullptr;
    const DDS_ReturnCode_t result =
        ask(LOG_METHOD, self, "", [&](DISCParticipant *its, REDAWorker *) {
            discovery = its; // which lives as long as this call
            return DDS_RETCODE_OK;
        });

    if (result != DDS_RETCODE_OK) {
        return result;
    }
    if (DDS_DomainParticipantResources_isCallbackThreadI(&self->resources)) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                    "nobody can wait for participants within a listener");
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    CallWorker worker(self->resources.workerFactory);
    NUVNtpTime time;

    DDS_Duration_to_ntp_time(timeout, &time);
    return DISCParticipant_waitForRemotes(discovery, static_cast<NUV_UINT32>(count), &time,
                                          worker.get()) != 0
               ? DDS_RETCODE_OK
               : DDS_RETCODE_TIMEOUT;
}

DDS_ReturnCode_t DDS_DomainParticipant_assert_liveliness(DDS_DomainParticipant *self) {
    if (DDSLog_isNull(self)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return ask(__func__, self, "", [](DISCParticipant *discovery, REDAWorker *worker) {
        DISCParticipant_assertLiveliness(discovery, worker);
        return DDS_RETCODE_OK;
    });
}

DDS_ReturnCode_t
DDS_DomainParticipant_get_discovery_statistics(DDS_DomainParticipant *self,
                                               DDS_DiscoveryStatistics *statistics) {
    if (DDSLog_isNull(self) || DDSLog_isNull(statistics)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return ask(__func__, self, "", [=](DISCParticipant *discovery, REDAWorker *worker) {
        DISCStatistics now;

        DISCParticipant_getStatistics(discovery, &now, worker);
        DDS_DiscoveryStatistics_from_discI(statistics, &now);
        return DDS_RETCODE_OK;
    });
}
