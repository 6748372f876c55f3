// SPDX-License-Identifier: Apache-2.0
// The properties of a participant: changes of the list, one a line, and what creation makes of it.
#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "fuzz.h"
#include "properties/ParticipantProperties.h"
#include "properties/PropertyQosPolicyHelper_internal.h"
#include "reda/reda_string.h"

namespace {

struct Property {
    std::string name;
    std::string value;
    bool propagate;
};

/** The list as it should be. */
using Model = std::vector<Property>;

auto find(Model &model, const std::string &name) {
    return std::find_if(model.begin(), model.end(),
                        [&name](const Property &property) { return property.name == name; });
}

/** Applies "+NAME=VALUE" (add), "=NAME=VALUE" (assert; "p" before it: propagated), "-NAME". */
class List {
public:
    ~List() {
        DDS_PropertyQosPolicy_finalize(&policy_);
    }

    void apply(std::string_view line) {
        const fuzz::Messages messages;
        fuzz::Input input(reinterpret_cast<const std::uint8_t *>(line.data()), line.size());
        const bool propagate = line.starts_with('p');
        if (propagate) {
            input.take_to('p');
        }
        const std::string_view change = input.rest();
        if (change.empty()) {
            return;
        }
        input = fuzz::Input(reinterpret_cast<const std::uint8_t *>(change.data()) + 1,
                            change.size() - 1);
        const std::string name(input.take_to('='));
        const std::string value(input.rest());
        DDS_ReturnCode_t code = DDS_RETCODE_OK;
        DDS_ReturnCode_t expected = name.empty() ? DDS_RETCODE_BAD_PARAMETER : DDS_RETCODE_OK;
        const auto place = find(model_, name);
        const bool is_there = place != model_.end();
        switch (change.front()) {
        case '+':
            code = DDS_PropertyQosPolicyHelper_add_property(&policy_, name.c_str(), value.c_str(),
                                                            propagate);
            if (is_there) {
                expected = DDS_RETCODE_PRECONDITION_NOT_MET;
            } else if (!name.empty()) {
                model_.push_back({name, value, propagate});
            }
            break;
        case '=':
            code = DDS_PropertyQosPolicyHelper_assert_property(&policy_, name.c_str(),
                                                               value.c_str(), propagate);
            if (is_there) {
                *place = {name, value, propagate};
            } else if (!name.empty()) {
                model_.push_back({name, value, propagate});
            }
            break;
        case '-':
            code = DDS_PropertyQosPolicyHelper_remove_property(&policy_, name.c_str());
            if (is_there) {
                model_.erase(place);
                expected = DDS_RETCODE_OK;
            } else {
                expected = DDS_RETCODE_PRECONDITION_NOT_MET;
            }
            break;
        default:
            return;
        }
        fuzz::must(code == expected, "a change answers whether it was made");
        fuzz::must(messages.count() == (code == DDS_RETCODE_OK ? 0 : 1),
                   "a change that fails says so in one line");
    }

    void check_list() {
        const fuzz::Messages messages;
        fuzz::must(DDS_PropertyQosPolicyHelper_get_number_of_properties(&policy_) ==
                       static_cast<DDS_Long>(model_.size()),
                   "the list has the properties that it was given");
        for (std::size_t i = 0; i < model_.size(); ++i) {
            const Property &wanted = model_[i];
            const DDS_Property_t *property =
                DDS_PropertyQosPolicyHelper_lookup_property(&policy_, wanted.name.c_str());
            fuzz::must(property ==
                           DDS_PropertySeq_get_reference(&policy_.value, static_cast<DDS_Long>(i)),
                       "a property is found by its name, in the order of adding");
            fuzz::must(property->name == wanted.name && property->value == wanted.value &&
                           property->propagate == wanted.propagate,
                       "a property is as it was given");
            check_lookups(wanted);
        }
        fuzz::must(messages.count() == 0, "to look says nothing");
    }

    /** Of the first property that may not have its value, one error; of others at most a warning.
     */
    void check_creation() const {
        const fuzz::Messages messages;
        const bool is_accepted = check_participant_properties(&policy_);
        int warnings = 0;
        const Property *refused = nullptr;
        for (const Property &property : model_) {
            const Verdict verdict = judge(property);
            if (verdict == Verdict::REFUSED) {
                refused = &property;
                break;
            }
            warnings += verdict == Verdict::PASSED_OVER ? 1 : 0;
        }
        fuzz::must(is_accepted == (refused == nullptr), "values out of range are refused");
        fuzz::must(messages.count(NUV_LOG_LEVEL_ERROR) == (is_accepted ? 0 : 1),
                   "what is refused is one error");
        fuzz::must(messages.count(NUV_LOG_LEVEL_WARNING) == warnings,
                   "what is passed over is a warning each");
        fuzz::must(is_accepted ||
                       messages.last().find(refused->name.substr(0, 128)) != std::string::npos,
                   "the error names the property");
    }

private:
    enum class Verdict { FINE, PASSED_OVER, REFUSED };

