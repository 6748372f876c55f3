// The logger: its verbosity and its output device.
#include "log/log_config.h"

#include <atomic>
#include <cerrno>
#include <mutex>
#include <type_traits>

#include <unistd.h>

#include "log/log_module.h"
#include "log_internal.h"
#include "osapi/osapi_ntptime.h"

namespace {

/** Writes all of it unless the descriptor fails; then there is nobody left to tell. */
void write_all(int descriptor, const char *data, size_t size) {
    while (size > 0) {
        const ssize_t written = write(descriptor, data, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
}

/** The default device: a line in a single write, so that lines of several processes do not mix. */
void write_to_stderr(void * /*param*/, const struct NUVLogRecord *record) {
    char line[KOLS_CONFIG_LOG_LINE_MAX];
    const size_t length = KOLS_Config_Logger_format_line(record, line, sizeof line);
    line[length] = '\n'; // in place of the terminator
    write_all(STDERR_FILENO, line, length + 1);
}

} // namespace

struct KOLS_Config_Logger {
    std::mutex verbosity_mutex; // makes one change of all the masks
    std::atomic<KOLS_Config_LogVerbosity> verbosity{KOLS_CONFIG_LOG_VERBOSITY_ERROR};

    std::mutex device_mutex; // held during each call of the device
    KOLS_Config_LoggerDevice device = write_to_stderr;
    void *device_param = nullptr;
};

namespace {

/** Never destroyed: a message may come until the very end of the process. */
constinit KOLS_Config_Logger logger;
static_assert(std::is_trivially_destructible_v<KOLS_Config_Logger>);

} // namespace

struct KOLS_Config_Logger *KOLS_Config_Logger_get_instance(void) {
    return &logger;
}

KOLS_Config_LogVerbosity KOLS_Config_Logger_get_verbosity(struct KOLS_Config_Logger *self) {
    return self->verbosity.load(std::memory_order_relaxed);
}

void KOLS_Config_Logger_set_verbosity(struct KOLS_Config_Logger *self,
                                      KOLS_Config_LogVerbosity verbosity) {
    NUV_UINT32 *const masks[] = {
        &OSAPILog_g_instrumentationMask, &REDALog_g_instrumentationMask,
        &NETIOLog_g_instrumentationMask, &COMMENDLog_g_instrumentationMask,
        &PRESLog_g_instrumentationMask,  &DDSLog_g_instrumentationMask,
    };
    const std::lock_guard lock(self->verbosity_mutex);
    self->verbosity.store(verbosity, std::memory_order_relaxed);
    for (NUV_UINT32 *mask : masks) {
        NUVLog_storeMask(mask, verbosity);
    }
}

void KOLS_Config_Logger_set_verbosity_by_category(struct KOLS_Config_Logger *self,
                                                  NUVLogCategoryMask categories,
                                                  KOLS_Config_LogVerbosity verbosity) {
    const std::lock_guard lock(self->verbosity_mutex);
    for (NUV_UINT32 level = NUV_LOG_LEVEL_FATAL; level <= NUV_LOG_LEVEL_DEBUG; level *= 2) {
        NUVLogCategoryMask *mask = &NUVLog_g_categoryMask[level];
        const NUVLogCategoryMask others = NUVLog_loadMask(mask) & ~categories;
        NUVLog_storeMask(mask, (verbosity & level) != 0 ? others | categories : others);
    }
}

void KOLS_Config_Logger_set_output_device(struct KOLS_Config_Logger *self,
                                          KOLS_Config_LoggerDevice device, void *param) {
    const std::lock_guard lock(self->device_mutex);
    self->device = device != nullptr ? device : write_to_stderr;
    self->device_param = param;
}

void KOLS_Config_Logger_deliverI(struct KOLS_Config_Logger *self, struct NUVLogRecord *record) {
    NUVClock *clock = NUVClock_getRealtime();
    const std::lock_guard lock(self->device_mutex);
    record->time = clock->getNanoseconds(clock); // under the lock: times in the order of the lines
    self->device(self->device_param, record);
}
