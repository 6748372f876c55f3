// SPDX-License-Identifier: Apache-2.0
// The faults that tests have asked for, and the calls that meet them.
#include "support/faults.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <list>

#include "support/wrapped.h"

namespace faults {

namespace {

constinit Wrapped *all_wrapped = nullptr; // complete before main begins

/** The fault of a thread's n-th call of any of several functions. */
struct AnyCall {
    AnyCall(const Fault &fault, const Callers &callers, std::vector<std::string_view> its_functions)
        : plan(fault, callers, nullptr), functions(std::move(its_functions)) {}

    Plan plan;
    std::vector<std::string_view> functions; // empty: all that can fail

    bool admits(const Wrapped &wrapped) const {
        return functions.empty() ? wrapped.failing == Failing::YES
                                 : std::ranges::find(functions, wrapped.name) != functions.end();
    }
};

/** All of one type that were ever asked for: a call may be looking at them until the very end. */
template <class T>
std::list<T> &kept() {
    static auto *const all = new std::list<T>;
    return *all;
}

/** Of the calling thread; its address is what identifies it. */
struct OfThread {
    int allocations = 0;
    int allocations_left = 0;
    AnyCall *any_call = nullptr;
    const Wrapped *replaced = nullptr; // whose replacement is running
};
thread_local constinit OfThread of_thread;

constinit std::atomic<const char *> last_failed = nullptr;

void ask() {
    last_failed = nullptr;
}

void add(Wrapped &wrapped, const Fault &fault, const Callers &callers) {
    if (wrapped.failing == Failing::NEVER) {
        refuse("this function cannot fail: " + std::string(wrapped.name));
    }
    ask();
    wrapped.plans = &kept<Plan>().emplace_back(fault, callers, wrapped.plans);
}

void add_any(std::vector<std::string_view> functions, const Fault &fault, const Callers &callers) {
    ask();
    of_thread.any_call = &kept<AnyCall>().emplace_back(fault, callers, std::move(functions));
}

} // namespace

void refuse(const std::string &why) {
    std::fprintf(stderr, "test: %s\n", why.c_str());
    std::abort();
}

bool Callers::include(bool is_outermost) const {
    return (thread == nullptr || thread == &of_thread) && (is_outermost || !only_outermost);
}

Callers callers(Thread on) {
    return {on == Thread::THIS ? &of_thread : nullptr, false};
}

Plan::Plan(const Fault &its_fault, const Callers &its_callers, Plan *its_next)
    : fault(its_fault), callers(its_callers), left(its_fault.nth), next(its_next) {}

bool Plan::take() {
    return fault.every || (left > 0 && left.fetch_sub(1) == 1);
}

Registration::Registration(Wrapped &wrapped) {
    wrapped.next = all_wrapped;
    all_wrapped = &wrapped;
}

Wrapped *Wrapped::find(std::string_view name) {
    Wrapped *wrapped = all_wrapped;

    while (wrapped != nullptr && wrapped->name != name) {
        wrapped = wrapped->next;
    }
    return wrapped;
}

Wrapped &Wrapped::get(std::string_view name) {
    Wrapped *const wrapped = find(name);

    if (wrapped == nullptr) {
        refuse("no such function is wrapped: " + std::string(name));
    }
    return *wrapped;
}

const Fault *Wrapped::take(bool is_outermost) {
    const Fault *taken = nullptr;

    if (of_thread.replaced == this) {
        return nullptr;
    }
    ++calls;
    for (Plan *plan = plans; plan != nullptr; plan = plan->next) {
        if (plan->callers.include(is_outermost) && plan->take()) {
            taken = &plan->fault;
        }
    }
    AnyCall *const any = of_thread.any_call;

    if (taken == nullptr && any != nullptr && any->plan.callers.include(is_outermost) &&
        any->admits(*this) && any->plan.take()) {
        taken = &any->plan.fault;
    }
    if (taken != nullptr) {
        last_failed = name;
    }
    return taken;
}

const Replacement *Wrapped::replacement(bool is_outermost) const {
    const Replacement *const found = replaced_by;

    return found != nullptr && of_thread.replaced != this && found->callers.include(is_outermost)
               ? found
               : nullptr;
}

Replacing::Replacing(const Wrapped &wrapped) : before_(of_thread.replaced) {
    of_thread.replaced = &wrapped;
}

Replacing::~Replacing() {
    of_thread.replaced = before_;
}

bool take_allocation(const char *type) {
    ++of_thread.allocations;
    if (of_thread.allocations_left == 0 || --of_thread.allocations_left != 0) {
        return false;
    }
    last_failed = type;
    return true;
}

void fail(std::string_view function, const Fault &fault) {
    add(Wrapped::get(function), fault, callers(fault.on));
}

void fail_outermost(std::string_view function, const Fault &fault) {
    add(Wrapped::get(function), fault, {&of_thread, true});
}

void fail_call(std::string_view function, int nth, int error) {
    fail(function, {.nth = nth, .error = error});
}

void fail_every_call(std::string_view function, int error) {
    fail(function, {.error = error, .every = true});
}

void fail_any_call(int nth, std::vector<std::string_view> functions, int error) {
    for (const std::string_view function : functions) {
        (void)Wrapped::get(function);
    }
    add_any(std::move(functions), {.nth = nth, .error = error}, callers(Thread::THIS));
}

void fail_any_outermost(int nth) {
    add_any({}, {.nth = nth}, {&of_thread, true});
}

void fail_allocation(int nth) {
    ask();
    of_thread.allocations_left = nth;
}

void fail_malloc() {
    fail("malloc", {.error = ENOMEM, .every = true, .on = Thread::THIS});
}

void stop() {
    for (Wrapped *wrapped = all_wrapped; wrapped != nullptr; wrapped = wrapped->next) {
        wrapped->plans = nullptr;
    }
    of_thread.allocations_left = 0;
    of_thread.any_call = nullptr;
}

bool happened() {
    return last_failed != nullptr;
}

std::string failed() {
    const char *const what = last_failed;

    return what != nullptr ? what : "";
}

int count(std::string_view function) {
    return Wrapped::get(function).calls;
}

int allocations() {
    return of_thread.allocations;
}

void clear() {
    stop();
    ask();
    of_thread.allocations = 0;
    for (Wrapped *wrapped = all_wrapped; wrapped != nullptr; wrapped = wrapped->next) {
        wrapped->replaced_by = nullptr;
        wrapped->calls = 0;
    }
}

void set_replacement(std::string_view function, Replacement replacement) {
    Wrapped &wrapped = Wrapped::get(function);

    if (wrapped.signature != replacement.signature) {
        refuse(std::string(function) + " is " + std::string(wrapped.signature) +
               ", its replacement " + std::string(replacement.signature));
    }
    wrapped.replaced_by = &kept<Replacement>().emplace_back(std::move(replacement));
}

void restore(std::string_view function) {
    Wrapped::get(function).replaced_by = nullptr;
}

} // namespace faults
