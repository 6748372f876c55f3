#include "infrastructure/Locator_internal.h"

#include "infrastructure/value_fields.h"

#define DDS_LOG_SUBMODULE DDS_LOG_SUBMODULE_INFRASTRUCTURE
#include "infrastructure/dds_log.h"

using dds::value::to_boolean;

static_assert(sizeof(KOLS_Transport_Address_t) == DDS_LOCATOR_ADDRESS_LENGTH);
static_assert(sizeof(char[NUV_NETIO_LOCATOR_STRING_SIZE]) <= DDS_LOCATOR_STRING_SIZE);
static_assert(DDS_LOCATOR_KIND_UDPv4 == KOLS_TRANSPORT_CLASSID_UDPv4);
static_assert(DDS_LOCATOR_KIND_UDPv6 == KOLS_TRANSPORT_CLASSID_UDPv6);

DDS_Boolean DDS_Locator_is_equal(const DDS_Locator_t *left, const DDS_Locator_t *right) {
    return to_boolean(!DDSLog_isNull(left) && !DDSLog_isNull(right) &&
                      dds::value::is_equal(*left, *right));
}

DDS_ReturnCode_t DDS_Locator_to_string(const DDS_Locator_t *locator, char *buffer, size_t size) {
    if (DDSLog_isNull(locator) || DDSLog_isNull(buffer) || locator->port > 0x7FFFFFFFu) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    NUVNetioLocator netio_locator = NUV_NETIO_LOCATOR_INVALID;
    netio_locator.transport = locator->kind;
    netio_locator.port = static_cast<KOLS_Transport_Port_t>(locator->port);
    std::memcpy(netio_locator.address.network_ordered_value, locator->address,
                DDS_LOCATOR_ADDRESS_LENGTH);
    return NUVNetioLocator_toString(&netio_locator, buffer, size) < 0 ? DDS_RETCODE_OUT_OF_RESOURCES
                                                                      : DDS_RETCODE_OK;
}

void DDS_Locator_from_netio_locatorI(DDS_Locator_t *self, const NUVNetioLocator *locator) {
    if (DDSLog_isNull(self) || DDSLog_isNull(locator)) {
        return;
    }
    self->kind = locator->transport;
    self->port = static_cast<DDS_UnsignedLong>(locator->port);
    std::memcpy(self->address, locator->address.network_ordered_value, DDS_LOCATOR_ADDRESS_LENGTH);
}
