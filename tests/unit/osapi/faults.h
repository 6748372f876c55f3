// Makes what the layer asks of the system fail, in the calling thread.
#pragma once

#include <cstddef>
#include <vector>

#include <sys/types.h>

namespace faults {

struct Faults {
    bool malloc_fails = false;
    bool calloc_fails = false;
    bool fill_malloc = false; // with 0xA5, so that nothing is zero by chance
    bool getrandom_fails = false;
    bool open_fails = false;
    const char *missing_file = nullptr; // the one that open does not find
    bool pthread_create_fails = false;
    bool stat_fails = false;
    ino_t inode = 0; // what stat tells when it is not 0

    // The free of a block that starts at most this little before `watched` copies `watched_size`
    // bytes from there into `seen_at_free`.
    static constexpr std::size_t NEAR = 64;
    const std::byte *watched = nullptr;
    std::size_t watched_size = 0;
    std::vector<std::byte> *seen_at_free = nullptr;
};

Faults &current();

/** Ends all faults with the test. */
class Guard {
public:
    Guard() {
        current() = {};
    }
    ~Guard() {
        current() = {};
    }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;
};

} // namespace faults
