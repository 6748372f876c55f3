// SPDX-License-Identifier: Apache-2.0
/** @file watched.h  Participants whose sockets somebody looks at. */
#ifndef BENCH_WATCHED_H
#define BENCH_WATCHED_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "bare_sockets.h"
#include "dds_c/dds_c_domain.h"
#include "figures.h"
#include "netio/netio_transport.h"

namespace bench {

/**
 * A factory besides the instance, one at a time. Its participants are on the kernel's network, IPv4
 * alone, and what they send and receive is noted. They are to be gone before it goes.
 */
class WatchedFactory {
public:
    WatchedFactory();
    ~WatchedFactory();
    WatchedFactory(const WatchedFactory &) = delete;
    WatchedFactory &operator=(const WatchedFactory &) = delete;

    DDS_DomainParticipantFactory *get() const {
        return factory_;
    }
    /** What was sent since the last call. */
    std::vector<DatagramPlan> take_sent();
    /** How many datagrams have been received, and dealt with. */
    std::uint64_t handled() const {
        return handled_.load();
    }
    /** How long each of them took since the last call, in seconds: from when the system call had
     * returned until the next one was to be made. */
    Series take_handling_times();

private:
    static int receive(void *param, NUVNetioSocket_t socket, NUV_UINT8 *buffer, NUV_UINT32 size,
                       NUVNetioDatagram *out);
    static int send(void *param, NUVNetioSocket_t socket, const NUVNetioLocator *destination,
                    NUV_UINT32 interface_index, const NUV_UINT8 *data, NUV_UINT32 length,
                    int may_wait);
    void note_handled();

    static WatchedFactory *watching;

    NUVNetioTransport transport_;
    DDS_DomainParticipantFactory *factory_;
    std::atomic<std::uint64_t> handled_ = 0;
    double received_at_ = 0; /* the last one; 0 when it has been dealt with. The reactor's own */
    std::mutex mutex_;       /* guards what follows */
    std::vector<DatagramPlan> sent_;
    Series handling_times_;
};

} // namespace bench

#endif
