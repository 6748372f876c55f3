// SPDX-License-Identifier: Apache-2.0
#include "simulation.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <deque>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>

#include "application.h"
#include "dds_c/dds_c_logger.h"
#include "osapi/osapi_heap.h"
#include "settings.h"

namespace ddssim {

namespace {

constexpr simnet::Time WITHOUT_END = 60 * simnet::SECOND;

/** The library's first error; else it is silent. */
class FirstError {
public:
    FirstError() {
        KOLS_Config_Logger *const logger = KOLS_Config_Logger_get_instance();

        KOLS_Config_Logger_set_output_device(
            logger,
            [](void *self, const KOLS_Config_LogRecord *record) {
                std::string &text = static_cast<FirstError *>(self)->text_;

                text = text.empty() ? record->text : text;
            },
            this);
        KOLS_Config_Logger_set_verbosity(logger, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    }
    ~FirstError() {
        KOLS_Config_Logger_set_output_device(KOLS_Config_Logger_get_instance(), nullptr, nullptr);
    }
    FirstError(const FirstError &) = delete;
    FirstError &operator=(const FirstError &) = delete;

    const std::string &text() const {
        return text_;
    }

private:
    std::string text_;
};

/** So that two wires, one after the other, make the share what it is. */
double of_one_wire(double share) {
    return 1 - std::sqrt(1 - share);
}

/** Of one of the two wires between two hosts. */
simnet::LinkProperty property_of(const LinkSettings &between) {
    simnet::LinkProperty link;

    link.delay = between.delay / 2;
    link.jitter = between.jitter / 2;
    link.loss = of_one_wire(between.loss);
    link.lossBurst = between.burst;
    link.duplication = of_one_wire(between.duplication);
    link.reordering = of_one_wire(between.reordering);
    link.bandwidth = between.bandwidth;
    return link;
}

simnet::SegmentProperty property_of_switch(const Scenario &scenario) {
    simnet::SegmentProperty property;

    property.multicast = scenario.multicast;
    property.hasQuerier = scenario.querier;
    return property;
}

/** A host with all that its participants have been, and are to be. */
struct Station {
    simnet::Host *host = nullptr;
    simnet::Interface *interface = nullptr;
    std::vector<Occurrence> occurrences;                    // what happens to it
    std::vector<std::unique_ptr<Application>> applications; // by number; null: not there
    std::vector<bool> is_wanted;                            // by number
    bool is_down = false;                                   // it has stopped, or sleeps
    bool has_stopped = false;
};

/** Whether it has participants be there, or be gone. */
bool is_of_presence(Incident incident) {
    return incident == Incident::STOP || kind_of(incident).is_of_processes;
}

class Simulation {
public:
    Simulation(const Scenario &scenario, std::int64_t seed, const Supervision &supervision);
    ~Simulation();
    Simulation(const Simulation &) = delete;
    Simulation &operator=(const Simulation &) = delete;

    Result run();

private:
    void add_host(std::int64_t number);
    Station &station_of(std::int64_t host);
    static bool starts_by_itself(const Station &station, std::int64_t process);
    void plan(simnet::Time time, simnet::Action action);
    void plan_start();
    void plan_events();
    void happen(const Event &event, std::int64_t host);
    void end(const Event &event, std::int64_t host);
    void start_wanted(Station &station);
    void want(Station &station, const Event &event, bool is_wanted);
    void leave(Station &station, const Event &event);
    void kill(Station &station, const Event &event);
    void wake(Station &station);
    void move(Station &station);
    void part();
    void set_link(Station &station, const LinkSettings &link) const;
    bool is_done() const;
    std::size_t later_events() const;
    void kill_all();
    std::uint64_t heap_of_those_there();
    Result result(simnet::Time until);

