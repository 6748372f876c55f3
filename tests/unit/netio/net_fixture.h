// SPDX-License-Identifier: Apache-2.0
// A runtime for tests, on interfaces that the test makes up: traffic stays on the loopback
// interface and in network namespaces of the test's own.
#pragma once

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "netio/event_activeDatabase.h"
#include "netio/netio_configurator.h"
#include "osapi/osapi_heap.h"
#include "support/fault_loop.h"
#include "support/faults.h"
#include "support/log_capture.h"
#include "support/ports.h"

namespace net {

constexpr std::chrono::seconds LONG_ENOUGH{20}; // for anything that is to happen; never reached
constexpr NUVNtpTime PLENTY = {20, 0};
constexpr NUV_INT64 MILLISECOND = 1'000'000; // in nanoseconds
constexpr NUV_INT64 SECOND = 1'000 * MILLISECOND;

/** Waits until something holds; false when it does not in a generous time. */
inline bool eventually(const std::function<bool()> &holds) {
    const auto deadline = std::chrono::steady_clock::now() + LONG_ENOUGH;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/** Has the next poll of the calling thread find its first descriptor readable. */
inline void pretend_event() {
    faults::replace("poll", [](pollfd *descriptors, nfds_t, int) {
        faults::restore("poll");
        descriptors[0].revents = POLLIN;
        return 1;
    });
}

inline long open_descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

inline NUV_UINT64 live_blocks() {
    NUVOsapiHeapStatistics statistics{};
    NUVOsapiHeap_getStatistics(&statistics);
    return statistics.liveBlocks;
}

/** Everything that may leak. */
struct Held {
    NUV_UINT64 blocks = live_blocks();
    long descriptors = open_descriptors();

    bool operator==(const Held &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const Held &held) {
    return out << held.blocks << " blocks, " << held.descriptors << " descriptors";
}

/**
 * Has one thing after the other fail that making something takes, which then gives null and one
 * error, and leaves nothing; so does what is made in the end when it is released.
 */
template <typename Ask, typename Make, typename Release>
int fail_each_in_making(Ask ask, Make make, Release release) {
    support::LogCapture log;
    const Held before;
    return faults::fail_each(ask, make, [&](auto *made, const std::string &failed) {
        EXPECT_EQ(made == nullptr, !failed.empty()) << failed;
        if (made != nullptr) {
            release(made);
        }
        EXPECT_EQ(Held(), before) << failed;
        EXPECT_EQ(log.messages().size(), failed.empty() ? 0u : 1u) << failed;
        for (const support::Message &message : log.messages()) {
            EXPECT_EQ(message.level, NUV_LOG_LEVEL_ERROR) << failed;
        }
        log.clear();
    });
}

inline NUVNetioLocator locator(const char *text) {
    NUVNetioLocator parsed = NUV_NETIO_LOCATOR_INVALID;
    EXPECT_NE(NUVNetioLocator_parse(text, &parsed), 0) << text;
    return parsed;
}

inline NUVNetioLocator locator(const char *text, int port) {
    NUVNetioLocator parsed = locator(text);
    parsed.port = port;
    return parsed;
}

inline std::string text(const NUVNetioLocator &locator) {
    char buffer[NUV_NETIO_LOCATOR_STRING_SIZE] = "";
    EXPECT_GT(NUVNetioLocator_toString(&locator, buffer, sizeof buffer), 0);
    return buffer;
}

/** An address of an interface: "192.0.2.1/24", or "192.0.2.1" whose network is not known. */
inline NUVNetioInterface interface(const char *name, NUV_UINT32 index, const char *address) {
    NUVNetioInterface made{};
    std::strncpy(made.name, name, sizeof made.name - 1);
    made.index = index;
    const std::string whole = address;
    const std::size_t slash = whole.find('/');
    const NUVNetioLocator parsed = locator(whole.substr(0, slash).c_str());
    made.transport = parsed.transport;
    made.address = parsed.address;
    if (slash != std::string::npos) {
        const int first = parsed.transport == KOLS_TRANSPORT_CLASSID_UDPv4 ? 96 : 0;
        for (int i = first; i < first + std::stoi(whole.substr(slash + 1)); ++i) {
            made.netmask.network_ordered_value[i / 8] |= static_cast<NUV_UINT8>(0x80 >> i % 8);
        }
    }
    made.isLoopback = std::string_view(name) == "lo" ? 1 : 0;
    made.isMulticast = 1;
    return made;
}

inline NUVNetioInterface loopback(const char *address = "127.0.0.1") {
    return interface("lo", if_nametoindex("lo"), address);
}

/** A source of interfaces that the test makes up. */
class Interfaces {
public:
    explicit Interfaces(std::vector<NUVNetioInterface> interfaces) : list_(std::move(interfaces)) {}

    void set(std::vector<NUVNetioInterface> interfaces) {
        const std::lock_guard lock(mutex_);
        list_ = std::move(interfaces);
    }
    void set_failing(bool failing) {
        const std::lock_guard lock(mutex_);
        failing_ = failing;
    }
    int listings() const {
        const std::lock_guard lock(mutex_);
        return listings_;
    }
    NUVNetioInterfaceSource source() {
        return {list, this, nullptr};
    }

private:
    static int list(void *param, int (*add)(void *, const NUVNetioInterface *), void *add_param) {
        auto *self = static_cast<Interfaces *>(param);
        const std::lock_guard lock(self->mutex_);
        ++self->listings_;
        if (self->failing_) {
            errno = ENFILE;
            return 0;
        }
        return static_cast<int>(
            std::all_of(self->list_.begin(), self->list_.end(),
                        [&](const NUVNetioInterface &one) { return add(add_param, &one) != 0; }));
    }

    mutable std::mutex mutex_;
    std::vector<NUVNetioInterface> list_;
    bool failing_ = false;
    int listings_ = 0;
};

/**
 * The monotonic clock as the test wants it. Each reading is a nanosecond later than the one before,
 * so that everything takes some time. It is so far ahead of the kernel's that no timer comes by
 * itself: a runtime does what is due when it is flushed, and nobody may sleep. To be made before a
 * runtime, whose thread reads it.
 */
class TestClock {
public:
    TestClock() {
        clock_->getNanoseconds = [](const NUVClock *) { return ++now_; };
    }
    ~TestClock() {
        clock_->getNanoseconds = former_;
    }
    TestClock(const TestClock &) = delete;
    TestClock &operator=(const TestClock &) = delete;

    void advance(NUV_INT64 nanoseconds) {
        now_ += nanoseconds;
    }

private:
    static inline std::atomic<NUV_INT64> now_{1'000'000'000'000'000'000};

    NUVClock *const clock_ = NUVClock_getMonotonic();
    NUV_INT64 (*const former_)(const NUVClock *) = clock_->getNanoseconds;
};

/** The factories that a runtime borrows, and the workers of the test's own threads. */
class Factories {
public:
    Factories()
        : threads(NUVOsapiThreadFactory_new(nullptr)), workers(REDAWorkerFactory_new()),
          worker(REDAWorkerFactory_createWorker(workers, "test")) {}
    ~Factories() {
        for (const auto &[thread, its_worker] : further_) {
            REDAWorkerFactory_destroyWorker(workers, its_worker);
        }
        REDAWorkerFactory_destroyWorker(workers, worker);
        EXPECT_EQ(REDAWorkerFactory_getWorkerCount(workers), 0);
        REDAWorkerFactory_delete(workers);
        NUVOsapiThreadFactory_delete(threads);
    }
    Factories(const Factories &) = delete;
    Factories &operator=(const Factories &) = delete;

    /** That of the calling thread: no two threads share one. */
    REDAWorker *worker_of_this_thread() const {
        if (std::this_thread::get_id() == thread_) {
            return worker;
        }
        const std::lock_guard lock(mutex_);
        REDAWorker *&its_worker = further_[std::this_thread::get_id()];
        if (its_worker == nullptr) {
            its_worker = REDAWorkerFactory_createWorker(workers, "test");
        }
        return its_worker;
    }

    NUVOsapiThreadFactory *const threads;
    REDAWorkerFactory *const workers;
    REDAWorker *const worker; // of the thread that made this

private:
    const std::thread::id thread_ = std::this_thread::get_id();
    mutable std::mutex mutex_;
    mutable std::map<std::thread::id, REDAWorker *> further_;
};

inline NUVNetioRuntimeProperty runtime_property(const NUVNetioInterfaceSource &source,
                                                bool is_watched = false) {
    NUVNetioRuntimeProperty property = NUV_NETIO_RUNTIME_PROPERTY_DEFAULT;
    property.interfaceSource = source;
    property.watchInterfaces = is_watched ? 1 : 0;
    return property;
}

/** A runtime on made-up interfaces, the loopback interface unless others are named. */
class Runtime {
public:
    explicit Runtime(std::vector<NUVNetioInterface> list = {loopback()})
        : interfaces(std::move(list)) {
        const NUVNetioRuntimeProperty property = runtime_property(interfaces.source());
        open(&property);
    }
    /** A runtime that asks the kernel. */
    explicit Runtime(const NUVNetioRuntimeProperty &property) : interfaces({}) {
        open(&property);
    }
    ~Runtime() {
        NUVNetioRuntime_delete(runtime);
    }
    Runtime(const Runtime &) = delete;
    Runtime &operator=(const Runtime &) = delete;

    bool flush() const {
        return NUVNetioRuntime_flush(runtime, &PLENTY) != 0;
    }
    REDAWorker *worker() const {
        return factories.worker;
    }
    bool renew() const {
        return NUVNetioRuntime_renewInterfaces(runtime, worker()) != 0;
    }
    /** How many addresses the snapshot has that is acquired now; -1: none is. */
    NUV_INT32 acquire() const {
        const NUVNetioInterfaceSnapshot *const held = NUVNetioRuntime_acquireInterfaces(runtime);
        const NUV_INT32 length = held == nullptr ? -1 : NUVNetioInterfaceSnapshot_getLength(held);
        if (held != nullptr) {
            NUVNetioInterfaceSnapshot_release(held);
        }
        return length;
    }

    Interfaces interfaces;
    Factories factories;
    NUVNetioRuntime *runtime = nullptr;

private:
    void open(const NUVNetioRuntimeProperty *property) {
        runtime = NUVNetioRuntime_new(property, factories.threads, factories.workers);
        EXPECT_NE(runtime, nullptr);
    }
};

/** Keeps the reactor's thread busy until it is let go. */
class Blocker {
public:
    explicit Blocker(const Runtime &runtime)
        : events_(NUVNetioRuntime_getEventDatabase(runtime.runtime)) {
        const NUVNtpTime now = NUV_NTP_TIME_ZERO;
        NUVEventActiveDatabase_postEvent(events_, &event_, &now);
        EXPECT_TRUE(eventually([this] { return started_.load(); }));
    }
    ~Blocker() {
        let_go();
        NUVEventActiveDatabase_cancelEvent(events_, &event_); // waits until it has ended
    }
    Blocker(const Blocker &) = delete;
    Blocker &operator=(const Blocker &) = delete;

    void let_go() {
        let_go_ = true;
    }

private:
    static void on_time(void *param, REDAWorker * /*worker*/) {
        auto *self = static_cast<Blocker *>(param);
        self->started_ = true;
        EXPECT_TRUE(eventually([self] { return self->let_go_.load(); }));
    }

    NUVEventActiveDatabase *const events_;
    std::atomic<bool> started_{false};
    std::atomic<bool> let_go_{false};
    NUVEvent event_{on_time, this, 0, nullptr, 0};
};

inline NUVNetioConfiguratorProperty
configurator_property(const char *transports, const std::vector<const char *> &allowed) {
    NUVNetioConfiguratorProperty property = NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT;
    std::strncpy(property.transports.aliases, transports, sizeof property.transports.aliases - 1);
    for (const char *entry : allowed) {
        std::strncpy(property.allowedInterfaces[property.allowedInterfaceCount++], entry,
                     NUV_NETIO_INTERFACE_PATTERN_SIZE - 1);
    }
    return property;
}

class Configurator {
public:
    explicit Configurator(const Runtime &runtime, const char *transports = "udpv4",
                          const std::vector<const char *> &allowed = {}) {
        const NUVNetioConfiguratorProperty property = configurator_property(transports, allowed);
        self = NUVNetioConfigurator_new(&property, runtime.runtime, runtime.worker());
        EXPECT_NE(self, nullptr);
    }
    ~Configurator() {
        NUVNetioConfigurator_delete(self);
    }
    Configurator(const Configurator &) = delete;
    Configurator &operator=(const Configurator &) = delete;

    NUVNetioConfigurator *self = nullptr;
};

/** A UDP socket of the test's own. */
class PlainSocket {
public:
    explicit PlainSocket(int family = AF_INET)
        : number(socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        EXPECT_GE(number, 0);
    }
    ~PlainSocket() {
        close(number);
    }
    PlainSocket(const PlainSocket &) = delete;
    PlainSocket &operator=(const PlainSocket &) = delete;

    bool bind_to(const char *address, int port) const {
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_port = htons(static_cast<in_port_t>(port));
        inet_pton(AF_INET, address, &name.sin_addr);
        return bind(number, reinterpret_cast<const sockaddr *>(&name), sizeof name) == 0;
    }

    bool send_to(const NUVNetioLocator &locator, std::string_view data) const {
        sockaddr_in ipv4{};
        sockaddr_in6 ipv6{};
        const sockaddr *name = nullptr;
        socklen_t length = 0;
        if (locator.transport == KOLS_TRANSPORT_CLASSID_UDPv4) {
            ipv4.sin_family = AF_INET;
            ipv4.sin_port = htons(static_cast<in_port_t>(locator.port));
            std::memcpy(&ipv4.sin_addr, locator.address.network_ordered_value + 12, 4);
            name = reinterpret_cast<const sockaddr *>(&ipv4);
            length = sizeof ipv4;
        } else {
            ipv6.sin6_family = AF_INET6;
            ipv6.sin6_port = htons(static_cast<in_port_t>(locator.port));
            std::memcpy(&ipv6.sin6_addr, locator.address.network_ordered_value, 16);
            name = reinterpret_cast<const sockaddr *>(&ipv6);
            length = sizeof ipv6;
        }
        return sendto(number, data.data(), data.size(), 0, name, length) ==
               static_cast<ssize_t>(data.size());
    }

    /** Has what is sent to a group leave by an interface. */
    bool set_multicast_interface(const NUVNetioLocator &group, const std::string &name) const {
        const int index = static_cast<int>(if_nametoindex(name.c_str()));
        const ip_mreqn request = {{}, {}, index};
        return index != 0 &&
               (group.transport == KOLS_TRANSPORT_CLASSID_UDPv4
                    ? setsockopt(number, IPPROTO_IP, IP_MULTICAST_IF, &request, sizeof request)
                    : setsockopt(number, IPPROTO_IPV6, IPV6_MULTICAST_IF, &index, sizeof index)) ==
                   0;
    }

    int port() const {
        sockaddr_in name{};
        socklen_t length = sizeof name;
        getsockname(number, reinterpret_cast<sockaddr *>(&name), &length);
        return ntohs(name.sin_port);
    }

    const int number;
};

/** Whether nobody has a port, as a plain program would find out. */
inline bool is_free(int port) {
    return PlainSocket().bind_to("0.0.0.0", port);
}

/** A port that nobody has, of those of this program. */
inline int free_port() {
    static int next = 0;
    for (int i = 0; i < support::PORTS_OF_A_PROGRAM; ++i) {
        const int port = support::portBase() + next++ % support::PORTS_OF_A_PROGRAM;
        if (is_free(port)) {
            return port;
        }
    }
    ADD_FAILURE() << "no free port";
    return 0;
}

/** What a receive resource told. */
class Inbox {
public:
    struct Message {
        std::string data;
        NUVNetioLocator source;
        KOLS_Transport_ClassId_t transport;
        KOLS_Transport_Port_t port;
        NUV_UINT32 interface;
        NUV_UINT64 arrival;
    };

    NUVNetioReceiveListener listener() {
        return {on_message, on_closed, this};
    }

    /** Releases a resource that tells this inbox: it is closed at once, or when it was told so. */
    void release(NUVNetioReceiveResource *resource, REDAWorker *worker) {
        if (NUVNetioReceiveResource_release(resource, worker) != 0) {
            on_closed(this, worker);
        }
    }

    bool wait_for(std::size_t messages) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, LONG_ENOUGH, [&] { return messages_.size() >= messages; });
    }
    bool wait_for_close() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, LONG_ENOUGH, [&] { return closed_ > 0; });
    }
    std::vector<Message> messages() const {
        const std::lock_guard lock(mutex_);
        return messages_;
    }
    int closed() const {
        const std::lock_guard lock(mutex_);
        return closed_;
    }

