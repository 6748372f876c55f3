// SPDX-License-Identifier: Apache-2.0
/**
 * @file propertyTable.h
 * @brief The table of properties: a row for each property of a participant that the library reads.
 *
 * Whoever reads a property takes its name from here; no other source spells one. Read from the rows
 * are the check of the values when a participant is created, the warning about settings without
 * effect, and the table in README.md, which a test compares with them.
 */
#ifndef PROPERTIES_PROPERTY_TABLE_H
#define PROPERTIES_PROPERTY_TABLE_H

#include <cstddef>
#include <iterator>

#include "commend/commend_facadeProperty.h"
#include "netio/netio_transport.h"
#include "pres/pres_locatorPolicy.h"

/** The properties, in the order of their rows. */
enum class Property {
    ALLOW_INTERFACES,
    MULTICAST_TTL,
    DSCP,
    MAX_LOCATOR_LIST_SIZE,
    RECEIVE_TIMEOUT,
    RECEIVE_TRACKED_PORTS,
    EA_TIMEOUT,
    EA_TRACKED_LEVEL,
    SEND_TIMEOUT,
    AUTHENTICATION_TIMEOUT,
    ALIGNMENT_ENFORCEMENT,
    LOG_DISCOVERY_MISMATCH,
    ANNOUNCE,
    ANNOUNCE_PROCESS,
    ANSWER_QUESTIONS,
    ACCEPT_MISMATCH,
    MAX_PEER_INDEX,
    DIRECTED_WRITE_SERIALIZATION_KIND,
    THREAD_DESTRUCTION_TIMEOUT,
    COUNT, /**< how many there are */
};

struct PropertyRow {
    /** What a value is made of, and what becomes of one that is not. */
    enum class Kind : NUV_UINT8 {
        BOOLEAN,  /**< refused */
        NUMBER,   /**< from 0 to the largest one; refused */
        DURATION, /**< in seconds, or infinite; passed over with a warning */
        INTEGER,  /**< passed over with a warning */
        TEXT,     /**< refused by whoever reads it, with a message of its own */
    };

    /**
     * Whose code reads it. The presentation half parses more leniently than the table says, which
     * goes unnoticed: the values are checked before it sees them.
     */
    enum class Reader : NUV_UINT8 { ENCLOSING_PARTICIPANT, PRESENTATION_HALF };

    Property property;
    const char *name;
    Kind kind;
    Reader reader;
    /** Of a number. */
    NUV_UINT32 largest;
    /** Of a number that nothing acts on: what does not count as given. */
    NUV_UINT32 usual;
    /** 0: acted on. Else nothing acts on it, and the warning names it in this place. */
    int place;
    /** For README.md: which values are allowed, and what they are for; null if nothing acts on it.
     */
    const char *values;
    const char *meaning;
};

/** The highest participant index that there is with the standard ports. */
constexpr NUV_UINT32 PEER_INDEX_LARGEST = 119;

