// The settings that this version accepts and does not act on. Whoever makes one of them work takes
// it out of this list.
#include "unusedSettings.h"

#include "osapi/osapi_utility.h"

namespace {

constexpr NUV_UINT32 BUILTIN_PLUGIN_SPDP = 0x1u;

struct Setting {
    const char *name;
    bool is_given;
};

} // namespace

void PRESParticipantProperty_listUnusedSettingsI(const struct PRESParticipantProperty *self,
                                                 bool isSecure,
                                                 char (&out)[PRES_UNUSED_SETTINGS_TEXT_SIZE]) {
    const COMMENDFacadeProperty &facade = self->facadeProperty.parent;
    const PRESParticipantParameter &parameter = self->parameter;
    const Setting settings[] = {
        {"dds.participant.logging.time_based_logging.authentication.timeout",
         NUVNtpTime_isInfinite(&self->authenticationTimeThreshold) == 0},
        {"dds.participant.use_45d_compatible_alignment_enforcement",
         facade.interpreter.enforceSubmessageAlignment != 0},
        {"dds.participant.discovery_config.log_discovery_mismatch",
         facade.interpreter.logParticipantDiscoveryMismatch != 0},
        {"discovery_config.builtin_discovery_plugins",
         facade.interpreter.isSpdp2 != 0 ||
             parameter.builtinDiscoveryPlugins != BUILTIN_PLUGIN_SPDP},
        {"discovery_config.locator_reachability_lease_duration",
         NUVNtpTime_isInfinite(&parameter.reachabilityLeaseDuration) == 0},
        {"dds.participant.directed_write_serialization_kind",
         self->directedWriteGuidSerializationKind != 0},
        {"dds.domain_participant.asynchronous_publisher_thread_destruction_timeout",
         facade.jobDispatcher.executionThreadDestructionTimeout !=
             COMMEND_EXECUTION_THREAD_DESTRUCTION_TIMEOUT_DEFAULT},
        {"security", isSecure},
    };

    constexpr size_t LENGTH_MAX = PRES_UNUSED_SETTINGS_TEXT_SIZE - 1;
    out[0] = '\0';
    for (const Setting &setting : settings) {
        if (setting.is_given) {
            NUVOsapiUtility_strncat(out, LENGTH_MAX, out[0] != '\0' ? ", " : "", LENGTH_MAX);
            NUVOsapiUtility_strncat(out, LENGTH_MAX, setting.name, LENGTH_MAX);
        }
    }
}
