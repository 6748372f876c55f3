// SPDX-License-Identifier: Apache-2.0
#include "application.h"

#include <stdexcept>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "domain/DomainParticipantFactory_internal.h"

namespace ddssim {

namespace {

DDS_Duration_t duration_of(simnet::Time time) {
    return {static_cast<DDS_Long>(time / simnet::SECOND),
            static_cast<DDS_UnsignedLong>(time % simnet::SECOND)};
}

void check(bool is_well) {
    if (!is_well) {
        throw std::runtime_error("no memory for a QoS");
    }
}

/** A process that acts on what comes within once or twice its reaction. */
simnet::ProcessProperty property_of(const Scenario &scenario) {
    simnet::ProcessProperty property;

    property.reaction = scenario.reaction;
    property.reactionMax = 2 * scenario.reaction;
    property.receiveTime = scenario.receive_time;
    return property;
}

/** "host1" is the host's address; any other peer is as it is. */
void add_peer(std::vector<std::string> &peers, const Scenario &scenario, const std::string &peer) {
    for (std::int64_t host = 1; host <= scenario.hosts; ++host) {
        if (peer == "all" || host_of_peer(peer) == host) {
            peers.push_back(address_of(host));
        }
    }
    if (peer != "all" && !host_of_peer(peer)) {
        peers.push_back(peer);
    }
}

} // namespace

/** The QoS that a scenario's participants have. */
class Qos {
public:
    Qos(const Scenario &scenario, const simnet::Host &host, std::int64_t number);
    ~Qos();
    Qos(const Qos &) = delete;
    Qos &operator=(const Qos &) = delete;

    const DDS_DomainParticipantQos *get() const {
        return &qos_;
    }

private:
    void add_property(const std::string &name, const std::string &value, bool propagates);

    DDS_DomainParticipantQos qos_ = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
};

std::string address_of(std::int64_t host) {
    constexpr std::int64_t OF_EACH = 250;

    return "10.0." + std::to_string((host - 1) / OF_EACH) + "." +
           std::to_string((host - 1) % OF_EACH + 1);
}

Qos::Qos(const Scenario &scenario, const simnet::Host &host, std::int64_t number) {
    std::vector<std::string> peers;

    check(DDS_DomainParticipantQos_initialize(&qos_) == DDS_RETCODE_OK);
    qos_.discovery_config.lease_duration = duration_of(scenario.lease);
    qos_.discovery_config.announcement_period = duration_of(scenario.period);
    qos_.discovery_config.initial_announcements =
        static_cast<DDS_Long>(scenario.initial_announcements);
    qos_.discovery_config.initial_announcement_period = duration_of(scenario.initial_period);
    for (const std::string &peer : scenario.peers) {
        add_peer(peers, scenario, peer);
    }
    if (!peers.empty()) {
        const auto count = static_cast<DDS_Long>(peers.size());

        check(DDS_StringSeq_ensure_length(&qos_.discovery.initial_peers, count, count));
        for (DDS_Long i = 0; i < count; ++i) {
            check(DDS_String_replace(DDS_StringSeq_get_reference(&qos_.discovery.initial_peers, i),
                                     peers[static_cast<std::size_t>(i)].c_str()));
        }
        add_property("dds.discovery.max_peer_index", std::to_string(scenario.participants - 1),
                     false);
    }
    // What it says of its process by itself would be of this one, and another each time.
    add_property("dds.discovery.announce_process", "false", false);
    add_property("__Pid", std::to_string(number), true);
    add_property("__ProcessName", "process" + std::to_string(number), true);
    add_property("__Hostname", host.name(), true);
}

Qos::~Qos() {
    (void)DDS_DomainParticipantQos_finalize(&qos_);
}

void Qos::add_property(const std::string &name, const std::string &value, bool propagates) {
    check(DDS_PropertyQosPolicyHelper_add_property(
              &qos_.property, name.c_str(), value.c_str(),
              propagates ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE) == DDS_RETCODE_OK);
}

Application::Application(simnet::Host &host, const Scenario &scenario, std::int64_t number,
                         Acquaintance &acquaintance)
    : process_(host.add_process("process" + std::to_string(number), property_of(scenario))),
      acquaintance_(acquaintance) {
    const Qos qos(scenario, host, number);
    const NUVNetioRuntimeProperty property = process_.runtime_property();

    factory_ = process_.call([&] { return DDS_DomainParticipantFactory_newI(&property); });
    check(factory_ != nullptr);
    for (std::int64_t i = 0; i < scenario.participants_of_process(number); ++i) {
        add(qos);
    }
}

void Application::add(const Qos &qos) {
    Participant &one = participants_.emplace_back();
    const DDS_DomainParticipantListener listener = {&one, nullptr, nullptr, on_discovered};
    DDS_GUID_t guid{};

    one.application = this;
    one.participant = process_.call([&] {
        return DDS_DomainParticipantFactory_create_participant(factory_, 0, qos.get(), &listener,
                                                               DDS_STATUS_MASK_NONE);
    });
    if (one.participant == nullptr) {
        participants_.pop_back();
        throw std::runtime_error("no participant in " + process_.name() + " of " +
                                 process_.host().name());
    }
    (void)DDS_DomainParticipant_get_guid(one.participant, &guid);
    one.number = acquaintance_.add(process_.host().world().now(), guid);
    for (const auto &[other, change] : std::exchange(one.early, {})) {
        acquaintance_.note(process_.host().world().now(), *one.number, other, change);
    }
}

void Application::on_discovered(void *data, DDS_DomainParticipant * /*participant*/,
                                const DDS_ParticipantBuiltinTopicData *other,
                                DDS_DiscoveredParticipantChange change) {
    auto &one = *static_cast<Participant *>(data);
    Application &self = *one.application;

    if (one.number) {
        self.acquaintance_.note(self.process_.host().world().now(), *one.number, other->guid,
                                change);
    } else {
        one.early.emplace_back(other->guid, change);
    }
}

/** Nobody is there any more. */
void Application::forget() {
    for (Participant &one : participants_) {
        if (one.number) {
            acquaintance_.remove(process_.host().world().now(), *one.number);
            one.number.reset();
        }
    }
}

void Application::remove_all() {
    if (factory_ == nullptr) {
        return;
    }
    for (const Participant &one : participants_) {
        (void)DDS_DomainParticipantFactory_delete_participant(factory_, one.participant);
    }
    (void)DDS_DomainParticipantFactory_deleteI(factory_);
    factory_ = nullptr;
    participants_.clear();
}

void Application::leave(simnet::Action then) {
    process_.at(process_.host().world().now(), [this, then = std::move(then)] {
        forget();
        remove_all();
        then();
    });
}

void Application::kill() {
    forget();
    process_.kill();
}

Application::~Application() {
    process_.kill();
    process_.call([this] { remove_all(); });
}

} // namespace ddssim
