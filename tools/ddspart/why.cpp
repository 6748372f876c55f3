// SPDX-License-Identifier: Apache-2.0
// ddspart why: why two participants do not know each other.
#include <optional>
#include <utility>

#include "commands.h"
#include "listening.h"
#include "output.h"
#include "table.h"
#include "why/reasons.h"

namespace {} // namespace

int execute(const WhyOptions &options) {
    take_all_descriptors();
    const why::Verdict verdict = why::judge(why::gather(options));
    const std::optional<std::size_t> width = options.json ? std::nullopt : terminal_columns();

    if (width) {
        write_data(wrapped(as_text(verdict), *width));
    } else {
        show(verdict, options.json);
    }
    return verdict.reason ? FINDINGS : 0;
}
