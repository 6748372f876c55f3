// SPDX-License-Identifier: Apache-2.0
// Which ports of a host are held by whom.
#include "port_model.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace simulated {

namespace {

/** A port and whose it is: "7410 p3", "7410 a stranger", "7400 p3 in a group". */
std::string describe(KOLS_Transport_Port_t port, const simnet::Process *process, bool is_group) {
    return std::to_string(port) + " " + (process != nullptr ? process->name() : "a stranger") +
           (is_group ? " in a group" : "");
}

} // namespace

simnet::Endpoint any_address(KOLS_Transport_Port_t port) {
    return {{KOLS_TRANSPORT_CLASSID_UDPv4, {}}, port};
}

std::optional<DDS_Long> PortModel::next_index() const {
    for (DDS_Long index = 0; index <= LAST_INDEX; ++index) {
        if (is_free(UNICAST_PORT + 2 * index) && is_free(UNICAST_PORT + 2 * index + 1)) {
            return index;
        }
    }
    return {};
}

void PortModel::add_participant(const Application &application, DDS_Long index) {
    holders_[UNICAST_PORT + 2 * index] = &application.process();
    holders_[UNICAST_PORT + 2 * index + 1] = &application.process();
    auto &[process, participants] = members_[application.process().number()];
    process = &application.process();
    ++participants;
}

void PortModel::remove_participant(const Application &application, DDS_Long index) {
    holders_.erase(UNICAST_PORT + 2 * index);
    holders_.erase(UNICAST_PORT + 2 * index + 1);
    const auto member = members_.find(application.process().number());
    if (--member->second.second == 0) {
        members_.erase(member);
    }
}

/** Nothing is put together for it: it is looked at after each step. */
bool PortModel::is_as(const std::vector<simnet::PortHolder> &held) const {
    auto expected = holders_.begin(); // in the order of the ports, as what is held
    std::size_t members = 0;
    for (const simnet::PortHolder &one : held) {
        if (one.is_group) {
            members +=
                one.endpoint.port == MULTICAST_PORT && members_.contains(one.process->number()) ? 1
                                                                                                : 0;
        } else if (expected == holders_.end() || expected->first != one.endpoint.port ||
                   expected->second != one.process) {
            return false;
        } else {
            ++expected;
        }
    }
    return expected == holders_.end() && members == members_.size() &&
           held.size() == holders_.size() + members_.size();
}

void PortModel::compare() const {
    const std::vector<simnet::PortHolder> held = host_.ports();
    if (is_as(held)) {
        return;
    }
    std::vector<std::string> expected_texts;
    for (const auto &[number, member] : members_) {
        expected_texts.push_back(describe(MULTICAST_PORT, member.first, true));
    }
    for (const auto &[port, process] : holders_) {
        expected_texts.push_back(describe(port, process, false));
    }
    std::vector<std::string> held_texts;
    for (const simnet::PortHolder &one : held) {
        held_texts.push_back(describe(one.endpoint.port, one.process, one.is_group));
    }
    EXPECT_THAT(held_texts, testing::UnorderedElementsAreArray(expected_texts));
}

} // namespace simulated
