// SPDX-License-Identifier: Apache-2.0
#include "doctor/port_checks.h"

#include "doctor/texts.h"

namespace doctor {

std::vector<Finding> find_ephemeral_ports(const Facts &facts, const Wishes &wishes) {
    std::set<unsigned> ports;

    for (const unsigned port : facts.ports) {
        if (facts.ephemeral && facts.ephemeral->may_be(port)) {
            ports.insert(port);
        }
    }
    if (ports.empty()) {
        return {};
    }
    const std::string all = port_list(ports);

    return {{"", all,
             "UDP ports of domain " + std::to_string(wishes.domain) + " (" + all +
                 ") are among those that the kernel gives to any program that asks for none (" +
                 std::to_string(facts.ephemeral->range.first) + "-" +
                 std::to_string(facts.ephemeral->range.last) +
                 "): a stranger may have them when a participant starts.",
             "Add them to those that it gives to nobody, net.ipv4.ip_local_reserved_ports; or use "
             "a domain with lower ports."}};
}

std::vector<Finding> find_few_descriptors(const Facts &facts, const Wishes &) {
    constexpr std::size_t FOR_ONE_PARTICIPANT = 16;

    if (!facts.descriptor_limit || *facts.descriptor_limit >= FOR_ONE_PARTICIPANT) {
        return {};
    }
    return {{"", std::to_string(*facts.descriptor_limit),
             "A program that is started here may have " + std::to_string(*facts.descriptor_limit) +
                 " files and sockets open: a participant needs up to " +
                 std::to_string(FOR_ONE_PARTICIPANT) + ", besides what its application has.",
             "Raise the limit: ulimit -n 1024; for a service, LimitNOFILE=."}};
}

} // namespace doctor
