// SPDX-License-Identifier: Apache-2.0
// A participant's transports.
#include "configurator/configurator.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "configurator/groupSending.h"
#include "locator/aliasList.h"
#include "netio_log.h"
#include "osapi/osapi_heap.h"

using netio::HeldSnapshot;
using netio::Outgoing;
using netio::Transport;

namespace {

/** No list and an empty list mean every transport. */
bool wants_all(const NUVNetioAliasList *enabled) {
    return enabled == nullptr || enabled->aliases[0] == '\0';
}

bool check_aliases(const NUVNetioAliasList &aliases) {
    constexpr const char *LOG_METHOD = "NUVNetioConfigurator_new";
    netio::AliasReader reader(aliases);
    for (std::string_view alias; reader.next(&alias);) {
        if (netio::class_of_alias(alias) == KOLS_TRANSPORT_CLASSID_INVALID) {
            const std::string_view text = netio::text_of(aliases);
            char allowed[NUV_NETIO_TRANSPORTS_STRING_SIZE];
            NUVNetioTransportClass_listAliases("'", allowed, sizeof allowed);
            NETIO_ERROR("transports '%.*s': unknown transport '%.*s'; allowed are %s, joined by "
                        "','",
                        static_cast<int>(text.size()), text.data(), static_cast<int>(alias.size()),
                        alias.data(), allowed);
            return false;
        }
    }
    return true;
}

} // namespace

const NUVNetioConfiguratorProperty NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT = {
    {"udpv4"}, 0, {}, NUV_NETIO_SEND_OPTIONS_DEFAULT};

NUVNetioConfigurator::~NUVNetioConfigurator() {
    REDAWeakReferenceManager_delete(handles);
}

bool NUVNetioConfigurator::open(const NUVNetioConfiguratorProperty &property) {
    constexpr const char *LOG_METHOD = "NUVNetioConfigurator_new";
    if (!check_aliases(property.transports) || !allowed.read(property) ||
        !register_transports(property.transports, property.sending)) {
        return false;
    }
    // Whoever goes by it renews it first; only the warning below has to know of what is new.
    snapshot_ =
        allowed.is_restricted() ? runtime->acquire_interfaces() : runtime->interfaces.current();
    if (snapshot_.get() == nullptr) {
        NETIO_ERROR("out of memory for the list of network interfaces");
        return false;
    }
    allowed.warn_of_unmatched(*snapshot_.get());
    return true;
}

bool NUVNetioConfigurator::register_transports(const NUVNetioAliasList &wanted,
                                               const NUVNetioSendOptions &sending) {
    constexpr const char *LOG_METHOD = "NUVNetioConfigurator_new";
    handles = REDAWeakReferenceManager_new();
    bool ok = handles != nullptr;
    for (NUV_INT32 i = 0; i < NUV_NETIO_TRANSPORTS_MAX; ++i) {
        const NUVNetioTransportClass &its_class = *NUVNetioTransportClass_get(i);
        const NUVNetioTransport *network = runtime->find_network(its_class);
        if (network != nullptr && NUVNetioAliasList_contains(&wanted, its_class.alias) != 0) {
            ok = ok && register_transport(*network, sending);
        }
    }
    if (!ok) {
        NETIO_ERROR("out of memory for the transports");
    }
    return ok;
}

bool NUVNetioConfigurator::register_transport(const NUVNetioTransport &network,
                                              const NUVNetioSendOptions &sending) {
    Transport &transport =
        transports[static_cast<size_t>(transport_count)].emplace(network, sending);
    ++transport_count;
    NUVNetioAliasList_add(&aliases, network.transportClass->alias);
    return REDAWeakReferenceManager_createReference(handles, &transport, &transport.handle) != 0;
}

const Transport *NUVNetioConfigurator::find_transport(KOLS_Transport_ClassId_t classid) const {
    for (const std::optional<Transport> &transport : registered()) {
        if (transport->classid == classid) {
            return &*transport;
        }
    }
    return nullptr;
}

