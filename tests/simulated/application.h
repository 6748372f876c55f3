// SPDX-License-Identifier: Apache-2.0
/**
 * @file application.h
 * @brief Applications on simulated hosts: processes with participants.
 */
#pragma once

#include <string>
#include <vector>

#include "dds_c/dds_c.h"
#include "simnet/simnet_world.h"

namespace simulated {

/** A process of a simulated host that has a factory of its own. All its calls are the process's. */
class Application {
public:
    Application(simnet::Host &host, const std::string &name,
                const simnet::ProcessProperty &property = {});
    /** Deletes what participants there are, and the factory. */
    ~Application();
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    struct Settings {
        DDS_TransportBuiltinKindMask transports = DDS_TRANSPORTBUILTIN_MASK_DEFAULT;
    };
    /** An enabled participant, or null. */
    DDS_DomainParticipant *create(const Settings &settings);
    DDS_DomainParticipant *create() {
        return create(Settings());
    }
    DDS_ReturnCode_t remove(DDS_DomainParticipant *participant);

    const std::vector<DDS_DomainParticipant *> &participants() const {
        return participants_;
    }
    simnet::Process &process() const {
        return process_;
    }
    /** The default unicast locators that it announces. */
    std::vector<std::string> locators(DDS_DomainParticipant *participant);
    DDS_Long index(DDS_DomainParticipant *participant);

private:
    simnet::Process &process_;
    DDS_DomainParticipantFactory *factory_;
    std::vector<DDS_DomainParticipant *> participants_;
};

} // namespace simulated
