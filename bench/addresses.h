// SPDX-License-Identifier: Apache-2.0
/** @file addresses.h  A network that gets and loses an address. */
#ifndef BENCH_ADDRESSES_H
#define BENCH_ADDRESSES_H

#include "bare_sockets.h"

namespace bench {

/** An address that the loopback interface of a private network may have besides 127.0.0.1. */
class SpareAddress {
public:
    /** It is not there yet. Throws when the kernel cannot be asked. */
    SpareAddress();
    /** Takes the address away if it is there. */
    ~SpareAddress();
    SpareAddress(const SpareAddress &) = delete;
    SpareAddress &operator=(const SpareAddress &) = delete;

    /** Each is done when it returns, and throws when the kernel refuses. */
    void add();
    void remove();

private:
    bool request(unsigned short type, unsigned short flags);

    File socket_;
    bool is_there_ = false;
};

/** The kernel's link and address events, without anything that acts on them. */
class AddressEvents {
public:
    AddressEvents();

    /** Waits for an event and reads all that there are. */
    void read();

private:
    File socket_;
};

} // namespace bench

#endif
