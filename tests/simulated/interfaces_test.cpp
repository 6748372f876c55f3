// SPDX-License-Identifier: Apache-2.0
// Interfaces come and go while participants are created, follow them, and are deleted.
#include <algorithm>
#include <array>
#include <cerrno>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "port_model.h"
#include "scenario.h"
#include "seeds.h"

using namespace simulated;
using simnet::MILLISECOND;
using simnet::SECOND;

namespace {

/** What a burst of changes may take until it has been acted on. */
constexpr simnet::Time SETTLED = 100 * MILLISECOND;

/** The longest pause before an update is tried again, and the update itself. */
constexpr simnet::Time RECOVERED = 31 * SECOND;

std::string locator_text(const simnet::Endpoint &endpoint) {
    std::array<char, NUV_NETIO_LOCATOR_STRING_SIZE> text{};
    const NUVNetioLocator locator = locator_of(endpoint);
    EXPECT_GT(NUVNetioLocator_toString(&locator, text.data(), text.size()), 0);
    return text.data();
}

/** A host whose network changes, with applications of a few participants each. */
class ChangingHost : public Scenario {
public:
    explicit ChangingHost(NUV_UINT64 seed) : Scenario(seed) {
        for (int i = 0; i < 3; ++i) {
            applications.push_back(
                std::make_unique<Application>(host, "p" + std::to_string(i), hasty_or_slow()));
        }
        change_network();
        observe([this] { expect_ports_of_participants(); });
    }
    ~ChangingHost() {
        world.observe(nullptr);
    }

    /** Some change of some interface, which may come, go, or be another one. */
    void change_network() {
        if (may_lose_all && any_of(8) == 0) {
            host.loopback().set_up(!host.loopback().is_usable());
            return;
        }
        const std::size_t i = any_of(NAMES.size());
        simnet::Interface *const interface = host.find_interface(NAMES[i]);
        if (interface == nullptr) {
            host.add_interface(NAMES[i], &lan, any_addresses(i));
            return;
        }
        switch (any_of(5)) {
        case 0:
            host.remove_interface(*interface);
            break;
        case 1:
            interface->set_up(false);
            break;
        case 2:
            interface->set_up(true);
            break;
        case 3:
            interface->set_addresses(any_addresses(i));
            break;
        default:
            interface->move_to(any_of(2) == 0 ? nullptr : &lan);
            break;
        }
    }

    /** Has the network change once more, in the middle of what a process does next. */
    void change_within(Application &application) {
        application.process().interpose(static_cast<int>(any_of(60)), [this] { change_network(); });
    }

    /** One of the applications has a participant more, or one less, or looks at the interfaces. */
    void act() {
        Application &application = *applications[any_of(applications.size())];
        const std::vector<DDS_DomainParticipant *> &its_own = application.participants();
        if (any_of(2) == 0) {
            change_within(application);
        }
        const std::size_t what = any_of(3);
        if (its_own.empty() || (what == 0 && its_own.size() < 3)) {
            const bool is_created = application.create({.transports = transports}) != nullptr;
            EXPECT_TRUE(is_created || may_fail);
        } else if (what == 1) {
            EXPECT_EQ(application.remove(its_own[any_of(its_own.size())]), DDS_RETCODE_OK);
        } else {
            const DDS_ReturnCode_t result = application.process().call([&] {
                return DDS_DomainParticipant_update_locators(its_own[any_of(its_own.size())]);
            });
            EXPECT_TRUE(result == DDS_RETCODE_OK || may_fail);
        }
        // What has not come in between comes in the middle of what the process does by itself.
    }

    /** Has the network change and participants come and go, and looks at what comes of it. */
    void expect_to_follow() {
        for (int i = 0; i < 60; ++i) {
            any_of(2) == 0 ? change_network() : act();
            run_for(up_to(40 * MILLISECOND));
        }
        leave_alone();
        run_for(SETTLED);
        expect_all_announced();
        remove_all();
    }

