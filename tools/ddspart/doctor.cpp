// SPDX-License-Identifier: Apache-2.0
// ddspart doctor: what keeps a participant from finding others.
#include <optional>
#include <stdexcept>

#include "commands.h"
#include "doctor/checks.h"
#include "doctor/facts.h"
#include "doctor/wishes.h"
#include "log.h"
#include "output.h"
#include "participant.h"
#include "ports.h"
#include "table.h"

namespace {

constexpr int FINDINGS = 3;

/** What a participant with the options would ask for; throws when no participant can. */
doctor::Wishes wishes_of(const DoctorOptions &options) {
    const Factory factory;
    const Qos qos(factory, options);

    if (DDS_DomainParticipantQos_is_consistent(qos.get()) == DDS_BOOLEAN_FALSE) {
        throw LoggedFailure();
    }
    if (!highest_usable_index(options)) {
        throw std::runtime_error("domain " + std::to_string(options.domain) +
                                 " has no valid ports for any participant index");
    }
    return doctor::wishes_of(*qos.get(), options.domain);
}

} // namespace

int execute(const DoctorOptions &options) {
    const doctor::Wishes wishes = wishes_of(options);
    const doctor::Diagnosis diagnosis = doctor::diagnose(doctor::gather(wishes), wishes);
    const std::optional<std::size_t> width = options.json ? std::nullopt : terminal_columns();

    if (width) {
        write_data(wrapped(as_text(diagnosis), *width));
    } else {
        show(diagnosis, options.json);
    }
    return diagnosis.findings.empty() ? 0 : FINDINGS;
}
