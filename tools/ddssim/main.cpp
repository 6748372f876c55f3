// SPDX-License-Identifier: Apache-2.0
// ddssim: simulates participants on many hosts and shows how soon they know each other, and what
// that costs.
//
// Data goes to stdout, messages to stderr. The exit code is 0 when all is done, 1 when it could not
// be done or was ended by a signal, 2 for wrong usage, 3 when not all know all in the end.
#include <csignal>
#include <exception>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "interruption.h"
#include "options.h"
#include "progress.h"
#include "report.h"
#include "simnet/simnet_capture.h"
#include "streams.h"

namespace {

using namespace ddssim;

constexpr int FINDINGS = 3;

int perform(const Answer &answer) {
    if (answer.exit_code == 0) {
        write_data(answer.text);
    } else {
        write_message(answer.text);
    }
    return answer.exit_code;
}

Result simulate(const Options &options, std::int64_t seed, simnet::Capture *capture,
                ProgressLine &line) {
    Supervision supervision;

    supervision.capture = capture;
    supervision.goes_on = [&](const Progress &progress) {
        line.show(seed, progress);
        return interruption() == 0 && (capture == nullptr || !capture->has_failed());
    };
    Result result = ddssim::simulate(options.scenario, seed, supervision);

    line.clear();
    return result;
}

/** What ended it early, or what was found. */
int conclude(const std::vector<Result> &results, bool is_over) {
    bool are_complete = true;

    if (!is_over) {
        write_message(std::string("ddssim: ended by ") +
                      (interruption() == SIGINT ? "SIGINT" : "SIGTERM") +
                      "; what is shown is what there was by then");
        return 1;
    }
    for (const Result &result : results) {
        are_complete = are_complete && result.is_complete();
    }
    return are_complete ? 0 : FINDINGS;
}

int run_once(const Options &options) {
    ProgressLine line(options.scenario.duration);
    std::optional<simnet::Capture> capture;

    if (options.pcap) {
        capture.emplace(*options.pcap);
    }
    const Result result =
        simulate(options, options.seeds.least, capture ? &*capture : nullptr, line);

    if (capture) {
        capture->close();
    }
    write_data(options.json ? as_json(options.scenario, result)
                            : as_text(options.scenario, result));
    return conclude({result}, result.is_over);
}

int run_seeds(const Options &options) {
    ProgressLine line(options.scenario.duration);
    std::vector<Result> results;
    bool is_over = true;

    write_data(options.json ? scenario_as_json(options.scenario)
                            : heading_of_seeds(options.scenario));
    for (std::int64_t seed = options.seeds.least; seed <= options.seeds.most; ++seed) {
        Result result = simulate(options, seed, nullptr, line);

        is_over = result.is_over;
        if (!is_over) {
            break; // half a run is none to compare
        }
        write_data(options.json ? as_json_line(result) : as_line(result));
        result.curve.clear();
        result.hosts.clear();
        results.push_back(std::move(result));
    }
    write_data(options.json ? spread_as_json(results) : spread_as_text(results));
    return conclude(results, is_over);
}

int perform(const Options &options) {
    note_interruptions();
    return options.has_seeds ? run_seeds(options) : run_once(options);
}

} // namespace

int main(int argc, char **argv) {
    try {
        occupy_closed_streams();
        return std::visit([](const auto &command) { return perform(command); },
                          parse_command_line(argc, argv));
    } catch (const std::exception &error) {
        write_message(std::string("ddssim: ") + error.what());
        return 1;
    }
}
