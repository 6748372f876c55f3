// The interfaces on which a multicast group is joined, and the sockets that hold the memberships.
#ifndef NETIO_MEMBERSHIPS_H
#define NETIO_MEMBERSHIPS_H

#include "interface/allowedInterfaces.h"

struct NUVNetioReceiveResource;

namespace netio {

class ReceiveSocket;

/** One interface on which a group is joined, or was to be. */
struct Membership {
    NUV_UINT32 interface;  // its index
    ReceiveSocket *socket; // that holds it; null while the interface refuses
    int error;             // of the last refusal, 0 while it is joined
    int said;              // the refusal that has been logged, or 0
    bool wanted;           // by the snapshot
};

class Memberships {
public:
    /** @param quiet nothing is said of what the first snapshot meets: it was said before. */
    Memberships(NUVNetioReceiveResource &resource, bool quiet)
        : resource_(resource), quiet_(quiet) {}
    ~Memberships();
    Memberships(const Memberships &) = delete;
    Memberships &operator=(const Memberships &) = delete;

    /**
     * Joins on the interfaces of the snapshot that are not joined yet, and leaves those that are
     * there no more. The kernel limits how many memberships a socket may have: the resource gets
     * further sockets for the rest, each closed again when it has none left. An interface that
     * refuses is tried again each time, and a warning when it refuses for another reason than
     * before. A group that no interface joins is one warning.
     * @return false when an interface refuses because something has run out, which may pass.
     */
    bool follow(const AllowedInterfaces &allowed, const NUVNetioInterfaceSnapshot &snapshot);

private:
    void note_wanted(const AllowedInterfaces &allowed, const NUVNetioInterfaceSnapshot &snapshot);
    void leave_unwanted();
    void join_missing();
    void close_unused_sockets();
    void tell_of_refusals(const AllowedInterfaces &allowed,
                          const NUVNetioInterfaceSnapshot &snapshot);

    ReceiveSocket *join_by_any_socket(NUV_UINT32 interface);
    ReceiveSocket *join_by_further_socket(NUV_UINT32 interface);
    Membership *find(NUV_UINT32 interface) const;
    Membership *find_or_add(NUV_UINT32 interface);
    bool is_used(const ReceiveSocket *socket) const;
    bool is_joined_anywhere() const;
    bool is_short() const;
    bool make_room();

    NUVNetioReceiveResource &resource_;
    bool quiet_;
    Membership *all_ = nullptr;
    NUV_INT32 count_ = 0;
    NUV_INT32 capacity_ = 0;

    bool is_out_of_memory_ = false; // for an interface that is wanted
    bool is_deaf_ = false;          // it has been logged that no interface joins
    int deaf_error_ = 0;            // why
};

} // namespace netio

#endif
