// SPDX-License-Identifier: Apache-2.0
#include "injected_interfaces.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <netpacket/packet.h>
#include <sys/socket.h>

#include "pres/pres_participant.h"
#include "support/faults.h"

namespace injected {

namespace {

/** One entry of the kernel's list, and what it points to. */
struct Entry {
    ifaddrs header = {};
    std::string name;
    union {
        sockaddr any;
        sockaddr_ll link;
        sockaddr_in v4;
        sockaddr_in6 v6;
    } address = {};
};

using Listing = std::vector<std::unique_ptr<Entry>>;

std::mutex mutex; // guards what follows
Links table;
bool has_events = false;
std::map<const ifaddrs *, Listing> handed_out; // by their first entry

void add_entry(Listing &listing, const Link &link) {
    auto entry = std::make_unique<Entry>();

    entry->name = link.name;
    entry->header.ifa_name = entry->name.data();
    entry->header.ifa_flags = link.flags;
    entry->header.ifa_addr = &entry->address.any;
    if (!listing.empty()) {
        listing.back()->header.ifa_next = &entry->header;
    }
    listing.push_back(std::move(entry));
}

void add_link(Listing &listing, const Link &link, int index) {
    add_entry(listing, link);
    listing.back()->address.link.sll_family = AF_PACKET;
    listing.back()->address.link.sll_ifindex = index;
    for (const std::string &text : link.addresses) {
        add_entry(listing, link);
        auto &address = listing.back()->address;

        if (inet_pton(AF_INET, text.c_str(), &address.v4.sin_addr) == 1) {
            address.v4.sin_family = AF_INET;
        } else {
            EXPECT_EQ(inet_pton(AF_INET6, text.c_str(), &address.v6.sin6_addr), 1) << text;
            address.v6.sin6_family = AF_INET6;
        }
    }
}

/** The table as the kernel would list it. Null, and nothing to be freed, when it is empty. */
ifaddrs *list_table() {
    constexpr int FIRST_INDEX = 1000000; // which no interface has
    int index = FIRST_INDEX;
    Listing listing;

    for (const Link &link : table) {
        add_link(listing, link, index++);
    }
    if (listing.empty()) {
        return nullptr;
    }
    ifaddrs *const first = &listing.front()->header;

    handed_out.emplace(first, std::move(listing));
    return first;
}

bool hides_events() {
    const std::lock_guard lock(mutex);

    return !has_events;
}

std::atomic<bool> holds_updates{false};
std::atomic<bool> has_held{false};

/** The first thing that an update does is to read the property. */
void wait_while_held() {
    constexpr int LONG_ENOUGH = 20'000; // milliseconds

    for (int i = 0; holds_updates && i < LONG_ENOUGH; ++i) {
        has_held = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/** What takes the place of each function while there is a table, for every thread. */
int list_interfaces(ifaddrs **out) {
    const std::lock_guard lock(mutex);

    *out = list_table();
    return 0;
}

void free_list(ifaddrs *list) {
    const std::lock_guard lock(mutex);

    EXPECT_EQ(handed_out.erase(list), 1u);
}

int open_socket(int domain, int type, int protocol) {
    if (domain == AF_NETLINK && hides_events()) {
        errno = EAFNOSUPPORT;
        return -1;
    }
    return socket(domain, type, protocol);
}

int get_property(PRESParticipant *participant, PRESParticipantProperty *out, REDAWorker *worker) {
    wait_while_held();
    return PRESParticipant_getProperty(participant, out, worker);
}

} // namespace

Interfaces::Interfaces(Links links) {
    set(std::move(links));
    faults::replace("getifaddrs", list_interfaces, faults::Thread::ANY);
    faults::replace("freeifaddrs", free_list, faults::Thread::ANY);
    faults::replace("socket", open_socket, faults::Thread::ANY);
    faults::replace("PRESParticipant_getProperty", get_property, faults::Thread::ANY);
}

Interfaces::~Interfaces() {
    for (const char *function :
         {"getifaddrs", "freeifaddrs", "socket", "PRESParticipant_getProperty"}) {
        faults::restore(function);
    }
    const std::lock_guard lock(mutex);

    EXPECT_TRUE(handed_out.empty()) << "a list of the interfaces was not freed";
    holds_updates = false;
    has_held = false;
    has_events = false;
}

void Interfaces::set(Links links) {
    const std::lock_guard lock(mutex);

    table = std::move(links);
}

void Interfaces::allow_events() {
    const std::lock_guard lock(mutex);

    has_events = true;
}

void Interfaces::hold_updates() {
    holds_updates = true;
}

bool Interfaces::has_held_update() const {
    return has_held;
}

void Interfaces::let_updates_go() {
    holds_updates = false;
}

int Interfaces::listings() const {
    return faults::count("getifaddrs");
}

} // namespace injected
