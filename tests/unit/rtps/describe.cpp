// SPDX-License-Identifier: Apache-2.0
// Records as texts.
#include "describe.h"

#include <iomanip>
#include <sstream>
#include <string_view>

#include "octets.h"

namespace {

/** "name=value" for each field, one after the other. */
class Fields {
public:
    Fields &number(std::string_view name, long long value) {
        text_ << name << '=' << value << ' ';
        return *this;
    }
    Fields &word(std::string_view name, NUV_UINT32 value) {
        text_ << name << '=' << std::hex << std::setw(8) << std::setfill('0') << value << std::dec
              << ' ';
        return *this;
    }
    Fields &text(std::string_view name, const std::string &value) {
        text_ << name << "={" << value << "} ";
        return *this;
    }
    Fields &octets(std::string_view name, std::span<const NUV_UINT8> value) {
        return text(name, hex(value));
    }
    Fields &octets(std::string_view name, const RTPSOctets &value) {
        return text(name, hex(value));
    }
    Fields &prefix(const NUVOsapiRtpsGuidPrefix &prefix) {
        return word("host", prefix.hostId)
            .word("app", prefix.appId)
            .word("instance", prefix.instanceId);
    }
    template <typename Record>
    Fields &endpoints(const Record &record) {
        return word("reader", record.readerId).word("writer", record.writerId);
    }
    Fields &time(const RTPSTime &time) {
        return number("seconds", time.seconds).number("fraction", time.fraction);
    }

    std::string str() const {
        return text_.str();
    }

private:
    std::ostringstream text_;
};

template <typename Set>
std::string describe_set(const Set &set) {
    Fields fields;
    fields.number("base", static_cast<long long>(set.base)).number("bits", set.numBits);
    for (const NUV_UINT32 word : set.bitmap) {
        fields.word("", word);
    }
    return fields.str();
}

std::string describe(const RTPSText &text) {
    return std::string(text.text != nullptr ? text.text : "", text.length);
}

} // namespace

std::string describe(const RTPSHeader &header) {
    return Fields()
        .number("major", header.version.major)
        .number("minor", header.version.minor)
        .octets("vendor", header.vendorId.octets)
        .prefix(header.guidPrefix)
        .str();
}

std::string describe(const NUVNetioLocator &locator) {
    return Fields()
        .number("transport", locator.transport)
        .number("port", locator.port)
        .octets("address", locator.address.network_ordered_value)
        .str();
}

std::string describe(const RTPSLocators &locators) {
    std::string text;
    for (const NUVNetioLocator &locator : std::span(locators.locators, locators.count)) {
        text += describe(locator);
    }
    return text;
}

std::string describe(const RTPSSequenceNumberSet &set) {
    return describe_set(set);
}

std::string describe(const RTPSFragmentNumberSet &set) {
    return describe_set(set);
}

std::string describe(const RTPSAckNack &record) {
    return Fields()
        .number("final", record.isFinal)
        .endpoints(record)
        .text("state", describe(record.readerSNState))
        .number("count", record.count)
        .str();
}

std::string describe(const RTPSNackFrag &record) {
    return Fields()
        .endpoints(record)
        .number("writerSN", record.writerSN)
        .text("state", describe(record.fragmentNumberState))
        .number("count", record.count)
        .str();
}

std::string describe(const RTPSHeartbeat &record) {
    return Fields()
        .number("final", record.isFinal)
        .number("liveliness", record.isLiveliness)
        .number("group", record.hasGroup)
        .endpoints(record)
        .number("first", record.firstSN)
        .number("last", record.lastSN)
        .number("count", record.count)
        .number("current", record.group.currentGSN)
        .number("first", record.group.firstGSN)
        .number("last", record.group.lastGSN)
        .octets("writers", record.group.writerSet)
        .octets("secure", record.group.secureWriterSet)
        .str();
}

std::string describe(const RTPSHeartbeatFrag &record) {
    return Fields()
        .endpoints(record)
        .number("writerSN", record.writerSN)
        .number("last", record.lastFragmentNum)
        .number("count", record.count)
        .str();
}

