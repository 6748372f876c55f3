// SPDX-License-Identifier: Apache-2.0
// Programs that hold UDP ports and are no participants.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

/** A process that holds UDP ports from when the object is made; it is killed when that goes. */
class PortHolder {
public:
    /** In the test's network; called @p name, of 15 characters at the most. */
    PortHolder(const std::string &name, const std::vector<std::uint16_t> &ports);
    ~PortHolder();
    PortHolder(PortHolder &&other) noexcept;
    PortHolder(const PortHolder &) = delete;
    PortHolder &operator=(const PortHolder &) = delete;
    PortHolder &operator=(PortHolder &&) = delete;

    /** The same in a network of its own. */
    static PortHolder in_new_network(const std::string &name,
                                     const std::vector<std::uint16_t> &ports);
    /** The same in the network of another one. */
    static PortHolder beside(const PortHolder &other, const std::string &name,
                             const std::vector<std::uint16_t> &ports);

    pid_t id() const {
        return id_;
    }

    /** "net:[4026531840]". */
    std::string network() const;

private:
    PortHolder(const std::string &name, const std::vector<std::uint16_t> &ports,
               const std::string &network);

    pid_t id_;
};
