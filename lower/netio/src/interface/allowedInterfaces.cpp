// SPDX-License-Identifier: Apache-2.0
// The interfaces that a participant may use.
#include "interface/allowedInterfaces.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <string.h> // strnlen

#include "locator/address.h"
#include "locator/endpointText.h"
#include "netio_log.h"
#include "osapi/osapi_heap.h"

namespace netio {

namespace {

/** What the kernel takes as the name of an interface, without control characters. */
bool is_interface_name(std::string_view text) {
    return !text.empty() && text.size() < sizeof(InterfacePattern::name) && text != "." &&
           text != ".." && std::none_of(text.begin(), text.end(), [](char character) {
               return static_cast<unsigned char>(character) <= ' ' || character == '/' ||
                      character == ':' || character == '\x7F';
           });
}

bool read_pattern(std::string_view text, InterfacePattern *out) {
    *out = {KOLS_TRANSPORT_CLASSID_INVALID, {}, {}};
    for (NUV_INT32 i = 0; i < NUV_NETIO_TRANSPORTS_MAX; ++i) {
        const NUVNetioTransportClass *its_class = NUVNetioTransportClass_get(i);
        if (parse_address(text, *its_class, &out->address)) {
            out->transport = its_class->classid;
            return true;
        }
    }
    if (!is_interface_name(text)) {
        return false;
    }
    std::memcpy(out->name, text.data(), text.size());
    return true;
}

} // namespace

AllowedInterfaces::~AllowedInterfaces() {
    NUVOsapiHeap_freeArray(patterns_);
}

bool AllowedInterfaces::read(const NUVNetioConfiguratorProperty &property) {
    constexpr const char *LOG_METHOD = "NUVNetioConfigurator_new";
    const NUV_INT32 count = property.allowedInterfaceCount;
    if (count < 0 || count > NUV_NETIO_ALLOWED_INTERFACES_MAX) {
        NETIO_ERROR("%d allowed interfaces: allowed are 0 (all interfaces) to %d",
                    static_cast<int>(count), NUV_NETIO_ALLOWED_INTERFACES_MAX);
        return false;
    }
    if (count == 0) {
        return true;
    }
    NUVOsapiHeap_allocateArray(&patterns_, count, struct InterfacePattern);
    if (patterns_ == nullptr) {
        NETIO_ERROR("out of memory for %d allowed interfaces", static_cast<int>(count));
        return false;
    }
    for (; count_ < count; ++count_) {
        const char *text = property.allowedInterfaces[count_];
        const std::string_view entry(text, strnlen(text, NUV_NETIO_INTERFACE_PATTERN_SIZE));
        if (!read_pattern(entry, &patterns_[count_])) {
            char forms[NUV_NETIO_INTERFACE_PATTERN_FORMS_SIZE];
            NUVNetioInterfacePattern_listForms(forms, sizeof forms);
            NETIO_ERROR("allowed interface '%.*s': allowed are %s", static_cast<int>(entry.size()),
                        entry.data(), forms);
            return false;
        }
    }
    return true;
}

void AllowedInterfaces::warn_of_unmatched(const NUVNetioInterfaceSnapshot &snapshot) const {
    constexpr const char *LOG_METHOD = "NUVNetioConfigurator_new";
    for (NUV_INT32 i = 0; i < count_; ++i) {
        bool matched = false;
        for (NUV_INT32 j = 0; j < NUVNetioInterfaceSnapshot_getLength(&snapshot); ++j) {
            matched =
                matched || matches(patterns_[i], *NUVNetioInterfaceSnapshot_get(&snapshot, j));
        }
        if (matched) {
            continue;
        }
        NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
        locator.transport = patterns_[i].transport;
        locator.address = patterns_[i].address;
        if (locator.transport == KOLS_TRANSPORT_CLASSID_INVALID) {
            NETIO_WARNING("no usable interface is named '%s'; it is used once it appears",
                          patterns_[i].name);
        } else {
            NETIO_WARNING("no usable interface has the address of %s; it is used once it appears",
                          LocatorText(locator).get());
        }
    }
}

bool AllowedInterfaces::matches(const InterfacePattern &pattern,
                                const NUVNetioInterface &interface) const {
    return pattern.transport != KOLS_TRANSPORT_CLASSID_INVALID
               ? pattern.transport == interface.transport &&
                     is_same_address(pattern.address, interface.address)
               : std::strncmp(pattern.name, interface.name, sizeof pattern.name) == 0;
}

bool AllowedInterfaces::admits(const NUVNetioInterface &interface) const {
    return !is_restricted() || interface.isLoopback != 0 ||
           std::any_of(patterns_, patterns_ + count_, [this, &interface](const auto &pattern) {
               return matches(pattern, interface);
           });
}

} // namespace netio

int NUVNetioInterfacePattern_isValid(const char *text, size_t length) {
    netio::InterfacePattern pattern{};
    return static_cast<int>(length < NUV_NETIO_INTERFACE_PATTERN_SIZE &&
                            netio::read_pattern({text, length}, &pattern));
}

void NUVNetioInterfacePattern_listForms(char *text, size_t size) {
    char names[NUV_NETIO_TRANSPORTS_STRING_SIZE];
    NUVNetioTransportClass_listAddressNames(names, sizeof names);
    std::snprintf(text, size,
                  "the name of an interface (1 to %d characters without '/', ':' and white space) "
                  "and a numeric %s address",
                  static_cast<int>(sizeof(netio::InterfacePattern::name) - 1), names);
}