    /** What has not come in between by now does not come any more. */
    void leave_alone() {
        for (const auto &application : applications) {
            application->process().interpose(0, nullptr);
        }
    }

    /** Each port that a participant has by its index is held by its process, and no other is. */
    void expect_ports_of_participants() {
        std::map<KOLS_Transport_Port_t, const simnet::Process *> expected;
        for (const auto &application : applications) {
            for (DDS_DomainParticipant *const participant : application->participants()) {
                const DDS_Long index = application->index(participant);
                for (DDS_Long i = 0; index >= 0 && i < 2; ++i) {
                    const bool is_first =
                        expected.emplace(UNICAST_PORT + 2 * index + i, &application->process())
                            .second;
                    EXPECT_TRUE(is_first) << "two have the index " << index;
                }
            }
        }
        std::map<KOLS_Transport_Port_t, const simnet::Process *> held;
        for (const simnet::PortHolder &holder : host.ports()) {
            // Those that the host gives out by itself are of whoever sends.
            if (!holder.is_group && holder.process != nullptr && holder.endpoint.port < 32'768) {
                held[holder.endpoint.port] = holder.process;
            }
        }
        EXPECT_EQ(held, expected);
    }

    /** Every participant announces the addresses that there are, and has the ports for them. */
    void expect_all_announced() {
        for (const auto &application : applications) {
            for (DDS_DomainParticipant *const participant : application->participants()) {
                expect_ports_of(*application, application->index(participant));
                expect_memberships_of(*application);
                EXPECT_THAT(application->locators(participant),
                            testing::UnorderedElementsAreArray(
                                expected_locators(application->index(participant))));
            }
        }
    }

    /** What it announces is received, though an update announces what it could not reserve, too. */
    void expect_ports_of(const Application &application, DDS_Long index) const {
        for (const simnet::Interface *const interface : announced_interfaces()) {
            for (const simnet::Prefix &prefix : interface->addresses()) {
                for (DDS_Long i = 0; is_wanted(prefix.address) && i < 2; ++i) {
                    const simnet::Endpoint endpoint{{prefix.address.transport, {}},
                                                    UNICAST_PORT + 2 * index + i};
                    const simnet::Socket *const socket = host.find_socket(endpoint);
                    ASSERT_NE(socket, nullptr) << to_text(endpoint);
                    EXPECT_EQ(socket->process, &application.process()) << to_text(endpoint);
                    EXPECT_TRUE(socket->tag) << to_text(endpoint) << " is not watched";
                }
            }
        }
    }

    /** It is a member of the group on each interface with an address of IPv4. */
    void expect_memberships_of(const Application &application) const {
        std::set<NUV_UINT32> joined;
        for (const simnet::Socket *const socket :
             host.find_sockets({simnet::address("239.255.0.1"), MULTICAST_PORT})) {
            if (socket->process == &application.process()) {
                joined.insert(socket->joined.begin(), socket->joined.end());
            }
        }
        std::set<NUV_UINT32> expected;
        for (const simnet::Interface *const interface : announced_interfaces()) {
            if (has_ipv4(*interface)) {
                expected.insert(interface->index());
            }
        }
        EXPECT_EQ(joined, expected);
    }

    void remove_all() {
        for (const auto &application : applications) {
            while (!application->participants().empty()) {
                EXPECT_EQ(application->remove(application->participants().front()), DDS_RETCODE_OK);
            }
        }
        run_for(SECOND);
        for (const auto &application : applications) {
            EXPECT_EQ(application->process().descriptors(), 0u) << application->process().name();
        }
    }

    std::size_t any_of(std::size_t count) {
        return static_cast<std::size_t>(world.random().up_to(count - 1));
    }

