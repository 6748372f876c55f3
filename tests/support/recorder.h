// SPDX-License-Identifier: Apache-2.0
/**
 * @file recorder.h
 * @brief Records the calls that the code under test makes into the lower layers, and steers them.
 *
 * The real layers are linked. The linker diverts each function that has a WRAP line in
 * tests/support/wraps_*.cpp to a __wrap_ function there, which reports the call here and then
 * passes it on. What fails is asked of faults.h, for the calls that the code under test makes
 * itself.
 *
 *     Recorder recorder;                        // of the test's thread; others are passed on as is
 *     recorder.name(worker, "worker");          // pointers are written by the names given to them
 *     recorder.fail("PRESParticipant_delete");  // its next call fails; the real one is not called
 *
 *     Recording calls(recorder);                // from here on calls are written down
 *     DDS_DomainParticipantPresentation_finalize(&self, worker);
 *     EXPECT_EQ(calls.text(), lines({
 *         "PRESParticipant_delete(participant, &failReason=0x20D1000, worker)",
 *     }));
 *
 * - Only what the code under test calls itself is recorded, counted, made to fail or replaced. What
 *   the lower layers call in turn just happens. failAllocation alone reaches all the way down.
 * - `Recording calls(recorder, except({"NUVOsapiHeap_*"}))` leaves functions out, `only({...})`
 *   takes no others; a '*' at the end stands for any ending.
 * - `fail(name, {.nth = 2})` lets one call through first; `.result` and `.failReason` say what the
 *   failing call returns and puts into its fail reason.
 * - `failCall(n)` makes the n-th call fail of all those that can fail, `failAllocation(n)` the n-th
 *   allocation: count n up until `failed()` is empty, which is when everything went through.
 * - `replace(name, lambda)` has a lambda with the function's own signature called instead; it may
 *   call the function, and then reaches the real one.
 * - A facade's slots are recorded as "COMMENDFacade.addEntryport" and so on. scriptedFacade() makes
 *   PRESParticipant_getFacade answer with one that opens no sockets: each reservation succeeds
 *   unless it is made to fail or replaced. Then the participant may be any pointer.
 *
 * Arguments are written so: a pointer by its name, else by its type and a number
 * ("PRESParticipantProperty#1": the same number, the same object); what a pointer to const leads to
 * as a value where that is short; the address of a plain number as "&name=value"; any other
 * output as "&name"; text in quotes. Null is "null".
 */
#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/faults.h"

struct COMMENDFacade;

namespace support {

/** The lines, each with a line end: what the text of a recording is compared with. */
std::string lines(const std::vector<std::string> &all);

/** Which functions a recording takes. */
class Filter {
public:
    Filter(bool listed, std::initializer_list<std::string_view> patterns)
        : listed_(listed), patterns_(patterns) {}
    bool admits(std::string_view function) const;

private:
    bool listed_; // whether the listed ones are those that are taken
    std::vector<std::string_view> patterns_;
};

inline Filter only(std::initializer_list<std::string_view> functions) {
    return {true, functions};
}

inline Filter except(std::initializer_list<std::string_view> functions) {
    return {false, functions};
}

using faults::Fault;

class HeapSite;
struct RecordingFacade;

class Recorder {
public:
    Recorder();
    ~Recorder();
    Recorder(const Recorder &) = delete;
    Recorder &operator=(const Recorder &) = delete;

    /** Gives an object a name. The type tells a record from its first member. */
    template <typename T>
    void name(const T *object, std::string text) {
        names_.push_back({object, std::string(faults::type_name<T>()), std::move(text), false});
    }

    void fail(std::string_view function, const Fault &fault = {});
    void failCall(int nth);
    void failAllocation(int nth);
    /** The call that was made to fail last; empty when none was. */
    const std::string &failed() const {
        return failed_;
    }
    /** Takes back every fault that has not happened yet, and forgets which one has. */
    void clearFaults();

    template <typename Function>
    void replace(std::string_view function, Function replacement) {
        faults::set_replacement(function, callers(), std::function(std::move(replacement)));
    }
    /** Ends the replacement of a function. */
    void restore(std::string_view function) {
        faults::restore(function);
    }

    /** A facade without sockets, which getFacade answers with from now on. */
    COMMENDFacade *scriptedFacade();

    /** How often the code under test has called a function since the recorder was made. */
    int count(std::string_view function) const;

    /** Called with each block of a type that the code under test allocates, and its name. */
    void onBlock(std::string type, std::function<void(void *, const std::string &)> visitor);

    /**
     * Called with each block that was allocated since the recorder was made, as it is freed. A
     * pointer that was kept means nothing from then on: another block may have its address.
     */
    void onFree(std::function<void(const void *)> visitor) {
        onFree_ = std::move(visitor);
    }

    /** The calling thread's recorder, or null. */
    static Recorder *current();
    /** Whether a call into the lower layers is under way. */
    bool isInside() const {
        return depth_ > 0;
    }

private:
    friend class Call;
    friend class HeapSite;
    friend class Recording;
    friend class Arguments;
    friend class Inside;
    friend struct RecordingFacade;

    struct Name {
        const void *object;
        std::string type;
        std::string text;
        bool made; // made up here
    };

    struct Block {
        std::size_t size;
        const char *type;
    };

    /** The calls of this thread that the code under test makes itself. */
    static faults::Callers callers() {
        faults::Callers own = faults::callers(faults::Thread::THIS);
        own.only_outermost = true;
        return own;
    }
    const std::string *find(const void *object, std::string_view type) const;
    const std::string *findAny(const void *object) const;
    std::string nameOf(const void *object, std::string_view type);
    std::string makeName(const void *object, std::string_view type);
    void addBlock(void *block, std::size_t size, const char *type);
    void removeBlock(const void *block);
    std::string nameOfBlock(const void *block);
    void note(const char *function, const std::string &call);

    std::vector<Name> names_;
    std::map<std::string, int, std::less<>> numbers_; // made-up names, by type
    std::map<std::string, int, std::less<>> calls_;   // by function
    std::map<std::string, std::function<void(void *, const std::string &)>> onBlock_;
    std::function<void(const void *)> onFree_;
    std::map<const void *, Block> blocks_; // allocated since the recorder was made
    std::map<COMMENDFacade *, std::unique_ptr<RecordingFacade>> facades_;
    std::unique_ptr<RecordingFacade> scripted_;
    class Recording *recording_ = nullptr;
    int depth_ = 0; // of calls into the lower layers
    std::string failed_;
};

/** The calls made while it lives, in order. */
class Recording {
public:
    explicit Recording(Recorder &recorder, Filter filter = except({}));
    ~Recording();
    Recording(const Recording &) = delete;
    Recording &operator=(const Recording &) = delete;

    const std::vector<std::string> &calls() const {
        return calls_;
    }
    /** The calls, a line each. */
    std::string text() const {
        return lines(calls_);
    }

private:
    friend class Recorder;

    Recorder &recorder_;
    Filter filter_;
    std::vector<std::string> calls_;
};

} // namespace support
