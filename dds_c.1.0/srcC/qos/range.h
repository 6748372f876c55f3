// SPDX-License-Identifier: Apache-2.0
/**
 * @file range.h
 * @brief The values that a field of a policy may have. DomainParticipantQos_consistency.cpp has a
 * check for each type; a range without one does not compile.
 */
#ifndef QOS_RANGE_H
#define QOS_RANGE_H

#include "dds_c/dds_c_domainparticipantqos.h"
#include "dds_c/dds_c_qosvisitor.h"

namespace dds::qos {

/** Every value; of a record or of a sequence of records, what their own rows allow. */
struct Any {};

/** From the smallest to the largest one. */
struct Between {
    DDS_Long smallest;
    DDS_Long largest;
};

/** In place of the largest one. */
constexpr DDS_Long UNLIMITED = 0x7FFFFFFF;

/** DDS_BOOLEAN_FALSE and DDS_BOOLEAN_TRUE. */
struct TruthValue {};

/** A set of bits. */
struct Bits {
    DDS_QosValueKind kind; /**< what the bits stand for */
    DDS_UnsignedLong allowed;
    bool is_none_allowed = true;
};

/** Infinite, or more than 0. */
struct PositiveDuration {};

/** More than 0, and not infinite. */
struct FiniteDuration {};

/** A length that another policy limits. */
struct Limited {
    const char *unit;
    DDS_Long DDS_DomainParticipantResourceLimitsQosPolicy::*limit;
};

/** A text of so many characters, or none. */
struct NameOfAtMost {
    DDS_Long length;
};

/** A text that is not empty. */
struct TopicExpression {
    static constexpr const char *allowed = "an expression for topic names";
};

/** Aliases of transports, which netio lists. */
struct Transports {};

/** No more than so many host names and addresses, in the forms that netio lists. */
struct Peers {
    DDS_Long count;
};

struct MulticastAddresses {
    static constexpr const char *allowed = "numeric multicast addresses without port";
};

/** No more than so many multicast addresses, which sockets are bound to. */
struct ReceiveAddresses {
    DDS_Long count;
};

/** Texts that have at most so many characters when joined by ','. */
struct PartitionNames {
    static constexpr const char *allowed = "texts without ','";
    DDS_Long length;
};

/** The parts of a property, which is named in the messages on it. */
struct PropertyName {
    static constexpr const char *allowed = "a name";
};
struct PropertyValue {
    static constexpr const char *allowed = "a text";
};
struct PropertyMark {};

/** A range that is looked at ahead of those of the record's other fields. */
template <typename Range>
struct Ahead {
    Range range;
};

template <typename Range>
Ahead(Range) -> Ahead<Range>;

} // namespace dds::qos

#endif
