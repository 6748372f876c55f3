// SPDX-License-Identifier: Apache-2.0
// Receive resources, of whatever kind.
#include "socket/receiveResource.h"

#include "configurator/configurator.h"
#include "netio_log.h"
#include "socket/unicastPort.h"

namespace {

bool check_locator(const NUVNetioConfigurator &configurator, const NUVNetioLocator &locator) {
    constexpr const char *LOG_METHOD = "NUVNetioConfigurator_openReceiveResource";
    if (configurator.find_transport(locator.transport) == nullptr) {
        NETIO_ERROR("cannot receive at %s: its transport is not registered",
                    netio::LocatorText(locator).get());
        return false;
    }
    if (NUVNetioLocator_isPort(locator.port) == 0) {
        NETIO_ERROR("cannot receive at %s: allowed ports are 1 to %d",
                    netio::LocatorText(locator).get(), KOLS_TRANSPORT_PORT_MAX);
        return false;
    }
    return true;
}

} // namespace

NUVNetioReceiveResource *
NUVNetioConfigurator_openReceiveResource(NUVNetioConfigurator *self, const NUVNetioLocator *locator,
                                         const NUVNetioReceiveListener *listener,
                                         REDAWorker * /*worker*/) {
    if (!check_locator(*self, *locator)) {
        return nullptr;
    }
    if (NUVNetioLocator_isMulticast(locator) != 0) {
        return self->runtime->join_group(*self, *locator, *listener);
    }
    return netio::open_unicast_port(*self, *locator, *listener);
}

int NUVNetioReceiveResource_cover(NUVNetioReceiveResource *self, const NUVNetioLocator *locator,
                                  REDAWorker * /*worker*/) {
    return static_cast<int>(self->cover(locator->address));
}

int NUVNetioReceiveResource_send(NUVNetioReceiveResource *self, const NUVNetioLocator *destination,
                                 const NUV_UINT8 *data, NUV_UINT32 length,
                                 REDAWorker * /*worker*/) {
    return self->send({*destination, {data, length}, false});
}

int NUVNetioReceiveResource_release(NUVNetioReceiveResource *self, REDAWorker * /*worker*/) {
    return static_cast<int>(self->release());
}
