// SPDX-License-Identifier: Apache-2.0
// The locators and ports that the policies of a participant ask for.
#include <algorithm>

#include "infrastructure/dds_log.h"
#include "netio/netio_configurator.h"
#include "qos/QosPolicy_internal.h"
#include "qos/policies.h"
#include "qos/rtpsPort.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_INFRASTRUCTURE;

using dds::qos::is_port;

namespace {

/* These checks are steps of several operations, which say in whose name a line is. */

/** The aliases that a setting names; none stands for every transport. */
bool read_aliases(const char *LOG_METHOD, const DDS_StringSeq &transports, const char *setting,
                  NUVNetioAliasList &out, REDAWorker *worker) {
    out = {};
    for (DDS_Long i = 0; i < transports._length; ++i) {
        const char *alias = transports._buffer[i];
        if (NUVNetioTransport_classOfAlias(alias == nullptr ? "" : alias) ==
                KOLS_TRANSPORT_CLASSID_INVALID ||
            !NUVNetioAliasList_add(&out, alias)) {
            char allowed[NUV_NETIO_TRANSPORTS_STRING_SIZE];
            NUVNetioTransportClass_listAliases("", allowed, sizeof allowed);
            DDSLog_textForWorker(worker, NUV_LOG_LEVEL_ERROR,
                                 NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                                 "%s: \"%s\" is no transport; allowed are %s", setting,
                                 alias == nullptr ? "" : alias, allowed);
            return false;
        }
    }
    return true;
}

bool check_multicast_port(const char *LOG_METHOD, DDS_LongLong port, DDS_DomainId_t domainId,
                          REDAWorker *worker) {
    if (!is_port(port)) {
        DDSLog_textForWorker(
            worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
            "wire_protocol.rtps_well_known_ports: the builtin multicast port of domain %d is %lld; "
            "allowed is 1 to 65535",
            domainId, static_cast<long long>(port));
        return false;
    }
    return true;
}

bool check_unicast_port(const char *LOG_METHOD, const char *kind, DDS_LongLong port,
                        DDS_DomainId_t domainId, DDS_Long participantIndex, REDAWorker *worker) {
    if (!is_port(port)) {
        DDSLog_textForWorker(worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                             "wire_protocol.rtps_well_known_ports: the %s unicast port of domain "
                             "%d, participant index %d is %lld; allowed is 1 to 65535",
                             kind, domainId, participantIndex, static_cast<long long>(port));
        return false;
    }
    return true;
}

/** Reads a multicast receive address. */
bool read_multicast_address(const char *LOG_METHOD, const char *address, NUVNetioLocator &out,
                            REDAWorker *worker) {
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    if (address == nullptr || !NUVNetioLocator_parse(address, &locator) ||
        !NUVNetioLocator_isMulticast(&locator)) {
        DDSLog_textForWorker(worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                             "discovery.multicast_receive_addresses: \"%s\" is no numeric "
                             "multicast address",
                             address == nullptr ? "" : address);
        return false;
    }
    out = locator;
    return true;
}

/** Appends a locator to the @p count that a list has, unless it is there or the list is full. */
void add_once(NUVNetioLocator *list, NUV_INT32 &count, DDS_Long maximum,
              const NUVNetioLocator &locator) {
    for (NUV_INT32 i = 0; i < count; ++i) {
        if (NUVNetioLocator_isSame(&list[i], &locator)) {
            return;
        }
    }
    if (count < maximum) {
        list[count++] = locator;
    }
}

/** Appends the aliases of @p more. */
void add_aliases(NUVNetioAliasList &list, const NUVNetioAliasList &more) {
    for (NUV_INT32 i = 0; i < NUV_NETIO_TRANSPORTS_MAX; ++i) {
        const char *alias = NUVNetioTransportClass_get(i)->alias;
        if (NUVNetioAliasList_contains(&more, alias)) {
            NUVNetioAliasList_add(&list, alias);
        }
    }
}

namespace default_locators {

constexpr const char *LOG_METHOD = "DDS_TransportUnicastQosPolicy_to_default_locators";

/** What the computation of the default locators works with. */
struct DefaultLocators {
    PRESLocatorQosPolicy locators;
    NUVNetioAliasList aliases;
    DDS_Long maximum;
    NUVNetioConfigurator *configurator;
    int includeLoopback;
    REDAWorker *worker;
};

/** Adds the locators of one setting. */
bool add_setting(DefaultLocators &self, const DDS_StringSeq &transports, DDS_LongLong port) {
    NUVNetioAliasList requested = {};
    NUVNetioAliasList enabled = {};
    if (!read_aliases(LOG_METHOD, transports, "default_unicast.value.transports", requested,
                      self.worker)) {
        return false;
    }
    NUVNetioConfigurator_getEnabledAliases(self.configurator, &requested, &enabled);
    add_aliases(self.aliases, enabled);

    NUVNetioLocator found[PRES_LOCATOR_LIST_MAX];
    const NUV_INT32 count = NUVNetioConfigurator_getUnicastLocators(
        self.configurator, &requested, static_cast<KOLS_Transport_Port_t>(port),
        self.includeLoopback, found, PRES_LOCATOR_LIST_MAX);
    for (NUV_INT32 i = 0; i < count; ++i) {
        add_once(self.locators.locatorList, self.locators.count, self.maximum, found[i]);
    }
    return true;
}

/** Adds the locators of every setting, or of all transports when there is none. */
bool add_settings(DefaultLocators &self, const DDS_TransportUnicastSettingsSeq &settings,
                  DDS_LongLong computed_port, DDS_DomainId_t domainId, DDS_Long participantIndex) {
    if (settings._length == 0) {
        return check_unicast_port(LOG_METHOD, "user", computed_port, domainId, participantIndex,
                                  self.worker) &&
               add_setting(self, DDS_SEQUENCE_INITIALIZER, computed_port);
    }
    for (DDS_Long i = 0; i < settings._length; ++i) {
        const DDS_TransportUnicastSettings_t &setting = settings._buffer[i];
        if (setting.receive_port == 0) {
            if (!check_unicast_port(LOG_METHOD, "user", computed_port, domainId, participantIndex,
                                    self.worker)) {
                return false;
            }
        } else if (!is_port(setting.receive_port)) {
            DDSLog_textForWorker(self.worker, NUV_LOG_LEVEL_ERROR,
                                 NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                                 "default_unicast.value[%d].receive_port is %d; allowed is 0 to "
                                 "65535",
                                 i, setting.receive_port);
            return false;
        }
        if (!add_setting(self, setting.transports,
                         setting.receive_port == 0 ? computed_port : setting.receive_port)) {
            return false;
        }
    }
    return true;
}

} // namespace default_locators

} // namespace

