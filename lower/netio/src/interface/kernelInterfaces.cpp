// SPDX-License-Identifier: Apache-2.0
// The interface addresses that the kernel has.
#include <cstring>
#include <string_view>

#include <ifaddrs.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sys/socket.h>

#include "netio/netio_interface.h"
#include "transport/udpTransport.h"

namespace {

/** What getifaddrs lists: first every link, then every address. */
class Addresses {
public:
    Addresses() = default;
    ~Addresses() {
        if (first_ != nullptr) {
            freeifaddrs(first_);
        }
    }
    Addresses(const Addresses &) = delete;
    Addresses &operator=(const Addresses &) = delete;

    bool read() {
        return getifaddrs(&first_) == 0;
    }
    const ifaddrs *first() const {
        return first_;
    }

private:
    ifaddrs *first_ = nullptr;
};

bool is_usable_link(const ifaddrs &entry) {
    constexpr unsigned WANTED = IFF_UP | IFF_RUNNING;
    return entry.ifa_addr != nullptr && entry.ifa_addr->sa_family == AF_PACKET &&
           (entry.ifa_flags & WANTED) == WANTED;
}

/** Whether an address belongs to a link. IPv4 addresses may have a label, as "eth0:1". */
bool belongs_to(const ifaddrs &address, const ifaddrs &link) {
    const std::string_view name = address.ifa_name;
    return name.substr(0, name.find(':')) == link.ifa_name;
}

NUVNetioInterface describe_link(const ifaddrs &link) {
    sockaddr_ll hardware{};
    std::memcpy(&hardware, link.ifa_addr, sizeof hardware);
    NUVNetioInterface interface {};
    std::strncpy(interface.name, link.ifa_name, sizeof interface.name - 1);
    interface.index = static_cast<NUV_UINT32>(hardware.sll_ifindex);
    interface.isLoopback = (link.ifa_flags & IFF_LOOPBACK) != 0 ? 1 : 0;
    // The loopback interface has no multicast flag, but groups can be joined on it all the same.
    interface.isMulticast = (link.ifa_flags & (IFF_MULTICAST | IFF_LOOPBACK)) != 0 ? 1 : 0;
    return interface;
}

int list_kernel(void * /*param*/, int (*add)(void *addParam, const NUVNetioInterface *interface),
                void *addParam) {
    Addresses addresses;
    if (!addresses.read()) {
        return 0;
    }
    for (const ifaddrs *link = addresses.first(); link != nullptr; link = link->ifa_next) {
        if (!is_usable_link(*link)) {
            continue;
        }
        NUVNetioInterface interface = describe_link(*link);
        for (const ifaddrs *entry = addresses.first(); entry != nullptr; entry = entry->ifa_next) {
            if (belongs_to(*entry, *link) && netio::read_interface_address(*entry, &interface) &&
                add(addParam, &interface) == 0) {
                return 0;
            }
        }
    }
    return 1;
}

} // namespace

const NUVNetioInterfaceSource NUV_NETIO_INTERFACE_SOURCE_KERNEL = {list_kernel, nullptr, nullptr};
