// SPDX-License-Identifier: Apache-2.0
/**
 * @file simnet_host.h
 * @brief A simulated host: its interfaces, its ports, its clock, its processes.
 */
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "simnet/simnet_clock.h"
#include "simnet/simnet_process.h"
#include "simnet/simnet_segment.h"

namespace simnet {

struct HostProperty {
    NUV_UINT32 receiveBuffer = 212'992; /**< octets that wait in a socket, with what they cost */
    NUV_UINT32 membershipsMax = 20;     /**< of one socket; then ENOBUFS */
};

/**
 * An interface of a host, made by Host::add_interface. What is done to it the host's processes are
 * told of at once.
 */
class Interface final : public Station {
public:
    Interface(Host &host, std::string name, NUV_UINT32 index, const LinkProperty &link,
              bool is_multicast);

    const std::string &name() const {
        return name_;
    }
    NUV_UINT32 index() const {
        return index_;
    }
    const std::vector<Prefix> &addresses() const {
        return addresses_;
    }
    /** Up, and plugged in. */
    bool is_usable() const {
        return is_up_ && (segment() != nullptr || is_loopback());
    }
    bool is_loopback() const {
        return index_ == LOOPBACK_INDEX;
    }

    /** Takes all addresses that it had away and gives it these, as "192.0.2.1/24". */
    void set_addresses(const std::vector<std::string> &addresses);
    /** Takes it up, or down: then it has its addresses and its groups still, and is silent. */
    void set_up(bool is_up);
    /** Plugs it into another segment; null: into none. */
    void move_to(Segment *segment);

    bool has(const Address &address) const override;
    bool is_router() const override {
        return false;
    }
    void arrive(const Packet &packet) override;
    void report_groups() override;

    static constexpr NUV_UINT32 LOOPBACK_INDEX = 1;

private:
    friend class Host;

    Host &host_;
    const std::string name_;
    const NUV_UINT32 index_;
    const bool is_multicast_;
    bool is_up_ = true;
    std::vector<Prefix> addresses_;
    std::map<Address, int> groups_; // with the number of sockets that are members
};

/** A socket of a host's. */
struct Socket {
    struct Arrived {
        Packet packet;
        NUV_UINT32 interface = 0;
        NUV_UINT64 dropped = 0; /**< datagrams that had found no room before it */
    };

    NUVNetioSocket_t handle = NUV_NETIO_SOCKET_NONE;
    KOLS_Transport_ClassId_t transport = KOLS_TRANSPORT_CLASSID_INVALID;
    Process *process = nullptr; /**< null: a stranger's */
    Endpoint bound;             /**< port 0: not bound */
    bool is_group = false;
    std::set<NUV_UINT32> joined; /**< interfaces */
    NUVNetioSendOptions options = NUV_NETIO_SEND_OPTIONS_DEFAULT;
    std::optional<NUV_UINT64> tag; /**< that it is watched by */
    bool is_ready = false;         /**< its process has been told that there is something */
    std::deque<Arrived> arrived;
    NUV_UINT64 waiting = 0; /**< octets of these, with what they cost */
    NUV_UINT64 dropped = 0; /**< datagrams that found no room */
};

/** Who has a port. */
struct PortHolder {
    Endpoint endpoint;
    const Process *process = nullptr; /**< null: a stranger */
    bool is_group = false;

    friend bool operator==(const PortHolder &, const PortHolder &) = default;
};

/** A host, made by World::add_host. It has a loopback interface, "lo". */
class Host {
public:
    Host(World &world, std::string name, NUV_UINT32 number, const HostProperty &property);
    ~Host();
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    /**
     * Gives it an interface, plugged into a segment, or into none where that is null. Throws
     * std::logic_error when there is one of that name, or it is longer than 15 octets.
     */
    Interface &add_interface(const std::string &name, Segment *segment,
                             const std::vector<std::string> &addresses,
                             const LinkProperty &link = {}, bool is_multicast = true);
    /**
     * Takes one away, which is not the loopback interface. A socket that has joined a group on it
     * has one membership less to spare until it leaves.
     */
    void remove_interface(Interface &interface);
    /** Null when there is none of that name. */
    Interface *find_interface(const std::string &name) const;
    Interface &loopback() const {
        return *interfaces_.front();
    }
    /** What is for these addresses, and for no subnet of an interface, goes to a router. */
    void add_route(const Prefix &destination, const Address &via);