Transport *NUVNetioConfigurator::find_transport(KOLS_Transport_ClassId_t classid) {
    return const_cast<Transport *>(std::as_const(*this).find_transport(classid));
}

bool NUVNetioConfigurator::is_enabled(const NUVNetioAliasList *enabled,
                                      KOLS_Transport_ClassId_t classid) const {
    return find_transport(classid) != nullptr &&
           (wants_all(enabled) ||
            NUVNetioAliasList_contains(enabled, NUVNetioTransport_aliasOfClass(classid)) != 0);
}

HeldSnapshot NUVNetioConfigurator::snapshot() {
    const std::lock_guard lock(mutex_);
    return snapshot_.share();
}

bool NUVNetioConfigurator::take_over(HeldSnapshot newer) {
    if (newer.get() == nullptr) {
        return false;
    }
    const std::lock_guard lock(mutex_);
    if (netio::generation_of(*newer.get()) < netio::generation_of(*snapshot_.get())) {
        return false; // one that was told of late
    }
    const bool differs = NUVNetioInterfaceSnapshot_isEqual(snapshot_.get(), newer.get()) == 0;
    snapshot_ = std::move(newer);
    return differs;
}

NUVNetioConfigurator *NUVNetioConfigurator_new(const NUVNetioConfiguratorProperty *property,
                                               NUVNetioRuntime *runtime, REDAWorker * /*worker*/) {
    NUVNetioConfigurator *self = nullptr;
    NUVOsapiHeap_allocateStructure(&self, struct NUVNetioConfigurator);
    if (self == nullptr) {
        NETIO_ERROR("out of memory for the network configurator");
        return nullptr;
    }
    new (self) NUVNetioConfigurator(runtime);
    if (!self->open(property != nullptr ? *property : NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT)) {
        NUVNetioConfigurator_delete(self);
        return nullptr;
    }
    return self;
}

void NUVNetioConfigurator_delete(NUVNetioConfigurator *self) {
    if (self != nullptr) {
        self->~NUVNetioConfigurator();
        NUVOsapiHeap_freeStructure(self);
    }
}

NUVNetioRuntime *NUVNetioConfigurator_getRuntime(NUVNetioConfigurator *self) {
    return self->runtime;
}

NUV_INT32 NUVNetioConfigurator_getTransportCount(const NUVNetioConfigurator *self) {
    return self->transport_count;
}

int NUVNetioConfigurator_getTransportInfo(NUVNetioConfigurator *self, NUVNetioTransportInfo *buffer,
                                          NUV_UINT32 *lengthOut, NUV_UINT32 maximum,
                                          REDAWorker * /*worker*/) {
    NUV_UINT32 length = 0;
    while (length < maximum && length < static_cast<NUV_UINT32>(self->transport_count)) {
        const NUVNetioTransportClass &its_class = *self->transports[length]->network.transportClass;
        buffer[length] = {its_class.classid, its_class.messageSizeMax};
        ++length;
    }
    *lengthOut = length;
    return 1;
}

int NUVNetioConfigurator_getTransportHandle(const NUVNetioConfigurator *self,
                                            KOLS_Transport_ClassId_t transport,
                                            REDAWeakReference *out) {
    const Transport *found = self->find_transport(transport);
    if (found == nullptr) {
        *out = REDA_WEAK_REFERENCE_INVALID;
        return 0;
    }
    *out = found->handle;
    return 1;
}

KOLS_Transport_ClassId_t NUVNetioConfigurator_getTransportClass(const NUVNetioConfigurator *self,
                                                                const REDAWeakReference *handle) {
    const auto *transport =
        static_cast<const Transport *>(REDAWeakReferenceManager_getReferent(self->handles, handle));
    return transport != nullptr ? transport->classid : KOLS_TRANSPORT_CLASSID_INVALID;
}

