// The interfaces on which one socket has joined its multicast group.
#ifndef NETIO_MEMBERSHIPS_H
#define NETIO_MEMBERSHIPS_H

#include "allowedInterfaces.h"

namespace netio {

class Memberships {
public:
    Memberships() = default;
    ~Memberships();
    Memberships(const Memberships &) = delete;
    Memberships &operator=(const Memberships &) = delete;

    /**
     * Joins on the interfaces of the snapshot that are not joined yet, and leaves those that are
     * there no more. An interface that refuses is a warning, and tried again the next time.
     */
    void follow(int socket, const NUVNetioLocator &group, const AllowedInterfaces &allowed,
                const NUVNetioInterfaceSnapshot &snapshot);

private:
    void leave_gone(int socket, const NUVNetioLocator &group, const AllowedInterfaces &allowed,
                    const NUVNetioInterfaceSnapshot &snapshot);
    void join(int socket, const NUVNetioLocator &group, const NUVNetioInterface &interface);
    bool is_joined(NUV_UINT32 index) const;
    bool make_room();

    NUV_UINT32 *joined_ = nullptr; // interface indices
    NUV_INT32 count_ = 0;
    NUV_INT32 capacity_ = 0;
};

} // namespace netio

#endif
