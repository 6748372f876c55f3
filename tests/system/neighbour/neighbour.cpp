// SPDX-License-Identifier: Apache-2.0
// Has participants, and tells what they know of others: a line of JSON for each thing, on stdout.
//
//     neighbour SETTINGS
//
// SETTINGS are a JSON object; discovery_network.h says what is in it. Ends with SIGTERM, and then
// its participants leave; tells what they know with SIGUSR1, changes their user data with SIGUSR2.
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "dds_c/dds_c.h"

using nlohmann::json;

namespace {

void check(DDS_ReturnCode_t code, const char *what) {
    if (code != DDS_RETCODE_OK) {
        throw std::runtime_error(std::string(what) + ": " + DDS_ReturnCode_to_string(code));
    }
}

void check(bool holds, const char *what) {
    check(holds ? DDS_RETCODE_OK : DDS_RETCODE_OUT_OF_RESOURCES, what);
}

/** The clock that all processes of the test share. */
double seconds_now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void print(json line) {
    static std::mutex one_at_a_time;
    const std::lock_guard lock(one_at_a_time);

    line["at"] = seconds_now();
    std::puts(line.dump().c_str());
    (void)std::fflush(stdout);
}

std::string hexadecimal(const DDS_GUID_t &guid) {
    std::string text;

    for (const DDS_Octet octet : guid.value) {
        std::array<char, 3> digits{};

        (void)std::snprintf(digits.data(), digits.size(), "%02x", octet);
        text += digits.data();
    }
    return text;
}

std::string text_of(const DDS_Locator_t &locator) {
    std::array<char, DDS_LOCATOR_STRING_SIZE> text{};

    check(DDS_Locator_to_string(&locator, text.data(), text.size()), "DDS_Locator_to_string");
    return text.data();
}

json texts_of(const DDS_LocatorSeq &locators) {
    json texts = json::array();

    for (DDS_Long i = 0; i < DDS_LocatorSeq_get_length(&locators); ++i) {
        texts.push_back(text_of(*DDS_LocatorSeq_get_reference(&locators, i)));
    }
    return texts;
}

double seconds(const DDS_Duration_t &duration) {
    return duration.sec + duration.nanosec / 1e9;
}

DDS_Duration_t duration(double seconds) {
    const auto whole = static_cast<DDS_Long>(seconds);

    return {whole, static_cast<DDS_UnsignedLong>((seconds - whole) * 1e9)};
}

json described(const DDS_ParticipantBuiltinTopicData &data) {
    json properties = json::object();
    std::string user_data;

    for (DDS_Long i = 0; i < DDS_PropertySeq_get_length(&data.property.value); ++i) {
        const DDS_Property_t &each = *DDS_PropertySeq_get_reference(&data.property.value, i);

        properties[each.name] = each.value;
    }
    for (DDS_Long i = 0; i < DDS_OctetSeq_get_length(&data.user_data.value); ++i) {
        user_data += static_cast<char>(*DDS_OctetSeq_get_reference(&data.user_data.value, i));
    }
    return {{"guid", hexadecimal(data.guid)},
            {"domain", data.domain_id},
            {"tag", data.domain_tag == nullptr ? "" : data.domain_tag},
            {"name", data.participant_name == nullptr ? "" : data.participant_name},
            {"user_data", user_data},
            {"properties", properties},
            {"lease", seconds(data.lease_duration)},
            {"metatraffic_unicast", texts_of(data.metatraffic_unicast_locators)},
            {"metatraffic_multicast", texts_of(data.metatraffic_multicast_locators)},
            {"default_unicast", texts_of(data.default_unicast_locators)},
            {"default_multicast", texts_of(data.default_multicast_locators)}};
}

void fill(DDS_StringSeq &sequence, const json &texts) {
    const auto length = static_cast<DDS_Long>(texts.size());

    check(DDS_StringSeq_set_length(&sequence, 0) &&
              DDS_StringSeq_ensure_length(&sequence, length, length),
          "DDS_StringSeq_ensure_length");
    for (DDS_Long i = 0; i < length; ++i) {
        check(DDS_String_replace(DDS_StringSeq_get_reference(&sequence, i),
                                 texts[static_cast<std::size_t>(i)].get<std::string>().c_str()),
              "DDS_String_replace");
    }
}

void fill(DDS_UserDataQosPolicy &policy, const std::string &text) {
    check(DDS_OctetSeq_from_array(&policy.value, reinterpret_cast<const DDS_Octet *>(text.data()),
                                  static_cast<DDS_Long>(text.size())),
          "DDS_OctetSeq_from_array");
}

/** A QoS that is finalized with the object. */
class Qos {
public:
    explicit Qos(const json &settings) {
        check(DDS_DomainParticipantQos_initialize(&value), "DDS_DomainParticipantQos_initialize");
        fill(value.user_data, settings.value("user_data", ""));
        check(
            DDS_String_replace(&value.participant_name.name, settings.value("name", "").c_str()) &&
                DDS_String_replace(&value.discovery_config.domain_tag,
                                   settings.value("tag", "").c_str()),
            "DDS_String_replace");
        value.transport_builtin.mask =
            settings.value("transports", DDS_TRANSPORTBUILTIN_MASK_DEFAULT);
        value.discovery_config.lease_duration = duration(settings.value("lease", 20.0));
        value.discovery_config.announcement_period = duration(settings.value("period", 4.0));
        value.resource_limits.remote_participants_max =
            settings.value("most", value.resource_limits.remote_participants_max);
        if (settings.contains("peers")) {
            fill(value.discovery.initial_peers, settings["peers"]);
        }
        if (settings.contains("receive")) {
            fill(value.discovery.multicast_receive_addresses, settings["receive"]);
        }
        const json properties = settings.value("properties", json::object());

        for (const auto &[name, text] : properties.items()) {
            check(DDS_PropertyQosPolicyHelper_add_property(&value.property, name.c_str(),
                                                           text.get<std::string>().c_str(),
                                                           DDS_BOOLEAN_TRUE),
                  "DDS_PropertyQosPolicyHelper_add_property");
        }
    }
    ~Qos() {
        (void)DDS_DomainParticipantQos_finalize(&value);
    }
    Qos(const Qos &) = delete;
    Qos &operator=(const Qos &) = delete;

