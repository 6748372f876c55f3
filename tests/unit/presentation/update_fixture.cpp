// SPDX-License-Identifier: Apache-2.0
#include "update_fixture.h"

using namespace support;

void Update::SetUp() {
    setupBuffers.emplace(recorder);
    owner.qos.resource_limits = {12, 256, 32, 2048, 4096};
    recorder.name(&owner, "owner");
    recorder.replace(
        "PRESParticipantProperty_setPartitionBuffer",
        [this](PRESParticipantProperty *property, char *buffer) {
            PRESParticipantParameter &parameter = property->parameter;
            recorder.name(&parameter.defaultUnicastLocator, "property.defaultUnicast");
            recorder.name(&parameter.metatrafficUnicastLocator, "property.metaUnicast");
            recorder.name(&parameter.defaultMulticastLocator, "property.defaultMulticast");
            recorder.name(&parameter.metatrafficMulticastLocator, "property.metaMulticast");
            PRESParticipantProperty_setPartitionBuffer(property, buffer);
        });
    recorder.replace(
        "PRESParticipant_getProperty",
        [this](PRESParticipant *, PRESParticipantProperty *property, REDAWorker *) -> int {
            const PRESParticipantParameter lent = property->parameter;
            *property = running;
            property->parameter.userData = lent.userData;
            property->parameter.propertyList = lent.propertyList;
            property->parameter.partitionQosPolicy = lent.partitionQosPolicy;
            return 1;
        });
    recorder.replace("PRESParticipant_setProperty",
                     [this](PRESParticipant *, int *, const PRESParticipantProperty *property,
                            REDAWorker *) -> int {
                         pushed = *property;
                         return 1;
                     });
    start();
}

void Update::TearDown() {
    setupBuffers.reset();
    EXPECT_EQ(heap.change(), Blocks());
    EXPECT_EQ(heap.refusals(), 0u);
}

void Update::start() {
    ASSERT_EQ(reserve(INDEX), DDS_RETCODE_OK);
    running.parameter.defaultUnicastLocator = self._cachedDefaultUnicastLocator;
    running.parameter.metatrafficUnicastLocator = self._cachedMetatrafficUnicastLocator;
    running.parameter.metatrafficMulticastLocator = self._cachedMetatrafficMulticastLocator;
    log.clear();
}

DDS_ReturnCode_t Update::update(int participantIndex) {
    return DDS_DomainParticipantPresentation_update_participant_locatorsI(&self, &owner,
                                                                          participantIndex, worker);
}

void Update::failFinalize() {
    setupBuffers->failFinalize();
}

Message changeLine(const std::string &list, const std::string &before, const std::string &now) {
    const std::string body =
        list + " locators have changed from {" + before + "} to {" + now + "}.\n";
    return {.level = NUV_LOG_LEVEL_LOCAL,
            .function = "DDS_DomainParticipantPresentation_log_locator_change",
            .name = "NUV_LOG_UPDATE_TEMPLATE",
            .body = body,
            .text = "update: " + body};
}