    /** Starts a process. Throws std::logic_error while the host is suspended or has crashed. */
    Process &add_process(const std::string &name, const ProcessProperty &property = {});
    const std::vector<std::unique_ptr<Process>> &processes() const {
        return processes_;
    }

    /** What its clocks show: the one that never goes back, and the time of day. */
    Time monotonic() const;
    Time wall_clock() const;
    /** Has both gain that many nanoseconds each second (LocalClock::set_drift). */
    void set_drift(NUV_INT64 nanoseconds_a_second);
    /** Sets the wall clock, by that much. */
    void jump_wall_clock(Time by);

    /** Stops all of its processes, and resumes them; its network goes on. */
    void freeze();
    void thaw();
    /**
     * Has it sleep: its processes are stopped, its monotonic clock stands, what is sent to it is
     * lost.
     */
    void suspend();
    /** Ends that, or starts a host that has crashed. It reports anew which groups it has joined. */
    void wake();
    /**
     * Kills its processes and has strangers lose their ports, without a word to anybody. It hears
     * nothing before it is woken; then new processes can be started.
     */
    void crash();

    /** Has a stranger have a port. False when somebody has it already. */
    bool take_port(const Endpoint &endpoint);
    /** Has a stranger give it back. False when no stranger has it. */
    bool free_port(const Endpoint &endpoint);
    /** Who has which ports, in the order of the ports. */
    std::vector<PortHolder> ports() const;
    /** The sockets that are bound to that, in the order in which they were. */
    std::vector<const Socket *> find_sockets(const Endpoint &bound) const;
    /** The first of them; null: there is none. */
    const Socket *find_socket(const Endpoint &bound) const;

    const std::string &name() const {
        return name_;
    }
    NUV_UINT32 number() const {
        return number_;
    }
    World &world() const {
        return world_;
    }

private:
    friend class Interface;
    friend class Loop;
    friend class Process;
    friend class Transport;

    struct Route {
        Prefix destination;
        Address via;
    };
    /** Where a packet leaves the host. */
    struct Exit {
        Interface *interface = nullptr;
        Address next_hop;
        Address source;
    };

    // What the transports call. On failure errno tells why.
    Socket *open(Process *process, KOLS_Transport_ClassId_t transport);
    Socket *find(NUVNetioSocket_t handle);
    bool bind(Socket &socket, const Endpoint &endpoint, bool is_group);
    bool join(Socket &socket, const Address &group, NUV_UINT32 interface);
    bool leave(Socket &socket, const Address &group, NUV_UINT32 interface);
    bool send(Socket &socket, const Endpoint &destination, NUV_UINT32 interface,
              std::shared_ptr<const Payload> payload);
    void close(Socket &socket);
    void close_all_of(const Process *process);

    bool is_taken(const Endpoint &endpoint, bool is_group) const;
    bool give_port(Socket &socket);
    std::optional<Exit> find_exit(const Address &destination, NUV_UINT32 interface) const;
    static std::optional<Address> source_on(const Interface &interface, const Address &next_hop);
    Interface *find_interface(NUV_UINT32 index) const;
    bool has_address(const Address &address) const;

    void deliver(const Packet &packet, const Interface &interface);
    void enqueue(Socket &socket, const Packet &packet, const Interface &interface);
    void deliver_soon(const Packet &packet, NUV_UINT32 interface);
    static std::optional<Socket::Arrived> take_arrived(Socket &socket);
    void drop(const Packet &packet, Drop reason);

    int list_interfaces(int (*add)(void *, const NUVNetioInterface *), void *param) const;
    void on_interfaces_changed(const Interface &interface);
    void change_membership(Interface &interface, const Address &group, int by);
    void on_clock_changed();

    World &world_;
    const std::string name_;
    const NUV_UINT32 number_;
    const HostProperty property_;
    std::vector<std::unique_ptr<Interface>> interfaces_;
    std::vector<std::unique_ptr<Interface>> removed_; // packets may be on their way to them
    NUV_UINT32 last_index_ = 0;
    std::vector<Route> routes_;
    std::vector<std::unique_ptr<Process>> processes_;
    std::unordered_map<NUVNetioSocket_t, std::unique_ptr<Socket>> sockets_;
    std::map<KOLS_Transport_Port_t, std::vector<Socket *>> bound_;
    KOLS_Transport_Port_t last_ephemeral_ = 0;
    LocalClock monotonic_;
    LocalClock wall_clock_;
    bool is_down_ = false;
};

} // namespace simnet
