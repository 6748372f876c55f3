// SPDX-License-Identifier: Apache-2.0
// The tables of policies and properties: that they name everything, and that nothing else does.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include <gmock/gmock.h>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "dds_c/dds_c_qosvisitor.h"
#include "domain/environment.h"
#include "participant_qos.h"
#include "qos/unusedSettings.h"

using testing::IsEmpty;

/** A number, an array and a record. */
template <int WHICH>
struct Three {
    int first;
    char second[3];
    DDS_Duration_t third;
};

using Complete = Three<0>;
using LackingOne = Three<1>;
using LackingTheArray = Three<2>;
using NamingOneTwice = Three<3>;

namespace dds::value {

DDS_RECORD(Complete, DDS_FIELD(third), DDS_FIELD(first), DDS_FIELD(second));
DDS_RECORD(LackingOne, DDS_FIELD(first), DDS_FIELD(second));
DDS_RECORD(LackingTheArray, DDS_FIELD(first), DDS_FIELD(third));
DDS_RECORD(NamingOneTwice, DDS_FIELD(first), DDS_FIELD(second), DDS_FIELD(third), DDS_FIELD(first));

} // namespace dds::value

namespace {

using dds::qos::UnusedSettings;
using dds::value::names_each_field_once;

namespace fs = std::filesystem;

const fs::path ROOT = NUVDDS_SOURCE_DIR;

std::string text_of(const fs::path &file) {
    std::ostringstream text;

    text << std::ifstream(file).rdbuf();
    return text.str();
}

/** The names of properties that the sources of a directory spell out, each with its file. */
std::multimap<std::string, std::string> names_spelled_in(const fs::path &directory) {
    static const std::regex LITERAL("\"(dds\\.[a-z][^\"]*)\"");
    std::multimap<std::string, std::string> names;

    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(ROOT / directory)) {
        const std::string extension = entry.path().extension();
        if (extension != ".cpp" && extension != ".h" && extension != ".c") {
            continue;
        }
        // Comments quote names as well.
        const std::string text =
            std::regex_replace(text_of(entry.path()), std::regex("\n *(//|\\*)[^\n]*"), "\n");
        for (std::sregex_iterator found(text.begin(), text.end(), LITERAL), end; found != end;
             ++found) {
            names.emplace((*found)[1], entry.path().filename());
        }
    }
    return names;
}

TEST(PropertyTable, IsWhereTheLibraryHasTheNamesOfItsPropertiesFrom) {
    std::multimap<std::string, std::string> in_table;

    for (const PropertyRow &row : PROPERTIES) {
        in_table.emplace(row.name, "propertyTable.h");
    }
    EXPECT_EQ(names_spelled_in("dds_c.1.0"), in_table);
    EXPECT_THAT(names_spelled_in("lower"), IsEmpty());
}

TEST(PropertyTable, HasThePropertiesThatTheToolGives) {
    for (const auto &spelled : names_spelled_in("tools")) {
        EXPECT_TRUE(std::any_of(std::begin(PROPERTIES), std::end(PROPERTIES),
                                [&](const PropertyRow &row) { return spelled.first == row.name; }))
            << spelled.first << " in " << spelled.second;
    }
}

TEST(PropertyTable, IsInTheReadmeAsFarAsPropertiesAreActedOn) {
    const std::string head = "| property | value | meaning |\n| --- | --- | --- |\n";
    std::string table = head;
    const std::string readme = text_of(ROOT / "README.md");
    const auto start = readme.find(head);

    for (const PropertyRow &row : PROPERTIES) {
        if (row.place == 0) {
            ASSERT_NE(row.values, nullptr) << row.name;
            ASSERT_NE(row.meaning, nullptr) << row.name;
            table +=
                std::string("| `") + row.name + "` | " + row.values + " | " + row.meaning + " |\n";
        }
    }
    ASSERT_NE(start, std::string::npos);
    EXPECT_EQ(readme.substr(start, readme.find("\n\n", start) + 1 - start), table);
}

TEST(EnvironmentTable, IsInTheReadme) {
    std::string table = "| variable | value | default that it changes |\n| --- | --- | --- |\n";

    for (const auto &variable : dds::environment::VARIABLES) {
        table += std::string("| `") + variable.name + "` | " + variable.values + " | " +
                 variable.meaning + " |\n";
    }
    EXPECT_THAT(text_of(ROOT / "README.md"), testing::HasSubstr(table + '\n'));
}

TEST(EnvironmentTable, IsInTheManual) {
    const std::string manual = text_of(ROOT / "packaging" / "nuvdds.7.in");

    for (const auto &variable : dds::environment::VARIABLES) {
        EXPECT_THAT(manual, testing::HasSubstr(std::string(".TP\n.B ") + variable.name + '\n'));
    }
}

TEST(RecordTable, IsOnlyWholeWhenItNamesEachFieldOnce) {
    EXPECT_TRUE(names_each_field_once<Complete>());
    EXPECT_FALSE(names_each_field_once<LackingOne>());
    EXPECT_FALSE(names_each_field_once<LackingTheArray>());
    EXPECT_FALSE(names_each_field_once<NamingOneTwice>());
}

