// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>

#include "messages.h"
#include "netio/netio_configurator.h"
#include "qos/QosPolicy_internal.h"

namespace {

/** A host with two IPv4 addresses, one IPv6 address and loopback. */
class PolicyLocatorsTest : public MessageTest {
protected:
    PolicyLocatorsTest() {
        add_interface("lo", "127.0.0.1");
        add_interface("eth0", "192.0.2.2");
        add_interface("eth0", "fd00::2");
        add_interface("eth1", "198.51.100.2");
    }

    ~PolicyLocatorsTest() override {
        NUVNetioConfigurator_delete(configurator_);
        NUVNetioRuntime_delete(runtime_);
        REDAWorkerFactory_destroyWorker(workers_, worker_);
        REDAWorkerFactory_delete(workers_);
        NUVOsapiThreadFactory_delete(threads_);
        DDS_DiscoveryQosPolicy_finalize(&discovery_);
        DDS_TransportUnicastQosPolicy_finalize(&unicast_);
        // What the reactor allocated is gone before the heap is looked at.
    }

    void add_interface(const char *name, const char *address) {
        NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
        ASSERT_NE(NUVNetioLocator_parse(address, &locator), 0);
        NUVNetioInterface entry = {};
        std::snprintf(entry.name, sizeof entry.name, "%s", name);
        entry.index = static_cast<NUV_UINT32>(interfaces_.size()) + 1;
        entry.transport = locator.transport;
        entry.address = locator.address;
        entry.isLoopback = NUVNetioLocator_isLoopback(&locator);
        entry.isMulticast = 1;
        interfaces_.push_back(entry);
    }

    static int list(void *param, int (*add)(void *, const NUVNetioInterface *), void *addParam) {
        for (const NUVNetioInterface &entry :
             *static_cast<std::vector<NUVNetioInterface> *>(param)) {
            if (!add(addParam, &entry)) {
                return 0;
            }
        }
        return 1;
    }

    /** Sets the configurator up with these transports. */
    void configure(std::initializer_list<const char *> transports) {
        threads_ = NUVOsapiThreadFactory_new(nullptr);
        workers_ = REDAWorkerFactory_new();
        worker_ = REDAWorkerFactory_createWorker(workers_, "test");
        NUVNetioRuntimeProperty property = NUV_NETIO_RUNTIME_PROPERTY_DEFAULT;
        property.interfaceSource = {list, &interfaces_, nullptr};
        property.watchInterfaces = 0;
        runtime_ = NUVNetioRuntime_new(&property, threads_, workers_);
        ASSERT_NE(runtime_, nullptr);
        NUVNetioConfiguratorProperty configuration = NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT;
        configuration.transports = {};
        for (const char *transport : transports) {
            ASSERT_NE(NUVNetioAliasList_add(&configuration.transports, transport), 0);
        }
        configurator_ = NUVNetioConfigurator_new(&configuration, runtime_, worker_);
        ASSERT_NE(configurator_, nullptr);
        faults::fail_allocation(1);
    }

    template <typename List>
    static std::string text_of(const List &locators) {
        std::string text;
        for (NUV_INT32 i = 0; i < locators.count; ++i) {
            char locator[NUV_NETIO_LOCATOR_STRING_SIZE];
            EXPECT_GT(NUVNetioLocator_toString(&locators.locatorList[i], locator, sizeof locator),
                      0);
            text += (i > 0 ? ", " : "") + std::string(locator);
        }
        return text;
    }

    static void append(DDS_StringSeq &sequence, const char *text) {
        faults::stop();
        ASSERT_TRUE(DDS_StringSeq_append(&sequence, text));
        faults::fail_allocation(1);
    }

    DDS_TransportUnicastSettings_t &add_settings(DDS_Long receive_port) {
        faults::stop();
        const DDS_Long i = unicast_.value._length;
        EXPECT_TRUE(DDS_TransportUnicastSettingsSeq_ensure_length(&unicast_.value, i + 1, i + 1));
        faults::fail_allocation(1);
        unicast_.value._buffer[i].receive_port = receive_port;
        return unicast_.value._buffer[i];
    }

