// SPDX-License-Identifier: Apache-2.0
// What goes over a wire, as another tool reads it.
#pragma once

#include <atomic>
#include <cstdint>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace discovery {

/** Every frame of an interface of the calling thread's network, in a file, from here on. */
class Recording {
public:
    explicit Recording(const std::string &interface);
    ~Recording();
    Recording(const Recording &) = delete;
    Recording &operator=(const Recording &) = delete;

    /** Whether there is somebody who reads it. */
    static bool is_readable();

    /** Ends it, with all that went over the interface before; that none was missed. */
    void stop();
    /**
     * What tshark prints of the frames that a display filter lets pass: a line for each one, tabs
     * between the fields, commas where a field is there more than once. After the end.
     */
    std::vector<std::string> read(const std::string &filter,
                                  const std::vector<std::string> &fields) const;

    /** Of the file, which goes with the object. */
    const std::string &path() const {
        return path_;
    }

private:
    void run();
    bool write_one();

    const std::string path_;
    std::ofstream file_;
    int socket_;
    std::atomic<bool> is_over_ = false;
    std::thread thread_;
};

/**
 * What tshark prints of the frames of a file that a display filter lets pass, as Recording::read
 * does.
 */
std::vector<std::string> read_capture(const std::string &path, const std::string &filter,
                                      const std::vector<std::string> &fields);

} // namespace discovery
