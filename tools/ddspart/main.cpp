// SPDX-License-Identifier: Apache-2.0
// ddspart: joins a DDS domain, shows its participants, their ports or who holds these, or looks for
// what keeps them apart.
//
// Data goes to stdout, messages to stderr. The exit code is 0 when all is done, 1 when it could not
// be done, 2 for wrong usage, 3 when there are findings.
#include <exception>
#include <string>

#include "commands.h"
#include "log.h"
#include "options.h"
#include "output.h"
#include "signals.h"
#include "streams.h"

namespace {

int perform(const Answer &answer) {
    if (answer.exit_code == 0) {
        write_data(answer.text);
    } else {
        write_message(answer.text);
    }
    return answer.exit_code;
}

template <class Options>
int perform_logged(const Options &options, KOLS_Config_LogVerbosity shown) {
    Log log(shown);

    try {
        return execute(options);
    } catch (const LoggedFailure &failure) {
        log.explain(failure);
        return 1;
    }
}

int perform(const RunOptions &options) {
    return perform_logged(options, options.verbosity);
}

int perform(const ListOptions &options) {
    return perform_logged(options, options.verbosity);
}

int perform(const WhoOptions &options) {
    return perform_logged(options, options.verbosity);
}

int perform(const PortsOptions &options) {
    return perform_logged(options, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
}

int perform(const WhyOptions &options) {
    return perform_logged(options, KOLS_CONFIG_LOG_VERBOSITY_SILENT);
}

int perform(const DoctorOptions &options) {
    return perform_logged(options, KOLS_CONFIG_LOG_VERBOSITY_SILENT);
}

} // namespace

int main(int argc, char **argv) {
    try {
        occupy_closed_streams();
        const Signals signals;

        return std::visit([](const auto &command) { return perform(command); },
                          parse_command_line(argc, argv));
    } catch (const std::exception &error) {
        write_message(std::string("ddspart: ") + error.what());
        return 1;
    }
}
