// SPDX-License-Identifier: Apache-2.0
// The making of interface snapshots.
#ifndef NETIO_INTERFACE_SNAPSHOT_H
#define NETIO_INTERFACE_SNAPSHOT_H

#include "netio/netio_interface.h"

namespace netio {

/** A held snapshot, released with its holder. */
class HeldSnapshot {
public:
    HeldSnapshot() = default;
    /** Takes over one use of the snapshot. */
    explicit HeldSnapshot(const NUVNetioInterfaceSnapshot *snapshot) : snapshot_(snapshot) {}
    ~HeldSnapshot() {
        NUVNetioInterfaceSnapshot_release(snapshot_);
    }
    HeldSnapshot(HeldSnapshot &&other) noexcept : snapshot_(other.take()) {}
    HeldSnapshot &operator=(HeldSnapshot &&other) noexcept {
        const NUVNetioInterfaceSnapshot *former = snapshot_;
        snapshot_ = other.take();
        NUVNetioInterfaceSnapshot_release(former);
        return *this;
    }

    const NUVNetioInterfaceSnapshot *get() const {
        return snapshot_;
    }

    /** One more use, for somebody else. */
    HeldSnapshot share() const {
        return HeldSnapshot(NUVNetioInterfaceSnapshot_retain(snapshot_));
    }

    /** Notes the place of a snapshot among those of its table, before anybody else has it. */
    void set_generation(NUV_UINT64 generation);

    /** Gives the use away. */
    const NUVNetioInterfaceSnapshot *take() {
        const NUVNetioInterfaceSnapshot *snapshot = snapshot_;
        snapshot_ = nullptr;
        return snapshot;
    }

private:
    const NUVNetioInterfaceSnapshot *snapshot_ = nullptr;
};

/** The place of a snapshot among those of its table: a newer one has a higher one. */
NUV_UINT64 generation_of(const NUVNetioInterfaceSnapshot &snapshot);

/** What came of a listing. When it has failed errno tells why. */
enum class Listing { DONE, FAILED, OUT_OF_MEMORY };

/** Lists what a source has now. @p out is changed only when the listing is done. */
Listing list_interfaces(const NUVNetioInterfaceSource &source, HeldSnapshot *out);

/** A snapshot without interfaces; null when memory runs out. */
const NUVNetioInterfaceSnapshot *make_empty_snapshot();

} // namespace netio

#endif
