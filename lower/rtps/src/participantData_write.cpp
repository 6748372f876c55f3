// SPDX-License-Identifier: Apache-2.0
// Announcements of participants put together.
#include "layouts.h"
#include "osapi/osapi_assert.h"
#include "parameterList.h"
#include "propertyList.h"
#include "rtps/rtps_participantData.h"
#include "text.h"

namespace {

using rtps::Output;

/** Adds parameters to a list, each by its type. */
class ParameterAdder {
public:
    explicit ParameterAdder(RTPSParameterListWriter &writer) : writer_(writer) {}

    template <typename Number>
    void number(NUV_UINT32 id, Number value) {
        add(id, [value](Output &output) { output.number(value); });
    }

    void locators(NUV_UINT32 id, const RTPSLocators &list) {
        NUV_ASSERT(list.count <= RTPS_LOCATORS_MAX);
        for (const NUVNetioLocator &locator : std::span(list.locators, list.count)) {
            add(id, [&locator](Output &output) { rtps::locator(output, locator); });
        }
    }

    /** Nothing of an empty text, as of what follows. */
    void text(NUV_UINT32 id, const RTPSText &text) {
        if (text.length != 0) {
            add(id, [&text](Output &output) { rtps::text(output, text); });
        }
    }

    void octets(NUV_UINT32 id, const RTPSOctets &octets) {
        if (octets.length != 0) {
            add(id, [&octets](Output &output) {
                output.number(static_cast<NUV_UINT32>(octets.length));
                output.octets(octets);
            });
        }
    }

    void properties(NUV_UINT32 id, const RTPSPropertyList &list) {
        if (list.count != 0) {
            add(id, [&list](Output &output) { rtps::property_list(output, list); });
        }
    }

    template <typename Represent>
    void add(NUV_UINT32 id, Represent represent) {
        rtps::add_parameter(writer_, static_cast<RTPSParameterId>(id), represent);
    }

private:
    RTPSParameterListWriter &writer_;
};

/** What everybody has to know, and knows at least. */
void add_identity(ParameterAdder &adder, const RTPSParticipantData &data) {
    adder.add(RTPS_PID_PROTOCOL_VERSION,
              [&data](Output &output) { rtps::protocol_version(output, data.protocolVersion); });
    adder.add(RTPS_PID_VENDORID, [&data](Output &output) { output.octets(data.vendorId.octets); });
    adder.add(RTPS_PID_PARTICIPANT_GUID,
              [&data](Output &output) { rtps::guid(output, data.guid); });
    adder.add(RTPS_PID_PARTICIPANT_LEASE_DURATION,
              [&data](Output &output) { rtps::duration(output, data.leaseDuration); });
    adder.number(RTPS_PID_BUILTIN_ENDPOINT_SET, data.availableBuiltinEndpoints);
    adder.locators(RTPS_PID_METATRAFFIC_UNICAST_LOCATOR, data.metatrafficUnicast);
    adder.locators(RTPS_PID_DEFAULT_UNICAST_LOCATOR, data.defaultUnicast);
}

void add_rest(ParameterAdder &adder, const RTPSParticipantData &data) {
    adder.locators(RTPS_PID_METATRAFFIC_MULTICAST_LOCATOR, data.metatrafficMulticast);
    adder.locators(RTPS_PID_DEFAULT_MULTICAST_LOCATOR, data.defaultMulticast);
    if (data.builtinEndpointQos != 0) {
        adder.number(RTPS_PID_BUILTIN_ENDPOINT_QOS, data.builtinEndpointQos);
    }
    if (data.hasDomainId != 0) {
        adder.number(RTPS_PID_DOMAIN_ID, data.domainId);
    }
    adder.text(RTPS_PID_DOMAIN_TAG | RTPS_PID_MUST_UNDERSTAND, data.domainTag);
    adder.octets(RTPS_PID_USER_DATA, data.userData);
    adder.text(RTPS_PID_ENTITY_NAME, data.entityName);
    adder.properties(RTPS_PID_PROPERTY_LIST, data.properties);
    adder.number(RTPS_PID_EXPECTS_INLINE_QOS, static_cast<NUV_UINT8>(data.expectsInlineQos != 0));
}

} // namespace

size_t RTPSParticipantData_write(const RTPSParticipantData *self, RTPSByteOrder byteOrder,
                                 NUV_UINT8 *buffer, size_t capacity) {
    RTPSParameterListWriter writer;
    RTPSParameterListWriter_initializePayload(&writer, buffer, capacity, byteOrder);
    ParameterAdder adder(writer);
    add_identity(adder, *self);
    add_rest(adder, *self);
    return RTPSParameterListWriter_finish(&writer);
}
