// SPDX-License-Identifier: Apache-2.0
#include "host/interface_addresses.h"

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

#include <arpa/inet.h>
#include <ifaddrs.h>

namespace host {

std::set<std::string> interface_addresses() {
    struct Free {
        void operator()(ifaddrs *list) const {
            freeifaddrs(list);
        }
    };
    std::set<std::string> addresses;
    ifaddrs *first = nullptr;

    if (getifaddrs(&first) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot list the interfaces");
    }
    const std::unique_ptr<ifaddrs, Free> list(first);

    for (const ifaddrs *each = first; each != nullptr; each = each->ifa_next) {
        const sockaddr *const address = each->ifa_addr;
        std::array<char, INET6_ADDRSTRLEN> text = {};
        const void *octets = nullptr;

        if (address != nullptr && address->sa_family == AF_INET) {
            octets = &reinterpret_cast<const sockaddr_in *>(address)->sin_addr;
        } else if (address != nullptr && address->sa_family == AF_INET6) {
            octets = &reinterpret_cast<const sockaddr_in6 *>(address)->sin6_addr;
        }
        if (octets != nullptr &&
            inet_ntop(address->sa_family, octets, text.data(), text.size()) != nullptr) {
            addresses.insert(text.data());
        }
    }
    return addresses;
}

} // namespace host
