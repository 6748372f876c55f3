// SPDX-License-Identifier: Apache-2.0
/**
 * @file scripted_presentation.h
 * @brief A presentation record whose lower layers do as the test says: no socket, no interface.
 *
 *     TEST_F(ScriptedPresentation, PassesATakenIndexOver)
 *     {
 *         takenPorts = {8660};
 *         EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
 *         EXPECT_EQ(index, 1);
 *         EXPECT_EQ(held(), ...);
 *     }
 *
 * The record is one of domain 5 with the standard ports, so that its multicast ports are 8650 and
 * 8651 and the unicast ports of index i are 8660 + 2i and 8661 + 2i. The policies yield the
 * addresses below with those ports; the alias list of each computation is its own name,
 * "multicast", "meta" or "user". A reservation succeeds unless its port is among `takenPorts`.
 */
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "domain/domain_internal.h"
#include "support/describe.h"
#include "support/log_capture.h"
#include "support/recorder.h"
#include "gtest/gtest.h"

namespace support {

/** Several lines of text, one string each. */
using Texts = std::vector<std::string>;

/** A locator from its text: "udpv4://192.0.2.1:7410". */
NUVNetioLocator locatorOf(const std::string &text);

/** A list of locators; at most 16. */
PRESLocatorQosPolicy locatorsOf(const Texts &texts);

/** A list of locators; at most 4. */
PRESReducedLocatorQosPolicy reducedLocatorsOf(const Texts &texts);

class ScriptedPresentation : public testing::Test {
public:
    ScriptedPresentation();

    /** Reserves for a requested index; leaves what the operation makes of it in `index`. */
    DDS_ReturnCode_t reserve(DDS_Long requested);

    /** The locators of the reservations that are held, in the order of their making. */
    Texts held() const;

    /** A reference that counts as held, though this facade has not given it. */
    static REDAWeakReference someReference(NUV_UINT32 slot);

    /** Forbids every message of the module, except this level for what the worker does. */
    void wantForWorkerOnly(NUV_UINT32 level);

    Recorder recorder;
    LogCapture log;

    NUVOsapiActivityContext context = NUV_OSAPI_ACTIVITY_CONTEXT_DEFAULT;
    REDAWorker callersWorker = {nullptr, &context, "test", nullptr};
    REDAWorker *worker = &callersWorker;
    DDS_DomainParticipantPresentation self{};
    DDS_Long index = 0;

    Texts multicastAddresses = {"239.255.0.1", "239.255.0.2"};
    Texts metaAddresses = {"192.0.2.1", "192.0.2.2"};
    Texts userAddresses = {"198.51.100.1", "198.51.100.2"};
    std::set<KOLS_Transport_Port_t> takenPorts;

private:
    void nameEverything();
    void scriptLocators();
    void scriptFacade();

    std::map<NUV_UINT32, std::string> held_; // by the index of the reference
    NUV_UINT32 reservations_ = 0;
};

} // namespace support
