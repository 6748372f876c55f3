// SPDX-License-Identifier: Apache-2.0
// Each field of each policy, by the table: what it is given is read back, and it may change or not.
#include "fixture.h"
#include "qos/walk.h"

namespace {

using namespace dds::qos;

// ---- another value, for each type of range

void alter(DDS_Long &value, const Between &range) {
    value = value == range.smallest ? range.smallest + 1 : range.smallest;
}

template <typename TNumber>
requires std::is_arithmetic_v<TNumber>
void alter(TNumber &value, const Any & /*range*/) {
    ++value;
}

template <typename TMask>
void alter(TMask &value, const Bits &range) {
    const auto all = static_cast<TMask>(range.allowed);
    value = value == all ? all & -all : all;
}

void alter(DDS_Boolean &value, const TruthValue & /*range*/) {
    value = value == DDS_BOOLEAN_FALSE ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

void alter(DDS_Boolean &value, const PropertyMark & /*range*/) {
    value = DDS_BOOLEAN_TRUE;
}

void alter(DDS_Duration_t &value, const PositiveDuration & /*range*/) {
    value = {50, 0};
}

void alter(DDS_Duration_t &value, const FiniteDuration & /*range*/) {
    value = {2, 0};
}

void alter(DDS_OctetSeq &value, const Limited & /*range*/) {
    const DDS_Octet octet = 7;
    ASSERT_TRUE(DDS_OctetSeq_from_array(&value, &octet, 1));
}

/** Any text will do for a name, an expression or a value. */
template <typename TRange>
void alter(char *&value, const TRange & /*range*/) {
    ASSERT_TRUE(DDS_String_replace(&value, "x"));
}

const char *text_in(const Transports & /*range*/) {
    return "udpv4";
}

const char *text_in(const Peers & /*range*/) {
    return "192.0.2.9";
}

const char *text_in(const MulticastAddresses & /*range*/) {
    return "239.255.0.9";
}

const char *text_in(const ReceiveAddresses & /*range*/) {
    return "239.255.0.9";
}

const char *text_in(const PartitionNames & /*range*/) {
    return "p";
}

template <typename TRange>
void alter(DDS_StringSeq &value, const TRange &range) {
    ASSERT_TRUE(DDS_StringSeq_append(&value, text_in(range)));
}

template <typename TRange>
const TRange &range_itself(const TRange &range) {
    return range;
}

template <typename TRange>
const TRange &range_itself(const Ahead<TRange> &ahead) {
    return ahead.range;
}

/** One element, each field of which has another value. */
template <SettingsList TList, typename TRange>
void alter(TList &value, const TRange & /*range*/) {
    ASSERT_TRUE(dds::value::set_maximum(value, 1));
    dds::value::set_length(value, 1);
    every_row<typename ElementOf<TList>::Type>([&](const auto &row) {
        alter(value._buffer[0].*row.member, range_itself(row.range));
        return true;
    });
}

// ---- one field after the other

struct FieldOfQos {
    std::string name;
    bool isFixed;
};

/** Gives the field of which @p left are before it another value. False when there are not so many.
 */
template <Settings T>
bool alterOne(T &record, int &left, bool isFixed, const std::string &path, FieldOfQos &field) {
    return !every_row<T>([&](const auto &row) {
        const bool isRowFixed =
            row.change.kind == dds::qos::Change::WITH_WHOLE
                ? isFixed
                : row.change.kind == dds::qos::Change::REFUSED ||
                      row.change.kind == dds::qos::Change::REFUSED_BY_PRESENTATION;
        const std::string name = path + row.name;
        if constexpr (Settings<TypeOf<decltype(row)>>) {
            return !alterOne(record.*row.member, left, isRowFixed, name + ".", field);
        } else {
            if (left-- > 0) {
                return true;
            }
            alter(record.*row.member, range_itself(row.range));
            field = {name, isRowFixed};
            return false;
        }
    });
}

class EachField : public ParticipantQos {
protected:
    /** The fields before @p nth are as by default. */
    bool alterNth(int nth) {
        qos.setDefault();
        return alterOne(*qos.get(), nth, false, "", field);
    }

    void remove() {
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                  DDS_RETCODE_OK);
        participant = nullptr;
    }

    FieldOfQos field;
};

constexpr int FIELDS_MAX = 1000;

TEST_F(EachField, IsReadBackAsItWasGiven) {
    int nth = 0;
    for (; nth < FIELDS_MAX && alterNth(nth); ++nth) {
        SCOPED_TRACE(field.name);
        create(false);
        ASSERT_NE(participant, nullptr);
        ASSERT_EQ(get(), DDS_RETCODE_OK);
        EXPECT_TRUE(out == qos);
        remove();
    }
    EXPECT_GT(nth, 20);
}

TEST_F(EachField, MayChangeUnlessItIsFixed) {
    int nth = 0;
    for (; nth < FIELDS_MAX && alterNth(nth); ++nth) {
        SCOPED_TRACE(field.name);
        qos.setDefault();
        create(false);
        ASSERT_NE(participant, nullptr);
        ASSERT_TRUE(alterNth(nth));
        EXPECT_EQ(set(), field.isFixed ? DDS_RETCODE_IMMUTABLE_POLICY : DDS_RETCODE_OK);
        if (!field.isFixed) {
            expectQos(qos);
        }
        remove();
    }
    EXPECT_GT(nth, 20);
}

} // namespace
