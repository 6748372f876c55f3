// SPDX-License-Identifier: Apache-2.0
// A scenario of ddssim, as a file or as the value of --event.
#include <stdexcept>
#include <string>

#include "fuzz.h"
#include "refusal.h"
#include "scenario_file.h"
#include "settings.h"

using namespace ddssim;

namespace {

/** What was taken is written so that it is taken again, as the same. */
void must_read_back(const Scenario &scenario) {
    const std::string text = text_of(scenario);
    Scenario again;

    read_scenario(text, "again", again);
    fuzz::must(text_of(again) == text, "what is written reads back as the same");
}

void must_be_one_line_with_its_place(const std::string &reason) {
    fuzz::must(reason.starts_with("s.yaml"), "a refusal names the place");
}

/** Whether it can be or not: somebody says so, and nothing else happens. */
void check_it(const Scenario &scenario) {
    try {
        check(scenario);
        fuzz::must(scenario.period <= scenario.lease / 4, "the period is within the lease");
    } catch (const Refusal &) { // it cannot
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    Scenario scenario;
    bool is_read = false;

    try {
        read_scenario(text, "s.yaml", scenario);
        is_read = true;
    } catch (const std::runtime_error &error) {
        must_be_one_line_with_its_place(error.what());
    }
    if (is_read) {
        must_read_back(scenario);
        check_it(scenario);
    }
    try {
        Scenario of_one;

        of_one.events.push_back(to_event(text));
        must_read_back(of_one);
    } catch (const Refusal &) { // it is none
    }
    return 0;
}
