// SPDX-License-Identifier: Apache-2.0
/**
 * @file allowedInterfaces.h
 * @brief The list of interfaces that a participant may use, as people write it.
 */
#ifndef PROPERTIES_ALLOWED_INTERFACES_H
#define PROPERTIES_ALLOWED_INTERFACES_H

#include "netio/netio_configurator.h"

/**
 * Splits a list, joined by commas, into the allowed interfaces of a configurator; an empty one
 * allows all. False, after one error in the name of @p LOG_METHOD, when an entry is none or there
 * are too many.
 * @param setting what the list is the value of, as "property a.b".
 */
bool read_allowed_interfaces(const char *setting, const char *list,
                             NUVNetioConfiguratorProperty *property, const char *LOG_METHOD);

#endif
