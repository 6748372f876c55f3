// SPDX-License-Identifier: Apache-2.0
// The sockets of one receive port.
#include "socket/receivePort.h"

#include <new>
#include <utility>

#include "osapi/osapi_heap.h"

namespace netio {

ReceivePort::~ReceivePort() {
    while (sockets_ != nullptr) {
        ReceiveSocket *const socket = sockets_;
        sockets_ = socket->next;
        socket->~ReceiveSocket();
        NUVOsapiHeap_freeStructure(socket);
    }
}

ReceiveSocket *ReceivePort::add_socket(Socket bound, const KOLS_Transport_Address_t &bound_to) {
    ReceiveSocket **place = &sockets_;
    while (*place != nullptr && (*place)->is_open()) {
        place = &(*place)->next;
    }
    if (*place == nullptr) {
        NUVOsapiHeap_allocateStructure(place, class netio::ReceiveSocket);
        if (*place == nullptr) {
            return nullptr;
        }
        new (*place) ReceiveSocket(*this);
    }
    (*place)->open(std::move(bound), bound_to);
    return *place;
}

void ReceivePort::close_sockets() {
    for (ReceiveSocket *socket = sockets_; socket != nullptr; socket = socket->next) {
        socket->close();
    }
}

NUV_UINT64 ReceivePort::count_arrival(NUV_UINT32 newly_lost) const {
    if (newly_lost != 0) {
        runtime_.lost_datagrams.fetch_add(newly_lost, std::memory_order_relaxed);
    }
    return ++runtime_.arrivals;
}

} // namespace netio
