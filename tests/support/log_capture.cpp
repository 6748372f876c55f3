// SPDX-License-Identifier: Apache-2.0
#include "support/log_capture.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <ostream>

#include "gtest/gtest.h"

namespace support {

namespace {

std::vector<NUV_UINT32 *> allMasks() {
    std::vector<NUV_UINT32 *> masks;
    for (const NUVLogModuleNode *node = NUVLog_getModules(); node != nullptr; node = node->_next) {
        masks.push_back(node->module->instrumentationMask);
        masks.push_back(node->module->submoduleMask);
    }
    for (NUVLogCategoryMask &mask : NUVLog_g_categoryMask) {
        masks.push_back(&mask);
    }
    return masks;
}

std::vector<NUV_UINT32> readMasks() {
    std::vector<NUV_UINT32> words;
    for (const NUV_UINT32 *mask : allMasks()) {
        words.push_back(NUVLog_loadMask(mask));
    }
    return words;
}

void writeMasks(const std::vector<NUV_UINT32> &words) {
    const std::vector<NUV_UINT32 *> masks = allMasks();
    for (size_t i = 0; i < masks.size(); ++i) {
        NUVLog_storeMask(masks[i], words[i]);
    }
}

std::string textOf(const char *text) {
    return text == nullptr ? "(null)" : text;
}

} // namespace

std::ostream &operator<<(std::ostream &out, const Message &message) {
    out << "\n  " << message.number << ' ' << message.level << ' ' << std::hex << std::showbase
        << message.module << std::dec << std::noshowbase << ' ' << message.file << ' '
        << message.function << "\n    " << (message.name.empty() ? "-" : message.name);
    if (!message.body.empty()) {
        out << " [" << message.body << ']';
    }
    return out << ": " << message.text;
}

LogCapture::LogCapture()
    : before_{KOLS_Config_Logger_get_verbosity(KOLS_Config_Logger_get_instance()), readMasks(),
              NUVLog_g_detectPrecondition, NUVLog_g_preconditionDetected} {
    KOLS_Config_Logger *logger = KOLS_Config_Logger_get_instance();
    KOLS_Config_Logger_set_verbosity(logger, KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL);
    KOLS_Config_Logger_set_output_device(logger, take, this);
}

LogCapture::~LogCapture() {
    KOLS_Config_Logger *logger = KOLS_Config_Logger_get_instance();
    KOLS_Config_Logger_set_output_device(logger, nullptr, nullptr);
    KOLS_Config_Logger_set_verbosity(logger, before_.verbosity);
    writeMasks(before_.words);
    NUVLog_g_detectPrecondition = before_.detectPrecondition;
    NUVLog_g_preconditionDetected = before_.preconditionDetected;
}

void LogCapture::take(void *param, const KOLS_Config_LogRecord *record) {
    auto *self = static_cast<LogCapture *>(param);
    EXPECT_GT(record->line, 0) << record->text;
    const std::string body = textOf(record->body);
    const std::string text = textOf(record->text);
    Message message = {
        .number = record->number,
        .level = record->level,
        .module = record->module,
        .file = std::filesystem::path(textOf(record->file)).filename(),
        .function = textOf(record->function),
        .name = record->name == nullptr ? "" : record->name,
        .body = body == text ? "" : body,
        .text = text,
    };
    const std::lock_guard lock(self->mutex_);
    (std::this_thread::get_id() == self->thread_ ? self->messages_ : self->ofOtherThreads_)
        .push_back(std::move(message));
}

Messages LogCapture::messages() const {
    const std::lock_guard lock(mutex_);
    return messages_;
}

Messages LogCapture::messagesOf(const std::string &file) const {
    Messages chosen;
    std::ranges::copy_if(messages(), std::back_inserter(chosen),
                         [&](const Message &message) { return message.file == file; });
    return chosen;
}

Messages LogCapture::messagesOfOtherThreads() const {
    const std::lock_guard lock(mutex_);
    return ofOtherThreads_;
}

void LogCapture::clear() {
    const std::lock_guard lock(mutex_);
    messages_.clear();
    ofOtherThreads_.clear();
}

} // namespace support
