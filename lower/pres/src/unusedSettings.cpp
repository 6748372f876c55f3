// The settings that this version accepts and does not act on. Whoever makes one of them work takes
// it out of this list.
#include <string_view>

#include "participant_internal.h"

namespace {

constexpr NUV_UINT32 BUILTIN_PLUGIN_SPDP = 0x1u;

struct Setting {
    const char *name;
    bool (*is_given)(const PRESParticipantProperty &property);
};

constexpr Setting SETTINGS[] = {
    {"dds.participant.logging.time_based_logging.send.timeout",
     [](const PRESParticipantProperty &property) {
         return NUVNtpTime_isInfinite(
                    &property.facadeProperty.parent.sender.sendTimeBasedLoggingThreshold) == 0;
     }},
    {"dds.participant.logging.time_based_logging.authentication.timeout",
     [](const PRESParticipantProperty &property) {
         return NUVNtpTime_isInfinite(&property.authenticationTimeThreshold) == 0;
     }},
    {"dds.participant.use_45d_compatible_alignment_enforcement",
     [](const PRESParticipantProperty &property) {
         return property.facadeProperty.parent.interpreter.enforceSubmessageAlignment != 0;
     }},
    {"dds.participant.discovery_config.log_discovery_mismatch",
     [](const PRESParticipantProperty &property) {
         return property.facadeProperty.parent.interpreter.logParticipantDiscoveryMismatch != 0;
     }},
    {"discovery_config.builtin_discovery_plugins",
     [](const PRESParticipantProperty &property) {
         return property.facadeProperty.parent.interpreter.isSpdp2 != 0 ||
                property.parameter.builtinDiscoveryPlugins != BUILTIN_PLUGIN_SPDP;
     }},
    {"discovery_config.locator_reachability_lease_duration",
     [](const PRESParticipantProperty &property) {
         return NUVNtpTime_isInfinite(&property.parameter.reachabilityLeaseDuration) == 0;
     }},
    {"dds.participant.directed_write_serialization_kind",
     [](const PRESParticipantProperty &property) {
         return property.directedWriteGuidSerializationKind != 0;
     }},
    {"dds.domain_participant.asynchronous_publisher_thread_destruction_timeout",
     [](const PRESParticipantProperty &property) {
         return property.facadeProperty.parent.jobDispatcher.executionThreadDestructionTimeout !=
                COMMEND_EXECUTION_THREAD_DESTRUCTION_TIMEOUT_DEFAULT;
     }},
};

constexpr const char *SECURITY = "security";

/** Of all names, each with the two characters that join it to the next or end the text. */
constexpr size_t joined_size() {
    size_t size = std::string_view(SECURITY).size() + 2;
    for (const Setting &setting : SETTINGS) {
        size += std::string_view(setting.name).size() + 2;
    }
    return size;
}

static_assert(joined_size() <= PRES_UNUSED_SETTINGS_SIZE);

} // namespace

void PRESParticipant_listUnusedSettings(struct PRESParticipant *self,
                                        void (*visit)(void *param, const char *name), void *param,
                                        struct REDAWorker *worker) {
    const PRESInside record(self->recordEa, worker);
    for (const Setting &setting : SETTINGS) {
        if (setting.is_given(self->property.get())) {
            visit(param, setting.name);
        }
    }
    if (self->isSecure) {
        visit(param, SECURITY);
    }
}
