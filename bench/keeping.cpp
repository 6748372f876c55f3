// SPDX-License-Identifier: Apache-2.0
#include "keeping.h"

#include <chrono>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bare_sockets.h"
#include "child.h"
#include "figures.h"
#include "participants.h"
#include "process.h"
#include "stranger.h"
#include "system_calls.h"

namespace bench {
namespace {

using std::chrono::milliseconds;

// ---- Memory

constexpr int STRANGERS = 512;
constexpr double KIB = 1024;
constexpr double GOAL_KIB = 1;
constexpr double ALLOWED_KIB = 2;

/** For each of those that are known. */
struct Known {
    double heap;     /**< bytes of the library's heap */
    double resident; /**< bytes that are resident */
    double own;      /**< bytes of what it says of itself */
};

Known know_strangers(int count) {
    const std::vector<Participant> participants = make_participants(count);
    const Stranger stranger(DOMAIN);
    const double heap = heap_bytes();
    const double resident = resident_bytes();
    double own = 0;

    for (unsigned i = 0; i < STRANGERS; ++i) {
        stranger.say(stranger.announcement(i));
        own += static_cast<double>(stranger.data_size(i));
        std::this_thread::sleep_for(milliseconds(1)); /* a socket has no room for them all */
    }
    participants.back().wait_until_it_knows(count - 1 + STRANGERS);
    return {(heap_bytes() - heap) / STRANGERS, (resident_bytes() - resident) / STRANGERS,
            own / STRANGERS};
}

void measure_memory() {
    for (const int count : {1, MANY}) {
        const Known known = in_child(know_strangers, count);
        const std::string what = "memory for each one that is known to " + std::to_string(count);

        set_row({.what = what + ", beside what it says of itself",
                 .value = (known.heap - known.own) / KIB,
                 .unit = "KiB",
                 .goal = GOAL_KIB,
                 .allowed = ALLOWED_KIB});
        set_row({.what = what + ", what it says", .value = known.own / KIB, .unit = "KiB"});
        set_row(
            {.what = what + ", resident altogether", .value = known.resident / KIB, .unit = "KiB"});
    }
}

// ---- Time

constexpr double PERCENT = 100;
constexpr double GOAL_PERCENT = 0.5;
constexpr double ALLOWED_PERCENT = 5;

/** Two periods of announcements. */
constexpr std::chrono::seconds IDLE(8);

struct Idle {
    double seconds;      /**< of the processor, while nothing happened */
    double bare_seconds; /**< of a program that sends and receives as many datagrams */
};

std::uint64_t announced(const std::vector<Participant> &participants) {
    std::uint64_t sum = 0;

    for (const Participant &each : participants) {
        sum += each.statistics().announcements_sent;
    }
    return sum;
}

/** To the group, over loopback, and back. */
double send_and_receive(std::uint64_t count) {
    const Sockets receiver = open_sockets(plan_of_participant(EMPTY_DOMAIN));
    const Stranger sender(EMPTY_DOMAIN);
    const std::vector<std::uint8_t> message = sender.announcement(1);
    std::vector<char> buffer(65'536);
    const double begin = processor_seconds();

    for (std::uint64_t i = 0; i < count; ++i) {
        sender.say(message);
        (void)recv(receiver.front().get(), buffer.data(), buffer.size(), 0);
    }
    return processor_seconds() - begin;
}

Idle idle(int count) {
    std::optional<std::vector<Participant>> participants = make_participants(count);

    std::this_thread::sleep_for(std::chrono::seconds(1)); /* the first announcements are over */
    const std::uint64_t announced_before = announced(*participants);
    const double begin = processor_seconds();

    std::this_thread::sleep_for(IDLE);
    const double seconds = processor_seconds() - begin;
    const std::uint64_t count_of_datagrams = announced(*participants) - announced_before;

    participants.reset();
    return {seconds, send_and_receive(count_of_datagrams)};
}

void measure_idleness() {
    const Idle measured = in_child(idle, MANY);
    const std::string what = std::to_string(MANY) + " participants of one process idle";
    const double duration = std::chrono::duration<double>(IDLE).count();

    set_row({.what = what + ", of one processor",
             .value = PERCENT * measured.seconds / duration,
             .unit = "%",
             .goal = GOAL_PERCENT,
             .allowed = ALLOWED_PERCENT});
    set_row({.what = "as many datagrams sent and received by bare sockets",
             .value = PERCENT * measured.bare_seconds / duration,
             .unit = "%"});
}

// ---- System calls

constexpr int REPETITIONS = 200;
constexpr double ALLOWED_CALLS = 4; /* it waits, receives, finds no more, and sets a timer */

void measure_system_calls() {
    std::optional<Participant> participant;
    std::optional<Stranger> stranger;
    std::vector<std::uint8_t> message;
    const auto say = [&] {
        stranger->say(message);
        std::this_thread::sleep_for(milliseconds(1));
    };
    const std::uint64_t calls = count_system_calls(
        [&] {
            participant.emplace(DOMAIN);
            stranger.emplace(DOMAIN);
            message = stranger->announcement(1);
            say();
            participant->wait_until_it_knows(1);
            std::this_thread::sleep_for(std::chrono::seconds(1)); /* it is told, four times */
        },
        [&] {
            for (int i = 0; i < REPETITIONS; ++i) {
                say();
            }
        });

    set_row({.what = "known announcement, system calls",
             .value = static_cast<double>(calls) / REPETITIONS,
             .allowed = ALLOWED_CALLS});
}

} // namespace

void measure_keeping() {
    measure_memory();
    measure_idleness();
    try {
        measure_system_calls();
    } catch (const std::exception &error) {
        std::cout << "system calls: skipped, " << error.what() << std::endl;
    }
}

} // namespace bench
