// SPDX-License-Identifier: Apache-2.0
// The QoS as a tree, made of whatever settings the library says that there are.
#include "qos_tree.h"

#include <algorithm>
#include <exception>

#include "dds_c/dds_c_qosvisitor.h"
#include "printable.h"
#include "values.h"
#include "words.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr double NANOSECONDS = 1e9;
constexpr const char *DIGITS = "0123456789abcdef";
constexpr const char *HEXADECIMAL = "0x";

bool is_printable(char character) {
    return character >= ' ' && character <= '~';
}

std::string two_digits(char character) {
    const auto octet = static_cast<unsigned char>(character);

    return {DIGITS[octet >> 4], DIGITS[octet & 0xF]};
}

/** The two forms cannot be taken for each other. */
std::string text_of(const DDS_OctetSeq &octets) {
    std::string text;

    for (DDS_Long i = 0; i < DDS_OctetSeq_get_length(&octets); ++i) {
        text += static_cast<char>(DDS_OctetSeq_get(&octets, i));
    }
    if (std::all_of(text.begin(), text.end(), is_printable) && !text.starts_with(HEXADECIMAL)) {
        return text;
    }
    std::string digits = HEXADECIMAL;

    for (const char character : text) {
        digits += two_digits(character);
    }
    return digits;
}

Json duration(const DDS_Duration_t &duration) {
    if (DDS_Duration_is_infinite(&duration) != DDS_BOOLEAN_FALSE) {
        return "infinite";
    }
    return duration.nanosec == 0 ? Json(duration.sec)
                                 : Json(duration.sec + duration.nanosec / NANOSECONDS);
}

Json texts(const DDS_StringSeq &texts) {
    Json array = Json::array();

    for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&texts); ++i) {
        const char *const text = DDS_StringSeq_get(&texts, i);

        array.push_back(text != nullptr ? Json(text) : Json());
    }
    return array;
}

Json leaf(const DDS_QosValue &value) {
    const auto bits = static_cast<DDS_UnsignedLong>(value.number);

    switch (value.kind) {
    case DDS_QOS_VALUE_BOOLEAN:
        return value.number != 0;
    case DDS_QOS_VALUE_NUMBER:
        return value.number;
    case DDS_QOS_VALUE_RESERVED_PORTS:
        return words_of_reserved_ports(static_cast<DDS_RtpsReservedPortKindMask>(bits));
    case DDS_QOS_VALUE_TRANSPORTS:
        return words_of_transports(bits);
    case DDS_QOS_VALUE_DISCOVERY_PLUGINS:
        return words_of_discovery_plugins(bits);
    case DDS_QOS_VALUE_DURATION:
        return duration(*value.duration);
    case DDS_QOS_VALUE_TEXT:
        return value.text != nullptr ? Json(value.text) : Json();
    case DDS_QOS_VALUE_TEXTS:
        return texts(*value.texts);
    case DDS_QOS_VALUE_OCTETS:
        return text_of(*value.octets);
    }
    return {};
}

/** Grows the tree as the settings come. */
class Tree {
public:
    Tree() : open_{{"", Json::object()}} {}

    void begin(const char *name, Json whole) {
        open_.emplace_back(name != nullptr ? name : "", std::move(whole));
    }

    void end() {
        auto [name, whole] = std::move(open_.back());

        open_.pop_back();
        add(name, std::move(whole));
    }

    void add(const std::string &name, Json value) {
        Json &whole = open_.back().second;

        if (whole.is_array()) {
            whole.push_back(std::move(value));
        } else {
            whole[name] = std::move(value);
        }
    }

    Json take() {
        return std::move(open_.back().second);
    }

private:
    std::vector<std::pair<std::string, Json>> open_; // outermost first
};

/** Does what the library asks for; what that throws waits until the library has returned. */
class Visit {
public:
    template <class Action>
    static void go(void *param, Action action) {
        auto &self = *static_cast<Visit *>(param);

        try {
            if (self.failure == nullptr) {
                action(self.tree);
            }
        } catch (...) {
            self.failure = std::current_exception();
        }
    }

    Tree tree;
    std::exception_ptr failure;
};

std::string value_text(const Json &value) {
    std::vector<std::string> texts;

    if (value.is_string()) {
        const std::string text = printable(value.get<std::string>());

        return text.empty() ? "\"\"" : text;
    }
    if (!value.is_array()) {
        return value.is_null() ? "none" : value.dump();
    }
    for (const Json &element : value) {
        texts.push_back(value_text(element));
    }
    return listed(texts);
}

void add_lines(const std::string &name, const Json &value, std::string &lines) {
    if (value.is_object()) {
        for (const auto &[key, member] : value.items()) {
            const std::string path = name.empty() ? "" : name + ".";

            add_lines(path + key, member, lines);
        }
    } else if (value.is_array() && !value.empty() && value.front().is_object()) {
        for (std::size_t i = 0; i < value.size(); ++i) {
            add_lines(name + "[" + std::to_string(i) + "]", value[i], lines);
        }
    } else {
        lines += name + ": " + value_text(value) + "\n";
    }
}

} // namespace

Json qos_tree(const DDS_DomainParticipantQos &qos) {
    Visit visit;
    const DDS_QosVisitor visitor = {
        &visit,
        [](void *param, const char *name) {
            Visit::go(param, [&](Tree &tree) { tree.begin(name, Json::object()); });
        },
        [](void *param) { Visit::go(param, [](Tree &tree) { tree.end(); }); },
        [](void *param, const char *name) {
            Visit::go(param, [&](Tree &tree) { tree.begin(name, Json::array()); });
        },
        [](void *param) { Visit::go(param, [](Tree &tree) { tree.end(); }); },
        [](void *param, const char *name, const DDS_QosValue *value) {
            Visit::go(param, [&](Tree &tree) { tree.add(name, leaf(*value)); });
        }};

    DDS_DomainParticipantQos_visit(&qos, &visitor);
    if (visit.failure != nullptr) {
        std::rethrow_exception(visit.failure);
    }
    return visit.tree.take();
}

std::string qos_lines(const Json &tree) {
    std::string lines;

    add_lines("", tree, lines);
    return lines;
}
