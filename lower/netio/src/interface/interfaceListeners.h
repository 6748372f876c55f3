// SPDX-License-Identifier: Apache-2.0
// Those who want to know when the interfaces change.
#ifndef NETIO_INTERFACE_LISTENERS_H
#define NETIO_INTERFACE_LISTENERS_H

#include <condition_variable>
#include <mutex>
#include <thread>

#include "interface/interfaceTable.h"
#include "netio/netio_runtime.h"
#include "reactor/linkedList.h"

namespace netio {

/** Thread-safe. No lock is held while a listener runs. */
class InterfaceListeners {
public:
    InterfaceListeners() = default;
    InterfaceListeners(const InterfaceListeners &) = delete;
    InterfaceListeners &operator=(const InterfaceListeners &) = delete;

    void add(NUVNetioInterfaceListener *listener);
    bool remove(NUVNetioInterfaceListener *listener);

    /**
     * Tells all of them of the newest snapshot, unless they know it. While another thread, or this
     * one further up, is telling already, that one tells of it too.
     */
    void tell(InterfaceTable &interfaces, REDAWorker *worker);

private:
    void tell_each(const NUVNetioInterfaceSnapshot *snapshot, std::unique_lock<std::mutex> &lock,
                   REDAWorker *worker);

    std::mutex mutex_; // guards what follows
    std::condition_variable called_;
    LinkedList<NUVNetioInterfaceListener, &NUVNetioInterfaceListener::_next> all_;
    NUVNetioInterfaceListener *next_ = nullptr;    // the next to be called
    NUVNetioInterfaceListener *current_ = nullptr; // the one being called
    std::thread::id teller_;
    bool telling_ = false;
    NUV_UINT64 wanted_ = 0; // the newest generation to tell of
    NUV_UINT64 told_ = 0;
};

} // namespace netio

#endif
