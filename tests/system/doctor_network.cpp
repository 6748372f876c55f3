// SPDX-License-Identifier: Apache-2.0
#include "doctor_network.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/ip.h>
#include <sys/socket.h>
#include <unistd.h>

#include "process.h"

namespace doctor {

Texts Diagnosis::ids() const {
    std::istringstream lines(output);
    Texts all;

    for (std::string line; std::getline(lines, line);) {
        const std::string id = line.substr(0, line.find(": "));

        if (id != "Well" && id != "Not looked at") {
            all.push_back(id);
        }
    }
    return all;
}

Diagnosis diagnose(const Texts &options) {
    Texts arguments = {"doctor"};

    if (std::ranges::find(options, "--for") == options.end()) {
        arguments.insert(arguments.end(), {"--for", "0"});
    }
    arguments.insert(arguments.end(), options.begin(), options.end());
    return said_by(ddspart(arguments));
}

Diagnosis said_by(Process process) {
    const int code = process.wait().code;

    return {code, process.output(), process.errors()};
}

Texts found(const Texts &options) {
    constexpr int FINDINGS = 3;
    const Diagnosis diagnosis = diagnose(options);
    const Texts ids = diagnosis.ids();

    EXPECT_EQ(diagnosis.code, ids.empty() ? 0 : FINDINGS) << diagnosis.output << diagnosis.errors;
    return ids;
}

bool set(const std::string &name, const std::string &value) {
    std::string path = name;

    std::ranges::replace(path, '.', '/');
    return static_cast<bool>(std::ofstream("/proc/sys/" + path) << value << std::flush);
}

bool nft(const std::string &commands) {
    return Process({"nft", commands}).wait().code == 0;
}

bool HostNames::can_be_had() const {
    return run({"true"}).wait().code == 0;
}

Process HostNames::ddspart(const Texts &arguments) const {
    Texts command = {DDSPART_PATH};

    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command);
}

Process HostNames::run(const Texts &command) const {
    Texts all = {"unshare",
                 "--mount",
                 "sh",
                 "-c",
                 "mount --bind " + file_.path() + " /etc/hosts && exec \"$@\"",
                 "sh"};

    all.insert(all.end(), command.begin(), command.end());
    return Process(all);
}

void TwoHostsTest::SetUp() {
    WireTest::SetUp();
    if (!IsSkipped()) {
        here = std::make_unique<discovery::Host>("here", Texts{"192.0.2.1/24"});
        there = std::make_unique<discovery::Host>("there", Texts{"192.0.2.2/24"});
    }
}

Wiretap::Wiretap(const std::string &interface)
    : socket_(socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, htons(ETH_P_IP))) {
    sockaddr_ll name{};

    name.sll_family = AF_PACKET;
    name.sll_protocol = htons(ETH_P_IP);
    name.sll_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
    EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr *>(&name), sizeof name), 0);
}

Wiretap::~Wiretap() {
    (void)close(socket_);
}

std::multiset<int> Wiretap::protocols() const {
    std::multiset<int> all;
    iphdr header{};

    while (recv(socket_, &header, sizeof header, 0) > 0) {
        all.insert(header.protocol);
    }
    return all;
}

} // namespace doctor
