// SPDX-License-Identifier: Apache-2.0
// The types of which submessages and parameters are made, as they are represented (DDSI-RTPS 9.3,
// 9.4.2). Each layout stands here once: a Codec is an Input, which fills the record, or an Output.
#ifndef RTPS_LAYOUTS_H
#define RTPS_LAYOUTS_H

namespace rtps {

/** Octets in the order in which they are written, whatever the byte order. */
template <typename Codec, typename Prefix>
void guid_prefix(Codec &codec, Prefix &prefix) {
    codec.network_number(prefix.hostId);
    codec.network_number(prefix.appId);
    codec.network_number(prefix.instanceId);
}

template <typename Codec, typename Guid>
void guid(Codec &codec, Guid &it) {
    guid_prefix(codec, it.prefix);
    codec.network_number(it.objectId);
}

template <typename Codec, typename Version>
void protocol_version(Codec &codec, Version &version) {
    codec.number(version.major);
    codec.number(version.minor);
}

/** Header, and INFO_SRC after its unused octets. */
template <typename Codec, typename Header>
void source(Codec &codec, Header &header) {
    protocol_version(codec, header.version);
    codec.octets(header.vendorId.octets);
    guid_prefix(codec, header.guidPrefix);
}

template <typename Codec, typename Time>
void time(Codec &codec, Time &it) {
    codec.number(it.seconds);
    codec.number(it.fraction);
}

template <typename Codec, typename Duration>
void duration(Codec &codec, Duration &it) {
    codec.number(it.sec);
    codec.number(it.frac);
}

template <typename Codec, typename Locator>
void locator(Codec &codec, Locator &it) {
    codec.number(it.transport);
    codec.number(it.port);
    codec.octets(it.address.network_ordered_value);
}

/** Reader and writer id, with which most submessages begin. */
template <typename Codec, typename Record>
void endpoints(Codec &codec, Record &record) {
    codec.network_number(record.readerId);
    codec.network_number(record.writerId);
}

} // namespace rtps

#endif