    const Scenario &scenario_;
    const Supervision &supervision_;
    simnet::World world_;
    simnet::Segment &lan_;
    Acquaintance acquaintance_;
    Traffic traffic_;
    std::deque<Station> stations_;
    std::vector<std::unique_ptr<Application>> former_; // whose processes may have to end yet
    std::map<const Event *, std::set<std::int64_t>> parted_;
    std::int64_t addresses_;
    simnet::Time started_ = 0;
    simnet::Time last_planned_ = 0;
    std::int64_t to_start_ = 0; // processes that start by themselves and have not
    std::int64_t to_come_ = 0;  // of all that was planned
    std::string failure_;
};

Simulation::Simulation(const Scenario &scenario, std::int64_t seed, const Supervision &supervision)
    : scenario_(scenario), supervision_(supervision), world_(static_cast<NUV_UINT64>(seed)),
      lan_(world_.add_segment("lan", property_of_switch(scenario))), traffic_(supervision.capture),
      addresses_(scenario.hosts) {
    for (std::int64_t number = 1; number <= scenario.hosts; ++number) {
        add_host(number);
    }
    world_.tap(&traffic_);
    for (const Occurrence &one : occurrences_of(scenario)) {
        station_of(one.host).occurrences.push_back(one);
    }
    plan_start();
    plan_events();
}

Simulation::~Simulation() {
    kill_all();
}

/** Whoever takes longer than others to end would be seen to by those who are there still. */
void Simulation::kill_all() {
    for (Station &station : stations_) {
        for (const std::unique_ptr<simnet::Process> &process : station.host->processes()) {
            process->kill();
        }
    }
}

/** Without what nobody has given back that was killed. Nothing happens in the world after that. */
std::uint64_t Simulation::heap_of_those_there() {
    NUVOsapiHeapStatistics heap{};

    kill_all();
    former_.clear();
    NUVOsapiHeap_getStatistics(&heap);
    return heap.liveBytes;
}

Station &Simulation::station_of(std::int64_t host) {
    return stations_[static_cast<std::size_t>(host - 1)];
}

void Simulation::add_host(std::int64_t number) {
    Station &added = stations_.emplace_back();
    simnet::HostProperty property;

    property.receiveBuffer = static_cast<NUV_UINT32>(scenario_.receive_buffer);
    added.host = &world_.add_host("host" + std::to_string(number), property);
    added.interface = &added.host->add_interface("eth0", &lan_, {address_of(number) + "/16"},
                                                 property_of(scenario_.link));
    added.applications.resize(static_cast<std::size_t>(scenario_.processes()));
    added.is_wanted.resize(static_cast<std::size_t>(scenario_.processes()));
    traffic_.add_host(*added.interface);
}

/** Unless an event starts it that comes before any that ends it. */
bool Simulation::starts_by_itself(const Station &station, std::int64_t process) {
    const Occurrence *first = nullptr;

    for (const Occurrence &one : station.occurrences) {
        if (is_of_presence(one.event->incident) && one.event->concerns_process(process) &&
            (first == nullptr || one.at < first->at)) {
            first = &one;
        }
    }
    return first == nullptr || first->event->incident != Incident::START;
}

/** What is planned has to have happened before all is over. */
void Simulation::plan(simnet::Time time, simnet::Action action) {
    last_planned_ = std::max(last_planned_, time);
    ++to_come_;
    world_.at(time, [this, action = std::move(action)] {
        --to_come_;
        action();
    });
}

void Simulation::plan_start() {
    for (Station &station : stations_) {
        for (std::int64_t process = 1; process <= scenario_.processes(); ++process) {
            if (!starts_by_itself(station, process)) {
                continue;
            }
            const simnet::Time time = world_.random().between(0, scenario_.start_spread);

            started_ = std::max(started_, time);
            ++to_start_;
            plan(time, [this, &station, process] {
                --to_start_;
                station.is_wanted[static_cast<std::size_t>(process - 1)] = true;
                start_wanted(station);
            });
        }
    }
}

void Simulation::plan_events() {
    for (const Occurrence &one : occurrences_of(scenario_)) {
        plan(one.at, [this, one] { happen(*one.event, one.host); });
        if (one.event->duration) {
            plan(one.end(), [this, one] { end(*one.event, one.host); });
        }
    }
}

void Simulation::start_wanted(Station &station) {
    for (std::size_t i = 0; i < station.applications.size() && !station.is_down; ++i) {
        if (!station.is_wanted[i] || station.applications[i] != nullptr || !failure_.empty()) {
            continue;
        }
        try {
            station.applications[i] = std::make_unique<Application>(
                *station.host, scenario_, static_cast<std::int64_t>(i) + 1, acquaintance_);
        } catch (const std::exception &error) {
            failure_ = error.what(); // the library may be on the stack: nothing may be thrown
        }
    }
}

void Simulation::want(Station &station, const Event &event, bool is_wanted) {
    for (std::size_t i = 0; i < station.is_wanted.size(); ++i) {
        if (event.concerns_process(static_cast<std::int64_t>(i) + 1)) {
            station.is_wanted[i] = is_wanted;
        }
    }
}

void Simulation::leave(Station &station, const Event &event) {
    want(station, event, false);
    for (std::size_t i = 0; i < station.applications.size(); ++i) {
        if (!station.is_wanted[i] && station.applications[i] != nullptr) {
            ++to_come_; // it may take its time to get to it
            station.applications[i]->leave([this] { --to_come_; });
            former_.push_back(std::move(station.applications[i]));
        }
    }
}

void Simulation::kill(Station &station, const Event &event) {
    want(station, event, false);
    for (std::size_t i = 0; i < station.applications.size(); ++i) {
        if (!station.is_wanted[i] && station.applications[i] != nullptr) {
            station.applications[i]->kill();
            former_.push_back(std::move(station.applications[i]));
        }
    }
}

void Simulation::wake(Station &station) {
    if (station.is_down) {
        station.host->wake();
    }
    station.is_down = false;
    station.has_stopped = false;
    start_wanted(station);
}

/** Nobody had it before. */
void Simulation::move(Station &station) {
    station.interface->set_addresses({address_of(++addresses_) + "/16"});
}

/** As all partitions together have it that there are. */
void Simulation::part() {
    lan_.heal();
    for (const auto &[event, hosts] : parted_) {
        std::vector<simnet::Station *> side;

        for (const std::int64_t host : hosts) {
            simnet::Interface *const one = station_of(host).interface;

            if (one->segment() != nullptr) {
                side.push_back(one);
            }
        }
        if (!side.empty()) {
            lan_.part(side);
        }
    }
}

void Simulation::set_link(Station &station, const LinkSettings &link) const {
    station.interface->set_link(property_of(link));
}

void Simulation::happen(const Event &event, std::int64_t host) {
    Station &station = station_of(host);

    switch (event.incident) {
    case Incident::START:
        want(station, event, true);
        if (station.has_stopped) {
            wake(station);
        }
        start_wanted(station);
        break;
    case Incident::STOP: {
        Event all = event;

        all.processes.clear();
        kill(station, all);
        if (!station.is_down) {
            station.host->crash();
        }
        station.is_down = station.has_stopped = true;
        break;
    }
    case Incident::FREEZE:
        station.host->freeze();
        break;
    case Incident::SLEEP:
        if (!station.is_down) {
            station.host->suspend();
        }
        station.is_down = true;
        break;
    case Incident::LEAVE:
        leave(station, event);
        break;
    case Incident::KILL:
        kill(station, event);
        break;
    case Incident::PARTITION:
        parted_[&event].insert(host);
        part();
        break;
    case Incident::UNPLUG:
        station.interface->move_to(nullptr);
        break;
    case Incident::FORGET:
        lan_.restart(0);
        break;
    case Incident::MOVE:
        move(station);
        break;
    case Incident::LINK: {
        Scenario changed = scenario_;

        for (const auto &[key, value] : event.link) {
            find_setting(key)->set(changed, value);
        }
        set_link(station, changed.link);
        break;
    }
    }
}

void Simulation::end(const Event &event, std::int64_t host) {
    Station &station = station_of(host);

    switch (event.incident) {
    case Incident::STOP:
        want(station, {}, true);
        wake(station);
        break;
    case Incident::FREEZE:
        station.host->thaw();
        break;
    case Incident::SLEEP:
        if (!station.has_stopped) {
            wake(station);
        }
        break;
    case Incident::LEAVE:
    case Incident::KILL:
        want(station, event, true);
        start_wanted(station);
        break;
    case Incident::PARTITION:
        parted_[&event].erase(host);
        part();
        break;
    case Incident::UNPLUG:
        station.interface->move_to(&lan_);
        part();
        break;
    case Incident::LINK:
        set_link(station, scenario_.link);
        break;
    case Incident::START:
    case Incident::FORGET:
    case Incident::MOVE:
        break; // they have no end
    }
}

/** When nobody has said how long it is to go on: all has happened, and all know all. */
bool Simulation::is_done() const {
    return scenario_.duration == 0 && to_come_ == 0 && acquaintance_.now().is_complete();
}

std::size_t Simulation::later_events() const {
    std::set<const Event *> later;

    for (const Station &station : stations_) {
        for (const Occurrence &one : station.occurrences) {
            if (one.at > world_.now()) {
                later.insert(one.event);
            }
        }
    }
    return later.size();
}

/** What goes on being sent when much of what the start has brought about is over. */
void add_later(Result &result, const std::vector<Amount> &by_second) {
    const auto end = static_cast<std::size_t>(result.duration / simnet::SECOND);
    const std::size_t begin = (end + 1) / 2;

    result.later_seconds = end - begin;
    for (std::size_t second = begin; second < std::min(end, by_second.size()); ++second) {
        result.sent_later += by_second[second];
    }
}

LinkUse use_of(const simnet::Link &link) {
    return {link.packets_in(), link.octets_in(), link.octets_out()};
}

double processor_seconds() {
    timespec time{};

    (void)clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) +
           static_cast<double>(time.tv_nsec) / static_cast<double>(simnet::SECOND);
}

/** Of this program: getrusage would tell of whoever has started it as well. */
std::uint64_t resident_peak() {
    constexpr std::uint64_t KIB = 1024;
    std::ifstream status("/proc/self/status");
    std::uint64_t peak = 0;

    for (std::string word; status >> word && word != "VmHWM:";) {}
    status >> peak;
    return peak * KIB;
}

Result Simulation::result(simnet::Time until) {
    Result result;

    result.seed = static_cast<std::int64_t>(world_.seed());
    result.duration = world_.now();
    result.is_over = world_.now() >= until || is_done();
    result.started = started_;
    if (to_start_ == 0) {
        result.all_known = acquaintance_.complete_since(started_);
    }
    result.curve = acquaintance_.curve();
    result.end = acquaintance_.now();
    result.participants = acquaintance_.count();
    result.lost_living = acquaintance_.lost_living();
    result.sent = traffic_.total();
    result.sent_altogether = world_.trace().count(simnet::Event::SENT);
    result.received = world_.trace().count(simnet::Event::RECEIVED);
    for (int i = 0; i < static_cast<int>(simnet::Drop::DROPS); ++i) {
        const auto reason = static_cast<simnet::Drop>(i);

        if (world_.trace().dropped(reason) != 0) {
            result.drops.push_back({simnet::to_text(reason), world_.trace().dropped(reason)});
        }
    }
    result.later_events = later_events();
    for (std::size_t second = 0; second < traffic_.by_second().size(); ++second) {
        if (traffic_.by_second()[second].octets > result.busiest.octets) {
            result.busiest = traffic_.by_second()[second];
            result.busiest_second = second;
        }
    }
    add_later(result, traffic_.by_second());
    for (std::size_t i = 0; i < stations_.size(); ++i) {
        const Station &station = stations_[i];

        result.hosts.push_back({station.host->name(), traffic_.by_host()[i],
                                use_of(station.interface->to_segment),
                                use_of(station.interface->from_segment)});
    }
    result.resident_peak = resident_peak();
    result.hash = world_.trace().digest();
    result.heap = heap_of_those_there();
    return result;
}

Result Simulation::run() {
    const simnet::Time until =
        scenario_.duration != 0 ? scenario_.duration : last_planned_ + WITHOUT_END;
    const auto has_ended = [this] {
        return !failure_.empty() || is_done() ||
               !supervision_.goes_on({world_.now(), acquaintance_.now().share()});
    };

    (void)world_.run_until(until, has_ended);
    if (!failure_.empty()) {
        throw std::runtime_error(failure_);
    }
    return result(until);
}

} // namespace

Result simulate(const Scenario &scenario, std::int64_t seed, const Supervision &supervision) {
    const FirstError error;
    const double begin = processor_seconds();

    try {
        Simulation simulation(scenario, seed, supervision);
        Result result = simulation.run();

        result.processor_seconds = processor_seconds() - begin;
        return result;
    } catch (const std::runtime_error &failure) {
        throw std::runtime_error(error.text().empty()
                                     ? failure.what()
                                     : std::string(failure.what()) + ": " + error.text());
    }
}

} // namespace ddssim