    static Verdict judge(const Property &property) {
        struct Number {
            const char *name;
            NUV_UINT32 largest;
        };
        static constexpr Number NUMBERS[] = {
            {"domain_participant.max_announced_locator_list_size", 16},
            {"domain_participant.asynchronous_publisher_thread_destruction_timeout", 60},
            {"participant.directed_write_serialization_kind", 2},
            {"transport.multicast_ttl", 255},
            {"transport.dscp", 63},
            {"discovery.max_peer_index", 119},
        };
        static constexpr const char *BOOLEANS[] = {
            "participant.use_45d_compatible_alignment_enforcement",
            "participant.discovery_config.log_discovery_mismatch",
            "discovery.announce",
            "discovery.announce_process",
            "discovery.answer_questions",
            "discovery.accept_mismatch",
        };
        static constexpr const char *DURATIONS[] = {"send", "ea", "process_received_message",
                                                    "authentication"};
        static const std::string PREFIX = "dds.";
        static const std::string TIMED = "participant.logging.time_based_logging.";
        if (!property.name.starts_with(PREFIX)) {
            return Verdict::FINE;
        }
        const std::string name = property.name.substr(PREFIX.size());
        const char *text = property.value.c_str();
        NUV_UINT32 number = 0;
        NUV_INT32 integer = 0;
        int boolean = 0;
        NUVNtpTime duration = NUV_NTP_TIME_ZERO;
        for (const Number &known : NUMBERS) {
            if (name == known.name) {
                return REDAString_strToUnsignedLong(text, &number) != 0 && number <= known.largest
                           ? Verdict::FINE
                           : Verdict::REFUSED;
            }
        }
        for (const char *known : BOOLEANS) {
            if (name == known) {
                return REDAString_strToBoolean(text, &boolean) != 0 ? Verdict::FINE
                                                                    : Verdict::REFUSED;
            }
        }
        for (const char *known : DURATIONS) {
            if (name == TIMED + known + ".timeout") {
                return REDAString_strToNtpTime(text, &duration) != 0 ? Verdict::FINE
                                                                     : Verdict::PASSED_OVER;
            }
        }
        if (name == TIMED + "ea.tracked_level") {
            return REDAString_strToLong(text, &integer) != 0 ? Verdict::FINE : Verdict::PASSED_OVER;
        }
        const bool is_checked_elsewhere = name == "transport.allow_interfaces" ||
                                          name == TIMED + "process_received_message.tracked_ports";
        return is_checked_elsewhere ? Verdict::FINE : Verdict::PASSED_OVER;
    }

    /** The typed lookups are the strict parsers of its value. */
    void check_lookups(const Property &property) const {
        const char *name = property.name.c_str();
        const char *text = property.value.c_str();
        DDS_Long integer = 7;
        NUV_INT32 wanted_integer = 7;
        DDS_UnsignedLong number = 7;
        NUV_UINT32 wanted_number = 7;
        NUVNtpTime duration = NUV_NTP_TIME_ZERO;
        NUVNtpTime wanted_duration = NUV_NTP_TIME_ZERO;
        const bool are_alike =
            (DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy_, &integer, name) != 0) ==
                (REDAString_strToLong(text, &wanted_integer) != 0) &&
            (DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(&policy_, &number,
                                                                          name) != 0) ==
                (REDAString_strToUnsignedLong(text, &wanted_number) != 0) &&
            (DDS_PropertyQosPolicyHelper_lookup_duration_property(&policy_, &duration, name) !=
             0) == (REDAString_strToNtpTime(text, &wanted_duration) != 0);
        fuzz::must(are_alike && integer == wanted_integer && number == wanted_number &&
                       duration.sec == wanted_duration.sec && duration.frac == wanted_duration.frac,
                   "a property's number or duration is what its value says");
    }

    DDS_PropertyQosPolicy policy_ = DDS_PROPERTY_QOS_POLICY_INITIALIZER;
    Model model_;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::HeapBalance balance;
    List list;
    const std::string text = fuzz::text_of(data, size);
    fuzz::Input input(reinterpret_cast<const std::uint8_t *>(text.data()), text.size());
    while (!input.is_empty()) {
        list.apply(input.line());
    }
    list.check_list();
    list.check_creation();
    return 0;
}
