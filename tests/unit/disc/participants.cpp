// SPDX-License-Identifier: Apache-2.0
// Participants on simulated hosts, and a stranger who says whatever a test wants.
#include "participants.h"

#include <array>

#include "netio/event_activeDatabase.h"

namespace sim {

namespace {

std::vector<std::string> texts_of(const RTPSLocators &list) {
    std::vector<std::string> texts;
    for (NUV_UINT32 i = 0; i < list.count; ++i) {
        texts.push_back(net::text(list.locators[i]));
    }
    return texts;
}

std::string text_of(const RTPSText &text) {
    return {text.text != nullptr ? text.text : "", text.length};
}

void add_locators(RTPSLocators *list, const std::vector<std::string> &texts) {
    for (const std::string &text : texts) {
        const NUVNetioLocator locator = net::locator(text.c_str());
        RTPSLocators_add(list, &locator, nullptr);
    }
}

/** Room for any message. */
class Message {
public:
    explicit Message(const Made &made) : octets_(65'000) {
        const RTPSHeader header = {RTPS_PROTOCOL_VERSION, RTPS_VENDOR_ID_UNKNOWN, made.prefix};
        RTPSMessageWriter_initialize(&writer, octets_.data(), octets_.size(), made.order, &header);
        if (made.directed_at) {
            const RTPSInfoDestination info = {*made.directed_at};
            EXPECT_NE(RTPSMessageWriter_addInfoDestination(&writer, &info), 0);
        }
    }
    std::string text() const {
        return {reinterpret_cast<const char *>(octets_.data()), writer.length};
    }

    RTPSMessageWriter writer{};

private:
    std::vector<NUV_UINT8> octets_;
};

void add_data(Message *message, const Made &made, RTPSData data) {
    const RTPSInfoTimestamp info = {made.timestamp};
    EXPECT_NE(RTPSMessageWriter_addInfoTimestamp(&message->writer, &info), 0);
    data.readerId = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_DETECTOR;
    data.writerId = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER;
    data.writerSN = made.sequence;
    EXPECT_NE(RTPSMessageWriter_addData(&message->writer, &data), 0);
}

} // namespace

Machine::Machine(Process &its_process)
    : process(its_process), workers(REDAWorkerFactory_new()),
      worker(REDAWorkerFactory_createWorker(workers, "test")),
      threads(NUVOsapiThreadFactory_new(nullptr)) {
    const NUVNetioRuntimeProperty property = process.runtime_property();
    runtime = process.call([&] { return NUVNetioRuntime_new(&property, threads, workers); });
    discovery = process.call([&] { return DISCDiscovery_new(runtime, worker); });
    EXPECT_NE(discovery, nullptr);
}

Machine::~Machine() {
    process.call([&] { DISCDiscovery_delete(discovery); });
    EXPECT_NE(process.call([&] { return NUVNetioRuntime_delete(runtime); }), 0);
    NUVOsapiThreadFactory_delete(threads);
    REDAWorkerFactory_destroyWorker(workers, worker);
    REDAWorkerFactory_delete(workers);
}

Party::Party(Machine &its_machine, const Settings &its_settings)
    : machine(its_machine), settings(its_settings) {
    call([&] {
        NUVNetioConfiguratorProperty transports = NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT;
        configurator_ = NUVNetioConfigurator_new(&transports, machine.runtime, machine.worker);
        table_ = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_TABLE, "table");
        record_ = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_RECORD, "record");
        NUVOsapiRtpsGuid_generate(&guid);
        const PRESParticipantProperty at_first = property();
        participant = PRESParticipant_new(
            &guid, configurator_, machine.workers,
            NUVNetioRuntime_getEventDatabase(machine.runtime), NUVClock_getMonotonic(),
            NUVClock_getRealtime(), table_, record_, nullptr, nullptr, nullptr, &at_first, nullptr,
            0, nullptr, machine.threads, machine.threads, machine.threads, machine.worker);
        EXPECT_NE(participant, nullptr);

        DISCParticipantProperty own = settings.property;
        own.domainTag = settings.tag.c_str();
        const NUV_INT32 domain_gain = 250 * settings.domain;
        own.builtinMulticastPort = 7400 + domain_gain;
        own.builtinUnicastPort = 7410 + domain_gain;
        const DISCParticipantListener listener = {[](void *self) {
                                                      const Settings &its =
                                                          static_cast<Party *>(self)->settings;
                                                      if (its.on_news) {
                                                          its.on_news();
                                                      }
                                                  },
                                                  this};
        discovery =
            DISCParticipant_new(machine.discovery, participant, &own,
                                settings.has_listener ? &listener : nullptr, machine.worker);
        EXPECT_NE(discovery, nullptr);
    });
    set_peers(settings.peers);
    call([&] {
        const PRESParticipantProperty enabled = property();
        const PRESParticipantParameter &parameter = enabled.parameter;
        reserve_unicast(parameter);
        if (settings.has_group) {
            reserve(parameter.metatrafficMulticastLocator.locatorList[0]);
        }
        const PRESSequenceTransportInfo none = {0, 0, nullptr};
        if (settings.before_enabling) {
            settings.before_enabling();
        }
        EXPECT_NE(PRESParticipant_enable(participant, nullptr, &parameter.defaultUnicastLocator,
                                         &parameter.metatrafficUnicastLocator,
                                         &parameter.metatrafficMulticastLocator, &none,
                                         machine.worker),
                  0);
    });
}

