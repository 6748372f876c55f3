// SPDX-License-Identifier: Apache-2.0
// The communication facade: its slots, and how it comes and goes.
#include "commend/commend_facade.h"

#include <new>

#include "commend_log.h"
#include "destinations.h"
#include "entryportTable.h"
#include "osapi/osapi_heap.h"
#include "receiver.h"
#include "sending.h"

namespace {

/** What is behind the slots. */
struct Facade final : public COMMENDFacade {
public:
    Facade(const COMMENDFacadeProperty &property, NUVNetioConfigurator *its_configurator);
    Facade(const Facade &) = delete;
    Facade &operator=(const Facade &) = delete;

    NUVNetioConfigurator *const configurator;
    commend::Receiver receiver;
    commend::EntryportTable entryports;
    commend::Sending sending;
    commend::Destinations destinations;
};

Facade *from_slots(COMMENDFacade *self) {
    return static_cast<Facade *>(self);
}

/** The locator's own transport must be among those that may serve it; no list allows all. */
bool check_transport(const NUVNetioLocatorInfo &info) {
    constexpr const char *LOG_METHOD = "COMMENDFacade_addEntryport";
    const char *alias = NUVNetioTransport_aliasOfClass(info.locator.transport);
    if (info.aliasList.aliases[0] == '\0' ||
        (alias != nullptr && NUVNetioAliasList_contains(&info.aliasList, alias) != 0)) {
        return true;
    }
    COMMEND_ERROR("cannot receive at %s: allowed are the transports '%.*s'",
                  netio::LocatorText(info.locator).get(),
                  static_cast<int>(sizeof info.aliasList.aliases), info.aliasList.aliases);
    return false;
}

int add_entryport(COMMENDFacade *self, REDAWeakReference *entryportWROut,
                  const NUVNetioLocatorInfo *locatorInfo, REDAWorker *worker) {
    *entryportWROut = REDA_WEAK_REFERENCE_INVALID;
    return static_cast<int>(
        check_transport(*locatorInfo) &&
        from_slots(self)->entryports.reserve(locatorInfo->locator, entryportWROut, worker));
}

int remove_entryport(COMMENDFacade *self, REDAWeakReference *entryportWR, REDAWorker *worker) {
    return static_cast<int>(from_slots(self)->entryports.give_back(*entryportWR, worker));
}

int check_entryports(COMMENDFacade *self, int *hasActiveEntryPortsOut,
                     const REDAWeakReference *transportHandle, REDAWorker *worker) {
    Facade *facade = from_slots(self);
    KOLS_Transport_ClassId_t transport = KOLS_TRANSPORT_CLASSID_INVALID;
    if (transportHandle != nullptr) {
        transport = NUVNetioConfigurator_getTransportClass(facade->configurator, transportHandle);
        if (transport == KOLS_TRANSPORT_CLASSID_INVALID) {
            return 0;
        }
    }
    *hasActiveEntryPortsOut = facade->entryports.has_open(transport, worker) ? 1 : 0;
    return 1;
}

int remove_destination(COMMENDFacade *self, const NUVNetioLocator *destination,
                       REDAWorker * /*worker*/) {
    return static_cast<int>(from_slots(self)->destinations.remove(*destination));
}

int add_destination(COMMENDFacade *self, const NUVNetioLocator *destination,
                    REDAWorker * /*worker*/) {
    return static_cast<int>(from_slots(self)->destinations.add(*destination));
}

NUV_INT32 send_message(COMMENDFacade *self, const NUV_UINT8 *data, NUV_UINT32 length,
                       REDAWorker *worker) {
    return from_slots(self)->destinations.send({data, length}, worker);
}

int flush_entryports(COMMENDFacade *self, const NUVNtpTime *timeout, REDAWorker *worker) {
    return static_cast<int>(from_slots(self)->entryports.flush(*timeout, worker));
}

void set_message_listener(COMMENDFacade *self, const COMMENDMessageListener *listener,
                          REDAWorker * /*worker*/) {
    from_slots(self)->receiver.set_listener(*listener);
}

void get_statistics(COMMENDFacade *self, COMMENDFacadeStatistics *out, REDAWorker *worker) {
    Facade *facade = from_slots(self);
    facade->receiver.add_statistics(out);
    facade->entryports.add_statistics(out, worker);
    out->messagesSent = facade->sending.sent();
}

constexpr COMMENDFacade SLOTS = {
    add_entryport, remove_entryport, check_entryports,     remove_destination, add_destination,
    send_message,  flush_entryports, set_message_listener, get_statistics,
};

Facade::Facade(const COMMENDFacadeProperty &property, NUVNetioConfigurator *its_configurator)
    : COMMENDFacade(SLOTS), configurator(its_configurator),
      receiver(property, NUVNetioConfigurator_getRuntime(its_configurator)),
      entryports(its_configurator, receiver),
      sending(NUVNetioConfigurator_getRuntime(its_configurator),
              property.sender.sendTimeBasedLoggingThreshold),
      destinations(its_configurator, sending) {}

} // namespace

