// SPDX-License-Identifier: Apache-2.0
// Participants of the test's own process that follow the network.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "following_network.h"
#include "support/heap_watch.h"
#include "support/log_capture.h"

namespace following {

/** The files that the process has open: how many sockets, how many of all kinds. */
struct OpenFiles {
    std::size_t sockets = 0;
    std::size_t all = 0;

    bool operator==(const OpenFiles &) const = default;
};
std::ostream &operator<<(std::ostream &out, const OpenFiles &files);
OpenFiles open_files();

/** The interface "net0" at 192.0.2.2, and a factory of which nothing may be left afterwards. */
class LibraryTest : public HostTest {
protected:
    using Callback = std::function<void(DDS_DomainParticipant *)>;

    void SetUp() override;
    void TearDown() override;

    /** A participant, enabled, that calls @p callback when its locators have changed. */
    DDS_DomainParticipant *create(Callback callback = nullptr,
                                  const DDS_DomainParticipantQos *qos = nullptr);
    void remove_all();
    /** Deletes everything, then makes the factory anew. */
    void start_over();

    static Texts default_unicast(DDS_DomainParticipant *participant);
    static Texts metatraffic_unicast(DDS_DomainParticipant *participant);
    /** Whether both unicast lists are these addresses with the ports of the participant's index. */
    static bool has(DDS_DomainParticipant *participant, const Texts &addresses);

    /** Waits until the middleware's thread has dealt with everything it was asked for. */
    static void flush(DDS_DomainParticipant *participant);
    /** Waits until the listeners have been told of everything so far. */
    static void flush_callbacks(DDS_DomainParticipant *participant);

    /** The texts of the errors that any thread has logged. */
    Texts errors() const;

    const support::HeapWatch heap;
    const OpenFiles files_before = open_files();
    support::LogCapture log;
    DDS_DomainParticipantFactory *factory = nullptr;
    std::vector<DDS_DomainParticipant *> participants;

private:
    std::vector<std::unique_ptr<Callback>> callbacks_;
};

} // namespace following
