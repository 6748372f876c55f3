// SPDX-License-Identifier: Apache-2.0
/**
 * @file scenario.h
 * @brief What the scenarios have in common: a world, a network, a host.
 */
#pragma once

#include <cstdio>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "application.h"
#include "dds_c/dds_c_logger.h"
#include "seeds.h"

namespace simulated {

/** A world of a seed with one host on a network. The log is silent unless the trace is wanted. */
class Scenario {
public:
    explicit Scenario(NUV_UINT64 seed) : world(seed) {
        KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                         options().trace != nullptr
                                             ? KOLS_CONFIG_LOG_VERBOSITY_WARNING
                                             : KOLS_CONFIG_LOG_VERBOSITY_SILENT);
        world.trace().print_to(options().trace);
    }
    /** Says when it ended, and the hash: what happened is the same each time. */
    ~Scenario() {
        world.observe(nullptr);
        if (options().trace != nullptr || testing::Test::HasFailure()) {
            std::printf("seed %llu: %s after %lld ns\n",
                        static_cast<unsigned long long>(world.seed()),
                        world.trace().digest().c_str(), static_cast<long long>(world.now()));
        }
        KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(), verbosity_);
    }
    Scenario(const Scenario &) = delete;
    Scenario &operator=(const Scenario &) = delete;

    /** Has a statement looked at after each step, until it does not hold. */
    void observe(const simnet::Action &statement) {
        world.observe([statement] {
            if (!testing::Test::HasFailure()) {
                statement();
            }
        });
    }

    void run_for(simnet::Time duration) {
        world.run_for(duration);
    }
    /** A time from 0 to @p most. */
    simnet::Time up_to(simnet::Time most) {
        return world.random().between(0, most);
    }
    template <typename Element>
    void shuffle(std::vector<Element> &elements) {
        for (std::size_t i = elements.size(); i > 1; --i) {
            std::swap(elements[i - 1], elements[world.random().up_to(i - 1)]);
        }
    }
    /** Of processes, some of which get to what there is to do much later than others. */
    simnet::ProcessProperty hasty_or_slow() {
        simnet::ProcessProperty property;
        property.reaction = simnet::MICROSECOND;
        property.reactionMax = up_to(5 * simnet::MILLISECOND);
        return property;
    }

private:
    const KOLS_Config_LogVerbosity verbosity_ =
        KOLS_Config_Logger_get_verbosity(KOLS_Config_Logger_get_instance());

public:
    simnet::World world;
    simnet::Segment &lan = world.add_segment("lan");
    simnet::Host &host = world.add_host("host");
};

} // namespace simulated
