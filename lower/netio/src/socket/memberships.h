// SPDX-License-Identifier: Apache-2.0
// The interfaces on which a multicast group is joined, and the sockets that hold the memberships.
#ifndef NETIO_MEMBERSHIPS_H
#define NETIO_MEMBERSHIPS_H

#include "osapi/osapi_type.h"

namespace netio {

class ReceivePort;
class ReceiveSocket;

/** One interface on which a group is joined, or was to be. */
struct Membership {
    NUV_UINT32 interface;  // its index
    ReceiveSocket *socket; // that holds it; null while the interface refuses
    int error;             // of the last refusal, 0 while it is joined
    bool wanted;
};

class Memberships {
public:
    explicit Memberships(ReceivePort &port) : port_(port) {}
    ~Memberships();
    Memberships(const Memberships &) = delete;
    Memberships &operator=(const Memberships &) = delete;

    /** Forgets which interfaces are wanted; want is called for each before change is. */
    void want_none();
    void want(NUV_UINT32 interface);
    NUV_INT32 wanted_count() const;

    /**
     * Joins on the wanted interfaces that are not joined yet, and leaves the others. The system
     * limits how many memberships a socket may have: the port gets further sockets for the rest,
     * each closed again when it has none left. An interface that refuses is tried again each time.
     * @return false when an interface refuses because something has run out, which may pass.
     */
    bool change();

    /** Null when the interface is not wanted, or there was no memory for it. */
    const Membership *find(NUV_UINT32 interface) const;
    /** Whether every interface that is wanted is joined. */
    bool is_complete() const;

private:
    void leave_unwanted();
    void join_missing();
    void close_unused_sockets();

    bool join(const ReceiveSocket &socket, NUV_UINT32 interface) const;
    ReceiveSocket *join_by_any_socket(NUV_UINT32 interface);
    ReceiveSocket *join_by_further_socket(NUV_UINT32 interface);
    ReceiveSocket *open_further_socket();
    bool is_used(const ReceiveSocket *socket) const;
    bool is_short() const;
    bool make_room();

    ReceivePort &port_;
    Membership *all_ = nullptr;
    NUV_INT32 count_ = 0;
    NUV_INT32 capacity_ = 0;
    bool is_out_of_memory_ = false; // for an interface that is wanted
};

} // namespace netio

#endif
