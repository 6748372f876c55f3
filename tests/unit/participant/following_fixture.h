// SPDX-License-Identifier: Apache-2.0
// Participants on interfaces that the test makes up and changes.
#pragma once

#include <functional>
#include <memory>

#include "fixture.h"
#include "injected_interfaces.h"

namespace following {

using Texts = std::vector<std::string>;

/** One interface with these addresses; none of either is the empty table. */
injected::Links on_one_interface(const Texts &addresses);

DDS_Long metatraffic_port(int index = 0);
DDS_Long default_port(int index = 0);

/** The locators of these addresses at a port, IPv6 being told by its colon. */
Texts locators_at(const Texts &addresses, DDS_Long port);

/** Whether somebody has a port so that nobody else can bind it. */
bool is_held(DDS_Long port, int family);

/** Whether the host has IPv6 at all. */
bool has_ipv6();

std::size_t open_sockets();

/** The two messages that a change of the addresses leaves behind. */
support::Messages change_of(const Texts &before, const Texts &now, int index = 0);

/** Somebody else's socket on a port. */
class Stranger {
public:
    explicit Stranger(DDS_Long port);
    ~Stranger();
    Stranger(const Stranger &) = delete;
    Stranger &operator=(const Stranger &) = delete;

private:
    const int socket_;
};

/** The interface "test0" at 192.0.2.10 to begin with. Not a block may be left in the end. */
class FollowingTest : public ParticipantTest {
protected:
    using Callback = std::function<void(DDS_DomainParticipant *)>;

    FollowingTest();
    void TearDown() override;

    /** A participant that calls @p callback when its locators have changed. */
    DDS_DomainParticipant *create_follower(Callback callback = nullptr);

    /** Has the runtime take the interfaces over and tell all participants. */
    bool renew() const;
    /** Waits until the middleware's thread has dealt with everything it was asked for. */
    void flush() const;
    /** Waits until the listeners have been told of everything so far. */
    void flush_callbacks() const;

    /** Whether both unicast lists are these addresses with the ports of the participant's index. */
    static bool has(DDS_DomainParticipant *participant, const Texts &addresses);
    /** Whether both unicast ports of an index are held. */
    static bool holds_ports(int index, int family);

    /** The messages of the locator lists. */
    support::Messages list_messages() const {
        return log.messagesOf("DomainParticipantPresentation.cpp");
    }

    void finalize_factory();

    injected::Interfaces interfaces;
    support::Blocks blocks_before; // without a factory

private:
    std::vector<std::unique_ptr<Callback>> callbacks_;
};

} // namespace following
