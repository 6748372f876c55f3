// SPDX-License-Identifier: Apache-2.0
/**
 * @file port_model.h
 * @brief Which ports of a host are held by whom, as it must be.
 */
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "application.h"

namespace simulated {

/** The standard's ports of domain 0 (DDSI-RTPS 9.6.1). */
constexpr KOLS_Transport_Port_t MULTICAST_PORT = 7400;
constexpr KOLS_Transport_Port_t UNICAST_PORT = 7410;
constexpr DDS_Long LAST_INDEX = 119;

/** A port of a host whatever the address. */
simnet::Endpoint any_address(KOLS_Transport_Port_t port);

/**
 * What participants of domain 0 and strangers have of a host's ports, kept by whoever has them come
 * and go.
 */
class PortModel {
public:
    explicit PortModel(const simnet::Host &host) : host_(host) {}

    /** The index that the next participant gets; none when there is none left. */
    std::optional<DDS_Long> next_index() const;
    bool is_free(KOLS_Transport_Port_t port) const {
        return !holders_.contains(port);
    }

    void add_participant(const Application &application, DDS_Long index);
    void remove_participant(const Application &application, DDS_Long index);
    void add_stranger(KOLS_Transport_Port_t port) {
        holders_[port] = nullptr;
    }
    void remove_stranger(KOLS_Transport_Port_t port) {
        holders_.erase(port);
    }

    /** Fails the test when the host's ports are not as they must be. */
    void compare() const;

private:
    bool is_as(const std::vector<simnet::PortHolder> &held) const;

    const simnet::Host &host_;
    std::map<KOLS_Transport_Port_t, const simnet::Process *> holders_; // unicast; null: a stranger
    std::map<NUV_UINT32, std::pair<const simnet::Process *, int>> members_; // with participants
};

} // namespace simulated
