// SPDX-License-Identifier: Apache-2.0
/**
 * @file presentation_fixture.h
 * @brief All that the enclosing participant supplies to its presentation half.
 *
 *     class Enable : public PresentationFixture {};
 *
 *     TEST_F(Enable, RefusesANullWorker)
 *     {
 *         ASSERT_EQ(initialize(), DDS_RETCODE_OK);
 *         EXPECT_EQ(DDS_DomainParticipantPresentation_enable(&self, &qos, nullptr, nullptr),
 *                   DDS_RETCODE_ERROR);
 *     }
 *
 * The host does not matter: there is one interface, "test0" with 192.0.2.10, unless a test sets
 * `interfaces` in its constructor, and nothing is watched. Real ports begin at portBase().
 * A participant that the test leaves behind is deleted with the
 * fixture; a block that it leaves in the library's heap fails the test.
 */
#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "domain/domain_internal.h"
#include "support/heap_watch.h"
#include "support/log_capture.h"
#include "support/ports.h"
#include "support/recorder.h"
#include "gtest/gtest.h"

namespace support {

/** One address of an interface; IPv4. */
NUVNetioInterface interfaceOf(const char *name, NUV_UINT32 index, const char *address);

/** Whether every byte of an object is 0. */
template <typename T>
bool isZero(const T &object) {
    const auto *bytes = reinterpret_cast<const unsigned char *>(&object);
    return std::all_of(bytes, bytes + sizeof object, [](unsigned char byte) { return byte == 0; });
}

/** Gives the members of a property names that begin with @p prefix. */
void nameProperty(Recorder &recorder, const PRESParticipantProperty &property,
                  const std::string &prefix);

class PresentationFixture : public testing::Test {
protected:
    PresentationFixture();
    ~PresentationFixture() override;

    void SetUp() override;
    void TearDown() override;

    /** The arguments of initialize that tests vary. */
    struct Arguments {
        DDS_DomainId_t domainId = 0;
        std::string threadParticipantId = "p0";
        int participantIndexSpecified = 0;
        const PRESParticipantListener *listener = nullptr;
        DDS_StatusMask mask = DDS_STATUS_MASK_NONE;
        const PRESParticipantSecurity *security = nullptr;
        const PRESParticipantSecurityTokens *securityTokens = nullptr;
        DDS_DomainParticipantTrustPluginsMaxTransformOverheads *overheads = nullptr;
        bool isWorkerNull = false;
    };

    /** Calls the operation with the record, the QoS, `arguments` and all collaborators. */
    DDS_ReturnCode_t initialize();
    DDS_ReturnCode_t initialize(DDS_DomainParticipantPresentation *record);

    /** Takes the participant down as its owner does. */
    void finalize();

    /** Sets a property of `qos`; null makes it one without a value. */
    void setProperty(const char *property, const char *value);

    /** Gives the record's members names that begin with @p prefix. */
    void nameRecord(const DDS_DomainParticipantPresentation &record, const std::string &prefix);
    /** Names the participant that initialize made "participant". */
    void nameParticipant();

    /** What the module itself has logged. */
    Messages logged() const {
        return log.messagesOf("DomainParticipantPresentation.cpp");
    }

    /**
     * Has what initialize leaves behind on purpose when it stops between the translation of the QoS
     * and the making of the participant freed with the fixture, or by freeBuffers. Until then the
     * participant, if there is one, has to be finalized.
     */
    void keepBuffers();
    void freeBuffers();

    /** Has the property that PRESParticipant_new is given copied to `given`. */
    void keepProperty();

    HeapWatch heap;
    Recorder recorder;
    LogCapture log;

    std::vector<NUVNetioInterface> interfaces = {interfaceOf("test0", 1, "192.0.2.10")};
    DDS_DomainParticipantPresentation self{};
    DDS_DomainParticipantQos qos = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    NUVOsapiRtpsGuid guid = {{0x00000A01, 0x0000B002, 0x00000C03},
                             NUV_OSAPI_RTPS_OBJECT_ID_PARTICIPANT};
    Arguments arguments;
    DDS_DomainParticipantConcurrency concurrency{};
    DDS_DomainParticipantFactory *factory = nullptr;
    NUVOsapiThreadFactory *threadFactory = nullptr; ///< the reactor's
    NUVOsapiThreadFactory *recvThreadFactory = nullptr;
    NUVOsapiThreadFactory *eventThreadFactory = nullptr;
    NUVOsapiThreadFactory *asynchPubThreadFactory = nullptr;
    REDAWorkerFactory *workerFactory = nullptr;
    REDAWorker *worker = nullptr;
    NUVNetioRuntime *runtime = nullptr;
    NUVEventActiveDatabase *activeDatabase = nullptr;
    NUVNetioConfigurator *configurator = nullptr;
    NUVClock clock{};
    NUVClock timestampClock{};

    /** The property that PRESParticipant_new was given, and the texts that its pointers led to. */
    struct Given {
        PRESParticipantProperty property;
        std::optional<std::string> trackedPorts;
        std::optional<std::string> partition;
        std::map<std::string, std::string> properties;
    };
    std::optional<Given> given;

private:
    bool isInitializing_ = false;
    PRESProperty *propertyList_ = nullptr; // not given back yet
    char *trackedPorts_ = nullptr;         // not given back yet
};

} // namespace support
