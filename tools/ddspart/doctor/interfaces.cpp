// SPDX-License-Identifier: Apache-2.0
// The interfaces of the host, those included that no participant can use.
#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netpacket/packet.h>

#include "doctor/facts.h"
#include "numbers.h"

namespace doctor {

namespace {

struct Free {
    void operator()(ifaddrs *list) const {
        freeifaddrs(list);
    }
};
using List = std::unique_ptr<ifaddrs, Free>;

List read_list() {
    ifaddrs *first = nullptr;

    if (getifaddrs(&first) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot list the interfaces");
    }
    return List(first);
}

/** IPv4 addresses may have a label, as "eth0:1". */
std::string_view name_of(const ifaddrs &entry) {
    const std::string_view name = entry.ifa_name;

    return name.substr(0, name.find(':'));
}

std::string text_of(int family, const void *address) {
    std::array<char, INET6_ADDRSTRLEN> text{};

    (void)inet_ntop(family, address, text.data(), text.size());
    return text.data();
}

/** Of an address, with its family; none where the text is no address. */
std::optional<std::pair<Family, std::array<std::uint8_t, sizeof(in6_addr)>>>
octets_of(const std::string &address) {
    const std::optional<Family> family = family_of(address);
    in6_addr octets = {}; // has room for either

    if (!family) {
        return std::nullopt;
    }
    (void)inet_pton(*family == Family::IPV4 ? AF_INET : AF_INET6, address.c_str(), &octets);
    return std::pair(*family, std::bit_cast<std::array<std::uint8_t, sizeof(in6_addr)>>(octets));
}

template <class Octets>
unsigned bits_of(const Octets &mask) {
    unsigned bits = 0;

    for (const auto octet : std::bit_cast<std::array<std::uint8_t, sizeof mask>>(mask)) {
        bits += static_cast<unsigned>(std::popcount(octet));
    }
    return bits;
}

/** An address of a structure that the kernel has filled. */
template <class Structure>
Structure read(const sockaddr *from) {
    Structure structure = {};

    if (from != nullptr) {
        std::memcpy(&structure, from, sizeof structure);
    }
    return structure;
}

void add_address(Interface &interface, const ifaddrs &entry) {
    if (entry.ifa_addr->sa_family == AF_INET) {
        const auto address = read<sockaddr_in>(entry.ifa_addr);

        interface.addresses.push_back({Family::IPV4, text_of(AF_INET, &address.sin_addr),
                                       bits_of(read<sockaddr_in>(entry.ifa_netmask).sin_addr)});
    } else if (entry.ifa_addr->sa_family == AF_INET6) {
        const auto address = read<sockaddr_in6>(entry.ifa_addr);

        if (IN6_IS_ADDR_LINKLOCAL(&address.sin6_addr)) {
            interface.has_link_local = true;
        } else {
            interface.addresses.push_back(
                {Family::IPV6, text_of(AF_INET6, &address.sin6_addr),
                 bits_of(read<sockaddr_in6>(entry.ifa_netmask).sin6_addr)});
        }
    }
}

/** A setting of an interface; none where the kernel has no such thing. */
std::optional<int> setting(const host::Files &files, const char *family, const std::string &name,
                           const char *what) {
    const auto text =
        host::text_or_none(files.proc / "sys" / "net" / family / "conf" / name / what);
    const auto words = text ? host::fields_of(*text) : std::vector<std::string>();

    return words.size() == 1 ? to_number<int>(words.front()) : std::nullopt;
}

void read_settings(Interface &interface, const host::Files &files) {
    const auto reverse_path = [&](const std::string &name) {
        return setting(files, "ipv4", name, "rp_filter").value_or(0);
    };
    constexpr int LARGEST = static_cast<int>(ReversePath::LOOSE);

    interface.ipv6_is_off = setting(files, "ipv6", interface.name, "disable_ipv6").value_or(1) != 0;
    // The kernel goes by the larger one.
    interface.reverse_path = static_cast<ReversePath>(
        std::clamp(std::max(reverse_path("all"), reverse_path(interface.name)), 0, LARGEST));
}

/** Whether a cable (or the like) leads to it, itself or by way of what it is on top of. */
bool leads_to_hardware(const std::filesystem::path &interface, int most_levels) {
    constexpr std::string_view LOWER = "lower_";
    std::error_code error;

    if (std::filesystem::exists(interface / "device", error)) {
        return true;
    }
    for (const auto &entry : std::filesystem::directory_iterator(interface, error)) {
        const std::string name = entry.path().filename();

        if (most_levels > 0 && name.starts_with(LOWER) &&
            leads_to_hardware(interface.parent_path() / name.substr(LOWER.size()),
                              most_levels - 1)) {
            return true;
        }
    }
    return false;
}

/** Whether what an interface sends goes into packets of others; @p type is that of its hardware. */
bool is_encapsulating(unsigned type) {
    constexpr unsigned IPV6_GRE = 823; // ARPHRD_IP6GRE, which not every C library has
    constexpr std::array<unsigned, 6> TYPES = {ARPHRD_NONE, ARPHRD_TUNNEL, ARPHRD_TUNNEL6,
                                               ARPHRD_SIT,  ARPHRD_IPGRE,  IPV6_GRE};

    return std::ranges::find(TYPES, type) != TYPES.end();
}

/** What is on top of what; nothing is known where the files are those of another network. */
void read_relations(Interface &interface, const host::Files &files) {
    constexpr int MOST_LEVELS = 8; // as the kernel has it
    const std::filesystem::path directory = files.sys / "class" / "net" / interface.name;
    const auto index = host::text_or_none(directory / "ifindex");
    std::error_code error;

    if (!index || host::fields_of(*index) != std::vector{std::to_string(interface.index)}) {
        return;
    }
    const bool is_bridge = std::filesystem::exists(directory / "bridge", error);
    const bool is_tunnel = std::filesystem::exists(directory / "tun_flags", error);

    // A modem may have the type of a tunnel.
    interface.is_auxiliary = is_tunnel || ((is_bridge || interface.is_auxiliary) &&
                                           !leads_to_hardware(directory, MOST_LEVELS));
    if (const auto master = host::link_or_none(directory / "master")) {
        interface.master = std::filesystem::path(*master).filename();
    }
}

} // namespace

bool Interface::is_port() const {
    return !master.empty() && addresses.empty();
}

bool Interface::has(Family family) const {
    return std::ranges::find(addresses, family, &Address::family) != addresses.end();
}

bool Interface::is_usable(Family family) const {
    return is_up && is_running && has(family);
}

std::vector<Interface> list_interfaces(const host::Files &files) {
    const List list = read_list();
    std::vector<Interface> interfaces;

    for (const ifaddrs *link = list.get(); link != nullptr; link = link->ifa_next) {
        if (link->ifa_addr == nullptr || link->ifa_addr->sa_family != AF_PACKET) {
            continue;
        }
        Interface interface;

        interface.name = link->ifa_name;
        interface.index = if_nametoindex(link->ifa_name);
        interface.is_up = (link->ifa_flags & IFF_UP) != 0;
        interface.is_running = (link->ifa_flags & IFF_RUNNING) != 0;
        interface.is_loopback = (link->ifa_flags & IFF_LOOPBACK) != 0;
        interface.is_multicast = (link->ifa_flags & IFF_MULTICAST) != 0;
        interface.is_auxiliary = is_encapsulating(read<sockaddr_ll>(link->ifa_addr).sll_hatype);
        read_settings(interface, files);
        read_relations(interface, files);
        for (const ifaddrs *each = list.get(); each != nullptr; each = each->ifa_next) {
            if (each->ifa_addr != nullptr && name_of(*each) == interface.name) {
                add_address(interface, *each);
            }
        }
        interfaces.push_back(std::move(interface));
    }
    return interfaces;
}

bool has_address(const Interface &interface, const std::string &address) {
    const auto octets = octets_of(address);

    return octets && std::ranges::any_of(interface.addresses, [&](const Address &its) {
               return octets_of(its.text) == octets;
           });
}

bool is_named(const Interface &interface, const std::string &entry) {
    return entry == interface.name || has_address(interface, entry);
}

bool is_allowed(const Interface &interface, const Wishes &wishes) {
    return wishes.interfaces.empty() || interface.is_loopback ||
           std::ranges::any_of(wishes.interfaces, [&](const std::string &entry) {
               return is_named(interface, entry);
           });
}

std::vector<Interface> multicast_interfaces(const std::vector<Interface> &interfaces,
                                            const Wishes &wishes, Family family) {
    std::vector<Interface> chosen;

    for (const bool loopback : {false, true}) {
        for (const Interface &interface : interfaces) {
            if (interface.is_loopback == loopback && interface.is_usable(family) &&
                (interface.is_multicast || loopback) && is_allowed(interface, wishes)) {
                chosen.push_back(interface);
            }
        }
        if (!chosen.empty()) {
            break;
        }
    }
    return chosen;
}

} // namespace doctor
