// SPDX-License-Identifier: Apache-2.0
// How the security attributes shape the property of a participant.
#include <cstring>

#include "support/presentation_fixture.h"

namespace {

using namespace support;

class Security : public PresentationFixture {
protected:
    const COMMENDFacadeProperty &initializeWith(NUV_UINT32 bitmask) {
        security.attributes.protectionInfo.bitmask = bitmask;
        arguments.security = &security;
        arguments.securityTokens = &tokens;
        arguments.overheads = &overheads;
        keepProperty();
        EXPECT_EQ(initialize(), DDS_RETCODE_OK);
        EXPECT_TRUE(given.has_value());
        return given->property.facadeProperty.parent;
    }

    static void expectMessagesUnprotected(const COMMENDFacadeProperty &facade) {
        EXPECT_EQ(facade.messageGenerator.canEncodeRtpsMessage, 0);
        EXPECT_EQ(facade.interpreter.mustDecodeRtpsMessage, 0);
        EXPECT_EQ(facade.messageGenerator.encodedMessageBaseOverhead, 0);
        EXPECT_EQ(facade.messageGenerator.encodedMessageWithPresharedKeyMaxOverhead, 0);
        EXPECT_EQ(facade.messageGenerator.encodedMessageOverheadPerReceiver, 0);
    }

    static void expectMessagesProtected(const COMMENDFacadeProperty &facade) {
        EXPECT_EQ(facade.messageGenerator.canEncodeRtpsMessage, 1);
        EXPECT_EQ(facade.interpreter.mustDecodeRtpsMessage, 1);
        EXPECT_EQ(facade.messageGenerator.encodedMessageBaseOverhead, 22);
        EXPECT_EQ(facade.messageGenerator.encodedMessageWithPresharedKeyMaxOverhead, 33);
        EXPECT_EQ(facade.messageGenerator.encodedMessageOverheadPerReceiver, 44);
    }

    static void expectSubmessagesProtected(const COMMENDFacadeProperty &facade) {
        EXPECT_EQ(facade.messageGenerator.canEncodeSubmessage, 1);
        EXPECT_EQ(facade.messageGenerator.encodedSubmessageMaxOverhead, 11);
        EXPECT_EQ(facade.interpreter.canDecode, 1);
    }

    int identity = 0;
    int permissions = 0;
    int status = 0;
    PRESParticipantSecurity security = {{{0, 0x50}, {1, 2, 3}, {4}}, nullptr};
    PRESParticipantSecurityTokens tokens = {&identity, &permissions, &status};
    DDS_DomainParticipantTrustPluginsMaxTransformOverheads overheads = {
        .submessage = 11, .messageBase = 22, .presharedKeyMessage = 33, .messagePerReceiver = 44};
};

TEST_F(Security, OffLeavesTheProtectionAtItsDefaults) {
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);

    const COMMENDFacadeProperty &facade = given->property.facadeProperty.parent;
    const PRESParticipantParameter &parameter = given->property.parameter;
    EXPECT_EQ(facade.messageGenerator.canEncodeSubmessage, 0);
    EXPECT_EQ(facade.messageGenerator.encodedSubmessageMaxOverhead, 0);
    EXPECT_EQ(facade.interpreter.canDecode, 0);
    EXPECT_EQ(facade.interpreter.mustDecodeRtpsBootstrappingMessage, 0);
    expectMessagesUnprotected(facade);
    EXPECT_EQ(parameter.securityProtectionInfo.bitmask, 0u);
    EXPECT_EQ(parameter.securityTokens.identityToken, nullptr);
}

TEST_F(Security, OffReadsNeitherTokensNorOverheads) {
    // Neither may be read: there is no object at these addresses.
    arguments.securityTokens = reinterpret_cast<const PRESParticipantSecurityTokens *>(1);
    arguments.overheads =
        reinterpret_cast<DDS_DomainParticipantTrustPluginsMaxTransformOverheads *>(1);
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_NE(self.participant, nullptr);
}

TEST_F(Security, OnProtectsSubmessagesOnly) {
    const COMMENDFacadeProperty &facade = initializeWith(~0x11u);
    expectSubmessagesProtected(facade);
    expectMessagesUnprotected(facade);
    EXPECT_EQ(facade.interpreter.mustDecodeRtpsBootstrappingMessage, 0);
}

TEST_F(Security, OfRtpsMessagesProtectsMessagesButNotTheirBootstrapping) {
    const COMMENDFacadeProperty &facade = initializeWith(0x1);
    expectSubmessagesProtected(facade);
    expectMessagesProtected(facade);
    EXPECT_EQ(facade.interpreter.mustDecodeRtpsBootstrappingMessage, 0);
}

TEST_F(Security, ByPresharedKeyProtectsMessagesAndTheirBootstrapping) {
    const COMMENDFacadeProperty &facade = initializeWith(0x10);
    expectSubmessagesProtected(facade);
    expectMessagesProtected(facade);
    EXPECT_EQ(facade.interpreter.mustDecodeRtpsBootstrappingMessage, 1);
}

TEST_F(Security, OfBothKindsProtectsMessagesAndTheirBootstrapping) {
    const COMMENDFacadeProperty &facade = initializeWith(0x11);
    expectMessagesProtected(facade);
    EXPECT_EQ(facade.interpreter.mustDecodeRtpsBootstrappingMessage, 1);
}

TEST_F(Security, AttributesAndTokensAreCopiedWhole) {
    initializeWith(0x8);
    const PRESParticipantParameter &parameter = given->property.parameter;
    EXPECT_EQ(parameter.securityProtectionInfo.bitmask, 0x8u);
    EXPECT_EQ(parameter.securityProtectionInfo.pluginBitmask, 0x50u);
    EXPECT_EQ(parameter.securityAlgorithmInfo.digitalSignatureMask, 1u);
    EXPECT_EQ(parameter.securityAlgorithmInfo.keyEstablishmentMask, 2u);
    EXPECT_EQ(parameter.securityAlgorithmInfo.symmetricCipherMask, 3u);
    EXPECT_EQ(parameter.securityVendorProtectionInfo.bitmask, 4u);
    EXPECT_EQ(parameter.securityTokens.identityToken, &identity);
    EXPECT_EQ(parameter.securityTokens.permissionsToken, &permissions);
    EXPECT_EQ(parameter.securityTokens.identityStatusToken, &status);
}

} // namespace