    DDS_TransportBuiltinKindMask transports = DDS_TRANSPORTBUILTIN_MASK_DEFAULT;
    bool may_fail = false;     // creating a participant, and an update
    bool may_lose_all = false; // loopback too, so that there may be no address at all
    std::vector<std::unique_ptr<Application>> applications;

protected:
    static constexpr const char *STEADY = "lan";

private:
    static constexpr std::array<const char *, 3> NAMES = {"eth0", "eth1", "wlan0"};

    /** None, or one or two of a few, and one of IPv6 where that is wanted. */
    std::vector<std::string> any_addresses(std::size_t i) {
        const std::string subnet = std::to_string(i);
        std::vector<std::string> addresses;
        const std::size_t count = any_of(3);
        for (std::size_t k = 0; k < count; ++k) {
            addresses.push_back("198.51." + subnet + "." + std::to_string(10 * k + any_of(10)) +
                                "/24");
        }
        if (transports == DDS_TRANSPORTBUILTIN_MASK_ALL && any_of(2) == 0) {
            addresses.push_back("fd00:" + subnet + "::" + std::to_string(1 + any_of(9)) + "/64");
        }
        return addresses;
    }

    static bool has_ipv4(const simnet::Interface &interface) {
        return std::any_of(interface.addresses().begin(), interface.addresses().end(),
                           [](const simnet::Prefix &prefix) {
                               return prefix.address.transport == KOLS_TRANSPORT_CLASSID_UDPv4;
                           });
    }

    bool is_wanted(const simnet::Address &address) const {
        return address.transport == KOLS_TRANSPORT_CLASSID_UDPv4 ||
               transports == DDS_TRANSPORTBUILTIN_MASK_ALL;
    }

    std::vector<std::string> expected_locators(DDS_Long index) const {
        std::vector<std::string> expected;
        for (const simnet::Interface *const interface : announced_interfaces()) {
            for (const simnet::Prefix &prefix : interface->addresses()) {
                if (is_wanted(prefix.address)) {
                    expected.push_back(
                        locator_text({prefix.address, UNICAST_PORT + 2 * index + 1}));
                }
            }
        }
        return expected;
    }

    /** Those with an address that is wanted; loopback where there is no other. */
    std::vector<const simnet::Interface *> announced_interfaces() const {
        std::vector<const simnet::Interface *> announced;
        for (const char *const name : {STEADY, NAMES[0], NAMES[1], NAMES[2]}) {
            const simnet::Interface *const interface = host.find_interface(name);
            if (interface != nullptr && interface->is_usable() &&
                std::any_of(
                    interface->addresses().begin(), interface->addresses().end(),
                    [this](const simnet::Prefix &prefix) { return is_wanted(prefix.address); })) {
                announced.push_back(interface);
            }
        }
        if (announced.empty() && host.loopback().is_usable()) {
            announced.push_back(&host.loopback());
        }
        return announced;
    }
};

TEST(SimulatedInterfaces, AreAnnouncedAsTheyAreWheneverTheyChanged) {
    for_each_seed([](NUV_UINT64 seed) {
        ChangingHost changing(seed);
        changing.may_lose_all = true;
        changing.expect_to_follow();
    });
}

/** A host that has IPv4 all the while, and participants of both families. */
class MixedHost : public ChangingHost {
public:
    explicit MixedHost(NUV_UINT64 seed) : ChangingHost(seed) {
        transports = DDS_TRANSPORTBUILTIN_MASK_ALL;
        // Who has no address of a family has no port of it that would keep others from its index.
        host.add_interface(STEADY, &lan, {"192.0.2.1/24"});
    }

    /** Somebody else has a port of IPv6 that participants may want, or gives it back. */
    void change_stranger() {
        const simnet::Endpoint endpoint{simnet::address("::"),
                                        UNICAST_PORT + static_cast<int>(any_of(12))};
        if (!host.free_port(endpoint)) {
            host.take_port(endpoint);
        }
    }