int NUVNetioConfigurator_refreshInterfaces(NUVNetioConfigurator *self, REDAWorker * /*worker*/) {
    return static_cast<int>(self->take_over(self->runtime->acquire_interfaces()));
}

int NUVNetioConfigurator_takeInterfaces(NUVNetioConfigurator *self,
                                        const NUVNetioInterfaceSnapshot *snapshot) {
    return static_cast<int>(
        self->take_over(HeldSnapshot(NUVNetioInterfaceSnapshot_retain(snapshot))));
}

void NUVNetioConfigurator_getEnabledAliases(const NUVNetioConfigurator *self,
                                            const NUVNetioAliasList *enabled,
                                            NUVNetioAliasList *out) {
    if (wants_all(enabled)) {
        *out = self->aliases;
        return;
    }
    NUVNetioAliasList aliases{};
    for (const std::optional<Transport> &transport : self->registered()) {
        if (self->is_enabled(enabled, transport->classid)) {
            NUVNetioAliasList_add(&aliases, transport->network.transportClass->alias);
        }
    }
    *out = aliases; // last, for it may be the list that was asked about
}

namespace sending {

namespace {

/** Null after an error. */
Transport *find_transport(const char *LOG_METHOD, NUVNetioConfigurator &self,
                          const NUVNetioLocator &destination) {
    Transport *const transport = self.find_transport(destination.transport);
    if (transport == nullptr) {
        NETIO_ERROR("cannot send to %s: its transport is not registered",
                    netio::LocatorText(destination).get());
        return nullptr;
    }
    if (NUVNetioLocator_isPort(destination.port) == 0) {
        NETIO_ERROR("cannot send to %s: allowed ports are 1 to %d",
                    netio::LocatorText(destination).get(), KOLS_TRANSPORT_PORT_MAX);
        return nullptr;
    }
    return transport;
}

/** How many datagrams were taken; 0: errno tells why. */
NUV_INT32 send_from(const char *method, NUVNetioConfigurator &self, Transport &transport,
                    const Outgoing &message) {
    const NUVNetioSocket_t socket = transport.sender.get_or_open();
    if (socket == NUV_NETIO_SOCKET_NONE) {
        return 0;
    }
    const auto send_over = [&](const Outgoing &one, NUV_UINT32 interface_index) {
        return one.send(transport.network, socket, interface_index);
    };
    if (NUVNetioLocator_isMulticast(&message.destination) == 0) {
        return send_over(message, netio::BY_THE_ROUTES) ? 1 : 0;
    }
    return netio::send_to_group(method, message, self, *self.snapshot().get(), send_over);
}

NUV_INT32 send(const char *LOG_METHOD, NUVNetioConfigurator &self, const Outgoing &message) {
    Transport *const transport = find_transport(LOG_METHOD, self, message.destination);
    if (transport == nullptr) {
        return 0;
    }
    const NUV_INT32 taken = send_from(LOG_METHOD, self, *transport, message);
    if (taken == 0) {
        const int error = errno;
        NETIO_ERROR_LIMITED(&self.runtime->repetitions, "cannot send %zu bytes to %s: %s (%s)",
                            message.octets.size(), netio::LocatorText(message.destination).get(),
                            netio::error_description(error), netio::error_name(error));
    }
    return taken;
}

} // namespace

} // namespace sending

int NUVNetioConfigurator_send(NUVNetioConfigurator *self, const NUVNetioLocator *destination,
                              const NUV_UINT8 *data, NUV_UINT32 length, REDAWorker * /*worker*/) {
    return sending::send("NUVNetioConfigurator_send", *self, {*destination, {data, length}, true});
}

int NUVNetioConfigurator_trySend(NUVNetioConfigurator *self, const NUVNetioLocator *destination,
                                 const NUV_UINT8 *data, NUV_UINT32 length,
                                 REDAWorker * /*worker*/) {
    return sending::send("NUVNetioConfigurator_trySend", *self,
                         {*destination, {data, length}, false});
}
