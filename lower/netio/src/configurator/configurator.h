// SPDX-License-Identifier: Apache-2.0
// A configurator's parts.
#ifndef NETIO_CONFIGURATOR_INTERNAL_H
#define NETIO_CONFIGURATOR_INTERNAL_H

#include <array>
#include <mutex>
#include <optional>
#include <span>

#include "configurator/attempt.h"
#include "interface/allowedInterfaces.h"
#include "interface/interfaceSnapshot.h"
#include "netio/netio_configurator.h"
#include "runtime.h"
#include "transport/sender.h"

namespace netio {

/** One registered transport. */
struct Transport {
    Transport(const NUVNetioTransport &its_network, const NUVNetioSendOptions &sending)
        : network(its_network), classid(its_network.transportClass->classid),
          spare(its_network, sending), sender(its_network, sending) {}

    const NUVNetioTransport &network;
    const KOLS_Transport_ClassId_t classid;
    REDAWeakReference handle = REDA_WEAK_REFERENCE_INVALID;
    SpareSocket spare;
    Sender sender;
};

} // namespace netio

struct NUVNetioConfigurator {
public:
    explicit NUVNetioConfigurator(NUVNetioRuntime *its_runtime) : runtime(its_runtime) {}
    ~NUVNetioConfigurator();
    NUVNetioConfigurator(const NUVNetioConfigurator &) = delete;
    NUVNetioConfigurator &operator=(const NUVNetioConfigurator &) = delete;

    /** Sets it up. On failure an error has been logged. */
    bool open(const NUVNetioConfiguratorProperty &property);

    /** The registered transport of a class, or null. */
    netio::Transport *find_transport(KOLS_Transport_ClassId_t classid);
    const netio::Transport *find_transport(KOLS_Transport_ClassId_t classid) const;

    /** The registered transports, by class. */
    std::span<const std::optional<netio::Transport>> registered() const {
        return {transports.data(), static_cast<size_t>(transport_count)};
    }

    /** Whether a transport is registered and wanted; no list and an empty list want every one. */
    bool is_enabled(const NUVNetioAliasList *enabled, KOLS_Transport_ClassId_t classid) const;

    /** The snapshot that this configurator goes by. */
    netio::HeldSnapshot snapshot();
    /** Takes over a newer one; true when it differs. */
    bool take_over(netio::HeldSnapshot newer);

    NUVNetioRuntime *const runtime;
    netio::AllowedInterfaces allowed;
    netio::Attempt attempt;
    std::array<std::optional<netio::Transport>, NUV_NETIO_TRANSPORTS_MAX> transports; // by class
    NUV_INT32 transport_count = 0;
    NUVNetioAliasList aliases{};                 // of all of them
    REDAWeakReferenceManager *handles = nullptr; // their referents are the transports

private:
    bool register_transports(const NUVNetioAliasList &wanted, const NUVNetioSendOptions &sending);
    bool register_transport(const NUVNetioTransport &network, const NUVNetioSendOptions &sending);

    std::mutex mutex_; // guards what follows
    netio::HeldSnapshot snapshot_;
};

#endif
