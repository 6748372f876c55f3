// Those who want to know when the interfaces change.
#include "interface/interfaceListeners.h"

#include <algorithm>

#include "reactor/workerThread.h"

namespace netio {

void InterfaceListeners::add(NUVNetioInterfaceListener *listener) {
    const std::lock_guard lock(mutex_);
    NUVNetioInterfaceListener **place = &first_;
    while (*place != nullptr) {
        place = &(*place)->_next;
    }
    listener->_next = nullptr;
    *place = listener;
}

bool InterfaceListeners::remove(NUVNetioInterfaceListener *listener) {
    std::unique_lock lock(mutex_);
    NUVNetioInterfaceListener **place = &first_;
    while (*place != nullptr && *place != listener) {
        place = &(*place)->_next;
    }
    if (*place != nullptr) {
        *place = listener->_next;
    }
    if (next_ == listener) {
        next_ = listener->_next;
    }
    if (telling_ && teller_ == std::this_thread::get_id()) {
        return true; // from within a listener
    }
    return called_.wait_for(lock, LONGEST_WAIT, [this, listener] { return current_ != listener; });
}

void InterfaceListeners::tell(NUV_UINT64 generation, REDAWorker *worker) {
    std::unique_lock lock(mutex_);
    wanted_ = std::max(wanted_, generation);
    if (telling_) {
        return;
    }
    telling_ = true;
    teller_ = std::this_thread::get_id();
    while (told_ != wanted_) {
        told_ = wanted_;
        tell_each(lock, worker);
    }
    telling_ = false;
}

void InterfaceListeners::tell_each(std::unique_lock<std::mutex> &lock, REDAWorker *worker) {
    next_ = first_;
    while (next_ != nullptr) {
        current_ = next_;
        next_ = current_->_next;
        const auto on_interfaces_changed = current_->onInterfacesChanged;
        void *const param = current_->param;
        lock.unlock();
        on_interfaces_changed(param, worker); // it may remove itself or others
        lock.lock();
        current_ = nullptr;
        called_.notify_all();
    }
}

} // namespace netio
