// SPDX-License-Identifier: Apache-2.0
#include "scenario_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/yaml.h>

#include "refusal.h"
#include "settings.h"
#include "words.h"

namespace ddssim {

namespace {

constexpr const char *EVENTS = "events";

/** Knows where a document begins, and no more of it. */
class Beginning : public YAML::EventHandler {
public:
    YAML::Mark mark;

    void OnDocumentStart(const YAML::Mark &start) override {
        mark = start;
    }
    void OnDocumentEnd() override {}
    void OnNull(const YAML::Mark &, YAML::anchor_t) override {}
    void OnAlias(const YAML::Mark &, YAML::anchor_t) override {}
    void OnScalar(const YAML::Mark &, const std::string &, YAML::anchor_t,
                  const std::string &) override {}
    void OnSequenceStart(const YAML::Mark &, const std::string &, YAML::anchor_t,
                         YAML::EmitterStyle::value) override {}
    void OnSequenceEnd() override {}
    void OnMapStart(const YAML::Mark &, const std::string &, YAML::anchor_t,
                    YAML::EmitterStyle::value) override {}
    void OnMapEnd() override {}
};

/** Reads one text, whose places it knows. */
class Reader {
public:
    explicit Reader(std::string name) : name_(std::move(name)) {}

    /** Null when the text is empty. */
    YAML::Node parse(const std::string &text) const {
        try {
            YAML::Node document = YAML::Load(text);

            refuse_second(text);
            return document;
        } catch (const YAML::Exception &error) {
            throw std::runtime_error(place(error.mark) + ": " + error.msg);
        }
    }

    /** Calls @p take with each key and its value, in the order of the text. */
    template <typename Take>
    void for_each(const YAML::Node &map, const std::string &what, Take take) const {
        std::set<std::string> seen;

        if (!map.IsMap()) {
            fail(map, what + " is not a mapping, as 'key: value'");
        }
        for (const auto &pair : map) {
            const std::string key = scalar(pair.first, "a key");

            if (!seen.insert(key).second) {
                fail(pair.first, "'" + key + "' is there twice");
            }
            if (pair.second.IsNull()) {
                fail(pair.first, "'" + key + "' has no value");
            }
            take(key, pair.first, pair.second);
        }
    }

    std::string scalar(const YAML::Node &node, const std::string &what) const {
        if (!node.IsScalar()) {
            fail(node, what + " is not a single value");
        }
        return node.Scalar();
    }

    /** A value, or several in brackets. */
    std::vector<std::string> scalars(const YAML::Node &node, const std::string &what) const {
        std::vector<std::string> all;

        if (!node.IsSequence()) {
            return split(scalar(node, what), ',');
        }
        for (const YAML::Node &each : node) {
            all.push_back(scalar(each, what));
        }
        return all;
    }

    /** Sets something; what that refuses is told with the place. */
    template <typename Set>
    void set(const YAML::Node &node, const std::string &key, Set set) const {
        try {
            set();
        } catch (const Refusal &refusal) {
            fail(node, key + ": " + refusal.what());
        }
    }

    Event event(const YAML::Node &node) const;
    void settings(const YAML::Node &node, Scenario &scenario) const;

private:
    std::string place(const YAML::Mark &mark) const {
        return mark.is_null() ? name_
                              : name_ + ":" + std::to_string(mark.line + 1) + ":" +
                                    std::to_string(mark.column + 1);
    }
    /** Takes what follows one document for one more: to the end of it the parser may never come. */
    void refuse_second(const std::string &text) const {
        std::istringstream input(text);
        YAML::Parser parser(input);
        Beginning first;
        Beginning second;

        if (parser.HandleNextDocument(first) && parser.HandleNextDocument(second)) {
            throw std::runtime_error(place(second.mark) +
                                     ": a second document; there is to be one");
        }
    }
    [[noreturn]] void fail(const YAML::Node &node, const std::string &reason) const {
        throw std::runtime_error(place(node.Mark()) + ": " + reason);
    }
    void set_event_key(const std::string &key, const YAML::Node &at, const YAML::Node &value,
                       Event &event) const;

