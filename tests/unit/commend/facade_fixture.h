// SPDX-License-Identifier: Apache-2.0
// Facades on the loopback interface.
#pragma once

#include <array>

#include "../netio/net_fixture.h"
#include "commend/commend_facade.h"

namespace commend_test {

constexpr NUVOsapiRtpsGuidPrefix OWN = {0x00000102, 0x03040506, 0x0708090A};
constexpr NUVOsapiRtpsGuidPrefix OTHER = {0x00000102, 0x03040506, 0x0708090B};

/** A facade with a configurator of its own, as a participant has it. */
class Facade {
public:
    explicit Facade(
        const net::Runtime &runtime,
        const COMMENDActiveFacadeProperty &property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT,
        const char *transports = "udpv4", const std::vector<const char *> &allowed = {})
        : configurator(runtime, transports, allowed), runtime_(runtime),
          self(COMMENDFacade_new(&property, configurator.self,
                                 runtime.factories.worker_of_this_thread())) {
        EXPECT_NE(self, nullptr);
    }
    ~Facade() {
        EXPECT_NE(COMMENDFacade_delete(self, runtime_.factories.worker_of_this_thread()), 0);
    }
    Facade(const Facade &) = delete;
    Facade &operator=(const Facade &) = delete;

    bool add(const NUVNetioLocator &locator, REDAWeakReference *out, const char *aliases = "") {
        NUVNetioLocatorInfo info{};
        info.locator = locator;
        std::strncpy(info.aliasList.aliases, aliases, sizeof info.aliasList.aliases - 1);
        return self->addEntryport(self, out, &info, runtime_.factories.worker_of_this_thread()) !=
               0;
    }
    REDAWeakReference add(const NUVNetioLocator &locator) {
        REDAWeakReference reference = REDA_WEAK_REFERENCE_INVALID;
        EXPECT_TRUE(add(locator, &reference));
        return reference;
    }
    bool remove(REDAWeakReference reference) {
        return self->removeEntryport(self, &reference,
                                     runtime_.factories.worker_of_this_thread()) != 0;
    }
    bool is_active(const REDAWeakReference *handle = nullptr) {
        int active = -1;
        EXPECT_NE(self->checkEntryports(self, &active, handle,
                                        runtime_.factories.worker_of_this_thread()),
                  0);
        return active != 0;
    }
    bool flush() {
        return self->flushEntryports(self, &net::PLENTY,
                                     runtime_.factories.worker_of_this_thread()) != 0;
    }
    COMMENDFacadeStatistics statistics() {
        COMMENDFacadeStatistics statistics{};
        self->getStatistics(self, &statistics, runtime_.factories.worker_of_this_thread());
        return statistics;
    }
    REDAWeakReference handle(KOLS_Transport_ClassId_t transport) const {
        REDAWeakReference handle = REDA_WEAK_REFERENCE_INVALID;
        EXPECT_NE(NUVNetioConfigurator_getTransportHandle(configurator.self, transport, &handle),
                  0);
        return handle;
    }
    bool add_destination(const NUVNetioLocator &destination) {
        return self->addDestination(self, &destination,
                                    runtime_.factories.worker_of_this_thread()) != 0;
    }
    bool remove_destination(const NUVNetioLocator &destination) {
        return self->removeDestination(self, &destination,
                                       runtime_.factories.worker_of_this_thread()) != 0;
    }
    int send(std::string_view data) {
        return self->sendMessage(self, reinterpret_cast<const NUV_UINT8 *>(data.data()),
                                 static_cast<NUV_UINT32>(data.size()),
                                 runtime_.factories.worker_of_this_thread());
    }
    int send_from(KOLS_Transport_Port_t port, const NUVNetioLocator &destination,
                  std::string_view data = "hello") {
        return COMMENDFacade_sendFrom(
            self, port, &destination, reinterpret_cast<const NUV_UINT8 *>(data.data()),
            static_cast<NUV_UINT32>(data.size()), runtime_.factories.worker_of_this_thread());
    }
    bool has(const NUVNetioLocator &locator) {
        return COMMENDFacade_hasEntryport(self, &locator,
                                          runtime_.factories.worker_of_this_thread()) != 0;
    }
    void listen(const COMMENDMessageListener &listener) {
        self->setMessageListener(self, &listener, runtime_.factories.worker_of_this_thread());
    }

    const net::Configurator configurator;

private:
    const net::Runtime &runtime_;

public:
    COMMENDFacade *const self;
};

/** An RTPS message: its header, with this GUID prefix, and some content. */
inline std::string message(const NUVOsapiRtpsGuidPrefix &prefix, const std::string &content = "") {
    std::string text("RTPS\2\5\0\0", 8);
    for (const NUV_UINT32 word : {prefix.hostId, prefix.appId, prefix.instanceId}) {
        for (const unsigned shift : {24u, 16u, 8u, 0u}) {
            text += static_cast<char>(word >> shift & 0xFFu);
        }
    }
    return text + content;
}

/** Keeps the messages that a facade hands on. */
class Listener {
public:
    COMMENDMessageListener listener() {
        return {on_message, this};
    }

    std::vector<std::string> messages() const {
        const std::lock_guard lock(mutex_);
        return messages_;
    }
    bool wait_for(std::size_t count) const {
        return net::eventually([&] { return messages().size() >= count; });
    }
    /** Has each message take a while. */
    std::atomic<int> milliseconds{0};

    /** Keeps the reactor at the next message until it is let go. */
    void hold() {
        held_ = true;
    }
    bool wait_until_held() const {
        return net::eventually([&] { return is_holding_.load(); });
    }
    void let_go() {
        held_ = false;
    }

private:
    static void on_message(void *param, const NUVNetioMessage *message, REDAWorker *worker) {
        EXPECT_NE(worker, nullptr);
        auto *self = static_cast<Listener *>(param);
        std::this_thread::sleep_for(std::chrono::milliseconds(self->milliseconds));
        self->is_holding_ = self->held_.load();
        EXPECT_TRUE(net::eventually([self] { return !self->held_; }));
        const std::lock_guard lock(self->mutex_);
        self->messages_.emplace_back(reinterpret_cast<const char *>(message->data),
                                     message->length);
    }

    std::atomic<bool> held_{false};
    std::atomic<bool> is_holding_{false};
    mutable std::mutex mutex_;
    std::vector<std::string> messages_;
};

} // namespace commend_test