private:
    static void on_message(void *param, const NUVNetioMessage *message, REDAWorker *worker) {
        EXPECT_NE(worker, nullptr);
        auto *self = static_cast<Inbox *>(param);
        const std::lock_guard lock(self->mutex_);
        EXPECT_EQ(self->closed_, 0);
        self->messages_.push_back(
            {std::string(reinterpret_cast<const char *>(message->data), message->length),
             message->source, message->transport, message->port, message->interfaceIndex,
             message->arrival});
        self->changed_.notify_all();
    }
    static void on_closed(void *param, REDAWorker *worker) {
        EXPECT_NE(worker, nullptr);
        auto *self = static_cast<Inbox *>(param);
        const std::lock_guard lock(self->mutex_);
        ++self->closed_;
        self->changed_.notify_all();
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Message> messages_;
    int closed_ = 0;
};

inline bool run(const std::string &command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

/** Makes an interface, up and running, with an address. */
inline bool add_interface(const std::string &name, const std::string &address) {
    const std::string peer = name + "p";
    return run("ip link add " + name + " type veth peer name " + peer + " && ip link set " + peer +
               " up && ip link set " + name + " up && ip addr add " + address + " dev " + name +
               (address.find(':') != std::string::npos ? " nodad" : "")) &&
           eventually([&] { return run("ip link show " + name + " | grep -q LOWER_UP"); });
}

/**
 * Runs a test in a network namespace of its own, which has a loopback interface and nothing else.
 * Whatever the test starts from there is in it too. Skips the test where that is not permitted.
 */
#define IN_PRIVATE_NETWORK(...)                                                                    \
    do {                                                                                           \
        if (!net::in_private_network(__VA_ARGS__)) {                                               \
            GTEST_SKIP() << "needs a network namespace and the program ip";                        \
        }                                                                                          \
    } while (false)

inline bool in_private_network(const std::function<void()> &test) {
    bool possible = true;
    // Namespaces are a matter of threads: this one's end is the end of its namespace.
    std::thread([&] {
        possible = unshare(CLONE_NEWNET) == 0 && run("ip link set lo up");
        if (possible) {
            test();
        }
    }).join();
    return possible;
}

} // namespace net