Party::~Party() {
    leave();
}

void Party::leave() {
    if (participant == nullptr) {
        return;
    }
    call([&] {
        int reason = 0;
        EXPECT_NE(PRESParticipant_shutdown(participant, &reason, machine.worker), 0);
        EXPECT_NE(DISCParticipant_delete(discovery, machine.worker), 0);
        EXPECT_NE(PRESParticipant_delete(participant, &reason, machine.worker), 0);
        NUVNetioConfigurator_delete(configurator_);
        REDAExclusiveArea_delete(table_);
        REDAExclusiveArea_delete(record_);
    });
    participant = nullptr;
}

void Party::reserve(const NUVNetioLocator &locator) {
    COMMENDFacade *const facade = PRESParticipant_getFacade(participant);
    NUVNetioLocatorInfo info = {locator, 0, {""}};
    REDAWeakReference reference = REDA_WEAK_REFERENCE_INVALID;
    EXPECT_NE(facade->addEntryport(facade, &reference, &info, machine.worker), 0);
}

void Party::reserve_unicast(const PRESParticipantParameter &parameter) {
    COMMENDFacade *const facade = PRESParticipant_getFacade(participant);
    for (const auto *policy :
         {&parameter.metatrafficUnicastLocator, &parameter.defaultUnicastLocator}) {
        for (NUV_INT32 i = 0; i < policy->count; ++i) {
            const NUVNetioLocator &locator = policy->locatorList[i];
            if (COMMENDFacade_hasEntryport(facade, &locator, machine.worker) == 0) {
                reserve(locator);
            }
        }
    }
}

/** As its settings have it; the views are its own. */
PRESParticipantProperty Party::property() {
    PRESParticipantProperty property = PARTICIPANT_PROPERTY_DEFAULT;
    PRESParticipantParameter &parameter = property.parameter;
    property.facadeProperty.parent.guidPrefix = guid.prefix;
    parameter.domainId = settings.domain;
    parameter.resourceLimits.userDataMaxLength = 65'000;
    parameter.userData._buffer = reinterpret_cast<NUV_UINT8 *>(settings.user_data.data());
    parameter.userData._length = static_cast<NUV_UINT32>(settings.user_data.size());
    parameter.userData._maximum = parameter.userData._length;
    parameter.entityName.hasName = settings.name.empty() ? 0 : 1;
    settings.name.copy(parameter.entityName.name, PRES_ENTITY_NAME_SIZE - 1);
    list_.clear();
    for (const auto &[name, value] : settings.propagated) {
        list_.push_back({name.c_str(), value.c_str(), 1});
    }
    parameter.propertyList.data = {static_cast<NUV_UINT32>(list_.size()),
                                   static_cast<NUV_UINT32>(list_.size()), list_.data()};

    const int builtin = 7410 + 250 * settings.domain + 2 * settings.index;
    std::array<NUVNetioLocator, 16> unicast;
    NUV_INT32 count = 0;
    if (settings.addresses.empty() && has_addresses) {
        count = NUVNetioConfigurator_getUnicastLocators(configurator_, nullptr, builtin, 0,
                                                        unicast.data(), 16);
    }
    for (const std::string &address : settings.addresses) {
        unicast[static_cast<std::size_t>(count++)] =
            net::locator((address + ":" + std::to_string(builtin)).c_str());
    }
    for (NUV_INT32 i = 0; i < count; ++i) {
        NUVNetioLocator locator = unicast[static_cast<std::size_t>(i)];
        parameter.metatrafficUnicastLocator.locatorList[i] = locator;
        locator.port += 1;
        parameter.defaultUnicastLocator.locatorList[i] = locator;
    }
    parameter.metatrafficUnicastLocator.count = count;
    parameter.defaultUnicastLocator.count = count;
    if (settings.has_group) {
        parameter.metatrafficMulticastLocator.count = 1;
        parameter.metatrafficMulticastLocator.locatorList[0] =
            net::locator(("239.255.0.1:" + std::to_string(7400 + 250 * settings.domain)).c_str());
    }
    return property;
}