std::string describe(const RTPSGap &record) {
    return Fields()
        .number("group", record.hasGroup)
        .number("counts", record.hasFilteredCount)
        .endpoints(record)
        .number("start", record.gapStart)
        .text("list", describe(record.gapList))
        .number("startGSN", record.gapStartGSN)
        .number("endGSN", record.gapEndGSN)
        .number("filtered", record.filteredCount)
        .str();
}

std::string describe(const RTPSInfoTimestamp &record) {
    return Fields().time(record.timestamp).str();
}

std::string describe(const RTPSInfoSource &record) {
    return describe(record.source);
}

std::string describe(const RTPSInfoDestination &record) {
    return Fields().prefix(record.guidPrefix).str();
}

std::string describe(const RTPSInfoReply &record) {
    return Fields()
        .text("unicast", describe(record.unicast))
        .number("hasMulticast", record.hasMulticast)
        .text("multicast", describe(record.multicast))
        .str();
}

std::string describe(const RTPSInfoReplyIp4 &record) {
    return Fields()
        .text("unicast", describe(record.unicast))
        .number("hasMulticast", record.hasMulticast)
        .text("multicast", describe(record.multicast))
        .str();
}

std::string describe(const RTPSData &record) {
    return Fields()
        .number("kind", record.payloadKind)
        .number("nonStandard", record.isNonStandardPayload)
        .endpoints(record)
        .number("writerSN", record.writerSN)
        .octets("qos", record.inlineQos)
        .octets("payload", record.payload)
        .str();
}

std::string describe(const RTPSDataFrag &record) {
    return Fields()
        .number("key", record.isKey)
        .number("nonStandard", record.isNonStandardPayload)
        .endpoints(record)
        .number("writerSN", record.writerSN)
        .number("starting", record.fragmentStartingNum)
        .number("fragments", record.fragmentsInSubmessage)
        .number("size", record.fragmentSize)
        .number("sample", record.sampleSize)
        .octets("qos", record.inlineQos)
        .octets("payload", record.payload)
        .str();
}

std::string describe(const RTPSHeaderExtension &record) {
    return Fields()
        .number("hasLength", record.hasMessageLength)
        .number("length", record.messageLength)
        .number("hasTime", record.hasSendTimestamp)
        .time(record.sendTimestamp)
        .number("hasU", record.hasUExtension4)
        .octets("u", record.uExtension4)
        .number("hasW", record.hasWExtension8)
        .octets("w", record.wExtension8)
        .octets("checksum", record.messageChecksum)
        .octets("parameters", record.parameters)
        .str();
}

std::string describe(const RTPSInlineQos &record) {
    return Fields()
        .number("hasKey", record.hasKeyHash)
        .octets("key", record.keyHash)
        .number("status", record.statusInfo)
        .str();
}

std::string describe(const RTPSParticipantData &record) {
    Fields fields;
    fields
        .text("source",
              describe(RTPSHeader{record.protocolVersion, record.vendorId, record.guid.prefix}))
        .word("entity", record.guid.objectId)
        .number("seconds", record.leaseDuration.sec)
        .number("fraction", record.leaseDuration.frac)
        .word("endpoints", record.availableBuiltinEndpoints)
        .word("qos", record.builtinEndpointQos)
        .number("hasDomain", record.hasDomainId)
        .number("domain", record.domainId)
        .number("inlineQos", record.expectsInlineQos)
        .text("tag", describe(record.domainTag))
        .text("name", describe(record.entityName))
        .octets("user", record.userData)
        .text("metatraffic", describe(record.metatrafficUnicast))
        .text("metatraffic group", describe(record.metatrafficMulticast))
        .text("default", describe(record.defaultUnicast))
        .text("default group", describe(record.defaultMulticast));
    RTPSPropertyReader reader;
    RTPSPropertyReader_initialize(&reader, &record.properties);
    for (RTPSProperty property; RTPSPropertyReader_next(&reader, &property) != 0;) {
        fields.text(describe(property.name), describe(property.value));
    }
    return fields.str();
}
