// SPDX-License-Identifier: Apache-2.0
// Public locators, compared, printed and made of those of the network.
#include "infrastructure/Locator_internal.h"

#include "infrastructure/basic_values.h"
#include "infrastructure/dds_log.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_INFRASTRUCTURE;

using dds::value::to_boolean;

static_assert(sizeof(KOLS_Transport_Address_t) == DDS_LOCATOR_ADDRESS_LENGTH);
static_assert(sizeof(char[NUV_NETIO_LOCATOR_STRING_SIZE]) <= DDS_LOCATOR_STRING_SIZE);

namespace {

/** The largest port that a locator of the lower layers holds. */
constexpr DDS_UnsignedLong PORT_MAX = 0x7FFFFFFF;

} // namespace

DDS_Boolean DDS_Locator_is_equal(const DDS_Locator_t *left, const DDS_Locator_t *right) {
    return to_boolean(!DDSLog_isNull(left) && !DDSLog_isNull(right) &&
                      dds::value::is_equal(*left, *right));
}

DDS_ReturnCode_t DDS_Locator_to_string(const DDS_Locator_t *locator, char *buffer, size_t size) {
    if (DDSLog_isNull(locator) || DDSLog_isNull(buffer)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (locator->port > PORT_MAX) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "locator->port is %u: allowed are 0 to %u", locator->port, PORT_MAX);
        return DDS_RETCODE_BAD_PARAMETER;
    }
    NUVNetioLocator netio_locator = NUV_NETIO_LOCATOR_INVALID;
    netio_locator.transport = locator->kind;
    netio_locator.port = static_cast<KOLS_Transport_Port_t>(locator->port);
    std::memcpy(netio_locator.address.network_ordered_value, locator->address,
                DDS_LOCATOR_ADDRESS_LENGTH);
    if (NUVNetioLocator_toString(&netio_locator, buffer, size) < 0) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                    "the text of a locator does not fit into a buffer of %zu characters: %d are "
                    "always enough",
                    size, DDS_LOCATOR_STRING_SIZE);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    return DDS_RETCODE_OK;
}

void DDS_Locator_from_netio_locatorI(DDS_Locator_t *self, const NUVNetioLocator *locator) {
    if (DDSLog_isNull(self) || DDSLog_isNull(locator)) {
        return;
    }
    self->kind = locator->transport;
    self->port = static_cast<DDS_UnsignedLong>(locator->port);
    std::memcpy(self->address, locator->address.network_ordered_value, DDS_LOCATOR_ADDRESS_LENGTH);
}
