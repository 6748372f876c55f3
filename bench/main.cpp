// SPDX-License-Identifier: Apache-2.0
// Runs the benchmarks in a network of their own and closes with the table of ratios.
#include <benchmark/benchmark.h>

#include <exception>
#include <iostream>
#include <regex>
#include <string>

#include <unistd.h>

#include "figures.h"
#include "finding.h"
#include "keeping.h"
#include "participants.h"
#include "process.h"
#include "simulated.h"
#include "standing.h"

namespace bench {
namespace {

/** What is measured in child processes, before there are threads. */
struct Measurement {
    const char *name;
    void (*measure)();
};

constexpr Measurement MEASUREMENTS[] = {
    {"finding", measure_finding},
    {"keeping", measure_keeping},
    {"simulated", measure_simulated},
};

/** Whether the filter of benchmarks lets something of this name pass. */
bool is_asked_for(const std::string &name) {
    const std::string filter = benchmark::GetBenchmarkFilter();
    const bool excludes = filter.starts_with('-');

    return filter.empty() ||
           std::regex_search(name, std::regex(filter.substr(excludes ? 1 : 0))) != excludes;
}

/** Whatever needs a process with one thread: the library starts its own with the first
 * participant. */
void prepare() {
    const bool is_private = enter_private_network();

    std::cout << (is_private ? "network: private namespace, loopback only"
                             : "network: the host's own; no private namespace is allowed here")
              << "\ncpu: " << cpu_model() << std::endl;
    raise_file_limit();
    measure_standing();
    for (const Measurement &each : MEASUREMENTS) {
        if (is_asked_for(each.name)) {
            each.measure();
        }
    }
}

int run(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    prepare();
    {
        /* The factory is warm from here on. */
        const Participant first(DOMAIN);
    }
    benchmark::ConsoleReporter reporter(isatty(STDOUT_FILENO)
                                            ? benchmark::ConsoleReporter::OO_ColorTabular
                                            : benchmark::ConsoleReporter::OO_Tabular);

    benchmark::RunSpecifiedBenchmarks(&reporter);
    print_rows(std::cout);
    benchmark::Shutdown();
    const bool is_finalized = DDS_DomainParticipantFactory_finalize_instance() == DDS_RETCODE_OK;

    return is_finalized && is_every_limit_met() ? 0 : 1;
}

} // namespace

} // namespace bench

int main(int argc, char **argv) {
    try {
        return bench::run(argc, argv);
    } catch (const std::exception &error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
