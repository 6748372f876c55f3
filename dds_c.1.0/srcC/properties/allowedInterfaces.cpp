// SPDX-License-Identifier: Apache-2.0
// Reads the list of interfaces that a participant may use.
#include "properties/allowedInterfaces.h"

#include <string.h>

#include <algorithm>

#include "infrastructure/dds_log.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

bool read_allowed_interfaces(const char *setting, const char *list,
                             NUVNetioConfiguratorProperty *property, const char *LOG_METHOD) {
    if (*list == '\0') {
        return true;
    }
    for (const char *entry = list;; ++entry) {
        const size_t length = strcspn(entry, ",");

        if (property->allowedInterfaceCount == NUV_NETIO_ALLOWED_INTERFACES_MAX ||
            !NUVNetioInterfacePattern_isValid(entry, length)) {
            const size_t shown = std::min(length, size_t{NUV_NETIO_INTERFACE_PATTERN_SIZE});
            char forms[NUV_NETIO_INTERFACE_PATTERN_FORMS_SIZE];

            NUVNetioInterfacePattern_listForms(forms, sizeof(forms));
            DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                        "%s has '%.*s' as entry %d: allowed are up to %d entries, joined by ',': "
                        "%s",
                        setting, static_cast<int>(shown), entry,
                        static_cast<int>(property->allowedInterfaceCount + 1),
                        NUV_NETIO_ALLOWED_INTERFACES_MAX, forms);
            return false;
        }
        char *const pattern = property->allowedInterfaces[property->allowedInterfaceCount];

        memcpy(pattern, entry, length);
        pattern[length] = '\0';
        ++property->allowedInterfaceCount;
        entry += length;
        if (*entry == '\0') {
            return true;
        }
    }
}
