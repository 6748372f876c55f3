// SPDX-License-Identifier: Apache-2.0
// Strings that the library owns.
#include "infrastructure/basic_values.h"
#include "infrastructure/dds_log.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_INFRASTRUCTURE;

char *DDS_String_alloc(size_t length) {
    char *text = nullptr;
    if (length == SIZE_MAX || !NUVOsapiHeap_allocateString(&text, length)) {
        return nullptr;
    }
    text[0] = '\0';
    return text;
}

char *DDS_String_dup(const char *text) {
    if (text == nullptr) {
        return nullptr;
    }
    const size_t length = std::strlen(text);
    char *duplicate = DDS_String_alloc(length);
    if (duplicate != nullptr) {
        std::memcpy(duplicate, text, length + 1);
    }
    return duplicate;
}

void DDS_String_free(char *text) {
    NUVOsapiHeap_freeString(text);
}

DDS_Boolean DDS_String_replace(char **self, const char *text) {
    if (DDSLog_isNull(self)) {
        return DDS_BOOLEAN_FALSE;
    }
    if (*self == text) {
        return DDS_BOOLEAN_TRUE;
    }
    char *duplicate = DDS_String_dup(text);
    if (duplicate == nullptr && text != nullptr) {
        return DDS_BOOLEAN_FALSE;
    }
    DDS_String_free(*self);
    *self = duplicate;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_StringSeq_append(DDS_StringSeq *self, const char *text) {
    if (DDSLog_isNull(self) || DDSLog_isNull(text)) {
        return DDS_BOOLEAN_FALSE;
    }
    char *duplicate = DDS_String_dup(text);
    if (duplicate == nullptr || !dds::value::append(*self, duplicate)) {
        DDS_String_free(duplicate);
        return DDS_BOOLEAN_FALSE;
    }
    return DDS_BOOLEAN_TRUE;
}
