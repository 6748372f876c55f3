// SPDX-License-Identifier: Apache-2.0
// Bounded string operations.
#include "osapi/osapi_utility.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <string.h> // strnlen

char *NUVOsapiUtility_strcpy(char *dst, size_t maxLength, const char *src) {
    if (dst == nullptr || src == nullptr) {
        return nullptr;
    }
    const size_t length = strnlen(src, maxLength);
    if (src[length] != '\0') {
        return nullptr;
    }
    std::memmove(dst, src, length + 1);
    return dst;
}

char *NUVOsapiUtility_strncat(char *dst, size_t maxLength, const char *src, size_t count) {
    if (dst == nullptr || src == nullptr) {
        return nullptr;
    }
    const size_t used = strnlen(dst, maxLength);
    const size_t added = strnlen(src, count);
    if (dst[used] != '\0' || added > maxLength - used) {
        return nullptr;
    }
    std::memmove(dst + used, src, added);
    dst[used + added] = '\0';
    return dst;
}

int NUVOsapiUtility_snprintf(char *buffer, size_t size, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}
