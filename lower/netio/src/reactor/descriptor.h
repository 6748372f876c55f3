// SPDX-License-Identifier: Apache-2.0
// A file descriptor that closes itself.
#ifndef NETIO_DESCRIPTOR_H
#define NETIO_DESCRIPTOR_H

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace netio {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}

    /**
     * Owns what a system call has just opened; below 0 when that failed. Where the process has
     * closed a standard stream the call hands out its number: that is exchanged for a higher one,
     * since what is written to stdout or stderr would go there. Leaves errno as the call that
     * failed has set it.
     */
    static Descriptor of_opened(int number) {
        if (number < 0 || number > STDERR_FILENO) {
            return Descriptor(number);
        }
        const int higher = fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        const int error = errno;
        close(number);
        errno = error;
        return Descriptor(higher);
    }

    ~Descriptor() {
        reset();
    }
    Descriptor(Descriptor &&other) noexcept : number_(other.take()) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        reset(other.take());
        return *this;
    }

    int get() const {
        return number_;
    }
    bool is_open() const {
        return number_ >= 0;
    }

    int take() {
        const int number = number_;
        number_ = -1;
        return number;
    }

    void reset(int number = -1) {
        if (is_open()) {
            close(number_);
        }
        number_ = number;
    }

private:
    int number_ = -1;
};

} // namespace netio

#endif
