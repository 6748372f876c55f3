// SPDX-License-Identifier: Apache-2.0
// The options of the simulated tests.
#include <charconv>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "seeds.h"

namespace simulated {

Options &options() {
    static Options the_options;
    return the_options;
}

void for_each_seed(const std::function<void(NUV_UINT64 seed)> &scenario) {
    const NUV_UINT64 first = options().seed.value_or(1);
    const NUV_UINT64 last = options().seed.value_or(options().seeds);
    for (NUV_UINT64 seed = first; seed <= last; ++seed) {
        scenario(seed);
        if (testing::Test::HasFailure()) {
            const testing::TestInfo &test = *testing::UnitTest::GetInstance()->current_test_info();
            ADD_FAILURE() << "Seed " << seed << " fails. It alone, with all that happens:\n    "
                          << testing::internal::GetArgvs()[0]
                          << " --gtest_filter=" << test.test_suite_name() << '.' << test.name()
                          << " --seed " << seed << " --trace";
            return;
        }
    }
}

namespace {

/** A number that follows an option; ends the program when there is none. */
NUV_UINT64 number(const char *option, const char *text) {
    NUV_UINT64 value = 0;
    const std::string digits = text != nullptr ? text : "";
    const char *const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value);
    if (error != std::errc() || stop != end || value == 0) {
        std::fprintf(stderr, "test_simulated: %s takes a number from 1\n", option);
        std::exit(2);
    }
    return value;
}

void read_options(int argc, char **argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        const char *const value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (option == "--seed") {
            options().seed = number("--seed", value);
            ++i;
        } else if (option == "--seeds") {
            options().seeds = number("--seeds", value);
            ++i;
        } else if (option == "--trace") {
            options().trace = stdout;
        } else {
            std::fprintf(stderr, "test_simulated: '%s' is none of: --seed N, --seeds N, --trace\n",
                         option.c_str());
            std::exit(2);
        }
    }
}

} // namespace

} // namespace simulated

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv); // takes its own options away
    simulated::read_options(argc, argv);
    return RUN_ALL_TESTS();
}
