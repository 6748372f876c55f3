// SPDX-License-Identifier: Apache-2.0
// What is known of two participants, for whoever looks for why they do not know each other.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "doctor/facts.h"
#include "held_ports.h"
#include "host/processes.h"
#include "options.h"
#include "sighting.h"

namespace why {

/** A participant as somebody names it. */
struct Subject {
    enum class Kind { PROCESS, GUID, NAME, ADDRESS };

    Kind kind;
    std::string text;  // of a GUID the words of the prefix with dots, else as given
    pid_t process = 0; // its id, if it is one

    bool operator==(const Subject &) const = default;
};

Subject to_subject(const std::string &text);

/** Whether that may be whom the subject names. A process is one of the host of that name. */
bool is_named(const Subject &subject, const Sighting &other, const std::string &host);

/** What has become of somebody in a participant that was asked. */
struct Reply {
    enum class State { KNOWN, IGNORED, FULL, UNKNOWN };

    State state;
    std::string prefix;                                  // of whom it knows or ignores
    std::optional<std::chrono::milliseconds> lease_left; // of one it knows; none: infinite
    std::string place;                                   // where that one receives; may be empty

    bool operator==(const Reply &) const = default;
};

/** The answer to the question with a word; none where there is none, or it cannot be read. */
std::optional<Reply> answer_of(const Sighting &other, const std::string &word);

/** A datagram that was sent to a place of a participant that says nothing. */
struct Knock {
    enum class Outcome { NOT_SENT, REFUSED, SILENT };

    std::string locator;
    Outcome outcome = Outcome::SILENT;
    int error = 0; // why it was not sent
};

/** Sends a datagram of one octet, which is no message, and waits for an error to come back. */
std::vector<Knock> knock(const std::vector<std::string> &locators);

/** Somebody else who knows one that was not heard. */
struct Witness {
    Sighting by;
    Reply answer;
};

struct Party {
    Subject subject;
    std::optional<host::HostProcess> process; // of this host, if the subject is one
    std::optional<Sighting> heard;
    bool is_gone = false;        // it was heard, and is not there any more
    std::vector<HeldPorts> held; // its ports on this host
    std::optional<Reply> says;   // of the other party; none: it was not asked, or has not answered
    std::vector<Witness> witnesses;
    std::vector<Knock> knocks;
};

struct Facts {
    PortSettings settings; // of the participant that the options are for
    Party first;
    std::optional<Party> second;              // none: it is that participant
    std::vector<DDS_DomainId_t> domains;      // that were listened to
    std::chrono::duration<double> duration{}; // of listening
    std::string taken;                        // as of taken_ports()
    std::vector<doctor::FirewallRule> rules;  // that may drop what a party says
    std::vector<std::string> unseen;          // what could not be looked at, and why
};

/**
 * Looks at the host and listens to its domains, in which it announces a participant and asks the
 * others what they know. Throws std::runtime_error when a subject names several participants, or a
 * signal comes.
 */
Facts gather(const WhyOptions &options);

} // namespace why
