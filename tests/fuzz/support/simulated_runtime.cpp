// SPDX-License-Identifier: Apache-2.0
// A runtime on a simulated host.
#include "simulated_runtime.h"

#include "fuzz.h"
#include "simnet/simnet_world.h"

namespace fuzz {

namespace {

class SimulatedRuntime {
public:
    SimulatedRuntime() {
        const NUVNetioRuntimeProperty property = process_.runtime_property();
        self = process_.call(
            [&] { return NUVNetioRuntime_new(&property, nullptr, REDAWorkerFactory_new()); });
        must(self != nullptr, "a simulated process has a runtime");
    }

    NUVNetioRuntime *self;

private:
    simnet::World world_{1};
    simnet::Process &process_ = world_.add_host("host").add_process("process");
};

} // namespace

NUVNetioRuntime *runtime() {
    static auto *the_runtime = new SimulatedRuntime; // until the end of the process
    return the_runtime->self;
}

} // namespace fuzz