    /** Some call of some process fails from now on, now and then or always. */
    void change_faults() {
        struct Failing {
            simnet::Call call;
            int error;
        };
        constexpr std::array<Failing, 6> ALL = {{{simnet::Call::OPEN, EMFILE},
                                                 {simnet::Call::OPEN, ENOBUFS},
                                                 {simnet::Call::BIND, EADDRINUSE},
                                                 {simnet::Call::JOIN, ENOBUFS},
                                                 {simnet::Call::WATCH, ENOMEM},
                                                 {simnet::Call::LIST, ENFILE}}};
        const Failing failing = ALL[any_of(ALL.size())];
        simnet::Process &process = applications[any_of(applications.size())]->process();
        process.mend();
        process.fail({.call = failing.call,
                      .error = failing.error,
                      .after = static_cast<int>(any_of(5)),
                      .times = -1,
                      .share = any_of(2) == 0 ? 1 : 0.3});
    }

    /** The host's clocks are wrong, or it sleeps for a while, or has few descriptors to spare. */
    void change_host() {
        simnet::Process &process = applications[any_of(applications.size())]->process();
        switch (any_of(4)) {
        case 0:
            host.set_drift(world.random().between(-100'000, 100'000));
            break;
        case 1:
            host.jump_wall_clock(world.random().between(-SECOND, SECOND));
            break;
        case 2:
            process.limit_descriptors(process.descriptors() + static_cast<NUV_UINT32>(any_of(3)));
            break;
        default:
            host.suspend();
            run_for(up_to(5 * SECOND));
            host.wake();
            break;
        }
    }

    /** From here on there is all that they need. */
    void mend() {
        for (const auto &application : applications) {
            application->process().mend();
            application->process().limit_descriptors(1024);
        }
        for (const simnet::PortHolder &holder : host.ports()) {
            if (holder.process == nullptr) {
                host.free_port(holder.endpoint);
            }
        }
    }
};

TEST(SimulatedInterfaces, AreAnnouncedInBothFamilies) {
    for_each_seed([](NUV_UINT64 seed) {
        MixedHost changing(seed);
        changing.expect_to_follow();
    });
}

TEST(SimulatedUpdate, IsTriedAgainUntilWhatItLackedIsThere) {
    for_each_seed([](NUV_UINT64 seed) {
        MixedHost changing(seed);
        changing.may_fail = true;
        for (int i = 0; i < 80; ++i) {
            switch (changing.any_of(7)) {
            case 0:
                changing.change_network();
                break;
            case 1:
                changing.change_stranger();
                break;
            case 2:
                changing.change_faults();
                break;
            case 3:
                changing.change_host();
                break;
            default:
                changing.act();
                break;
            }
            changing.run_for(changing.up_to(2 * SECOND));
        }
        changing.mend();
        changing.leave_alone();
        changing.run_for(RECOVERED);
        changing.may_fail = false;
        changing.act();
        changing.leave_alone();
        changing.run_for(SETTLED);
        changing.expect_all_announced();
        changing.remove_all();
    });
}

/** The hash of all that happened on a host where everything may. */
std::string hash_of(NUV_UINT64 seed) {
    MixedHost changing(seed);
    changing.may_fail = true;
    for (int i = 0; i < 60; ++i) {
        switch (changing.any_of(3)) {
        case 0:
            changing.change_network();
            break;
        case 1:
            changing.change_faults();
            break;
        default:
            changing.act();
            break;
        }
        changing.run_for(changing.up_to(40 * MILLISECOND));
    }
    changing.mend();
    changing.remove_all();
    return changing.world.trace().digest();
}

TEST(SimulatedWorld, RepeatsItselfFromTheSameSeedOnly) {
    std::set<std::string> hashes;
    for_each_seed([&hashes](NUV_UINT64 seed) {
        const std::string hash = hash_of(seed);
        EXPECT_EQ(hash_of(seed), hash);
        EXPECT_TRUE(hashes.insert(hash).second);
    });
}

} // namespace
