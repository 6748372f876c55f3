// SPDX-License-Identifier: Apache-2.0
// The interfaces that a participant may use.
#ifndef NETIO_ALLOWED_INTERFACES_H
#define NETIO_ALLOWED_INTERFACES_H

#include <initializer_list>

#include "netio/netio_configurator.h"

namespace netio {

/** An interface's name, or one of its addresses. */
struct InterfacePattern {
    KOLS_Transport_ClassId_t transport; // of an address; invalid for a name
    KOLS_Transport_Address_t address;
    char name[sizeof(NUVNetioInterface::name)];
};

/** Immutable once it has been read. */
class AllowedInterfaces {
public:
    AllowedInterfaces() = default;
    ~AllowedInterfaces();
    AllowedInterfaces(const AllowedInterfaces &) = delete;
    AllowedInterfaces &operator=(const AllowedInterfaces &) = delete;

    /** Reads the setting. On failure an error has been logged. */
    bool read(const NUVNetioConfiguratorProperty &property);

    /** Warns of each entry that no interface matches now. */
    void warn_of_unmatched(const NUVNetioInterfaceSnapshot &snapshot) const;

    /** Whether only some interfaces may be used. */
    bool is_restricted() const {
        return count_ != 0;
    }

    /** Whether an address may be used. Loopback always may: it is the last resort. */
    bool admits(const NUVNetioInterface &interface) const;

private:
    bool matches(const InterfacePattern &pattern, const NUVNetioInterface &interface) const;

    NUV_INT32 count_ = 0;
    InterfacePattern *patterns_ = nullptr;
};

/** Whether multicast of a transport may go over an interface, loopback apart. */
inline bool is_multicast_candidate(const NUVNetioInterface &interface,
                                   const AllowedInterfaces &allowed,
                                   KOLS_Transport_ClassId_t transport, bool loopback) {
    return interface.transport == transport && interface.isMulticast != 0 &&
           (interface.isLoopback != 0) == loopback && allowed.admits(interface);
}

/** Whether an earlier address of the snapshot is a candidate on the same interface. */
inline bool is_repeated_candidate(const NUVNetioInterfaceSnapshot &snapshot, NUV_INT32 position,
                                  const AllowedInterfaces &allowed,
                                  KOLS_Transport_ClassId_t transport, bool loopback) {
    const NUV_UINT32 index = NUVNetioInterfaceSnapshot_get(&snapshot, position)->index;
    for (NUV_INT32 i = 0; i < position; ++i) {
        const NUVNetioInterface *earlier = NUVNetioInterfaceSnapshot_get(&snapshot, i);
        if (earlier->index == index &&
            is_multicast_candidate(*earlier, allowed, transport, loopback)) {
            return true;
        }
    }
    return false;
}

/**
 * Calls @p visit once for each interface that multicast of a transport is sent and received on:
 * all that are allowed; loopback only if there is no other, so that a host by itself works too.
 */
template <typename Visitor>
void visit_multicast_interfaces(const NUVNetioInterfaceSnapshot &snapshot,
                                const AllowedInterfaces &allowed,
                                KOLS_Transport_ClassId_t transport, Visitor visit) {
    const NUV_INT32 length = NUVNetioInterfaceSnapshot_getLength(&snapshot);
    bool any = false;
    for (const bool loopback : {false, true}) {
        for (NUV_INT32 i = 0; i < length && !(loopback && any); ++i) {
            const NUVNetioInterface *interface = NUVNetioInterfaceSnapshot_get(&snapshot, i);
            if (is_multicast_candidate(*interface, allowed, transport, loopback) &&
                !is_repeated_candidate(snapshot, i, allowed, transport, loopback)) {
                visit(*interface);
                any = any || !loopback;
            }
        }
    }
}

} // namespace netio

#endif
