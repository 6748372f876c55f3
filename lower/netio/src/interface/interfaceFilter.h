// SPDX-License-Identifier: Apache-2.0
// The interfaces by which somebody receives a group.
#ifndef NETIO_INTERFACE_FILTER_H
#define NETIO_INTERFACE_FILTER_H

#include <atomic>

#include "interface/allowedInterfaces.h"
#include "reactor/stableSlots.h"

namespace netio {

/** Asked by the reactor without a lock, while whoever has the interfaces listed changes it. */
class InterfaceFilter {
public:
    InterfaceFilter() = default;
    InterfaceFilter(const InterfaceFilter &) = delete;
    InterfaceFilter &operator=(const InterfaceFilter &) = delete;

    /** Whether what arrived on an interface is wanted; on an unknown one (0) all is. */
    bool admits(NUV_UINT32 index) const;

    /** Lets everything through. Not once it has been narrowed. */
    void open() {
        admits_all_.store(true);
    }
    bool is_narrowed() const {
        return is_narrowed_;
    }
    /**
     * Lets through what multicast goes over. What was let through before and still is passes all
     * the while. False when memory runs out: then an open one stays open, of another some is
     * missing.
     */
    bool narrow(const NUVNetioInterfaceSnapshot &snapshot, const AllowedInterfaces &allowed,
                KOLS_Transport_ClassId_t transport);

private:
    bool has(NUV_UINT32 index) const;

    bool is_narrowed_ = false; // asked by whoever changes it only
    std::atomic<bool> admits_all_{false};
    StableSlots<NUV_UINT32, 4> indices_; // none is 0
};

} // namespace netio

#endif