    DDS_ReturnCode_t multicast(DDS_Long maximum, DDS_DomainId_t domain) {
        return DDS_DiscoveryQosPolicy_to_multicast_locators(
            &discovery_, &reduced_, &aliases_, &ports_, maximum, domain, configurator_, worker_);
    }

    DDS_ReturnCode_t metatraffic(DDS_Long maximum, DDS_DomainId_t domain, DDS_Long index) {
        return DDS_DiscoveryQosPolicy_to_unicast_locators(&discovery_, &locators_, &aliases_,
                                                          &ports_, maximum, domain, index,
                                                          configurator_, worker_);
    }

    DDS_ReturnCode_t user(DDS_Long maximum, DDS_DomainId_t domain, DDS_Long index,
                          int include_loopback = 0) {
        return DDS_TransportUnicastQosPolicy_to_default_locators(
            &unicast_, &locators_, maximum, domain, index, &ports_, &aliases_, configurator_,
            include_loopback, worker_);
    }

    /** Checks the one error message and that no locator is listed. */
    void expect_refused(DDS_ReturnCode_t result, const char *text) {
        EXPECT_EQ(result, DDS_RETCODE_INCONSISTENT_POLICY);
        const Message message = take_message();
        EXPECT_EQ(message.level, NUV_LOG_LEVEL_ERROR);
        EXPECT_EQ(message.name, "NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE");
        EXPECT_EQ(message.body, text);
        EXPECT_STREQ(aliases_.aliases, "");
    }

    std::vector<NUVNetioInterface> interfaces_;
    NUVOsapiThreadFactory *threads_ = nullptr;
    REDAWorkerFactory *workers_ = nullptr;
    REDAWorker *worker_ = nullptr;
    NUVNetioRuntime *runtime_ = nullptr;
    NUVNetioConfigurator *configurator_ = nullptr;

