// SPDX-License-Identifier: Apache-2.0
// The message templates that fit any layer.
#include "log/log_message.h"

#define DEFINE_TEMPLATE(name, format) const NUVLogMessageTemplate name = {#name, format}

DEFINE_TEMPLATE(NUV_LOG_PRECONDITION_FAILURE_s, "precondition failed: %s");
DEFINE_TEMPLATE(NUV_LOG_ANY_FAILURE_s, "failure: %s");
DEFINE_TEMPLATE(NUV_LOG_CREATION_FAILURE_s, "cannot create %s");
DEFINE_TEMPLATE(NUV_LOG_DESTRUCTION_FAILURE_s, "cannot delete %s");
DEFINE_TEMPLATE(NUV_LOG_GET_FAILURE_s, "cannot get %s");
DEFINE_TEMPLATE(NUV_LOG_INVALID_s, "invalid: %s");
DEFINE_TEMPLATE(NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd,
                "insufficient space: room for %d, needed %d");

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
