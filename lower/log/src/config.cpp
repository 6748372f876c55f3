// SPDX-License-Identifier: Apache-2.0
// The logger: its verbosity and its output device.
#include "dds_c/dds_c_logger.h"

#include <atomic>
#include <mutex>
#include <type_traits>

#include <pthread.h>

#include "log/log_message.h"
#include "log/log_module.h"
#include "log_internal.h"
#include "osapi/osapi_ntptime.h"
#include "osapi/osapi_process.h"

namespace {

static_assert(KOLS_CONFIG_LOG_CATEGORY_ENABLE == NUV_LOG_CATEGORY_ENABLE);

constexpr pthread_t NOBODY = 0; // no thread has it on Linux

void write_to_stderr(void * /*param*/, const KOLS_Config_LogRecord *record) {
    KOLS_Config_Logger_write_record(record);
}

} // namespace

struct KOLS_Config_Logger {
    std::mutex verbosity_mutex; // makes one change of all the masks; held to add a module as well
    std::atomic<KOLS_Config_LogVerbosity> verbosity{KOLS_CONFIG_LOG_VERBOSITY_ERROR};
    std::atomic<NUVLogModuleNode *> modules{nullptr}; // the newest first

    bool is_verbosity_chosen = false; // by the program itself

    std::mutex device_mutex;                  // held during each call of the device
    std::atomic<pthread_t> deliverer{NOBODY}; // the thread that holds it for that
    KOLS_Config_LoggerDevice device = write_to_stderr;
    void *device_param = nullptr;
};

namespace {

/** Never destroyed: a message may come until the very end of the process. */
constinit KOLS_Config_Logger logger;
static_assert(std::is_trivially_destructible_v<KOLS_Config_Logger>);

} // namespace

namespace {

/**
 * In a forked child a lock that another thread had would stay locked, and each message hang. It is
 * not taken around the fork: a device may wait for what the forking thread holds.
 */
void renew_locks() {
    // One that forks within its device has that lock itself.
    if (logger.deliverer.load(std::memory_order_relaxed) != pthread_self()) {
        (void)pthread_mutex_init(logger.device_mutex.native_handle(), nullptr);
        logger.deliverer.store(NOBODY, std::memory_order_relaxed);
    }
    (void)pthread_mutex_init(logger.verbosity_mutex.native_handle(), nullptr);
    kols::renew_stderr_lock();
}

/** With the lock of the verbosity held. */
void set_verbosity(KOLS_Config_LogVerbosity verbosity) {
    logger.verbosity.store(verbosity, std::memory_order_relaxed);
    for (const NUVLogModuleNode *node = NUVLog_getModules(); node != nullptr; node = node->_next) {
        NUVLog_storeMask(node->module->instrumentationMask, verbosity);
    }
}

} // namespace

void kols::prepare_for_forks() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    (void)pthread_once(&once, [] {
        // Fails only for want of memory, which leaves things as they would be without it.
        (void)pthread_atfork(nullptr, nullptr, renew_locks);
    });
}

KOLS_Config_Logger *KOLS_Config_Logger_get_instance(void) {
    kols::prepare_for_forks();
    return &logger;
}

KOLS_Config_LogVerbosity KOLS_Config_Logger_get_verbosity(KOLS_Config_Logger *self) {
    if (KOLSLog_isNull(self)) {
        return KOLS_CONFIG_LOG_VERBOSITY_SILENT;
    }
    return self->verbosity.load(std::memory_order_relaxed);
}

void KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger *self,
                                      KOLS_Config_LogVerbosity verbosity) {
    if (KOLSLog_isNull(self)) {
        return;
    }
    const std::lock_guard lock(self->verbosity_mutex);
    self->is_verbosity_chosen = true;
    set_verbosity(verbosity);
}

int NUVLog_setDefaultVerbosity(NUV_UINT32 verbosity) {
    const std::lock_guard lock(logger.verbosity_mutex);
    if (logger.is_verbosity_chosen) {
        return 0;
    }
    set_verbosity(verbosity);
    return 1;
}

void NUVLog_registerModule(NUVLogModuleNode *node) {
    const std::lock_guard lock(logger.verbosity_mutex);
    NUVLogModuleNode *const first = logger.modules.load(std::memory_order_relaxed);

    for (const NUVLogModuleNode *other = first; other != nullptr; other = other->_next) {
        if (other == node) {
            return;
        }
    }
    node->_next = first;
    NUVLog_storeMask(node->module->instrumentationMask,
                     logger.verbosity.load(std::memory_order_relaxed));
    logger.modules.store(node, std::memory_order_release); // to who reads without the lock
}

const NUVLogModuleNode *NUVLog_getModules(void) {
    return logger.modules.load(std::memory_order_acquire);
}

void KOLS_Config_Logger_set_verbosity_by_category(KOLS_Config_Logger *self,
                                                  KOLS_Config_LogCategoryMask categories,
                                                  KOLS_Config_LogVerbosity verbosity) {
    if (KOLSLog_isNull(self)) {
        return;
    }
    const std::lock_guard lock(self->verbosity_mutex);
    for (NUV_UINT32 level = NUV_LOG_LEVEL_FATAL; level <= NUV_LOG_LEVEL_DEBUG; level *= 2) {
        NUVLogCategoryMask *mask = &NUVLog_g_categoryMask[level];
        const NUVLogCategoryMask others = NUVLog_loadMask(mask) & ~categories;
        NUVLog_storeMask(mask, (verbosity & level) != 0 ? others | categories : others);
    }
}

void KOLS_Config_Logger_set_output_device(KOLS_Config_Logger *self, KOLS_Config_LoggerDevice device,
                                          void *param) {
    if (KOLSLog_isNull(self)) {
        return;
    }
    const std::lock_guard lock(self->device_mutex);
    self->device = device != nullptr ? device : write_to_stderr;
    self->device_param = param;
}

void KOLS_Config_Logger_deliverI(KOLS_Config_Logger *self, KOLS_Config_LogRecord *record) {
    const osapi::CancellationHold hold; // a device may well be where a thread can be cancelled
    NUVClock *clock = NUVClock_getRealtime();
    const pthread_t here = pthread_self();

    if (self->deliverer.load(std::memory_order_relaxed) == here) {
        // The device is at work below: it cannot be called again, nor waited for.
        record->time = clock->getNanoseconds(clock);
        KOLS_Config_Logger_write_record(record);
        return;
    }
    const std::lock_guard lock(self->device_mutex);
    self->deliverer.store(here, std::memory_order_relaxed);
    record->time = clock->getNanoseconds(clock); // under the lock: times in the order of the lines
    self->device(self->device_param, record);
    self->deliverer.store(NOBODY, std::memory_order_relaxed);
}
