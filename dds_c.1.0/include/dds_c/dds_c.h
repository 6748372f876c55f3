// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c.h
 * @brief The whole public API of the library.
 */
#ifndef DDS_C_H
#define DDS_C_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_builtin.h"
#include "dds_c/dds_c_common.h"
#include "dds_c/dds_c_domain.h"
#include "dds_c/dds_c_domainparticipantqos.h"
#include "dds_c/dds_c_locator.h"
#include "dds_c/dds_c_logger.h"
#include "dds_c/dds_c_productversion.h"
#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "dds_c/dds_c_qospolicy.h"
#include "dds_c/dds_c_qosvisitor.h"
#include "dds_c/dds_c_rtpswellknownports.h"
#include "dds_c/dds_c_sequence.h"
#include "dds_c/dds_c_string.h"

#endif
