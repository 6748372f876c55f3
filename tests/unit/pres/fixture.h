// SPDX-License-Identifier: Apache-2.0
// What the tests of participants share: the floors below, messages, properties with parts.
#pragma once

#include <array>
#include <cstddef>
#include <deque>
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "dds_c/dds_c_logger.h"
#include "log/log_message.h"
#include "osapi/osapi_heap.h"
#include "pres/pres_log.h"
#include "pres/pres_participant.h"
#include "support/fault_loop.h"

/** A property with variable parts, and the storage that they are lent from. */
class Source {
public:
    PRESParticipantProperty property = PARTICIPANT_PROPERTY_DEFAULT;

    Source &set_user_data(std::string_view text);
    Source &add_property(const char *name, const char *value, int propagate = 0);
    Source &set_partition(std::string_view text);

    /** Overwrites everything that was lent. */
    void scribble();

private:
    std::vector<NUV_UINT8> octets_;
    std::deque<std::string> texts_; // whose elements stay where they are
    std::vector<PRESProperty> list_;
    std::string partition_;
};

/** User data, two properties and partitions. */
Source full_source();

/** A property to read into, with buffers of the given sizes; none for size 0. */
class Target {
public:
    struct Sizes {
        std::size_t octets = 256;
        std::size_t properties = 32;
        std::size_t bytes = 2048;
        std::size_t partition = PRES_PARTITION_BUFFER_SIZE;
    };

    Target();
    explicit Target(const Sizes &sizes);

    PRESParticipantProperty property = PARTICIPANT_PROPERTY_DEFAULT;

    std::string user_data() const;
    /** "name=value/propagate", a null as "-". */
    std::vector<std::string> properties() const;
    std::string partition() const;

private:
    std::vector<NUV_UINT8> octets_;
    std::vector<PRESProperty> list_;
    std::vector<char> bytes_;
    std::vector<char> partition_;
};

/** A UDPv4 locator of 192.0.2.@p host. */
NUVNetioLocator locator(NUV_UINT8 host, KOLS_Transport_Port_t port);

/** A list of such locators. */
template <typename List = PRESLocatorQosPolicy>
List locators(std::initializer_list<NUV_UINT8> hosts, KOLS_Transport_Port_t port = 7410) {
    List list = {};
    for (const NUV_UINT8 host : hosts) {
        list.locatorList[list.count++] = locator(host, port);
    }
    return list;
}

std::string to_text(const PRESLocatorQosPolicy &list);
std::string to_text(const PRESReducedLocatorQosPolicy &list);

/** All messages of the process while it lives, printed at every level. */
class Messages {
public:
    Messages();
    ~Messages();
    Messages(const Messages &) = delete;
    Messages &operator=(const Messages &) = delete;

    /** The texts at a level that came since the last call with it. */
    std::vector<std::string> take(NUV_UINT32 level);

private:
    struct Message {
        NUV_UINT32 level;
        std::string text;
    };
    static void record(void *param, const KOLS_Config_LogRecord *record);

    std::mutex mutex_; // the reactor logs too
    std::vector<Message> messages_;
};

/** Makes participants over real lower layers; the interfaces are a table. Watches the heap. */
class ParticipantTest : public ::testing::Test {
protected:
    ParticipantTest();
    ~ParticipantTest() override;

    /** Made with @p property and the members below; null on failure. */
    PRESParticipant *make(const PRESParticipantProperty &property = PARTICIPANT_PROPERTY_DEFAULT);

    /** Shuts down and deletes what make() gave. */
    void unmake(PRESParticipant *participant);

    /** Enables with two lists of one locator, an empty one and one transport. */
    int enable(PRESParticipant *participant, int topics_too = 0);

    PRESTopic *create_topic(PRESParticipant *participant, const char *name,
                            const char *type_name = "Type");
    void delete_topic(PRESParticipant *participant, PRESTopic *topic);

    static NUVOsapiHeapStatistics heap();
    static NUV_UINT64 live_blocks() {
        return heap().liveBlocks;
    }

    const NUVOsapiHeapStatistics heap_before = heap();
    const faults::Guard faults_end;
    Messages messages;

    NUVOsapiRtpsGuid guid = {{0x11, 0x22, 0x33}, NUV_OSAPI_RTPS_OBJECT_ID_PARTICIPANT};
    const PRESParticipantListener *listener = nullptr;
    PRESStatusKindMask listener_mask = 0;
    const PRESParticipantEntityFinalizeListener *finalize_listener = nullptr;
    const PRESParticipantSecurity *security = nullptr;

    REDAWorkerFactory *worker_factory = nullptr;
    REDAWorker *worker = nullptr;
    NUVOsapiThreadFactory *thread_factory = nullptr;
    NUVNetioRuntime *runtime = nullptr;
    NUVNetioConfigurator *configurator = nullptr;
    REDAExclusiveArea *table_ea = nullptr;
    REDAExclusiveArea *record_ea = nullptr;
    REDAExclusiveArea *remote_objects_ea = nullptr;
};