std::size_t Party::count() {
    return DISCParticipant_listRemotes(discovery, nullptr, 0, machine.worker);
}

bool Party::knows(const NUVOsapiRtpsGuidPrefix &prefix) {
    const DISCRemote *const remote =
        DISCParticipant_findRemote(discovery, &prefix, nullptr, machine.worker);
    DISCRemote_release(remote);
    return remote != nullptr;
}

Seen Party::see(const NUVOsapiRtpsGuidPrefix &prefix) {
    Seen seen{};
    const DISCRemote *const remote = call([&] {
        return DISCParticipant_findRemote(discovery, &prefix, &seen.status, machine.worker);
    });
    if (remote == nullptr) {
        ADD_FAILURE() << "does not know it";
        return seen;
    }
    DISCRemote_read(remote, &seen.data);
    seen.name = text_of(seen.data.entityName);
    seen.tag = text_of(seen.data.domainTag);
    seen.user_data = {reinterpret_cast<const char *>(seen.data.userData.data),
                      seen.data.userData.length};
    seen.metatraffic = texts_of(seen.data.metatrafficUnicast);
    seen.unicast = texts_of(seen.data.defaultUnicast);
    seen.metatraffic_multicast = texts_of(seen.data.metatrafficMulticast);
    RTPSPropertyReader reader;
    RTPSPropertyReader_initialize(&reader, &seen.data.properties);
    for (RTPSProperty one; RTPSPropertyReader_next(&reader, &one) != 0;) {
        seen.properties.push_back(text_of(one.name) + "=" + text_of(one.value));
    }
    DISCRemote_release(remote);
    return seen;
}

std::optional<News> Party::take_news() {
    DISCChange change{};
    const DISCRemote *remote = nullptr;
    if (DISCParticipant_takeNews(discovery, &change, &remote, machine.worker) == 0) {
        return {};
    }
    RTPSParticipantData data;
    DISCRemote_read(remote, &data);
    const RTPSOctets &octets = data.userData;
    const News news = {change, data.guid.prefix,
                       std::string(reinterpret_cast<const char *>(octets.data), octets.length)};
    DISCRemote_release(remote);
    return news;
}

std::vector<std::string> Party::news() {
    static constexpr std::array<const char *, 4> WORDS = {"came", "changed", "left", "lost"};
    std::vector<std::string> all;
    while (const std::optional<News> one = take_news()) {
        all.emplace_back(WORDS.at(one->change));
    }
    return all;
}

DISCStatistics Party::statistics() {
    DISCStatistics statistics;
    DISCParticipant_getStatistics(discovery, &statistics, machine.worker);
    return statistics;
}

void Party::set_user_data(const std::string &text) {
    settings.user_data = text;
    EXPECT_TRUE(set_property());
}

bool Party::set_property() {
    return call([&] {
        int reason = 0;
        const PRESParticipantProperty changed = property();
        return PRESParticipant_setProperty(participant, &reason, &changed, machine.worker) != 0;
    });
}

void Party::set_addresses(const std::vector<std::string> &addresses) {
    settings.addresses = addresses;
    call([&] {
        (void)NUVNetioConfigurator_refreshInterfaces(configurator_, machine.worker);
        reserve_unicast(property().parameter);
    });
    set_user_data(settings.user_data);
}

void Party::set_peers(const std::vector<std::string> &texts) {
    const std::vector<NUVNetioPeer> peers = peers_of(texts);
    call([&] {
        EXPECT_NE(DISCParticipant_setPeers(discovery, peers.data(),
                                           static_cast<NUV_UINT32>(peers.size()), machine.worker),
                  0);
    });
}

bool Party::ignore(const NUVOsapiRtpsGuidPrefix &prefix) {
    return call([&] { return DISCParticipant_ignore(discovery, &prefix, machine.worker); }) != 0;
}

std::vector<NUVNetioPeer> peers_of(const std::vector<std::string> &texts) {
    std::vector<NUVNetioPeer> peers;
    for (const std::string &text : texts) {
        NUVNetioPeer peer;
        EXPECT_NE(NUVNetioPeer_parse(text.c_str(), &peer), 0) << text;
        peers.push_back(peer);
    }
    return peers;
}

