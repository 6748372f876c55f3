// SPDX-License-Identifier: Apache-2.0
/**
 * @file fault_loop.h
 * @brief Runs an operation again and again, with another one of its calls failing each time.
 *
 *     EXPECT_EQ(faults::fail_each_allocation([&] { return make(); },
 *                                            [&](Thing *made, const std::string &failed) {
 *                                                EXPECT_EQ(made == nullptr, !failed.empty());
 *                                                release(made);
 *                                            }),
 *               3);
 *
 * The check comes after each run, with what the operation returned and what has failed; no fault
 * reaches into it. The last one is that of the run in which nothing failed any more. A check
 * without parameters comes after each failure, of an operation that has to answer whether nothing
 * failed; it may be left out. The number of faults is returned, and written to the output of the
 * test; a loop without any fails the test.
 */
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "support/faults.h"

namespace faults {

/** @p ask is told to have the n-th call fail, of those that the loop is about. */
template <typename Ask, typename Operation, typename Check>
int fail_each(Ask ask, Operation operation, Check check) {
    constexpr int MORE_THAN_ANY_OPERATION_HAS = 5000;

    for (int nth = 1; nth < MORE_THAN_ANY_OPERATION_HAS; ++nth) {
        ask(nth);
        const auto result = operation();
        stop();
        const std::string what = failed();
        if constexpr (std::is_invocable_v<Check>) {
            EXPECT_EQ(static_cast<bool>(result), what.empty()) << what;
            if (!what.empty()) {
                check();
            }
        } else {
            check(result, what);
        }
        if (testing::Test::HasFatalFailure()) {
            return -1;
        }
        if (what.empty()) {
            std::printf("[  FAULTS  ] %d\n", nth - 1);
            EXPECT_GT(nth, 1) << "no fault was injected";
            return nth - 1;
        }
    }
    ADD_FAILURE() << "there is no end of it";
    return -1;
}

template <typename Ask, typename Operation>
int fail_each(Ask ask, Operation operation) {
    return fail_each(ask, operation, [] {});
}

/** Each allocation of this thread. */
template <typename... OperationAndCheck>
int fail_each_allocation(OperationAndCheck... operation_and_check) {
    return fail_each(fail_allocation, operation_and_check...);
}

/** Each call of one function, by any thread. */
template <typename... OperationAndCheck>
int fail_each_call(std::string_view function, int error, OperationAndCheck... operation_and_check) {
    return fail_each([&](int nth) { fail_call(function, nth, error); }, operation_and_check...);
}

/** Each call that this thread makes of any of the functions. */
template <typename... OperationAndCheck>
int fail_each_call(const std::vector<std::string_view> &functions,
                   OperationAndCheck... operation_and_check) {
    return fail_each([&](int nth) { fail_any_call(nth, functions); }, operation_and_check...);
}

} // namespace faults
