// SPDX-License-Identifier: Apache-2.0
// What is asked of participants that stand there, beside its floor: time and allocations for each
// of them.
#include <benchmark/benchmark.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <ifaddrs.h>

#include "addresses.h"
#include "figures.h"
#include "participants.h"
#include "process.h"

namespace {

using namespace bench;

/**
 * An operation on participants of one process and domain, which live as long as the object. What
 * is not done throws.
 */
class Operation {
public:
    virtual ~Operation() = default;

    /** Before each round: what has to be so. */
    virtual void prepare() {}
    /** What is measured: every participant is asked once. */
    virtual void perform() = 0;
    /** The floor. */
    virtual void perform_bare() = 0;
    /** After each round. False when something came in between, so that it does not count. */
    virtual bool finish() {
        return true;
    }
};

void list_interfaces() {
    ifaddrs *interfaces = nullptr;

    if (getifaddrs(&interfaces) != 0) {
        throw std::system_error(errno, std::generic_category(), "getifaddrs");
    }
    freeifaddrs(interfaces);
}

class UpdateWithoutChange : public Operation {
public:
    explicit UpdateWithoutChange(int count) : participants_(make_participants(count)) {}

    void perform() override {
        for (const Participant &participant : participants_) {
            participant.update_locators();
        }
    }
    /** The question that each update saves. */
    void perform_bare() override {
        for (std::size_t i = 0; i < participants_.size(); ++i) {
            list_interfaces();
        }
    }

private:
    const std::vector<Participant> participants_;
};

class UpdateWithAddress : public Operation {
public:
    explicit UpdateWithAddress(int count) : participants_(make_participants(count)) {}

    void prepare() override {
        /* The reactor still lets settle what the last round did, and then acts on it. */
        std::this_thread::sleep_for(QUIET);
        added_ = Clock::now();
        address_.add();
        participants_.front().wait_for_reactor();
        list_interfaces(); /* or else the pause would cost the subject more than the floor */
    }
    void perform() override {
        for (const Participant &participant : participants_) {
            participant.update_locators();
        }
        updated_ = Clock::now();
    }
    /** The question that has to be asked once, however many participants there are. */
    void perform_bare() override {
        list_interfaces();
    }
    /** Some may have been updated by the reactor, if this thread had to wait for a processor. */
    bool finish() override {
        const bool is_complete = updated_ - added_ < SETTLE;

        address_.remove();
        participants_.front().wait_for_reactor();
        perform();
        return is_complete;
    }

private:
    using Clock = std::chrono::steady_clock;

    /** The middleware lets a burst of events settle for so long before it acts by itself. */
    static constexpr std::chrono::milliseconds SETTLE{20};
    static constexpr std::chrono::milliseconds QUIET{30};

    Clock::time_point added_;
    Clock::time_point updated_;
    SpareAddress address_;
    const std::vector<Participant> participants_;
};

/** A participant and the records that its QoS goes to and comes from. */
struct WithQos {
    explicit WithQos(int domain) : participant(domain) {
        participant.get_qos(running);
    }
    WithQos(WithQos &&) = default;

    Participant participant;
    Qos running;
    Qos got;
    Qos copied;
};

class QosOperation : public Operation {
public:
    explicit QosOperation(int count) {
        all_.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            all_.emplace_back(DOMAIN);
        }
    }

    void prepare() override {
        for (WithQos &each : all_) {
            each.got.clear();
            each.copied.clear();
        }
    }
    /** A deep copy of the record, which both getting and setting cannot do without. */
    void perform_bare() override {
        for (WithQos &each : all_) {
            each.copied.copy(each.running);
        }
    }

protected:
    std::vector<WithQos> all_;
};

class GetQos : public QosOperation {
public:
    using QosOperation::QosOperation;

    void perform() override {
        for (WithQos &each : all_) {
            each.participant.get_qos(each.got);
        }
    }
};

class SetQos : public QosOperation {
public:
    using QosOperation::QosOperation;

    void perform() override {
        for (const WithQos &each : all_) {
            each.participant.set_qos(each.running);
        }
    }
};

class SetUserData : public SetQos {
public:
    using SetQos::SetQos;

    void prepare() override {
        SetQos::prepare();
        ++first_octet_;
        for (WithQos &each : all_) {
            each.running.set_user_data(first_octet_);
        }
    }

private:
    DDS_Octet first_octet_ = 0;
};

/** What the rounds took, for one participant. */
struct Rounds {
    Series performed, bare, allocated;
};

/** One round that counts; seconds for all participants together. */
double take_round(Operation &operation, int count, Rounds &rounds) {
    constexpr int TRIES = 100;

    for (int i = 0; i < TRIES; ++i) {
        operation.prepare();
        const std::uint64_t before = allocations();
        const double performed = seconds_of([&] { operation.perform(); });
        const std::uint64_t after = allocations();
        const double bare = seconds_of([&] { operation.perform_bare(); });

        if (operation.finish()) {
            rounds.performed.add(performed / count);
            rounds.bare.add(bare / count);
            rounds.allocated.add(static_cast<double>(after - before) / count);
            return performed;
        }
    }
    throw std::runtime_error("no round went undisturbed");
}

template <typename Subject>
void measure(benchmark::State &state, const std::string &what, const std::string &floor) {
    const int count = static_cast<int>(state.range(0));
    Subject operation(count);
    Rounds rounds;

    for ([[maybe_unused]] auto iteration : state) {
        state.SetIterationTime(take_round(operation, count, rounds));
    }
    state.counters["each_us"] = MICROSECONDS * rounds.performed.median();
    state.counters["bare_us"] = MICROSECONDS * rounds.bare.median();
    state.counters["allocs"] = rounds.allocated.median();
    set_row({.what = what + ", " + std::to_string(count) +
                     (count == 1 ? " participant / " : " participants / ") + floor,
             .value = rounds.performed.median() / rounds.bare.median()});
}

void for_counts(benchmark::internal::Benchmark *benchmark) {
    for (const int count : {1, 100}) {
        benchmark->Arg(count);
    }
    benchmark->UseManualTime()->Unit(benchmark::kMicrosecond);
}

void locator_update_without_change(benchmark::State &state) {
    measure<UpdateWithoutChange>(state, "locator update, nothing changed", "getifaddrs");
}
BENCHMARK(locator_update_without_change)->Iterations(500)->Apply(for_counts);

void locator_update_with_address(benchmark::State &state) {
    if (!is_network_private()) {
        state.SkipWithError("it takes a private network, which is not allowed here");
        return;
    }
    measure<UpdateWithAddress>(state, "locator update, one address more", "one getifaddrs");
}
BENCHMARK(locator_update_with_address)->Iterations(40)->Apply(for_counts);

void get_qos(benchmark::State &state) {
    measure<GetQos>(state, "get_qos", "copied QoS");
}
BENCHMARK(get_qos)->Iterations(500)->Apply(for_counts);

void set_qos_without_change(benchmark::State &state) {
    measure<SetQos>(state, "set_qos, nothing changed", "copied QoS");
}
BENCHMARK(set_qos_without_change)->Iterations(500)->Apply(for_counts);

void set_qos_of_user_data(benchmark::State &state) {
    measure<SetUserData>(state, "set_qos, other user data", "copied QoS");
}
BENCHMARK(set_qos_of_user_data)->Iterations(500)->Apply(for_counts);

} // namespace