    DDS_DomainParticipantQos value = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
};

/** Called by the middleware: nothing may be thrown from here, and what is thrown ends it. */
void print_change(void * /*unused*/, DDS_DomainParticipant * /*unused*/,
                  const DDS_ParticipantBuiltinTopicData *data,
                  DDS_DiscoveredParticipantChange change) noexcept {
    static const char *const WORDS[] = {"came", "changed", "left", "lost"};

    print({{"change", WORDS[change]}, {"participant", described(*data)}});
}

json known(DDS_DomainParticipant *participant) {
    DDS_InstanceHandleSeq handles = DDS_SEQUENCE_INITIALIZER;
    json all = json::array();

    check(DDS_DomainParticipant_get_discovered_participants(participant, &handles),
          "get_discovered_participants");
    for (DDS_Long i = 0; i < DDS_InstanceHandleSeq_get_length(&handles); ++i) {
        DDS_ParticipantBuiltinTopicData data = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_INITIALIZER;

        // One that has left meanwhile is none.
        if (DDS_DomainParticipant_get_discovered_participant_data(
                participant, &data, DDS_InstanceHandleSeq_get_reference(&handles, i)) ==
            DDS_RETCODE_OK) {
            all.push_back(described(data));
        }
        DDS_ParticipantBuiltinTopicData_finalize(&data);
    }
    DDS_InstanceHandleSeq_finalize(&handles);
    return all;
}

json statistics(DDS_DomainParticipant *participant) {
    DDS_DiscoveryStatistics now = {};
    json refused = json::object();

    check(DDS_DomainParticipant_get_discovery_statistics(participant, &now),
          "get_discovery_statistics");
    for (int i = 0; i < DDS_DISCOVERY_REFUSAL_COUNT; ++i) {
        refused[DDS_DiscoveryRefusal_to_string(static_cast<DDS_DiscoveryRefusal>(i))] =
            now.refused[i];
    }
    return {{"known", now.known},
            {"sent", now.announcements_sent},
            {"received", now.announcements_received},
            {"came", now.came},
            {"lost", now.lost},
            {"left", now.left},
            {"heartbeats", now.heartbeats_sent},
            {"refused", refused}};
}

std::size_t number_of_threads() {
    const std::filesystem::directory_iterator threads("/proc/self/task");

    return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

/** By its GUID in hexadecimal; nobody where that is empty. */
void ignore(DDS_DomainParticipant *participant, const std::string &guid) {
    constexpr std::size_t DIGITS = 2;
    constexpr int HEXADECIMAL = 16;
    DDS_InstanceHandle_t handle{};

    for (std::size_t i = 0; i < guid.size() / DIGITS; ++i) {
        handle.value[i] = static_cast<DDS_Octet>(
            std::stoi(guid.substr(DIGITS * i, DIGITS), nullptr, HEXADECIMAL));
    }
    check(guid.empty() ? DDS_RETCODE_OK
                       : DDS_DomainParticipant_ignore_participant(participant, &handle),
          "ignore_participant");
}

class Program {
public:
    explicit Program(const json &settings)
        : factory_(DDS_DomainParticipantFactory_get_instance()), qos_(settings) {
        const DDS_DomainParticipantListener listener = {nullptr, nullptr, nullptr, print_change};
        const bool listens = settings.value("listens", true);
        const std::size_t threads = number_of_threads();

        check(factory_ != nullptr, "DDS_DomainParticipantFactory_get_instance");
        for (int i = 0; i < settings.value("count", 1); ++i) {
            DDS_DomainParticipant *const participant =
                DDS_DomainParticipantFactory_create_participant(
                    factory_, settings.value("domain", 0), &qos_.value,
                    listens ? &listener : nullptr, DDS_STATUS_MASK_NONE);
            DDS_GUID_t guid{};

            check(participant != nullptr, "create_participant");
            participants_.push_back(participant);
            check(DDS_DomainParticipant_get_guid(participant, &guid), "get_guid");
            ignore(participant, settings.value("ignores", ""));
            print({{"guid", hexadecimal(guid)},
                   {"index", DDS_DomainParticipant_get_participant_index(participant)},
                   {"threads_before", threads}});
        }
    }
    ~Program() {
        for (DDS_DomainParticipant *participant : participants_) {
            (void)DDS_DomainParticipantFactory_delete_participant(factory_, participant);
        }
        (void)DDS_DomainParticipantFactory_finalize_instance();
    }
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /** Waits until each participant knows so many others. */
    void wait_for(int count) {
        constexpr DDS_Duration_t PATIENCE = {80, 0};

        for (DDS_DomainParticipant *participant : participants_) {
            check(DDS_DomainParticipant_wait_for_participants(participant, count, &PATIENCE),
                  "wait_for_participants");
        }
        print({{"knows", count}});
    }

    /** What the first one knows, and the statistics of all. */
    void tell() {
        json all = json::array();

        for (DDS_DomainParticipant *participant : participants_) {
            all.push_back(statistics(participant));
        }
        print({{"known", known(participants_.front())}, {"statistics", all}});
    }

    void change() {
        fill(qos_.value.user_data, "changed");
        for (DDS_DomainParticipant *participant : participants_) {
            check(DDS_DomainParticipant_set_qos(participant, &qos_.value), "set_qos");
        }
    }

private:
    DDS_DomainParticipantFactory *const factory_;
    Qos qos_;
    std::vector<DDS_DomainParticipant *> participants_;
};

void run(const json &settings) {
    sigset_t signals;
    int signal = 0;

    (void)sigemptyset(&signals);
    for (const int each : {SIGTERM, SIGUSR1, SIGUSR2}) {
        (void)sigaddset(&signals, each);
    }
    (void)pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    Program program(settings);

    if (settings.contains("expects")) {
        program.wait_for(settings["expects"]);
    }
    while (sigwait(&signals, &signal) == 0 && signal != SIGTERM) {
        if (signal == SIGUSR1) {
            program.tell();
        } else {
            program.change();
        }
    }
}

} // namespace

int main(int argc, char **argv) {
    // What a sanitizer starts with the first thread is there before threads are counted.
    std::thread([] {}).join();
    try {
        run(json::parse(argc == 2 ? argv[1] : ""));
    } catch (const std::exception &error) {
        (void)std::fprintf(stderr, "neighbour: %s\n", error.what());
        return 1;
    }
    return 0;
}