DDS_ReturnCode_t DDS_DiscoveryQosPolicy_to_multicast_locators(
    const DDS_DiscoveryQosPolicy *self, PRESReducedLocatorQosPolicy *locatorsOut,
    NUVNetioAliasList *aliasesOut, const DDS_RtpsWellKnownPorts_t *wellKnownPorts, DDS_Long maximum,
    DDS_DomainId_t domainId, NUVNetioConfigurator *configurator, REDAWorker *worker) {
    *locatorsOut = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    *aliasesOut = {};
    NUVNetioAliasList requested = {};
    NUVNetioAliasList enabled = {};
    if (!read_aliases(__func__, self->enabled_transports, "discovery.enabled_transports", requested,
                      worker)) {
        return DDS_RETCODE_INCONSISTENT_POLICY;
    }
    NUVNetioConfigurator_getEnabledAliases(configurator, &requested, &enabled);

    const DDS_LongLong port =
        DDS_RtpsWellKnownPorts_get_builtin_multicast_port(wellKnownPorts, domainId);
    const DDS_StringSeq &addresses = self->multicast_receive_addresses;
    if (addresses._length > 0 && !check_multicast_port(__func__, port, domainId, worker)) {
        return DDS_RETCODE_INCONSISTENT_POLICY;
    }
    PRESReducedLocatorQosPolicy locators = PRES_REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    for (DDS_Long i = 0; i < addresses._length; ++i) {
        NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
        if (!read_multicast_address(__func__, addresses._buffer[i], locator, worker)) {
            return DDS_RETCODE_INCONSISTENT_POLICY;
        }
        locator.port = static_cast<KOLS_Transport_Port_t>(port);
        if (NUVNetioAliasList_contains(&enabled,
                                       NUVNetioTransport_aliasOfClass(locator.transport))) {
            add_once(locators.locatorList, locators.count,
                     std::min(maximum, PRES_REDUCED_LOCATOR_LIST_MAX), locator);
        }
    }
    *locatorsOut = locators;
    *aliasesOut = enabled;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_DiscoveryQosPolicy_to_unicast_locators(
    const DDS_DiscoveryQosPolicy *self, PRESLocatorQosPolicy *locatorsOut,
    NUVNetioAliasList *aliasesOut, const DDS_RtpsWellKnownPorts_t *wellKnownPorts, DDS_Long maximum,
    DDS_DomainId_t domainId, DDS_Long participantIndex, NUVNetioConfigurator *configurator,
    REDAWorker *worker) {
    *locatorsOut = LOCATOR_QOS_POLICY_DEFAULT;
    *aliasesOut = {};
    NUVNetioAliasList requested = {};
    if (!read_aliases(__func__, self->enabled_transports, "discovery.enabled_transports", requested,
                      worker)) {
        return DDS_RETCODE_INCONSISTENT_POLICY;
    }
    const DDS_LongLong port =
        DDS_RtpsWellKnownPorts_get_builtin_unicast_port(wellKnownPorts, domainId, participantIndex);
    if (!check_unicast_port(__func__, "builtin", port, domainId, participantIndex, worker)) {
        return DDS_RETCODE_INCONSISTENT_POLICY;
    }
    NUVNetioConfigurator_getEnabledAliases(configurator, &requested, aliasesOut);
    locatorsOut->count = NUVNetioConfigurator_getUnicastLocators(
        configurator, &requested, static_cast<KOLS_Transport_Port_t>(port), 0,
        locatorsOut->locatorList, std::clamp(maximum, 0, PRES_LOCATOR_LIST_MAX));
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_TransportUnicastQosPolicy_to_default_locators(
    const DDS_TransportUnicastQosPolicy *self, PRESLocatorQosPolicy *locatorsOut, DDS_Long maximum,
    DDS_DomainId_t domainId, DDS_Long participantIndex,
    const DDS_RtpsWellKnownPorts_t *wellKnownPorts, NUVNetioAliasList *aliasesOut,
    NUVNetioConfigurator *configurator, int includeLoopback, REDAWorker *worker) {
    *locatorsOut = LOCATOR_QOS_POLICY_DEFAULT;
    *aliasesOut = {};
    default_locators::DefaultLocators found = {LOCATOR_QOS_POLICY_DEFAULT,
                                               {},
                                               std::min(maximum, PRES_LOCATOR_LIST_MAX),
                                               configurator,
                                               includeLoopback,
                                               worker};
    const DDS_LongLong port =
        DDS_RtpsWellKnownPorts_get_user_unicast_port(wellKnownPorts, domainId, participantIndex);
    if (!default_locators::add_settings(found, self->value, port, domainId, participantIndex)) {
        return DDS_RETCODE_INCONSISTENT_POLICY;
    }
    *locatorsOut = found.locators;
    *aliasesOut = found.aliases;
    return DDS_RETCODE_OK;
}
