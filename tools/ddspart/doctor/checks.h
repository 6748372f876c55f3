// SPDX-License-Identifier: Apache-2.0
// The checks: what is looked for in what the host tells, and what is to be done about it.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "doctor/facts.h"
#include "doctor/finding.h"
#include "doctor/wishes.h"

namespace doctor {

/** What some checks are about: said when none of them has found anything. */
struct Subject {
    const char *text;
    /** Else it has not been looked at, and is neither well nor ill. */
    bool (*matters)(const Facts &facts, const Wishes &wishes);
};

/** A row of the one table of checks: of a finding without a row nobody would learn. */
struct Check {
    const char *id; // of its findings
    const Subject *subject;
    const char *meaning; // what has been found then, for the manual: a sentence
    /** Has no effect but its result, whose ids are not filled in. */
    std::vector<Finding> (*look)(const Facts &facts, const Wishes &wishes);
};

/** All of them, in the order in which findings are shown. */
std::span<const Check> checks();

struct Diagnosis {
    DDS_DomainId_t domain = 0;
    std::vector<Finding> findings;
    std::vector<std::string> well;   // the subjects without a finding
    std::vector<std::string> unseen; // what could not be looked at, and why
};

Diagnosis diagnose(const Facts &facts, const Wishes &wishes);

} // namespace doctor
