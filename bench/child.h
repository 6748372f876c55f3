// SPDX-License-Identifier: Apache-2.0
/** @file child.h  Processes of the benchmark's own, which nothing that ran before has touched. */
#ifndef BENCH_CHILD_H
#define BENCH_CHILD_H

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

#include "bare_sockets.h"

namespace bench {

/** One end of what goes between two processes: plain values, one after the other. */
class Channel {
public:
    explicit Channel(File end) : end_(std::move(end)) {}

    /** Throws when the other process has ended, as what follows. */
    template <typename Value>
    void tell(const Value &value) {
        static_assert(std::is_trivially_copyable_v<Value>);
        if (send(end_.get(), &value, sizeof(value), MSG_NOSIGNAL) != sizeof(value)) {
            fail();
        }
    }
    /** The next value; waits for it. */
    template <typename Value>
    Value hear() {
        Value value = {};

        if (recv(end_.get(), &value, sizeof(value), 0) != sizeof(value)) {
            fail();
        }
        return value;
    }

    // Where there is nothing to tell but that it is time.
    void signal() {
        tell('\0');
    }
    void wait() {
        (void)hear<char>();
    }

private:
    [[noreturn]] static void fail() {
        throw std::runtime_error("a process of the benchmark has ended before its time");
    }

    File end_;
};

/** A process beside this one, which has one thread yet. It ends with the object. */
class Child {
public:
    /** @param work is called there with the channel to this process. */
    template <typename Work>
    explicit Child(Work work) : Child() {
        if (id_ == 0) {
            run(work);
        }
    }
    Child(Child &&other) noexcept
        : id_(std::exchange(other.id_, -1)), channel_(std::move(other.channel_)) {}
    Child &operator=(Child &&) = delete;
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;
    ~Child();

    pid_t id() const {
        return id_;
    }
    Channel &channel() {
        return channel_;
    }

private:
    Child(); /**< forks: in the child the id is 0 */

    template <typename Work>
    [[noreturn]] void run(Work work) {
        try {
            work(channel_);
            _exit(0);
        } catch (const std::exception &error) {
            (void)std::fprintf(stderr, "%s\n", error.what());
            _exit(1);
        }
    }

    pid_t id_ = -1;
    Channel channel_{File(-1)};
};

/** What a function returns that runs in a child process. */
template <typename Result, typename Argument>
Result in_child(Result (*function)(Argument), Argument argument) {
    return Child([&](Channel &parent) { parent.tell(function(argument)); })
        .channel()
        .template hear<Result>();
}

} // namespace bench

#endif
