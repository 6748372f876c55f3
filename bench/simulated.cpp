// SPDX-License-Identifier: Apache-2.0
// A thousand participants on 250 simulated hosts, in virtual time.
#include "simulated.h"

#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/resource.h>

#include "child.h"
#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "domain/DomainParticipantFactory_internal.h"
#include "figures.h"
#include "participants.h"
#include "process.h"
#include "simnet/simnet_world.h"

namespace bench {
namespace {

constexpr int HOSTS = 250;
constexpr int PROCESSES = 4; // of each, with a participant each
constexpr double ALLOWED_SECONDS = 5;
constexpr double ALLOWED_MIB = 512;
constexpr double KIB_PER_MIB = 1024;

/* Each finds each: from when the last was created, while that share of datagrams is lost. */
constexpr double LOSS = 0.1;
constexpr double ALLOWED_SIMULATED_SECONDS = 3;
constexpr double ALLOWED_FINDING_SECONDS = 60;
constexpr double ALLOWED_FINDING_MIB = 1024;

struct Simulated {
    double seconds;
    double peak_mib; /**< resident memory of the whole process */
    std::uint64_t hash;
};

/** Of participants that say nothing of themselves. */
class QuietQos {
public:
    QuietQos() {
        if (DDS_DomainParticipantQos_initialize(&qos_) != DDS_RETCODE_OK ||
            DDS_PropertyQosPolicyHelper_add_property(&qos_.property, "dds.discovery.announce", "no",
                                                     DDS_BOOLEAN_FALSE) != DDS_RETCODE_OK) {
            throw std::runtime_error("no memory for a QoS");
        }
    }
    ~QuietQos() {
        (void)DDS_DomainParticipantQos_finalize(&qos_);
    }
    QuietQos(const QuietQos &) = delete;
    QuietQos &operator=(const QuietQos &) = delete;

    const DDS_DomainParticipantQos *get() const {
        return &qos_;
    }

private:
    DDS_DomainParticipantQos qos_ = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
};

/** Of participants that announce themselves to the group alone, and only at first. */
class GroupQos {
public:
    GroupQos() {
        if (DDS_DomainParticipantQos_initialize(&qos_) != DDS_RETCODE_OK ||
            !DDS_StringSeq_ensure_length(&qos_.discovery.initial_peers, 1, 1) ||
            !DDS_String_replace(DDS_StringSeq_get_reference(&qos_.discovery.initial_peers, 0),
                                "239.255.0.1")) {
            throw std::runtime_error("no memory for a QoS");
        }
        qos_.discovery_config.lease_duration = {4000, 0};
        qos_.discovery_config.announcement_period = {1000, 0};
    }
    ~GroupQos() {
        (void)DDS_DomainParticipantQos_finalize(&qos_);
    }
    GroupQos(const GroupQos &) = delete;
    GroupQos &operator=(const GroupQos &) = delete;

    const DDS_DomainParticipantQos *get() const {
        return &qos_;
    }

private:
    DDS_DomainParticipantQos qos_ = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
};

/** A process with one participant. */
class Application {
public:
    Application(simnet::Host &host, const std::string &name, const DDS_DomainParticipantQos *qos)
        : process_(host.add_process(name)) {
        const NUVNetioRuntimeProperty property = process_.runtime_property();

        process_.call([&] {
            factory_ = DDS_DomainParticipantFactory_newI(&property);
            participant_ = DDS_DomainParticipantFactory_create_participant(
                factory_, 0, qos, nullptr, DDS_STATUS_MASK_NONE);
        });
        if (DDS_DomainParticipant_get_participant_index(participant_) < 0) {
            throw std::runtime_error("a simulated participant has no index");
        }
    }
    ~Application() {
        process_.call([this] {
            (void)DDS_DomainParticipantFactory_delete_participant(factory_, participant_);
            (void)DDS_DomainParticipantFactory_deleteI(factory_);
        });
    }
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    /** Nobody hears of its end. */
    void kill() {
        process_.kill();
    }
    std::uint64_t known() {
        DDS_DiscoveryStatistics statistics;

        return process_.call([&] {
            return DDS_DomainParticipant_get_discovery_statistics(participant_, &statistics) ==
                           DDS_RETCODE_OK
                       ? statistics.known
                       : 0;
        });
    }

private:
    simnet::Process &process_;
    DDS_DomainParticipantFactory *factory_ = nullptr;
    DDS_DomainParticipant *participant_ = nullptr;
};

/** A world full of applications. */
class Building {
public:
    Building(std::uint64_t seed, const simnet::LinkProperty &link) : world(seed), link_(link) {}
    /** @param pause the longest time between two that are started */
    void fill(const DDS_DomainParticipantQos *qos, simnet::Time pause) {
        for (int i = 0; i < HOSTS; ++i) {
            const std::string number = std::to_string(i + 1);
            simnet::Host &host = world.add_host("host " + number);

            host.add_interface("eth0", &lan_, {"192.0.2." + number + "/24"}, link_);
            for (int k = 0; k < PROCESSES; ++k) {
                applications.push_back(
                    std::make_unique<Application>(host, "process " + std::to_string(k + 1), qos));
                world.run_for(world.random().between(0, pause));
            }
        }
    }

