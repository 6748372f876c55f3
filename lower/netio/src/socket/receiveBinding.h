// Binding the sockets of receive ports.
#ifndef NETIO_RECEIVE_BINDING_H
#define NETIO_RECEIVE_BINDING_H

#include "configurator/configurator.h"
#include "reactor/descriptor.h"

namespace netio {

/** A socket that alone has the locator's address and port. None after a failure was noted. */
Descriptor bind_unicast(NUVNetioConfigurator &configurator, const NUVNetioLocator &locator);

/** A socket that shares the locator's group and port with others. None as above. */
Descriptor bind_group(NUVNetioConfigurator &configurator, const NUVNetioLocator &locator);

/** The same; a failure is not noted, errno tells of it. */
Descriptor bind_further_to_group(const NUVNetioLocator &locator);

} // namespace netio

#endif
