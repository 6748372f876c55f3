// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <utility>

#include "messages.h"
#include "properties/PropertyQosPolicyHelper_internal.h"

namespace {

using faults::fail_each_allocation;

class PropertyHelperTest : public MessageTest {
protected:
    ~PropertyHelperTest() override {
        DDS_PropertyQosPolicy_finalize(&policy_);
    }

    DDS_ReturnCode_t add(const char *name, const char *value, DDS_Boolean propagate = 0) {
        return DDS_PropertyQosPolicyHelper_add_property(&policy_, name, value, propagate);
    }

    DDS_ReturnCode_t assert_property(const char *name, const char *value,
                                     DDS_Boolean propagate = 0) {
        return DDS_PropertyQosPolicyHelper_assert_property(&policy_, name, value, propagate);
    }

    DDS_ReturnCode_t remove(const char *name) {
        return DDS_PropertyQosPolicyHelper_remove_property(&policy_, name);
    }

    DDS_Property_t *find(const char *name) {
        return DDS_PropertyQosPolicyHelper_lookup_property(&policy_, name);
    }

    std::string list() {
        std::string text;
        for (DDS_Long i = 0; i < policy_.value._length; ++i) {
            const DDS_Property_t &property = policy_.value._buffer[i];
            text += std::string(property.name) + "=" + property.value +
                    (property.propagate ? "+ " : " ");
        }
        return text;
    }

    /** Checks that the one message is an error of an operation, of this template and text. */
    void expect_error(const std::string &operation, const char *name, const char *body) {
        const Message message = take_message();
        EXPECT_EQ(message.level, NUV_LOG_LEVEL_ERROR);
        EXPECT_EQ(message.module, NUV_LOG_MODULE_DDS);
        EXPECT_EQ(message.function, "DDS_PropertyQosPolicyHelper_" + operation);
        EXPECT_EQ(message.name, name);
        EXPECT_EQ(message.body, body);
    }

