// What the run of a participant waits for, as signals that are taken one after the other.
#pragma once

#include <chrono>
#include <csignal>
#include <optional>

/** Stands for news of the participant, which announce_news sends. */
constexpr int NEWS_SIGNAL = SIGUSR1;

/**
 * From here on SIGINT, SIGTERM and NEWS_SIGNAL are kept for wait_for_signal, in this thread and
 * those started by it, so that none can interrupt the joining or leaving of a domain. Writing to a
 * closed pipe fails instead of ending the process.
 */
void hold_signals();

/** From any thread. */
void announce_news();

using Moment = std::chrono::steady_clock::time_point;

/**
 * Waits until one of the signals has come, also before the call, or the time is up.
 * @return the signal, or 0.
 */
int wait_for_signal(std::optional<Moment> end);
