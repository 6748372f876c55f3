// SPDX-License-Identifier: Apache-2.0
// Where a facade sends to.
#ifndef COMMEND_DESTINATIONS_H
#define COMMEND_DESTINATIONS_H

#include <mutex>
#include <span>

#include "netio/netio_configurator.h"
#include "sending.h"

namespace commend {

/** Thread-safe. */
class Destinations {
public:
    Destinations(NUVNetioConfigurator *configurator, Sending &sending)
        : configurator_(configurator), sending_(sending) {}
    ~Destinations();
    Destinations(const Destinations &) = delete;
    Destinations &operator=(const Destinations &) = delete;

    /** Adds a destination unless it is there already; false when memory runs out. */
    bool add(const NUVNetioLocator &destination);
    /** False when it is not there. */
    bool remove(const NUVNetioLocator &destination);

    /** Sends a message to all of them; tells how many of the sends the kernel took. */
    NUV_INT32 send(std::span<const NUV_UINT8> message, REDAWorker *worker);

private:
    NUV_INT32 find(const NUVNetioLocator &destination) const;
    bool make_room();
    bool send_to(const NUVNetioLocator &destination, std::span<const NUV_UINT8> message,
                 REDAWorker *worker);

    NUVNetioConfigurator *const configurator_;
    Sending &sending_;

    std::mutex mutex_; // guards what follows; held while sending
    NUVNetioLocator *locators_ = nullptr;
    NUV_INT32 count_ = 0;
    NUV_INT32 capacity_ = 0;
};

} // namespace commend

#endif