    DDS_PropertyQosPolicy policy_ = DDS_PROPERTY_QOS_POLICY_INITIALIZER;
};

TEST_F(PropertyHelperTest, AddedPropertyIsFound) {
    EXPECT_EQ(find("a"), nullptr);
    EXPECT_EQ(add("a", "1", DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    EXPECT_EQ(add("b", ""), DDS_RETCODE_OK);
    EXPECT_EQ(list(), "a=1+ b= ");
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_number_of_properties(&policy_), 2);
    ASSERT_NE(find("a"), nullptr);
    EXPECT_STREQ(find("a")->value, "1");
    EXPECT_EQ(find("a")->propagate, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(find("ab"), nullptr);
    EXPECT_EQ(find(""), nullptr);
}

TEST_F(PropertyHelperTest, PropertiesWithoutANameArePassedOver) {
    ASSERT_TRUE(DDS_PropertySeq_ensure_length(&policy_.value, 1, 1));
    EXPECT_EQ(find("a"), nullptr);
    EXPECT_EQ(add("a", "1"), DDS_RETCODE_OK);
    EXPECT_NE(find("a"), nullptr);
}

TEST_F(PropertyHelperTest, AddingASecondTimeIsRefused) {
    EXPECT_EQ(add("a", "1"), DDS_RETCODE_OK);
    EXPECT_TRUE(messages_.empty());
    EXPECT_EQ(add("a", "2"), DDS_RETCODE_PRECONDITION_NOT_MET);
    expect_error("add_property", "NUV_LOG_EMPTY_TEMPLATE",
                 "cannot add property 'a': the policy has it already");
    EXPECT_EQ(list(), "a=1 ");
}

TEST_F(PropertyHelperTest, AssertingAddsOrReplaces) {
    EXPECT_EQ(assert_property("a", "1"), DDS_RETCODE_OK);
    EXPECT_EQ(assert_property("b", "2"), DDS_RETCODE_OK);
    EXPECT_EQ(assert_property("a", "three", DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    EXPECT_EQ(list(), "a=three+ b=2 ");
    EXPECT_EQ(assert_property("a", find("a")->value), DDS_RETCODE_OK);
    EXPECT_EQ(list(), "a=three b=2 ");
    EXPECT_TRUE(messages_.empty());
}

TEST_F(PropertyHelperTest, RemovingKeepsTheOrderOfTheOthers) {
    for (const char *name : {"a", "b", "c"}) {
        ASSERT_EQ(add(name, "1"), DDS_RETCODE_OK);
    }
    EXPECT_EQ(remove("d"), DDS_RETCODE_PRECONDITION_NOT_MET);
    expect_error("remove_property", "NUV_LOG_EMPTY_TEMPLATE",
                 "cannot remove property 'd': the policy does not have it");
    EXPECT_EQ(remove(find("a")->name), DDS_RETCODE_OK);
    EXPECT_EQ(list(), "b=1 c=1 ");
    EXPECT_EQ(remove("c"), DDS_RETCODE_OK);
    EXPECT_EQ(list(), "b=1 ");
    EXPECT_EQ(add("a", "2"), DDS_RETCODE_OK);
    EXPECT_EQ(list(), "b=1 a=2 ");
    EXPECT_EQ(remove("b"), DDS_RETCODE_OK);
    EXPECT_EQ(remove("a"), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_number_of_properties(&policy_), 0);
    EXPECT_TRUE(messages_.empty());
}

TEST_F(PropertyHelperTest, RemovingTouchesNothingBehindTheLastProperty) {
    char behind[] = "behind";
    ASSERT_TRUE(DDS_PropertySeq_set_maximum(&policy_.value, 3));
    ASSERT_EQ(add("a", "1"), DDS_RETCODE_OK);
    ASSERT_EQ(add("b", "1"), DDS_RETCODE_OK);
    policy_.value._buffer[2].name = behind;
    EXPECT_EQ(remove("a"), DDS_RETCODE_OK);
    EXPECT_EQ(list(), "b=1 ");
    EXPECT_NE(policy_.value._buffer[1].name, behind);
}

TEST_F(PropertyHelperTest, AFullSequenceLosesItsLastProperty) {
    ASSERT_TRUE(DDS_PropertySeq_set_maximum(&policy_.value, 2));
    ASSERT_EQ(add("a", "1"), DDS_RETCODE_OK);
    ASSERT_EQ(add("b", "1"), DDS_RETCODE_OK);
    ASSERT_EQ(policy_.value._length, policy_.value._maximum);
    EXPECT_EQ(remove("b"), DDS_RETCODE_OK);
    EXPECT_EQ(list(), "a=1 ");
    EXPECT_EQ(remove("a"), DDS_RETCODE_OK);
    EXPECT_EQ(list(), "");
}

TEST_F(PropertyHelperTest, PropagateIs0Or1) {
    EXPECT_EQ(add("a", "1", 2), DDS_RETCODE_BAD_PARAMETER);
    expect_error("add_property", "NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                 "propagate of property 'a' is 2: allowed are 0 and 1");
    EXPECT_EQ(list(), "");
    EXPECT_EQ(add("a", "1"), DDS_RETCODE_OK);
    EXPECT_EQ(assert_property("a", "2", 255), DDS_RETCODE_BAD_PARAMETER);
    expect_error("assert_property", "NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                 "propagate of property 'a' is 255: allowed are 0 and 1");
    EXPECT_EQ(list(), "a=1 ");
}

TEST_F(PropertyHelperTest, AnEmptyNameIsRefused) {
    EXPECT_EQ(add("", "1"), DDS_RETCODE_BAD_PARAMETER);
    expect_error("add_property", "NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                 "name is empty: allowed is the name of a property");
    EXPECT_EQ(assert_property("", "1"), DDS_RETCODE_BAD_PARAMETER);
    expect_error("assert_property", "NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                 "name is empty: allowed is the name of a property");
    EXPECT_EQ(list(), "");
}

TEST_F(PropertyHelperTest, AddingFailsWithoutMemoryAndChangesNothing) {
    const auto fail_each = [this](auto operation, const char *name, const std::string &property) {
        const std::string before = list();
        return fail_each_allocation(operation, [&](DDS_ReturnCode_t result, const auto &failed) {
            EXPECT_EQ(result, failed.empty() ? DDS_RETCODE_OK : DDS_RETCODE_OUT_OF_RESOURCES);
            if (!failed.empty()) {
                expect_error(name, "DDS_LOG_OUT_OF_RESOURCES_s",
                             ("out of resources: " + property).c_str());
                EXPECT_EQ(list(), before);
            }
        });
    };
    EXPECT_EQ(fail_each([this] { return add("a", "1"); }, "add_property", "a"), 3);
    EXPECT_EQ(fail_each([this] { return assert_property("b", "1"); }, "assert_property", "b"), 3);
    EXPECT_EQ(fail_each([this] { return assert_property("a", "22", 1); }, "assert_property", "a"),
              1);
    EXPECT_EQ(list(), "a=22+ b=1 ");
}

TEST_F(PropertyHelperTest, NullIsAFailedPrecondition) {
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_property(nullptr, "a", "1", 0),
              DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"policy == ((void *)0)\"");
    EXPECT_EQ(add(nullptr, "1"), DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"name == ((void *)0)\"");
    EXPECT_EQ(add("a", nullptr), DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"value == ((void *)0)\"");
    EXPECT_EQ(assert_property("a", nullptr), DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"value == ((void *)0)\"");
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_remove_property(nullptr, "a"), DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"policy == ((void *)0)\"");
    EXPECT_EQ(remove(nullptr), DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"name == ((void *)0)\"");
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property(nullptr, "a"), nullptr);
    expect_precondition("\"policy == ((void *)0)\"");
    EXPECT_EQ(find(nullptr), nullptr);
    expect_precondition("\"name == ((void *)0)\"");
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_number_of_properties(nullptr), 0);
    expect_precondition("\"policy == ((void *)0)\"");
    ASSERT_EQ(add("a", "1"), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy_, nullptr, "a"),
              DDS_BOOLEAN_FALSE);
    expect_precondition("\"out == ((void *)0)\"");
}

TEST_F(PropertyHelperTest, UnsignedIntegersAreReadStrictly) {
    const auto lookup = [this](const char *value, DDS_UnsignedLong *out) {
        EXPECT_EQ(assert_property("n", value), DDS_RETCODE_OK);
        return DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(&policy_, out, "n");
    };
    DDS_UnsignedLong number = 77;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(&policy_, &number, "n"),
              DDS_BOOLEAN_FALSE);
    EXPECT_EQ(lookup("-1", &number), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(lookup("2x", &number), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(lookup("", &number), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(lookup("4294967296", &number), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(number, 77u);
    EXPECT_EQ(lookup("4294967295", &number), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(number, 4294967295u);
}

TEST_F(PropertyHelperTest, IntegersAreReadStrictly) {
    const auto lookup = [this](const char *value, DDS_Long *out) {
        EXPECT_EQ(assert_property("n", value), DDS_RETCODE_OK);
        return DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy_, out, "n");
    };
    DDS_Long number = 77;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy_, &number, "n"),
              DDS_BOOLEAN_FALSE);
    EXPECT_EQ(lookup("2147483648", &number), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(lookup(" 1", &number), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(number, 77);
    EXPECT_EQ(lookup("-12", &number), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(number, -12);
}

TEST_F(PropertyHelperTest, DurationsAreReadStrictly) {
    const auto lookup = [this](const char *value, NUVNtpTime *out) {
        EXPECT_EQ(assert_property("n", value), DDS_RETCODE_OK);
        return DDS_PropertyQosPolicyHelper_lookup_duration_property(&policy_, out, "n");
    };
    NUVNtpTime time = {7, 8};
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_duration_property(&policy_, &time, "n"),
              DDS_BOOLEAN_FALSE);
    EXPECT_EQ(lookup("soon", &time), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(time.sec, 7);
    EXPECT_EQ(time.frac, 8u);
    EXPECT_EQ(lookup("0.125", &time), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(time.sec, 0);
    EXPECT_EQ(time.frac, 0x20000000u);
    EXPECT_EQ(lookup("infinite", &time), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(time.sec, 0x7FFFFFFF);
    EXPECT_EQ(time.frac, 0xFFFFFFFFu);
}

TEST_F(PropertyHelperTest, APropertyWithoutAValueIsNotGiven) {
    ASSERT_EQ(add("n", "1"), DDS_RETCODE_OK);
    DDS_String_replace(&find("n")->value, nullptr);
    DDS_Long number = 77;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_integer_property(&policy_, &number, "n"),
              DDS_BOOLEAN_FALSE);
    EXPECT_EQ(number, 77);
}

} // namespace