// clang-format off
constexpr PropertyRow PROPERTIES[] = {
    {Property::ALLOW_INTERFACES, "dds.transport.allow_interfaces",
     PropertyRow::Kind::TEXT, PropertyRow::Reader::ENCLOSING_PARTICIPANT, 0, 0, 0,
     "names or addresses joined by `,`", "use these interfaces only"},

    {Property::MULTICAST_TTL, "dds.transport.multicast_ttl",
     PropertyRow::Kind::NUMBER, PropertyRow::Reader::ENCLOSING_PARTICIPANT,
     NUV_NETIO_MULTICAST_TTL_MAX, 0, 0,
     "0 to 255", "time to live of what goes to a group; 1 unless given: no router passes it on"},

    {Property::DSCP, "dds.transport.dscp",
     PropertyRow::Kind::NUMBER, PropertyRow::Reader::ENCLOSING_PARTICIPANT,
     NUV_NETIO_DSCP_MAX, 0, 0,
     "0 to 63", "class of service of what is sent; 0 unless given"},

    {Property::MAX_LOCATOR_LIST_SIZE, "dds.domain_participant.max_announced_locator_list_size",
     PropertyRow::Kind::NUMBER, PropertyRow::Reader::PRESENTATION_HALF, PRES_LOCATOR_LIST_MAX, 0, 0,
     "0 to 16", "most locators announced per list at creation"},

    {Property::RECEIVE_TIMEOUT,
     "dds.participant.logging.time_based_logging.process_received_message.timeout",
     PropertyRow::Kind::DURATION, PropertyRow::Reader::PRESENTATION_HALF, 0, 0, 0,
     "seconds", "warn of a received message that takes longer"},

    {Property::RECEIVE_TRACKED_PORTS,
     "dds.participant.logging.time_based_logging.process_received_message.tracked_ports",
     PropertyRow::Kind::TEXT, PropertyRow::Reader::PRESENTATION_HALF, 0, 0, 0,
     "as `7410,7412-7420`", "ports for which that is done; all unless given"},

    {Property::EA_TIMEOUT, "dds.participant.logging.time_based_logging.ea.timeout",
     PropertyRow::Kind::DURATION, PropertyRow::Reader::PRESENTATION_HALF, 0, 0, 0,
     "seconds", "warn of a lock that is held longer"},

    {Property::EA_TRACKED_LEVEL, "dds.participant.logging.time_based_logging.ea.tracked_level",
     PropertyRow::Kind::INTEGER, PropertyRow::Reader::PRESENTATION_HALF, 0, 0, 0,
     "integer", "lowest level of lock that is watched; 10 unless given"},

    {Property::SEND_TIMEOUT, "dds.participant.logging.time_based_logging.send.timeout",
     PropertyRow::Kind::DURATION, PropertyRow::Reader::PRESENTATION_HALF, 0, 0, 0,
     "seconds", "warn of a message that takes longer to send"},

    {Property::AUTHENTICATION_TIMEOUT,
     "dds.participant.logging.time_based_logging.authentication.timeout",
     PropertyRow::Kind::DURATION, PropertyRow::Reader::PRESENTATION_HALF, 0, 0, 3,
     nullptr, nullptr},

    {Property::ALIGNMENT_ENFORCEMENT, "dds.participant.use_45d_compatible_alignment_enforcement",
     PropertyRow::Kind::BOOLEAN, PropertyRow::Reader::PRESENTATION_HALF, 0, 0, 0,
     "`true` or `false`", "refuse what begins at no multiple of four octets in a message"},

    {Property::LOG_DISCOVERY_MISMATCH, "dds.participant.discovery_config.log_discovery_mismatch",
     PropertyRow::Kind::BOOLEAN, PropertyRow::Reader::PRESENTATION_HALF, 0, 0, 0,
     "`true` or `false`", "say in the log which participants have another domain or tag"},

    {Property::ANNOUNCE, "dds.discovery.announce",
     PropertyRow::Kind::BOOLEAN, PropertyRow::Reader::ENCLOSING_PARTICIPANT, 0, 0, 0,
     "`true` or `false`", "announce the participant; `true` unless given. Else it listens only"},

    {Property::ANNOUNCE_PROCESS, "dds.discovery.announce_process",
     PropertyRow::Kind::BOOLEAN, PropertyRow::Reader::ENCLOSING_PARTICIPANT, 0, 0, 0,
     "`true` or `false`",
     "announce the process as `__Pid`, `__ProcessName` and `__Hostname`; `true` unless given"},

    {Property::ANSWER_QUESTIONS, "dds.discovery.answer_questions",
     PropertyRow::Kind::BOOLEAN, PropertyRow::Reader::ENCLOSING_PARTICIPANT, 0, 0, 0,
     "`true` or `false`",
     "tell tools that ask, as `ddspart why`, whom the participant knows; `true` unless given"},

    {Property::ACCEPT_MISMATCH, "dds.discovery.accept_mismatch",
     PropertyRow::Kind::BOOLEAN, PropertyRow::Reader::ENCLOSING_PARTICIPANT, 0, 0, 0,
     "`true` or `false`",
     "know participants of other domains and tags as well, for tools that show them; they do not know it"},

    {Property::MAX_PEER_INDEX, "dds.discovery.max_peer_index",
     PropertyRow::Kind::NUMBER, PropertyRow::Reader::ENCLOSING_PARTICIPANT,
     PEER_INDEX_LARGEST, 0, 0,
     "0 to 119", "highest participant index at which a peer without port is looked for; 4 unless given"},

    {Property::DIRECTED_WRITE_SERIALIZATION_KIND,
     "dds.participant.directed_write_serialization_kind",
     PropertyRow::Kind::NUMBER, PropertyRow::Reader::PRESENTATION_HALF, 2, 0, 6,
     nullptr, nullptr},

    {Property::THREAD_DESTRUCTION_TIMEOUT,
     "dds.domain_participant.asynchronous_publisher_thread_destruction_timeout",
     PropertyRow::Kind::NUMBER, PropertyRow::Reader::PRESENTATION_HALF, 60,
     COMMEND_EXECUTION_THREAD_DESTRUCTION_TIMEOUT_DEFAULT, 7,
     nullptr, nullptr},
};
// clang-format on

constexpr const PropertyRow &row_of(Property property) {
    return PROPERTIES[static_cast<std::size_t>(property)];
}

/** The name under which a property stands in a policy. */
constexpr const char *name_of(Property property) {
    return row_of(property).name;
}

constexpr bool has_row_for_each_property() {
    if (std::size(PROPERTIES) != static_cast<std::size_t>(Property::COUNT)) {
        return false;
    }
    for (std::size_t i = 0; i < std::size(PROPERTIES); ++i) {
        if (PROPERTIES[i].property != static_cast<Property>(i)) {
            return false;
        }
    }
    return true;
}

static_assert(has_row_for_each_property());

#endif
