// SPDX-License-Identifier: Apache-2.0
/** @file hosts.h  Two hosts that share a wire. */
#ifndef BENCH_HOSTS_H
#define BENCH_HOSTS_H

#include <functional>

#include "child.h"

namespace bench {

/** Their addresses. */
constexpr const char *FIRST_HOST = "192.0.2.1";
constexpr const char *SECOND_HOST = "192.0.2.2";

/**
 * Two processes, each in a network of its own, whose interfaces "net0" are the ends of one wire.
 * The networks go with the processes.
 */
class Hosts {
public:
    using Work = std::function<void(Channel &)>;

    /**
     * @param first is done on one of them as soon as both are there, @p second on the other one.
     * Throws when such networks are not allowed, or the program `ip` is not there.
     */
    Hosts(const Work &first, const Work &second);

    Channel &first() {
        return first_.channel();
    }
    Channel &second() {
        return second_.channel();
    }

private:
    Child first_;
    Child second_;
};

} // namespace bench

#endif