    simnet::World world;
    std::vector<std::unique_ptr<Application>> applications;

private:
    const simnet::LinkProperty link_;
    simnet::Segment &lan_ = world.add_segment("lan");
};

double peak_mib() {
    rusage usage{};

    (void)getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / KIB_PER_MIB;
}

Simulated simulate(std::uint64_t seed) {
    Simulated result{};
    const QuietQos quiet;

    result.seconds = seconds_of([&] {
        Building building(seed, {});

        building.fill(quiet.get(), simnet::MILLISECOND);
        building.applications.clear();
        result.hash = building.world.trace().hash();
    });
    result.peak_mib = peak_mib();
    return result;
}

struct Found {
    double simulated_seconds; /**< until each knew each */
    double seconds;           /**< of the processor, until then */
    double peak_mib;
    std::uint64_t missing; /**< discoveries, when the time was up */
};

Found find_each_other(std::uint64_t seed) {
    constexpr simnet::Time LOOK_PERIOD = 20 * simnet::MILLISECOND;
    constexpr std::uint64_t ALL = HOSTS * PROCESSES;
    simnet::LinkProperty link;
    link.loss = 1 - std::sqrt(1 - LOSS); // there are two between two hosts
    Building building(seed, link);
    Found result{};

    building.fill(DDS_PARTICIPANT_QOS_DEFAULT, 0);
    const simnet::Time begin = building.world.now();
    do {
        building.world.run_for(LOOK_PERIOD);
        result.simulated_seconds =
            static_cast<double>(building.world.now() - begin) / simnet::SECOND;
        result.missing = ALL * (ALL - 1);
        for (const auto &application : building.applications) {
            result.missing -= application->known();
        }
    } while (result.missing != 0 && result.simulated_seconds < ALLOWED_SIMULATED_SECONDS);
    result.seconds = processor_seconds();
    result.peak_mib = peak_mib();
    for (const auto &application : building.applications) {
        application->kill();
    }
    return result;
}

/** How many datagrams are sent when one joins so many others, each on a host of its own. */
std::uint64_t join(int count) {
    constexpr simnet::Time UNTIL_QUIET = 5 * simnet::SECOND;
    const GroupQos qos;
    simnet::World world(7);
    simnet::Segment &lan = world.add_segment("lan");
    std::vector<std::unique_ptr<Application>> applications;
    const auto add = [&] {
        const std::string number = std::to_string(applications.size() + 1);
        simnet::Host &host = world.add_host("host " + number);

        host.add_interface("eth0", &lan, {"192.0.2." + number + "/24"});
        applications.push_back(std::make_unique<Application>(host, "process", qos.get()));
    };

    for (int i = 0; i < count; ++i) {
        add();
    }
    world.run_for(UNTIL_QUIET);
    const std::uint64_t before = world.trace().count(simnet::Event::SENT);

    add();
    world.run_for(UNTIL_QUIET);
    if (applications.back()->known() != static_cast<std::uint64_t>(count)) {
        throw std::runtime_error("a simulated participant does not know all others");
    }
    return world.trace().count(simnet::Event::SENT) - before;
}

void measure_joining() {
    constexpr double ANNOUNCEMENTS = 1 + 5; // the first one, and the initial ones

    for (const int count : {10, 50, 200}) {
        const std::string what = "datagrams when one joins " + std::to_string(count);

        set_row({.what = what,
                 .value = static_cast<double>(in_child(join, count)),
                 .allowed = ANNOUNCEMENTS + 4 * count});
        set_row({.what = what + ", where it says once that it is there and is answered",
                 .value = 1.0 + count});
    }
}

} // namespace

void measure_simulated() {
    measure_joining();
    const Simulated first = in_child(simulate, std::uint64_t{7});
    const Simulated again = in_child(simulate, std::uint64_t{7});
    const Simulated other = in_child(simulate, std::uint64_t{8});
    std::array<char, 64> hashes{};

    if (first.hash != again.hash || first.hash == other.hash) {
        throw std::runtime_error("what is simulated does not follow from its seed");
    }
    std::snprintf(hashes.data(), hashes.size(), "%016" PRIx64 ", %016" PRIx64, first.hash,
                  other.hash);
    std::cout << "simulated: hashes of seeds 7 and 8: " << hashes.data() << std::endl;
    set_row({.what = "1,000 participants on 250 simulated hosts up and down",
             .value = first.seconds,
             .unit = "s",
             .allowed = ALLOWED_SECONDS});
    set_row({.what = "memory resident of the process at most",
             .value = first.peak_mib,
             .unit = "MiB",
             .allowed = ALLOWED_MIB});

    const Found found = in_child(find_each_other, std::uint64_t{7});

    set_row({.what = "1,000 find each other, a tenth lost, simulated time",
             .value = found.simulated_seconds,
             .unit = "s",
             .allowed = ALLOWED_SIMULATED_SECONDS});
    set_row({.what = "of 999,000 discoveries missing then",
             .value = static_cast<double>(found.missing),
             .allowed = 0});
    set_row({.what = "processor time for that",
             .value = found.seconds,
             .unit = "s",
             .allowed = ALLOWED_FINDING_SECONDS});
    set_row({.what = "memory resident for that at most",
             .value = found.peak_mib,
             .unit = "MiB",
             .allowed = ALLOWED_FINDING_MIB});
}

} // namespace bench
