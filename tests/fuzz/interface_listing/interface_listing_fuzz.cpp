// SPDX-License-Identifier: Apache-2.0
// The interface addresses that the kernel lists, one link or address a line.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netpacket/packet.h>

#include "fuzz.h"
#include "interface/interfaceSnapshot.h"

using netio::HeldSnapshot;
using netio::Listing;

namespace {

/** What getifaddrs answers. The lines are
 *
 *     link NAME INDEX FLAGS   flags: u up, r running, l loopback, m multicast
 *     inet NAME ADDRESS [NETMASK]
 *     inet6 NAME ADDRESS [NETMASK]
 *     none NAME               without an address
 *     fail ERRNO              no list at all
 */
class Kernel {
public:
    explicit Kernel(std::string_view text) {
        fuzz::Input input(reinterpret_cast<const std::uint8_t *>(text.data()), text.size());
        while (!input.is_empty()) {
            const std::string_view line = input.line();
            read(fuzz::Input(reinterpret_cast<const std::uint8_t *>(line.data()), line.size()));
        }
        for (std::size_t i = 0; i + 1 < entries_.size(); ++i) {
            entries_[i].ifa_next = &entries_[i + 1];
        }
    }

    const std::deque<ifaddrs> &entries() const {
        return entries_;
    }
    ifaddrs *first() {
        return entries_.empty() ? nullptr : &entries_.front();
    }
    int error() const {
        return error_;
    }

    int lists_held = 0;

private:
    void read(fuzz::Input line) {
        const std::string kind(line.take_to(' '));
        const std::string name(line.take_to(' '));
        if (kind == "fail") {
            error_ = static_cast<int>(fuzz::number_in(name).value_or(EIO) & 0x7F) | 1;
        } else if (kind == "link") {
            add_link(name, fuzz::number_in(line.take_to(' ')).value_or(1), line.rest());
        } else if (kind == "inet") {
            add_address(name, line, read_ipv4);
        } else if (kind == "inet6") {
            add_address(name, line, read_ipv6);
        } else if (kind == "none") {
            add(name, nullptr, 0);
        }
    }

    void add_link(const std::string &name, long long index, std::string_view letters) {
        constexpr std::pair<char, unsigned> FLAGS[] = {
            {'u', IFF_UP}, {'r', IFF_RUNNING}, {'l', IFF_LOOPBACK}, {'m', IFF_MULTICAST}};
        sockaddr_ll address{};
        address.sll_family = AF_PACKET;
        address.sll_ifindex = static_cast<int>(index & 0x7FFFFFFF);
        unsigned flags = 0;
        for (const auto &[letter, flag] : FLAGS) {
            flags |= letters.find(letter) != std::string_view::npos ? flag : 0;
        }
        add(name, &address, sizeof address, flags);
    }

    static std::optional<sockaddr_in> read_ipv4(std::string_view text) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        const bool is_one = inet_pton(AF_INET, std::string(text).c_str(), &address.sin_addr) == 1;
        return is_one ? std::optional(address) : std::nullopt;
    }
    static std::optional<sockaddr_in6> read_ipv6(std::string_view text) {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        const bool is_one = inet_pton(AF_INET6, std::string(text).c_str(), &address.sin6_addr) == 1;
        return is_one ? std::optional(address) : std::nullopt;
    }

    template <typename Read>
    void add_address(const std::string &name, fuzz::Input line, Read read_one) {
        const auto address = read_one(line.take_to(' '));
        const auto netmask = read_one(line.rest());
        if (address && is_name(name)) {
            add(name, &*address, sizeof *address);
            entries_.back().ifa_netmask = netmask ? keep(&*netmask, sizeof *netmask) : nullptr;
        }
    }

    /** As the kernel has it a name is of 1 to 15 octets. */
    static bool is_name(const std::string &name) {
        return !name.empty() && name.size() < IFNAMSIZ;
    }

    sockaddr *keep(const void *address, std::size_t size) {
        std::string &octets = texts_.emplace_back(size, '\0');
        std::memcpy(octets.data(), address, size);
        return reinterpret_cast<sockaddr *>(octets.data());
    }

    void add(const std::string &name, const void *address, std::size_t size, unsigned flags = 0) {
        if (!is_name(name)) {
            return;
        }
        const std::string &kept = texts_.emplace_back(name);
        ifaddrs entry{};
        entry.ifa_name = const_cast<char *>(kept.c_str());
        entry.ifa_flags = flags;
        entry.ifa_addr = address != nullptr ? keep(address, size) : nullptr;
        entries_.push_back(entry);
    }

    std::deque<std::string> texts_;
    std::deque<ifaddrs> entries_;
    int error_ = 0;
};

Kernel *kernel = nullptr;

KOLS_Transport_Address_t octets_of(const sockaddr &from) {
    KOLS_Transport_Address_t address{};
    const auto *octets = reinterpret_cast<const std::uint8_t *>(&from);
    if (from.sa_family == AF_INET) {
        std::memcpy(address.network_ordered_value + 12, octets + offsetof(sockaddr_in, sin_addr),
                    4);
    } else {
        std::memcpy(address.network_ordered_value, octets + offsetof(sockaddr_in6, sin6_addr), 16);
    }
    return address;
}

