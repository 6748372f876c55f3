// SPDX-License-Identifier: Apache-2.0
// A thousand participants on 250 simulated hosts, in virtual time.
#include "simulated.h"

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/resource.h>

#include "child.h"
#include "domain/DomainParticipantFactory_internal.h"
#include "figures.h"
#include "participants.h"
#include "simnet/simnet_world.h"

namespace bench {
namespace {

constexpr int HOSTS = 250;
constexpr int PROCESSES = 4; // of each, with a participant each
constexpr double ALLOWED_SECONDS = 5;
constexpr double ALLOWED_MIB = 512;
constexpr double KIB_PER_MIB = 1024;

struct Simulated {
    double seconds;
    double peak_mib; /**< resident memory of the whole process */
    std::uint64_t hash;
};

/** A process with one participant. */
class Application {
public:
    Application(simnet::Host &host, const std::string &name) : process_(host.add_process(name)) {
        const NUVNetioRuntimeProperty property = process_.runtime_property();

        process_.call([&] {
            factory_ = DDS_DomainParticipantFactory_newI(&property);
            participant_ = DDS_DomainParticipantFactory_create_participant(
                factory_, 0, DDS_PARTICIPANT_QOS_DEFAULT, nullptr, DDS_STATUS_MASK_NONE);
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

private:
    simnet::Process &process_;
    DDS_DomainParticipantFactory *factory_ = nullptr;
    DDS_DomainParticipant *participant_ = nullptr;
};

Simulated simulate(std::uint64_t seed) {
    Simulated result{};
    rusage usage{};

    result.seconds = seconds_of([&] {
        simnet::World world(seed);
        simnet::Segment &lan = world.add_segment("lan");
        std::vector<std::unique_ptr<Application>> applications;

        for (int i = 0; i < HOSTS; ++i) {
            const std::string number = std::to_string(i + 1);
            simnet::Host &host = world.add_host("host " + number);

            host.add_interface("eth0", &lan, {"192.0.2." + number + "/24"});
            for (int k = 0; k < PROCESSES; ++k) {
                applications.push_back(
                    std::make_unique<Application>(host, "process " + std::to_string(k + 1)));
                world.run_for(world.random().between(0, simnet::MILLISECOND));
            }
        }
        applications.clear();
        result.hash = world.trace().hash();
    });
    (void)getrusage(RUSAGE_SELF, &usage);
    result.peak_mib = static_cast<double>(usage.ru_maxrss) / KIB_PER_MIB;
    return result;
}

} // namespace

void measure_simulated() {
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
}

} // namespace bench
