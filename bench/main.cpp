// SPDX-License-Identifier: Apache-2.0
// Runs the benchmarks in a network of their own and closes with the table of ratios.
#include <benchmark/benchmark.h>

#include <exception>
#include <iostream>

#include <unistd.h>

#include "figures.h"
#include "participants.h"
#include "process.h"
#include "simulated.h"
#include "standing.h"

namespace bench {
namespace {

/** The usual report, with the table below it. */
class TableReporter : public benchmark::ConsoleReporter {
public:
    TableReporter() : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}

    void Finalize() override {
        print_rows(GetOutputStream());
    }
};

/** Whatever needs a process with one thread: the library starts its own with the first
 * participant. */
void prepare() {
    const bool is_private = enter_private_network();

    std::cout << (is_private ? "network: private namespace, loopback only"
                             : "network: the host's own; no private namespace is allowed here")
              << "\ncpu: " << cpu_model() << std::endl;
    raise_file_limit();
    measure_standing();
    measure_simulated();
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
    TableReporter reporter;

    benchmark::RunSpecifiedBenchmarks(&reporter);
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
