// SPDX-License-Identifier: Apache-2.0
#include "fixture.h"

#include <algorithm>

namespace {

int list_one_interface(void *, int (*add)(void *, const NUVNetioInterface *), void *add_param) {
    NUVNetioInterface interface = {"test0", 7, KOLS_TRANSPORT_CLASSID_UDPv4, {}, {}, 0, 1};
    interface.address = locator(1, 0).address;
    return add(add_param, &interface);
}

template <typename T>
T *data_or_null(std::vector<T> &storage) {
    return storage.empty() ? nullptr : storage.data();
}

std::string or_dash(const char *text) {
    return text != nullptr ? text : "-";
}

} // namespace

Source &Source::set_user_data(std::string_view text) {
    octets_.assign(text.begin(), text.end());
    const auto length = static_cast<NUV_UINT32>(octets_.size());
    property.parameter.userData = {length, length, data_or_null(octets_)};
    return *this;
}

Source &Source::add_property(const char *name, const char *value, int propagate) {
    const auto keep = [this](const char *text) {
        return text != nullptr ? texts_.emplace_back(text).c_str() : nullptr;
    };
    const char *const kept_name = keep(name);
    list_.push_back({kept_name, keep(value), propagate});
    const auto length = static_cast<NUV_UINT32>(list_.size());
    property.parameter.propertyList.data = {length, length, list_.data()};
    return *this;
}

Source &Source::set_partition(std::string_view text) {
    partition_ = text;
    property.parameter.partitionQosPolicy.name = {static_cast<NUV_INT32>(partition_.size() + 1),
                                                  partition_.data()};
    return *this;
}

void Source::scribble() {
    std::fill(octets_.begin(), octets_.end(), NUV_UINT8{'#'});
    for (std::string &text : texts_) {
        std::fill(text.begin(), text.end(), '#');
    }
    std::fill(list_.begin(), list_.end(), PRESProperty{"#", "#", 9});
    std::fill(partition_.begin(), partition_.end(), '#');
}

Source full_source() {
    Source source;
    source.set_user_data("data").add_property("a", "one", 1).add_property("bc", nullptr);
    source.set_partition("left,right");
    return source;
}

Target::Target() : Target(Sizes{}) {}

Target::Target(const Sizes &sizes)
    : octets_(sizes.octets), list_(sizes.properties), bytes_(sizes.bytes),
      partition_(sizes.partition) {
    PRESParticipantParameter &parameter = property.parameter;
    parameter.userData = {static_cast<NUV_UINT32>(sizes.octets), 77, data_or_null(octets_)};
    parameter.propertyList.data = {static_cast<NUV_UINT32>(sizes.properties), 77,
                                   data_or_null(list_)};
    parameter.propertyList.strings = {static_cast<NUV_UINT32>(sizes.bytes), 77,
                                      data_or_null(bytes_)};
    parameter.partitionQosPolicy.name = {static_cast<NUV_INT32>(sizes.partition),
                                         data_or_null(partition_)};
}

std::string Target::user_data() const {
    const PRESOctetSequence &data = property.parameter.userData;
    return std::string(data._buffer, data._buffer + data._length);
}

std::vector<std::string> Target::properties() const {
    std::vector<std::string> result;
    const PRESPropertySequence &data = property.parameter.propertyList.data;
    for (NUV_UINT32 i = 0; i < data._length; ++i) {
        const PRESProperty &entry = data._buffer[i];
        result.push_back(or_dash(entry.name) + "=" + or_dash(entry.value) + "/" +
                         std::to_string(entry.propagate));
    }
    return result;
}

std::string Target::partition() const {
    return property.parameter.partitionQosPolicy.name.str;
}

NUVNetioLocator locator(NUV_UINT8 host, KOLS_Transport_Port_t port) {
    NUVNetioLocator result = NUV_NETIO_LOCATOR_INVALID;
    result.transport = KOLS_TRANSPORT_CLASSID_UDPv4;
    NUV_UINT8 *const address = result.address.network_ordered_value;
    address[12] = 192;
    address[14] = 2;
    address[15] = host;
    result.port = port;
    return result;
}

std::string to_text(const PRESLocatorQosPolicy &list) {
    std::array<char, 2048> text{};
    EXPECT_NE(PRESLocatorQosPolicy_toString(&list, text.data(), int{text.size()}), 0);
    return text.data();
}

std::string to_text(const PRESReducedLocatorQosPolicy &list) {
    std::array<char, 2048> text{};
    EXPECT_NE(PRESLocatorQosPolicy_toString(PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&list),
                                            text.data(), int{text.size()}),
              0);
    return text.data();
}

Messages::Messages() {
    KOLS_Config_Logger *const logger = KOLS_Config_Logger_get_instance();
    KOLS_Config_Logger_set_output_device(logger, record, this);
    KOLS_Config_Logger_set_verbosity(logger, KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL);
}