    const std::string name_;
};

Incident to_incident(const std::string &word) {
    std::vector<std::string> words;

    for (const IncidentKind &kind : incident_kinds()) {
        if (word == kind.word) {
            return kind.incident;
        }
        words.emplace_back(kind.word);
    }
    throw Refusal(word, "one of " + join(words, ", "));
}

std::vector<Range<std::int64_t>> to_ranges(const std::vector<std::string> &texts,
                                           Range<std::int64_t> range) {
    std::vector<Range<std::int64_t>> ranges;

    if (texts.empty()) { // it would mean all of them
        throw Refusal("[]", "a list of numbers N or ranges FIRST-LAST");
    }
    ranges.reserve(texts.size());
    for (const std::string &text : texts) {
        ranges.push_back(to_numbers(text, range));
    }
    return ranges;
}

std::string text_of_ranges(const std::vector<Range<std::int64_t>> &ranges) {
    std::vector<std::string> texts;

    texts.reserve(ranges.size());
    for (const auto &range : ranges) {
        texts.push_back(text_of_numbers(range));
    }
    return "[" + join(texts, ", ") + "]";
}

std::string keys_of_events() {
    std::vector<std::string> keys;

    for (const EventKey &one : event_keys()) {
        keys.emplace_back(one.key);
    }
    for (const Setting &one : settings()) {
        if (one.is_of_link) {
            keys.emplace_back(one.key);
        }
    }
    return join(keys, ", ");
}

void Reader::set_event_key(const std::string &key, const YAML::Node &at, const YAML::Node &value,
                           Event &event) const {
    const Setting *const setting = find_setting(key);

    if (key == "at") {
        event.at = to_time(scalar(value, key), {0, DAY});
    } else if (key == "do") {
        event.incident = to_incident(scalar(value, key));
    } else if (key == "hosts") {
        event.hosts = to_ranges(scalars(value, key), HOSTS);
    } else if (key == "processes") {
        event.processes = to_ranges(scalars(value, key), PARTICIPANTS);
    } else if (key == "every") {
        event.every = to_time(scalar(value, key), {0, DAY});
    } else if (key == "for") {
        event.duration = to_time(scalar(value, key), {0, DAY});
    } else if (setting != nullptr && setting->is_of_link) {
        Scenario some;

        setting->set(some, scalar(value, key));
        event.link.emplace_back(key, setting->get(some));
    } else {
        fail(at, "'" + key + "' is none of the keys of an event: " + keys_of_events());
    }
}

Event Reader::event(const YAML::Node &node) const {
    Event event;
    std::set<std::string> given;

    for_each(node, "an event",
             [&](const std::string &key, const YAML::Node &at, const YAML::Node &value) {
                 set(value, key, [&] { set_event_key(key, at, value, event); });
                 given.insert(key);
             });
    for (const char *needed : {"at", "do"}) {
        if (!given.contains(needed)) {
            fail(node, std::string("an event has no '") + needed + "'");
        }
    }
    if (event.link.empty() == (event.incident == Incident::LINK)) {
        fail(node, event.link.empty() ? "an event 'link' says nothing of the link"
                                      : "only an event 'link' changes " + event.link.front().first);
    }
    event.place = {place(node.Mark())};
    return event;
}

void Reader::settings(const YAML::Node &node, Scenario &scenario) const {
    if (node.IsNull()) {
        return; // an empty text
    }
    for_each(node, "a scenario",
             [&](const std::string &key, const YAML::Node &at, const YAML::Node &value) {
                 const Setting *const setting = find_setting(key);

                 if (key == EVENTS) {
                     if (!value.IsSequence()) {
                         fail(value, "'events' is not a list, as '- {at: 10 s, do: stop}'");
                     }
                     for (const YAML::Node &each : value) {
                         scenario.events.push_back(event(each));
                     }
                 } else if (setting != nullptr) {
                     const std::string text =
                         value.IsSequence() ? join(scalars(value, key), ",") : scalar(value, key);

                     set(value, key, [&] { setting->set(scenario, text); });
                 } else {
                     fail(at, "'" + key + "' is none of the keys: " + setting_keys() + ", events");
                 }
             });
}

std::string quoted(const std::string &text) {
    YAML::Emitter emitter;

    emitter.SetOutputCharset(YAML::EscapeNonAscii);
    emitter << YAML::DoubleQuoted << text;
    return emitter.c_str();
}

std::string text_of(const Event &event) {
    std::string text = "{at: " + text_of_time(event.at) + ", do: " + kind_of(event.incident).word;

    if (!event.hosts.empty()) {
        text += ", hosts: " + text_of_ranges(event.hosts);
    }
    if (!event.processes.empty()) {
        text += ", processes: " + text_of_ranges(event.processes);
    }
    if (event.every != 0) {
        text += ", every: " + text_of_time(event.every);
    }
    if (event.duration) {
        text += ", for: " + text_of_time(*event.duration);
    }
    for (const auto &[key, value] : event.link) {
        text.append(", ").append(key).append(": ").append(value);
    }
    return text + "}";
}

std::string contents_of(const std::string &path) {
    constexpr std::size_t LONGEST = 1 << 20;
    const auto fail = [&path](int error) {
        throw std::system_error(error, std::generic_category(), path);
    };
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen(path.c_str(), "re"),
                                                                std::fclose);
    std::string text;
    std::array<char, 4096> part{};

    if (file == nullptr) {
        fail(errno);
    }
    while (const std::size_t length = std::fread(part.data(), 1, part.size(), file.get())) {
        text.append(part.data(), length);
        if (text.size() > LONGEST) {
            fail(EFBIG);
        }
    }
    if (std::ferror(file.get()) != 0) {
        fail(errno);
    }
    return text;
}

} // namespace

const std::vector<EventKey> &event_keys() {
    static const std::vector<EventKey> keys = {
        {"at", "TIME", "when it happens"},
        {"do", "WORD", "what happens"},
        {"hosts", "N|FIRST-LAST,...", "to which hosts; all unless given"},
        {"processes", "N|FIRST-LAST,...",
         "to which of their processes, of start, leave and kill; all unless given"},
        {"every", "TIME", "the time from one of the hosts to the next; 0 s unless given"},
        {"for", "TIME", "when it ends, counted from when it happens; never unless given"},
    };

    return keys;
}

void read_scenario(const std::string &text, const std::string &name, Scenario &scenario) {
    const Reader reader(name);

    reader.settings(reader.parse(text), scenario);
}

void read_scenario_file(const std::string &path, Scenario &scenario) {
    read_scenario(contents_of(path), path, scenario);
}

Event to_event(const std::string &text) {
    const Reader reader("event");

    try {
        return reader.event(reader.parse(text));
    } catch (const std::runtime_error &error) {
        throw Refusal("", text, std::string("an event: ") + error.what());
    }
}

std::string text_of(const Scenario &scenario) {
    std::string text;

    for (const Setting &one : settings()) {
        text.append(one.key).append(": ").append(quoted(one.get(scenario))).append("\n");
    }
    if (!scenario.events.empty()) {
        text += "events:\n";
    }
    for (const Event &event : scenario.events) {
        text += "  - " + text_of(event) + "\n";
    }
    return text;
}

} // namespace ddssim
