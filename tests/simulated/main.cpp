// SPDX-License-Identifier: Apache-2.0
// The options of the simulated tests.
#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include <gtest/gtest.h>

#include <unistd.h>

#include "seeds.h"

#ifdef NUVDDS_SANITIZED
#include <sanitizer/common_interface_defs.h>
#endif

namespace simulated {

Options &options() {
    static Options the_options;
    return the_options;
}

namespace {

/** How to repeat what is being run; for what ends the process as well. */
std::array<char, 1024> to_repeat{};

void note_seed(NUV_UINT64 seed) {
    const testing::TestInfo &test = *testing::UnitTest::GetInstance()->current_test_info();
    std::snprintf(to_repeat.data(), to_repeat.size(),
                  "Seed %llu fails. It alone, with all that happens:\n"
                  "    %s --gtest_filter=%s.%s --seed %llu --trace\n",
                  static_cast<unsigned long long>(seed), testing::internal::GetArgvs()[0].c_str(),
                  test.test_suite_name(), test.name(), static_cast<unsigned long long>(seed));
}

extern "C" void print_seed() {
    [[maybe_unused]] const ssize_t written =
        write(STDERR_FILENO, to_repeat.data(), std::strlen(to_repeat.data()));
}

extern "C" void die_with_seed(int signal) {
    print_seed();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

/** A scenario that ends the process names its seed too. */
void print_seed_at_death() {
    std::signal(SIGABRT, die_with_seed); // of an assert
    std::signal(SIGTERM, die_with_seed); // of whoever has no time left
#ifdef NUVDDS_SANITIZED
    __sanitizer_set_death_callback(print_seed);
#else
    std::signal(SIGSEGV, die_with_seed);
#endif
}

} // namespace

void for_each_seed(const std::function<void(NUV_UINT64 seed)> &scenario, NUV_UINT64 usual) {
    const NUV_UINT64 few = std::max<NUV_UINT64>(usual / SHARE_OF_SEEDS, 2);
    const NUV_UINT64 first = options().seed.value_or(1);
    const NUV_UINT64 last = options().seed.value_or(options().seeds.value_or(few));
    for (NUV_UINT64 seed = first; seed <= last; ++seed) {
        note_seed(seed);
        try {
            scenario(seed);
        } catch (const std::exception &error) {
            ADD_FAILURE() << error.what();
        }
        if (testing::Test::HasFailure()) {
            ADD_FAILURE() << to_repeat.data();
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
    simulated::print_seed_at_death();
    return RUN_ALL_TESTS();
}
