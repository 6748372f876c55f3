// SPDX-License-Identifier: Apache-2.0
// A participant's property, kept: deep copies in and out.
#include "propertyStore.h"

#include <cstring>
#include <span>
#include <utility>

#include <string.h> // strnlen

#include "osapi/osapi_heap.h"

namespace {

std::span<const PRESProperty> properties_of(const PRESPropertyList &list) {
    return {list.data._buffer, list.data._length};
}

bool copy_user_data(PRESOctetSequence &to, const PRESOctetSequence &from) {
    if (from._length == 0) {
        return true;
    }
    NUVOsapiHeap_allocateArray(&to._buffer, from._length, NUV_UINT8);
    if (to._buffer == nullptr) {
        return false;
    }
    std::memcpy(to._buffer, from._buffer, from._length);
    to._maximum = from._length;
    to._length = from._length;
    return true;
}

/** Copies a text, which may be null, to @p end and moves that behind its terminator. */
const char *put_text(const char *text, char *&end) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t size = std::strlen(text) + 1;
    char *const start = end;
    std::memcpy(start, text, size);
    end += size;
    return start;
}

/** Copies properties into buffers that have room for them and for their texts. */
void put_properties(PRESPropertyList &to, const PRESPropertyList &from) {
    PRESProperty *next = to.data._buffer;
    char *end = to.strings._buffer;
    for (const PRESProperty &property : properties_of(from)) {
        next->name = put_text(property.name, end);
        next->value = put_text(property.value, end);
        next->propagate = property.propagate;
        ++next;
    }
    to.data._length = from.data._length;
    to.strings._length = static_cast<NUV_UINT32>(end - to.strings._buffer);
}

bool copy_properties(PRESPropertyList &to, const PRESPropertyList &from) {
    if (from.data._length == 0) {
        return true;
    }
    const std::size_t size = PRESPropertyList_getStringSizeI(&from);
    NUVOsapiHeap_allocateArray(&to.data._buffer, from.data._length, struct PRESProperty);
    NUVOsapiHeap_allocateArray(&to.strings._buffer, size, char);
    if (to.data._buffer == nullptr || to.strings._buffer == nullptr) {
        return false;
    }
    to.data._maximum = from.data._length;
    to.strings._maximum = static_cast<NUV_UINT32>(size);
    put_properties(to, from);
    return true;
}

bool copy_partitions(PRESPartitionQosPolicy &to, const char *from, std::size_t length) {
    if (length == 0) {
        return true;
    }
    NUVOsapiHeap_allocateString(&to.name.str, length);
    if (to.name.str == nullptr) {
        return false;
    }
    std::memcpy(to.name.str, from, length);
    to.name.str[length] = '\0';
    to.name._maximum = static_cast<NUV_INT32>(length + 1);
    return true;
}

/** A host name belongs to whoever resolved it, and may be gone before the locator is read back. */
void forget_host_names(std::span<NUVNetioLocator> locators) {
    for (NUVNetioLocator &locator : locators) {
        locator.hostname = nullptr;
    }
}

void forget_all_host_names(PRESParticipantParameter &parameter) {
    forget_host_names(parameter.defaultUnicastLocator.locatorList);
    forget_host_names(parameter.metatrafficUnicastLocator.locatorList);
    forget_host_names(parameter.defaultMulticastLocator.locatorList);
    forget_host_names(parameter.metatrafficMulticastLocator.locatorList);
}

} // namespace

size_t PRESParticipantProperty_getPartitionLengthI(const PRESParticipantProperty *self) {
    const auto &name = self->parameter.partitionQosPolicy.name;
    if (name.str == nullptr || name._maximum <= 0) {
        return 0;
    }
    return strnlen(name.str, static_cast<size_t>(name._maximum));
}

size_t PRESPropertyList_getStringSizeI(const PRESPropertyList *self) {
    size_t size = 0;
    for (const PRESProperty &property : properties_of(*self)) {
        for (const char *text : {property.name, property.value}) {
            size += text != nullptr ? std::strlen(text) + 1 : 0;
        }
    }
    return size;
}

