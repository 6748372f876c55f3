// The locators at which a receive port can be reached.
#include "configurator/configurator.h"

namespace {

/** What is wanted of the addresses of a snapshot. */
struct Wish {
    bool ipv4;
    bool ipv6;

    bool includes(KOLS_Transport_ClassId_t transport) const {
        return transport == KOLS_TRANSPORT_CLASSID_UDPv4 ? ipv4 : ipv6;
    }
};

bool is_wished(const NUVNetioInterface &interface, const Wish &wish,
               const netio::AllowedInterfaces &allowed) {
    return wish.includes(interface.transport) && allowed.admits(interface);
}

bool has_other_than_loopback(const NUVNetioInterfaceSnapshot &snapshot, const Wish &wish,
                             const netio::AllowedInterfaces &allowed) {
    for (NUV_INT32 i = 0; i < NUVNetioInterfaceSnapshot_getLength(&snapshot); ++i) {
        const NUVNetioInterface *interface = NUVNetioInterfaceSnapshot_get(&snapshot, i);
        if (interface->isLoopback == 0 && is_wished(*interface, wish, allowed)) {
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

NUV_INT32 NUVNetioConfigurator_getUnicastLocators(struct NUVNetioConfigurator *self,
                                                  const struct NUVNetioAliasList *enabled,
                                                  KOLS_Transport_Port_t port, int includeLoopback,
                                                  struct NUVNetioLocator *locatorsOut,
                                                  NUV_INT32 maximum) {
    const Wish wish{self->is_enabled(enabled, KOLS_TRANSPORT_CLASSID_UDPv4),
                    self->is_enabled(enabled, KOLS_TRANSPORT_CLASSID_UDPv6)};
    const netio::HeldSnapshot snapshot = self->snapshot();
    const bool with_loopback =
        includeLoopback != 0 || !has_other_than_loopback(*snapshot.get(), wish, self->allowed);
    NUV_INT32 length = 0;
    for (const KOLS_Transport_ClassId_t transport :
         {KOLS_TRANSPORT_CLASSID_UDPv4, KOLS_TRANSPORT_CLASSID_UDPv6}) {
        for (NUV_INT32 i = 0; i < NUVNetioInterfaceSnapshot_getLength(snapshot.get()); ++i) {
            const NUVNetioInterface *interface = NUVNetioInterfaceSnapshot_get(snapshot.get(), i);
            if (length < maximum && interface->transport == transport &&
                is_wished(*interface, wish, self->allowed) &&
                (with_loopback || interface->isLoopback == 0)) {
                locatorsOut[length++] = make_locator(*interface, port);
            }
        }
    }
    return length;
}
