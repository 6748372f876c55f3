// The message templates.
#include "log/log_message.h"

#define DEFINE_TEMPLATE(name, format) const struct NUVLogMessageTemplate name = {#name, format}

DEFINE_TEMPLATE(NUV_LOG_PRECONDITION_FAILURE_s, "precondition failed: %s");
DEFINE_TEMPLATE(NUV_LOG_ANY_FAILURE_s, "failure: %s");
DEFINE_TEMPLATE(NUV_LOG_CREATION_FAILURE_s, "cannot create %s");
DEFINE_TEMPLATE(NUV_LOG_DESTRUCTION_FAILURE_s, "cannot delete %s");
DEFINE_TEMPLATE(NUV_LOG_GET_FAILURE_s, "cannot get %s");
DEFINE_TEMPLATE(NUV_LOG_INVALID_s, "invalid: %s");
DEFINE_TEMPLATE(NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd,
                "insufficient space: room for %d, needed %d");
DEFINE_TEMPLATE(NUV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d,
                "out of memory for a structure of %d bytes");
DEFINE_TEMPLATE(DDS_LOG_COPY_FAILURE_s, "cannot copy %s");
DEFINE_TEMPLATE(DDS_LOG_FINALIZE_FAILURE_s, "cannot finalize %s");
DEFINE_TEMPLATE(DDS_LOG_GET_FAILURE_s, "cannot get %s");
DEFINE_TEMPLATE(DDS_LOG_GET_TRANSPORT_INFO, "cannot get the transport information");
DEFINE_TEMPLATE(DDS_LOG_GET_TRANSPORT_INFO_SIZE_ZERO,
                "no transport information is announced: transport_info_list_max_length is 0");
DEFINE_TEMPLATE(DDS_LOG_IMMUTABLE_POLICY_s, "immutable policy: %s");
DEFINE_TEMPLATE(DDS_LOG_INCONSISTENT_PROPERTY_sss, "%s: inconsistent property %s: %s");
DEFINE_TEMPLATE(DDS_LOG_MULTICAST_TRANSPORT_LOCATORS, "cannot compute the multicast locators");
DEFINE_TEMPLATE(DDS_LOG_NO_DEFAULT_UNICAST_TRANSPORT_LOCATORS,
                "the participant has no unicast locator for user traffic");
DEFINE_TEMPLATE(DDS_LOG_NO_DISCOVERY_TRANSPORT_LOCATORS,
                "the participant has no locator for discovery traffic");
DEFINE_TEMPLATE(DDS_LOG_OUT_OF_RESOURCES_s, "out of resources: %s");
DEFINE_TEMPLATE(DDS_LOG_SET_FAILURE_s, "cannot set %s");
DEFINE_TEMPLATE(DDS_LOG_UNICAST_TRANSPORT_LOCATORS, "cannot compute the unicast locators");

DEFINE_TEMPLATE(NUV_LOG_EMPTY_TEMPLATE, "%s");
DEFINE_TEMPLATE(NUV_LOG_ENABLE_TEMPLATE, "enable: %s");
DEFINE_TEMPLATE(NUV_LOG_INITIALIZE_TEMPLATE, "initialize: %s");
DEFINE_TEMPLATE(NUV_LOG_UPDATE_TEMPLATE, "update: %s");
DEFINE_TEMPLATE(NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE, "bad parameter: %s");
DEFINE_TEMPLATE(NUV_LOG_FAILED_TO_CONVERT_TEMPLATE, "failed to convert: %s");
DEFINE_TEMPLATE(NUV_LOG_FAILED_TO_ENABLE_TEMPLATE, "failed to enable: %s");
DEFINE_TEMPLATE(NUV_LOG_FAILED_TO_FINALIZE_TEMPLATE, "failed to finalize: %s");
DEFINE_TEMPLATE(NUV_LOG_FAILED_TO_GET_TEMPLATE, "failed to get: %s");
DEFINE_TEMPLATE(NUV_LOG_INCONSISTENT_QOS_TEMPLATE, "inconsistent QoS: %s");
