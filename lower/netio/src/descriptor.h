// A file descriptor that closes itself.
#ifndef NETIO_DESCRIPTOR_H
#define NETIO_DESCRIPTOR_H

#include <unistd.h>

namespace netio {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
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