COMMENDFacade *COMMENDFacade_new(const COMMENDActiveFacadeProperty *property,
                                 NUVNetioConfigurator *configurator, REDAWorker *worker) {
    const COMMENDFacadeProperty &parent = property->parent;
    Facade *self = nullptr;
    NUVOsapiHeap_allocateStructure(&self, struct Facade);
    if (self == nullptr) {
        COMMEND_ERROR("out of memory for a communication facade");
        return nullptr;
    }
    new (self) Facade(parent, configurator);
    if (!self->receiver.open(parent.receiver) || !self->entryports.open()) {
        (void)COMMENDFacade_delete(self, worker); // it has no receive port yet
        return nullptr;
    }
    return self;
}

int COMMENDFacade_delete(COMMENDFacade *self, REDAWorker *worker) {
    if (self == nullptr) {
        return 1;
    }
    Facade *facade = from_slots(self);
    if (!facade->entryports.close(worker)) {
        COMMEND_ERROR("cannot delete a communication facade: the thread '%s' is still handing on a "
                      "message of it",
                      NUV_NETIO_REACTOR_THREAD_NAME);
        return 0;
    }
    facade->~Facade();
    NUVOsapiHeap_freeStructure(facade);
    return 1;
}

int COMMENDFacade_addEndpoint(COMMENDFacade *self, const COMMENDEndpoint *endpoint) {
    return static_cast<int>(from_slots(self)->receiver.interpreter.endpoints.add(*endpoint));
}

int COMMENDFacade_removeEndpoint(COMMENDFacade *self, const COMMENDEndpoint *endpoint) {
    return static_cast<int>(from_slots(self)->receiver.interpreter.endpoints.remove(*endpoint));
}

void COMMENDFacade_getInterpreterStatistics(COMMENDFacade *self,
                                            COMMENDInterpreterStatistics *out) {
    from_slots(self)->receiver.interpreter.copy_statistics(out);
}

NUV_INT32 COMMENDFacade_sendFrom(COMMENDFacade *self, KOLS_Transport_Port_t port,
                                 const NUVNetioLocator *destination, const NUV_UINT8 *data,
                                 NUV_UINT32 length, REDAWorker *worker) {
    Facade *facade = from_slots(self);
    return facade->sending.send("COMMENDFacade_sendFrom", *destination, [&] {
        const std::optional<NUV_INT32> taken =
            facade->entryports.send_from(port, *destination, {data, length}, worker);
        return taken ? *taken
                     : NUVNetioConfigurator_trySend(facade->configurator, destination, data, length,
                                                    worker);
    });
}

int COMMENDFacade_hasEntryport(COMMENDFacade *self, const NUVNetioLocator *locator,
                               REDAWorker *worker) {
    return static_cast<int>(from_slots(self)->entryports.has_reserved(*locator, worker));
}

NUVNetioConfigurator *COMMENDFacade_getConfigurator(COMMENDFacade *self) {
    return from_slots(self)->configurator;
}
