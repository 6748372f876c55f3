// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <numeric>
#include <string>

#include "dds_c/dds_c_locator.h"
#include "dds_c/dds_c_qospolicy.h"
#include "messages.h"

namespace {

using faults::fail_each_allocation;

class SequenceTest : public MessageTest {
protected:
    ~SequenceTest() override {
        DDS_StringSeq_finalize(&strings_);
        DDS_StringSeq_finalize(&others_);
        DDS_OctetSeq_finalize(&octets_);
    }

    static void fill(DDS_StringSeq &sequence, std::initializer_list<const char *> texts) {
        for (const char *text : texts) {
            ASSERT_EQ(DDS_StringSeq_append(&sequence, text), DDS_BOOLEAN_TRUE);
        }
    }

    static std::vector<std::string> texts_of(const DDS_StringSeq &sequence) {
        std::vector<std::string> texts;
        for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&sequence); ++i) {
            const char *text = DDS_StringSeq_get(&sequence, i);
            texts.emplace_back(text == nullptr ? "(null)" : text);
        }
        return texts;
    }

    DDS_StringSeq strings_ = DDS_SEQUENCE_INITIALIZER;
    DDS_StringSeq others_ = DDS_SEQUENCE_INITIALIZER;
    DDS_OctetSeq octets_ = DDS_SEQUENCE_INITIALIZER;
};

using Texts = std::vector<std::string>;

TEST_F(SequenceTest, StartsEmpty) {
    DDS_OctetSeq sequence = {reinterpret_cast<DDS_Octet *>(this), 7, 9};
    DDS_OctetSeq_initialize(&sequence);
    EXPECT_EQ(DDS_OctetSeq_get_length(&sequence), 0);
    EXPECT_EQ(DDS_OctetSeq_get_maximum(&sequence), 0);
    EXPECT_EQ(sequence._buffer, nullptr);
}