std::string announcement(const Made &made) {
    RTPSParticipantData participant{};
    participant.protocolVersion = RTPS_PROTOCOL_VERSION;
    participant.guid = made.guid.value_or(NUVOsapiRtpsGuid{made.prefix, RTPS_ENTITYID_PARTICIPANT});
    participant.leaseDuration = made.lease;
    participant.availableBuiltinEndpoints = 3;
    participant.hasDomainId = made.domain ? 1 : 0;
    participant.domainId = static_cast<NUV_UINT32>(made.domain.value_or(0));
    participant.domainTag = {made.tag.c_str(), static_cast<NUV_UINT32>(made.tag.size())};
    participant.entityName = {made.name.c_str(), static_cast<NUV_UINT32>(made.name.size())};
    participant.userData = {reinterpret_cast<const NUV_UINT8 *>(made.user_data.data()),
                            made.user_data.size()};
    add_locators(&participant.metatrafficUnicast, made.metatraffic);
    add_locators(&participant.defaultUnicast, made.unicast);
    std::vector<NUV_UINT8> properties(1000);
    RTPSPropertyWriter writer;
    RTPSPropertyWriter_initialize(&writer, properties.data(), properties.size(), made.order);
    for (const auto &[name, value] : made.properties) {
        const RTPSProperty property = {{name.c_str(), static_cast<NUV_UINT32>(name.size())},
                                       {value.c_str(), static_cast<NUV_UINT32>(value.size())}};
        RTPSPropertyWriter_add(&writer, &property);
    }
    (void)RTPSPropertyWriter_finish(&writer, &participant.properties);
    std::vector<NUV_UINT8> payload(65'000);
    payload.resize(
        RTPSParticipantData_write(&participant, made.order, payload.data(), payload.size()));
    Message message(made);
    RTPSData data{};
    data.payloadKind = RTPS_PAYLOAD_DATA;
    data.payload = {payload.data(), payload.size()};
    add_data(&message, made, data);
    return message.text();
}

std::string leaving(const Made &made, bool has_key) {
    const NUVOsapiRtpsGuid guid =
        made.guid.value_or(NUVOsapiRtpsGuid{made.prefix, RTPS_ENTITYID_PARTICIPANT});
    RTPSInlineQos qos{};
    qos.hasKeyHash = has_key ? 0 : 1;
    RTPSGuid_toOctets(&guid, qos.keyHash);
    qos.statusInfo = RTPS_STATUS_INFO_DISPOSED | RTPS_STATUS_INFO_UNREGISTERED;
    std::array<NUV_UINT8, 64> inline_qos;
    std::array<NUV_UINT8, 64> key;
    RTPSData data{};
    data.inlineQos = {inline_qos.data(),
                      RTPSInlineQos_write(&qos, made.order, inline_qos.data(), inline_qos.size())};
    if (has_key) {
        data.payloadKind = RTPS_PAYLOAD_KEY;
        data.payload = {key.data(),
                        RTPSParticipantKey_write(&guid, made.order, key.data(), key.size())};
    }
    Message message(made);
    add_data(&message, made, data);
    return message.text();
}

std::string acknack(const Made &made, RTPSEntityId writer) {
    RTPSAckNack ask{};
    ask.readerId = writer + 5; // the builtin reader of a builtin writer
    ask.writerId = writer;
    ask.readerSNState.base = 1;
    ask.count = 1;
    Message message(made);
    EXPECT_NE(RTPSMessageWriter_addAckNack(&message.writer, &ask), 0);
    return message.text();
}

std::string heartbeat(const Made &made, RTPSEntityId writer) {
    RTPSHeartbeat beat{};
    beat.readerId = RTPS_ENTITYID_UNKNOWN;
    beat.writerId = writer;
    beat.firstSN = 1;
    beat.count = 1;
    Message message(made);
    EXPECT_NE(RTPSMessageWriter_addHeartbeat(&message.writer, &beat), 0);
    return message.text();
}

std::string kinds(const std::string &message) {
    RTPSMessageReader reader;
    RTPSHeader header;
    std::string out;
    RTPSMessageReader_initialize(
        &reader, {reinterpret_cast<const NUV_UINT8 *>(message.data()), message.size()}, &header);
    for (RTPSSubmessage submessage; RTPSMessageReader_next(&reader, &submessage) != 0;) {
        out += out.empty() ? "" : " ";
        switch (submessage.kind) {
        case RTPS_SUBMESSAGE_INFO_DST:
            out += "DST";
            break;
        case RTPS_SUBMESSAGE_INFO_TS:
            out += "TS";
            break;
        case RTPS_SUBMESSAGE_DATA: {
            RTPSData data{};
            EXPECT_EQ(RTPSData_read(&submessage, &data), RTPS_ACCEPTED);
            out += data.payloadKind == RTPS_PAYLOAD_DATA ? "DATA" : "LEAVING";
            break;
        }
        case RTPS_SUBMESSAGE_HEARTBEAT:
            out += "HEARTBEAT";
            break;
        case RTPS_SUBMESSAGE_ACKNACK:
            out += "ACKNACK";
            break;
        default:
            out += "OTHER";
        }
    }
    return out;
}

} // namespace sim