PRESPropertyStore::~PRESPropertyStore() {
    NUVOsapiHeap_freeArray(property_.parameter.userData._buffer);
    NUVOsapiHeap_freeArray(property_.parameter.propertyList.data._buffer);
    NUVOsapiHeap_freeArray(property_.parameter.propertyList.strings._buffer);
    NUVOsapiHeap_freeString(property_.parameter.partitionQosPolicy.name.str);
}

bool PRESPropertyStore::copyFrom(const PRESParticipantProperty &source) {
    PRESParticipantParameter &mine = property_.parameter;
    const PRESParticipantParameter &theirs = source.parameter;

    property_ = source;
    mine.userData = {};
    mine.propertyList = {};
    mine.partitionQosPolicy = {};
    // The facade keeps a copy of its own.
    property_.facadeProperty.parent.receiver.processMessageTimeBasedLoggingExplicitPorts = nullptr;
    forget_all_host_names(mine);
    return copy_user_data(mine.userData, theirs.userData) &&
           copy_properties(mine.propertyList, theirs.propertyList) &&
           copy_partitions(mine.partitionQosPolicy, theirs.partitionQosPolicy.name.str,
                           PRESParticipantProperty_getPartitionLengthI(&source));
}

bool PRESPropertyStore::copyTo(PRESParticipantProperty &out) const {
    const PRESParticipantParameter &mine = property_.parameter;
    PRESOctetSequence user_data = out.parameter.userData;
    PRESPropertyList list = out.parameter.propertyList;
    const PRESPartitionQosPolicy partition = out.parameter.partitionQosPolicy;
    const bool has_user_data_buffer = user_data._buffer != nullptr;
    const bool has_list_buffers = list.data._buffer != nullptr && list.strings._buffer != nullptr;
    const bool has_partition_buffer = partition.name.str != nullptr;
    const std::size_t partition_size = PRESParticipantProperty_getPartitionLengthI(&property_) + 1;

    if ((has_user_data_buffer && user_data._maximum < mine.userData._length) ||
        (has_list_buffers && (list.data._maximum < mine.propertyList.data._length ||
                              list.strings._maximum < mine.propertyList.strings._length)) ||
        (has_partition_buffer &&
         (partition.name._maximum < 0 ||
          static_cast<std::size_t>(partition.name._maximum) < partition_size))) {
        return false;
    }

    out = property_;

    user_data._length = 0;
    if (has_user_data_buffer && mine.userData._length > 0) {
        user_data._length = mine.userData._length;
        std::memcpy(user_data._buffer, mine.userData._buffer, user_data._length);
    }
    out.parameter.userData = user_data;

    list.data._length = 0;
    list.strings._length = 0;
    if (has_list_buffers) {
        put_properties(list, mine.propertyList);
    }
    out.parameter.propertyList = list;

    if (has_partition_buffer) {
        const char *const text = mine.partitionQosPolicy.name.str;
        std::memcpy(partition.name.str, text != nullptr ? text : "", partition_size);
    }
    out.parameter.partitionQosPolicy = partition;
    return true;
}

void PRESPropertyStore::swap(PRESPropertyStore &other) {
    std::swap(property_, other.property_);
}

void PRESPropertyStore::setFacadeProperty(const COMMENDActiveFacadeProperty &facadeProperty) {
    property_.facadeProperty = facadeProperty;
}

void PRESPropertyStore::setLocators(const PRESLocatorQosPolicy &defaultUnicast,
                                    const PRESLocatorQosPolicy &metatrafficUnicast,
                                    const PRESReducedLocatorQosPolicy &metatrafficMulticast) {
    PRESParticipantParameter &mine = property_.parameter;
    PRESLocatorQosPolicy_copy(&mine.defaultUnicastLocator, &defaultUnicast);
    PRESLocatorQosPolicy_copy(&mine.metatrafficUnicastLocator, &metatrafficUnicast);
    PRESLocatorQosPolicy_copy(
        PRESReducedLocatorQosPolicy_asLocatorPolicy(&mine.metatrafficMulticastLocator),
        PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&metatrafficMulticast));
    forget_all_host_names(mine);
}