TEST_F(SequenceTest, LengthStaysWithinTheMaximum) {
    EXPECT_EQ(DDS_OctetSeq_set_length(&octets_, 1), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(DDS_OctetSeq_set_maximum(&octets_, 4), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_OctetSeq_get_maximum(&octets_), 4);
    EXPECT_EQ(DDS_OctetSeq_get_length(&octets_), 0);
    EXPECT_EQ(DDS_OctetSeq_set_length(&octets_, 4), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_OctetSeq_get_length(&octets_), 4);
    EXPECT_EQ(DDS_OctetSeq_set_length(&octets_, 5), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(DDS_OctetSeq_set_length(&octets_, -1), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(DDS_OctetSeq_get_length(&octets_), 4);
}

TEST_F(SequenceTest, MaximumIsNotBelowTheLength) {
    ASSERT_EQ(DDS_OctetSeq_ensure_length(&octets_, 2, 4), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_OctetSeq_set_maximum(&octets_, 1), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(DDS_OctetSeq_set_maximum(&octets_, -1), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(DDS_OctetSeq_get_maximum(&octets_), 4);
    EXPECT_EQ(DDS_OctetSeq_set_maximum(&octets_, 2), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_OctetSeq_get_maximum(&octets_), 2);
    EXPECT_EQ(DDS_OctetSeq_set_length(&octets_, 0), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_OctetSeq_set_maximum(&octets_, 0), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(octets_._buffer, nullptr);
}

TEST_F(SequenceTest, EnsuringALengthGrowsOnlyWhenItMust) {
    EXPECT_EQ(DDS_OctetSeq_ensure_length(&octets_, 3, 8), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_OctetSeq_get_length(&octets_), 3);
    EXPECT_EQ(DDS_OctetSeq_get_maximum(&octets_), 8);
    EXPECT_EQ(DDS_OctetSeq_ensure_length(&octets_, 8, 16), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_OctetSeq_get_maximum(&octets_), 8);
    EXPECT_EQ(DDS_OctetSeq_ensure_length(&octets_, 9, 8), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(DDS_OctetSeq_ensure_length(&octets_, -1, 8), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(DDS_OctetSeq_get_length(&octets_), 8);
}

TEST_F(SequenceTest, ElementsThatComeAreZero) {
    ASSERT_EQ(DDS_OctetSeq_ensure_length(&octets_, 2, 2), DDS_BOOLEAN_TRUE);
    *DDS_OctetSeq_get_reference(&octets_, 1) = 7;
    EXPECT_EQ(DDS_OctetSeq_get(&octets_, 1), 7);
    ASSERT_EQ(DDS_OctetSeq_set_length(&octets_, 1), DDS_BOOLEAN_TRUE);
    ASSERT_EQ(DDS_OctetSeq_set_length(&octets_, 2), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_OctetSeq_get(&octets_, 1), 0);
}

TEST_F(SequenceTest, StringsThatGoAreFreedAndThoseThatComeAreNull) {
    fill(strings_, {"a", "b", "c"});
    ASSERT_EQ(DDS_StringSeq_set_length(&strings_, 1), DDS_BOOLEAN_TRUE);
    ASSERT_EQ(DDS_StringSeq_set_length(&strings_, 3), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(texts_of(strings_), (Texts{"a", "(null)", "(null)"}));
}

TEST_F(SequenceTest, GrowingKeepsTheElements) {
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(DDS_StringSeq_append(&strings_, std::to_string(i).c_str()), DDS_BOOLEAN_TRUE);
    }
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(std::to_string(i), DDS_StringSeq_get(&strings_, i));
    }
    EXPECT_GE(DDS_StringSeq_get_maximum(&strings_), 100);
}

TEST_F(SequenceTest, AnIndexOutOfRangeIsAFailedPrecondition) {
    fill(strings_, {"a"});
    EXPECT_EQ(DDS_StringSeq_get(&strings_, 1), nullptr);
    expect_precondition("\"i < 0 || i >= self->_length\"");
    EXPECT_EQ(DDS_StringSeq_get_reference(&strings_, -1), nullptr);
    expect_precondition("\"i < 0 || i >= self->_length\"");
}

TEST_F(SequenceTest, NullIsAFailedPrecondition) {
    const char *const text = "\"self == ((void *)0)\"";
    DDS_StringSeq_initialize(nullptr);
    expect_precondition(text);
    DDS_StringSeq_finalize(nullptr);
    expect_precondition(text);
    EXPECT_EQ(DDS_StringSeq_get_length(nullptr), 0);
    expect_precondition(text);
    EXPECT_EQ(DDS_StringSeq_set_length(nullptr, 0), DDS_BOOLEAN_FALSE);
    expect_precondition(text);
    EXPECT_EQ(DDS_StringSeq_get_maximum(nullptr), 0);
    expect_precondition(text);
    EXPECT_EQ(DDS_StringSeq_set_maximum(nullptr, 0), DDS_BOOLEAN_FALSE);
    expect_precondition(text);
    EXPECT_EQ(DDS_StringSeq_ensure_length(nullptr, 0, 0), DDS_BOOLEAN_FALSE);
    expect_precondition(text);
    EXPECT_EQ(DDS_StringSeq_get(nullptr, 0), nullptr);
    expect_precondition(text);
    EXPECT_EQ(DDS_StringSeq_get_reference(nullptr, 0), nullptr);
    expect_precondition(text);
    EXPECT_EQ(DDS_StringSeq_copy(nullptr, &strings_), nullptr);
    expect_precondition(text);
    EXPECT_EQ(DDS_StringSeq_copy(&strings_, nullptr), nullptr);
    expect_precondition("\"src == ((void *)0)\"");
    EXPECT_EQ(DDS_StringSeq_from_array(nullptr, nullptr, 0), DDS_BOOLEAN_FALSE);
    expect_precondition(text);
    EXPECT_EQ(DDS_StringSeq_from_array(&strings_, nullptr, 1), DDS_BOOLEAN_FALSE);
    expect_precondition("\"array == ((void *)0)\"");
    EXPECT_EQ(DDS_StringSeq_is_equal(nullptr, &strings_), DDS_BOOLEAN_FALSE);
    expect_precondition("\"left == ((void *)0)\"");
    EXPECT_EQ(DDS_StringSeq_is_equal(&strings_, nullptr), DDS_BOOLEAN_FALSE);
    expect_precondition("\"right == ((void *)0)\"");
    EXPECT_EQ(DDS_StringSeq_append(nullptr, "a"), DDS_BOOLEAN_FALSE);
    expect_precondition(text);
    EXPECT_EQ(DDS_StringSeq_append(&strings_, nullptr), DDS_BOOLEAN_FALSE);
    expect_precondition("\"text == ((void *)0)\"");
}

TEST_F(SequenceTest, EqualMeansTheSameElementsInTheSameOrder) {
    fill(strings_, {"a", "b"});
    EXPECT_EQ(DDS_StringSeq_is_equal(&strings_, &others_), DDS_BOOLEAN_FALSE);
    fill(others_, {"b", "a"});
    EXPECT_EQ(DDS_StringSeq_is_equal(&strings_, &others_), DDS_BOOLEAN_FALSE);
    ASSERT_NE(DDS_StringSeq_copy(&others_, &strings_), nullptr);
    EXPECT_EQ(DDS_StringSeq_is_equal(&strings_, &others_), DDS_BOOLEAN_TRUE);
    DDS_String_replace(DDS_StringSeq_get_reference(&others_, 1), nullptr);
    EXPECT_EQ(DDS_StringSeq_is_equal(&strings_, &others_), DDS_BOOLEAN_FALSE);
    DDS_String_replace(DDS_StringSeq_get_reference(&strings_, 1), nullptr);
    EXPECT_EQ(DDS_StringSeq_is_equal(&strings_, &others_), DDS_BOOLEAN_TRUE);
}

TEST_F(SequenceTest, CopyIsDeep) {
    fill(strings_, {"a", "b"});
    EXPECT_EQ(DDS_StringSeq_copy(&others_, &strings_), &others_);
    EXPECT_EQ(texts_of(others_), (Texts{"a", "b"}));
    EXPECT_NE(DDS_StringSeq_get(&others_, 0), DDS_StringSeq_get(&strings_, 0));
}

TEST_F(SequenceTest, CopyToItselfChangesNothing) {
    fill(strings_, {"a", "b"});
    EXPECT_EQ(DDS_StringSeq_copy(&strings_, &strings_), &strings_);
    EXPECT_EQ(texts_of(strings_), (Texts{"a", "b"}));
}

TEST_F(SequenceTest, CopyReusesStorageThatFits) {
    fill(strings_, {"abc", "de", "f"});
    fill(others_, {"xyz", "uv"});
    const char *first = DDS_StringSeq_get(&strings_, 0);
    faults::fail_allocation(1);
    EXPECT_EQ(DDS_StringSeq_copy(&strings_, &others_), &strings_);
    EXPECT_FALSE(faults::happened());
    EXPECT_EQ(DDS_StringSeq_get(&strings_, 0), first);
    EXPECT_EQ(texts_of(strings_), (Texts{"xyz", "uv"}));
}

TEST_F(SequenceTest, CopyOfNullStringsReusesStorage) {
    fill(strings_, {"abc"});
    ASSERT_EQ(DDS_StringSeq_set_maximum(&strings_, 2), DDS_BOOLEAN_TRUE);
    ASSERT_EQ(DDS_StringSeq_ensure_length(&others_, 2, 2), DDS_BOOLEAN_TRUE);
    faults::fail_allocation(1);
    EXPECT_EQ(DDS_StringSeq_copy(&strings_, &others_), &strings_);
    EXPECT_FALSE(faults::happened());
    EXPECT_EQ(texts_of(strings_), (Texts{"(null)", "(null)"}));
}

TEST_F(SequenceTest, AFailedCopyLeavesTheDestination) {
    fill(others_, {"a", "longer than before", "c"});
    fill(strings_, {"k", "ept"});
    const int allocations = fail_each_allocation([this] {
        if (DDS_StringSeq_copy(&strings_, &others_) != nullptr) {
            return true;
        }
        EXPECT_EQ(texts_of(strings_), (Texts{"k", "ept"}));
        return false;
    });
    EXPECT_EQ(allocations, 4);
    EXPECT_EQ(texts_of(strings_), texts_of(others_));
}

TEST_F(SequenceTest, AFailedAppendLeavesTheSequence) {
    fill(strings_, {"a"});
    const int allocations = fail_each_allocation([this] {
        if (DDS_StringSeq_append(&strings_, "b")) {
            return true;
        }
        EXPECT_EQ(texts_of(strings_), (Texts{"a"}));
        return false;
    });
    EXPECT_EQ(allocations, 2);
    EXPECT_EQ(texts_of(strings_), (Texts{"a", "b"}));
}

TEST_F(SequenceTest, AFailedGrowthLeavesTheSequence) {
    fill(strings_, {"a"});
    faults::fail_allocation(1);
    EXPECT_EQ(DDS_StringSeq_set_maximum(&strings_, 50), DDS_BOOLEAN_FALSE);
    faults::fail_allocation(1);
    EXPECT_EQ(DDS_StringSeq_ensure_length(&strings_, 50, 50), DDS_BOOLEAN_FALSE);
    faults::stop();
    EXPECT_EQ(texts_of(strings_), (Texts{"a"}));
    EXPECT_EQ(DDS_StringSeq_get_maximum(&strings_), 1);
}

TEST_F(SequenceTest, ANegativeLengthIsRefused) {
    const DDS_Octet octet = 5;
    EXPECT_EQ(DDS_OctetSeq_from_array(&octets_, &octet, -1), DDS_BOOLEAN_FALSE);
    expect_precondition("\"length < 0\"");
    EXPECT_EQ(DDS_OctetSeq_get_length(&octets_), 0);
}

TEST_F(SequenceTest, NothingIsAppendedToTheLongestSequence) {
    char *element = nullptr;
    DDS_StringSeq longest = {&element, 0x7FFFFFFF, 0x7FFFFFFF};
    EXPECT_EQ(DDS_StringSeq_append(&longest, "a"), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(longest._length, 0x7FFFFFFF);
    longest._length = longest._maximum = 0x40000000;
    faults::fail_allocation(2); // after the string, the array of the largest length
    EXPECT_EQ(DDS_StringSeq_append(&longest, "a"), DDS_BOOLEAN_FALSE);
    EXPECT_TRUE(faults::happened());
    EXPECT_EQ(longest._maximum, 0x40000000);
}

TEST_F(SequenceTest, IsMadeFromAnArray) {
    const std::array<DDS_Octet, 3> array = {1, 2, 3};
    EXPECT_EQ(DDS_OctetSeq_from_array(&octets_, array.data(), 3), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_OctetSeq_get_length(&octets_), 3);
    EXPECT_EQ(DDS_OctetSeq_get(&octets_, 2), 3);
    EXPECT_EQ(DDS_OctetSeq_from_array(&octets_, nullptr, 0), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_OctetSeq_get_length(&octets_), 0);

    char a[] = "a";
    char b[] = "b";
    char *const texts[] = {a, b};
    EXPECT_EQ(DDS_StringSeq_from_array(&strings_, texts, 2), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(texts_of(strings_), (Texts{"a", "b"}));
    EXPECT_EQ(DDS_StringSeq_from_array(&strings_, strings_._buffer, 1), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(texts_of(strings_), (Texts{"a"}));
}

/** Two locators that differ in each octet of their addresses. */
DDS_LocatorSeq two_locators() {
    DDS_LocatorSeq locators = DDS_SEQUENCE_INITIALIZER;
    EXPECT_TRUE(DDS_LocatorSeq_ensure_length(&locators, 2, 2));
    for (DDS_Long i = 0; i < 2; ++i) {
        DDS_Locator_t &locator = locators._buffer[i];
        locator.kind = 1 + i;
        locator.port = 7410u + static_cast<DDS_UnsignedLong>(i);
        std::iota(std::begin(locator.address), std::end(locator.address),
                  static_cast<DDS_Octet>(1 + 100 * i));
    }
    return locators;
}

TEST_F(SequenceTest, ACopyOfLocatorsEqualsThem) {
    DDS_LocatorSeq locators = two_locators();
    DDS_LocatorSeq copy = DDS_SEQUENCE_INITIALIZER;
    EXPECT_EQ(DDS_LocatorSeq_copy(&copy, &locators), &copy);
    EXPECT_TRUE(DDS_LocatorSeq_is_equal(&copy, &locators));
    EXPECT_NE(copy._buffer, locators._buffer);
    DDS_LocatorSeq_finalize(&copy);
    DDS_LocatorSeq_finalize(&locators);
}

TEST_F(SequenceTest, ACopyOfLocatorsIntoStorageThatItHasEqualsThem) {
    DDS_LocatorSeq locators = two_locators();
    DDS_LocatorSeq copy = DDS_SEQUENCE_INITIALIZER;
    ASSERT_TRUE(DDS_LocatorSeq_ensure_length(&copy, 2, 2));
    const DDS_Locator_t *const storage = copy._buffer;
    EXPECT_EQ(DDS_LocatorSeq_copy(&copy, &locators), &copy);
    EXPECT_TRUE(DDS_LocatorSeq_is_equal(&copy, &locators));
    EXPECT_EQ(copy._buffer, storage);
    DDS_LocatorSeq_finalize(&copy);
    DDS_LocatorSeq_finalize(&locators);
}

TEST_F(SequenceTest, ElementsMayHoldSequences) {
    DDS_TransportMulticastMappingSeq mappings = DDS_SEQUENCE_INITIALIZER;
    ASSERT_EQ(DDS_TransportMulticastMappingSeq_ensure_length(&mappings, 2, 2), DDS_BOOLEAN_TRUE);
    DDS_TransportMulticastMapping_t *mapping =
        DDS_TransportMulticastMappingSeq_get_reference(&mappings, 1);
    fill(mapping->addresses, {"239.255.1.1", "239.255.1.2"});
    mapping->topic_expression = DDS_String_dup("*");

    const int allocations = fail_each_allocation([&mappings] {
        DDS_TransportMulticastMappingSeq copy = DDS_SEQUENCE_INITIALIZER;
        const bool is_done = DDS_TransportMulticastMappingSeq_copy(&copy, &mappings) != nullptr;
        EXPECT_EQ(DDS_TransportMulticastMappingSeq_is_equal(&copy, &mappings), is_done ? 1 : 0);
        if (!is_done) {
            EXPECT_EQ(copy._buffer, nullptr);
        }
        DDS_TransportMulticastMappingSeq_finalize(&copy);
        return is_done;
    });
    EXPECT_EQ(allocations, 5); // two arrays, three strings
    DDS_TransportMulticastMappingSeq_finalize(&mappings);
}

TEST_F(SequenceTest, ArraysHaveTheTagAndTheNameOfTheirElements) {
    fill(strings_, {"a"});
    const DDS_Octet octet = 1;
    ASSERT_EQ(DDS_OctetSeq_from_array(&octets_, &octet, 1), DDS_BOOLEAN_TRUE);
    DDS_LocatorSeq locators = DDS_SEQUENCE_INITIALIZER;
    ASSERT_EQ(DDS_LocatorSeq_set_maximum(&locators, 1), DDS_BOOLEAN_TRUE);
    std::vector<std::string> arrays;
    NUVOsapiHeap_report(
        [](void *param, NUV_UINT32 tag, const char *type, NUV_UINT64, NUV_UINT64) {
            if (tag == NUV_OSAPI_HEAP_TAG_ARRAY) {
                static_cast<std::vector<std::string> *>(param)->emplace_back(type);
            }
        },
        &arrays);
    for (const char *type : {"char *", "DDS_Octet", "struct DDS_Locator_t"}) {
        EXPECT_NE(std::find(arrays.begin(), arrays.end(), type), arrays.end()) << type;
    }
    DDS_LocatorSeq_finalize(&locators);
}

TEST_F(SequenceTest, FinalizedSequenceMayBeUsedAgain) {
    fill(strings_, {"a"});
    DDS_StringSeq_finalize(&strings_);
    EXPECT_EQ(DDS_StringSeq_get_maximum(&strings_), 0);
    fill(strings_, {"b"});
    EXPECT_EQ(texts_of(strings_), (Texts{"b"}));
    DDS_StringSeq_finalize(&strings_);
    DDS_StringSeq_finalize(&strings_);
}

} // namespace
