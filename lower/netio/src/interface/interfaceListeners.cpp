// SPDX-License-Identifier: Apache-2.0
// Those who want to know when the interfaces change.
#include "interface/interfaceListeners.h"

#include <algorithm>

#include "reactor/workerThread.h"

namespace netio {

void InterfaceListeners::add(NUVNetioInterfaceListener *listener) {
    const std::lock_guard lock(mutex_);
    all_.append(listener);
}

bool InterfaceListeners::remove(NUVNetioInterfaceListener *listener) {
    std::unique_lock lock(mutex_);
    if (next_ == listener) {
        next_ = all_.next(listener);
    }
    (void)all_.remove(listener);
    if (telling_ && teller_ == std::this_thread::get_id()) {
        return true; // from within a listener
    }
    return called_.wait_for(lock, LONGEST_WAIT, [this, listener] { return current_ != listener; });
}

void InterfaceListeners::tell(InterfaceTable &interfaces, REDAWorker *worker) {
    std::unique_lock lock(mutex_);
    wanted_ = std::max(wanted_, interfaces.generation());
    if (telling_) {
        return;
    }
    telling_ = true;
    teller_ = std::this_thread::get_id();
    while (told_ != wanted_) {
        const HeldSnapshot snapshot = interfaces.current();
        told_ = wanted_;
        tell_each(snapshot.get(), lock, worker);
    }
    telling_ = false;
}

void InterfaceListeners::tell_each(const NUVNetioInterfaceSnapshot *snapshot,
                                   std::unique_lock<std::mutex> &lock, REDAWorker *worker) {
    next_ = all_.first();
    while (next_ != nullptr) {
        current_ = next_;
        next_ = all_.next(current_);
        const auto on_interfaces_changed = current_->onInterfacesChanged;
        void *const param = current_->param;
        lock.unlock();
        on_interfaces_changed(param, snapshot, worker); // it may remove itself or others
        lock.lock();
        current_ = nullptr;
        called_.notify_all();
    }
}

} // namespace netio