Messages::~Messages() {
    KOLS_Config_Logger *const logger = KOLS_Config_Logger_get_instance();
    KOLS_Config_Logger_set_output_device(logger, nullptr, nullptr);
    KOLS_Config_Logger_set_verbosity(logger, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    KOLS_Config_Logger_set_verbosity_by_category(logger, 0, 0);
}

void Messages::record(void *param, const KOLS_Config_LogRecord *record) {
    Messages &self = *static_cast<Messages *>(param);
    const std::lock_guard lock(self.mutex_);
    self.messages_.push_back({record->level, record->text});
}

std::vector<std::string> Messages::take(NUV_UINT32 level) {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> texts;
    for (const Message &message : messages_) {
        if (message.level == level) {
            texts.push_back(message.text);
        }
    }
    std::erase_if(messages_, [level](const Message &message) { return message.level == level; });
    return texts;
}

ParticipantTest::ParticipantTest() {
    NUVNetioRuntimeProperty runtime_property = NUV_NETIO_RUNTIME_PROPERTY_DEFAULT;
    runtime_property.interfaceSource = {list_one_interface, nullptr, nullptr};
    runtime_property.watchInterfaces = 0;

    worker_factory = REDAWorkerFactory_new();
    worker = REDAWorkerFactory_createWorker(worker_factory, "test");
    thread_factory = NUVOsapiThreadFactory_new(nullptr);
    runtime = NUVNetioRuntime_new(&runtime_property, thread_factory, worker_factory);
    configurator = NUVNetioConfigurator_new(nullptr, runtime, worker);
    table_ea = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_TABLE, "table");
    record_ea = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_RECORD, "record");
    remote_objects_ea =
        REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_REMOTE_OBJECTS, "remoteObjects");
}

ParticipantTest::~ParticipantTest() {
    REDAExclusiveArea_delete(remote_objects_ea);
    REDAExclusiveArea_delete(record_ea);
    REDAExclusiveArea_delete(table_ea);
    NUVNetioConfigurator_delete(configurator);
    NUVNetioRuntime_delete(runtime);
    NUVOsapiThreadFactory_delete(thread_factory);
    REDAWorkerFactory_destroyWorker(worker_factory, worker);
    REDAWorkerFactory_delete(worker_factory);
    EXPECT_EQ(heap().liveBlocks, heap_before.liveBlocks) << "leaked";
    EXPECT_EQ(heap().refusedFrees, heap_before.refusedFrees) << "freed what it does not own";
}

PRESParticipant *ParticipantTest::make(const PRESParticipantProperty &property) {
    return PRESParticipant_new(&guid, configurator, worker_factory,
                               NUVNetioRuntime_getEventDatabase(runtime), NUVClock_getMonotonic(),
                               NUVClock_getRealtime(), table_ea, record_ea, remote_objects_ea,
                               nullptr, finalize_listener, &property, listener, listener_mask,
                               security, thread_factory, thread_factory, thread_factory, worker);
}

void ParticipantTest::unmake(PRESParticipant *participant) {
    int reason = PRES_RETCODE_OK;
    EXPECT_NE(PRESParticipant_shutdown(participant, &reason, worker), 0);
    EXPECT_NE(PRESParticipant_delete(participant, &reason, worker), 0);
    EXPECT_EQ(reason, PRES_RETCODE_OK);
}

int ParticipantTest::enable(PRESParticipant *participant, int topics_too) {
    const auto default_unicast = locators({1}, 7411);
    const auto metatraffic_unicast = locators({1}, 7410);
    const PRESReducedLocatorQosPolicy metatraffic_multicast = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    NUVNetioTransportInfo transport = {KOLS_TRANSPORT_CLASSID_UDPv4, 65507};
    const PRESSequenceTransportInfo transports = {1, 1, &transport};
    return PRESParticipant_enable(participant, &topics_too, &default_unicast, &metatraffic_unicast,
                                  &metatraffic_multicast, &transports, worker);
}

PRESTopic *ParticipantTest::create_topic(PRESParticipant *participant, const char *name,
                                         const char *type_name) {
    int reason = PRES_RETCODE_OK;
    PRESTopic *const topic =
        PRESParticipant_createTopic(participant, &reason, name, type_name, worker);
    EXPECT_NE(topic, nullptr);
    EXPECT_EQ(reason, PRES_RETCODE_OK);
    return topic;
}

void ParticipantTest::delete_topic(PRESParticipant *participant, PRESTopic *topic) {
    int reason = PRES_RETCODE_OK;
    EXPECT_NE(PRESParticipant_deleteTopic(participant, &reason, topic, worker), 0);
    EXPECT_EQ(reason, PRES_RETCODE_OK);
}

NUVOsapiHeapStatistics ParticipantTest::heap() {
    NUVOsapiHeapStatistics statistics{};
    NUVOsapiHeap_getStatistics(&statistics);
    return statistics;
}
