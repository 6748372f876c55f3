// SPDX-License-Identifier: Apache-2.0
// Networks with faults, and what ddspart doctor says of them.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "discovery_network.h"
#include "process.h"

namespace doctor {

using Texts = std::vector<std::string>;

/** What it has said. */
struct Diagnosis {
    int code; // its exit code
    std::string output;
    std::string errors;

    /** The ids of its findings, in order. */
    Texts ids() const;
};

/** Runs it in the calling thread's network; it listens to nobody unless told how long. */
Diagnosis diagnose(const Texts &options = {});

/** The ids of its findings; it has ended with 3 if there are some, else with 0. */
Texts found(const Texts &options = {});

/** What it has said when it was run with these arguments. */
Diagnosis said_by(Process process);

/** Changes a setting of the network, "net.ipv4.ip_forward"; false where that is not allowed. */
bool set(const std::string &name, const std::string &value);

/** What the program does with commands; false where it is not there or cannot. */
bool nft(const std::string &commands);

/** An /etc/hosts that only the processes have that are run with it. */
class HostNames {
public:
    explicit HostNames(const std::string &lines) : file_(lines) {}

    /** False where processes may have no files of their own. */
    bool can_be_had() const;
    /** Runs it in the calling thread's network. */
    Process ddspart(const Texts &arguments) const;
    /** For those that run as well. */
    void change(const std::string &lines) const {
        file_.write(lines);
    }

private:
    Process run(const Texts &command) const;

    TextFile file_;
};

/** Two hosts on a wire; the doctor is on the first, at 192.0.2.1, the other one is at 192.0.2.2. */
class TwoHostsTest : public discovery::WireTest {
protected:
    void SetUp() override;

    std::unique_ptr<discovery::Host> here;
    std::unique_ptr<discovery::Host> there;
};

/** Hears what arrives at an interface, from when it is made. */
class Wiretap {
public:
    explicit Wiretap(const std::string &interface);
    ~Wiretap();
    Wiretap(const Wiretap &) = delete;
    Wiretap &operator=(const Wiretap &) = delete;

    /** The packets of IPv4 that have arrived since the last call, by their protocol. */
    std::multiset<int> protocols() const;

private:
    int socket_;
};

} // namespace doctor
