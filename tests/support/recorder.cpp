// SPDX-License-Identifier: Apache-2.0
#include "support/recorder.h"

#include <algorithm>

#include "support/recording_facade.h"
#include "support/wrapped.h"

namespace support {

namespace {

thread_local constinit Recorder *t_recorder = nullptr;

std::string_view withoutStruct(std::string_view type) {
    constexpr std::string_view word = "struct ";
    return type.substr(0, word.size()) == word ? type.substr(word.size()) : type;
}

} // namespace

std::string lines(const std::vector<std::string> &all) {
    std::string text;
    for (const std::string &line : all) {
        text += line + '\n';
    }
    return text;
}

bool Filter::admits(std::string_view function) const {
    const auto matches = [function](std::string_view pattern) {
        if (!pattern.empty() && pattern.back() == '*') {
            pattern.remove_suffix(1);
            return function.substr(0, pattern.size()) == pattern;
        }
        return function == pattern;
    };
    return std::any_of(patterns_.begin(), patterns_.end(), matches) == listed_;
}

Recorder::Recorder() {
    if (t_recorder != nullptr) {
        faults::refuse("this thread has a recorder already");
    }
    t_recorder = this;
}

Recorder::~Recorder() {
    faults::clear();
    t_recorder = nullptr;
}

Recorder *Recorder::current() {
    return t_recorder;
}

void Recorder::fail(std::string_view function, const Fault &fault) {
    faults::fail_outermost(function, fault);
}

void Recorder::failCall(int nth) {
    clearFaults();
    faults::fail_any_outermost(nth);
}

void Recorder::failAllocation(int nth) {
    clearFaults();
    faults::fail_allocation(nth);
}

void Recorder::clearFaults() {
    faults::stop();
    failed_.clear();
}

int Recorder::count(std::string_view function) const {
    const auto found = calls_.find(faults::Wrapped::get(function).name);
    return found == calls_.end() ? 0 : found->second;
}

void Recorder::onBlock(std::string type, std::function<void(void *, const std::string &)> visitor) {
    onBlock_[std::move(type)] = std::move(visitor);
}

COMMENDFacade *Recorder::scriptedFacade() {
    if (scripted_ == nullptr) {
        scripted_ = std::make_unique<RecordingFacade>(nullptr);
        name(&scripted_->slots, "facade");
    }
    return &scripted_->slots;
}

/** The newest name of this object and type; else one that was given to its address. */
const std::string *Recorder::find(const void *object, std::string_view type) const {
    const std::string *other = nullptr;
    for (auto name = names_.rbegin(); name != names_.rend(); ++name) {
        if (name->object == object) {
            if (name->type == type) {
                return &name->text;
            }
            if (!name->made) {
                other = &name->text;
            }
        }
    }
    return other;
}

const std::string *Recorder::findAny(const void *object) const {
    const auto found = std::find_if(names_.begin(), names_.end(),
                                    [&](const Name &name) { return name.object == object; });
    return found == names_.end() ? nullptr : &found->text;
}

std::string Recorder::nameOf(const void *object, std::string_view type) {
    const std::string *known = find(object, type);
    return known != nullptr ? *known : makeName(object, type);
}

std::string Recorder::makeName(const void *object, std::string_view type) {
    const std::string plain(withoutStruct(type));
    const std::string text = plain + '#' + std::to_string(++numbers_[plain]);
    names_.push_back({object, plain, text, true});
    return text;
}

void Recorder::addBlock(void *block, std::size_t size, const char *type) {
    removeBlock(block);
    blocks_[block] = {size, type};
    const auto visitor = onBlock_.find(type);
    if (visitor != onBlock_.end() && !isInside()) {
        visitor->second(block, makeName(block, type));
    }
}

/** What is in the block has no name any more. */
void Recorder::removeBlock(const void *block) {
    const auto found = blocks_.find(block);
    if (found != blocks_.end()) {
        const auto *begin = static_cast<const char *>(block);
        std::erase_if(names_, [begin, end = begin + found->second.size](const Name &name) {
            return begin <= name.object && name.object < end;
        });
        blocks_.erase(found);
        if (onFree_) {
            onFree_(block);
        }
    }
}

std::string Recorder::nameOfBlock(const void *block) {
    if (block == nullptr) {
        return "null";
    }
    if (const std::string *known = findAny(block)) {
        return *known;
    }
    const auto found = blocks_.find(block);
    return makeName(block, found == blocks_.end() ? "block" : found->second.type);
}

void Recorder::note(const char *function, const std::string &call) {
    ++calls_[function];
    if (recording_ != nullptr && recording_->filter_.admits(function)) {
        recording_->calls_.push_back(call);
    }
}

Recording::Recording(Recorder &recorder, Filter filter)
    : recorder_(recorder), filter_(std::move(filter)) {
    if (recorder_.recording_ != nullptr) {
        faults::refuse("this recorder is recording already");
    }
    recorder_.recording_ = this;
    // Made-up numbers begin anew, so that what came before does not show.
    std::erase_if(recorder_.names_, [](const Recorder::Name &name) { return name.made; });
    recorder_.numbers_.clear();
}

Recording::~Recording() {
    recorder_.recording_ = nullptr;
}

} // namespace support
