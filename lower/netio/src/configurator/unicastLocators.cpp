// SPDX-License-Identifier: Apache-2.0
// The locators at which a receive port can be reached.
#include "configurator/configurator.h"

namespace {

/** Whether an address is one of a transport that is wanted, and may be used. */
bool is_wished(const NUVNetioConfigurator &configurator, const NUVNetioAliasList *enabled,
               const NUVNetioInterface &interface) {
    return configurator.is_enabled(enabled, interface.transport) &&
           configurator.allowed.admits(interface);
}

bool has_other_than_loopback(const NUVNetioConfigurator &configurator,
                             const NUVNetioAliasList *enabled,
                             const NUVNetioInterfaceSnapshot &snapshot) {
    for (NUV_INT32 i = 0; i < NUVNetioInterfaceSnapshot_getLength(&snapshot); ++i) {
        const NUVNetioInterface *interface = NUVNetioInterfaceSnapshot_get(&snapshot, i);
        if (interface->isLoopback == 0 && is_wished(configurator, enabled, *interface)) {
            return true;
        }
    }
    return false;
}

NUVNetioLocator make_locator(const NUVNetioInterface &interface, KOLS_Transport_Port_t port) {
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    locator.transport = interface.transport;
    locator.address = interface.address;
    locator.port = port;
    return locator;
}

} // namespace

NUV_INT32 NUVNetioConfigurator_getUnicastLocators(NUVNetioConfigurator *self,
                                                  const NUVNetioAliasList *enabled,
                                                  KOLS_Transport_Port_t port, int includeLoopback,
                                                  NUVNetioLocator *locatorsOut, NUV_INT32 maximum) {
    const netio::HeldSnapshot snapshot = self->snapshot();
    const bool with_loopback =
        includeLoopback != 0 || !has_other_than_loopback(*self, enabled, *snapshot.get());
    NUV_INT32 length = 0;
    for (const std::optional<netio::Transport> &transport : self->registered()) {
        for (NUV_INT32 i = 0; i < NUVNetioInterfaceSnapshot_getLength(snapshot.get()); ++i) {
            const NUVNetioInterface *interface = NUVNetioInterfaceSnapshot_get(snapshot.get(), i);
            if (length < maximum && interface->transport == transport->classid &&
                is_wished(*self, enabled, *interface) &&
                (with_loopback || interface->isLoopback == 0)) {
                locatorsOut[length++] = make_locator(*interface, port);
            }
        }
    }
    return length;
}