class PolicyTable : public ParticipantQosTest {
protected:
    PolicyTable() {
        fill();
    }

    /** What a visitor is called for, a line each. */
    std::string visited() const {
        std::string text;
        const DDS_QosVisitor visitor = {
            &text,
            [](void *param, const char *name) { add(param, "{", name); },
            [](void *param) { add(param, "}", "record"); },
            [](void *param, const char *name) { add(param, "[", name); },
            [](void *param) { add(param, "]", "list"); },
            [](void *param, const char *name, const DDS_QosValue *value) {
                add(param, std::to_string(value->kind), name);
            }};

        DDS_DomainParticipantQos_visit(&qos_, &visitor);
        return text;
    }

    static void add(void *param, const std::string &what, const char *name) {
        *static_cast<std::string *>(param) +=
            what + (name == nullptr ? " null" : " " + std::string(name)) + "\n";
    }
};

TEST_F(PolicyTable, NullIsAFailedPrecondition) {
    const DDS_QosVisitor visitor = {};

    DDS_DomainParticipantQos_visit(nullptr, &visitor);
    expect_precondition("\"self == ((void *)0)\"");
    DDS_DomainParticipantQos_visit(&qos_, nullptr);
    expect_precondition("\"visitor == ((void *)0)\"");
}

TEST_F(PolicyTable, IsVisitedRecordByRecordInTheOrderOfTheDeclarations) {
    EXPECT_THAT(visited(),
                testing::StartsWith("{ user_data\n8 value\n} record\n"
                                    "{ entity_factory\n0 autoenable_created_entities\n} record\n"
                                    "{ wire_protocol\n1 participant_id\n1 rtps_host_id\n"
                                    "1 rtps_app_id\n1 rtps_instance_id\n"
                                    "{ rtps_well_known_ports\n1 port_base\n"));
}

TEST_F(PolicyTable, ListsAreVisitedElementByElement) {
    EXPECT_THAT(visited(), testing::HasSubstr("{ property\n[ value\n"
                                              "{ null\n6 name\n6 value\n0 propagate\n} record\n"));
}

class UnusedSettingsTest : public ParticipantQosTest {
protected:
    void add(const char *name, const char *value, DDS_Boolean propagate = DDS_BOOLEAN_FALSE) {
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&qos_.property, name, value, propagate),
                  DDS_RETCODE_OK);
    }

    std::string names() const {
        return UnusedSettings(qos_).names();
    }
};

TEST_F(UnusedSettingsTest, AreNoneInTheDefault) {
    EXPECT_EQ(names(), "");
}

TEST_F(UnusedSettingsTest, AreNotGivenByPropertiesWithTheirUsualValues) {
    add(name_of(Property::AUTHENTICATION_TIMEOUT), "soon"); // passed over
    add(name_of(Property::DIRECTED_WRITE_SERIALIZATION_KIND), "0");
    add(name_of(Property::THREAD_DESTRUCTION_TIMEOUT), "10");
    EXPECT_EQ(names(), "");
}

TEST_F(UnusedSettingsTest, AreNotGivenByPropertiesThatAreActedOn) {
    add(name_of(Property::EA_TIMEOUT), "1");
    add(name_of(Property::SEND_TIMEOUT), "1");
    add(name_of(Property::ALIGNMENT_ENFORCEMENT), "yes");
    add(name_of(Property::LOG_DISCOVERY_MISMATCH), "1");
    add(name_of(Property::ANNOUNCE), "no");
    add(name_of(Property::MAX_LOCATOR_LIST_SIZE), "3");
    EXPECT_EQ(names(), "");
}

TEST_F(UnusedSettingsTest, AnotherSpellingOfAnInfiniteLeaseIsNotNamed) {
    qos_.discovery_config.locator_reachability_lease_duration = {5, 0xFFFFFFFFu};
    EXPECT_EQ(names(), "");
}

TEST_F(UnusedSettingsTest, TheSecondVersionOfDiscoveryIsNamed) {
    qos_.discovery_config.builtin_discovery_plugins = DDS_DISCOVERYCONFIG_BUILTIN_PLUGIN_MASK_ALL;
    EXPECT_EQ(names(), "discovery_config.builtin_discovery_plugins");
}

TEST_F(UnusedSettingsTest, WhatIsAnnouncedIsNotNamed) {
    ASSERT_TRUE(DDS_OctetSeq_ensure_length(&qos_.user_data.value, 1, 1));
    ASSERT_TRUE(DDS_StringSeq_append(&qos_.discovery.initial_peers, "192.0.2.9"));
    ASSERT_TRUE(DDS_String_replace(&qos_.participant_name.name, "name"));
    ASSERT_TRUE(DDS_String_replace(&qos_.discovery_config.domain_tag, "tag"));
    qos_.discovery_config.lease_duration = {30, 0};
    add("size", "3", DDS_BOOLEAN_TRUE);
    EXPECT_EQ(names(), "");
}

TEST_F(UnusedSettingsTest, ALoneEmptyPartitionIsNotNamed) {
    ASSERT_TRUE(DDS_StringSeq_append(&qos_.partition.name, ""));
    EXPECT_EQ(names(), "");
}

} // namespace
