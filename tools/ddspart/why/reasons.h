// SPDX-License-Identifier: Apache-2.0
// Why two participants do not know each other: what is looked for, in which order, and what is to
// be done about it.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "why/facts.h"

namespace why {

/** Texts may have parts from outside: they are not yet fit for a terminal. */
struct Reason {
    std::string id;     // of the check that has found it, "other-domain" for one
    std::string cause;  // a sentence or more
    std::string remedy; // the same

    bool operator==(const Reason &) const = default;
};

/** A row of the one table of reasons. */
struct Check {
    const char *id;
    const char *meaning; // for the manual: a sentence
    /** Has no effect but its result, whose id is not filled in; none: the reason does not hold. */
    std::optional<Reason> (*look)(const Facts &facts);
};

/** All of them: the first one that holds is the reason. */
std::span<const Check> checks();

struct Verdict {
    std::optional<Reason> reason;
    std::string statement; // without a reason: how it is
    Facts facts;
};

Verdict judge(Facts facts);

/** "talker (812 on alpha)", or what it was asked for by. */
std::string name_of(const Party &party);

} // namespace why
