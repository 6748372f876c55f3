#include "injected_interfaces.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <netpacket/packet.h>
#include <sys/socket.h>

#include "pres/pres_participant.h"
#include "seams.h"

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
std::optional<Links> table;
bool has_events = false;
int times_listed = 0;
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

    for (const Link &link : *table) {
        add_link(listing, link, index++);
    }
    if (listing.empty()) {
        return nullptr;
    }
    ifaddrs *const first = &listing.front()->header;

    handed_out.emplace(first, std::move(listing));
    return first;
}

bool is_injected() {
    const std::lock_guard lock(mutex);

    return table.has_value();
}

bool hides_events() {
    const std::lock_guard lock(mutex);

    return table.has_value() && !has_events;
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

} // namespace

Interfaces::Interfaces(Links links) {
    set(std::move(links));
}

Interfaces::~Interfaces() {
    const std::lock_guard lock(mutex);

    EXPECT_TRUE(handed_out.empty()) << "a list of the interfaces was not freed";
    table.reset();
    holds_updates = false;
    has_held = false;
    has_events = false;
    times_listed = 0;
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
    const std::lock_guard lock(mutex);

    return times_listed;
}

bool call_fails(const char *function) {
    seams::State &state = seams::current();

    if (state.call_to_fail == function) {
        state.call_to_fail.clear();
    } else if (state.calls_until_failure < 0 || state.calls_until_failure-- != 0) {
        return false;
    }
    state.failed = function;
    return true;
}

} // namespace injected

extern "C" {

int __real_getifaddrs(ifaddrs **out);
int __wrap_getifaddrs(ifaddrs **out);
void __real_freeifaddrs(ifaddrs *list);
void __wrap_freeifaddrs(ifaddrs *list);
int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol);
int __real_PRESParticipant_getProperty(PRESParticipant *self, PRESParticipantProperty *out,
                                       REDAWorker *worker);
int __wrap_PRESParticipant_getProperty(PRESParticipant *self, PRESParticipantProperty *out,
                                       REDAWorker *worker);
int __real_PRESParticipant_setProperty(PRESParticipant *self, int *failReason,
                                       const PRESParticipantProperty *property, REDAWorker *worker);
int __wrap_PRESParticipant_setProperty(PRESParticipant *self, int *failReason,
                                       const PRESParticipantProperty *property, REDAWorker *worker);

int __wrap_getifaddrs(ifaddrs **out) {
    const std::lock_guard lock(injected::mutex);

    if (!injected::table.has_value()) {
        return __real_getifaddrs(out);
    }
    ++injected::times_listed;
    if (injected::call_fails("getifaddrs")) {
        errno = ENOBUFS;
        return -1;
    }
    *out = injected::list_table();
    return 0;
}

void __wrap_freeifaddrs(ifaddrs *list) {
    const std::lock_guard lock(injected::mutex);

    if (injected::handed_out.erase(list) == 0) {
        __real_freeifaddrs(list);
    }
}

int __wrap_socket(int domain, int type, int protocol) {
    if (domain == AF_NETLINK && injected::hides_events()) {
        errno = EAFNOSUPPORT;
        return -1;
    }
    seams::State &state = seams::current();

    if (state.call_to_fail == "socket" || state.every_call_to_fail == "socket") {
        state.call_to_fail.clear();
        state.failed = "socket";
        errno = EMFILE;
        return -1;
    }
    return __real_socket(domain, type, protocol);
}

int __wrap_PRESParticipant_getProperty(PRESParticipant *self, PRESParticipantProperty *out,
                                       REDAWorker *worker) {
    injected::wait_while_held();
    if (injected::is_injected() && injected::call_fails("PRESParticipant_getProperty")) {
        return 0;
    }
    return __real_PRESParticipant_getProperty(self, out, worker);
}

int __wrap_PRESParticipant_setProperty(PRESParticipant *self, int *failReason,
                                       const PRESParticipantProperty *property,
                                       REDAWorker *worker) {
    if (injected::is_injected() && injected::call_fails("PRESParticipant_setProperty")) {
        *failReason = PRES_RETCODE_OUT_OF_RESOURCES;
        return 0;
    }
    return __real_PRESParticipant_setProperty(self, failReason, property, worker);
}
}