    DDS_DiscoveryQosPolicy discovery_ = DDS_DISCOVERY_QOS_POLICY_INITIALIZER;
    DDS_TransportUnicastQosPolicy unicast_ = DDS_TRANSPORT_UNICAST_QOS_POLICY_INITIALIZER;
    DDS_RtpsWellKnownPorts_t ports_ = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;
    PRESReducedLocatorQosPolicy reduced_ = PRES_REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    PRESLocatorQosPolicy locators_ = PRES_LOCATOR_QOS_POLICY_DEFAULT;
    NUVNetioAliasList aliases_ = {};
};

/* ---- Discovery by multicast ----------------------------------------------------------------- */

TEST_F(PolicyLocatorsTest, MulticastLocatorHasThePortOfTheDomain) {
    configure({"udpv4"});
    append(discovery_.multicast_receive_addresses, "239.255.0.1");
    EXPECT_EQ(multicast(1, 3), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(reduced_), "udpv4://239.255.0.1:8150");
    EXPECT_EQ(reduced_.locatorList[0].hostname, nullptr);
    EXPECT_STREQ(aliases_.aliases, "udpv4");
    EXPECT_FALSE(faults::happened());
}

TEST_F(PolicyLocatorsTest, WithoutAReceiveAddressThereIsNoMulticast) {
    configure({"udpv4"});
    ports_.port_base = 70000; // not needed, and so not wrong
    reduced_.count = 2;
    EXPECT_EQ(multicast(1, 0), DDS_RETCODE_OK);
    EXPECT_EQ(reduced_.count, 0);
    EXPECT_EQ(reduced_.locatorList[0].transport, -1);
    EXPECT_STREQ(aliases_.aliases, "udpv4");
}

TEST_F(PolicyLocatorsTest, AReceiveAddressOfATransportThatIsNotEnabledIsPassedOver) {
    configure({"udpv4"});
    append(discovery_.multicast_receive_addresses, "ff02::1");
    append(discovery_.multicast_receive_addresses, "239.255.0.2");
    EXPECT_EQ(multicast(1, 0), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(reduced_), "udpv4://239.255.0.2:7400");
    append(discovery_.enabled_transports, "udpv6");
    EXPECT_EQ(multicast(4, 0), DDS_RETCODE_OK);
    EXPECT_EQ(reduced_.count, 0);
    EXPECT_STREQ(aliases_.aliases, "");
}

TEST_F(PolicyLocatorsTest, AtMostMaximumMulticastLocatorsAreListed) {
    configure({"udpv4", "udpv6"});
    for (const char *address :
         {"239.255.0.1", "ff02::1", "239.255.0.1", "239.255.0.2", "239.255.0.3", "239.255.0.4"}) {
        append(discovery_.multicast_receive_addresses, address);
    }
    EXPECT_EQ(multicast(0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(reduced_.count, 0);
    EXPECT_EQ(multicast(2, 0), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(reduced_), "udpv4://239.255.0.1:7400, udpv6://[ff02::1]:7400");
    EXPECT_STREQ(aliases_.aliases, "udpv4,udpv6");
    EXPECT_EQ(multicast(100, 0), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(reduced_), "udpv4://239.255.0.1:7400, udpv6://[ff02::1]:7400, "
                                 "udpv4://239.255.0.2:7400, udpv4://239.255.0.3:7400");
}

TEST_F(PolicyLocatorsTest, AMulticastPortOutOfRangeIsRefused) {
    configure({"udpv4"});
    append(discovery_.multicast_receive_addresses, "239.255.0.1");
    expect_refused(multicast(1, 233),
                   "wire_protocol.rtps_well_known_ports: the builtin multicast port of domain 233 "
                   "is 65650; allowed is 1 to 65535");
    EXPECT_EQ(reduced_.count, 0);
    ports_.port_base = 0;
    expect_refused(multicast(1, 0),
                   "wire_protocol.rtps_well_known_ports: the builtin multicast port of domain 0 "
                   "is 0; allowed is 1 to 65535");
    ports_.port_base = 65535;
    EXPECT_EQ(multicast(1, 0), DDS_RETCODE_OK);
}

TEST_F(PolicyLocatorsTest, AnAddressThatIsNoMulticastAddressIsRefused) {
    configure({"udpv4"});
    append(discovery_.multicast_receive_addresses, "192.0.2.1");
    expect_refused(multicast(1, 0), "discovery.multicast_receive_addresses: \"192.0.2.1\" is no "
                                    "numeric multicast address");
    faults::stop();
    DDS_String_replace(&discovery_.multicast_receive_addresses._buffer[0], nullptr);
    expect_refused(multicast(1, 0), "discovery.multicast_receive_addresses: \"\" is no numeric "
                                    "multicast address");
}

/* ---- Discovery by unicast ------------------------------------------------------------------- */

TEST_F(PolicyLocatorsTest, MetatrafficLocatorsHaveThePortOfTheIndex) {
    configure({"udpv4"});
    EXPECT_EQ(metatraffic(16, 3, 5), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(locators_), "udpv4://192.0.2.2:8170, udpv4://198.51.100.2:8170");
    EXPECT_STREQ(aliases_.aliases, "udpv4");
    EXPECT_FALSE(faults::happened());
}

TEST_F(PolicyLocatorsTest, MetatrafficIsOnTheEnabledTransports) {
    configure({"udpv4", "udpv6"});
    EXPECT_EQ(metatraffic(16, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(locators_), "udpv4://192.0.2.2:7410, udpv4://198.51.100.2:7410, "
                                  "udpv6://[fd00::2]:7410");
    EXPECT_STREQ(aliases_.aliases, "udpv4,udpv6");
    append(discovery_.enabled_transports, "udpv6");
    EXPECT_EQ(metatraffic(16, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(locators_), "udpv6://[fd00::2]:7410");
    EXPECT_STREQ(aliases_.aliases, "udpv6");
}

TEST_F(PolicyLocatorsTest, ATransportThatIsNotRegisteredHasNoLocators) {
    configure({"udpv4"});
    append(discovery_.enabled_transports, "udpv6");
    locators_.count = 3;
    EXPECT_EQ(metatraffic(16, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(locators_.count, 0);
    EXPECT_EQ(locators_.locatorList[15].transport, -1);
    EXPECT_STREQ(aliases_.aliases, "");
}

TEST_F(PolicyLocatorsTest, AnUnknownTransportIsRefused) {
    configure({"udpv4"});
    append(discovery_.enabled_transports, "tcpv4");
    const char *text =
        "discovery.enabled_transports: \"tcpv4\" is no transport; allowed are udpv4 and udpv6";
    expect_refused(metatraffic(16, 0, 0), text);
    EXPECT_EQ(locators_.count, 0);
    expect_refused(multicast(1, 0), text);
}

TEST_F(PolicyLocatorsTest, AtMostMaximumMetatrafficLocatorsAreListed) {
    configure({"udpv4"});
    EXPECT_EQ(metatraffic(1, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(locators_), "udpv4://192.0.2.2:7410");
    EXPECT_EQ(metatraffic(0, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(locators_.count, 0);
    EXPECT_EQ(metatraffic(-1, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(locators_.count, 0);
    EXPECT_STREQ(aliases_.aliases, "udpv4");
}

TEST_F(PolicyLocatorsTest, TheCapacityOfTheListIsKept) {
    for (int i = 10; i < 40; ++i) {
        add_interface("eth2", ("203.0.113." + std::to_string(i)).c_str());
    }
    configure({"udpv4"});
    EXPECT_EQ(metatraffic(100, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(locators_.count, 16);
    EXPECT_EQ(user(100, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(locators_.count, 16);
}

TEST_F(PolicyLocatorsTest, AMetatrafficPortOutOfRangeIsRefused) {
    configure({"udpv4"});
    EXPECT_EQ(metatraffic(16, 232, 62), DDS_RETCODE_OK);
    expect_refused(metatraffic(16, 232, 63),
                   "wire_protocol.rtps_well_known_ports: the builtin unicast port of domain 232, "
                   "participant index 63 is 65536; allowed is 1 to 65535");
    EXPECT_EQ(locators_.count, 0);
}

TEST_F(PolicyLocatorsTest, ErrorsReachAWorkerThatAsksForThem) {
    configure({"udpv4"});
    KOLS_Config_Logger *logger = KOLS_Config_Logger_get_instance();
    KOLS_Config_Logger_set_verbosity(logger, KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    EXPECT_NE(metatraffic(16, 233, 0), DDS_RETCODE_OK);
    EXPECT_TRUE(messages_.empty());
    KOLS_Config_Logger_set_verbosity_by_category(logger, NUV_LOG_CATEGORY_ENABLE,
                                                 NUV_LOG_LEVEL_ERROR);
    worker_->_activityContext->category = NUV_LOG_CATEGORY_ENABLE;
    EXPECT_NE(metatraffic(16, 233, 0), DDS_RETCODE_OK);
    EXPECT_EQ(messages_.size(), 1u);
}

TEST_F(PolicyLocatorsTest, LoopbackIsListedWhenThereIsNothingElse) {
    interfaces_.resize(1);
    configure({"udpv4"});
    EXPECT_EQ(metatraffic(16, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(locators_), "udpv4://127.0.0.1:7410");
    EXPECT_EQ(user(16, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(locators_), "udpv4://127.0.0.1:7411");
}

/* ---- User traffic by unicast ---------------------------------------------------------------- */

TEST_F(PolicyLocatorsTest, UserLocatorsHaveThePortOfTheIndex) {
    configure({"udpv4", "udpv6"});
    EXPECT_EQ(user(16, 3, 5), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(locators_), "udpv4://192.0.2.2:8171, udpv4://198.51.100.2:8171, "
                                  "udpv6://[fd00::2]:8171");
    EXPECT_STREQ(aliases_.aliases, "udpv4,udpv6");
    EXPECT_FALSE(faults::happened());
}

TEST_F(PolicyLocatorsTest, LoopbackIsListedBesideOthersWhenAskedFor) {
    configure({"udpv4"});
    EXPECT_EQ(user(16, 0, 0, 1), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(locators_), "udpv4://127.0.0.1:7411, udpv4://192.0.2.2:7411, "
                                  "udpv4://198.51.100.2:7411");
}

TEST_F(PolicyLocatorsTest, SettingsAreListedOneAfterTheOther) {
    configure({"udpv4", "udpv6"});
    append(add_settings(7777).transports, "udpv6");
    append(add_settings(0).transports, "udpv4");
    EXPECT_EQ(user(16, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(locators_), "udpv6://[fd00::2]:7777, udpv4://192.0.2.2:7411, "
                                  "udpv4://198.51.100.2:7411");
    EXPECT_STREQ(aliases_.aliases, "udpv6,udpv4");
}

TEST_F(PolicyLocatorsTest, ALocatorOfSeveralSettingsIsListedOnce) {
    configure({"udpv4", "udpv6"});
    append(add_settings(0).transports, "udpv4");
    add_settings(0);
    add_settings(7411);
    EXPECT_EQ(user(16, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(locators_), "udpv4://192.0.2.2:7411, udpv4://198.51.100.2:7411, "
                                  "udpv6://[fd00::2]:7411");
    EXPECT_STREQ(aliases_.aliases, "udpv4,udpv6");
}

TEST_F(PolicyLocatorsTest, AtMostMaximumUserLocatorsAreListed) {
    configure({"udpv4"});
    add_settings(7777);
    add_settings(8888);
    EXPECT_EQ(user(3, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(text_of(locators_), "udpv4://192.0.2.2:7777, udpv4://198.51.100.2:7777, "
                                  "udpv4://192.0.2.2:8888");
    EXPECT_EQ(user(0, 0, 0), DDS_RETCODE_OK);
    EXPECT_EQ(locators_.count, 0);
    EXPECT_STREQ(aliases_.aliases, "udpv4");
}

TEST_F(PolicyLocatorsTest, AUserPortOutOfRangeIsRefused) {
    configure({"udpv4"});
    ports_.user_unicast_port_offset = 60000;
    const char *text = "wire_protocol.rtps_well_known_ports: the user unicast port of domain 0, "
                       "participant index 1 is 67402; allowed is 1 to 65535";
    expect_refused(user(16, 0, 1), text);
    EXPECT_EQ(locators_.count, 0);
    add_settings(7777);
    EXPECT_EQ(user(16, 0, 1), DDS_RETCODE_OK); // the computed port is not needed
    add_settings(0);
    expect_refused(user(16, 0, 1), text);
}

TEST_F(PolicyLocatorsTest, AReceivePortOutOfRangeIsRefused) {
    configure({"udpv4"});
    add_settings(0);
    add_settings(65536);
    expect_refused(user(16, 0, 0),
                   "default_unicast.value[1].receive_port is 65536; allowed is 0 to 65535");
    unicast_.value._buffer[1].receive_port = -1;
    expect_refused(user(16, 0, 0),
                   "default_unicast.value[1].receive_port is -1; allowed is 0 to 65535");
    unicast_.value._buffer[1].receive_port = 65535;
    EXPECT_EQ(user(16, 0, 0), DDS_RETCODE_OK);
}

TEST_F(PolicyLocatorsTest, AnUnknownTransportOfASettingIsRefused) {
    configure({"udpv4"});
    append(add_settings(0).transports, "tcpv4");
    expect_refused(
        user(16, 0, 0),
        "default_unicast.value.transports: \"tcpv4\" is no transport; allowed are udpv4 and udpv6");
}

} // namespace