/** The address, unless no locator can carry it: none, of another family, or link-local. */
std::optional<KOLS_Transport_Address_t> address_of(const ifaddrs &entry) {
    if (entry.ifa_addr == nullptr || entry.ifa_addr->sa_family == AF_PACKET) {
        return std::nullopt;
    }
    const KOLS_Transport_Address_t address = octets_of(*entry.ifa_addr);
    const bool is_link_local = address.network_ordered_value[0] == 0xFE &&
                               (address.network_ordered_value[1] & 0xC0) == 0x80;
    return is_link_local ? std::nullopt : std::optional(address);
}

std::string text_of(const KOLS_Transport_Address_t &address) {
    return {reinterpret_cast<const char *>(address.network_ordered_value),
            sizeof address.network_ordered_value};
}

/** One line for each address, in the order in which a snapshot has them. */
std::vector<std::string> expected() {
    std::vector<std::string> lines;
    for (const ifaddrs &link : kernel->entries()) {
        const unsigned wanted = IFF_UP | IFF_RUNNING;
        if (link.ifa_addr == nullptr || link.ifa_addr->sa_family != AF_PACKET ||
            (link.ifa_flags & wanted) != wanted) {
            continue;
        }
        sockaddr_ll hardware{};
        std::memcpy(&hardware, link.ifa_addr, sizeof hardware);
        const bool is_loopback = (link.ifa_flags & IFF_LOOPBACK) != 0;
        const bool is_multicast = is_loopback || (link.ifa_flags & IFF_MULTICAST) != 0;
        for (const ifaddrs &entry : kernel->entries()) {
            const std::string label = entry.ifa_name;
            const auto address = address_of(entry);
            if (address && label.substr(0, label.find(':')) == link.ifa_name) {
                lines.push_back(
                    std::string(link.ifa_name) + " " + std::to_string(hardware.sll_ifindex) + " " +
                    (entry.ifa_addr->sa_family == AF_INET ? "1 " : "2 ") + text_of(*address) + " " +
                    text_of(entry.ifa_netmask != nullptr ? octets_of(*entry.ifa_netmask)
                                                         : KOLS_Transport_Address_t{}) +
                    (is_loopback ? " 1 " : " 0 ") + (is_multicast ? "1" : "0"));
            }
        }
    }
    return lines;
}

std::vector<std::string> lines_of(const NUVNetioInterfaceSnapshot *snapshot) {
    std::vector<std::string> lines;
    for (NUV_INT32 i = 0; i < NUVNetioInterfaceSnapshot_getLength(snapshot); ++i) {
        const NUVNetioInterface &one = *NUVNetioInterfaceSnapshot_get(snapshot, i);
        lines.push_back(std::string(one.name) + " " + std::to_string(one.index) + " " +
                        std::to_string(one.transport) + " " + text_of(one.address) + " " +
                        text_of(one.netmask) + " " + std::to_string(one.isLoopback) + " " +
                        std::to_string(one.isMulticast));
    }
    return lines;
}

} // namespace

extern "C" {

int __wrap_getifaddrs(ifaddrs **out) {
    if (kernel->error() != 0) {
        errno = kernel->error();
        return -1;
    }
    ++kernel->lists_held;
    *out = kernel->first();
    return 0;
}

void __wrap_freeifaddrs(ifaddrs *list) {
    fuzz::must(list == kernel->first(), "the list that is given back is the kernel's");
    --kernel->lists_held;
}

} // extern "C"

/** Two listings, before and after a line "changed". */
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr std::string_view CHANGED = "changed\n";
    const fuzz::Messages messages;
    const fuzz::HeapBalance balance;
    const std::string text = fuzz::text_of(data, size);
    const std::size_t change = text.find(CHANGED);
    HeldSnapshot first(netio::make_empty_snapshot());
    std::vector<std::string> first_lines;

    for (const std::string &listing :
         {text.substr(0, change),
          change == std::string::npos ? text : text.substr(change + CHANGED.size())}) {
        Kernel now(listing);
        kernel = &now;
        HeldSnapshot snapshot = first.share();
        const Listing answer = netio::list_interfaces(NUV_NETIO_INTERFACE_SOURCE_KERNEL, &snapshot);
        fuzz::must(answer == (now.error() == 0 ? Listing::DONE : Listing::FAILED),
                   "a listing is done unless the kernel refuses it");
        fuzz::must(now.lists_held == 0 || now.first() == nullptr,
                   "the kernel's list is given back");
        if (answer == Listing::FAILED) {
            fuzz::must(errno == now.error(), "errno tells why a listing failed");
            fuzz::must(snapshot.get() == first.get(), "a listing that failed changes nothing");
            continue;
        }
        const std::vector<std::string> lines = expected();
        fuzz::must(lines_of(snapshot.get()) == lines,
                   "a snapshot has the addresses of the usable links that locators can carry");
        fuzz::must((NUVNetioInterfaceSnapshot_isEqual(first.get(), snapshot.get()) != 0) ==
                       (lines == first_lines),
                   "snapshots are equal when they list the same");
        first = std::move(snapshot);
        first_lines = lines;
    }
    fuzz::must(messages.count() == 0, "to list the interfaces says nothing");
    return 0;
}
