// SPDX-License-Identifier: Apache-2.0
// Hosts that share a wire, and participants of other processes on them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "network.h"
#include "process.h"

namespace discovery {

using nlohmann::json;
using Texts = std::vector<std::string>;

/** The network of the test's own is the wire: a bridge, "wire", which all hosts are connected to.
 */
class WireTest : public NetworkTest {
protected:
    void SetUp() override;
};

/** A host with the interface "net0" on the wire: a network of its own, which goes with the object.
 */
class Host {
public:
    /** @param name of its end of the wire: at most 15 characters. @param addresses with prefixes.
     */
    Host(const std::string &name, const Texts &addresses);
    ~Host();
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    /** What the calling thread does and starts meanwhile is done on the host. */
    class Stay {
    public:
        explicit Stay(const Host &host);
        ~Stay();
        Stay(const Stay &) = delete;
        Stay &operator=(const Stay &) = delete;

    private:
        int home_;
    };

    /** Runs ddspart there. */
    Process ddspart(const Texts &arguments) const;
    /** Has `ip` do something there. */
    void ip(const Texts &arguments) const;
    /** Has it another address, with a prefix, instead of one, at a stroke. */
    void replace_address(const std::string &former, const std::string &address) const;

private:
    int network_;
};

/**
 * A process with participants on a host. What its settings may be, all of them with a default:
 *
 *     domain, tag, name, user_data, properties (an object; all propagate), transports (the mask),
 *     peers, receive (the multicast receive addresses), lease and period (seconds)
 *     most      how many others each may know; ignores: whom it ignores, a GUID in hexadecimal
 *     count     how many participants: 1
 *     listens   whether they have a listener: true
 *     expects   tells as soon as each of them knows so many others
 */
Process start(const Host &host, const json &settings);

/** The same, and what it tells. */
class Neighbour {
public:
    /** Waits until its participants are enabled. */
    Neighbour(const Host &host, const json &settings);

    Process &process() {
        return process_;
    }
    /**
     * What it told of its first participant: "guid" in hexadecimal, "index", "at" and
     * "threads_before", how many threads there were without participants.
     */
    const json &here() const {
        return here_;
    }
    std::string guid() const {
        return here_["guid"];
    }
    /** What it has told, line by line; "at" is the time by the steady clock in seconds. */
    std::vector<json> lines() const;
    /** The first line that satisfies the condition; waits for it. Null when there is none. */
    json wait_for(const std::function<bool(const json &)> &condition);
    /** The first line of a change of a participant. */
    json wait_for_change(const std::string &change, const std::string &guid);
    /** The first line of a change after which a participant, the first of its host, is at these
     * addresses alone. */
    json wait_for_addresses(const Neighbour &other, const Texts &addresses);
    /** Whether it comes to know this participant. */
    bool comes_to_know(const Neighbour &other);
    /** How long it took until each of its participants knew as many as expected, in seconds. */
    double seconds_until_all_are_known();

    /** What its first participant knows now, and the statistics of each: "known", "statistics". */
    json tell();
    /** The GUIDs that its first participant knows now, sorted. */
    Texts known();
    /** Changes the user data of its participants to "changed". */
    void change() const;
    /** Has its participants leave, and it end without an error. */
    void leave();

private:
    Process process_;
    json here_;
};

/** The time by the steady clock in seconds. */
double seconds_now();

} // namespace discovery
