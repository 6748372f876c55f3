// SPDX-License-Identifier: Apache-2.0
// A diagnosis with another host: one end asks, the other one serves.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "doctor/facts.h"
#include "options.h"
#include "signals.h"

namespace doctor {

class Control;

/** The other end cannot be asked, or cannot be served; says why, and what to do. */
class NoTalk : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/**
 * Asks the host that --with names, tries with it what goes which way, and has both ends ask each
 * other's participants, which takes a second at most where all is well. What there was no time for
 * before @p end, or could not be tried, is named in @p unseen. Throws NoTalk when the host does not
 * answer at all, or not as one to talk with.
 */
Ends ask_other_end(const DoctorOptions &options, const Wishes &wishes, const Facts &facts,
                   Moment end, std::vector<std::string> &unseen);

/** The port by which the host that --serve names can ask; has it as long as the object lives. */
class Server {
public:
    /** Throws NoTalk when the name has no address, and std::system_error without the port. */
    Server(const DoctorOptions &options, const Wishes &wishes);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    /** Answers until @p end or a signal; throws NoTalk when nothing was asked until @p end. */
    void serve(const Facts &facts, Moment end);

private:
    class Session;

    const DoctorOptions &options_;
    const Wishes &wishes_;
    std::vector<std::string> hosts_; // its addresses
    std::vector<Control> controls_;
    std::string stranger_; // the last one that has asked and is not the host
};

} // namespace doctor
