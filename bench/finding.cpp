// SPDX-License-Identifier: Apache-2.0
// Participants of two hosts, and of many processes of one host, beside programs that do no more
// than tell each other that they are there.
#include "finding.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bare_finder.h"
#include "child.h"
#include "countdown.h"
#include "figures.h"
#include "hosts.h"
#include "participants.h"

namespace bench {
namespace {

// ---- Two hosts

constexpr int TURNS = 500;
constexpr double GOAL_MEDIAN_MS = 0.5;
constexpr double GOAL_P99_MS = 5;
constexpr double ALLOWED_MEDIAN_MS = 2;
constexpr double ALLOWED_P99_MS = 20;

/** When one began, and when it knew the other. */
struct Found {
    double begun;
    double known;
};

/** The host whose participant is there already, then the same with the bare program. */
void be_found(Channel &parent) {
    BareFinder bare(plan_of_participant(EMPTY_DOMAIN));
    Countdown changes;
    const DDS_DomainParticipantListener listener = changes.listener_of_others();
    const Participant participant(DOMAIN, &listener);

    for (;;) {
        changes.start(1);
        parent.signal();
        parent.tell(changes.wait());
        changes.start(1);
        parent.signal();
        (void)changes.wait(); /* the other one has left */
        parent.signal();
        bare.find(1);
        bare.forget();
    }
}

/** The host whose participant comes later. */
void come_later(Channel &parent) {
    BareFinder bare(plan_of_participant(EMPTY_DOMAIN));
    Countdown changes;
    const DDS_DomainParticipantListener listener = changes.listener_of_others();
    const Participant keeps_all_threads(EMPTY_DOMAIN, &listener);

    for (;;) {
        Found found = {};
        {
            parent.wait();
            changes.start(1);
            found.begun = seconds_now();
            const Participant participant(DOMAIN, &listener);
            found.known = changes.wait();
            parent.tell(found);
            parent.wait();
        }
        parent.wait();
        found.begun = seconds_now();
        bare.announce();
        bare.find(1);
        found.known = seconds_now();
        bare.forget();
        parent.tell(found);
    }
}

void measure_hosts(Hosts &hosts) {
    Series found, bare;

    for (int i = 0; i < TURNS; ++i) {
        hosts.first().wait();
        hosts.second().signal();
        const Found later = hosts.second().hear<Found>();

        found.add(std::max(later.known, hosts.first().hear<double>()) - later.begun);
        hosts.first().wait();
        hosts.second().signal();
        hosts.first().wait();
        hosts.second().signal();
        const Found told = hosts.second().hear<Found>();

        bare.add(told.known - told.begun);
    }
    set_row({.what = "two hosts, from creating the later one until both are known, in the middle",
             .value = MILLISECONDS * found.median(),
             .unit = "ms",
             .goal = GOAL_MEDIAN_MS,
             .allowed = ALLOWED_MEDIAN_MS});
    set_row({.what = "the same, 99th percentile",
             .value = MILLISECONDS * found.percentile(99),
             .unit = "ms",
             .goal = GOAL_P99_MS,
             .allowed = ALLOWED_P99_MS});
    set_row({.what = "two datagrams between two bare programs there, in the middle",
             .value = MILLISECONDS * bare.median(),
             .unit = "ms"});
    set_row({.what = "the same, 99th percentile, bare",
             .value = MILLISECONDS * bare.percentile(99),
             .unit = "ms"});
}

// ---- Many processes

constexpr int ROUNDS = 3;
constexpr double GOAL_MANY_SECONDS = 3;
constexpr double ALLOWED_MANY_SECONDS = 10;

/** Seconds from the start of the first process until the last one has found all others. */
template <typename Find>
double seconds_until_all_are_found(int count, Find find) {
    const double begin = seconds_now();
    std::vector<Child> children;
    double end = begin;

    children.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        children.emplace_back([&](Channel &parent) {
            find(count, [&parent] {
                parent.tell(seconds_now());
                parent.wait(); /* it stays there until all are found */
            });
        });
    }
    for (Child &child : children) {
        end = std::max(end, child.channel().hear<double>());
    }
    return end - begin;
}

template <typename Done>
void find_as_participant(int count, Done done) {
    const Participant participant(DOMAIN);

    participant.wait_until_it_knows(count - 1);
    done();
}

SocketPlan plan_without_threads() {
    SocketPlan plan = plan_of_participant(DOMAIN);

    (void)DDS_DomainParticipantFactory_finalize_instance();
    return plan;
}

void measure_processes() {
    const SocketPlan plan = plan_without_threads();

    for (const int count : {2, 10, 50, MANY}) {
        Series found, bare;

        for (int i = 0; i < ROUNDS; ++i) {
            found.add(seconds_until_all_are_found(
                count, [](int all, auto done) { find_as_participant(all, done); }));
            bare.add(seconds_until_all_are_found(count, [&plan](int all, auto done) {
                BareFinder finder(plan, all);

                finder.announce();
                finder.find(static_cast<std::size_t>(all - 1));
                done();
            }));
        }
        const std::string what = std::to_string(count) + " processes of one host, all know all";
        Row row = {.what = what, .value = found.median(), .unit = "s"};

        if (count == MANY) {
            row.goal = GOAL_MANY_SECONDS;
            row.allowed = ALLOWED_MANY_SECONDS;
        }
        set_row(row);
        set_row({.what = what + ", bare programs", .value = bare.median(), .unit = "s"});
    }
}

} // namespace

void measure_finding() {
    std::optional<Hosts> hosts;

    try {
        hosts.emplace(be_found, come_later);
    } catch (const std::exception &error) {
        std::cout << "two hosts: skipped, " << error.what() << std::endl;
    }
    if (hosts) {
        measure_hosts(*hosts);
    }
    hosts.reset();
    measure_processes();
}

} // namespace bench
