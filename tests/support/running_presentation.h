// SPDX-License-Identifier: Apache-2.0
/**
 * @file running_presentation.h
 * @brief A presentation half whose participant exists, and the participant that encloses it.
 *
 *     class GetQos : public RunningPresentation {};
 *
 *     TEST_F(GetQos, ReturnsTheUserData)
 *     {
 *         setUserData({1, 2, 3});
 *         start();
 *         EXPECT_EQ(get(), DDS_RETCODE_OK);
 *         EXPECT_TRUE(DDS_UserDataQosPolicy_is_equal(&out.user_data, &qos.user_data));
 *     }
 */
#pragma once

#include <optional>
#include <vector>

#include "domain/DomainParticipant_internal.h"
#include "support/presentation_fixture.h"

namespace support {

/** The whole property has its defaults, whatever buffer for partitions it was lent. */
void expectDefault(PRESParticipantProperty property);

/** Forbids every message of the module, except this level for what the worker does. */
void wantForWorkerOnly(REDAWorker &worker, NUV_UINT32 level);

/** Switches the error level of the DDS layer's messages off. */
void forbidErrors();
/** Switches the submodule of the domain off. */
void forbidDomain();

/**
 * Keeps track of the buffers that are set up in a property for what is to be read, so that a test
 * in which they are not given back, because that call was made to fail, can free them.
 */
class SetupBuffers {
public:
    explicit SetupBuffers(Recorder &recorder);
    ~SetupBuffers() {
        free();
    }
    SetupBuffers(const SetupBuffers &) = delete;
    SetupBuffers &operator=(const SetupBuffers &) = delete;

    /** From now on they are given back, and yet a failure is reported. */
    void failFinalize() {
        result_ = DDS_RETCODE_INCONSISTENT_POLICY;
    }

    void free();

private:
    std::vector<void *> buffers_; // not given back yet
    DDS_ReturnCode_t result_ = DDS_RETCODE_OK;
};

class RunningPresentation : public PresentationFixture {
protected:
    void SetUp() override;
    void TearDown() override;

    /** Makes the participant with `qos`; the log is empty then. */
    void start();

    DDS_ReturnCode_t get(int getUserData = 1);
    DDS_ReturnCode_t set();

    /** The running participant's property, without its variable parts. */
    PRESParticipantProperty running();

    /** Has the property given back and yet a failure reported. */
    void failFinalize();

    void setUserData(const std::vector<DDS_Octet> &octets);
    void addUnicastSetting(const char *transport, DDS_Long port);
    void addMapping(const char *address, const char *expression);
    /** Sets every policy to something else than its default. */
    void fill();

    DDS_DomainParticipant owner{};
    DDS_DomainParticipantQos out = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    std::optional<SetupBuffers> setupBuffers;
};

} // namespace support
