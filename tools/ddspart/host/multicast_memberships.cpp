// SPDX-License-Identifier: Apache-2.0
#include "host/multicast_memberships.h"

#include "host/addresses.h"
#include "host/files.h"
#include "numbers.h"
#include "printable.h"

namespace host {

namespace {

void add(std::vector<MulticastMembership> &memberships, const std::string &interface,
         const std::string &group, const std::string &users) {
    const auto number = to_number<unsigned>(users);

    if (!group.empty() && number) {
        memberships.push_back({interface, group, *number});
    }
}

/** A name of ten characters and more has the colon behind it without a blank between them. */
std::string without_colon(const std::string &name) {
    return name.substr(0, name.find(':'));
}

/** A line with an interface is followed by one for each of its groups, which begin with a tab. */
void add_ipv4(std::vector<MulticastMembership> &memberships, const std::string &table) {
    std::string interface;

    for (const std::string &line : lines_of(table)) {
        const std::vector<std::string> fields = fields_of(line);

        if (fields.size() < 2) {
            continue;
        }
        if (line.starts_with('\t')) { // group users timer reporter
            add(memberships, interface, address_of_words(fields[0]), fields[1]);
        } else { // index name : count querier
            interface = printable(without_colon(fields[1]));
        }
    }
}

void add_ipv6(std::vector<MulticastMembership> &memberships, const std::string &table) {
    enum { NAME = 1, GROUP = 2, USERS = 3, FIELDS }; // index name group users flags timer

    for (const std::string &line : lines_of(table)) {
        const std::vector<std::string> fields = fields_of(line);

        if (fields.size() >= FIELDS) {
            add(memberships, printable(fields[NAME]), address_of_octets(fields[GROUP]),
                fields[USERS]);
        }
    }
}

} // namespace

std::vector<MulticastMembership> multicast_memberships(const std::filesystem::path &net) {
    std::vector<MulticastMembership> memberships;

    add_ipv4(memberships, text_of(net / "igmp"));
    add_ipv6(memberships, text_or_none(net / "igmp6").value_or("")); // a kernel may lack IPv6
    return memberships;
}

} // namespace host
